// How `qrtscript check` ends, and what it does when a script cannot be read.
#include <sys/stat.h>
#include <unistd.h>

#include "tests/qrtscript/check_fixture.h"

namespace {

using testing::HasSubstr;
using CheckExitStatus = CheckFixture;

} // namespace

TEST_F(CheckExitStatus, TellsWhatWasFound) {
    folder.write("clean.qrt", "WRITE \"x\"\n");
    folder.write("error.qrt", "FOO 1\n");
    folder.write("warning.qrt", "GOTO NOWHERE\n");
    const struct {
        Words words;
        int status;
    } rows[] = {
        {{"clean.qrt"}, 0},
        {{"error.qrt"}, 1},
        {{"warning.qrt"}, 1},
        {{"--severity=warning", "warning.qrt"}, 1},
        {{"--severity=error", "warning.qrt"}, 0},
        {{"--severity=error", "warning.qrt", "error.qrt"}, 1},
        {{"none.qrt"}, 2},
        {{"error.qrt", "none.qrt"}, 2},
        {{}, 2},
        {{"--severity=worst", "clean.qrt"}, 2},
        {{"--nonsense", "clean.qrt"}, 2},
        {{"--help"}, 0},
    };
    for (const auto &row : rows) EXPECT_EQ(check(row.words).status, row.status) << testing::PrintToString(row.words);
}

TEST_F(CheckExitStatus, IsThatOfWhatCouldNotBeDoneBeforeAll) {
    folder.write("error.qrt", "FOO 1\n");
    for (const char *option : {"--fix", "--diff", "--format=json", "--no-ignore", "--severity=error"})
        EXPECT_EQ(check({option, "error.qrt", "none.qrt"}).status, 2) << option;
    EXPECT_EQ(shell("\"$0\" check error.qrt >/dev/full").status, 2);
}

TEST_F(CheckExitStatus, OfABaselineThatIsWrittenIsZero) {
    folder.write("error.qrt", "FOO 1\n");
    EXPECT_EQ(check({"--write-baseline=known.json", "error.qrt"}).status, 0);
    for (const char *option : {"--fix", "--diff", "--baseline=known.json"})
        EXPECT_EQ(check({"--write-baseline=new.json", option, "error.qrt"}).status, 2) << option;
    EXPECT_NE(access(folder.path("new.json").c_str(), F_OK), 0);
}

TEST_F(CheckExitStatus, StandardInputIsAScript) {
    EXPECT_EQ(check({"-"}, "WRITE \"x\"\n"), (Outcome{0, "", ""}));
    const Outcome outcome = check({"--format=gcc", "-"}, "FOO 1\n");
    EXPECT_EQ(outcome, (Outcome{1, "-:1:1: error: no statement begins with FOO [QS1001]\n", ""}));
    EXPECT_EQ(shell("\"$0\" check - <&-").status, 2);
    EXPECT_EQ(shell("\"$0\" check - <.").status, 2);
    folder.write("-", "FOO 1\n");
    EXPECT_EQ(check({"./-"}).status, 1);
}

TEST_F(CheckExitStatus, NamesMayBeginWithASignOrHaveControlCharacters) {
    for (const std::string name : {"-x.qrt", "--fix", "a\n\x1b[2J\xff.qrt", "\xC2\x9B.qrt"}) {
        folder.write(name, "FOO 1\n");
        const Outcome outcome = check({"--", name});
        EXPECT_EQ(outcome.status, 1) << name;
        EXPECT_THAT(outcome.out, testing::Not(HasSubstr("\x1b")));
        EXPECT_THAT(outcome.out, testing::Not(HasSubstr("\xC2\x9B")));
    }
    EXPECT_EQ(check({"--", "no\x1bne"}).err, "qrtscript check: no\\x1Bne: No such file or directory\n");
    EXPECT_EQ(check({"."}).status, 1);
}

TEST_F(CheckExitStatus, WhatCannotBeReadDoesNotHideTheRest) {
    folder.write("a/1.qrt", "FOO 1\n");
    folder.write("b/2.qrt", "FOO 1\n");
    folder.write("c.qrt", "FOO 1\n");
    ASSERT_EQ(symlink("nowhere", folder.path("b/dangling.qrt").c_str()), 0);
    ASSERT_EQ(symlink("loop.qrt", folder.path("b/loop.qrt").c_str()), 0);
    ASSERT_EQ(symlink("..", folder.path("b/above").c_str()), 0);
    ASSERT_EQ(mkfifo(folder.path("b/fifo.qrt").c_str(), 0644), 0);
    EXPECT_EQ(check({"--format=gcc", "."}), (Outcome{1,
                                                     "./a/1.qrt:1:1: error: no statement begins with FOO [QS1001]\n"
                                                     "./b/2.qrt:1:1: error: no statement begins with FOO [QS1001]\n"
                                                     "./c.qrt:1:1: error: no statement begins with FOO [QS1001]\n",
                                                     ""}));
    if (geteuid() != 0) GTEST_SKIP() << "the shell could not become somebody else";
    ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
    ASSERT_EQ(chmod(folder.path("a").c_str(), 0), 0);
    ASSERT_EQ(chmod(folder.path("c.qrt").c_str(), 0), 0);
    const Outcome outcome = shell(
        "setpriv --reuid=65534 --regid=65534 --clear-groups \"$0\" check --format=gcc . c.qrt b/fifo.qrt none.qrt");
    EXPECT_EQ(outcome, (Outcome{2, "./b/2.qrt:1:1: error: no statement begins with FOO [QS1001]\n",
                                "qrtscript check: ./a: Permission denied\n"
                                "qrtscript check: ./c.qrt: Permission denied\n"
                                "qrtscript check: c.qrt: Permission denied\n"
                                "qrtscript check: b/fifo.qrt: not a regular file\n"
                                "qrtscript check: none.qrt: No such file or directory\n"}));
}

