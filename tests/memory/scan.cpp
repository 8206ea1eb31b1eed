#include "tests/memory/scan.h"

#include <fcntl.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <system_error>

void HiddenSecret::put(char *to) const {
    for (size_t i = 0; i < length; ++i) to[i] = at(i);
    to[length] = '\0';
}

namespace {

constexpr size_t piece = 6;
constexpr uint64_t piece_bits = 0xffffffffffff;
constexpr uint64_t piece_mask = 0x5a5a5a5a5a5a;
static_assert(secret_mask == (piece_mask & 0xff));

// All pieces of a secret, masked: nothing here contains any of it as text.
class Pieces {
  public:
    explicit Pieces(const HiddenSecret &secret) {
        for (size_t at = 0; at + piece <= HiddenSecret::length; ++at) {
            uint64_t value = 0;
            memcpy(&value, secret.masked.data() + at, piece);
            values_.push_back(value);
            starts_[secret.masked[at] ^ secret_mask] = true;
        }
        std::sort(values_.begin(), values_.end());
    }

    bool startAt(unsigned char byte) const { return starts_[byte]; }
    // Is there a piece whose characters stand `stride` bytes apart, with zeros between them?
    bool at(const unsigned char *bytes, size_t stride) const {
        uint64_t value = 0;
        if (stride == 1) {
            memcpy(&value, bytes, piece);
        } else {
            for (size_t i = 0; i < piece; ++i) {
                if (bytes[2 * i + 1] != 0) return false;
                value |= uint64_t{bytes[2 * i]} << (8 * i);
            }
        }
        return std::binary_search(values_.begin(), values_.end(), (value ^ piece_mask) & piece_bits);
    }

  private:
    std::vector<uint64_t> values_;
    std::array<bool, 256> starts_{};
};

// The words of eight bytes before and behind a find: what has left it there often shows in them.
std::string neighbours(const std::vector<unsigned char> &bytes, size_t from, size_t to) {
    constexpr size_t words = 4, width = sizeof(uint64_t);
    std::string text;
    const auto add = [&](size_t at) {
        uint64_t word = 0;
        memcpy(&word, &bytes[at], width);
        char shown[20];
        snprintf(shown, sizeof shown, " %llx", static_cast<unsigned long long>(word));
        text += shown;
    };
    from -= from % width;
    to += (width - to % width) % width;
    for (size_t at = from - std::min(from, words * width); at < from; at += width) add(at);
    text += " ...";
    for (size_t at = to; at + width <= std::min(bytes.size(), to + words * width); at += width) add(at);
    return text;
}

// The stack pointer of a process that stands still, 0 when it is not told.
uint64_t stack_pointer(const std::string &folder) {
    std::ifstream call(folder + "/syscall");
    std::string number, word;
    uint64_t pointer = 0;
    call >> number;
    for (int arguments = 0; arguments < 6; ++arguments) call >> word;
    call >> std::hex >> pointer;
    return call ? pointer : 0;
}

// Pieces that overlap are one find.
void find(const std::vector<unsigned char> &bytes, const Pieces &pieces, size_t stride, uint64_t base,
          const std::string &where, std::vector<std::string> *found) {
    const size_t width = piece * stride;
    for (size_t at = 0; at + width <= bytes.size(); ++at) {
        if (!pieces.startAt(bytes[at]) || !pieces.at(&bytes[at], stride)) continue;
        size_t end = at + stride;
        while (end + width <= bytes.size() && pieces.at(&bytes[end], stride)) end += stride;
        char line[96];
        snprintf(line, sizeof line, "%llx: %zu characters%s in ", static_cast<unsigned long long>(base + at),
                 (end - at) / stride + piece - 1, stride == 1 ? "" : " of UTF-16");
        found->push_back(line + where + ", between" + neighbours(bytes, at, end + width - stride));
        at = end + width - stride - 1;
    }
}

void find_all(const std::vector<unsigned char> &bytes, const Pieces &pieces, uint64_t base, const std::string &where,
              std::vector<std::string> *found) {
    for (size_t stride : {1, 2}) find(bytes, pieces, stride, base, where, found);
}

// Pages that cannot be read were never made.
std::vector<unsigned char> read_range(int memory, uint64_t begin, uint64_t end) {
    std::vector<unsigned char> bytes(end - begin);
    constexpr size_t page = 4096;
    for (size_t at = 0; at < bytes.size();) {
        const ssize_t got = pread(memory, bytes.data() + at, bytes.size() - at, static_cast<off_t>(begin + at));
        at += got > 0 ? static_cast<size_t>(got) : page;
    }
    return bytes;
}

} // namespace

std::vector<std::string> scan_process(pid_t process, const HiddenSecret &secret) {
    const std::string folder = "/proc/" + std::to_string(process);
    const int memory = open((folder + "/mem").c_str(), O_RDONLY | O_CLOEXEC);
    if (memory < 0) throw std::system_error(errno, std::generic_category(), folder + "/mem");
    std::ifstream maps(folder + "/maps");
    const Pieces pieces(secret);
    char stackPointer[20];
    snprintf(stackPointer, sizeof stackPointer, "%llx", static_cast<unsigned long long>(stack_pointer(folder)));
    std::vector<std::string> found;
    size_t ranges = 0;
    for (std::string line; std::getline(maps, line);) {
        unsigned long long begin = 0, end = 0;
        char rights[5] = "";
        int name = 0;
        if (sscanf(line.c_str(), "%llx-%llx %4s %*s %*s %*s %n", &begin, &end, rights, &name) < 3) continue;
        if (rights[0] != 'r' || rights[1] != 'w') continue;
        std::string where = line.substr(std::min(line.size(), static_cast<size_t>(name)));
        if (where == "[stack]") where += std::string(", whose pointer is ") + stackPointer;
        find_all(read_range(memory, begin, end), pieces, begin, where.empty() ? "an anonymous map" : where, &found);
        ++ranges;
    }
    close(memory);
    if (ranges == 0) throw std::system_error(EIO, std::generic_category(), folder + "/maps");
    return found;
}

std::vector<std::string> scan_text(std::string_view text, const HiddenSecret &secret) {
    std::vector<std::string> found;
    find_all({text.begin(), text.end()}, Pieces(secret), 0, "the text", &found);
    return found;
}
