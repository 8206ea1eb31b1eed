#include "tools/qrtscript/check/diff_output.h"

#include <unistd.h>
#include <algorithm>

#include "platform/terminal_text.h"

static bool is_hidden(const TerminalLetter &letter) {
    return terminal_obeys(letter) && letter.code != '\t';
}

static const char *colour_of(std::string_view line) {
    if (line.substr(0, 4) == "--- " || line.substr(0, 4) == "+++ ") return "\x1b[1m";
    if (line.substr(0, 2) == "@@") return "\x1b[36m";
    return line.substr(0, 1) == "-" ? "\x1b[31m" : line.substr(0, 1) == "+" ? "\x1b[32m" : "";
}

std::string diff_for_output(const std::string &diff, ColourWhen when) {
    const bool isTerminal = isatty(STDOUT_FILENO) != 0, inColour = colour_wanted(when);
    if (!isTerminal && !inColour) return diff;
    std::string shown;
    for (size_t start = 0; start < diff.size();) {
        const size_t end = std::min(diff.find('\n', start), diff.size());
        const std::string_view line = std::string_view(diff).substr(start, end - start);
        const std::string colour = inColour ? colour_of(line) : "";
        shown += colour + (isTerminal ? terminal_text(line, is_hidden) : std::string(line));
        shown += colour.empty() ? "\n" : "\x1b[0m\n";
        start = end + 1;
    }
    return shown;
}
