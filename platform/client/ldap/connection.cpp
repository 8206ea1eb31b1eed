#include "platform/client/ldap/connection.h"

#include <openldap.h>
#include <unistd.h>
#include <cstring>
#include <deque>
#include <memory>

#include "platform/catalogue.h"
#include "platform/client/core/names.h"
#include "platform/client/core/waiting.h"
#include "platform/client/ldap/certificate.h"
#include "platform/client/ldap/options.h"
#include "platform/client/ldap/ticket.h"
#include "platform/zk.h"

static bool is_same_dn(const std::string &one, const std::string &other) {
    Name first;
    Name second;
    if (!one.empty() && equal_nocase(one, other)) return true; // also of a form that no entry of the tree has
    return !other.empty() && name_parse_dn(one, {}, &first, nullptr) && name_parse_dn(other, {}, &second, nullptr) &&
           name_equal(first, second);
}

// As "Who am I?" was answered.
static const char *name_or_anonymous(const std::string &who) {
    return who.empty() ? catalogue_text("an anonymous user") : who.c_str();
}

namespace {

// Asks the server for what it has to say of the password. One that does not know the control ignores it.
class PolicyRequest {
  public:
    LDAPControl **list() { return list_; }

  private:
    std::string kind_ = LDAP_CONTROL_PASSWORDPOLICYREQUEST;
    LDAPControl wanted_ = {kind_.data(), {0, nullptr}, 0};
    LDAPControl *list_[2] = {&wanted_, nullptr};
};

} // namespace

// libldap compares the name in its URI with the certificate, and asks for the ticket for it.
static std::string uri_for_libldap(const LdapUri &address) {
    if (address.certified == address.host) return address.text;
    return (address.tls ? "ldaps://" : "ldap://") + address.certified + ":" + address.port;
}

LdapConnection::LdapConnection(const ConfigLdap &configuration, const std::string &uri, LdapDeadline deadline,
                               const std::string &certified)
    : config_(configuration), address_(ldap_uri_parse(uri)) {
    if (!certified.empty()) address_.certified = certified;
    open(deadline);
    secure(deadline);
}

void LdapConnection::open(LdapDeadline deadline) {
    ldap_waiting_for(address_.text);
    int descriptor = ldap_stream_connect(address_, config_.localOwner, deadline, &loopback_);
    int protocol = address_.local ? LDAP_PROTO_IPC : LDAP_PROTO_TCP;
    int result = ldap_init_fd(descriptor, protocol, uri_for_libldap(address_).c_str(), &ld_);
    if (result != LDAP_SUCCESS) {
        close(descriptor); // libldap takes a part of what it parses as a URI for a list, and refuses it unused
        throw LdapTrouble(ZKE_DIRECTORY_UNREACHABLE, address_.text + ": " + ldap_err2string(result));
    }
    wire_->handle.reset(ld_);
    begin(deadline);
    watch_.attach(ld_);
    ldap_options_set(ld_, address_, deadline);
}

void LdapConnection::startTls(LdapDeadline deadline) {
    begin(deadline);
    LdapAnswer answer = take(ask("StartTLS", [this](int *message) {
        return ldap_extended_operation(ld_, LDAP_EXOP_START_TLS, nullptr, nullptr, nullptr, message);
    }));
    if (answer.result != LDAP_SUCCESS) {
        throw LdapTrouble(ZKE_TLS_REQUIRED,
                          catalogue_format("%1$s: the server refused StartTLS: %2$s %3$s", address_.text.c_str(),
                                           ldap_err2string(answer.result), answer.text.c_str()));
    }
}

void LdapConnection::secure(LdapDeadline deadline) {
    if (!address_.tls && !config_.startTls) return;
    if (access(config_.caFile.c_str(), R_OK) != 0) {
        throw LdapTrouble(ZKE_CERTIFICATE_REFUSED,
                          catalogue_format("%1$s: cannot read the CA file %2$s: %3$s", address_.text.c_str(),
                                           config_.caFile.c_str(), strerror(errno)));
    }
    ldap_options_set_tls(ld_, address_, config_.caFile, LDAP_OPT_X_TLS_DEMAND);
    const bool nameIsOurs = isForLocalhost(deadline);
    if (nameIsOurs) ldap_options_leave_out_name_check(ld_, address_);
    if (!address_.tls) startTls(deadline);
    begin(deadline);
    if (ldap_install_tls(ld_) != LDAP_SUCCESS ||
        (nameIsOurs && !certificate_is_good(peerCertificate(), address_.certified, config_.caFile)))
        refuseTls(deadline);
    secured_ = true;
}

