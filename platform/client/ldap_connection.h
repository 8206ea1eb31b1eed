// One connection to one LDAP server: opened with every security option set by hand, then asked. Everything ends at the
// deadline that a request is given. What a server or the way to it does wrong is an LdapTrouble, after which the
// connection is of no more use; what a server answers is a result, whatever it says.
#ifndef PLATFORM_CLIENT_LDAP_CONNECTION_H
#define PLATFORM_CLIENT_LDAP_CONNECTION_H

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/client/config.h"
#include "platform/client/ldap_stream.h"

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

struct LdapEntry {
    std::string dn;
    std::vector<std::pair<std::string, std::vector<std::string>>> attributes; // name without options, values
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
};

class LdapConnection {
  public:
    // Connects, and secures the connection when the configuration says so. Throws LdapTrouble.
    LdapConnection(const ConfigLdap &config, const std::string &uri, LdapDeadline deadline);
    LdapConnection(const LdapConnection &) = delete;
    LdapConnection &operator=(const LdapConnection &) = delete;

    // Both throw LdapTrouble. A password is sent only where nobody can read it on the way: ZKE_TLS_REQUIRED otherwise.
    LdapAnswer bind(const LdapIdentity &identity, LdapDeadline deadline);
    LdapAnswer search(const LdapSearch &search, LdapDeadline deadline);

    const std::string &uri() const { return address.text; }
    // Has it answered before? A connection that was idle may have been closed for that alone.
    bool hasAnswered() const { return answered; }
    bool wasClosed() const { return watch.event() == LdapWatch::Closed; }

  private:
    void setOptions(LdapDeadline deadline);
    void setTlsOptions(int requireCertificate);
    void secure(LdapDeadline deadline);
    [[noreturn]] void refuseTls(LdapDeadline deadline);
    std::string peerCertificate(LdapDeadline deadline);
    void startTls(LdapDeadline deadline);
    void begin(LdapDeadline deadline);
    LDAPMessage *await(int message);
    LdapAnswer take(LDAPMessage *messages);
    LdapAnswer bindExternal(const LdapIdentity &identity);
    [[noreturn]] void fail(int result, const char *what) const;

    // A connection that looks at the certificate and is never used for anything else.
    struct Inspect {};
    LdapConnection(const LdapConnection &refused, Inspect, LdapDeadline deadline);
    void open(LdapDeadline deadline);

    const ConfigLdap &config;
    LdapUri address;
    LdapWatch watch;
    struct Unbind {
        void operator()(LDAP *handle) const { ldap_unbind_ext(handle, nullptr, nullptr); }
    };
    std::unique_ptr<LDAP, Unbind> owner; // after the watch, which has to outlive it
    LDAP *ld = nullptr;
    bool loopback = false;
    bool secured = false;
    bool answered = false;
};

#endif
