// qrtscript get, put and diff over a tree in a file.
#include <sys/resource.h>
#include <sys/stat.h>

#include "tests/qrtscript/object_site.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class ObjectPut : public ObjectSite {};

// The program beside a check of the test's own.
class ObjectPutWithCheck : public ObjectPut {
  protected:
    ObjectPutWithCheck() {
        environment["LD_LIBRARY_PATH"] = BINARY_DIR;
        site.make("bin");
        std::filesystem::copy(BINARY_DIR "/qrtscript-object", site.path("bin/qrtscript-object"));
    }
    void check(const std::string &text) const { program("bin/qrtscript-check", text); }
    Outcome put(const std::string &text, Words words = {}) {
        site.write("new.qrt", text);
        words.insert(words.begin(),
                     {site.path("bin/qrtscript-object"), "put", "jdoe.sales.acme", site.path("new.qrt"), "--yes"});
        return process_run(words, environment);
    }
};

} // namespace

TEST_F(ObjectPut, GetPrintsTheScriptByteForByte) {
    const std::string text = "WRITE \"a\"\r\n\tREM \x1B[31m\xFF\r\nlast line\r\n";
    userScript(text);
    EXPECT_EQ(qrtscript({"get", "jdoe.sales.acme"}), (Outcome{0, text, ""}));
    EXPECT_EQ(qrtscript({"get", "--context", "sales.acme", "cn=JDOE"}).out, text);
    EXPECT_EQ(qrtscript({"get", "-c", ".acme", "-t", "acme", "jdoe.sales"}).out, text);
    EXPECT_EQ(qrtscript({"get", "-v", "jdoe.sales.acme"}),
              (Outcome{0, text,
                       "qrtscript get: CN=jdoe.OU=sales.O=acme (User): " +
                           std::filesystem::canonical(site.path("user.qrt")).string() + "\n"}));
}

TEST_F(ObjectPut, ALastLineWithoutAnEndGetsOne) {
    containerScript("WRITE \"u5\"");
    const std::string text = "WRITE \"u5\"\n", same = "the login script of sales.acme is the same already\n";
    EXPECT_EQ(script("sales.acme"), text);
    for (const char *input : {"WRITE \"u5\"\n", "WRITE \"u5\""})
        EXPECT_EQ(qrtscript({"put", "sales.acme", "--yes"}, input), (Outcome{0, "", "qrtscript put: " + same}))
            << input;
    site.write("new.qrt", "WRITE \"u5\"");
    EXPECT_EQ(qrtscript({"diff", "sales.acme", site.path("new.qrt")}), (Outcome{0, "", ""}));
    EXPECT_EQ(file_text(site.path("container.qrt")), "WRITE \"u5\"") << "what is the same is not written";
    EXPECT_EQ(qrtscript({"put", "sales.acme", "--yes"}, "WRITE \"v5\""),
              (Outcome{0, "--- sales.acme\n+++ -\n@@ -1 +1 @@\n-WRITE \"u5\"\n+WRITE \"v5\"\n", ""}));
    EXPECT_EQ(file_text(site.path("container.qrt")), "WRITE \"v5\"\n");
    userScript("REM\r\nEXIT");
    EXPECT_EQ(script("jdoe.sales.acme"), "REM\r\nEXIT\r\n");
    userScript("");
    EXPECT_EQ(script("jdoe.sales.acme"), "");
}

TEST_F(ObjectPut, GetSaysWhatIsNotThere) {
    EXPECT_EQ(qrtscript({"get", "jdoe.sales.acme"}),
              (Outcome{5, "", "qrtscript get: jdoe.sales.acme has no login script\n"}));
    EXPECT_EQ(qrtscript({"get", "nobody.acme"}), (Outcome{5, "", "qrtscript get: nobody.acme: no such object\n"}));
    EXPECT_EQ(qrtscript({"get", "a..b"}), (Outcome{5, "", "qrtscript get: a..b: malformed name\n"}));
    EXPECT_EQ(qrtscript({"get", "-t", "NONE", "jdoe"}).status, 4);
    EXPECT_THAT(qrtscript({"get"}).err, StartsWith("qrtscript get: an argument is missing\n"));
    EXPECT_EQ(qrtscript({"get"}).status, 64);
    EXPECT_EQ(qrtscript({"get", "a", "b"}).status, 64);
    EXPECT_EQ(qrtscript({"get", "--yes", "a"}).status, 64) << "an option of other subcommands";
    EXPECT_THAT(qrtscript({"get", "--help"}).out, HasSubstr("  5   no such object, or it has no login script\n"));
}

