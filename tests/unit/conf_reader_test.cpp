#include "platform/common/conf_file.h"
#include "qrtscript.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "platform/common/places.h"

namespace {

constexpr char untouched = '#';

// Files in a folder of their own, and a value buffer whose surroundings are watched.
class ConfReader : public testing::Test {
  protected:
    ConfReader() {
        char name[] = "/tmp/conf_reader_XXXXXX";
        root_ = mkdtemp(name);
        std::filesystem::create_directory(root_ + "/qrt");
        config_ = root_ + "/qrt/";
        slp_ = root_ + "/";
        place_config_folder = config_.c_str();
        place_slp_folder = slp_.c_str();
        bLogFileOutput = 1;
    }
    ~ConfReader() override {
        std::filesystem::remove_all(root_);
        place_config_folder = places_[0];
        place_slp_folder = places_[1];
    }
    void file(const std::string &name, const std::string &text) { std::ofstream(root_ + "/" + name) << text; }
    void configuration(const std::string &text) { file("qrt/login.conf", text); }
    uint32_t look_up(const char *key = "debug_level", size_t size = 256, const char *name = "login.conf") {
        // A new block of exactly this size: the sanitizer sees one byte too many.
        value_ = std::vector<char>(size, untouched);
        return qrtGetConfValue(name, "", key, value_.data(), static_cast<int>(size));
    }
    std::string value() const {
        const auto end = std::find(value_.begin(), value_.end(), '\0');
        return std::string(value_.begin(), end);
    }
    bool value_untouched() const {
        return std::all_of(value_.begin(), value_.end(), [](char c) { return c == untouched; });
    }

