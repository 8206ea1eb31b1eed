// Who the process is: one identity for each tree, which lives as long as the process or until it logs out.
#include <cstdio>
#include <cstring>

#include "platform/catalogue.h"
#include "platform/client/core/login_check.h"
#include "platform/client/interface/boundary.h"
#include "platform/client/interface/connections.h"
#include "platform/client/interface/contexts.h"
#include "platform/client/session/login_password.h"

namespace {

constexpr uint32_t login_option = 2;

struct LoggedIn {
    Tree *tree;
    ~LoggedIn() {
        if (tree->identity == nullptr) {
            tree->store->logout();
        }
    }
};

// Scripts are looked for in the containers of a name, and the base is in none: whoever sets the tree up is told so.
void warn_of_base_script(const Tree &tree) {
    EntryPtr base;
    if (tree.config.base.empty() || tree.store->find({}, Aliases::Keep, &base) != ZK_OK) {
        return;
    }
    const std::string *script = base->first("qrtLoginScript");
    if (script != nullptr && !script->empty()) {
        fprintf(stderr,
                catalogue_text("Tree %1$s: the login script of %2$s is not run, because the base of a tree is not a "
                               "container of its users. Set no base, or move the script to a container below.\n"),
                tree.config.name.c_str(), tree.config.base.c_str());
    }
}

// The tree has accepted the user: so has the tree's own server.
uint32_t take_identity(Tree *tree, Context *context, const EntryPtr &user) {
    Connection *connection = nullptr;
    uint32_t code = connection_open_tree(tree, &connection);
    if (code != ZK_OK) {
        return code;
    }
    tree->identity = user;
    context->lastConnection = connection->handle;
    if (!connection->authenticated) {
        connection_authenticate(connection, *user);
    }
    return ZK_OK;
}

// Counts the attempt as refused unless it ends well; the next one there is then the answer of a person.
struct Attempt {
    const Tree *tree;
    bool accepted = false;
    ~Attempt() {
        if (!accepted) {
            login_password_note_refusal(tree);
        }
    }
};

[[noreturn]] void refuse_unsent(const Tree &tree) {
    throw CodedError(ZKE_NO_ACCESS,
                     catalogue_format("%s: the password of the login was not sent: the tree has no share_password",
                                      tree.config.name.c_str()));
}

void keep_refusal(uint32_t code, const Entry &user) {
    const std::string who = name_to_dotted(user.name, true);
    const LoginLock lock = login_lock(user);
    if (code == ZKE_ACCOUNT_LOCKED && lock == LoginLock::Disabled) {
        error_keep(catalogue_format("%s is disabled", who.c_str()).c_str());
    } else if (code == ZKE_ACCOUNT_LOCKED && lock == LoginLock::Expired) {
        error_keep(catalogue_format("%s has expired", who.c_str()).c_str());
    } else if (code == ZKE_ACCOUNT_LOCKED) {
        error_keep(catalogue_format("%s is locked", who.c_str()).c_str());
    } else if (code == ZKE_WRONG_PASSWORD) {
        error_keep(catalogue_format("wrong password for %s", who.c_str()).c_str());
    }
}

// Answers a question about the context's tree.
uint32_t ask_tree(uint32_t context, int *answer, bool (*question)(const Tree *)) {
    return guarded([&]() -> uint32_t {
        if (answer == nullptr) {
            return ZKE_BAD_PARAMETER;
        }
        Context *found = nullptr;
        Tree *tree = nullptr;
        uint32_t code = context_tree(context, &found, &tree);
        if (code == ZK_OK) {
            *answer = question(tree) ? 1 : 0;
        }
        return code;
    });
}

} // namespace

uint32_t ZKDSWhoAmI(uint32_t context, char *name) {
    if (name == nullptr) {
        return ZKE_BAD_PARAMETER;
    }
    *name = '\0';
    return guarded([&]() -> uint32_t {
        Context *found = nullptr;
        Tree *tree = nullptr;
        uint32_t code = context_tree(context, &found, &tree);
        if (code != ZK_OK || tree->identity == nullptr) {
            return code != ZK_OK ? code : ZKE_NOT_LOGGED_IN;
        }
        return context_put_name(name_in_form(tree->identity->name, context_form(*found)), name);
    });
}

