#include "platform/client/ldap/servers.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/catalogue.h"
#include "platform/client/core/start_environment.h"
#include "platform/client/core/waiting.h"
#include "platform/client/ldap/password_change.h"
#include "platform/client/ldap/resolver.h"
#include "platform/client/ldap/srv.h"
#include "platform/client/ldap/verdict.h"
#include "platform/zk.h"

// Results by which a server says that it cannot do its work; another one may.
static bool is_servers_trouble(int result) {
    constexpr int results[] = {LDAP_OPERATIONS_ERROR, LDAP_PROTOCOL_ERROR, LDAP_TIMELIMIT_EXCEEDED, LDAP_BUSY,
                               LDAP_UNAVAILABLE,      LDAP_OTHER};
    return std::find(std::begin(results), std::end(results), result) != std::end(results);
}

// A directory of accounts shows a connection without a login nothing, and says so in the text alone.
static bool wants_login(const LdapAnswer &answer) {
    constexpr const char *notAuthenticated[] = {"000004DC", "00002020"};
    return answer.result == LDAP_OPERATIONS_ERROR &&
           std::any_of(std::begin(notAuthenticated), std::end(notAuthenticated),
                       [&](const char *code) { return answer.text.compare(0, strlen(code), code) == 0; });
}

static LdapAnswer usable(const LdapConnection &connection, LdapAnswer answer) {
    if (wants_login(answer)) {
        throw CodedError(ZKE_NO_ACCESS,
                         catalogue_format("%s: the server shows nothing without a login", connection.uri().c_str()));
    }
    if (is_servers_trouble(answer.result)) {
        throw LdapTrouble(ZKE_DIRECTORY_UNREACHABLE,
                          catalogue_format("%1$s: the server reports: %2$s", connection.uri().c_str(),
                                           ldap_err2string(answer.result)) +
                              (answer.text.empty() ? "" : ": " + answer.text));
    }
    return answer;
}

LdapServers::LdapServers(const ConfigLdap &configuration) : config_(configuration), referrals_(configuration) {
    const auto add = [this](const std::string &uri) { servers_.emplace_back().uri = uri; };
    std::for_each(config_.uris.begin(), config_.uris.end(), add);
}

void LdapServers::markDown(Server *server, const LdapTrouble &trouble) const {
    server->downUntil = LdapClock::now() + ldap_seconds(config_.retryAfter);
    server->code = trouble.code;
    server->sentence = trouble.what();
    server->distrusted = trouble.distrusted;
}

// What DNS has listed stays for the life of the process.
void LdapServers::findServers(LdapDeadline deadline) {
    if (!servers_.empty()) return;
    if (lookup_.downUntil > LdapClock::now()) throw LdapTrouble(lookup_.code, lookup_.sentence);
    try {
        for (const LdapSrvServer &found : ldap_srv_find(config_, deadline)) {
            Server &server = servers_.emplace_back();
            server.uri = found.uri;
            server.certified = found.certified;
        }
    } catch (const LdapTrouble &trouble) {
        markDown(&lookup_, trouble);
        throw;
    }
}

// Nothing: the connection is gone, and the request may be tried again, at the same server too when it was idle.
std::optional<LdapAnswer> LdapServers::runOnCurrent(const Request &request, LdapDeadline deadline) {
    try {
        return usable(*connection_, request(*connection_, deadline));
    } catch (const LdapTrouble &trouble) {
        // Servers close connections that were idle for long: that alone is no fault.
        bool wasIdle = connection_->hasAnswered() && connection_->wasClosed();
        connection_.reset();
        if (!wasIdle) markDown(&servers_[current_], trouble);
        return std::nullopt;
    }
}

std::optional<LdapAnswer> LdapServers::runOn(size_t number, const Request &request, LdapDeadline deadline) {
    try {
        auto made =
            std::make_unique<LdapConnection>(config_, servers_[number].uri, deadline, servers_[number].certified);
        if (!identity_.dn().empty() && !identityIsElsewhere_) bindAgain(made.get(), deadline);
        LdapAnswer answer = usable(*made, request(*made, deadline));
        connection_ = std::move(made);
        current_ = number;
        servers_[number].distrusted = false;
        return answer;
    } catch (const LdapTrouble &trouble) {
        markDown(&servers_[number], trouble);
        return std::nullopt;
    }
}

