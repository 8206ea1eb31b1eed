// The edges of the start, the end and the reader: what they leave alone, and how far they go.
#include <fcntl.h>

#include <cerrno>
#include <csignal>

#include "base/output.h"
#include "run/lifecycle.h"
#include "tests/unit/session_fixture.h"
#include "tests/unit/standard_streams.h"

namespace {

class LifecycleBoundsTest : public SessionTest {
  protected:
    LifecycleBoundsTest() {
        if (pipe(pipe_) != 0) ADD_FAILURE() << "no pipe";
        fd[0] = pipe_[0];
    }
    ~LifecycleBoundsTest() override {
        signal(SIGINT, SIG_DFL);
        for (const int end : pipe_) close(end);
        if (fcntl(0, F_GETFD) == -1) keep_standard_input();
    }

    // What the reader finds in its pipe.
    void written(const std::string &text) {
        EXPECT_EQ(write(pipe_[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    void end_of_writing() {
        close(pipe_[1]);
        pipe_[1] = open("/dev/null", O_WRONLY);
    }
    // The next line, or "(end)".
    static std::string next_line() {
        char untouched = 'x';
        char *line = &untouched;
        // What an earlier call has left: the reader looks at it only when its own has failed.
        errno = EINTR;
        const int result = qrt_ReadResults(&line);
        EXPECT_EQ(result, line ? 0 : -1);
        return line ? taken(line) : "(end)";
    }
    int pipe_[2] = {-1, -1};
};

// What a session may have left, or a caller has set, before the next one starts.
void fill_session() {
    for (char **global :
         {&CurrentContext, &InitialContext, &CurrentObject, &LoginName, &CurrentTree, &CurrentPassword, &driveDir})
        *global = text_copy("kept").release();
    objname = hostResName;
    ctx = 5;
    g_useGUI = 6;
    use_default_script = 7;
    bcntrlc = 1;
    LoginAliasContext[0] = 'Y';
    linecounter = 8;
    attachedCount = 9;
}

void expect_flags_kept() {
    EXPECT_STREQ(CurrentPassword, "kept");
    EXPECT_STREQ(driveDir, "kept");
    EXPECT_EQ(ctx, 5U);
    EXPECT_EQ(g_useGUI, 6);
    EXPECT_EQ(use_default_script, 7);
    EXPECT_EQ(bcntrlc, 1);
    EXPECT_STREQ(LoginAliasContext, "Y");
    EXPECT_EQ(linecounter, 8);
    EXPECT_EQ(attachedCount, 9);
}

TEST_F(LifecycleBoundsTest, TheStartAndTheEndLeaveTheOtherGlobals) {
    fill_session();
    EXPECT_EQ(qrt_init(nullptr, stream_), 0);
    expect_flags_kept();
    for (const char *text : {CurrentContext, InitialContext, CurrentObject, LoginName, CurrentTree})
        EXPECT_STREQ(text, "kept");
    EXPECT_EQ(objname, hostResName);
    EXPECT_EQ(qrt_exit(), 0);
    keep_standard_input();
    expect_flags_kept();
    EXPECT_EQ(fdr, stream_);
    EXPECT_EQ(fd[0], 0);
    EXPECT_EQ(fd[1], 0);
    attachedCount = 0;
}

TEST_F(LifecycleBoundsTest, TheEndLeavesTheCallersSignals) {
    sigset_t before, after;
    ASSERT_EQ(pthread_sigmask(SIG_SETMASK, nullptr, &before), 0);
    EXPECT_EQ(qrt_init(nullptr, stream_), 0);
    EXPECT_EQ(qrt_exit(), 0);
    keep_standard_input();
    ASSERT_EQ(pthread_sigmask(SIG_SETMASK, nullptr, &after), 0);
    for (const int number : {SIGPIPE, SIGINT, SIGCHLD})
        EXPECT_EQ(sigismember(&after, number), sigismember(&before, number)) << number;
}

TEST_F(LifecycleBoundsTest, AStartThatFailsInstallsNoHandler) {
    const auto start_without_descriptors = [] {
        allow_standard_descriptors_only();
        const bool failed = qrt_init(nullptr, nullptr) == -1;
        _exit(failed && !fdr && signal(SIGINT, SIG_DFL) == SIG_DFL ? 33 : 0);
    };
    EXPECT_EXIT(start_without_descriptors(), ExitedWithCode(33), "");
}

TEST_F(LifecycleBoundsTest, AnyNumberOfInterruptsIsIgnoredAndCallsGoOnAfterThem) {
    qrt_init(nullptr, stream_);
    struct sigaction installed;
    ASSERT_EQ(sigaction(SIGINT, nullptr, &installed), 0);
    EXPECT_NE(installed.sa_flags & SA_RESTART, 0);
    qrt_init(nullptr, stream_);
    for (int i = 0; i < 3; i++) raise(SIGINT);
    EXPECT_EQ(signal(SIGINT, SIG_DFL), &cntrlcHandler);
    EXPECT_EQ(output(), "");
}

TEST_F(LifecycleBoundsTest, TheReaderTakesNoByteBehindItsLine) {
    written("four\ntwo");
    EXPECT_EQ(next_line(), "four");
    char rest[8] = "";
    EXPECT_EQ(read(pipe_[0], rest, sizeof rest - 1), 3);
    EXPECT_STREQ(rest, "two");
    written(std::string(1024, 'x') + "y");
    EXPECT_EQ(next_line(), std::string(1024, 'x'));
    EXPECT_EQ(read(pipe_[0], rest, 1), 1);
    EXPECT_EQ(rest[0], 'y');
}

TEST_F(LifecycleBoundsTest, TheEndOfTheFileEndsALineAndThenTheOutput) {
    written("half a line");
    end_of_writing();
    EXPECT_EQ(next_line(), "half a line");
    EXPECT_EQ(next_line(), "(end)");
    EXPECT_EQ(next_line(), "(end)");
}

TEST_F(LifecycleBoundsTest, APieceThatEndsWithTheOutputIsTheLast) {
    written(std::string(1024, 'x') + '\0' + std::string(1023, 'y') + '\0');
    EXPECT_EQ(next_line(), std::string(1024, 'x'));
    EXPECT_EQ(next_line(), "(end)");
    EXPECT_EQ(next_line(), std::string(1023, 'y'));
    end_of_writing();
    EXPECT_EQ(next_line(), "(end)");
}

TEST_F(LifecycleBoundsTest, EveryByteButTwoIsPartOfALine) {
    std::string bytes;
    for (int c = 1; c < 256; c++) {
        if (c != '\n') bytes += static_cast<char>(c);
    }
    written(bytes + "\n");
    EXPECT_EQ(next_line(), bytes);
}

} // namespace
