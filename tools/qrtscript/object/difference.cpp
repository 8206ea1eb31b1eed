#include "tools/qrtscript/object/difference.h"

#include <unistd.h>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <system_error>

#include "platform/catalogue.h"
#include "platform/terminal_text.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtscript/object/program.h"

std::string difference(const NamedText &before, const NamedText &after) try {
    return unified_diff(before, after);
} catch (const std::system_error &) {
    throw Failure(exit_system, catalogue_text("cannot run diff (package diffutils)"));
}

// A carriage return shows as well: it may be all that has changed.
static bool is_hidden(const TerminalLetter &letter) {
    return terminal_obeys(letter) && letter.code != '\n' && letter.code != '\t';
}

static const char *colour_of(std::string_view line) {
    if (line.substr(0, 3) == "---" || line.substr(0, 3) == "+++") return "\033[1m";
    if (line.substr(0, 2) == "@@") return "\033[36m";
    return line.substr(0, 1) == "-" ? "\033[31m" : line.substr(0, 1) == "+" ? "\033[32m" : "";
}

void difference_show(const std::string &text) {
    if (isatty(STDOUT_FILENO) == 0) {
        fwrite(text.data(), 1, text.size(), stdout);
        return;
    }
    const char *wish = getenv("NO_COLOR");
    const bool isColoured = wish == nullptr || *wish == '\0';
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find('\n', start), text.size());
        const std::string_view line = std::string_view(text).substr(start, end - start);
        const std::string colour = isColoured ? colour_of(line) : "";
        printf("%s%s%s\n", colour.c_str(), terminal_text(line, is_hidden).c_str(), colour.empty() ? "" : "\033[m");
        start = end + 1;
    }
}

std::optional<Merged> merge(const NamedText &mine, const NamedText &base, const NamedText &theirs,
                            const PrivateFolder &folder) {
    constexpr int most_conflicts = 127; // git says how many there are
    const std::string first = folder.write("mine", mine.text), second = folder.write("base", base.text),
                      third = folder.write("theirs", theirs.text);
    ProgramRun run = program_run(
        {"git", "merge-file", "-p", "-L", mine.label, "-L", base.label, "-L", theirs.label, first, second, third},
        ProgramOutput::taken);
    const bool byGit = run.status < most_conflicts;
    if (!byGit) {
        run = program_run(
            {"diff3", "-a", "-m", "-L", mine.label, "-L", base.label, "-L", theirs.label, first, second, third},
            ProgramOutput::taken);
    }
    for (const char *name : {"mine", "base", "theirs"}) folder.remove(name);
    if (!byGit && run.status > 1) return std::nullopt;
    return Merged{run.output, run.status != 0};
}