// For "localhost" libldap expects the machine's full name in the certificate. A certificate that is made out to
// "localhost" is checked here; any other one is left to libldap.
bool LdapConnection::isForLocalhost(LdapDeadline deadline) {
    return equal_nocase(address_.certified, "localhost") &&
           certificate_is_good(inspectedCertificate(deadline), address_.certified, config_.caFile);
}

// Why did the handshake fail? A second one that takes any certificate, and sends nothing, shows the certificate's
// faults from the server's.
void LdapConnection::refuseTls(LdapDeadline deadline) {
    if (watch_.event() == LdapWatch::TimedOut) fail(LDAP_TIMEOUT, catalogue_text("the TLS handshake"));
    const std::string certificate = inspectedCertificate(deadline);
    if (certificate.empty()) {
        throw LdapTrouble(
            watch_.event() == LdapWatch::Closed ? ZKE_SERVER_CLOSED : ZKE_ANSWER_MALFORMED,
            address_.text + ": " + catalogue_text("TLS handshake failed: the server does not speak TLS correctly"));
    }
    throw LdapTrouble(
        ZKE_CERTIFICATE_REFUSED,
        catalogue_format("%1$s: cannot verify the server's certificate: %2$s; CA file: %3$s", address_.text.c_str(),
                         certificate_fault(certificate, address_.certified, config_.caFile).c_str(),
                         config_.caFile.c_str()));
}

LdapConnection::LdapConnection(const LdapConnection &refused, Inspect, LdapDeadline deadline)
    : config_(refused.config_), address_(refused.address_) {
    open(deadline);
}

// What the server shows on a connection that takes any certificate and sends nothing; empty when it shows none.
std::string LdapConnection::inspectedCertificate(LdapDeadline deadline) const {
    try {
        LdapConnection inspection(*this, Inspect(), deadline);
        ldap_options_set_tls(inspection.ld_, address_, config_.caFile, LDAP_OPT_X_TLS_NEVER);
        if (!address_.tls) inspection.startTls(deadline);
        return ldap_install_tls(inspection.ld_) == LDAP_SUCCESS ? inspection.peerCertificate() : "";
    } catch (const LdapTrouble &) {
        return "";
    }
}

std::string LdapConnection::peerCertificate() const {
    berval der = {0, nullptr};
    std::string certificate;
    if (ldap_get_option(ld_, LDAP_OPT_X_TLS_PEERCERT, &der) == LDAP_OPT_SUCCESS && der.bv_val != nullptr) {
        certificate.assign(der.bv_val, der.bv_len);
        ldap_memfree(der.bv_val);
    }
    return certificate;
}

void LdapConnection::begin(LdapDeadline deadline) {
    ldap_waiting_for(address_.text);
    watch_.begin(deadline);
}

void LdapConnection::fail(int result, const char *what) const {
    bool late =
        watch_.event() == LdapWatch::TimedOut || (watch_.event() == LdapWatch::Nothing && result == LDAP_TIMEOUT);
    if (late && watch_.inAnswer()) {
        throw LdapTrouble(ZKE_ANSWER_CUT_SHORT, catalogue_format("%1$s: timed out in the middle of the answer to %2$s",
                                                                 address_.text.c_str(), what));
    }
    if (late) {
        throw LdapTrouble(ZKE_SERVER_SILENT, catalogue_format("%1$s: timed out waiting for the answer to %2$s",
                                                              address_.text.c_str(), what));
    }
    switch (watch_.event()) {
        case LdapWatch::Closed:
            throw LdapTrouble(
                ZKE_SERVER_CLOSED,
                watch_.inAnswer()
                    ? catalogue_format("%1$s: the server closed the connection in the middle of its answer to %2$s",
                                       address_.text.c_str(), what)
                    : catalogue_format("%1$s: the server closed the connection instead of answering %2$s",
                                       address_.text.c_str(), what));
        case LdapWatch::TooLarge:
            throw LdapTrouble(ZKE_ANSWER_TOO_LARGE, catalogue_format("%1$s: the server's answer to %2$s is too large",
                                                                     address_.text.c_str(), what));
        default:
            throw LdapTrouble(
                ZKE_ANSWER_MALFORMED,
                catalogue_format("%1$s: the server's answer to %2$s is not valid LDAP", address_.text.c_str(), what));
    }
}

