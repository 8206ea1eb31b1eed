// One connection to one LDAP server: opened with every security option set by hand, then asked. Everything ends at the
// deadline that a request is given. What a server or the way to it does wrong is an LdapTrouble, after which the
// connection is of no more use; what a server answers is a result, whatever it says.
#ifndef PLATFORM_CLIENT_LDAP_CONNECTION_H
#define PLATFORM_CLIENT_LDAP_CONNECTION_H

#include <memory>
#include <string>
#include <vector>

#include "platform/client/core/config.h"
#include "platform/client/ldap/answer.h"
#include "platform/client/ldap/identity.h"
#include "platform/client/ldap/stream.h"

class LdapConnection {
  public:
    // Connects, and secures the connection when the configuration says so: the certificate has to name `certified`, or
    // the URI's host where that is empty. Throws LdapTrouble.
    LdapConnection(const ConfigLdap &config, const std::string &uri, LdapDeadline deadline,
                   const std::string &certified = "");
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
    // An extended operation about a password, and the replacement of a value that only who knows it can take away. What
    // is sent is the whole capacity of the secrets; the answer has the server's policy controls.
    LdapAnswer extended(const char *kind, Secret *value, LdapDeadline deadline);
    LdapAnswer exchange(const std::string &dn, const char *attribute, Secret *oldValue, Secret *newValue,
                        LdapDeadline deadline);

    // Changes an entry, all or nothing. `condition`: a filter that it has to fit (RFC 4528), LDAP_ASSERTION_FAILED
    // otherwise; empty for none.
    LdapAnswer modify(const std::string &dn, const std::vector<LdapModification> &changes, const std::string &condition,
                      LdapDeadline deadline);

    // Replaces a value without waiting for the answer.
    void tell(const std::string &dn, const std::string &attribute, const std::string &value);

    const std::string &uri() const { return address_.text; }
    bool isSecured() const { return secured_; }
    // Can only the server read what is sent, or is that what the configuration wants?
    bool isTrusted() const { return secured_ || address_.local || (config_.cleartextLoopback && loopback_); }
    // Has it answered before? A connection that was idle may have been closed for that alone.
    bool hasAnswered() const { return answered_; }
    bool wasClosed() const { return watch_.event() == LdapWatch::Closed; }

  private:
    void secure(LdapDeadline deadline);
    [[noreturn]] void refuseTls(LdapDeadline deadline);
    bool isForLocalhost(LdapDeadline deadline);
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
    LdapAnswer searchOnce(const LdapSearch &search, const std::string &cookie, LdapDeadline deadline);
    void readRanges(LdapAnswer *answer, LdapDeadline deadline);
    void refuseTooMuch(const LdapAnswer &answer) const;
    LdapAnswer bindExternal(const LdapIdentity &identity);
    LdapAnswer bindWithTicket(const LdapIdentity &identity, LdapDeadline deadline);
    std::string nameIn(LDAPMessage *answer);
    std::string whoAmI();
    bool isAnonymous(std::string *who);
    [[noreturn]] void fail(int result, const char *what) const;

    // A connection that looks at the certificate and is never used for anything else.
    struct Inspect {};
    LdapConnection(const LdapConnection &refused, Inspect, LdapDeadline deadline);
    void open(LdapDeadline deadline);

    const ConfigLdap &config_;
    LdapUri address_;
    std::shared_ptr<LdapWire> wire_ = std::make_shared<LdapWire>(); // also of a login that hangs
    LdapWatch &watch_ = wire_->watch;
    LDAP *ld_ = nullptr;
    bool loopback_ = false;
    bool secured_ = false;
    bool answered_ = false;
};

#endif
