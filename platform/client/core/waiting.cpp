#include "platform/client/core/waiting.h"

#include <algorithm>

namespace {

struct Waiting {
    Waiting() noexcept {}
    bool active = false;
    bool told = false;
    LdapDeadline due;
    std::string what;
};

} // namespace

// Of the caller's thread: that of a ticket's login uses the same stream and has nothing to report to.
static thread_local Waiting waiting;

static LdapClock::duration notice_after;
static ZKWaitNotice notice_taker = nullptr;

LdapWaiting::LdapWaiting() : outer_(!waiting.active) {
    if (!outer_) return;
    waiting.active = true;
    waiting.told = false;
    waiting.due = LdapClock::now() + notice_after;
    waiting.what.clear();
}

LdapWaiting::~LdapWaiting() {
    if (!outer_) return;
    waiting.active = false;
    if (waiting.told && notice_taker != nullptr) notice_taker(nullptr);
}

void ldap_waiting_notice(LdapClock::duration after, ZKWaitNotice notice) {
    notice_after = after;
    notice_taker = notice;
}

void ldap_waiting_for(const std::string &what) {
    if (!waiting.active || waiting.what == what) return;
    waiting.what = what;
    if (waiting.told && notice_taker != nullptr) notice_taker(what.c_str());
}

LdapDeadline ldap_waiting_step(LdapDeadline deadline) {
    const bool wanted = waiting.active && !waiting.told && notice_taker != nullptr;
    return wanted ? std::min(deadline, waiting.due) : deadline;
}

void ldap_waiting_tell() noexcept {
    if (!waiting.told && notice_taker != nullptr) {
        waiting.told = true;
        notice_taker(waiting.what.c_str());
    }
}

bool ldap_waiting_done(const Bounded &work, LdapDeadline deadline) {
    const LdapDeadline next = ldap_waiting_step(deadline);
    if (work.doneBy(next)) return true;
    if (next == deadline) return false;
    ldap_waiting_tell();
    return work.doneBy(deadline);
}
