// The session's state: the globals that scripts read and change, and the functions that read and set them. All of them
// are exported and declared in qrtscript.h, where the table of writers stands too; this module defines them.
//
// There is one session per process. Every text global is a heap copy owned by the library unless its declaration says
// that it is borrowed; session_clear() frees them.
#ifndef DIRECTORY_SESSION_H
#define DIRECTORY_SESSION_H

#include "qrtscript.h"

// Replaces a text global: frees the old value and stores a heap copy of `value` (null empties it). `value` may be the
// old text itself. Returns the new copy.
char *session_replace(char *&global, const char *value);

// Replaces CurrentPassword by a copy of `password` (null empties it), wiping the old one before it is freed.
void session_set_password(const char *password);

// Whether a TREE statement has freed the handle that the script was given and has put its own into `ctx`. Set by
// session_take_context, cleared by parsescript_Run. The numbers alone do not show it: the client may hand out a freed
// number again.
extern bool session_context_taken;

// Frees the session's context handle `ctx` and puts `handle` in its place.
void session_take_context(uint32_t handle);

// Frees and nulls the texts of a session in the order in which qrt_exit promises it.
void session_clear();

#endif
