// This program's side of the conversation with libtreelogin (platform/prompt/window_message.h). Nothing here returns to
// a window once the answer has been given: the process ends with it.
#ifndef PLATFORM_PROMPT_WINDOW_CONVERSATION_H
#define PLATFORM_PROMPT_WINDOW_CONVERSATION_H

#include <functional>
#include <string>
#include <string_view>

#include "platform/prompt/window_message.h"

// Receives the request. False if the program was not started by the library.
bool conversation_open(WindowRequest *request);

// From now on "alive" is sent from the main loop, and the program ends when the library has closed the conversation.
void conversation_keep_alive();

// `forget` wipes what the strings are part of, as soon as they have been taken.
[[noreturn]] void conversation_accept(std::string_view user = {}, std::string_view secret = {},
                                      const std::function<void()> &forget = nullptr);
[[noreturn]] void conversation_refuse();
[[noreturn]] void conversation_fail(const std::string &reason);

#endif
