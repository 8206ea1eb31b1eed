#include "tools/qrtlogin/hidden_traces.h"

#include "include/qrtscript.h"
#include "tests/support/own_process.h"

TEST(HiddenTraces, WhatIsWrittenAtATraceLevelIsNotShown) {
    TerminalProcess process([] {
        FILE *const shown = stdout;
        puts("before");
        {
            HiddenTraces hidden;
            if (stdout == shown) return 1;
            debug_level = 0;
            puts("message");
            fflush(stdout);
            debug_level = 1;
            puts("trace");
            fputs("to the stream as it was\n", shown);
            fflush(shown);
            // More than is kept back.
            for (int line = 0; line < 10 * BUFSIZ; ++line) fputs("trace\n", stdout);
            if (ferror(stdout) != 0 || fflush(stdout) != 0) return 2;
            debug_level = -1;
            puts("last message");
        }
        if (stdout != shown) return 3;
        debug_level = 9;
        puts("after");
        return 42;
    });
    EXPECT_EQ(process.finish(), 42);
    EXPECT_EQ(process.shown(), "before\r\nmessage\r\nto the stream as it was\r\nlast message\r\nafter\r\n");
}

// What the traces tell may be a password.
TEST(HiddenTraces, NothingOfATraceStaysInMemory) {
    in_own_process([] {
        alignas(HiddenTraces) static char room[sizeof(HiddenTraces)];
        debug_level = 9;
        auto *hidden = new (room) HiddenTraces;
        fputs("password(secret)", stdout);
        EXPECT_NE(std::string(room, sizeof room).find("secret"), std::string::npos);
        hidden->~HiddenTraces();
        EXPECT_EQ(std::string(room, sizeof room).find("secret"), std::string::npos);
        debug_level = 0;
    });
}
