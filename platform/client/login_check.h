// Who may log in: the password, and what locks an account.
#ifndef PLATFORM_CLIENT_LOGIN_CHECK_H
#define PLATFORM_CLIENT_LOGIN_CHECK_H

#include "platform/client/directory_store.h"

// ZK_OK, ZKE_WRONG_PASSWORD, or, only for the right password, ZKE_ACCOUNT_LOCKED.
uint32_t login_check(DirectoryStore *store, const Entry &user, const char *password);

#endif
