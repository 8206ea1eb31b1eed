#include "run/run_sequence.h"

#include <cstring>

#include "base/guard.h"
#include "base/output.h"
#include "commands/current_tree.h"
#include "directory/attributes.h"
#include "directory/contexts.h"
#include "directory/names.h"
#include "directory/script_sources.h"
#include "directory/servers.h"
#include "directory/session.h"
#include "language/script_runner.h"
#include "platform/zk.h"
#include "run/lifecycle.h"

// What one run has besides the session's globals.
struct Run {
    QrtRunScriptsArgs &args;
    std::optional<std::string> tree = std::nullopt;
    uint32_t handle = 0;
    bool moved = false;        // the handle is of another tree, to which the last script has moved
    std::string context = "";  // the context being built
    std::string fullName = ""; // shown as the user
    std::string object = "";
};

static void trace_request(const QrtRunScriptsArgs &args) {
    auto shown = [](const char *text) { return text != nullptr ? text : ""; };
    TRACE(qrt_RunScripts, 4, "User Variable2 is: %s", shown(args.userVar2));
    TRACE(qrt_RunScripts, 4, "User Variable3 is: %s", shown(args.userVar3));
    TRACE(qrt_RunScripts, 4, "User Variable4 is: %s", shown(args.userVar4));
    TRACE(qrt_RunScripts, 4, "User Variable5 is: %s", shown(args.userVar5));
    TRACE(qrt_RunScripts, 4, "treename is: %s", shown(args.treename));
    TRACE(qrt_RunScripts, 4, "server is: %s", shown(args.server));
    TRACE(qrt_RunScripts, 4, "context is: %s", shown(args.context));
    TRACE(qrt_RunScripts, 4, "user is: %s", shown(args.user));
    TRACE(qrt_RunScripts, 4, "profileScript is: %s", shown(args.profileScript));
    TRACE(qrt_RunScripts, 4, "loginScript is: %s", shown(args.loginScript));
    TRACE(qrt_RunScripts, 4, "userGUI is: %i", args.userGUI);
}

// The record is the caller's, and writing "no file" into it is required: callers read it afterwards.
static void replace_default(char *&script) {
    if (script != nullptr && strcmp(script, "<DEFAULT>") == 0) script = nullptr;
}

static void take_request(QrtRunScriptsArgs &args) {
    trace_request(args);
    g_useGUI = args.userGUI;
    if (args.password != nullptr) session_set_password(args.password);
    replace_default(args.profileScript);
    replace_default(args.loginScript);
    const char *values[] = {args.userVar2, args.userVar3, args.userVar4, args.userVar5};
    for (int n = 0; n < 4; n++)
        if (values[n] != nullptr) session_set_variable(n + 2, values[n]);
}

static bool find_tree(Run &run) {
    if (run.args.treename != nullptr) {
        run.tree = contexts_tree(run.args.treename);
        TRACE(qrt_RunScripts, 4, "real treename is: %s", run.tree ? run.tree->c_str() : "");
    }
    if (!run.tree && run.args.server != nullptr) {
        contexts_make(session_tree(), run.handle);
        run.tree = contexts_tree_of_server(run.args.server);
        TRACE(qrt_RunScripts, 4, "TreeName from server (%s)", run.tree ? run.tree->c_str() : "");
    }
    if (run.tree) return true;
    say("No Treename defined\n");
    return false;
}

static void set_user(Run &run, const std::string &name) {
    session_set_object(name.c_str());
    session_set_login_name(name.c_str());
    session_set_variable(1, name.c_str());
    run.fullName = name.substr(0, ZK_MAX_NAME);
}

// The user's name and context: from the directory, else from the request.
static void identify_user(Run &run) {
    char known[ZK_MAX_NAME + 1] = "";
    ZKDSWhoAmI(run.handle, known);
    known[ZK_MAX_NAME] = '\0';
    TRACE(qrt_RunScripts, 1, "Current logged in user: %s", known);
    char *user = run.args.user;
    char *period = strchr(user, '.');
    if (strlen(known) > 2) {
        const NameParts name = names_split(known);
        run.context = "." + name.parent;
        set_user(run, name.leaf);
    } else if (period != nullptr) {
        // The cut in the caller's record is required; the context field is not consulted then.
        *period = '\0';
        run.context = std::string(".") + (period + 1);
        set_user(run, user);
    } else {
        set_user(run, user);
        if (run.args.context != nullptr) run.context = run.args.context;
    }
}

static void detect_alias(const Run &run) {
    const std::string_view user = run.args.user;
    const size_t period = names_find_delimiter(user, ".");
    const bool alias = period != user.npos && !equal_nocase(user.substr(period), run.context);
    LoginAliasContext[0] = alias ? 'Y' : 'N';
    if (alias)
        TRACE(qrt_RunScripts, 7, "using alias context, old (%s), new (%s)", run.args.user + period,
              run.context.c_str());
}

static void set_context(Run &run) {
    session_set_context(run.context);
    session_set_initial_context(run.context.c_str());
    say("User: %s\n", run.fullName.c_str());
}

