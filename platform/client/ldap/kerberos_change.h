// Changes the password of an account that cannot log in with the one it has: the key distribution centre of its domain
// takes a new one where the directory no longer takes the old one.
#ifndef PLATFORM_CLIENT_LDAP_KERBEROS_CHANGE_H
#define PLATFORM_CLIENT_LDAP_KERBEROS_CHANGE_H

#include <string>

#include "platform/client/core/trouble.h"
#include "platform/client/ldap/identity.h"

// Whose password: "anna@AD.EXAMPLE.TEST", with what is no plain character in the name escaped.
struct KerberosPrincipal {
    std::string name;
    bool isEnterprise = false; // the whole is a name that the domain knows, "anna@school.example"
};

// The principal of an account in the domain of a DNS name; `isEnterprise` as above.
KerberosPrincipal kerberos_principal(const std::string &account, const std::string &domain, bool isEnterprise);

// Throws CodedError as DirectoryStore::changePassword does, also when the deadline has come. libkrb5 finds the centres
// by its own configuration, or by DNS.
void kerberos_change_password(const KerberosPrincipal &who, const LdapIdentity &before, const LdapIdentity &after,
                              LdapDeadline deadline);

#endif
