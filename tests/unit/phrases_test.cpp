#include "language/phrases.h"

#include "tests/unit/session_fixture.h"

namespace {

class PhrasesTest : public ScriptTest {
  protected:
    // The value of a text operand, as WRITE prints it.
    std::string value(const std::string &text) {
        EXPECT_EQ(run("WRITE " + text + "\n"), 0) << text;
        const std::string line = output();
        EXPECT_EQ(line.substr(line.size() - 1), "\n");
        return line.substr(0, line.size() - 1);
    }
    // The value of a directory name, as CONTEXT stores it.
    std::string name(const std::string &text) {
        EXPECT_EQ(run("CONTEXT " + text + "\n"), 0) << text;
        output();
        return CurrentContext;
    }
    // The value of a word, as SET takes it for a variable's name.
    void expect_word(const std::string &text, const char *word) {
        unsetenv(word);
        EXPECT_EQ(run("SET " + text + " = \"set\"\n"), 0) << text;
        EXPECT_STREQ(getenv(word), "set") << text;
        unsetenv(word);
    }
};

struct PhraseRow {
    const char *phrase;
    const char *value;
};

TEST_F(PhrasesTest, WordsAreTakenAsWrittenAndJoinedWithoutBlanks) {
    expect_word("Abc.d", "Abc.d");
    expect_word("Write", "Write");
    expect_word("map", "map");
    expect_word("LOGIN_NAME", "LOGIN_NAME");
    expect_word("A-B", "A-B");
    expect_word("A - B * C-IF", "A-B*C-IF");
}

TEST_F(PhrasesTest, DirectoryNamesAreJoinedWithoutBlanks) {
    static const PhraseRow rows[] = {
        {"OU=Sales Dept", ".OU=SalesDept"},
        {".sales.acme", ".sales.acme"},
        {"OU = Sales . O = acme", ".OU=Sales.O=acme"},
        {"a - b * c", ".a-b*c"},
        {"IF ELSE MAP x", ".IFELSEMAPx"},
        {"%LOGIN_NAME .acme", ".jdoe.acme"},
        {"OU=%<DEPT>.acme", ".OU=worth.acme"},
        {"<DEPT>.acme", ".worth.acme"},
        {"a=b=c", ".a=b=c"},
        {"a%<DEPT>b", ".aworthb"},
        {"a-%<DEPT> - b", ".a-worth-b"},
        {"LOGIN_NAME", ".LOGIN_NAME"},
    };
    setenv("DEPT", "worth", 1);
    for (const PhraseRow &row : rows) EXPECT_EQ(name(row.phrase), row.value) << row.phrase;
}

TEST_F(PhrasesTest, TextsAreJoinedAndCalculated) {
    static const PhraseRow rows[] = {
        {"", ""},
        {"\"\"", ""},
        {"\"A\" ; \"B\"", "AB"},
        {"; \"A\"", "A"},
        {";; \"A\"", "A"},
        {"\"A\" ;", "A"},
        {"\"A\" ; ; \"B\"", "AB"},
        {"\"4\" + \"5\"", "9"},
        {"\"4\" - \"5\"", "-1"},
        {"\"4\" * \"5\"", "20"},
        {"\"7\" / \"2\"", "3"},
        {"\"-7\" / \"2\"", "-3"},
        {"\"7\" / \"0\"", "0"},
        {"\"7\" / \"none\"", "0"},
        {"\"x\" + \"5\"", "5"},
        {"\"12abc\" + \" 1\"", "13"},
        {"+", "0"},
        {"\"2147483647\" + \"1\"", "-2147483648"},
        {"\"-2147483648\" / \"-1\"", "-2147483648"},
        {"\"4294967297\" * \"1\"", "1"},
        {"\"65536\" * \"65536\"", "0"},
        // Operators have equal standing and group to the right.
        {"\"10\" - \"3\" - \"2\"", "9"},
        {"\"A\" ; \"1\" + \"2\"", "A3"},
        {"\"1\" + \"2\" ; \"3\"", "24"},
        {"\"2\" * \"3\" + \"4\"", "14"},
        {"\"20\" / \"5\" - \"1\"", "5"},
        {"\"8\" / \"4\" / \"2\"", "4"},
        {"\"1\" ; \"2\" ; \"3\" * \"2\"", "126"},
    };
    for (const PhraseRow &row : rows) EXPECT_EQ(value(row.phrase), row.value) << row.phrase;
}

TEST_F(PhrasesTest, BetweenPlainWordsMinusAndTimesJoin) {
    spy::fail("ZKDSRead", ZKE_NO_ACCESS);
    EXPECT_EQ(value("A-B"), "A-B");
    EXPECT_EQ(value("5-3"), "5-3");
    EXPECT_EQ(value("5 * 3"), "5*3");
    EXPECT_EQ(value("5+3"), "8");
    EXPECT_EQ(value("\"5\"-3"), "2");
}

TEST_F(PhrasesTest, ReservedWordsAreTextsAsWritten) {
    spy::fail("ZKDSRead", ZKE_NO_ACCESS);
    for (const std::string &word : label_words("MAP PATH REMARK REM if Write")) {
        EXPECT_EQ(value("A-" + word), "A-" + word);
        if (word == "COMSPEC") continue; // an identifier
        EXPECT_EQ(value(word), word);
    }
}

TEST_F(PhrasesTest, QuotedStringsHaveTheirReferencesReplacedAndWordsAreLookedUp) {
    EXPECT_EQ(value("\"Hi %LOGIN_NAME\""), "Hi jdoe");
    EXPECT_EQ(value("\"%LOGIN_NAME\";\"%LOGIN_NAME\""), "jdoejdoe");
    EXPECT_EQ(value("\"Hi %NOBODY_KNOWS\""), "Hi %NOBODY_KNOWS");
    spy::fail("ZKDSRead", ZKE_NO_ACCESS);
    EXPECT_EQ(value("Hi ; LOGIN_NAME"), "Hijdoe");
    EXPECT_EQ(value("Hi ; %LOGIN_NAME"), "Hijdoe");
}

TEST_F(PhrasesTest, AngleBracketsNameEnvironmentVariables) {
    setenv("SOME_VAR", "some value", 1);
    unsetenv("UNSET_VAR");
    EXPECT_EQ(value("%<SOME_VAR>"), "some value");
    EXPECT_EQ(value("<SOME_VAR>"), "some value");
    EXPECT_EQ(value("% < SOME_VAR >"), "some value");
    EXPECT_EQ(value("%<UNSET_VAR>"), "");
    EXPECT_EQ(value("<UNSET_VAR>"), "");
}

TEST_F(PhrasesTest, NamesMayBeJoinedOrReservedWords) {
    setenv("A-SET*b", "joined", 1);
    setenv("IF", "reserved", 1);
    for (const char *form : {"%<", "<"}) {
        EXPECT_EQ(value(std::string(form) + "A-SET*b>"), "joined");
        EXPECT_EQ(value(std::string(form) + "A - SET * b >"), "joined");
        EXPECT_EQ(value(std::string(form) + "IF>"), "reserved");
    }
    unsetenv("A-SET*b");
    unsetenv("IF");
    spy::text_attribute(user, "FAX-2", {"joined"});
    spy::text_attribute(user, "PROFILE", {"reserved"});
    EXPECT_EQ(value("%FAX-2"), "joined");
    EXPECT_EQ(value("FAX - 2"), "joined");
    EXPECT_EQ(value("%PROFILE"), "reserved");
    EXPECT_EQ(value("PROFILE"), "reserved");
}

TEST_F(PhrasesTest, AnIdentifierComesBeforeAnAttributeOfTheCurrentObject) {
    spy::text_attribute(user, "LOGIN_NAME", {"from the directory"});
    EXPECT_EQ(value("%LOGIN_NAME"), "jdoe");
    EXPECT_EQ(value("LOGIN_NAME"), "jdoe");
    EXPECT_EQ(value("%login_name"), "jdoe");
    spy::text_attribute(user, "Telephone Number", {"555-1234"});
    EXPECT_EQ(value("%TELEPHONE_NUMBER"), "555-1234");
    EXPECT_EQ(value("TELEPHONE_NUMBER"), "555-1234");
    EXPECT_THAT(spy::calls("ZKDSRead")[0], HasSubstr("ZKDSRead(1, \"jdoe.sales.acme\""));
}

TEST_F(PhrasesTest, LookupsAreOfTheObjectInTheCurrentContext) {
    name(".east.acme");
    for (const char *text : {"FAX", "%FAX", "MEMBER OF \"Staff\"", "NOT MEMBER OF \"Staff\""}) {
        spy::forget_calls();
        value(text);
        ASSERT_THAT(spy::calls("ZKDSRead"), Not(IsEmpty())) << text;
        EXPECT_THAT(spy::calls("ZKDSRead")[0], HasSubstr("\"jdoe.east.acme\"")) << text;
    }
}

TEST_F(PhrasesTest, UserVariablesAreDigitsAndGreetingsAreJoined) {
    qrt_SetUserVar(2, "two");
    EXPECT_EQ(value("%2"), "two");
    EXPECT_EQ(value("2"), "two");
    EXPECT_EQ(value("%3"), "");
    EXPECT_EQ(value("3"), "3");
    spy::text_attribute(user, "Full Name", {"John Doe"});
    EXPECT_EQ(value("\"Hello \" ; %FULL_NAME"), "Hello John Doe");
}

TEST_F(PhrasesTest, AFailedLookupHasItsFallbackAndIsTraced) {
    const struct {
        uint32_t code; // of reading the attribute
        const char *identifier, *word;
        bool invalid;
    } rows[] = {{ZKE_NO_SUCH_ATTRIBUTE, "%FAX", "%FAX", false},
                {ZKE_NO_SUCH_VALUE, "", "FAX", false},
                {ZKE_NO_SUCH_ENTRY, "", "FAX", true},
                {ZKE_NO_ACCESS, "", "FAX", true}};
    for (const auto &row : rows) {
        spy::mend();
        spy::fail("ZKDSRead", row.code);
        for (const auto &[text, fallback] : {std::pair{"%FAX", row.identifier}, std::pair{"FAX", row.word}}) {
            SCOPED_TRACE(text + std::string(" ") + fallback);
            EXPECT_EQ(value(text), fallback);
            const std::string traced = traces(6, [this, phrase = text] { value(phrase); });
            EXPECT_THAT(traced, HasSubstr(std::string("Identifier value:") + fallback + "\n"));
            const auto error = HasSubstr("Error Invalid Identifier:FAX(" + hexadecimal(row.code) + ")\n");
            if (row.invalid)
                EXPECT_THAT(traced, error);
            else
                EXPECT_THAT(traced, Not(error));
        }
    }
}

TEST_F(PhrasesTest, AnAttributeThatTheSchemaKnowsHasNoValue) {
    spy::schema("FAX");
    EXPECT_EQ(value("%FAX"), "");
    EXPECT_EQ(value("FAX"), "FAX");
}

TEST_F(PhrasesTest, AnIdentifierWithoutAValueIsReadAsAnAttribute) {
    spy::fail("ZKDSRead", ZKE_NO_SUCH_VALUE);
    EXPECT_EQ(value("%HOME_DIRECTORY"), "");
    EXPECT_EQ(value("%FULL_NAME"), "not set");
    EXPECT_THAT(traces(6, [this] { value("%LOGIN_NAME"); }), HasSubstr("Identifier value:jdoe\n"));
}

TEST_F(PhrasesTest, MembershipIsZeroForTrueAndPrintsSo) {
    spy::text_attribute(user, "Group_Membership", {"Staff.sales.acme", "Admins.corp"});
    static const PhraseRow rows[] = {
        {"MEMBER OF \"Staff\"", "0"},      {"MEMBERS OF \"staff\"", "0"},      {"MEMBER OF \"Bosses\"", "1"},
        {"MEMBERS OF \"Bosses\"", "1"},    {"NOT MEMBER OF \"Staff\"", "1"},   {"NOT MEMBERS OF \"Staff\"", "1"},
        {"NOT MEMBER OF \"Bosses\"", "0"}, {"NOT MEMBERS OF \"Bosses\"", "0"}, {"MEMBER OF \".Admins.corp\"", "0"},
        {"MEMBER OF \"Admins\"", "1"},
    };
    for (const PhraseRow &row : rows) EXPECT_EQ(value(row.phrase), row.value) << row.phrase;
    spy::text_attribute(user, "Group_Membership", {"jdoe-friends.sales.acme"});
    EXPECT_EQ(value("MEMBER OF \"%LOGIN_NAME-friends\""), "0");
}

TEST_F(PhrasesTest, MembershipIsReadFromItsAttributeOnce) {
    for (const char *form : {"MEMBER", "MEMBERS", "NOT MEMBER", "NOT MEMBERS"}) {
        spy::forget_calls();
        value(std::string(form) + " OF \"Staff\"");
        const std::vector<std::string> asked = spy::calls("ZKDSPutAttrName");
        ASSERT_EQ(asked.size(), 1U) << form;
        EXPECT_THAT(asked[0], HasSubstr(", \"Group_Membership\")")) << form;
    }
}

TEST_F(PhrasesTest, AFailedLookupMakesBothFormsFalse) {
    for (const char *call : {"ZKDSCreateContextHandle", "ZKDSGetContext", "ZKDSAllocBuf", "ZKDSPutAttrName"}) {
        spy::mend();
        spy::fail(call, ZKE_NO_MEMORY);
        EXPECT_EQ(value("MEMBER OF \"Staff\""), "1") << call;
        EXPECT_EQ(value("NOT MEMBER OF \"Staff\""), "1") << call;
    }
}

TEST_F(PhrasesTest, AUserWithoutAnyGroupIsNoMember) {
    spy::schema("Group_Membership");
    EXPECT_EQ(value("MEMBER OF \"Staff\""), "1");
    EXPECT_EQ(value("NOT MEMBER OF \"Staff\""), "0");
}

TEST_F(PhrasesTest, ReferencesInSkippedBlocksAreReplacedButNotThoseOfWholeLines) {
    for (const char *operand : {"FAX", "%FAX", "\"%FAX\"", "MEMBER OF \"Staff\""}) {
        spy::forget_calls();
        EXPECT_EQ(printed(std::string("IF \"1\" THEN\nWRITE ") + operand + "\nEND\n"), "");
        EXPECT_THAT(spy::call_names(), Contains("ZKDSRead")) << operand;
    }
    spy::forget_calls();
    EXPECT_EQ(printed("IF \"1\" THEN\n#%FAX\n@%FAX\nMAP %FAX\nPATH %FAX\nREM %FAX\nEND\n"), "");
    EXPECT_THAT(spy::calls(), IsEmpty());
}

TEST_F(PhrasesTest, ReferencesAreReplacedInTheOrderOfTheText) {
    spy::fail("ZKDSRead", ZKE_NO_ACCESS);
    run("WRITE %B ; \"%A\" ; C\n");
    std::vector<std::string> asked;
    for (const std::string &call : spy::calls("ZKDSPutAttrName")) asked.push_back(call.substr(call.rfind(' ') + 1));
    EXPECT_THAT(asked, ElementsAre("\"B\")", "\"A\")", "\"C\")"));
}

TEST_F(PhrasesTest, WithoutACurrentObjectWordsStayAsWritten) {
    free(CurrentObject);
    CurrentObject = nullptr;
    EXPECT_EQ(value("FAX"), "FAX");
    EXPECT_EQ(value("%FAX"), "");
    EXPECT_EQ(value("MEMBER OF \"Staff\""), "1");
    EXPECT_EQ(value("NOT MEMBER OF \"Staff\""), "1");
}

} // namespace
