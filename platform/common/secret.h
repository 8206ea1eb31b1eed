// A password, or what would give one away, between the person and the directory: NUL-terminated in one block that is
// wiped at the end of its life. The block has pages of its own, which are not swapped out (where the limit for locked
// memory allows) and do not get into a core file.
#ifndef PLATFORM_COMMON_SECRET_H
#define PLATFORM_COMMON_SECRET_H

#include <cstddef>

// Overwrites what calls that have returned may have left of a secret: the stack below the caller, and the registers
// that copying and comparing text goes through, which the next call would otherwise be free to save on the stack.
void secret_wipe_traces();

class Secret {
  public:
    // What a process that is forked has of it.
    enum class Forked { nothing, copy };

    static constexpr size_t usual_capacity = 1024;

    // Room for so many bytes, all zero, and for one more, by which an overlong secret shows. Throws std::bad_alloc.
    explicit Secret(size_t capacity = usual_capacity, Forked forked = Forked::nothing);
    // What it is made of has no text any more, and can only be assigned to.
    Secret(Secret &&other) noexcept;
    Secret &operator=(Secret &&other) noexcept;
    ~Secret(); // wipes the traces, too

    char *text() { return text_; } // empty after wipe()
    const char *text() const { return text_; }
    size_t capacity() const { return capacity_; }
    bool empty() const { return *text_ == '\0'; }
    // Only calls that are safe in a signal handler.
    void wipe();

  private:
    size_t size() const { return capacity_ + 2; }
    char *text_;
    size_t capacity_;
};

#endif
