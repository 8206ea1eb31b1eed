#include "tools/qrtlogin/script_programs.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <cstring>

extern "C" {
#include <sys/pidfd.h> // says nothing of C++ itself before glibc 2.38
}

namespace {

struct Process {
    pid_t id;
    pid_t parent;
    uint64_t start; // distinguishes it from a later one of the same number
    char state;
};

} // namespace

// Tables of a fixed size: nothing can be allocated. Of a system with more processes than this the rest is not seen.
static constexpr size_t most = 16384;

namespace {

struct Table {
    Process processes[most];
    size_t count = 0;

    void add(const Process &one) {
        if (count < most) processes[count++] = one;
    }
    void sort() {
        std::sort(
            processes, processes + count, [](const Process &a, const Process &b) { return a.id < b.id; });
    }
    bool has(pid_t id) const {
        const Process *found = std::lower_bound(processes, processes + count, id,
                                                [](const Process &one, pid_t wanted) { return one.id < wanted; });
        return found != processes + count && found->id == id;
    }
    bool has(const Process &one) const {
        return std::any_of(
            processes, processes + count,
            [&](const Process &other) { return other.id == one.id && other.start == one.start; });
    }
};

} // namespace

static Table all;     // the system's
static Table theirs;  // the scripts'
static Table earlier; // the children from before the scripts

// The field of /proc/ID/stat with this number; those behind the name in parentheses, which may contain anything, begin
// with 3.
static uint64_t field(const char *behindName, int number) {
    for (int at = 3; at < number && behindName != nullptr; ++at) {
        behindName = strchr(behindName, ' ');
        if (behindName != nullptr) ++behindName;
    }
    uint64_t value = 0;
    if (behindName != nullptr) std::from_chars(behindName, behindName + strlen(behindName), value);
    return value;
}

static bool read_process(int proc, const char *number, Process *process) {
    char path[32] = {}, text[1024] = {};
    if (strlen(number) + sizeof "/stat" > sizeof path) return false;
    memcpy(path, number, strlen(number));
    memcpy(path + strlen(number), "/stat", sizeof "/stat");
    const int file = openat(proc, path, O_RDONLY | O_CLOEXEC);
    if (file < 0) return false;
    const ssize_t got = read(file, text, sizeof text - 1);
    close(file);
    const char *nameEnd = got > 0 ? strrchr(text, ')') : nullptr;
    if (nameEnd == nullptr || nameEnd[1] != ' ') return false;
    std::from_chars(number, number + strlen(number), process->id);
    process->state = nameEnd[2];
    process->parent = static_cast<pid_t>(field(nameEnd + 2, 4));
    process->start = field(nameEnd + 2, 22);
    return true;
}

static bool has_ended(const Process &process) {
    return process.state == 'Z' || process.state == 'X';
}

static void read_all(int proc) {
    all.count = 0;
    alignas(dirent64) char block[8192];
    lseek(proc, 0, SEEK_SET);
    for (ssize_t got = getdents64(proc, block, sizeof block); got > 0; got = getdents64(proc, block, sizeof block)) {
        for (ssize_t at = 0; at < got;) {
            const auto *entry = reinterpret_cast<const dirent64 *>(block + at);
            at += entry->d_reclen;
            Process process = {};
            if (entry->d_name[0] < '1' || entry->d_name[0] > '9') continue;
            if (read_process(proc, entry->d_name, &process) && !has_ended(process)) all.add(process);
        }
    }
}

static bool is_theirs(const Process &process) {
    if (process.parent == getpid()) return !earlier.has(process);
    return theirs.has(process.parent);
}

// Through a descriptor of the process, so that it cannot be another one's number by then.
static void send(int proc, const Process &process, int signal) {
    char number[16] = {};
    std::to_chars(number, number + sizeof number - 1, process.id);
    const int handle = pidfd_open(process.id, 0);
    if (handle < 0) return;
    Process now = {};
    if (read_process(proc, number, &now) && now.start == process.start) pidfd_send_signal(handle, signal, nullptr, 0);
    close(handle);
}

// Adds those that are not yet known, with their children, and orders them to end.
static void find_theirs(int proc) {
    for (bool found = true; found;) {
        found = false;
        for (size_t i = 0; i < all.count && theirs.count < most; ++i) {
            if (theirs.has(all.processes[i].id) || !is_theirs(all.processes[i])) continue;
            theirs.add(all.processes[i]);
            theirs.sort();
            send(proc, all.processes[i], SIGTERM);
            found = true;
        }
    }
}

// Sends the signal (0: none) to those that are still there, and returns whether there are any.
static bool any_left(int proc, int signal) {
    bool left = false;
    for (size_t i = 0; i < all.count; ++i) {
        if (!theirs.has(all.processes[i])) continue;
        left = true;
        if (signal != 0) send(proc, all.processes[i], signal);
    }
    return left;
}

static int open_proc() {
    return open("/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

static bool has_children() {
    siginfo_t any;
    return waitid(P_ALL, 0, &any, WEXITED | WSTOPPED | WNOHANG | WNOWAIT | __WALL) == 0 || errno != ECHILD;
}

void script_programs_begin() {
    earlier.count = 0;
    if (!has_children()) return; // as a rule: reading about every process of the system takes a while
    const int proc = open_proc();
    if (proc < 0) return;
    read_all(proc);
    close(proc);
    for (size_t i = 0; i < all.count; ++i)
        if (all.processes[i].parent == getpid()) earlier.add(all.processes[i]);
}

void script_programs_end() {
    constexpr int round = 20, kindly = 1000, atMost = 2000; // milliseconds
    const int proc = open_proc();
    if (proc < 0) return;
    theirs.count = 0;
    for (int passed = 0; passed < atMost; passed += round) {
        read_all(proc);
        find_theirs(proc);
        if (!any_left(proc, passed < kindly ? 0 : SIGKILL)) break;
        poll(nullptr, 0, round);
    }
    close(proc);
}

bool script_programs_had(pid_t id) {
    return theirs.has(id);
}
