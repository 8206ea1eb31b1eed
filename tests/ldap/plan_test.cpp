// "qrtscript plan" over real LDAP servers: who reads, and that nothing is written, there or here.
#include <filesystem>

#include "tests/ldap/ldap_site.h"

namespace {

class LdapPlan : public LdapSite {
  protected:
    Outcome plan(const Words &words, const std::string &descriptor3 = "") {
        Words all = {QRTSCRIPT_PATH, "plan"};
        environment["HOME"] = home.path();
        all.insert(all.end(), words.begin(), words.end());
        return process_run(all, environment, descriptor3);
    }
    // The plan without what says who has read.
    static std::string effects(const Outcome &outcome) {
        return outcome.out.substr(std::min(outcome.out.find("\nlogin\n"), outcome.out.size()));
    }
    Words asAdmin(const std::string &user) const {
        return {"--as", "admin.acme", "--password-fd", "3", "--as-of", "2026-03-05 09:05", "--user", user};
    }
    bool homeIsEmpty() const { return std::filesystem::is_empty(home.path()); }
};

} // namespace

TEST_F(LdapPlan, IsThatOfTheEmbeddedTree) {
    onTheEmbeddedTree();
    const Outcome embedded = plan({"--as-of", "2026-03-05 09:05", "--user", "jdoe.sales.acme"});
    ASSERT_EQ(embedded.status, 0) << embedded.err;
    Slapd server(sample());
    onServers({server.uri()});
    const Outcome anonymous = plan({"--as-of", "2026-03-05 09:05", "--user", "jdoe.sales.acme"});
    EXPECT_EQ(anonymous.out, embedded.out);
    EXPECT_EQ(anonymous.err, "");
    const Outcome read = plan(asAdmin("jdoe.sales.acme"), "starfish\n");
    EXPECT_EQ(effects(read), effects(embedded));
    EXPECT_THAT(read.out, testing::HasSubstr("as admin.acme.\n"));
    EXPECT_EQ(read.status, 0) << read.err;
}

TEST_F(LdapPlan, ReadsAsWhoTheAdministratorSaysWhereNobodyElseMay) {
    Slapd server(forUsersOnly());
    onServers({server.uri()});
    const Outcome anonymous = plan({"--user", "jdoe.sales.acme"});
    EXPECT_EQ(anonymous.status, 2);
    EXPECT_THAT(anonymous.err,
                testing::HasSubstr("qrtscript plan: cannot plan a login of jdoe.sales.acme to tree ACME: "));
    const Outcome read = plan(asAdmin("mlee.emea.sales.acme"), "starfish\n");
    EXPECT_EQ(read.status, 0) << read.err;
    EXPECT_THAT(read.out, testing::HasSubstr("Good morning, Mina Lee."));
    const Outcome wrong = plan(asAdmin("mlee.emea.sales.acme"), "seaweed\n");
    EXPECT_EQ(wrong.status, 2);
    EXPECT_THAT(wrong.err, testing::HasSubstr("cannot log in as admin.acme to tree ACME"));
}

TEST_F(LdapPlan, AsksTheServerForNothingButToRead) {
    Slapd server(sample());
    onServers({server.uri()}, "offline = true\n");
    const Outcome read = plan(asAdmin("jdoe.sales.acme"), "starfish\n");
    ASSERT_EQ(read.status, 0) << read.err;
    EXPECT_TRUE(homeIsEmpty()) << "no copy is kept";
    std::string binds;
    for (const std::string &operation : server.operations()) {
        if (operation.find("BIND") != operation.npos) binds += operation + "\n";
        for (const char *change : {"MOD", "ADD", "DEL", "PASSMOD"})
            EXPECT_EQ(operation.find(change), operation.npos) << operation;
    }
    EXPECT_EQ(binds.find("jdoe"), binds.npos) << binds;
}

TEST_F(LdapPlan, ASilentDirectoryIsStatus2) {
    onServers({"ldap://127.0.0.1:1"});
    const Outcome outcome = plan({"--user", "jdoe.sales.acme"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, testing::HasSubstr("qrtscript plan: "));
    EXPECT_EQ(outcome.out, "");
}

TEST_F(LdapPlan, ListsTheUsersInPages) {
    Slapd::Setup setup = sample();
    for (int i = 0; i < 25; i++) {
        const std::string name = "user" + std::to_string(i);
        setup.ldif += "\ndn: cn=" + name + ",ou=it,o=acme\nobjectClass: inetOrgPerson\ncn: " + name + "\nsn: x\n";
    }
    setup.database += "sizelimit size.soft=10 size.hard=10 size.prtotal=unlimited\n";
    Slapd server(setup);
    onServers({server.uri()});
    const Outcome outcome = plan({"--all-users", "--summary", "--container", "it.acme"});
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, testing::HasSubstr("\n26 users, 1 with mistakes or refused\n"));
    EXPECT_THAT(outcome.out, testing::HasSubstr("\nEverybody gets\n  maps F: = SRV1/SYS:public\n"));
}

TEST_F(LdapPlan, AnIncompleteListOfUsersIsAnError) {
    Slapd::Setup setup = sample();
    setup.database += "sizelimit size.soft=2 size.hard=2 size.prtotal=2\n";
    Slapd server(setup);
    onServers({server.uri()});
    const Outcome outcome = plan({"--all-users", "--summary"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, testing::HasSubstr("the list of users is incomplete: server size limit exceeded"));
}
