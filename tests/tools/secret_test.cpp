// Where the password comes from, and what the system does with the pages of the block that contains it.
#include "platform/common/secret.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <csignal>
#include <cstring>

#include "tests/support/own_process.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtlogin/password.h"

namespace {

using testing::HasSubstr;

// A descriptor with the text and its end.
int holding(const std::string &text) {
    int ends[2];
    if (pipe(ends) != 0 || write(ends[1], text.data(), text.size()) != static_cast<ssize_t>(text.size())) abort();
    close(ends[1]);
    return ends[0];
}

// The failure of reading this, with its status; or the password.
std::string read_from(int descriptor) {
    try {
        return password_read(descriptor).text();
    } catch (const Failure &failure) {
        return std::to_string(failure.status()) + " " + failure.what();
    }
}

bool is_null_device(int descriptor) {
    return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor)) == "/dev/null";
}

// What the system does with the pages of this address, as in /proc/self/smaps.
std::string flags_of(const void *address) {
    const std::string maps = file_text("/proc/self/smaps");
    char start[32];
    snprintf(start, sizeof start, "%lx-", reinterpret_cast<unsigned long>(address));
    const size_t flags = maps.find("VmFlags:", maps.find(start));
    return maps.substr(flags, maps.find('\n', flags) - flags);
}

constexpr size_t left_size = 8192;

// Leaves that many bytes of the value on the stack below the caller.
[[gnu::noinline]] void leave_on_stack(char value) {
    volatile char left[left_size];
    for (volatile char &byte : left) byte = value;
}

// Whether many bytes of the value stand below the frame; the kernel reads them, since no variable is there any more.
bool stands_below(const void *frame, char value) {
    std::string stack(left_size, '\0');
    const int memory = open("/proc/self/mem", O_RDONLY | O_CLOEXEC);
    const auto got = pread(memory, stack.data(), stack.size(), reinterpret_cast<off_t>(frame) - off_t{left_size});
    EXPECT_EQ(got, ssize_t{left_size});
    close(memory);
    return stack.find(std::string(64, value)) != std::string::npos;
}

} // namespace

TEST(SecretTest, IsTheFirstLine) {
    for (const char *text : {"secret", "secret\n", "secret\nmore\n"}) EXPECT_EQ(read_from(holding(text)), "secret");
    EXPECT_EQ(read_from(holding("x")), "x");
    EXPECT_EQ(read_from(holding(" x ")), " x ");
    EXPECT_EQ(read_from(holding(std::string(1024, 'x') + "\n")), std::string(1024, 'x'));
    EXPECT_EQ(read_from(holding(std::string(1024, 'x'))), std::string(1024, 'x'));
    EXPECT_EQ(read_from(holding(std::string(1025, 'x'))), "2 the password is too long");
    EXPECT_EQ(read_from(holding(std::string("a\0b\n", 4))), "2 the password contains a NUL byte");
    EXPECT_THAT(read_from(holding("\nx")), HasSubstr("2 no password on file descriptor "));
    EXPECT_THAT(read_from(holding("")), HasSubstr("2 no password on file descriptor "));
    EXPECT_EQ(read_from(999), "64 cannot read the password from file descriptor 999: Bad file descriptor");
}

TEST(SecretTest, ItsDescriptorIsClosedOrTheNullDevice) {
    in_own_process([] {
        const long before = open_descriptors();
        EXPECT_EQ(read_from(holding("secret")), "secret");
        EXPECT_EQ(open_descriptors(), before);
        const int errors = dup(STDERR_FILENO), output = dup(STDOUT_FILENO);
        std::string read[3];
        bool null[3] = {};
        for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            dup2(holding("secret"), standard);
            read[standard] = read_from(standard);
            null[standard] = is_null_device(standard) && (fcntl(standard, F_GETFL) & O_ACCMODE) == O_RDWR;
        }
        dup2(output, STDOUT_FILENO);
        dup2(errors, STDERR_FILENO);
        EXPECT_THAT(read, testing::Each("secret"));
        EXPECT_THAT(null, testing::Each(true));
    });
}