TEST_F(ObjectPut, GetReportsOutputThatIsLost) {
    userScript("WRITE \"a\"\n");
    const Outcome lost = process_run(
        {"/bin/sh", "-c", std::string("exec '") + QRTSCRIPT_PATH + "' get jdoe.sales.acme >/dev/full"}, environment);
    EXPECT_EQ(lost.status, 74);
    EXPECT_THAT(lost.err, HasSubstr("No space left on device"));
}

TEST_F(ObjectPut, ReplacesTheScriptAndShowsTheDifference) {
    containerScript("WRITE \"one\"\nWRITE \"two\"\n");
    EXPECT_EQ(
        qrtscript({"put", "sales.acme", "--yes"}, "WRITE \"one\"\nWRITE \"three\"\n"),
        (Outcome{0, "--- sales.acme\n+++ -\n@@ -1,2 +1,2 @@\n WRITE \"one\"\n-WRITE \"two\"\n+WRITE \"three\"\n", ""}));
    EXPECT_EQ(file_text(site.path("container.qrt")), "WRITE \"one\"\nWRITE \"three\"\n");
    EXPECT_EQ(temporaries(), 0);
}

TEST_F(ObjectPut, TheNextLoginRunsIt) {
    ASSERT_EQ(qrtscript({"put", "jdoe.sales.acme", "-", "--yes"}, "WRITE \"from the tool\"\n").status, 0);
    EXPECT_EQ(login().out, login_head + "from the tool\n");
}

TEST_F(ObjectPut, AFirstScriptIsAnAdditionOfAllItsLines) {
    site.write("first.qrt", "EXIT\n");
    EXPECT_EQ(qrtscript({"put", "jdoe.sales.acme", site.path("first.qrt"), "-y"}).out,
              "--- jdoe.sales.acme (no script)\n+++ " + site.path("first.qrt") + "\n@@ -0,0 +1 @@\n+EXIT\n");
    EXPECT_THAT(tree(), HasSubstr("qrtLoginScript:: RVhJVAo=\n"));
}

TEST_F(ObjectPut, DoesNothingWithTheSameScript) {
    userScript("EXIT\n");
    EXPECT_EQ(qrtscript({"put", "jdoe.sales.acme"}, "EXIT\n"),
              (Outcome{0, "", "qrtscript put: the login script of jdoe.sales.acme is the same already\n"}));
}

TEST_F(ObjectPut, AsksFirst) {
    environment["DISPLAY"] = ":4711"; // on the terminal all the same, without a word about windows
    userScript("EXIT\n");
    site.write("new.qrt", "BREAK ON\n");
    const Words words = {"put", "jdoe.sales.acme", site.path("new.qrt")};
    auto process = onTerminal(words);
    ASSERT_TRUE(process->answers("Make this the login script of jdoe.sales.acme? (y/n) ", "n\n"));
    EXPECT_EQ(process->finish(), 1) << process->shown();
    EXPECT_EQ(process->shown().find("window"), std::string::npos) << process->shown();
    EXPECT_EQ(script("jdoe.sales.acme"), "EXIT\n");
    process = onTerminal(words);
    ASSERT_TRUE(process->answers("Make this the login script of jdoe.sales.acme? (y/n) ", "y\n"));
    EXPECT_EQ(process->finish(), 0) << process->shown();
    EXPECT_EQ(script("jdoe.sales.acme"), "BREAK ON\n");
}

TEST_F(ObjectPut, WithoutATerminalItDoesNotAsk) {
    userScript("EXIT\n");
    const Outcome outcome = qrtscript({"put", "jdoe.sales.acme"}, "BREAK ON\n");
    EXPECT_EQ(outcome.status, 64);
    EXPECT_EQ(outcome.err, "qrtscript put: there is no terminal to ask on: --yes writes without a question\n");
    EXPECT_EQ(script("jdoe.sales.acme"), "EXIT\n");
}

