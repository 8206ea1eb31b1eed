// `qrtscript fmt` as a program: what it reads, writes and leaves, and how it ends.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "tests/qrtscript/check_fixture.h"
#include "tests/support/own_process.h"
#include "tools/qrtscript/check/rewrite.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

class Fmt : public CheckFixture {
  protected:
    Outcome fmt(Words words, const std::string &input = "") const {
        words.insert(words.begin(), "fmt");
        return qrtscript(words, input);
    }
    std::string text(const std::string &name) const { return file_text(folder.path(name)); }
    static constexpr const char *rough = "cls\n  cls\n", *smooth = "CLS\nCLS\n";
};

} // namespace

TEST_F(Fmt, RewritesFilesAndFolders) {
    folder.write("a.qrt", rough);
    folder.write("tree/b.qrt", rough);
    folder.write("tree/deep/c.qrt", rough);
    folder.write("tree/d.txt", rough);
    EXPECT_EQ(fmt({"a.qrt", "tree"}), (Outcome{0, "", ""}));
    for (const char *name : {"a.qrt", "tree/b.qrt", "tree/deep/c.qrt"}) EXPECT_EQ(text(name), smooth) << name;
    EXPECT_EQ(text("tree/d.txt"), rough);
    for (const auto &entry : std::filesystem::directory_iterator(folder.path("tree")))
        EXPECT_EQ(entry.path().string().find(".qrtscript-"), std::string::npos);
}

TEST_F(Fmt, TakesBlanksForEachLevel) {
    EXPECT_EQ(fmt({"--indent=3", "-"}, "if \"a\" then\ncls\nend\n").out, "IF \"a\" THEN\n   CLS\nEND\n");
    for (const char *wrong : {"--indent=17", "--indent=-1", "--indent=x", "--indent=", "--indent=2x"})
        EXPECT_EQ(fmt({wrong, "-"}).status, 2) << wrong;
}

TEST_F(Fmt, ReadsStandardInput) {
    EXPECT_EQ(fmt({"-"}, rough), (Outcome{0, smooth, ""}));
    EXPECT_EQ(fmt({"--check", "-"}, rough), (Outcome{1, "-\n", ""}));
    EXPECT_EQ(fmt({"--check", "-"}, smooth), (Outcome{0, "", ""}));
}

TEST_F(Fmt, OnlyLooksWhenAsked) {
    folder.write("a.qrt", rough);
    folder.write("b.qrt", smooth);
    EXPECT_EQ(fmt({"--check", "a.qrt", "b.qrt"}), (Outcome{1, "a.qrt\n", ""}));
    EXPECT_EQ(fmt({"--check", "b.qrt"}), (Outcome{0, "", ""}));
    EXPECT_EQ(fmt({"--stdout", "a.qrt", "b.qrt"}), (Outcome{0, std::string(smooth) + smooth, ""}));
    const std::string diff = "--- a.qrt\n+++ a.qrt\n@@ -1,2 +1,2 @@\n-cls\n-  cls\n+CLS\n+CLS\n";
    EXPECT_EQ(fmt({"--diff", "a.qrt", "b.qrt"}), (Outcome{0, diff, ""}));
    EXPECT_EQ(fmt({"--diff", "--check", "a.qrt"}), (Outcome{1, diff, ""}));
    EXPECT_EQ(fmt({"--diff", "--stdout", "a.qrt"}).status, 2);
    EXPECT_EQ(text("a.qrt"), rough);
}

TEST_F(Fmt, ShowsChangesAsAPatch) {
    std::string script;
    for (int line = 1; line <= 40; ++line)
        script += line == 1 || line == 9 || line == 25 || line == 38 ? "cls\r\n" : "CLS\n";
    folder.write("a.qrt", script + "\n \n");
    const Outcome made = shell(
        "\"$0\" fmt --diff a.qrt >a.patch && patch -s -o patched.qrt a.qrt a.patch && "
        "\"$0\" fmt a.qrt && cmp a.qrt patched.qrt && grep -c '^@@' a.patch");
    EXPECT_EQ(made, (Outcome{0, "4\n", ""}));
    folder.write("b.qrt", "cls\nCLS");
    EXPECT_EQ(fmt({"--diff", "b.qrt"}).out,
              "--- b.qrt\n+++ b.qrt\n@@ -1,2 +1,2 @@\n-cls\n+CLS\n CLS\n\\ No newline at end of file\n");
}

