#include "run/run_sequence.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "base/output.h"
#include "base/text.h"
#include "directory/contexts.h"
#include "directory/names.h"
#include "directory/session.h"
#include "platform/zk.h"

// What one run holds besides the session's globals.
struct Run {
    QrtRunScriptsArgs *args;
    OwnedText tree;
    uint32_t handle = 0;
    bool moved = false;   // the handle is of another tree, to which the last script has moved
    std::string context;  // the context being built
    std::string fullName; // shown as the user
    OwnedText object;
};

static void trace_request(const QrtRunScriptsArgs *args) {
    auto shown = [](const char *text) { return text ? text : ""; };
    TRACE(qrt_RunScripts, 4, "User Variable2 is: %s", shown(args->userVar2));
    TRACE(qrt_RunScripts, 4, "User Variable3 is: %s", shown(args->userVar3));
    TRACE(qrt_RunScripts, 4, "User Variable4 is: %s", shown(args->userVar4));
    TRACE(qrt_RunScripts, 4, "User Variable5 is: %s", shown(args->userVar5));
    TRACE(qrt_RunScripts, 4, "treename is: %s", shown(args->treename));
    TRACE(qrt_RunScripts, 4, "server is: %s", shown(args->server));
    TRACE(qrt_RunScripts, 4, "context is: %s", shown(args->context));
    TRACE(qrt_RunScripts, 4, "user is: %s", shown(args->user));
    TRACE(qrt_RunScripts, 4, "profileScript is: %s", shown(args->profileScript));
    TRACE(qrt_RunScripts, 4, "loginScript is: %s", shown(args->loginScript));
    TRACE(qrt_RunScripts, 4, "userGUI is: %i", args->userGUI);
}

// The record is the caller's, and writing "no file" into it is required: callers read it afterwards.
static void replace_default(char *&script) {
    if (script && strcmp(script, "<DEFAULT>") == 0) script = nullptr;
}

static void take_request(QrtRunScriptsArgs *args) {
    trace_request(args);
    g_useGUI = args->userGUI;
    if (args->password) session_set_password(args->password);
    replace_default(args->profileScript);
    replace_default(args->loginScript);
    const char *values[] = {args->userVar2, args->userVar3, args->userVar4, args->userVar5};
    for (int n = 0; n < 4; n++) {
        if (values[n]) qrt_SetUserVar(n + 2, values[n]);
    }
}

static bool find_tree(Run &run) {
    if (run.args->treename) {
        run.tree.reset(qrt_GetTreeName(run.args->treename));
        TRACE(qrt_RunScripts, 4, "real treename is: %s", run.tree ? run.tree.get() : "");
    }
    if (!run.tree && run.args->server) {
        qrt_Getctx(qrt_GetCurrentTree(), &run.handle);
        run.tree.reset(qrt_GetTreeFromServer(run.args->server));
        TRACE(qrt_RunScripts, 4, "TreeName from server (%s)", run.tree ? run.tree.get() : "");
    }
    if (run.tree) return true;
    say("No Treename defined\n");
    return false;
}

static void set_user(Run &run, const std::string &name) {
    qrt_SetCurrentObject(name.c_str());
    qrt_SetLoginName(name.c_str());
    qrt_SetUserVar(1, name.c_str());
    run.fullName = name.substr(0, ZK_MAX_NAME);
}

// The user's name and context: as the directory tells them, else as the request does.
static void identify_user(Run &run) {
    char known[ZK_MAX_NAME + 1] = "";
    ZKDSWhoAmI(run.handle, known);
    known[ZK_MAX_NAME] = '\0';
    TRACE(qrt_RunScripts, 1, "Current logged in user: %s", known);
    char *user = run.args->user;
    char *period = strchr(user, '.');
    if (strlen(known) > 2) {
        char parent[ZK_MAX_NAME + 1], leaf[ZK_MAX_NAME + 1];
        qrt_DSRemoveNameFromFullName(known, parent, leaf, nullptr);
        run.context = std::string(".") + parent;
        set_user(run, leaf);
    } else if (period) {
        // The cut in the caller's record is required; the context field is not consulted then.
        *period = '\0';
        run.context = std::string(".") + (period + 1);
        set_user(run, user);
    } else {
        set_user(run, user);
        if (run.args->context) run.context = run.args->context;
    }
}

static void detect_alias(const Run &run) {
    const char *period = qrt_DSFindDelimiter(run.args->user, ".");
    const bool alias = period && !text_equal_nocase(period, run.context);
    LoginAliasContext[0] = alias ? 'Y' : 'N';
    if (alias) TRACE(qrt_RunScripts, 7, "using alias context, old (%s), new (%s)", period, run.context.c_str());
}

static void set_context(Run &run) {
    qrt_SetCurrentContext(run.context.data());
    qrt_SetInitialContext(run.context.c_str());
    say("User: %s\n", run.fullName.c_str());
}

static uint32_t set_default_server(const Run &run) {
    const OwnedText server(qrt_GetDefaultServer());
    return qrt_SetServer(run.handle, server.get());
}

