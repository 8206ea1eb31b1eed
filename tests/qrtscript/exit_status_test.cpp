// How `qrtscript check` ends, and what it does when a script cannot be read.
#include <sys/stat.h>
#include <unistd.h>

#include "tests/qrtscript/check_fixture.h"

namespace {

using testing::HasSubstr;
using CheckExitStatus = CheckFixture;

} // namespace

TEST_F(CheckExitStatus, TellsWhatWasFound) {
    folder.write("clean.qrt", "WRITE \"x\"\n");
    folder.write("error.qrt", "FOO 1\n");
    folder.write("warning.qrt", "GOTO NOWHERE\n");
    const struct {
        Words words;
        int status;
    } rows[] = {
        {{"clean.qrt"}, 0},
        {{"error.qrt"}, 1},
        {{"warning.qrt"}, 1},
        {{"--severity=warning", "warning.qrt"}, 1},
        {{"--severity=error", "warning.qrt"}, 0},
        {{"--severity=error", "warning.qrt", "error.qrt"}, 1},
        {{"none.qrt"}, 2},
        {{"error.qrt", "none.qrt"}, 2},
        {{}, 2},
        {{"--severity=worst", "clean.qrt"}, 2},
        {{"--nonsense", "clean.qrt"}, 2},
        {{"--help"}, 0},
    };
    for (const auto &row : rows) EXPECT_EQ(check(row.words).status, row.status) << testing::PrintToString(row.words);
}
