#include "platform/client/ldap/resolver.h"

#include <ldap.h>
#include <netinet/in.h>
#include <resolv.h>
#include <sasl/sasl.h>
#include <sys/socket.h>
#include <system_error>

#include "platform/catalogue.h"
#include "platform/client/core/waiting.h"
#include "platform/zk.h"

namespace {

struct Lookup {
    std::string host;
    std::string port;
    int error = EAI_MEMORY;
    LdapAddresses found;

    void run(int flags) {
        addrinfo hints = {};
        hints.ai_socktype = SOCK_STREAM;
        hints.ai_flags = flags;
        addrinfo *list = nullptr;
        error = getaddrinfo(host.c_str(), port.c_str(), &hints, &list);
        found.reset(error == 0 ? list : nullptr);
    }
};

} // namespace

Bounded ldap_lookup_start(const std::string &what, std::function<void()> work) {
    try {
        return Bounded(std::move(work));
    } catch (const std::system_error &error) {
        throw LdapTrouble(ZKE_DIRECTORY_UNREACHABLE,
                          what + ": " + catalogue_format("cannot start a thread: %s", error.what()));
    }
}

// Within libldap's start nobody else can use libldap, so that its look-up has to end soon by itself as well: where the
// system asks name servers, each is asked once, for a second. The settings are the thread's own.
// It also starts SASL, which loads every mechanism that is installed, and with them some twenty libraries.
static void start_libldap(bool saslMechanisms) {
    if (!saslMechanisms) {
        static char none[] = "/dev/null"; // no directory
        sasl_set_path(SASL_PATH_TYPE_PLUGIN, none);
    }
    if (res_init() == 0) {
        _res.retrans = 1;
        _res.retry = 1;
    }
    int version = 0;
    ldap_get_option(nullptr, LDAP_OPT_PROTOCOL_VERSION, &version);
}

LdapAddresses ldap_resolve(const LdapUri &uri, LdapDeadline deadline) {
    auto lookup = std::make_shared<Lookup>();
    lookup->host = uri.host;
    lookup->port = uri.port;
    lookup->run(AI_NUMERICHOST); // asks no server
    if (lookup->error == EAI_NONAME &&
        !ldap_waiting_done(ldap_lookup_start(uri.text, [lookup]() { lookup->run(0); }), deadline)) {
        throw LdapTrouble(ZKE_HOST_LOOKUP_SILENT, catalogue_format("%1$s: timed out looking up the host name %2$s",
                                                                   uri.text.c_str(), uri.host.c_str()));
    }
    if (lookup->error != 0) {
        throw LdapTrouble(ZKE_DIRECTORY_UNREACHABLE, catalogue_format("%1$s: cannot connect: %2$s", uri.text.c_str(),
                                                                      gai_strerror(lookup->error)));
    }
    return std::move(lookup->found);
}

static bool mechanisms_are_kept;

void ldap_library_keep_mechanisms() {
    mechanisms_are_kept = true;
}

void ldap_library_ready(bool saslMechanisms, LdapDeadline deadline) {
    const bool load = saslMechanisms || mechanisms_are_kept;
    static const Bounded started = ldap_lookup_start("libldap", [load]() { start_libldap(load); });
    if (!ldap_waiting_done(started, deadline)) {
        throw LdapTrouble(ZKE_HOST_LOOKUP_SILENT,
                          catalogue_text("timed out looking up this machine's own host name: add it to /etc/hosts"));
    }
}