static void set_primary_server(const Run &run) {
    char *given = run.args->server;
    if (!given) {
        const OwnedText server(qrt_GetDefaultServerFromTree(run.tree.get()));
        if (server) qrt_SetServer(run.handle, server.get());
        return;
    }
    char *tree = nullptr;
    if (qrt_CheckAuthServer(given, &tree) != 0) {
        if (qrt_SetServer(run.handle, given) != 0) set_default_server(run);
        return;
    }
    const OwnedText serverTree(tree);
    if (serverTree && text_equal_nocase(serverTree.get(), run.tree.get()))
        qrt_SetServer(run.handle, given);
    else
        set_default_server(run);
}

// The handle of the run's own tree. A TREE statement of the script before has freed it and left its own in `ctx`: then
// this is a fresh one, made only now that a further step needs it.
static uint32_t own_handle(Run &run) {
    if (run.moved) {
        run.moved = false;
        ZKDSFreeContext(run.handle);
        qrt_Getctx(run.tree.get(), &run.handle);
        ctx = run.handle;
    }
    return run.handle;
}

static int run_script(Run &run, const char *text, const char *object) {
    const OwnedText name = text_copy_or_null(object);
    const int result = parsescript_Run(text, name.get(), own_handle(run));
    objname = nullptr;
    run.moved = session_context_taken;
    run.handle = ctx;
    return result;
}

static void run_container_script(Run &run) {
    if (run.args->loginScript) return;
    TRACE(qrt_RunScripts, 4, "Now Process Container script");
    char *text = nullptr;
    if (qrt_get_container(own_handle(run), run.object.get(), &text) != 0) {
        TRACE(qrt_RunScripts, 4, "Could not open/read container script");
        return;
    }
    const OwnedText owned(text);
    run_script(run, text, run.object.get());
}

static void run_profile_file(Run &run) {
    const OwnedText text(qrt_readLoginScriptFromFile(run.args->profileScript));
    if (!text) return;
    const OwnedText object(qrt_Object());
    run_script(run, text.get(), object.get());
}

// The profile object that the user or the PROFILE statement's object names, and its script.
static void run_profile_object(Run &run, const char *owner) {
    const bool overridden = owner == over_ride_profile;
    char *found = nullptr;
    if (qrt_GetAttribute(own_handle(run), owner, "Profile", &found) != 0) return;
    const OwnedText profile(found);
    if (!overridden && run.args->loginScript) return;
    char *text = nullptr;
    if (qrt_GetLoginScript(own_handle(run), profile.get(), &text) != 0) return;
    const OwnedText script(text);
    // After a PROFILE statement the parser is handed the profile object's name in place of its script: required.
    run_script(run, overridden ? profile.get() : script.get(), run.object.get());
}

static void run_profile_script(Run &run) {
    TRACE(qrt_RunScripts, 4, "Now Process user's Profile script");
    if (run.args->profileScript) {
        run_profile_file(run);
    } else if (over_ride_profile) {
        run_profile_object(run, over_ride_profile);
    } else {
        TRACE(qrt_RunScripts, 4, "object for profile: %s", run.object.get());
        run_profile_object(run, run.object.get());
    }
}

static int run_user_file(Run &run) {
    const char *path = run.args->loginScript;
    TRACE(qrt_RunScripts, 4, "Now Process User's Login script (%s)", path);
    const OwnedText text(qrt_readLoginScriptFromFile(path));
    if (text)
        run_script(run, text.get(), run.object.get());
    else
        say("Unable to read file (%s)\n", path);
    return 0;
}

// The flag that NO_DEFAULT clears is for the calling program: the default script runs here all the same. Required.
static int run_user_script(Run &run) {
    if (run.args->loginScript) return run_user_file(run);
    TRACE(qrt_RunScripts, 4, "Now Process User's Login script: %s", run.object.get());
    char *text = nullptr;
    if (qrt_GetLoginScript(own_handle(run), run.object.get(), &text) != 0) {
        TRACE(qrt_RunScripts, 4, "Now Process User's \"default\" Login script");
        __get_default_script(&text);
    }
    const OwnedText owned(text);
    return run_script(run, text, run.object.get());
}

static void clean_up(Run &run) {
    session_set_password(nullptr);
    run.object.reset();
    ZKDSFreeContext(run.handle);
    qrt_exit();
}

static uint32_t run_scripts(Run &run) {
    take_request(run.args);
    contexts_preset_environment();
    ZKCallsInit(nullptr, nullptr);
    if (!find_tree(run)) return QRT_NO_TREE;
    qrt_SetTree(run.tree.get());
    if (run.handle) ZKDSFreeContext(run.handle);
    qrt_Getctx(qrt_GetCurrentTree(), &run.handle);
    if (!run.args->user) return QRT_NO_USER;
    identify_user(run);
    detect_alias(run);
    set_context(run);
    set_primary_server(run);
    run.object.reset(qrt_Object());
    // The setters keep quiet about memory that runs out. Scripts without a user to run them for are no login.
    if (!run.object) throw std::bad_alloc();
    run_container_script(run);
    run_profile_script(run);
    const int result = run_user_script(run);
    clean_up(run);
    return static_cast<uint32_t>(result);
}

uint32_t qrt_RunScripts(QrtRunScriptsArgs *args) {
    if (!args) return QRT_NO_USER;
    Run run;
    run.args = args;
    try {
        return run_scripts(run);
    } catch (const std::bad_alloc &) {
        say("memory exhausted");
        clean_up(run);
        return 1;
    }
}
