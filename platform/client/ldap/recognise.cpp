#include "platform/client/ldap/recognise.h"

#include <ldap_schema.h>

#include "platform/common/nocase.h"

static bool has_name(const LDAPObjectClass &known, const char *name) {
    for (char **one = known.oc_names; one != nullptr && *one != nullptr; one++)
        if (equal_nocase(*one, name)) return true;
    return false;
}

SitePreset ldap_recognised_schema(const LdapEntry &subschema) {
    bool isOurs = false;
    bool isAuxiliary = false;
    for (const auto &[name, values] : subschema.attributes) {
        for (const std::string &value : values) {
            int problem = 0;
            const char *where = nullptr;
            LDAPObjectClass *known = ldap_str2objectclass(value.c_str(), &problem, &where, LDAP_SCHEMA_ALLOW_ALL);
            if (known == nullptr) continue;
            isOurs = isOurs || has_name(*known, "qrtUser");
            isAuxiliary = isAuxiliary || (has_name(*known, "posixGroup") && known->oc_kind == LDAP_SCHEMA_AUXILIARY);
            ldap_objectclass_free(known);
        }
    }
    return isOurs ? SitePreset::brasca : isAuxiliary ? SitePreset::rfc2307bis : SitePreset::rfc2307;
}
