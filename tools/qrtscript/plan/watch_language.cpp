// What the parser does, seen from its calls: lines, conditions, operands, jumps, mistakes. Nothing is changed.
#include <algorithm>

#include "qrtscript.h"
#include "script/conditions.h"
#include "tools/qrtscript/plan/mistake_text.h"
#include "tools/qrtscript/plan/origins.h"
#include "tools/qrtscript/plan/running.h"
#include "tools/qrtscript/plan/seams.h"

// What a script may do before it counts as endless.
static constexpr int most_lines = 100000;
static constexpr int most_jumps = 1000;

namespace {

// The condition that is being read. Without a THEN its IF is entered when the next line has begun.
struct Condition {
    int step = 0; // its line
    SourcePlace place;
    std::string line;
    Json tests = Json::array();
};

// An IF that cannot be read: what follows is skipped.
struct UnreadableIf {
    int level = 0; // 0: none
    size_t effect = 0;
};

struct Steps {
    int lines = 0, jumps = 0;
    int entered = 0; // the line in which a condition has been entered
    Condition condition;
    UnreadableIf unreadable;
};

} // namespace

static Steps &steps() {
    static Steps theSteps;
    return theSteps;
}

static void count_line() {
    if (++steps().lines == most_lines)
        recorder_stop("more than 100000 lines have been run: the scripts may be endless");
    recorder_check_time();
}

static void start_line() {
    const LexBuffer *active = lex_active();
    const size_t start = active != nullptr ? static_cast<size_t>(active->readPos) : 0;
    if (active != nullptr) sources_line(start);
    running_line(start);
    count_line();
}

int wrap_tokenizer_next() {
    if (recorder_is_on() && end_of_line != 0) start_line();
    return real_tokenizer_next();
}

// Whether a login comes to them or not.
static void hide_secrets_of(std::string_view text) {
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find_first_of("\r\n", start), text.size());
        if (end > start)
            for (const std::string &secret : record_secrets(text.substr(start, end - start))) recorder_hide(secret);
        start = end + 1;
    }
}

void wrap_lex_push(std::string_view text) {
    if (recorder_is_on()) hide_secrets_of(text);
    real_lex_push(text);
    if (recorder_is_on()) sources_begin(running().next, text);
}

// In a plan, which is shown when it is complete. "": the rest of the script has been skipped.
static void note_skipped_up_to(const char *what) {
    const SourcePlace here = sources_here();
    recorder_amend(steps().unreadable.effect, "up_to", what);
    if (*what != '\0') recorder_amend(steps().unreadable.effect, "to", {{"source", here.source}, {"line", here.line}});
    steps().unreadable = {};
}

int wrap_script_run(std::string_view text, char *object, uint32_t handle) {
    if (!recorder_is_on()) return real_script_run(text, object, handle);
    running().inScript = true;
    recorder_add("script", {{"role", running().next.role}, {"name", record_text(running().next.name)}});
    const int result = real_script_run(text, object, handle);
    if (steps().unreadable.level != 0) note_skipped_up_to("");
    running().inScript = false;
    sources_end();
    return result;
}

// ---- conditions ----

static void add_test(Json test) {
    Condition &condition = steps().condition;
    if (condition.step != steps().lines) condition = {};
    if (condition.tests.empty()) {
        condition.step = steps().lines;
        condition.place = sources_here();
        condition.line = running_line_text();
    }
    condition.tests.push_back(std::move(test));
}

static void add_if(const Condition &condition, bool result) {
    const SourcePlace now = sources_here();
    sources_set_here(condition.place);
    recorder_add("if",
                 {{"text", record_text(record_line(condition.line))}, {"result", result}, {"tests", condition.tests}});
    sources_set_here(now);
}

void wrap_cond_enter(int32_t condition) {
    const bool counts = recorder_is_on() && condition_executing();
    real_cond_enter(condition);
    steps().entered = steps().lines;
    if (counts) add_if(steps().condition, condition == 0);
    steps().condition = {};
}

