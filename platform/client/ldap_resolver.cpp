#include "platform/client/ldap_resolver.h"

#include <netinet/in.h>
#include <resolv.h>
#include <sys/socket.h>
#include <system_error>

#include "platform/client/bounded.h"
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

Bounded start(const std::string &what, std::function<void()> work) {
    try {
        return Bounded(std::move(work));
    } catch (const std::system_error &error) {
        throw LdapTrouble(ZKE_DIRECTORY_UNREACHABLE, what + ": cannot start a thread: " + error.what());
    }
}

// Within libldap's start nobody else can use libldap, so that its look-up has to end soon by itself as well: where the
// system asks name servers, each is asked once, for a second. The settings are the thread's own.
void start_libldap() {
    if (res_init() == 0) {
        _res.retrans = 1;
        _res.retry = 1;
    }
    int version = 0;
    ldap_get_option(nullptr, LDAP_OPT_PROTOCOL_VERSION, &version);
}

} // namespace

LdapAddresses ldap_resolve(const LdapUri &uri, LdapDeadline deadline) {
    auto lookup = std::make_shared<Lookup>();
    lookup->host = uri.host;
    lookup->port = uri.port;
    lookup->run(AI_NUMERICHOST); // asks nobody
    if (lookup->error == EAI_NONAME && !start(uri.text, [lookup]() { lookup->run(0); }).doneBy(deadline)) {
        throw LdapTrouble(ZKE_HOST_LOOKUP_SILENT,
                          uri.text + ": the look-up of the host name " + uri.host + " did not end in time");
    }
    if (lookup->error != 0) {
        throw LdapTrouble(ZKE_DIRECTORY_UNREACHABLE, uri.text + ": cannot connect: " + gai_strerror(lookup->error));
    }
    return std::move(lookup->found);
}

void ldap_library_ready(LdapDeadline deadline) {
    static const Bounded started = start("libldap", start_libldap);
    if (!started.doneBy(deadline)) {
        throw LdapTrouble(ZKE_HOST_LOOKUP_SILENT,
                          "the look-up of this machine's own name did not end in time: /etc/hosts should have it");
    }
}
