// Why map does not do what was asked: one plain sentence for the person, without its final period.
#ifndef TOOLS_MAP_REFUSAL_H
#define TOOLS_MAP_REFUSAL_H

#include <stdexcept>
#include <string>

#include "platform/terminal_text.h"

// It may quote what comes from elsewhere: a terminal obeys nothing of it.
class Refusal : public std::runtime_error {
  public:
    explicit Refusal(const std::string &sentence) : std::runtime_error(terminal_text(sentence)) {}
};

#endif
