#include "tests/ldap/kerberos.h"

#include <csignal>
#include <cstdlib>
#include <stdexcept>

static const std::string realm = "ACME.TEST";

Kerberos::Kerberos(const std::vector<std::string> &users) : port(free_port()) {
    const std::string address = "127.0.0.1:" + std::to_string(port);
    folder.write("krb5.conf", "[libdefaults]\ndefault_realm = " + realm +
                                  "\ndns_lookup_kdc = false\ndns_lookup_realm = false\n"
                                  "dns_canonicalize_hostname = false\nrdns = false\nudp_preference_limit = 1\n"
                                  "[realms]\n" +
                                  realm + " = {\nkdc = " + address + "\n}\n[domain_realm]\nlocalhost = " + realm +
                                  "\n");
    folder.write("kdc.conf", "[kdcdefaults]\nkdc_listen = \"\"\nkdc_tcp_listen = " + address + "\n[realms]\n" + realm +
                                 " = {\ndatabase_name = " + folder.path("principal") + "\nkey_stash_file = " +
                                 folder.path("stash") + "\nacl_file = " + folder.path("acl") + "\n}\n");
    settings = {{"KRB5_CONFIG", folder.path("krb5.conf")},
                {"KRB5_KDC_PROFILE", folder.path("kdc.conf")},
                {"KRB5_KTNAME", "FILE:" + folder.path("service.keytab")},
                {"KRB5CCNAME", "FILE:" + folder.path("tickets")},
                {"KRB5RCACHENAME", "none:"}};
    for (const auto &[name, value] : settings) setenv(name.c_str(), value.c_str(), 1);
    run({"/usr/sbin/kdb5_util", "create", "-s", "-r", realm, "-P", "master"});
    for (const std::string &user : users) {
        admin("addprinc -randkey " + user);
        admin("ktadd -k " + folder.path(user + ".keytab") + " " + user);
    }
    admin("addprinc -randkey ldap/localhost");
    admin("ktadd -k " + folder.path("service.keytab") + " ldap/localhost");
    centre.emplace(Words{"/usr/sbin/krb5kdc", "-n", "-r", realm}, folder.path("log"), port);
}

Kerberos::~Kerberos() {
    for (const auto &[name, value] : settings) unsetenv(name.c_str());
}

void Kerberos::run(const Words &words) {
    Variables environment = process_environment();
    environment.insert(settings.begin(), settings.end());
    Outcome outcome = process_run(words, environment);
    if (outcome.status != 0) throw std::runtime_error(words[0] + ": " + outcome.err + outcome.out);
}

void Kerberos::admin(const std::string &query) {
    // Named, since the user who runs the tests may have no name.
    run({"/usr/sbin/kadmin.local", "-r", realm, "-p", "root/admin", "-q", query});
}

void Kerberos::getTicket(const std::string &user) {
    run({"/usr/bin/kinit", "-k", "-t", folder.path(user + ".keytab"), user});
}

void Kerberos::getExpiredTicket(const std::string &user) {
    run({"/usr/bin/kinit", "-l", "1s", "-k", "-t", folder.path(user + ".keytab"), user});
    while (process_run({"/usr/bin/klist", "-s"}, settings).status == 0) {
    }
}

void Kerberos::changeServiceKey() {
    admin("ktadd -k " + folder.path("other.keytab") + " ldap/localhost");
}

void Kerberos::addPassword(const std::string &user, const std::string &password, int changePort) {
    admin("addprinc -pw " + password + " +needchange " + user);
    const std::string mark = "kdc = 127"; // not: dns_lookup_kdc = false
    std::string configuration = file_text(folder.path("krb5.conf"));
    configuration.insert(configuration.find(mark), "kpasswd_server = 127.0.0.1:" + std::to_string(changePort) + "\n");
    folder.write("krb5.conf", configuration);
}

void Kerberos::fallSilent() {
    centre->signal(SIGSTOP);
}
