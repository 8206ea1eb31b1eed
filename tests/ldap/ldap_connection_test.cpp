// One connection: what is made of its answers, and that nothing of them is left.
#include "platform/client/ldap/connection.h"

#include <gmock/gmock.h>
#include <malloc.h>

#include "platform/zk.h"
#include "tests/ldap/hostile_server.h"

namespace {

using testing::ElementsAre;

class LdapConnectionTest : public testing::Test {
  protected:
    LdapConnectionTest() { config.cleartextLoopback = true; }
    void on(const Scripted &script) {
        server = std::make_unique<HostileServer>(script);
        connection = std::make_unique<LdapConnection>(config, server->uri(), soon());
    }
    static LdapDeadline soon() { return LdapClock::now() + std::chrono::minutes(10); }

    const LdapSearch everything = {"o=acme", LDAP_SCOPE_SUBTREE, "(objectClass=*)", {"cn"}};
    ConfigLdap config;
    std::unique_ptr<HostileServer> server;
    std::unique_ptr<LdapConnection> connection;
};

} // namespace

TEST_F(LdapConnectionTest, HandsOutEverythingThatAnAnswerContains) {
    on({{},
        {{Scripted::entry("cn=a,o=acme", {{"cn", "a"}, {"cn;lang-de", "b"}, {"title", ""}}),
          Scripted::reference({"ldap://b.example/", "ldap://c.example/"}), Scripted::entry("cn=d,o=acme", {}),
          Scripted::reference({"ldap://e.example/"}),
          Scripted::done(LDAP_REFERRAL, "ask there", {"ldap://f.example/", "ldap://g.example/"})}},
        {}});
    EXPECT_FALSE(connection->hasAnswered());
    const LdapAnswer answer = connection->search(everything, soon());
    EXPECT_TRUE(connection->hasAnswered());
    EXPECT_EQ(answer.result, LDAP_REFERRAL);
    EXPECT_EQ(answer.text, "ask there");
    ASSERT_EQ(answer.entries.size(), 2u);
    EXPECT_EQ(answer.entries[0].dn, "cn=a,o=acme");
    ASSERT_EQ(answer.entries[0].attributes.size(), 2u) << "a value in one language is not the value";
    EXPECT_EQ(answer.entries[0].attributes[0].first, "cn");
    EXPECT_THAT(answer.entries[0].attributes[0].second, ElementsAre("a"));
    EXPECT_THAT(answer.entries[0].attributes[1].second, ElementsAre(""));
    EXPECT_EQ(answer.entries[1].dn, "cn=d,o=acme");
    EXPECT_THAT(answer.references,
                ElementsAre(ElementsAre("ldap://b.example/", "ldap://c.example/"), ElementsAre("ldap://e.example/")));
    EXPECT_THAT(answer.referral, ElementsAre("ldap://f.example/", "ldap://g.example/"));
}

TEST_F(LdapConnectionTest, SendsNoLoginWithoutAName) {
    on({{{Scripted::bound()}}, {}, {}});
    EXPECT_EQ(connection->bindWithPassword({"", "secret"}, soon()).result, LDAP_INVALID_DN_SYNTAX);
    EXPECT_EQ(server->logins(), 0);
}

TEST_F(LdapConnectionTest, AnAnswerThatLibldapCannotReadIsNoSilence) {
    on({{}, {{"\x64\x7F"}}, {}}); // claims to be longer than its message
    try {
        connection->search(everything, soon());
        ADD_FAILURE() << "there is no answer";
    } catch (const LdapTrouble &trouble) {
        EXPECT_EQ(trouble.code, ZKE_ANSWER_MALFORMED);
        EXPECT_EQ(trouble.what(), server->uri() + ": the server's answer to a request is not valid LDAP");
    }
}

// The request is larger than what the system keeps for a reader that does not come.
TEST_F(LdapConnectionTest, ARequestThatTheServerDoesNotReadEndsAtItsDeadline) {
    HostileServer silent(Hostility::Silent);
    LdapConnection reading(config, silent.uri(), soon());
    const LdapSearch large = {"cn=" + std::string(size_t{32} << 20, 'x'), LDAP_SCOPE_BASE, "(cn=x)", {}};
    try {
        reading.search(large, LdapClock::now() + std::chrono::milliseconds(100));
        ADD_FAILURE() << "there is no answer";
    } catch (const LdapTrouble &trouble) {
        EXPECT_EQ(trouble.code, ZKE_SERVER_SILENT);
        EXPECT_EQ(trouble.what(), silent.uri() + ": timed out waiting for the answer to a search");
    }
}

// Under the sanitizers, which look for leaks themselves, the numbers do not change.
TEST_F(LdapConnectionTest, LeavesNothingOfItsAnswersInMemory) {
    on({{{Scripted::bound(0, "welcome")}},
        {{Scripted::entry("cn=a,o=acme", {{"cn", std::string(100, 'a')}, {"title", "x"}}),
          Scripted::reference({"ldap://b.example/"}), Scripted::done(LDAP_REFERRAL, "text", {"ldap://c.example/"})}},
        {{Scripted::youAre("dn:cn=a,o=acme")}}});
    const auto use = [this](int times) {
        for (int i = 0; i < times; i++) {
            connection->search(everything, soon());
            connection->bindWithPassword({"cn=a,o=acme", "secret"}, soon());
        }
        return mallinfo2().uordblks;
    };
    constexpr int times = 30; // the server knows small numbers of messages only
    const size_t before = use(10);
    EXPECT_LT(use(times), before + times * 24) << "the smallest piece of memory each time";
}
