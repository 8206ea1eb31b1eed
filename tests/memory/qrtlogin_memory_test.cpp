// No way out of qrtlogin leaves a password in its memory, in what it shows, or with the programs that it starts.
#include <sys/prctl.h>
#include <cstdio>
#include <fstream>

#include "tests/memory/secret_site.h"

namespace {

using testing::HasSubstr;
using testing::IsEmpty;

// A program of a script that stops the login while it runs.
const char hold[] = "printf '(at rest)' >/dev/tty; kill -STOP $PPID";

class QrtloginMemory : public SecretSite {
  protected:
    // A login that is asked for its password, up to its end.
    void login(const Words &words, const HiddenSecret &secret = users_secret,
               const std::string &user = "jdoe.sales.acme") {
        Words all = {QRTLOGIN_PATH, "--user", user};
        all.insert(all.end(), words.begin(), words.end());
        start(all);
        answer(password_question, secret);
    }
    void expect_clean_end(int status) {
        await_rest();
        EXPECT_THAT(left(), IsEmpty());
        EXPECT_EQ(finish(), status) << process->shown();
    }
    // Whether the page at an address is one that is not swapped out.
    bool is_locked(unsigned long long address) const {
        std::ifstream maps("/proc/" + std::to_string(process->id()) + "/smaps");
        bool here = false;
        for (std::string line; std::getline(maps, line);) {
            unsigned long long begin = 0, end = 0;
            if (sscanf(line.c_str(), "%llx-%llx ", &begin, &end) == 2) here = begin <= address && address < end;
            if (here && line.find("VmFlags:") == 0) return line.find(" lo") != std::string::npos;
        }
        return false;
    }
    Words running(const std::string &text) { return {"--login-script", script(text)}; }
};

} // namespace

TEST_F(QrtloginMemory, ASuccessAndACommandOfThePersonsOwn) {
    login(running("WRITE \"hello %LOGIN_NAME\"\nEXIT\n"));
    expect_clean_end(0);
    EXPECT_THAT(process->shown(), HasSubstr("hello jdoe"));
    login({"--", "true"});
    expect_clean_end(0);
}

TEST_F(QrtloginMemory, AnEndlessNumberOfLinesLater) {
    login(running("SET a=\"x\"\n" + std::string(200, '\n') + "MAP\nWRITE \"%FULL_NAME\"\n"));
    expect_clean_end(0);
}

TEST_F(QrtloginMemory, APasswordFromADescriptor) {
    startWithDescriptor({QRTLOGIN_PATH, "--password-fd", "3", "--user", "jdoe.sales.acme"});
    expect_clean_end(0);
}

TEST_F(QrtloginMemory, ARefusedLogin) {
    const struct {
        const HiddenSecret *secret;
        const char *user;
        int status;
    } rows[] = {{&wrong_secret, "jdoe.sales.acme", 2},
                {&users_secret, "nobody.sales.acme", 5},
                {&users_secret, "locked.sales.acme", 2},
                {&users_secret, "expired.sales.acme", 2}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.user);
        login({"--tries", "1"}, *row.secret, row.user);
        expect_clean_end(row.status);
    }
}

TEST_F(QrtloginMemory, AMistypedPassword) {
    start({QRTLOGIN_PATH, "--user", "jdoe.sales.acme"});
    answer(password_question, wrong_secret);
    answer(password_question, users_secret);
    expect_clean_end(0);
}

TEST_F(QrtloginMemory, ASyntaxError) {
    site.write("user.qrt", "FOO BAR\n");
    userScript("FOO BAR\nWRITE \"after\"\n");
    login({});
    expect_clean_end(1);
}

TEST_F(QrtloginMemory, AnInterruptAfterBreakOn) {
    program("interrupt", "kill -INT $PPID");
    login(running("BREAK ON\n#interrupt\nWRITE \"not reached\"\n"));
    expect_clean_end(0);
    EXPECT_THAT(process->shown(), HasSubstr("script aborted"));
}

TEST_F(QrtloginMemory, AThirdInterrupt) {
    program("insist", "while kill -INT $PPID; do sleep 0.1; done");
    login(running("#insist\nWRITE \"not reached\"\n"));
    expect_clean_end(130);
}

TEST_F(QrtloginMemory, ATimeLimit) {
    program("wait", "sleep 100");
    login({"--time-limit", "1", "--login-script", script("#wait\nWRITE \"not reached\"\n")});
    expect_clean_end(124);
}

TEST_F(QrtloginMemory, AnInterruptAtThePasswordsQuestion) {
    start({QRTLOGIN_PATH, "--user", "jdoe.sales.acme"});
    ASSERT_TRUE(process->awaits(password_question));
    for (size_t place = 0; place < HiddenSecret::length; ++place) process->type(std::string(1, users_secret.at(place)));
    process->interrupt();
    process->finish();
    EXPECT_THAT(scan_text(process->shown(), users_secret), IsEmpty());
}

