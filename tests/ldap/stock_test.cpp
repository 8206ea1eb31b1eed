// Logins at a slapd that has never heard of this client.

#include "tests/ldap/stock_site.h"

using testing::AllOf;
using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST_F(StockSite, TakesTheRightPasswordOfAFullName) {
    Slapd server(stock());
    onStock(server);
    const Outcome outcome = login("uid=anna.staff", "sunflower");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, testing::HasSubstr("User: anna\n"));
}

TEST_F(StockSite, RefusesAWrongPassword) {
    Slapd server(stock());
    onStock(server);
    EXPECT_EQ(login("uid=anna.staff", "wrong"),
              (Outcome{2, "", "qrtlogin: cannot log in as uid=anna.staff to tree ACME: wrong password\n"}));
}

// Who the user is for the scripts.
static const char *const who = "WRITE \"%LOGIN_NAME %CN %LOGIN_CONTEXT %LOGIN_ALIAS_CONTEXT %FULL_NAME\"\n";

TEST_F(StockSite, UsersLogInWithWhatTheyType) {
    Slapd server(stock());
    for (const char *schema : {"rfc2307", "auto"}) {
        onStock(server, std::string("schema = \"") + schema + "\"\n");
        for (const char *typed : {"anna", "ANNA", "anna@school.example", "uid=anna,ou=staff,dc=school,dc=example",
                                  "anna.staff", ".anna.staff", "uid=anna.staff"})
            EXPECT_THAT(scriptOf(typed, "sunflower", who).out, HasSubstr("\nanna anna staff N Anna Meier\n"))
                << schema << " " << typed;
    }
}

TEST_F(StockSite, ADottedNameMayBeALoginAttribute) {
    Slapd server(stock(person("anna.meier", "tulip")));
    onStock(server, "schema = \"rfc2307\"\n");
    EXPECT_THAT(scriptOf("anna.meier", "tulip", who).out, HasSubstr("\nanna\\.meier anna\\.meier staff N "));
}

TEST_F(StockSite, AShortNameIsOneSearchAndOneBind) {
    Slapd server(stock());
    onStock(server, "schema = \"rfc2307\"\n");
    ASSERT_EQ(login("anna", "sunflower").status, 0);
    const std::vector<std::string> asked = server.operations();
    EXPECT_THAT(asked.at(0), AllOf(StartsWith("SRCH base=\"dc=school,dc=example\" scope=2"), HasSubstr("(uid=anna)")));
    EXPECT_THAT(asked.at(1), StartsWith("BIND dn=\"uid=anna,ou=staff,dc=school,dc=example\""));
}

TEST_F(StockSite, TheCopyOfALoginServesWhoTypesTheSameAttributeAgain) {
    keptHome = home.path();
    Slapd server(stock());
    onStock(server, "schema = \"rfc2307\"\noffline = true\n");
    const Outcome before = login("anna@school.example", "sunflower");
    ASSERT_EQ(before.status, 0) << before.err;
    server.kill();
    const Outcome after = login("anna@school.example", "sunflower");
    EXPECT_EQ(after.out, before.out);
    EXPECT_THAT(after.err, StartsWith("No server of tree ACME answers: using the copy made "));
    EXPECT_EQ(after.status, 0);
    EXPECT_EQ(login("anna@school.example", "wrong").status, 2);
    EXPECT_EQ(login("anna", "sunflower").status, 3) << "never typed here";
}

TEST_F(StockSite, ANameOfSeveralUsersIsRefusedWithTheirContexts) {
    const std::string other =
        "dn: ou=pupils,dc=school,dc=example\nobjectClass: organizationalUnit\nou: pupils\n\n"
        "dn: uid=anna,ou=pupils,dc=school,dc=example\nobjectClass: inetOrgPerson\nuid: anna\n"
        "cn: Anna Wren\nsn: Wren\nuserPassword: lilac\n\n";
    Slapd server(stock(other));
    onStock(server, "schema = \"rfc2307\"\n");
    EXPECT_EQ(login("anna", "lilac"),
              (Outcome{5, "",
                       "qrtlogin: cannot log in as anna to tree ACME: anna is the name of several users; add one "
                       "of the contexts, for example anna.staff: staff, pupils\n"}));
    EXPECT_THAT(scriptOf("anna.pupils", "lilac", who).out, HasSubstr("\nanna anna pupils N Anna Wren\n"));
    onStock(server, "schema = \"rfc2307\"\ndefault_context = \"pupils\"\n");
    EXPECT_THAT(scriptOf("anna", "lilac", who).out, HasSubstr("\nanna anna pupils N Anna Wren\n"));
    EXPECT_THAT(scriptOf("anna.staff", "sunflower", who).out, HasSubstr("\nanna anna staff N Anna Meier\n"));
}

