// The options that say whose login it is, of "qrtscript plan" and "qrtscript run" alike.
#ifndef TOOLS_QRTSCRIPT_PLAN_LOGIN_OPTIONS_H
#define TOOLS_QRTSCRIPT_PLAN_LOGIN_OPTIONS_H

#include <argp.h>

#include "tools/qrtlogin/options.h"

// Where --tree, --context, --server and --var are put.
struct LoginTarget {
    std::optional<std::string> *tree, *context, *server;
    std::array<std::optional<std::string>, options_variables> *variables;
};

// A parser's children: these options, whose input, a LoginTarget, the parser gives them at ARGP_KEY_INIT.
extern const argp_child login_options[];

// The number, not negative, that an option takes. Reports another argument.
int login_options_number(const char *text, const char *option, argp_state *state);

#endif
