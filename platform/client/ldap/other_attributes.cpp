#include "platform/client/ldap/other_attributes.h"

#include <ldap_schema.h>
#include <cstring>
#include <optional>
#include <unordered_map>

namespace {

// A syntax of the servers (RFC 4517; the last three are Active Directory's) and the client's.
struct SyntaxRow {
    const char *theirs;
    uint32_t ours;
};

using Syntaxes = std::unordered_map<std::string, uint32_t>; // by the attribute's name in lower case

} // namespace

static constexpr SyntaxRow syntax_rows[] = {
    {"1.3.6.1.4.1.1466.115.121.1.7", schema_boolean},  {"1.3.6.1.4.1.1466.115.121.1.11", schema_text},
    {"1.3.6.1.4.1.1466.115.121.1.12", schema_dn},      {"1.3.6.1.4.1.1466.115.121.1.15", schema_text},
    {"1.3.6.1.4.1.1466.115.121.1.24", ZK_SYNTAX_TIME}, {"1.3.6.1.4.1.1466.115.121.1.26", schema_text},
    {"1.3.6.1.4.1.1466.115.121.1.27", schema_text},    {"1.3.6.1.4.1.1466.115.121.1.36", schema_text},
    {"1.3.6.1.4.1.1466.115.121.1.38", schema_text},    {"1.3.6.1.4.1.1466.115.121.1.41", ZK_SYNTAX_POSTAL_ADDRESS},
    {"1.3.6.1.4.1.1466.115.121.1.44", schema_text},    {"1.3.6.1.4.1.1466.115.121.1.50", schema_telephone},
    {"1.2.840.113556.1.4.905", schema_text},           {"1.2.840.113556.1.4.906", schema_text},
    {"1.2.840.113556.1.4.1362", schema_text},
};

static std::string lower(std::string_view name) {
    std::string folded;
    for (char c : name) folded += lower_case(c);
    return folded;
}

static std::optional<uint32_t> syntax_of(const LDAPAttributeType &known) {
    if (known.at_syntax_oid == nullptr) return std::nullopt;
    for (const SyntaxRow &row : syntax_rows)
        if (strcmp(row.theirs, known.at_syntax_oid) == 0) return row.ours;
    return std::nullopt;
}

namespace {

struct FreeType {
    void operator()(LDAPAttributeType *known) const { ldap_attributetype_free(known); }
};

} // namespace

// An attribute may have its syntax from the one that it is derived from.
static Syntaxes syntaxes_of(const LdapEntry &subschema) {
    Syntaxes syntaxes;
    std::vector<std::pair<std::string, std::string>> derived;
    for (const auto &[name, values] : subschema.attributes) {
        if (!equal_nocase(name, "attributeTypes")) continue;
        for (const std::string &value : values) {
            int problem = 0;
            const char *where = nullptr;
            const std::unique_ptr<LDAPAttributeType, FreeType> known(
                ldap_str2attributetype(value.c_str(), &problem, &where, LDAP_SCHEMA_ALLOW_ALL));
            if (known == nullptr) continue;
            const std::optional<uint32_t> syntax = syntax_of(*known);
            for (char **one = known->at_names; one != nullptr && *one != nullptr; one++) {
                if (syntax) syntaxes.emplace(lower(*one), *syntax);
                if (known->at_syntax_oid == nullptr && known->at_sup_oid != nullptr)
                    derived.emplace_back(lower(*one), lower(known->at_sup_oid));
            }
        }
    }
    constexpr int mostSteps = 8; // from an attribute to the one that has the syntax
    for (int step = 0; step < mostSteps; step++) {
        for (const auto &[name, above] : derived) {
            auto found = syntaxes.find(above);
            if (found != syntaxes.end()) syntaxes.emplace(name, uint32_t{found->second});
        }
    }
    return syntaxes;
}

void LdapOtherAttributes::read(LdapServers *servers, const std::string &dn, const Name &base) {
    read_ = true;
    const LdapAnswer own = servers->search({dn, LDAP_SCOPE_BASE, "(objectClass=*)", {"*", "subschemaSubentry"}});
    if (own.entries.size() != 1) return;
    std::string subschema;
    for (const auto &[name, values] : own.entries.front().attributes)
        if (equal_nocase(name, "subschemaSubentry") && !values.empty()) subschema = values.front();
    const LdapAnswer schema =
        servers->search({subschema, LDAP_SCOPE_BASE, "(objectClass=subschema)", {"attributeTypes"}});
    if (schema.entries.size() != 1) return;
    const Syntaxes syntaxes = syntaxes_of(schema.entries.front());
    for (const auto &[name, values] : own.entries.front().attributes) {
        auto syntax = syntaxes.find(lower(name));
        if (syntax != syntaxes.end()) found_.add(name, values, syntax->second, base);
    }
}

void LdapOtherAttributes::forget() {
    read_ = false;
    found_.forget();
}
