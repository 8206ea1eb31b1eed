#include "platform/client/session/login_password.h"

#include <algorithm>

#include "platform/client/core/password.h"

static constexpr unsigned long hash_rounds = 1000;

namespace {

struct LoginPasswords {
    const Tree *tree = nullptr;      // the login's own
    std::vector<std::string> hashes; // an empty one could not be made
    const Tree *refused = nullptr;   // the tree that refused the last attempt
};

} // namespace

static LoginPasswords &login() {
    static LoginPasswords theLogin;
    return theLogin;
}

// With few rounds, since every login waits for it, and the process has the password masked at the same time. Empty when
// libcrypt cannot make one: it takes no password of 512 bytes or more.
static std::string hash_of(const char *password) {
    return password_hash("$5$", hash_rounds, password);
}

static bool is_known(const char *password) {
    const std::vector<std::string> &hashes = login().hashes;
    return std::any_of(hashes.begin(), hashes.end(),
                       [password](const std::string &hash) { return password_matches(hash, password); });
}

// A script can log somebody else in to the login's tree: what was kept before has to stay.
void login_password_keep(const Tree *tree, const char *password) {
    if (login().tree == nullptr) login().tree = tree;
    if (login().tree == tree && *password != '\0' && !is_known(password)) login().hashes.push_back(hash_of(password));
    login().refused = nullptr;
}

bool login_password_is_held_back(const Tree *tree, const char *password) {
    const std::vector<std::string> &hashes = login().hashes;
    if (tree == login().tree || tree == login().refused || tree->config.sharePassword ||
        !tree->config.ldap.needsPassword() || *password == '\0')
        return false;
    return is_known(password) || std::find(hashes.begin(), hashes.end(), "") != hashes.end();
}

bool login_password_is_shared(const Tree *own) {
    const auto &trees = trees_all();
    return std::any_of(trees.begin(), trees.end(), [own](const std::unique_ptr<Tree> &tree) {
        return tree.get() != own && tree->config.sharePassword && tree->config.ldap.needsPassword();
    });
}

void login_password_note_refusal(const Tree *tree) {
    login().refused = tree;
}

void login_password_end_attempts() {
    login().refused = nullptr;
}