TEST_F(QrtloginMemory, ASecondTreeWhosePasswordIsAskedFor) {
    login(running("TREE OTHER/jdoe.sales.acme\nWRITE \"on %LOGIN_NAME\"\n"));
    answer("User name", "jdoe.sales.acme");
    answer(password_question, wrong_secret);
    answer("User name", "jdoe.sales.acme");
    answer(password_question, other_trees_secret);
    expect_clean_end(0);
}

TEST_F(QrtloginMemory, ASecondLoginThatFails) {
    login(running("TREE OTHER/jdoe.sales.acme\nWRITE \"goes on\"\n"));
    answer("User name", "jdoe.sales.acme");
    answer(password_question, wrong_secret);
    answer("User name", "\x04");
    expect_clean_end(0);
    EXPECT_THAT(process->shown(), HasSubstr("goes on"));
}

TEST_F(QrtloginMemory, AServerWhosePasswordIsAskedFor) {
    login(running("ATTACH OLDSRV\nWRITE \"goes on\"\n"));
    answer("User name", "jdoe");
    answer(password_question, wrong_secret);
    answer("User name", "jdoe");
    answer(password_question, servers_secret);
    expect_clean_end(0);
    EXPECT_THAT(process->shown(), HasSubstr("goes on"));
}

TEST_F(QrtloginMemory, ARunningScriptHasNoCopyWhereNoTreeSharesIt) {
    program("hold", hold);
    login(running("#hold\nTREE OTHER/jdoe.sales.acme\n#hold\n"));
    await_rest();
    EXPECT_THAT(left(), IsEmpty());
    process->goOn();
    answer("User name", "jdoe.sales.acme");
    answer(password_question, other_trees_secret);
    await_rest();
    EXPECT_THAT(left(), IsEmpty());
    process->goOn();
    expect_clean_end(0);
}

// A TREE statement may need it.
TEST_F(QrtloginMemory, ARunningScriptHasOneLockedCopyWhereATreeSharesIt) {
    site.write("client.toml",
               with_values(file_text(site.path("client.toml")), "ldif = \"other", ".ldif\"\nshare_password = true"));
    program("hold", hold);
    login(running("#hold\nTREE OTHER/jdoe.sales.acme\n#hold\n"));
    for (int round = 0; round < 2; ++round) {
        await_rest();
        const std::vector<std::string> copies = left_of(users_secret);
        ASSERT_EQ(copies.size(), 1u) << testing::PrintToString(copies);
        EXPECT_TRUE(is_locked(std::stoull(copies[0], nullptr, 16))) << copies[0];
        process->goOn();
        if (round > 0) break;
        answer("User name", "jdoe.sales.acme");
        answer(password_question, other_trees_secret);
    }
    expect_clean_end(0);
}

TEST_F(QrtloginMemory, ThePasswordIsReadIntoLockedPages) {
    start({QRTLOGIN_PATH, "--user", "jdoe.sales.acme"});
    ASSERT_TRUE(process->awaits(password_question));
    EXPECT_THAT(file_text("/proc/" + std::to_string(process->id()) + "/status"),
                AllOf(HasSubstr("VmLck:"), testing::Not(HasSubstr("VmLck:\t       0 kB"))));
    process->type("\x04");
    expect_clean_end(2);
}

// It may live as long as a program that a script has left running.
TEST_F(QrtloginMemory, TheProcessThatShowsTheOutputGetsNoCopy) {
    prctl(PR_SET_CHILD_SUBREAPER, 1); // it may be looked into as long as it is a descendant
    const std::string relay = site.path("relay");
    program("hold",
            "own=$(readlink /proc/$$/fd/1)\n"
            "for one in /proc/[0-9]*; do\n"
            "  [ \"$(readlink $one/fd/0)\" != \"$own\" ] || echo ${one#/proc/} >" +
                relay +
                "\n"
                "done 2>/dev/null\n"
                "printf '(at rest)' >/dev/tty; kill -STOP $PPID");
    login(running("#hold\n"));
    await_rest();
    const pid_t shows = std::stoi("0" + file_text(relay));
    EXPECT_EQ(file_text("/proc/" + std::to_string(shows) + "/comm"), "qrtlogin-output\n");
    EXPECT_THAT(scan_process(shows, users_secret), IsEmpty());
    process->goOn();
    expect_clean_end(0);
}

TEST_F(QrtloginMemory, ItsProgramsGetNoCopy) {
    login(running("#dump one\n@dump two\n"));
    expect_clean_end(0);
    EXPECT_THAT(process->shown(), HasSubstr("/programs/dump"));
    EXPECT_THAT(process->shown(), HasSubstr("QRT_TREE=ACME"));
}
