// map: lists, makes and removes drive mappings. A mapping is a symbolic link, named by its drive, to a folder below the
// mount point of the network file system. Login scripts run this program for their MAP and PATH statements.

#include <clocale>
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "platform/catalogue.h"
#include "tools/map/command.h"
#include "tools/map/map_run.h"
#include "tools/own_folder.h"
#include "tools/program_start.h"

static const char *const help_text = catalogue_mark(
    "Usage: map [ITEM[, ITEM]...]\n"
    "List, create and remove drive mappings.\n"
    "\n"
    "  map                        list the drives and the search path\n"
    "  map --status               show for each drive whether it is mounted, or why not\n"
    "  map --check ITEM...        say what would be refused, and map nothing\n"
    "  map H:                     show one drive\n"
    "  map H:=SRV1/USERS:home     map a drive; also map ROOT H:=...\n"
    "  map NEXT SRV1/SYS:         map the next free drive, starting at F:\n"
    "  map S1:=SRV1/SYS:public    set a search drive\n"
    "  map INS S1:=SRV1/SYS:apps  insert a search drive before S1:\n"
    "  map DEL H:                 remove a mapping\n"
    "  map DISPLAY OFF, ITEM...   no confirmations; ERRORS OFF: no error messages\n"
    "\n"
    "A target is SERVER/VOLUME:path, VOLUME:path on the default server, a volume or\n"
    "directory map object with an optional :path, or DRIVE:path. *1: is the first\n"
    "network drive, F:. DISPLAY and ERRORS apply to the rest of the line.\n"
    "\n"
    "Exit status: 0 on success, 1 if any ITEM failed or the output could not be\n"
    "written.\n");

static int map_main(int argc, char **argv) {
    if (!program_may_start("map")) return 1;
    // The C library's own messages are in catalogues too, and a script may have set LANGUAGE.
    const TranslationGuard guard;
    setlocale(LC_ALL, "");
    own_catalogues_bind();
    program_check_output_at_exit("map", 1);
    std::string line;
    for (int i = 1; i < argc; ++i) line += (i > 1 ? " " : "") + std::string(argv[i]);
    if (line == "--help") {
        fputs(catalogue_text(help_text), stdout);
        return 0;
    }
    if (line == "--version") {
        fputs(program_version("map").c_str(), stdout);
        return 0;
    }
    if (line == "--status") return MapRun().status();
    constexpr std::string_view check = "--check ";
    if (line.compare(0, check.size(), check) == 0) return map_check(command_parse(line.substr(check.size())));
    std::vector<Command> commands = command_parse(line);
    return MapRun().run(commands);
}

int main(int argc, char **argv) try { return map_main(argc, argv); } catch (const std::bad_alloc &) {
    fprintf(stderr, catalogue_text("map: %s\n"), catalogue_text("memory exhausted"));
    return 1;
} catch (const std::exception &problem) {
    fprintf(stderr, catalogue_text("map: %s\n"), problem.what());
    return 1;
}
