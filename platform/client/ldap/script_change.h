// How an entry's login script is changed at a server: only if it is still the one that somebody has read. A server that
// knows the assertion control (RFC 4528) compares it in the same step; at any other it is compared right before.
#ifndef PLATFORM_CLIENT_LDAP_SCRIPT_CHANGE_H
#define PLATFORM_CLIENT_LDAP_SCRIPT_CHANGE_H

#include <string>

#include "platform/client/core/directory_store.h"
#include "platform/client/ldap/connection.h"

struct LdapScriptChange {
    std::string dn;
    std::string attribute; // that holds the script
    std::string ownClass;  // which allows the client's own attribute, for an entry without such a class; empty: none
    const ScriptText &before;
    const ScriptText &after;
};

// What is asked for to read a script, and what the answer says of it; `place` stays empty. Throws CodedError.
LdapSearch ldap_script_search(const std::string &dn, const std::string &attribute);
StoredScript ldap_script_read(const LdapAnswer &answer, const std::string &dn, const std::string &attribute);

// On a connection that is logged in. Throws LdapTrouble before the change has been sent, and CodedError: for whatever
// goes wrong afterwards, since no other server is to be tried, and as DirectoryStore::writeScript.
void ldap_script_change(LdapConnection *connection, const LdapScriptChange &change, LdapDeadline deadline);

#endif
