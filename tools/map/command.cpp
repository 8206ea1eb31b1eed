#include "tools/map/command.h"

#include "platform/catalogue.h"
#include "tools/map/refusal.h"

static constexpr char blanks[] = " \t";

static std::string trimmed(std::string_view text) {
    size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return "";
    return std::string(text.substr(first, text.find_last_not_of(blanks) - first + 1));
}

// The command line's letters are those of English in every locale.
static char upper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

static bool is_word(std::string text, const char *word) {
    for (char &c : text) c = upper(c);
    return text == word;
}

// Cuts the first word off `text`.
static std::string take_word(std::string *text) {
    size_t end = text->find_first_of(blanks);
    std::string word = text->substr(0, end);
    *text = end == std::string::npos ? "" : trimmed(text->substr(end));
    return word;
}

static std::vector<std::string> split_items(const std::string &line) {
    std::vector<std::string> items(1);
    bool quoted = false;
    for (char c : line)
        if (c == '"')
            quoted = !quoted;
        else if (!quoted && (c == ',' || c == ';'))
            items.emplace_back();
        else
            items.back() += c;
    for (std::string &item : items) item = trimmed(item);
    return items;
}

// A number from 1 to `high` written in digits only, or 0.
static int small_number(std::string_view text, int high) {
    if (text.size() > 2) return 0;
    int number = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return 0;
        number = number * 10 + (c - '0');
    }
    return number <= high ? number : 0;
}

static Drive drive_required(const std::string &text) {
    std::optional<Drive> drive = drive_of(text);
    if (!drive)
        throw Refusal(catalogue_format("\"%s:\" is not a drive: use a letter, S1 to S16 or *1 to *21", text.c_str()));
    return *drive;
}

namespace {

struct Keyword {
    const char *word;
    Command::Action action;
};

} // namespace

// ROOT is accepted and changes nothing: every drive is a link, and so its target is the drive's root.
static const Keyword keywords[] = {
    {"ROOT", Command::Action::assign},   {"NEXT", Command::Action::next},     {"N", Command::Action::next},
    {"INS", Command::Action::insert},    {"INSERT", Command::Action::insert}, {"DEL", Command::Action::remove},
    {"DELETE", Command::Action::remove}, {"REM", Command::Action::remove},    {"DISPLAY", Command::Action::display},
    {"ERRORS", Command::Action::errors},
};

static const Keyword *keyword_of(const std::string &word) {
    for (const Keyword &keyword : keywords)
        if (is_word(word, keyword.word)) return &keyword;
    return nullptr;
}

// Cuts the keywords off the front of `text`; one that says what is to be done wins over ROOT.
static Command::Action take_keywords(std::string *text) {
    Command::Action action = Command::Action::assign;
    for (;;) {
        std::string rest = *text;
        const Keyword *keyword = keyword_of(take_word(&rest));
        if (keyword == nullptr) return action;
        if (keyword->action != Command::Action::assign) action = keyword->action;
        *text = rest;
    }
}

static Command switch_command(Command::Action action, const std::string &text) {
    if (!is_word(text, "ON") && !is_word(text, "OFF"))
        throw Refusal(catalogue_text("DISPLAY and ERRORS take ON or OFF"));
    Command command;
    command.action = action;
    command.on = is_word(text, "ON");
    return command;
}

namespace {

// "drive:=target", "drive:" or a target alone; `drive` and `target` mean something only where there is one.
struct Operand {
    bool hasDrive = false;
    bool hasTarget = false;
    std::string drive, target;
};

} // namespace

static Operand operand_of(const std::string &text) {
    Operand operand;
    size_t colon = text.find(':');
    std::string after = colon == std::string::npos ? "" : trimmed(text.substr(colon + 1));
    bool assigns = after[0] == '=';
    bool alone = colon != std::string::npos && after.empty() && drive_of(trimmed(text.substr(0, colon))).has_value();
    operand.hasDrive = assigns || alone;
    operand.hasTarget = !alone;
    operand.drive = trimmed(text.substr(0, colon));
    operand.target = assigns ? trimmed(after.substr(1)) : text;
    return operand;
}

static Command drive_command(Command::Action action, const Operand &operand) {
    Command command;
    command.action = action;
    command.drive = drive_required(operand.drive);
    command.target = operand.target;
    const std::string name = command.drive.name() + ":";
    if (action == Command::Action::remove && operand.hasTarget) throw Refusal(catalogue_text("DEL takes only a drive"));
    if (!operand.hasTarget && action == Command::Action::assign) command.action = Command::Action::show;
    if (operand.target.empty()) throw Refusal(catalogue_format("no target given for drive %s", name.c_str()));
    if (action == Command::Action::next)
        throw Refusal(catalogue_format("NEXT takes only a target, not drive %s", name.c_str()));
    if (action == Command::Action::insert && !(command.drive.isSearch() && operand.hasTarget))
        throw Refusal(catalogue_text("INS takes a search drive and a target, as in INS S1:=SRV1/SYS:public"));
    return command;
}

// A target without a drive: for NEXT, or one more place of the search path.
static Command target_command(Command::Action action, const std::string &target, const Command *before) {
    Command command;
    command.action = action;
    command.target = target;
    if (action == Command::Action::next) return command;
    bool afterSearch = before != nullptr && before->drive.isSearch() &&
                       (before->action == Command::Action::insert || before->action == Command::Action::assign);
    if (action != Command::Action::assign || !afterSearch)
        throw Refusal(catalogue_format("no drive given for \"%s\"", target.c_str()));
    command.action = before->action;
    command.drive.place = before->drive.place + 1;
    return command;
}

static Command item_command(std::string text, const Command *before) {
    Command::Action action = take_keywords(&text);
    if (action == Command::Action::display || action == Command::Action::errors) return switch_command(action, text);
    if (text.empty()) throw Refusal(catalogue_text("missing drive or target next to a comma or after a keyword"));
    Operand operand = operand_of(text);
    if (!operand.hasDrive) return target_command(action, operand.target, before);
    bool goesOnRemoving = before != nullptr && before->action == Command::Action::remove && !operand.hasTarget;
    if (action == Command::Action::assign && goesOnRemoving) action = Command::Action::remove;
    return drive_command(action, operand);
}

std::optional<Drive> drive_of(std::string_view text) {
    Drive drive;
    if (text.empty()) return std::nullopt;
    if (text.size() == 1 && upper(text[0]) >= 'A' && upper(text[0]) <= 'Z') {
        drive.letter = upper(text[0]);
        return drive;
    }
    if (text[0] == '*') {
        int number = small_number(text.substr(1), 'Z' - Drive::first_local + 1);
        drive.letter = static_cast<char>(Drive::first_local + number - 1);
        return number > 0 ? std::optional<Drive>(drive) : std::nullopt;
    }
    drive.place = small_number(text.substr(1), Drive::search_drives);
    if ((text[0] != 'S' && text[0] != 's') || drive.place == 0) return std::nullopt;
    return drive;
}

std::vector<Command> command_parse(const std::string &line) {
    std::vector<Command> commands;
    if (trimmed(line).empty()) {
        commands.emplace_back();
        return commands;
    }
    for (const std::string &item : split_items(line))
        commands.push_back(item_command(item, commands.empty() ? nullptr : &commands.back()));
    return commands;
}
