#include "tools/qrtlogin/options.h"

#include <argp.h>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>

#include "platform/catalogue.h"
#include "platform/terminal_text.h"
#include "tools/qrtlogin/failure.h"

namespace {

enum Key : int {
    key_tree = 't',
    key_context = 'c',
    key_server = 's',
    key_user = 'u',
    key_debug = 'd',
    key_profile_script = 0x100,
    key_login_script,
    key_variable,
    key_time_limit,
    key_password_descriptor,
    key_tries,
    key_change_password,
    key_gui,
    key_keep_window,
    key_raw_output,
    key_shell,
    key_print_environment,
    key_all_variables,
    key_logout
};

} // namespace

static const char *const before_options = catalogue_mark(
    "Log USER in to a directory tree and run the login scripts of the container, the profile and the user.");
static const char *const after_options = catalogue_mark(
    "The password is read from the terminal unless --password-fd is given, or the tree uses Kerberos tickets or the "
    "identity of a local socket's user instead. A user name is relative to --context; a name with a leading period "
    "is complete.\n"
    "\n"
    "After the scripts have run, their environment is passed to COMMAND or to the shell (--shell), or printed for "
    "eval: eval \"$(qrtlogin --print-environment USER)\". Without any of these, qrtlogin just exits.\n"
    "\n"
    "While the scripts run, PATH begins with the directory of qrtlogin if it contains the map program, and QRT_TREE "
    "and QRT_CONTEXT tell map where the user is logged in. All three are restored afterwards, unless a script set "
    "them.\n"
    "\n"
    "The interrupt key ends the scripts after BREAK ON. Otherwise it does so when it is pressed three times within two "
    "seconds; the programs of the scripts are ended too, and neither COMMAND nor the shell is started.\n"
    "\n"
    "Exit status: that of COMMAND or the shell once it has been started; otherwise\n"
    "  0   the scripts ran, or were interrupted after BREAK ON; errors in the\n"
    "      container's and the profile's script are only reported\n"
    "  1   a syntax error or a failed MAP in the user's script or in that of\n"
    "      --login-script, or out of memory or processes while the scripts ran\n"
    "  2   wrong password, no password, account locked, password expired or not\n"
    "      changed, or no accepted Kerberos ticket\n"
    "  3   the directory cannot be reached or read\n"
    "  4   no tree, or no such tree\n"
    "  5   no such user\n"
    "  64  usage error\n"
    "  66  a script file cannot be read; the user was not logged in\n"
    "  71  the system is out of memory, processes or file descriptors\n"
    "  74  the output cannot be written\n"
    "  124  the scripts were ended at the time limit\n"
    "  126, 127  COMMAND cannot be run, or was not found\n"
    "  130  the scripts were ended by the third interrupt, or cancelled in the\n"
    "      window");

static const argp_option option_table[] = {
    {"user", key_user, catalogue_mark("USER"), 0, catalogue_mark("Log in as USER (instead of the USER argument)"), 0},
    {"tree", key_tree, catalogue_mark("TREE"), 0,
     catalogue_mark("Log in to TREE (default: the tree of --server, or the configured default tree)"), 0},
    {"context", key_context, catalogue_mark("CONTEXT"), 0,
     catalogue_mark("Look up the user name in CONTEXT, for example sales.acme"), 0},
    {"server", key_server, catalogue_mark("SERVER"), 0, catalogue_mark("Use SERVER as the primary file server"), 0},
    {"password-fd", key_password_descriptor, catalogue_mark("N"), 0,
     catalogue_mark("Read the password from file descriptor N (first line only)"), 0},
    {"tries", key_tries, catalogue_mark("N"), 0,
     catalogue_mark("Ask up to N times for a password that was mistyped on the terminal (default: 3)"), 0},
    {"change-password", key_change_password, nullptr, 0,
     catalogue_mark("Change the password, and run no scripts; with --password-fd, the second line of N is the new one"),
     0},
    {"gui", key_gui, nullptr, 0,
     catalogue_mark("Show the login in a window: ask there for USER, if none is given, and for the password, and show "
                    "the scripts' progress, their output and a summary; without a display, everything is as without "
                    "this option"),
     0},
    {"keep-window", key_keep_window, nullptr, 0,
     catalogue_mark("With --gui, keep the window open after a login without mistakes"), 0},
    {"profile-script", key_profile_script, catalogue_mark("FILE"), 0,
     catalogue_mark("Run the local FILE instead of the profile script"), 1},
    {"login-script", key_login_script, catalogue_mark("FILE"), 0,
     catalogue_mark("Run the local FILE instead of the container and user scripts"), 1},
    {"var", key_variable, catalogue_mark("N=TEXT"), 0,
     catalogue_mark("Set script variable %N to TEXT, with N from 2 to 5; may be repeated"), 1},
    {"time-limit", key_time_limit, catalogue_mark("SECONDS"), 0,
     catalogue_mark("End the scripts and their programs after SECONDS, not counting the time in which a question waits "
                    "for an answer; 0 for no limit (default: no limit on a terminal, else 300)"),
     1},
    {"debug", key_debug, catalogue_mark("N"), 0,
     catalogue_mark("Set the trace level to N; traces, passwords typed for a script included, are written to standard "
                    "output. Without this option DEBUG in a script shows none"),
     1},
    {"raw-output", key_raw_output, nullptr, 0,
     catalogue_mark("On a terminal, show control characters that scripts write as they are, escape sequences included. "
                    "Without this option they are shown as \\x1B; what programs of a script write is never changed"),
     1},
    {"shell", key_shell, nullptr, 0, catalogue_mark("Run the shell named by $SHELL in the new environment"), 2},
    {"print-environment", key_print_environment, nullptr, 0,
     catalogue_mark(
         "Print the variables that the scripts changed, those whose names a shell accepts, in a form for eval; the "
         "scripts' output is written to standard error"),
     2},
    {"all-variables", key_all_variables, nullptr, 0,
     catalogue_mark(
         "Pass on or print also variables that make other programs run code, such as LD_PRELOAD or BASH_ENV; "
         "without this option these keep the values that they had before the scripts ran"),
     2},
    {"logout", key_logout, nullptr, 0,
     catalogue_mark("Instead of a login, remove the drives of the last one, except those that a program is using, and "
                    "the password that was kept for mounting them"),
     3},
    {nullptr, 0, nullptr, 0, nullptr, 0}};

