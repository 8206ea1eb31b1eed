#include "tools/qrtscript/plan/show_text.h"

#include "platform/terminal_text.h"

static std::string harmless(const std::string &text) {
    return terminal_text(text);
}

static std::string text_of(const Json &object, const char *key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_string() ? harmless(found->get<std::string>()) : "";
}

// The lines of a text; a last line end ends a line.
static std::vector<std::string> lines_of(const Json &object, const char *key) {
    std::string text = object.value(key, "");
    std::vector<std::string> lines;
    if (!text.empty() && text.back() == '\n') text.pop_back();
    for (size_t start = 0; start <= text.size();) {
        const size_t end = std::min(text.find('\n', start), text.size());
        std::string line = text.substr(start, end - start);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines.push_back(harmless(line));
        start = end + 1;
    }
    return lines;
}

static std::string quoted(const std::string &text) {
    return "\"" + text + "\"";
}

// ---- conditions ----

// Where a value comes from.
static std::string origin_text(const Json &origin) {
    const std::string from = text_of(origin, "from");
    if (from == "attribute" && origin.contains("attribute"))
        return "attribute " + text_of(origin, "attribute") + " of " + text_of(origin, "object");
    if (from == "environment") return "environment";
    if (from == "variable") return "script variable";
    if (from == "clock") return "the time";
    if (from == "machine") return "this machine";
    if (from == "session") return "the session";
    return from == "constant" ? "always" : from;
}

static std::string value_line(const Json &origin) {
    std::string line = text_of(origin, "reference");
    const bool isMembership = line.compare(0, 9, "MEMBER OF") == 0;
    if (!origin.contains("value")) return line + ": " + text_of(origin, "missing");
    line += isMembership ? ": " + text_of(origin, "value") : " is " + quoted(text_of(origin, "value"));
    line += " (" + origin_text(origin);
    if (origin.contains("missing")) line += ": " + text_of(origin, "missing");
    return line + ")";
}

static std::string test_line(const Json &test) {
    const char *result = test.value("result", false) ? ": true" : ": false";
    if (test.contains("text")) return quoted(text_of(test, "text")) + " alone (true is \"0\")" + result;
    return (test.value("numeric", false) ? "VALUE " : "") + quoted(text_of(test, "left")) + " " +
           text_of(test, "operator") + " " + quoted(text_of(test, "right")) + result;
}

// MEMBER OF alone yields "0" or "1": that the user is a member says it all.
static bool is_membership(const Json &test) {
    return test.contains("text") && test.contains("values") && test["values"].size() == 1 &&
           text_of(test["values"][0], "reference").compare(0, 9, "MEMBER OF") == 0;
}

static ShownEffect show_if(const Json &effect) {
    ShownEffect result{"if", {}};
    result.lines.push_back(text_of(effect, "text"));
    result.lines.push_back(effect.value("result", false) ? "-> true: executed" : "-> false: skipped");
    for (const Json &test : effect.value("tests", Json::array())) {
        if (!is_membership(test)) result.lines.push_back("   " + test_line(test));
        for (const Json &origin : test.value("values", Json::array()))
            result.lines.push_back("   " + value_line(origin));
    }
    return result;
}

// ---- drives ----

static std::string drive_line(const Json &change) {
    const std::string drive = text_of(change, "drive");
    const std::string before = change.value("old", Json()).is_null() ? "" : " (was " + text_of(change, "old") + ")";
    if (change.value("new", Json()).is_null()) return drive + " no longer mapped" + before;
    return drive + " = " + text_of(change, "new") + before;
}

static ShownEffect show_map(const Json &effect) {
    ShownEffect result{"maps", {}};
    for (const Json &change : effect.value("drives", Json::array())) result.lines.push_back(drive_line(change));
    const bool failed = effect.value("status", 0) != 0;
    if (result.lines.empty() || failed) {
        result.verb = failed ? "MISTAKE" : "runs";
        result.lines.insert(result.lines.begin(), "map " + text_of(effect, "command"));
        if (!effect.value("printed", "").empty())
            for (const std::string &line : lines_of(effect, "printed")) result.lines.push_back("   " + line);
    }
    return result;
}

// ---- the rest ----

// As a shell would take the words.
static std::string word(const std::string &text) {
    const bool isPlain = !text.empty() && text.find_first_of(" \t\"'\\$`&|;<>()*?[]#~") == text.npos;
    return isPlain ? text : "'" + text + "'";
}

static ShownEffect show_run(const Json &effect) {
    std::string line;
    for (const Json &one : effect.value("words", Json::array())) {
        if (!line.empty()) line += " ";
        line += word(harmless(one.get<std::string>()));
    }
    if (!effect.value("waits", true)) line += " (without waiting for its end)";
    if (!effect.value("found", true)) line += " (this machine has no such program)";
    return {"runs", {line}};
}

