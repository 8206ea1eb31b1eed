// Logging in to a tree and out of it, and the question for a name and a password.
#ifndef DIRECTORY_TREE_LOGIN_H
#define DIRECTORY_TREE_LOGIN_H

#include <cstdint>

// What a login without a name offers.
inline constexpr char tree_login_no_name[] = "<username>";

// qrt_TreeLogin, qrt_TreeLogout and qrt_get_user_password (qrtscript.h). The strings that go in may be null.
uint32_t tree_login(const char *tree, const char *user, const char *password, uint32_t &handle);
uint32_t tree_logout(const char *tree);
uint32_t tree_login_ask(bool inWindow, const char *label, const char *defaultUser, char **user, char **password);

#endif
