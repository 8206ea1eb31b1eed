#include "directory/attributes.h"

#include <ctime>

#include "tests/unit/session_fixture.h"

namespace {

class AttributesTest : public DirectoryTest {
  public:
    // Reads into `text`; `code` is the result.
    std::string get(const char *attribute) {
        char *value = nullptr;
        code = qrt_GetAttribute(session_handle, user_object, attribute, &value);
        return taken(value);
    }
    // The traces of reading "Full Name" while one call fails with `failure`.
    std::string traces(int level, const char *call, uint32_t failure) {
        spy::mend();
        spy::fail(call, failure);
        testing::internal::CaptureStdout();
        debug_level = level;
        get("Full Name");
        debug_level = 0;
        return testing::internal::GetCapturedStdout();
    }
    std::string get_lightly(const char *attribute) {
        char *value = nullptr;
        code = __GetAttribute(session_handle, user_object, attribute, &value);
        return taken(value);
    }
    uint32_t code = 0;
};

TEST_F(AttributesTest, ADigitNamesAUserVariable) {
    qrt_SetUserVar(3, "abc");
    EXPECT_EQ(get("3"), "abc");
    EXPECT_EQ(code, 0u);
    EXPECT_THAT(spy::calls(), IsEmpty());
    qrt_SetUserVar(0, "zero");
    qrt_SetUserVar(9, "nine");
    EXPECT_EQ(get("0"), "zero");
    EXPECT_EQ(get("9"), "nine");
    EXPECT_THAT(spy::calls(), IsEmpty());
    for (const char *name : {"/", ":", "a"}) {
        spy::text_attribute(user_object, name, {"of the directory"});
        EXPECT_EQ(get(name), "of the directory") << name;
    }
    spy::text_attribute(user_object, "12", {"twelve"});
    EXPECT_EQ(get("12"), "twelve");
    EXPECT_EQ(get(""), "(null)");
    EXPECT_EQ(spy::calls("ZKDSRead").size(), 5u);
}

TEST_F(AttributesTest, UnsetUserVariableIsEmptyAndNotFound) {
    EXPECT_EQ(get("3"), "");
    EXPECT_EQ(code, 0xFFFFFFFFu);
    EXPECT_THAT(spy::calls(), IsEmpty());
}

TEST_F(AttributesTest, NamesKeepTheirUnderscoresAndLastNameIsTheSurname) {
    spy::text_attribute(user_object, "Surname", {"Doe"});
    EXPECT_EQ(get("last_name"), "Doe");
    EXPECT_THAT(spy::calls("ZKDSPutAttrName"), ElementsAre("ZKDSPutAttrName(40, buf1, \"Surname\")"));
    spy::text_attribute(user_object, "Full Name", {"John Doe"});
    EXPECT_EQ(get("FULL_NAME"), "John Doe");
    EXPECT_EQ(spy::calls("ZKDSPutAttrName").back(), "ZKDSPutAttrName(40, buf3, \"FULL_NAME\")");
    EXPECT_STREQ(ctable[0].identifier, "LAST_NAME");
    EXPECT_STREQ(ctable[0].attribute, "Surname");
    EXPECT_EQ(ctable[1].identifier, nullptr);
}

TEST_F(AttributesTest, BothReadersMakeTheseCalls) {
    for (auto read : {&AttributesTest::get, &AttributesTest::get_lightly}) {
        spy::reset();
        spy::text_attribute(user_object, "Full Name", {"John Doe"});
        EXPECT_EQ((this->*read)("Full Name"), "John Doe");
        EXPECT_THAT(spy::calls(),
                    ElementsAre("ZKDSAllocBuf(4096)", "ZKDSAllocBuf(4096)", "ZKDSInitBuf(40, 3, buf1)",
                                "ZKDSPutAttrName(40, buf1, \"Full Name\")",
                                "ZKDSRead(40, \"jdoe.sales.acme\", 1, 0, iter -1)", "ZKDSGetAttrCount(40, buf2)",
                                "ZKDSGetAttrName(40, buf2)", "ZKDSComputeAttrValSize(40, buf2, 3)",
                                "ZKDSGetAttrVal(40, buf2, 3)", "ZKDSFreeBuf(buf1)", "ZKDSFreeBuf(buf2)"));
    }
}

TEST_F(AttributesTest, OnlyTheLastReplyIsExamined) {
    for (auto read : {&AttributesTest::get, &AttributesTest::get_lightly}) {
        spy::forget_calls();
        spy::attribute_in_replies(user_object, "Thing", {{spy::text("a")}, {spy::text("b")}, {spy::text("c")}});
        EXPECT_EQ((this->*read)("Thing"), "c");
        EXPECT_THAT(spy::calls("ZKDSRead"), ElementsAre("ZKDSRead(40, \"jdoe.sales.acme\", 1, 0, iter -1)",
                                                        "ZKDSRead(40, \"jdoe.sales.acme\", 1, 0, iter 1)",
                                                        "ZKDSRead(40, \"jdoe.sales.acme\", 1, 0, iter 2)"));
        EXPECT_EQ(spy::calls("ZKDSGetAttrCount").size(), 1u);
    }
}

TEST_F(AttributesTest, AFurtherReplyThatFailsIsTheCode) {
    for (auto read : {&AttributesTest::get, &AttributesTest::get_lightly}) {
        spy::reset();
        spy::attribute_in_replies(user_object, "Thing", {{spy::text("a")}, {spy::text("b")}});
        spy::fail_nth("ZKDSRead", 2, ZKE_DIRECTORY_UNREACHABLE);
        EXPECT_EQ((this->*read)("Thing"), "(null)");
        EXPECT_EQ(code, ZKE_DIRECTORY_UNREACHABLE);
        EXPECT_EQ(spy::open_buffers(), 0);
    }
}

TEST_F(AttributesTest, MultiValuedAttributeYieldsItsFirstValueAndItsLastToTheLightReader) {
    spy::text_attribute(user_object, "Thing", {"first", "second", "third"});
    spy::text_attribute(user_object, "Pair", {"first", "second"});
    EXPECT_EQ(get("Thing"), "first");
    EXPECT_EQ(get("Pair"), "first");
    EXPECT_EQ(spy::calls("ZKDSGetAttrVal").size(), 2u);
    EXPECT_EQ(get_lightly("Thing"), "third");
    EXPECT_EQ(spy::calls("ZKDSGetAttrVal").size(), 5u);
}

// Of what has no text of its own the caller gets every byte, those behind a zero byte too.
TEST_F(AttributesTest, AnyOtherSyntaxIsHandedOutUnchanged) {
    const std::string bytes("ab\0cd\xFF", 6);
    spy::attribute(user_object, "Photo", {spy::raw(9, bytes)});
    for (auto read : {qrt_GetAttribute, __GetAttribute}) {
        char *value = nullptr;
        EXPECT_EQ(read(session_handle, user_object, "Photo", &value), 0u);
        const OwnedText owned(value);
        EXPECT_EQ(std::string(value, bytes.size()), bytes);
    }
}

TEST_F(AttributesTest, LastAttributeOfAReplyWinsAndEmptyOnesArePassedOver) {
    spy::replies(user_object, "Thing",
                 {{{{"One", {spy::text("1")}, {}}, {"Two", {spy::text("2")}, {}}, {"Three", {}, {}}}, {}}});
    EXPECT_EQ(get("Thing"), "2");
    EXPECT_EQ(get_lightly("Thing"), "2");
}

TEST_F(AttributesTest, ReplyWithoutAnyValueYieldsAnEmptyText) {
    spy::attribute(user_object, "Thing", {});
    EXPECT_EQ(get("Thing"), "");
    EXPECT_EQ(code, 0u);
    EXPECT_EQ(get_lightly("Thing"), "");
    EXPECT_EQ(code, 0u);
    spy::replies(user_object, "None", {{{}, {}}});
    EXPECT_EQ(get("None"), "");
}

TEST_F(AttributesTest, AttributeThatTheSchemaDoesNotKnowFailsWithTheSchemasCode) {
    spy::object(user_object);
    EXPECT_EQ(get("Thing"), "(null)");
    EXPECT_EQ(code, ZKE_NO_SUCH_ATTRIBUTE);
    spy::fail("ZKDSReadAttrDef", ZKE_NO_ACCESS);
    get("Thing");
    EXPECT_EQ(code, ZKE_NO_ACCESS);
    spy::mend();
    spy::forget_calls();
    spy::schema("Thing");
    EXPECT_EQ(get("Thing"), "(null)");
    EXPECT_EQ(code, ZKE_NO_SUCH_VALUE);
    EXPECT_THAT(spy::calls("ZKDSReadAttrDef"), ElementsAre("ZKDSReadAttrDef(40, 0, 0, iter -1)"));
}

TEST_F(AttributesTest, SchemaIsAskedOnlyAfterTheRead) {
    spy::fail("ZKDSPutAttrName", ZKE_NO_SUCH_ATTRIBUTE);
    get("Thing");
    EXPECT_EQ(code, ZKE_NO_SUCH_ATTRIBUTE);
    EXPECT_THAT(spy::calls("ZKDSReadAttrDef"), IsEmpty());
}

TEST_F(AttributesTest, LightReaderKnowsNeitherDigitsNorTheTableOfNamesNorTheSchema) {
    qrt_SetUserVar(3, "abc");
    spy::text_attribute(user_object, "3", {"three"});
    spy::text_attribute(user_object, "LAST_NAME", {"own"});
    EXPECT_EQ(get_lightly("3"), "three");
    EXPECT_EQ(get_lightly("LAST_NAME"), "own");
    spy::object(user_object);
    spy::schema("Thing");
    EXPECT_EQ(get_lightly("Thing"), "(null)");
    EXPECT_EQ(code, ZKE_NO_SUCH_ATTRIBUTE);
    EXPECT_THAT(spy::calls("ZKDSReadAttrDef"), IsEmpty());
}

TEST_F(AttributesTest, LightReaderConvertsAddressesAndPaths) {
    spy::attribute(user_object, "Net", {spy::address(8, std::string("\0\x50\x0A\1\2\3", 6))});
    EXPECT_EQ(get_lightly("Net"), "10.1.2.3");
    spy::attribute(user_object, "Home", {spy::path("VOL", "home")});
    EXPECT_EQ(get_lightly("Home"), "VOL:home");
}

TEST_F(AttributesTest, LightReaderHandsOutCtimesOwnText) {
    spy::attribute(user_object, "When", {spy::number(ZK_SYNTAX_TIME, 1), spy::number(ZK_SYNTAX_TIME, 86400)});
    char *value = nullptr;
    EXPECT_EQ(__GetAttribute(session_handle, user_object, "When", &value), 0u);
    time_t moment = 86400;
    std::string text = value;
    EXPECT_EQ(value, ctime(&moment)); // the very same buffer: it is not to be freed
    EXPECT_EQ(text, value);
}

TEST_F(AttributesTest, LightReaderHandsOutEveryOtherSyntaxRaw) {
    const auto raw = [](const spy::Value &given, auto &copy) {
        spy::attribute(user_object, "Thing", {given});
        char *value = nullptr;
        EXPECT_EQ(__GetAttribute(session_handle, user_object, "Thing", &value), 0u);
        memcpy(&copy, value, sizeof copy);
        return OwnedText(value);
    };
    int32_t count = 0;
    ZKNumericText number;
    ZKPostalAddress lines;
    raw(spy::number(ZK_SYNTAX_COUNTER, 0x01020304), count);
    EXPECT_EQ(count, 0x01020304);
    raw(spy::number(ZK_SYNTAX_INTERVAL, 3 * 86400), count);
    EXPECT_EQ(count, 3 * 86400);
    const OwnedText phone = raw(spy::numeric_text("555 0100"), number);
    EXPECT_STREQ(number.text, "555 0100");
    const OwnedText address = raw(spy::postal({"1 Main St"}), lines);
    EXPECT_STREQ(lines.line[0], "1 Main St");
}

TEST_F(AttributesTest, LightReaderCountsNoDaysOfAPassword) {
    spy::attribute(user_object, "Password Expiration Time", {spy::number(ZK_SYNTAX_TIME, 86400)});
    char *value = nullptr;
    EXPECT_EQ(__GetAttribute(session_handle, user_object, "PASSWORD EXPIRATION TIME", &value), 0u);
    time_t moment = 86400;
    EXPECT_STREQ(value, ctime(&moment));
}

TEST_F(AttributesTest, TracesNameTheFailingCallAndItsCode) {
    spy::text_attribute(user_object, "Full Name", {"John Doe"});
    for (const char *call : {"ZKDSAllocBuf", "ZKDSInitBuf", "ZKDSPutAttrName", "ZKDSRead", "ZKDSGetAttrCount",
                             "ZKDSGetAttrName", "ZKDSComputeAttrValSize", "ZKDSGetAttrVal"}) {
        std::string traced = traces(5, call, 0xABC);
        EXPECT_THAT(traced, HasSubstr(call));
        EXPECT_THAT(traced, HasSubstr("abc")) << call;
        EXPECT_EQ(traces(0, call, 0xABC), "") << call;
    }
    spy::reset();
    spy::object(user_object);
    EXPECT_THAT(traces(5, "ZKDSReadAttrDef", 0xABC), HasSubstr("ZKDSReadAttrDef returned abc"));
}

TEST_F(AttributesTest, EveryFailingCallReturnsItsCodeAndFreesTheBuffers) {
    spy::text_attribute(user_object, "Full Name", {"John Doe"});
    for (auto read : {&AttributesTest::get, &AttributesTest::get_lightly}) {
        for (int i = 1; i <= 9; i++) {
            spy::mend();
            spy::fail_call(spy::call_count() + i, ZKE_DIRECTORY_UNREACHABLE);
            EXPECT_EQ((this->*read)("Full Name"), "(null)") << i;
            EXPECT_EQ(code, ZKE_DIRECTORY_UNREACHABLE) << i;
            EXPECT_EQ(spy::open_buffers(), 0) << i;
        }
    }
}

TEST_F(AttributesTest, FailureAmongTheValuesLosesTheEarlierOnes) {
    spy::text_attribute(user_object, "Thing", {"first", "second"});
    spy::fail_nth("ZKDSGetAttrVal", 2, ZKE_DIRECTORY_UNREACHABLE);
    EXPECT_EQ(get_lightly("Thing"), "(null)");
    EXPECT_EQ(code, ZKE_DIRECTORY_UNREACHABLE);
}

TEST_F(AttributesTest, CountsBeyondTheReplyEndInTheClientsCode) {
    spy::replies(user_object, "Thing", {{{{"Thing", {spy::text("x")}, UINT32_MAX}}, {}}});
    EXPECT_EQ(get("Thing"), "x");
    EXPECT_EQ(get_lightly("Thing"), "(null)");
    EXPECT_EQ(code, ZKE_BAD_PARAMETER);
    spy::replies(user_object, "Many", {{{{"Many", {spy::text("x")}, {}}}, UINT32_MAX}});
    EXPECT_EQ(get("Many"), "(null)");
    EXPECT_EQ(code, ZKE_BAD_PARAMETER);
}

TEST_F(AttributesTest, WithoutAnObjectThereIsNoEntry) {
    char *value = nullptr;
    EXPECT_EQ(qrt_GetAttribute(session_handle, nullptr, "Thing", &value), ZKE_NO_SUCH_ENTRY);
    EXPECT_EQ(__GetAttribute(session_handle, nullptr, "Thing", &value), ZKE_NO_SUCH_ENTRY);
    EXPECT_THAT(spy::calls(), IsEmpty());
    qrt_SetUserVar(1, "one");
    EXPECT_EQ(qrt_GetAttribute(session_handle, nullptr, "1", &value), 0u);
    EXPECT_EQ(taken(value), "one");
}

TEST(ErrorNames, AreHandedOutAsNewText) {
    const std::pair<uint32_t, const char *> rows[] = {{0x8801, "ZKE_CONN_INVALID"},
                                                      {0x8808, "ZKE_SERVER_NO_SLOTS"},
                                                      {0x8847, "ZKE_SERVER_NOT_FOUND"},
                                                      {0x8890, "DIFF_OBJECT_ALREADY_AUTHEN"},
                                                      {0xFFFFFDA6, "ERR_NO_SUCH_VALUE"},
                                                      {0xFFFFFDA7, "ERR_NO_SUCH_ENTRY"},
                                                      {0xFFFFFDA5, ""},
                                                      {0, ""}};
    for (const auto &[code, name] : rows)
        EXPECT_STREQ(OwnedText(qrt_Error("ZKDSRead", "qrt_GetAttribute", 12, code)).get(), name);
}

TEST(ErrorRecord, IsTracedAndCutAtItsBuffer) {
    testing::internal::CaptureStdout();
    debug_level = 5;
    free(qrt_Error("ZKDSRead", "qrt_GetAttribute", 12, 0x8801));
    free(qrt_Error(std::string(5000, 'x').c_str(), nullptr, 0, 1));
    debug_level = 0;
    std::string traced = testing::internal::GetCapturedStdout();
    EXPECT_THAT(traced, HasSubstr("function:qrt_GetAttribute Line:12 - API:ZKDSRead code:8801 ZKE_CONN_INVALID\n"));
    EXPECT_LT(traced.size(), 2600u);
}

} // namespace
