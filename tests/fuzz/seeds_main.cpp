// Runs a fuzz target over the files of the folders that are named, without a fuzzer: that the targets build and the
// seeds pass is part of every check.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/fuzz/fuzz.h"

namespace fs = std::filesystem;

static void run_file(const fs::path &path) {
    std::ifstream file(path, std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    ExactText input(text);
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(input.data()), text.size());
    // Each seed's beginnings are inputs as well: what ends in the middle is what fuzzers like best. The longer ones are
    // taken further apart.
    for (size_t size = 0; size < text.size() && size < 256; size += 1 + size / 16) {
        ExactText part(std::string_view(text).substr(0, size));
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(part.data()), size);
    }
}

int main(int count, char **folders) {
    int files = 0;
    for (int i = 1; i < count; i++) {
        for (const auto &entry : fs::recursive_directory_iterator(folders[i])) {
            if (!entry.is_regular_file() || entry.path().extension() == ".expected") continue;
            fprintf(stderr, "%s\n", entry.path().c_str());
            run_file(entry.path());
            files++;
        }
    }
    fprintf(stderr, "%d seeds\n", files);
    return files > 0 ? 0 : 1;
}
