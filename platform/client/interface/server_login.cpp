// Logins to a single file server, with a name and a password instead of the directory's identity.
#include "platform/client/core/login_check.h"
#include "platform/client/core/password.h"
#include "platform/client/interface/boundary.h"
#include "platform/client/interface/connections.h"

namespace {

constexpr uint32_t user_object_type = 256;

// A user whom the server itself knows, whatever the directory says: "name {CRYPT}hash".
bool server_user_matches(std::string_view row, std::string_view user, const char *password) {
    size_t blank = row.rfind(' ');
    return blank != std::string_view::npos && equal_nocase(row.substr(0, blank), user) &&
           password_matches(row.substr(blank + 1), password);
}

// A file server in a tree: its own users, then the directory's, by a name from the root or from the server's container.
uint32_t login_in_tree(Connection *connection, const char *user, const char *password) {
    const SchemaAttribute *own = schema_find_ldap("qrtServerUser");
    uint32_t ordinal = 0;
    for (const EntryValue &value : connection->server->values) {
        if (value.attribute != own) {
            continue;
        }
        ordinal++;
        if (server_user_matches(value.text, user, password)) {
            connection_authenticate_as(connection, std::string("\\") + user, ordinal);
            return ZK_OK;
        }
    }
    const Name &server = connection->server->name;
    Name container(server.begin() + (server.empty() ? 0 : 1), server.end());
    Name name;
    EntryPtr entry;
    uint32_t code = ZKE_NO_SUCH_ENTRY;
    for (const Name &from : {container, Name()}) {
        if (code == ZKE_NO_SUCH_ENTRY) {
            code = name_parse_dotted(user, from, &name) ? connection->tree->store->find(name, Aliases::Follow, &entry)
                                                        : ZKE_MALFORMED_NAME;
        }
    }
    if (code == ZK_OK) {
        code = login_check(connection->tree->store.get(), *entry, password);
    }
    if (code == ZK_OK) {
        connection_authenticate(connection, *entry);
    }
    return code;
}

uint32_t login_outside(Connection *connection, const char *user, const char *password) {
    const std::vector<ConfigUser> &users = connection->outside->users;
    for (size_t i = 0; i < users.size(); i++) {
        if (equal_nocase(users[i].name, user)) {
            if (!password_matches(users[i].password, password)) {
                return ZKE_WRONG_PASSWORD;
            }
            connection_authenticate_as(connection, users[i].name, static_cast<uint32_t>(i + 1));
            return ZK_OK;
        }
    }
    return ZKE_NO_SUCH_ENTRY;
}

} // namespace

uint32_t ZKLoginToFileServer(uint32_t connection, const char *user, uint32_t objectType, const char *password) {
    return guarded([&]() -> uint32_t {
        if (user == nullptr || password == nullptr || objectType != user_object_type) {
            return ZKE_BAD_PARAMETER;
        }
        Connection *open = connection_find(connection);
        if (open == nullptr) {
            return ZKE_CONN_INVALID;
        }
        Connection attempt = *open;
        uint32_t code = ZKE_NO_SUCH_ENTRY;
        if (attempt.outside != nullptr) {
            code = login_outside(&attempt, user, password);
        } else if (attempt.server != nullptr) {
            code = login_in_tree(&attempt, user, password);
        }
        if (code != ZK_OK) {
            return code;
        }
        if (open->authenticated && open->identity != attempt.identity) {
            return ZKE_DIFF_OBJECT_ALREADY_AUTHEN;
        }
        *open = attempt;
        return ZK_OK;
    });
}
