#include "platform/client/core/schema.h"

#include <unordered_map>

#include "platform/client/core/names.h"
#include "platform/zk.h"

static constexpr size_t text_limit = size_t{64} * 1024;
static constexpr size_t script_limit = size_t{16} * 1024 * 1024;
static constexpr size_t dn_limit = 4096;

// ORDER: the first row whose class an entry has gives its base class, so the special classes stand before the
// general ones.
static const SchemaClass classes[] = {
    {"alias", "Alias", false},
    {"qrtDirectoryMap", "Directory Map", false},
    {"qrtVolume", "Volume", false},
    {"qrtServer", "Server", false},
    {"qrtProfileObject", "Profile", false},
    {"computer", "Computer", false}, // which is a user as well, in a directory of accounts
    {"group", "Group", false},
    {"groupOfNames", "Group", false},
    {"groupOfUniqueNames", "Group", false},
    {"groupOfMembers", "Group", false},
    {"groupOfURLs", "Group", false},
    {"posixGroup", "Group", false},
    {"organizationalRole", "Organizational Role", false},
    {"inetOrgPerson", "User", false},
    {"organizationalPerson", "User", false},
    {"person", "User", false},
    {"account", "User", false},
    {"posixAccount", "User", false},
    {"user", "User", false},
    {"organizationalUnit", "Organizational Unit", true},
    {"organization", "Organization", true},
    {"country", "Country", true},
    {"locality", "Locality", true},
    {"dcObject", "Domain", true},
    {"domain", "Domain", true},
    {"domainDNS", "Domain", true},
    {"builtinDomain", "Container", true},
    {"container", "Container", true},
    {"nsContainer", "Container", true},
};
static const SchemaClass unknown_class = {"", "Unknown", false};

using Index = std::unordered_map<std::string, const SchemaAttribute *>;

static std::string directory_key(std::string_view name) {
    std::string key(name);
    for (char &c : key) c = c == '_' ? ' ' : lower_case(c);
    return key;
}

static Index index_by(const char *SchemaAttribute::*key) {
    Index index;
    for (const SchemaAttribute &row : schema_attributes())
        if (row.*key != nullptr) index.emplace(directory_key(row.*key), &row);
    return index;
}

static const SchemaAttribute *look_up(const Index &index, std::string_view name) {
    auto found = index.find(directory_key(name));
    return found == index.end() ? nullptr : found->second;
}