// Servers of one directory count wrong passwords together: one that a server has rejected is not sent to the next.
void LdapServers::bindAgain(LdapConnection *made, LdapDeadline deadline) {
    const int result = identityIsRejected_ ? LDAP_INVALID_CREDENTIALS : made->bind(identity_, deadline).result;
    identityIsRejected_ = result == LDAP_INVALID_CREDENTIALS || result == LDAP_CONSTRAINT_VIOLATION;
    if (result != LDAP_SUCCESS) {
        throw LdapTrouble(
            ZKE_DIRECTORY_UNREACHABLE,
            made->uri() + ": " + catalogue_text("the server rejected the login that another server accepted"));
    }
}

LdapDeadline LdapServers::deadlineFromNow() const {
    return LdapClock::now() + ldap_seconds(config_.timeLimit);
}

LdapAnswer LdapServers::run(const Request &request, LdapDeadline deadline) {
    ldap_waiting_for(config_.uris.empty() ? ldap_srv_shown(config_) : config_.uris.front());
    ldap_library_ready(config_.saslMechanisms, ldap_share(deadline, 2)); // and time for the servers
    findServers(ldap_share(deadline, 2));
    if (connection_ != nullptr)
        if (auto answer = runOnCurrent(request, ldap_share(deadline, usableServers().size())))
            return *std::move(answer);
    const std::vector<size_t> left = usableServers();
    for (size_t i = 0; i < left.size(); i++)
        if (auto answer = runOn(left[i], request, ldap_share(deadline, left.size() - i))) return *std::move(answer);
    giveUp();
}

std::vector<size_t> LdapServers::usableServers() const {
    std::vector<size_t> found;
    for (size_t number = 0; number < servers_.size(); number++)
        if (servers_[number].downUntil <= LdapClock::now()) found.push_back(number);
    std::stable_partition(found.begin(), found.end(), [this](size_t number) { return number == first_; });
    return found;
}

namespace {

// Why servers that were tried in turn were of no use.
struct Troubles {
    uint32_t code = 0; // that of all of them, if they are alike
    std::string sentences;

    void add(uint32_t one, const std::string &sentence) {
        code = code == 0 || code == one ? one : ZKE_DIRECTORY_UNREACHABLE;
        sentences += (sentences.empty() ? "" : "; ") + sentence;
    }
};

} // namespace

void LdapServers::giveUp() const {
    Troubles troubles;
    for (const Server &server : servers_) troubles.add(server.code, server.sentence);
    throw LdapTrouble(troubles.code, troubles.sentences);
}

bool LdapServers::haveDistrusted() const {
    return referrals_.haveDistrusted() ||
           std::any_of(
               servers_.begin(), servers_.end(), [](const Server &server) { return server.distrusted; });
}

void LdapServers::count(const LdapAnswer &answer) {
    counted_ += ldap_answer_memory(answer);
    if (counted_ > config_.loginLimit) {
        // A server has answered: no reason to take a copy.
        throw CodedError(
            ZKE_ANSWER_TOO_LARGE,
            catalogue_format("%s: the answers since the login are too large in total", servers_[current_].uri.c_str()));
    }
}

LdapAnswer LdapServers::search(const LdapSearch &search) {
    LdapWaiting waiting;
    const StartEnvironment started;
    LdapDeadline deadline = deadlineFromNow();
    LdapAnswer answer =
        run([&](LdapConnection &server, LdapDeadline until) { return server.search(search, until); }, deadline);
    if (config_.referrals) referrals_.follow(*connection_, search, identity_, deadline, &answer);
    count(answer);
    return answer;
}

