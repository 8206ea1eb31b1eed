#include "tools/qrtlogin/login.h"

#include <cstdlib>
#include <memory>

#include "include/qrtscript.h"
#include "platform/zk.h"
#include "tools/qrtlogin/failure.h"

namespace {

// What the library sets for its own contexts, so that names and aliases mean the same to the login and to the scripts.
constexpr uint32_t login_flags = 0x57;
constexpr uint32_t login_option = 2;

void require(uint32_t code, const std::string &attempt) {
    if (code != ZK_OK) throw failure_of(code, attempt);
}

// The tree of the connection that the client uses when it is told nothing.
std::string default_tree() {
    const std::string attempt = "cannot find the default tree";
    uint32_t reference = 0;
    uint32_t connection = 0;
    char padded[ZK_TREE_NAME_SIZE] = {};
    require(ZKGetDefaultConnRef(&reference), attempt);
    require(ZKCCOpenConnByRef(reference, ZK_OPEN_BY_REFERENCE, 0, &connection), attempt);
    uint32_t code = ZKCCGetConnInfo(connection, ZK_INFO_TREE_NAME, sizeof padded, padded);
    ZKCCCloseConn(connection);
    require(code, attempt);
    std::string tree = padded;
    tree.erase(tree.find_last_not_of('_') + 1);
    return tree;
}

std::string tree_of_server(const std::string &server) {
    std::unique_ptr<char, decltype(&free)> tree(qrt_GetTreeFromServer(server.c_str()), free);
    if (tree == nullptr) throw Failure(exit_tree, "cannot find the tree of server " + server);
    return tree.get();
}

} // namespace

Login::Login(const Options &options) {
    require(ZKCallsInit(nullptr, nullptr), "cannot start the directory client");
    if (options.tree)
        tree_ = *options.tree;
    else
        tree_ = options.server ? tree_of_server(*options.server) : default_tree();

    const std::string attempt = "cannot use tree " + tree_;
    require(ZKDSCreateContextHandle(&context_), attempt);
    try {
        require(ZKDSSetContext(context_, DCK_FLAGS, &login_flags), attempt);
        require(ZKDSSetContext(context_, DCK_TREE_NAME, tree_.c_str()), attempt);
        if (options.context) {
            // A context is always complete from the root, with or without the period that says so.
            const char *name = options.context->c_str();
            require(ZKDSSetContext(context_, DCK_NAME_CONTEXT, *name == '.' ? name + 1 : name), attempt);
        }
    } catch (const Failure &) {
        ZKDSFreeContext(context_);
        throw;
    }
}

Login::~Login() {
    ZKDSFreeContext(context_);
}

void Login::authenticate(const std::string &user, Secret *password) {
    require(ZKDSLoginEx(context_, user.c_str(), login_option, password->text()),
            "cannot log in as " + user + " to tree " + tree_);
}

std::string Login::container() const {
    char name[ZK_MAX_NAME + 1] = {};
    char parent[ZK_MAX_NAME + 1] = {};
    if (ZKDSWhoAmI(context_, name) != ZK_OK || name[0] == '\0') return "";
    qrt_DSRemoveNameFromFullName(name, parent, nullptr, nullptr);
    return std::string(parent) == "[Root]" ? "" : parent;
}
