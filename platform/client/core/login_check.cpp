#include "platform/client/core/login_check.h"

#include <algorithm>
#include <ctime>
#include <optional>

#include "platform/catalogue.h"
#include "platform/client/core/errors.h"
#include "platform/client/core/values.h"

static bool is_true(const Entry &user, const char *ldap) {
    const std::string *value = user.first(ldap);
    return value != nullptr && *value == "TRUE";
}

static std::optional<int64_t> number_of(const Entry &user, const char *ldap, uint32_t syntax) {
    const std::string *value = user.first(ldap);
    if (value == nullptr) return std::nullopt;
    return value_parse(syntax, *value, {}).number;
}

// Nobody counts the logins of a file down: a password that has expired lets its user in for as long as some are left,
// or where they are not counted at all.
static Verdict password_state(const Entry &user) {
    Verdict verdict = Verdict::accepted;
    const std::optional<int64_t> end = number_of(user, "qrtPasswordExpirationTime", ZK_SYNTAX_TIME);
    if (!end) return verdict;
    verdict.expiresIn = std::max<int64_t>(*end - time(nullptr), 0);
    if (verdict.expiresIn > 0) return verdict;
    const std::optional<int64_t> left = number_of(user, "qrtLoginGraceRemaining", ZK_SYNTAX_COUNTER);
    if (left && *left <= 0) return Verdict::passwordExpired;
    verdict.graceLogins = left.value_or(Verdict::not_said);
    return verdict;
}

Verdict login_state(const Entry &user) {
    if (is_true(user, "qrtLocked")) return Verdict::locked;
    if (is_true(user, "qrtLoginDisabled")) return Verdict::disabled;
    const std::optional<int64_t> end = number_of(user, "qrtLoginExpirationTime", ZK_SYNTAX_TIME);
    if (end && *end <= time(nullptr)) return Verdict::accountExpired;
    return password_state(user);
}

// What the directory says counts before what its entry shows.
static Verdict with_state(Verdict verdict, const Entry &user) {
    if (verdict != Verdict::accepted) return verdict;
    Verdict state = login_state(user);
    if (state == Verdict::accepted && verdict.expiresIn != Verdict::not_said) return verdict;
    return state;
}

// No user is the root, and a server may take a login with an empty DN for an anonymous one, whatever the password.
// The password first: who does not know it does not learn that the account is locked.
Verdict login_to_tree(DirectoryStore *store, EntryPtr *user, const char *password) {
    error_unless(!(*user)->name.empty(), ZKE_NO_SUCH_ENTRY);
    const Verdict verdict = store->login(user, password);
    const Verdict result = with_state(verdict, **user);
    if (verdict == Verdict::accepted && result != Verdict::accepted) store->logout();
    return result;
}

Verdict login_check(DirectoryStore *store, const Entry &user, const char *password) {
    error_unless(!user.name.empty(), ZKE_NO_SUCH_ENTRY);
    return with_state(store->checkPassword(user, password), user);
}

static std::string minute_text(time_t when) {
    tm parts = {};
    char text[64] = "";
    localtime_r(&when, &parts);
    strftime(text, sizeof text, "%Y-%m-%d %H:%M", &parts);
    return text;
}

static std::string lock_sentence(time_t until, const char *who) {
    if (until <= time(nullptr)) return catalogue_format("%s is locked", who);
    return catalogue_format("%1$s is locked until %2$s", who, minute_text(until).c_str());
}

// `who` has the types of the name; `shown` is what its user types.
static CodedError refusal_of(const Verdict &verdict, const char *who, const char *shown) {
    switch (verdict.state) {
        case Verdict::locked:
            return CodedError(ZKE_ACCOUNT_LOCKED, lock_sentence(verdict.until, who));
        case Verdict::disabled:
            return CodedError(ZKE_ACCOUNT_LOCKED, catalogue_format("%s is disabled", who));
        case Verdict::accountExpired:
            return CodedError(ZKE_ACCOUNT_LOCKED, catalogue_format("%s has expired", who));
        case Verdict::notNow:
            return CodedError(ZKE_ACCOUNT_LOCKED, catalogue_format("%s may not log in at this time", who));
        case Verdict::notHere:
            return CodedError(ZKE_ACCOUNT_LOCKED, catalogue_format("%s may not log in from this computer", who));
        case Verdict::passwordExpired:
            return CodedError(
                ZKE_PASSWORD_EXPIRED,
                catalogue_format("the password of %s has expired: ask the administrator for a new one", shown));
        case Verdict::mustChange:
            if (verdict.expiresIn == 0)
                return CodedError(ZKE_PASSWORD_MUST_CHANGE,
                                  catalogue_format("the password of %s has expired and must be changed", who));
            return CodedError(ZKE_PASSWORD_MUST_CHANGE, catalogue_format("the password of %s must be changed", who));
        default:
            return CodedError(ZKE_WRONG_PASSWORD, catalogue_format("wrong password for %s", who));
    }
}

void login_require_accepted(const Verdict &verdict, const Entry &user) {
    if (verdict == Verdict::accepted) return;
    throw refusal_of(verdict, name_to_dotted(user.name, true).c_str(), name_to_dotted(user.name, false).c_str());
}
