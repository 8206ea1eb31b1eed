// Passwords that a server wants changed, or that their users want changed.

#include "tests/ldap/policy_site.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;

class LdapPasswordChange : public PolicySite {
  protected:
    LdapPasswordChange() : server(withPolicy()) {
        onStock(server);
        environment["HOME"] = home.path();
    }
    // The program on a terminal.
    TerminalProcess &start(const std::string &user, Words more = {}) {
        more.insert(more.begin(), QRTLOGIN_PATH);
        more.push_back("uid=" + user + ".staff");
        name = "uid=" + user + ".staff";
        process = std::make_unique<TerminalProcess>(more, environment);
        return *process;
    }
    void type(const std::string &password) {
        ASSERT_TRUE(process->answers("Password for " + name + ": ", password + "\n")) << process->shown();
    }
    void typeNew(const std::string &password, const std::string &again) {
        ASSERT_TRUE(process->answers("New password for " + name + ": ", password + "\n")) << process->shown();
        ASSERT_TRUE(process->answers("New password again: ", again + "\n")) << process->shown();
    }
    void ends(int status, const std::string &shown) {
        EXPECT_EQ(process->finish(), status) << process->shown();
        EXPECT_THAT(process->shown(), HasSubstr(shown));
    }
    int statusWith(const std::string &user, const std::string &password) {
        return login("uid=" + user + ".staff", password).status;
    }

    Slapd server;
    std::string name;
    std::unique_ptr<TerminalProcess> process;
};

} // namespace

TEST_F(LdapPasswordChange, OneThatMustBeChangedIsChangedAndTheLoginGoesOn) {
    start("reset");
    type("sunflower");
    typeNew("starfish-7", "starfish-7");
    ends(0, "Your password has been changed.\r\n");
    EXPECT_THAT(process->shown(), HasSubstr("the password of UID=reset.OU=staff must be changed\r\n"));
    EXPECT_THAT(process->shown(), HasSubstr("User: reset\r\n")) << "the scripts have run";
    EXPECT_EQ(statusWith("reset", "starfish-7"), 0);
    EXPECT_EQ(statusWith("reset", "sunflower"), 2);
}

TEST_F(LdapPasswordChange, WhoDoesNotChangeItIsNotLetIn) {
    start("reset");
    type("sunflower");
    ASSERT_TRUE(process->answers("New password for " + name + ": ", "\n"));
    ends(2, "no password was entered");
    EXPECT_THAT(process->shown(), testing::Not(HasSubstr("User: ")));
    EXPECT_EQ(login("uid=reset.staff", "sunflower").err,
              "qrtlogin: cannot log in as uid=reset.staff to tree ACME: the password of UID=reset.OU=staff must be "
              "changed\n")
        << "nobody is asked where there is no terminal";
}

TEST_F(LdapPasswordChange, NewOnesThatDifferAreAskedForAgain) {
    start("reset");
    type("sunflower");
    typeNew("starfish-7", "starfish-8");
    ASSERT_TRUE(process->awaits("the new passwords differ"));
    typeNew("starfish-9", "starfish-9");
    ends(0, "Your password has been changed.");
    EXPECT_EQ(statusWith("reset", "starfish-9"), 0);
}

TEST_F(LdapPasswordChange, WhatTheServerHasAgainstTheNewOneIsSaid) {
    start("strict", {"--change-password"});
    type("sunflower");
    typeNew("short", "short");
    ASSERT_TRUE(
        process->awaits("qrtlogin: cannot change the password of uid=strict.staff: the new password is too "
                        "short"))
        << process->shown();
    typeNew("sunflower", "sunflower");
    ASSERT_TRUE(process->awaits("qrtlogin: cannot change the password of uid=strict.staff: the new password "))
        << process->shown();
    typeNew("long enough at last", "long enough at last");
    ends(0, "Your password has been changed.");
    EXPECT_EQ(statusWith("strict", "long enough at last"), 0);
}

TEST_F(LdapPasswordChange, OneThatWasUsedBeforeIsRefusedInWords) {
    const Outcome again =
        loginWith({"--change-password", "--password-fd", "3", "uid=fine.staff"}, "sunflower\nsunflower\n");
    EXPECT_EQ(again.status, 2);
    EXPECT_THAT(again.err, testing::StartsWith("qrtlogin: cannot change the password of uid=fine.staff: the new "
                                               "password was used before"));
}

TEST_F(LdapPasswordChange, ByItselfRunsNoScripts) {
    start("fine", {"--change-password"});
    type("sunflower");
    typeNew("starfish-7", "starfish-7");
    ends(0, "Your password has been changed.\r\n");
    EXPECT_THAT(process->shown(), testing::Not(HasSubstr("User: ")));
    EXPECT_EQ(statusWith("fine", "starfish-7"), 0);
}

TEST_F(LdapPasswordChange, TakesBothPasswordsFromADescriptor) {
    const Words words = {"--change-password", "--password-fd", "3", "uid=reset.staff"};
    EXPECT_EQ(loginWith(words, "sunflower\nstarfish-7\n"), (Outcome{0, "", "Your password has been changed.\n"}));
    EXPECT_EQ(statusWith("reset", "starfish-7"), 0);
    EXPECT_EQ(loginWith(words, "starfish-7\n"), (Outcome{2, "", "qrtlogin: no password on file descriptor 3\n"}));
}

