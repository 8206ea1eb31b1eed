// What a script can take of the machine: memory, and the room that programs have for the environment.
#include <sstream>

#include "tests/support/site.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

class LimitsTest : public Site {
  protected:
    LimitsTest() { program("limits", "sed -n 's/^Max data size *//p' /proc/$PPID/limits /proc/$$/limits\n"); }
    // A thousand characters, doubled so many times.
    static std::string grown(const std::string &name, int times) {
        std::string script = "SET " + name + "=\"" + std::string(1000, 'x') + "\"\n";
        while (times-- > 0) script += "SET " + name + "=\"%<" + name + ">%<" + name + ">\"\n";
        return script;
    }
    Outcome loginWithin(const std::string &kilobytes) const {
        return process_run({"/bin/sh", "-c", "ulimit -Sd " + kilobytes + "; exec \"$@\"", "sh", QRTLOGIN_PATH, "--user",
                            "jdoe.sales.acme", "--password-fd", "3"},
                           environment, "secret\n");
    }
    static long soft(const std::string &line) { return std::stol(line); }
};

const char big_is_too_long[] =
    "qrtlogin: warning: no program can be started: the variable BIG is too long (256004 bytes with its name, the limit "
    "is 131071)\n";

} // namespace

TEST_F(LimitsTest, MemoryIsLimitedForTheScriptsAndNotForPrograms) {
    userScript("#" + site.path("limits") + "\n");
    const std::string lines =
        login({"--", "sh", "-c", "sed -n 's/^Max data size *//p' /proc/$$/limits"}).out.substr(login_head.size());
    EXPECT_GT(soft(lines), 1L << 30);
    const std::string program = lines.substr(lines.find('\n') + 1), command = program.substr(program.find('\n') + 1);
    EXPECT_THAT(program, StartsWith("unlimited"));
    EXPECT_THAT(command, StartsWith("unlimited"));
}

// In less memory than it would be allowed; the sanitizers would need more.
#ifndef QRT_SANITIZED
TEST_F(LimitsTest, AnEarlierLowerLimitStays) {
    userScript("#" + site.path("limits") + "\n");
    std::istringstream lines(loginWithin("200000").out.substr(login_head.size()));
    for (const char *whose : {"the scripts'", "their programs'"}) {
        std::string line;
        std::getline(lines, line);
        EXPECT_EQ(soft(line), 204800000) << whose;
    }
}

TEST_F(LimitsTest, AScriptThatEatsMemoryEndsWithAMessage) {
    userScript(grown("A", 10) + "AGAIN:\nSET A=\"%<A>%<A>\"\nGOTO AGAIN\n");
    const Outcome outcome = loginWithin("300000");
    EXPECT_EQ(outcome.status, 1) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("memory exhausted"));
}
#endif

TEST_F(LimitsTest, AVariableThatNoProgramCanHaveIsReportedOnce) {
    userScript(grown("BIG", 8) + "#true\n#true\n@true\n");
    const Outcome outcome = login();
    EXPECT_EQ(outcome.err, big_is_too_long);
    EXPECT_EQ(outcome.status, 0);
}

TEST_F(LimitsTest, NothingIsSaidOfAVariableThatFits) {
    userScript(grown("BIG", 7) + "#true\n");
    EXPECT_EQ(login({"--print-environment"}).err, login_head);
}

TEST_F(LimitsTest, AVariableThatTheCommandCannotHaveIsReported) {
    userScript(grown("BIG", 8));
    const Outcome outcome = login({"--", "true"});
    EXPECT_EQ(outcome.err, std::string(big_is_too_long) + "qrtlogin: cannot run true: Argument list too long\n");
    EXPECT_EQ(outcome.status, 126);
    EXPECT_EQ(login({"--print-environment"}).err, login_head + std::string(big_is_too_long));
    EXPECT_EQ(login().err, "");
}

TEST_F(LimitsTest, AnEnvironmentThatIsTooLargeInAllIsReported) {
    std::string script = grown("LONGEST", 6);
    for (int number = 0; number < 200; ++number)
        script += "SET V" + std::to_string(number) + "=\"" + std::string(50000, 'x') + "\"\n";
    userScript(script + "#true\n");
    const std::string error = login().err;
    EXPECT_THAT(error, StartsWith("qrtlogin: warning: no program can be started: the environment is too large ("));
    EXPECT_THAT(error, HasSubstr("; its longest variable is LONGEST\n"));
}
