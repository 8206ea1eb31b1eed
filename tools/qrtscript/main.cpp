// qrtscript: the administrator's tool for login scripts. Each subcommand is done by a program of its own, because some
// link the language with other actions than the library's, which one program cannot.

#include <unistd.h>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "platform/common/nearest_name.h"
#include "platform/terminal_text.h"
#include "platform/translation.h"
#include "tools/own_folder.h"
#include "tools/program_start.h"
#include "tools/qrtscript/subcommands.h"

// Exit status when nothing could be done; 1 belongs to what the subcommands find.
constexpr int could_not_run = 2;

static void say_usage(FILE *to) {
    fputs(catalogue_text("Usage: qrtscript SUBCOMMAND [ARGUMENT...]\n"
                         "Check login scripts, see what they would do, and keep them in the directory.\n"
                         "\n"),
          to);
    for (const Subcommand &one : subcommands) fprintf(to, "  %-14s %s\n", one.name, catalogue_text(one.summary));
    fputs(catalogue_text("\n"
                         "\"qrtscript SUBCOMMAND --help\" tells what a subcommand takes.\n"),
          to);
}

static const Subcommand *subcommand_of(const char *name) {
    for (const Subcommand &one : subcommands)
        if (strcmp(one.name, name) == 0) return &one;
    return nullptr;
}

// Becomes the program, which stands beside this one where it was built, and in a folder of its own where it was
// installed. Returns the reason when it cannot.
static int become(const Subcommand &subcommand, char **argv) {
    for (const std::string &folder : {own_folder(), own_folder() + "/" PROGRAMS_FROM_PROGRAMS}) {
        execv((folder + "/" + subcommand.program).c_str(), argv);
        if (errno != ENOENT) break;
    }
    return errno;
}

static int refuse(const std::string &name) {
    std::vector<std::string_view> names;
    for (const Subcommand &one : subcommands) names.emplace_back(one.name);
    const std::string nearest(nearest_name(name, names));
    if (!name.empty())
        fprintf(stderr, "qrtscript: %s\n",
                terminal_text(nearest.empty() ? catalogue_format("no such subcommand: %s", name.c_str())
                                              : catalogue_format("no such subcommand: %1$s; did you mean %2$s?",
                                                                 name.c_str(), nearest.c_str()))
                    .c_str());
    if (nearest.empty()) say_usage(stderr);
    return could_not_run;
}

static int qrtscript_main(int argc, char **argv) {
    if (!program_may_start("qrtscript")) return could_not_run;
    setlocale(LC_ALL, "");
    own_catalogues_bind();
    program_check_output_at_exit("qrtscript", could_not_run);
    const std::string name = argc > 1 ? argv[1] : "";
    if (name == "--version" || name == "-V") {
        fputs(program_version("qrtscript").c_str(), stdout);
        return 0;
    }
    const bool isHelp = name == "--help" || name == "help";
    if (isHelp && argc < 3) {
        say_usage(stdout);
        return 0;
    }
    // "help check" is "check --help".
    char help[] = "--help";
    char *helped[] = {argv[0], isHelp ? argv[2] : nullptr, help, nullptr};
    char **words = isHelp ? helped : argv;
    const Subcommand *subcommand = argc > 1 ? subcommand_of(words[1]) : nullptr;
    if (subcommand == nullptr) return refuse(argc > 1 ? words[1] : "");
    program_restore_signals();
    const int error = become(*subcommand, words);
    fprintf(stderr, "qrtscript: %s\n",
            catalogue_format("cannot run %1$s: %2$s", subcommand->program, strerror(error)).c_str());
    return could_not_run;
}

int main(int argc, char **argv) try { return qrtscript_main(argc, argv); } catch (const std::exception &problem) {
    fprintf(stderr, "qrtscript: %s\n", problem.what());
    return could_not_run;
}
