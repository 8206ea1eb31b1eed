#include "tools/qrtlogin/login.h"

#include <cstdlib>
#include <memory>

#include "include/qrtscript.h"
#include "platform/catalogue.h"
#include "platform/common/context_flags.h"
#include "platform/common/skip.h"

static constexpr uint32_t login_option = 2;

static void require(uint32_t code, const std::string &attempt) {
    if (code != ZK_OK) throw failure_of(code, attempt);
}

// A new context has no tree of its own: it answers for the tree that the configuration makes the default.
static std::string default_tree(uint32_t context) {
    char tree[ZK_MAX_NAME + 1] = {};
    require(ZKDSGetContext(context, DCK_TREE_NAME, tree), catalogue_text("cannot find the default tree"));
    return tree;
}

static std::string tree_of_server(const std::string &server) {
    std::unique_ptr<char, decltype(&free)> tree(qrt_GetTreeFromServer(server.c_str()), free);
    if (tree == nullptr)
        throw Failure(exit_tree, catalogue_format("cannot find the tree of server %s", server.c_str()));
    return tree.get();
}

Login::Login(const Options &options) {
    require(ZKCallsInit(nullptr, nullptr), catalogue_text("cannot start the directory client"));
    require(ZKDSCreateContextHandle(&context_), catalogue_text("cannot start the directory client"));
    try {
        useTree(options);
    } catch (const Failure &) {
        ZKDSFreeContext(context_);
        throw;
    }
}

void Login::useTree(const Options &options) {
    if (options.tree)
        tree_ = *options.tree;
    else
        tree_ = options.server ? tree_of_server(*options.server) : default_tree(context_);

    const std::string attempt = catalogue_format("cannot use tree %s", tree_.c_str());
    require(ZKDSSetContext(context_, DCK_FLAGS, &login_context_flags), attempt);
    require(ZKDSSetContext(context_, DCK_TREE_NAME, tree_.c_str()), attempt);
    if (!options.context) return;
    // A context is always complete from the root, with or without the period that says so.
    const char *name = options.context->c_str();
    require(ZKDSSetContext(context_, DCK_NAME_CONTEXT, *name == '.' ? name + 1 : name), attempt);
}

Login::~Login() {
    ZKDSFreeContext(context_);
}

bool Login::needsPassword() const {
    int needed = 1;
    require(ZKDSLoginNeedsPassword(context_, &needed), catalogue_format("cannot use tree %s", tree_.c_str()));
    return needed != 0;
}

uint32_t Login::authenticate(const std::string &user, const Secret &password) {
    return ZKDSLoginEx(context_, user.c_str(), login_option, password.text());
}

Failure Login::failure(uint32_t code, const std::string &user) const {
    return failure_of(code, catalogue_format("cannot log in as %1$s to tree %2$s", user.c_str(), tree_.c_str()));
}

ZKDSPasswordInfo Login::passwordInfo() const {
    ZKDSPasswordInfo info = {};
    require(ZKDSGetPasswordInfo(context_, &info), catalogue_format("cannot use tree %s", tree_.c_str()));
    return info;
}

uint32_t Login::changePassword(const std::string &user, const Secret &before, const Secret &after) {
    const bool isLoggedIn = ZKDSCanDSAuthenticate(context_) != 0;
    return ZKDSChangePassword(context_, isLoggedIn ? nullptr : user.c_str(), before.text(), after.text());
}

void Login::note() {
    ZKDSNoteLogin(context_);
}

bool Login::sharesPassword() const {
    int shared = 0;
    require(ZKDSLoginPasswordIsShared(context_, &shared), catalogue_format("cannot use tree %s", tree_.c_str()));
    return shared != 0;
}

// Is it the object's name in a context, as scripts write it?
static bool is_context_name(uint32_t context, const std::string &typed) {
    char found[ZK_MAX_NAME + 1] = {};
    const bool mayBe = typed.find_first_of("@,") == std::string::npos;
    return mayBe && ZKDSReadObjectInfo(context, typed.c_str(), found, nullptr) == ZK_OK;
}

std::string Login::nameForScripts(const std::string &typed) const {
    // The first period would be the end of the name; one in front only says that the name is complete.
    const std::string name = typed.substr(typed[0] == '.' ? 1 : 0);
    const bool isPlain = name.find_first_of("@,\\.=") == std::string::npos;
    char own[ZK_MAX_NAME + 1] = {};
    if (isPlain || is_context_name(context_, typed) || ZKDSWhoAmI(context_, own) != ZK_OK) return name;
    const std::string_view whole = own;
    return std::string(whole.substr(0, find_unescaped(whole, '.')));
}

std::string Login::fullName() const {
    char name[ZK_MAX_NAME + 1] = {};
    return ZKDSWhoAmI(context_, name) == ZK_OK ? name : "";
}

std::string Login::container() const {
    char name[ZK_MAX_NAME + 1] = {};
    char parent[ZK_MAX_NAME + 1] = {};
    if (ZKDSWhoAmI(context_, name) != ZK_OK || name[0] == '\0') return "";
    qrt_DSRemoveNameFromFullName(name, parent, nullptr, nullptr);
    return std::string(parent) == "[Root]" ? "" : parent;
}
