// qrtscript-check: the subcommands that read scripts without running them.

#include <unistd.h>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <system_error>

#include "platform/catalogue.h"
#include "platform/terminal_text.h"
#include "tools/own_folder.h"
#include "tools/program_start.h"
#include "tools/qrtscript/check/options.h"
#include "tools/qrtscript/check/report.h"
#include "tools/qrtscript/check/rules.h"
#include "tools/qrtscript/check/scripts.h"

static CheckedScript checked(const std::string &name, Severity least) {
    const Syntax syntax = syntax_read(script_text(name));
    Findings findings = check_script(syntax);
    CheckedScript script = {name, syntax.text, without_secrets(syntax.text, findings), {}};
    for (Finding &finding : findings)
        if (finding.severity >= least) script.findings.push_back(std::move(finding));
    return script;
}

// False when something could not be read, which is reported.
static bool check_input(const std::string &input, Severity least, std::vector<CheckedScript> *scripts) {
    try {
        for (const std::string &name : script_files(input)) scripts->push_back(checked(name, least));
        return true;
    } catch (const std::system_error &problem) {
        fprintf(stderr, "qrtscript check: %s\n", terminal_text(problem.what()).c_str());
        return false;
    }
}

static int check(int argc, char **argv) {
    const CheckOptions options = check_options(argc, argv);
    std::vector<CheckedScript> scripts;
    bool complete = true;
    for (const std::string &input : options.inputs)
        if (!check_input(input, options.severity, &scripts)) complete = false;
    const bool colour = isatty(STDOUT_FILENO) != 0 && getenv("NO_COLOR") == nullptr;
    fputs(report_text(scripts, colour).c_str(), stdout);
    if (!complete) return check_impossible;
    for (const CheckedScript &script : scripts)
        if (!script.findings.empty()) return check_found;
    return check_clean;
}

static int check_main(int argc, char **argv) {
    if (!program_may_start("qrtscript")) return check_impossible;
    setlocale(LC_ALL, "");
    own_catalogues_bind();
    program_check_output_at_exit("qrtscript check", check_impossible);
    if (argc > 1 && strcmp(argv[1], "check") == 0) {
        char name[] = "qrtscript check";
        argv[1] = name;
        return check(argc - 1, argv + 1);
    }
    fputs(catalogue_text("qrtscript-check: call it as \"qrtscript check\"\n"), stderr);
    return check_impossible;
}

int main(int argc, char **argv) try { return check_main(argc, argv); } catch (const std::exception &problem) {
    fprintf(stderr, "qrtscript check: %s\n", terminal_text(problem.what()).c_str());
    return check_impossible;
}
