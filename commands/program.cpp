#include "commands/program.h"

#include <utility>
#include <vector>

#include "base/output.h"
#include "base/words.h"
#include "commands/child_process.h"
#include "directory/substitution.h"
#include "qrtscript.h"
#include "script/parser.h"

int program_run(std::string line) {
    std::vector<std::string> words = words_split(std::move(line));
    if (words.empty()) return 0;
    if (words.size() > program_word_limit) return 1;
    return child_run(std::move(words));
}

void program_run_in_background(std::string line) {
    std::vector<std::string> words = words_split(std::move(line));
    if (words.empty() || words.size() > program_word_limit) return;
    child_run_in_background(std::move(words));
}

void program_reap() {
    child_reap();
}

static std::string command_of(const OwnedText &line) {
    TRACE(yyparse, 5, "%s", line.get());
    return substitution_of(ctx, line.get()).get();
}

void program_statement(OwnedText line) {
    program_run(command_of(line));
}

void program_nowait_statement(OwnedText line) {
    program_run_in_background(command_of(line));
}
