// When a run of the scripts has to end before its time: decided from what has happened, without a clock of its own. All
// times are milliseconds of one clock that never goes back.
#ifndef TOOLS_QRTLOGIN_RUN_PATIENCE_H
#define TOOLS_QRTLOGIN_RUN_PATIENCE_H

#include <array>
#include <cstdint>
#include <limits>
#include <optional>

// Interrupts that follow one another so closely that whoever sends them means it.
class InterruptSeries {
  public:
    static constexpr int64_t within = 2000;

    // Returns whether this one is the third within that time.
    bool add(int64_t now) {
        const bool complete = earlier_[0] != never && now - earlier_[0] <= within;
        earlier_ = {earlier_[1], now};
        return complete;
    }

  private:
    static constexpr int64_t never = std::numeric_limits<int64_t>::min();
    std::array<int64_t, 2> earlier_ = {never, never};
};

// The time limit of a run. `seconds` is what was asked for, 0 for none; otherwise a person at a terminal can interrupt
// the scripts, and elsewhere they have five minutes.
inline std::optional<int64_t> time_limit_of(std::optional<int> seconds, bool hasTerminal) {
    constexpr int usual = 300;
    if (!seconds && hasTerminal) return std::nullopt;
    const int64_t limit = seconds.value_or(usual);
    return limit > 0 ? std::optional<int64_t>(limit * 1000) : std::nullopt;
}

// The time that a run may take. While a person is asked, it stands still.
class TimeAllowance {
  public:
    // Without a length there is no end to it.
    TimeAllowance(std::optional<int64_t> length, int64_t now) : left_(length), countedTo_(now) {}

    void questionBegins(int64_t now) {
        count(now);
        ++questions_;
    }
    void questionEnds(int64_t now) {
        count(now);
        --questions_;
    }
    // What is left, never below 0; nothing if the time stands still or has no end.
    std::optional<int64_t> left(int64_t now) {
        count(now);
        if (questions_ > 0) return std::nullopt;
        return left_;
    }

  private:
    void count(int64_t now) {
        if (left_ && questions_ == 0) left_ = *left_ > now - countedTo_ ? *left_ - (now - countedTo_) : 0;
        countedTo_ = now;
    }
    std::optional<int64_t> left_;
    int64_t countedTo_;
    int questions_ = 0;
};

#endif
