#include "tools/qrtlogin/options.h"

#include <argp.h>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>

#include "platform/catalogue.h"
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
    key_password_descriptor,
    key_shell,
    key_print_environment
};

const char *const before_options = catalogue_mark(
    "Logs USER in to a directory tree and runs the login scripts of the user, the container and the profile.");
const char *const after_options = catalogue_mark(
    "The password is asked for on the terminal unless --password-fd names a descriptor or the tree takes a Kerberos "
    "ticket or a local socket's word instead. A user name is relative to --context; with a leading period it is "
    "complete from the root.\n"
    "\n"
    "After the scripts the environment that they made is handed on: to COMMAND, to the shell of --shell, or as text "
    "for eval: eval \"$(qrtlogin --print-environment USER)\". With none of them qrtlogin just ends.\n"
    "\n"
    "While the scripts run, the folder of qrtlogin itself stands first in PATH if it holds the map program, and "
    "QRT_TREE and QRT_CONTEXT tell that program where the user is logged in. All three are put back afterwards, "
    "unless a script set them.\n"
    "\n"
    "Exit status: that of COMMAND or of the shell once it has been started; otherwise\n"
    "  0   the scripts ran\n"
    "  1   the user's script had a syntax error\n"
    "  2   wrong or no password, or the account is locked\n"
    "  3   the directory cannot be reached or its data cannot be read\n"
    "  4   no tree, or an unknown one\n"
    "  5   unknown user\n"
    "  64  wrong usage\n"
    "  126, 127  COMMAND cannot be run, or was not found");

const argp_option option_table[] = {
    {"user", key_user, catalogue_mark("USER"), 0, catalogue_mark("The user to log in, instead of the argument"), 0},
    {"tree", key_tree, catalogue_mark("TREE"), 0,
     catalogue_mark("The directory tree (default: the configuration's, or that of --server)"), 0},
    {"context", key_context, catalogue_mark("CONTEXT"), 0,
     catalogue_mark("Where the user's name is looked up, as in sales.acme"), 0},
    {"server", key_server, catalogue_mark("SERVER"), 0, catalogue_mark("The primary file server"), 0},
    {"password-fd", key_password_descriptor, catalogue_mark("N"), 0,
     catalogue_mark("Read the password from descriptor N, up to its first line end"), 0},
    {"profile-script", key_profile_script, catalogue_mark("FILE"), 0,
     catalogue_mark("A local file instead of the profile's script"), 1},
    {"login-script", key_login_script, catalogue_mark("FILE"), 0,
     catalogue_mark("A local file instead of the container's and the user's script"), 1},
    {"var", key_variable, catalogue_mark("N=TEXT"), 0,
     catalogue_mark("Set the script variable %N; N is 2 to 5; may be repeated"), 1},
    {"debug", key_debug, catalogue_mark("N"), 0,
     catalogue_mark("Trace level; the traces go to standard output, typed passwords too. Without it a script's DEBUG "
                    "shows none"),
     1},
    {"shell", key_shell, nullptr, 0, catalogue_mark("Run the shell that SHELL names in the new environment"), 2},
    {"print-environment", key_print_environment, nullptr, 0,
     catalogue_mark(
         "Print the variables that the scripts changed for eval; the scripts' output goes to standard error"),
     2},
    {nullptr, 0, nullptr, 0, nullptr, 0}};

// The whole of `text` as a number from `low` to `high`; anything else is wrong usage.
int number_of(const char *text, int low, int high, const char *option, argp_state *state) {
    char *end = nullptr;
    errno = 0;
    long number = strtol(text, &end, 10);
    if (*text == '\0' || *end != '\0' || errno != 0 || number < low || number > high)
        argp_error(state, catalogue_text("--%1$s takes a number from %2$d to %3$d, not \"%4$s\""), option, low, high,
                   text);
    return static_cast<int>(number);
}

void set_variable(const char *text, Options *options, argp_state *state) {
    int index = text[0] - '0' - options_first_variable;
    if (text[0] == '\0' || text[1] != '=' || index < 0 || index >= options_variables)
        argp_error(state, catalogue_text("--var takes N=TEXT with N from 2 to 5, not \"%s\""), text);
    else
        options->variables[static_cast<size_t>(index)] = text + 2;
}

void set_user(const char *text, Options *options, argp_state *state) {
    if (!options->user.empty()) argp_error(state, catalogue_text("one user only, not \"%s\" as well"), text);
    options->user = text;
}

// What belongs together can be judged only when everything has been read.
void check(const Options &options, argp_state *state) {
    if (options.user.empty()) argp_error(state, catalogue_text("no user given"));
    if ((options.command != nullptr) + options.shell + options.printEnvironment > 1)
        argp_error(state, catalogue_text("a command, --shell and --print-environment exclude each other"));
}

error_t parse_one(int key, char *text, argp_state *state) {
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
        case key_password_descriptor:
            options->passwordDescriptor = number_of(text, 0, INT_MAX, "password-fd", state);
            break;
        case key_shell:
            options->shell = true;
            break;
        case key_print_environment:
            options->printEnvironment = true;
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

} // namespace

void options_parse(int argc, char **argv, Options *options) {
    // The command is cut off first: its words are not ours to judge, an option of its own least of all.
    int own = 1;
    while (own < argc && strcmp(argv[own], "--") != 0) ++own;
    bool empty = own == argc - 1;
    if (own < argc - 1) options->command = argv + own + 1;

    const TranslationGuard guard; // for argp's own messages
    argp_err_exit_status = exit_usage;
    // argp looks most of the help up in the current domain, whatever domain it is told, and what stands around the
    // options as one message.
    textdomain(catalogue_domain);
    const char *operands = catalogue_mark("[USER] [-- COMMAND [ARGS...]]");
    const std::string texts = std::string(catalogue_text(before_options)) + '\v' + catalogue_text(after_options);
    argp parser = {option_table, parse_one, operands, texts.c_str(), nullptr, nullptr, catalogue_domain};
    // It says itself what is wrong with the words and ends the program; what comes back is that memory has run out.
    if (argp_parse(&parser, own, argv, 0, nullptr, options) != 0) throw std::bad_alloc();
    if (empty) throw Failure(exit_usage, catalogue_text("no command after --"));
}
