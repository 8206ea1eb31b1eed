#include "tools/qrtscript/plan/mistake_text.h"

#include <algorithm>
#include <vector>

#include "platform/common/nearest_name.h"
#include "tools/qrtscript/check/forms.h"
#include "tools/qrtscript/secret_lines.h"

static constexpr std::string_view unexpected = "syntax error, unexpected ";
static constexpr std::string_view expecting = ", expecting ";

// The parser's name of a token.
static std::string unexpected_token(std::string_view name) {
    if (name == "STRING") return "unexpected word";
    if (name == "QUOTEDSTRING") return "unexpected text in quotes";
    if (name == "'\\n'" || name == "'\\r'") return "the line ends too early";
    if (name == "$end" || name == "end of file" || name == "yacc_EOF") return "the script ends too early";
    const bool isSign = name.size() > 2 && name.front() == '\'';
    if (!isSign) return "unexpected " + std::string(name);
    return "unexpected \"" + std::string(name == "'\\\\'" ? "\\" : name.substr(1, name.size() - 2)) + "\"";
}

static std::string no_statement(std::string_view word) {
    const std::string text = "no statement begins with " + std::string(word);
    const std::string nearest(nearest_name(std::string(word), statement_keywords()));
    return nearest.empty() ? text : text + "; did you mean " + nearest + "?";
}

// The word or the sign that the statement begins with in which the parser has stopped.
static std::string_view beginning(std::string_view read) {
    std::string_view first;
    for (const size_t start : secret_statement_starts(read)) {
        const std::string_view word = secret_word(read, start);
        if (!word.empty()) first = word;
    }
    return first;
}

std::string mistake_text(std::string_view message, std::string_view read) {
    if (message == "Reserved words cannot be used as labels")
        return "a reserved word is no label: this GOTO does not jump";
    if (message == "IF nested too deep") return "more than 199 IFs inside one another: the whole block is skipped";
    if (message.substr(0, unexpected.size()) != unexpected) return std::string(message);
    const std::string_view rest = message.substr(unexpected.size());
    const size_t end = std::min(rest.find(expecting), rest.size());
    const std::string_view keyword = beginning(read);
    const std::string_view form = statement_form(keyword);
    // Behind a word of its own at the beginning there can only be the sign of a label.
    if (form.empty() && !keyword.empty() && rest.substr(end) == std::string(expecting) + "':'")
        return no_statement(keyword);
    const std::string text = unexpected_token(rest.substr(0, end));
    return form.empty() ? text : text + "; expected: " + std::string(form);
}
