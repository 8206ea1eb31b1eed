// Who may log in: the password, and what locks an account.
#ifndef PLATFORM_CLIENT_CORE_LOGIN_CHECK_H
#define PLATFORM_CLIENT_CORE_LOGIN_CHECK_H

#include "platform/client/core/directory_store.h"

// Logs the user in to the tree; `*user` becomes the entry as the user may read it. What only the entry shows of
// the account is said only for the right password.
// The root of a tree is no user: CodedError, ZKE_NO_SUCH_ENTRY, for both.
Verdict login_to_tree(DirectoryStore *store, EntryPtr *user, const char *password);

// What keeps the user out who knows the password, as far as the entry shows; otherwise Accepted, with what it shows of
// the password.
Verdict login_state(const Entry &user);
inline bool login_is_locked(const Entry &user) {
    return login_state(user).isOfAccount();
}

// Throws, unless the verdict is Accepted, the CodedError that says why this user is not let in.
void login_require_accepted(const Verdict &verdict, const Entry &user);

// Only checks, for a login elsewhere.
Verdict login_check(DirectoryStore *store, const Entry &user, const char *password);

#endif
