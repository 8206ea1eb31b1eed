// Script runs and whole logins on the sample tree in one process for as long as one likes: the resident memory and the
// open descriptors at the end are no more than after the first tenth.
//
//     soak SCRIPT_RUNS LOGINS
//
// Programs are started in one run out of fifty, everything else in each: conditions, includes, substitution, mistakes,
// drives and files on the servers, questions that a person on the terminal answers, logins to another tree.
//
// What has to grow by contract is left out here:
//  - what a prompt handed to ATTACH is wiped and never freed, so that no server asks;
//  - a refused login to a tree, a logout through TREE and an ATTACH that has to authenticate keep their context's
//  handle,
//    so that each answer is right and the logouts are this program's own;
//  - the pipe's stream, and its read end, belong to the caller of qrt_init(null, null), who closes them like qrtlogin.
#include <dirent.h>
#include <fcntl.h>
#include <malloc.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "platform/zk.h"
#include "qrtscript.h"
#include "tests/support/answers.h"
#include "tests/support/sample_session.h"

namespace fs = std::filesystem;

namespace {

constexpr long programs_every = 50;
constexpr int rounds = 10;

struct Use {
    long resident_kib;
    size_t heap; // bytes in use
    int descriptors;
};

Use use_now() {
    malloc_trim(0); // what is free but touched is nobody's, and how much there is depends on chance
    long pages = 0;
    FILE *statm = fopen("/proc/self/statm", "re");
    if (statm == nullptr || fscanf(statm, "%*d %ld", &pages) != 1) abort();
    fclose(statm);
    int descriptors = 0;
    DIR *folder = opendir("/proc/self/fd");
    while (readdir(folder) != nullptr) descriptors++;
    closedir(folder);
    return {pages * sysconf(_SC_PAGESIZE) / 1024, mallinfo2().uordblks, descriptors};
}

// ---- scripts: one session that stays open ----

struct Session {
    FILE *output = nullptr;
    uint32_t handle = 0;
    std::vector<std::string> scripts;
    std::string programs, questions;
};

std::vector<std::string> golden_scripts() {
    std::vector<fs::path> found;
    for (const char *topic : {"compatibility", "conditions", "environment", "errors", "flow", "include", "write"})
        for (const auto &entry : fs::directory_iterator(fs::path(SOURCE_DIR "/tests/scripts") / topic))
            if (entry.path().extension() == ".qrt") found.push_back(entry.path());
    std::sort(found.begin(), found.end());
    std::vector<std::string> texts;
    for (const fs::path &path : found) texts.push_back(sample_read_file(path));
    return texts;
}

void log_out_of(const char *tree) {
    uint32_t context = 0;
    if (ZKDSCreateContextHandle(&context) != 0) abort();
    if (ZKDSSetContext(context, DCK_TREE_NAME, tree) == 0) ZKDSLogout(context);
    ZKDSFreeContext(context);
}

void run(Session &session, const std::string &text) {
    char *object = qrt_Object();
    parsescript_Run(text.c_str(), object, session.handle);
    free(object);
    session.handle = ctx;
}

// The tree's login has to ask: there is no password to try first. Back in the first tree the session stays on the other
// one's context, as it has to; the next script is to start afresh.
void ask(Session &session) {
    char *password = CurrentPassword;
    CurrentPassword = nullptr;
    g_useGUI = 1;
    run(session, session.questions);
    g_useGUI = 0;
    CurrentPassword = password;
    log_out_of("LAB");
    ZKDSFreeContext(session.handle);
    if (qrt_Getctx("ACME", &session.handle) != 0) abort();
    if (CurrentTree == nullptr || strcmp(CurrentTree, "ACME") != 0) abort();
}

void forget_output(Session &session) {
    fflush(session.output);
    if (ftruncate(fileno(session.output), 0) != 0) abort();
    rewind(session.output);
}

void run_scripts(Session &session, long from, long count) {
    char context[] = ".sales.acme";
    for (long i = from; i < from + count; i++) {
        if (i % programs_every == 0) run(session, session.programs);
        const size_t kinds = session.scripts.size() + 1;
        const size_t kind = static_cast<size_t>(i) % kinds;
        kind == 0 ? ask(session) : run(session, session.scripts[kind - 1]);
        qrt_SetCurrentContext(context);
        if (i % 100 == 0) forget_output(session);
    }
}

// ---- whole logins ----

// The output of such a login is far smaller than the pipe: it can be read afterwards.
size_t read_output() {
    size_t read = 0;
    char *line = nullptr;
    while (qrt_ReadResults(&line) == 0) {
        read += strlen(line);
        free(line);
    }
    return read;
}

void log_in(bool programs) {
    char tree[] = "ACME", user[] = "jdoe.sales.acme", password[] = "sunflower", name[] = ".jdoe.sales.acme";
    char yes[] = "yes";
    QrtRunScriptsArgs args = {};
    args.treename = tree;
    args.user = user;
    args.password = password;
    args.userVar5 = programs ? yes : nullptr;
    uint32_t context = 0;
    if (ZKDSCreateContextHandle(&context) != 0 || ZKDSSetContext(context, DCK_TREE_NAME, tree) != 0) abort();
    if (ZKDSLoginEx(context, name, 2, password) != 0) abort();
    if (qrt_init(nullptr, nullptr) != 0) abort();
    if (qrt_RunScripts(&args) != 0 || read_output() < 100) abort();
    sample_close_pipe();
    ZKDSLogout(context);
    ZKDSFreeContext(context);
}

void run_logins(long from, long count) {
    for (long i = from; i < from + count; i++) log_in(i % programs_every == 0);
}

// ---- the whole ----

// Programs only where %5 says so.
void make_programs_optional(const fs::path &folder) {
    for (const auto &entry : fs::directory_iterator(folder)) {
        std::ifstream script(entry.path());
        std::string text;
        for (std::string line; std::getline(script, line);) {
            const size_t start = line.find_first_not_of(' ');
            const bool program = start != line.npos && (line.compare(start, 3, "MAP") == 0 || line[start] == '#');
            text += (program ? "IF \"%5\" = \"yes\" THEN " : "") + line + "\n";
        }
        std::ofstream(entry.path()) << text;
    }
}

// A session of its own for each round's scripts, since a login ends the session. `first_script` and `first_login` say
// which they are.
void run_round(long first_script, long scripts, long first_login, long logins) {
    Session session;
    session.output = tmpfile();
    if (session.output == nullptr) abort();
    session.scripts = golden_scripts();
    session.programs = sample_read_file(SOURCE_DIR "/tests/soak/programs.qrt");
    session.questions = sample_read_file(SOURCE_DIR "/tests/soak/drives_and_prompts.qrt");
    session.handle = sample_log_in(session.output);
    if (session.handle == 0) abort();
    run_scripts(session, first_script, scripts);
    sample_log_out(session.handle);
    // With a stream of the caller's own the end of the session closes descriptor 0.
    const int input = dup(0);
    qrt_exit();
    dup2(input, 0);
    close(input);
    fclose(session.output);
    fdr = nullptr;
    run_logins(first_login, logins);
}

int soak(int report, long scripts, long logins) {
    // Each kind of run some times, so that what is kept from the first ones is there; and some rounds, since what a
    // round itself holds lies elsewhere in its first ones.
    for (int round = 0; round < 4; round++) run_round(0, 200, 0, 10);
    // Looking and telling take memory too.
    dprintf(report, "before: %ld KiB\n", use_now().resident_kib);
    Use first = {};
    Use last = {};
    // A page more or less depends on which scripts a round ends with: what grows is more in all of the last rounds.
    long most_before = 0, least_after = LONG_MAX;
    for (int round = 0; round < rounds; round++) {
        run_round(round * (scripts / rounds), scripts / rounds, round * (logins / rounds), logins / rounds);
        last = use_now();
        if (round == 0) first = last;
        if (round < rounds / 2)
            most_before = std::max(most_before, last.resident_kib);
        else
            least_after = std::min(least_after, last.resident_kib);
        dprintf(report, "after %ld scripts and %ld logins: %ld KiB, %zu bytes of heap, %d descriptors\n",
                (round + 1) * (scripts / rounds), (round + 1) * (logins / rounds), last.resident_kib, last.heap,
                last.descriptors);
    }
    const bool grown = least_after > most_before || last.heap > first.heap || last.descriptors > first.descriptors;
    dprintf(report,
            "soak: %ld script runs, %ld logins, %ld KiB (%zu bytes of heap) and %d descriptors after a tenth, "
            "%ld KiB (%zu) and %d at the end: %s\n",
            scripts, logins, first.resident_kib, first.heap, first.descriptors, last.resident_kib, last.heap,
            last.descriptors, grown ? "grown" : "no growth");
    return grown ? 1 : 0;
}

// Free blocks in the allocator's caches for each thread count as used, and hold pages.
void begin_without_caches(char **argv) {
    if (getenv("GLIBC_TUNABLES") != nullptr) return;
    setenv("GLIBC_TUNABLES", "glibc.malloc.tcache_count=0", 1);
    execv("/proc/self/exe", argv);
    abort();
}

} // namespace

int main(int argc, char **argv) {
    begin_without_caches(argv);
    const bool given = argc == 3;
    const long scripts = given ? atol(argv[1]) : 0, logins = given ? atol(argv[2]) : 0;
    if (scripts < rounds || logins < rounds) return 64;
    std::string pattern = (fs::temp_directory_path() / "soak-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) return 1;
    const fs::path folder = pattern;
    sample_prepare(folder);
    sample_use_quick_passwords(folder / "tree");
    make_programs_optional(folder / "tree" / "scripts");
    const int report = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 10);
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) _exit(soak(report, scripts, logins));
    answers_type(terminal);
    int status = 0;
    waitpid(child, &status, 0);
    fs::remove_all(folder);
    if (!WIFEXITED(status)) dprintf(report, "soak: ended by signal %d\n", WTERMSIG(status));
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
