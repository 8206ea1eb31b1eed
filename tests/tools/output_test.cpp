// What a person sees of a login is in the order in which it happened, whichever of its outputs it comes through, and
// whatever becomes of the reader.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/site.h"

namespace {

using testing::HasSubstr;

constexpr int rounds = 100;

class OutputTest : public Site {
  protected:
    OutputTest() {
        site.write("password", "secret\n");
        // To both outputs, in turns.
        program("say", "echo \"out $1\"; echo \"error $1\" >&2; echo \"again $1\"\n");
    }

    // One statement after the other that writes through another way.
    std::string mixedScript() const {
        std::string text;
        for (int round = 0; round < rounds; ++round) {
            const std::string number = std::to_string(round);
            text += "WRITE \"text " + number + "\"\n" + running("say", number);
        }
        return text;
    }
    std::string mixedOutput(const std::string &end) const {
        std::string text;
        for (int round = 0; round < rounds; ++round) {
            for (const char *word : {"text ", "out ", "error ", "again "}) text += word + std::to_string(round) + end;
        }
        return text;
    }

    // qrtlogin with the words, started from a shell's line: "$@" stands for the program and its words.
    Outcome shell(const std::string &line, Words words = {}) {
        words.insert(words.begin(), {QRTLOGIN_PATH, "--user", "jdoe.sales.acme", "--password-fd", "3"});
        words.insert(words.begin(), {"/bin/sh", "-c", line, "sh"});
        return process_run(words, environment, "secret\n");
    }
    // Waits until the file is there, in vain for a while at most.
    static bool appears(const std::string &path) {
        for (int look = 0; look < 1000 && access(path.c_str(), F_OK) != 0; ++look) usleep(10000);
        return access(path.c_str(), F_OK) == 0;
    }
};

} // namespace

TEST_F(OutputTest, InOneFileOrPipeIsInTheOrderInWhichItHappened) {
    userScript(mixedScript());
    for (const char *line : {"exec \"$@\" 2>&1", "\"$@\" 2>&1 | cat"})
        EXPECT_EQ(shell(line).out, login_head + mixedOutput("\n")) << line;
}

TEST_F(OutputTest, OnATerminalUnderOneOrTwoNamesIsInTheOrderInWhichItHappened) {
    userScript(mixedScript());
    for (const std::string errors : {"", "2>/dev/tty "}) {
        TerminalProcess process({"/bin/sh", "-c", "exec \"$@\" " + errors + "3<" + site.path("password"), "sh",
                                 QRTLOGIN_PATH, "--password-fd", "3", "jdoe.sales.acme"},
                                environment);
        EXPECT_EQ(process.finish(), 0);
        EXPECT_THAT(process.shown(), HasSubstr("attached to server SRV1\r\n" + mixedOutput("\r\n")));
    }
}

TEST_F(OutputTest, BesideThePrintedEnvironmentIsInTheOrderInWhichItHappened) {
    userScript(mixedScript() + "SET A=\"1\"\n");
    const Outcome outcome = login({"--print-environment"});
    EXPECT_EQ(outcome.err, login_head + mixedOutput("\n"));
    EXPECT_EQ(outcome.out, "export A='1'\n");
}

TEST_F(OutputTest, OfTracesIsInTheOrderInWhichItHappened) {
    std::string script = "DEBUG 6\n";
    for (int round = 0; round < rounds; ++round) script += "WRITE \"text\"\n" + running("say", std::to_string(round));
    userScript(script + "DEBUG OFF\nWRITE \"end\"\n");
    const std::string out = login({"--debug=0"}).out;
    // The trace of a program line has the line itself, behind what was written before it and before what it writes.
    size_t at = 0;
    for (int round = 0; round < rounds; ++round) {
        const std::string number = std::to_string(round) + "\n";
        for (const std::string &next : {std::string("\ntext\n"), site.path("say") + " " + number, "out " + number}) {
            const size_t found = out.find(next, at);
            ASSERT_NE(found, std::string::npos) << next << out.substr(at);
            ASSERT_EQ(out.substr(at, found - at).find("\nout "), std::string::npos) << out.substr(at);
            at = found + next.size() - 1;
        }
    }
    EXPECT_THAT(out.substr(at), HasSubstr("\nend\n"));
}

TEST_F(OutputTest, OnTwoFilesStaysApart) {
    userScript("WRITE \"text\"\n" + running("say", "1"));
    const Outcome outcome = login();
    EXPECT_EQ(outcome.out, login_head + "text\nout 1\nagain 1\n");
    EXPECT_EQ(outcome.err, "error 1\n");
}

// Neither output of a script's program is a terminal, lest it begins to page.
TEST_F(OutputTest, OfProgramsIsNoTerminal) {
    program("look", "if [ -t 1 ]; then echo terminal; else echo none; fi\n");
    userScript(running("look"));
    const auto process = loginOnTerminal();
    EXPECT_TRUE(process->awaits("none\r\n"));
    EXPECT_EQ(process->finish(), 0);
}

