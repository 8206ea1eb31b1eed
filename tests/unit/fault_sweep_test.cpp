// The whole login again for each of the client's calls with that call failing, and for each function of the client with
// that function failing from one of its calls on. Two codes stand for all. With QRT_FAULTS set, for ./check.sh
// --faults, it is each class of code, with that call failing once, and with it and every later call failing. A class is
// a code that the library distinguishes somewhere, or one that stands for all that it does not; among them is the
// success that fills in nothing. After such a login a plain one has to print what the first one printed.
#ifdef QRT_SANITIZED
#include <sanitizer/common_interface_defs.h>
#include <sanitizer/lsan_interface.h>
#endif

#include <map>

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
char running_now[160]; // what runs, for a report at the program's death

void report_what_ran() {
    if (write(STDERR_FILENO, running_now, strlen(running_now)) < 0) return;
}

void hang(int) {
    report_what_ran();
    abort();
}

struct Case {
    Class failure;
    bool for_good;
};

class FaultSweep : public WholeLoginTest, public testing::WithParamInterface<Case> {
  protected:
    FaultSweep() {
        signal(SIGALRM, hang);
#ifdef QRT_SANITIZED
        __sanitizer_set_death_callback(report_what_ran);
#endif
    }
    ~FaultSweep() override {
        alarm(0);
    }

    // For the script that adds up the shards.
    static void TearDownTestSuite() {
        printf("sweep %d %d %zu %d\n", logins, calls, std::size(classes),
               testing::UnitTest::GetInstance()->failed_test_count());
    }
    static void look_for_leaks() {
#ifdef QRT_SANITIZED
        EXPECT_EQ(__lsan_do_recoverable_leak_check(), 0);
#endif
    }
    void one(int call, const std::string &name) {
        const auto [failure, for_good] = GetParam();
        snprintf(running_now, sizeof running_now, "call %d (%s)%s: %s\n", call, name.c_str(),
                 for_good ? " and all later ones" : "", failure.name);
        SCOPED_TRACE(running_now);
        alarm(hang_after);
        const auto fail = [&, code = failure.code, all = for_good] {
            all ? spy::fail_calls_from(call, code) : spy::fail_call(call, code);
        };
        log_in(fail, {for_good || gives_back(name), failure.code == ZK_OK});
        if (!thorough) return;
        log_in_plainly();
        logins += 2;
    }
    static const bool thorough;
};

const bool FaultSweep::thorough = getenv("QRT_FAULTS") != nullptr;

TEST_P(FaultSweep, LoginComesToItsEnd) {
    log_in_plainly();
    const std::vector<std::string> names = spy::call_names();
    calls = static_cast<int>(names.size());
    EXPECT_GT(calls, 150);
    for (int call = 1; call <= calls && !HasFailure(); call++) {
        one(call, names[static_cast<size_t>(call) - 1]);
        if (call % leak_check_every == 0 || call == calls) look_for_leaks();
    }
    log_in_plainly();
}

std::vector<Case> cases() {
    std::vector<Case> all;
    for (const Class &failure : classes) {
        const bool stands_for_all = failure.code == ZKE_CONN_INVALID || failure.code == ZKE_NO_SUCH_ATTRIBUTE;
        if (stands_for_all || getenv("QRT_FAULTS") != nullptr) all.push_back({failure, false});
        if (getenv("QRT_FAULTS") != nullptr) all.push_back({failure, true});
    }
    return all;
}

INSTANTIATE_TEST_SUITE_P(Each, FaultSweep, testing::ValuesIn(cases()));

using FaultSweepTest = WholeLoginTest;

TEST_F(FaultSweepTest, EachFunctionFailsFromItsNthCallOn) {
    log_in_plainly();
    std::map<std::string, int> occurrences;
    for (const std::string &name : spy::call_names()) occurrences[name]++;
    for (const auto &occurrence : occurrences) {
        const std::string &name = occurrence.first;
        for (int nth = 1; nth <= occurrence.second && nth <= 5 && !HasFailure(); nth++) {
            SCOPED_TRACE(name + " fails from call " + std::to_string(nth) + " on");
            const auto fail = [&, from = nth] { spy::fail_from(name, from, ZKE_DIRECTORY_UNREACHABLE); };
            log_in(fail, {gives_back(name), false});
        }
    }
    log_in_plainly();
}

} // namespace
