#include "tools/qrtscript/check/settings.h"

#include <sys/stat.h>
#include <unistd.h>
#include <filesystem>

#include "tests/qrtscript/check_fixture.h"
#include "tests/qrtscript/findings_of.h"

namespace {

using testing::HasSubstr;
using CheckSettings = CheckFixture;

std::string error_of(const std::string &text) {
    try {
        settings_of_text("rc", text);
    } catch (const SettingsError &error) {
        return error.what();
    }
    return "";
}

} // namespace

TEST(SettingsTest, SwitchesCodesOffAndWeighsThem) {
    const std::string script = "FOO 1\nGOTO NO\n";
    const auto shown = [&](const std::string &text, const Selection &selection = {}) {
        return shown_of(script, settings_of_text("rc", text), selection);
    };
    EXPECT_EQ(shown(""), "1:QS1001 2:QS1008");
    EXPECT_EQ(shown("disable = ['qs1001']"), "2:QS1008");
    EXPECT_EQ(shown("severity = 'error'"), "1:QS1001");
    EXPECT_EQ(shown("severity = 'error'", {Severity::style, false}), "1:QS1001 2:QS1008");
    EXPECT_EQ(shown("severity = 'error'\n[codes]\nQS1008 = 'error'\nQS1001 = 'style'"), "2:QS1008");
    EXPECT_EQ(shown("codes.QS1001 = 'style'", {Severity::warning, false}), "2:QS1008");
    EXPECT_EQ(shown("disable = ['QS1001', 'QS1008']", {std::nullopt, true}), "1:QS1001 2:QS1008");
    EXPECT_EQ(shown("severity = 'error'\ncodes.QS1001 = 'style'", {std::nullopt, true}), "1:QS1001 2:QS1008");
}

TEST(SettingsTest, ErrorsNameFileAndLine) {
    const struct {
        const char *text, *error;
    } rows[] = {
        {"\nname = 1", "rc:2:1: unknown key: name"},
        {"[code]\nQS1001 = 'style'", "rc:1:2: unknown key: code"},
        {"severity = 'worst'", "rc:1:12: no such severity: worst"},
        {"severity = 1", "rc:1:12: expected a string"},
        {"disable = 'QS1001'", "rc:1:11: expected a list of strings"},
        {"disable = ['QS1001',\n 'QS9999']", "rc:2:2: there is no code QS9999"},
        {"disable = [1]", "rc:1:12: expected a string"},
        {"exclude = [['a']]", "rc:1:12: expected a string"},
        {"codes = 1", "rc:1:9: expected a table"},
        {"[codes]\nQS9999 = 'error'", "rc:2:1: there is no code QS9999"},
        {"[codes]\nQS1001 = 'off'", "rc:2:10: no such severity: off"},
    };
    for (const auto &row : rows) EXPECT_EQ(error_of(row.text), row.error) << row.text;
    EXPECT_THAT(error_of("severity = \n"), HasSubstr("rc:1:"));
    EXPECT_THAT(error_of("\xff = 1"), HasSubstr("rc:1:"));
    EXPECT_THAT(error_of("disable = " + std::string(100000, '[')), HasSubstr("rc:1:"));
}

TEST(SettingsTest, PatternsAreForNamesOrPaths) {
    const struct {
        const char *pattern, *path;
        bool excluded;
    } rows[] = {
        {"old", "old", true},
        {"old", "a/old", true},
        {"old", "older", false},
        {"old/", "old", true},
        {"*.bak.qrt", "a/b.bak.qrt", true},
        {"*.bak.qrt", "a/b.qrt", false},
        {"sites/*/draft-*", "sites/x/draft-1.qrt", true},
        {"sites/*/draft-*", "sites/x/y/draft-1.qrt", false},
        {"sites/*", "sites/x/y", false},
        {"a/?.qrt", "a/b.qrt", true},
        {"a?b", "a/b", false},
        {"a/b", "c/a/b", false},
        {"*", "a", true},
        {"", "a", false},
        {"[ab]", "a", false},
        {"*a*b*c", "xxaxxbxxbcxxc", true},
        {"*a*b*c", "xxaxxbxxbcxx", false},
    };
    for (const auto &row : rows) {
        Settings settings;
        settings.excluded = {row.pattern};
        EXPECT_EQ(settings_exclude(settings, row.path), row.excluded) << row.pattern << " " << row.path;
    }
}

