#include "tools/qrtlogin/window/record.h"

#include "platform/catalogue.h"
#include "platform/prompt/window/safe_text.h"

static constexpr size_t most_lines = 200; // of a section

LoginRecord::LoginRecord() {
    mistakes.title = catalogue_text("Mistakes in the scripts");
    programs.title = catalogue_text("Programs that failed");
    drives.title = catalogue_text("Drives");
    variables.title = catalogue_text("Variables that were set");
}

std::string record_script_name(char script) {
    if (script == 'c') return catalogue_text("Container's script");
    if (script == 'p') return catalogue_text("Profile's script");
    if (script == 'u') return catalogue_text("User's script");
    return catalogue_text("Script");
}

static void add(RecordSection *section, const std::string &line) {
    if (section->lines.size() < most_lines)
        section->lines.push_back(line);
    else
        ++section->more;
}

static std::string safe(std::string_view text) {
    std::string line = window_safe_text(text);
    for (char &letter : line)
        if (letter == '\n') letter = ' ';
    return line;
}

// "User's script, line 12: MAP F:="; the line of a mistake that comes at a script's end is not known.
static std::string place_and_text(const LoginMessage &message) {
    const std::string script = record_script_name(message.fields[0][0]);
    const std::string where = safe(message.fields[1]), text = safe(message.fields[2]);
    if (where.empty()) return catalogue_format("%1$s, line unknown: %2$s", script.c_str(), text.c_str());
    return catalogue_format("%1$s, %2$s: %3$s", script.c_str(), where.c_str(), text.c_str());
}

std::string LoginRecord::note(const LoginMessage &message) {
    std::string line;
    switch (message.kind) {
        case 'm':
            line = place_and_text(message);
            add(&mistakes, line);
            break;
        case 'p':
            line = place_and_text(message) + " \u2013 " + safe(message.fields[3]);
            add(&programs, line);
            break;
        case 'd':
        case 'v':
            line = safe(message.fields[0]) + " = " + safe(message.fields[1]);
            add(message.kind == 'd' ? &drives : &variables, line);
            break;
        case 'e': {
            const char how = message.fields[0][0];
            outcome = how == 'c'   ? LoginOutcome::clean
                      : how == 'm' ? LoginOutcome::mistakes
                      : how == 'x' ? LoginOutcome::cancelled
                                   : LoginOutcome::failed;
            reason = safe(message.fields[1]);
            break;
        }
        default:
            break;
    }
    return line;
}

std::string LoginRecord::heading() const {
    switch (outcome) {
        case LoginOutcome::clean:
            return catalogue_text("You are logged in");
        case LoginOutcome::mistakes:
            return catalogue_text("You are logged in, but not everything has worked");
        case LoginOutcome::failed:
            return catalogue_text("The login has failed");
        case LoginOutcome::cancelled:
            return catalogue_text("The login was cancelled");
        case LoginOutcome::none:
            break;
    }
    const std::string shownTree = window_safe_name(tree);
    if (tree.empty()) return catalogue_text("Logging in");
    if (user.empty()) return catalogue_format("Log in to the tree %s", shownTree.c_str());
    return catalogue_format("Logging in to the tree %1$s as %2$s", shownTree.c_str(), window_safe_name(user).c_str());
}

std::vector<const RecordSection *> LoginRecord::sections() const {
    return {&mistakes, &programs, &drives, &variables};
}

std::string record_report(const LoginRecord &record, const std::string &time, const std::string &output) {
    std::string text = record.heading() + "\n" + time + "\n";
    text += catalogue_format("Tree: %s", safe(record.tree).c_str()) + "\n";
    text += catalogue_format("User: %s", safe(record.user).c_str()) + "\n";
    if (!record.reason.empty()) text += record.reason + "\n";
    for (const RecordSection *section : record.sections()) {
        if (section->lines.empty()) continue;
        text += "\n" + section->title + "\n";
        for (const std::string &line : section->lines) text += "  " + line + "\n";
        if (section->more > 0)
            text += "  " + catalogue_format("... and %lu more", static_cast<unsigned long>(section->more)) + "\n";
    }
    return text + "\n" + catalogue_text("Output") + "\n" + output;
}
