// The long form of the fault sweep: the whole login again for each of the client's calls and each class of code, with
// that call failing once, and with it and every later call failing. A class is a code that the library tells apart
// somewhere, or one that stands for all that it does not; among them is the success that fills in nothing. After each
// such login a plain one has to print what the first one printed.
#include <sanitizer/common_interface_defs.h>
#include <sanitizer/lsan_interface.h>
#include <unistd.h>

#include <cstdlib>

#include "tests/unit/whole_login.h"

namespace {

// Whatever fails, a login takes milliseconds.
constexpr unsigned hang_after = 60;
constexpr int leak_check_every = 100;

struct Class {
    uint32_t code;
    const char *name;
};
const Class classes[] = {
    {ZK_OK, "success that fills in nothing"},
    {1, "cancelled"},
    {ZKE_VOLUME_UNKNOWN, "volume unknown"},
    {ZKE_OTHER_IDENTITY, "other identity"},
    {ZKE_CONN_INVALID, "connection lost"},
    {ZKE_SERVER_NO_SLOTS, "no slots"},
    {ZKE_SERVER_NOT_FOUND, "server not found"},
    {ZKE_DIFF_OBJECT_ALREADY_AUTHEN, "another object authenticated"},
    {ZKE_NO_SUCH_ATTRIBUTE, "no such attribute"},
    {ZKE_NO_SUCH_VALUE, "no such value"},
    {ZKE_NO_SUCH_ENTRY, "no such entry"},
    {ZKE_TREE_NOT_FOUND, "tree not found"},
    {ZKE_BAD_CONTEXT, "context not made"},
    {ZKE_WRONG_PASSWORD, "wrong password"},
    {ZKE_ACCOUNT_LOCKED, "account locked"},
    {ZKE_NO_ACCESS, "access denied"},
    {ZKE_DIRECTORY_UNREACHABLE, "directory unreachable"},
    {ZKE_BAD_HANDLE, "bad handle"},
    {ZKE_NO_MORE_ENTRIES, "no more entries"},
    {ZKE_NO_MEMORY, "no memory"},
    {QRT_NOT_FOUND, "all bits"},
    // The readers of volumes judge a code by its low half: one that is positive there, and one that is zero.
    {0x1234, "unknown"},
    {0x770000, "unknown, its low half zero"},
};

int logins = 0;
int calls = 0;
char now[160]; // what runs, for a report at the program's death

void tell_what_ran() {
    if (write(STDERR_FILENO, now, strlen(now)) < 0) return;
}

void hang(int) {
    tell_what_ran();
    const char text[] = ": hangs\n";
    if (write(STDERR_FILENO, text, sizeof text - 1) < 0) _exit(1);
    _exit(1);
}

struct Case {
    Class failure;
    bool for_good;
};

class FaultSweep : public WholeLoginTest, public testing::WithParamInterface<Case> {
  protected:
    void sweep() {
        log_in_plainly();
        const std::vector<std::string> names = spy::call_names();
        calls = static_cast<int>(names.size());
        for (int call = 1; call <= calls && !HasFailure(); call++) {
            one(call, names[static_cast<size_t>(call) - 1]);
            if (call % leak_check_every == 0 || call == calls) look_for_leaks();
        }
    }

  private:
    static void look_for_leaks() { EXPECT_EQ(__lsan_do_recoverable_leak_check(), 0); }

    void one(int call, const std::string &name) {
        const auto [failure, for_good] = GetParam();
        snprintf(now, sizeof now, "call %d (%s)%s: %s", call, name.c_str(), for_good ? " and all later ones" : "",
                 failure.name);
        SCOPED_TRACE(now);
        alarm(hang_after);
        const auto fail = [&, code = failure.code, all = for_good] {
            all ? spy::fail_calls_from(call, code) : spy::fail_call(call, code);
        };
        log_in(fail, {for_good || gives_back(name), failure.code == ZK_OK});
        log_in_plainly();
        logins += 2;
    }
};

TEST_P(FaultSweep, LoginComesToItsEnd) {
    signal(SIGALRM, hang);
    __sanitizer_set_death_callback(tell_what_ran);
    sweep();
    alarm(0);
}

std::vector<Case> cases() {
    std::vector<Case> all;
    for (const Class &failure : classes)
        for (const bool for_good : {false, true}) all.push_back({failure, for_good});
    return all;
}

INSTANTIATE_TEST_SUITE_P(Each, FaultSweep, testing::ValuesIn(cases()));

} // namespace

// The last line is for the script that adds up the shards.
int main(int argc, char **argv) {
    testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    printf("sweep %d %d %zu %d\n", logins, calls, std::size(classes),
           testing::UnitTest::GetInstance()->failed_test_count());
    return result;
}
