// What `qrtscript check` finds with a directory: names that are not there.
#include <algorithm>

#include "tests/qrtscript/check_fixture.h"
#include "tests/support/manual.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class CheckWithDirectory : public CheckFixture {
  protected:
    CheckWithDirectory() { environment["ZKCLIENT_CONF"] = SOURCE_DIR "/examples/acme/client.toml"; }
    // The codes that are found in a script of jdoe's.
    std::vector<std::string> found_in(const std::string &text) const {
        folder.write("script.qrt", text);
        const Outcome outcome = check({"--user=.jdoe.sales.acme", "script.qrt"});
        EXPECT_THAT(outcome.err, IsEmpty());
        std::vector<std::string> codes;
        for (size_t at = outcome.out.find("[QS"); at != outcome.out.npos; at = outcome.out.find("[QS", at + 1))
            codes.push_back(outcome.out.substr(at + 1, 6));
        return codes;
    }
};

} // namespace

TEST_F(CheckWithDirectory, FindsWhatIsNotThere) {
    const struct {
        const char *text;
        std::vector<std::string> codes;
    } rows[] = {
        {"IF MEMBER OF \"salesteam\" THEN WRITE \"\"\nIF MEMBER OF \".managers.acme\" THEN WRITE \"\"\n", {}},
        {"IF NOT MEMBER OF \"nobodys\" THEN WRITE \"\"\n", {"QS2013"}},
        {"IF MEMBER OF \"jdoe\" THEN WRITE \"\"\n", {"QS2013"}},
        {"IF MEMBER OF \"%TITLE\" THEN WRITE \"\"\n", {}},
        {"PROFILE none\nPROFILE .managers.acme\n", {}},
        {"PROFILE .jdoe.sales.acme\n", {"QS2014"}},
        {"CONTEXT .sales.acme\nCONTEXT .nowhere.acme\n", {"QS4002"}},
        {"CONTEXT acme\nIF MEMBER OF \"managers\" THEN WRITE \"\"\nINCLUDE news\n", {}},
        {"CONTEXT acme\nIF MEMBER OF \"salesteam\" THEN WRITE \"\"\n", {"QS2013"}},
        {"CONTEXT nowhere.acme\n", {"QS4002"}},
        {"CONTEXT %TITLE\nIF MEMBER OF \"anything\" THEN WRITE \"\"\n", {}},
        {"IF \"a\" = \"b\" THEN CONTEXT acme\nIF MEMBER OF \"anything\" THEN WRITE \"\"\n", {}},
        {"TREE LAB/.jdoe.lab\nCONTEXT lab\nIF MEMBER OF \".x.lab\" THEN WRITE \"\"\n", {}},
        {"INCLUDE .news.acme\nINCLUDE .nonews.acme\nDISPLAY .jdoe\n", {"QS4002", "QS4002"}},
        {"ATTACH SRV1\nATTACH SRV9\n", {"QS4003"}},
        {"TREE ACME\nTREE NOWHERE\n", {"QS4004"}},
        {"MAP H:=SRV1/SYS:public; K:=.APPS.acme\nMAP N:=H:x\nMAP L:=%HOME_DIRECTORY\n", {}},
        {"MAP H:=SRV1/NOVOL:\n", {"QS3004"}},
        {"MAP NEXT .NOAPPS.acme\n", {"QS3004"}},
        {"WRITE \"%TITLE %SHOE_SIZE\"\nWRITE %SHOE_SIZE\n", {"QS4001", "QS4001"}},
        {"WRITE \"%<SHOE_SIZE> %2 100% of\"\n", {}},
    };
    for (const auto &row : rows) EXPECT_EQ(found_in(row.text), row.codes) << row.text;
}