TEST_F(Fmt, KeepsModeAndLink) {
    folder.write("a.qrt", rough);
    ASSERT_EQ(chmod(folder.path("a.qrt").c_str(), 0751), 0);
    ASSERT_EQ(symlink("a.qrt", folder.path("link.qrt").c_str()), 0);
    const bool isRoot = geteuid() == 0;
    if (isRoot) {
        ASSERT_EQ(chown(folder.path("a.qrt").c_str(), 1234, 2345), 0);
    }
    EXPECT_EQ(fmt({"link.qrt"}), (Outcome{0, "", ""}));
    EXPECT_EQ(text("a.qrt"), smooth);
    struct stat status = {};
    ASSERT_EQ(lstat(folder.path("link.qrt").c_str(), &status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode));
    ASSERT_EQ(stat(folder.path("a.qrt").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0751U);
    if (isRoot) {
        EXPECT_EQ(status.st_uid, 1234U);
        EXPECT_EQ(status.st_gid, 2345U);
    }
}

TEST_F(Fmt, DoesNotWriteThroughLinksOfAFolder) {
    folder.write("outside.qrt", rough);
    folder.write("tree/inside.txt", rough);
    folder.write("tree/z.qrt", rough);
    ASSERT_EQ(symlink("../outside.qrt", folder.path("tree/a.qrt").c_str()), 0);
    ASSERT_EQ(symlink("inside.txt", folder.path("tree/b.qrt").c_str()), 0);
    ASSERT_EQ(symlink("z.qrt", folder.path("tree/c.qrt").c_str()), 0);
    const std::string out = "qrtscript fmt: tree/a.qrt: not read: the symbolic link leads out of the folder\n";
    EXPECT_EQ(fmt({"--check", "tree"}), (Outcome{2, "tree/b.qrt\ntree/c.qrt\ntree/z.qrt\n", out}));
    EXPECT_EQ(fmt({"tree"}),
              (Outcome{2, "", out + "qrtscript fmt: tree/b.qrt: not written: it is a symbolic link in a folder\n"}));
    EXPECT_EQ(text("outside.qrt"), rough);
    EXPECT_EQ(text("tree/inside.txt"), rough);
    EXPECT_EQ(text("tree/z.qrt"), smooth);
}

// The errno of file_rewrite, 0 for success.
static int rewrite_error(const std::string &name, const std::string &before) {
    try {
        file_rewrite(name, before, "new\n");
    } catch (const std::system_error &problem) {
        return problem.code().value();
    }
    return 0;
}

TEST_F(Fmt, LeavesWhatHasChangedMeanwhile) {
    folder.write("a.qrt", rough);
    EXPECT_EQ(rewrite_error(folder.path("a.qrt"), "old\n"), EBUSY);
    EXPECT_EQ(text("a.qrt"), rough);
    EXPECT_EQ(rewrite_error(folder.path("a.qrt"), rough), 0);
    EXPECT_EQ(text("a.qrt"), "new\n");
    // Nothing else is left.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
}

TEST_F(Fmt, LeavesWhatItsOwnerHasProtected) {
    folder.write("a.qrt", rough);
    ASSERT_EQ(chmod(folder.path("a.qrt").c_str(), 0444), 0);
    if (geteuid() == 0) {
        ASSERT_EQ(chown(folder.path().c_str(), 1234, 1234), 0);
        ASSERT_EQ(chown(folder.path("a.qrt").c_str(), 1234, 1234), 0);
    }
    in_own_process([&] {
        if (geteuid() == 0 && setresuid(1234, 1234, 1234) != 0) FAIL() << "setresuid";
        EXPECT_EQ(rewrite_error(folder.path("a.qrt"), rough), EACCES);
    });
    EXPECT_EQ(text("a.qrt"), rough);
}

TEST_F(Fmt, LeavesFormattedFilesAlone) {
    folder.write("a.qrt", smooth);
    struct stat before = {}, after = {};
    ASSERT_EQ(stat(folder.path("a.qrt").c_str(), &before), 0);
    EXPECT_EQ(fmt({"a.qrt"}).status, 0);
    ASSERT_EQ(stat(folder.path("a.qrt").c_str(), &after), 0);
    EXPECT_EQ(before.st_ino, after.st_ino);
}

TEST_F(Fmt, GoesOnBehindWhatItCannotRead) {
    folder.write("a.qrt", rough);
    const Outcome outcome = fmt({"none.qrt", "a.qrt"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, StartsWith("qrtscript fmt: "));
    EXPECT_THAT(outcome.err, HasSubstr("none.qrt"));
    EXPECT_EQ(text("a.qrt"), smooth);
    EXPECT_EQ(fmt({}).status, 2);
}

TEST_F(Fmt, SaysWhenItsOutputIsLost) {
    const Outcome outcome = shell("echo cls | \"$0\" fmt - >/dev/full");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, StartsWith("qrtscript fmt: "));
}
