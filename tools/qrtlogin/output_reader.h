// Shows the scripts' output while they run: a thread drains the library's pipe. An interrupt that ends the process
// (after BREAK ON) waits until everything has been shown.
#ifndef TOOLS_QRTLOGIN_OUTPUT_READER_H
#define TOOLS_QRTLOGIN_OUTPUT_READER_H

#include <cstdio>
#include <thread>

#include "tools/qrtlogin/secret.h"

class OutputReader {
  public:
    // After qrt_init with a pipe: each line appears on `output` as it comes. Takes over the library's interrupt
    // handler; an interrupt that ends the process wipes `password` first. Throws std::system_error. One at a time.
    OutputReader(FILE *output, Secret *password);
    // After qrt_exit: waits for the end marker and closes what the library leaves open of the pipe.
    ~OutputReader();
    OutputReader(const OutputReader &) = delete;
    OutputReader &operator=(const OutputReader &) = delete;

  private:
    std::thread thread_;
};

#endif
