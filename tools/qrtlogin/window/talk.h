// This program's side of the conversation with qrtlogin (tools/qrtlogin/login_message.h).
#ifndef TOOLS_QRTLOGIN_WINDOW_TALK_H
#define TOOLS_QRTLOGIN_WINDOW_TALK_H

#include <string_view>

#include "tools/qrtlogin/login_message.h"

// Whether the program was started by qrtlogin.
bool talk_is_possible();

// From now on `take` is called from the main loop with each message, `closed` at the end of the conversation, and
// "alive" is sent. A message that is not one ends the conversation.
void talk_begin(void (*take)(const LoginMessage &message), void (*closed)());

void talk_answer(std::string_view user, std::string_view password);
void talk_refuse();
void talk_cancel();
void talk_fail(std::string_view reason);

#endif
