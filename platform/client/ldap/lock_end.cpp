#include "platform/client/ldap/lock_end.h"

#include <charconv>

#include "platform/client/core/values.h"

// In seconds; 0 for a lock without an end.
static int64_t length_in(const LdapEntry &policy) {
    constexpr int64_t most = INT32_MAX;
    const std::string text = ldap_first_value(policy, "pwdLockoutDuration");
    int64_t seconds = 0;
    const auto [stop, problem] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    const bool isNumber = problem == std::errc() && stop == text.data() + text.size();
    return isNumber && seconds > 0 && seconds <= most ? seconds : 0;
}

static int64_t lock_length(LdapServers *servers, const std::string &policy, const std::string &base) {
    LdapSearch wanted = {base, LDAP_SCOPE_SUBTREE, "(objectClass=pwdPolicy)", {"pwdLockoutDuration"}, 2};
    if (!policy.empty()) wanted = {policy, LDAP_SCOPE_BASE, "(objectClass=*)", {"pwdLockoutDuration"}};
    const LdapAnswer answer = servers->search(wanted);
    return answer.result == LDAP_SUCCESS && answer.entries.size() == 1 ? length_in(answer.entries.front()) : 0;
}

static time_t time_of(const std::string &text) {
    return static_cast<time_t>(value_parse(ZK_SYNTAX_TIME, text, {}).number);
}

time_t ldap_lock_end(LdapServers *servers, const std::string &dn, const std::string &base) {
    const std::string forEver = "000001010000Z";
    const std::vector<std::string> attributes = {"accountUnlockTime", "pwdAccountLockedTime", "pwdPolicySubentry"};
    const LdapAnswer answer = servers->search({dn, LDAP_SCOPE_BASE, "(objectClass=*)", attributes});
    if (answer.entries.empty()) return 0;
    const LdapEntry &user = answer.entries.front();
    const std::string end = ldap_first_value(user, "accountUnlockTime");
    if (!end.empty()) return time_of(end);
    const std::string begin = ldap_first_value(user, "pwdAccountLockedTime");
    if (begin.empty() || begin == forEver) return 0;
    const int64_t length = lock_length(servers, ldap_first_value(user, "pwdPolicySubentry"), base);
    return length == 0 ? 0 : time_of(begin) + length;
}
