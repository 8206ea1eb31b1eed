// What the module libzkclient-ldap.so exports. The client looks for it by name (session/ldap_module.h).
#ifndef PLATFORM_CLIENT_LDAP_MODULE_H
#define PLATFORM_CLIENT_LDAP_MODULE_H

#include "platform/client/core/servers_store.h"

// Makes a store, as a ServersStoreMaker does; the caller owns it. `callerHasSasl`: all of SASL's mechanisms are loaded,
// and not only where the configuration has a tree with tickets.
extern "C" ServersStore *zkclient_ldap_store(const ConfigTree &config, const Name &base, SiteKeeper *keeper,
                                             bool callerHasSasl);

#endif
