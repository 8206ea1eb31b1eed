// The password of the login, recognised and not kept: a script that changes to another tree makes the library try it
// there, for a user that the script chose. Only a tree whose configuration says so may see it unasked.
#ifndef PLATFORM_CLIENT_SESSION_LOGIN_PASSWORD_H
#define PLATFORM_CLIENT_SESSION_LOGIN_PASSWORD_H

#include "platform/client/session/trees.h"

// A login to the tree has succeeded. The tree of the first one is the login's own from then on; of each of its
// passwords a hash is kept with a salt of the process's own, never the text.
void login_password_keep(const Tree *tree, const char *password);

// Is the attempt to be refused without asking the directory? So it is when it carries a password of the login to a
// tree that is not the login's own and does not share, unless it is a further one after a refusal: whoever is refused
// asks a person.
bool login_password_is_held_back(const Tree *tree, const char *password);

// Is there a tree, beside the login's own, that may see the password of the login?
bool login_password_is_shared(const Tree *own);

// The tree has refused a login, so that the next attempt there is a person's answer.
void login_password_note_refusal(const Tree *tree);

// What is tried from now on is a first attempt again.
void login_password_end_attempts();

#endif
