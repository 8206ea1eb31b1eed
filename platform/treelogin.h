// The login prompts: what a script needs to ask the person at the workstation.
//
// The `_g` functions ask in a window, the `_c` function on the terminal; where there is no display a `_g` function
// falls back to the terminal. The library under platform/prompt/ implements them, callers only include this header.
#ifndef PLATFORM_TREELOGIN_H
#define PLATFORM_TREELOGIN_H

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

// Prepares the window prompts. Returns 0, or non-zero when there is no display to ask on.
int auxinit_g(void);

// Ask for a user name and a password under the title `label`; `defaultUser` (may be null) is offered as the name.
// 0: the person entered both, and `*user` and `*password` are new heap strings that the caller wipes and frees.
// Otherwise the prompt was cancelled or could not be shown, and neither pointer is written.
int auxlogin_g(const char *label, const char *defaultUser, char **user, char **password);
int auxlogin_c(const char *label, const char *defaultUser, char **user, char **password);

// Shows `text` with the named icon ("question") and a choice of buttons. Returns 4 for "yes", anything else for "no".
int auxconfirm_g(const char *text, const char *icon, int buttons, int defaultButton);

// Called before something is asked, when it is set: a calling program that shows the scripts' output beside the run
// waits here until all that came before the question has been shown. Set by the calling program.
extern void (*auxbefore_prompt)(void);

// Waits in a window until the person goes on. Returns 0 when they did.
int auxpause_script(void);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif
