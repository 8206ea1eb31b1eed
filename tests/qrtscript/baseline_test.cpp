#include "tools/qrtscript/check/baseline.h"

#include <sys/stat.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include "tests/qrtscript/check_fixture.h"

namespace {

using testing::HasSubstr;

class CheckBaseline : public CheckFixture {
  protected:
    // With the baseline of `before`, what is found in `after`.
    std::string found(const std::string &before, const std::string &after) const {
        folder.write("a.qrt", before);
        EXPECT_EQ(check({"--write-baseline=known.json", "a.qrt"}).status, 0);
        folder.write("a.qrt", after);
        return check({"--baseline=known.json", "--format=gcc", "a.qrt"}).out;
    }
};

} // namespace

TEST_F(CheckBaseline, HidesWhatItListsHoweverTheLinesMove) {
    EXPECT_EQ(found("FOO 1\nGOTO NO\n", "FOO 1\nGOTO NO\n"), "");
    EXPECT_EQ(found("FOO 1\nGOTO NO\n", "WRITE \"x\"\n\n  GOTO NO\nFOO 1\n"), "");
}

TEST_F(CheckBaseline, NewFindingsAreShown) {
    EXPECT_EQ(found("FOO 1\n", "FOO 2\n"), "a.qrt:1:1: error: no statement begins with FOO [QS1001]\n");
    EXPECT_EQ(found("FOO 1\n", "FOO 1\nGOTO NO\n"),
              "a.qrt:2:6: warning: there is no label NO: this GOTO does nothing [QS1008]\n");
}

TEST_F(CheckBaseline, OneMoreOfTheSameLineIsNew) {
    EXPECT_EQ(found("FOO 1\nFOO 1\n", "FOO 1\nFOO 1\nFOO 1\nFOO 1\n"),
              "a.qrt:3:1: error: no statement begins with FOO [QS1001]\n"
              "a.qrt:4:1: error: no statement begins with FOO [QS1001]\n");
}

TEST_F(CheckBaseline, NamesScriptsFromItsOwnFolder) {
    folder.write("scripts/a.qrt", "FOO 1\n");
    folder.write("other/a.qrt", "FOO 1\n");
    EXPECT_EQ(check({"--write-baseline=known.json", "scripts"}),
              (Outcome{0, "", "qrtscript check: known.json: 1 finding written\n"}));
    EXPECT_EQ(shell("cd scripts; \"$0\" check --baseline=../known.json a.qrt").status, 0);
    EXPECT_EQ(check({"--baseline=known.json", folder.path("scripts/a.qrt")}).status, 0);
    EXPECT_EQ(check({"--baseline=known.json", "other/a.qrt"}).status, 1);
}

TEST_F(CheckBaseline, IsJsonWithoutPasswords) {
    folder.write("a\xff.qrt", "TREE T/u;sekret x\nFOO \xff\x1b\n");
    EXPECT_EQ(check({"--write-baseline=known.json", "."}).status, 0);
    const std::string text = file_text(folder.path("known.json"));
    EXPECT_EQ(text.find("sekret"), std::string::npos);
    const auto json = nlohmann::json::parse(text);
    EXPECT_EQ(json["version"], 1);
    EXPECT_EQ(json["findings"].size(), 3U);
    EXPECT_EQ(json["findings"][0]["script"], "a\xEF\xBF\xBD.qrt");
    EXPECT_EQ(check({"--baseline=known.json", "."}).status, 0);
}

TEST_F(CheckBaseline, StandardInputHasOneToo) {
    EXPECT_EQ(check({"--write-baseline=known.json", "-"}, "FOO 1\n").status, 0);
    EXPECT_EQ(check({"--baseline=known.json", "-"}, "FOO 1\n").status, 0);
    EXPECT_EQ(check({"--baseline=known.json", "-"}, "FOO 2\n").status, 1);
}

