// qrtscript-object: the subcommands that keep login scripts in the directory.

#include <clocale>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <string>

#include "platform/catalogue.h"
#include "platform/terminal_text.h"
#include "platform/treelogin.h"
#include "tools/own_folder.h"
#include "tools/program_start.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtlogin/private_memory.h"
#include "tools/qrtscript/object/commands.h"

static std::string program = "qrtscript";

namespace {

struct Command {
    const char *name;
    int (*run)(const ObjectOptions &options);
};

} // namespace

static constexpr Command commands[] = {
    {"get", command_get}, {"put", command_put},       {"edit", command_edit},     {"diff", command_diff},
    {"log", command_log}, {"export", command_export}, {"import", command_import},
};

static int object_main(int argc, char **argv) {
    if (!program_may_start("qrtscript")) return exit_usage;
    setlocale(LC_ALL, "");
    own_catalogues_bind();
    program_check_output_at_exit("qrtscript", exit_output);
    private_memory_begin();
    auxwindows = 0; // the person is at the terminal
    for (const Command &command : commands) {
        if (argc < 2 || strcmp(argv[1], command.name) != 0) continue;
        program += std::string(" ") + command.name;
        return command.run(object_options(argc - 1, argv + 1));
    }
    fputs(catalogue_text("qrtscript-object: call it as \"qrtscript get\", \"qrtscript put\" and so on\n"), stderr);
    return exit_usage;
}

static int report(const char *problem, int status) {
    fflush(stdout);
    fprintf(stderr, "%s: %s\n", program.c_str(), problem);
    return status;
}

int main(int argc, char **argv) try { return object_main(argc, argv); } catch (const Failure &failure) {
    return report(failure.what(), failure.status());
} catch (const std::bad_alloc &) {
    return report(catalogue_text("memory exhausted"), exit_system);
} catch (const std::exception &problem) {
    return report(terminal_text(problem.what()).c_str(), exit_system);
}
