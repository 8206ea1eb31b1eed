// The whole login again for each of the client's calls with that call failing, and for each function of the client
// with that function failing from one of its calls on: two codes stand for all. The long form is tests/faults/.
#include <map>

#include "tests/unit/whole_login.h"

namespace {

using FaultSweepTest = WholeLoginTest;

TEST_F(FaultSweepTest, EachCallFailsOnceInAWholeLogin) {
    log_in_plainly();
    const std::vector<std::string> names = spy::call_names();
    const int calls = static_cast<int>(names.size());
    EXPECT_GT(calls, 150);
    int runs = 0;
    for (const uint32_t code : {ZKE_CONN_INVALID, ZKE_NO_SUCH_ATTRIBUTE}) {
        for (int call = 1; call <= calls && !HasFailure(); call++, runs++) {
            SCOPED_TRACE("call " + std::to_string(call) + " fails with " + std::to_string(code));
            log_in([=] { spy::fail_call(call, code); }, {gives_back(names[static_cast<size_t>(call) - 1]), false});
        }
    }
    log_in_plainly();
    RecordProperty("runs", runs);
    printf("%d logins, each with one of %d calls failing\n", runs, calls);
}

TEST_F(FaultSweepTest, EachFunctionFailsFromItsNthCallOn) {
    log_in_plainly();
    std::map<std::string, int> occurrences;
    for (const std::string &name : spy::call_names()) occurrences[name]++;
    int runs = 0;
    for (const auto &occurrence : occurrences) {
        const std::string &name = occurrence.first;
        for (int nth = 1; nth <= occurrence.second && nth <= 5 && !HasFailure(); nth++, runs++) {
            SCOPED_TRACE(name + " fails from call " + std::to_string(nth) + " on");
            const auto fail = [&, from = nth] { spy::fail_from(name, from, ZKE_DIRECTORY_UNREACHABLE); };
            log_in(fail, {gives_back(name), false});
        }
    }
    log_in_plainly();
    printf("%d logins, each with one function failing for good\n", runs);
}

} // namespace
