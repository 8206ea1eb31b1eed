// Users of a directory that knows them by accounts and shows nothing before a login (Active Directory).
#ifndef PLATFORM_CLIENT_LDAP_ACCOUNTS_H
#define PLATFORM_CLIENT_LDAP_ACCOUNTS_H

#include <string>

#include "platform/client/core/login_name.h"
#include "platform/client/ldap/kerberos_change.h"
#include "platform/client/ldap/lookup.h"
#include "platform/client/ldap/servers.h"

// A user of accounts, who is not looked up before the login.
struct LdapAccount {
    EntryPtr entry;
    std::string bindName;
    std::string filter;          // finds the user's entry
    std::string exact;           // the value of userPrincipalName that comes before all others
    KerberosPrincipal principal; // its name is empty where that is not known
    Name wanted;                 // not empty: the name that the entry must have
    std::string domain;          // not empty: the domain that was typed
    std::string who;             // whom the server takes the connection for, after the bind; as in LdapAnswer
};

class LdapAccounts {
  public:
    // All must outlive the object.
    LdapAccounts(const ConfigTree &config, const Name &base, LdapServers *servers, LdapLookup *objects)
        : tree_(config), root_(base), servers_(*servers), objects_(*objects) {}

    // Whom a typed name means; no server is asked for the user. CodedError, ZKE_NO_SUCH_ENTRY, for the root.
    LdapAccount meant(const LoginName &name);
    // The entry of the account that has been bound; null when it is not shown, or is another one's. Throws LdapTrouble.
    EntryPtr read(const LdapAccount &account);

  private:
    std::string domain();
    bool isOwnDomain(const std::string &typed);

    const ConfigTree &tree_;
    const Name &root_;
    LdapServers &servers_;
    LdapLookup &objects_;
};

// A user whom nobody has looked up.
EntryPtr entry_unseen_user(const Name &name);

#endif
