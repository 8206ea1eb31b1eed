// How large the environment may be, to the byte.
#include "tools/qrtlogin/environment_size.h"

#include "tests/support/own_process.h"

namespace {

// What is said of an environment of these entries, in a process that asks twice.
std::string said_of(std::vector<char *> entries, size_t stack = size_t{8} << 20) {
    entries.push_back(nullptr);
    TerminalProcess process([&] {
        rlimit limit = {};
        getrlimit(RLIMIT_STACK, &limit);
        limit.rlim_cur = stack;
        if (setrlimit(RLIMIT_STACK, &limit) != 0) return 1;
        char **before = environ;
        environ = entries.data();
        environment_size_check();
        environment_size_check();
        environ = before;
        return 0;
    });
    EXPECT_EQ(process.finish(), 0);
    return process.shown();
}

std::string said_of_texts(std::vector<std::string> texts) {
    std::vector<char *> entries;
    for (std::string &text : texts) entries.push_back(text.data());
    return said_of(entries);
}

// An entry of this length in all.
std::string entry(const std::string &name, size_t length) {
    return name + "=" + std::string(length - name.size() - 1, 'x');
}

// What the system takes: 32 pages with the NUL.
size_t longest() {
    return size_t{32} * static_cast<size_t>(sysconf(_SC_PAGESIZE)) - 1;
}

std::string said_of_too_long(const std::string &name, size_t length) {
    return "qrtlogin: warning: no program can be started: the variable " + name + " is too long (" +
           std::to_string(length) + " bytes with its name, the limit is " + std::to_string(longest()) + ")\r\n";
}

std::string too_large(const std::string &name, size_t size, size_t limit) {
    return "qrtlogin: warning: no program can be started: the environment is too large (" + std::to_string(size) +
           " bytes, the limit is " + std::to_string(limit) + "); its longest variable is " + name + "\r\n";
}

} // namespace

TEST(EnvironmentSize, OneStringMayBeAsLongAsTheSystemTakes) {
    EXPECT_EQ(said_of_texts({}), "");
    EXPECT_EQ(said_of_texts({entry("A", longest())}), "");
    EXPECT_EQ(said_of_texts({entry("A", longest() + 1)}), said_of_too_long("A", longest() + 1));
}

TEST(EnvironmentSize, TheLongestIsNamedWithAtMostAHundredCharacters) {
    const size_t length = longest() + 9;
    EXPECT_EQ(said_of_texts({entry("A", length - 1), entry("B", length), entry("C", length), entry("D", 5)}),
              said_of_too_long("B", length));
    EXPECT_EQ(said_of_texts({entry(std::string(150, 'N'), length)}), said_of_too_long(std::string(100, 'N'), length));
    EXPECT_EQ(said_of_texts({std::string(length, 'N')}), said_of_too_long(std::string(100, 'N'), length));
}

// Each takes its characters, its NUL and its pointer: a quarter of the stack in all, and 6 MiB at most.
TEST(EnvironmentSize, AllMayBeAsLargeAsTheSystemTakes) {
    const size_t one = 4 + 1 + sizeof(char *);
    const struct {
        size_t stack, limit;
    } rows[] = {{size_t{8} << 20, size_t{2} << 20}, {size_t{64} << 20, size_t{6} << 20}};
    for (const auto &row : rows) {
        char small[] = "A=bc";
        std::string last = entry("LAST", row.limit % one + 4), longer = last + "x";
        std::vector<char *> entries(row.limit / one - 1, small);
        entries.push_back(last.data());
        EXPECT_EQ(said_of(entries, row.stack), "");
        entries.back() = longer.data();
        EXPECT_EQ(said_of(entries, row.stack), too_large("LAST", row.limit + 1, row.limit));
    }
}

TEST(EnvironmentSize, WithoutAnEnvironmentNothingIsSaid) {
    in_own_process([] {
        char **before = environ;
        environ = nullptr;
        environment_size_check();
        environ = before;
    });
}
