// The program that shows a window: it is started for each question, so that the caller never loads a toolkit, and
// whatever becomes of it, the caller goes on. What is asked is up to window_prompt.cpp.
#ifndef PLATFORM_PROMPT_WINDOW_PROCESS_H
#define PLATFORM_PROMPT_WINDOW_PROCESS_H

#include <string>

#include "platform/common/secret.h"
#include "platform/prompt/window_message.h"

// The program's path; empty: it is looked for where this library stands, and where it is installed. And how many signs
// of life in a row have to be missing until it counts as hung. Only code that is linked with the objects, such as a
// test, can change them.
inline const char *window_program = "";
inline volatile int window_missed_beats = 10;

enum class WindowOutcome {
    accepted,
    refused, // by the person, or a signal came; it has been raised again for the caller's own handler
    failed   // no one has seen or answered the question
};

// Starts the program, asks, and waits as long as it takes the person. `packet` (capacity window_message_limit) is what
// the answer is part of. `reason` says why it failed, as one translated line. The program has ended at the return.
WindowOutcome window_ask(const WindowRequest &request, Secret *packet, WindowAnswer *answer, std::string *reason);

#endif
