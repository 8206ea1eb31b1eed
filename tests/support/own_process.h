// Expectations about what a whole process has: its descriptors, signals, limits and streams.
#ifndef TESTS_SUPPORT_OWN_PROCESS_H
#define TESTS_SUPPORT_OWN_PROCESS_H

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <unistd.h>
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iterator>
#include <string>

#include "tests/support/process.h"

// Runs the expectations in a process of its own; those that fail there fail here.
inline void in_own_process(const std::function<void()> &body) {
    constexpr int as_expected = 42;
    TerminalProcess process([&] {
        body();
        return testing::Test::HasFailure() ? 1 : as_expected;
    });
    EXPECT_EQ(process.finish(), as_expected) << process.shown();
}

// How many descriptors this process has open.
inline long open_descriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd"), end;
    return std::distance(all, end) - 1; // without the listing's own
}

// Lets this process open only so many descriptors more, without a free number below them. Returns the limit from
// before.
inline rlimit allow_descriptors(unsigned more) {
    int highest = 0;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd"))
        highest = std::max(highest, std::stoi(entry.path().filename()));
    dup(STDIN_FILENO); // with no number above the standard ones, fcntl fails in another way
    int next = dup(STDIN_FILENO);
    while (next < highest) next = dup(STDIN_FILENO);
    close(next);
    rlimit before = {};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit few = {static_cast<rlim_t>(next) + more, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &few);
    return before;
}

// Lets this process be one of so many processes and threads, as a user that has no other: root may make them without
// end. False where that cannot be.
inline bool allow_processes(rlim_t all) {
    const uid_t own = 1000000 + static_cast<uid_t>(getpid());
    rlimit few = {};
    if (getrlimit(RLIMIT_NPROC, &few) != 0) return false;
    few.rlim_cur = all;
    return geteuid() == 0 && setrlimit(RLIMIT_NPROC, &few) == 0 && setresuid(own, own, own) == 0;
}

// The letter that /proc shows for the state of a process, "S" while it rests; "Z" or empty when it has ended.
inline std::string process_state(pid_t id) {
    const std::string status = file_text("/proc/" + std::to_string(id) + "/stat");
    const size_t name = status.rfind(") ");
    return name == std::string::npos ? "" : status.substr(name + 2, 1);
}

// Waits until it rests, in vain for a while at most: one that spins never does.
inline bool comes_to_rest(pid_t id) {
    for (int look = 0; look < 1000 && process_state(id) != "S"; ++look) usleep(10000);
    return process_state(id) == "S";
}

#endif
