// Host names: a resolver that never answers costs a login no more than its time limit.
#include <unistd.h>
#include <condition_variable>
#include <mutex>

#include "platform/client/core/bounded.h"
#include "platform/client/ldap/resolver.h"
#include "tests/ldap/ldap_site.h"

namespace {

class LdapResolver : public LdapSite {
  protected:
    LdapResolver() {
        char name[256] = {};
        gethostname(name, sizeof name - 1);
        etc.write("hosts", std::string("127.0.0.1 localhost ") + name + "\n");
        etc.write("resolv.conf", "nameserver 127.0.0.1\n");
        etc.write("nsswitch.conf", "hosts: files dns\n");
    }
    Outcome loginWithoutNames() {
        TempFolder fresh;
        environment["HOME"] = fresh.path();
        return process_run({SOURCE_DIR "/tests/ldap/private_resolver.sh", etc.path(), QRTLOGIN_PATH, "--password-fd",
                            "3", "jdoe.sales.acme"},
                           environment, "sunflower\n");
    }
    int questions() { return std::stoi("0" + file_text(etc.path("questions"))); }
    TempFolder etc;
};

// Less than what the system's resolver takes to give a name up: two questions of five seconds.
constexpr std::chrono::seconds far_below_the_resolvers_own_limit(8);

} // namespace

TEST_F(LdapResolver, ASilentOneEndsInTimeWithItsOwnWords) {
    onServers({"ldap://dir1.acme.example"}, "time_limit = 0.8\n");
    LdapDeadline start = LdapClock::now();
    Outcome outcome = loginWithoutNames();
    if (outcome.status == no_namespace) GTEST_SKIP() << "this kernel allows no private network";
    EXPECT_LT(LdapClock::now() - start, far_below_the_resolvers_own_limit);
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.err,
                testing::HasSubstr("cannot look up the directory server's host name: ldap://dir1.acme.example: timed "
                                   "out looking up the host name dir1.acme.example"));
    EXPECT_GT(questions(), 0);
}

TEST_F(LdapResolver, ASilentOneIsWaitedForWithANotice) {
    onServers({"ldap://dir1.acme.example"}, "time_limit = 2.5\n");
    home.write("password", "sunflower\n");
    environment["HOME"] = home.path();
    environment["TERM"] = "xterm";
    TerminalProcess process(
        {"/bin/sh", "-c", "exec \"$@\" 3<" + home.path("password"), "sh", SOURCE_DIR "/tests/ldap/private_resolver.sh",
         etc.path(), QRTLOGIN_PATH, "--password-fd", "3", "jdoe.sales.acme"},
        environment);
    const int status = process.finish();
    if (status == no_namespace) GTEST_SKIP() << "this kernel allows no private network";
    EXPECT_EQ(status, 3);
    EXPECT_THAT(process.shown(),
                testing::StartsWith("\0337Waiting for ldap://dir1.acme.example ...\0338\033[Kqrtlogin"));
}

TEST_F(LdapResolver, ASilentOneIsNoReasonNotToUseTheNextServer) {
    Slapd server(sample());
    onTheEmbeddedTree();
    std::string expected = login().out;
    onServers({"ldap://dir1.acme.example", server.localUri()}, "time_limit = 1.6\n");
    Outcome outcome = loginWithoutNames();
    if (outcome.status == no_namespace) GTEST_SKIP() << "this kernel allows no private network";
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, expected);
    EXPECT_GT(questions(), 0);
}

// libldap looks the machine's own name up when it starts, whatever the server's URI is.
TEST_F(LdapResolver, ASilentOneMayBeAskedForTheMachinesOwnName) {
    etc.write("hosts", "127.0.0.1 localhost\n");
    onServers({"ldap://127.0.0.1:1"}, "time_limit = 0.4\n");
    LdapDeadline start = LdapClock::now();
    Outcome outcome = loginWithoutNames();
    if (outcome.status == no_namespace) GTEST_SKIP() << "this kernel allows no private network";
    EXPECT_LT(LdapClock::now() - start, far_below_the_resolvers_own_limit);
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.err, testing::HasSubstr("timed out looking up this machine's own host name"));
    EXPECT_GT(questions(), 0);
}

TEST_F(LdapResolver, LibldapsOwnLookUpLeavesTimeForTheServers) {
    Slapd server(sample());
    etc.write("hosts", "127.0.0.1 localhost\n");
    onServers({server.localUri()});
    Outcome outcome = loginWithoutNames();
    if (outcome.status == no_namespace) GTEST_SKIP() << "this kernel allows no private network";
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_GT(questions(), 0);
}

TEST_F(LdapResolver, AnUnknownNameIsReportedAsSuch) {
    etc.write("nsswitch.conf", "hosts: files\n");
    onServers({"ldap://dir1.acme.example"});
    Outcome outcome = loginWithoutNames();
    if (outcome.status == no_namespace) GTEST_SKIP() << "this kernel allows no private network";
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.err, testing::HasSubstr("ldap://dir1.acme.example: cannot connect: Name or service not known"));
    EXPECT_EQ(questions(), 0);
}

TEST(Bounded, WhatHangsIsLeftToItselfAndEndsByItself) {
    struct Gate {
        std::mutex lock;
        std::condition_variable changed;
        bool open = false;
    };
    auto gate = std::make_shared<Gate>();
    Bounded work([gate]() {
        std::unique_lock<std::mutex> held(gate->lock);
        gate->changed.wait(held, [&]() { return gate->open; });
    });
    EXPECT_FALSE(work.doneBy(LdapClock::now()));
    {
        std::lock_guard<std::mutex> held(gate->lock);
        gate->open = true;
    }
    gate->changed.notify_all();
    EXPECT_TRUE(work.doneBy(LdapDeadline::max()));
}

TEST(Bounded, WorkThatFailsIsDone) {
    Bounded work([]() { throw std::runtime_error("no"); });
    EXPECT_TRUE(work.doneBy(LdapDeadline::max()));
}

TEST(Bounded, TheCallersSignalsAreItsOwn) {
    sigset_t before;
    sigset_t after;
    auto inside = std::make_shared<sigset_t>();
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    Bounded work([inside]() { pthread_sigmask(SIG_SETMASK, nullptr, inside.get()); });
    ASSERT_TRUE(work.doneBy(LdapDeadline::max()));
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    EXPECT_EQ(sigismember(inside.get(), SIGINT), 1);
    EXPECT_EQ(sigismember(&before, SIGINT), sigismember(&after, SIGINT));
}
