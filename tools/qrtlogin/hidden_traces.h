// Keeps the library's traces from the terminal. A script can turn them on, and they show the passwords that are typed
// into its questions; so they are shown only to who asked for them on the command line.
#ifndef TOOLS_QRTLOGIN_HIDDEN_TRACES_H
#define TOOLS_QRTLOGIN_HIDDEN_TRACES_H

#include <cstdio>

#include "platform/common/secret.h"

// While it lives, what is written to the stream `stdout` at a trace level above 0 goes nowhere. Whoever took the
// stream's pointer before writes as ever, and so do other programs on the descriptor. Throws std::bad_alloc.
class HiddenTraces {
  public:
    HiddenTraces();
    ~HiddenTraces();
    HiddenTraces(const HiddenTraces &) = delete;
    HiddenTraces &operator=(const HiddenTraces &) = delete;

  private:
    FILE *shown_;
    FILE *hiding_;
    Secret buffer_{BUFSIZ, Secret::Forked::copy}; // what the traces tell stands here
};

#endif
