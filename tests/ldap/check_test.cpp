// "qrtscript check --as" over real LDAP servers: who reads the names that a script uses.
#include <filesystem>

#include "tests/ldap/ldap_site.h"

namespace {

using testing::HasSubstr;

class LdapCheck : public LdapSite {
  protected:
    LdapCheck() {
        environment["HOME"] = home.path();
        folder.write("script.qrt", "IF MEMBER OF \".managers.acme\" THEN WRITE \"\"\nINCLUDE .nonews.acme\n");
    }
    Words words(const Words &options) const {
        Words all = {QRTSCRIPT_PATH, "check", "--format=gcc"};
        all.insert(all.end(), options.begin(), options.end());
        all.push_back(folder.path("script.qrt"));
        return all;
    }
    Outcome check(const Words &options, const std::string &password = "starfish\n") const {
        return process_run(words(options), environment, password);
    }
    // What is not there is found, and nothing else.
    void expectRead(const Outcome &outcome) const {
        EXPECT_EQ(outcome.err, "");
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 1) << outcome.out;
        EXPECT_THAT(outcome.out, HasSubstr("script.qrt:2:9: warning: the directory has no object .nonews.acme"));
    }
};

} // namespace

TEST_F(LdapCheck, ReadsAsWhoTheAdministratorSaysWhereNobodyElseMay) {
    Slapd server(forUsersOnly());
    onServers({server.uri()}, "offline = true\n");
    EXPECT_THAT(check({"--directory"}).out, HasSubstr("[QS2013]"));
    expectRead(check({"--as=admin.acme", "--password-fd=3"}));
    // The user is looked up after the login.
    expectRead(check({"--as=admin.acme", "--password-fd=3", "--user=mlee.emea.sales.acme"}));
    EXPECT_TRUE(std::filesystem::is_empty(home.path())) << "no copy is kept";
    const Outcome wrong = check({"--as=admin.acme", "--password-fd=3"}, "seaweed\n");
    EXPECT_EQ(wrong, (Outcome{2, "", "qrtscript check: cannot log in as admin.acme to tree ACME: wrong password\n"}));
}

TEST_F(LdapCheck, AsksForThePasswordOnTheTerminal) {
    Slapd server(forUsersOnly());
    onServers({server.uri()});
    TerminalProcess terminal(words({"--as=admin.acme"}), environment);
    ASSERT_TRUE(terminal.answers("Password for admin.acme: ", "starfish\n"));
    EXPECT_EQ(terminal.finish(), 1);
    EXPECT_THAT(terminal.shown(), HasSubstr("[QS4002]"));
    EXPECT_THAT(terminal.shown(), testing::Not(HasSubstr("starfish")));
    EXPECT_THAT(terminal.shown(), testing::Not(HasSubstr("[QS2013]")));
}

TEST_F(LdapCheck, TheManagerNeedsNoEntry) {
    Slapd::Setup setup = forUsersOnly();
    setup.database = "rootdn \"cn=manager,o=acme\"\nrootpw juniper\n";
    Slapd server(setup);
    onServers({server.uri()});
    expectRead(check({"--as=cn=manager,o=acme", "--password-fd=3"}, "juniper\n"));
}
