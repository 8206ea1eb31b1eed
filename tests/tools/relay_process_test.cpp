#include "tools/qrtlogin/relay_process.h"

#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

// Both wait for the process before it first looks.
TEST(RelayProcess, WhatWasWrittenBeforeARequestIsShownBeforeTheAnswer) {
    int written[2], shown[2], login[2];
    ASSERT_EQ(pipe(written), 0);
    ASSERT_EQ(pipe(shown), 0);
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, login), 0);
    ASSERT_EQ(write(written[1], "text\n", 5), 5);
    ASSERT_EQ(send(login[0], "?", 1, 0), 1);
    const pid_t relay = fork();
    if (relay == 0) {
        dup2(shown[1], STDOUT_FILENO);
        relay_process(written[0], login[1]);
    }
    int problem = -1, there = 0;
    EXPECT_EQ(recv(login[0], &problem, sizeof problem, 0), ssize_t{sizeof problem});
    EXPECT_EQ(problem, 0);
    EXPECT_EQ(ioctl(shown[0], FIONREAD, &there), 0);
    EXPECT_EQ(there, 5);
    for (const int descriptor : {written[0], written[1], shown[0], shown[1], login[0], login[1]}) close(descriptor);
    int status = -1;
    EXPECT_EQ(waitpid(relay, &status, 0), relay);
    EXPECT_EQ(status, 0);
}
