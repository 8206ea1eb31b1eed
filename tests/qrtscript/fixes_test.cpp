#include "tools/qrtscript/check/fixes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <filesystem>

#include "tests/qrtscript/check_fixture.h"
#include "tests/qrtscript/findings_of.h"
#include "tools/qrtscript/check/rewrite.h"
#include "tools/qrtscript/check/rules.h"

namespace {

using testing::HasSubstr;
using testing::Not;

Finding with_fix(size_t begin, size_t end, const std::string &text, Severity severity = Severity::warning) {
    Finding finding = finding_at("QS1010", begin, end - begin, "");
    finding.severity = severity;
    finding.fix = {begin, end, text};
    return finding;
}

std::string made(const std::string &text, const Findings &findings, size_t expected) {
    size_t count = 0;
    const std::string fixed = fixes_made(text, findings, &count);
    EXPECT_EQ(count, expected);
    return fixed;
}

class CheckFix : public CheckFixture {
  protected:
    struct stat status(const std::string &name) const {
        struct stat found = {};
        EXPECT_EQ(stat(folder.path(name).c_str(), &found), 0);
        return found;
    }
    // All that is in the folder.
    std::vector<std::string> names() const {
        std::vector<std::string> all;
        for (const auto &entry : std::filesystem::directory_iterator(folder.path()))
            all.push_back(entry.path().filename());
        return all;
    }
};

const char broken[] = "WRITE \"x\"\n A:\nIF \"a\" = \"b\" THEN GOTO A";
const char mended[] = "WRITE \"x\"\nA:\nIF \"a\" = \"b\" THEN GOTO A\n";

} // namespace

TEST(FixesTest, AreMadeWhereTheyAreForWhateverTheirOrder) {
    EXPECT_EQ(made("abcdef", {with_fix(4, 5, "E"), with_fix(0, 1, ""), with_fix(6, 6, "!")}, 3), "bcdEf!");
    EXPECT_EQ(made("abc", {}, 0), "abc");
}

TEST(FixesTest, OfThoseThatOverlapTheFirstIsMade) {
    EXPECT_EQ(made("abcdef", {with_fix(1, 4, "X"), with_fix(3, 5, "Y"), with_fix(4, 5, "Z")}, 2), "aXZf");
    EXPECT_EQ(made("ab", {with_fix(1, 1, "X"), with_fix(1, 1, "Y")}, 1), "aXb");
}

TEST(FixesTest, GoOnUntilNothingChanges) {
    const auto check = [](const std::string &text) {
        return Findings(text.size() > 3 ? text.size() - 3 : 0, with_fix(0, 1, ""));
    };
    const FixedText fixed = text_fixed("abcdefg", check);
    EXPECT_EQ(fixed.text, "efg");
    EXPECT_EQ(fixed.count, 4U);
    EXPECT_TRUE(fixed.findings.empty());
}

TEST(FixesTest, EndAfterTenRounds) {
    const auto check = [](const std::string &text) { return Findings(20 - text.size(), with_fix(0, 0, "x")); };
    EXPECT_EQ(text_fixed("", check).text, "xxxxxxxxxx");
}

TEST(FixesTest, OneThatLeavesItsFindingIsNotMade) {
    const auto check = [](const std::string &) { return Findings{with_fix(0, 0, "x")}; };
    EXPECT_EQ(text_fixed("", check).text, "");
}

TEST(FixesTest, OneThatMakesANewMistakeIsNotMadeAndTheOthersAre) {
    const auto check = [](const std::string &text) {
        Findings findings;
        for (size_t at = 0; at < text.size(); ++at)
            if (text[at] == 'a')
                findings.push_back(with_fix(at, at + 1, ""));
            else if (text[at] == 'b')
                findings.push_back(with_fix(at, at + 1, "e"));
            else if (text[at] == 'e')
                findings.push_back(finding_at("QS1001", at, 1, ""));
        return findings;
    };
    const FixedText fixed = text_fixed("xaybza", check);
    EXPECT_EQ(fixed.text, "xybz");
    EXPECT_EQ(fixed.count, 2U);
    EXPECT_EQ(fixed.findings.size(), 1U);
}

TEST(FixesTest, OneThatMakesANewWarningIsNotMade) {
    const auto check = [](const std::string &text) {
        Findings findings;
        for (size_t at = 0; at < text.size(); ++at)
            if (text[at] == 'a')
                findings.push_back(with_fix(at, at + 1, "", Severity::style));
            else if (text[at] == 'b')
                findings.push_back(with_fix(at, at + 1, "w", Severity::style));
            else if (text[at] == 'w')
                findings.push_back(finding_at("QS1015", at, 1, ""));
        return findings;
    };
    EXPECT_EQ(text_fixed("xaybza", check).text, "xybz");
}

