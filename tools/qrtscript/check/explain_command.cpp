#include "tools/qrtscript/check/explain_command.h"

#include <argp.h>
#include <cstdio>
#include <new>
#include <string>
#include <vector>

#include "platform/catalogue.h"
#include "platform/common/nearest_name.h"
#include "platform/terminal_text.h"
#include "tools/qrtscript/check/code_pages.h"
#include "tools/qrtscript/check/colour.h"
#include "tools/qrtscript/check/finding.h"
#include "tools/qrtscript/check/options.h"

namespace {

struct ExplainOptions {
    std::vector<std::string> codes;
    ColourWhen colour = ColourWhen::automatic;
};

} // namespace

enum : int { colour_key = 0x100 };

static const argp_option option_table[] = {
    {"color", colour_key, catalogue_mark("WHEN"), OPTION_ARG_OPTIONAL,
     catalogue_mark("Write headings in bold: auto (the default), always, never"), 0},
    {nullptr, 0, nullptr, 0, nullptr, 0},
};

static const char *const before_options = catalogue_mark(
    "Explain what \"qrtscript check\" finds: what a code means, why it matters, and how to put it right. Without CODE, "
    "list all codes.");
static const char *const after_options = catalogue_mark(
    "Exit status:\n"
    "  0  the pages were written\n"
    "  2  there is no such code");

static error_t take_option(int key, char *argument, argp_state *state) {
    auto *options = static_cast<ExplainOptions *>(state->input);
    switch (key) {
        case colour_key: {
            const auto when = colour_when_named(argument == nullptr ? "always" : argument);
            if (!when) argp_error(state, catalogue_text("no such colour: %s"), argument);
            options->colour = *when;
            return 0;
        }
        case ARGP_KEY_ARG:
            options->codes.emplace_back(argument);
            return 0;
        default:
            return ARGP_ERR_UNKNOWN;
    }
}

static void list_codes() {
    for (size_t place = 0; place < code_count; ++place)
        printf("%s  %-7s  %s\n", codes[place].name, severity_name(codes[place].severity),
               catalogue_text(codes[place].title));
}

static std::string without_prefix(const std::string &line) {
    return line.substr(line.find_first_not_of("# "));
}

// Markdown as a terminal shows it best: headings without their signs, what is fenced indented.
static std::string readable(std::string_view page, bool colour) {
    std::string text;
    bool fenced = false;
    while (!page.empty()) {
        const size_t end = page.find('\n');
        const std::string line(page.substr(0, end));
        page.remove_prefix(end == page.npos ? page.size() : end + 1);
        if (line.rfind("```", 0) == 0) {
            fenced = !fenced;
            continue;
        }
        if (fenced)
            text += "    " + line;
        else if (line.rfind('#', 0) == 0)
            text += colour ? "\x1b[1m" + without_prefix(line) + "\x1b[0m" : without_prefix(line);
        else
            text += line;
        text += '\n';
    }
    return text;
}

static bool explain(const std::string &name, bool colour) {
    const Code *code = code_named(name);
    if (code != nullptr) {
        fputs(readable(code_page(code->name), colour).c_str(), stdout);
        return true;
    }
    std::vector<std::string_view> names;
    for (size_t place = 0; place < code_count; ++place) names.push_back(codes[place].name);
    const std::string nearest(nearest_name(name, names));
    const std::string problem =
        nearest.empty() ? catalogue_format("there is no code %s", name.c_str())
                        : catalogue_format("there is no code %1$s; did you mean %2$s?", name.c_str(), nearest.c_str());
    fprintf(stderr, "qrtscript explain-code: %s\n", terminal_text(problem).c_str());
    return false;
}

int explain_command(int argc, char **argv) {
    ExplainOptions options;
    const std::string texts = std::string(catalogue_text(before_options)) + '\v' + catalogue_text(after_options);
    const argp parser = {option_table, take_option,     catalogue_mark("[CODE...]"), texts.c_str(), nullptr,
                         nullptr,      catalogue_domain};
    argp_err_exit_status = check_impossible;
    if (argp_parse(&parser, argc, argv, 0, nullptr, &options) != 0) throw std::bad_alloc();
    if (options.codes.empty()) list_codes();
    bool complete = true;
    for (size_t place = 0; place < options.codes.size(); ++place) {
        if (place > 0) putchar('\n');
        complete = explain(options.codes[place], colour_wanted(options.colour)) && complete;
    }
    return complete ? check_clean : check_impossible;
}