    // The descriptor that the next file opened would get.
    static int next_descriptor() {
        const int descriptor = open("/dev/null", O_RDONLY);
        close(descriptor);
        return descriptor;
    }
    std::string root_;
    std::string config_;
    std::string slp_;
    std::vector<char> value_;
    const char *const places_[2] = {place_config_folder, place_slp_folder};
};

TEST_F(ConfReader, FindsTheValueOfALine) {
    const struct {
        const char *what;
        const char *text;
        const char *value;
    } rows[] = {
        {"a plain pair", "debug_level=4\n", "4"},
        {"a comment before it", "# debug_level=9\ndebug_level=2\n", "2"},
        {"the other comment sign", "; debug_level=9\ndebug_level=2\n", "2"},
        {"the key inside another key", "MY_DEBUG_LEVEL=7\n", "7"},
        {"the key inside a value", "other=contains debug_level\n", "contains debug_level"},
        {"leading blanks", "debug_level =   4\n", "4"},
        {"leading tabs", "debug_level=\t \t4\n", "4"},
        {"trailing blanks stay", "debug_level=4  \n", "4  "},
        {"a carriage return stays", "debug_level=4\r\n", "4\r"},
        {"a second equals sign ends it", "debug_level=a=b\n", "a"},
        {"the first line wins", "debug_level=1\ndebug_level=2\n", "1"},
        {"a value of blanks alone is empty", "debug_level=  \n", ""},
        {"lines without a value before it", "\ndebug_level\ndebug_level=\n=debug_level\ndebug_level=5\n", "5"},
        {"an empty part between two equals signs", "debug_level==9\ndebug_level=5\n", "5"},
        {"other keys before it", "x=1\ny=2\ndebug_level=3\n", "3"},
        {"a comment sign behind a blank is none", " #debug_level=9\ndebug_level=2\n", "9"},
        {"the key behind a second equals sign", "other=a=debug_level\n", "a"},
        {"blanks before a second equals sign stay", "debug_level=a =b\n", "a "},
        {"a second equals sign at the line's end", "debug_level=a=\n", "a"},
        {"a carriage return alone is a value", "debug_level=\r\n", "\r"},
    };
    for (const auto &row : rows) {
        configuration(row.text);
        EXPECT_EQ(look_up(), 0u) << row.what;
        EXPECT_EQ(value(), row.value) << row.what;
    }
}

TEST_F(ConfReader, DoesNotFindTheKey) {
    const struct {
        const char *what;
        const char *text;
    } rows[] = {
        {"an empty file", ""},
        {"another key", "level=4\n"},
        {"a last line without a line feed", "debug_level=4"},
        {"a comment", "#debug_level=4\n"},
        {"no equals sign", "debug_level 4\n"},
        {"no value", "debug_level=\n"},
        {"no key part", "=debug_level\n"},
        {"no value part", "debug_level==4\n"},
    };
    for (const auto &row : rows) {
        configuration(row.text);
        EXPECT_EQ(look_up(), QRT_CONF_NO_KEY) << row.what;
        EXPECT_TRUE(value_untouched()) << row.what;
    }
}

TEST_F(ConfReader, ReadsALineThatFillsTheReadBuffer) {
    const std::string key = "debug_level=";
    const std::string longest(conf_line_size - 1 - key.size() - 1, 'x');
    configuration(key + longest + "\n");
    EXPECT_EQ(look_up("debug_level", 512), 0u);
    EXPECT_EQ(value(), longest);
    configuration(key + longest + "y\ndebug_level=2\n");
    EXPECT_EQ(look_up("debug_level", 512), 0u);
    EXPECT_EQ(value(), "2");
    configuration("debug_level=" + std::string(conf_line_size - 1 - 12, 'x') + "debug_level=5\n");
    EXPECT_EQ(look_up(), 0u);
    EXPECT_EQ(value(), "5");
}

TEST_F(ConfReader, AnswersAValueThatDoesNotFitWithItsLength) {
    const struct {
        size_t length;
        size_t size;
        const char *value;
    } rows[] = {
        {300, 256, "300"}, {300, 4, "300"}, {300, 3, "300"}, {300, 2, "*"}, {300, 1, "*"},
        {256, 256, "256"}, {5, 1, "5"},     {12, 1, "*"},    {2, 2, "2"},
    };
    for (const auto &row : rows) {
        configuration("debug_level=" + std::string(row.length, 'x') + "\n");
        EXPECT_EQ(look_up("debug_level", row.size), QRT_CONF_TOO_LONG) << row.length << " in " << row.size;
        EXPECT_EQ(value(), row.value) << row.length << " in " << row.size;
    }
}

TEST_F(ConfReader, AValueThatJustFitsIsRead) {
    configuration("debug_level=" + std::string(255, 'x') + "\n");
    EXPECT_EQ(look_up("debug_level", 256), 0u);
    EXPECT_EQ(value(), std::string(255, 'x'));
    configuration("debug_level=4\n");
    EXPECT_EQ(look_up("debug_level", 1), 0u);
    EXPECT_EQ(value(), "");
}

TEST_F(ConfReader, ChecksItsArgumentsInTheirOrder) {
    char value[] = "#";
    EXPECT_EQ(qrtGetConfValue("", "s", "", value, 0), QRT_CONF_NO_FILE_NAME);
    EXPECT_EQ(qrtGetConfValue("no.conf", "s", "", value, 0), QRT_CONF_SECTION);
    EXPECT_EQ(qrtGetConfValue("no.conf", "", "", value, 0), QRT_CONF_EMPTY_KEY);
    EXPECT_EQ(qrtGetConfValue("no.conf", "", "key", value, 0), QRT_CONF_NO_SPACE);
    EXPECT_EQ(qrtGetConfValue("no.conf", "", "key", value, -1), QRT_CONF_NO_SPACE);
    EXPECT_EQ(qrtGetConfValue("no.conf", "", "key", value, 2), QRT_CONF_NO_FILE);
    EXPECT_STREQ(value, "#");
}

TEST_F(ConfReader, HasTheCodesThatCallersKnow) {
    EXPECT_EQ(QRT_CONF_NO_KEY, 10u);
    EXPECT_EQ(QRT_CONF_NO_FILE_NAME, 11u);
    EXPECT_EQ(QRT_CONF_SECTION, 12u);
    EXPECT_EQ(QRT_CONF_EMPTY_KEY, 13u);
    EXPECT_EQ(QRT_CONF_NO_SPACE, 14u);
    EXPECT_EQ(QRT_CONF_NO_FILE, 15u);
    EXPECT_EQ(QRT_CONF_TOO_LONG, 16u);
}

// The process's own memory can be opened, and reading it from its start fails.
TEST_F(ConfReader, AReadErrorCountsAsAKeyThatIsNotThere) {
    place_config_folder = "/proc/self/";
    const int before = next_descriptor();
    EXPECT_EQ(look_up("debug_level", 16, "mem"), QRT_CONF_NO_KEY);
    EXPECT_TRUE(value_untouched());
    EXPECT_EQ(next_descriptor(), before);
}

TEST_F(ConfReader, CountsAPathOverItsLimitAsNotReadable) {
    const std::string longest(conf_path_size - 1 - config_.size(), 'f');
    for (const bool over : {false, true}) {
        const std::string name = longest + (over ? "f" : "");
        const bool written = name.size() <= 255;
        ASSERT_TRUE(written);
        file("qrt/" + name, "key=1\n");
        EXPECT_EQ(look_up("key", 16, name.c_str()), over ? QRT_CONF_NO_FILE : 0u);
    }
}

TEST_F(ConfReader, ClosesTheFileWhateverTheResult) {
    const int before = next_descriptor();
    configuration("debug_level=12\n");
    EXPECT_EQ(look_up(), 0u);
    EXPECT_EQ(look_up("no_such_key"), QRT_CONF_NO_KEY);
    EXPECT_EQ(look_up("debug_level", 2), QRT_CONF_TOO_LONG);
    std::filesystem::remove(root_ + "/qrt/login.conf");
    std::filesystem::create_directory(root_ + "/qrt/login.conf");
    EXPECT_EQ(look_up(), QRT_CONF_NO_FILE);
    EXPECT_EQ(next_descriptor(), before);
}

TEST_F(ConfReader, LooksForExactlyTwoNamesInTheOtherFolder) {
    file("slp.conf", "key=etc\n");
    file("SLP.CONF", "key=ETC\n");
    file("qrt/slp.conf", "key=wrong\n");
    file("qrt/SLP.CONF", "key=WRONG\n");
    file("qrt/Slp.conf", "key=own\n");
    look_up("key", 16, "slp.conf");
    EXPECT_EQ(value(), "etc");
    look_up("key", 16, "SLP.CONF");
    EXPECT_EQ(value(), "ETC");
    look_up("key", 16, "Slp.conf");
    EXPECT_EQ(value(), "own");
}

TEST_F(ConfReader, SilencesItsLogOnEveryEntry) {
    EXPECT_EQ(look_up("key", 16, ""), QRT_CONF_NO_FILE_NAME);
    EXPECT_EQ(bLogFileOutput, 0);
}

TEST(ParseLineForKeyValue, DecidesOverOneLine) {
    const struct {
        const char *line;
        int size;
        int result;
        const char *value;
    } rows[] = {
        {"", 8, 0, "#"},
        {"key=1", 8, 0, "#"},
        {"#key=1\n", 8, 0, "#"},
        {";key=1\n", 8, 0, "#"},
        {"key\n", 8, 0, "#"},
        {"key=\n", 8, 0, "#"},
        {"kex=1\n", 8, 0, "#"},
        {"a KEY b= v \n", 8, 1, "v "},
        {"x=key\n", 8, 1, "key"},
        {"key=abcdefg\n", 8, 1, "abcdefg"},
        {"key=abcdefgh\n", 8, 8, "#"},
    };
    for (const auto &row : rows) {
        std::string line = row.line;
        std::vector<char> value(static_cast<size_t>(row.size), '\0');
        value[0] = untouched;
        EXPECT_EQ(parseLineForKeyValue(line.data(), "key", value.data(), row.size), row.result) << row.line;
        EXPECT_STREQ(value.data(), row.value) << row.line;
    }
}

} // namespace
