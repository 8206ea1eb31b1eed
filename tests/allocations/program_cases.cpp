#include "tests/allocations/program_cases.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/sample_session.h"

namespace fs = std::filesystem;

namespace {

using Words = std::vector<std::string>;

// Where a run leaves what it has to tell, beside the home directory.
fs::path beside_home(const char *suffix) {
    return std::string(getenv("HOME")) + suffix;
}

void open_as(int descriptor, const fs::path &path, int flags) {
    const int opened = open(path.c_str(), flags, 0600);
    if (opened < 0 || dup2(opened, descriptor) < 0) _exit(125);
    if (opened != descriptor) close(opened);
}

[[noreturn]] void become(Words words, Failing failing) {
    prctl(PR_SET_PDEATHSIG, SIGKILL); // one that hangs is not left behind
    open_as(STDIN_FILENO, "/dev/null", O_RDONLY);
    open_as(STDOUT_FILENO, beside_home(".output"), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND);
    dup2(STDOUT_FILENO, STDERR_FILENO);
    open_as(3, beside_home(".password"), O_RDONLY);
    if (failing.at > 0) {
        setenv("LD_PRELOAD", beside_home(".failing_malloc.so").c_str(), 1);
        setenv("FAILING_MALLOC_AT", std::to_string(failing.at).c_str(), 1);
        setenv("FAILING_MALLOC_MARK", beside_home(".mark").c_str(), 1);
        if (failing.for_good) setenv("FAILING_MALLOC_FOR_GOOD", "1", 1);
    }
    std::vector<char *> arguments;
    for (std::string &word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    execv(arguments[0], arguments.data());
    _exit(125);
}

int ended(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) continue;
    if (!WIFSIGNALED(status)) return WEXITSTATUS(status);
    signal(WTERMSIG(status), SIG_DFL);
    raise(WTERMSIG(status));
    abort();
}

CaseRun run_program(const Words &words, Failing failing) {
    fs::remove_all(getenv("HOME"));
    fs::create_directories(getenv("HOME"));
    fs::remove(beside_home(".mark"));
    std::ofstream(beside_home(".password")) << "sunflower\n";
    const pid_t child = fork();
    if (child == 0) become(words, failing);
    const int status = ended(child);
    CaseRun run = {};
    run.output = cases_without_greeting(sample_read_file(beside_home(".output")));
    run.refused = fs::exists(beside_home(".mark")) ? 1 : 0;
    if (status != 0 && failing.at == 0) abort(); // not even a plain run works
    if (status != 0 && run.output.empty()) run.wrong = "it fails without a word";
    run.output += "[status " + std::to_string(status) + "]\n";
    return run;
}

// More than a pipe holds: whoever stops reading holds the scripts up.
std::string flooding_script() {
    const fs::path path = beside_home(".flood.qrt");
    std::ofstream script(path);
    for (int line = 0; line < 70; line++)
        script << "WRITE \"" << std::string(1000, static_cast<char>('a' + line % 26)) << "\"\n";
    return path;
}

Words login_with(const Words &options) {
    Words words = {QRTLOGIN_PATH, "--password-fd", "3", "jdoe.sales.acme"};
    words.insert(words.end(), options.begin(), options.end());
    return words;
}

// The sample tree with a site's folder beside it.
fs::path site_configuration() {
    const fs::path place = beside_home(".site"), sample = SOURCE_DIR "/examples/acme";
    const auto write = [&](const char *name, const std::string &text) {
        fs::create_directories((place / name).parent_path());
        std::ofstream(place / name) << text;
    };
    umask(022);
    write("client.toml",
          "[[tree]]\nname = \"ACME\"\nldif = \"" + (sample / "acme.ldif").string() + "\"\nscripts = \"scripts\"\n");
    write("scripts/site.toml", "version = 1\n");
    write("scripts/acme/sales/_container.qrt", "WRITE \"sales: %FULL_NAME\"\nMAP I:=FS1/HOME:x\n");
    write("scripts/acme/sales/jdoe.qrt", "WRITE \"jdoe\"\n");
    write("scripts/site.ldif",
          "dn: cn=jdoe,ou=sales,o=acme\ndisplayName: Jane\n\ndn: cn=FS1,o=acme\n"
          "objectClass: qrtServer\n\ndn: cn=FS1_HOME,o=acme\nobjectClass: qrtVolume\n"
          "qrtHostServer: cn=FS1,o=acme\nqrtHostResourceName: HOME\n");
    return place / "client.toml";
}

CaseRun run_at_site(const Words &words, const std::string &configuration, Failing failing) {
    const std::string before = getenv("ZKCLIENT_CONF");
    setenv("ZKCLIENT_CONF", configuration.c_str(), 1);
    CaseRun run = run_program(words, failing);
    setenv("ZKCLIENT_CONF", before.c_str(), 1);
    return run;
}

} // namespace

std::vector<Case> program_cases() {
    // What is preloaded must have a name without blanks.
    fs::create_symlink(FAILING_MALLOC_PATH, beside_home(".failing_malloc.so"));
    const auto of = [](const char *name, const Words &words) {
        return Case{name, false, [words](Failing failing) { return run_program(words, failing); }, true};
    };
    const Case site{"qrtlogin_site", false,
                    [configuration = site_configuration()](Failing failing) {
                        return run_at_site(login_with({}), configuration, failing);
                    },
                    true};
    return {site,
            of("qrtlogin", login_with({})),
            of("qrtlogin_flood", login_with({"--login-script", flooding_script()})),
            of("qrtlogin_environment", login_with({"--print-environment"})),
            of("map", {MAP_PATH, "H:=SRV1/USERS:home/jdoe, INS S1:=.APPS.acme:bin, DEL H:"}),
            of("map_list", {MAP_PATH}),
            of("plan", {QRTSCRIPT_PLAN_PATH, "plan", "--user", "jdoe.sales.acme"})};
}
