// Whole scripts: the parser with all its actions, over a directory that answers from the input.
//
//     input ::= script [ NUL answers ]         answers: world/answers.h
//
// Afterwards the session's state has to be sound, nothing may be open, and the next script runs as a first one would.
#include <ctime>

#include "base/clock.h"
#include "commands/program.h"
#include "directory/session.h"
#include "language/actions.h"
#include "language/tokenizer.h"
#include "platform/common/places.h"
#include "script/input_buffer.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/world/answers.h"
#include "tests/fuzz/world/client.h"
#include "tests/fuzz/world/files.h"
#include "tests/fuzz/world/limits.h"
#include "tests/fuzz/world/process.h"

static const char *const control_script =
    "IF \"a\" = \"b\" THEN\nWRITE \"no\"\nELSE\nWRITE \"one\"\nGOTO L\nEND\nWRITE \"no\"\nL:\nWRITE \"two\"\n";
static const char *const control_output = "one\ntwo\n";

// There is a file wherever the answers have a text for it.
static std::optional<std::string_view> answered_file(const char *path) {
    FUZZ_CHECK(strlen(path) < 512);
    const std::string_view text = answers_text("", 512);
    return text.empty() ? std::nullopt : std::optional(text);
}

static time_t fixed_time() {
    return 1795269600;
}

static FILE *prepare() {
    setenv("TZ", "UTC0", 1);
    clock_now = fixed_time;
    files_content = answered_file;
    // The traces of DEBUG go there, too.
    stdout = files_sink();
    return files_sink();
}

// Puts back what a run has changed; most leave most of it alone.
static void set_text(char *&global, const char *value) {
    if (value ? global && strcmp(global, value) == 0 : !global) return;
    free(global);
    global = value ? strdup(value) : nullptr;
}

static void reset_session() {
    set_text(CurrentTree, "ACME_TREE");
    set_text(CurrentContext, ".sales.acme");
    set_text(InitialContext, ".sales.acme");
    set_text(CurrentObject, "jdoe");
    set_text(LoginName, "jdoe");
    set_text(CurrentPassword, nullptr);
    set_text(over_ride_profile, nullptr);
    set_text(driveDir, nullptr);
    static const char *const variables[QRT_USER_VARIABLES] = {"SRV1", "jdoe", "two", "three", "%3"};
    for (int i = 0; i < QRT_USER_VARIABLES; i++) set_text(uservars[i], variables[i]);
    debug_level = 0;
    bcntrlc = 0;
    use_default_script = 1;
    condstate[0] = 0;
    invalidGoToLabel = 0;
}

static int run(char *script, uint32_t context) {
    static char object[] = "jdoe.sales.acme";
    limits_start();
    return parsescript_Run(script, object, context);
}

static void check_state(int result, const FILE *stream) {
    FUZZ_CHECK(result == 0 || result == 1);
    FUZZ_CHECK(result == syntax_error);
    FUZZ_CHECK(fdr == stream);
    FUZZ_CHECK(condindex >= 0 && condindex < cond_levels);
    for (const int32_t state : condstate) FUZZ_CHECK(state == 0 || state == 1);
    FUZZ_CHECK(ibufstackindex > 0 && ibufstackindex <= lex_stack_size);
    FUZZ_CHECK(!ibufstack[ibufstackindex - 1]);
    FUZZ_CHECK(gotostate == 0 && !gotolabel);
    FUZZ_CHECK(gotoWasUsed == 0 || gotoWasUsed == 1);
    FUZZ_CHECK(bcntrlc <= 1);
    FUZZ_CHECK(yynerrs >= 0);
    FUZZ_CHECK(!CurrentContext || !*CurrentContext || *CurrentContext == '.');
    for (const char *variable : uservars) FUZZ_CHECK(!variable || strlen(variable) < 1 << 20);
}

// A session goes on after a stray ELSE or a label that could not be read: those two are not the control's matter.
static void run_control() {
    condstate[0] = 0;
    invalidGoToLabel = 0;
    debug_level = 0;
    answers_start({});
    files_sink_clear();
    ExactText control(control_script);
    FUZZ_CHECK(run(control.data(), client_start()) == 0);
    FUZZ_CHECK(files_sink_text() == control_output);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static FILE *const stream = prepare();
    std::string_view answers = fuzz_view(data, size);
    ExactText script(fuzz_take(answers, '\0'));
    fdr = stream;
    g_useGUI = size & 1;
    reset_session();
    process_start();
    answers_start(answers);
    const int result = run(script.data(), client_start());
    check_state(result, stream);
    client_check_end();
    files_check_closed();
    program_reap();

    // The control costs as much as many an input: each fourth one is followed by it.
    if (size % 4 == 0) run_control();
    return 0;
}
