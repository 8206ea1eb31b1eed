#include "tools/qrtscript/object/options.h"

#include <argp.h>
#include <cstring>
#include <new>

#include "platform/catalogue.h"
#include "platform/terminal_text.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtscript/login_as.h"

namespace {

enum Key : int {
    key_tree = 't',
    key_context = 'c',
    key_yes = 'y',
    key_force = 'f',
    key_verbose = 'v',
    key_dry_run = 'n',
    key_as = 0x100,
    key_password_descriptor,
    key_backup,
    key_prune,
    key_remove
};

// What a subcommand takes.
struct Form {
    const char *name;
    const char *operands;
    size_t least, most;
    const char *keys; // of its options beside --tree and --context, as letters of option_letters
    const char *about;
};

struct Row {
    argp_option option;
    char letter; // in Form::keys; a blank for all
};

} // namespace

static const char *const exit_statuses = catalogue_mark(
    "A script is found under its object's name, relative to --context; a name with a leading period is complete. "
    "Without --as nobody logs in: that is enough to read what everybody may read, and for a tree in an LDIF file, "
    "where "
    "the rights of the file count.\n"
    "\n"
    "Exit status:\n"
    "  0   done; for diff: the scripts are the same\n"
    "  1   for diff: they differ; otherwise: the answer was no\n"
    "  2   wrong password, or no right to do it\n"
    "  3   the directory cannot be reached, read or written\n"
    "  4   no such tree\n"
    "  5   no such object, or it has no login script\n"
    "  6   a script has errors, or could not be checked\n"
    "  7   somebody else has changed the script meanwhile\n"
    "  8   the editor failed\n"
    "  64  usage error\n"
    "  66  a file cannot be read\n"
    "  71  the system is out of memory, processes or file descriptors\n"
    "  73  a file cannot be written\n"
    "  74  the output cannot be written");

static const Form forms[] = {
    {"get", catalogue_mark("OBJECT"), 1, 1, "v", catalogue_mark("Print the login script of OBJECT, byte for byte.")},
    {"put", catalogue_mark("OBJECT [FILE]"), 1, 2, "byfvd",
     catalogue_mark("Make FILE, or standard input for \"-\" or without FILE, the login script of OBJECT, if the script "
                    "has no errors and is still the one that was compared.")},
    {"edit", catalogue_mark("OBJECT"), 1, 1, "byfv",
     catalogue_mark("Edit the login script of OBJECT with $VISUAL, $EDITOR or vi, and put it back as \"put\" does.")},
    {"diff", catalogue_mark("OBJECT FILE"), 2, 2, "v",
     catalogue_mark("Show what \"put\" would change in the login script of OBJECT.")},
    {"log", catalogue_mark("OBJECT"), 1, 1, "bv",
     catalogue_mark(
         "Show when the login script of OBJECT was changed, as far as the directory and the folder of former "
         "scripts know.")},
    {"export", catalogue_mark("DIRECTORY"), 1, 1, "vpynF",
     catalogue_mark(
         "Write all login scripts of the tree to files in DIRECTORY, which is laid out as a folder of scripts "
         "(scripts in client.toml) is.")},
    {"import", catalogue_mark("DIRECTORY"), 1, 1, "byfvnp",
     catalogue_mark(
         "Make the files in DIRECTORY the login scripts of the objects that they are named after. Nothing is "
         "written when one of them has errors or no object.")},
};

