#include "tools/map/missing_folders.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <chrono>
#include <csignal>

#include "platform/common/opened.h"

using Clock = std::chrono::steady_clock;
static constexpr std::chrono::milliseconds patience{1000};

static bool is_missing(const std::string &path) {
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) return errno == ENOENT || errno == ENOTDIR;
    return !S_ISDIR(status.st_mode);
}

// A process of its own, since a dead mount may keep it in the kernel for good. It holds nothing open by then: whoever
// reads this program's output would wait for it.
static pid_t look_for(const std::string &path, size_t index, int answers) {
    const pid_t child = fork();
    if (child != 0) return child;
    dup2(answers, STDIN_FILENO);
    closefrom(STDIN_FILENO + 1);
    const bool told = !is_missing(path) || write(STDIN_FILENO, &index, sizeof index) == sizeof index;
    _exit(told ? 0 : 1);
}

// Until the last process has ended, or the time is over.
static void take_answers(int answers, std::vector<bool> *missing) {
    const Clock::time_point end = Clock::now() + patience;
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        pollfd wanted = {answers, POLLIN, 0};
        const int ready = left <= 0 ? 0 : poll(&wanted, 1, static_cast<int>(left));
        if (ready < 0 && errno == EINTR) continue;
        size_t index = 0;
        if (ready <= 0 || TEMP_FAILURE_RETRY(read(answers, &index, sizeof index)) != sizeof index) return;
        if (index < missing->size()) (*missing)[index] = true;
    }
}

std::vector<bool> missing_folders(const std::vector<std::string> &paths) {
    std::vector<bool> missing(paths.size());
    std::vector<pid_t> children;
    int ends[2];
    if (paths.empty() || pipe2(ends, O_CLOEXEC) != 0) return missing;
    const Opened answers(ends[0]);
    {
        const Opened told(ends[1]);
        for (size_t i = 0; i < paths.size(); ++i) children.push_back(look_for(paths[i], i, told.number()));
    }
    take_answers(answers.number(), &missing);
    for (const pid_t child : children) {
        if (child <= 0) continue;
        kill(child, SIGKILL);
        waitpid(child, nullptr, WNOHANG);
    }
    return missing;
}
