// What somebody types to log in: the name of an object, a DN, or the value of an attribute that names users.
#ifndef PLATFORM_CLIENT_CORE_LOGIN_NAME_H
#define PLATFORM_CLIENT_CORE_LOGIN_NAME_H

#include <string>
#include <string_view>
#include <vector>

#include "platform/client/core/names.h"

struct LoginName {
    std::vector<Name> objects; // what it may be as an object's name, the likely one first
    std::string attribute;     // what it may be as a user's attribute; empty: it is an object's name alone
    std::string domain;        // of an account in a domain, "ADTEST\anna", whose name is in `account`
    std::string account;
    bool attributeFirst = false; // no container was named: an object at the root is the less likely meaning
};

// `context` is the context of the login, `fallback` where a name is looked for that is not complete in it; `base` that
// of the tree, for DNs. Throws CodedError: ZKE_MALFORMED_NAME, and ZKE_NO_SUCH_ENTRY for a DN outside of the tree.
LoginName login_name_parse(std::string_view typed, const Name &context, const Name &fallback, const Name &base);

// The name of that object and nothing else.
LoginName login_name_of(const Name &object);

#endif
