#include "platform/client/ldap/script_change.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "platform/catalogue.h"
#include "platform/client/core/errors.h"
#include "platform/client/ldap/filter.h"
#include "platform/common/nocase.h"

static const std::vector<std::string> *values_of(const LdapEntry &entry, const std::string &attribute) {
    for (const auto &[name, values] : entry.attributes)
        if (equal_nocase(name, attribute) && !values.empty()) return &values;
    return nullptr;
}

static std::string first_value(const LdapEntry &entry, const std::string &attribute) {
    const std::vector<std::string> *values = values_of(entry, attribute);
    return values == nullptr ? "" : values->front();
}

static std::string words_of(const LdapAnswer &answer) {
    return ldap_err2string(answer.result) + (answer.text.empty() ? "" : " (" + answer.text + ")");
}

[[noreturn]] static void refuse_referral(const LdapAnswer &answer, const std::string &dn) {
    const std::string where = answer.referral.empty() ? "" : ": " + answer.referral.front();
    throw CodedError(ZKE_REFERRAL_BROKEN,
                     catalogue_format("the server refers the change of %s to another server", dn.c_str()) + where);
}

static uint32_t code_of(int result) {
    constexpr int forbidden[] = {LDAP_INSUFFICIENT_ACCESS, LDAP_STRONG_AUTH_REQUIRED, LDAP_CONFIDENTIALITY_REQUIRED,
                                 LDAP_INAPPROPRIATE_AUTH,  LDAP_UNWILLING_TO_PERFORM, LDAP_INVALID_CREDENTIALS};
    if (std::find(std::begin(forbidden), std::end(forbidden), result) != std::end(forbidden)) return ZKE_NO_ACCESS;
    return result == LDAP_NO_SUCH_OBJECT ? ZKE_NO_SUCH_ENTRY : ZKE_BAD_DIRECTORY_DATA;
}

LdapSearch ldap_script_search(const std::string &dn, const std::string &attribute) {
    return {dn, LDAP_SCOPE_BASE, "(objectClass=*)", {attribute, "objectClass", "modifyTimestamp", "modifiersName"}};
}

StoredScript ldap_script_read(const LdapAnswer &answer, const std::string &dn, const std::string &attribute) {
    if (answer.result == LDAP_REFERRAL) refuse_referral(answer, dn);
    if (answer.result != LDAP_SUCCESS) {
        throw CodedError(code_of(answer.result),
                         catalogue_format("the server does not show %1$s: %2$s", dn.c_str(), words_of(answer).c_str()));
    }
    error_unless(!answer.entries.empty(), ZKE_NO_SUCH_ENTRY);
    const LdapEntry &entry = answer.entries.front();
    StoredScript script;
    if (const std::vector<std::string> *values = values_of(entry, attribute)) {
        script.text = values->front();
        if (values->size() > 1) {
            throw DataError(
                catalogue_format("%1$s: the attribute %2$s has several values", dn.c_str(), attribute.c_str()));
        }
    }
    script.changed = first_value(entry, "modifyTimestamp");
    script.changedBy = first_value(entry, "modifiersName");
    return script;
}

static bool knows_assertions(LdapConnection *connection, LdapDeadline deadline) {
    const LdapAnswer root =
        connection->search({"", LDAP_SCOPE_BASE, "(objectClass=*)", {"supportedControl"}}, deadline);
    for (const LdapEntry &entry : root.entries)
        if (const std::vector<std::string> *controls = values_of(entry, "supportedControl"))
            return std::find(controls->begin(), controls->end(), LDAP_CONTROL_ASSERT) != controls->end();
    return false;
}

static std::string assertion(const LdapScriptChange &change) {
    if (!change.before) return "(!(" + change.attribute + "=*))";
    return "(" + change.attribute + "=" + filter_escaped_binary(*change.before) + ")";
}

static bool has_own_class(const LdapEntry &entry) {
    const std::vector<std::string> *classes = values_of(entry, "objectClass");
    constexpr const char *own[] = {"qrtUser", "qrtContainer", "qrtProfileObject"};
    return classes != nullptr && std::any_of(classes->begin(), classes->end(), [&](const std::string &one) {
               return std::any_of(std::begin(own), std::end(own),
                                  [&](const char *name) { return equal_nocase(one, name); });
           });
}

static std::vector<LdapModification> modifications(const LdapScriptChange &change, const LdapEntry &entry) {
    std::vector<LdapModification> all;
    if (!change.ownClass.empty() && !change.before && !has_own_class(entry))
        all.push_back({LDAP_MOD_ADD, "objectClass", {change.ownClass}});
    std::vector<std::string> values;
    if (change.after) values.push_back(*change.after);
    all.push_back({LDAP_MOD_REPLACE, change.attribute, std::move(values)});
    return all;
}

// Throws unless the entry's script is the one that was read; hands out the entry.
static LdapEntry require_unchanged(LdapConnection *connection, const LdapScriptChange &change, LdapDeadline deadline) {
    LdapAnswer answer = connection->search(ldap_script_search(change.dn, change.attribute), deadline);
    const StoredScript now = ldap_script_read(answer, change.dn, change.attribute);
    if (now.text != change.before) {
        throw CodedError(
            ZKE_SCRIPT_CHANGED,
            catalogue_format("the login script of %s has been changed by somebody else", change.dn.c_str()));
    }
    return std::move(answer.entries.front());
}

static LdapAnswer send(LdapConnection *connection, const LdapScriptChange &change, const LdapEntry &entry,
                       const std::string &condition, LdapDeadline deadline) {
    try {
        return connection->modify(change.dn, modifications(change, entry), condition, deadline);
    } catch (const LdapTrouble &trouble) {
        throw CodedError(trouble.code,
                         catalogue_format("%s; whether the script has been changed is not known", trouble.what()));
    }
}

void ldap_script_change(LdapConnection *connection, const LdapScriptChange &change, LdapDeadline deadline) {
    const std::string condition = knows_assertions(connection, deadline) ? assertion(change) : "";
    LdapEntry entry = require_unchanged(connection, change, deadline);
    LdapAnswer answer = send(connection, change, entry, condition, deadline);
    if (answer.result == LDAP_ASSERTION_FAILED) {
        // An attribute that has no rule for comparing it fails each assertion.
        entry = require_unchanged(connection, change, deadline);
        answer = send(connection, change, entry, "", deadline);
    }
    if (answer.result == LDAP_REFERRAL) refuse_referral(answer, change.dn);
    if (answer.result != LDAP_SUCCESS) {
        throw CodedError(code_of(answer.result), catalogue_format("the server does not change %1$s: %2$s",
                                                                  change.dn.c_str(), words_of(answer).c_str()));
    }
}
