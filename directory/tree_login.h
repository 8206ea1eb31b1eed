// Logging in to a tree and out of it, and the session's move to another tree. The functions (qrt_TreeLogin,
// qrt_TreeLogout, qrt_get_user_password, qrt_SetTree, doTreeLogin) are declared in qrtscript.h.
#ifndef DIRECTORY_TREE_LOGIN_H
#define DIRECTORY_TREE_LOGIN_H

#include "base/text.h"

// A name and a password on their way to a login; either may be null.
struct Credentials {
    OwnedText name;
    SecretText password;
};

#endif
