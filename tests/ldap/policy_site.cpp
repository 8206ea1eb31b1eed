#include "tests/ldap/policy_site.h"

#include <ctime>

// A policy below ou=policies: passwords last ten days.
static std::string policy(const std::string &name, const std::string &lines, int failures = 3) {
    return "dn: cn=" + name +
           ",ou=policies,dc=school,dc=example\nobjectClass: device\nobjectClass: pwdPolicy\npwdAttribute: "
           "userPassword\ncn: " +
           name + "\npwdLockout: TRUE\npwdMaxFailure: " + std::to_string(failures) +
           "\npwdMustChange: TRUE\npwdInHistory: 2\n" + lines + "\n";
}

static std::string under(const std::string &name) {
    return "pwdPolicySubentry: cn=" + name + ",ou=policies,dc=school,dc=example\n";
}

static std::string days_ago(double days) {
    const time_t then = time(nullptr) - static_cast<time_t>(days * 86400);
    tm parts = {};
    gmtime_r(&then, &parts);
    char text[32];
    strftime(text, sizeof text, "%Y%m%d%H%M%SZ", &parts);
    return text;
}

Slapd::Setup PolicySite::withPolicy() {
    const std::string lasting = "pwdMaxAge: 864000\npwdExpireWarning: 432000\n";
    const std::string changed = "pwdChangedTime: ";
    Slapd::Setup setup = stock(
        "dn: ou=policies,dc=school,dc=example\nobjectClass: organizationalUnit\nou: policies\n\n" +
        policy("default", lasting + "pwdLockoutDuration: 3600\n") +
        policy("graceful", lasting + "pwdGraceAuthNLimit: 2\n") +
        policy("strict", "pwdMinLength: 12\npwdCheckQuality: 2\n") + policy("lone", "", 1) +
        policy("hour", "pwdLockoutDuration: 3600\n", 1) + person("fine", "sunflower", changed + days_ago(0) + "\n") +
        person("expired", "sunflower", changed + days_ago(20) + "\n") +
        person("expiring", "sunflower", changed + days_ago(9.5) + "\n") +
        person("grace", "sunflower", changed + days_ago(20) + "\n" + under("graceful")) +
        person("locked", "sunflower", "pwdAccountLockedTime: 000001010000Z\n") +
        person("reset", "sunflower", "pwdReset: TRUE\n" + changed + days_ago(0) + "\n") +
        person("strict", "sunflower", under("strict")) + person("lone", "sunflower", under("lone")) +
        person("hour", "sunflower", under("hour")));
    setup.global += "moduleload ppolicy\n";
    // The overlay counts as the database's own root.
    setup.database =
        "rootdn cn=admin,dc=school,dc=example\noverlay ppolicy\nppolicy_default "
        "cn=default,ou=policies,dc=school,dc=example\nppolicy_use_lockout\n";
    setup.access = "access to attrs=userPassword by anonymous auth by self =xw by * none\naccess to * by * read\n";
    return setup;
}

size_t PolicySite::failures(const Slapd &server, const std::string &user) {
    const Outcome outcome = process_run(
        {"/usr/bin/ldapsearch", "-x", "-LLL", "-H", server.uri(), "-b",
         std::string("uid=") + user + ",ou=staff," + base, "-s", "base", "(objectClass=*)", "pwdFailureTime"},
        process_environment());
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    size_t count = 0;
    for (size_t at = outcome.out.find("pwdFailureTime: "); at != outcome.out.npos;
         at = outcome.out.find("pwdFailureTime: ", at + 1))
        count++;
    return count;
}
