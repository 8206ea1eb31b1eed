#include "platform/client/core/login_check.h"

#include <ctime>

#include "platform/client/core/values.h"
#include "platform/zk.h"

static bool is_true(const Entry &user, const char *ldap) {
    const std::string *value = user.first(ldap);
    return value != nullptr && *value == "TRUE";
}

static bool has_expired(const Entry &user) {
    const std::string *value = user.first("qrtLoginExpirationTime");
    return value != nullptr && value_parse(ZK_SYNTAX_TIME, *value, {}).number <= time(nullptr);
}

LoginLock login_lock(const Entry &user) {
    return is_true(user, "qrtLocked")          ? LoginLock::Locked
           : is_true(user, "qrtLoginDisabled") ? LoginLock::Disabled
           : has_expired(user)                 ? LoginLock::Expired
                                               : LoginLock::None;
}

// Nobody is the root, and a server may take a login with an empty DN for an anonymous one, whatever the password.
// The password first: who does not know it does not learn that the account is locked.
uint32_t login_to_tree(DirectoryStore *store, EntryPtr *user, const char *password) {
    if ((*user)->name.empty()) {
        return ZKE_NO_SUCH_ENTRY;
    }
    uint32_t code = store->login(user, password);
    if (code == ZK_OK && login_is_locked(**user)) {
        store->logout();
        return ZKE_ACCOUNT_LOCKED;
    }
    return code;
}

uint32_t login_check(DirectoryStore *store, const Entry &user, const char *password) {
    if (user.name.empty()) {
        return ZKE_NO_SUCH_ENTRY;
    }
    uint32_t code = store->check_password(user, password);
    return code == ZK_OK && login_is_locked(user) ? ZKE_ACCOUNT_LOCKED : code;
}
