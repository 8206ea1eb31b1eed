// What a terminal shows of the servers that a login waits for. The client's call that registers the notice is replaced,
// so that the tests say when it comes.
#include "tools/qrtlogin/waiting_notice.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <unistd.h>
#include <clocale>
#include <cstdlib>

#include "include/qrtscript.h"
#include "platform/zk.h"
#include "tests/support/process.h"
#include "tools/qrtlogin/output_relay.h"

namespace {

uint32_t set_milliseconds;
ZKWaitNotice set_notice;
int set_count;

} // namespace

uint32_t ZKSetWaitNotice(uint32_t milliseconds, ZKWaitNotice notice) {
    set_milliseconds = milliseconds;
    set_notice = notice;
    ++set_count;
    return ZK_OK;
}

namespace {

using Servers = std::vector<const char *>;

// What a terminal of that kind shows; a null server is the end of the wait.
std::string notice_shown(const Servers &servers, const char *kind = "xterm", unsigned short columns = 80) {
    TerminalProcess process([&] {
        setlocale(LC_ALL, "C.UTF-8");
        if (kind != nullptr)
            setenv("TERM", kind, 1);
        else
            unsetenv("TERM");
        winsize window = {};
        window.ws_col = columns;
        ioctl(STDERR_FILENO, TIOCSWINSZ, &window);
        const WaitingNotice waiting;
        for (const char *server : servers) set_notice(server);
        return 0;
    });
    EXPECT_EQ(process.finish(), 0);
    return process.shown();
}

// The line for a server on a terminal of so many columns, without what saves the cursor.
std::string line(const std::string &server, unsigned short columns) {
    const std::string text = notice_shown({server.c_str()}, "xterm", columns);
    EXPECT_EQ(text.substr(0, 2), "\0337");
    return text.substr(2);
}

int in_process(const std::function<int()> &body) {
    return TerminalProcess(body).finish();
}

void use_no_terminal() {
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(null, STDERR_FILENO);
    close(null);
}

} // namespace

TEST(WaitingNotice, IsTakenAwayWhereTheCursorCanGoBack) {
    EXPECT_EQ(notice_shown({"a", nullptr}), "\0337Waiting for a ...\0338\033[K");
    EXPECT_EQ(notice_shown({"a", "b", nullptr, nullptr}),
              "\0337Waiting for a ...\0338\033[K\0337Waiting for b ...\0338\033[K");
    EXPECT_EQ(notice_shown({nullptr}), "");
}

TEST(WaitingNotice, EndsItsLineOnAnotherTerminal) {
    for (const char *kind : {"dumb", "", static_cast<const char *>(nullptr)})
        EXPECT_EQ(notice_shown({"a", nullptr}, kind), "Waiting for a ...\r\n");
}

TEST(WaitingNotice, LeavesTheLastColumnFree) {
    EXPECT_EQ(line("a", 18), "Waiting for a ...");
    EXPECT_EQ(line("a", 17), "Waiting for a ..");
    EXPECT_EQ(line("a", 2), "W");
    EXPECT_EQ(line("a", 1), "");
    EXPECT_EQ(line(std::string(200, 'x'), 0), "Waiting for " + std::string(67, 'x')) << "80 when it is not known";
}

TEST(WaitingNotice, CountsColumnsAndNotBytes) {
    EXPECT_EQ(line("日日日", 16), "Waiting for 日");
    EXPECT_EQ(line("日日日", 17), "Waiting for 日日");
    EXPECT_EQ(line("e\xcc\x81"
                   "e\xcc\x81"
                   "e",
                   15),
              "Waiting for e\xcc\x81"
              "e\xcc\x81");
    EXPECT_EQ(line("\x01xyz", 19), "Waiting for \\x01xy") << "as it is shown";
}

TEST(WaitingNotice, EndsBeforeWhatIsNoCharacter) {
    EXPECT_EQ(line("abc\xff\xff"
                   "def",
                   80),
              "Waiting for abc");
    EXPECT_EQ(line("abc\xe6", 80), "Waiting for abc");
}

TEST(WaitingNotice, ComesAfterWhatTheScriptsHaveWritten) {
    TerminalProcess process([] {
        unsetenv("TERM");
        const WaitingNotice waiting;
        qrt_init(nullptr, nullptr);
        OutputRelay relay;
        relay.begin();
        const std::string text(60000, 'x');
        if (write(STDOUT_FILENO, text.data(), text.size()) != static_cast<ssize_t>(text.size())) return 99;
        set_notice("a");
        qrt_exit();
        return relay.end();
    });
    EXPECT_EQ(process.finish(), 0);
    EXPECT_NE(process.shown().find(std::string(60000, 'x') + "Waiting for a ..."), std::string::npos);
}

TEST(WaitingNotice, IsSetForItsLifeOnly) {
    EXPECT_EQ(in_process([] {
                  unsetenv("TERM");
                  const int before = dup(STDIN_FILENO);
                  close(before);
                  {
                      const WaitingNotice waiting;
                      if (set_notice == nullptr || set_milliseconds != 2000) return 1;
                  }
                  if (set_notice != nullptr || set_milliseconds != 0 || set_count != 2) return 2;
                  if (dup(STDIN_FILENO) != before) return 3;
                  use_no_terminal();
                  { const WaitingNotice waiting; }
                  return set_count == 2 ? 42 : 4;
              }),
              42);
}

TEST(WaitingNotice, IsNotSetWithoutADescriptorForIt) {
    EXPECT_EQ(in_process([] {
                  const rlimit few = {3, 3};
                  setrlimit(RLIMIT_NOFILE, &few);
                  { const WaitingNotice waiting; }
                  return set_count == 0 ? 42 : 43;
              }),
              42);
}
