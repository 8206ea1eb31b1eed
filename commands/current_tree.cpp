#include "commands/current_tree.h"

#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include "base/output.h"
#include "base/text.h"
#include "directory/contexts.h"
#include "directory/session.h"
#include "directory/substitution.h"
#include "directory/tree_login.h"
#include "platform/common/secret.h"
#include "platform/treelogin.h"
#include "platform/zk.h"
#include "qrtscript.h"

constexpr int confirmed = 4;
constexpr uint32_t prompt_cancelled = 1;

namespace {

// A name and a password on their way to a login.
struct Credentials {
    std::optional<std::string> name;
    SecretText password;
};

} // namespace

// The tree as the network spells it, if it answers. The connection stays open for the session.
static std::optional<std::string> network_spelling(const char *tree) {
    uint32_t connection = 0;
    if (contexts_open(tree, connection) != 0) return std::nullopt;
    std::string spelled;
    if (contexts_tree_name(connection, spelled) != 0) return std::nullopt;
    while (spelled.size() > 1 && spelled.back() == '_') spelled.pop_back();
    return spelled;
}

void current_tree_set(const char *tree) {
    TRACE(qrt_SetTree, 7, "entering qrt_SetTree(%s)", tree ? tree : "");
    session_replace(CurrentTree, tree);
    if (tree == nullptr) return;
    const std::optional<std::string> spelled = network_spelling(CurrentTree);
    if (spelled) session_replace(CurrentTree, spelled->c_str());
    say("Your current tree is: %s\n", CurrentTree);
    const auto length = static_cast<uint16_t>(strlen(CurrentTree));
    TRACE(qrt_SetTree, 2, "Set Preferred DS Tree(%s) length:%i", CurrentTree, length);
    const uint32_t code = ZKSetPreferredDSTree(length, CurrentTree);
    if (code != 0) say("Error:(%1$X) setting Tree:(%2$s)\n", code, CurrentTree);
}

// A name without a context gets the current one, which carries its own leading dot.
static std::string with_context(const std::string &name) {
    if (name.find('.') != name.npos) return name;
    if (CurrentContext == nullptr) {
        TRACE(doTreeLogin, 2, "try to append context onto user name, failed.");
        return name;
    }
    TRACE(doTreeLogin, 2, "try to append context (%s) onto user name (%s).", CurrentContext, name.c_str());
    return name + CurrentContext;
}

static std::string given_name(const char *user) {
    std::string name = substitution_of(ctx, user).get();
    if (name.size() > 1 && name[0] == '.') name.erase(0, 1);
    return with_context(name);
}

// Two spellings on purpose: a session without a user offers "<UserName>" here, a login without a name "<username>".
static std::string session_name() {
    return CurrentObject != nullptr ? with_context(CurrentObject) : "<UserName>";
}

namespace {

struct TraceWipe {
    ~TraceWipe() { secret_wipe_traces(); }
};

} // namespace

// The password with its identifiers replaced. No working copy of it is left, whichever way this ends.
static SecretText given_password(uint32_t probe, const char *password) {
    const TraceWipe afterwards;
    return SecretText(substitution_of(probe, password).release());
}

// Asks for name and password. Returns 0, or the code of a prompt that was cancelled.
static uint32_t ask(const char *tree, Credentials &credentials) {
    char *user = nullptr, *password = nullptr;
    const std::string offered = credentials.name.value_or(tree_login_no_name);
    if (tree_login_ask(g_useGUI != 0, tree, offered.c_str(), &user, &password) != 0) return prompt_cancelled;
    const OwnedText name(user);
    credentials.password.reset(password);
    credentials.name = user != nullptr ? std::optional<std::string>(user) : std::nullopt;
    return 0;
}

static bool confirm_logout(const char *tree, const char *name) {
    char question[1024];
    snprintf(question, sizeof question, output_translate("Already logged in to %1$s as %2$s, log out?"), tree, name);
    const int answer = auxconfirm_g(question, "question", 1, 12);
    TRACE(doTreeLogin, 4, "return code from auxconfirm_g %i", answer);
    return answer == confirmed;
}

// Logs in, asking again after each refusal until the person cancels. Returns 0 and the new context's handle.
static uint32_t log_in(const char *tree, Credentials &credentials, uint32_t &handle) {
    if (!credentials.password) {
        const uint32_t code = ask(tree, credentials);
        if (code != 0) return code;
    }
    while (true) {
        const char *name = credentials.name ? credentials.name->c_str() : nullptr;
        const uint32_t code = tree_login(tree, name, credentials.password.get(), handle);
        TRACE(doTreeLogin, 2, "Tree login return code 0x%X", code);
        if (code == 0) return 0;
        if (code == ZKE_OTHER_IDENTITY) {
            if (!confirm_logout(tree, name)) return code;
            tree_logout(tree);
        }
        const uint32_t asked = ask(tree, credentials);
        if (asked != 0) return asked;
    }
}

// True when the login that the tree already has serves. A login of somebody else is ended.
static bool login_exists(uint32_t probe, const char *tree, const char *user, const std::string &name) {
    if (ZKDSCanDSAuthenticate(probe) == 0) {
        TRACE(doTreeLogin, 7, "====you were not logged onto tree %s", tree);
        return false;
    }
    char who[ZK_MAX_NAME + 1] = "";
    ZKDSWhoAmI(probe, who);
    who[ZK_MAX_NAME] = '\0';
    if (user != nullptr && !equal_nocase(who, user) && !equal_nocase(who, name)) {
        say("Already logged into Tree(%1$s) as %2$s\n", tree, who);
        tree_logout(tree);
        return false;
    }
    if (user != nullptr)
        TRACE(doTreeLogin, 2, "whoami %s %s", who, user);
    else
        TRACE(doTreeLogin, 2, "whoami %s", who);
    say("Your current tree is: %s\n", tree);
    return true;
}

// The session moves to the tree. There is no new context when a login that existed serves: the session's own stays
// then.
static void move_session(const char *tree, Context &made, const std::string &name) {
    current_tree_set(tree);
    if (made.handle != 0) session_take_context(made.release());
    const size_t period = name.find('.', 1);
    if (period == name.npos) return;
    session_set_context(name.substr(period + 1));
    session_set_object(name.substr(0, period).c_str());
}

static void move_to_tree(const char *tree, const char *user, const char *password, uint32_t probe) {
    const TraceWipe afterwards;
    Credentials credentials;
    if (user != nullptr) credentials.name = given_name(user);
    const bool exists = login_exists(probe, tree, user, credentials.name.value_or(""));
    if (password != nullptr)
        credentials.password = given_password(probe, password);
    else
        credentials.password.reset(text_copy_or_null(CurrentPassword).release());
    if (user == nullptr) credentials.name = session_name();
    Context made;
    const uint32_t code = exists ? 0 : log_in(tree, credentials, made.handle);
    if (code == 0)
        move_session(tree, made, credentials.name.value_or(""));
    else
        say("Could not Login into tree: %1$s %2$X\n", tree, code);
}

void current_tree_move(const char *tree, const char *user, const char *password) {
    // The password itself is never traced.
    TRACE(doTreeLogin, 2, "TREE - tree=%s, user=%s, pass=%s", tree ? tree : "NULL", user ? user : "NULL",
          password ? "<your password>" : "NULL");
    Context probe;
    const uint32_t code = contexts_make(tree, probe.handle);
    if (code == 0)
        move_to_tree(tree, user, password, probe.handle);
    else
        say("Could not Login into tree: %1$s %2$X\n", tree != nullptr ? tree : "", code);
}
