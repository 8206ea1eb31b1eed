#include "tools/qrtscript/plan/login_options.h"

#include <climits>
#include <cstdlib>

#include "platform/catalogue.h"
#include "platform/terminal_text.h"

namespace {

enum Key : int { key_tree = 't', key_context = 'c', key_server = 's', key_variable = 0x200 };

} // namespace

static const argp_option option_table[] = {
    {"tree", key_tree, catalogue_mark("TREE"), 0,
     catalogue_mark("The directory tree (default: the configured default tree)"), 0},
    {"context", key_context, catalogue_mark("CONTEXT"), 0, catalogue_mark("Look up the user name in CONTEXT"), 0},
    {"server", key_server, catalogue_mark("SERVER"), 0, catalogue_mark("Use SERVER as the primary file server"), 0},
    {"var", key_variable, catalogue_mark("N=TEXT"), 0,
     catalogue_mark("Set script variable %N to TEXT, with N from 2 to 5; may be repeated"), 1},
    {nullptr, 0, nullptr, 0, nullptr, 0}};

static void set_variable(const char *text, const LoginTarget &target, argp_state *state) {
    const int index = text[0] - '0' - options_first_variable;
    if (text[0] == '\0' || text[1] != '=' || index < 0 || index >= options_variables)
        argp_error(state, catalogue_text("--var takes N=TEXT with N from 2 to 5, not \"%s\""),
                   terminal_text(text).c_str());
    else
        (*target.variables)[static_cast<size_t>(index)] = text + 2;
}

static error_t parse_one(int key, char *text, argp_state *state) {
    const auto *target = static_cast<const LoginTarget *>(state->input);
    switch (key) {
        case key_tree:
            *target->tree = text;
            break;
        case key_context:
            *target->context = text;
            break;
        case key_server:
            *target->server = text;
            break;
        case key_variable:
            set_variable(text, *target, state);
            break;
        default:
            return ARGP_ERR_UNKNOWN;
    }
    return 0;
}

static const argp parser = {option_table, parse_one, nullptr, nullptr, nullptr, nullptr, catalogue_domain};

const argp_child login_options[] = {{&parser, 0, nullptr, 0}, {nullptr, 0, nullptr, 0}};

int login_options_number(const char *text, const char *option, argp_state *state) {
    char *end = nullptr;
    errno = 0;
    const long number = strtol(text, &end, 10);
    if (*text == '\0' || *end != '\0' || errno != 0 || number < 0 || number > INT_MAX)
        argp_error(state, catalogue_text("--%1$s takes a number from %2$d to %3$d, not \"%4$s\""), option, 0, INT_MAX,
                   terminal_text(text).c_str());
    return static_cast<int>(number);
}
