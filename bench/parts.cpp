// The parts of the interpreter, each by itself: build/bench/bench/parts [--benchmark_filter=REGEX]
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "base/words.h"
#include "directory/attributes.h"
#include "directory/identifiers.h"
#include "directory/session.h"
#include "directory/substitution.h"
#include "language/grammar.tab.h"
#include "language/tokenizer.h"
#include "platform/zk.h"
#include "qrtscript.h"
#include "script/input_buffer.h"

static constexpr int lines = 1000;

static std::string repeated(const std::string &line) {
    std::string text;
    for (int i = 0; i < lines; i++) text += line + "\n";
    return text;
}

static void tokens(benchmark::State &state) {
    const std::string text = repeated("IF \"%<HOME>\" = \"value\" THEN WRITE \"a text of some length\"");
    for (auto _ : state) {
        ibufstackindex = 0;
        lex_push(text);
        end_of_line = 1;
        for (int token = tokenizer_next(); token != 0; token = tokenizer_next())
            if (token > 255) OwnedText(yylval.text).reset();
        lex_free_active_buffer();
    }
    state.SetItemsProcessed(state.iterations() * lines);
}
BENCHMARK(tokens);

// A thousand lines of one statement: parse, operands and action, with the output thrown away.
static void statement(benchmark::State &state, const char *line) {
    const std::string text = repeated(line);
    for (auto _ : state) parsescript_Run(text.c_str(), nullptr, ctx);
    state.SetItemsProcessed(state.iterations() * lines);
}
BENCHMARK_CAPTURE(statement, empty, "");
BENCHMARK_CAPTURE(statement, remark, "REMARK a line that nobody executes");
BENCHMARK_CAPTURE(statement, write, "WRITE \"a text of some length\"");
BENCHMARK_CAPTURE(statement, write_words, "WRITE a; b; c");
BENCHMARK_CAPTURE(statement, set, "SET VARIABLE=\"value\"");
BENCHMARK_CAPTURE(statement, one_line_if, "IF \"a\" = \"b\" THEN WRITE \"never\"");
BENCHMARK_CAPTURE(statement, block, "IF \"a\" = \"b\" THEN\nELSE\nEND");
BENCHMARK_CAPTURE(statement, condition, "IF VALUE \"1\" < \"2\" AND \"a\" = \"b\" OR \"c\" = \"c\" THEN BREAK OFF");
BENCHMARK_CAPTURE(statement, arithmetic, "SET VARIABLE=\"1\" + \"2\"");
BENCHMARK_CAPTURE(statement, label, "LABEL:");
BENCHMARK_CAPTURE(statement, break_off, "BREAK OFF");
BENCHMARK_CAPTURE(statement, drive, "DRIVE H:");
BENCHMARK_CAPTURE(statement, shift, "SHIFT");
BENCHMARK_CAPTURE(statement, fire, "FIRE 1");
BENCHMARK_CAPTURE(statement, mistake, "FROBNICATE 1 2 3");

static void substitution(benchmark::State &state, const char *text) {
    for (auto _ : state) benchmark::DoNotOptimize(substitution_of(ctx, text));
}
BENCHMARK_CAPTURE(substitution, no_reference, "a text of some length");
BENCHMARK_CAPTURE(substitution, variables, "a %<HOME> of %<PATH> length");
BENCHMARK_CAPTURE(substitution, identifiers, "a %YEAR of %MONTH_NAME length");
BENCHMARK_CAPTURE(substitution, attribute, "a %SURNAME of some length");

static void words(benchmark::State &state) {
    for (auto _ : state) benchmark::DoNotOptimize(words_split(" program a \"quoted argument\" b c"));
}
BENCHMARK(words);

static void identifier(benchmark::State &state, const char *name) {
    const std::optional<std::string> object = session_object();
    for (auto _ : state) benchmark::DoNotOptimize(identifiers_value(ctx, object ? object->c_str() : nullptr, name));
}
BENCHMARK_CAPTURE(identifier, first, "DAY");
BENCHMARK_CAPTURE(identifier, last, "MESSAGE_SERVER");
BENCHMARK_CAPTURE(identifier, none, "NO_SUCH_NAME");

static void attribute(benchmark::State &state) {
    const std::optional<std::string> object = session_object();
    for (auto _ : state) {
        OwnedText value;
        benchmark::DoNotOptimize(attributes_text(ctx, object ? object->c_str() : nullptr, "Surname", value));
    }
}
BENCHMARK(attribute);

// A session of the sample tree's jdoe, whose output nobody reads.
static bool log_in() {
    setenv("ZKCLIENT_CONF", SOURCE_DIR "/examples/acme/client.toml", 1);
    char name[] = ".jdoe.sales.acme", password[] = "sunflower", tree[] = "ACME", context[] = ".sales.acme";
    if (ZKCallsInit(nullptr, nullptr) != 0 || ZKDSCreateContextHandle(&ctx) != 0 ||
        ZKDSSetContext(ctx, DCK_TREE_NAME, tree) != 0 || ZKDSLoginEx(ctx, name, 2, password) != 0)
        return false;
    qrt_init(nullptr, fopen("/dev/null", "w"));
    qrt_SetTree(tree);
    qrt_SetCurrentContext(context);
    qrt_SetCurrentObject("jdoe");
    qrt_SetLoginName("jdoe");
    return true;
}

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    if (!log_in()) {
        fputs("parts: the login to the sample tree has failed\n", stderr);
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
