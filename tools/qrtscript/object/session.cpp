#include "tools/qrtscript/object/session.h"

#include "platform/catalogue.h"
#include "platform/common/context_flags.h"
#include "platform/zk.h"
#include "tools/qrtscript/login_as.h"
#include "tools/qrtscript/object/line_end.h"

static void require(uint32_t code, const std::string &attempt) {
    if (code != ZK_OK) throw failure_of(code, attempt);
}

static Failure failure_of(const CodedError &error, const std::string &attempt) {
    const Failure general = ::failure_of(error.code, attempt);
    const int status = error.code == ZKE_SCRIPT_CHANGED  ? exit_changed
                       : error.code == ZKE_NOT_LOGGED_IN ? static_cast<int>(exit_password)
                                                         : general.status();
    std::string why = error.what();
    if (error.code == ZKE_NO_SUCH_ENTRY) why = catalogue_text("no such object");
    if (error.code == ZKE_MALFORMED_NAME) why = catalogue_text("malformed name");
    if (error.code == ZKE_NOT_LOGGED_IN) why += std::string(": ") + catalogue_text("log in with --as");
    return why.empty() ? Failure(status, general.what()) : Failure(status, attempt + ": " + why);
}

// Does something with the client, and words what it throws.
template <typename Work>
static auto attempting(const std::string &attempt, Work work) {
    try {
        return work();
    } catch (const CodedError &error) {
        throw failure_of(error, attempt);
    }
}

TreeSession::TreeSession(const ObjectOptions &options) {
    require(ZKCallsInit(nullptr, nullptr), catalogue_text("cannot start the directory client"));
    // The administrator is a guest here: no copy of what they may read, and no password of theirs, stays.
    require(ZKKeepNothing(), catalogue_text("cannot start the directory client"));
    require(ZKDSCreateContextHandle(&context_), catalogue_text("cannot start the directory client"));
    try {
        useTree(options);
        if (options.as) login_as(context_, tree_, *options.as, options.passwordDescriptor);
        isLoggedIn_ = options.as.has_value();
    } catch (const Failure &) {
        ZKDSFreeContext(context_);
        throw;
    }
}

TreeSession::~TreeSession() {
    ZKDSFreeContext(context_);
}

void TreeSession::useTree(const ObjectOptions &options) {
    const std::string attempt = options.tree ? catalogue_format("cannot use tree %s", options.tree->c_str())
                                             : catalogue_text("cannot find the default tree");
    require(ZKDSSetContext(context_, DCK_FLAGS, &login_context_flags), attempt);
    if (options.tree) require(ZKDSSetContext(context_, DCK_TREE_NAME, options.tree->c_str()), attempt);
    // As the configuration spells it, which former scripts are found by.
    char name[ZK_MAX_NAME + 1] = {};
    require(ZKDSGetContext(context_, DCK_TREE_NAME, name), attempt);
    tree_ = name;
    require(ZKDSSetContext(context_, DCK_TREE_NAME, name), attempt);
    // A context is always complete from the root, with or without the period that says so.
    const char *context = options.context.c_str();
    require(ZKDSSetContext(context_, DCK_NAME_CONTEXT, *context == '.' ? context + 1 : context),
            catalogue_format("cannot use context %s", context));
}

ScriptObject TreeSession::object(const std::string &name) const {
    return attempting(
        name, [&] { return script_object(context_, name); });
}

std::optional<ScriptObject> TreeSession::objectOfFile(const std::string &file) const {
    return attempting(
        file, [&] { return script_object_of_file(context_, file); });
}

// The text with its line end; remembers what the directory has.
std::string TreeSession::kept(const ScriptObject &object, const std::string &text) const {
    std::string ended = text_with_line_end(text);
    unended_.erase(object.typed);
    if (ended != text) unended_[object.typed] = text;
    return ended;
}

StoredScript TreeSession::read(const ScriptObject &object) const {
    StoredScript stored = attempting(catalogue_format("cannot read the login script of %s", object.name.c_str()),
                                     [&] { return script_read(context_, object); });
    if (stored.text) stored.text = kept(object, *stored.text);
    return stored;
}

bool TreeSession::isPrivate(const ScriptObject &object) const {
    return attempting(
        catalogue_format("cannot read the login script of %s", object.name.c_str()),
        [&] { return script_is_private(context_, object); });
}

bool TreeSession::isAnonymous() const {
    return !isLoggedIn_ && script_tree_has_servers(context_);
}

std::vector<ScriptOfObject> TreeSession::list() const {
    std::vector<ScriptOfObject> all =
        attempting(catalogue_format("cannot list the login scripts of tree %s", tree_.c_str()),
                   [&] { return script_list(context_); });
    for (ScriptOfObject &one : all) one.text = kept(one.object, one.text);
    return all;
}

void TreeSession::write(const ScriptObject &object, const ScriptText &before, const ScriptText &after) const {
    const auto unended = unended_.find(object.typed);
    const bool isUnended = before && unended != unended_.end() && text_with_line_end(unended->second) == *before;
    const ScriptText there = isUnended ? unended->second : before;
    attempting(catalogue_format("cannot write the login script of %s", object.name.c_str()),
               [&] { script_write(context_, object, there, after); });
}

// An answer of the server may have been lost.
bool TreeSession::mayBe(const ScriptObject &object, const ScriptText &after) const {
    try {
        return read(object).text == after;
    } catch (const Failure &) {
        return true;
    }
}
