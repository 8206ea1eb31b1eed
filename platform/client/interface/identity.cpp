// Who the process is: one identity for each tree, which lives as long as the process or until it logs out.
#include <algorithm>
#include <cstdio>

#include "platform/catalogue.h"
#include "platform/client/core/keeping.h"
#include "platform/client/core/login_check.h"
#include "platform/client/interface/answers.h"
#include "platform/client/interface/boundary.h"
#include "platform/client/session/connections.h"
#include "platform/client/session/contexts.h"
#include "platform/client/session/login_password.h"
#include "platform/common/smb_credentials.h"

static constexpr uint32_t login_option = 2;
static constexpr double seconds_per_day = 86400;

namespace {

struct LoggedIn {
    Tree *tree;
    ~LoggedIn() {
        if (tree->identity == nullptr) tree->store->logout();
    }
};

} // namespace

// Scripts are looked for in the containers of a name, and the base is in none: the administrator is warned.
static void warn_of_base_script(const Tree &tree) {
    if (tree.config.base.empty()) return;
    const EntryPtr base = tree.store->find({}, Aliases::keep);
    const std::string *script = base == nullptr ? nullptr : base->first("qrtLoginScript");
    if (script != nullptr && !script->empty()) {
        fprintf(stderr,
                catalogue_text("Tree %1$s: the login script of %2$s is not run, because the base of a tree is not a "
                               "container of its users. Set no base, or move the script to a container below.\n"),
                tree.config.name.c_str(), tree.config.base.c_str());
    }
}

// The tree has accepted the user: so has the tree's own server.
static void take_identity(Tree *tree, Context *context, const EntryPtr &user) {
    Connection &connection = connection_open_tree(tree);
    tree->identity = user;
    context->lastConnection = connection.handle;
    if (!connection.authenticated) connection_authenticate(&connection, *user);
}

// Where the administrator wants it so, the password of the process's first login is kept for mounting SMB shares. The
// user's name there is the one in the user's object.
static void write_for_drives(const Entry &user, const char *password) {
    const bool wanted = trees_config().automount.credentials && *password != '\0' && !keeping_is_off;
    if (wanted && !smb_credentials_write(user.name.empty() ? "" : user.name.front().value, "", password))
        fprintf(stderr, "%s\n", catalogue_text("The password could not be kept for mounting drives."));
}

static const Tree *tree_of_drives; // whose password that is

static void keep_for_drives(const Tree &tree, const Entry &user, const char *password) {
    if (tree_of_drives != nullptr) return;
    tree_of_drives = &tree;
    write_for_drives(user, password);
}

namespace {

// Counts the attempt as refused unless it ends well; the next one there is then the answer of a person.
struct Attempt {
    const Tree *tree;
    bool accepted = false;
    ~Attempt() {
        if (!accepted) login_password_note_refusal(tree);
    }
};

} // namespace

[[noreturn]] static void refuse_unsent(const Tree &tree) {
    throw CodedError(ZKE_NO_ACCESS,
                     catalogue_format("%s: the password of the login was not sent: the tree has no share_password",
                                      tree.config.name.c_str()));
}

// Answers a question about the context's tree.
static uint32_t ask_tree(uint32_t context, int *answer, bool (*question)(const Tree *)) {
    return guarded([&] {
        error_unless(answer != nullptr, ZKE_BAD_PARAMETER);
        *answer = question(&context_tree(contexts().at(context))) ? 1 : 0;
    });
}

// The context's tree, to which somebody is logged in.
static Tree &tree_with_identity(const Context &context) {
    Tree &tree = context_tree(context);
    error_unless(tree.identity != nullptr, ZKE_NOT_LOGGED_IN);
    return tree;
}

uint32_t ZKDSWhoAmI(uint32_t context, char *name) {
    if (name == nullptr) return ZKE_BAD_PARAMETER;
    *name = '\0';
    return guarded([&] {
        const Context &found = contexts().at(context);
        put_name(name_in_form(tree_with_identity(found).identity->name, context_form(found)), name);
    });
}

