#include "tools/qrtscript/check/fmt.h"

#include <argp.h>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <system_error>
#include <vector>

#include "platform/catalogue.h"
#include "platform/terminal_text.h"
#include "tools/qrtscript/check/diff_output.h"
#include "tools/qrtscript/check/format.h"
#include "tools/qrtscript/check/rewrite.h"
#include "tools/qrtscript/check/scripts.h"
#include "tools/qrtscript/unified_diff.h"

namespace {

struct FmtOptions {
    std::vector<std::string> inputs;
    FormatOptions style;
    bool check = false, diff = false, toOutput = false;
};

enum Outcome : int { formatted_already = 0, would_change = 1, impossible = 2 };

} // namespace

static const argp_option option_table[] = {
    {"check", 'c', nullptr, 0, catalogue_mark("Change nothing; name the files that are not formatted"), 0},
    {"diff", 'd', nullptr, 0, catalogue_mark("Change nothing; show what would change"), 0},
    {"stdout", 'o', nullptr, 0, catalogue_mark("Change nothing; write the formatted texts to standard output"), 0},
    {"indent", 'i', catalogue_mark("NUMBER"), 0, catalogue_mark("Blanks for each level (default: 2, at most 16)"), 0},
    {nullptr, 0, nullptr, 0, nullptr, 0},
};

static const char *const before_options = catalogue_mark(
    "Indent login scripts, write their keywords in capitals, end their lines in a line feed, and remove blanks that "
    "mean nothing. What a script does stays the same.");
static const char *const after_options = catalogue_mark(
    "FILE is a script, a folder whose *.qrt files are formatted, or - for standard input, which is written to standard "
    "output.\n"
    "\n"
    "Lines that cannot be read are left as they are.\n"
    "\n"
    "Exit status:\n"
    "  0  done; with --check, everything is formatted\n"
    "  1  with --check, something is not formatted\n"
    "  2  something could not be read or written");

static size_t indentation(const char *argument, argp_state *state) {
    size_t number = 0;
    const char *end = argument + strlen(argument);
    const auto [stop, error] = std::from_chars(argument, end, number);
    if (error != std::errc() || stop != end || number > format_widest_indentation)
        argp_error(state, catalogue_text("not a number from 0 to 16: %s"), argument);
    return number;
}

static error_t take_option(int key, char *argument, argp_state *state) {
    auto *options = static_cast<FmtOptions *>(state->input);
    switch (key) {
        case 'c':
            options->check = true;
            return 0;
        case 'd':
            options->diff = true;
            return 0;
        case 'o':
            options->toOutput = true;
            return 0;
        case 'i':
            options->style.indentation = indentation(argument, state);
            return 0;
        case ARGP_KEY_ARG:
            options->inputs.emplace_back(argument);
            return 0;
        case ARGP_KEY_NO_ARGS:
            argp_error(state, catalogue_text("no script given"));
            return 0;
        case ARGP_KEY_END:
            if (options->toOutput && (options->check || options->diff))
                argp_error(state, catalogue_text("--stdout goes with neither --check nor --diff"));
            return 0;
        default:
            return ARGP_ERR_UNKNOWN;
    }
}

static FmtOptions fmt_options(int argc, char **argv) {
    FmtOptions options;
    const std::string texts = std::string(catalogue_text(before_options)) + '\v' + catalogue_text(after_options);
    const argp parser = {option_table, take_option, catalogue_mark("FILE..."), texts.c_str(),
                         nullptr,      nullptr,     catalogue_domain};
    argp_err_exit_status = impossible;
    if (argp_parse(&parser, argc, argv, 0, nullptr, &options) != 0) throw std::bad_alloc();
    return options;
}

static void write_out(const std::string &text) {
    fwrite(text.data(), 1, text.size(), stdout);
}

static Outcome complain(const std::string &problem) {
    fprintf(stderr, "qrtscript fmt: %s\n", terminal_text(problem).c_str());
    return impossible;
}

static Outcome format_one(const FoundScript &file, const FmtOptions &options) {
    const std::string &name = file.name;
    const std::string before = script_text(file.path);
    const std::string after = script_formatted(syntax_read(before), options.style);
    const bool changes = before != after;
    if (options.check || options.diff) {
        if (options.diff)
            write_out(diff_for_output(unified_diff({name, before}, {name, after}), ColourWhen::automatic));
        if (options.check && !options.diff && changes) printf("%s\n", terminal_text(name).c_str());
        return options.check && changes ? would_change : formatted_already;
    }
    if (options.toOutput || name == "-")
        write_out(after);
    else if (changes && file.isLink)
        return complain(catalogue_format("%s: not written: it is a symbolic link in a folder", name.c_str()));
    else if (changes)
        file_rewrite(name, before, after);
    return formatted_already;
}

static Outcome format_input(const std::string &input, const FmtOptions &options) {
    Outcome worst = formatted_already;
    const auto attempt = [&](const FoundScript &file) {
        try {
            worst = std::max(worst, format_one(file, options));
        } catch (const std::runtime_error &problem) {
            worst = complain(problem.what());
        }
    };
    Problems problems;
    const auto files = options.check || options.diff || options.toOutput ? script_files : script_files_to_rewrite;
    const std::vector<FoundScript> all = files(
        input, [](const std::string &) { return false; }, &problems);
    for (const std::string &problem : problems) worst = complain(problem);
    for (const FoundScript &file : all) attempt(file);
    return worst;
}

int fmt_run(int argc, char **argv) {
    const FmtOptions options = fmt_options(argc, argv);
    Outcome worst = formatted_already;
    for (const std::string &input : options.inputs) worst = std::max(worst, format_input(input, options));
    return worst;
}