static ShownEffect show_set(const Json &effect) {
    std::string line = text_of(effect, "name") + " = " + quoted(text_of(effect, "new"));
    if (!effect["old"].is_null()) line += " (was " + quoted(text_of(effect, "old")) + ")";
    return {"sets", {line}};
}

static ShownEffect show_read(const Json &effect) {
    if (effect.contains("object")) return {"reads", {"the login script of " + text_of(effect, "object")}};
    std::string line = "file " + text_of(effect, "name");
    if (!effect.value("found", false)) line += ": not found, or empty";
    if (effect.value("uncertain", false)) line += " (uncertain: a program that ran before may have changed it)";
    return {"reads", {line}};
}

static ShownEffect show_login(const Json &effect) {
    const bool isServer = effect.contains("server");
    std::string line = text_of(effect, "user") + (isServer ? " to server " : " to tree ") +
                       text_of(effect, isServer ? "server" : "tree");
    const unsigned code = effect.value("code", 0U);
    char text[64] = "";
    if (code == 0 && !effect.value("real", false)) snprintf(text, sizeof text, " (the password is taken to be right)");
    if (code != 0) snprintf(text, sizeof text, ": refused (%X)", code);
    return {"logs in", {line + text}};
}

static ShownEffect show_question(const Json &effect) {
    std::string line = text_of(effect, "text");
    line += (line.empty() ? "" : ": ") + text_of(effect, "asks_for");
    return {"asks", {line + " (taken to be: " + text_of(effect, "assumed") + ")"}};
}

static ShownEffect show_tree(const Json &effect) {
    std::string line = text_of(effect, "tree");
    if (!effect["user"].is_null()) line += "/" + text_of(effect, "user");
    if (effect.value("password", "") == "given") line += std::string(";") + record_hidden;
    return {"moves", {"to tree " + line}};
}

static ShownEffect show_goto(const Json &effect) {
    return {"goes", {"to " + text_of(effect, "label") + ", line " + std::to_string(effect["to"].value("line", 0))}};
}

static ShownEffect show_shift(const Json &effect) {
    std::string line = "by " + std::to_string(effect.value("by", 0));
    const Json none = Json::object();
    const Json &variables = effect.contains("variables") ? effect["variables"] : none;
    for (const auto &[name, value] : variables.items())
        line += "; " + name + " is " + quoted(harmless(value.get<std::string>()));
    return {"shifts", {line}};
}

// While a script runs, how far that will be is not known.
static ShownEffect show_skipped(const Json &effect) {
    const std::string upTo = effect.value("up_to", "its ELSE or END");
    if (upTo.empty()) return {"skips", {"the rest of the script: there is no END for this IF"}};
    const bool isKnown = effect.contains("to");
    return {"skips", {"up to " + upTo + (isKnown ? " in line " + std::to_string(effect["to"].value("line", 0)) : "")}};
}

static ShownEffect show_mistake(const Json &effect) {
    ShownEffect result{"MISTAKE", {}};
    result.lines.push_back(text_of(effect, "text") + (effect.value("reported", true) ? "" : " (not reported)"));
    const std::string printed = effect.value("printed", "");
    if (printed.find("Script error.") == printed.npos) return result;
    for (const std::string &line : lines_of(effect, "printed"))
        if (!line.empty()) result.lines.push_back("   " + line);
    return result;
}

static ShownEffect show_not_found(const Json &effect) {
    const std::string what = text_of(effect, "what");
    return {"no value",
            {(what == "group" ? "group " : "") + text_of(effect, "name") + ": " + text_of(effect, "reason")}};
}

static ShownEffect show_print(const Json &effect) {
    ShownEffect result{"prints", lines_of(effect, "text")};
    if (effect.value("uncertain", false)) result.verb = "prints?";
    return result;
}

ShownEffect show_effect(const Json &effect) {
    const std::string kind = effect.value("kind", "");
    if (kind == "print") return show_print(effect);
    if (kind == "message") return {"prints", lines_of(effect, "text")};
    if (kind == "mistake") return show_mistake(effect);
    if (kind == "not_found") return show_not_found(effect);
    if (kind == "if") return show_if(effect);
    if (kind == "skipped") return show_skipped(effect);
    if (kind == "else") return {"else", {effect.value("executed", false) ? "executed" : "skipped"}};
    if (kind == "set") return show_set(effect);
    if (kind == "map") return show_map(effect);
    if (kind == "run") return show_run(effect);
    if (kind == "read") return show_read(effect);
    if (kind == "include") return {"includes", {text_of(effect, "name")}};
    if (kind == "goto") return show_goto(effect);
    if (kind == "login") return show_login(effect);
    if (kind == "logout") return {"logs out", {text_of(effect, "user") + " from tree " + text_of(effect, "tree")}};
    if (kind == "tree") return show_tree(effect);
    if (kind == "question") return show_question(effect);
    if (kind == "shift") return show_shift(effect);
    if (kind == "drive") return {"drive", {text_of(effect, "name") + ": " + text_of(effect, "folder")}};
    if (kind == "profile") return {"profile", {text_of(effect, "name")}};
    if (kind == "no_default") return {"default", {"the caller is told to run no default script"}};
    if (kind == "break") return {"break", {effect.value("on", false) ? "on" : "off"}};
    if (kind == "clear_screen") return {"clears", {"the screen"}};
    if (kind == "stopped") return {"STOPPED", {text_of(effect, "reason")}};
    return {kind, {}};
}

