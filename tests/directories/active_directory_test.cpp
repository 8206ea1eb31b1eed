// Logins in an Active Directory domain.

#include "tests/directories/real_directory.h"

namespace {

class ActiveDirectory : public RealDirectory {
  protected:
    ActiveDirectory() { onDirectory(domain); }
    // What the domain says of a password for the DN below its base, whether or not it lets anyone look the user up.
    Verdict check(const std::string &dn, const char *password) {
        Entry user;
        name_parse_dn(dn + "," + domain.base(), baseName(domain), &user.name, nullptr);
        return store(domain)->checkPassword(user, password);
    }
    // What the domain says of a new password: nothing, or the last digits of the code and the sentence.
    std::string change(const std::string &dn, const char *before, const char *after) {
        Entry user;
        name_parse_dn(dn + "," + domain.base(), baseName(domain), &user.name, nullptr);
        return outcomeOf([&] { store(domain)->changePassword(user, before, after); });
    }
    DomainController domain;
};

} // namespace

TEST_F(ActiveDirectory, RefusesAnAnonymousSearch) {
    const Outcome outcome =
        process_run({"/usr/bin/ldapsearch", "-x", "-LLL", "-H", "ldap://127.0.0.1", "-b", domain.base(), "(cn=anna)"},
                    process_environment());
    EXPECT_EQ(outcome.status, 1) << outcome.out << outcome.err;
    EXPECT_EQ(outcome.out, "");
}

TEST_F(ActiveDirectory, TakesTheRightPassword) {
    EXPECT_EQ(check("CN=Anna Meier,CN=Users", "Ann4-Passw0rd"), Verdict::accepted);
}

TEST_F(ActiveDirectory, RefusesAWrongPassword) {
    EXPECT_EQ(check("CN=Anna Meier,CN=Users", "wrong"), Verdict::wrongPassword);
}

TEST_F(ActiveDirectory, RefusesAnUnknownUserAsAWrongPassword) {
    EXPECT_EQ(check("CN=nobody,CN=Users", "Ann4-Passw0rd"), Verdict::wrongPassword);
}

TEST_F(ActiveDirectory, UsersLogInWithWhatTheyType) {
    for (const char *schema : {"ad", "auto"}) {
        onDirectory(domain, std::string("schema = \"") + schema + "\"\n");
        for (const char *typed : {"anna", "Anna", "anna@ad.example.test", "ADTEST\\anna", ".anna.Users",
                                  "CN=Anna Meier,CN=Users,DC=ad,DC=example,DC=test"})
            EXPECT_THAT(scriptOf(typed, "Ann4-Passw0rd", who_logs_in).out,
                        testing::HasSubstr("\nanna anna Users N Anna Meier\n"))
                << schema << " " << typed;
    }
}

TEST_F(ActiveDirectory, TheDirectorysOwnContextIsFound) {
    onStrictServers({domain.uri()}, "schema = \"ad\"\nca_file = \"" + std::string(domain.caFile()) + "\"\n");
    EXPECT_THAT(scriptOf("anna", "Ann4-Passw0rd", who_logs_in).out,
                testing::HasSubstr("\nanna anna Users.ad.example.test N Anna Meier\n"));
}

// Over DNS alone: no server is named.
TEST_F(ActiveDirectory, TheDomainsOwnNameServerListsItsControllers) {
    environment["ZKCLIENT_CONF"] = folder.path("client.toml");
    const auto onDomainInDns = [&](const std::string &name, const std::string &schema) {
        configure("[[tree]]\nname = \"ACME\"\nservers = \"srv:" + name + "\"\nschema = \"" + schema + "\"\nbase = \"" +
                  domain.base() + "\"\nca_file = \"" + domain.caFile() + "\"\n");
    };
    for (const char *schema : {"ad", "auto"}) {
        onDomainInDns("ad.example.test", schema);
        const Outcome outcome = scriptOf("anna", "Ann4-Passw0rd", who_logs_in);
        EXPECT_THAT(outcome.out, testing::HasSubstr("\nanna anna Users N Anna Meier\n")) << schema << outcome.err;
    }
    onDomainInDns("elsewhere.ad.example.test", "ad");
    EXPECT_THAT(login("anna", "Ann4-Passw0rd").err,
                testing::HasSubstr("DNS lists no server for _ldap._tcp.dc._msdcs.elsewhere.ad.example.test"));
}

TEST_F(ActiveDirectory, AnUnknownUserIsAWrongPassword) {
    onDirectory(domain, "schema = \"ad\"\n");
    for (const char *typed : {"nobody", "anna.Elsewhere", "nobody@ad.example.test"})
        EXPECT_NE(scriptOf(typed, "Ann4-Passw0rd", who_logs_in).status, 0) << typed;
}

