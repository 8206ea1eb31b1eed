#include "language/script_runner.h"

#include "base/guard.h"
#include "base/output.h"
#include "base/variables.h"
#include "directory/contexts.h"
#include "directory/session.h"
#include "language/actions.h"
#include "language/tokenizer.h"
#include "qrtscript.h"
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

static bool push_text(std::string_view text) {
    return guarded(
        false,
        [&] {
            lex_push(text);
            return true;
        });
}

int script_run(std::string_view text, char *object, uint32_t handle) {
    reset_parser(object, handle);
    // The depth is left as it stands after each run, so that runs use up the stack: required. No slot is live between
    // two runs, so that the next run after the last slot starts at the bottom again.
    if (ibufstackindex >= lex_stack_size) ibufstackindex = 0;
    if (!push_text(text)) {
        say("memory exhausted");
        syntax_error = 1;
        return syntax_error;
    }
    const PipeGuard held; // for all that the script writes
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

void script_run_in_session(std::string_view text) {
    if (CurrentTree == nullptr) return;
    Context context;
    contexts_make(CurrentTree, context.handle);
    std::optional<std::string> object = session_object();
    script_run(text, object ? object->data() : nullptr, context.release());
    objname = nullptr;
    // A TREE statement frees the handle and leaves its own in its place.
    ZKDSFreeContext(ctx);
}
