// What the tests of command statements share: a stream that catches the output, the conditional level, the traces.
#ifndef COMMAND_FIXTURE_H
#define COMMAND_FIXTURE_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "base/text.h"
#include "language/actions.h"
#include "qrtscript.h"
#include "script/conditions.h"

class CommandTest : public testing::Test {
  protected:
    CommandTest() : stream_(tmpfile()) {
        fdr = stream_;
        debug_level = 0;
        condindex = 0;
        condstate[0] = 0;
    }
    ~CommandTest() override {
        fdr = nullptr;
        fclose(stream_);
    }

    // What has been written since the last call, by the library and by its children.
    std::string output() {
        std::string text;
        char buffer[4096];
        for (;;) {
            const ssize_t count = pread(fileno(stream_), buffer, sizeof buffer, read_);
            if (count <= 0) return text;
            text.append(buffer, static_cast<size_t>(count));
            read_ += count;
        }
    }

    // From here on statements are in a branch that is skipped.
    void skip() { condstate[0] = 1; }

    static OwnedText text(const char *value) { return text_copy_or_null(value); }

    // The traces of `action` at one debug level.
    template <typename Action>
    static std::string traces(int32_t level, Action action) {
        testing::internal::CaptureStdout();
        debug_level = level;
        action();
        debug_level = 0;
        return testing::internal::GetCapturedStdout();
    }

    FILE *stream_;
    off_t read_ = 0;
};

#endif
