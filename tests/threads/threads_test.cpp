// Whole runs whose output another thread reads while the scripts run: as a calling program does it, and as qrtlogin
// does, interrupted too. Built and run under ThreadSanitizer, which makes a report of each race.
//   RUNS=400 tests/threads    so many runs in all
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <thread>

#include "include/qrtscript.h"
#include "platform/zk.h"
#include "tests/support/site.h"

namespace {

const char script[] =
    "WRITE \"Good day, %FULL_NAME of %LOGIN_CONTEXT\"\n"
    "IF \"%2\"=\"x\" THEN\nWRITE \"no\"\nELSE\nWRITE \"yes\"\nEND\n"
    "#echo said by a program\n"
    "@true\n"
    "MAP F:=SRV1/SYS:public\n"
    "FOO BAR BAZ\n"
    "WRITE \"last\"\n";

const char script_output[] =
    "Good day, Jane Doe of sales.acme\n"
    "yes\n"
    "said by a program\n"
    "Drive F: = SRV1/SYS:public\n"
    "\nScript error.\nThe original line was:\nFOO BAR BAZ\n\n"
    "last\n";

class Threads : public Site {
  protected:
    Threads() {
        const char *runs = getenv("RUNS");
        runs_ = runs != nullptr ? atoi(runs) : 40;
        site.write("own.qrt", script);
    }
    Outcome loginWith(const std::string &text) {
        site.write("own.qrt", text);
        return login({"--login-script", site.path("own.qrt")});
    }
    int runs_;
};

// What a caller's thread makes of the output.
std::string drain() {
    std::string all;
    char *line = nullptr;
    while (qrt_ReadResults(&line) == 0) {
        all += line + std::string("\n");
        free(line);
    }
    return all;
}

std::string run_once(const std::string &path) {
    char tree[] = "ACME", user[] = "jdoe.sales.acme", password[] = "secret", two[] = "2";
    QrtRunScriptsArgs args = {};
    args.treename = tree;
    args.user = user;
    args.password = password;
    args.userVar2 = two;
    std::string own = path;
    args.loginScript = own.data();
    if (qrt_init(nullptr, nullptr) != 0) return "no pipe";
    std::string output;
    std::thread reader([&] { output = drain(); });
    qrt_RunScripts(&args);
    reader.join();
    close(fd[0]);
    return output;
}

} // namespace

TEST_F(Threads, ACallersOwnReader) {
    for (const auto &[name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
    setenv("PATH", (std::string(BINARY_DIR) + ":/usr/bin:/bin").c_str(), 1);
    uint32_t context = 0;
    ASSERT_EQ(qrt_Getctx("ACME", &context), 0u);
    ASSERT_EQ(ZKDSLoginEx(context, "jdoe.sales.acme", 2, "secret"), 0u);
    for (int run = 0; run < runs_ / 2; ++run)
        ASSERT_EQ(run_once(site.path("own.qrt")), std::string(login_head) + script_output) << run;
    printf("%d runs\n", runs_ / 2);
}

TEST_F(Threads, Qrtlogin) {
    for (int run = 0; run < runs_ / 4; ++run) {
        const Outcome outcome = loginWith(script);
        ASSERT_EQ(outcome.out, std::string(login_head) + script_output) << outcome.err;
        ASSERT_EQ(outcome.status, 1); // the script has a mistake
    }
    printf("%d runs\n", runs_ / 4);
}

TEST_F(Threads, AnInterruptedQrtlogin) {
    const std::string interrupt = "WRITE \"before\"\n#sh " + site.path("interrupt") + "\nWRITE \"after\"\n";
    site.write("interrupt", "kill -INT $PPID\n");
    for (int run = 0; run < runs_ / 4; ++run) {
        const bool breaks = run % 2 == 0;
        const Outcome outcome = loginWith((breaks ? "BREAK ON\n" : "") + interrupt);
        const char *end = breaks ? "before\nctrl-c pressed, script aborted\n" : "before\nafter\n";
        ASSERT_EQ(outcome.out, std::string(login_head) + end) << outcome.err;
        ASSERT_EQ(outcome.status, 0);
    }
    printf("%d runs\n", runs_ / 4);
}
