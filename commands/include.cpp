#include "commands/include.h"

#include "base/output.h"
#include "commands/object_text.h"
#include "script/input_buffer.h"

void include_text(OwnedText text) {
    lex_include(text.get());
}

void include_object(OwnedText name) {
    const OwnedText text = object_text(name.get());
    if (text) lex_include(text.get());
}
