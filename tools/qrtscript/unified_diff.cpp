#include "tools/qrtscript/unified_diff.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <system_error>
#include <vector>

#include "platform/common/opened.h"
#include "platform/common/write_all.h"
#include "platform/terminal_text.h"

static constexpr const char *program = "diff";

static void check(bool done) {
    if (!done) throw std::system_error(errno, std::generic_category(), program);
}

// A file in memory, at its start.
static Opened memory_file(const std::string &text) {
    Opened file(memfd_create("text", MFD_CLOEXEC));
    check(file.isOpen() && write_all(file.number(), text) && lseek(file.number(), 0, SEEK_SET) == 0);
    return file;
}

static std::string content(const Opened &file) {
    std::string text(static_cast<size_t>(lseek(file.number(), 0, SEEK_END)), '\0');
    for (size_t done = 0; done < text.size();) {
        const ssize_t got = pread(file.number(), &text[done], text.size() - done, static_cast<off_t>(done));
        if (got < 0 && errno == EINTR) continue;
        check(got > 0);
        done += static_cast<size_t>(got);
    }
    return text;
}

// What the program gets for its standard streams and the two texts.
class Streams {
  public:
    Streams() { posix_spawn_file_actions_init(&actions_); }
    ~Streams() { posix_spawn_file_actions_destroy(&actions_); }
    Streams(const Streams &) = delete;
    Streams &operator=(const Streams &) = delete;
    void give(const Opened &file, int number) { posix_spawn_file_actions_adddup2(&actions_, file.number(), number); }
    const posix_spawn_file_actions_t *actions() const { return &actions_; }

  private:
    posix_spawn_file_actions_t actions_ = {};
};

// A name with a line end would be taken for a part of the difference.
static std::string label_of(const NamedText &one) {
    return "--label=" + terminal_text(one.label);
}

std::string unified_diff(const NamedText &before, const NamedText &after) {
    if (before.text == after.text) return "";
    const Opened old = memory_file(before.text), changed = memory_file(after.text), output = memory_file("");
    std::vector<std::string> words = {program,         "-u", "-a",         label_of(before),
                                      label_of(after), "--", "/dev/stdin", "/dev/fd/3"};
    std::vector<char *> list;
    for (std::string &word : words) list.push_back(word.data());
    list.push_back(nullptr);
    Streams streams;
    // Behind all that are given: its number would otherwise be kept from the program when it is the right one already.
    const Opened spare(fcntl(changed.number(), F_DUPFD_CLOEXEC, 10));
    check(spare.isOpen());
    streams.give(old, 0);
    streams.give(output, 1);
    streams.give(spare, 3);
    pid_t child = -1;
    errno = posix_spawnp(&child, program, streams.actions(), nullptr, list.data(), environ);
    check(errno == 0);
    int status = 0;
    while (waitpid(child, &status, 0) < 0) check(errno == EINTR);
    constexpr int differ = 1;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != differ)
        throw std::system_error(EIO, std::generic_category(), program);
    return content(output);
}
