// Which preset fits a server, by the classes that it knows.
#ifndef PLATFORM_CLIENT_LDAP_RECOGNISE_H
#define PLATFORM_CLIENT_LDAP_RECOGNISE_H

#include "platform/client/core/config.h"
#include "platform/client/ldap/answer.h"

// From the `objectClasses` of a subschema entry (RFC 4512): the client's own classes come before those of accounts, and
// where a posixGroup can be added to another group, groups have their members as DNs.
SitePreset ldap_recognised_schema(const LdapEntry &subschema);

#endif
