// Logins on a 389 Directory Server.

#include "tests/directories/real_directory.h"
#include "tests/support/certificates.h"
#include "tests/support/slapd.h"

namespace {

class DirectoryServer389 : public RealDirectory {
  protected:
    DirectoryServer389() { onDirectory(server); }
    DirectoryServer server;
};

} // namespace

TEST_F(DirectoryServer389, TakesTheRightPasswordOfAFullName) {
    const Outcome outcome = login("uid=anna.staff", "Us3r-Passw0rd");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, testing::HasSubstr("User: anna\n"));
}

TEST_F(DirectoryServer389, RefusesAWrongPassword) {
    const Outcome outcome = login("uid=anna.staff", "wrong");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, testing::EndsWith(": wrong password\n"));
}

TEST_F(DirectoryServer389, FillsInNestedGroups) {
    const Outcome outcome =
        process_run({"/usr/bin/ldapsearch", "-x", "-LLL", "-o", "ldif_wrap=no", "-H", "ldap://127.0.0.1", "-D",
                     "cn=Directory Manager", "-w", "Manag3r-Passw0rd", "-b", server.base(), "(uid=anna)", "memberOf"},
                    process_environment());
    EXPECT_THAT(outcome.out, testing::AllOf(testing::HasSubstr("memberOf: cn=staff,ou=staff"),
                                            testing::HasSubstr("memberOf: cn=everyone,ou=staff")));
}

TEST_F(DirectoryServer389, UsersLogInWithWhatTheyType) {
    for (const char *schema : {"rfc2307", "auto"}) {
        onDirectory(server, std::string("schema = \"") + schema + "\"\n");
        for (const char *typed : {"anna", "anna.staff", "uid=anna,ou=staff,dc=example,dc=test"})
            EXPECT_THAT(scriptOf(typed, "Us3r-Passw0rd", who_logs_in).out, testing::HasSubstr("\nanna anna staff N "))
                << schema << " " << typed;
    }
}

TEST_F(DirectoryServer389, GroupsOfGroupsCount) {
    const std::string script =
        "IF MEMBER OF \".staff.staff\" THEN WRITE \"staff\"\nIF MEMBER OF \".everyone.staff\" THEN WRITE "
        "\"everyone\"\n";
    onDirectory(server, "schema = \"rfc2307\"\n");
    EXPECT_THAT(scriptOf("anna", "Us3r-Passw0rd", script).out, testing::EndsWith("\nstaff\neveryone\n"));
}

TEST_F(DirectoryServer389, TheManualsPageLeadsToALogin) {
    const Outcome outcome =
        loginOfManual("389 Directory Server", {{"/etc/ssl/ds1-ca.crt", server.caFile()}}, "Us3r-Passw0rd");
    EXPECT_THAT(outcome.out, testing::HasSubstr("\nYou are anna of staff.\nYou are on the staff.\n"
                                                "So you are one of everyone.\n"))
        << outcome.err;
}

TEST_F(DirectoryServer389, SaysWhatIsWrongWithAnAccount) {
    const struct {
        std::string user, password, why;
    } cases[] = {
        {"expired", "Us3r-Passw0rd", "the password of expired.staff has expired: ask the administrator for a new one"},
        {"must", "Us3r-Passw0rd", "the password of UID=must.OU=staff must be changed"},
        {"inactive", "Us3r-Passw0rd", "UID=inactive.OU=staff is disabled"},
        {"locked", "wrong", "wrong password"},
        {"locked", "wrong", "wrong password"},
    };
    for (const auto &one : cases) {
        const Outcome outcome = login("uid=" + one.user + ".staff", one.password);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.err, "qrtlogin: cannot log in as uid=" + one.user + ".staff to tree ACME: " + one.why + "\n");
    }
}

TEST_F(DirectoryServer389, SaysUntilWhenAnAccountIsLocked) {
    for (int tries = 0; tries < 3; tries++) login("uid=locked.staff", "wrong");
    const Outcome outcome = login("uid=locked.staff", "Us3r-Passw0rd");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, testing::ContainsRegex(": UID=locked.OU=staff is locked until 20[0-9-]* [0-9]*:[0-9]*\n"));
}