// A script's change of tree begins with this question, and a context is freed when it is over.
uint32_t ZKDSCanDSAuthenticate(uint32_t context) {
    login_password_end_attempts();
    return guarded([&] { tree_with_identity(contexts().at(context)); }) == ZK_OK ? 1 : 0;
}

// The name as the person typed it who logs in.
static LoginName login_name(const Tree &tree, const Context &context, const char *typed) {
    Name fallback;
    name_parse_dotted(tree.config.defaultContext, {}, &fallback); // the configuration was refused if it is malformed
    LoginName name = login_name_parse(typed, context.nameContext, fallback, tree.store->base());
    for (Name &object : name.objects) object = tree_meant_name(tree, object);
    return name;
}

uint32_t ZKDSLoginEx(uint32_t context, const char *object, uint32_t option, const char *password) {
    return guarded([&] {
        error_unless(object != nullptr && password != nullptr && option == login_option, ZKE_BAD_PARAMETER);
        Context &found = contexts().at(context);
        Tree &tree = context_tree(found);
        Attempt attempt{&tree};
        // Whatever the context says of aliases: the identity is the object behind the alias.
        EntryPtr user = tree.store->findUser(login_name(tree, found, object));
        error_unless(user != nullptr, ZKE_NO_SUCH_ENTRY);
        error_unless(tree.identity == nullptr || name_equal(tree.identity->name, user->name), ZKE_OTHER_IDENTITY);
        if (login_password_is_held_back(&tree, password)) refuse_unsent(tree);
        const Verdict verdict = login_to_tree(tree.store.get(), &user, password);
        login_require_accepted(verdict, *user);
        // A login that goes no further leaves the connection anonymous.
        LoggedIn loggedIn{&tree};
        trees_settle();
        if (trees_all().size() > 1) login_password_keep(&tree, password);
        take_identity(&tree, &found, user);
        tree.verdict = verdict;
        attempt.accepted = true;
        if (tree.config.ldap.needsPassword()) keep_for_drives(tree, *user, password);
        warn_of_base_script(tree);
    });
}

uint32_t ZKDSLoginNeedsPassword(uint32_t context, int *needed) {
    return ask_tree(
        context, needed, [](const Tree *tree) { return tree->config.ldap.needsPassword(); });
}

uint32_t ZKDSLoginPasswordIsShared(uint32_t context, int *shared) {
    return ask_tree(context, shared, login_password_is_shared);
}

// Whoever has logged in before remains whom the directory is asked as.
static void end_identity(Tree *tree) {
    if (tree->identity != nullptr) connection_forget_identity(tree, *tree->identity);
    tree->identity = nullptr;
}

static void act_as(Tree *tree, Context *context, const char *object) {
    EntryPtr user = tree->store->findUser(login_name(*tree, *context, object));
    // A name that a directory which shows nothing could have is no user to act for.
    error_unless(user != nullptr && !user->name.empty(), ZKE_NO_SUCH_ENTRY);
    user = tree->store->find(user->name, Aliases::keep);
    error_unless(user != nullptr, ZKE_NO_SUCH_ENTRY);
    tree->store->requireScripts(*user);
    trees_settle();
    end_identity(tree);
    take_identity(tree, context, user);
    tree->verdict = login_state(*user);
}

uint32_t ZKDSActAs(uint32_t context, const char *object) {
    return guarded([&] {
        Context &found = contexts().at(context);
        Tree &tree = context_tree(found);
        if (object == nullptr) return end_identity(&tree);
        act_as(&tree, &found, object);
    });
}

