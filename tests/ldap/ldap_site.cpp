#include "tests/ldap/ldap_site.h"

#include <unistd.h>
#include <cstdlib>
#include <regex>

#include "tests/support/manual.h"

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
    configure(moreKeys + "[[tree]]\nname = \"ACME\"\nuris = [" + list + "]\n" + defaultServer + more);
    environment["ZKCLIENT_CONF"] = folder.path("client.toml");
}

void LdapSite::onTheEmbeddedTree() {
    environment["ZKCLIENT_CONF"] = SOURCE_DIR "/examples/acme/client.toml";
}

Outcome LdapSite::login(const std::string &user, const std::string &password) {
    return loginWith({"--password-fd", "3", user}, password + "\n");
}

Outcome LdapSite::loginWithScript(const std::string &script) {
    return loginWith({"--password-fd", "3", "--login-script", script, "jdoe.sales.acme"}, "sunflower\n");
}

Outcome LdapSite::scriptOf(const std::string &user, const std::string &password, const std::string &script) {
    home.write("script.qrt", script);
    return loginWith({"--password-fd", "3", "--login-script", home.path("script.qrt"), user}, password + "\n");
}

Outcome LdapSite::loginOfManual(const std::string &page,
                                const std::vector<std::pair<std::string, std::string>> &changes,
                                const std::string &password) {
    constexpr const char *document = "existing-directories.md";
    std::string commands = manual_block(document, page, "sh");
    for (const auto &[from, to] : changes) commands = replaced_once(commands, from, to);
    commands = manual_block(document, "hello", "sh") + commands;
    // The folders of the documents, in another place.
    TempFolder machine;
    commands = std::regex_replace(commands, std::regex("/etc/(opt/)?brasca"), machine.path("$&"));
    const Outcome done = process_run({"/bin/sh", "-ec", commands}, process_environment());
    if (done.status != 0) return done;
    environment["ZKCLIENT_CONF"] = machine.path("etc/opt/brasca/zk/client.toml");
    return loginWith({"--password-fd", "3", "--login-script", machine.path("etc/brasca/hello.qrt"), "anna"},
                     password + "\n");
}

Outcome LdapSite::loginWithoutPassword(const std::string &user) {
    return loginWith({user});
}

Outcome LdapSite::loginWith(Words words, const std::string &descriptor3) {
    TempFolder fresh;
    environment["HOME"] = keptHome.empty() ? fresh.path() : keptHome;
    words.insert(words.begin(), QRTLOGIN_PATH);
    return process_run(words, environment, descriptor3);
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

Slapd::Setup LdapSite::forUsersOnly() {
    Slapd::Setup setup = sample();
    setup.access = "access to attrs=userPassword by anonymous auth by * none\naccess to * by users read by * none\n";
    return setup;
}

Slapd::Setup LdapSite::forThisProcess() {
    Slapd::Setup setup = sample();
    setup.global = "authz-regexp gidNumber=" + std::to_string(getegid()) + "[+]uidNumber=" + std::to_string(geteuid()) +
                   ",cn=peercred,cn=external,cn=auth cn=jdoe,ou=sales,o=acme\n";
    return setup;
}

Slapd::Setup LdapSite::secured(Certificates &certificates) {
    Slapd::Setup setup = sample();
    setup.schemes = "ldaps";
    setup.global = certificates.serverLines();
    return setup;
}
