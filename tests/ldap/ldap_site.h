// What the LDAP tests share: a configuration for a tree on servers, a user's home, and verbs over the login program and
// over the client in this process.
#ifndef TESTS_LDAP_LDAP_SITE_H
#define TESTS_LDAP_LDAP_SITE_H

#include "tests/support/certificates.h"
#include "tests/support/client_fixture.h"
#include "tests/support/process.h"
#include "tests/support/slapd.h"

// The exit status of private_resolver.sh where the kernel allows no network of its own.
constexpr int no_namespace = 77;

class LdapSite : public ClientTest {
  protected:
    LdapSite();

    // The tree ACME on these servers, with more lines of its table; passwords in the clear are allowed.
    void onServers(const std::vector<std::string> &uris, const std::string &more = "");
    // The same, and passwords need TLS or a local socket.
    void onStrictServers(const std::vector<std::string> &uris, const std::string &more = "");
    // The sample's own configuration: the tree in an LDIF file.
    void onTheEmbeddedTree();

    // A login with qrtlogin, in a home of its own.
    Outcome login(const std::string &user = "jdoe.sales.acme", const std::string &password = "sunflower");
    // The same with a script of the test's own in place of the user's.
    Outcome loginWithScript(const std::string &script);
    // The login of a user with this text as the script.
    Outcome scriptOf(const std::string &user, const std::string &password, const std::string &script);
    // The first login of a page of docs/existing-directories.md, by the commands that make its client.toml and its
    // script. `changes`: what stands there, and what takes its place here.
    Outcome loginOfManual(const std::string &page, const std::vector<std::pair<std::string, std::string>> &changes,
                          const std::string &password);
    // The same with nobody and nothing to give a password.
    Outcome loginWithoutPassword(const std::string &user = "jdoe.sales.acme");
    // A login in this process.
    uint32_t loginHere(const char *user = "jdoe.sales.acme", const char *password = "sunflower");
    std::string lastError();

    static Slapd::Setup sample();
    // The sample where only users may read; where the process itself is jdoe on the local socket; over TLS as well.
    static Slapd::Setup forUsersOnly();
    static Slapd::Setup forThisProcess();
    static Slapd::Setup secured(Certificates &certificates);

    TempFolder home;
    Variables environment;
    std::string defaultServer = "default_server = \"SRV1\"\n";
    std::string moreKeys; // before the trees
    std::string keptHome; // not empty: logins share this home
    uint32_t here = 0;    // the context of loginHere

    Outcome loginWith(Words words, const std::string &descriptor3 = "");
};

#endif
