#include <fcntl.h>
#include <pwd.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cstring>
#include <filesystem>

#include "tests/support/site.h"
#include "tools/code_variables.h"
#include "tools/qrtlogin/environment.h"

namespace {

using testing::HasSubstr;
using QrtloginTest = Site;

const char question[] = "Password for jdoe.sales.acme: ";

void expect_failure(const Outcome &outcome, int status, const std::string &sentence) {
    EXPECT_EQ(outcome, (Outcome{status, "", "qrtlogin: " + sentence + "\n"}));
}

} // namespace

TEST_F(QrtloginTest, RunsContainerProfileAndUserScriptInOrderOrTheLoginScriptAlone) {
    containerScript("WRITE \"container\"\n");
    site.write("profile.qrt", "WRITE \"profile\"\n");
    userScript("WRITE \"user\"\n");
    EXPECT_EQ(login({"--profile-script", site.path("profile.qrt")}),
              (Outcome{0, login_head + "container\nprofile\nuser\n", ""}));
    EXPECT_EQ(login({"--login-script", site.path("profile.qrt")}).out, login_head + "profile\n");
}

TEST_F(QrtloginTest, WithoutAScriptTheDefaultOneListsTheDrives) {
    EXPECT_EQ(login(), (Outcome{0, login_head + "No drives are mapped.\n", ""}));
}

