// The person's part of a login: asks for the password, again where it was mistyped, says what the directory says of it,
// and has it changed where it must or may be changed. Each password that is sent was typed once for it.
#ifndef TOOLS_QRTLOGIN_PASSWORD_DIALOG_H
#define TOOLS_QRTLOGIN_PASSWORD_DIALOG_H

#include "platform/common/secret.h"
#include "tools/qrtlogin/login.h"
#include "tools/qrtlogin/login_window.h"
#include "tools/qrtlogin/options.h"

// Logs the user in, with a new password where the options or the directory want one. Asks in the window if there is one
// (it may be null), where the person may also give the user's name, which becomes that of the options. Returns the
// password that the user has now, empty where the login needs none. Throws Failure.
Secret password_dialog_log_in(Options *options, Login *login, LoginWindow *window = nullptr);

#endif