TEST_F(ObjectPut, AnInterruptLeavesTheOldScriptAndNoFile) {
    userScript("EXIT\n");
    site.write("new.qrt", "BREAK ON\n");
    auto process = onTerminal({"put", "jdoe.sales.acme", site.path("new.qrt")});
    ASSERT_TRUE(process->awaits("(y/n) "));
    process->interrupt();
    EXPECT_EQ(process->finish(), 1000 + SIGINT);
    EXPECT_EQ(script("jdoe.sales.acme"), "EXIT\n");
    EXPECT_EQ(temporaries(), 0);
}

TEST_F(ObjectPut, WhatIsChangedDuringTheQuestionIsNotLost) {
    userScript("EXIT\n");
    site.write("new.qrt", "BREAK ON\n");
    auto process = onTerminal({"put", "jdoe.sales.acme", site.path("new.qrt")});
    ASSERT_TRUE(process->awaits("(y/n) "));
    site.write("user.qrt", "REM somebody else's\n");
    process->type("y\n");
    EXPECT_EQ(process->finish(), 7);
    EXPECT_THAT(process->shown(), HasSubstr("cannot write the login script of jdoe.sales.acme: "));
    EXPECT_THAT(process->shown(), EndsWith("user.qrt has been changed by somebody else\r\n"));
    EXPECT_EQ(script("jdoe.sales.acme"), "REM somebody else's\n");
}

TEST_F(ObjectPut, ShowsNothingThatTheTerminalWouldObey) {
    userScript("REM \x1B[2J\r\n");
    site.write("new.qrt", "REM none\n");
    auto process = onTerminal({"put", "jdoe.sales.acme", site.path("new.qrt")});
    ASSERT_TRUE(process->answers("(y/n) ", "n\n"));
    process->finish();
    EXPECT_THAT(process->shown(), HasSubstr("\033[31m-REM \\x1B[2J\\x0D\033[m"));
    environment["NO_COLOR"] = "1";
    process = onTerminal({"diff", "jdoe.sales.acme", site.path("new.qrt")});
    EXPECT_EQ(process->finish(), 1);
    EXPECT_THAT(process->shown(), HasSubstr("\r\n-REM \\x1B[2J\\x0D\r\n+REM none\r\n"));
}

TEST_F(ObjectPut, RefusesAScriptWithErrorsUnlessForced) {
    userScript("EXIT\n");
    const Outcome refused = qrtscript({"put", "jdoe.sales.acme", "--yes"}, "IF \"a\" = \"a\" THEN\nEXIT\n");
    EXPECT_EQ(refused.status, 6);
    EXPECT_EQ(refused.out, "");
    EXPECT_THAT(refused.err, StartsWith("jdoe.sales.acme:1:1: error: "));
    EXPECT_THAT(refused.err, EndsWith("qrtscript put: the script has errors; --force writes it all the same\n"));
    EXPECT_EQ(script("jdoe.sales.acme"), "EXIT\n");
    site.write("new.qrt", "FOO\n");
    const std::string file = site.path("new.qrt");
    EXPECT_THAT(qrtscript({"put", "jdoe.sales.acme", file}).err, StartsWith(file + ":1:1: error: "));
    EXPECT_EQ(qrtscript({"put", "nobody.acme", file}),
              (Outcome{5, "", "qrtscript put: nobody.acme: no such object\n"}));
    EXPECT_EQ(qrtscript({"put", "jdoe.sales.acme", "--yes", "--force"}, "IF \"a\" = \"a\" THEN\nEXIT\n").status, 0);
    EXPECT_EQ(script("jdoe.sales.acme"), "IF \"a\" = \"a\" THEN\nEXIT\n");
}

TEST_F(ObjectPut, TakesAScriptAway) {
    containerScript("EXIT\n");
    EXPECT_EQ(qrtscript({"put", "--remove", "sales.acme", "--yes"}).out,
              "--- sales.acme\n+++ sales.acme (no script)\n@@ -1 +0,0 @@\n-EXIT\n");
    EXPECT_EQ(qrtscript({"get", "sales.acme"}).status, 5);
    EXPECT_EQ(qrtscript({"put", "--remove", "sales.acme", "--yes"}).status, 0) << "it is gone already";
    EXPECT_EQ(qrtscript({"put", "--remove", "sales.acme", "file"}).status, 64);
}

