// A site that has users in slapd and nothing else: the schemas that come with it (core, cosine, inetorgperson, nis), no
// object or attribute of the client's, TLS from an authority of its own. Below dc=school,dc=example:
//   uid=anna,ou=staff           Anna Meier, mail anna@school.example, password "sunflower"; a posixAccount
//   cn=staff,ou=groups          groupOfNames with anna
//   cn=everyone,ou=groups       groupOfNames with cn=staff
//   cn=posix,ou=groups          posixGroup with memberUid anna
#ifndef TESTS_LDAP_STOCK_SITE_H
#define TESTS_LDAP_STOCK_SITE_H

#include "tests/ldap/ldap_site.h"

class StockSite : public LdapSite {
  protected:
    StockSite();

    // The server's setup, with more entries.
    Slapd::Setup stock(const std::string &moreLdif = "");
    // The tree ACME there, over TLS, with more lines of its table.
    void onStock(const Slapd &server, const std::string &more = "");

    static constexpr const char *base = "dc=school,dc=example";
    // An inetOrgPerson below ou=staff, with more lines.
    static std::string person(const std::string &uid, const std::string &password, const std::string &more = "");

    Certificates certificates;
};

#endif
