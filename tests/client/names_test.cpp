#include "platform/client/core/names.h"

#include "tests/support/client_fixture.h"

namespace {

const Name sales = {{"ou", "sales"}, {"o", "acme"}};

std::string parsed_name(const std::string &text, const Name &context = {}) {
    Name name;
    return name_parse_dotted(text, context, &name) ? name_to_dotted(name, true) : "malformed";
}

std::string from_dn(const char *dn, const Name &base = {}) {
    Name name;
    bool outside = false;
    bool good = name_parse_dn(dn, base, &name, &outside);
    return good ? name_to_dotted(name, true) : outside ? "outside" : "malformed";
}

struct Case {
    const char *text, *expected;
};

TEST(Names, DottedNamesFromTheRoot) {
    const Case cases[] = {{"jdoe.sales.acme", "jdoe.sales.acme"},
                          {".jdoe.sales.acme", "jdoe.sales.acme"},
                          {"CN=jdoe.ou=sales.O=acme", "CN=jdoe.OU=sales.O=acme"},
                          {"jdoe.OU=sales.O=acme", "jdoe.OU=sales.O=acme"},
                          {"organizationName=acme", "O=acme"},
                          {"admin.[Root]", "admin"},
                          {".admin.[root]", "admin"},
                          {"[Root]", "[Root]"},
                          {"a\\.b.acme", "a\\.b.acme"},
                          {"a\\=b.acme", "a\\=b.acme"},
                          {"a\\\\.acme", "a\\\\.acme"},
                          {"CN=a=b.acme", "CN=a\\=b.acme"},
                          {" jdoe . sales ", "jdoe.sales"},
                          {"\\ jdoe", "\\ jdoe"},
                          {"admin.\\[Root]", "admin.\\[Root]"},
                          {"admin\\.[Root]", "admin\\.[Root]"},
                          {".[Root]", "[Root]"},
                          {"\\.[Root]", "\\.[Root]"},
                          {"a[Root]", "a[Root]"},
                          {"a\\.[Root]", "a\\.[Root]"},
                          {"Root]", "Root]"},
                          {"jdoe\\ .acme", "jdoe\\ .acme"},
                          {"jdoe\\  .acme", "jdoe\\ .acme"},
                          {"j doe.acme", "j doe.acme"},
                          {"\\ .acme", "\\ .acme"},
                          {"a-Z09z = x", "A-Z09Z=x"},
                          {"  ou = x", "OU=x"},
                          {"\\#x", "#x"}};
    for (const Case &c : cases) EXPECT_EQ(c.expected, parsed_name(c.text)) << c.text;
}

TEST(Names, RelativeNamesContinueWithTheNameContext) {
    EXPECT_EQ("jdoe.OU=sales.O=acme", parsed_name("jdoe", sales));
    EXPECT_EQ("jdoe.O=acme", parsed_name("jdoe.", sales));
    EXPECT_EQ("jdoe", parsed_name("jdoe..", sales));
    EXPECT_EQ("jdoe.acme", parsed_name(".jdoe.acme", sales));
    EXPECT_EQ("admin", parsed_name("admin.[Root]", sales));
    EXPECT_EQ("jdoe\\..OU=sales.O=acme", parsed_name("jdoe\\.", sales));
    EXPECT_EQ("jdoe\\\\.O=acme", parsed_name("jdoe\\\\.", sales));
    EXPECT_EQ("jdoe\\\\\\..OU=sales.O=acme", parsed_name("jdoe\\\\\\.", sales));
    EXPECT_EQ("jdoe\\..O=acme", parsed_name("jdoe\\..", sales));
}

TEST(Names, MalformedDottedNames) {
    const std::string cases[] = {
        "",     ".",    "..",   "a..b",   "..a",   "a\\",          "=a",        "CN=",  "1=a",   "a b=c",
        "9a=c", "-a=c", "@a=c", "[a=c",   "`a=c",  "{a=c",         "a@=c",      "a[=c", "a`=c",  "a{=c",
        "a/=c", "a:=c", "a_=c", ".jdoe.", "jdoe.", "[Root].acme.", "a.[Root].", ". .",  "a. .b", std::string(513, 'a')};
    for (const std::string &text : cases) EXPECT_EQ("malformed", parsed_name(text)) << text;
    EXPECT_EQ("malformed", parsed_name("jdoe...", sales)) << "climbs above the root";
}

TEST(Names, TheLengthAndTheDepthAreBounded) {
    EXPECT_EQ(std::string(512, 'a'), parsed_name(std::string(512, 'a')));
    std::string deep = "a";
    for (size_t i = 1; i < name_depth_limit; i++) deep += ".a";
    EXPECT_EQ(deep, parsed_name(deep));
    EXPECT_EQ("malformed", parsed_name(deep + ".a"));
    EXPECT_EQ("malformed", parsed_name(deep, sales)) << "the context counts";
    const std::string shorter = deep.substr(4);
    EXPECT_EQ(shorter + ".OU=sales.O=acme", parsed_name(shorter, sales));
    EXPECT_EQ("malformed", parsed_name(shorter + ".a", sales));
}

TEST(Names, DistinguishedNames) {
    const Case cases[] = {
        {"cn=jdoe,ou=sales,o=acme", "CN=jdoe.OU=sales.O=acme"},
        {"CN = jdoe , OU=sales", "CN=jdoe.OU=sales"},
        {"cn=a\\2Cb,o=acme", "CN=a,b.O=acme"},
        {"cn=a\\,b.c,o=acme", "CN=a,b\\.c.O=acme"},
        {"cn=\\23x", "CN=#x"},
        {"cn=J\\C3\\B6rg", "CN=J\xC3\xB6rg"},
        {"cn=Jos\\C3\\A9", "CN=Jos\xC3\xA9"},
        {"cn=a\\2C,o=b\\41", "CN=a,.O=bA"},
        {"", "[Root]"},
        {"cn=a\\30\\39\\4a\\4F\\6f\\6A\\5a", "CN=a09JOojZ"},
        {"cn=\\ \\\"\\#\\+\\,\\;\\<\\=\\>\\\\x", "CN=\\ \"#+,;<\\=>\\\\x"},
        {"cn=a\\ ", "CN=a\\ "},
        {"cn=a  b  ", "CN=a  b"},
        {"cn=a\\20  ", "CN=a\\ "},
        {"cn=a=b", "CN=a\\=b"},
        {"cn=a#b", "CN=a#b"},
    };
    for (const Case &c : cases) EXPECT_EQ(c.expected, from_dn(c.text)) << c.text;
    for (const char *dn : {"cn=#04024869", "cn=a+uid=b", "cn=a,,o=b", "cn=",       "jdoe",     "cn=a\\",   "cn=a\\0",
                           "cn=a\\4,o=b",  "cn=a\\00",   "cn=a\\zb",  "2.5.4.3=a", "cn=\"a\"", "cn=a;b",   "cn=a<b",
                           "cn=a>b",       "cn=a\\4",    "cn=a\\4g",  "cn=a\\g4",  "cn=a\\4/", "cn=a\\4:", "cn=a\\4@",
                           "cn=a\\4`",     ",cn=a",      "cn=a,",     "=a"})
        EXPECT_EQ("malformed", from_dn(dn)) << dn;
}

TEST(Names, ATypeHasOneNameHoweverItIsWritten) {
    const Case cases[] = {{"commonName", "CN"},
                          {"surname", "SN"},
                          {"organizationalUnitName", "OU"},
                          {"organizationName", "O"},
                          {"countryName", "C"},
                          {"localityName", "L"},
                          {"stateOrProvinceName", "ST"},
                          {"streetAddress", "STREET"},
                          {"domainComponent", "DC"},
                          {"userid", "UID"},
                          {"gn", "GIVENNAME"},
                          {"fax", "FACSIMILETELEPHONENUMBER"},
                          {"rfc822Mailbox", "MAIL"},
                          {"homeTelephoneNumber", "HOMEPHONE"},
                          {"mobileTelephoneNumber", "MOBILE"},
                          {"aliasedEntryName", "ALIASEDOBJECTNAME"},
                          {"CN", "CN"},
                          {"serialNumber", "SERIALNUMBER"}};
    for (const Case &c : cases) {
        EXPECT_EQ(std::string(c.expected) + "=x", from_dn((c.text + std::string("=x")).c_str()));
        EXPECT_EQ(std::string(c.expected) + "=x", parsed_name(c.text + std::string("=x")));
    }
}

TEST(Names, ADistinguishedNameHasItsLimits) {
    EXPECT_EQ("CN=" + std::string(4093, 'a'), from_dn(("cn=" + std::string(4093, 'a')).c_str()));
    EXPECT_EQ("malformed", from_dn(("cn=" + std::string(4094, 'a')).c_str()));
    std::string dn = "cn=a", base = "o=b";
    for (size_t i = 1; i < name_depth_limit; i++) dn += ",cn=a", base += ",o=b";
    Name base_name;
    ASSERT_TRUE(name_parse_dn(base, {}, &base_name, nullptr));
    EXPECT_NE("malformed", from_dn(dn.c_str()));
    EXPECT_EQ("malformed", from_dn((dn + ",cn=a").c_str()));
    EXPECT_NE("malformed", from_dn((dn + "," + base).c_str(), base_name));
    EXPECT_EQ("malformed", from_dn((dn + ",cn=a," + base).c_str(), base_name));
}

TEST(Names, TheLengthOfANameIsThatOfItsDottedForm) {
    for (const std::string part : {"a", ".", "=", "\\", ".a", "[Root]", "\xC3\xB6"}) {
        std::string value;
        for (size_t i = 0; i < 520; i++, value += part) {
            const Name name = {{"cn", value + "x"}, {"givenname", "[Root]"}, {"o", " "}};
            EXPECT_EQ(name_to_dotted(name, true).size() > 512, name_is_too_long(name_view(name))) << value;
        }
    }
    EXPECT_FALSE(name_is_too_long({}));
}

TEST(Names, TheLengthOfANameIncludesItsTypes) {
    Name name;
    for (size_t i = 0; i < 40; i++) {
        name.push_back({"telephonenumberofthesite", "a"});
        EXPECT_EQ(name_to_dotted(name, true).size() > 512, name_is_too_long(name_view(name))) << i;
    }
}

TEST(Names, AViewOfADistinguishedNameHasTheSameParts) {
    DnView view;
    const Name base = {{"o", "Acme"}};
    for (const char *dn : {"cn=a,o=acme", "CN=\\20A\\,\\c3\\b6 , OU = x  y,o=acme", "o=acme", "commonName= b\\ ,o=ACME",
                           "gn=\xC3\x96,uid=\\+,o=acme"}) {
        Name name;
        ASSERT_TRUE(name_parse_dn(dn, base, &name, nullptr));
        ASSERT_TRUE(name_view_dn(dn, base, &view, nullptr)) << "a view is used again: " << dn;
        EXPECT_EQ(name_to_dn(name, {}), name_to_dn(name_of_view(view.parts), {}));
        std::string key = "what was there";
        name_view_key(view.parts, &key);
        EXPECT_EQ(name_key(name), key);
    }
}

TEST(Names, EveryValueSurvivesBothForms) {
    for (const char *value :
         {" a",  "a ",    " ",     "a b",    "#a",     "a#",      "\\",          "a.b",  "a=b", "a,b", "a+b",
          "a;b", "a<b>c", "\"a\"", "[Root]", "[root]", "x[Root]", "J\xC3\xB6rg", "a\\.", "..",  "  "}) {
        const Name name = {{"cn", value}, {"o", "acme"}};
        Name again;
        EXPECT_TRUE(name_parse_dn(name_to_dn(name, {}), {}, &again, nullptr)) << value;
        EXPECT_EQ(value, again.at(0).value);
        EXPECT_TRUE(name_parse_dotted(name_to_dotted(name, true), {}, &again)) << value;
        EXPECT_EQ(value, again.at(0).value);
    }
}

TEST(Names, AZeroByteIsNoPartOfADistinguishedName) {
    Name name;
    for (std::string_view dn :
         {std::string_view("cn=a\0b", 6), std::string_view("cn=a\\\0b", 7), std::string_view("cn=a\\00b")}) {
        EXPECT_FALSE(name_parse_dn(dn, {}, &name, nullptr)) << dn;
    }
    EXPECT_FALSE(name_parse_dn(std::string_view("cn=a\\,", 5), {}, &name, nullptr)) << "the comma is behind its end";
}

TEST(Names, TheBaseIsNotPartOfAName) {
    Name base;
    ASSERT_TRUE(name_parse_dn("dc=branch,dc=example", {}, &base, nullptr));
    EXPECT_EQ("CN=a", from_dn("cn=a,DC=Branch,dc=example", base));
    EXPECT_EQ("[Root]", from_dn("dc=branch,dc=example", base));
    EXPECT_EQ("outside", from_dn("cn=a,dc=other,dc=example", base));
    EXPECT_EQ("outside", from_dn("dc=example", base));
    EXPECT_EQ("cn=a\\,b,dc=branch,dc=example", name_to_dn({{"cn", "a,b"}}, base));
    EXPECT_EQ("cn=\\#a#,dc=branch,dc=example", name_to_dn({{"cn", "#a#"}}, base));
}

TEST(Names, AbbreviationIsTheShortestFormThatNamesTheObject) {
    struct {
        const char *name, *expected;
    } cases[] = {
        {".jdoe.sales.acme", "jdoe"}, {".bob.acme", "bob."},      {".sales.acme", "sales."},    {".acme", ".acme"},
        {".x.other", ".x.other"},     {".a.b.sales.acme", "a.b"}, {".jdoe.SALES.Acme", "jdoe"},
    };
    for (auto &c : cases) {
        Name name;
        ASSERT_TRUE(name_parse_dotted(c.name, {}, &name));
        std::string shortest = name_abbreviate(name, sales, false);
        EXPECT_EQ(c.expected, shortest) << c.name;
        Name again;
        ASSERT_TRUE(name_parse_dotted(shortest, sales, &again)) << shortest;
        EXPECT_TRUE(name_equal(name, again)) << c.name;
    }
}

TEST(Names, OfTwoEquallyShortFormsTheRelativeOneIsTaken) {
    Name name;
    ASSERT_TRUE(name_parse_dotted("x", {}, &name));
    EXPECT_EQ("x.", name_abbreviate(name, {{"o", "acme"}}, false));
    EXPECT_EQ("x", name_abbreviate(name, {}, false));
    EXPECT_EQ("[Root]", name_abbreviate({}, sales, false));
}

TEST(Names, LettersAreComparedWithoutTheirCase) {
    EXPECT_TRUE(equal_nocase("AZaz09", "azAZ09"));
    for (const char *pair : {"@`", "[{", "a@", "ab"}) EXPECT_FALSE(equal_nocase({pair, 1}, {pair + 1, 1})) << pair;
    EXPECT_FALSE(equal_nocase("a", "ab"));
    EXPECT_FALSE(equal_nocase("ab", "a"));
    EXPECT_EQ("az@[`{", name_fold("AZ@[`{"));
    EXPECT_EQ("\xC3\xB6", name_fold("\xC3\x96"));
    EXPECT_EQ("\xF0\x90\x90\xA8", name_fold("\xF0\x90\x90\x80")) << "a letter of four bytes";
    EXPECT_EQ("", name_fold("   "));
    EXPECT_EQ("a", name_fold("a "));
}

TEST(Names, ComparisonFoldsLettersAndRunsOfBlanks) {
    EXPECT_EQ("research and development", name_fold("  Research  and Development "));
    EXPECT_EQ("j\xC3\xBCrgen \xC3\xB6z", name_fold("J\xC3\x9CRGEN \xC3\x96Z"));
    EXPECT_EQ(name_fold("J\xC3\xBCrgen"), name_fold("Ju\xCC\x88rgen")) << "one letter or a letter and its dots";
    EXPECT_EQ("\xFF jdoe", name_fold("\xFF  JDoe")) << "what is not UTF-8 is compared as it is";
    EXPECT_TRUE(name_equal({{"cn", "J Doe"}}, {{"", "j  doe"}}));
    EXPECT_FALSE(name_equal({{"cn", "jdoe"}}, {{"ou", "jdoe"}}));
    EXPECT_FALSE(name_equal({{"cn", "jdoe"}}, {{"cn", "jdoe"}, {"o", "acme"}}));
}

TEST(Names, TypesAgreeWhereEitherIsLeftOut) {
    EXPECT_TRUE(name_types_agree({{"cn", "x"}, {"o", "y"}}, {{"", "z"}, {"o", "y"}}));
    EXPECT_TRUE(name_types_agree({{"", "x"}}, {{"ou", "x"}}));
    EXPECT_TRUE(name_types_agree({{"", "x"}}, {{"", "x"}}));
    EXPECT_FALSE(name_types_agree({{"cn", "x"}}, {{"ou", "x"}}));
    EXPECT_FALSE(name_types_agree({{"cn", "x"}}, {{"cn", "x"}, {"o", "y"}}));
}

TEST(Names, WithoutATypeOnlyTheUsualOnesAreMeant) {
    for (const char *type : {"cn", "uid", "ou", "o", "c", "l", "st", "dc"})
        EXPECT_TRUE(name_may_be({{"", "x"}}, {{type, "x"}})) << type;
    EXPECT_FALSE(name_may_be({{"", "5"}}, {{"serialnumber", "5"}}));
    EXPECT_TRUE(name_may_be({{"serialnumber", "5"}}, {{"serialnumber", "5"}}));
    EXPECT_FALSE(name_may_be({{"ou", "x"}}, {{"cn", "x"}}));
    EXPECT_FALSE(name_may_be({{"", "x"}}, {{"cn", "x"}, {"o", "y"}}));
}

using NameCalls = ClientTest;

TEST_F(NameCalls, CanonicalNamesHaveTheFormOfTheFlags) {
    EXPECT_EQ("jdoe.sales.acme", canonical(context(), "CN=jdoe.OU=sales.O=acme"));
    EXPECT_EQ("jdoe.sales.acme", canonical(context_at("sales.acme"), "jdoe"));
    EXPECT_EQ("CN=jdoe.OU=sales.O=acme", canonical(context(0x13), ".jdoe.sales.acme"));
    EXPECT_EQ("OU=sales.O=acme", canonical(context(0x13), "sales.acme")) << "the tree knows the types";
    EXPECT_EQ("CN=new.OU=sales.O=acme", canonical(context(0x13), "new.sales.acme")) << "the object need not exist";
    EXPECT_EQ("CN=x.OU=y.O=z", canonical(context(0x13), "x.y.z"));
    EXPECT_EQ("CN=x.O=z", canonical(context(0x13), "x.z"));
    EXPECT_EQ("CN=x", canonical(context(0x13), "x"));
    EXPECT_EQ("CN=x.UID=y.O=z", canonical(context(0x13), "x.UID=y.z"));
    EXPECT_EQ("CN=a.CN=b.OU=sales.O=acme", canonical(context(0x13), "a.CN=b.sales.acme"));
}

TEST_F(NameCalls, AbbreviatedNamesFitTheNameContext) {
    EXPECT_EQ("jdoe", abbreviated(context_at("sales.acme"), ".jdoe.sales.acme"));
    EXPECT_EQ("jdoe.sales.acme", abbreviated(context(), ".jdoe.sales.acme"));
    EXPECT_EQ("CN=jdoe", abbreviated(context_at("sales.acme", 0x13), ".jdoe.sales.acme"));
}

TEST_F(NameCalls, MalformedNamesAreReported) {
    EXPECT_EQ("?", canonical(context(), "a..b"));
    EXPECT_EQ(ZKE_MALFORMED_NAME, lastCode);
    EXPECT_EQ("?", canonical(context(), std::string(600, 'x').c_str()));
    EXPECT_EQ(ZKE_MALFORMED_NAME, lastCode);
    EXPECT_EQ("?", canonical(9999, "a"));
    EXPECT_EQ(ZKE_BAD_HANDLE, lastCode);
}

TEST_F(NameCalls, ANameOfExactlyTheLimitIsWritten) {
    const std::string longest(ZK_MAX_NAME, 'a');
    uint32_t handle = context();
    EXPECT_EQ(longest, canonical(handle, longest.c_str()));
    EXPECT_EQ(longest, abbreviated(handle, longest.c_str()));
    EXPECT_EQ(ZK_OK, ZKDSSetContext(handle, DCK_NAME_CONTEXT, longest.c_str()));
    char name[ZK_MAX_NAME + 1] = "";
    EXPECT_EQ(ZK_OK, ZKDSGetContext(handle, DCK_NAME_CONTEXT, name));
    EXPECT_EQ(longest, name);
    EXPECT_EQ(ZKE_MALFORMED_NAME, ZKDSSetContext(handle, DCK_NAME_CONTEXT, (longest + "a").c_str()));
}

TEST_F(NameCalls, ANameThatGrowsOverTheLimitIsNotWritten) {
    std::string longName = std::string(250, 'a') + "." + std::string(251, 'b');
    uint32_t handle = context_at(".sales.acme");
    EXPECT_EQ("?", canonical(handle, longName.c_str())) << "with the context 512 bytes are passed";
    EXPECT_EQ(ZKE_BUFFER_TOO_SMALL, lastCode);
}

} // namespace
