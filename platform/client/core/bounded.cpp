#include "platform/client/core/bounded.h"

#include <condition_variable>
#include <csignal>
#include <exception>
#include <mutex>
#include <thread>

struct Bounded::State {
    std::mutex lock;
    std::condition_variable changed;
    bool done = false;
};

namespace {

// The calling program's handlers run on its own threads.
class SignalsBlocked {
  public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsBlocked(const SignalsBlocked &) = delete;
    SignalsBlocked &operator=(const SignalsBlocked &) = delete;

  private:
    sigset_t before_;
};

} // namespace

Bounded::Bounded(std::function<void()> work) : state_(std::make_shared<State>()) {
    SignalsBlocked whileStarting;
    worker_.reset(new std::thread([shared = state_, task = std::move(work)]() mutable {
        try {
            task();
        } catch (const std::exception &) {
            // What the work did not write is its failure.
        }
        task = nullptr; // what it owns goes before anybody hears that it is done
        std::lock_guard<std::mutex> held(shared->lock);
        shared->done = true;
        shared->changed.notify_all();
    }));
}

bool Bounded::doneBy(std::chrono::steady_clock::time_point deadline) const {
    {
        std::unique_lock<std::mutex> held(state_->lock);
        if (!state_->changed.wait_until(held, deadline, [&]() { return state_->done; })) return false;
    }
    // All that is left of the thread is its end, which frees what the C library keeps for it.
    if (worker_->joinable()) worker_->join();
    return true;
}

void Bounded::LeaveToItself::operator()(std::thread *left) const {
    if (left->joinable()) left->detach();
    delete left;
}