int LdapConnection::waitFor(int message, LdapDeadline until, LDAPMessage **messages) {
    timeval left = ldap_time_left(until);
    return ldap_result(ld_, message, LDAP_MSG_ALL, &left, messages);
}

LDAPMessage *LdapConnection::await(int message) {
    LDAPMessage *messages = nullptr;
    const LdapDeadline next = ldap_waiting_step(watch_.deadline());
    int kind = waitFor(message, next, &messages);
    if (kind == 0 && next != watch_.deadline()) {
        ldap_waiting_tell();
        kind = waitFor(message, watch_.deadline(), &messages);
    }
    if (kind <= 0) {
        ldap_msgfree(messages);
        int result = LDAP_TIMEOUT;
        if (kind < 0) ldap_get_option(ld_, LDAP_OPT_RESULT_CODE, &result);
        fail(result, catalogue_text("a request"));
    }
    return messages;
}

template <typename Send>
LDAPMessage *LdapConnection::ask(const char *what, Send send) {
    int message = 0;
    const int result = send(&message);
    if (result != LDAP_SUCCESS) fail(result, what);
    return await(message);
}

LdapAnswer LdapConnection::take(LDAPMessage *messages) {
    const LdapMessage freedAtTheEnd(messages);
    LdapAnswer answer;
    const int read = ldap_answer_read(ld_, messages, &answer);
    if (read != LDAP_SUCCESS) fail(read, catalogue_text("a request"));
    answered_ = true;
    return answer;
}

namespace {

struct FreeControl {
    void operator()(LDAPControl *control) const { ldap_control_free(control); }
};
using Control = std::unique_ptr<LDAPControl, FreeControl>;

} // namespace

// A server that does not know pages leaves the control out of account.
static Control page_control(LDAP *ld, const std::string &cookie) {
    constexpr ber_int_t pageSize = 1000; // as many as servers give at most
    berval from = {cookie.size(), const_cast<char *>(cookie.data())};
    LDAPControl *control = nullptr;
    ldap_create_page_control(ld, pageSize, &from, 0, &control);
    return Control(control);
}

LdapAnswer LdapConnection::searchOnce(const LdapSearch &search, const std::string &cookie, LdapDeadline deadline) {
    begin(deadline);
    std::vector<char *> attributes;
    for (const std::string &name : search.attributes) attributes.push_back(const_cast<char *>(name.c_str()));
    attributes.push_back(nullptr);
    const Control page = search.paged ? page_control(ld_, cookie) : nullptr;
    LDAPControl *controls[] = {page.get(), nullptr};
    return take(ask(catalogue_text("a search"), [&](int *message) {
        return ldap_search_ext(ld_, search.base.c_str(), search.scope, search.filter.c_str(), attributes.data(), 0,
                               controls, nullptr, nullptr, search.sizeLimit, message);
    }));
}

void LdapConnection::refuseTooMuch(const LdapAnswer &answer) const {
    if (ldap_answer_memory(answer) > config_.loginLimit)
        throw LdapTrouble(ZKE_ANSWER_TOO_LARGE, catalogue_format("%1$s: the server's answer to %2$s is too large",
                                                                 address_.text.c_str(), catalogue_text("a search")));
}

