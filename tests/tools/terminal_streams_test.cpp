// The streams of a process whose output a terminal filter changes, and that filter's way into a pipe.
#include "tools/qrtlogin/terminal_streams.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <cerrno>
#include <csignal>

#include "include/qrtscript.h"
#include "tests/support/own_process.h"

namespace {

// A pipe in the place of both outputs, in a process of its own.
class Pipe {
  public:
    explicit Pipe(bool errorsToo = true) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) abort();
        end_ = ends[0];
        dup2(ends[1], STDOUT_FILENO);
        if (errorsToo) dup2(ends[1], STDERR_FILENO);
        close(ends[1]);
    }
    Pipe(const Pipe &) = delete;
    Pipe &operator=(const Pipe &) = delete;
    ~Pipe() { close(end_); }
    // What has been written so far.
    std::string text() const {
        int there = 0;
        ioctl(end_, FIONREAD, &there);
        std::string all(static_cast<size_t>(there), '?');
        if (read(end_, all.data(), all.size()) != there) abort();
        return all;
    }
    int end() const { return end_; }

  private:
    int end_;
};

// In a process of its own, whose failures a terminal shows beside the pipe.
void with_pipe(const std::function<void(Pipe *)> &body, bool errorsToo = true) {
    in_own_process([&] {
        const int output = dup(STDOUT_FILENO), errors = dup(STDERR_FILENO);
        {
            Pipe pipe(errorsToo);
            body(&pipe);
        }
        dup2(output, STDOUT_FILENO);
        dup2(errors, STDERR_FILENO);
    });
}

const char clearing[] = "a\x1B[2J\n", made_visible[] = "a\\x1B[2J\n";

} // namespace

TEST(TerminalStreams, OfBothOutputsAreFilteredWhereTheyAreOne) {
    with_pipe([](Pipe *pipe) {
        FILE *const output = stdout, *const errors = stderr;
        {
            TerminalStreams streams;
            fputs(clearing, stdout);
            fflush(stdout);
            EXPECT_EQ(pipe->text(), made_visible);
            fputs(clearing, stderr); // at once
            EXPECT_EQ(pipe->text(), made_visible);
        }
        EXPECT_EQ(stdout, output);
        EXPECT_EQ(stderr, errors);
    });
}

TEST(TerminalStreams, LeaveErrorsAloneThatGoElsewhere) {
    with_pipe(
        [](Pipe *) {
            FILE *const output = stdout, *const errors = stderr;
            TerminalStreams streams;
            EXPECT_EQ(stderr, errors);
            EXPECT_NE(stdout, output);
        },
        false);
}

TEST(TerminalStreams, WhatWasWrittenBeforeComesFirst) {
    with_pipe([](Pipe *pipe) {
        setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);
        fputs("before ", stdout);
        TerminalStreams streams;
        EXPECT_EQ(pipe->text(), "before ");
    });
}

TEST(TerminalStreams, TheLibrarysOutputIsFilteredOnceItIsTaken) {
    with_pipe([](Pipe *pipe) {
        TerminalStreams streams;
        EXPECT_EQ(fdr, nullptr);
        streams.takeLibrarysOutput();
        fputs(clearing, fdr);
        fflush(fdr);
        EXPECT_EQ(fileno(fdr), -1);
        fdr = nullptr;
        EXPECT_EQ(pipe->text(), made_visible);
    });
}

TEST(TerminalStreams, KeepTheBeginningOfACharacterBackUntilTheEnd) {
    with_pipe([](Pipe *pipe) {
        TerminalStreams streams;
        fputs("a\xE2\x82", stdout);
        fflush(stdout);
        EXPECT_EQ(pipe->text(), "a");
        streams.end();
        EXPECT_EQ(pipe->text(), "\xE2\\x82");
        streams.end();
        EXPECT_EQ(pipe->text(), "");
        fputs("b", stdout);
        streams.end();
        EXPECT_EQ(pipe->text(), "b");
        fputs("\xE2", stdout);
        fflush(stdout);
        { TerminalStreams next; }
        streams.end();
        EXPECT_EQ(pipe->text(), "") << "a later run begins anew";
    });
}

// The mark of the end is a zero byte, which may stand anywhere.
TEST(TerminalStreams, TextsOfEveryLengthStayWhole) {
    with_pipe([](Pipe *pipe) {
        TerminalStreams streams;
        setvbuf(stdout, nullptr, _IONBF, 0);
        for (size_t length = 1000; length < 1050; ++length) {
            std::string text;
            while (text.size() < 3 * length) text += std::to_string(text.size()) + " ";
            text.resize(length);
            for (const std::string &written : {text, text + '\0', '\0' + text, text + '\0' + text}) {
                EXPECT_EQ(fwrite(written.data(), 1, written.size(), stdout), written.size());
                EXPECT_EQ(pipe->text(), written.size() > 2 * length ? text + text : text) << length;
            }
        }
    });
}

TEST(TerminalStreams, ManyCharactersThatAreShownHaveRoom) {
    with_pipe([](Pipe *pipe) {
        TerminalStreams streams;
        std::string expected;
        for (int byte = 0; byte < 5000; ++byte) expected += "\\x1B";
        const std::string text(5000, '\x1B');
        EXPECT_EQ(fwrite(text.data(), 1, text.size(), stdout), text.size());
        fflush(stdout);
        EXPECT_EQ(pipe->text(), expected);
    });
}

TEST(TerminalStreams, AFailureIsTheStreamsFailure) {
    with_pipe([](Pipe *pipe) {
        signal(SIGPIPE, SIG_IGN);
        TerminalStreams streams;
        close(pipe->end());
        fputs("a", stdout);
        EXPECT_EQ(fflush(stdout), EOF);
        EXPECT_EQ(errno, EPIPE);
        EXPECT_NE(ferror(stdout), 0);
    });
}

TEST(TerminalStreams, WaitForRoomInAPipeThatDoesNotBlock) {
    with_pipe([](Pipe *pipe) {
        std::string text;
        while (text.size() < 300000) text += std::to_string(text.size()) + "\n";
        fcntl(STDOUT_FILENO, F_SETFL, O_NONBLOCK);
        const pid_t writer = fork();
        if (writer == 0) {
            TerminalStreams streams;
            fputs(text.c_str(), stdout);
            _exit(fflush(stdout) == 0 ? 42 : 43);
        }
        EXPECT_TRUE(comes_to_rest(writer));
        std::string all(text.size(), '?');
        for (size_t at = 0; at < all.size();) {
            const ssize_t got = read(pipe->end(), all.data() + at, all.size() - at);
            if (got <= 0) break;
            at += static_cast<size_t>(got);
        }
        EXPECT_EQ(all, text);
        int status = 0;
        EXPECT_EQ(waitpid(writer, &status, 0), writer);
        EXPECT_EQ(WEXITSTATUS(status), 42);
    });
}
