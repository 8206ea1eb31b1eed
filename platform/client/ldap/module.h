// What the module libzkclient-ldap.so exports. The client looks for it by name (session/ldap_module.h).
#ifndef PLATFORM_CLIENT_LDAP_MODULE_H
#define PLATFORM_CLIENT_LDAP_MODULE_H

#include "platform/client/core/servers_store.h"

// Makes a store, as a ServersStoreMaker does; the caller owns it.
extern "C" ServersStore *zkclient_ldap_store(const ConfigTree &config, const Name &base, SiteRead onSiteRead);

#endif
