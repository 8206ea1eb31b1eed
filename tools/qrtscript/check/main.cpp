// qrtscript-check: the subcommands that read scripts without running them.

#include <clocale>
#include <cstdio>
#include <cstring>
#include <exception>

#include "platform/catalogue.h"
#include "platform/terminal_text.h"
#include "tools/own_folder.h"
#include "tools/program_start.h"
#include "tools/qrtscript/check/check_command.h"
#include "tools/qrtscript/check/explain_command.h"
#include "tools/qrtscript/check/fmt.h"
#include "tools/qrtscript/check/lsp.h"
#include "tools/qrtscript/check/options.h"

namespace {

// A subcommand, and what it is called in messages.
struct Part {
    const char *name;
    char title[32];
    int (*run)(int argc, char **argv);
};

} // namespace

static Part parts[] = {
    {"check", "qrtscript check", check_command},
    {"explain-code", "qrtscript explain-code", explain_command},
    {"fmt", "qrtscript fmt", fmt_run},
    {"lsp", "qrtscript lsp", lsp_run},
};

static int check_main(int argc, char **argv) {
    if (!program_may_start("qrtscript")) return check_impossible;
    setlocale(LC_ALL, "");
    own_catalogues_bind();
    textdomain(catalogue_domain); // where argp looks most of the help up
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