TEST_F(LdapPasswordChange, IsOfferedWhileGraceLoginsAreLeft) {
    EXPECT_EQ(login("uid=grace.staff", "sunflower").err,
              "Your password has expired: it can be used for 1 more login.\n");
    start("grace");
    type("sunflower");
    ASSERT_TRUE(process->awaits("Your password has expired: this was the last login with it.\r\n"));
    ASSERT_TRUE(process->answers("Do you want to change it now? (y/n) ", "y\n"));
    typeNew("starfish-7", "starfish-7"); // with no further login in the old one's name
    ends(0, "Your password has been changed.");
    EXPECT_THAT(process->shown(), HasSubstr("User: grace\r\n"));
    EXPECT_EQ(login("uid=grace.staff", "starfish-7").err, "");
}

TEST_F(LdapPasswordChange, IsOfferedBeforeThePasswordExpires) {
    start("expiring");
    type("sunflower");
    ASSERT_TRUE(process->awaits("Your password expires in less than a day.\r\n"));
    ASSERT_TRUE(process->answers("Do you want to change it now? (y/n) ", "n\n"));
    ends(0, "User: expiring\r\n");
    EXPECT_EQ(login("uid=expiring.staff", "sunflower").err, "Your password expires in less than a day.\n");
}

TEST_F(LdapPasswordChange, AnOfferThatComesToNothingIsNoReasonToStop) {
    start("expiring");
    type("sunflower");
    ASSERT_TRUE(process->answers("Do you want to change it now? (y/n) ", "y\n"));
    ASSERT_TRUE(process->answers("New password for " + name + ": ", "\n"));
    ends(0, "User: expiring\r\n");
}

TEST_F(LdapPasswordChange, AsksAgainForAMistypedPassword) {
    start("fine");
    type("sunflowr");
    ASSERT_TRUE(process->awaits("wrong password\r\n"));
    type("sunflower");
    ends(0, "User: fine\r\n");
}

TEST_F(LdapPasswordChange, SendsNoPasswordMoreOftenThanItWasTyped) {
    start("fine", {"--tries", "2"});
    type("wrong");
    type("wrong again");
    ends(2, "wrong password\r\n");
    EXPECT_EQ(failures(server, "fine"), 2u);
    start("fine", {"--tries=1"});
    type("a third one");
    ends(2, "wrong password\r\n");
    EXPECT_EQ(failures(server, "fine"), 3u);
    start("fine");
    type("sunflower");
    ends(2, "UID=fine.OU=staff is locked\r\n");
}

TEST_F(LdapPasswordChange, ALockedAccountIsAskedOnce) {
    start("locked");
    type("sunflower");
    ends(2, "is locked\r\n");
}

// The user was looked up by who was logged in last; that is no reason to send the password twice.
TEST_F(LdapPasswordChange, AnAssumedUserCostsOneFailureOnly) {
    keptHome = home.path();
    ASSERT_EQ(loginWith({"--password-fd", "3", "uid=fine.ou=staff"}, "sunflower\n").status, 0);
    ASSERT_EQ(loginWith({"--password-fd", "3", "uid=fine.ou=staff"}, "wrong\n").status, 2);
    EXPECT_EQ(failures(server, "fine"), 1u);
}

TEST_F(LdapPasswordChange, NeedsAConnectionThatNobodyReads) {
    onStrictServers({server.uri()}, std::string("base = \"") + base + "\"\n");
    const uint32_t at = context();
    EXPECT_EQ(ZKDSChangePassword(at, "uid=fine.staff", "sunflower", "starfish-7"), ZKE_TLS_REQUIRED);
}

TEST_F(LdapPasswordChange, SaysWhatIsWrongWithTheAccount) {
    const uint32_t at = context();
    EXPECT_EQ(ZKDSChangePassword(at, "uid=locked.staff", "sunflower", "starfish-7"), ZKE_ACCOUNT_LOCKED);
    EXPECT_EQ(lastError(), "UID=locked.OU=staff is locked");
    EXPECT_EQ(ZKDSChangePassword(at, "uid=expired.staff", "sunflower", "starfish-7"), ZKE_PASSWORD_EXPIRED);
    EXPECT_EQ(ZKDSChangePassword(at, "uid=fine.staff", "wrong", "starfish-7"), ZKE_WRONG_PASSWORD);
}

TEST_F(LdapPasswordChange, LeavesWhoIsLoggedInLoggedIn) {
    ASSERT_EQ(loginHere("uid=fine.staff"), ZK_OK) << lastError();
    EXPECT_EQ(ZKDSChangePassword(here, "uid=fine.staff", "wrong", "starfish-7"), ZKE_WRONG_PASSWORD) << lastError();
    EXPECT_EQ(ZKDSChangePassword(here, "uid=fine.staff", "", "starfish-7"), ZKE_WRONG_PASSWORD);
    EXPECT_EQ(ZKDSChangePassword(here, "uid=fine.staff", "sunflower", ""), ZKE_PASSWORD_REFUSED);
    ASSERT_EQ(ZKDSChangePassword(here, nullptr, "sunflower", "starfish-7"), ZK_OK) << lastError();
    EXPECT_EQ(who_am_i(here), "fine.staff") << lastError();
    ASSERT_EQ(ZKDSLogout(here), ZK_OK);
    EXPECT_EQ(ZKDSChangePassword(here, nullptr, "starfish-7", "starfish-8"), ZKE_NOT_LOGGED_IN);
    EXPECT_EQ(loginHere("uid=fine.staff", "starfish-7"), ZK_OK);
}
