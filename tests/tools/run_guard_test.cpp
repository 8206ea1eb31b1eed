// Scripts without end are ended: by the person, and by the time limit.
#include <sys/stat.h>
#include <unistd.h>
#include <csignal>
#include <filesystem>
#include <fstream>

#include "tests/support/site.h"

namespace {

using testing::HasSubstr;
using testing::Not;

const char endless[] = "WRITE \"waiting\"\nAGAIN:\nGOTO AGAIN\n";
const char interrupted_message[] = "qrtlogin: the scripts were ended by the third interrupt";
constexpr int interrupted = 130, out_of_time = 124;

class RunGuardTest : public Site {
  protected:
    RunGuardTest() {
        // It and its child ignore whatever can be ignored; each leaves its number.
        program("stubborn",
                "trap '' INT TERM HUP\n"
                "sh -c 'echo $$ >>" +
                    site.path("numbers") +
                    "; echo waiting; sleep 100' &\n"
                    "echo $$ >>" +
                    site.path("numbers") + "\nwait\n");
    }

    // A login at a terminal, up to what its script writes or starts first.
    void start(const std::string &script, const Words &words = {}) {
        userScript(script);
        process = loginOnTerminal(words);
        ASSERT_TRUE(process->awaits("waiting\r\n")) << process->shown();
    }
    // Presses the interrupt key until the login has ended, and returns how.
    int interruptUntilTheEnd() {
        for (int times = 0; !process->endsWithin(200); ++times) {
            if (times < 100)
                process->type("\x03");
            else
                kill(process->id(), SIGKILL);
        }
        return process->finish();
    }
    static bool isThere(pid_t number) {
        const std::string status = file_text("/proc/" + std::to_string(number) + "/stat");
        const size_t name = status.rfind(") ");
        return name != std::string::npos && status[name + 2] != 'Z';
    }
    void expectProgramsEnded(size_t count) const {
        std::ifstream numbers(site.path("numbers"));
        size_t seen = 0;
        for (pid_t number = 0; numbers >> number; ++seen) {
            for (int look = 0; look < 1000 && isThere(number); ++look) usleep(10000);
            EXPECT_FALSE(isThere(number)) << number;
        }
        EXPECT_EQ(seen, count);
    }

    std::unique_ptr<TerminalProcess> process;
};

} // namespace

// ---- interrupts ----

TEST_F(RunGuardTest, TheThirdInterruptEndsALoopAndNoCommandIsStarted) {
    start(endless, {"--", "echo", "command"});
    EXPECT_EQ(interruptUntilTheEnd(), interrupted);
    EXPECT_THAT(process->shown(), HasSubstr(interrupted_message));
    EXPECT_THAT(process->shown(), Not(HasSubstr("command")));
}

TEST_F(RunGuardTest, TwoInterruptsDoNot) {
    program("twice", "echo waiting\nfor one in 1 2; do kill -INT $PPID; done\n");
    start(running("twice") + "WRITE \"goes on\"\n");
    EXPECT_EQ(process->finish(), 0);
    EXPECT_THAT(process->shown(), HasSubstr("goes on"));
}

TEST_F(RunGuardTest, ARunThatWasEndedPrintsNoEnvironment) {
    start(std::string("SET A=\"1\"\n") + endless, {"--print-environment"});
    EXPECT_EQ(interruptUntilTheEnd(), interrupted);
    EXPECT_THAT(process->shown(), Not(HasSubstr("export")));
}

TEST_F(RunGuardTest, TheProgramsAreEndedTooHoweverStubborn) {
    start(running("stubborn") + "WRITE \"goes on\"\n");
    EXPECT_EQ(interruptUntilTheEnd(), interrupted);
    EXPECT_THAT(process->shown(), Not(HasSubstr("goes on")));
    expectProgramsEnded(2);
}

TEST_F(RunGuardTest, ChildrenFromBeforeTheScriptsAreLeftAlone) {
    userScript(endless);
    program("before", "trap '' HUP\nsleep 100 &\necho $! >" + site.path("sleeper") + "\nexec \"$@\"\n");
    Words words = askingLogin();
    words.insert(words.begin(), site.path("before"));
    process = std::make_unique<TerminalProcess>(words, environment);
    ASSERT_TRUE(process->answers("Password for jdoe.sales.acme: ", "secret\n"));
    ASSERT_TRUE(process->awaits("waiting\r\n"));
    for (int times = 0; times < 100 && !process->endsWithin(100); ++times) kill(process->id(), SIGINT);
    const pid_t sleeper = std::stoi(file_text(site.path("sleeper")));
    EXPECT_TRUE(isThere(sleeper));
    kill(sleeper, SIGKILL);
    EXPECT_EQ(process->finish(), interrupted);
}

TEST_F(RunGuardTest, TheTerminalIsAsItWasBeforeTheScripts) {
    program("raw", "stty -echo </dev/tty\necho waiting\nsleep 100\n");
    start(running("raw") + endless);
    EXPECT_FALSE(process->echoes());
    EXPECT_EQ(interruptUntilTheEnd(), interrupted);
    EXPECT_TRUE(process->echoes());
}

