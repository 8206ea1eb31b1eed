#include "tests/ldap/replicas.h"

#include <poll.h>
#include <stdexcept>

#include "platform/client/ldap/connection.h"

static std::string replication(int number, int providerPort) {
    return "rootdn cn=replica,o=acme\nrootpw replica\nsyncrepl rid=00" + std::to_string(number) +
           " provider=ldap://127.0.0.1:" + std::to_string(providerPort) +
           " type=refreshAndPersist retry=\"1 +\" searchbase=o=acme bindmethod=simple"
           " binddn=cn=replica,o=acme credentials=replica\n";
}

Slapd::Setup mutual_provider(int number, int ownPort, int otherPort, const std::string &ldif) {
    Slapd::Setup setup;
    setup.ldif = ldif;
    setup.port = ownPort;
    setup.global = "serverID " + std::to_string(number) + "\n";
    setup.database = replication(number, otherPort) + "multiprovider on\noverlay syncprov\n";
    return setup;
}

static std::string ldif_with_login_time() {
    std::string ldif = sample_ldif();
    const std::string jdoe = "dn: cn=jdoe,ou=sales,o=acme\n";
    return ldif.insert(ldif.find(jdoe) + jdoe.size(), "qrtLastLoginTime: 20200101000000Z\n");
}

static Slapd::Setup changeable(Certificates &certificates) {
    Slapd::Setup setup;
    setup.schemes = "ldaps";
    setup.global = certificates.serverLines();
    setup.access =
        "access to attrs=userPassword by anonymous auth by self =xw by * none\n"
        "access to attrs=qrtLastLoginTime by self write by * read\naccess to * by * read\n";
    return setup;
}

Slapd::Setup change_provider(Certificates &certificates) {
    Slapd::Setup setup = changeable(certificates);
    setup.ldif = ldif_with_login_time();
    setup.database = "rootdn cn=replica,o=acme\nrootpw replica\noverlay syncprov\n";
    return setup;
}

Slapd::Setup read_only_copy(Certificates &certificates, int providerPort, const std::string &updateref) {
    Slapd::Setup setup = changeable(certificates);
    setup.database = replication(1, providerPort) + "updateref " + updateref + "\n";
    return setup;
}

Slapd::Setup stale_copy(Certificates &certificates, const std::string &updateref) {
    Slapd::Setup setup = read_only_copy(certificates, free_port(), updateref);
    setup.ldif = ldif_with_login_time();
    return setup;
}

bool eventually(const std::function<bool()> &condition) {
    constexpr int most = 1500, pause = 20; // half a minute
    for (int tries = 0; tries < most; tries++) {
        if (condition()) return true;
        poll(nullptr, 0, pause);
    }
    return false;
}

static LdapDeadline soon() {
    return LdapClock::now() + std::chrono::seconds(5);
}

void await_copy_of_the_sample(const Slapd &server) {
    const ConfigLdap config;
    const auto isThere = [&] {
        LdapConnection connection(config, server.uri(), soon());
        return connection.search({"o=acme", LDAP_SCOPE_SUBTREE, "(cn=managers)", {"cn"}}, soon()).entries.size() == 1;
    };
    if (!eventually(isThere)) throw std::runtime_error("the directory has not been replicated");
}

bool takes_password(const Slapd &server, const std::string &dn, const char *password) {
    ConfigLdap config;
    config.cleartextLoopback = true;
    LdapConnection connection(config, server.uri(), soon());
    return connection.bindWithPassword({dn, password}, soon()).result == LDAP_SUCCESS;
}
