// The session's state: the globals that scripts read and change, and the functions that read and set them. All of them
// are exported and declared in qrtscript.h, where the table of writers stands too; this module defines them.
//
// There is one session per process. Every text global is a heap copy owned by the library unless its declaration says
// that it is borrowed; session_clear() frees them.
#ifndef FRAME_SESSION_H
#define FRAME_SESSION_H

#include "qrtscript.h"

// Replaces a text global: frees the old value and stores a heap copy of `value` (null empties it). `value` may be the
// old text itself. Returns the new copy.
char *session_replace(char *&global, const char *value);

// Replaces CurrentPassword by a copy of `password` (null empties it), wiping the old one before it is freed.
void session_set_password(const char *password);

// Frees and nulls the texts of a session in the order in which qrt_exit promises it.
void session_clear();

#endif
