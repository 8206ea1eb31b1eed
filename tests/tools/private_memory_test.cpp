// While it has a password, qrtlogin's memory is out of reach for other programs of the user, those of its scripts
// first of all; for them, and for the command, everything is as usual.
#include <sys/resource.h>
#include <unistd.h>

#include "tests/support/site.h"

namespace {

using testing::HasSubstr;

// Prints which memory and environment can be opened: the login's, and those of a program that is like any other.
const char spy[] =
    "look() { for file in mem maps environ; do ( : <\"/proc/$2/$file\" ) 2>/dev/null && echo \"$1 $file\"; done; }\n"
    "look login $PPID\n"
    "look own $$\n";
const char own_alone[] = "own mem\nown maps\nown environ\n";
// The soft limit for core files, in the shell's blocks: the login's (0 is the same in bytes) and that of the program.
const char limits[] =
    "set -- $(grep '^Max core file size' /proc/$PPID/limits)\n"
    "echo \"login $5, own $(ulimit -S -c)\"\n";

class PrivateMemory : public Site {
  protected:
    PrivateMemory() {
        // Which would set the limit itself.
        environment["ASAN_OPTIONS"] += ":disable_coredump=0";
        program("spy", spy);
        program("limits", limits);
    }
    // A login without root's right to look into every process, behind a shell's commands.
    Outcome commonLogin(const std::string &before, const Words &more = {}) {
        Words words = {"/bin/sh", "-c", before + "exec \"$@\"", "sh"};
        if (geteuid() == 0) words.insert(words.end(), {"/usr/bin/setpriv", "--inh-caps=-all", "--bounding-set=-all"});
        words.insert(words.end(), {QRTLOGIN_PATH, "--password-fd", "3", "jdoe.sales.acme"});
        words.insert(words.end(), more.begin(), more.end());
        return process_run(words, environment, "secret\n");
    }
    static bool coresAreForbidden() {
        rlimit limit = {};
        return getrlimit(RLIMIT_CORE, &limit) == 0 && limit.rlim_max < 8 * 512;
    }
};

} // namespace

TEST_F(PrivateMemory, IsOutOfReachForTheProgramsOfScripts) {
    userScript(running("spy"));
    EXPECT_EQ(commonLogin("").out, login_head + own_alone);
}

TEST_F(PrivateMemory, IsNotTheCommands) {
    const Outcome outcome = commonLogin("", {"--", site.path("spy")});
    EXPECT_THAT(outcome.out, HasSubstr(own_alone)) << outcome.err;
}

TEST_F(PrivateMemory, GetsIntoNoCoreFileAndThatOfAProgramDoes) {
    if (coresAreForbidden()) GTEST_SKIP() << "the limit for core files cannot be raised here";
    userScript(running("limits"));
    EXPECT_EQ(commonLogin("ulimit -S -c 8\n", {"--", "/bin/sh", "-c", "ulimit -S -c"}).out,
              login_head + "login 0, own 8\n8\n");
}

TEST_F(PrivateMemory, GetsIntoNoCoreFileFromTheQuestionOn) {
    if (coresAreForbidden()) GTEST_SKIP() << "the limit for core files cannot be raised here";
    TerminalProcess process(
        {"/bin/sh", "-c", "ulimit -S -c 8\nexec \"$@\"", "sh", QRTLOGIN_PATH, "--user", "jdoe.sales.acme"},
        environment);
    ASSERT_TRUE(process.awaits("Password for"));
    const std::string all = file_text("/proc/" + std::to_string(process.id()) + "/limits");
    EXPECT_THAT(all, testing::ContainsRegex("Max core file size +0 "));
}
