#include "language/control_flow.h"

#include "base/output.h"
#include "language/tokenizer.h"
#include "qrtscript.h"
#include "script/conditions.h"
#include "script/input_buffer.h"
#include "script/parser.h"
#include "script/syntax_error.h"

int32_t gotostate = 0;
char *gotolabel = nullptr;
int32_t invalidGoToLabel = 0;
int32_t gotoWasUsed = 0;

void statement_completed() {
    // A file name that is cut short has switched the whole-line mode on behind its look-ahead: the mistake costs its
    // own line, not the next one.
    wholeline = 0;
    if (!gotostate || !condition_executing()) return;
    const OwnedText label(gotolabel);
    gotolabel = nullptr;
    gotostate = 0;
    // An unknown label goes on behind the GOTO, silently: required.
    if (label) lex_jump(label.get());
}

void label_is_reserved() {
    syntax_error_report("Reserved words cannot be used as labels");
    invalidGoToLabel = 1;
}

void goto_statement(OwnedText label) {
    if (invalidGoToLabel) {
        // Also in a skipped block: required.
        say("Invalid Label:%s used in goto statement\n", label.get());
        invalidGoToLabel = 0;
        return;
    }
    if (!condition_executing()) return;
    free(gotolabel);
    gotolabel = label.release();
    gotostate = 1;
    gotoWasUsed = 1;
}

void label_statement(OwnedText label) {
    TRACE(yyparse, 5, "label %s", label.get());
}

void exit_statement() {
    say("Exiting script...\n");
}

void break_statement(bool on) {
    bcntrlc = on ? 1 : 0;
}