const std::vector<SchemaAttribute> &schema_attributes() {
    static const std::vector<SchemaAttribute> rows = {
        {"CN", "cn", schema_text, text_limit},
        {"OU", "ou", schema_text, text_limit},
        {"O", "o", schema_text, text_limit},
        {"C", "c", schema_text, text_limit},
        {"L", "l", schema_text, text_limit},
        {"S", "st", schema_text, text_limit},
        {"SA", "street", schema_text, text_limit},
        {"DC", "dc", schema_text, text_limit},
        {"UID", "uid", schema_text, text_limit},
        {"Object Class", "objectClass", schema_text, 128},
        {"Surname", "sn", schema_text, text_limit},
        {"Given Name", "givenName", schema_text, text_limit},
        {"Full Name", "displayName", schema_text, text_limit},
        {"Initials", "initials", schema_text, text_limit},
        {"Generational Qualifier", "generationQualifier", schema_text, text_limit},
        {"Title", "title", schema_text, text_limit},
        {"Description", "description", schema_text, text_limit},
        {"Department", "departmentNumber", schema_text, text_limit},
        {"Employee Number", "employeeNumber", schema_text, text_limit},
        {"Employee Type", "employeeType", schema_text, text_limit},
        {"Room Number", "roomNumber", schema_text, text_limit},
        {"EMail Address", "mail", schema_text, text_limit},
        {"Language", "preferredLanguage", schema_text, text_limit},
        {"Postal Code", "postalCode", schema_text, text_limit},
        {"Postal Office Box", "postOfficeBox", schema_text, text_limit},
        {"Physical Delivery Office Name", "physicalDeliveryOfficeName", schema_text, text_limit},
        {"Telephone Number", "telephoneNumber", schema_telephone, text_limit},
        {"Home Phone", "homePhone", schema_telephone, text_limit},
        {"Mobile", "mobile", schema_telephone, text_limit},
        {"Facsimile Telephone Number", "facsimileTelephoneNumber", ZK_SYNTAX_NUMERIC_TEXT, text_limit},
        {"Postal Address", "postalAddress", ZK_SYNTAX_POSTAL_ADDRESS, text_limit},
        {"See Also", "seeAlso", schema_dn, dn_limit},
        {"Manager", "manager", schema_dn, dn_limit},
        {"Owner", "owner", schema_dn, dn_limit},
        {"Member", "member", schema_dn, dn_limit},
        {"Group Membership", "memberOf", schema_dn, dn_limit},
        {"Aliased Object Name", "aliasedObjectName", schema_dn, dn_limit},
        {"Login Script", "qrtLoginScript", schema_stream, script_limit},
        {"Profile", "qrtProfile", schema_dn, dn_limit},
        {"Home Directory", "qrtHomeDirectory", ZK_SYNTAX_PATH, text_limit},
        {"Host Server", "qrtHostServer", schema_dn, dn_limit},
        {"Host Resource Name", "qrtHostResourceName", schema_text, 64},
        {"Path", "qrtPath", ZK_SYNTAX_PATH, text_limit},
        {"Default Server", "qrtDefaultServer", schema_dn, dn_limit},
        {"Network Address", "qrtNetworkAddress", ZK_SYNTAX_NETWORK_ADDRESS, 1024},
        {"Last Login Time", "qrtLastLoginTime", ZK_SYNTAX_TIME, 32},
        {"Login Time", "qrtLoginTime", ZK_SYNTAX_TIME, 32},
        {"Login Expiration Time", "qrtLoginExpirationTime", ZK_SYNTAX_TIME, 32},
        {"Password Expiration Time", "qrtPasswordExpirationTime", ZK_SYNTAX_TIME, 32},
        {"Password Expiration Interval", "qrtPasswordExpirationInterval", ZK_SYNTAX_INTERVAL, 32},
        {"Login Grace Limit", "qrtLoginGraceLimit", ZK_SYNTAX_COUNTER, 32},
        {"Login Grace Remaining", "qrtLoginGraceRemaining", ZK_SYNTAX_COUNTER, 32},
        {"Login Disabled", "qrtLoginDisabled", schema_boolean, 8},
        {"Locked By Intruder", "qrtLocked", schema_boolean, 8},
        {nullptr, "userPassword", schema_text, 1024},
        {nullptr, "uniqueMember", schema_dn, dn_limit},
        {nullptr, "qrtServerUser", schema_text, 1024},
        {nullptr, "qrtVolumeSource", schema_text, 1024},
        {nullptr, "qrtVolumeOptions", schema_text, 256},
        {nullptr, "uidNumber", ZK_SYNTAX_COUNTER, 32},
        {nullptr, "modifyTimestamp", ZK_SYNTAX_TIME, 32},
    };
    return rows;
}

const SchemaAttribute *schema_find(std::string_view name) {
    static const Index index = index_by(&SchemaAttribute::name);
    return look_up(index, name);
}

const SchemaAttribute *schema_find_ldap(std::string_view ldap) {
    static const Index index = index_by(&SchemaAttribute::ldap);
    // An LDAP name has no blanks, and "_" does not stand for one there.
    return ldap.find_first_of("_ ") == std::string_view::npos ? look_up(index, name_type(ldap)) : nullptr;
}

const SchemaClass *schema_class_of(const std::vector<std::string_view> &objectClasses) {
    for (const SchemaClass &row : classes) {
        for (std::string_view objectClass : objectClasses)
            if (equal_nocase(objectClass, row.ldap)) return &row;
    }
    return &unknown_class;
}

std::string schema_class_name(std::string_view ldap) {
    const SchemaClass *row = schema_class_of({ldap});
    return row == &unknown_class ? std::string(ldap) : row->base;
}
