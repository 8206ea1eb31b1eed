// Which text a character of the running script comes from: the script itself, or what INCLUDE has spliced into it.
#ifndef TOOLS_QRTSCRIPT_PLAN_SOURCES_H
#define TOOLS_QRTSCRIPT_PLAN_SOURCES_H

#include <string>
#include <string_view>

#include "tools/qrtscript/plan/record_text.h"

struct SourcePlace {
    int source = -1; // the index in sources_list; -1 outside the scripts
    int line = 0;    // from 1
};

// What a text is.
struct SourceTitle {
    std::string role; // "container", "profile", "user", "default", "file" or "include"
    std::string name; // the object's or the file's
    bool uncertain = false;
};

// A script begins, with this text in the active buffer; it ends.
void sources_begin(const SourceTitle &title, std::string_view text);
void sources_end();
// A text has been spliced into the active buffer at this place, with a line break of two characters behind it. Returns
// its number.
int sources_splice(const SourceTitle &title, std::string_view text, size_t at);
// A line starts at this place of the active buffer.
void sources_line(size_t at);

// The line that is running.
SourcePlace sources_here();
// For an effect of a line before it.
void sources_set_here(SourcePlace place);
// Any place of the active buffer.
SourcePlace sources_at(size_t at);

Json sources_list();

#endif
