#include "platform/client/ldap/module.h"

#include "platform/client/ldap/resolver.h"
#include "platform/client/ldap/store.h"

ServersStore *zkclient_ldap_store(const ConfigTree &config, const Name &base, SiteKeeper *keeper, bool callerHasSasl) {
    if (callerHasSasl) ldap_library_keep_mechanisms();
    return std::make_unique<LdapStore>(config, base, keeper).release();
}