TEST(SecretTest, AStandardDescriptorThatGetsAnotherNumberIsAFailure) {
    in_own_process([] {
        const int output = dup(STDOUT_FILENO);
        dup2(holding("secret"), STDOUT_FILENO);
        close(STDIN_FILENO);
        const std::string read = read_from(STDOUT_FILENO);
        dup2(output, STDOUT_FILENO);
        EXPECT_THAT(read, HasSubstr("64 cannot open /dev/null"));
    });
}

TEST(SecretTest, OnlyADescriptorThatIsOpenIsTaken) {
    EXPECT_NO_THROW(password_require_open(STDIN_FILENO));
    try {
        password_require_open(999);
        ADD_FAILURE();
    } catch (const Failure &failure) {
        EXPECT_STREQ(failure.what(), "cannot read the password from file descriptor 999: Bad file descriptor");
        EXPECT_EQ(failure.status(), exit_usage);
    }
}

// A process that has no handler of its own for interrupts ends; one that ignores them goes on.
TEST(SecretTest, AnInterruptCancelsTheQuestion) {
    TerminalProcess process([] {
        signal(SIGINT, SIG_IGN);
        try {
            password_ask("Question \x1B? ");
        } catch (const Failure &failure) {
            return strcmp(failure.what(), "cannot read the password: cancelled") == 0 ? failure.status() : 43;
        }
        return 44;
    });
    ASSERT_TRUE(process.awaits("Question \\x1B? "));
    process.interrupt();
    EXPECT_EQ(process.finish(), exit_password);
}

TEST(SecretTest, NothingIsLeftWhenItIsWiped) {
    Secret secret = password_read(holding(std::string(1024, 'x')));
    secret.wipe();
    EXPECT_EQ(std::string(secret.text(), 1026), std::string(1026, '\0'));
}

TEST(SecretTest, GoesFromOneOwnerToAnother) {
    Secret first, second(8);
    strcpy(second.text(), "secret");
    first = std::move(second);
    EXPECT_STREQ(first.text(), "secret");
    EXPECT_EQ(first.capacity(), 8u);
    const Secret third = std::move(first);
    EXPECT_STREQ(third.text(), "secret");
    EXPECT_TRUE(Secret().empty());
}

TEST(SecretTest, AForkedProcessHasACopyOnlyWhereThatIsWanted) {
    in_own_process([] {
        Secret secret(8), copied(8, Secret::Forked::copy);
        strcpy(secret.text(), "secret");
        strcpy(copied.text(), "secret");
        const pid_t child = fork();
        if (child == 0) _exit(secret.empty() && strcmp(copied.text(), "secret") == 0 ? 0 : 1);
        int status = 1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    });
}

TEST(SecretTest, ItsPagesAreNeitherSwappedNorDumpedNorCopied) {
    in_own_process([] {
        Secret secret;
        for (const char *flag : {" dd", " wf"}) EXPECT_THAT(flags_of(secret.text()), HasSubstr(flag));
#ifndef QRT_SANITIZED // which locks nothing
        EXPECT_THAT(flags_of(secret.text()), HasSubstr(" lo"));
#endif
    });
}

TEST(SecretTest, ItsPagesGoBackToTheSystem) {
    in_own_process([] {
        const char *text = nullptr;
        {
            Secret secret;
            text = secret.text();
            EXPECT_NE(flags_of(text), "");
        }
        unsigned char resident = 0;
        EXPECT_NE(mincore(const_cast<char *>(text), 1, &resident), 0);
    });
}

TEST(SecretTest, ItsEndOverwritesWhatCallsHaveLeftOnTheStack) {
    const void *frame = __builtin_frame_address(0);
    leave_on_stack('s');
    ASSERT_TRUE(stands_below(frame, 's'));
    { Secret secret; }
    EXPECT_FALSE(stands_below(frame, 's'));
}

#if defined(__x86_64__) && defined(__has_attribute) && __has_attribute(zero_call_used_regs)
TEST(SecretTest, ItsEndClearsTheRegistersThatTextGoesThrough) {
    const char text[16] = "0123456789abcde";
    char left[16] = "";
    asm volatile("movdqu %0, %%xmm9" : : "m"(text) : "xmm9");
    secret_wipe_traces();
    asm volatile("movdqu %%xmm9, %0" : "=m"(left));
    EXPECT_EQ(std::string(left, sizeof left), std::string(sizeof left, '\0'));
}
#endif
