#include <sys/stat.h>
#include <unistd.h>
#include <filesystem>

#include "tests/support/site.h"

namespace {

class ProgramStart : public Site {
  protected:
    // Runs a shell's lines with the program as "$0".
    Outcome shell(const std::string &lines, const std::string &program, const Words &words = {}) {
        Words all = {"/bin/sh", "-c", lines, program};
        all.insert(all.end(), words.begin(), words.end());
        return process_run(all, environment, "secret\n");
    }
};

} // namespace

// The configuration is the first file that they open; as a pipe it delays them there.
TEST_F(ProgramStart, ClosedStandardDescriptorsAreOpenedOnDevNull) {
    environment["CONFIGURATION"] = environment["ZKCLIENT_CONF"];
    environment["ZKCLIENT_CONF"] = site.path("pipe");
    const struct {
        std::string program;
        Words words;
        int status; // the login's output cannot be written
    } rows[] = {{MAP_PATH, {"H:=.APPS.sales.acme:bin"}, 1},
                {QRTLOGIN_PATH, {"--password-fd", "3", "jdoe.sales.acme"}, 74}};
    for (const auto &row : rows) {
        ASSERT_EQ(mkfifo(site.path("pipe").c_str(), 0600), 0);
        Outcome outcome = shell(
            "\"$0\" \"$@\" 0<&- 1>&- 2>&- &\n"
            "exec 5>\"$ZKCLIENT_CONF\"\n"
            "readlink /proc/$!/fd/0 /proc/$!/fd/1 /proc/$!/fd/2\n"
            "cat \"$CONFIGURATION\" >&5\n"
            "exec 5>&-\n"
            "wait $!\n",
            row.program, row.words);
        EXPECT_EQ(outcome.out, "/dev/null\n/dev/null\n/dev/null\n") << row.program;
        EXPECT_EQ(outcome.status, row.status) << row.program;
        unlink(site.path("pipe").c_str());
    }
    EXPECT_EQ(link("H"), below("SRV2/DATA/apps/bin"));
}

TEST_F(ProgramStart, TheCommandMayBeEndedByAFileThatMayNotGrow) {
    Outcome outcome = process_run(
        {QRTLOGIN_PATH, "--password-fd", "3", "jdoe.sales.acme", "--", "/bin/grep", "SigIgn", "/proc/self/status"},
        environment, "secret\n");
    EXPECT_THAT(outcome.out, testing::EndsWith("SigIgn:\t0000000000000000\n"));
}

TEST_F(ProgramStart, OutputOfMapThatCannotBeWrittenIsAFailure) {
    for (const char *words : {"", "--help", "H:=.APPS.sales.acme:bin"}) {
        Outcome outcome = shell(std::string("\"$0\" ") + words + " >/dev/full", MAP_PATH);
        EXPECT_EQ(outcome.status, 1) << words;
        EXPECT_EQ(outcome.err, "map: cannot write the output: No space left on device\n") << words;
    }
}

TEST_F(ProgramStart, AfterAPasswordOnDescriptor0ItIsDevNull) {
    userScript("#/bin/readlink /proc/self/fd/0\n");
    Outcome outcome = shell("exec \"$0\" --password-fd 0 jdoe.sales.acme <&3", QRTLOGIN_PATH);
    EXPECT_EQ(outcome.out, login_head + "/dev/null\n");
    outcome = shell("exec \"$0\" --password-fd 0 jdoe.sales.acme -- /bin/readlink /proc/self/fd/0 <&3", QRTLOGIN_PATH);
    EXPECT_EQ(outcome.out, login_head + "/dev/null\n/dev/null\n");
}

TEST_F(ProgramStart, NeitherRunsWithADescriptorThatStaysClosed) {
    const std::string without = "mount -t tmpfs dev /dev && exec ";
    environment["PATH"] += ":/usr/sbin:/sbin";
    if (process_run({"/usr/bin/unshare", "-m", "/bin/sh", "-c", without + "true"}, environment).status != 0)
        GTEST_SKIP() << "no private mount namespace here";
    const struct {
        const char *name;
        std::string path;
        int refused;
    } rows[] = {{"map", MAP_PATH, 1}, {"qrtlogin", QRTLOGIN_PATH, 64}};
    for (const auto &row : rows) {
        const Outcome outcome = process_run(
            {"/usr/bin/unshare", "-m", "/bin/sh", "-c", without + "\"$0\" --help 0<&-", row.path}, environment);
        EXPECT_EQ(outcome, (Outcome{row.refused, "",
                                    std::string(row.name) + ": cannot open /dev/null: No such file or directory\n"}));
    }
}

// Such a program finds its libraries in the loader's cache or not at all, so they are put there in a mount namespace.
TEST_F(ProgramStart, NeitherRunsWithRightsThatItsCallerDoesNotHave) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can make a program of another group's";
    const std::string cached =
        "ldconfig -X -C \"$CACHE\" \"$LIBRARIES\" 2>/dev/null; "
        "mount --bind \"$CACHE\" /etc/ld.so.cache && exec ";
    environment["CACHE"] = site.path("ld.so.cache");
    environment["LIBRARIES"] = BINARY_DIR;
    environment["PATH"] += ":/usr/sbin:/sbin";
    if (process_run({"/usr/bin/unshare", "-m", "/bin/sh", "-c", cached + "true"}, environment).status != 0)
        GTEST_SKIP() << "no private mount namespace here";
    const struct {
        const char *name;
        std::string path;
        int refused;
    } rows[] = {{"map", MAP_PATH, 1}, {"qrtlogin", QRTLOGIN_PATH, 64}};
    for (const auto &row : rows) {
        const std::string copy = site.path(row.name);
        std::filesystem::copy_file(row.path, copy);
        const auto run = [&] {
            return process_run({"/usr/bin/unshare", "-m", "/bin/sh", "-c", cached + "\"$0\" --help", copy},
                               environment);
        };
        EXPECT_EQ(run().status, 0) << "as a common program";
        ASSERT_EQ(chown(copy.c_str(), 0, 65534), 0);
        ASSERT_EQ(chmod(copy.c_str(), 02755), 0);
        EXPECT_EQ(run(),
                  (Outcome{row.refused, "",
                           std::string(row.name) +
                               ": does not run with the rights of another user or group, or with capabilities of "
                               "its own\n"}));
    }
}
