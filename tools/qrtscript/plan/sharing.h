// What the effects of many users have in common. Each effect of each user is in something that `take` or `rest`
// returns.
#ifndef TOOLS_QRTSCRIPT_PLAN_SHARING_H
#define TOOLS_QRTSCRIPT_PLAN_SHARING_H

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tools/qrtscript/plan/record_text.h"

// What a user gets, by what it is called ("maps H:") with its value ("SRV1/SYS:public").
using Gets = std::map<std::string, std::string>;

// In ascending order.
using UserNumbers = std::vector<size_t>;

class Sharing {
  public:
    // `users` has to live as long.
    explicit Sharing(const std::vector<Gets> &users);

    // To be called in this order. What all of these users get: {"what", "value"}. Where nearly each of them has a value
    // of its own, `value` is null and `values` their number.
    Json takeOfAll();
    // What exactly these users get is theirs.
    void explain(const UserNumbers &users);
    // What exactly those get who are none of these, unless it has been explained.
    Json takeOfOthers(const UserNumbers &users);
    // What nearly all get is left to rest().
    void keepOfNearlyAll();
    // What all of these get, but for what `without` has, the result of takeOfAll().
    Json take(const UserNumbers &users, const Json &without);
    // What has never been taken, with `users` as well, their numbers.
    Json rest() const;

  private:
    struct Use {
        size_t user;
        std::string_view value;
        bool isTaken, isKept;
    };
    // Who gets one thing with the same value, or with many values.
    struct Part {
        std::string_view what;
        std::vector<Use *> uses;
        bool isExplained;
    };
    void part();
    static Json item(std::string_view what, const std::vector<Use *> &uses);

    size_t number_;
    std::map<std::string_view, std::vector<Use>> uses_;
    std::vector<Part> parts_; // of what not all get
};

#endif
