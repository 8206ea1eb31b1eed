// Scripts and whole logins on the sample tree, each again and again with its first, second, third ... allocation
// failing: once, and with all later ones failing too. The library survives it or ends the script; nothing crashes,
// hangs, ends the process or leaves a descriptor open, and the same script then gives its usual output.
//
//     allocations [--stride N] [--share I N] [CASE...]     every N-th allocation; the cases named, or all, or of
//                                                          these the I-th of N shares, counted from 0
//     allocations --at K --once|--for-good CASE     one run in this process, for a debugger
//
// A case is TOPIC/BEHAVIOUR of tests/scripts, "every_statement", "login" (the first of a process, which also reads the
// configuration and the tree), "next_login", or one of the programs as they are released: "qrtlogin", "map" and others
// of program_cases.cpp.
//
// A child runs a case from a number on until the number is beyond the last allocation; a shared record tells how far it
// has come. When it dies, the failure is told with its number, and the next child goes on behind it. Each child stands
// on a terminal of its own, on which this process answers the questions.
#include <fcntl.h>
#include <pty.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utmp.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "tests/allocations/cases.h"
#include "tests/failing_malloc/failing_malloc.h"
#include "tests/support/answers.h"
#include "tests/support/sample_session.h"

namespace {

constexpr unsigned hang_after = 60;
constexpr long enough_wrong = 5; // of one case: more of them tell nothing new

// What a child tells, in memory that it shares with this process.
struct Record {
    long at;       // the allocation that fails in the run under way
    long failures; // runs in which one failed and that were survived
    long wrong;    // runs after which something did not hold
    bool done;
    char complaint[1000];
    char usual[20000]; // what the case gives in a process of its own with nothing failing
};

void complain(Record *record, const std::string &what) {
    record->wrong++;
    if (record->complaint[0] == '\0')
        snprintf(record->complaint, sizeof record->complaint, "allocation %ld: %s", record->at, what.c_str());
}

// Runs the case with one allocation failing. False when it has no allocation of that number.
bool run_once(const Case &one, long at, bool for_good, Record *record, const std::string &usual) {
    record->at = at;
    alarm(hang_after);
    const int descriptors = cases_open_descriptors();
    const CaseRun run = one.run({at, for_good});
    if (run.refused == 0) return false;
    record->failures++;
    if (!run.wrong.empty()) complain(record, run.wrong);
    if (cases_open_descriptors() != descriptors) complain(record, "a descriptor stays open");
    if (one.apart) return true;
    const CaseRun plain = one.run({0, false});
    if (plain.output != usual) complain(record, "afterwards the script gives\n" + plain.output);
    return true;
}

void run_from(const Case &one, long at, long stride, bool for_good, Record *record) {
    std::string usual = record->usual;
    // The first run of a process fills what the client and the C library keep.
    for (int i = 0; i < (one.fresh ? 0 : 2); i++) usual = one.run({0, false}).output;
    while (run_once(one, at, for_good, record, usual) && !one.fresh) at += stride;
    record->done = !one.fresh || record->failures == 0;
}

std::string death(int status) {
    if (WIFSIGNALED(status)) return strsignal(WTERMSIG(status));
    return "exit status " + std::to_string(WEXITSTATUS(status));
}

// A child's part of the work. Returns how it ended.
int in_child(const std::function<void()> &body) {
    fflush(nullptr);
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        body();
        _exit(0);
    }
    answers_type(terminal);
    close(terminal);
    int status = 0;
    while (waitpid(child, &status, 0) < 0) continue;
    return status;
}

struct Total {
    long failures = 0, wrong = 0;
};

void sweep(const Case &one, long stride, bool for_good, Total &total) {
    auto *record =
        static_cast<Record *>(mmap(nullptr, sizeof(Record), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    if (one.fresh)
        in_child([&] { snprintf(record->usual, sizeof record->usual, "%s", one.run({0, false}).output.c_str()); });
    const std::string title = one.name + (for_good ? ", for good" : ", once");
    const long before = total.wrong;
    const long failures_before = total.failures;
    for (long at = 1; !record->done && total.wrong < before + enough_wrong; at = record->at + stride) {
        record->at = record->failures = record->wrong = 0;
        record->complaint[0] = '\0';
        const int status = in_child([&] { run_from(one, at, stride, for_good, record); });
        total.failures += record->failures;
        total.wrong += record->wrong;
        if (record->complaint[0] != '\0') printf("%s: %s\n", title.c_str(), record->complaint);
        if (status == 0) continue;
        total.wrong++;
        printf("%s: allocation %ld: %s\n", title.c_str(), record->at, death(status).c_str());
        if (record->at == 0) break;
    }
    if (total.failures == failures_before && total.wrong == before) {
        total.wrong++;
        printf("%s: no allocation could be made to fail\n", title.c_str());
    }
    munmap(record, sizeof *record);
}

struct Options {
    long stride = 1, at = 0;
    size_t share = 0, shares = 1;
    bool for_good = false;
    std::vector<std::string> names;
};

Options parse(int argc, char **argv) {
    Options options;
    for (int i = 1; i < argc; i++) {
        const std::string word = argv[i];
        if (word == "--stride" && i + 1 < argc)
            options.stride = atol(argv[++i]);
        else if (word == "--share" && i + 2 < argc) {
            options.share = strtoul(argv[++i], nullptr, 10);
            options.shares = strtoul(argv[++i], nullptr, 10);
        } else if (word == "--at" && i + 1 < argc)
            options.at = atol(argv[++i]);
        else if (word == "--for-good" || word == "--once")
            options.for_good = word == "--for-good";
        else
            options.names.push_back(word);
    }
    return options;
}

std::vector<Case> named(const std::vector<std::string> &names) {
    std::vector<Case> cases = cases_all();
    if (names.empty()) return cases;
    std::vector<Case> some;
    for (const Case &one : cases)
        for (const std::string &name : names)
            if (one.name == name) some.push_back(one);
    if (some.size() != names.size()) exit(64);
    return some;
}

std::vector<Case> chosen(const Options &options) {
    const std::vector<Case> cases = named(options.names);
    std::vector<Case> some;
    for (size_t i = options.share; i < cases.size(); i += options.shares) some.push_back(cases[i]);
    return some;
}

int run_here(const Case &one, const Options &options) {
    for (int i = 0; i < (one.fresh ? 0 : 2); i++) one.run({0, false});
    const CaseRun run = one.run({options.at, options.for_good});
    printf("%s\n%ld allocations, %ld refused\n", run.output.c_str(), run.allocations, run.refused);
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    const Options options = parse(argc, argv);
    const SampleFolder folder;
    const std::vector<Case> cases = chosen(options);
    if (options.at > 0) return run_here(cases.front(), options);
    Total total;
    for (const Case &one : cases) {
        const long before = total.failures;
        for (const bool for_good : {false, true}) sweep(one, options.stride, for_good, total);
        printf("%s: %ld failures\n", one.name.c_str(), total.failures - before);
        fflush(stdout);
    }
    if (total.wrong > 0) printf("%ld runs went wrong\n", total.wrong);
    printf("allocations: %ld failures in %zu scripts %s\n", total.failures, cases.size(),
           total.wrong == 0 ? "survived" : "not all survived");
    return total.wrong == 0 ? 0 : 1;
}