TEST(SettingsTest, NoPatternTakesLong) {
    Settings settings;
    for (int i = 0; i < 200; ++i) settings.excluded.push_back("*a");
    for (std::string &pattern : settings.excluded)
        for (int i = 0; i < 6; ++i) pattern += pattern;
    EXPECT_FALSE(settings_exclude(settings, std::string(4000, 'a') + "b"));
}

TEST_F(CheckSettings, TheNearestFileCounts) {
    folder.write(".qrtscriptrc", "disable = ['QS1001']\n");
    folder.write("a/b/c.qrt", "FOO 1\nGOTO NO\n");
    folder.write("a/inner/.qrtscriptrc", "disable = ['QS1008']\n");
    folder.write("a/inner/c.qrt", "FOO 1\nGOTO NO\n");
    EXPECT_EQ(check({"--format=gcc", "a"}).out,
              "a/b/c.qrt:2:6: warning: there is no label NO: this GOTO does nothing [QS1008]\n"
              "a/inner/c.qrt:1:1: error: no statement begins with FOO [QS1001]\n");
}

TEST_F(CheckSettings, StandardInputBelongsToTheCurrentFolder) {
    folder.write(".qrtscriptrc", "disable = ['QS1001']\n");
    EXPECT_EQ(check({"-"}, "FOO 1\n"), (Outcome{0, "", ""}));
}

TEST_F(CheckSettings, AMistakeIsReportedOnceAndItsScriptsAreNotChecked) {
    folder.write("a/.qrtscriptrc", "\nsecret = 1\n");
    folder.write("a/1.qrt", "FOO 1\n");
    folder.write("a/2.qrt", "FOO 1\n");
    folder.write("b.qrt", "FOO 1\n");
    const Outcome outcome = check({"--format=gcc", "a", "b.qrt"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "b.qrt:1:1: error: no statement begins with FOO [QS1001]\n");
    const std::string real = std::filesystem::canonical(folder.path());
    EXPECT_EQ(outcome.err, "qrtscript check: " + real + "/a/.qrtscriptrc:2:1: unknown key: secret\n");
}

TEST_F(CheckSettings, WithNoIgnoreItIsNotRead) {
    folder.write(".qrtscriptrc", "this is no TOML");
    folder.write("a.qrt", "FOO 1\n");
    EXPECT_EQ(check({"a.qrt"}).status, 2);
    EXPECT_EQ(check({"--no-ignore", "a.qrt"}).status, 1);
}

TEST_F(CheckSettings, ExcludedFilesAndFoldersAreLeftOut) {
    folder.write(".qrtscriptrc", "exclude = ['old', 'sites/*.qrt']\n");
    for (const char *name : {"old/a.qrt", "sites/b.qrt", "sites/c/d.qrt", "e.qrt"}) folder.write(name, "FOO 1\n");
    EXPECT_EQ(check({"--format=gcc", "."}).out,
              "./e.qrt:1:1: error: no statement begins with FOO [QS1001]\n"
              "./sites/c/d.qrt:1:1: error: no statement begins with FOO [QS1001]\n");
    EXPECT_EQ(check({"old"}).status, 1) << "what is named is checked";
    EXPECT_EQ(check({"sites/b.qrt"}).status, 1);
    EXPECT_THAT(check({"--no-ignore", "--format=gcc", "."}).out, HasSubstr("old/a.qrt"));
}

// It may come from people who are not trusted.
TEST_F(CheckSettings, ReadsNothingButARegularFileOfItsName) {
    folder.write("a.qrt", "FOO 1\n");
    folder.write("elsewhere", "disable = ['QS1001']\n");
    const std::string file = folder.path(".qrtscriptrc");
    ASSERT_EQ(symlink("elsewhere", file.c_str()), 0);
    EXPECT_THAT(check({"a.qrt"}).err, HasSubstr(".qrtscriptrc: not a regular file\n"));
    unlink(file.c_str());
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    EXPECT_THAT(check({"a.qrt"}).err, HasSubstr(".qrtscriptrc: not a regular file\n"));
    unlink(file.c_str());
    folder.make(".qrtscriptrc");
    EXPECT_THAT(check({"a.qrt"}).err, HasSubstr(".qrtscriptrc: not a regular file\n"));
    rmdir(file.c_str());
    folder.write(".qrtscriptrc", std::string(70000, '#'));
    EXPECT_THAT(check({"a.qrt"}).err, HasSubstr(".qrtscriptrc: File too large\n"));
}