TEST_F(OutputTest, OfAProgramLeftRunningIsStillShown) {
    mkfifo(site.path("fifo").c_str(), 0600);
    program("late", "read line <" + site.path("fifo") + "\nsay=$line; echo \"out $say\"; echo \"error $say\" >&2\n" +
                        "echo >" + site.path("done") + "\n");
    userScript("@" + site.path("late") + "\nWRITE \"end\"\n");
    EXPECT_EQ(shell("\"$@\" >" + site.path("log") + " 2>&1; cat " + site.path("log")).out, login_head + "end\n");
    const int fifo = open(site.path("fifo").c_str(), O_WRONLY);
    EXPECT_EQ(write(fifo, "late\n", 5), 5);
    close(fifo);
    ASSERT_TRUE(appears(site.path("done")));
    const std::string all = login_head + "end\nout late\nerror late\n";
    for (int look = 0; look < 1000 && file_text(site.path("log")) != all; ++look) usleep(10000);
    EXPECT_EQ(file_text(site.path("log")), all);
}

TEST_F(OutputTest, OfAProgramLeftRunningReachesTheTerminalBesideTheCommand) {
    mkfifo(site.path("fifo").c_str(), 0600);
    program("late", "read line <" + site.path("fifo") + "\necho late\n");
    userScript("@" + site.path("late") + "\n");
    const auto process = loginOnTerminal({"--", "sh", "-c", "echo >" + site.path("fifo") + "; read line"});
    EXPECT_TRUE(process->awaits("late\r\n"));
    process->type("\n");
    EXPECT_EQ(process->finish(), 0);
}

TEST_F(OutputTest, LeavesStandardInputToTheCommand) {
    userScript("WRITE \"end\"\n");
    EXPECT_EQ(shell("printf 'one\\ntwo\\n' | \"$@\" -- cat").out, login_head + "end\none\ntwo\n");
}

TEST_F(OutputTest, LeavesTheCommandNoChild) {
    userScript("WRITE \"end\"\n");
    const std::string look = "read children </proc/$$/task/$$/children; echo \"children: $children.\"";
    EXPECT_EQ(login({"--", "sh", "-c", look}).out, login_head + "end\nchildren: .\n");
}

TEST_F(OutputTest, HasNoZeroByteAndEndsItsLastLine) {
    program("zero", "printf 'a\\000b\\n'; printf '\\000'; echo c\n");
    program("open", "printf open\n");
    userScript(running("zero") + "WRITE \"end\"\n" + running("open"));
    EXPECT_EQ(login().out, login_head + "ab\nc\nend\nopen\n");
}

TEST_F(OutputTest, ThatCannotBeWrittenIsReportedAndTheScriptsRunOn) {
    userScript("WRITE \"" + std::string(200, 'x') + "\"\n#touch " + site.path("ran") + "\n");
    const Outcome outcome = shell("exec \"$@\" >/dev/full");
    EXPECT_EQ(outcome.status, 74);
    EXPECT_EQ(outcome.err, "qrtlogin: cannot write the output: No space left on device\n");
    EXPECT_EQ(access(site.path("ran").c_str(), F_OK), 0);
    const Outcome closed = shell("exec \"$@\" >&-");
    EXPECT_EQ(closed.status, 74);
    EXPECT_EQ(closed.err, "qrtlogin: cannot write the output: Bad file descriptor\n");
}

// Nobody is kept from logging in by a full disk.
TEST_F(OutputTest, ThatCannotBeWrittenDoesNotStopTheCommand) {
    const Outcome outcome = shell("exec \"$@\" >/dev/full", {"--", "sh", "-c", "echo here >&2; exit 9"});
    EXPECT_EQ(outcome.status, 9);
    EXPECT_EQ(outcome.err, "qrtlogin: cannot write the output: No space left on device\nhere\n");
}

TEST_F(OutputTest, WhoseReaderIsGoneIsNoFailure) {
    std::string script;
    for (int line = 0; line < 300; ++line) script += "WRITE \"" + std::string(1000, 'x') + "\"\n";
    userScript(script + "#touch " + site.path("ran") + "\n");
    const Outcome outcome = shell("{ \"$@\"; echo $? >" + site.path("status") + "; } | true");
    EXPECT_EQ(file_text(site.path("status")), "0\n");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(access(site.path("ran").c_str(), F_OK), 0);
}

// It may be the one process that the system picks when memory is short.
TEST_F(OutputTest, WhoseProcessIsKilledDelaysNothing) {
    program("strike",
            "own=$(readlink /proc/$$/fd/1)\n"
            "for one in /proc/[0-9]*; do\n"
            "  [ \"$(readlink $one/fd/0)\" != \"$own\" ] || kill -KILL ${one#/proc/}\n"
            "done 2>/dev/null\n");
    userScript(running("strike") + "WRITE \"lost\"\n#touch " + site.path("ran") + "\n");
    EXPECT_EQ(login({"--", "echo", "command"}).out, login_head + "command\n");
    EXPECT_EQ(access(site.path("ran").c_str(), F_OK), 0);
}

TEST_F(OutputTest, OfALoginThatIsKilledIsStillShown) {
    program("kill", "echo before; kill -KILL $PPID\n");
    userScript(running("kill"));
    // The shell outlives it, and so does the pipe to cat.
    EXPECT_EQ(shell("\"$@\" 2>&1 | cat; exit 0").out, login_head + "before\n");
}
