// What the tests of the wire hand over to the framing.
#ifndef TESTS_LDAP_FRAMING_H
#define TESTS_LDAP_FRAMING_H

#include <string>

#include "platform/client/ldap/stream.h"

inline LdapFraming::Verdict take(LdapFraming *framing, const std::string &bytes) {
    return framing->take(reinterpret_cast<const unsigned char *>(bytes.data()), bytes.size());
}

#endif