// The values that a server leaves out of an answer because they are many: "member;range=1500-*" asks for the next ones.
void LdapConnection::readRanges(LdapAnswer *answer, LdapDeadline deadline) {
    std::vector<LdapRange> ranges = std::move(answer->ranges);
    answer->ranges.clear();
    while (!ranges.empty()) {
        const LdapRange range = ranges.back();
        ranges.pop_back();
        LdapEntry &entry = answer->entries[range.entry];
        const std::string wanted = range.attribute + ";range=" + std::to_string(range.next) + "-*";
        LdapAnswer more = searchOnce({entry.dn, LDAP_SCOPE_BASE, "(objectClass=*)", {wanted}, 0, false}, "", deadline);
        if (more.entries.size() != 1) continue;
        for (auto &attribute : more.entries.front().attributes) entry.attributes.push_back(std::move(attribute));
        if (!more.ranges.empty() && more.ranges.front().next > range.next)
            ranges.push_back({range.entry, range.attribute, more.ranges.front().next});
        refuseTooMuch(*answer);
    }
}

LdapAnswer LdapConnection::search(const LdapSearch &search, LdapDeadline deadline) {
    LdapAnswer answer = searchOnce(search, "", deadline);
    readRanges(&answer, deadline);
    while (!answer.cookie.empty() && search.paged && answer.result == LDAP_SUCCESS) {
        LdapAnswer page = searchOnce(search, answer.cookie, deadline);
        readRanges(&page, deadline);
        answer.result = page.result;
        answer.text = page.text;
        answer.cookie = page.cookie;
        std::move(page.entries.begin(), page.entries.end(), std::back_inserter(answer.entries));
        std::move(page.references.begin(), page.references.end(), std::back_inserter(answer.references));
        refuseTooMuch(answer);
    }
    return answer;
}

LdapAnswer LdapConnection::bind(const LdapIdentity &identity, LdapDeadline deadline) {
    if (config_.gssapi) return bindWithTicket(identity, deadline);
    if (config_.external) {
        begin(deadline);
        return bindExternal(identity);
    }
    return bindWithPassword(identity, deadline);
}

LdapAnswer LdapConnection::bindWithPassword(const LdapIdentity &identity, LdapDeadline deadline) {
    begin(deadline);
    if (identity.dn().empty()) { // a server may take it for an anonymous login, whatever the password
        LdapAnswer refused;
        refused.result = LDAP_INVALID_DN_SYNTAX;
        return refused;
    }
    if (!isTrusted()) {
        throw LdapTrouble(
            ZKE_TLS_REQUIRED,
            address_.text + ": " +
                catalogue_text("the password was not sent: the connection is not encrypted (use ldaps or start_tls)"));
    }
    PolicyRequest policy;
    LdapAnswer answer = take(ask(catalogue_text("the login"), [&](int *message) {
        Secret password = identity.revealed(); // no longer than it takes to send it
        berval secret = {password.capacity(), password.text()};
        return ldap_sasl_bind(ld_, identity.dn().c_str(), LDAP_SASL_SIMPLE, &secret, policy.list(), nullptr, message);
    }));
    if (answer.result == LDAP_SUCCESS && isAnonymous(&answer.who)) {
        throw CodedError(ZKE_NO_ACCESS,
                         catalogue_format("%1$s: the server treats the login of %2$s as anonymous: it has not "
                                          "checked the password",
                                          address_.text.c_str(), identity.dn().c_str()));
    }
    return answer;
}

LdapAnswer LdapConnection::extended(const char *kind, Secret *value, LdapDeadline deadline) {
    begin(deadline);
    PolicyRequest policy;
    return take(ask(catalogue_text("the change of the password"), [&](int *message) {
        berval text = {value->capacity(), value->text()};
        return ldap_extended_operation(ld_, kind, &text, policy.list(), nullptr, message);
    }));
}

