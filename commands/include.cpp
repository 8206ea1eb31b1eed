#include "commands/include.h"

#include "base/output.h"
#include "commands/object_text.h"
#include "script/conditions.h"
#include "script/input_buffer.h"

void include_text(OwnedText text) {
    if (condition_executing()) lex_IncludeFile(text.get());
}

void include_object(OwnedText name) {
    if (!condition_executing()) return;
    const OwnedText text = object_text(name.get());
    if (text) lex_IncludeFile(text.get());
}

void include_format_error() {
    if (condition_executing()) say("Invalid include command format\n");
}