TEST_F(CheckExitStatus, WhatIsNoRegularFileIsCalledThat) {
    ASSERT_EQ(mkfifo(folder.path("fifo").c_str(), 0644), 0);
    ASSERT_EQ(shell("python3 -c 'import socket; socket.socket(socket.AF_UNIX).bind(\"socket\")'").status, 0);
    folder.write("clean.qrt", "WRITE \"x\"\n");
    for (const std::string name : {"fifo", "socket", "/dev/null"}) {
        const std::string reason = name + ": not a regular file\n";
        EXPECT_EQ(check({name}), (Outcome{2, "", "qrtscript check: " + reason}));
        EXPECT_EQ(check({"--baseline=" + name, "clean.qrt"}), (Outcome{2, "", "qrtscript check: " + reason}));
        EXPECT_EQ(qrtscript({"fmt", name}), (Outcome{2, "", "qrtscript fmt: " + reason}));
    }
}

TEST_F(CheckExitStatus, LinksOutOfAFolderAreNotRead) {
    folder.write("secret.qrt", "sekret words\n");
    folder.write("proposal/a.qrt", "FOO 1\n");
    folder.write("proposal/deep/text", "BAR 1\n");
    ASSERT_EQ(symlink("../secret.qrt", folder.path("proposal/out.qrt").c_str()), 0);
    ASSERT_EQ(symlink(folder.path("secret.qrt").c_str(), folder.path("proposal/deep/far.qrt").c_str()), 0);
    ASSERT_EQ(symlink("deep/text", folder.path("proposal/in.qrt").c_str()), 0);
    ASSERT_EQ(symlink("proposal", folder.path("checked").c_str()), 0);
    for (const std::string name : {"proposal", "checked"})
        EXPECT_EQ(
            check({"--format=gcc", name}),
            (Outcome{
                2,
                name + "/a.qrt:1:1: error: no statement begins with FOO [QS1001]\n" + name +
                    "/in.qrt:1:1: error: no statement begins with BAR [QS1001]\n",
                "qrtscript check: " + name + "/deep/far.qrt: not read: the symbolic link leads out of the folder\n" +
                    "qrtscript check: " + name + "/out.qrt: not read: the symbolic link leads out of the folder\n"}));
    // What is named is meant.
    EXPECT_EQ(check({"--format=gcc", "proposal/out.qrt"}),
              (Outcome{1, "proposal/out.qrt:1:1: error: no statement begins with sekret [QS1001]\n", ""}));
    folder.write("proposal/.qrtscriptrc", "exclude = [\"out.qrt\", \"deep\"]\n");
    EXPECT_EQ(check({"proposal"}).err, "");
}

TEST_F(CheckExitStatus, ScriptsForObjectsAreReadAsALoginDoes) {
    folder.write("a.qrt", "WRITE \"x\"");
    folder.write("b.qrt", "FOO");
    EXPECT_EQ(check({"a.qrt"}).status, 1);
    EXPECT_EQ(check({"--for-object", "a.qrt", "a.qrt"}), (Outcome{0, "", ""}));
    EXPECT_EQ(check({"--for-object=sales.acme", "--format=gcc", "b.qrt"}),
              (Outcome{1, "sales.acme:1:1: error: no statement begins with FOO [QS1001]\n", ""}));
    EXPECT_EQ(check({"--for-object", "-"}, "WRITE \"x\"").status, 0);
    EXPECT_EQ(check({"--for-object=sales.acme", "a.qrt", "b.qrt"}).status, 2);
    EXPECT_EQ(check({"--for-object", "--fix", "a.qrt"}).status, 2);
}

TEST_F(CheckExitStatus, AFolderWithoutScriptsIsAProblem) {
    folder.write("notes/login.txt", "FOO 1\n");
    const std::string none = "notes: no *.qrt file in it\n";
    EXPECT_EQ(check({"notes"}), (Outcome{2, "", "qrtscript check: " + none}));
    EXPECT_EQ(qrtscript({"fmt", "--check", "notes"}), (Outcome{2, "", "qrtscript fmt: " + none}));
    folder.write("notes/old.qrt", "FOO 1\n");
    folder.write("notes/.qrtscriptrc", "exclude = [\"old.qrt\"]\n");
    EXPECT_EQ(check({"notes"}), (Outcome{0, "", ""}));
}

TEST_F(CheckExitStatus, FoldersAreReadAsImportDoes) {
    folder.write("A.QRT", "FOO 1\n");
    folder.write(".hidden/a.qrt", "FOO 1\n");
    folder.write(".b.qrt", "FOO 1\n");
    EXPECT_EQ(check({"--format=gcc", "."}).out, "./A.QRT:1:1: error: no statement begins with FOO [QS1001]\n");
    EXPECT_EQ(check({".hidden"}).status, 1) << "what is named is meant";
}
