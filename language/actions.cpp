#include "language/actions.h"

#include "base/output.h"

namespace {

struct FormatError {
    const char *keyword;
    const char *message;
};

} // namespace

static constexpr FormatError format_errors[] = {
    {"ATTACH", output_mark("Invalid attach command format\n")},
    {"BREAK", output_mark("Invalid break command format\n")},
    {"CHANGE_CONTEXT", output_mark("Invalid context command format\n")},
    {"CLS", output_mark("Invalid clear screen command format\n")},
    {"CONTEXT", output_mark("Invalid context command format\n")},
    {"CX", output_mark("Invalid context command format\n")},
    {"DEBUG", output_mark("Invalid DEBUG command format\n")},
    {"DISPLAY", output_mark("Invalid display command format\n")},
    {"DRIVE", output_mark("Invalid drive command format\n")},
    {"EXIT", output_mark("Invalid exit command format\n")},
    {"FDISPLAY", output_mark("Invalid fdisplay command format\n")},
    {"FIRE", output_mark("Invalid FIRE format \n")},
    {"GOTO", output_mark("Invalid goto command format\n")},
    {"INCLUDE", output_mark("Invalid include command format\n")},
    {"LASTLOGINTIME", output_mark("Invalid lastlogintime command format\n")},
    {"LAST_LOGIN_TIME", output_mark("Invalid lastlogintime command format\n")},
    {"NO_DEFAULT", output_mark("Invalid no_default command format\n")},
    {"PAUSE", output_mark("Invalid pause command format\n")},
    {"PROFILE", output_mark("Invalid profile command format\n")},
    {"SCRIPT_SERVER", output_mark("Invalid script server command format\n")},
    {"SET", output_mark("Invalid set command format\n")},
    {"SET_TIME", output_mark("Invalid set_time command format\n")},
    {"SHIFT", output_mark("Invalid shift command format\n")},
    {"TERM", output_mark("Invalid term command format\n")},
    {"TREE", output_mark("Invalid tree command format\n")},
    {"WAIT", output_mark("Invalid pause command format\n")},
    {"WRITE", output_mark("Invalid write command format\n")},
};

void format_error(OwnedText keyword) {
    if (!condition_executing()) return;
    for (const FormatError &row : format_errors)
        if (text_compare_nocase(row.keyword, keyword.get()) == 0) output_put(output_translate(row.message));
}
