// qrtscript-check: the subcommands that read scripts without running them.

#include <unistd.h>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <optional>
#include <stdexcept>

#include "platform/catalogue.h"
#include "platform/terminal_text.h"
#include "tools/own_folder.h"
#include "tools/program_start.h"
#include "tools/qrtscript/check/fmt.h"
#include "tools/qrtscript/check/lsp.h"
#include "tools/qrtscript/check/options.h"
#include "tools/qrtscript/check/report.h"
#include "tools/qrtscript/check/rules.h"
#include "tools/qrtscript/check/scripts.h"

static CheckedScript checked(const std::string &name, const std::string &text, Severity least,
                             const CheckDirectory *directory) {
    const Syntax syntax = syntax_read(text);
    Findings findings = check_script(syntax, directory, name);
    CheckedScript script = {name, syntax.text, without_secrets(syntax.text, findings), {}};
    for (Finding &finding : findings)
        if (finding.severity >= least) script.findings.push_back(std::move(finding));
    return script;
}

// What is no file may be an object, whose script the directory has.
static std::optional<std::string> script_of_object(const std::string &input, const CheckDirectory *directory) {
    if (directory == nullptr || input == "-" || access(input.c_str(), F_OK) == 0) return {};
    return directory->scriptOf(input);
}

// False when something could not be read, which is reported.
static bool check_input(const std::string &input, Severity least, const CheckDirectory *directory,
                        std::vector<CheckedScript> *scripts) {
    try {
        if (const std::optional<std::string> text = script_of_object(input, directory)) {
            scripts->push_back(checked(input, *text, least, directory));
            return true;
        }
        for (const std::string &name : script_files(input))
            scripts->push_back(checked(name, script_text(name), least, directory));
        return true;
    } catch (const std::runtime_error &problem) {
        fprintf(stderr, "qrtscript check: %s\n", terminal_text(problem.what()).c_str());
        return false;
    }
}

static int check(int argc, char **argv) {
    const CheckOptions options = check_options(argc, argv);
    std::optional<CheckDirectory> directory;
    if (options.hasDirectory) directory.emplace(options.directory);
    std::vector<CheckedScript> scripts;
    bool complete = true;
    for (const std::string &input : options.inputs)
        if (!check_input(input, options.severity, directory ? &*directory : nullptr, &scripts)) complete = false;
    const bool colour = isatty(STDOUT_FILENO) != 0 && getenv("NO_COLOR") == nullptr;
    fputs(report_text(scripts, colour).c_str(), stdout);
    if (!complete) return check_impossible;
    for (const CheckedScript &script : scripts)
        if (!script.findings.empty()) return check_found;
    return check_clean;
}

namespace {

// A subcommand, and what it is called in messages.
struct Part {
    const char *name;
    char title[24];
    int (*run)(int argc, char **argv);
};

} // namespace

static Part parts[] = {
    {"check", "qrtscript check", check},
    {"fmt", "qrtscript fmt", fmt_run},
    {"lsp", "qrtscript lsp", lsp_run},
};

static int check_main(int argc, char **argv) {
    if (!program_may_start("qrtscript")) return check_impossible;
    setlocale(LC_ALL, "");
    own_catalogues_bind();
    for (Part &part : parts) {
        if (argc < 2 || strcmp(argv[1], part.name) != 0) continue;
        program_check_output_at_exit(part.title, check_impossible);
        argv[1] = part.title;
        return part.run(argc - 1, argv + 1);
    }
    fputs(catalogue_text("qrtscript-check: call it as \"qrtscript check\"\n"), stderr);
    return check_impossible;
}

int main(int argc, char **argv) try { return check_main(argc, argv); } catch (const std::exception &problem) {
    fprintf(stderr, "%s: %s\n", argc > 1 ? argv[1] : "qrtscript", terminal_text(problem.what()).c_str());
    return check_impossible;
}
