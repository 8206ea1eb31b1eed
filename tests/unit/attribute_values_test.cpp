#include "directory/attribute_values.h"

#include <ctime>

#include "tests/unit/session_fixture.h"

namespace {

static constexpr time_t noon = 1772366400;

class AttributeValuesTest : public DirectoryTest {
  protected:
    AttributeValuesTest() {
        clock_now = [] { return noon; };
    }
    // The text of one value of an attribute.
    std::string text_of(const spy::Value &value, const std::string &attribute = "Thing") {
        spy::attribute(user_object, attribute, {value});
        char *text = nullptr;
        uint32_t code = qrt_GetAttribute(session_handle, user_object, attribute.c_str(), &text);
        EXPECT_EQ(code, 0u);
        return taken(text);
    }
    std::string expiring_in(int hours, const std::string &attribute = "Password Expiration Time") {
        return text_of(spy::number(ZK_SYNTAX_TIME, static_cast<int32_t>(noon + hours * 3600)), attribute);
    }
};

TEST_F(AttributeValuesTest, TimeIsTheCtimeTextWithItsLineFeed) {
    time_t moment = 86400;
    EXPECT_EQ(text_of(spy::number(ZK_SYNTAX_TIME, 86400)), ctime(&moment));
    moment = -5;
    EXPECT_EQ(text_of(spy::number(ZK_SYNTAX_TIME, -5)), ctime(&moment));
    EXPECT_EQ(text_of(spy::number(ZK_SYNTAX_TIME, 0)).back(), '\n');
}

TEST_F(AttributeValuesTest, PasswordExpirationIsInDays) {
    for (const auto &[hours, days] :
         {std::pair{36, "1"}, std::pair{24, "1"}, std::pair{-10, "0"}, std::pair{-30, "-1"}})
        EXPECT_EQ(expiring_in(hours), days) << hours;
    for (const char *spelling : {"PASSWORD EXPIRATION TIME", "password_expiration_time"})
        EXPECT_EQ(expiring_in(48, spelling), "2");
    EXPECT_NE(expiring_in(48, "Password Expiration Times"), "2");
    EXPECT_EQ(text_of(spy::number(ZK_SYNTAX_TIME, INT32_MIN), "Password Expiration Time"),
              std::to_string((int64_t{INT32_MIN} - noon) / 86400))
        << "without an overflow";
}

struct ValueRow {
    const char *name;
    spy::Value value;
    std::string text;
};

class ValueText : public AttributeValuesTest, public testing::WithParamInterface<ValueRow> {};

TEST_P(ValueText, FollowsTheSyntax) {
    EXPECT_EQ(text_of(GetParam().value), GetParam().text);
}

static std::string bytes(std::initializer_list<int> list) {
    return std::string(list.begin(), list.end());
}

INSTANTIATE_TEST_SUITE_P(
    AttributeValues, ValueText,
    testing::Values(
        ValueRow{"interval_in_whole_days", spy::number(ZK_SYNTAX_INTERVAL, 3 * 86400 + 80000), "3"},
        ValueRow{"negative_interval", spy::number(ZK_SYNTAX_INTERVAL, -90000), "-1"},
        ValueRow{"counter", spy::number(ZK_SYNTAX_COUNTER, -7), "-7"},
        ValueRow{"numeric_text", spy::numeric_text("555 0100"), "555 0100"},
        ValueRow{"numeric_text_null", spy::numeric_text(nullptr), ""},
        ValueRow{"internet_address_8", spy::address(8, bytes({0, 0x50, 0x0A, 1, 2, 3})), "10.1.2.3"},
        ValueRow{"internet_address_9", spy::address(9, bytes({9, 9, 255, 254, 128, 0, 77})), "255.254.128.0"},
        ValueRow{"other_address_even_bytes", spy::address(1, bytes({'S', 0, 'R', 0, 'V', 0, '1', 0})), "SRV1"},
        ValueRow{"other_address_odd_length", spy::address(1, "a-b-c"), "abc"},
        ValueRow{"path", spy::path("SRV1_USERS", "home/jdoe"), "SRV1_USERS:home/jdoe"},
        ValueRow{"postal_skips_empty_and_null_lines", spy::postal({"1 Main St", "", nullptr, "Springfield", "", "USA"}),
                 "1 Main St\nSpringfield\nUSA\n"},
        ValueRow{"postal_all_empty", spy::postal({}), ""}, ValueRow{"text", spy::text("John Doe"), "John Doe"},
        ValueRow{"text_of_an_unlisted_syntax", spy::text("x", 99), "x"},
        // What a damaged or malicious directory may send.
        ValueRow{"internet_address_without_bytes", spy::address(8, "", 6, false), ""},
        ValueRow{"internet_address_of_five_bytes", spy::address(9, bytes({0, 0, 10, 1, 2})), ""},
        ValueRow{"internet_address_claiming_six_of_two_bytes", spy::address(8, bytes({1, 2}), 6), ""},
        ValueRow{"internet_address_reported_as_two_of_six_bytes", spy::address(8, bytes({0, 0, 10, 1, 2, 3}), 2), ""},
        ValueRow{"other_address_claiming_four_gigabytes", spy::address(1, "S-R-", UINT32_MAX), "SR"},
        ValueRow{"other_address_without_bytes", spy::address(1, "", 40, false), ""},
        ValueRow{"path_without_volume", spy::path(nullptr, "home"), ":home"},
        ValueRow{"path_without_path", spy::path("VOL", nullptr), "VOL:"},
        ValueRow{"path_without_either", spy::path(nullptr, nullptr), ":"},
        ValueRow{"path_of_two_bytes", spy::raw(ZK_SYNTAX_PATH, "ab"), ":"},
        ValueRow{"path_of_text_bytes", spy::raw(ZK_SYNTAX_PATH, std::string(sizeof(ZKPath), 'A')), ":"},
        ValueRow{"postal_of_text_bytes", spy::raw(ZK_SYNTAX_POSTAL_ADDRESS, std::string(48, 'A')), ""},
        ValueRow{"numeric_of_text_bytes", spy::raw(ZK_SYNTAX_NUMERIC_TEXT, "AAAAAAAA"), ""},
        ValueRow{"number_of_no_bytes", spy::raw(ZK_SYNTAX_COUNTER, ""), "0"},
        ValueRow{"number_of_one_byte", spy::raw(ZK_SYNTAX_COUNTER, "\x05"), "5"},
        ValueRow{"text_without_its_end", spy::raw(3, "abc"), "abc"}, ValueRow{"text_of_no_bytes", spy::raw(3, ""), ""}),
    [](const auto &test) { return std::string(test.param.name); });

// The pointer leads to the block's last byte, and no NUL follows inside the value.
TEST_F(AttributeValuesTest, PointedTextWithoutItsEndStopsWithTheValue) {
    spy::Value value = spy::numeric_text("12345");
    value.block.pop_back();
    EXPECT_EQ(text_of(value), "12345");
}

TEST_F(AttributeValuesTest, PointerBehindTheValueCountsAsNull) {
    spy::Value value = spy::numeric_text("12345");
    value.pointers[0].second = value.block.size();
    EXPECT_EQ(text_of(value), "");
    value.pointers[0].second = 1u << 30;
    EXPECT_EQ(text_of(value), "");
}

TEST_F(AttributeValuesTest, SizeBeyondAllReasonIsRefusedAndALargeValueWhole) {
    std::string large(5u << 20, 'x');
    EXPECT_EQ(text_of(spy::text(large)), large);
    spy::forget_calls();
    spy::attribute(user_object, "Thing", {spy::sized(spy::text("x"), UINT32_MAX)});
    char *text = nullptr;
    EXPECT_EQ(qrt_GetAttribute(session_handle, user_object, "Thing", &text), ZKE_NO_MEMORY);
    EXPECT_EQ(text, nullptr);
    EXPECT_TRUE(spy::calls("ZKDSGetAttrVal").empty());
}

} // namespace