TEST_F(ActiveDirectory, GroupsOfGroupsAndThePrimaryGroupCount) {
    const std::string script =
        "IF MEMBER OF \".staff.Users\" THEN WRITE \"staff\"\nIF MEMBER OF \".everyone.Users\" THEN WRITE \"everyone\"\n"
        "IF MEMBER OF \".Domain Users.Users\" THEN WRITE \"primary\"\n"
        "IF MEMBER OF \".Domain Admins.Users\" THEN WRITE \"admin\"\n";
    onDirectory(domain, "schema = \"ad\"\n");
    EXPECT_THAT(scriptOf("anna", "Ann4-Passw0rd", script).out, testing::EndsWith("\nstaff\neveryone\nprimary\n"));
    onDirectory(domain, "schema = \"ad\"\nnested_groups = false\n");
    EXPECT_THAT(scriptOf("anna", "Ann4-Passw0rd", script).out, testing::EndsWith("\nstaff\nprimary\n"));
}

TEST_F(ActiveDirectory, AUsersAttributesCanBeReadByTheirOwnNames) {
    onDirectory(domain, "schema = \"ad\"\n");
    EXPECT_THAT(scriptOf("anna", "Ann4-Passw0rd",
                         "WRITE \"%sAMAccountName %HOME_DRIVE %SCRIPT_PATH\"\n"
                         "WRITE \"%objectSid\"\nWRITE \"%unicodePwd\"\n")
                    .out,
                testing::EndsWith("\nanna H: logon\\anna.cmd\n%objectSid\n%unicodePwd\n"));
}

TEST_F(ActiveDirectory, TheHomeDirectoryIsAPathOnAServer) {
    onDirectory(domain, "schema = \"ad\"\n");
    EXPECT_THAT(scriptOf("anna", "Ann4-Passw0rd", "WRITE \"%HOME_DIRECTORY\"\n").out,
                testing::HasSubstr("\nFS1/HOME:anna\n"));
}

TEST_F(ActiveDirectory, AUserInAValueHasTheAccountsName) {
    domain.tool({"user", "create", "carl", "Us3r-Passw0rd", "--given-name=Carl", "--surname=Reed"});
    domain.modify(
        "dn: CN=Carl Reed,CN=Users,DC=ad,DC=example,DC=test\nchangetype: modify\nadd: manager\n"
        "manager: CN=Anna Meier,CN=Users,DC=ad,DC=example,DC=test\n");
    onDirectory(domain, "schema = \"ad\"\n");
    EXPECT_THAT(scriptOf("carl", "Us3r-Passw0rd", "WRITE \"%MANAGER\"\n").out, testing::EndsWith("\nanna.Users\n"));
}