// ---- a whole plan ----

std::string show_source(const Json &source) {
    const std::string role = text_of(source, "role"), name = text_of(source, "name");
    if (role == "include") return "text of " + name;
    if (role == "file") return name;
    if (role == "default") return "default script";
    return role + " script " + name;
}

static std::string heading(const Json &sources, int source) {
    if (source < 0 || static_cast<size_t>(source) >= sources.size()) return "login";
    const Json &one = sources[static_cast<size_t>(source)];
    std::string text = show_source(one);
    if (one.contains("included_by")) {
        const Json &from = one["included_by"];
        text += ", included by " + show_source(sources[from.value("source", size_t{0})]) + " line " +
                std::to_string(from.value("line", 0));
    }
    if (one.value("uncertain", false)) text += " (uncertain: a program that ran before may have changed it)";
    return text;
}

bool plan_is_mistake(const Json &effect) {
    const std::string kind = effect.value("kind", "");
    return kind == "mistake" || kind == "stopped" || (kind == "map" && effect.value("status", 0) != 0);
}

size_t plan_count_mistakes(const Json &plan) {
    size_t count = 0;
    for (const Json &effect : plan["effects"]) count += plan_is_mistake(effect) ? 1 : 0;
    return count;
}

std::string show_beside(int line, const ShownEffect &effect, const std::string &sign) {
    constexpr size_t verb_width = 9, number_width = 5;
    std::string text;
    for (size_t i = 0; i < effect.lines.size(); i++) {
        std::string number = i == 0 && line > 0 ? std::to_string(line) : "";
        number.insert(0, number.size() < number_width ? number_width - number.size() : 0, ' ');
        std::string verb = i == 0 ? effect.verb : "";
        verb.resize(std::max(verb_width, verb.size()), ' ');
        std::string row = sign + number + "  " + verb + " " + effect.lines[i];
        row.erase(row.find_last_not_of(' ') + 1);
        text += row + "\n";
    }
    return text;
}

std::string show_heading(const Json &plan) {
    const std::string container = text_of(plan, "container");
    std::string text = "Plan of the login of " + text_of(plan, "user");
    if (!plan.contains("user"))
        text = "Plans of the logins of all users" + (container.empty() ? "" : " in " + container + " and below");
    text += " to tree " + text_of(plan, "tree") + " at " + text_of(plan, "time") + "\n";
    text += plan["read_as"].is_null()
                ? "Values were read anonymously (without --as), not with the user's rights.\n"
                : "Values were read with the administrator's rights, as " + text_of(plan, "read_as") + ".\n";
    if (plan.contains("locale_missing"))
        text += "This machine has no locale " + text_of(plan, "locale_missing") +
                ": messages, names of days and comparisons are as in the locale C.\n";
    return text;
}

static std::string preface(const Json &plan) {
    std::string text = show_heading(plan);
    if (plan.contains("refused"))
        text += "A login would be refused: " + text_of(plan, "refused") + ". If it were not:\n";
    text += "Environment:";
    const Json none = Json::object();
    const Json &environment = plan.contains("environment") ? plan["environment"] : none;
    for (const auto &[name, value] : environment.items())
        text += " " + word(harmless(name) + "=" + harmless(value.get<std::string>()));
    return text + "\n";
}

static std::string count_line(const Json &plan) {
    const size_t mistakes = plan_count_mistakes(plan);
    if (mistakes == 0) return "No mistakes.\n";
    return mistakes == 1 ? "1 mistake.\n" : std::to_string(mistakes) + " mistakes.\n";
}

std::string show_text(const Json &plan) {
    std::string text = preface(plan);
    int source = -2;
    for (const Json &effect : plan["effects"]) {
        if (effect.value("kind", "") == "script") continue;
        const int now = effect.value("source", -1);
        if (now != source) text += "\n" + heading(plan["sources"], now) + "\n";
        source = now;
        text += show_beside(effect.value("line", 0), show_effect(effect));
    }
    return text + "\n" + count_line(plan);
}
