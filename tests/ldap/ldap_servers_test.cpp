// Which answers lead to the next server, and how much all of them may hold.
#include "platform/client/ldap/servers.h"

#include <gtest/gtest.h>

#include "platform/zk.h"
#include "tests/ldap/hostile_server.h"

namespace {

const LdapSearch everything = {"o=acme", LDAP_SCOPE_SUBTREE, "(objectClass=*)", {"cn"}};
const char jdoe[] = "cn=jdoe,o=acme";

class LdapServersTest : public testing::Test {
  protected:
    LdapServersTest() {
        config.cleartextLoopback = true;
        config.timeLimit = 600;
    }
    // Answers every search with this result, and with this entry if the DN is not empty.
    static Scripted answering(int result, const std::string &dn = "") {
        Scripted::Answer answer = {Scripted::done(result)};
        if (!dn.empty()) answer.insert(answer.begin(), Scripted::entry(dn, {{"cn", "jdoe"}, {"title", "Manager"}}));
        return {{{Scripted::bound()}}, {answer}, {{Scripted::unknown()}}};
    }

    ConfigLdap config;
};

} // namespace

TEST_F(LdapServersTest, AServerThatCannotDoItsWorkIsPassedOver) {
    for (int result : {LDAP_OPERATIONS_ERROR, LDAP_PROTOCOL_ERROR, LDAP_TIMELIMIT_EXCEEDED, LDAP_BUSY, LDAP_UNAVAILABLE,
                       LDAP_OTHER}) {
        HostileServer first(answering(result)), second(answering(0, jdoe));
        config.uris = {first.uri(), second.uri()};
        LdapServers servers(config);
        EXPECT_EQ(servers.search(everything).entries.size(), 1u) << result;
        EXPECT_EQ(servers.search(everything).entries.size(), 1u) << result;
        EXPECT_EQ(first.connections(), 1) << result;
        EXPECT_FALSE(servers.haveDistrusted());
    }
}

TEST_F(LdapServersTest, AnyOtherAnswerIsTheAnswer) {
    for (int result : {0, LDAP_SIZELIMIT_EXCEEDED, LDAP_NO_SUCH_OBJECT, LDAP_INSUFFICIENT_ACCESS,
                       LDAP_UNWILLING_TO_PERFORM, LDAP_REFERRAL}) {
        HostileServer first(answering(result)), second(answering(0, jdoe));
        config.uris = {first.uri(), second.uri()};
        EXPECT_EQ(LdapServers(config).search(everything).result, result);
        EXPECT_EQ(second.connections(), 0) << result;
    }
}

TEST_F(LdapServersTest, WhenNoneAnswersEachIsReported) {
    HostileServer first(answering(LDAP_BUSY)), second(answering(LDAP_UNAVAILABLE)), third(Hostility::ClosesMidAnswer);
    const std::string sentence = first.uri() + ": the server reports: Server is busy; " + second.uri() +
                                 ": the server reports: Server is unavailable";
    const auto reported = [this](const std::vector<std::string> &uris, uint32_t code) -> std::string {
        config.uris = uris;
        try {
            LdapServers(config).search(everything);
            return "";
        } catch (const LdapTrouble &trouble) {
            EXPECT_EQ(trouble.code, code);
            return trouble.what();
        }
    };
    const std::string closed =
        third.uri() + ": the server closed the connection in the middle of its answer to a request";
    EXPECT_EQ(reported({first.uri(), second.uri()}, ZKE_DIRECTORY_UNREACHABLE), sentence);
    EXPECT_EQ(reported({third.uri(), third.uri()}, ZKE_SERVER_CLOSED), closed + "; " + closed);
    EXPECT_EQ(reported({third.uri(), first.uri()}, ZKE_DIRECTORY_UNREACHABLE).substr(0, closed.size()), closed);
}

TEST_F(LdapServersTest, AServerThatRefusesTheUserOfAnotherIsPassedOver) {
    HostileServer first(answering(0, jdoe));
    HostileServer second({{{Scripted::bound(LDAP_NO_SUCH_OBJECT)}}, {{Scripted::done()}}, {{Scripted::unknown()}}});
    HostileServer third(answering(0, jdoe));
    config.uris = {first.uri(), second.uri(), third.uri()};
    auto dying = std::make_unique<HostileServer>(answering(0, jdoe));
    config.uris[0] = dying->uri();
    LdapServers servers(config);
    ASSERT_EQ(servers.login({jdoe, "secret"}, {}).result, LDAP_SUCCESS);
    dying.reset();
    EXPECT_EQ(servers.search(everything).entries.size(), 1u);
    EXPECT_EQ(second.logins(), 1);
    EXPECT_EQ(third.logins(), 1);
}

