#include "tests/ldap/kerberos.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cstdlib>
#include <stdexcept>

#include "tests/support/slapd.h"

namespace {

const std::string realm = "ACME.TEST";

} // namespace

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
    centre = fork();
    if (centre == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        int log = open(folder.path("log").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        dup2(log, STDOUT_FILENO);
        dup2(log, STDERR_FILENO);
        execl("/usr/sbin/krb5kdc", "krb5kdc", "-n", "-r", realm.c_str(), static_cast<char *>(nullptr));
        _exit(125);
    }
    while (!answers()) {
        if (waitpid(centre, nullptr, WNOHANG) != 0) {
            centre = -1;
            throw std::runtime_error("krb5kdc does not start: " + file_text(folder.path("log")));
        }
        poll(nullptr, 0, 10);
    }
}

Kerberos::~Kerberos() {
    if (centre > 0) {
        ::kill(centre, SIGKILL);
        waitpid(centre, nullptr, 0);
    }
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

bool Kerberos::answers() const {
    int made = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bool connected = connect(made, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
    close(made);
    return connected;
}

void Kerberos::getTicket(const std::string &user) {
    run({"/usr/bin/kinit", "-k", "-t", folder.path(user + ".keytab"), user});
}

void Kerberos::getExpiredTicket(const std::string &user) {
    run({"/usr/bin/kinit", "-l", "1s", "-k", "-t", folder.path(user + ".keytab"), user});
    while (process_run({"/usr/bin/klist", "-s"}, settings).status == 0) {
    }
}

void Kerberos::forgetTickets() {
    run({"/usr/bin/kdestroy"});
}

void Kerberos::changeServiceKey() {
    admin("ktadd -k " + folder.path("other.keytab") + " ldap/localhost");
}

void Kerberos::fallSilent() {
    ::kill(centre, SIGSTOP);
}