TEST(FixesTest, TriesAreBounded) {
    size_t checks = 0;
    const auto check = [&](const std::string &text) {
        ++checks;
        Findings findings;
        for (size_t at = 0; at < text.size(); ++at)
            findings.push_back(text[at] == 'b' ? with_fix(at, at + 1, "e") : finding_at("QS1001", at, 1, ""));
        return findings;
    };
    EXPECT_EQ(text_fixed(std::string(1000, 'b'), check).text, std::string(1000, 'b'));
    EXPECT_LE(checks, 120U);
}

// A line that is not complete stays so, whatever stands behind it.
TEST_F(CheckFix, WhatNoFixMakesBetterIsLeftAlone) {
    for (const char *text : {"REM\nIF", "WRITE \"x\"\nIF \"a\" ="}) {
        folder.write("a.qrt", text);
        check({"--fix", "a.qrt"});
        EXPECT_EQ(file_text(folder.path("a.qrt")).find("\n\n"), std::string::npos) << text;
    }
}

TEST_F(CheckFix, RewritesTheFileAndReportsTheRest) {
    folder.write("a.qrt", std::string("FOO 1\n") + broken);
    const Outcome outcome = check({"--fix", "--format=gcc", "a.qrt"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("a.qrt:1:1: error: no statement begins with FOO [QS1001]\n"));
    EXPECT_THAT(outcome.out, Not(HasSubstr("QS1016")));
    EXPECT_EQ(outcome.err, "qrtscript check: a.qrt: 2 findings put right\n");
    EXPECT_EQ(file_text(folder.path("a.qrt")), std::string("FOO 1\n") + mended);
}

TEST_F(CheckFix, KeepsModeOwnerAndAttributes) {
    folder.write("a.qrt", broken);
    const std::string path = folder.path("a.qrt");
    const bool isRoot = geteuid() == 0 && chown(path.c_str(), 1, 2) == 0;
    ASSERT_EQ(chmod(path.c_str(), 0750), 0);
    const bool hasAttribute = setxattr(path.c_str(), "user.site", "x", 1, 0) == 0;
    check({"--fix", "a.qrt"});
    EXPECT_EQ(file_text(path), mended);
    EXPECT_EQ(status("a.qrt").st_mode & 07777, 0750U);
    EXPECT_EQ(status("a.qrt").st_uid, isRoot ? 1 : geteuid());
    EXPECT_EQ(status("a.qrt").st_gid, isRoot ? 2 : getegid());
    char value = 0;
    EXPECT_EQ(getxattr(path.c_str(), "user.site", &value, 1) == 1, hasAttribute);
    EXPECT_EQ(names().size(), 1U);
}

TEST_F(CheckFix, OfALinkTheFileIsRewritten) {
    folder.write("sub/a.qrt", broken);
    ASSERT_EQ(symlink("sub/a.qrt", folder.path("link.qrt").c_str()), 0);
    check({"--fix", "link.qrt"});
    EXPECT_TRUE(std::filesystem::is_symlink(folder.path("link.qrt")));
    EXPECT_EQ(file_text(folder.path("sub/a.qrt")), mended);
}

TEST_F(CheckFix, DoesNotWriteThroughLinksOfAFolder) {
    folder.write("outside.qrt", broken);
    folder.write("tree/inside.txt", broken);
    folder.write("tree/z.qrt", broken);
    ASSERT_EQ(symlink("../outside.qrt", folder.path("tree/a.qrt").c_str()), 0);
    ASSERT_EQ(symlink("inside.txt", folder.path("tree/b.qrt").c_str()), 0);
    ASSERT_EQ(symlink("z.qrt", folder.path("tree/c.qrt").c_str()), 0);
    const Outcome outcome = check({"--fix", "--format=gcc", "tree"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err,
              "qrtscript check: tree/a.qrt: not read: the symbolic link leads out of the folder\n"
              "qrtscript check: tree/z.qrt: 2 findings put right\n"
              "qrtscript check: tree/b.qrt: not written: it is a symbolic link in a folder\n");
    EXPECT_THAT(outcome.out, HasSubstr("tree/b.qrt:2:"));
    EXPECT_THAT(outcome.out, Not(HasSubstr("tree/c.qrt:2:"))) << "its file is put right before";
    EXPECT_EQ(file_text(folder.path("outside.qrt")), broken);
    EXPECT_EQ(file_text(folder.path("tree/inside.txt")), broken);
    EXPECT_EQ(file_text(folder.path("tree/z.qrt")), mended);
}

TEST_F(CheckFix, OnlyWhatIsShownIsFixed) {
    const std::string hidden = std::string("REM qrtscript disable-file=QS1010,QS1008\n") + broken;
    folder.write("a.qrt", hidden);
    check({"--fix", "a.qrt"});
    EXPECT_EQ(file_text(folder.path("a.qrt")), hidden + "\n");
    folder.write("a.qrt", broken);
    check({"--fix", "--severity=error", "a.qrt"});
    EXPECT_EQ(file_text(folder.path("a.qrt")), std::string(broken) + "\n");
    folder.write("a.qrt", broken);
    check({"--write-baseline=known.json", "a.qrt"});
    check({"--fix", "--baseline=known.json", "a.qrt"});
    EXPECT_EQ(file_text(folder.path("a.qrt")), broken);
}

TEST_F(CheckFix, ACleanFileIsNotTouched) {
    folder.write("a.qrt", mended);
    const auto before = status("a.qrt");
    check({"--fix", "a.qrt"});
    EXPECT_EQ(status("a.qrt").st_ino, before.st_ino);
}

TEST_F(CheckFix, AFileThatHasChangedMeanwhileIsLeftAlone) {
    folder.write("a.qrt", "WRITE \"new\"\n");
    EXPECT_THROW(file_rewrite(folder.path("a.qrt"), broken, mended), std::system_error);
    EXPECT_EQ(file_text(folder.path("a.qrt")), "WRITE \"new\"\n");
    EXPECT_EQ(names().size(), 1U);
    std::filesystem::remove(folder.path("a.qrt"));
    EXPECT_THROW(file_rewrite(folder.path("a.qrt"), broken, mended), std::system_error);
    EXPECT_TRUE(names().empty());
}

TEST_F(CheckFix, OneThatCannotBeRewrittenIsAProblem) {
    folder.write("a.qrt", broken);
    ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
    ASSERT_EQ(chmod(folder.path("a.qrt").c_str(), 0444), 0);
    if (geteuid() != 0) GTEST_SKIP() << "the shell could not become somebody else";
    const Outcome outcome = shell("setpriv --reuid=65534 --regid=65534 --clear-groups \"$0\" check --fix a.qrt");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("a.qrt: Permission denied"));
    EXPECT_EQ(file_text(folder.path("a.qrt")), broken);
}

TEST_F(CheckFix, StandardInputIsNotFixed) {
    EXPECT_EQ(check({"--fix", "-"}, broken).status, 2);
    const Outcome outcome = check({"--diff", "-"}, broken);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("--- -\n+++ -\n"));
}

