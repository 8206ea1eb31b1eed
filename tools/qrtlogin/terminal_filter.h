// What scripts write on its way to a terminal: what the terminal would obey (platform/terminal_text.h) is shown as
// "\x1B", apart from tab, line feed, a carriage return before a line feed, and bell. The text may come in any pieces.
// Does not allocate and does not fail.
#ifndef TOOLS_QRTLOGIN_TERMINAL_FILTER_H
#define TOOLS_QRTLOGIN_TERMINAL_FILTER_H

#include <cstddef>
#include <string_view>

#include "platform/terminal_text.h"

class TerminalFilter {
  public:
    // How many bytes `pass` can make of so many, and `end` of none.
    static constexpr size_t room(size_t length) { return (length + longest) * terminal_shown_size; }

    // Writes what is to be shown of the next piece. What may belong together with the next one is kept back. Returns
    // how many bytes it wrote.
    size_t pass(std::string_view text, char *to);
    // The same at the end of the text, for what was kept back.
    size_t end(char *to);

  private:
    static constexpr size_t longest = 4; // bytes of a character

    size_t settle(char *to, bool atEnd);
    char kept_[longest] = {};
    size_t keptSize_ = 0;
};

#endif
