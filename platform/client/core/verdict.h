// What a directory says of a password and of the account that it is for.
#ifndef PLATFORM_CLIENT_CORE_VERDICT_H
#define PLATFORM_CLIENT_CORE_VERDICT_H

#include <cstdint>
#include <ctime>

struct Verdict {
    enum State {
        accepted,
        wrongPassword,
        // The account's own states: the password may be right.
        locked, // also for a reason that the directory does not name
        disabled,
        accountExpired,
        passwordExpired,
        mustChange, // nothing else is allowed before the password has been changed
        notNow,     // outside the hours that the account may log in
        notHere,    // not from this computer
    };
    static constexpr int64_t not_said = -1;

    State state = accepted;
    time_t until = 0; // of `locked`: when that ends; 0 is not known
    // Of `accepted` and `mustChange`: seconds until the password expires; 0 for one that has expired.
    int64_t expiresIn = not_said;
    int64_t graceLogins = not_said; // of `accepted`, with a password that has expired: how many further logins it takes

    Verdict() = default;
    // cppcheck-suppress noExplicitConstructor ; most verdicts are only a state
    Verdict(State reached) : state(reached) {}
    operator State() const { return state; }

    // The directory has refused the login, and for another reason than the password.
    bool isOfAccount() const { return state != accepted && state != wrongPassword; }
};

#endif
