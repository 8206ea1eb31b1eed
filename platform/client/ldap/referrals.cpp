#include "platform/client/ldap/referrals.h"

#include <algorithm>

#include "platform/catalogue.h"
#include "platform/client/core/names.h"
#include "platform/zk.h"

// "dn?attributes?scope?filter?extensions" of a URI: is there anything in this part?
static bool has_part(const std::string &uri, int number) {
    size_t at = uri.find("://");
    at = at == std::string::npos ? at : uri.find('/', at + 3);
    for (; number > 0 && at != std::string::npos; number--) at = uri.find('?', at + 1);
    return at != std::string::npos && at + 1 < uri.size() && uri[at + 1] != '?';
}

static std::string place_key(const LdapPlace &place) {
    return name_fold(place.server + "/" + place.search.base) + "?" + std::to_string(place.search.scope) + "?" +
           place.search.filter;
}

static LdapTrouble broken(const std::string &sentence) {
    return LdapTrouble(ZKE_REFERRAL_BROKEN, sentence);
}

static void note_missing(LdapAnswer *answer, uint32_t code, const std::string &sentence) {
    if (answer->missing.empty()) {
        answer->missingCode = code;
        answer->missing = sentence;
    }
}

bool ldap_place_parse(const std::string &uri, const LdapSearch &referred, bool continues, LdapPlace *place) {
    LDAPURLDesc *parsed = nullptr;
    if (ldap_url_parse(uri.c_str(), &parsed) != LDAP_URL_SUCCESS) return false;
    std::unique_ptr<LDAPURLDesc, decltype(&ldap_free_urldesc)> owner(parsed, ldap_free_urldesc);
    std::string host = parsed->lud_host == nullptr ? "" : parsed->lud_host;
    bool secured = equal_nocase(parsed->lud_scheme, "ldaps");
    if ((!secured && !equal_nocase(parsed->lud_scheme, "ldap")) || host.empty() || parsed->lud_crit_exts != 0)
        return false;
    int port = parsed->lud_port != 0 ? parsed->lud_port : secured ? LDAPS_PORT : LDAP_PORT;
    host = host.find(':') == std::string::npos ? host : "[" + host + "]";
    place->server = (secured ? "ldaps://" : "ldap://") + host + ":" + std::to_string(port);
    place->search = referred;
    if (has_part(uri, 0) && parsed->lud_dn != nullptr) place->search.base = parsed->lud_dn;
    if (has_part(uri, 2))
        place->search.scope = parsed->lud_scope;
    else if (continues && referred.scope == LDAP_SCOPE_ONELEVEL)
        place->search.scope = LDAP_SCOPE_BASE;
    if (has_part(uri, 3) && parsed->lud_filter != nullptr) place->search.filter = parsed->lud_filter;
    return true;
}

static bool is_same_server(const LdapUri &one, const LdapUri &other) {
    return !one.local && equal_nocase(one.host, other.host) && one.port == other.port;
}

static bool has_usual_port(const LdapUri &uri) {
    return uri.port == std::to_string(uri.tls ? LDAPS_PORT : LDAP_PORT);
}

std::optional<size_t> ldap_server_meant(const std::vector<std::string> &own, const std::string &referral) {
    LdapPlace place;
    if (!ldap_place_parse(referral, {}, false, &place)) return std::nullopt;
    const LdapUri wanted = ldap_uri_parse(place.server);
    std::optional<size_t> byHost;
    for (size_t i = 0; i < own.size(); i++) {
        const LdapUri one = ldap_uri_parse(own[i]);
        if (is_same_server(one, wanted)) return i;
        const bool isUsual = !one.local && has_usual_port(one) && has_usual_port(wanted);
        if (isUsual && equal_nocase(one.host, wanted.host) && !byHost) byHost = i;
    }
    return byHost;
}

LdapReferrals::LdapReferrals(const ConfigLdap &configuration) : config_(configuration) {}

