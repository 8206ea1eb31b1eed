#include "tests/support/process.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sched.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utmp.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace {

[[noreturn]] void fail(const char *what) {
    throw std::system_error(errno, std::generic_category(), what);
}

std::vector<char *> pointers(Words *words) {
    std::vector<char *> list;
    for (std::string &word : *words) list.push_back(word.data());
    list.push_back(nullptr);
    return list;
}

[[noreturn]] void become(Words words, const Variables &environment) {
    Words settings;
    for (const auto &[name, value] : environment) settings.push_back(name + "=" + value);
    execve(words[0].c_str(), pointers(&words).data(), pointers(&settings).data());
    _exit(125);
}

int exit_status(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

int wait_for(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0)
        if (errno != EINTR) fail("waitpid");
    return exit_status(status);
}

void redirect(const std::string &path, int flags, int descriptor) {
    int opened = open(path.c_str(), flags, 0600);
    if (opened < 0 || dup2(opened, descriptor) < 0) _exit(125);
    if (opened != descriptor) close(opened);
}

} // namespace

bool operator==(const Outcome &one, const Outcome &other) {
    return one.status == other.status && one.out == other.out && one.err == other.err;
}

void PrintTo(const Outcome &outcome, std::ostream *stream) {
    *stream << "status " << outcome.status << "\n" << outcome.out << "errors:\n" << outcome.err;
}

TempFolder::TempFolder() {
    std::string pattern = std::filesystem::temp_directory_path() / "qrt-test-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) fail("mkdtemp");
    path_ = pattern;
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void TempFolder::make(const std::string &name) const {
    std::filesystem::create_directories(path(name));
}

void TempFolder::write(const std::string &name, const std::string &text) const {
    std::filesystem::path file = path(name);
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
}

std::string file_text(const std::string &path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

Variables process_environment() {
    Variables environment = {{"PATH", "/usr/local/bin:/usr/bin:/bin"}, {"LC_ALL", "C"}};
    for (const char *name :
         {"ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "LD_LIBRARY_PATH", "GCOV_PREFIX"}) {
        const char *value = getenv(name);
        if (value != nullptr) environment[name] = value;
    }
    return environment;
}

Outcome process_run(const Words &words, const Variables &environment, const std::string &descriptor3) {
    TempFolder folder;
    folder.write("3", descriptor3);
    pid_t child = fork();
    if (child < 0) fail("fork");
    if (child == 0) {
        setsid(); // no terminal to ask on
        redirect("/dev/null", O_RDONLY, STDIN_FILENO);
        redirect(folder.path("out"), O_WRONLY | O_CREAT | O_APPEND, STDOUT_FILENO);
        redirect(folder.path("err"), O_WRONLY | O_CREAT | O_APPEND, STDERR_FILENO);
        redirect(folder.path("3"), O_RDONLY, 3);
        close_range(4, ~0U, 0); // what the test itself was given
        become(words, environment);
    }
    Outcome outcome;
    outcome.status = wait_for(child);
    outcome.out = file_text(folder.path("out"));
    outcome.err = file_text(folder.path("err"));
    return outcome;
}

TerminalProcess::TerminalProcess(const Words &words, const Variables &environment)
    : TerminalProcess([&]() -> int { become(words, environment); }) {}

TerminalProcess::TerminalProcess(const std::function<int()> &body) {
    int program = -1;
    if (openpty(&terminal_, &program, nullptr, nullptr, nullptr) != 0) fail("openpty");
    // The interrupt key would also throw away what the program writes at that moment.
    termios settings = {};
    if (tcgetattr(program, &settings) != 0) fail("tcgetattr");
    settings.c_lflag |= NOFLSH;
    if (tcsetattr(program, TCSANOW, &settings) != 0) fail("tcsetattr");
    fflush(nullptr); // or the child would write it once more
    child_ = fork();
    if (child_ < 0) fail("fork");
    if (child_ == 0) {
        close(terminal_);
        if (login_tty(program) != 0) _exit(125);
        // Nobody else may catch what it throws: the child would go on as a second test program.
        int status = 125;
        try {
            status = body();
        } catch (const std::exception &problem) {
            fprintf(stderr, "%s\n", problem.what());
        }
        fflush(nullptr);
        _exit(status);
    }
    close(program); // so that the program's end is the terminal's end
}

TerminalProcess::~TerminalProcess() {
    if (child_ > 0) {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }
    close(terminal_);
}

bool TerminalProcess::readSome() {
    char block[512];
    ssize_t got = read(terminal_, block, sizeof block);
    if (got <= 0) return false;
    shown_.append(block, static_cast<size_t>(got));
    return true;
}

bool TerminalProcess::awaits(const std::string &text) {
    for (;;) {
        size_t found = shown_.find(text, seen_);
        if (found != std::string::npos) {
            seen_ = found + text.size();
            return true;
        }
        if (!readSome()) return false;
    }
}

void TerminalProcess::type(const std::string &text) {
    if (write(terminal_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) fail("write");
}

bool TerminalProcess::answers(const std::string &question, const std::string &typed) {
    if (!awaits(question)) return false;
    type(typed);
    return true;
}

void TerminalProcess::awaitRest() const {
    std::string state;
    while (state != "S" && state != "Z") {
        // pid (name) state ...
        std::string status = file_text("/proc/" + std::to_string(child_) + "/stat");
        size_t name = status.rfind(") ");
        state = name == std::string::npos ? "Z" : status.substr(name + 2, 1);
        sched_yield();
    }
}

void TerminalProcess::interrupt() {
    awaitRest();
    type("\x03");
}

void TerminalProcess::signal(int number) const {
    awaitRest();
    kill(child_, number);
}

bool TerminalProcess::echoes() const {
    termios settings = {};
    if (tcgetattr(terminal_, &settings) != 0) fail("tcgetattr");
    return (settings.c_lflag & ECHO) != 0;
}

bool TerminalProcess::awaitsStop() const {
    siginfo_t info = {};
    // Its end, if that is what comes, is left for finish().
    while (waitid(P_PID, static_cast<id_t>(child_), &info, WSTOPPED | WEXITED | WNOWAIT) != 0)
        if (errno != EINTR) fail("waitid");
    return info.si_code == CLD_STOPPED;
}

void TerminalProcess::goOn() const {
    kill(child_, SIGCONT);
}

bool TerminalProcess::endsWithin(int milliseconds) const {
    const int process = static_cast<int>(syscall(SYS_pidfd_open, child_, 0));
    if (process < 0) fail("pidfd_open");
    pollfd end = {process, POLLIN, 0};
    const int ready = poll(&end, 1, milliseconds);
    close(process);
    return ready > 0;
}

int TerminalProcess::finish() {
    while (readSome()) continue;
    int status = wait_for(child_);
    child_ = -1;
    return status;
}
