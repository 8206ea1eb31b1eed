// Who may log in: the password, and what locks an account.
#ifndef PLATFORM_CLIENT_CORE_LOGIN_CHECK_H
#define PLATFORM_CLIENT_CORE_LOGIN_CHECK_H

#include "platform/client/core/directory_store.h"

// Logs the user in to the tree; `*user` becomes the entry as the user may read it. Locked only for the right password.
// The root of a tree is no user: CodedError, ZKE_NO_SUCH_ENTRY, for both.
Verdict login_to_tree(DirectoryStore *store, EntryPtr *user, const char *password);

enum class LoginLock { none, locked, disabled, expired };

// What locks the account, as far as its entry shows.
LoginLock login_lock(const Entry &user);
inline bool login_is_locked(const Entry &user) {
    return login_lock(user) != LoginLock::none;
}

// Only checks, for a login elsewhere.
Verdict login_check(DirectoryStore *store, const Entry &user, const char *password);

#endif
