#include "platform/client/core/descriptor.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>
#include <cerrno>
#include <vector>

static std::vector<int> failures; // of the next reads, one after the other; 0: none

// Stands in for the system's own.
extern "C" ssize_t read(int file, void *buffer, size_t size) {
    if (!failures.empty()) {
        errno = failures.front();
        failures.erase(failures.begin());
        if (errno != 0) return -1;
        size = 3;
    }
    return reinterpret_cast<ssize_t (*)(int, void *, size_t)>(dlsym(RTLD_NEXT, "read"))(file, buffer, size);
}

namespace {

class DescriptorRead : public ::testing::Test {
  protected:
    DescriptorRead() : file(memfd_create("text", MFD_CLOEXEC)) {
        EXPECT_EQ(write(file.number, "A longer text", 13), 13);
        EXPECT_EQ(lseek(file.number, 0, SEEK_SET), 0);
    }
    ~DescriptorRead() override { failures.clear(); }

    // At most `most` bytes of it, or "errno N".
    std::string bytes(size_t most) const {
        std::string text(most, '?');
        return descriptor_read(file, &text) ? text : "errno " + std::to_string(errno);
    }

    const Descriptor file;
};

TEST_F(DescriptorRead, FillsTheTextOrTakesAllThatThereIs) {
    EXPECT_EQ(bytes(8), "A longer");
    EXPECT_EQ(bytes(8), " text");
    EXPECT_EQ(bytes(8), "");
    EXPECT_EQ(bytes(0), "");
}

TEST_F(DescriptorRead, TakesASingleByte) {
    EXPECT_EQ(bytes(1), "A");
    EXPECT_EQ(bytes(8), " longer ");
}

TEST_F(DescriptorRead, GoesOnAfterPiecesAndSignals) {
    failures = {EINTR, 0, EINTR, EINTR, 0};
    EXPECT_EQ(bytes(13), "A longer text");
}

TEST_F(DescriptorRead, ReportsWhatFailed) {
    failures = {0, EIO};
    EXPECT_EQ(bytes(13), "errno " + std::to_string(EIO));
}

TEST(Descriptor, ClosesItselfUnlessReleased) {
    int number = -1;
    {
        Descriptor file(memfd_create("text", MFD_CLOEXEC));
        number = file.release();
        EXPECT_EQ(file.number, -1);
    }
    EXPECT_EQ(close(number), 0);
    number = Descriptor(memfd_create("text", MFD_CLOEXEC)).number;
    EXPECT_EQ(close(number), -1);
}

} // namespace