TEST_F(ObjectPut, SaysWhichFileCannotBeReadOrTaken) {
    EXPECT_EQ(qrtscript({"put", "jdoe.sales.acme", "/none", "-y"}),
              (Outcome{66, "", "qrtscript put: cannot read /none: No such file or directory\n"}));
    EXPECT_EQ(qrtscript({"put", "jdoe.sales.acme", "/", "-y"}),
              (Outcome{66, "", "qrtscript put: cannot read /: Is a directory\n"}));
    const Outcome zero = process_run(
        {"/bin/sh", "-c", std::string("printf 'a\\000b' | '") + QRTSCRIPT_PATH + "' put -fy jdoe.sales.acme"},
        environment);
    EXPECT_EQ(zero.status, 3);
    EXPECT_THAT(zero.err,
                EndsWith("cannot write the login script of jdoe.sales.acme: the script contains a NUL byte\n"));
}

TEST_F(ObjectPut, SaysWhenItHasNoPlaceForItsOwnFiles) {
    userScript("EXIT\n");
    environment["TMPDIR"] = "/proc";
    const Outcome outcome = qrtscript({"put", "jdoe.sales.acme", "--yes"}, "BREAK ON\n");
    EXPECT_EQ(outcome.status, 73);
    EXPECT_THAT(outcome.err, StartsWith("qrtscript put: cannot write /proc/qrtscript-"));
    EXPECT_EQ(script("jdoe.sales.acme"), "EXIT\n");
}

TEST_F(ObjectPut, DiffTellsByItsStatus) {
    userScript("EXIT\n");
    EXPECT_EQ(qrtscript({"diff", "jdoe.sales.acme", "-"}, "EXIT\n"), (Outcome{0, "", ""}));
    EXPECT_EQ(qrtscript({"diff", "jdoe.sales.acme", "-"}, "exit\n"),
              (Outcome{1, "--- jdoe.sales.acme\n+++ -\n@@ -1 +1 @@\n-EXIT\n+exit\n", ""}));
    EXPECT_EQ(qrtscript({"diff", "sales.acme", "-"}, "").status, 1) << "an empty script is not the same as none";
    EXPECT_EQ(qrtscript({"diff", "nobody.acme", "-"}, "").status, 5);
}

TEST_F(ObjectPut, LogsInWhereThatIsWanted) {
    userScript("EXIT\n");
    const auto get = [this](const std::string &as, const std::string &password) {
        return process_run({QRTSCRIPT_PATH, "get", "jdoe.sales.acme", "--as", as, "--password-fd", "3"}, environment,
                           password);
    };
    EXPECT_EQ(get("jdoe.sales.acme", "secret\n"), (Outcome{0, "EXIT\n", ""}));
    EXPECT_EQ(get("cn=jdoe,ou=sales,o=acme", "secret\n").status, 0);
    EXPECT_EQ(get("jdoe.sales.acme", "wrong\n"),
              (Outcome{2, "", "qrtscript get: cannot log in as jdoe.sales.acme to tree ACME: wrong password\n"}));
    EXPECT_EQ(get("cn=jdoe,ou=sales,o=acme", "wrong\n").status, 2);
    EXPECT_EQ(get("cn=nobody,o=acme", "secret\n").status, 5);
    EXPECT_EQ(get("jdoe.sales.acme", "").status, 2) << "no password";
    EXPECT_EQ(qrtscript({"get", "jdoe.sales.acme", "--as", "jdoe.sales.acme", "--password-fd", "0"}, "secret\n"),
              (Outcome{0, "EXIT\n", ""}));
    EXPECT_EQ(qrtscript({"get", "--password-fd", "3", "jdoe.sales.acme"}).status, 64);
    auto process = onTerminal({"get", "jdoe.sales.acme", "--as", "jdoe.sales.acme"});
    ASSERT_TRUE(process->answers("Password for jdoe.sales.acme: ", "secret\n")) << process->shown();
    EXPECT_EQ(process->finish(), 0);
    EXPECT_THAT(process->shown(), EndsWith("EXIT\r\n"));
}

