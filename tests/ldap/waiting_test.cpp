// Whoever waits for a slow server is shown for which one, and that the waiting is over.

#include "tests/ldap/full_port.h"
#include "tests/ldap/hostile_server.h"
#include "tests/ldap/ldap_site.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

const char over[] = "(over)";

std::vector<std::string> notices;

void note(const char *server) {
    notices.push_back(server != nullptr ? server : over);
}

class LdapWaitNotice : public LdapSite {
  protected:
    LdapWaitNotice() {
        notices.clear();
        ZKSetWaitNotice(20, note);
    }
    ~LdapWaitNotice() override { ZKSetWaitNotice(0, nullptr); }
};

struct Slow {
    Hostility hostility;
    const char *scheme;
    uint32_t code;
};

void PrintTo(const Slow &slow, std::ostream *out) {
    *out << slow.scheme << " " << std::hex << slow.code;
}

class LdapSlowServer : public LdapWaitNotice, public testing::WithParamInterface<Slow> {};

} // namespace

TEST_P(LdapSlowServer, IsNamedWhileItIsWaitedFor) {
    HostileServer server(GetParam().hostility);
    onServers({server.uri(GetParam().scheme)}, "time_limit = 0.8\n");
    EXPECT_EQ(loginHere(), GetParam().code);
    EXPECT_THAT(notices, ElementsAre(server.uri(GetParam().scheme), over));
}

INSTANTIATE_TEST_SUITE_P(Kinds, LdapSlowServer,
                         testing::Values(Slow{Hostility::Silent, "ldap", ZKE_SERVER_SILENT},
                                         Slow{Hostility::Drips, "ldap", ZKE_ANSWER_CUT_SHORT},
                                         Slow{Hostility::Silent, "ldaps", ZKE_SERVER_SILENT}));

TEST_F(LdapWaitNotice, NamesAServerThatDoesNotTakeTheConnection) {
    FullPort server;
    onServers({server.uri()}, "time_limit = 0.4\n");
    EXPECT_EQ(loginHere(), ZKE_DIRECTORY_UNREACHABLE);
    EXPECT_EQ(lastError(), server.uri() + ": cannot connect: Connection timed out");
    EXPECT_THAT(notices, ElementsAre(server.uri(), over));
}

// The time is that of the request, not of each server.
TEST_F(LdapWaitNotice, NamesEachFurtherServerAtOnce) {
    HostileServer first(Hostility::Silent), second(Hostility::Silent);
    onServers({first.uri(), second.uri()}, "time_limit = 0.4\n");
    EXPECT_EQ(loginHere(), ZKE_SERVER_SILENT);
    EXPECT_THAT(notices, ElementsAre(first.uri(), second.uri(), over));
}

TEST_F(LdapWaitNotice, DoesNotComeForAServerThatAnswers) {
    Slapd server(sample());
    ZKSetWaitNotice(60000, note);
    onServers({server.uri()});
    EXPECT_EQ(loginHere(), ZK_OK) << lastError();
    EXPECT_THAT(notices, IsEmpty());
}

// ---- the notice of qrtlogin, which comes after two seconds ----

namespace {

class LdapWaitingLogin : public LdapSite {
  protected:
    // Logs in on a terminal that needs nobody to type, with these redirections.
    std::string shown(const std::string &redirections, const std::string &terminal) {
        home.write("password", "sunflower\n");
        environment["TERM"] = terminal;
        environment["HOME"] = home.path();
        TerminalProcess process({"/bin/sh", "-c", "exec \"$@\" 3<" + home.path("password") + redirections, "sh",
                                 QRTLOGIN_PATH, "--password-fd", "3", "jdoe.sales.acme"},
                                environment);
        EXPECT_EQ(process.finish(), 3);
        return process.shown();
    }
    HostileServer server{Hostility::Silent};
};

} // namespace

TEST_F(LdapWaitingLogin, ShowsTheServerAndTakesTheLineAwayOrEndsIt) {
    onServers({server.uri()}, "time_limit = 2.5\n");
    const std::string line = "Waiting for " + server.uri() + " ...";
    EXPECT_THAT(shown("", "xterm"), StartsWith("\0337" + line + "\0338\033[Kqrtlogin: "));
    EXPECT_THAT(shown("", "dumb"), StartsWith(line + "\r\nqrtlogin: "));
    EXPECT_EQ(shown(" 2>" + home.path("err"), "xterm"), "") << "standard error is no terminal";
    EXPECT_THAT(file_text(home.path("err")), StartsWith("qrtlogin: "));
}

TEST_F(LdapWaitingLogin, ShowsNothingBeforeTwoSecondsHavePassed) {
    onServers({server.uri()}, "time_limit = 1\n");
    EXPECT_THAT(shown("", "xterm"), StartsWith("qrtlogin: "));
}
