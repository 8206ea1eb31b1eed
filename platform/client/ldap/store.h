// The directory on LDAP servers. Servers are asked when something is wanted, and an object is asked for once: it is
// read with all that a login may want of it and kept for the login.
#ifndef PLATFORM_CLIENT_LDAP_STORE_H
#define PLATFORM_CLIENT_LDAP_STORE_H

#include <memory>

#include "platform/client/core/config.h"
#include "platform/client/core/directory_store.h"

// `tree` must outlive the store. No server is asked yet.
std::unique_ptr<DirectoryStore> ldap_store_make(const ConfigTree &tree, const Name &base);

#endif
