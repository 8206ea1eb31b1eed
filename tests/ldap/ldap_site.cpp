#include "tests/ldap/ldap_site.h"

#include <cstdlib>

LdapSite::LdapSite() : environment(process_environment()) {
    setenv("HOME", home.path().c_str(), 1);
    unsetenv("XDG_CACHE_HOME");
}

void LdapSite::onServers(const std::vector<std::string> &uris, const std::string &more) {
    onStrictServers(uris, "allow_cleartext_loopback = true\n" + more);
}

void LdapSite::onStrictServers(const std::vector<std::string> &uris, const std::string &more) {
    std::string list;
    for (const std::string &uri : uris) list += (list.empty() ? "\"" : ", \"") + uri + "\"";
    configure("[[tree]]\nname = \"ACME\"\nuris = [" + list + "]\n" + defaultServer + more);
    environment["ZKCLIENT_CONF"] = folder.path("client.toml");
}

void LdapSite::onTheEmbeddedTree() {
    environment["ZKCLIENT_CONF"] = SOURCE_DIR "/examples/acme/client.toml";
}

Outcome LdapSite::login(const std::string &user, const std::string &password) {
    TempFolder fresh;
    environment["HOME"] = keptHome.empty() ? fresh.path() : keptHome;
    return process_run({QRTLOGIN_PATH, "--password-fd", "3", user}, environment, password + "\n");
}

uint32_t LdapSite::loginHere(const char *user, const char *password) {
    if (here == 0) here = context();
    return ClientTest::login(here, user, password);
}

std::string LdapSite::lastError() {
    return ClientTest::last_error();
}

Slapd::Setup LdapSite::sample() {
    Slapd::Setup setup;
    setup.ldif = sample_ldif();
    return setup;
}
