#include "platform/client/ldap/answer.h"

#include <cstring>

namespace {

struct FreeText {
    void operator()(void *text) const { ldap_memfree(text); }
};
using Text = std::unique_ptr<char, FreeText>;

} // namespace

static std::vector<std::string> values_of(LDAP *ld, LDAPMessage *entry, const char *name) {
    std::vector<std::string> values;
    berval **list = ldap_get_values_len(ld, entry, name);
    for (berval **one = list; one != nullptr && *one != nullptr; one++)
        values.emplace_back((*one)->bv_val, (*one)->bv_len);
    ldap_value_free_len(list);
    return values;
}

static LdapEntry entry_of(LDAP *ld, LDAPMessage *message) {
    LdapEntry entry;
    Text dn(ldap_get_dn(ld, message));
    entry.dn = dn == nullptr ? "" : dn.get();
    BerElement *cursor = nullptr;
    for (Text name(ldap_first_attribute(ld, message, &cursor)); name != nullptr;
         name.reset(ldap_next_attribute(ld, message, cursor))) {
        // A value in one language only is not the value.
        if (strchr(name.get(), ';') == nullptr)
            entry.attributes.emplace_back(name.get(), values_of(ld, message, name.get()));
    }
    ber_free(cursor, 0);
    return entry;
}

// Frees the list.
static std::vector<std::string> texts_of(char **list) {
    std::vector<std::string> texts;
    for (char **one = list; one != nullptr && *one != nullptr; one++) texts.emplace_back(*one);
    ldap_memvfree(reinterpret_cast<void **>(list));
    return texts;
}

int ldap_answer_read(LDAP *ld, LDAPMessage *messages, LdapAnswer *answer) {
    for (LDAPMessage *one = ldap_first_entry(ld, messages); one != nullptr; one = ldap_next_entry(ld, one))
        answer->entries.push_back(entry_of(ld, one));
    for (LDAPMessage *one = ldap_first_reference(ld, messages); one != nullptr; one = ldap_next_reference(ld, one)) {
        char **uris = nullptr;
        if (ldap_parse_reference(ld, one, &uris, nullptr, 0) == LDAP_SUCCESS)
            answer->references.push_back(texts_of(uris));
    }
    char *text = nullptr;
    char **elsewhere = nullptr;
    // The result is the last message of the chain, and this call looks for it there.
    const int parsed = ldap_parse_result(ld, messages, &answer->result, nullptr, &text, &elsewhere, nullptr, 0);
    const Text owner(text);
    answer->referral = texts_of(elsewhere);
    answer->text = text == nullptr ? "" : text;
    return parsed;
}
