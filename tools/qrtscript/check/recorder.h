// What the recording functions of the statements share with those of the rest (recorder.cpp).
#ifndef TOOLS_QRTSCRIPT_CHECK_RECORDER_H
#define TOOLS_QRTSCRIPT_CHECK_RECORDER_H

#include "base/text.h"
#include "tools/qrtscript/check/syntax.h"

// The number of the phrase that a text on the parser's stack stands for.
size_t recorder_phrase(const OwnedText &text);

// Ends the statement that is being read: its tokens are those that the parser has taken since the last one.
Statement &recorder_statement(Statement::Kind kind);

#endif
