#include "tools/qrtlogin/hidden_traces.h"

#include <sys/mman.h>

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
        debug_level = 9;
        char *buffer = nullptr;
        {
            const HiddenTraces hidden;
            fputs("password(secret)", stdout);
            buffer = stdout->_IO_buf_base;
            EXPECT_EQ(std::string(buffer, 16), "password(secret)");
        }
        unsigned char resident = 0;
        EXPECT_NE(mincore(buffer, 1, &resident), 0) << "its pages have gone back to the system";
        debug_level = 0;
    });
}
