#include "platform/client/ldap/verdict.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

namespace {

struct SubCode {
    unsigned number;
    Verdict::State state;
};

} // namespace

// "80090308: LdapErr: DSID-0C0903A9, comment: AcceptSecurityContext error, data 532, v1db1": the Windows error in
// hexadecimal. What is not listed is an error like 52e, of name or password.
static std::optional<Verdict::State> state_in_text(std::string_view text) {
    static const SubCode codes[] = {
        {0x525, Verdict::wrongPassword},  {0x52e, Verdict::wrongPassword},   {0x530, Verdict::notNow},
        {0x531, Verdict::notHere},        {0x532, Verdict::passwordExpired}, {0x533, Verdict::disabled},
        {0x701, Verdict::accountExpired}, {0x773, Verdict::mustChange},      {0x775, Verdict::locked},
    };
    constexpr std::string_view before = "AcceptSecurityContext error, data ";
    const size_t at = text.find(before);
    if (at == std::string_view::npos) return std::nullopt;
    unsigned number = 0;
    std::from_chars(text.data() + at + before.size(), text.data() + text.size(), number, 16);
    for (const SubCode &code : codes)
        if (code.number == number) return code.state;
    return std::nullopt;
}

static bool says(const LdapAnswer &answer, std::string_view words) {
    return answer.text.find(words) != std::string::npos;
}

static Verdict accepted(const LdapPasswordControls &password) {
    // The older control alone means a password that has been reset.
    if (password.error == PP_changeAfterReset || (password.hasExpired && password.graceLogins < 0))
        return Verdict::mustChange;
    Verdict verdict = Verdict::accepted;
    verdict.graceLogins = password.graceLogins;
    verdict.expiresIn = password.graceLogins >= 0 ? 0 : password.expiresIn;
    return verdict;
}

static Verdict::State refused(const LdapAnswer &answer) {
    if (says(answer, "Account inactivated")) return Verdict::disabled;
    switch (answer.password.error) {
        case PP_passwordExpired:
            return Verdict::passwordExpired;
        case PP_accountLocked:
            return Verdict::locked;
        case PP_changeAfterReset:
            return Verdict::mustChange;
        default:
            break;
    }
    if (answer.password.hasExpired || says(answer, "password expired!")) return Verdict::passwordExpired;
    if (answer.result == LDAP_INVALID_CREDENTIALS)
        if (const auto state = state_in_text(answer.text)) return *state;
    switch (answer.result) {
        case LDAP_UNWILLING_TO_PERFORM:
        case LDAP_CONSTRAINT_VIOLATION:
        case LDAP_INSUFFICIENT_ACCESS:
            return Verdict::locked;
        default:
            return Verdict::wrongPassword;
    }
}

int64_t ldap_password_lasts(const std::string &computed, time_t now) {
    constexpr int64_t ticks = 10'000'000;          // in a second
    constexpr int64_t until_1970 = 11'644'473'600; // seconds, from the beginning of 1601
    int64_t number = 0;
    const char *end = computed.data() + computed.size();
    const auto [stop, problem] = std::from_chars(computed.data(), end, number);
    if (problem != std::errc() || stop != end || number <= 0 || number == INT64_MAX) return Verdict::not_said;
    return std::max<int64_t>(number / ticks - until_1970 - now, 0);
}

Verdict ldap_verdict(const LdapAnswer &answer) {
    return answer.result == LDAP_SUCCESS ? accepted(answer.password) : Verdict(refused(answer));
}
