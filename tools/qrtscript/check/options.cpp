#include "tools/qrtscript/check/options.h"

#include <argp.h>
#include <new>

#include "platform/catalogue.h"

static const argp_option option_table[] = {
    {"severity", 's', catalogue_mark("LEVEL"), 0,
     catalogue_mark("Report findings of this severity and above: style (the default), warning, error"), 0},
    {"directory", 'd', nullptr, 0, catalogue_mark("Look up the names of objects, groups, servers and attributes"), 0},
    {"tree", 't', catalogue_mark("TREE"), 0,
     catalogue_mark("Look them up in TREE (default: the configured default tree)"), 0},
    {"context", 'c', catalogue_mark("CONTEXT"), 0,
     catalogue_mark("Names without a leading period are in CONTEXT, for example sales.acme"), 0},
    {"user", 'u', catalogue_mark("USER"), 0, catalogue_mark("They are in the container of USER"), 0},
    {nullptr, 0, nullptr, 0, nullptr, 0},
};

static const char *const description = catalogue_mark(
    "Report every mistake and trap in login scripts.\v"
    "FILE is a script, a folder whose *.qrt files are checked, - for standard input, or, with --directory or another "
    "of its options, the name of an object that has a script.\n"
    "\n"
    "A finding of severity \"error\" is what a login reports when it reads the script from its first line to its "
    "last.\n"
    "\n"
    "Exit status:\n"
    "  0  nothing was found\n"
    "  1  something of the severity of --severity or above was found\n"
    "  2  something could not be checked");

static error_t take_option(int key, char *argument, argp_state *state) {
    auto *options = static_cast<CheckOptions *>(state->input);
    switch (key) {
        case 's': {
            const std::optional<Severity> severity = severity_named(argument);
            if (!severity) argp_error(state, catalogue_text("no such severity: %s"), argument);
            options->severity = *severity;
            return 0;
        }
        case 'd':
            options->hasDirectory = true;
            return 0;
        case 't':
            options->hasDirectory = true;
            options->directory.tree = argument;
            return 0;
        case 'c':
            options->hasDirectory = true;
            options->directory.context = argument;
            return 0;
        case 'u':
            options->hasDirectory = true;
            options->directory.user = argument;
            return 0;
        case ARGP_KEY_ARG:
            options->inputs.emplace_back(argument);
            return 0;
        case ARGP_KEY_NO_ARGS:
            argp_error(state, catalogue_text("no script given"));
            return 0;
        default:
            return ARGP_ERR_UNKNOWN;
    }
}

CheckOptions check_options(int argc, char **argv) {
    CheckOptions options;
    const argp parser = {option_table, take_option, catalogue_mark("FILE..."), description,
                         nullptr,      nullptr,     catalogue_domain};
    argp_err_exit_status = check_impossible;
    if (argp_parse(&parser, argc, argv, 0, nullptr, &options) != 0) throw std::bad_alloc();
    return options;
}
