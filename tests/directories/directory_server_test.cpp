// Logins on a 389 Directory Server.

#include "tests/directories/real_directory.h"

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

static const char *const who = "WRITE \"%LOGIN_NAME %CN %LOGIN_CONTEXT %LOGIN_ALIAS_CONTEXT %FULL_NAME\"\n";

TEST_F(DirectoryServer389, UsersLogInWithWhatTheyType) {
    for (const char *schema : {"rfc2307", "auto"}) {
        onDirectory(server, std::string("schema = \"") + schema + "\"\n");
        for (const char *typed : {"anna", "anna.staff", "uid=anna,ou=staff,dc=example,dc=test"})
            EXPECT_THAT(scriptOf(typed, "Us3r-Passw0rd", who).out, testing::HasSubstr("\nanna anna staff N "))
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
