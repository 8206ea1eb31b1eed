// The edges of the configuration reader: not a byte behind the caller's buffer, and what a line looks like afterwards.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>

#include "platform/common/conf_file.h"
#include "platform/common/places.h"
#include "qrtscript.h"
#include "tests/unit/program_folder.h"

namespace {

// A buffer of some bytes with further ones behind it that nobody may touch.
struct Guarded {
    explicit Guarded(int bytes) : size(bytes) { memset(bytes_, '#', sizeof bytes_); }
    std::string text() const { return std::string(bytes_, strnlen(bytes_, static_cast<size_t>(size))); }
    bool rest_untouched() const {
        for (const char *at = bytes_ + size; at != bytes_ + sizeof bytes_; at++)
            if (*at != '#') return false;
        return true;
    }
    char *data() { return bytes_; }
    const int size;

  private:
    char bytes_[600];
};

struct BoundsRow {
    const char *line;
    int size;
    int result;
    const char *text;
};

TEST(ConfReaderBounds, ALineIsDecidedWithoutTouchingWhatLiesBehindTheBuffer) {
    static const BoundsRow rows[] = {
        {"key=abc\n", 4, 1, "abc"},  {"key=abc\n", 3, 3, "###"}, {"key=ab\n", 1, 2, "#"},
        {"key=a\n", 1, 1, ""},       {"key=a\n", 2, 1, "a"},     {"key= \n", 1, 1, ""},
        {"key=abc\n", 0, 3, ""},     {"key=a\n", 0, 1, ""},      {"key==4\n", 8, 0, "########"},
        {"key=ab\nkey", 8, 1, "ab"}, {"a=1\nkey", 8, 1, "1"},    {"a=1\nke", 8, 0, "########"},
    };
    for (const BoundsRow &row : rows) {
        Guarded value(row.size);
        std::string line = row.line;
        EXPECT_EQ(parseLineForKeyValue(line.data(), "key", value.data(), row.size), row.result) << row.line << row.size;
        EXPECT_EQ(value.text(), row.text) << row.line << row.size;
        EXPECT_TRUE(value.rest_untouched()) << row.line << row.size;
    }
}

TEST(ConfReaderBounds, ANegativeSizeIsNoRoom) {
    Guarded value(0);
    std::string line = "key=abc\n";
    EXPECT_EQ(parseLineForKeyValue(line.data(), "key", value.data(), -1), 3);
    EXPECT_TRUE(value.rest_untouched());
}

TEST(ConfReaderBounds, TheLineIsCutAtItsEqualsSign) {
    Guarded value(8);
    std::string line = "my key =v\n";
    EXPECT_EQ(parseLineForKeyValue(line.data(), "key", value.data(), value.size), 1);
    EXPECT_STREQ(line.c_str(), "my key ");
}

class ConfReaderBoundsFiles : public testing::Test {
  protected:
    ConfReaderBoundsFiles() { place_config_folder = config_.c_str(); }
    ~ConfReaderBoundsFiles() override { place_config_folder = before_; }
    const char *const before_ = place_config_folder;
    ProgramFolder files_;
    const std::string config_ = files_.path("");
};

TEST_F(ConfReaderBoundsFiles, ALengthMayTakeTheWholeBufferAndNoByteMore) {
    files_.file("login.conf", "key=" + std::string(300, 'x') + "\n");
    for (const auto &[size, text] : {std::pair{4, "300"}, std::pair{3, "300"}, std::pair{2, "*"}, std::pair{1, "*"}}) {
        Guarded value(size);
        EXPECT_EQ(qrtGetConfValue("login.conf", "", "key", value.data(), size), QRT_CONF_TOO_LONG);
        EXPECT_EQ(value.text(), text) << size;
        EXPECT_TRUE(value.rest_untouched()) << size;
    }
}

} // namespace
