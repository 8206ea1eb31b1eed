#include "tests/allocations/cases.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>

#include "platform/zk.h"
#include "qrtscript.h"
#include "script/conditions.h"
#include "tests/allocations/program_cases.h"
#include "tests/failing_malloc/failing_malloc.h"
#include "tests/support/sample_session.h"

namespace fs = std::filesystem;

namespace {

const fs::path scripts = SOURCE_DIR "/tests/scripts";
std::string home;
std::map<std::string, std::string> variables; // the environment at the start

// Nothing that an earlier run left may show in the next one: logins, connections, links, variables.
void forget_logins() {
    for (const char *tree : {"ACME", "LAB"}) {
        uint32_t context = 0;
        if (ZKDSCreateContextHandle(&context) != 0) continue;
        if (ZKDSSetContext(context, DCK_TREE_NAME, tree) == 0) ZKDSLogout(context);
        ZKDSFreeContext(context);
    }
    uint32_t at = 0, connection = 0;
    while (ZKCCScanConnInfo(&at, 0, nullptr, 0, ZK_OPEN_BY_NAME, 0, nullptr, &connection) == 0)
        while (ZKCCCloseConn(connection) == 0) continue;
}

void forget_rest() {
    fs::remove_all(home);
    fs::create_directories(home);
    clearenv();
    for (const auto &[name, value] : variables) setenv(name.c_str(), value.c_str(), 1);
    use_default_script = 1;
    debug_level = 0;
    bcntrlc = 0;
    condstate[0] = 0; // a stray ELSE reaches into the next script
    free(driveDir);
    driveDir = nullptr;
}

// The end of a session that writes to a caller's own stream closes descriptor 0.
void end_session() {
    const int input = dup(0);
    qrt_exit();
    dup2(input, 0);
    close(input);
}

FILE *new_output() {
    FILE *output = tmpfile();
    if (output == nullptr) abort();
    return output;
}

std::string taken(FILE *output) {
    std::string text;
    char block[4096];
    // The library and its children have written through the descriptor.
    for (ssize_t got = 0; (got = pread(fileno(output), block, sizeof block, static_cast<off_t>(text.size()))) > 0;)
        text.append(block, static_cast<size_t>(got));
    fclose(output);
    return text;
}

CaseRun run_script(const std::string &text, Failing failing) {
    forget_logins();
    forget_rest();
    FILE *output = new_output();
    const uint32_t handle = sample_log_in(output);
    char *object = qrt_Object();
    allocations_arm(failing.at, failing.for_good);
    const int result = parsescript_Run(text.c_str(), object, handle);
    const long refused = allocations_disarm();
    CaseRun run = {"", allocations_counted(), refused, ""};
    free(object);
    sample_log_out(ctx);
    end_session();
    fdr = nullptr;
    run.output = cases_without_greeting(taken(output)) + "[result " + std::to_string(result) + "]\n";
    return run;
}

std::string drained() {
    std::string text;
    char *line = nullptr;
    while (qrt_ReadResults(&line) == 0) {
        text += std::string(line) + "\n";
        free(line);
    }
    return text;
}

// What a login program does, all of it with the failing allocator: the login, the scripts, the output.
CaseRun run_login(Failing failing) {
    forget_rest();
    char tree[] = "ACME", user[] = "jdoe.sales.acme", password[] = "sunflower";
    char name[] = ".jdoe.sales.acme";
    QrtRunScriptsArgs args = {};
    args.treename = tree;
    args.user = user;
    args.password = password;
    uint32_t context = 0;
    CaseRun run = {};
    allocations_arm(failing.at, failing.for_good);
    ZKCallsInit(nullptr, nullptr);
    ZKDSCreateContextHandle(&context);
    ZKDSSetContext(context, DCK_TREE_NAME, tree);
    ZKDSLoginEx(context, name, 2, password);
    const bool started = qrt_init(nullptr, nullptr) == 0;
    uint32_t result = 0;
    if (started) result = qrt_RunScripts(&args);
    if (result > 1) qrt_exit();
    run.refused = allocations_disarm();
    run.allocations = allocations_counted();
    if (CurrentPassword != nullptr) {
        free(CurrentPassword);
        CurrentPassword = nullptr;
    }
    if (started) run.output = cases_without_greeting(drained());
    sample_close_pipe();
    if (!started && fd[0] > 0) {
        close(fd[0]);
        close(fd[1]);
    }
    ZKDSFreeContext(context);
    run.output += "[result " + std::to_string(result) + "]\n";
    return run;
}

CaseRun run_next_login(Failing failing) {
    forget_logins();
    return run_login(failing);
}

} // namespace

std::vector<Case> cases_all() {
    std::vector<Case> all = {{"login", true, run_login}, {"next_login", false, run_next_login}};
    const auto add = [&all](const std::string &name, const fs::path &path) {
        all.push_back(
            {name, false, [text = sample_read_file(path)](Failing failing) { return run_script(text, failing); }});
    };
    add("every_statement", SOURCE_DIR "/tests/allocations/every_statement.qrt");
    std::vector<fs::path> found;
    for (const auto &entry : fs::recursive_directory_iterator(scripts))
        // One prints the seconds: two runs of it differ.
        if (entry.path().extension() == ".qrt" && entry.path().stem() != "clock") found.push_back(entry.path());
    std::sort(found.begin(), found.end());
    for (const fs::path &path : found) add(path.parent_path().filename() / path.stem(), path);
    for (const Case &one : program_cases()) all.push_back(one);
    return all;
}

std::string cases_without_greeting(std::string text) {
    for (const std::string word : {"morning", "afternoon", "evening"})
        for (size_t at = text.find("Good " + word); at != text.npos; at = text.find("Good " + word))
            text.replace(at, 5 + word.size(), "Hello");
    return text;
}

int cases_open_descriptors() {
    DIR *folder = opendir("/proc/self/fd");
    int count = 0;
    while (readdir(folder) != nullptr) count++;
    closedir(folder);
    return count;
}

SampleFolder::SampleFolder() {
    std::string pattern = (fs::temp_directory_path() / "allocations-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) abort();
    path_ = pattern;
    sample_prepare(path_);
    sample_use_quick_passwords(fs::path(path_) / "tree");
    home = getenv("HOME");
    for (const char *name : {"HOME", "PATH", "LC_ALL", "ZKCLIENT_CONF"}) variables[name] = getenv(name);
}

SampleFolder::~SampleFolder() {
    fs::remove_all(path_);
}