// The domain writes it itself: one of a few days ago stays.
TEST_F(ActiveDirectory, TheLastLoginIsTheDomainsOwn) {
    onDirectory(domain, "schema = \"ad\"\n");
    const time_t then = time(nullptr) - time_t{3} * 86400;
    domain.modify(
        "dn: CN=Anna Meier,CN=Users,DC=ad,DC=example,DC=test\nchangetype: modify\nreplace: lastLogonTimestamp\n"
        "lastLogonTimestamp: " +
        std::to_string((then + 11'644'473'600) * 10'000'000) + "\n");
    tm parts = {};
    char text[32] = "";
    strftime(text, sizeof text, "%H:%M:%S %Y", localtime_r(&then, &parts));
    EXPECT_THAT(scriptOf("anna", "Ann4-Passw0rd", "LASTLOGINTIME\n").out, testing::HasSubstr(text));
}

TEST_F(ActiveDirectory, ATicketIsTheLoginOfItsOwner) {
    for (const auto &[name, value] : domain.realm()) environment[name] = value;
    const Outcome ticket =
        process_run({"/bin/sh", "-c", "echo Ann4-Passw0rd | /usr/bin/kinit anna >/dev/null"}, environment);
    ASSERT_EQ(ticket.status, 0) << ticket.err;
    onStrictServers({"ldap://dc1.ad.example.test"},
                    "base = \"" + domain.base() + "\"\nschema = \"ad\"\nsasl_gssapi = true\n");
    home.write("who.qrt", who_logs_in);
    for (const char *typed : {"anna", "ADTEST\\anna", "anna@ad.example.test"})
        EXPECT_THAT(loginWith({"--login-script", home.path("who.qrt"), typed}).out,
                    testing::HasSubstr("\nanna anna Users N Anna Meier\n"))
            << typed;
    const Outcome other = loginWith({"--login-script", home.path("who.qrt"), "locked"});
    EXPECT_EQ(other.status, 2);
    EXPECT_THAT(other.err, testing::HasSubstr("the ticket belongs to"));
}

TEST_F(ActiveDirectory, TheRootIsNoUser) {
    onDirectory(domain, "schema = \"ad\"\n");
    for (const char *typed : {"[Root]", ".[Root]", "dc=ad,dc=example,dc=test"})
        EXPECT_EQ(login(typed, "Ann4-Passw0rd").status, 5) << typed;
}

TEST_F(ActiveDirectory, AnAccountMayHaveADotInItsName) {
    domain.tool({"user", "create", "anna.meier", "Us3r-Passw0rd"});
    onDirectory(domain, "schema = \"ad\"\n");
    EXPECT_THAT(scriptOf("anna.meier", "Us3r-Passw0rd", who_logs_in).out, testing::HasSubstr("\nanna\\.meier "));
}

// What the domain says of one form of an account's name is true of all.
TEST_F(ActiveDirectory, ARefusalEndsTheCopyOfEveryFormOfTheName) {
    keptHome = home.path();
    for (const char *refused : {"anna", "ADTEST\\anna", "anna@ad.example.test"}) {
        onDirectory(domain, "schema = \"ad\"\noffline = true\n");
        ASSERT_EQ(login("anna@ad.example.test", "Ann4-Passw0rd").status, 0);
        domain.tool({"user", "disable", "anna"});
        EXPECT_EQ(login(refused, "Ann4-Passw0rd").status, 2) << refused;
        domain.tool({"user", "enable", "anna"});
        onStrictServers({"ldaps://127.0.0.2"}, "base = \"" + domain.base() + "\"\nca_file = \"" + domain.caFile() +
                                                   "\"\nschema = \"ad\"\noffline = true\ntime_limit = 1\n");
        EXPECT_NE(login("anna@ad.example.test", "Ann4-Passw0rd").status, 0) << refused;
    }
}

TEST_F(ActiveDirectory, TheManualsPageLeadsToALogin) {
    const Outcome outcome =
        loginOfManual("Active Directory", {{"/etc/ssl/ad-ca.pem", domain.caFile()}}, "Ann4-Passw0rd");
    EXPECT_THAT(outcome.out, testing::HasSubstr(", Anna Meier.\nYou are anna of Users.\nYou are on the staff.\n"
                                                "So you are one of everyone.\n"))
        << outcome.err;
}

TEST_F(ActiveDirectory, SaysWhatIsWrongWithAnAccount) {
    const struct {
        const char *user, *password;
        Verdict::State state;
    } cases[] = {
        {"expired", "Us3r-Passw0rd", Verdict::passwordExpired},
        {"must", "Us3r-Passw0rd", Verdict::mustChange},
        {"disabled", "Us3r-Passw0rd", Verdict::disabled},
        {"gone", "Us3r-Passw0rd", Verdict::accountExpired},
        {"gone", "wrong", Verdict::wrongPassword},
        {"locked", "wrong", Verdict::wrongPassword},
        {"locked", "wrong", Verdict::wrongPassword},
        {"locked", "wrong", Verdict::wrongPassword},
        {"locked", "Us3r-Passw0rd", Verdict::locked},
    };
    for (const auto &one : cases)
        EXPECT_EQ(check(std::string("CN=") + one.user + ",CN=Users", one.password), one.state) << one.user;
}

TEST_F(ActiveDirectory, TakesANewPassword) {
    const std::string anna = "CN=Anna Meier,CN=Users";
    EXPECT_EQ(change(anna, "wrong", "N3w-Passw0rd"), "E001 the old password is wrong");
    EXPECT_THAT(change(anna, "Ann4-Passw0rd", "short"),
                testing::StartsWith("E007 the server does not accept the new password (the password is too short"));
    EXPECT_THAT(change(anna, "Ann4-Passw0rd", "withoutcapitals"), testing::HasSubstr("complexity criteria"));
    EXPECT_THAT(change(anna, "Ann4-Passw0rd", "Ann4-Passw0rd"), testing::HasSubstr("already used"));
    EXPECT_EQ(change(anna, "Ann4-Passw0rd", "N\xC3\xA9w-Passw0rd"), "");
    EXPECT_EQ(check(anna, "N\xC3\xA9w-Passw0rd"), Verdict::accepted);
    EXPECT_EQ(change(anna, "N\xC3\xA9w-Passw0rd", "\xFF-Passw0rd"), "E007 the password is not valid UTF-8");
}

namespace {

class ActiveDirectoryPassword : public ActiveDirectory {
  protected:
    ActiveDirectoryPassword() {
        onDirectory(domain, "schema = \"ad\"\n");
        for (const auto &[name, value] : domain.realm()) environment[name] = value;
    }
    Outcome changed(const std::string &user, const std::string &before, const std::string &after) {
        return loginWith({"--change-password", "--password-fd", "3", user}, before + "\n" + after + "\n");
    }
    static std::string refusal(const std::string &user, const std::string &why) {
        return "qrtlogin: cannot log in as " + user + " to tree ACME: " + why + "\n";
    }
    const Outcome done{0, "", "Your password has been changed.\n"};
};

} // namespace

TEST_F(ActiveDirectoryPassword, WhatIsWrongWithAnAccountIsSaid) {
    EXPECT_EQ(login("disabled", "Us3r-Passw0rd").err, refusal("disabled", "CN=disabled is disabled"));
    EXPECT_EQ(login("gone", "Us3r-Passw0rd").err, refusal("gone", "CN=gone has expired"));
    EXPECT_EQ(login("must", "Us3r-Passw0rd").err, refusal("must", "the password of CN=must must be changed"));
    EXPECT_EQ(login("expired", "Us3r-Passw0rd").err,
              refusal("expired", "the password of CN=expired has expired and must be changed"));
    EXPECT_EQ(login("anna", "wrong").err, refusal("anna", "wrong password"));
    EXPECT_EQ(login("nobody", "Us3r-Passw0rd").err, refusal("nobody", "wrong password"));
}

TEST_F(ActiveDirectoryPassword, ItsUserChangesIt) {
    EXPECT_EQ(changed("anna", "Ann4-Passw0rd", "N3w-Passw0rd"), done);
    EXPECT_EQ(login("anna@ad.example.test", "N3w-Passw0rd").status, 0);
    EXPECT_EQ(changed("ADTEST\\anna", "N3w-Passw0rd", "N3wer-Passw0rd"), done);
    EXPECT_THAT(changed("anna", "N3wer-Passw0rd", "short").err,
                testing::StartsWith("qrtlogin: cannot change the password of anna: the server does not accept the new "
                                    "password (the password is too short"));
}

// They cannot log in with the old one: the domain's key distribution centre takes the new one.
TEST_F(ActiveDirectoryPassword, WhoMustChangeItDoesThatBeforeTheLogin) {
    for (const char *user : {"must", "expired@ad.example.test"}) {
        EXPECT_THAT(changed(user, "Us3r-Passw0rd", "short").err,
                    testing::HasSubstr(": the server does not accept the new password ("));
        EXPECT_EQ(changed(user, "Us3r-Passw0rd", "N3w-Passw0rd"), done);
        EXPECT_EQ(login(user, "N3w-Passw0rd").status, 0);
    }
}

TEST_F(ActiveDirectoryPassword, APersonAtATerminalIsAsked) {
    environment["HOME"] = home.path();
    TerminalProcess process({QRTLOGIN_PATH, "must"}, environment);
    ASSERT_TRUE(process.answers("Password for must: ", "Us3r-Passw0rd\n"));
    ASSERT_TRUE(process.answers("New password for must: ", "N3w-Passw0rd\n")) << process.shown();
    ASSERT_TRUE(process.answers("New password again: ", "N3w-Passw0rd\n")) << process.shown();
    EXPECT_EQ(process.finish(), 0) << process.shown();
    EXPECT_THAT(process.shown(), testing::HasSubstr("User: must\r\n"));
}

TEST_F(ActiveDirectoryPassword, WithoutACentreItsUserLearnsWhy) {
    home.write("krb5.conf", "[libdefaults]\ndns_lookup_kdc = false\n");
    environment["KRB5_CONFIG"] = home.path("krb5.conf");
    EXPECT_THAT(changed("must", "Us3r-Passw0rd", "N3w-Passw0rd").err,
                testing::StartsWith("qrtlogin: cannot change the password of must: access denied: Kerberos: "));
}

TEST_F(ActiveDirectoryPassword, ThatItExpiresSoonIsSaid) {
    domain.tool({"domain", "passwordsettings", "set", "--max-pwd-age=10"});
    const Outcome outcome = scriptOf("anna", "Ann4-Passw0rd", "WRITE \"%PASSWORD_EXPIRES\"\n");
    EXPECT_EQ(outcome.err, "Your password expires in 9 days.\n");
    EXPECT_THAT(outcome.out, testing::EndsWith("\n9\n"));
}
