#include "platform/client/core/login_check.h"

#include <ctime>

#include "platform/client/core/errors.h"
#include "platform/client/core/values.h"

static bool is_true(const Entry &user, const char *ldap) {
    const std::string *value = user.first(ldap);
    return value != nullptr && *value == "TRUE";
}

static bool has_expired(const Entry &user) {
    const std::string *value = user.first("qrtLoginExpirationTime");
    return value != nullptr && value_parse(ZK_SYNTAX_TIME, *value, {}).number <= time(nullptr);
}

LoginLock login_lock(const Entry &user) {
    return is_true(user, "qrtLocked")          ? LoginLock::locked
           : is_true(user, "qrtLoginDisabled") ? LoginLock::disabled
           : has_expired(user)                 ? LoginLock::expired
                                               : LoginLock::none;
}

// No user is the root, and a server may take a login with an empty DN for an anonymous one, whatever the password.
// The password first: who does not know it does not learn that the account is locked.
Verdict login_to_tree(DirectoryStore *store, EntryPtr *user, const char *password) {
    error_unless(!(*user)->name.empty(), ZKE_NO_SUCH_ENTRY);
    const Verdict verdict = store->login(user, password);
    if (verdict == Verdict::accepted && login_is_locked(**user)) {
        store->logout();
        return Verdict::locked;
    }
    return verdict;
}

Verdict login_check(DirectoryStore *store, const Entry &user, const char *password) {
    error_unless(!user.name.empty(), ZKE_NO_SUCH_ENTRY);
    const Verdict verdict = store->checkPassword(user, password);
    return verdict == Verdict::accepted && login_is_locked(user) ? Verdict::locked : verdict;
}
