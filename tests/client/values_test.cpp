#include "platform/client/core/values.h"

#include <gtest/gtest.h>
#include <cstring>

#include "platform/client/core/errors.h"
#include "platform/client/core/schema.h"
#include "platform/zk.h"

namespace {

std::string refusal(uint32_t syntax, const std::string &text, DnView *dn) {
    try {
        value_check(syntax, text, {}, dn);
        return "";
    } catch (const DataError &error) {
        return error.what();
    }
}

// A value in one line: its number or type, its name, its text and its lines; or why it was refused.
std::string parsed(uint32_t syntax, const std::string &text) {
    DnView dn;
    const std::string refused = refusal(syntax, text, &dn);
    try {
        Value value = value_parse(syntax, text, {});
        EXPECT_EQ("", refused) << "what is checked alone is what is taken: " << text;
        EXPECT_TRUE(name_equal(value.name, name_of_view(dn.parts))) << text;
        if (syntax == ZK_SYNTAX_COUNTER || syntax == ZK_SYNTAX_TIME || syntax == ZK_SYNTAX_INTERVAL) {
            return std::to_string(value.number);
        }
        std::string shown =
            syntax == ZK_SYNTAX_PATH || syntax == ZK_SYNTAX_NETWORK_ADDRESS ? std::to_string(value.type) + "|" : "";
        shown += value.name.empty() ? "" : name_to_dotted(value.name, true) + "|";
        for (const std::string &line : value.lines) shown += "[" + line + "]";
        return shown + value.text;
    } catch (const DataError &error) {
        EXPECT_EQ(error.what(), refused) << text;
        return std::string("refused: ") + error.what();
    }
}

struct Case {
    uint32_t syntax;
    const char *text, *expected;
};

TEST(Values, TextFormsOfTheSyntaxes) {
    const Case cases[] = {
        {schema_text, "tea", "tea"},
        {schema_boolean, "TRUE", "TRUE"},
        {schema_dn, "cn=jdoe,o=acme", "CN=jdoe.O=acme|"},
        {ZK_SYNTAX_COUNTER, "6", "6"},
        {ZK_SYNTAX_COUNTER, "-2147483648", "-2147483648"},
        {ZK_SYNTAX_COUNTER, "2147483647", "2147483647"},
        {ZK_SYNTAX_COUNTER, "0000000012", "12"},
        {ZK_SYNTAX_COUNTER, "9876543", "9876543"},
        {ZK_SYNTAX_INTERVAL, "86400", "86400"},
        {ZK_SYNTAX_TIME, "19700101000000Z", "0"},
        {ZK_SYNTAX_TIME, "197001010001Z", "60"},
        {ZK_SYNTAX_TIME, "20240229120000Z", "1709208000"},
        {ZK_SYNTAX_TIME, "20990101000000Z", "2147483647"},
        {ZK_SYNTAX_TIME, "20380119031407Z", "2147483647"},
        {ZK_SYNTAX_TIME, "20380119031406Z", "2147483646"},
        {ZK_SYNTAX_TIME, "19011213204552Z", "-2147483648"},
        {ZK_SYNTAX_TIME, "19011213204553Z", "-2147483647"},
        {ZK_SYNTAX_TIME, "20231231235959Z", "1704067199"},
        {ZK_SYNTAX_TIME, "20161231235960.5Z", "1483228800"},
        {ZK_SYNTAX_TIME, "18000101000000Z", "-2147483648"},
        {ZK_SYNTAX_TIME, "20161231235960Z", "1483228800"},
        {ZK_SYNTAX_TIME, "1970010102Z", "7200"},
        {ZK_SYNTAX_TIME, "1970010102.5Z", "9000"},
        {ZK_SYNTAX_TIME, "197001010001,25Z", "75"},
        {ZK_SYNTAX_TIME, "19700101000001.999Z", "1"},
        {ZK_SYNTAX_TIME, "19700101000000.0000000001Z", "0"},
        {ZK_SYNTAX_TIME, "19700101020000+0130", "1800"},
        {ZK_SYNTAX_TIME, "19700101000000-02", "7200"},
        {ZK_SYNTAX_TIME, "19700102235900+2359", "86400"},
        {ZK_SYNTAX_TIME, "197001010000.000001Z", "0"},
        {ZK_SYNTAX_TIME, "1970010100.123456Z", "444"},
        {ZK_SYNTAX_TIME, "1970010100.1234569999Z", "444"},
        {ZK_SYNTAX_TIME, "1970010100.9999999Z", "3599"},
        {ZK_SYNTAX_PATH, "0#cn=VOL,o=acme#home/jdoe", "0|CN=VOL.O=acme|home/jdoe"},
        {ZK_SYNTAX_PATH, "4#cn=V\\#1#a#b", "4|CN=V#1|a#b"},
        {ZK_SYNTAX_PATH, "0#cn=VOL#", "0|CN=VOL|"},
        {ZK_SYNTAX_PATH, "4294967295#cn=VOL#x", "4294967295|CN=VOL|x"},
        {ZK_SYNTAX_PATH, "\\\\fs1\\home\\anna", "0|[FS1/HOME]anna"},
        {ZK_SYNTAX_PATH, "//fs1.example//Home$//a\\b/", "0|[FS1.EXAMPLE/HOME$]a/b"},
        {ZK_SYNTAX_PATH, "\\\\fs1\\home", "0|[FS1/HOME]"},
        {ZK_SYNTAX_NETWORK_ADDRESS, "8#4142", "8|AB"},
        {ZK_SYNTAX_NETWORK_ADDRESS, "1#", "1|"},
        {ZK_SYNTAX_NETWORK_ADDRESS, "1#4a4B4f4F", "1|JKOO"},
        {ZK_SYNTAX_NETWORK_ADDRESS, "0#39", "0|9"},
        {ZK_SYNTAX_POSTAL_ADDRESS, "a$b\\24c\\5C$", "[a][b$c\\][]"},
        {ZK_SYNTAX_POSTAL_ADDRESS, "\\5c\\24\\25\\2", "[\\$\\25\\2]"},
        {ZK_SYNTAX_POSTAL_ADDRESS, "1$2$3$4$5$6", "[1][2][3][4][5][6]"},
        {ZK_SYNTAX_NUMERIC_TEXT, "+1 555", "+1 555"},
    };
    for (const Case &c : cases) EXPECT_EQ(c.expected, parsed(c.syntax, c.text)) << c.text;
}

TEST(Values, RefusedTexts) {
    const char *time = "refused: not a time of the form YYYYMMDDHHMMSSZ";
    const char *moment = "refused: no such date or time of day";
    const char *number = "refused: not a 32-bit number";
    const char *address = "refused: not a network address of the form type#hex-digits";
    const char *path = "refused: not a path of the form name-space#DN#path";
    const struct {
        uint32_t syntax;
        const char *refusal;
        std::vector<std::string> texts;
    } cases[] = {
        {schema_boolean, "refused: must be TRUE or FALSE", {"true"}},
        {schema_dn, "refused: malformed DN", {"jdoe.acme"}},
        {ZK_SYNTAX_COUNTER,
         number,
         {"", "2147483648", "12345678901", "00000000012", "-2147483649", "-", "/", ":", "6x"}},
        {ZK_SYNTAX_INTERVAL, number, {"--6"}},
        {ZK_SYNTAX_TIME, time, {"", "20240101", "20240101Z", "Z"}},
        {ZK_SYNTAX_TIME,
         time,
         {"20240101000Z", "2024010100000Z", "20240101000000.", "20240101000000;5Z", "20240101000000+",
          "20240101000000+x2", "20240101000000+010", "20240101000000", "2024010100000xZ", "202401010000000Z",
          "20240101000000.Z", "20240101000000.5x5Z", "20240101000000ZZ", "20240101000000+2", "20240101000000+2400",
          "20240101000000+0160", "20240101000000+01x0", "20240101000000+01000"}},
        {ZK_SYNTAX_TIME,
         moment,
         {"20230229000000Z", "20230229000060Z", "20230100000000Z", "20230132000000Z", "20230001000000Z",
          "20230101240000Z", "20230101006000Z", "20230101236000Z", "20231301000000Z", "20230101250000Z",
          "20230101000061Z"}},
        {ZK_SYNTAX_PATH, path, {"home/jdoe", "0#cn=VOL"}},
        {ZK_SYNTAX_PATH, "refused: the name space of a path must be a number", {"x#cn=VOL#a"}},
        {ZK_SYNTAX_PATH, "refused: malformed DN", {"0#VOL#a"}},
        {ZK_SYNTAX_PATH,
         "refused: not a path of the form \\\\server\\share\\path",
         {"\\\\", "//fs1", "//fs1/", "//fs1:a/b", "//fs1/c:", "//" + std::string(49, 's') + "/home",
          "//fs1/" + std::string(65, 'v')}},
        {ZK_SYNTAX_NETWORK_ADDRESS, address, {"8", "8#414", "8#4x", "8#x4", "8#4g"}},
        {ZK_SYNTAX_NETWORK_ADDRESS,
         "refused: the type of a network address must be a number",
         {"4294967296#41", "-1#41"}},
        {ZK_SYNTAX_POSTAL_ADDRESS, "refused: a postal address can have at most six lines", {"1$2$3$4$5$6$7"}},
    };
    for (const auto &one : cases)
        for (const std::string &text : one.texts) EXPECT_EQ(one.refusal, parsed(one.syntax, text)) << text;
    EXPECT_EQ("refused: the value contains a NUL byte", parsed(schema_text, std::string("a\0b", 3)));
    EXPECT_EQ(address, parsed(ZK_SYNTAX_NETWORK_ADDRESS, "8#4\xFF"));
    EXPECT_EQ("CN=" + std::string(509, 'a') + "|", parsed(schema_dn, "cn=" + std::string(509, 'a')));
    EXPECT_EQ("refused: the name is longer than 512 bytes", parsed(schema_dn, "cn=" + std::string(510, 'a')));
    EXPECT_EQ("refused: the name is longer than 512 bytes", parsed(schema_dn, "cn=" + std::string(600, 'a')));
}

// Every byte of a block is written, and its pointers lead into it.
class ValueBlock : public ::testing::Test {
  protected:
    // The block of the value, in memory that was filled with ones.
    template <typename Head>
    Head write(uint32_t syntax, const char *text) {
        Value value = value_parse(syntax, text, {});
        value_put_names(syntax, {}, &value);
        block.assign(value_block_size(syntax, value), '\xFF');
        value_write(syntax, value, block.data());
        Head head;
        EXPECT_GE(block.size(), sizeof head);
        memcpy(&head, block.data(), sizeof head);
        return head;
    }
    // Where in the block a pointer leads.
    template <typename Pointer>
    ptrdiff_t at(const Pointer *pointer) const {
        return reinterpret_cast<const char *>(pointer) - block.data();
    }

