#include "tests/ldap/stock_site.h"

StockSite::StockSite() {
    defaultServer.clear(); // there is none
}

static std::string entry(const std::string &rdn, const std::string &lines) {
    return "dn: " + rdn + ",dc=school,dc=example\n" + lines + "\n";
}

std::string StockSite::person(const std::string &uid, const std::string &password, const std::string &more) {
    return entry("uid=" + uid + ",ou=staff", "objectClass: inetOrgPerson\n" + more + "uid: " + uid + "\ncn: " + uid +
                                                 " Meier\nsn: Meier\nuserPassword: " + password + "\n");
}

Slapd::Setup StockSite::stock(const std::string &moreLdif) {
    Slapd::Setup setup = secured(certificates);
    setup.suffix = base;
    setup.schemas = {"core", "cosine", "inetorgperson", "nis"};
    setup.ownSchema = false;
    setup.ldif =
        "dn: dc=school,dc=example\nobjectClass: organization\nobjectClass: dcObject\no: School\ndc: school\n\n" +
        entry("ou=staff", "objectClass: organizationalUnit\nou: staff\n") +
        entry("ou=groups", "objectClass: organizationalUnit\nou: groups\n") +
        person("anna", "sunflower",
               "objectClass: posixAccount\ndisplayName: Anna Meier\nmail: anna@school.example\n"
               "uidNumber: 10001\ngidNumber: 10000\nhomeDirectory: /home/anna\n") +
        entry("cn=staff,ou=groups",
              "objectClass: groupOfNames\ncn: staff\nmember: uid=anna,ou=staff,dc=school,dc=example\n") +
        entry("cn=everyone,ou=groups",
              "objectClass: groupOfNames\ncn: everyone\nmember: cn=staff,ou=groups,dc=school,dc=example\n") +
        entry("cn=posix,ou=groups", "objectClass: posixGroup\ncn: posix\ngidNumber: 10000\nmemberUid: anna\n") +
        moreLdif;
    return setup;
}

void StockSite::onStock(const Slapd &server, const std::string &more) {
    onStrictServers({server.uri("ldaps")},
                    std::string("base = \"") + base + "\"\nca_file = \"" + certificates.path("ca.pem") + "\"\n" + more);
}