uint32_t ZKDSScanUsers(uint32_t context, const char *container, ZKUserNotice notice, void *caller) {
    return guarded([&] {
        error_unless(notice != nullptr, ZKE_BAD_PARAMETER);
        const Context &found = contexts().at(context);
        Tree &tree = context_tree(found);
        Name place;
        if (container != nullptr && *container != '\0') {
            const EntryPtr entry = tree.store->find(context_name(found, container), Aliases::follow);
            error_unless(entry != nullptr, ZKE_NO_SUCH_ENTRY);
            place = entry->name;
        }
        const NameForm form = context_form(found);
        for (const Name &user : tree.store->usersBelow(place)) notice(caller, name_in_form(user, form).c_str());
    });
}

uint32_t ZKDSLoginState(uint32_t context) {
    return guarded([&] {
        const Tree &tree = tree_with_identity(contexts().at(context));
        login_require_accepted(tree.verdict, *tree.identity);
    });
}

uint32_t ZKDSNoteLogin(uint32_t context) {
    return guarded([&] { tree_with_identity(contexts().at(context)).store->noteLogin(); });
}

uint32_t ZKDSLogout(uint32_t context) {
    return guarded([&] {
        Tree &tree = tree_with_identity(contexts().at(context));
        connection_forget_identity(&tree, *tree.identity);
        tree.identity = nullptr;
        tree.store->logout();
    });
}

// Seconds of a count that may be longer than the number holds.
static int32_t seconds_of(int64_t seconds) {
    return static_cast<int32_t>(std::min<int64_t>(seconds, INT32_MAX));
}

uint32_t ZKDSGetPasswordInfo(uint32_t context, ZKDSPasswordInfo *info) {
    return guarded([&] {
        error_unless(info != nullptr, ZKE_BAD_PARAMETER);
        const Tree &tree = tree_with_identity(contexts().at(context));
        const Verdict &verdict = tree.verdict;
        const bool isFarOff = static_cast<double>(verdict.expiresIn) > tree.config.warnDays * seconds_per_day;
        info->expiresIn = isFarOff ? -1 : seconds_of(verdict.expiresIn);
        info->graceLogins = seconds_of(verdict.graceLogins);
        info->changeable = tree.store->changesPasswords() ? 1 : 0;
    });
}

uint32_t ZKDSChangePassword(uint32_t context, const char *object, const char *oldPassword, const char *newPassword) {
    return guarded([&] {
        error_unless(oldPassword != nullptr && newPassword != nullptr, ZKE_BAD_PARAMETER);
        const Context &found = contexts().at(context);
        Tree &tree = object == nullptr ? tree_with_identity(found) : context_tree(found);
        const EntryPtr user = object == nullptr ? tree.identity : tree.store->findUser(login_name(tree, found, object));
        error_unless(user != nullptr && !user->name.empty(), ZKE_NO_SUCH_ENTRY);
        tree.store->changePassword(*user, oldPassword, newPassword);
        // What mounts drives would try the old one, again and again.
        if (trees_config().automount.credentials) smb_credentials_remove();
        if (tree.identity == nullptr || !name_equal(tree.identity->name, user->name)) return;
        tree.verdict = Verdict::accepted;
        if (tree_of_drives == &tree) write_for_drives(*user, newPassword);
        if (trees_all().size() > 1) login_password_keep(&tree, newPassword);
    });
}

// The identity is that of the server's own tree, whichever tree the context is for.
uint32_t ZKDSAuthenticateConnEx(uint32_t context, uint32_t connection) {
    return guarded([&] {
        Context &found = contexts().at(context);
        Connection &open = connections().at(connection);
        const Entry *identity = open.tree == nullptr ? nullptr : open.tree->identity.get();
        error_unless(identity != nullptr, ZKE_NOT_LOGGED_IN);
        if (open.authenticated) {
            error_unless(connection_is_of(open, *identity), ZKE_DIFF_OBJECT_ALREADY_AUTHEN);
            return;
        }
        connection_authenticate(&open, *identity);
        found.lastConnection = connection;
    });
}