    std::vector<char> block;
};

TEST_F(ValueBlock, OfANetworkAddressEndsWithItsBytes) {
    const auto head = write<ZKNetworkAddress>(ZK_SYNTAX_NETWORK_ADDRESS, "8#414243");
    EXPECT_EQ(8u, head.type);
    EXPECT_EQ(3u, head.length);
    ASSERT_EQ(static_cast<ptrdiff_t>(sizeof head), at(head.address));
    EXPECT_EQ("ABC", std::string(block.begin() + sizeof head, block.end()));
}

TEST_F(ValueBlock, OfAPathHasTheVolumeAndThePath) {
    const auto head = write<ZKPath>(ZK_SYNTAX_PATH, "4#cn=VOL#home");
    EXPECT_EQ(4u, head.nameSpace);
    ASSERT_EQ(static_cast<ptrdiff_t>(sizeof head), at(head.volume));
    ASSERT_EQ(static_cast<ptrdiff_t>(sizeof head + sizeof "CN=VOL"), at(head.path));
    EXPECT_STREQ("CN=VOL", head.volume);
    EXPECT_STREQ("home", head.path);
    EXPECT_EQ(sizeof head + sizeof "CN=VOL" + sizeof "home", block.size());
}

TEST_F(ValueBlock, OfAPostalAddressHasItsLinesOneAfterTheOther) {
    const auto head = write<ZKPostalAddress>(ZK_SYNTAX_POSTAL_ADDRESS, "a$bc$$d$e$f");
    ptrdiff_t place = sizeof head;
    const char *const lines[] = {"a", "bc", "", "d", "e", "f"};
    for (size_t i = 0; i < 6; i++) {
        ASSERT_EQ(place, at(head.line[i])) << i;
        EXPECT_STREQ(lines[i], head.line[i]);
        place += static_cast<ptrdiff_t>(strlen(lines[i]) + 1);
    }
    EXPECT_EQ(static_cast<size_t>(place), block.size());
    EXPECT_EQ(nullptr, write<ZKPostalAddress>(ZK_SYNTAX_POSTAL_ADDRESS, "a$b").line[2]);
}

TEST_F(ValueBlock, OfANumericTextHasTheText) {
    const auto head = write<ZKNumericText>(ZK_SYNTAX_NUMERIC_TEXT, "+1");
    ASSERT_EQ(static_cast<ptrdiff_t>(sizeof head), at(head.text));
    EXPECT_STREQ("+1", head.text);
    EXPECT_EQ(sizeof head + sizeof "+1", block.size());
}

TEST_F(ValueBlock, OfANumberOrATextIsThat) {
    EXPECT_EQ(7, write<int32_t>(ZK_SYNTAX_COUNTER, "7"));
    EXPECT_EQ(7, write<int32_t>(ZK_SYNTAX_INTERVAL, "7"));
    EXPECT_EQ(7, write<int32_t>(ZK_SYNTAX_TIME, "19700101000007Z"));
    EXPECT_EQ(sizeof(int32_t), block.size());
    write<char>(schema_text, "tea");
    EXPECT_EQ(sizeof "tea", block.size());
    EXPECT_STREQ("tea", block.data());
}

} // namespace