// Each would count it, and a few wrong ones lock an account.
TEST_F(LdapServersTest, APasswordThatAServerRejectsIsNotSentToTheNext) {
    HostileServer second(
        {{{Scripted::bound(LDAP_INVALID_CREDENTIALS)}}, {{Scripted::done()}}, {{Scripted::unknown()}}});
    HostileServer third(answering(0, jdoe));
    auto dying = std::make_unique<HostileServer>(answering(0, jdoe));
    config.uris = {dying->uri(), second.uri(), third.uri()};
    config.retryAfter = 1e-9;
    LdapServers servers(config);
    ASSERT_EQ(servers.login({jdoe, "secret"}, {}).result, LDAP_SUCCESS);
    dying.reset();
    for (int tries = 0; tries < 2; tries++) EXPECT_THROW(servers.search(everything), LdapTrouble);
    EXPECT_EQ(second.logins(), 1);
    EXPECT_EQ(third.logins(), 0);
    EXPECT_EQ(servers.login({jdoe, "another"}, {}).result, LDAP_INVALID_CREDENTIALS)
        << "a person's own attempt is sent";
    EXPECT_EQ(second.logins(), 2);
}

// Of a server that is still there, whose connections a restart has closed.
TEST_F(LdapServersTest, AConnectionThatWasIdleIsMadeAnewAtTheSameServer) {
    auto server = std::make_unique<HostileServer>(answering(0, jdoe));
    HostileServer other(answering(0));
    config.uris = {server->uri(), other.uri()};
    LdapServers servers(config);
    EXPECT_EQ(servers.search(everything).entries.size(), 1u);
    server->closeConnection();
    EXPECT_EQ(servers.search(everything).entries.size(), 1u);
    EXPECT_EQ(server->connections(), 2);
    EXPECT_EQ(other.connections(), 0);
}

TEST_F(LdapServersTest, AnAnswerCountsWithAllItsContainers) {
    HostileServer server(answering(0, jdoe));
    config.uris = {server.uri()};
    const size_t text = sizeof(std::string), values = sizeof(std::vector<std::string>);
    const size_t one = sizeof(LdapEntry) + strlen(jdoe) + (text + strlen("cn") + values + text + strlen("jdoe")) +
                       (text + strlen("title") + values + text + strlen("Manager"));
    config.loginLimit = 2 * one;
    LdapServers servers(config);
    EXPECT_NO_THROW(servers.search(everything));
    EXPECT_NO_THROW(servers.search(everything));
    EXPECT_THROW(servers.search(everything), CodedError);
    config.loginLimit = 2 * one - 1;
    servers.logout();
    EXPECT_NO_THROW(servers.search(everything));
    EXPECT_THROW(servers.search(everything), CodedError);
    for (const bool isLogin : {false, true}) {
        const auto begin = [&]() {
            if (isLogin)
                EXPECT_EQ(servers.login({jdoe, "secret"}, {}).result, LDAP_SUCCESS);
            else
                servers.logout();
        };
        begin();
        config.loginLimit = one;
        EXPECT_NO_THROW(servers.search(everything)) << "counted from nothing";
        begin();
        config.loginLimit = one - 1;
        EXPECT_THROW(servers.search(everything), CodedError);
    }
}

TEST_F(LdapServersTest, WhatAServerSaysToItsTroubleIsReported) {
    HostileServer server(Scripted{{{Scripted::bound()}}, {{Scripted::done(LDAP_BUSY, "ask later")}}, {}});
    config.uris = {server.uri()};
    try {
        LdapServers(config).search(everything);
        ADD_FAILURE() << "it is an answer";
    } catch (const LdapTrouble &trouble) {
        EXPECT_EQ(trouble.what(), server.uri() + ": the server reports: Server is busy: ask later");
    }
}

TEST_F(LdapServersTest, ThePasswordOfAnotherIsTriedOnAConnectionOfItsOwn) {
    HostileServer server(answering(0, jdoe));
    config.uris = {server.uri()};
    LdapServers servers(config);
    EXPECT_EQ(servers.search(everything).entries.size(), 1u);
    ASSERT_EQ(servers.login({jdoe, "secret"}, {}).result, LDAP_SUCCESS);
    EXPECT_EQ(server.connections(), 1) << "a connection of nobody's becomes the user's";
    EXPECT_EQ(servers.tryPassword({"cn=admin,o=acme", "other"}, {}).result, LDAP_SUCCESS);
    EXPECT_EQ(server.connections(), 2);
    EXPECT_EQ(servers.search(everything).entries.size(), 1u);
    EXPECT_EQ(server.connections(), 2) << "the user's own is still there";
    servers.logout();
    EXPECT_EQ(servers.search(everything).entries.size(), 1u);
    EXPECT_EQ(server.connections(), 3);
    EXPECT_EQ(server.logins(), 2) << "and nobody is nobody";
}