void LdapReferrals::forget() {
    connections_.clear();
}

void LdapReferrals::remember(const std::string &server, const LdapTrouble &trouble) {
    down_[server] = {LdapClock::now() + ldap_seconds(config_.retryAfter), trouble.code, trouble.what(),
                     trouble.distrusted};
}

bool LdapReferrals::haveDistrusted() const {
    return std::any_of(
        down_.begin(), down_.end(),
        [](const auto &server) { return server.second.until > LdapClock::now() && server.second.distrusted; });
}

void LdapReferrals::refuseIfDown(const std::string &server) const {
    auto known = down_.find(server);
    if (known != down_.end() && known->second.until > LdapClock::now())
        throw LdapTrouble(known->second.code, known->second.sentence);
}

// By host and port: another port of a machine may be anybody's.
bool LdapReferrals::isNamed(const std::string &server) const {
    const LdapUri asked = ldap_uri_parse(server);
    auto isAsked = [&asked](const std::string &uri) { return is_same_server(ldap_uri_parse(uri), asked); };
    return std::any_of(config_.uris.begin(), config_.uris.end(), isAsked) ||
           std::any_of(config_.referralServers.begin(), config_.referralServers.end(), isAsked);
}

// A ticket is of no use to anyone who sees it on the way.
bool LdapReferrals::isSafe(const LdapConnection &connection, bool trusted) const {
    return isNamed(connection.uri()) && (config_.gssapi || (trusted && connection.isSecured()));
}

// A connection to the server: the user's where that is safe and the server knows the user, otherwise an anonymous one.
LdapConnection &LdapReferrals::open(const std::string &server, bool trusted, const LdapIdentity &identity,
                                    LdapDeadline deadline) {
    std::unique_ptr<LdapConnection> &kept = connections_[(trusted ? "+" : "-") + server];
    if (kept == nullptr) {
        auto made = std::make_unique<LdapConnection>(config_, server, deadline);
        if (!identity.dn().empty() && isSafe(*made, trusted)) {
            try {
                made->bind(identity, deadline); // a server that does not know the user answers as to an anonymous one
            } catch (const LdapTrouble &) {
                throw;
            } catch (const CodedError &) {
                made = std::make_unique<LdapConnection>(config_, server, deadline);
            }
        }
        kept = std::move(made);
    }
    return *kept;
}

LdapAnswer LdapReferrals::ask(const LdapPlace &place, bool trusted, const LdapIdentity &identity, LdapDeadline deadline,
                              bool *secured) {
    refuseIfDown(place.server);
    for (;;) {
        bool wasIdle = false;
        try {
            LdapConnection &connection = open(place.server, trusted, identity, deadline);
            wasIdle = connection.hasAnswered();
            *secured = connection.isSecured();
            return connection.search(place.search, deadline);
        } catch (const LdapTrouble &trouble) {
            std::unique_ptr<LdapConnection> gone = std::move(connections_[(trusted ? "+" : "-") + place.server]);
            // Servers close connections that were idle for long: that alone is no fault.
            if (!wasIdle || gone == nullptr || !gone->wasClosed()) {
                remember(place.server, trouble);
                throw;
            }
        }
    }
}