static const Row rows[] = {
    {{"tree", key_tree, catalogue_mark("TREE"), 0, catalogue_mark("Use TREE (default: the configured default tree)"),
      0},
     ' '},
    {{"context", key_context, catalogue_mark("CONTEXT"), 0,
      catalogue_mark("Look up names in CONTEXT, for example sales.acme"), 0},
     ' '},
    {{"as", key_as, catalogue_mark("USER"), 0,
      catalogue_mark("Log in as USER: a name, or the DN of somebody who need not have an entry. The password is asked "
                     "for, unless the tree uses Kerberos tickets or the identity of a local socket's user"),
      0},
     ' '},
    {{"password-fd", key_password_descriptor, catalogue_mark("N"), 0,
      catalogue_mark("Read the password from file descriptor N (first line only)"), 0},
     ' '},
    {{"backup-dir", key_backup, catalogue_mark("DIR"), 0,
      catalogue_mark("Keep the former script in DIR, and commit it there if DIR is in a Git repository"), 1},
     'b'},
    {{"yes", key_yes, nullptr, 0, catalogue_mark("Ask nothing: write"), 1}, 'y'},
    {{"force", key_force, nullptr, 0, catalogue_mark("Write a script that has errors, too"), 1}, 'f'},
    {{"force", key_force, nullptr, 0,
      catalogue_mark("Let --prune remove all files, too, when the tree has no script for any of them"), 1},
     'F'},
    {{"remove", key_remove, nullptr, 0, catalogue_mark("Take the login script away; there is no FILE"), 1}, 'd'},
    {{"prune", key_prune, nullptr, 0,
      catalogue_mark(
          "Remove what is on the other side only: for import, scripts of the tree without a file; for export, "
          "files without a script"),
      1},
     'p'},
    {{"dry-run", key_dry_run, nullptr, 0, catalogue_mark("Only show what would be done"), 1}, 'n'},
    {{"verbose", key_verbose, nullptr, 0,
      catalogue_mark("Tell more: which object was found, where its script is kept, all differences"), 1},
     'v'},
};

static int descriptor_of(const char *text, argp_state *state) {
    const int number = login_descriptor(text);
    if (number < 0)
        argp_error(state, catalogue_text("--password-fd takes a number, not \"%s\""), terminal_text(text).c_str());
    return number;
}

static const Form &form_of(const char *name) {
    for (const Form &form : forms)
        if (strcmp(form.name, name) == 0) return form;
    throw Failure(exit_usage, catalogue_format("no such subcommand: %s", name));
}

namespace {

struct Parsing {
    const Form &form;
    ObjectOptions options;
};

} // namespace

// What belongs together can be judged only when everything has been read.
static void check(const Parsing &parsing, argp_state *state) {
    const ObjectOptions &options = parsing.options;
    const size_t count = options.operands.size();
    const size_t most = options.remove ? parsing.form.least : parsing.form.most;
    if (count < parsing.form.least) argp_error(state, catalogue_text("an argument is missing"));
    if (count > most)
        argp_error(state, catalogue_text("extra argument \"%s\""), terminal_text(options.operands[most]).c_str());
    if (options.passwordDescriptor >= 0 && !options.as) argp_error(state, catalogue_text("--password-fd needs --as"));
}

static error_t parse_one(int key, char *text, argp_state *state) {
    auto *parsing = static_cast<Parsing *>(state->input);
    ObjectOptions &options = parsing->options;
    switch (key) {
        case key_tree:
            options.tree = text;
            break;
        case key_context:
            options.context = text;
            break;
        case key_as:
            options.as = text;
            break;
        case key_password_descriptor:
            options.passwordDescriptor = descriptor_of(text, state);
            break;
        case key_backup:
            options.backup = text;
            break;
        case key_yes:
            options.yes = true;
            break;
        case key_force:
            options.force = true;
            break;
        case key_verbose:
            options.verbose = true;
            break;
        case key_dry_run:
            options.dryRun = true;
            break;
        case key_prune:
            options.prune = true;
            break;
        case key_remove:
            options.remove = true;
            break;
        case ARGP_KEY_ARG:
            options.operands.emplace_back(text);
            break;
        case ARGP_KEY_END:
            check(*parsing, state);
            break;
        default:
            return ARGP_ERR_UNKNOWN;
    }
    return 0;
}

ObjectOptions object_options(int argc, char **argv) {
    Parsing parsing = {form_of(argv[0]), {}};
    parsing.options.program = std::string("qrtscript ") + argv[0];
    argv[0] = parsing.options.program.data();
    std::vector<argp_option> table;
    for (const Row &row : rows)
        if (row.letter == ' ' || strchr(parsing.form.keys, row.letter) != nullptr) table.push_back(row.option);
    table.push_back({});
    const TranslationGuard guard; // for argp's own messages
    argp_err_exit_status = exit_usage;
    textdomain(catalogue_domain); // where argp looks most of the help up
    const std::string texts = std::string(catalogue_text(parsing.form.about)) + '\v' + catalogue_text(exit_statuses);
    argp parser = {table.data(), parse_one, parsing.form.operands, texts.c_str(), nullptr, nullptr, catalogue_domain};
    if (argp_parse(&parser, argc, argv, 0, nullptr, &parsing) != 0) throw std::bad_alloc();
    return parsing.options;
}
