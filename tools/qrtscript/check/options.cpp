#include "tools/qrtscript/check/options.h"

#include <argp.h>
#include <unistd.h>
#include <algorithm>
#include <new>

#include "platform/catalogue.h"
#include "platform/terminal_text.h"
#include "tools/qrtscript/login_as.h"

enum : int {
    baseline_key = 0x100,
    write_baseline_key,
    colour_key,
    diff_key,
    fix_key,
    no_ignore_key,
    as_key,
    password_key,
    for_object_key
};

static const argp_option option_table[] = {
    {"severity", 's', catalogue_mark("LEVEL"), 0,
     catalogue_mark("Report findings of this severity and above: style (the default), warning, error"), 0},
    {"format", 'f', catalogue_mark("FORMAT"), 0,
     catalogue_mark("Write the report as text (the default), gcc, json, sarif, github"), 0},
    {"color", colour_key, catalogue_mark("WHEN"), OPTION_ARG_OPTIONAL,
     catalogue_mark("Write text in colour: auto (the default), always, never"), 0},
    {"no-ignore", no_ignore_key, nullptr, 0,
     catalogue_mark("Pay no heed to directives and .qrtscriptrc: for scripts that are not trusted"), 0},
    {"baseline", baseline_key, catalogue_mark("FILE"), 0, catalogue_mark("Report no finding that FILE lists"), 0},
    {"write-baseline", write_baseline_key, catalogue_mark("FILE"), 0,
     catalogue_mark("Write the findings to FILE, for --baseline, and report none"), 0},
    {"fix", fix_key, nullptr, 0, catalogue_mark("Put right in the files what can be, and report the rest"), 0},
    {"diff", diff_key, nullptr, 0, catalogue_mark("Show what --fix would change, instead of the findings"), 0},
    {"directory", 'd', nullptr, 0, catalogue_mark("Look up the names of objects, groups, servers and attributes"), 0},
    {"tree", 't', catalogue_mark("TREE"), 0,
     catalogue_mark("Look them up in TREE (default: the configured default tree)"), 0},
    {"context", 'c', catalogue_mark("CONTEXT"), 0,
     catalogue_mark("Names without a leading period are in CONTEXT, for example sales.acme"), 0},
    {"user", 'u', catalogue_mark("USER"), 0, catalogue_mark("They are in the container of USER"), 0},
    {"as", as_key, catalogue_mark("ADMIN"), 0, catalogue_mark("Read the directory as ADMIN (default: without a login)"),
     0},
    {"password-fd", password_key, catalogue_mark("N"), 0,
     catalogue_mark("Read the password of ADMIN from file descriptor N (first line only) instead of asking"), 0},
    {"for-object", for_object_key, catalogue_mark("NAME"), OPTION_ARG_OPTIONAL,
     catalogue_mark("FILE is to be an object's script, which is read with one more line end; the report calls it NAME "
                    "(default: FILE)"),
     0},
    {nullptr, 0, nullptr, 0, nullptr, 0},
};

static const char *const before_options = catalogue_mark("Report every mistake and trap in login scripts.");
static const char *const after_options = catalogue_mark(
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

// The value that an argument names.
template <typename Value>
static Value named(std::optional<Value> found, const std::string &problem, argp_state *state) {
    if (!found) argp_error(state, "%s", terminal_text(problem).c_str());
    return *found;
}

static void check_together(const CheckOptions &options, argp_state *state) {
    const bool isStandardInput = std::count(options.inputs.begin(), options.inputs.end(), "-") > 0;
    if (options.fix && !options.diff && isStandardInput)
        argp_error(state, "%s", catalogue_text("standard input cannot be fixed"));
    if (options.directory.passwordDescriptor >= 0 && !options.directory.as)
        argp_error(state, catalogue_text("--password-fd needs --as"));
    if (options.directory.passwordDescriptor == STDIN_FILENO && isStandardInput)
        argp_error(state, catalogue_text("the password and the script cannot both come from standard input"));
    if (options.forObject && (options.fix || options.diff))
        argp_error(state, "%s", catalogue_text("--for-object goes with neither --fix nor --diff"));
    if (!options.objectName.empty() && options.inputs.size() > 1)
        argp_error(state, "%s", catalogue_text("--for-object takes a name for one script only"));
    if (!options.writeBaseline.empty() && (options.fix || options.diff || !options.baseline.empty()))
        argp_error(state, "%s", catalogue_text("--write-baseline goes with neither --baseline, --fix nor --diff"));
}

static int descriptor_of(const char *text, argp_state *state) {
    const int number = login_descriptor(text);
    if (number < 0)
        argp_error(state, catalogue_text("--password-fd takes a number, not \"%s\""), terminal_text(text).c_str());
    return number;
}

static error_t take_option(int key, char *argument, argp_state *state) {
    auto *options = static_cast<CheckOptions *>(state->input);
    switch (key) {
        case 's':
            options->severity =
                named(severity_named(argument), catalogue_format("no such severity: %s", argument), state);
            return 0;
        case 'f':
            options->format =
                named(report_format_named(argument), catalogue_format("no such format: %s", argument), state);
            return 0;
        case colour_key:
            if (argument == nullptr) argument = const_cast<char *>("always");
            options->colour =
                named(colour_when_named(argument), catalogue_format("no such colour: %s", argument), state);
            return 0;
        case no_ignore_key:
            options->noIgnore = true;
            return 0;
        case baseline_key:
            options->baseline = argument;
            return 0;
        case write_baseline_key:
            options->writeBaseline = argument;
            return 0;
        case fix_key:
            options->fix = true;
            return 0;
        case diff_key:
            options->diff = true;
            return 0;
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
        case as_key:
            options->hasDirectory = true;
            options->directory.as = argument;
            return 0;
        case password_key:
            options->directory.passwordDescriptor = descriptor_of(argument, state);
            return 0;
        case for_object_key:
            options->forObject = true;
            if (argument != nullptr) options->objectName = argument;
            return 0;
        case ARGP_KEY_ARG:
            options->inputs.emplace_back(argument);
            return 0;
        case ARGP_KEY_NO_ARGS:
            argp_error(state, "%s", catalogue_text("no script given"));
            return 0;
        case ARGP_KEY_SUCCESS:
            check_together(*options, state);
            return 0;
        default:
            return ARGP_ERR_UNKNOWN;
    }
}

CheckOptions check_options(int argc, char **argv) {
    CheckOptions options;
    const std::string texts = std::string(catalogue_text(before_options)) + '\v' + catalogue_text(after_options);
    const argp parser = {option_table, take_option, catalogue_mark("FILE..."), texts.c_str(),
                         nullptr,      nullptr,     catalogue_domain};
    argp_err_exit_status = check_impossible;
    if (argp_parse(&parser, argc, argv, 0, nullptr, &options) != 0) throw std::bad_alloc();
    return options;
}
