// What a site adds to its directory from a folder, around a server with no other schemas than its own.
#include <sys/stat.h>
#include <algorithm>
#include <filesystem>

#include "tests/ldap/ldap_site.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr const char *school = R"(dn: dc=school,dc=example
objectClass: organization
objectClass: dcObject
o: School
dc: school

dn: ou=staff,dc=school,dc=example
objectClass: organizationalUnit
ou: staff
description:: V1JJVEUgImZyb20gdGhlIGRlc2NyaXB0aW9uIgo=

dn: ou=teachers,ou=staff,dc=school,dc=example
objectClass: organizationalUnit
ou: teachers

dn: uid=anna,ou=teachers,ou=staff,dc=school,dc=example
objectClass: inetOrgPerson
uid: anna
cn: Anna Lark
sn: Lark
displayName: Anna Lark
userPassword: poppy

dn: cn=choir,ou=staff,dc=school,dc=example
objectClass: groupOfNames
cn: choir
member: uid=anna,ou=teachers,ou=staff,dc=school,dc=example
)";

constexpr const char *additions = R"(dn: uid=anna,ou=teachers,ou=staff,dc=school,dc=example
qrtProfile: cn=night,ou=staff,dc=school,dc=example

dn: cn=night,ou=staff,dc=school,dc=example
objectClass: qrtProfileObject

dn: cn=FS1,ou=site,dc=school,dc=example
objectClass: qrtServer

dn: cn=FS1_HOME,ou=site,dc=school,dc=example
objectClass: qrtVolume
qrtHostServer: cn=FS1,ou=site,dc=school,dc=example
qrtHostResourceName: HOME
)";

class LdapOverlay : public LdapSite {
  protected:
    LdapOverlay() {
        umask(022);
        defaultServer = "";
        folder.write("scripts/site.toml", "version = 1\n");
        folder.write("scripts/site.ldif", additions);
        folder.write("scripts/staff/_container.qrt", "WRITE \"staff: %FULL_NAME\"\n");
        folder.write("scripts/staff/night.qrt", "WRITE \"night shift\"\n");
        folder.write("scripts/staff/teachers/anna.qrt",
                     "WRITE \"anna\"\nIF MEMBER OF \".choir.staff\" THEN WRITE \"sings\"\nMAP H:=FS1/HOME:anna\n");
    }
    static Slapd::Setup stock() {
        Slapd::Setup setup;
        setup.ldif = school;
        setup.suffix = "dc=school,dc=example";
        setup.ownSchema = false;
        return setup;
    }
    void on(const Slapd &server, const std::string &more = "scripts = \"scripts\"\n") {
        onServers({server.uri()}, "base = \"dc=school,dc=example\"\n" + more);
    }
    Outcome annasLogin() { return login("anna.teachers.staff", "poppy"); }
    std::string inside(const std::string &name) const { return folder.path("scripts/" + name); }
};

// The lines in their order, whatever stands between them.
testing::Matcher<std::string> shows(const std::vector<std::string> &lines) {
    std::string pattern;
    for (const std::string &line : lines) pattern += (pattern.empty() ? "" : "(.|\n)*") + line;
    return testing::ContainsRegex(pattern);
}

} // namespace

TEST_F(LdapOverlay, ALoginNeedsNoSchemaOnTheServer) {
    Slapd server(stock());
    on(server);
    const Outcome outcome = annasLogin();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.out, shows({"staff: Anna Lark", "night shift", "anna", "sings", "FS1/HOME:anna"}));
}

TEST_F(LdapOverlay, UsersTypeWhatTheyTypeElsewhere) {
    Slapd server(stock());
    on(server, "scripts = \"scripts\"\nschema = \"rfc2307\"\nflat_groups = true\n");
    for (const char *typed : {"anna", "uid=anna,ou=teachers,ou=staff,dc=school,dc=example"}) {
        const Outcome outcome = login(typed, "poppy");
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_THAT(outcome.out, shows({"staff: Anna Lark", "night shift", "anna", "sings", "FS1/HOME:anna"}));
    }
}

// As for a script in the directory.
TEST_F(LdapOverlay, AScriptOfTheBaseIsReportedAsNotRun) {
    folder.write("scripts/_container.qrt", "WRITE \"base\"\n");
    Slapd server(stock());
    on(server);
    const Outcome outcome = annasLogin();
    EXPECT_THAT(outcome.err, HasSubstr("the login script of dc=school,dc=example is not run"));
    EXPECT_THAT(outcome.out, Not(HasSubstr("base")));
}

// The profile, the server and the volume are the folder's alone: nobody is asked for them.
TEST_F(LdapOverlay, TheFolderCostsNoSearch) {
    const std::string script = "IF MEMBER OF \".choir.staff\" THEN WRITE \"sings\"\n";
    folder.write("scripts/staff/teachers/anna.qrt", script + "MAP H:=FS1/HOME:anna\n");
    Slapd server(stock()), plain(stock());
    on(server);
    EXPECT_THAT(annasLogin().out, HasSubstr("sings"));
    folder.write("own.qrt", script);
    on(plain, "");
    EXPECT_THAT(
        loginWith({"--password-fd", "3", "--login-script", folder.path("own.qrt"), "anna.teachers.staff"}, "poppy\n")
            .out,
        HasSubstr("sings"));
    EXPECT_EQ(server.operations(), plain.operations());
}

TEST_F(LdapOverlay, CopiesHoldOnlyWhatTheServersSaid) {
    keptHome = home.path();
    Slapd server(stock());
    on(server, "scripts = \"scripts\"\noffline = true\n");
    const Outcome online = annasLogin();
    ASSERT_EQ(online.status, 0) << online.err;
    size_t copies = 0;
    for (const auto &file : std::filesystem::directory_iterator(home.path(".cache/brasca-zk"))) {
        copies++;
        const std::string text = file_text(file.path());
        EXPECT_THAT(text, AllOf(Not(HasSubstr("qrtLoginScript")), Not(HasSubstr("qrtProfile"))));
    }
    EXPECT_GE(copies, 1u);
    server.kill();
    folder.write("scripts/staff/teachers/anna.qrt", "WRITE \"anna, changed\"\n");
    const Outcome offline = annasLogin();
    EXPECT_EQ(offline.status, 0) << offline.err;
    EXPECT_THAT(offline.out, shows({"staff: Anna Lark", "night shift", "anna, changed"}));
}

TEST_F(LdapOverlay, ARefusedFolderEndsTheLoginBeforeThePasswordIsSent) {
    Slapd server(stock());
    on(server);
    ASSERT_EQ(chmod(inside("staff/_container.qrt").c_str(), 0666), 0);
    const Outcome outcome = annasLogin();
    EXPECT_NE(outcome.status, 0);
    EXPECT_THAT(outcome.err, HasSubstr(inside("staff/_container.qrt") + ": a group or others may write to it"));
    for (const std::string &operation : server.operations()) EXPECT_THAT(operation, Not(HasSubstr("BIND dn=\"uid")));
}

TEST_F(LdapOverlay, AnAttributeToSpareHoldsTheScriptsOfAllObjects) {
    Slapd server(stock());
    on(server, "login_script_attribute = \"description\"\n");
    EXPECT_THAT(annasLogin().out, HasSubstr("from the description\n"));
    on(server, "login_script_attribute = \"description\"\nscripts = \"scripts\"\n");
    EXPECT_THAT(annasLogin().out, AllOf(HasSubstr("staff: Anna Lark"), Not(HasSubstr("from the description"))));
}