TEST_F(QrtloginTest, ASyntaxErrorIsTheResultAndTheScriptGoesOn) {
    userScript("FOO BAR\nWRITE \"goes on\"\n");
    const Outcome outcome = login({"--print-environment"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("goes on\n"));
}

TEST_F(QrtloginTest, UnderNohupTheProgramsOfAScriptIgnoreHangupsToo) {
    userScript("#grep SigIgn /proc/self/status\n");
    const std::string ignored = login_head + "SigIgn:\t000000000000000";
    struct sigaction before = {};
    sigaction(SIGHUP, nullptr, &before);
    signal(SIGHUP, SIG_IGN);
    EXPECT_EQ(login().out, ignored + "1\n");
    signal(SIGHUP, SIG_DFL);
    EXPECT_EQ(login().out, ignored + "0\n");
    sigaction(SIGHUP, &before, nullptr);
}

TEST_F(QrtloginTest, VariablesReachTheScripts) {
    userScript("WRITE \"%2,%3,%4,%5\"\n");
    EXPECT_EQ(login({"--var", "2=two", "--var", "3=a=b", "--var", "4=", "--var", "5=five"}).out,
              login_head + "two,a=b,,five\n");
}

TEST_F(QrtloginTest, TheUserMayBeTheArgumentAndTheContextAnOption) {
    userScript("WRITE \"%LOGIN_NAME in %LOGIN_CONTEXT\"\n");
    const std::string expected = login_head + "jdoe in sales.acme\n";
    struct {
        Words words;
    } const rows[] = {
        {{"--password-fd=3", "jdoe.sales.acme"}},
        {{"--password-fd=3", ".jdoe.sales.acme"}},
        {{"--password-fd=3", "--context", "sales.acme", "jdoe"}},
        {{"--password-fd=3", "--context", ".sales.acme", "jdoe"}},
        {{"--password-fd=3", "--context", "OU=sales.O=acme", "--user", "CN=jdoe"}},
        {{"--password-fd=3", "--tree", "acme", "--server", "srv1", "jdoe.sales.acme"}},
        {{"--password-fd=3", "--server", "SRV1", "jdoe.sales.acme"}},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(qrtlogin(row.words, "secret"), (Outcome{0, expected, ""}));
    }
}

TEST_F(QrtloginTest, SaysWhyThereIsNoLogin) {
    expect_failure(login({}, "guess\n"), 2, "cannot log in as jdoe.sales.acme to tree ACME: wrong password");
    expect_failure(login({}, "secret\n", "locked.sales.acme"), 2,
                   "cannot log in as locked.sales.acme to tree ACME: CN=locked.OU=sales.O=acme is locked");
    expect_failure(login({}, "secret\n", "nobody.sales.acme"), 5,
                   "cannot log in as nobody.sales.acme to tree ACME: no such user");
    expect_failure(login({"--tree", "NOTREE"}), 4, "cannot use tree NOTREE: no such tree");
    expect_failure(login({"--server", "NOSRV"}), 4, "cannot find the tree of server NOSRV");
    expect_failure(qrtlogin({"jdoe.sales.acme"}), 2,
                   "cannot read the password: no terminal; --password-fd 0 reads it from the standard input");
    environment["ZKCLIENT_CONF"] = site.path("missing.toml");
    expect_failure(login(), 4,
                   "cannot find the default tree: no such tree: " + site.path("missing.toml") +
                       ": cannot open the configuration file: No such file or directory");
}

TEST_F(QrtloginTest, AnUnreadableTreeOrConfigurationIsReportedWithFileAndLine) {
    const std::string sentence = "qrtlogin: cannot use tree ACME: cannot read the directory data or configuration: ";
    for (const std::string name : {"acme.ldif", "client.toml"}) {
        site.write(name, "dn: o=acme\nthis is no attribute\n");
        const Outcome outcome = login();
        EXPECT_EQ(outcome.status, 3);
        EXPECT_THAT(outcome.err, HasSubstr(name == "acme.ldif" ? "acme.ldif:2" : "client.toml:1"));
        EXPECT_EQ(outcome.err.compare(0, sentence.size(), sentence) == 0, name == "acme.ldif");
    }
}

TEST_F(QrtloginTest, WrongUsageIsRefusedBeforeAnythingIsAsked) {
    const struct {
        const char *reason;
        std::vector<Words> lines;
    } rows[] = {
        {"no user given", {{}}},
        {"only one user can be given", {{"jdoe", "mlee"}, {"--user", "jdoe", "mlee"}}},
        {"unrecognized option", {{"--no-such-option", "jdoe"}}},
        {"--var takes N=TEXT with N from 2 to 5",
         {{"--var", "1=x", "jdoe"}, {"--var", "6=x", "jdoe"}, {"--var", "2", "jdoe"}, {"--var", "", "jdoe"}}},
        {"--debug takes a number",
         {{"--debug", "x", "jdoe"},
          {"--debug", "5x", "jdoe"},
          {"--debug", "2147483648", "jdoe"},
          {"--debug", "99999999999999999999", "jdoe"}}},
        {"--debug takes a number from 0 to 2147483647, not \"\"", {{"--debug", "", "jdoe"}}},
        {"--password-fd takes a number", {{"--password-fd", "-1", "jdoe"}}},
        {"--tries takes a number from 1", {{"--tries", "0", "jdoe"}, {"--tries", "many", "jdoe"}}},
        {"--change-password runs nothing",
         {{"--change-password", "--shell", "jdoe"},
          {"--change-password", "--print-environment", "jdoe"},
          {"--change-password", "jdoe", "--", "true"}}},
        {"mutually exclusive",
         {{"--shell", "--print-environment", "jdoe"},
          {"--shell", "jdoe", "--", "true"},
          {"--print-environment", "jdoe", "--", "true"},
          {"--shell", "--print-environment", "jdoe", "--", "true"}}},
        {"no command after --", {{"--shell", "jdoe", "--"}, {"jdoe", "--"}}},
    };
    for (const auto &row : rows)
        for (const Words &words : row.lines) {
            const Outcome outcome = qrtlogin(words);
            EXPECT_EQ(outcome.status, 64) << row.reason;
            EXPECT_THAT(outcome.err, HasSubstr(row.reason));
            EXPECT_EQ(outcome.out, "");
        }
}

TEST_F(QrtloginTest, HelpNamesTheExitStatuses) {
    Outcome outcome = qrtlogin({"--help"});
    EXPECT_EQ(outcome.status, 0);
    for (const char *text : {"--print-environment", "--password-fd", "Exit status", "wrong password, no password",
                             "directory cannot be reached", "no such user"})
        EXPECT_NE(outcome.out.find(text), std::string::npos) << text;
}

TEST_F(QrtloginTest, DebugTurnsOnTracesOnStandardOutput) {
    userScript("WRITE \"hi\"\n");
    EXPECT_EQ(login().out.find("--DEBUG--"), std::string::npos);
    Outcome outcome = login({"--debug", "5"});
    EXPECT_NE(outcome.out.find("--DEBUG--"), std::string::npos);
    EXPECT_NE(outcome.out.find("hi\n"), std::string::npos);
}

TEST_F(QrtloginTest, AScriptsDebugShowsTracesOnlyToWhoAskedForThem) {
    userScript("DEBUG 9\n#/bin/echo program\nDEBUG 0\nWRITE \"end\"\n");
    Outcome outcome = login();
    EXPECT_EQ(outcome.out, login_head + "DEBUG turned on level=9\nprogram\nDEBUG turned on level=0\nend\n");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(login({"--print-environment"}).err.find("--DEBUG--"), std::string::npos);
    EXPECT_NE(login({"--debug", "0"}).out.find("--DEBUG--"), std::string::npos);
}

TEST_F(QrtloginTest, ALineLongerThanOnePieceStaysOneLine) {
    for (size_t length : {1023u, 1024u, 1025u, 2048u, 5000u}) {
        std::string line(length, 'x');
        site.write("own.qrt", "WRITE \"" + line + "\"\nWRITE \"next\"\n");
        EXPECT_EQ(login({"--login-script", site.path("own.qrt")}).out, login_head + line + "\nnext\n") << length;
    }
}

// Its catalogues are found from the place of the program; the library has looked in the system's meanwhile.
TEST_F(QrtloginTest, SpeaksThePersonsLanguageBeforeTheScriptsAndBehindThem) {
    site.write("bin/tools", "");
    site.write(std::string("bin/") + LOCALE_FROM_PROGRAMS + "/none", "");
    const std::filesystem::path program = site.path("bin/qrtlogin");
    std::filesystem::copy_file(QRTLOGIN_PATH, program);
    std::filesystem::create_symlink(BINARY_DIR "/locale/de",
                                    site.path(std::string("bin/") + LOCALE_FROM_PROGRAMS) + "/de");
    environment["LC_ALL"] = "C.UTF-8";
    environment["LANGUAGE"] = "de";
    environment["LD_LIBRARY_PATH"] = BINARY_DIR;
    const Words words = {program, "--password-fd", "3", "jdoe.sales.acme", "--", "/none"};
    EXPECT_THAT(process_run(words, environment, "guess\n").err, HasSubstr("falsches Passwort"));
    EXPECT_THAT(process_run(words, environment, "secret\n").err, HasSubstr("/none kann nicht ausgeführt werden: "));
}

// ---- what is handed on ----

TEST_F(QrtloginTest, TheCommandGetsItsOptionsAndTheEnvironmentAndItsStatusIsTheResult) {
    userScript("SET GREETING=\"it's %LOGIN_NAME\"\n");
    Outcome outcome = login({"--", "sh", "-c", "echo \"<$GREETING>\"; exit 7"});
    EXPECT_EQ(outcome.out, login_head + "<it's jdoe>\n");
    EXPECT_EQ(outcome.status, 7);
    EXPECT_EQ(login({"--", "printf", "%s,", "--tree", "--", "x"}).out, login_head + "--tree,--,x,");
    EXPECT_EQ(login({"--", "echo", "ran"}, "guess").out, "") << "without a login there is no command";
}

TEST_F(QrtloginTest, TheShellIsTheUsersOwn) {
    userScript("SET GREETING=\"hello\"\n");
    program("shell", "echo \"shell: $GREETING\"\nexit 9\n");
    environment["SHELL"] = site.path("shell");
    Outcome outcome = login({"--shell"});
    EXPECT_EQ(outcome.out, login_head + "shell: hello\n");
    EXPECT_EQ(outcome.status, 9);
}

TEST_F(QrtloginTest, WithoutTheVariableItIsTheShellOfTheAccount) {
    userScript("");
    const passwd *entry = getpwuid(geteuid());
    const std::string shell = entry != nullptr && *entry->pw_shell != '\0' ? entry->pw_shell : "/bin/sh";
    const Words words = {"/bin/sh", "-c", "echo 'echo shell: $0' | exec \"$0\" --shell --password-fd 3 jdoe.sales.acme",
                         QRTLOGIN_PATH};
    for (const bool set : {false, true}) {
        environment.erase("SHELL");
        if (set) environment["SHELL"] = "";
        EXPECT_EQ(process_run(words, environment, "secret").out, login_head + "shell: " + shell + "\n");
    }
}

TEST_F(QrtloginTest, AUserWithoutAnAccountGetsTheCommonShell) {
    userScript("");
    environment.erase("SHELL");
    Words words = {"/usr/bin/unshare", "-U", "--map-user=4242"};
    const auto within = [&](const Words &more) {
        Words all = words;
        all.insert(all.end(), more.begin(), more.end());
        return process_run(all, environment, "secret");
    };
    if (within({"/bin/true"}).status != 0) GTEST_SKIP() << "no user namespace here";
    EXPECT_EQ(within({"/bin/sh", "-c", "echo 'echo shell: $0' | exec \"$0\" --shell --password-fd 3 jdoe.sales.acme",
                      QRTLOGIN_PATH})
                  .out,
              login_head + std::string("shell: /bin/sh\n"));
}

TEST_F(QrtloginTest, PrintedEnvironmentIsOnlyWhatTheScriptsChanged) {
    environment["KEPT"] = "kept";
    environment["CHANGED"] = "old";
    userScript(
        "SET NAME=\"a b\"\n"
        "SET QUOTE=\"it's\"\n"
        "SET EMPTY=\n"
        "SET CHANGED=\"new\"\n"
        "SET KEPT=\"kept\"\n"
        "SET NOT.A.NAME=\"x\"\n"
        "SET 1ST=\"x\"\n"
        "WRITE \"said\"\n"
        "# echo program\n");
    EXPECT_EQ(login({"--print-environment"}), (Outcome{0,
                                                       "export CHANGED='new'\n"
                                                       "export EMPTY=''\n"
                                                       "export NAME='a b'\n"
                                                       "export QUOTE='it'\\''s'\n",
                                                       login_head + "said\nprogram\n"}));
}

TEST_F(QrtloginTest, PrintedEnvironmentSurvivesEval) {
    userScript("SET NAME=\"$(touch pwned) `id` ' \\\" \\\\ ;\\n next\"\n");
    EXPECT_EQ(process_run({"/bin/sh", "-c", "eval \"$0\"; printf '%s' \"$NAME\"", login({"--print-environment"}).out},
                          environment)
                  .out,
              "$(touch pwned) `id` ' \" \\ ;\n next");
}

TEST_F(QrtloginTest, PrintedEnvironmentComesWithTheRunsResultAndWithoutTraces) {
    userScript("SET NAME=\"x\"\nDEBUG 7\nFOO BAR\n");
    const Outcome outcome = login({"--print-environment", "--debug", "9"});
    EXPECT_EQ(outcome.out, "export NAME='x'\n");
    EXPECT_EQ(outcome.status, 1);
}

TEST_F(QrtloginTest, AVariableThatRunsCodeIsNotPassedOn) {
    environment["PYTHONPATH"] = "/usr/share/acme";
    environment["IFS"] = " ";
    userScript(
        "SET LD_PRELOAD=\"/tmp/x.so\"\nSET BASH_ENV=\"/tmp/x\"\nSET PYTHONPATH=\"/tmp\"\nSET PS4=\"`id`\"\n"
        "SET IFS=\n"
        "SET LD=\"1\"\nSET MYENV=\"2\"\n");
    const Outcome printed = login({"--print-environment"});
    EXPECT_EQ(printed.out, "export LD='1'\nexport MYENV='2'\n");
    for (const char *name : {"LD_PRELOAD", "BASH_ENV", "PYTHONPATH", "PS4", "IFS"})
        EXPECT_NE(printed.err.find("qrtlogin: " + std::string(name) + " is not passed on without --all-variables\n"),
                  std::string::npos)
            << name << printed.err;

    const std::vector<std::string> show = {"--", "/bin/sh", "-c",
                                           "printf %s \"$LD_PRELOAD$BASH_ENV$PYTHONPATH$PS4$LD$MYENV\""};
    EXPECT_EQ(login(show).out, login_head + "/usr/share/acme+ 12");
}

TEST_F(QrtloginTest, AllVariablesArePassedOnWhereThatIsAskedFor) {
    userScript("SET BASH_ENV=\"/tmp/x\"\nSET ENV=\"y\"\n");
    const Outcome printed = login({"--all-variables", "--print-environment"});
    EXPECT_EQ(printed.out, "export BASH_ENV='/tmp/x'\nexport ENV='y'\n");
    EXPECT_EQ(printed.err, login_head);
}

TEST_F(QrtloginTest, WithoutACommandNothingIsSaidOfWhatIsPassedOn) {
    userScript("SET BASH_ENV=\"/tmp/x\"\n");
    EXPECT_EQ(login({}).err, "");
}

TEST(EnvironmentTest, EachVariableThatRunsCodeIsKnown) {
    for (const char *name : {"LD_PRELOAD",
                             "LD_",
                             "LD_LIBRARY_PATH",
                             "GCONV_PATH",
                             "GLIBC_TUNABLES",
                             "BASH_ENV",
                             "BASH_FUNC_ls%%",
                             "ENV",
                             "IFS",
                             "SHELLOPTS",
                             "PROMPT_COMMAND",
                             "PS1",
                             "PS4",
                             "PERL5LIB",
                             "PERLLIB",
                             "PYTHONSTARTUP",
                             "PYTHONPATH",
                             "RUBYOPT",
                             "NODE_OPTIONS",
                             "JAVA_TOOL_OPTIONS",
                             "GTK_MODULES"})
        EXPECT_TRUE(environment_runs_code(name)) << name;
    for (const char *name :
         {"LD", "ENVIRONMENT", "BASH_ENV2", "MY_LD_PRELOAD", "PATH", "PS", "TERM", "LANG", "env", ""})
        EXPECT_FALSE(environment_runs_code(name)) << name;
}

// ---- what the run needs for itself ----

TEST_F(QrtloginTest, TheScriptsFindTheMapProgramBesideQrtloginAndItTheObjectsInTheLoginsContainer) {
    userScript("MAP H:=SRV1/USERS:home\nMAP G:=APPS:bin\n");
    EXPECT_EQ(login().out, login_head + "Drive H: = SRV1/USERS:home\nDrive G: = SRV2/DATA:apps/bin\n");
    EXPECT_EQ(link("H"), below("SRV1/USERS/home"));
}

TEST_F(QrtloginTest, NothingOfTheRunItselfIsHandedOn) {
    userScript("SET ONLY=\"this\"\n");
    Outcome outcome = login({"--", "env"});
    std::string expected = login_head;
    Variables handed = environment;
    handed["ONLY"] = "this";
    for (const auto &[name, value] : handed) {
        EXPECT_NE(outcome.out.find("\n" + name + "=" + value + "\n"), std::string::npos) << name << "\n" << outcome.out;
        expected += name + "=" + value + "\n";
    }
    EXPECT_EQ(outcome.out.size(), expected.size()) << outcome.out;
}

// The folder of qrtlogin is lent to PATH for the run; what the user has of it there stays.
TEST_F(QrtloginTest, PathComesOutAsItWentInChangedOnlyByTheScripts) {
    const std::string own = std::string(QRTLOGIN_PATH, strrchr(QRTLOGIN_PATH, '/'));
    const std::string before[] = {"/usr/bin:/bin",  own + ":/usr/bin:/bin", own,           "/usr/bin:" + own + ":/bin",
                                  own + ":" + own,  own + "/.:/usr/bin",    "/bin:" + own, own + ":",
                                  own + "more:/bin"};
    struct {
        std::string script, front, behind;
    } const rows[] = {
        {"SET OTHER=\"x\"\n", "", ""},
        {"SET PATH=\"%<PATH>:/acme\"\n", "", ":/acme"},
        {"SET PATH=\"/acme:%<PATH>\"\n", "/acme:", ""},
        {"SET PATH=\"/acme:%<PATH>:" + own + "\"\n", "/acme:", ":" + own},
    };
    userScript("");
    for (const auto &row : rows) {
        site.write("user.qrt", row.script);
        for (const std::string &path : before) {
            environment["PATH"] = path;
            EXPECT_EQ(login({"--", "/usr/bin/printenv", "PATH"}).out, login_head + row.front + path + row.behind + "\n")
                << row.script;
        }
    }
}

TEST_F(QrtloginTest, APathThatAScriptReplacesIsTheScripts) {
    const std::string own = std::string(QRTLOGIN_PATH, strrchr(QRTLOGIN_PATH, '/'));
    userScript("");
    for (const std::string &path : {own + ":/acme", own, std::string("/acme")}) {
        site.write("user.qrt", "SET PATH=\"" + path + "\"\n");
        EXPECT_EQ(login({"--print-environment"}).out, "export PATH='" + path + "'\n");
    }
}

// Programs are found in the system's folders then, which a script that extends PATH does not take away.
TEST_F(QrtloginTest, APathThatWasUnsetStaysUnsetUnlessAScriptSetsIt) {
    environment.erase("PATH");
    userScript("WRITE \"hi\"\n");
    EXPECT_EQ(login({"--print-environment"}).out, "");
    site.write("user.qrt", "SET PATH=\"%<PATH>:/acme\"\n");
    EXPECT_EQ(login({"--print-environment"}).out, "export PATH='/usr/local/bin:/usr/bin:/bin:/acme'\n");
}

TEST_F(QrtloginTest, NoDescriptorOfTheRunIsHandedOn) {
    userScript("WRITE \"hi\"\n");
    // 3 is the listing's own; the password's descriptor has been closed after reading.
    EXPECT_EQ(login({"--", "ls", "/proc/self/fd"}).out, login_head + "hi\n0\n1\n2\n3\n");
}

// The program left running keeps the output pipe open; it waits for a writer that comes only after the login's end.
TEST_F(QrtloginTest, AProgramLeftRunningDoesNotHoldTheLoginUp) {
    const std::string fifo = site.path("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    userScript("@ cat " + fifo + "\nWRITE \"done\"\n");
    EXPECT_EQ(login(), (Outcome{0, login_head + "done\n", ""}));
    close(open(fifo.c_str(), O_WRONLY)); // lets the program end
}

// ---- interrupts ----

// A login that waits in a program of its script until it is interrupted.
class InterruptedLogin : public QrtloginTest {
  protected:
    InterruptedLogin() {
        mkfifo(site.path("fifo").c_str(), 0600);
        program("wait", "echo waiting\nread line < " + site.path("fifo") + "\n");
    }
    // Runs the script up to its waiting program and presses the interrupt key there.
    int interrupt(const std::string &script, const Words &words, std::string *shown) {
        userScript(script);
        TerminalProcess process(askingLogin(words), environment);
        EXPECT_TRUE(process.awaits(question));
        process.type("secret\n");
        EXPECT_TRUE(process.awaits("waiting\r\n"));
        process.type("\x03");
        int status = process.finish();
        *shown = process.shown();
        return status;
    }
    std::string waiting() const { return "# " + site.path("wait") + "\n"; }
};

TEST_F(InterruptedLogin, IsIgnoredByTheScripts) {
    std::string shown;
    EXPECT_EQ(interrupt(waiting() + "WRITE \"goes on\"\n", {"--", "echo", "command"}, &shown), 0);
    EXPECT_NE(shown.find("goes on\r\n"), std::string::npos) << shown;
    EXPECT_NE(shown.find("command\r\n"), std::string::npos);
}

// The scripts have ended by then, and most of what they wrote has not been read yet.
TEST_F(InterruptedLogin, AfterTheLastScriptEverythingIsStillShown) {
    std::string script = "BREAK ON\nWRITE \"waiting\"\n";
    for (int line = 0; line < 300; ++line) script += "WRITE \"" + std::string(99, 'x') + "\"\n";
    userScript(script + "WRITE \"last\"\n");
    const auto process = loginOnTerminal();
    ASSERT_TRUE(process->awaits("waiting\r\n"));
    process->interrupt();
    EXPECT_EQ(process->finish(), 0);
    EXPECT_TRUE(process->awaits("last\r\n")) << process->shown();
}

TEST_F(InterruptedLogin, AfterBreakOnEndsTheLoginAndSaysSo) {
    std::string shown;
    EXPECT_EQ(interrupt("BREAK ON\n" + waiting() + "WRITE \"goes on\"\n", {"--", "echo", "command"}, &shown), 0);
    EXPECT_NE(shown.find("ctrl-c pressed, script aborted\r\n"), std::string::npos) << shown;
    EXPECT_EQ(shown.find("goes on"), std::string::npos);
    EXPECT_EQ(shown.find("command"), std::string::npos);
}

// More than the terminal takes and less than the pipe keeps: the rest has not been shown when the interrupt comes.
TEST_F(InterruptedLogin, AfterBreakOnEndsOnlyWhenEverythingIsShown) {
    const std::string ready = site.path("ready");
    mkfifo(ready.c_str(), 0600);
    site.write("wait", "#!/bin/sh\n: > " + ready + "\nread line < " + site.path("fifo") + "\n");
    std::string script = "BREAK ON\n";
    for (int line = 0; line < 600; ++line) script += "WRITE \"" + std::string(99, 'x') + "\"\n";
    userScript(script + waiting());
    const auto process = loginOnTerminal();
    close(open(ready.c_str(), O_RDONLY | O_CLOEXEC)); // waits for the program
    process->type("\x03");
    EXPECT_FALSE(process->endsWithin(300));
    EXPECT_EQ(process->finish(), 0);
    EXPECT_TRUE(process->awaits("ctrl-c pressed, script aborted\r\n"));
}

// ---- the question on the terminal ----

TEST_F(QrtloginTest, AsksForThePasswordWithoutEcho) {
    userScript("WRITE \"hi\"\n");
    TerminalProcess process(askingLogin(), environment);
    ASSERT_TRUE(process.awaits(question));
    EXPECT_FALSE(process.echoes());
    process.type("secret\n");
    EXPECT_TRUE(process.awaits("hi\r\n"));
    EXPECT_EQ(process.finish(), 0);
    EXPECT_TRUE(process.echoes());
    EXPECT_EQ(process.shown().find("secret"), std::string::npos);
}

TEST_F(QrtloginTest, AUserDirectlyBelowTheBaseHasNoContext) {
    site.write("client.toml",
               "default_tree = \"ACME\"\n[[tree]]\nname = \"ACME\"\nldif = \"acme.ldif\"\nbase = \"o=acme\"\n");
    const std::string tree = file_text(site.path("acme.ldif"));
    const size_t password = tree.find("userPassword: ");
    addToTree("dn: cn=top,o=acme\nobjectClass: person\nobjectClass: qrtUser\ncn: top\nsn: Top\n" +
              tree.substr(password, tree.find('\n', password) + 1 - password));
    site.write("context.qrt", "WRITE \"[%<QRT_CONTEXT>]\"\n");
    EXPECT_THAT(login({"--login-script", site.path("context.qrt")}, "secret", "top").out, HasSubstr("[]\n"));
    EXPECT_THAT(login({"--login-script", site.path("context.qrt")}, "secret", "jdoe.sales").out,
                HasSubstr("[sales]\n"));
}

TEST_F(QrtloginTest, ItsMessagesShowForeignTextWithoutWhatATerminalWouldObey) {
    struct {
        Words words;
        const char *message;
    } const rows[] = {
        {{"--user", "\x1B[2J.acme"}, "cannot log in as \\x1B[2J.acme to tree ACME: no such user"},
        {{"--tree", "\xC2\x9BT"}, "cannot use tree \\xC2\\x9BT: no such tree"},
        {{"--", "/no\n\x9Bwhere"}, "cannot run /no\\x0A\\x9Bwhere: No such file or directory"},
        {{"--debug", "\x1B[2J"}, "--debug takes a number from 0 to 2147483647, not \"\\x1B[2J\""},
        {{"--var", "\x1B[2J"}, "--var takes N=TEXT with N from 2 to 5, not \"\\x1B[2J\""},
        {{"\x1B[2J"}, "extra user \"\\x1B[2J\": only one user can be given"},
    };
    for (const auto &row : rows) {
        Words words = {"--password-fd", "3"};
        if (row.words[0] != "--user") words.insert(words.end(), {"--user", "jdoe.sales.acme"});
        words.insert(words.end(), row.words.begin(), row.words.end());
        EXPECT_THAT(qrtlogin(words, "secret\n").err, HasSubstr(std::string("qrtlogin: ") + row.message + "\n"));
    }
}

TEST_F(QrtloginTest, ItsQuestionShowsTheUserWithoutWhatATerminalWouldObey) {
    TerminalProcess process({QRTLOGIN_PATH, "--user", "j\x1B[2J\xC2\x9B\xC3\xB6"}, environment);
    ASSERT_TRUE(process.awaits("Password for j\\x1B[2J\\xC2\\x9B\xC3\xB6: "));
}

TEST_F(QrtloginTest, EndOfInputCancelsAndTheTerminalIsRestored) {
    TerminalProcess process(askingLogin(), environment);
    ASSERT_TRUE(process.answers(question, "\x04"));
    EXPECT_TRUE(process.awaits("qrtlogin: no password was entered\r\n"));
    EXPECT_EQ(process.finish(), 2);
    EXPECT_TRUE(process.echoes());
}

TEST_F(QrtloginTest, ATypedPasswordHasTheSameLongestLength) {
    for (const size_t length : {1024, 1025}) {
        TerminalProcess process(askingLogin({"--tries", "1"}), environment);
        ASSERT_TRUE(process.answers(question, std::string(length, 'x') + "\n"));
        EXPECT_TRUE(process.awaits(length > 1024 ? "the password is too long" : "wrong password"));
        EXPECT_EQ(process.finish(), 2);
    }
}

TEST_F(QrtloginTest, AMistypedPasswordIsAskedForThreeTimes) {
    TerminalProcess process(askingLogin(), environment);
    for (const char *typed : {"secre", "secrte", "scret"}) {
        ASSERT_TRUE(process.answers(question, std::string(typed) + "\n")) << process.shown();
        EXPECT_TRUE(process.awaits("cannot log in as jdoe.sales.acme to tree ACME: wrong password\r\n"));
    }
    EXPECT_EQ(process.finish(), 2);
}

TEST_F(QrtloginTest, AMistypedPasswordCanBeTypedAgain) {
    TerminalProcess process(askingLogin({"--tries", "2"}), environment);
    ASSERT_TRUE(process.answers(question, "secre\n"));
    ASSERT_TRUE(process.answers(question, "secret\n")) << process.shown();
    EXPECT_EQ(process.finish(), 0) << process.shown();
}

TEST_F(QrtloginTest, AnUnknownUserIsAskedForOnePasswordOnly) {
    Words words = askingLogin();
    words.back() = "nobody.sales.acme";
    TerminalProcess process(words, environment);
    ASSERT_TRUE(process.answers("Password for nobody.sales.acme: ", "secret\n"));
    EXPECT_TRUE(process.awaits("no such user"));
    EXPECT_EQ(process.finish(), 5);
}

TEST_F(QrtloginTest, ThePasswordsOfAFileAreNotChangedHere) {
    TerminalProcess process(askingLogin({"--change-password"}), environment);
    ASSERT_TRUE(process.answers(question, "secret\n"));
    EXPECT_TRUE(process.awaits(
        "qrtlogin: cannot change the password of jdoe.sales.acme: access denied: the passwords of this tree are in a "
        "file, which only its administrator changes\r\n"))
        << process.shown();
    EXPECT_EQ(process.finish(), 2);
}

TEST_F(QrtloginTest, AnInterruptEndsItAndTheTerminalIsRestored) {
    TerminalProcess process(askingLogin(), environment);
    ASSERT_TRUE(process.awaits(question));
    process.interrupt();
    EXPECT_EQ(process.finish(), 1000 + SIGINT);
    EXPECT_TRUE(process.echoes());
}

TEST_F(QrtloginTest, AnUnknownTreeIsReportedBeforeThePasswordIsAskedFor) {
    TerminalProcess process(askingLogin({"--tree", "NOTREE"}), environment);
    EXPECT_TRUE(process.awaits("no such tree"));
    EXPECT_EQ(process.finish(), 4);
    EXPECT_EQ(process.shown().find("Password"), std::string::npos);
}

// The traces show the answer to the question of ATTACH, and any script can turn them on.
TEST_F(QrtloginTest, APasswordThatIsTypedForAScriptIsShownOnlyWithDebug) {
    const std::string tree = file_text(site.path("acme.ldif"));
    const size_t hash = tree.find("{CRYPT}");
    site.write("client.toml", file_text(site.path("client.toml")) +
                                  "[[server]]\nname = \"OLDSRV\"\n[[server.user]]\nname = \"jdoe\"\npassword = \"" +
                                  tree.substr(hash, tree.find('\n', hash) - hash) + "\"\n");
    userScript("DEBUG 9\nATTACH OLDSRV\nWRITE \"after\"\n");
    // The answers to ATTACH are wiped and not freed: required.
    environment["ASAN_OPTIONS"] = "detect_leaks=0";
    for (const bool asked : {false, true}) {
        const auto process = loginOnTerminal(asked ? Words{"--debug", "0"} : Words{});
        ASSERT_TRUE(process->answers("User name: ", "jdoe\n"));
        ASSERT_TRUE(process->answers("Password: ", "secret\n"));
        ASSERT_TRUE(process->awaits("after\r\n"));
        EXPECT_EQ(process->finish(), 0);
        EXPECT_EQ(process->shown().find("password(secret)") != std::string::npos, asked);
        EXPECT_EQ(process->shown().find("secret") != std::string::npos, asked);
    }
}

TEST_F(QrtloginTest, ATreeStatementAsksOnTheTerminal) {
    addOtherTree();
    std::string script;
    for (int line = 0; line < 200; ++line) script += "WRITE \"" + std::string(99, 'x') + "\"\n";
    script += "WRITE \"before\"\nTREE OTHER/locked.sales.acme;wrong\nWRITE \"after\"\n";
    site.write("own.qrt", script);
    const auto process = loginOnTerminal({"--login-script", site.path("own.qrt")});
    // The question comes behind all that the script has written.
    ASSERT_TRUE(process->answers("before\r\nOTHER\r\nUser name [locked.sales.acme]: ", "jdoe.sales.acme\n"));
    ASSERT_TRUE(process->answers("Password: ", "secret\n"));
    ASSERT_TRUE(process->awaits("Your current tree is: OTHER\r\n"));
    ASSERT_TRUE(process->awaits("after\r\n"));
    EXPECT_EQ(process->finish(), 0);
}
