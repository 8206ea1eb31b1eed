// The command `qrtscript` itself: how it finds what does a subcommand.
#include "tests/qrtscript/check_fixture.h"
#include "tools/qrtscript/subcommands.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;
using Command = CheckFixture;

} // namespace

TEST_F(Command, HelpsWithASubcommand) {
    EXPECT_THAT(qrtscript({"help"}).out, StartsWith("Usage: qrtscript SUBCOMMAND"));
    const Outcome outcome = qrtscript({"help", "check"});
    EXPECT_EQ(outcome, qrtscript({"check", "--help"}));
    EXPECT_THAT(outcome.out, HasSubstr("--write-baseline"));
    EXPECT_EQ(qrtscript({"help", "chek"}),
              (Outcome{2, "", "qrtscript: no such subcommand: chek; did you mean check?\n"}));
}

TEST_F(Command, SuggestsTheNearestSubcommand) {
    EXPECT_EQ(qrtscript({"chek"}), (Outcome{2, "", "qrtscript: no such subcommand: chek; did you mean check?\n"}));
    const Outcome outcome = qrtscript({"\x1b"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, StartsWith("qrtscript: no such subcommand: \\x1B\nUsage: "));
}

TEST_F(Command, EachSubcommandTellsTheVersion) {
    const std::string version = " (libqrtscript) " PROJECT_VERSION "\n";
    EXPECT_EQ(qrtscript({"--version"}), (Outcome{0, "qrtscript" + version, ""}));
    for (const Subcommand &one : subcommands)
        EXPECT_EQ(qrtscript({one.name, "--version"}), (Outcome{0, std::string("qrtscript ") + one.name + version, ""}));
    for (const std::string program : {"qrtlogin", "map", "qrt-automount"})
        EXPECT_EQ(process_run({BINARY_DIR "/" + program, "--version"}, environment),
                  (Outcome{0, program + version, ""}));
}
