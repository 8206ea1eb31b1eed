// One connection to one LDAP server: opened with every security option set by hand, then asked. Everything ends at the
// deadline that a request is given. What a server or the way to it does wrong is an LdapTrouble, after which the
// connection is of no more use; what a server answers is a result, whatever it says.
#ifndef PLATFORM_CLIENT_LDAP_CONNECTION_H
#define PLATFORM_CLIENT_LDAP_CONNECTION_H

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/client/core/config.h"
#include "platform/client/ldap/stream.h"

// Who a connection is to be bound as; an empty DN is nobody. Another server may have to be told the password at any
// time of a login, so that it has to be kept; it is kept masked with random bytes, so that neither a search through the
// memory nor a core file shows it as text, and wiped with the object.
class LdapIdentity {
  public:
    LdapIdentity() = default;
    LdapIdentity(const std::string &distinguishedName, const char *secret);
    LdapIdentity(LdapIdentity &&other) noexcept { *this = std::move(other); }
    LdapIdentity &operator=(LdapIdentity &&other) noexcept;
    LdapIdentity(const LdapIdentity &) = delete;
    LdapIdentity &operator=(const LdapIdentity &) = delete;
    ~LdapIdentity();

    const std::string &dn() const { return dn_; }

    // The password as text, wiped with the object.
    class Revealed {
      public:
        explicit Revealed(const LdapIdentity &identity);
        ~Revealed();
        Revealed(const Revealed &) = delete;
        Revealed &operator=(const Revealed &) = delete;
        berval value() { return {text_.size() - 1, text_.data()}; }

      private:
        std::vector<char> text_; // NUL-terminated
    };

  private:
    void wipe();
    std::string dn_;
    std::vector<char> masked_;
    std::vector<char> mask_;
};

// The server that a referral led to, and whether everybody on the way there may see a password. Empty: the tree's own.
struct LdapOrigin {
    std::string server;
    bool trusted = false;
};

struct LdapEntry {
    std::string dn;
    std::vector<std::pair<std::string, std::vector<std::string>>> attributes; // name without options, values
    LdapOrigin origin = {};
};

struct LdapSearch {
    std::string base;
    int scope;
    std::string filter;
    std::vector<std::string> attributes;
    int sizeLimit = 0; // 0: the server's own
};

struct LdapAnswer {
    int result = 0; // LDAP's result code
    std::string text;
    std::vector<LdapEntry> entries; // also those before a limit was hit

    // Where the rest is: URIs of which any will do, instead of the answer (LDAP_REFERRAL) and beside the entries.
    std::vector<std::string> referral;
    std::vector<std::vector<std::string>> references;
    // Not empty: something of the rest could not be had, and why.
    std::string missing;
    uint32_t missingCode = 0;
};

class LdapConnection {
  public:
    // Connects, and secures the connection when the configuration says so. Throws LdapTrouble.
    LdapConnection(const ConfigLdap &config, const std::string &uri, LdapDeadline deadline);
    LdapConnection(const LdapConnection &) = delete;
    LdapConnection &operator=(const LdapConnection &) = delete;

    // All throw LdapTrouble. A password is sent only where nobody can read it on the way: ZKE_TLS_REQUIRED otherwise.
    // A server that answers a login with success and takes the connection for an anonymous one all the same has checked
    // nothing: CodedError, ZKE_NO_ACCESS.
    // `bind` goes by what the configuration trusts: the password, the user's ticket, or the kernel. Throws CodedError,
    // ZKE_TICKET_REFUSED, for a ticket that is missing, not taken or somebody else's: no other server will take it; and
    // ZKE_NO_ACCESS where the kernel's word is not taken, or for somebody else's.
    LdapAnswer bind(const LdapIdentity &identity, LdapDeadline deadline);
    LdapAnswer bindWithPassword(const LdapIdentity &identity, LdapDeadline deadline);
    LdapAnswer search(const LdapSearch &search, LdapDeadline deadline);

    const std::string &uri() const { return address.text; }
    bool isSecured() const { return secured; }
    // Can nobody but the server hear what is said, or is that what the configuration wants?
    bool isTrusted() const { return secured || address.local || (config.cleartextLoopback && loopback); }
    // Has it answered before? A connection that was idle may have been closed for that alone.
    bool hasAnswered() const { return answered; }
    bool wasClosed() const { return watch.event() == LdapWatch::Closed; }

  private:
    void setOptions(LdapDeadline deadline);
    void setTlsOptions(int requireCertificate);
    void secure(LdapDeadline deadline);
    [[noreturn]] void refuseTls(LdapDeadline deadline);
    bool isForLocalhost(LdapDeadline deadline);
    void leaveOutNameCheck();
    std::string inspectedCertificate(LdapDeadline deadline) const;
    std::string peerCertificate() const;
    void startTls(LdapDeadline deadline);
    void begin(LdapDeadline deadline);
    // As ldap_result: 0 when that moment has come.
    int waitFor(int message, LdapDeadline until, LDAPMessage **messages);
    LDAPMessage *await(int message);
    // Sends a request by a call of libldap's that numbers it, and waits for the answer. `what`: the request, for
    // errors.
    template <typename Send>
    LDAPMessage *ask(const char *what, Send send);
    LdapAnswer take(LDAPMessage *messages);
    LdapAnswer bindExternal(const LdapIdentity &identity);
    LdapAnswer bindWithTicket(const LdapIdentity &identity, LdapDeadline deadline);
    std::string nameIn(LDAPMessage *answer);
    std::string whoAmI();
    bool isAnonymous();
    [[noreturn]] void fail(int result, const char *what) const;

    // A connection that looks at the certificate and is never used for anything else.
    struct Inspect {};
    LdapConnection(const LdapConnection &refused, Inspect, LdapDeadline deadline);
    void open(LdapDeadline deadline);

    const ConfigLdap &config;
    LdapUri address;
    std::shared_ptr<LdapWire> wire = std::make_shared<LdapWire>(); // also of a login that hangs
    LdapWatch &watch = wire->watch;
    LDAP *ld = nullptr;
    bool loopback = false;
    bool secured = false;
    bool answered = false;
};

#endif
