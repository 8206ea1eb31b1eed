// The stock site with the password policy overlay: users whose passwords are in every state that it knows, each of them
// uid=STATE,ou=staff with the password "sunflower".
#ifndef TESTS_LDAP_POLICY_SITE_H
#define TESTS_LDAP_POLICY_SITE_H

#include "tests/ldap/stock_site.h"

class PolicySite : public StockSite {
  protected:
    // expired, locked, reset (must change), expiring (within a day), grace (two logins left), fine, strict (the new
    // password has to be longer), lone (one failed login locks), hour (likewise, for that long).
    Slapd::Setup withPolicy();
    // How many failed logins of the user the server counts.
    static size_t failures(const Slapd &server, const std::string &user);
};

#endif
