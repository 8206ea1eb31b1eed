#include "tools/qrtscript/plan/record_text.h"

#include <algorithm>

#include "language/token_names.h"
#include "platform/common/nocase.h"
#include "platform/terminal_text.h"
#include "tools/qrtscript/secret_lines.h"

const char *const record_hidden = "********";

std::string record_text(std::string_view bytes) {
    return terminal_text(
        bytes, [](const TerminalLetter &letter) { return !letter.valid; });
}

static bool is_keyword(std::string_view word) {
    for (const char *const *name = lex_token_names; *name != nullptr; name++) {
        const std::string_view quoted = *name;
        if (quoted.front() == '"' && equal_nocase(quoted.substr(1, quoted.size() - 2), word)) return true;
    }
    return false;
}

// A statement that begins with a word of its own is a mistake, or a label.
static bool may_be_unread(std::string_view line) {
    const std::vector<size_t> starts = secret_statement_starts(line);
    return std::any_of(starts.begin(), starts.end(), [line](size_t start) {
        const std::string_view word = secret_word(line, start);
        return !word.empty() && !is_keyword(word);
    });
}

std::string record_line(std::string_view line, bool isUnread) {
    std::string text;
    size_t shown = 0;
    for (const SecretPart &part : secret_parts(line, isUnread || may_be_unread(line))) {
        text += line.substr(shown, part.begin - shown);
        text += record_hidden;
        shown = part.end;
    }
    return text + std::string(line.substr(shown));
}

std::string record_word(std::string_view word) {
    return record_line("#" + std::string(word)).substr(1);
}

// Up to the closing quote, or to where a word ends.
static std::string_view first_operand(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    const bool isQuoted = !text.empty() && text.front() == '"';
    if (isQuoted) text.remove_prefix(1);
    return text.substr(0, text.find_first_of(isQuoted ? "\"" : " \t;\""));
}

std::vector<std::string> record_secrets(std::string_view line) {
    std::vector<std::string> secrets;
    for (const SecretPart &part : secret_parts(line, may_be_unread(line))) {
        const std::string_view operand = first_operand(line.substr(part.begin, part.end - part.begin));
        const bool isReference = operand.find_first_of("%<") != operand.npos;
        if (part.isValue && !isReference && !operand.empty()) secrets.emplace_back(operand);
    }
    return secrets;
}

bool record_is_in_secret(std::string_view line, std::string_view word) {
    const std::vector<SecretPart> parts = secret_parts(line, may_be_unread(line));
    return std::any_of(parts.begin(), parts.end(), [&](const SecretPart &part) {
        return line.substr(part.begin, part.end - part.begin).find(word) != line.npos;
    });
}
