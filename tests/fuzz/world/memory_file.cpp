#include "tests/fuzz/world/memory_file.h"

#include <sys/mman.h>
#include <unistd.h>

#include "tests/fuzz/fuzz.h"

MemoryFile::MemoryFile()
    : descriptor_(memfd_create("fuzz", MFD_CLOEXEC)), path_("/proc/self/fd/" + std::to_string(descriptor_)) {
    FUZZ_CHECK(descriptor_ >= 0);
}

MemoryFile::~MemoryFile() {
    close(descriptor_);
}

void MemoryFile::replace(std::string_view text) const {
    FUZZ_CHECK(ftruncate(descriptor_, 0) == 0);
    FUZZ_CHECK(pwrite(descriptor_, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()));
}