TEST_F(StockSite, WhereNobodyMayReadBeforeTheBindTheDnIsMade) {
    Slapd::Setup setup = stock();
    setup.access = "access to attrs=userPassword by anonymous auth by * none\naccess to * by users read\n";
    Slapd server(setup);
    onStock(server, "schema = \"rfc2307\"\ndefault_context = \"staff\"\n");
    EXPECT_THAT(scriptOf("anna", "sunflower", who).out, HasSubstr("\nanna anna staff N Anna Meier\n"));
    EXPECT_THAT(login("anna", "wrong").err, EndsWith(": wrong password\n"));
    onStock(server, "schema = \"rfc2307\"\n");
    EXPECT_THAT(scriptOf("anna.staff", "sunflower", who).out, HasSubstr("\nanna anna staff N Anna Meier\n"));
    EXPECT_THAT(login("anna@school.example", "sunflower").err,
                HasSubstr("the server shows no users before a login: add the context of anna@school.example"));
    onStrictServers({server.uri("ldaps")},
                    "schema = \"rfc2307\"\nsearch_base = \"ou=staff,dc=school,dc=example\"\n"
                    "ca_file = \"" +
                        certificates.path("ca.pem") + "\"\n");
    EXPECT_THAT(scriptOf("anna", "sunflower", who).out, HasSubstr("\nanna anna staff.school.example N Anna Meier\n"));
    onStock(server, "schema = \"rfc2307\"\nlogin_attributes = [\"cn\", \"uid\"]\ndefault_context = \"staff\"\n");
    EXPECT_EQ(login("anna", "sunflower").status, 2) << "cn=anna is nobody";
}

TEST_F(StockSite, LoginAttributesAreTheSitesOwn) {
    Slapd server(stock(person("kb17", "tulip", "employeeNumber: 4711\n")));
    onStock(server, "schema = \"rfc2307\"\nlogin_attributes = [\"employeeNumber\"]\n");
    EXPECT_THAT(scriptOf("4711", "tulip", who).out, HasSubstr("\nkb17 kb17 staff N "));
    EXPECT_EQ(login("kb17", "tulip").status, 5);
}

TEST_F(StockSite, AttributesHaveTheNamesOfThePosixSchemas) {
    Slapd server(stock(person("carl", "tulip",
                              "objectClass: posixAccount\nobjectClass: shadowAccount\ngecos: Carl Reed,Room 1\n"
                              "uidNumber: 4\ngidNumber: 10000\nhomeDirectory: /home/carl/x\nshadowExpire: 40000\n")));
    onStock(server, "schema = \"rfc2307\"\nhome_volume = \"srv1/Homes\"\n");
    EXPECT_THAT(scriptOf("carl", "tulip", "WRITE \"%FULL_NAME, %HOME_DIRECTORY %LOGIN_EXPIRATION_TIME\"\n").out,
                HasSubstr("\nCarl Reed, SRV1/HOMES:carl/x "));
    onStock(server, "schema = \"rfc2307\"\nhome_volume = \"srv1/Homes\"\nhome_prefix = \"/home/carl\"\n");
    EXPECT_THAT(scriptOf("carl", "tulip", "WRITE \"%HOME_DIRECTORY\"\n").out, HasSubstr("\nSRV1/HOMES:x\n"));
    EXPECT_THAT(scriptOf("anna", "sunflower", "WRITE \"%HOME_DIRECTORY\"\n").out, HasSubstr("\n%HOME_DIRECTORY\n"))
        << "which is not below the prefix";
    onStock(server, "schema = \"rfc2307\"\nattributes = { displayName = \"gecos\" }\n");
    EXPECT_THAT(scriptOf("carl", "tulip", "WRITE \"%FULL_NAME %HOME_DIRECTORY\"\n").out,
                HasSubstr("\nCarl Reed,Room 1 %HOME_DIRECTORY\n"));
}

static const char *const member_of =
    "IF MEMBER OF \".staff.groups\" THEN WRITE \"staff\"\nIF MEMBER OF \".posix.groups\" THEN WRITE \"posix\"\n"
    "IF MEMBER OF \".everyone.groups\" THEN WRITE \"everyone\"\nIF MEMBER OF \".top.groups\" THEN WRITE \"top\"\n";