// The whole of `text` as a number from `low` to `high`; anything else is wrong usage.
static int number_of(const char *text, int low, int high, const char *option, argp_state *state) {
    char *end = nullptr;
    errno = 0;
    long number = strtol(text, &end, 10);
    if (*text == '\0' || *end != '\0' || errno != 0 || number < low || number > high)
        argp_error(state, catalogue_text("--%1$s takes a number from %2$d to %3$d, not \"%4$s\""), option, low, high,
                   terminal_text(text).c_str());
    return static_cast<int>(number);
}

static void set_variable(const char *text, Options *options, argp_state *state) {
    int index = text[0] - '0' - options_first_variable;
    if (text[0] == '\0' || text[1] != '=' || index < 0 || index >= options_variables)
        argp_error(state, catalogue_text("--var takes N=TEXT with N from 2 to 5, not \"%s\""),
                   terminal_text(text).c_str());
    else
        options->variables[static_cast<size_t>(index)] = text + 2;
}

static void set_user(const char *text, Options *options, argp_state *state) {
    if (!options->user.empty())
        argp_error(state, catalogue_text("extra user \"%s\": only one user can be given"), terminal_text(text).c_str());
    options->user = text;
}

// What belongs together can be judged only when everything has been read.
static void check(const Options &options, argp_state *state) {
    if (options.logout) return;
    if (options.user.empty() && !options.gui) argp_error(state, catalogue_text("no user given"));
    if (options.keepWindow && !options.gui) argp_error(state, catalogue_text("--keep-window needs --gui"));
    if (static_cast<int>(options.command != nullptr) + static_cast<int>(options.shell) +
            static_cast<int>(options.printEnvironment) >
        1)
        argp_error(state, catalogue_text("COMMAND, --shell and --print-environment are mutually exclusive"));
    if (options.changePassword && options.handsOn())
        argp_error(state, catalogue_text("--change-password runs nothing: no COMMAND, --shell or --print-environment"));
}

static error_t parse_one(int key, char *text, argp_state *state) {
    Options *options = static_cast<Options *>(state->input);
    switch (key) {
        case key_tree:
            options->tree = text;
            break;
        case key_context:
            options->context = text;
            break;
        case key_server:
            options->server = text;
            break;
        case key_profile_script:
            options->profileScript = text;
            break;
        case key_login_script:
            options->loginScript = text;
            break;
        case key_variable:
            set_variable(text, options, state);
            break;
        case key_debug:
            options->debugLevel = number_of(text, 0, INT_MAX, "debug", state);
            break;
        case key_time_limit:
            options->timeLimit = number_of(text, 0, INT_MAX, "time-limit", state);
            break;
        case key_password_descriptor:
            options->passwordDescriptor = number_of(text, 0, INT_MAX, "password-fd", state);
            break;
        case key_tries:
            options->tries = number_of(text, 1, INT_MAX, "tries", state);
            break;
        case key_change_password:
            options->changePassword = true;
            break;
        case key_gui:
            options->gui = true;
            break;
        case key_keep_window:
            options->keepWindow = true;
            break;
        case key_raw_output:
            options->rawOutput = true;
            break;
        case key_shell:
            options->shell = true;
            break;
        case key_all_variables:
            options->allVariables = true;
            break;
        case key_print_environment:
            options->printEnvironment = true;
            break;
        case key_logout:
            options->logout = true;
            break;
        case key_user:
        case ARGP_KEY_ARG:
            set_user(text, options, state);
            break;
        case ARGP_KEY_END:
            check(*options, state);
            break;
        default:
            return ARGP_ERR_UNKNOWN;
    }
    return 0;
}

void options_parse(int argc, char **argv, Options *options) {
    // The command is cut off first: its words are not ours to judge, an option of its own least of all.
    int own = 1;
    while (own < argc && strcmp(argv[own], "--") != 0) ++own;
    bool empty = own == argc - 1;
    if (own < argc - 1) options->command = argv + own + 1;

    const TranslationGuard guard; // for argp's own messages
    argp_err_exit_status = exit_usage;
    // argp looks most of the help up in the current domain, whatever domain it is given, and what stands around the
    // options as one message.
    textdomain(catalogue_domain);
    const char *operands = catalogue_mark("[USER] [-- COMMAND [ARGS...]]");
    const std::string texts = std::string(catalogue_text(before_options)) + '\v' + catalogue_text(after_options);
    argp parser = {option_table, parse_one, operands, texts.c_str(), nullptr, nullptr, catalogue_domain};
    // It says itself what is wrong with the words and ends the program; what comes back is that memory has run out.
    if (argp_parse(&parser, own, argv, 0, nullptr, options) != 0) throw std::bad_alloc();
    if (options->logout && argc > 2)
        throw Failure(exit_usage, catalogue_text("--logout takes no other option or argument"));
    if (empty) throw Failure(exit_usage, catalogue_text("no command after --"));
}