// Asks the first of the step's places that answers. `next` becomes the step that was made.
LdapAnswer LdapReferrals::take(const Step &step, const LdapIdentity &identity, LdapDeadline deadline, Step *next) {
    *next = step;
    std::string sentences;
    uint32_t code = 0;
    size_t left = step.uris.size();
    for (const std::string &uri : step.uris) {
        try {
            LdapPlace place;
            if (!ldap_place_parse(uri, step.search, step.continues, &place))
                throw broken(catalogue_format("%s is not a usable LDAP URL", uri.c_str()));
            std::string key = place_key(place);
            if (std::find(step.way.begin(), step.way.end(), key) != step.way.end())
                throw broken(catalogue_format("referral loop at %s", uri.c_str()));
            if (step.way.size() > hop_limit)
                throw broken(catalogue_format("%1$s exceeds the limit of %2$zu referrals", uri.c_str(), hop_limit));
            bool secured = false;
            LdapAnswer answer = ask(place, step.trusted, identity, ldap_share(deadline, left--), &secured);
            next->search = place.search;
            next->way.push_back(key);
            next->trusted = step.trusted && secured;
            next->origin = {place.server, next->trusted};
            return answer;
        } catch (const LdapTrouble &trouble) {
            code = code == 0 || code == trouble.code ? trouble.code : ZKE_DIRECTORY_UNREACHABLE;
            sentences += (sentences.empty() ? "" : "; ") + std::string(trouble.what());
        }
    }
    throw LdapTrouble(code == 0 ? ZKE_REFERRAL_BROKEN : code,
                      sentences.empty() ? catalogue_text("the referral names no server") : sentences);
}

void LdapReferrals::add(const LdapAnswer &answer, const LdapSearch &search, const std::vector<std::string> &way,
                        bool trusted, std::vector<Step> *steps) const {
    if (answer.result == LDAP_REFERRAL) steps->push_back({answer.referral, false, search, way, trusted});
    for (const std::vector<std::string> &reference : answer.references)
        steps->push_back({reference, true, search, way, trusted});
}

void LdapReferrals::follow(const LdapConnection &from, const LdapSearch &search, const LdapIdentity &identity,
                           LdapDeadline deadline, LdapAnswer *answer) {
    std::vector<Step> steps;
    LdapPlace start; // without a server for a local one: there is no name by which another one could refer to it
    ldap_place_parse(from.uri(), {}, false, &start);
    std::vector<std::string> way = {place_key({start.server, search})};
    add(*answer, search, way, from.isTrusted(), &steps);
    for (size_t i = 0; i < steps.size(); i++) {
        if (i == place_limit) {
            note_missing(answer, ZKE_REFERRAL_BROKEN,
                         catalogue_format("%1$s: the answer contains more than %2$zu referrals", from.uri().c_str(),
                                          place_limit));
            return;
        }
        try {
            Step made;
            LdapAnswer more = take(steps[i], identity, deadline, &made);
            add(more, made.search, made.way, made.trusted, &steps);
            bool isFirstAnswer = i == 0 && answer->result == LDAP_REFERRAL && more.result != LDAP_REFERRAL;
            if (isFirstAnswer || more.result == LDAP_SIZELIMIT_EXCEEDED) answer->result = more.result;
            for (LdapEntry &entry : more.entries) entry.origin = made.origin;
            answer->entries.insert(answer->entries.end(), std::make_move_iterator(more.entries.begin()),
                                   std::make_move_iterator(more.entries.end()));
        } catch (const LdapTrouble &trouble) {
            note_missing(answer, trouble.code,
                         catalogue_format("%1$s: cannot follow referral: %2$s", from.uri().c_str(), trouble.what()));
        }
    }
}

LdapAnswer LdapReferrals::login(const LdapOrigin &origin, const LdapIdentity &identity, LdapDeadline deadline) {
    if (!isNamed(origin.server)) {
        throw CodedError(ZKE_REFERRAL_BROKEN, origin.server + ": " +
                                                  catalogue_text("the login was not sent: a referral leads to a server "
                                                                 "that is not in referral_servers"));
    }
    refuseIfDown(origin.server);
    try {
        LdapConnection made(config_, origin.server, deadline);
        if (!isSafe(made, origin.trusted)) {
            throw CodedError(ZKE_TLS_REQUIRED, origin.server + ": " +
                                                   catalogue_text("the password was not sent: this server was reached "
                                                                  "through a referral without end-to-end encryption"));
        }
        return made.bind(identity, deadline);
    } catch (const LdapTrouble &trouble) {
        remember(origin.server, trouble);
        throw;
    }
}
