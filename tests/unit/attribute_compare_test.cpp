#include "directory/attribute_compare.h"

#include "tests/unit/session_fixture.h"

namespace {

static constexpr uint32_t untouched_flag = 7;

class AttributeCompareTest : public DirectoryTest {
  protected:
    AttributeCompareTest() {
        uint32_t flags = 0x10;
        ZKDSSetContext(session_handle, DCK_FLAGS, &flags);
        ZKDSSetContext(session_handle, DCK_TREE_NAME, "ACME_TREE");
        spy::object(user_object);
        spy::forget_calls();
    }
    static void member_of(const std::vector<std::string> &groups) {
        spy::text_attribute(user_object, "Group Membership", groups);
    }
    uint32_t compare(const char *name) {
        flag = untouched_flag;
        return qrt_compareAttribute(session_handle, user_object, "Group_Membership", name, &flag);
    }
    // The flag's three answers: 0 a member, 1 not a member, neither.
    bool is_member(const char *name) {
        EXPECT_EQ(compare(name), 0u) << name;
        return flag == 0;
    }
    static uint32_t session_flags() {
        uint32_t flags = 0;
        ZKDSGetContext(session_handle, DCK_FLAGS, &flags);
        return flags;
    }
    uint32_t flag = untouched_flag;
};

TEST_F(AttributeCompareTest, MakesTheseCalls) {
    member_of({"CN=Admins.OU=sales.O=acme"});
    EXPECT_FALSE(is_member("Others"));
    EXPECT_THAT(
        spy::calls(),
        ElementsAre("ZKDSGetContext(40, DCK_TREE_NAME)", "ZKDSCreateContextHandle()", "ZKDSGetContext(40, DCK_FLAGS)",
                    "ZKDSSetContext(40, DCK_FLAGS, 0x57)", "ZKDSSetContext(1, DCK_FLAGS, 0x57)",
                    "ZKDSCanonicalizeName(40, \"jdoe.sales.acme\")", "ZKDSSetContext(1, DCK_TREE_NAME, \"ACME_TREE\")",
                    "ZKDSSetContext(1, DCK_NAME_CONTEXT, \"\")", "ZKDSFreeContext(1)", "ZKDSAllocBuf(4096)",
                    "ZKDSAllocBuf(4096)", "ZKDSInitBuf(40, 3, buf1)", "ZKDSPutAttrName(40, buf1, \"Group_Membership\")",
                    "ZKDSRead(40, \"jdoe.sales.acme\", 1, 0, iter -1)", "ZKDSGetAttrCount(40, buf2)",
                    "ZKDSGetAttrName(40, buf2)", "ZKDSComputeAttrValSize(40, buf2, 3)", "ZKDSGetAttrVal(40, buf2, 3)",
                    "ZKDSFreeBuf(buf1)", "ZKDSFreeBuf(buf2)", "ZKDSSetContext(40, DCK_FLAGS, 0x10)"));
}

TEST_F(AttributeCompareTest, AFailingCallIsTracedWithItsCode) {
    member_of({"Others"});

    for (const std::string call :
         {"ZKDSGetContext", "ZKDSCreateContextHandle", "ZKDSSetContext", "ZKDSCanonicalizeName", "ZKDSAllocBuf",
          "ZKDSRead", "ZKDSGetAttrCount", "ZKDSGetAttrVal"}) {
        spy::mend();
        spy::fail(call, 0xAB12);
        EXPECT_THAT(traces(5, [this] { compare("Admins"); }),
                    testing::ContainsRegex(" " + call + ".* returned ab12\n"));
    }
}

TEST_F(AttributeCompareTest, ObjectIsReadByTheNameAsGiven) {
    spy::canonical(user_object, "someone.else");
    member_of({"Admins.sales.acme"});
    EXPECT_TRUE(is_member("Admins"));
    EXPECT_THAT(spy::calls("ZKDSRead"), ElementsAre("ZKDSRead(40, \"jdoe.sales.acme\", 1, 0, iter -1)"));
}

TEST_F(AttributeCompareTest, NamesAreCompared) {
    const std::string begun(256, 'g'), shorter(200, 'g');
    const struct {
        const char *behaviour;
        std::string context, group, name;
        bool member;
    } rows[] = {
        {"a plain name is in the current context", ".sales.acme", "Admins.sales.acme", "Admins", true},
        {"and in no other", ".sales.acme", "Admins.corp", "Admins", false},
        {"a name with a leading dot is complete", ".sales.acme", "Admins.corp", ".Admins.corp", true},
        {"and gets no context", ".sales.acme", "Admins.corp", ".Admins", false},
        {"one with a trailing dot stands as it is", ".sales.acme", "Admins", "Admins.", true},
        {"without it gets its context", ".sales.acme", "Admins", "Admins", false},
        {"types behind a period do not count", ".OU=sales.O=acme", "Admins.OU=sales.O=acme", "Admins", true},
        {"nor do missing ones", ".OU=sales.O=acme", "Admins.OU=sales.O=acme", ".Admins.sales.acme", true},
        {"the first component keeps its type", ".OU=sales.O=acme", "Admins.OU=sales.O=acme", ".CN=Admins.sales.acme",
         false},
        {"letter case does not count", ".sales.acme", "ADMINS.Sales.ACME", "admins", true},
        {"both sides are cut where the abbreviation ends", ".sales.acme", begun + ".sales", "." + begun + ".corp",
         true},
        {"shorter ones are not", ".sales.acme", shorter + ".sales", "." + shorter + ".corp", false},
    };
    for (const auto &row : rows) {
        set(CurrentContext, row.context.c_str());
        member_of({row.group});
        EXPECT_EQ(is_member(row.name.c_str()), row.member) << row.behaviour;
    }
}

TEST_F(AttributeCompareTest, EmptyNameIsTheCurrentContext) {
    EXPECT_EQ(attribute_compare_wanted(""), ".sales.acme");
    EXPECT_EQ(attribute_compare_wanted("."), "");
    EXPECT_EQ(attribute_compare_wanted(".Admins.corp."), "Admins.corp."); // the leading dot alone is taken off
    set(CurrentContext, nullptr);
    EXPECT_EQ(attribute_compare_wanted("Admins"), "Admins");
}

TEST_F(AttributeCompareTest, AnyValueMayMatch) {
    member_of({"One.sales.acme", "Two.sales.acme", "Three.sales.acme"});
    EXPECT_TRUE(is_member("Two"));
    EXPECT_EQ(spy::calls("ZKDSGetAttrVal").size(), 2u); // no further value is fetched
}

TEST_F(AttributeCompareTest, EveryReplyIsExaminedUntilAMatch) {
    spy::attribute_in_replies(user_object, "Group Membership",
                              {{spy::text("One.sales.acme")}, {spy::text("Two.sales.acme")}, {spy::text("Three")}});
    EXPECT_TRUE(is_member("Two"));
    EXPECT_EQ(spy::calls("ZKDSRead").size(), 2u);
    EXPECT_FALSE(is_member("Four"));
    EXPECT_EQ(spy::calls("ZKDSRead").size(), 5u);
}

TEST_F(AttributeCompareTest, EveryAttributeOfAReplyIsExamined) {
    const spy::Attribute one{"One", {spy::text("One.sales.acme")}, {}}, none{"None", {}, {}},
        two{"Two", {spy::text("Other"), spy::text("Two.sales.acme")}, {}};
    spy::replies(user_object, "Group Membership", {{{none, one, none, two}, {}}});
    EXPECT_TRUE(is_member("Two"));
    EXPECT_TRUE(is_member("One"));
    EXPECT_FALSE(is_member("Three"));
}

TEST_F(AttributeCompareTest, FlagsAreRestoredAndThatCallsResultIsReturned) {
    member_of({"Admins.sales.acme"});
    EXPECT_TRUE(is_member("Admins"));
    EXPECT_EQ(session_flags(), 0x10u);
    spy::fail_nth("ZKDSSetContext", static_cast<int>(spy::calls("ZKDSSetContext").size()) + 2 + 5, ZKE_BAD_HANDLE);
    EXPECT_EQ(compare("Admins"), ZKE_BAD_HANDLE);
    EXPECT_EQ(flag, 0u);
}

TEST_F(AttributeCompareTest, UserWithoutAnyGroupIsNotAMemberAndTheFlagsStayWidened) {
    EXPECT_EQ(compare("Admins"), ZKE_NO_SUCH_ATTRIBUTE);
    EXPECT_EQ(flag, 1u);
    EXPECT_EQ(session_flags(), 0x57u);
    EXPECT_EQ(spy::open_contexts(), 0);
}

TEST_F(AttributeCompareTest, FailureBeforeTheReadLeavesTheFlagAlone) {
    member_of({"Admins.sales.acme"});
    struct Step {
        const char *call;
        int occurrence;
    };
    for (Step step : {Step{"ZKDSGetContext", 1}, Step{"ZKDSCreateContextHandle", 1}, Step{"ZKDSGetContext", 2},
                      Step{"ZKDSSetContext", 2}, Step{"ZKDSCanonicalizeName", 1}, Step{"ZKDSSetContext", 3},
                      Step{"ZKDSSetContext", 4}, Step{"ZKDSAllocBuf", 1}, Step{"ZKDSAllocBuf", 2},
                      Step{"ZKDSInitBuf", 1}, Step{"ZKDSPutAttrName", 1}}) {
        spy::reset();
        member_of({"Admins.sales.acme"});
        spy::fail_nth(step.call, step.occurrence, ZKE_NO_ACCESS);
        EXPECT_EQ(compare("Admins"), ZKE_NO_ACCESS) << step.call << step.occurrence;
        EXPECT_EQ(flag, untouched_flag) << step.call << step.occurrence;
        EXPECT_EQ(spy::open_buffers(), 0);
        EXPECT_EQ(spy::open_contexts(), 0);
        EXPECT_THAT(spy::calls("ZKDSRead"), IsEmpty());
        // What has been widened by then stays so.
        const bool widened =
            std::string(step.call) != "ZKDSGetContext" && step.call != std::string("ZKDSCreateContextHandle");
        EXPECT_EQ(session_flags(), widened ? 0x57u : 0u) << step.call << step.occurrence;
    }
}

TEST_F(AttributeCompareTest, FailureToWidenTheCallersFlagsIsIgnored) {
    member_of({"Admins.sales.acme"});
    spy::fail_nth("ZKDSSetContext", 3, ZKE_NO_ACCESS); // the fixture made two
    EXPECT_TRUE(is_member("Admins"));
}

TEST_F(AttributeCompareTest, FailureAmongTheValuesIsReturned) {
    member_of({"One.sales.acme", "Admins.sales.acme"});
    spy::fail_nth("ZKDSGetAttrVal", 2, ZKE_NO_ACCESS);
    EXPECT_EQ(compare("Admins"), ZKE_NO_ACCESS);
    EXPECT_EQ(flag, 1u);
    EXPECT_EQ(session_flags(), 0x57u);
}

TEST_F(AttributeCompareTest, HostileValuesDoNotMatch) {
    spy::attribute(user_object, "Group Membership",
                   {spy::raw(3, ""), spy::raw(3, std::string(5000, 'x')), spy::path(nullptr, nullptr),
                    spy::raw(3, "Admins.sales.acme")});
    EXPECT_TRUE(is_member("Admins"));
    EXPECT_FALSE(is_member(std::string(5000, 'y').c_str()));
}

TEST_F(AttributeCompareTest, WithoutAnObjectNothingIsCompared) {
    EXPECT_EQ(qrt_compareAttribute(session_handle, nullptr, "Group_Membership", "Admins", &flag), ZKE_NO_SUCH_ENTRY);
    EXPECT_EQ(flag, untouched_flag);
}

} // namespace