// Behind another IF in its line it is that one's statement, and its block ends with the line.
void wrap_cond_enter_unreadable() {
    const int before = condindex;
    const bool counts = recorder_is_on() && condition_executing() && steps().entered != steps().lines;
    real_cond_enter_unreadable();
    if (!counts || condindex == before) return;
    steps().unreadable = {condindex, recorder_count()};
    recorder_add("skipped", Json::object());
}

void wrap_cond_leave() {
    if (recorder_is_on() && condindex != 0 && condindex == steps().unreadable.level) note_skipped_up_to("END");
    // A jump into a block meets its END only.
    if (recorder_is_on() && condindex == 0 && gotoWasUsed == 0) recorder_mistake("END without IF", false);
    real_cond_leave();
}

void wrap_else_statement() {
    const bool isStray = condindex == 0, before = condition_executing();
    real_else_statement();
    if (!recorder_is_on()) return;
    const bool after = condition_executing();
    if (isStray)
        recorder_mistake(
            after ? "ELSE without IF: the script goes on here" : "ELSE without IF: the rest of the script is skipped",
            false);
    else if (before || after)
        recorder_add("else", {{"executed", after}});
    if (after && !before && condindex != 0 && condindex == steps().unreadable.level) note_skipped_up_to("ELSE");
}

static const char *sign_of(Comparison comparison) {
    static const char *const signs[] = {"=", "<>", ">", ">=", "<", "<="};
    return signs[comparison];
}

// What is compared with a secret may be one, and so is what a name in it stands for.
static void hide_operands(std::initializer_list<const char *> members, Json *test) {
    Json &values = (*test)["values"];
    const auto isSecret = [](const Json &value) { return value.contains("secret"); };
    if (std::none_of(values.begin(), values.end(), isSecret)) return;
    for (const char *member : members)
        if ((*test)[member] != "") (*test)[member] = record_hidden;
    for (Json &value : values)
        if (!isSecret(value) && value.contains("missing")) value["reference"] = record_hidden;
}

int32_t wrap_cond_compare(Comparison comparison, OwnedText left, OwnedText right) {
    if (!recorder_is_on()) return real_cond_compare(comparison, std::move(left), std::move(right));
    Json test = {{"left", record_text(left.get())},
                 {"operator", sign_of(comparison)},
                 {"right", record_text(right.get())},
                 {"numeric", valuestate != 0}};
    Json values = origins_of(left.get());
    for (Json &one : origins_of(right.get())) values.push_back(std::move(one));
    const int32_t result = real_cond_compare(comparison, std::move(left), std::move(right));
    test["result"] = result == 0;
    test["values"] = std::move(values);
    hide_operands({"left", "right"}, &test);
    add_test(std::move(test));
    return result;
}

int32_t wrap_cond_bare(OwnedText text) {
    if (!recorder_is_on()) return real_cond_bare(std::move(text));
    Json test = {{"text", record_text(text.get())}};
    Json values = origins_of(text.get());
    const int32_t result = real_cond_bare(std::move(text));
    test["result"] = result == 0;
    test["values"] = std::move(values);
    hide_operands({"text"}, &test);
    add_test(std::move(test));
    return result;
}

// ---- operands ----

template <typename Make>
static OwnedText looked_up(Make make) {
    if (!recorder_is_on()) return make();
    const size_t since = origins_count();
    OwnedText text = make();
    origins_give(text.get(), since);
    return text;
}

OwnedText wrap_phrase_empty() {
    return looked_up([] { return real_phrase_empty(); });
}
OwnedText wrap_phrase_quoted(OwnedText text) {
    return looked_up([&] { return real_phrase_quoted(std::move(text)); });
}
OwnedText wrap_phrase_identifier(OwnedText name) {
    return looked_up([&] { return real_phrase_identifier(std::move(name)); });
}
OwnedText wrap_phrase_environment(OwnedText name) {
    return looked_up([&] { return real_phrase_environment(std::move(name)); });
}
OwnedText wrap_phrase_member(OwnedText group) {
    return looked_up([&] { return real_phrase_member(std::move(group)); });
}
OwnedText wrap_phrase_not_member(OwnedText group) {
    return looked_up([&] { return real_phrase_not_member(std::move(group)); });
}
OwnedText wrap_phrase_word(OwnedText word) {
    return looked_up([&] {
        running().inWord = true;
        OwnedText text = real_phrase_word(std::move(word));
        running().inWord = false;
        return text;
    });
}

