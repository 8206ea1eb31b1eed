// The session's state: the globals that scripts read and change (declared in qrtscript.h, where the table of writers
// stands too), and the functions that set them.
//
// There is one session per process. Every text global is a heap copy owned by the library unless its declaration says
// that it is borrowed; session_clear() frees them. What sets a text throws std::bad_alloc and leaves the old one then.
#ifndef DIRECTORY_SESSION_H
#define DIRECTORY_SESSION_H

#include <cstdint>
#include <optional>
#include <string>

#include "base/output.h"

// Replaces a text global: frees the old value and stores a heap copy of `value` (null empties it). `value` may be the
// old text itself.
void session_replace(char *&global, const char *value);

// Replaces CurrentPassword by a copy of `password` (null empties it), wiping the old one before it is freed.
void session_set_password(const char *password);

// The functions of qrtscript.h: qrt_GetCurrentTree, the setters, qrt_ShiftVars, qrt_Object, qrt_LoggedInObject and
// qrt_getPauseResponse.
const char *session_tree();
void session_set_object(const char *name);
void session_set_login_name(const char *name);
void session_set_initial_context(const char *context);
int session_set_context(std::string context);
void session_set_variable(int index, const char *value);
void session_shift_variables(int count);
std::optional<std::string> session_object();
std::optional<std::string> session_logged_in_object();
int session_pause();

// Whether a TREE statement has freed the handle that the script was given and has put its own into `ctx`. Set by
// session_take_context, cleared by script_run. The numbers alone do not show it: the client may hand out a freed number
// again.
extern bool session_context_taken;

// Frees the session's context handle `ctx` and puts `handle` in its place.
void session_take_context(uint32_t handle);

// Frees and nulls the texts of a session in the order in which qrt_exit promises it.
void session_clear();

#endif
