// The person's terminal, as the prompts use it: questions go to /dev/tty, never to the standard streams, so that they
// appear where the person types even when input and output are redirected. Owns the way a line and a password are
// read; what is asked for is up to auxlogin_c (here) and the window prompts' fallbacks (window_prompt.cpp).
#ifndef PLATFORM_PROMPT_TERMINAL_PROMPT_H
#define PLATFORM_PROMPT_TERMINAL_PROMPT_H

#include <string>
#include <string_view>

#include "platform/common/secret.h"

class Terminal {
  public:
    // Opens the process's terminal; a process without one gets an object for which isOpen() is false.
    Terminal();
    ~Terminal();
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    bool isOpen() const { return descriptor_ >= 0; }

    // Shows `text` and reads one line with echo. False at the end of input, after an interrupt, and for a line over
    // the answer's capacity. A signal that came meanwhile is delivered to the process again before the return.
    bool askLine(std::string_view text, Secret *answer);

    // Shows `text` and reads one line without echo; the terminal's settings are restored on every path, signals
    // included. False after an interrupt, for an empty line or the end of input, and for a password over the capacity.
    bool askPassword(std::string_view text, Secret *answer);

    // Shows text. Control characters that a directory or a script put into it do not reach the terminal.
    void show(std::string_view text);

  private:
    int descriptor_;
};

// A new heap copy of `answer`, or null when memory runs out. The caller wipes and frees it.
char *answer_copy(const Secret &answer);

// The name to offer for a caller's default. One such as "<username>" only stands for a name that is not known yet:
// then, and for one over the capacity of a Secret, the string is empty.
std::string login_offered_name(const char *defaultUser);

// `text` with every control character but the line feed shown as "\x1B"; see platform/terminal_text.h.
std::string terminal_safe_text(std::string_view text);

#endif