TEST_F(CheckFix, DiffShowsWhatFixWouldDo) {
    folder.write("a.qrt", broken);
    const Outcome outcome = check({"--diff", "a.qrt"});
    EXPECT_EQ(outcome,
              (Outcome{1,
                       "--- a.qrt\n+++ a.qrt\n@@ -1,3 +1,3 @@\n WRITE \"x\"\n- A:\n-IF \"a\" = \"b\" THEN GOTO A\n"
                       "\\ No newline at end of file\n+A:\n+IF \"a\" = \"b\" THEN GOTO A\n",
                       ""}));
    EXPECT_EQ(file_text(folder.path("a.qrt")), broken);
    EXPECT_EQ(shell("\"$0\" check --diff a.qrt | patch -s").status, 0);
    EXPECT_EQ(file_text(folder.path("a.qrt")), mended);
    EXPECT_EQ(check({"--diff", "--severity=error", "a.qrt"}), (Outcome{0, "", ""}));
}

TEST_F(CheckFix, DiffTakesAnyNameAndAnyBytes) {
    const std::string name = "-x\n\x1b.qrt";
    folder.write(name, std::string("WRITE \"\xff\x1b\"\n A:\n"));
    const Outcome outcome = check({"--diff", "--", name});
    EXPECT_THAT(outcome.out, HasSubstr("--- -x\\x0A\\x1B.qrt\n+++ -x\\x0A\\x1B.qrt\n"));
    EXPECT_THAT(outcome.out, HasSubstr(" WRITE \"\xff\x1b\"\n- A:\n+A:\n")) << "it is a patch";
    environment["NO_COLOR"] = "1";
    TerminalProcess terminal(
        {"/bin/sh", "-c", "cd '" + folder.path() + "' && exec \"$0\" check --diff .", QRTSCRIPT_PATH}, environment);
    terminal.finish();
    EXPECT_THAT(terminal.shown(), HasSubstr("\\x1B\"\r\n"));
    EXPECT_THAT(terminal.shown(), Not(HasSubstr("\x1b")));
}
