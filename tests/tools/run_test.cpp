#include "tools/qrtlogin/run.h"

#include <cstdlib>
#include <cstring>

#include "include/qrtscript.h"
#include "tests/support/own_process.h"
#include "tests/support/site.h"
#include "tools/qrtlogin/failure.h"

namespace {

class RunTest : public Site {
  protected:
    // Runs the scripts in a process of their own, so that neither the library's state nor the client's is shared.
    // `body` gets what the call needs.
    template <typename Body>
    Outcome inProcess(Body body) {
        Outcome outcome;
        TerminalProcess process([&] {
            setenv("ZKCLIENT_CONF", site.path("client.toml").c_str(), 1);
            setenv("HOME", home.path().c_str(), 1);
            Secret password;
            memcpy(password.text(), "secret", sizeof "secret");
            OutputRelay relay;
            Options options;
            options.user = "jdoe.sales.acme";
            return body(&password, &relay, options);
        });
        outcome.status = process.finish();
        outcome.out = process.shown();
        return outcome;
    }
};

} // namespace

// The library leaves the session open then.
TEST_F(RunTest, ATreeThatCannotBeFoundIsReportedBehindTheOutput) {
    Outcome outcome = inProcess([](Secret *password, OutputRelay *relay, Options options) {
        try {
            return run_scripts(options, "NOTREE", password, relay).status;
        } catch (const Failure &failure) {
            const bool wiped = *password->text() == '\0' && CurrentPassword == nullptr;
            return failure.status() == exit_tree && wiped && fd[1] == -1 ? 42 : 43;
        }
    });
    EXPECT_EQ(outcome.status, 42);
    EXPECT_EQ(outcome.out, "No Treename defined\r\n");
}

TEST_F(RunTest, ThePasswordIsWipedAfterTheRun) {
    Outcome outcome = inProcess([](Secret *password, OutputRelay *relay, Options options) {
        const RunResult result = run_scripts(options, "ACME", password, relay);
        static const char zeroes[6] = {};
        return result.status == 0 && result.outputError == 0 && memcmp(password->text(), zeroes, sizeof zeroes) == 0
                   ? 42
                   : 43;
    });
    EXPECT_EQ(outcome.status, 42);
}

TEST_F(RunTest, WithoutAPipeNoScriptRuns) {
    Outcome outcome = inProcess([](Secret *password, OutputRelay *relay, Options options) {
        allow_descriptors(0);
        try {
            run_scripts(options, "ACME", password, relay);
        } catch (const Failure &failure) {
            const std::string why = failure.what();
            return failure.status() == exit_system && why == "cannot create a pipe for the scripts' output" ? 42 : 43;
        }
        return 44;
    });
    EXPECT_EQ(outcome.status, 42);
    EXPECT_EQ(outcome.out, "");
}

TEST_F(RunTest, TheTraceLevelIsTheOneThatWasAskedFor) {
    for (const std::optional<int> level : {std::optional<int>(), std::optional<int>(0), std::optional<int>(3)}) {
        Outcome outcome = inProcess([level](Secret *password, OutputRelay *relay, Options options) {
            options.debugLevel = level;
            run_scripts(options, "ACME", password, relay);
            return debug_level;
        });
        EXPECT_EQ(outcome.status, level.value_or(0));
    }
}
