// The login prompts: what a script needs for asking the user.
//
// The `_g` functions ask in a window, the `_c` function on the terminal; where no window can be shown a `_g` function
// falls back to the terminal, and what can be asked nowhere is cancelled, with a line on standard error. A person has
// as much time as they need; SIGHUP, SIGINT, SIGQUIT and SIGTERM cancel a question. They are implemented by the library
// in platform/prompt/; callers only include this header.
#ifndef PLATFORM_TREELOGIN_H
#define PLATFORM_TREELOGIN_H

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

// Returns 0 if a window can be shown; non-zero if the `_g` functions would ask on the terminal.
int auxinit_g(void);

// Ask for a user name and a password under the title `label`; `defaultUser` (may be null) is offered as the name.
// Return 0 if the user entered both; `*user` and `*password` are then new heap strings, which the caller must wipe and
// free. Otherwise the prompt was cancelled or could not be shown, and neither pointer is written.
int auxlogin_g(const char *label, const char *defaultUser, char **user, char **password);
int auxlogin_c(const char *label, const char *defaultUser, char **user, char **password);

// Shows `text` with the named icon ("question") and a choice of buttons. Returns 4 for "yes", anything else for "no".
// The Enter key means yes if the default button is 4.
int auxconfirm_g(const char *text, const char *icon, int buttons, int defaultButton);

// If set, called before each prompt: a program that shows the scripts' output while they run can wait here until
// everything before the prompt has been shown. Set by the calling program.
extern void (*auxbefore_prompt)(void);

// If set, called after each prompt, whatever became of it: between the two calls a person is waited for. Set by the
// calling program.
extern void (*auxafter_prompt)(void);

// If 0, the `_g` functions ask on the terminal only: for programs that talk to their user there. 1 at the start. Set by
// the calling program.
extern int auxwindows;

// Waits in a window until the user continues. Returns 0 if they did.
int auxpause_script(void);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif
