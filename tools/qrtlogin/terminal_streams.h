// Keeps what scripts write from being obeyed by a terminal. The library's streams lead through a TerminalFilter into
// the pipe that everything goes through; programs of the scripts have the pipe itself, so that those that draw on the
// screen still can. (Such a program could open the terminal anyway; what it writes is its own affair.)
#ifndef TOOLS_QRTLOGIN_TERMINAL_STREAMS_H
#define TOOLS_QRTLOGIN_TERMINAL_STREAMS_H

#include <cstdio>
#include <memory>

// While it lives, what this process writes to the stream `stdout` comes filtered out of descriptor 1, and so does what
// it writes to `stderr` if both are the same file. One at a time.
class TerminalStreams {
  public:
    // Throws std::bad_alloc.
    TerminalStreams();
    ~TerminalStreams();
    TerminalStreams(const TerminalStreams &) = delete;
    TerminalStreams &operator=(const TerminalStreams &) = delete;

    // The library's output, once it has one, goes through it as well. It has no descriptor then, which leaves a program
    // its standard output: descriptor 1. The library's own stream is the caller's to put back.
    void takeLibrarysOutput();
    // Writes what was kept back as the beginning of a character, when there is nothing more to come.
    void end();

  private:
    using Stream = std::unique_ptr<FILE, int (*)(FILE *)>;
    static Stream open();
    FILE *const outputBefore_, *const errorsBefore_;
    const Stream output_, errors_, library_;
};

#endif