TEST_F(DirectoryServer389, SaysHowLongAPasswordLasts) {
    EXPECT_EQ(login("uid=expiring.staff", "Us3r-Passw0rd").err, "Your password expires in 7 days.\n")
        << "from the first warning on the server counts these anew";
    server.configure("passwordGraceLimit", "2");
    EXPECT_EQ(login("uid=expired.staff", "Us3r-Passw0rd").err,
              "Your password has expired: it can be used for 1 more login.\n");
    EXPECT_EQ(login("uid=expired.staff", "Us3r-Passw0rd").err,
              "Your password has expired: this was the last login with it.\n");
}

TEST_F(DirectoryServer389, ScriptsReadWhenThePasswordExpires) {
    onDirectory(server, "schema = \"rfc2307\"\n");
    const std::string script = "WRITE \"%PASSWORD_EXPIRES\"\nLASTLOGINTIME\n";
    EXPECT_THAT(scriptOf("expiring", "Us3r-Passw0rd", script).out, testing::HasSubstr("\n7\n"));
}

TEST_F(DirectoryServer389, TakesANewPassword) {
    const Words change = {"--change-password", "--password-fd", "3", "uid=must.staff"};
    EXPECT_EQ(loginWith(change, "Us3r-Passw0rd\nN3w-Passw0rd\n"),
              (Outcome{0, "", "Your password has been changed.\n"}));
    EXPECT_EQ(login("uid=must.staff", "N3w-Passw0rd").status, 0);
    EXPECT_THAT(loginWith(change, "N3w-Passw0rd\nx\n").err,
                testing::HasSubstr("uid=must.staff: the new password is too simple"));
    EXPECT_THAT(loginWith(change, "N3w-Passw0rd\nUs3r-Passw0rd\n").err,
                testing::HasSubstr("the new password was used before"));
}

// A consumer, whose supplier is a server of the tree as well.
TEST_F(DirectoryServer389, AChangeThatItRefersIsMadeAtTheSupplier) {
    Certificates certificates;
    Slapd::Setup setup;
    setup.suffix = DirectoryServer::base();
    setup.schemes = "ldaps";
    setup.global = certificates.serverLines();
    setup.access = "access to attrs=userPassword by anonymous auth by self =xw by * none\naccess to * by * read\n";
    setup.ldif =
        "dn: dc=example,dc=test\nobjectClass: organization\nobjectClass: dcObject\no: Example\ndc: example\n\n"
        "dn: ou=staff,dc=example,dc=test\nobjectClass: organizationalUnit\nou: staff\n\n"
        "dn: uid=anna,ou=staff,dc=example,dc=test\nobjectClass: inetOrgPerson\nuid: anna\ncn: Anna\nsn: Meier\n"
        "userPassword: Us3r-Passw0rd\n";
    Slapd supplier(setup);
    server.modify(
        "dn: cn=replica,cn=dc\\3Dexample\\2Cdc\\3Dtest,cn=mapping tree,cn=config\nchangetype: add\n"
        "objectClass: nsDS5Replica\ncn: replica\nnsDS5ReplicaRoot: dc=example,dc=test\nnsDS5ReplicaId: 65535\n"
        "nsDS5ReplicaType: 2\nnsDS5Flags: 0\nnsDS5ReplicaBindDN: cn=supplier,cn=config\nnsDS5ReplicaReferral: " +
        supplier.uri("ldaps") + "/dc=example,dc=test\n");
    const Words change = {"--change-password", "--password-fd", "3", "uid=anna.staff"};
    const std::string passwords = "Us3r-Passw0rd\nN3w-Passw0rd\n";
    EXPECT_THAT(loginWith(change, passwords).err,
                testing::HasSubstr("the password can only be changed at " + supplier.uri("ldaps")));
    folder.write("authorities.pem", file_text(server.caFile()) + file_text(certificates.path("ca.pem")));
    onStrictServers(
        {DirectoryServer::uri(), supplier.uri("ldaps")},
        "base = \"" + DirectoryServer::base() + "\"\nca_file = \"" + folder.path("authorities.pem") + "\"\n");
    EXPECT_EQ(loginWith(change, passwords), (Outcome{0, "", "Your password has been changed.\n"}));
    onStrictServers({supplier.uri("ldaps")},
                    "base = \"" + DirectoryServer::base() + "\"\nca_file = \"" + certificates.path("ca.pem") + "\"\n");
    EXPECT_EQ(login("uid=anna.staff", "N3w-Passw0rd").status, 0);
}
