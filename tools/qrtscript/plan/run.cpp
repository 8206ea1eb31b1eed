#include "tools/qrtscript/plan/run.h"

#include <argp.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <new>

#include "platform/catalogue.h"
#include "platform/terminal_text.h"
#include "tools/own_folder.h"
#include "tools/qrtlogin/environment.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtlogin/output_relay.h"
#include "tools/qrtlogin/password.h"
#include "tools/qrtlogin/password_dialog.h"
#include "tools/qrtlogin/private_memory.h"
#include "tools/qrtlogin/run.h"
#include "tools/qrtlogin/waiting_notice.h"
#include "tools/qrtscript/password_input.h"
#include "tools/qrtscript/plan/input.h"
#include "tools/qrtscript/plan/login_options.h"
#include "tools/qrtscript/plan/options.h"
#include "tools/qrtscript/plan/recorder.h"
#include "tools/qrtscript/plan/running.h"
#include "tools/qrtscript/plan/seams.h"
#include "tools/qrtscript/plan/show_text.h"
#include "tools/qrtscript/plan/sources.h"

namespace {

struct RunOptions {
    Options login;
    LoginTarget target = {&login.tree, &login.context, &login.server, &login.variables};
    bool trace = false;
};

enum Key : int { key_user = 'u', key_password_descriptor = 0x100, key_time_limit, key_trace };

} // namespace

static const char *const before_options = catalogue_mark(
    "Log USER in and run the login script FILE in the place of the container's and the user's. It acts: programs are "
    "run, drives are mapped; the environment ends with the run.");
static const char *const after_options = catalogue_mark(
    "The password is asked for on the terminal unless --password-fd is given or the tree needs none. With --trace each "
    "statement's effect is shown with its line as it happens, conditions with the values that they see.\n"
    "\n"
    "Exit status:\n"
    "  0  the script ran without mistakes\n"
    "  1  the script has mistakes, or a MAP failed\n"
    "  2  the script could not be run\n"
    "  124  it was ended at the time limit\n"
    "  130  it was interrupted");

static const argp_option option_table[] = {
    {"user", key_user, catalogue_mark("USER"), 0, catalogue_mark("Log in as USER"), 0},
    {"password-fd", key_password_descriptor, catalogue_mark("N"), 0,
     catalogue_mark("Read the password from file descriptor N (first line only)"), 0},
    {"time-limit", key_time_limit, catalogue_mark("SECONDS"), 0,
     catalogue_mark("End the script and its programs after SECONDS (default: no limit on a terminal, else 300)"), 1},
    {"trace", key_trace, nullptr, 0, catalogue_mark("Show each statement's effect beside its line"), 1},
    {nullptr, 0, nullptr, 0, nullptr, 0}};

static error_t parse_one(int key, char *text, argp_state *state) {
    auto *options = static_cast<RunOptions *>(state->input);
    switch (key) {
        case ARGP_KEY_INIT:
            state->child_inputs[0] = &options->target;
            break;
        case key_user:
            options->login.user = text;
            break;
        case key_password_descriptor:
            options->login.passwordDescriptor = login_options_number(text, "password-fd", state);
            break;
        case key_time_limit:
            options->login.timeLimit = login_options_number(text, "time-limit", state);
            break;
        case key_trace:
            options->trace = true;
            break;
        case ARGP_KEY_ARG:
            if (options->login.loginScript)
                argp_error(state, catalogue_text("extra script \"%s\": only one script can be given"),
                           terminal_text(text).c_str());
            options->login.loginScript = text;
            break;
        case ARGP_KEY_END:
            if (!options->login.loginScript) argp_error(state, catalogue_text("no script given"));
            if (options->login.user.empty()) argp_error(state, catalogue_text("no user given"));
            break;
        default:
            return ARGP_ERR_UNKNOWN;
    }
    return 0;
}

static void parse(int argc, char **argv, RunOptions *options) {
    const TranslationGuard guard;
    argp_err_exit_status = plan_failed;
    textdomain(catalogue_domain);
    const std::string texts = std::string(catalogue_text(before_options)) + '\v' + catalogue_text(after_options);
    const argp parser = {option_table,    parse_one,     catalogue_mark("--user USER FILE"),
                         texts.c_str(),   login_options, nullptr,
                         catalogue_domain};
    if (argp_parse(&parser, argc, argv, 0, nullptr, options) != 0) throw std::bad_alloc();
}

// ---- the trace ----

// Those that a login passes over in silence count as well.
static size_t mistakes = 0;

static void count_mistake(const Json &effect) {
    mistakes += plan_is_mistake(effect) ? 1 : 0;
}

// What a statement prints stands there anyway.
static void show_in_output(const Json &effect) {
    count_mistake(effect);
    const std::string kind = effect.value("kind", "");
    if (!effect.contains("source") || kind == "print" || kind == "message" || kind == "clear_screen") return;
    const Json source = sources_list()[static_cast<size_t>(effect.value("source", 0))];
    const bool isIncluded = source.value("role", "") == "include";
    const std::string sign = isIncluded ? "| " + terminal_text(source.value("name", "")) : "|";
    real_output_put(show_beside(effect.value("line", 0), show_effect(effect), sign));
}

// ---- the run ----

// The mapping program: beside this one where it was built, in the folder of commands where it was installed.
static std::string map_folder() {
    for (const std::string &folder : {own_folder(), own_folder() + "/" COMMANDS_FROM_PROGRAMS})
        if (access((folder + "/map").c_str(), X_OK) == 0) return folder;
    return "";
}

static RunResult run_with(const RunOptions &options, const Login &login, Secret *password, OutputRelay *relay) {
    RunEnvironment environment;
    environment.lendPathFolder(map_folder());
    environment.lend("QRT_TREE", login.tree());
    environment.lend("QRT_CONTEXT", login.container());
    Options forScripts = options.login;
    forScripts.user = login.nameForScripts(options.login.user);
    recorder_notice = options.trace ? show_in_output : count_mistake;
    recorder_start(Recording::act, nullptr);
    running().hidesReports = true;
    const RunResult result = run_scripts(forScripts, login.tree(), password, relay);
    recorder_turn_off();
    environment.takeBack();
    return result;
}

// As the programs that a lost reader ends by the signal.
[[noreturn]] static void end_without_reader() {
    signal(SIGPIPE, SIG_DFL);
    kill(getpid(), SIGPIPE);
    _exit(plan_failed);
}

int run_main(int argc, char **argv) {
    failure_program = "qrtscript run";
    output_relay_interrupted = exit_interrupted;
    RunOptions options;
    parse(argc, argv, &options);
    input_script_check(options.login.loginScript);
    password_input_check(options.login.passwordDescriptor, *options.login.loginScript);
    if (options.login.passwordDescriptor >= 0) password_require_open(options.login.passwordDescriptor);
    OutputRelay relay;
    const WaitingNotice waiting;
    Login login(options.login);
    private_memory_begin();
    Secret password = password_dialog_log_in(&options.login, &login);
    if (!login.sharesPassword()) password.wipe();
    const RunResult result = run_with(options, login, &password, &relay);
    if (result.outputError == EPIPE) end_without_reader();
    if (result.outputError != 0) throw Failure(exit_output, strerror(result.outputError));
    return result.status != 0 || mistakes != 0 ? plan_mistakes : plan_clean;
}
