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