TEST_F(StockSite, GroupsOfGroupsAndGroupsOfAccountsCount) {
    const std::string loop =
        "dn: cn=top,ou=groups,dc=school,dc=example\nobjectClass: groupOfNames\ncn: top\n"
        "member: cn=everyone,ou=groups,dc=school,dc=example\n"
        "member: cn=top,ou=groups,dc=school,dc=example\n\n";
    Slapd server(stock(loop));
    onStock(server, "schema = \"rfc2307\"\n");
    EXPECT_THAT(scriptOf("anna", "sunflower", member_of).out, HasSubstr("\nstaff\nposix\neveryone\ntop\n"));
    onStock(server, "schema = \"rfc2307\"\nnested_groups = false\n");
    EXPECT_THAT(scriptOf("anna", "sunflower", member_of).out, EndsWith("\nstaff\nposix\n"));
    onStock(server);
    EXPECT_THAT(scriptOf("anna.staff", "sunflower", member_of).out, EndsWith("\nstaff\neveryone\ntop\n"));
}

// Two are called staff and two crew: of each, one of teachers and one of pupils.
TEST_F(StockSite, GroupsAreComparedByTheirDns) {
    const auto group = [](const std::string &rdn, const std::string &member) {
        return "dn: " + rdn +
               ",dc=school,dc=example\nobjectClass: groupOfNames\ncn: " + rdn.substr(3, rdn.find(',') - 3) +
               "\nmember: " + member + ",dc=school,dc=example\n\n";
    };
    Slapd server(stock("dn: ou=pupils,dc=school,dc=example\nobjectClass: organizationalUnit\nou: pupils\n\n" +
                       person("carl", "tulip") + group("cn=staff,ou=pupils", "UID=Carl, OU=Staff") +
                       group("cn=crew,ou=pupils", "CN=Staff, OU=Pupils") +
                       group("cn=crew,ou=groups", "cn=crew,ou=pupils")));
    onStock(server, "schema = \"rfc2307\"\n");
    std::string script;
    for (const std::string name : {"staff.groups", "staff.pupils", "crew.groups", "crew.pupils"})
        script += "IF MEMBER OF \"." + name + "\" THEN WRITE \"" + name + "\"\n";
    EXPECT_THAT(scriptOf("anna", "sunflower", script).out, EndsWith("User: anna\nstaff.groups\n"));
    EXPECT_THAT(scriptOf("carl", "tulip", script).out,
                EndsWith("User: carl\nstaff.pupils\ncrew.groups\ncrew.pupils\n"));
}

// Accounts as in an Active Directory, at a server that says of none of its rules that it finds groups of groups.
TEST_F(StockSite, GroupsOfGroupsCountWhereOnlyTheSchemaIsThatOfADomain) {
    const std::string dn = "cn=Bea Reed,ou=staff,dc=school,dc=example";
    Slapd::Setup setup = stock("dn: " + dn +
                               "\nobjectClass: inetOrgPerson\nobjectClass: extensibleObject\ncn: Bea Reed\nsn: Reed\n"
                               "sAMAccountName: bea\nseeAlso: " +
                               dn + "\nuserPassword: tulip\n\n");
    setup.schemas.emplace_back("msuser");
    const std::string staff = "member: uid=anna,ou=staff,dc=school,dc=example\n";
    setup.ldif.insert(setup.ldif.find(staff), "member: " + dn + "\n");
    Slapd server(setup);
    onStock(server, "schema = \"ad\"\n");
    EXPECT_THAT(scriptOf(dn, "tulip", member_of).out, EndsWith("\nstaff\neveryone\n"));
    onStock(server, "schema = \"ad\"\nnested_groups = false\n");
    EXPECT_THAT(scriptOf(dn, "tulip", member_of).out, EndsWith("\nstaff\n"));
    EXPECT_THAT(server.log(), Not(HasSubstr("1.2.840.113556.1.4.1941")));
}

// The server adds it to the user's memberOf (overlay dynlist).
TEST_F(StockSite, AGroupThatTheServerMakesOfASearchCounts) {
    Slapd::Setup setup = stock(
        "dn: cn=mailers,ou=groups,dc=school,dc=example\nobjectClass: groupOfURLs\ncn: mailers\n"
        "memberURL: ldap:///ou=staff,dc=school,dc=example??sub?(mail=*)\n\n"
        "dn: cn=writers,ou=groups,dc=school,dc=example\nobjectClass: groupOfNames\ncn: writers\n"
        "member: cn=mailers,ou=groups,dc=school,dc=example\n\n");
    setup.schemas.emplace_back("dyngroup");
    setup.global += "moduleload dynlist\n";
    setup.database += "overlay dynlist\ndynlist-attrset groupOfURLs memberURL member+memberOf@groupOfNames*\n";
    const Slapd server(setup);
    onStock(server, "schema = \"rfc2307\"\nflat_groups = true\n");
    const std::string script =
        "IF MEMBER OF \"staff\" THEN WRITE \"staff\"\nIF MEMBER OF \"mailers\" THEN WRITE \"mailers\"\n"
        "IF MEMBER OF \"writers\" THEN WRITE \"writers\"\n";
    EXPECT_THAT(scriptOf("anna", "sunflower", script).out, EndsWith("\nstaff\nmailers\nwriters\n"));
}

