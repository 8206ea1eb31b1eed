// The processes that are ended with the scripts, each made by hand.
#include "tools/qrtlogin/script_programs.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <csignal>

#include "tests/support/own_process.h"

namespace {

// A process that stays until a signal ends it. With `name` it is called so.
pid_t start(const char *name = "waits") {
    const pid_t child = fork();
    if (child != 0) return child;
    signal(SIGTERM, SIG_DFL);
    prctl(PR_SET_NAME, name);
    for (;;) pause();
}

// A child that has a child, whose number comes back through `grandchild`. If it shall not stay it ends at once.
pid_t start_with_child(pid_t *grandchild, bool stays = true) {
    int ends[2];
    if (pipe(ends) != 0) abort();
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGTERM, SIG_DFL);
        const pid_t own = start();
        if (write(ends[1], &own, sizeof own) != sizeof own) abort();
        while (stays) pause();
        _exit(0);
    }
    EXPECT_EQ(read(ends[0], grandchild, sizeof *grandchild), ssize_t{sizeof *grandchild});
    close(ends[0]);
    close(ends[1]);
    return child;
}

// How a child has ended, as a signal's number; 0 if it has not.
int ended_by(pid_t child) {
    int status = 0;
    return waitpid(child, &status, WNOHANG) == child && WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

bool is_there(pid_t id) {
    const std::string state = process_state(id);
    return !state.empty() && state != "Z";
}

} // namespace

TEST(ScriptPrograms, ChildrenFromBeforeStayAndLaterOnesEnd) {
    in_own_process([] {
        const pid_t before = start();
        script_programs_begin();
        const pid_t first = start(), second = start();
        script_programs_end();
        EXPECT_EQ(ended_by(before), 0);
        EXPECT_EQ(ended_by(first), SIGTERM);
        EXPECT_EQ(ended_by(second), SIGTERM);
        EXPECT_TRUE(script_programs_had(first));
        EXPECT_TRUE(script_programs_had(second));
        for (const pid_t other : {before, getpid(), getppid(), pid_t{0}, pid_t{-1}, pid_t{1 << 30}})
            EXPECT_FALSE(script_programs_had(other)) << other;
        kill(before, SIGKILL);
    });
}

TEST(ScriptPrograms, WhatTheyHaveStartedEndsToo) {
    in_own_process([] {
        script_programs_begin();
        pid_t grandchild = 0;
        const pid_t child = start_with_child(&grandchild);
        script_programs_end();
        EXPECT_EQ(ended_by(child), SIGTERM);
        EXPECT_FALSE(is_there(grandchild));
        EXPECT_TRUE(script_programs_had(grandchild));
    });
}

TEST(ScriptPrograms, OneThatHasDetachedItselfStays) {
    in_own_process([] {
        script_programs_begin();
        pid_t grandchild = 0;
        const pid_t child = start_with_child(&grandchild, false);
        EXPECT_EQ(waitpid(child, nullptr, 0), child);
        script_programs_end();
        EXPECT_TRUE(is_there(grandchild));
        EXPECT_FALSE(script_programs_had(grandchild));
        kill(grandchild, SIGKILL);
    });
}

// The line that the system shows of a process has its name in parentheses, as it is.
TEST(ScriptPrograms, TheNameOfAProcessHidesNothing) {
    in_own_process([] {
        script_programs_begin();
        for (const char *name : {"a) Z 1 2 3", "(", ")", "a b c d"}) {
            const pid_t child = start(name);
            while (file_text("/proc/" + std::to_string(child) + "/comm") != std::string(name) + "\n") usleep(1000);
            script_programs_end();
            EXPECT_EQ(ended_by(child), SIGTERM) << name;
        }
    });
}

TEST(ScriptPrograms, OneThatHasEndedIsNotOneOfThem) {
    in_own_process([] {
        script_programs_begin();
        const pid_t child = start();
        kill(child, SIGKILL);
        while (process_state(child) != "Z") usleep(1000);
        script_programs_end();
        EXPECT_FALSE(script_programs_had(child));
    });
}

TEST(ScriptPrograms, OneThatIgnoresTheRequestIsKilled) {
    in_own_process([] {
        script_programs_begin();
        const pid_t child = fork();
        if (child == 0) {
            signal(SIGTERM, SIG_IGN);
            prctl(PR_SET_NAME, "ignores");
            for (;;) pause();
        }
        while (file_text("/proc/" + std::to_string(child) + "/comm") != "ignores\n") usleep(1000);
        script_programs_end();
        EXPECT_EQ(ended_by(child), SIGKILL);
    });
}

TEST(ScriptPrograms, ASecondRunBeginsAnew) {
    in_own_process([] {
        script_programs_begin();
        const pid_t first = start();
        script_programs_end();
        EXPECT_EQ(ended_by(first), SIGTERM);
        const pid_t second = start();
        script_programs_begin();
        const pid_t third = start();
        script_programs_end();
        EXPECT_EQ(ended_by(second), 0);
        EXPECT_EQ(ended_by(third), SIGTERM);
        EXPECT_FALSE(script_programs_had(first));
        kill(second, SIGKILL);
    });
}

TEST(ScriptPrograms, NoDescriptorStaysOpen) {
    in_own_process([] {
        const long before = open_descriptors();
        script_programs_begin();
        start();
        script_programs_end();
        EXPECT_EQ(open_descriptors(), before);
    });
}

TEST(ScriptPrograms, WithoutADescriptorNoneIsEnded) {
    in_own_process([] {
        const pid_t child = start();
        allow_descriptors(0);
        script_programs_begin();
        script_programs_end();
        EXPECT_EQ(ended_by(child), 0);
        kill(child, SIGKILL);
    });
}