LdapAnswer LdapServers::bindAsNobody(const Request &bind, std::unique_ptr<LdapConnection> *bound, size_t *where) {
    std::unique_ptr<LdapConnection> keptConnection;
    size_t keptCurrent = current_;
    LdapIdentity keptIdentity = std::exchange(identity_, {});
    // An anonymous connection may become the user's.
    if (!keptIdentity.dn().empty()) keptConnection = std::move(connection_);
    auto putBack = [&]() {
        *bound = std::move(connection_);
        *where = current_;
        connection_ = std::move(keptConnection);
        current_ = keptCurrent;
        identity_ = std::move(keptIdentity);
    };
    try {
        LdapAnswer answer = run(bind, deadlineFromNow());
        putBack();
        return answer;
    } catch (...) {
        putBack();
        throw;
    }
}

LdapAnswer LdapServers::tryPassword(const LdapIdentity &asked, const LdapOrigin &origin) {
    LdapWaiting waiting;
    const StartEnvironment started;
    if (!origin.server.empty()) return referrals_.login(origin, asked, deadlineFromNow());
    std::unique_ptr<LdapConnection> bound;
    size_t where = 0;
    return bindAsNobody(
        [&](LdapConnection &server, LdapDeadline deadline) { return server.bindWithPassword(asked, deadline); }, &bound,
        &where);
}

LdapAnswer LdapServers::login(LdapIdentity asked, const LdapOrigin &origin) {
    LdapWaiting waiting;
    const StartEnvironment started;
    std::unique_ptr<LdapConnection> bound;
    size_t where = 0;
    LdapAnswer answer;
    if (!origin.server.empty()) {
        answer = referrals_.login(origin, asked, deadlineFromNow());
    } else {
        answer =
            bindAsNobody([&](LdapConnection &server, LdapDeadline deadline) { return server.bind(asked, deadline); },
                         &bound, &where);
    }
    if (answer.result == LDAP_SUCCESS && ldap_verdict(answer) == Verdict::accepted) {
        connection_ = std::move(bound); // none for a user of another server: who was logged in before must be gone
        current_ = where;
        identity_ = std::move(asked);
        identityIsElsewhere_ = !origin.server.empty();
        identityIsRejected_ = false;
        counted_ = 0;
        referrals_.forget();
    }
    return answer;
}

// Over a connection as for any login: nothing that the referral says of it counts.
LdapAnswer LdapServers::changeAt(size_t number, const Change &change, LdapDeadline deadline) {
    auto made = std::make_unique<LdapConnection>(config_, servers_[number].uri, deadline, servers_[number].certified);
    LdapAnswer answer = usable(*made, made->bindWithPassword(change.before, deadline));
    if (answer.result != LDAP_SUCCESS) return answer;
    answer = ldap_password_change(made.get(), change.dn, change.before, change.after, deadline);
    if (answer.result != LDAP_SUCCESS) return answer;
    first_ = number;
    if (change.isOfSession) {
        connection_ = std::move(made);
        current_ = number;
    }
    return answer;
}

[[noreturn]] static void refuse_elsewhere(const std::vector<std::string> &referral) {
    if (referral.empty()) throw CodedError(ZKE_REFERRAL_BROKEN, catalogue_text("the referral names no server"));
    throw CodedError(ZKE_NO_ACCESS,
                     catalogue_format("the password can only be changed at %s", referral.front().c_str()));
}

// The tree's own servers among those of a referral, each once. No directory has so many servers as a hostile one may
// name.
std::vector<size_t> LdapServers::ownServers(const std::vector<std::string> &referral) const {
    std::vector<std::string> uris;
    std::transform(servers_.begin(), servers_.end(), std::back_inserter(uris),
                   [](const Server &server) { return server.uri; });
    std::vector<size_t> found;
    for (size_t i = 0; i < std::min(referral.size(), LdapReferrals::place_limit); i++) {
        const std::optional<size_t> number = ldap_server_meant(uris, referral[i]);
        if (number && std::find(found.begin(), found.end(), *number) == found.end()) found.push_back(*number);
    }
    return found;
}