TEST_F(StockSite, ClassesHaveTheNamesThatTheSiteGivesThem) {
    Slapd server(
        stock("dn: uid=device,ou=staff,dc=school,dc=example\nobjectClass: device\n"
              "objectClass: uidObject\ncn: device\nuid: device\n\n"));
    onStock(server, "schema = \"rfc2307\"\n");
    EXPECT_EQ(login("device", "x").status, 5) << "no user";
    onStock(server, "schema = \"rfc2307\"\nclasses = { inetOrgPerson = \"device\" }\n");
    EXPECT_EQ(login("device", "x").status, 2);
}

TEST_F(StockSite, ServersAndVolumesHaveTheClassesThatTheSiteGivesThem) {
    const std::string server = "cn=FS1,ou=staff,dc=school,dc=example";
    const Slapd directory(
        stock("dn: " + server + "\nobjectClass: device\ncn: FS1\n\n" +
              "dn: cn=FS1_HOME,ou=staff,dc=school,dc=example\nobjectClass: organizationalRole\ncn: FS1_HOME\n"
              "roleOccupant: " +
              server + "\nstreet: HOME\n\n"));
    const std::string names = "attributes = { qrtHostServer = \"roleOccupant\", qrtHostResourceName = \"street\" }\n";
    const std::string script = "MAP H:=FS1/HOME:anna\n";
    onStock(directory, "schema = \"rfc2307\"\n" + names);
    EXPECT_THAT(scriptOf("anna", "sunflower", script).out, Not(HasSubstr("Drive H: = FS1/HOME:anna\n")));
    onStock(directory, "schema = \"rfc2307\"\n" + names +
                           "classes = { qrtServer = \"device\", qrtVolume = \"organizationalRole\" }\n");
    EXPECT_THAT(scriptOf("anna", "sunflower", script).out, HasSubstr("Drive H: = FS1/HOME:anna\n"));
}

TEST_F(StockSite, AUsersAttributesCanBeReadByTheirOwnNames) {
    Slapd server(stock(person("carl", "tulip",
                              "objectClass: posixAccount\nuidNumber: 4\ngidNumber: 10\nhomeDirectory: /home/carl\n"
                              "loginShell: /bin/sh\nuserCertificate;binary: x\ncarLicense: B-XY 1\n"
                              "manager: uid=anna,ou=staff,dc=school,dc=example\nsecretary: uid=anna,ou=staff,"
                              "dc=school,dc=example\nx121Address: 17\n")));
    const std::string script =
        "WRITE \"%LOGIN_SHELL %loginshell %CAR_LICENSE %SECRETARY %X121ADDRESS\"\n"
        "WRITE \"%userPassword\"\nWRITE \"%userCertificate\"\n";
    onStock(server, "schema = \"rfc2307\"\n");
    EXPECT_THAT(scriptOf("carl", "tulip", script).out,
                EndsWith("\n/bin/sh /bin/sh B-XY 1 anna.staff 17\n%userPassword\n%userCertificate\n"));
    onStock(server);
    EXPECT_THAT(scriptOf("carl.staff", "tulip", "WRITE \"%LOGIN_SHELL\"\n").out, EndsWith("\n%LOGIN_SHELL\n"));
    onStock(server, "all_attributes = true\n");
    EXPECT_THAT(scriptOf("carl.staff", "tulip", "WRITE \"%LOGIN_SHELL\"\n").out, EndsWith("\n/bin/sh\n"));
}

