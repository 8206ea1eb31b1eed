#include "platform/client/ldap/answer.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string_view>

#include "platform/common/nocase.h"

namespace {

struct FreeText {
    void operator()(void *text) const { ldap_memfree(text); }
};
using Text = std::unique_ptr<char, FreeText>;

} // namespace

std::string ldap_first_value(const LdapEntry &entry, const char *attribute) {
    for (const auto &[name, values] : entry.attributes)
        if (equal_nocase(name, attribute) && !values.empty()) return values.front();
    return "";
}

static std::vector<std::string> values_of(LDAP *ld, LDAPMessage *entry, const char *name) {
    std::vector<std::string> values;
    berval **list = ldap_get_values_len(ld, entry, name);
    for (berval **one = list; one != nullptr && *one != nullptr; one++)
        values.emplace_back((*one)->bv_val, (*one)->bv_len);
    ldap_value_free_len(list);
    return values;
}

// "member;range=0-1499": the number after the range's end; 0 for the last range, "1500-*", and where there is none.
static size_t next_of_range(std::string_view options) {
    constexpr std::string_view mark = ";range=";
    size_t next = 0;
    if (!equal_nocase(options.substr(0, mark.size()), mark)) return 0;
    const size_t dash = std::min(options.find('-', mark.size()), options.size() - 1);
    const char *const end = options.data() + options.size();
    const auto [stop, error] = std::from_chars(options.data() + dash + 1, end, next);
    return error == std::errc() && stop == end && next < SIZE_MAX ? next + 1 : 0;
}

static bool is_range(std::string_view options) {
    return equal_nocase(options.substr(0, 7), ";range=");
}

// `number`: of the entry in the answer.
static LdapEntry entry_of(LDAP *ld, LDAPMessage *message, size_t number, std::vector<LdapRange> *ranges) {
    LdapEntry entry;
    Text dn(ldap_get_dn(ld, message));
    entry.dn = dn == nullptr ? "" : dn.get();
    BerElement *cursor = nullptr;
    for (Text name(ldap_first_attribute(ld, message, &cursor)); name != nullptr;
         name.reset(ldap_next_attribute(ld, message, cursor))) {
        const std::string_view whole = name.get();
        const std::string_view options = whole.substr(std::min(whole.find(';'), whole.size()));
        // A value in one language only is not the value.
        if (!options.empty() && !is_range(options)) continue;
        const std::string attribute(whole.substr(0, whole.size() - options.size()));
        std::vector<std::string> values = values_of(ld, message, name.get());
        if (next_of_range(options) != 0) ranges->push_back({number, attribute, next_of_range(options)});
        if (options.empty() || !values.empty()) entry.attributes.emplace_back(attribute, std::move(values));
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

static std::string cookie_of(LDAP *ld, LDAPControl **controls) {
    LDAPControl *page = ldap_control_find(LDAP_CONTROL_PAGEDRESULTS, controls, nullptr);
    ber_int_t estimate = 0;
    berval cookie = {0, nullptr};
    if (page == nullptr || ldap_parse_pageresponse_control(ld, page, &estimate, &cookie) != LDAP_SUCCESS) return "";
    std::string found(cookie.bv_val == nullptr ? "" : cookie.bv_val, cookie.bv_val == nullptr ? 0 : cookie.bv_len);
    ber_memfree(cookie.bv_val);
    return found;
}

size_t ldap_answer_memory(const LdapAnswer &answer) {
    size_t bytes = 0;
    for (const LdapEntry &entry : answer.entries) {
        bytes += sizeof entry + entry.dn.size();
        for (const auto &[name, values] : entry.attributes) {
            bytes += sizeof(std::string) + name.size() + sizeof(std::vector<std::string>);
            for (const std::string &value : values) bytes += sizeof(std::string) + value.size();
        }
    }
    return bytes;
}

static void read_policy(LDAP *ld, LDAPControl *control, LdapPasswordControls *password) {
    ber_int_t expires = -1, grace = -1;
    LDAPPasswordPolicyError error = PP_noError;
    // What is not as it should be has said nothing.
    if (ldap_parse_passwordpolicy_control(ld, control, &expires, &grace, &error) != LDAP_SUCCESS) return;
    password->hasPolicy = true;
    memcpy(&password->error, &error, sizeof password->error); // it may be none of the type's values
    static_assert(sizeof password->error == sizeof error);
    password->expiresIn = std::max<int64_t>(expires, -1);
    password->graceLogins = std::max<int64_t>(grace, -1);
}

// Seconds, as text.
static void read_expiring(const LDAPControl &control, LdapPasswordControls *password) {
    const std::string_view text = control.ldctl_value.bv_val == nullptr
                                      ? ""
                                      : std::string_view(control.ldctl_value.bv_val, control.ldctl_value.bv_len);
    int64_t seconds = -1;
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    if (problem == std::errc() && end == text.data() + text.size() && seconds >= 0 && password->expiresIn < 0)
        password->expiresIn = seconds;
}

static void read_controls(LDAP *ld, LDAPControl **controls, LdapPasswordControls *password) {
    for (LDAPControl **one = controls; one != nullptr && *one != nullptr; one++) {
        const std::string_view kind = (*one)->ldctl_oid;
        if (kind == LDAP_CONTROL_PASSWORDPOLICYRESPONSE)
            read_policy(ld, *one, password);
        else if (kind == LDAP_CONTROL_X_PASSWORD_EXPIRED)
            password->hasExpired = true;
        else if (kind == LDAP_CONTROL_X_PASSWORD_EXPIRING)
            read_expiring(**one, password);
    }
}

int ldap_answer_read(LDAP *ld, LDAPMessage *messages, LdapAnswer *answer) {
    for (LDAPMessage *one = ldap_first_entry(ld, messages); one != nullptr; one = ldap_next_entry(ld, one))
        answer->entries.push_back(entry_of(ld, one, answer->entries.size(), &answer->ranges));
    for (LDAPMessage *one = ldap_first_reference(ld, messages); one != nullptr; one = ldap_next_reference(ld, one)) {
        char **uris = nullptr;
        if (ldap_parse_reference(ld, one, &uris, nullptr, 0) == LDAP_SUCCESS)
            answer->references.push_back(texts_of(uris));
    }
    char *text = nullptr;
    char **elsewhere = nullptr;
    LDAPControl **controls = nullptr;
    // The result is the last message of the chain, and this call looks for it there.
    const int parsed = ldap_parse_result(ld, messages, &answer->result, nullptr, &text, &elsewhere, &controls, 0);
    read_controls(ld, controls, &answer->password);
    const Text owner(text);
    answer->cookie = cookie_of(ld, controls);
    ldap_controls_free(controls);
    answer->referral = texts_of(elsewhere);
    answer->text = text == nullptr ? "" : text;
    return parsed;
}
