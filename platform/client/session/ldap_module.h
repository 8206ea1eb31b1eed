// The module with all that talks to LDAP servers, libzkclient-ldap.so: most programs ask no server, and would wait for
// the twenty libraries that it needs. It is taken from the folder libzkclient/ beside libzkclient itself and from
// nowhere else. A program that is linked with its objects has no use for the file.
#ifndef PLATFORM_CLIENT_SESSION_LDAP_MODULE_H
#define PLATFORM_CLIENT_SESSION_LDAP_MODULE_H

#include "platform/client/core/servers_store.h"

// Loads the module unless that has been tried: its libraries read the environment when they are loaded, which scripts
// must not influence. A module that cannot be loaded is reported when it is needed.
void ldap_module_load();

// Makes a store with it. Throws CodedError when it could not be loaded.
ServersStoreMaker ldap_module_store;

#endif
