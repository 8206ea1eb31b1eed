#include "platform/client/ldap/password_change.h"

#include <unistr.h>
#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/catalogue.h"
#include "platform/common/late_library.h"
#include "platform/common/nocase.h"
#include "platform/zk.h"

static constexpr const char *active_directory = "1.2.840.113556.1.4.800";

static bool has_value(const LdapAnswer &answer, const char *attribute, const char *wanted) {
    for (const LdapEntry &entry : answer.entries)
        for (const auto &[name, values] : entry.attributes)
            if (equal_nocase(name, attribute) && std::find(values.begin(), values.end(), wanted) != values.end())
                return true;
    return false;
}

// Appends tag, length and the secret's bytes; returns where it ends.
static char *put_element(char *at, unsigned char tag, const Secret &value) {
    const size_t length = value.capacity();
    *at++ = static_cast<char>(tag);
    *at++ = '\x82';
    *at++ = static_cast<char>(length >> 8);
    *at++ = static_cast<char>(length & 0xFF);
    memcpy(at, value.text(), length);
    return at + length;
}

// PasswdModifyRequestValue of RFC 3062, for who is logged in. libldap's own would leave it in freed memory.
static Secret modify_request(const Secret &before, const Secret &after) {
    constexpr size_t head = 4;
    Secret request(head + (head + before.capacity()) + (head + after.capacity()));
    const size_t length = request.capacity() - head;
    const unsigned char start[] = {0x30, 0x82, static_cast<unsigned char>(length >> 8),
                                   static_cast<unsigned char>(length & 0xFF)};
    memcpy(request.text(), start, sizeof start);
    char *at = put_element(request.text() + head, 0x81, before);
    put_element(at, 0x82, after);
    return request;
}

// A value of unicodePwd: in double quotes, in UTF-16 with the low byte first.
static Secret quoted(const Secret &password) {
    const auto *text = reinterpret_cast<const uint8_t *>(password.text());
    Secret wide(password.capacity() * sizeof(uint16_t));
    size_t units = password.capacity();
    const auto widen = late_function<decltype(u8_to_u16)>(LIBUNISTRING_SONAME, "u8_to_u16");
    if (widen == nullptr ||
        widen(text, password.capacity(), reinterpret_cast<uint16_t *>(wide.text()), &units) == nullptr)
        throw CodedError(ZKE_PASSWORD_REFUSED, catalogue_text("the password is not valid UTF-8"));
    Secret value((units + 2) * 2);
    char *at = value.text();
    const auto put = [&at](uint16_t unit) {
        *at++ = static_cast<char>(unit & 0xFF);
        *at++ = static_cast<char>(unit >> 8);
    };
    put('"');
    for (size_t i = 0; i < units; i++) {
        uint16_t unit = 0;
        memcpy(&unit, wide.text() + i * sizeof unit, sizeof unit);
        put(unit);
    }
    put('"');
    return value;
}

LdapAnswer ldap_password_change(LdapConnection *connection, const std::string &dn, const LdapIdentity &before,
                                const LdapIdentity &after, LdapDeadline deadline) {
    if (!connection->isTrusted()) {
        throw LdapTrouble(
            ZKE_TLS_REQUIRED,
            connection->uri() + ": " +
                catalogue_text("the password was not sent: the connection is not encrypted (use ldaps or start_tls)"));
    }
    const LdapAnswer root = connection->search(
        {"", LDAP_SCOPE_BASE, "(objectClass=*)", {"supportedCapabilities", "supportedExtension"}}, deadline);
    const bool isActiveDirectory = has_value(root, "supportedCapabilities", active_directory);
    Secret oldPassword = before.revealed(), newPassword = after.revealed();
    try {
        if (isActiveDirectory) {
            Secret oldValue = quoted(oldPassword), newValue = quoted(newPassword);
            return connection->exchange(dn, "unicodePwd", &oldValue, &newValue, deadline);
        }
        Secret request = modify_request(oldPassword, newPassword);
        return connection->extended(LDAP_EXOP_MODIFY_PASSWD, &request, deadline);
    } catch (const LdapTrouble &trouble) {
        throw CodedError(trouble.code,
                         catalogue_format("%s; whether the password has been changed is not known", trouble.what()));
    }
}

static const char *policy_words(int error) {
    switch (error) {
        case PP_passwordModNotAllowed:
            return catalogue_text("users may not change this password");
        case PP_insufficientPasswordQuality:
            return catalogue_text("the new password is too simple");
        case PP_passwordTooShort:
            return catalogue_text("the new password is too short");
        case PP_passwordTooYoung:
            return catalogue_text("the password was changed too recently");
        case PP_passwordInHistory:
            return catalogue_text("the new password was used before");
        case PP_passwordTooLong:
            return catalogue_text("the new password is too long");
        default:
            return nullptr;
    }
}

// What the server itself says, without what only programs understand: "0000052D: Constraint violation - check_...: ".
static std::string readable(std::string text) {
    text.erase(text.find_last_not_of(" \n") + 1);
    const size_t last = text.rfind(": ");
    if (last != std::string::npos && text.compare(0, 4, "0000") == 0) text.erase(0, last + 2);
    return text.compare(0, 8, "problem ") == 0 ? "" : text;
}

static bool starts_with(const std::string &text, const char *start) {
    return text.compare(0, strlen(start), start) == 0;
}

void ldap_password_require_changed(const LdapAnswer &answer) {
    if (answer.result == LDAP_SUCCESS) return;
    const bool isQuality = starts_with(answer.text, "0000052D"); // of Active Directory, as 00000056 is
    // OpenLDAP says so of an old password that is not the right one.
    const bool isUnverified = answer.text == "unwilling to verify old password";
    if (answer.result == LDAP_INVALID_CREDENTIALS || starts_with(answer.text, "00000056") || isUnverified)
        throw CodedError(ZKE_WRONG_PASSWORD, catalogue_text("the old password is wrong"));
    if (answer.result == LDAP_CONFIDENTIALITY_REQUIRED || answer.result == LDAP_STRONG_AUTH_REQUIRED)
        throw CodedError(ZKE_TLS_REQUIRED, catalogue_text("the server does not accept passwords over this connection"));
    const char *words = policy_words(answer.password.error);
    const std::string told = readable(answer.text);
    if (words == nullptr && isQuality && told.empty())
        words =
            catalogue_text("the new password does not meet the rules of the domain (length, characters, history, age)");
    if (words != nullptr || isQuality || answer.result == LDAP_CONSTRAINT_VIOLATION) {
        std::string sentence = words != nullptr ? words : catalogue_text("the server does not accept the new password");
        if (!told.empty()) sentence += " (" + told + ")";
        throw CodedError(ZKE_PASSWORD_REFUSED, sentence);
    }
    throw CodedError(ZKE_NO_ACCESS,
                     catalogue_format("the server does not change the password: %s", ldap_err2string(answer.result)) +
                         (told.empty() ? "" : " (" + told + ")"));
}