// A script's change of tree begins with this question, and a context is freed when it is over.
uint32_t ZKDSCanDSAuthenticate(uint32_t context) {
    login_password_end_attempts();
    uint32_t code = guarded([&]() -> uint32_t {
        Context *found = nullptr;
        Tree *tree = nullptr;
        uint32_t result = context_tree(context, &found, &tree);
        return result == ZK_OK && tree->identity == nullptr ? ZKE_NOT_LOGGED_IN : result;
    });
    return code == ZK_OK ? 1 : 0;
}

uint32_t ZKDSLoginEx(uint32_t context, const char *object, uint32_t option, const char *password) {
    return guarded([&]() -> uint32_t {
        if (object == nullptr || password == nullptr || option != login_option) {
            return ZKE_BAD_PARAMETER;
        }
        Context *found = nullptr;
        Tree *tree = nullptr;
        uint32_t code = context_tree(context, &found, &tree);
        if (code != ZK_OK) {
            return code;
        }
        Attempt attempt{tree};
        // Whatever the context says of aliases: the identity is the object behind the alias.
        Name name;
        EntryPtr user;
        code = name_parse_dotted(object, found->nameContext, &name)
                   ? tree->store->find_user(tree_meant_name(*tree, name), &user)
                   : ZKE_MALFORMED_NAME;
        if (code != ZK_OK) {
            return code;
        }
        if (tree->identity != nullptr && !name_equal(tree->identity->name, user->name)) {
            return ZKE_OTHER_IDENTITY;
        }
        if (login_password_is_held_back(tree, password)) {
            refuse_unsent(*tree);
        }
        code = login_to_tree(tree->store.get(), &user, password);
        if (code != ZK_OK) {
            keep_refusal(code, *user); // after the login it is the entry as the user may read it
            return code;
        }
        // A login that goes no further leaves the directory as nobody.
        LoggedIn loggedIn{tree};
        login_password_keep(tree, password);
        code = take_identity(tree, found, user);
        attempt.accepted = code == ZK_OK;
        if (code == ZK_OK) {
            warn_of_base_script(*tree);
        }
        return code;
    });
}

uint32_t ZKDSLoginNeedsPassword(uint32_t context, int *needed) {
    return ask_tree(context, needed, [](const Tree *tree) { return tree->config.ldap.needsPassword(); });
}

uint32_t ZKDSLoginPasswordIsShared(uint32_t context, int *shared) {
    return ask_tree(context, shared, login_password_is_shared);
}

uint32_t ZKDSLogout(uint32_t context) {
    return guarded([&]() -> uint32_t {
        Context *found = nullptr;
        Tree *tree = nullptr;
        uint32_t code = context_tree(context, &found, &tree);
        if (code != ZK_OK || tree->identity == nullptr) {
            return code != ZK_OK ? code : ZKE_NOT_LOGGED_IN;
        }
        connection_forget_identity(tree, *tree->identity);
        tree->identity = nullptr;
        tree->store->logout();
        return ZK_OK;
    });
}

// The identity is that of the server's own tree, whichever tree the context is for.
uint32_t ZKDSAuthenticateConnEx(uint32_t context, uint32_t connection) {
    return guarded([&]() -> uint32_t {
        Context *found = nullptr;
        uint32_t code = context_find(context, &found);
        if (code != ZK_OK) {
            return code;
        }
        Connection *open = connection_find(connection);
        if (open == nullptr) {
            return ZKE_CONN_INVALID;
        }
        const Entry *identity = open->tree == nullptr ? nullptr : open->tree->identity.get();
        if (identity == nullptr) {
            return ZKE_NOT_LOGGED_IN;
        }
        if (open->authenticated) {
            return connection_is_of(*open, *identity) ? ZK_OK : ZKE_DIFF_OBJECT_ALREADY_AUTHEN;
        }
        connection_authenticate(open, *identity);
        found->lastConnection = connection;
        return ZK_OK;
    });
}
