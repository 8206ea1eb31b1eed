#include "commands/include.h"

#include "commands/file_spec.h"
#include "script/input_buffer.h"

void include_text(OwnedText text) {
    lex_include(text.get());
}

void include_object(OwnedText name) {
    const OwnedText text = file_of_object(std::move(name));
    if (text) lex_include(text.get());
}
