// A descriptor that is closed at its end, which leaves errno as it is.
#ifndef PLATFORM_COMMON_OPENED_H
#define PLATFORM_COMMON_OPENED_H

#include <unistd.h>
#include <cerrno>
#include <utility>

class Opened {
  public:
    explicit Opened(int number) : number_(number) {}
    Opened(Opened &&other) noexcept : number_(other.release()) {}
    Opened &operator=(Opened &&other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    Opened(const Opened &) = delete;
    Opened &operator=(const Opened &) = delete;
    ~Opened() {
        const int problem = errno;
        if (number_ >= 0) close(number_);
        errno = problem;
    }

    int number() const { return number_; }
    bool isOpen() const { return number_ >= 0; }
    int release() { return std::exchange(number_, -1); } // the caller closes it

  private:
    int number_; // -1: none
};

#endif
