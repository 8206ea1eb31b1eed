#include "language/script_runner.h"

#include "base/output.h"
#include "base/text.h"
#include "base/variables.h"
#include "directory/session.h"
#include "language/actions.h"
#include "language/tokenizer.h"
#include "platform/zk.h"
#include "script/input_buffer.h"

static void reset_parser(char *objectName, uint32_t contextHandle) {
    end_of_line = 1;
    wholeline = 0;
    cond_reset();
    syntax_error = 0;
    gotoWasUsed = 0;
    ctx = contextHandle;
    session_context_taken = false;
    variables_forget();
    objname = objectName;
}

int parsescript_Run(const char *text, char *objectName, uint32_t contextHandle) {
    reset_parser(objectName, contextHandle);
    // The depth is left as it stands after each run, so that runs use up the stack: required. No slot is live between
    // two runs, so that the next run after the last slot starts at the bottom again.
    if (ibufstackindex >= lex_stack_size) ibufstackindex = 0;
    if (lex_addBuffer(text) != 0) {
        say("memory exhausted");
        syntax_error = 1;
        return syntax_error;
    }
    yyparse();
    lex_free_active_buffer();
    // A jump may have left a block without its END on purpose.
    if (condindex != 0 && gotoWasUsed == 0) {
        say("Warning, unmatched IF...THEN statment (no END or ENDIF)\n");
        syntax_error = 1;
    }
    const bool ok = syntax_error == 0;
    TRACE(parsescript_Run, 0, "parsescript_Run returned %d (syntax %s)", syntax_error, ok ? "ok" : "error found");
    return syntax_error;
}

int qrt_RunScript(const char *text) {
    if (!CurrentTree) return 0;
    uint32_t handle = 0;
    qrt_Getctx(CurrentTree, &handle);
    OwnedText object(qrt_Object());
    parsescript_Run(text, object.get(), handle);
    objname = nullptr;
    // A TREE statement frees the handle and leaves its own in its place.
    ZKDSFreeContext(ctx);
    return 0;
}