// Asks the first of the referral's servers that is the tree's own and answers; none is asked twice.
LdapAnswer LdapServers::followChange(const LdapAnswer &referring, const Change &change, LdapDeadline deadline,
                                     std::vector<size_t> *way) {
    Troubles troubles;
    const std::vector<size_t> own = ownServers(referring.referral);
    if (own.empty()) refuse_elsewhere(referring.referral);
    for (const size_t number : own) {
        const Server &server = servers_[number];
        if (std::find(way->begin(), way->end(), number) != way->end()) {
            troubles.add(ZKE_REFERRAL_BROKEN, catalogue_format("referral loop at %s", server.uri.c_str()));
            continue;
        }
        way->push_back(number);
        try {
            if (server.downUntil > LdapClock::now()) throw LdapTrouble(server.code, server.sentence);
            return changeAt(number, change, ldap_share(deadline, own.size()));
        } catch (const LdapTrouble &trouble) {
            if (server.downUntil <= LdapClock::now()) markDown(&servers_[number], trouble);
            troubles.add(trouble.code, trouble.what());
        }
    }
    throw CodedError(troubles.code,
                     catalogue_format("the change was referred to another server: %s", troubles.sentences.c_str()));
}

// A server that has a copy refers changes to the one that takes them, which may be another copy's.
LdapAnswer LdapServers::changeElsewhere(LdapAnswer answer, size_t asked, const Change &change, LdapDeadline deadline) {
    std::vector<size_t> way = {asked};
    while (answer.result == LDAP_REFERRAL) answer = followChange(answer, change, deadline, &way);
    return answer;
}

LdapAnswer LdapServers::changePassword(const std::string &dn, const LdapIdentity &before, LdapIdentity after,
                                       const LdapOrigin &origin) {
    LdapWaiting waiting;
    const StartEnvironment started;
    if (!origin.server.empty()) {
        throw CodedError(ZKE_NO_ACCESS,
                         catalogue_format("the password can only be changed at %s", origin.server.c_str()));
    }
    const bool isLoggedIn = !identity_.dn().empty() && identity_.dn() == before.dn();
    const bool isOfSession = isLoggedIn && !identityIsElsewhere_;
    const LdapDeadline deadline = deadlineFromNow();
    // What the server says of the change is no trouble of the server's, whatever it is: no other one is asked.
    std::optional<LdapAnswer> changed;
    const auto change = [&](LdapConnection &server, LdapDeadline until) {
        changed = ldap_password_change(&server, dn, before, after, until);
        return LdapAnswer();
    };
    LdapAnswer answer;
    size_t where = 0;
    if (isOfSession) { // a login of its own might be one more than there are left
        answer = run(change, deadline);
        where = current_;
    } else {
        std::unique_ptr<LdapConnection> bound;
        answer = bindAsNobody(
            [&](LdapConnection &server, LdapDeadline until) {
                LdapAnswer login = server.bindWithPassword(before, until);
                return login.result == LDAP_SUCCESS ? change(server, until) : login;
            },
            &bound, &where);
    }
    if (changed) answer = changeElsewhere(*std::move(changed), where, {dn, before, after, isOfSession}, deadline);
    if (isLoggedIn && answer.result == LDAP_SUCCESS) {
        identity_ = std::move(after);
        identityIsRejected_ = false;
    }
    return answer;
}

void LdapServers::changeScript(const LdapScriptChange &change) {
    LdapWaiting waiting;
    const StartEnvironment started;
    if (identity_.dn().empty() || identityIsElsewhere_) {
        throw CodedError(
            ZKE_NOT_LOGGED_IN,
            catalogue_text("only somebody who has logged in to the tree's own servers can change a script"));
    }
    run(
        [&](LdapConnection &server, LdapDeadline until) {
            ldap_script_change(&server, change, until);
            return LdapAnswer();
        },
        deadlineFromNow());
}

void LdapServers::tell(const std::string &dn, const std::string &attribute, const std::string &value) {
    if (connection_ == nullptr || identity_.dn().empty() || identityIsElsewhere_) return;
    try {
        connection_->tell(dn, attribute, value);
    } catch (const LdapTrouble &) {
        connection_.reset(); // the next request makes another one
    }
}

void LdapServers::logout() {
    connection_.reset();
    identity_ = LdapIdentity();
    identityIsElsewhere_ = false;
    identityIsRejected_ = false;
    counted_ = 0;
    referrals_.forget();
}
