// Logins to a single file server, with a name and a password instead of the directory's identity.
#include <algorithm>

#include "platform/client/core/login_check.h"
#include "platform/client/core/password.h"
#include "platform/client/interface/boundary.h"
#include "platform/client/session/connections.h"

static constexpr uint32_t user_object_type = 256;

// A user whom the server itself knows, whatever the directory says: "name {CRYPT}hash".
static bool server_user_matches(std::string_view row, std::string_view user, const char *password) {
    size_t blank = row.rfind(' ');
    return blank != std::string_view::npos && equal_nocase(row.substr(0, blank), user) &&
           password_matches(row.substr(blank + 1), password);
}

// The directory's user, by a name from the server's container or from the root.
static EntryPtr find_user(const Connection &connection, const char *user) {
    const Name &server = connection.server->name;
    const Name container(server.begin() + (server.empty() ? 0 : 1), server.end());
    for (const Name &from : {container, Name()}) {
        Name name;
        error_unless(name_parse_dotted(user, from, &name), ZKE_MALFORMED_NAME);
        if (EntryPtr entry = connection.tree->store->find(name, Aliases::follow)) return entry;
    }
    throw CodedError(ZKE_NO_SUCH_ENTRY);
}

// A file server in a tree: its own users, then the directory's.
static void login_in_tree(Connection *connection, const char *user, const char *password) {
    const SchemaAttribute *own = schema_find_ldap("qrtServerUser");
    uint32_t ordinal = 0;
    for (const EntryValue &value : connection->server->values) {
        if (value.attribute != own) continue;
        ordinal++;
        if (server_user_matches(value.text, user, password)) {
            connection_authenticate_as(connection, std::string("\\") + user, ordinal);
            return;
        }
    }
    const EntryPtr entry = find_user(*connection, user);
    login_require_accepted(login_check(connection->tree->store.get(), *entry, password), *entry);
    connection_authenticate(connection, *entry);
}

static void login_outside(Connection *connection, const char *user, const char *password) {
    const std::vector<ConfigUser> &users = connection->outside->users;
    auto found = std::find_if(users.begin(), users.end(),
                              [user](const ConfigUser &one) { return equal_nocase(one.name, user); });
    error_unless(found != users.end(), ZKE_NO_SUCH_ENTRY);
    error_unless(password_matches(found->password, password), ZKE_WRONG_PASSWORD);
    connection_authenticate_as(connection, found->name, static_cast<uint32_t>(found - users.begin() + 1));
}

uint32_t ZKLoginToFileServer(uint32_t connection, const char *user, uint32_t objectType, const char *password) {
    return guarded([&] {
        error_unless(user != nullptr && password != nullptr && objectType == user_object_type, ZKE_BAD_PARAMETER);
        Connection &open = connections().at(connection);
        Connection attempt = open;
        error_unless(attempt.outside != nullptr || attempt.server != nullptr, ZKE_NO_SUCH_ENTRY);
        if (attempt.outside != nullptr)
            login_outside(&attempt, user, password);
        else
            login_in_tree(&attempt, user, password);
        error_unless(!open.authenticated || open.identity == attempt.identity, ZKE_DIFF_OBJECT_ALREADY_AUTHEN);
        open = attempt;
    });
}
