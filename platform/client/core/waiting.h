// Reports to the calling program what it waits for when servers are slow to answer (ZKSetWaitNotice). A request of the
// store is an LdapWaiting; whatever waits within it does so in two steps, up to the moment at which the notice is due
// and on to its own deadline:
//
//     LdapDeadline next = ldap_waiting_step(deadline);
//     ... wait until `next`; when it has come and is not `deadline`: ldap_waiting_tell(), and once more
//
// Work on a separate thread reports nothing; the thread that waits for it does.
#ifndef PLATFORM_CLIENT_CORE_WAITING_H
#define PLATFORM_CLIENT_CORE_WAITING_H

#include <string>

#include "platform/client/core/bounded.h"
#include "platform/client/core/trouble.h"
#include "platform/zk.h"

// The time counts from here on, for all servers together. One within another changes nothing.
class LdapWaiting {
  public:
    LdapWaiting();
    // Reports the end of the wait, if the wait was reported.
    ~LdapWaiting();
    LdapWaiting(const LdapWaiting &) = delete;
    LdapWaiting &operator=(const LdapWaiting &) = delete;

  private:
    bool outer_;
};

// Null: nothing is reported.
void ldap_waiting_notice(LdapClock::duration after, ZKWaitNotice notice);

// From here on it is this that is waited for.
void ldap_waiting_for(const std::string &what);

LdapDeadline ldap_waiting_step(LdapDeadline deadline);
void ldap_waiting_tell() noexcept;

// Bounded::doneBy, with the notice.
bool ldap_waiting_done(const Bounded &work, LdapDeadline deadline);

#endif
