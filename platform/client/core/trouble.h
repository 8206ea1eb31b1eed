// How long a request to LDAP servers may take, and how it fails.
#ifndef PLATFORM_CLIENT_CORE_TROUBLE_H
#define PLATFORM_CLIENT_CORE_TROUBLE_H

#include <algorithm>
#include <chrono>
#include <cstddef>

#include "platform/client/core/errors.h"
#include "platform/zk.h"

using LdapClock = std::chrono::steady_clock;
using LdapDeadline = LdapClock::time_point;

// A request that a server did not answer as it should.
class LdapTrouble : public CodedError {
  public:
    LdapTrouble(uint32_t resultCode, const std::string &sentence, bool isDistrusted = false)
        : CodedError(resultCode, sentence),
          distrusted(isDistrusted || resultCode == ZKE_CERTIFICATE_REFUSED || resultCode == ZKE_TLS_REQUIRED) {}

    // The server could not prove to be the site's own, which is something else than a server that does not answer.
    const bool distrusted;
};

inline LdapClock::duration ldap_seconds(double count) {
    return std::chrono::duration_cast<LdapClock::duration>(std::chrono::duration<double>(count));
}

// When the first of so many servers has had its part of the time: a silent one must leave some for those after it.
inline LdapDeadline ldap_share(LdapDeadline deadline, size_t servers) {
    LdapDeadline now = LdapClock::now();
    return now + (deadline - now) / static_cast<int>(std::max<size_t>(servers, 1));
}

#endif