TEST_F(StockSite, WhatALoginHasReadByItsOwnNameIsThereOffline) {
    const std::string dn = "uid=anna,ou=staff,dc=school,dc=example";
    Slapd server(stock(person("carl", "tulip",
                              "objectClass: posixAccount\nuidNumber: 4\ngidNumber: 10\nhomeDirectory: /home/carl\n"
                              "loginShell: /bin/sh\ncarLicense: B-XY 1\ncarLicense: B-XY 2\nsecretary: " +
                                  dn + "\nuserPKCS12: x\nuserCertificate;binary: x\nlabeledURI: x\n")));
    onStock(server, "schema = \"rfc2307\"\noffline = true\n");
    keptHome = home.path();
    const std::string asked = "WRITE \"%LOGIN_SHELL %CAR_LICENSE %SECRETARY %userPassword %userCertificate\"\n";
    const Outcome before = scriptOf("carl", "tulip", asked);
    EXPECT_THAT(before.out, EndsWith("\n/bin/sh B-XY 1 anna.staff %userPassword %userCertificate\n"));
    server.kill();
    EXPECT_THAT(scriptOf("carl", "tulip", asked).out,
                EndsWith("\n/bin/sh B-XY 1 anna.staff %userPassword %userCertificate\n"));
    EXPECT_THAT(scriptOf("carl", "tulip", "WRITE \"%LABELED_URI %X_OTHER\"\n").out,
                EndsWith("\n%LABELED_URI %X_OTHER\n"))
        << "which no script of the last login at the server has read";
}

TEST_F(StockSite, AllValuesOfSuchAnAttributeAreThereOffline) {
    Slapd server(stock(person("carl", "tulip", "carLicense: B-XY 1\ncarLicense: B-XY 2\n")));
    onStock(server, "schema = \"rfc2307\"\noffline = true\n");
    ASSERT_EQ(loginHere("carl", "tulip"), ZK_OK) << lastError();
    const std::vector<std::string> both = {"B-XY 1", "B-XY 2"};
    EXPECT_EQ(read(here, "carl.staff", "CAR_LICENSE"), both) << lastError();
    ASSERT_EQ(ZKDSLogout(here), ZK_OK);
    server.kill();
    ASSERT_EQ(loginHere("carl", "tulip"), ZK_OK) << lastError();
    EXPECT_EQ(read(here, "carl.staff", "carlicense"), both) << lastError();
    ASSERT_EQ(ZKDSLogout(here), ZK_OK);
}

TEST_F(StockSite, GroupsMayBeHandedOutAsOfTheUsersContainer) {
    const std::string script =
        "IF MEMBER OF \"staff\" THEN WRITE \"staff\"\nIF MEMBER OF \"posix\" THEN WRITE "
        "\"posix\"\nIF MEMBER OF \"everyone\" THEN WRITE \"everyone\"\n";
    Slapd server(stock("dn: cn=posix,ou=staff,dc=school,dc=example\nobjectClass: organizationalRole\ncn: posix\n\n"));
    onStock(server, "schema = \"rfc2307\"\n");
    EXPECT_THAT(scriptOf("anna", "sunflower", script).out, EndsWith("User: anna\n"));
    onStock(server, "schema = \"rfc2307\"\nflat_groups = true\n");
    EXPECT_THAT(scriptOf("anna", "sunflower", script).out, EndsWith("User: anna\nstaff\neveryone\n"));
}

TEST_F(StockSite, AListOfGroupsComesInPages) {
    std::string many;
    for (int i = 0; i < 1300; i++) {
        const std::string name = "g" + std::to_string(i);
        many += "dn: cn=" + name + ",ou=groups,dc=school,dc=example\nobjectClass: groupOfNames\ncn: " + name +
                "\nmember: uid=anna,ou=staff,dc=school,dc=example\n\n";
    }
    Slapd::Setup setup = stock(many);
    setup.database += "limits * size.soft=1000 size.hard=1000 size.pr=1000 size.prtotal=unlimited\n";
    Slapd server(setup);
    onStock(server, "nested_groups = false\n");
    EXPECT_THAT(scriptOf("anna.staff", "sunflower", "IF MEMBER OF \".g1299.groups\" THEN WRITE \"the last\"\n").out,
                EndsWith("\nthe last\n"));
}

TEST_F(StockSite, TheChosenSchemaIsTraced) {
    Slapd server(stock());
    moreKeys = "trace = true\n";
    onStock(server, "schema = \"auto\"\n");
    EXPECT_THAT(login("anna", "sunflower").err, HasSubstr("Tree ACME: schema rfc2307.\n"));
}

// What all three pages show.
TEST_F(StockSite, TheManualsPageLeadsToALogin) {
    Slapd server(stock());
    const Outcome outcome = loginOfManual(
        "OpenLDAP",
        {{"ldaps://dir1.school.example", server.uri("ldaps")}, {"/etc/ssl/school-ca.pem", certificates.path("ca.pem")}},
        "sunflower");
    EXPECT_THAT(outcome.out, HasSubstr(", Anna Meier.\nYou are anna of staff.\nYou are on the staff.\n"
                                       "So you are one of everyone.\n"))
        << outcome.err;
}
