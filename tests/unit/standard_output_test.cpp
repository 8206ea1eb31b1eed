// What the library writes to the process's own standard output reaches a reader of a pipe at once: it would otherwise
// come behind the output of children, or be lost when the process ends without a flush.
#include <fcntl.h>
#include <sys/wait.h>

#include "base/words.h"
#include "commands/drive.h"
#include "tests/unit/session_fixture.h"
#include "tests/unit/standard_streams.h"

namespace {

class StandardOutputTest : public SessionTest {
  protected:
    // What has come out of the pipe when `action` is over.
    static std::string written_at_once(const std::function<void()> &action) {
        int ends[2];
        if (pipe2(ends, O_NONBLOCK | O_CLOEXEC) != 0) return "no pipe";
        fflush(stdout);
        setvbuf(stdout, nullptr, _IOFBF, BUFSIZ); // as for a pipe, whatever the test's own output is
        const int before = dup(STDOUT_FILENO);
        dup2(ends[1], STDOUT_FILENO);
        action();
        char seen[512] = "";
        const ssize_t length = read(ends[0], seen, sizeof seen);
        fflush(stdout);
        dup2(before, STDOUT_FILENO);
        for (int descriptor : {before, ends[0], ends[1]}) close(descriptor);
        return std::string(seen, length > 0 ? static_cast<size_t>(length) : 0);
    }
};

} // namespace

TEST_F(StandardOutputTest, ANullIsReportedAtOnce) {
    EXPECT_EQ(written_at_once([] { getQuote(nullptr); }), "ERROR, called getQuote(NULL)\n");
    EXPECT_EQ(written_at_once([] { prescanForQuotedStrings(nullptr); }),
              "ERROR, called prescanForQuotedStrings(NULL)\n");
}

TEST_F(StandardOutputTest, AnUnsetVariableIsReportedAtOnce) {
    folder_.file("config/map.conf", "Map_Link_Default_Location=%STANDARD_OUTPUT_TEST\n");
    EXPECT_EQ(written_at_once([] {
                  char *link = nullptr, *second = nullptr;
                  util_map_location("G", nullptr, &link, &second);
                  const OwnedText ownedLink(link), ownedSecond(second);
              }),
              "Invalid environment variable(%STANDARD_OUTPUT_TEST)\n");
}

TEST_F(StandardOutputTest, AMissingVolumeIsReportedAtOnce) {
    EXPECT_EQ(written_at_once([] {
                  char server[49], volume[514], path[514];
                  orbispec("vol1.acme", server, volume, path);
              }),
              "Unable to find volume object vol1.acme in tree: \n");
}

TEST_F(StandardOutputTest, ATraceIsWrittenAtOnce) {
    EXPECT_THAT(written_at_once([] {
                    debug_level = 9;
                    qrt_GetTreeName("ACME_TREE");
                    debug_level = 0;
                }),
                HasSubstr("qrt_GetTreeName(ACME_TREE)\n"));
}

TEST_F(StandardOutputTest, AStartThatFailsIsReportedAtOnce) {
    EXPECT_EQ(written_at_once([] {
                  const pid_t child = fork();
                  if (child == 0) {
                      allow_standard_descriptors_only();
                      qrt_init(nullptr, nullptr);
                      _exit(0);
                  }
                  waitpid(child, nullptr, 0);
              }),
              "Error initializing qrt Invalid argument\n");
}

TEST_F(StandardOutputTest, TheEndWritesWhatTheCallerHasLeft) {
    EXPECT_EQ(written_at_once([] {
                  fputs("the caller's", stdout);
                  qrt_exit();
                  keep_standard_input();
              }),
              "the caller's");
}