TEST_F(CheckWithDirectory, ChecksTheScriptOfAnObject) {
    EXPECT_EQ(check({"--directory", ".jdoe.sales.acme"}).status, 0);
    const Outcome outcome = check({"--tree=ACME", "--context=acme", "admin"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("admin:6:1: warning: "));
}

TEST_F(CheckWithDirectory, SaysWhatCannotBeAsked) {
    folder.write("script.qrt", "WRITE \"\"\n");
    const struct {
        Words words;
        const char *message;
    } rows[] = {
        {{"--tree=NOWHERE", "script.qrt"}, "cannot use tree NOWHERE"},
        {{"--user=.nobody.acme", "script.qrt"}, "cannot find user .nobody.acme"},
        {{"--directory", ".nobody.acme"}, ".nobody.acme"},
        {{"--as=nobody.acme", "--password-fd=3", "script.qrt"}, "no password on file descriptor 3"},
        {{"--password-fd=3", "script.qrt"}, "--password-fd needs --as"},
        {{"--as=admin.acme", "--password-fd=x", "script.qrt"}, "--password-fd takes a number, not \"x\""},
        {{"--as=admin.acme", "--password-fd=0", "-"}, "cannot both come from standard input"},
    };
    for (const auto &row : rows) {
        const Outcome outcome = check(row.words);
        EXPECT_EQ(outcome.status, 2) << row.message;
        EXPECT_THAT(outcome.err, HasSubstr(row.message));
    }
}

TEST_F(CheckWithDirectory, FollowsIncludes) {
    environment["ZKCLIENT_CONF"] = folder.path("client.toml");
    folder.write("client.toml", "[[tree]]\nname = \"ACME\"\nldif = \"acme.ldif\"\n");
    const auto person = [](const std::string &name, const std::string &script) {
        return "dn: cn=" + name + ",o=acme\nobjectClass: inetOrgPerson\nobjectClass: qrtUser\ncn: " + name +
               "\nsn: " + name + "\nqrtLoginScript: " + script + "\n\n";
    };
    folder.write("acme.ldif", "dn: o=acme\nobjectClass: organization\no: acme\n\n" +
                                  person("one", "INCLUDE .two.acme") + person("two", "INCLUDE .one.acme") +
                                  person("three", "INCLUDE .four.acme") + person("four", "WRITE \"x\""));
    folder.write("self.qrt", "INCLUDE " + folder.path("self.qrt") + "\n");
    EXPECT_THAT(check({"--directory", ".one.acme"}).out,
                HasSubstr(".one.acme:1:9: warning: .two.acme includes itself"));
    EXPECT_THAT(check({"--directory", ".three.acme"}).out, IsEmpty());
    EXPECT_THAT(check({folder.path("self.qrt")}).out, HasSubstr("[QS1022]"));
}

TEST_F(CheckWithDirectory, EachLineThatIncludesALoopIsFound) {
    const std::string loop = folder.path("Loop.qrt"), plain = folder.path("loop.qrt");
    folder.write("Loop.qrt", "INCLUDE " + loop + "\n");
    folder.write("loop.qrt", "CLS\n");
    folder.write("all.qrt",
                 "INCLUDE " + plain + "\nINCLUDE " + loop + "\nINCLUDE " + plain + "\nINCLUDE " + loop + "\n");
    const std::string all = check({"--format=gcc", folder.path("all.qrt")}).out;
    EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 2);
    EXPECT_THAT(all, HasSubstr("all.qrt:2:9: "));
    EXPECT_THAT(all, HasSubstr("all.qrt:4:9: "));
}

TEST_F(CheckWithDirectory, FindsWhatTheManualShows) {
    environment["PATH"] = BINARY_DIR ":" + environment["PATH"];
    const Outcome outcome = shell(manual_block("administrator.md", "check", "sh"));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    std::string shown = manual_block("administrator.md", "check", "text");
    // Its lines stand in the output in their order, with others where it has dots.
    size_t at = 0;
    for (size_t line = 0; line < shown.size(); line = shown.find('\n', line) + 1) {
        const std::string text = shown.substr(line, shown.find('\n', line) - line);
        if (text == "...") continue;
        const size_t found = outcome.out.find(text, at);
        ASSERT_NE(found, std::string::npos) << text << outcome.out;
        at = found + text.size();
    }
}

TEST_F(CheckWithDirectory, ObjectsAreNamedAsForTheOtherSubcommands) {
    EXPECT_EQ(check({"-d", "nobody.acme"}), (Outcome{2, "", "qrtscript check: nobody.acme: no such file or object\n"}));
    EXPECT_EQ(check({"-d", "SRV1.acme"}).err, "qrtscript check: SRV1.acme has no login script\n");
    EXPECT_NE(check({"--user=jdoe.sales.acme", "sales.acme"}).status, 2);
    EXPECT_NE(check({"--user=jdoe.sales.acme", "jdoe"}).err, "qrtscript check: jdoe: no such file or object\n");
}

TEST_F(CheckWithDirectory, WhatIsRefusedEverywhereIsToldOnce) {
    folder.write("a.qrt", "MAP H: SRV1/X:\n");
    const std::string found = check({"-d", "--format=gcc", "a.qrt"}).out;
    EXPECT_THAT(found, HasSubstr("[QS3001]"));
    EXPECT_THAT(found, testing::Not(HasSubstr("[QS3004]")));
}
