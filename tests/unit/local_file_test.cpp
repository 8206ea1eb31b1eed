#include "base/local_file.h"

#include "tests/unit/session_fixture.h"

namespace {

using LocalFileTest = SessionTest;

TEST_F(LocalFileTest, ALocalFileIsReadWithItsLength) {
    folder_.file("x", std::string("ab\0cd", 5));
    size_t length = 99;
    const OwnedText content = local_file_read(folder_.path("x").c_str(), length);
    EXPECT_EQ(length, 5U);
    EXPECT_EQ(std::string(content.get(), 6), std::string("ab\0cd\0", 6));
    EXPECT_EQ(local_file_read(folder_.path("missing").c_str(), length), nullptr);
    EXPECT_EQ(length, 0U);
}

TEST_F(LocalFileTest, AFileOfTheKernelIsEmptyToTheReader) {
    size_t length = 99;
    const OwnedText content = local_file_read("/proc/self/status", length);
    EXPECT_EQ(length, 0U);
}

} // namespace
