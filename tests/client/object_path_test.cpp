#include "platform/client/overlay/object_path.h"

#include <random>

#include "tests/support/client_fixture.h"

namespace {

Name named(const std::string &dotted) {
    Name name;
    EXPECT_TRUE(name_parse_dotted(dotted, {}, &name)) << dotted;
    return name;
}

std::string path(const Name &name, bool isContainer = false) {
    return object_path(name, isContainer).value_or("none");
}

// "jdoe.sales.acme", with "/" at its end for a container.
std::string parsed_path(std::string_view text) {
    Name name;
    bool isContainer = false;
    if (!object_path_parse(text, &name, &isContainer)) return "malformed";
    return name_to_dotted(name, true) + (isContainer ? "/" : "");
}

TEST(ObjectPath, IsLaidOutAsTheTreeIs) {
    EXPECT_EQ("acme/sales/jdoe.qrt", path(named("CN=JDoe.OU=Sales.O=ACME")));
    EXPECT_EQ("acme/sales/_container.qrt", path(named("sales.acme"), true));
    EXPECT_EQ("_container.qrt", path({}, true));
    EXPECT_EQ("none", path({}));
}

TEST(ObjectPath, EscapesWhatAFileNameCannotHaveOrMeansSomethingElse) {
    const struct {
        std::string value, file;
    } rows[] = {
        {"a/b", "a%2Fb.qrt"},
        {"100%", "100%25.qrt"},
        {".hidden", "%2Ehidden.qrt"},
        {"_container", "%5Fcontainer.qrt"},
        {"a.b_c", "a.b_c.qrt"},
        {"..", "%2E..qrt"},
        {"a\x1b[m\x7f", "a%1B[m%7F.qrt"},
        {"a\u0085\u202Eb", "a%C2%85%E2%80%AEb.qrt"},
        {"a\xff", "a%FF.qrt"},
        {"J\u00D6RG  M\u00DCLLER", "j\u00F6rg m\u00FCller.qrt"},
        {"site.toml", "%73ite.toml.qrt"},
        {"Site.LDIF", "%73ite.ldif.qrt"},
    };
    for (const auto &row : rows) EXPECT_EQ(row.file, path({{"cn", row.value}})) << row.value;
    EXPECT_EQ("a%2Fb/_container.qrt", path({{"ou", "a/b"}}, true));
}

TEST(ObjectPath, IsNoneWhereNoFileCanHaveTheName) {
    EXPECT_EQ(255u, path({{"cn", std::string(251, 'a')}}).size());
    EXPECT_EQ("none", path({{"cn", std::string(252, 'a')}}));
    EXPECT_NE("none", path({{"cn", "x"}, {"ou", std::string(255, 'a')}}));
    EXPECT_EQ("none", path({{"cn", "x"}, {"ou", std::string(256, 'a')}}));
    EXPECT_EQ("none", path({{"cn", std::string(86, '%')}}));
    EXPECT_EQ("none", path({{"cn", "  "}}));
}

TEST(ObjectPath, IsReadInAnySpellingOfTheName) {
    EXPECT_EQ("jdoe.sales.acme", parsed_path("acme/sales/jdoe.qrt"));
    EXPECT_EQ("sales.acme/", parsed_path("acme/sales/_container.qrt"));
    EXPECT_EQ("[Root]/", parsed_path("_container.qrt"));
    EXPECT_EQ("JDoe.Acme", parsed_path("Acme/JDoe.qrt"));
    EXPECT_EQ("jdoe.acme", parsed_path("acme/jdoe.QRT"));
    EXPECT_EQ("sales.acme/", parsed_path("acme/sales/_Container.Qrt"));
    EXPECT_EQ("jdoe.acme", parsed_path("%61cme/%6a%64oe.qrt"));
    EXPECT_EQ("a/b.acme", parsed_path("acme/a%2Fb.qrt"));
    EXPECT_EQ("x\\.qrt.acme", parsed_path("acme/x.qrt.qrt"));
}

TEST(ObjectPath, RefusesWhatIsNoPathOfAnObject) {
    for (const char *text :
         {"", "jdoe", "jdoe.txt", ".qrt", "/jdoe.qrt", "acme//jdoe.qrt", "acme/", "acme/.jdoe.qrt", "acme/_jdoe.qrt",
          "../jdoe.qrt", "./jdoe.qrt", "_acme/jdoe.qrt", "a%.qrt", "a%2.qrt", "a%zz.qrt", "a%00b.qrt", "a%zz/b.qrt"})
        EXPECT_EQ("malformed", parsed_path(text)) << text;
    std::string deep;
    for (size_t i = 0; i < name_depth_limit; i++) deep += "a/";
    EXPECT_NE("malformed", parsed_path(deep + "_container.qrt"));
    EXPECT_EQ("malformed", parsed_path(deep + "a.qrt"));
    EXPECT_EQ("malformed", parsed_path(deep + "a/_container.qrt"));
}

// A value of letters that folding treats in all its ways.
std::string random_value(std::mt19937 &random) {
    static const std::string pieces[] = {"a",      "B",       " ",       ".",      "_",      "%",
                                         "/",      "\\",      "=",       "\x01",   "\xff",   "\xc3",
                                         "\u00C4", "A\u0308", "H\u0331", "\u1E9E", "\u0130", "\u03A3",
                                         "\u00DF", "\uFB01",  "\u212A",  "\u200F", "%2F",    ".qrt"};
    std::string value;
    for (size_t left = 1 + random() % 6; left > 0; left--) value += pieces[random() % std::size(pieces)];
    return value;
}

std::vector<std::string> keys(const Name &name) {
    std::vector<std::string> found;
    for (const NamePart &part : name) found.push_back(object_path_key(part.value));
    return found;
}

TEST(ObjectPath, LeadsBackToTheNameWhateverItHas) {
    std::mt19937 random(20261123);
    for (int i = 0; i < 20000; i++) {
        Name name;
        for (size_t left = 1 + random() % 4; left > 0; left--) name.push_back({"cn", random_value(random)});
        const bool isContainer = random() % 2 == 0;
        const std::optional<std::string> written = object_path(name, isContainer);
        if (!written) continue;
        Name again;
        bool isContainerAgain = !isContainer;
        ASSERT_TRUE(object_path_parse(*written, &again, &isContainerAgain)) << *written;
        ASSERT_EQ(keys(name), keys(again)) << *written;
        ASSERT_EQ(isContainer, isContainerAgain) << *written;
        ASSERT_EQ(*written, object_path(again, isContainer));
        ASSERT_EQ(std::string::npos, written->find_first_of(std::string("\x01\xff\0", 3)));
    }
}

} // namespace
