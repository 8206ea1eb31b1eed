// The password between the person and the directory: held in one block that is wiped, never on the command line. The
// block has pages of its own, which are not swapped out (where the limit for locked memory allows), do not get into a
// core file, and are empty in a process that is forked.
#ifndef TOOLS_QRTLOGIN_SECRET_H
#define TOOLS_QRTLOGIN_SECRET_H

#include <cstddef>
#include <string>

class Secret {
  public:
    static constexpr size_t capacity = 1024;

    // Throws std::bad_alloc.
    Secret();
    ~Secret();
    Secret(const Secret &) = delete;
    Secret &operator=(const Secret &) = delete;

    // Asks on the terminal, without echo. Throws Failure: no terminal, an interrupt, an empty or an overlong answer.
    void ask(const std::string &question);

    // Throws the Failure of readFrom for a descriptor that is not open.
    static void requireOpen(int descriptor);

    // Reads from a descriptor up to its first line end, or to its end, and closes it; a standard descriptor is
    // /dev/null from then on. Throws Failure: the descriptor cannot be read, no or an overlong password, a zero byte in
    // it.
    void readFrom(int descriptor);

    char *text() { return text_; } // NUL-terminated; empty after wipe()
    void wipe();

  private:
    static constexpr size_t size = capacity + 2; // one byte more, so that an overlong password shows, and the NUL
    char *const text_;
};

#endif