static void set_server(const Run &run, const std::optional<std::string> &server) {
    servers_set_primary(run.handle, server ? server->c_str() : nullptr);
}

static void set_primary_server(const Run &run) {
    const char *given = run.args.server;
    if (given == nullptr) {
        const auto server = contexts_default_server_of(run.tree->c_str());
        if (server) set_server(run, server);
        return;
    }
    std::optional<std::string> tree;
    const bool authenticated = servers_check(given, tree) == 0;
    const bool elsewhere = authenticated && !(tree && equal_nocase(*tree, *run.tree));
    // One that is authenticated in this tree keeps its place, even when it cannot be made the primary one.
    if (elsewhere || (servers_set_primary(run.handle, given) != 0 && !authenticated))
        set_server(run, contexts_default_server());
}

// The handle of the run's own tree. A TREE statement of the script before has freed it and left its own in `ctx`: then
// this is a fresh one, made only now that a further step needs it.
static uint32_t own_handle(Run &run) {
    if (run.moved) {
        run.moved = false;
        ZKDSFreeContext(run.handle);
        contexts_make(run.tree->c_str(), run.handle);
        ctx = run.handle;
    }
    return run.handle;
}

static int run_script(Run &run, std::string_view text, const std::string &object) {
    std::string name = object;
    const int result = script_run(text, name.data(), own_handle(run));
    objname = nullptr;
    run.moved = session_context_taken;
    run.handle = ctx;
    return result;
}

static void run_container_script(Run &run) {
    if (run.args.loginScript != nullptr) return;
    TRACE(qrt_RunScripts, 4, "Now Process Container script");
    std::string text;
    if (script_sources_container(own_handle(run), run.object.c_str(), text) == 0)
        run_script(run, text, run.object);
    else
        TRACE(qrt_RunScripts, 4, "Could not open/read container script");
}

static void run_profile_file(Run &run) {
    const OwnedText text = script_sources_file(run.args.profileScript);
    if (text) run_script(run, text.get(), session_object().value_or(""));
}

// The profile object that the user or the PROFILE statement's object names, and its script.
static void run_profile_object(Run &run, const char *owner) {
    const bool overridden = owner == over_ride_profile;
    OwnedText profile;
    if (attributes_text(own_handle(run), owner, "Profile", profile) != 0) return;
    if (!overridden && run.args.loginScript != nullptr) return;
    std::string script;
    if (script_sources_object(own_handle(run), profile.get(), script) != 0) return;
    // After a PROFILE statement the parser is handed the profile object's name in place of its script: required.
    run_script(run, overridden ? profile.get() : script.c_str(), run.object);
}

static void run_profile_script(Run &run) {
    TRACE(qrt_RunScripts, 4, "Now Process user's Profile script");
    if (run.args.profileScript != nullptr) {
        run_profile_file(run);
    } else if (over_ride_profile != nullptr) {
        run_profile_object(run, over_ride_profile);
    } else {
        TRACE(qrt_RunScripts, 4, "object for profile: %s", run.object.c_str());
        run_profile_object(run, run.object.c_str());
    }
}

static int run_user_file(Run &run) {
    const char *path = run.args.loginScript;
    TRACE(qrt_RunScripts, 4, "Now Process User's Login script (%s)", path);
    const OwnedText text = script_sources_file(path);
    if (text)
        run_script(run, text.get(), run.object);
    else
        say("Unable to read file (%s)\n", path);
    return 0;
}

// The flag that NO_DEFAULT clears is for the calling program: the default script runs here all the same. Required.
static int run_user_script(Run &run) {
    if (run.args.loginScript != nullptr) return run_user_file(run);
    TRACE(qrt_RunScripts, 4, "Now Process User's Login script: %s", run.object.c_str());
    std::string text;
    if (script_sources_object(own_handle(run), run.object.c_str(), text) != 0) {
        TRACE(qrt_RunScripts, 4, "Now Process User's \"default\" Login script");
        text = script_sources_default();
    }
    return run_script(run, text, run.object);
}

static uint32_t clean_up(const Run &run, uint32_t result) {
    session_set_password(nullptr);
    ZKDSFreeContext(run.handle);
    lifecycle_end();
    return result;
}

static uint32_t run_scripts(Run &run) {
    take_request(run.args);
    contexts_preset_environment();
    ZKCallsInit(nullptr, nullptr);
    if (!find_tree(run)) return QRT_NO_TREE;
    current_tree_set(run.tree->c_str());
    if (run.handle) ZKDSFreeContext(run.handle);
    contexts_make(session_tree(), run.handle);
    if (run.args.user == nullptr) return QRT_NO_USER;
    identify_user(run);
    detect_alias(run);
    set_context(run);
    set_primary_server(run);
    run.object = session_object().value_or("");
    run_container_script(run);
    run_profile_script(run);
    return clean_up(run, static_cast<uint32_t>(run_user_script(run)));
}

uint32_t run_sequence(QrtRunScriptsArgs &args) {
    Run run{args};
    const auto withoutMemory = [&] {
        say("memory exhausted");
        return clean_up(run, 1);
    };
    return guarded(withoutMemory, [&] { return run_scripts(run); });
}