// As a shell with job control does with what it starts.
TEST_F(RunGuardTest, TheTerminalIsTakenBackFromAProgramThatHadIt) {
    site.write("own",
               "#!/usr/bin/env python3\n"
               "import os, signal\n"
               "signal.signal(signal.SIGTTOU, signal.SIG_IGN)\n"
               "os.setpgid(0, 0)\n"
               "os.tcsetpgrp(os.open('/dev/tty', os.O_RDWR), os.getpid())\n"
               "print('waiting', flush=True)\n"
               "signal.pause()\n");
    chmod(site.path("own").c_str(), 0700);
    userScript(running("own") + "WRITE \"goes on\"\n");
    Words words = askingLogin({"--time-limit", "1"});
    words.insert(words.begin(), {"/bin/sh", "-c", "\"$@\"; echo status $?; read line; echo \"read $line\"", "sh"});
    process = std::make_unique<TerminalProcess>(words, environment);
    ASSERT_TRUE(process->answers("Password for jdoe.sales.acme: ", "secret\n"));
    ASSERT_TRUE(process->answers("(--time-limit)\r\nstatus 124\r\n", "hello\n")) << process->shown();
    EXPECT_TRUE(process->awaits("read hello\r\n")) << process->shown();
    EXPECT_EQ(process->finish(), 0);
}

TEST_F(RunGuardTest, InterruptsAtQuestionsCount) {
    addOtherTree();
    start("WRITE \"waiting\"\nAGAIN:\nTREE OTHER/locked.sales.acme;wrong\nGOTO AGAIN\n");
    for (int times = 0; times < 50 && process->awaits("User name"); ++times) {
        process->type("jdoe.sales.acme\n");
        if (!process->awaits("Password: ")) break;
        process->interrupt();
    }
    EXPECT_EQ(process->finish(), interrupted);
    EXPECT_TRUE(process->echoes());
}

// The script's own thread takes no signal then.
TEST_F(RunGuardTest, AShareThatHangsPreventsNothing) {
    std::filesystem::create_symlink(STUCK_OPEN_PATH, site.path("stuck_open.so"));
    environment["LD_PRELOAD"] = site.path("stuck_open.so");
    environment["ASAN_OPTIONS"] += ":verify_asan_link_order=0";
    start("WRITE \"waiting\"\nDISPLAY " + site.path("stuck") + "\nWRITE \"goes on\"\n", {"--", "echo", "command"});
    EXPECT_EQ(interruptUntilTheEnd(), interrupted);
    EXPECT_THAT(process->shown(), HasSubstr(interrupted_message));
}

// Nobody reads what the script writes: the login waits for that as well, and for the end of BREAK ON.
TEST_F(RunGuardTest, ATerminalThatIsHeldPreventsNothing) {
    const std::string flood = "WRITE \"waiting\"\nAGAIN:\nWRITE \"" + std::string(1000, 'x') + "\"\nGOTO AGAIN\n";
    for (const char *first : {"", "BREAK ON\n"}) {
        start(first + flood, {"--", "echo", "command"});
        EXPECT_EQ(interruptUntilTheEnd(), interrupted);
    }
}

// ---- the time limit ----

TEST_F(RunGuardTest, TheTimeLimitEndsTheScriptsAndTheirPrograms) {
    userScript("WRITE \"before\"\n@" + site.path("stubborn") + "\n" + running("stubborn") + "WRITE \"goes on\"\n");
    const Outcome outcome = login({"--time-limit", "1", "--", "echo", "command"});
    EXPECT_EQ(outcome.status, out_of_time);
    EXPECT_EQ(outcome.err, "qrtlogin: the scripts were ended at the time limit of 1 s (--time-limit)\n");
    EXPECT_THAT(outcome.out, HasSubstr("before\n"));
    EXPECT_THAT(outcome.out, Not(HasSubstr("goes on")));
    EXPECT_THAT(outcome.out, Not(HasSubstr("command")));
    expectProgramsEnded(4);
}

TEST_F(RunGuardTest, TheTimeLimitEndsALoop) {
    userScript(endless);
    EXPECT_EQ(login({"--time-limit=1", "--print-environment"}).status, out_of_time);
}

TEST_F(RunGuardTest, ZeroIsNoTimeLimit) {
    userScript("#sleep 0.1\nWRITE \"end\"\n");
    EXPECT_EQ(login({"--time-limit=0"}).status, 0);
}

// The question is open for longer than all of the time limit.
TEST_F(RunGuardTest, TheTimeOfAQuestionDoesNotCount) {
    addOtherTree();
    program("late", "sleep 3.5\necho late >/dev/tty\n");
    start("@" + site.path("late") + "\nWRITE \"waiting\"\nTREE OTHER/locked.sales.acme;wrong\nWRITE \"after\"\n",
          {"--time-limit", "3"});
    ASSERT_TRUE(process->awaits("User name"));
    ASSERT_TRUE(process->answers("late", "jdoe.sales.acme\n")) << process->shown();
    ASSERT_TRUE(process->answers("Password: ", "secret\n"));
    EXPECT_TRUE(process->awaits("after\r\n")) << process->shown();
    EXPECT_EQ(process->finish(), 0);
}

TEST_F(RunGuardTest, AfterAQuestionTheTimeGoesOn) {
    addOtherTree();
    start(std::string("WRITE \"waiting\"\nTREE OTHER/locked.sales.acme;wrong\nWRITE \"after\"\n") + endless,
          {"--time-limit", "2"});
    ASSERT_TRUE(process->answers("User name", "jdoe.sales.acme\n"));
    ASSERT_TRUE(process->answers("Password: ", "secret\n"));
    EXPECT_TRUE(process->awaits("after\r\n")) << process->shown();
    EXPECT_EQ(process->finish(), out_of_time);
}
