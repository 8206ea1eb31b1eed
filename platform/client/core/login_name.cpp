#include "platform/client/core/login_name.h"

#include <algorithm>

#include "platform/client/core/errors.h"
#include "platform/common/skip.h"

static constexpr std::string_view domain_characters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789.-_";
static constexpr std::string_view letters_and_digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

// "ADTEST\anna": a backslash elsewhere takes its meaning from a sign, never from a letter.
static void take_account(std::string_view typed, LoginName *name) {
    const size_t slash = typed.find('\\');
    if (slash == std::string_view::npos || slash == 0 || slash + 1 == typed.size()) return;
    const std::string_view domain = typed.substr(0, slash);
    const std::string_view account = typed.substr(slash + 1);
    if (domain.find_first_not_of(domain_characters) != std::string_view::npos ||
        letters_and_digits.find(account.front()) == std::string_view::npos ||
        account.find('\\') != std::string_view::npos)
        return;
    name->domain = domain;
    name->account = account;
}

// Commas are ordinary characters in a dotted name: a DN has a type behind each of them.
static bool take_dn(std::string_view typed, const Name &base, LoginName *name) {
    if (typed.find(',') == std::string_view::npos) return false;
    Name object;
    bool outside = false;
    const bool inside = name_parse_dn(typed, base, &object, &outside);
    error_unless(!outside, ZKE_NO_SUCH_ENTRY);
    if (inside) name->objects.push_back(object);
    return inside;
}

static void add_object(std::string_view typed, const Name &context, LoginName *name) {
    Name object;
    if (!name_parse_dotted(typed, context, &object)) return;
    const auto same = [&object](const Name &other) { return name_equal(object, other); };
    if (std::none_of(name->objects.begin(), name->objects.end(), same)) name->objects.push_back(object);
}

static bool is_complete(std::string_view typed) {
    constexpr std::string_view root = ".[Root]";
    const bool endsAtRoot = typed.size() >= root.size() && equal_nocase(typed.substr(typed.size() - root.size()), root);
    return typed.substr(0, 1) == "." || endsAtRoot || equal_nocase(typed, root.substr(1));
}

static std::string without_escapes(std::string_view typed) {
    std::string plain;
    for (size_t i = 0; i < typed.size(); i++) {
        if (typed[i] == '\\' && i + 1 < typed.size()) i++;
        plain += typed[i];
    }
    return plain;
}

LoginName login_name_parse(std::string_view typed, const Name &context, const Name &fallback, const Name &base) {
    LoginName name;
    if (take_dn(typed, base, &name)) return name;
    take_account(typed, &name);
    const bool complete = is_complete(typed);
    const bool hasContainer = find_unescaped(typed, '.') != std::string_view::npos;
    if (!complete && !hasContainer && context.empty()) add_object(typed, fallback, &name);
    add_object(typed, context, &name);
    if (!complete && context.empty()) add_object(typed, fallback, &name);
    const bool isMailName = typed.find('@') != std::string_view::npos;
    const bool hasTypes = find_unescaped(typed, '=') != std::string_view::npos;
    const bool climbs = !typed.empty() && typed.back() == '.';
    if (!complete && !hasTypes && !climbs) name.attribute = without_escapes(typed);
    name.attributeFirst =
        !name.attribute.empty() && (isMailName || (!hasContainer && context.empty() && fallback.empty()));
    error_unless(!name.objects.empty() || isMailName || !name.account.empty(), ZKE_MALFORMED_NAME);
    return name;
}

LoginName login_name_of(const Name &object) {
    LoginName name;
    name.objects.push_back(object);
    return name;
}
