#include "tools/qrtscript/plan/running.h"

#include <algorithm>

#include "script/conditions.h"
#include "script/input_buffer.h"
#include "tools/qrtscript/plan/origins.h"
#include "tools/qrtscript/secret_names.h"

static std::set<std::string> &missing_in_line() {
    static std::set<std::string> names;
    return names;
}

Running &running() {
    static Running theRun;
    return theRun;
}

void running_line(size_t start) {
    running().lineStart = start;
    recorder_line();
    origins_clear();
    missing_in_line().clear();
    running().isUncertain = false;
    running().prompts = running().questions = 0;
    running().objectScript.reset();
}

std::string_view running_line_text() {
    const LexBuffer *active = lex_active();
    if (active == nullptr) return "";
    const std::string_view text(active->data, static_cast<size_t>(active->length));
    // The line end before it may not have been read whole.
    const size_t start = std::min(text.find_first_not_of(" \t\r\n", running().lineStart), text.size());
    const std::string_view rest = text.substr(start);
    return rest.substr(0, rest.find_first_of("\r\n"));
}

std::string_view running_line_read() {
    const LexBuffer *active = lex_active();
    const std::string_view line = running_line_text();
    if (active == nullptr || line.empty()) return line;
    const std::ptrdiff_t read = active->data + active->readPos - line.data();
    return line.substr(0, read > 0 ? std::min(static_cast<size_t>(read), line.size()) : 0);
}

bool running_is_secret(const std::string &name, std::string_view value) {
    return secret_variable(name, value) || running().secretVariables.count(name) != 0;
}

// Operands are looked up in skipped blocks as well: what is missing there is of no consequence. A word that stands for
// itself is looked up once more, with the "%" that it gets.
void running_missing(const std::string &name, const std::string &what, const std::string &reason) {
    const std::string bare = name.substr(!name.empty() && name.front() == '%' ? 1 : 0);
    if (!condition_executing() || !missing_in_line().insert(bare).second) return;
    const bool isSecret = record_is_in_secret(running_line_text(), bare);
    recorder_add("not_found",
                 {{"name", isSecret ? record_hidden : record_text(name)}, {"what", what}, {"reason", reason}});
}