OwnedText wrap_join_two(OwnedText a, OwnedText b) {
    if (!recorder_is_on()) return real_join_two(std::move(a), std::move(b));
    const char *parts[] = {a.get(), b.get()};
    OwnedText text = real_join_two(std::move(a), std::move(b));
    origins_join(text.get(), {parts[0], parts[1]});
    return text;
}
OwnedText wrap_join_three(OwnedText a, OwnedText b, OwnedText c) {
    if (!recorder_is_on()) return real_join_three(std::move(a), std::move(b), std::move(c));
    const char *parts[] = {a.get(), b.get(), c.get()};
    OwnedText text = real_join_three(std::move(a), std::move(b), std::move(c));
    origins_join(text.get(), {parts[0], parts[1], parts[2]});
    return text;
}
OwnedText wrap_phrase_calculate(char operation, OwnedText left, OwnedText right) {
    if (!recorder_is_on()) return real_phrase_calculate(operation, std::move(left), std::move(right));
    const char *parts[] = {left.get(), right.get()};
    OwnedText text = real_phrase_calculate(operation, std::move(left), std::move(right));
    origins_join(text.get(), {parts[0], parts[1]});
    return text;
}

// ---- mistakes ----

// As bytes.
static std::string without_secrets(std::string_view report) {
    std::string shown;
    for (size_t start = 0; start < report.size();) {
        const size_t end = std::min(report.find('\n', start), report.size());
        shown += record_line(report.substr(start, end - start), true);
        if (end < report.size()) shown += '\n';
        start = end + 1;
    }
    return shown;
}

// What it prints names the line, which may have a password.
void wrap_syntax_error_report(const char *message) {
    if (!recorder_is_on() && !running().hidesReports) return real_syntax_error_report(message);
    running().inMistake = true;
    running().reported.clear();
    real_syntax_error_report(message);
    running().inMistake = false;
    const std::string shown = without_secrets(running().reported);
    const std::string text = mistake_text(message, running_line_read());
    if (!recorder_plans()) real_output_put(shown);
    recorder_add("mistake", {{"text", record_text(text)}, {"reported", true}, {"printed", record_text(shown)}});
}

void wrap_format_error(OwnedText keyword) {
    running().inFormatError = true;
    real_format_error(std::move(keyword));
    running().inFormatError = false;
}

// ---- jumps and texts that are spliced in ----

bool wrap_lex_jump(std::string_view label) {
    const std::string name = record_text(label);
    const bool found = real_lex_jump(label);
    if (!recorder_is_on()) return found;
    if (!found) {
        recorder_mistake("there is no label " + name + ": the script goes on behind the GOTO", false);
        return found;
    }
    const SourcePlace to = sources_at(static_cast<size_t>(lex_active()->readPos));
    recorder_add("goto", {{"label", name}, {"to", {{"source", to.source}, {"line", to.line}}}});
    if (++steps().jumps == most_jumps) recorder_stop("more than 1000 jumps have been made: the scripts may be endless");
    return found;
}

void wrap_lex_include(std::string_view text) {
    const LexBuffer *active = lex_active();
    const int32_t length = active != nullptr ? active->length : 0;
    const std::string whole(text);
    if (recorder_is_on()) hide_secrets_of(text);
    real_lex_include(text);
    active = lex_active();
    if (!recorder_is_on() || active == nullptr || active->length == length) return;
    const SourceTitle &title = running().next;
    const int source = sources_splice(title, whole, static_cast<size_t>(active->readPos));
    recorder_add("include", {{"name", record_text(title.name)}, {"text", source}});
}