TEST_F(CheckBaseline, OneThatCannotBeReadIsAnError) {
    folder.write("a.qrt", "WRITE \"x\"\n");
    const struct {
        const char *text, *message;
    } rows[] = {
        {"", "not valid JSON"},
        {"{", "not valid JSON"},
        {"[]", "not a baseline"},
        {"{\"version\": 1}", "not a baseline"},
        {"{\"version\": 1, \"findings\": {}}", "not a baseline"},
        {"{\"version\": \"1\", \"findings\": []}", "not a baseline"},
        {"{\"version\": 2, \"findings\": []}", "unknown version: 2"},
        {"{\"version\": 1, \"findings\": [1]}", "not a baseline"},
        {"{\"version\": 1, \"findings\": [{\"count\": 1}]}", "\"script\" is missing or not a string"},
        {"{\"version\": 1, \"findings\": [{\"script\": \"a\", \"code\": \"b\", \"line\": \"c\"}]}",
         "\"count\" is missing or not a number"},
        {"{\"version\": 1, \"findings\": [{\"script\": \"a\", \"code\": 1, \"line\": \"c\", \"count\": 1}]}",
         "\"code\" is missing or not a string"},
    };
    for (const auto &row : rows) {
        folder.write("known.json", row.text);
        EXPECT_EQ(check({"--baseline=known.json", "a.qrt"}),
                  (Outcome{2, "", "qrtscript check: known.json: " + std::string(row.message) + "\n"}))
            << row.text;
    }
    folder.write("known.json", std::string(1000000, '['));
    EXPECT_EQ(check({"--baseline=known.json", "a.qrt"}).status, 2);
    EXPECT_THAT(check({"--baseline=none.json", "a.qrt"}).err, HasSubstr("none.json: No such file or directory"));
}

TEST_F(CheckBaseline, IsNotWrittenWhenSomethingCouldNotBeChecked) {
    const std::string old = "{\"version\": 1, \"findings\": []}";
    folder.write("known.json", old);
    EXPECT_EQ(check({"--write-baseline=known.json", "none.qrt"}).status, 2);
    EXPECT_EQ(file_text(folder.path("known.json")), old);
}

TEST_F(CheckBaseline, IsWrittenOverTheOldOneAndKeepsItsMode) {
    folder.write("known.json", "{\"version\": 1, \"findings\": []}");
    ASSERT_EQ(chmod(folder.path("known.json").c_str(), 0640), 0);
    folder.write("a.qrt", "FOO 1\n");
    EXPECT_EQ(check({"--write-baseline=known.json", "a.qrt"}).status, 0);
    struct stat status = {};
    ASSERT_EQ(stat(folder.path("known.json").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640U);
    EXPECT_EQ(check({"--baseline=known.json", "a.qrt"}).status, 0);
    EXPECT_EQ(check({"--write-baseline=none/known.json", "a.qrt"}).status, 2);
}

TEST_F(CheckBaseline, ReplacesNoFileThatIsNone) {
    for (const std::string text : {"FOO 1\n", "{}", "{\"version\": 2, \"findings\": []}"}) {
        folder.write("a.qrt", text);
        folder.write("b.qrt", "FOO 1\n");
        const Outcome outcome = check({"--write-baseline", "a.qrt", "b.qrt"});
        EXPECT_EQ(outcome.status, 2);
        EXPECT_THAT(outcome.err, HasSubstr("qrtscript check: a.qrt is not replaced: "));
        EXPECT_EQ(file_text(folder.path("a.qrt")), text);
    }
    ASSERT_EQ(symlink("b.qrt", folder.path("known.json").c_str()), 0);
    EXPECT_EQ(check({"--write-baseline=known.json", "a.qrt"}),
              (Outcome{2, "", "qrtscript check: known.json is not replaced: not valid JSON\n"}));
    EXPECT_EQ(file_text(folder.path("b.qrt")), "FOO 1\n");
}

TEST_F(CheckBaseline, ReplacesNoFileThatIsChecked) {
    const std::string baseline = "{\"version\": 1, \"findings\": []}\n";
    folder.write("scripts/a.qrt", baseline);
    ASSERT_EQ(symlink("scripts/a.qrt", folder.path("link").c_str()), 0);
    for (const char *name : {"scripts/a.qrt", "./scripts/../scripts/a.qrt", "link"}) {
        EXPECT_EQ(
            check({"--write-baseline", name, "scripts"}),
            (Outcome{2, "", "qrtscript check: " + std::string(name) + " is not replaced: it is one of the scripts\n"}));
        EXPECT_EQ(file_text(folder.path("scripts/a.qrt")), baseline);
    }
}

TEST_F(CheckBaseline, IsWrittenToAnEmptyFile) {
    folder.write("known.json", "");
    folder.write("a.qrt", "FOO 1\n");
    EXPECT_EQ(check({"--write-baseline=known.json", "a.qrt"}).status, 0);
    EXPECT_EQ(check({"--baseline=known.json", "a.qrt"}).status, 0);
}
