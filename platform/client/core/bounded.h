// Work inside another library that may hang for longer than the caller can wait: a look-up of a host name, a ticket.
// It runs on a thread of its own, which is left to itself when the caller's time is over.
#ifndef PLATFORM_CLIENT_CORE_BOUNDED_H
#define PLATFORM_CLIENT_CORE_BOUNDED_H

#include <chrono>
#include <functional>
#include <memory>
#include <thread>

class Bounded {
  public:
    // Starts the work. It outlives this object when it hangs, so it has to own whatever it uses; an exception ends it
    // like a return. No signal is handled on its thread. Throws std::system_error when there can be no thread.
    explicit Bounded(std::function<void()> work);

    // Waits until the work is done and its thread has ended, at most until then. False: it is not done.
    bool doneBy(std::chrono::steady_clock::time_point deadline) const;

  private:
    struct State;
    struct LeaveToItself {
        void operator()(std::thread *worker) const;
    };
    std::shared_ptr<State> state_;
    std::unique_ptr<std::thread, LeaveToItself> worker_;
};

#endif
