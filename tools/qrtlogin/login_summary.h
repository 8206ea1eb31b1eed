// What a login has come to, for its window.
#ifndef TOOLS_QRTLOGIN_LOGIN_SUMMARY_H
#define TOOLS_QRTLOGIN_LOGIN_SUMMARY_H

#include "tools/qrtlogin/environment.h"
#include "tools/qrtlogin/login_window.h"

// After the run: tells the drives that there are and the variables that differ from before, and ends the conversation.
void login_summary_tell(LoginWindow *window, const RunEnvironment &environment, bool hasMistakes);

#endif