LdapAnswer LdapConnection::exchange(const std::string &dn, const char *attribute, Secret *oldValue, Secret *newValue,
                                    LdapDeadline deadline) {
    begin(deadline);
    return take(ask(catalogue_text("the change of the password"), [&](int *message) {
        berval texts[] = {{oldValue->capacity(), oldValue->text()}, {newValue->capacity(), newValue->text()}};
        berval *lists[][2] = {{&texts[0], nullptr}, {&texts[1], nullptr}};
        LDAPMod taken = {LDAP_MOD_DELETE | LDAP_MOD_BVALUES, const_cast<char *>(attribute), {}};
        LDAPMod given = {LDAP_MOD_ADD | LDAP_MOD_BVALUES, const_cast<char *>(attribute), {}};
        taken.mod_bvalues = lists[0];
        given.mod_bvalues = lists[1];
        LDAPMod *changes[] = {&taken, &given, nullptr};
        return ldap_modify_ext(ld_, dn.c_str(), changes, nullptr, nullptr, message);
    }));
}

namespace {

// A modification as libldap takes it; the one that it was made of must outlive it.
struct Modification {
    explicit Modification(const LdapModification &from) {
        for (const std::string &value : from.values) values.push_back({value.size(), const_cast<char *>(value.data())});
        for (berval &value : values) list.push_back(&value);
        list.push_back(nullptr);
        change.mod_op = from.operation | LDAP_MOD_BVALUES;
        change.mod_type = const_cast<char *>(from.attribute.c_str());
        change.mod_bvalues = list.data();
    }
    Modification(const Modification &) = delete;
    Modification &operator=(const Modification &) = delete;

    std::vector<berval> values;
    std::vector<berval *> list;
    LDAPMod change = {};
};

} // namespace

static Control assertion_control(LDAP *ld, const std::string &filter) {
    constexpr int critical = 1;
    LDAPControl *control = nullptr;
    std::string text = filter;
    ldap_create_assertion_control(ld, text.data(), critical, &control);
    return Control(control);
}

LdapAnswer LdapConnection::modify(const std::string &dn, const std::vector<LdapModification> &wanted,
                                  const std::string &condition, LdapDeadline deadline) {
    begin(deadline);
    std::deque<Modification> made;
    std::vector<LDAPMod *> changes;
    for (const LdapModification &one : wanted) changes.push_back(&made.emplace_back(one).change);
    changes.push_back(nullptr);
    const Control assertion = condition.empty() ? nullptr : assertion_control(ld_, condition);
    // A condition that cannot be sent must not be left out.
    if (!condition.empty() && assertion == nullptr) fail(LDAP_ENCODING_ERROR, catalogue_text("a change"));
    LDAPControl *controls[] = {assertion.get(), nullptr};
    return take(ask(catalogue_text("a change"), [&](int *message) {
        return ldap_modify_ext(ld_, dn.c_str(), changes.data(), controls, nullptr, message);
    }));
}

void LdapConnection::tell(const std::string &dn, const std::string &attribute, const std::string &value) {
    constexpr auto writing_time = std::chrono::milliseconds(100); // of a socket that takes no more
    watch_.begin(LdapClock::now() + writing_time);
    berval text = {value.size(), const_cast<char *>(value.data())};
    berval *list[] = {&text, nullptr};
    LDAPMod change = {LDAP_MOD_REPLACE | LDAP_MOD_BVALUES, const_cast<char *>(attribute.c_str()), {}};
    change.mod_bvalues = list;
    LDAPMod *changes[] = {&change, nullptr};
    int message = 0;
    const int result = ldap_modify_ext(ld_, dn.c_str(), changes, nullptr, nullptr, &message);
    if (result != LDAP_SUCCESS) fail(result, catalogue_text("a request"));
}

// Whom the answer to "Who am I?" names.
std::string LdapConnection::nameIn(LDAPMessage *answer) {
    berval *who = nullptr;
    const int result = ldap_parse_whoami(ld_, answer, &who);
    std::unique_ptr<berval, decltype(&ber_bvfree)> owner(who, ber_bvfree);
    if (result != LDAP_SUCCESS) fail(result, catalogue_text("the login"));
    return who == nullptr || who->bv_val == nullptr ? "" : std::string(who->bv_val, who->bv_len);
}

// "Who am I?" (RFC 4532). A server that does not know the question leaves its answer to the login as all there is.
bool LdapConnection::isAnonymous(std::string *who) {
    const LdapMessage answer(
        ask(catalogue_text("the login"), [this](int *message) { return ldap_whoami(ld_, nullptr, nullptr, message); }));
    int code = LDAP_SUCCESS;
    const int parsed = ldap_parse_result(ld_, answer.get(), &code, nullptr, nullptr, nullptr, nullptr, 0);
    if (parsed == LDAP_SUCCESS && code != LDAP_SUCCESS) return false;
    *who = nameIn(answer.get());
    return who->empty() || *who == "dn:";
}

// The DN that the server takes the connection's user for; empty from a server that does not know the question.
std::string LdapConnection::whoAmI() {
    const LdapMessage answer(
        ask(catalogue_text("the login"), [this](int *message) { return ldap_whoami(ld_, nullptr, nullptr, message); }));
    int code = LDAP_SUCCESS;
    const int parsed = ldap_parse_result(ld_, answer.get(), &code, nullptr, nullptr, nullptr, nullptr, 0);
    if (parsed == LDAP_SUCCESS && code == LDAP_PROTOCOL_ERROR) return "";
    const std::string name = nameIn(answer.get());
    return name.compare(0, 3, "dn:") == 0 ? name.substr(3) : name;
}

// The server learns from the kernel who asks. The login is the user's only if the server says so too.
LdapAnswer LdapConnection::bindExternal(const LdapIdentity &identity) {
    LdapAnswer answer = take(ask(catalogue_text("the login"), [this](int *message) {
        berval none = {0, const_cast<char *>("")}; // an empty answer in place of none saves a turn
        return ldap_sasl_bind(ld_, "", "EXTERNAL", &none, nullptr, nullptr, message);
    }));
    if (answer.result == LDAP_INVALID_CREDENTIALS || answer.result == LDAP_INAPPROPRIATE_AUTH) {
        throw CodedError(ZKE_NO_ACCESS, catalogue_format("%1$s: the server rejected the process's user: %2$s",
                                                         address_.text.c_str(), ldap_err2string(answer.result)));
    }
    const std::string who = answer.result == LDAP_SUCCESS ? whoAmI() : "";
    if (answer.result == LDAP_SUCCESS && !is_same_dn(identity.dn(), who)) {
        throw CodedError(ZKE_NO_ACCESS,
                         catalogue_format("%1$s: the server takes the process's user for %2$s, not for %3$s",
                                          address_.text.c_str(), name_or_anonymous(who), identity.dn().c_str()));
    }
    return answer;
}

LdapAnswer LdapConnection::bindWithTicket(const LdapIdentity &identity, LdapDeadline deadline) {
    begin(deadline);
    LdapTicketResult told;
    if (!ldap_ticket_bind(wire_, secured_, deadline, &told)) {
        throw LdapTrouble(
            ZKE_SERVER_SILENT,
            address_.text + ": " +
                catalogue_text("Kerberos login timed out: no answer from the server or the key distribution centre"));
    }
    if (told.result == LDAP_SERVER_DOWN || told.result == LDAP_TIMEOUT || told.result == LDAP_DECODING_ERROR)
        fail(told.result, catalogue_text("the login"));
    const auto refused = [this](const std::string &why) {
        return catalogue_format("%1$s: Kerberos login failed: %2$s", address_.text.c_str(), why.c_str());
    };
    if (told.result == LDAP_OTHER || told.result == LDAP_UNAVAILABLE || told.result == LDAP_BUSY)
        throw LdapTrouble(ZKE_TICKET_REFUSED, refused(told.words)); // another server may have its own key
    if (told.result != LDAP_SUCCESS) throw CodedError(ZKE_TICKET_REFUSED, refused(told.words));
    answered_ = true;
    std::string who = whoAmI();
    // A directory of accounts takes a principal for the account of that name, and its own answers have no DN.
    if (!is_same_dn(identity.dn(), who) && !equal_nocase(identity.dn(), told.user)) {
        throw CodedError(ZKE_TICKET_REFUSED, refused(catalogue_format("the ticket belongs to %1$s, not to %2$s",
                                                                      name_or_anonymous(who), identity.dn().c_str())));
    }
    return LdapAnswer();
}
