#include "tools/qrtscript/plan/options.h"

#include <argp.h>
#include <cstring>
#include <new>

#include "platform/catalogue.h"
#include "platform/terminal_text.h"
#include "tools/qrtscript/plan/login_options.h"

namespace {

enum Key : int {
    key_user = 'u',
    key_as = 0x100,
    key_password_descriptor,
    key_as_of,
    key_environment,
    key_profile_script,
    key_difference,
    key_all_users,
    key_summary,
    key_container,
    key_format
};

} // namespace

static const char *const before_options = catalogue_mark(
    "Show what the login scripts would do for a user, without doing it: the container's, the profile's "
    "and the user's, or SCRIPT in the place of the container's and the user's (\"-\": standard input).");
static const char *const after_options = catalogue_mark(
    "No program is run, no drive is mapped, no variable is left set, and neither the directory nor a server is "
    "changed; "
    "nobody logs in as the user, who need not ever have logged in. Values are read with the rights of --as, or "
    "anonymously: the user may see others.\n"
    "\n"
    "Exit status:\n"
    "  0  planned; the scripts have no mistakes for the user\n"
    "  1  planned; the scripts have mistakes for the user\n"
    "  2  could not plan, or the output could not be written");

static const argp_option option_table[] = {
    {"user", key_user, catalogue_mark("USER"), 0, catalogue_mark("Plan the login of USER, named as to qrtlogin"), 0},
    {"as", key_as, catalogue_mark("ADMIN"), 0, catalogue_mark("Read the directory as ADMIN (default: without a login)"),
     0},
    {"password-fd", key_password_descriptor, catalogue_mark("N"), 0,
     catalogue_mark("Read the password of ADMIN from file descriptor N (first line only) instead of asking"), 0},
    {"as-of", key_as_of, catalogue_mark("TIME"), 0,
     catalogue_mark("Plan a login at TIME, \"2026-03-05 09:05\" or \"09:05\" in local time (default: now)"), 1},
    {"env", key_environment, catalogue_mark("FILE"), 0,
     catalogue_mark("Begin with the environment of FILE, lines of NAME=value (default: a bare one, which is shown)"),
     1},
    {"profile-script", key_profile_script, catalogue_mark("FILE"), 0,
     catalogue_mark("Plan the local FILE instead of the profile script"), 1},
    {"diff", key_difference, catalogue_mark("OTHERSCRIPT"), 0,
     catalogue_mark("Show what changes in the effects when OTHERSCRIPT takes the place of SCRIPT"), 2},
    {"all-users", key_all_users, nullptr, 0, catalogue_mark("Plan the logins of all users; only with --summary"), 2},
    {"summary", key_summary, nullptr, 0,
     catalogue_mark("Show which users would see mistakes, and what each group gets"), 2},
    {"container", key_container, catalogue_mark("CONTAINER"), 0,
     catalogue_mark("With --all-users: only the users in CONTAINER and below"), 2},
    {"format", key_format, catalogue_mark("FORMAT"), 0, catalogue_mark("text (default) or json"), 2},
    {nullptr, 0, nullptr, 0, nullptr, 0}};

static void set_format(const char *text, PlanOptions *options, argp_state *state) {
    options->json = strcmp(text, "json") == 0;
    if (!options->json && strcmp(text, "text") != 0)
        argp_error(state, catalogue_text("--format takes text or json, not \"%s\""), terminal_text(text).c_str());
}

static void set_script(const char *text, PlanOptions *options, argp_state *state) {
    if (options->script)
        argp_error(state, catalogue_text("extra script \"%s\": only one script can be given"),
                   terminal_text(text).c_str());
    options->script = text;
}

namespace {

struct Parsing {
    PlanOptions *options;
    LoginTarget target;
};

} // namespace

static void check(const PlanOptions &options, argp_state *state) {
    if (options.allUsers && options.user) argp_error(state, catalogue_text("--all-users takes no --user"));
    if (!options.allUsers && !options.user) argp_error(state, catalogue_text("no user given"));
    if (options.user && options.user->empty()) argp_error(state, catalogue_text("no user given"));
    if (options.allUsers != options.summary)
        argp_error(state, catalogue_text("--all-users and --summary belong together"));
    if (options.container && !options.allUsers) argp_error(state, catalogue_text("--container needs --all-users"));
    if (options.otherScript && options.allUsers) argp_error(state, catalogue_text("--diff needs --user"));
    int inputs = 0;
    for (const auto &script : {options.script, options.profileScript, options.otherScript}) inputs += script == "-";
    if (inputs > 1) argp_error(state, catalogue_text("only one of the scripts can come from standard input"));
    if (options.passwordDescriptor >= 0 && !options.as) argp_error(state, catalogue_text("--password-fd needs --as"));
}

static error_t parse_one(int key, char *text, argp_state *state) {
    auto *parsing = static_cast<Parsing *>(state->input);
    PlanOptions *options = parsing->options;
    switch (key) {
        case ARGP_KEY_INIT:
            state->child_inputs[0] = &parsing->target;
            break;
        case key_user:
            options->user = text;
            break;
        case key_as:
            options->as = text;
            break;
        case key_password_descriptor:
            options->passwordDescriptor = login_options_number(text, "password-fd", state);
            break;
        case key_as_of:
            options->asOf = text;
            break;
        case key_environment:
            options->environmentFile = text;
            break;
        case key_profile_script:
            options->profileScript = text;
            break;
        case key_difference:
            options->otherScript = text;
            break;
        case key_all_users:
            options->allUsers = true;
            break;
        case key_summary:
            options->summary = true;
            break;
        case key_container:
            options->container = text;
            break;
        case key_format:
            set_format(text, options, state);
            break;
        case ARGP_KEY_ARG:
            set_script(text, options, state);
            break;
        case ARGP_KEY_END:
            check(*options, state);
            break;
        default:
            return ARGP_ERR_UNKNOWN;
    }
    return 0;
}

void plan_options_parse(int argc, char **argv, PlanOptions *options) {
    const TranslationGuard guard; // for argp's own messages
    argp_err_exit_status = plan_failed;
    textdomain(catalogue_domain);
    const char *operands = catalogue_mark("--user USER [SCRIPT]\n--all-users --summary [SCRIPT]");
    const std::string texts = std::string(catalogue_text(before_options)) + '\v' + catalogue_text(after_options);
    const argp parser = {option_table, parse_one, operands, texts.c_str(), login_options, nullptr, catalogue_domain};
    Parsing parsing = {options, {&options->tree, &options->context, &options->server, &options->variables}};
    if (argp_parse(&parser, argc, argv, 0, nullptr, &parsing) != 0) throw std::bad_alloc();
}
