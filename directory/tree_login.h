// Logging in to a tree and out of it, and the question for a name and a password.
#ifndef DIRECTORY_TREE_LOGIN_H
#define DIRECTORY_TREE_LOGIN_H

#include <cstdint>

// What a login without a name offers.
inline constexpr char tree_login_no_name[] = "<username>";

// Logs in to a tree; `handle` is the new context, or 0. Returns the client's code. All strings may be null.
uint32_t tree_login(const char *tree, const char *user, const char *password, uint32_t &handle);
uint32_t tree_logout(const char *tree);

// Asks for a name and a password, both new heap strings for 0; they are not written when the prompt is cancelled.
uint32_t tree_login_ask(bool in_window, const char *label, const char *default_user, char **user, char **password);

#endif