TEST_F(ObjectPutWithCheck, AsksTheCheckForErrorsOnly) {
    check("echo \"$@\" >'" + site.path("words") + "'; cat \"$7\" >'" + site.path("checked") + "'\n");
    ASSERT_EQ(put("EXIT\n").status, 0);
    EXPECT_THAT(file_text(site.path("words")),
                testing::MatchesRegex("check --severity error --no-ignore --for-object=.*/new\\.qrt -- .*/script\n"));
    EXPECT_EQ(file_text(site.path("checked")), "EXIT\n");
}

TEST_F(ObjectPutWithCheck, ACheckThatFailsIsNoPermission) {
    check("echo no memory >&2; exit 2\n");
    const std::string refusal = "qrtscript put: the script could not be checked; --force writes it all the same\n";
    EXPECT_EQ(put("EXIT\n"), (Outcome{6, "", "no memory\n" + refusal}));
    check("kill -9 $$\n");
    EXPECT_EQ(put("EXIT\n"), (Outcome{6, "", refusal}));
    std::filesystem::remove(site.path("bin/qrtscript-check"));
    EXPECT_EQ(put("EXIT\n"), (Outcome{6, "", refusal}));
    EXPECT_EQ(put("EXIT\n", {"--force"}).status, 0);
}

TEST_F(ObjectPut, NeitherTheScriptNorSettingsSwitchTheCheckOff) {
    userScript("WRITE \"before\"\n");
    EXPECT_EQ(qrtscript({"put", "jdoe.sales.acme", "--yes"}, "REM qrtscript disable-file=QS1001\nFOO 2\n").status, 6);
    site.write("temporary/.qrtscriptrc", "disable = [\"QS1001\"]\n");
    environment["TMPDIR"] = site.path("temporary");
    EXPECT_EQ(qrtscript({"put", "jdoe.sales.acme", "--yes"}, "FOO 2\n").status, 6);
    EXPECT_EQ(qrtscript({"get", "jdoe.sales.acme"}).out, "WRITE \"before\"\n");
}

TEST_F(ObjectPut, ThePasswordIsNotTakenForTheScript) {
    const Outcome outcome =
        qrtscript({"put", "jdoe.sales.acme", "--yes", "--as", "jdoe.sales.acme", "--password-fd", "0"}, "secret\n");
    EXPECT_EQ(outcome.status, 64);
    EXPECT_THAT(outcome.out + outcome.err, testing::Not(HasSubstr("secret")));
    userScript("EXIT\n");
    for (const char *name : {"/dev/stdin", "/dev/fd/0", "/proc/self/fd/0", "-"}) {
        for (const char *subcommand : {"put", "diff"}) {
            const Outcome other =
                qrtscript({subcommand, "jdoe.sales.acme", name, "--as", "jdoe.sales.acme", "--password-fd", "0"},
                          "secret\nEXIT\n");
            EXPECT_EQ(other.status, 64) << subcommand << " " << name;
            EXPECT_THAT(other.out + other.err, testing::Not(HasSubstr("secret")));
        }
    }
}

// The check looks at the process that has started it, as any program of the user could.
TEST_F(ObjectPutWithCheck, NobodyElseReadsTheMemoryWithThePassword) {
    rlimit limit = {};
    if (getrlimit(RLIMIT_CORE, &limit) == 0 && limit.rlim_max < 8 * 512)
        GTEST_SKIP() << "the limit for core files cannot be raised here";
    environment["ASAN_OPTIONS"] += ":disable_coredump=0"; // which would set the limit itself
    check(
        "for file in mem maps environ; do ( : <\"/proc/$PPID/$file\" ) 2>/dev/null && echo \"$file\"; done\n"
        "set -- $(grep '^Max core file size' /proc/$PPID/limits)\n"
        "echo \"its limit is $5, mine $(ulimit -S -c)\"\n");
    site.write("new.qrt", "EXIT\n");
    Words words = {"/bin/sh", "-c", "ulimit -S -c 8; exec \"$@\"", "sh"};
    if (geteuid() == 0) words.insert(words.end(), {"/usr/bin/setpriv", "--inh-caps=-all", "--bounding-set=-all"});
    words.insert(words.end(),
                 {site.path("bin/qrtscript-object"), "put", "jdoe.sales.acme", site.path("new.qrt"), "-y"});
    EXPECT_EQ(process_run(words, environment).err, "its limit is 0, mine 8\n");
    EXPECT_EQ(script("jdoe.sales.acme"), "EXIT\n");
}
