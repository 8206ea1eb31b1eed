// Traps of program lines, and what is unsafe.

#include <algorithm>
#include <cctype>
#include <iterator>
#include <string>
#include <vector>

#include "base/words.h"
#include "language/grammar.tab.h"
#include "platform/catalogue.h"
#include "platform/common/nocase.h"
#include "tools/code_variables.h"
#include "tools/qrtscript/check/known_names.h"
#include "tools/qrtscript/check/references.h"
#include "tools/qrtscript/check/rules.h"

static bool is_program(const Statement &statement) {
    return statement.kind == Statement::Kind::program || statement.kind == Statement::Kind::program_nowait;
}

// The token that is the whole line of a statement.
static const Phrase &line_of(const Syntax &syntax, const Statement &statement) {
    return syntax.phrases[statement.operands.front()];
}

// A quote that no identifier follows; what follows one is QS2002.
static void check_quotes(const Syntax &syntax, const Phrase &line, Findings *findings) {
    const size_t start = syntax.begin(line.tokens);
    const std::string &text = line.text;
    for (size_t open = text.find('"'); open != text.npos;) {
        const size_t close = text.find('"', open + 1);
        const bool isClosed = close != text.npos;
        const std::string inside = text.substr(open + 1, isClosed ? close - open - 1 : text.npos);
        const bool takesRest = inside[0] == '%';
        const bool isEscaped = open > 0 && text[open - 1] == '\\';
        if (takesRest) return;
        if (!isEscaped && isClosed && inside.find(' ') != inside.npos)
            findings->push_back(finding_at(
                "QS2004", start + open, close - open + 1,
                catalogue_text(
                    "an argument with blanks cannot be passed without its quotes: set a variable and let the "
                    "program read it")));
        else if (!isEscaped)
            findings->push_back(finding_at("QS2003", start + open, isClosed ? close - open + 1 : 1,
                                           catalogue_text("there is no shell: the quotes stay in the argument")));
        open = isClosed ? text.find('"', close + 1) : text.npos;
    }
    const size_t single = text.find('\'');
    if (single != text.npos && text.find('\'', single + 1) != text.npos)
        findings->push_back(finding_at("QS2003", start + single, 1,
                                       catalogue_text("there is no shell: single quotes stay in the arguments")));
}

static void check_blanks_of_values(const Syntax &syntax, const Phrase &line, Findings *findings) {
    for (const ScriptReference &reference : text_references(syntax, line)) {
        // "%s" is a printf's rather than an attribute's.
        const bool isLetter = reference.name.size() == 1 && isalpha(static_cast<unsigned char>(reference.name[0])) != 0;
        if (reference.isVariable || reference.behindQuote || isLetter || !name_may_have_blanks(reference.name))
            continue;
        findings->push_back(finding_at(
            "QS2004", reference.place, reference.length,
            catalogue_format("each blank in the value of %s begins a new argument: set a variable and let the program "
                             "read it",
                             reference.name.c_str())));
    }
}

static std::string program_of(const std::vector<std::string> &words) {
    return words.empty() ? "" : words.front();
}

static std::string base_name(const std::string &path) {
    return path.substr(path.rfind('/') + 1);
}

// Whether a program runs its arguments, or one of its options, as commands; also with a version at the end of its name.
static bool takes_commands(const std::string &program) {
    static constexpr std::string_view names[] = {"sh",   "bash", "dash",   "zsh",  "ksh",
                                                 "fish", "eval", "python", "perl", "ruby"};
    std::string name = base_name(program);
    while (!name.empty() && ((name.back() >= '0' && name.back() <= '9') || name.back() == '.')) name.pop_back();
    return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

// "-c", "-xc", "-e": what follows is a command.
static bool gives_command(const std::string &word) {
    const bool isShort = word.size() > 1 && word[0] == '-' && word[1] != '-';
    return word == "--command" || (isShort && (word.back() == 'c' || word.back() == 'e'));
}

// Also behind a program that starts another one, as "timeout 5 sh -c ...".
static bool runs_commands(const std::vector<std::string> &words) {
    const auto program = std::find_if(words.begin(), words.end(), takes_commands);
    return std::find_if(program, words.end(), gives_command) != words.end();
}

static void check_commands(const Syntax &syntax, const Phrase &line, const std::vector<std::string> &words,
                           Findings *findings) {
    if (!runs_commands(words)) return;
    for (const ScriptReference &reference : text_references(syntax, line))
        findings->push_back(finding_at(
            "QS5003", reference.place, reference.length,
            catalogue_text("the program runs what the value says: set a variable and use that in the command")));
}

static void check_path(const Phrase &line, const Syntax &syntax, const std::vector<std::string> &words,
                       Findings *findings) {
    const std::string program = program_of(words);
    if (program.empty() || program[0] == '/' || program.find('/') == program.npos) return;
    const size_t start = syntax.begin(line.tokens) + line.text.find(program);
    findings->push_back(
        finding_at("QS5005", start, program.size(),
                   catalogue_text("a program by a relative path is whatever stands in the user's current folder")));
}

// ">file", "2>&1", "|", "$HOME", "`date`".
static bool is_for_shell(std::string_view word) {
    static constexpr std::string_view operators[] = {"|", "||", "|&", "&", "&&", ";"};
    if (std::find(std::begin(operators), std::end(operators), word) != std::end(operators)) return true;
    const size_t digits = std::min(word.find_first_not_of("0123456789&"), word.size());
    const char sign = digits < word.size() ? word[digits] : ' ';
    // "<NAME>" is the sign of something to fill in.
    if (sign == '>' || (sign == '<' && word.back() != '>')) return true;
    const size_t dollar = word.find('$');
    const char next = dollar + 1 < word.size() ? word[dollar + 1] : ' ';
    const bool isVariable = dollar != word.npos && (isalpha(static_cast<unsigned char>(next)) != 0 || next == '_' ||
                                                    next == '{' || next == '(');
    return isVariable || word.find('`') != word.npos;
}

static void check_shell_signs(const Syntax &syntax, const Phrase &line, Findings *findings) {
    const size_t place = syntax.begin(line.tokens);
    const std::string_view text = line.text;
    for (size_t start = text.find_first_not_of(' '); start < text.size();) {
        const size_t end = std::min(text.find(' ', start), text.size());
        const std::string_view word = text.substr(start, end - start);
        if (is_for_shell(word)) {
            // One of a line is enough.
            findings->push_back(finding_at(
                "QS2019", place + start, word.size(),
                catalogue_format("there is no shell: %s becomes an argument; put the command into a shell script",
                                 std::string(word).c_str())));
            return;
        }
        start = text.find_first_not_of(' ', end);
    }
}

static void check_variable(const Syntax &syntax, const Statement &statement, Findings *findings) {
    if (statement.kind != Statement::Kind::set && statement.kind != Statement::Kind::set_empty) return;
    const Phrase &name = syntax.phrases[statement.operands.front()];
    const std::string written(syntax.spelling(name.tokens));
    static constexpr std::string_view languages[] = {"LANGUAGE", "NLSPATH", "TEXTDOMAINDIR", "OUTPUT_CHARSET"};
    if (environment_runs_code(written))
        findings->push_back(
            finding_at(syntax, "QS5004", name.tokens,
                       catalogue_format("%s makes programs run code: a login does not hand it on", written.c_str())));
    else if (std::find(std::begin(languages), std::end(languages), written) != std::end(languages))
        findings->push_back(finding_at(
            syntax, "QS5004", name.tokens,
            catalogue_format("%s changes the messages of this login and of every program after it", written.c_str())));
}

// ATTACH SRV/USER;PASSWORD, which old scripts have and no login reads.
static void check_attach(const Syntax &syntax, const Statement &statement, Findings *findings) {
    if (statement.kind != Statement::Kind::broken || syntax.keyword(statement) != KW_ATTACH) return;
    const TokenRange body = syntax.body(statement);
    for (size_t token = body.first; token < body.end; ++token)
        if (syntax.tokens[token].kind == ';' && token + 1 < body.end) {
            findings->push_back(finding_at(syntax, "QS5002", {token + 1, body.end},
                                           catalogue_text("a password in a script is readable by every user")));
            return;
        }
}

static void check_tree(const Syntax &syntax, const Statement &statement, Findings *findings) {
    constexpr size_t with_password = 3;
    if (statement.kind != Statement::Kind::tree || statement.operands.size() < with_password) return;
    findings->push_back(finding_at(
        syntax, "QS5001", syntax.phrases[statement.operands.back()].tokens,
        catalogue_text("a password in a script is readable by every user: leave it out, and the login asks for it")));
}

void check_programs(const Syntax &syntax, Findings *findings) {
    for (const Statement &statement : syntax.statements) {
        check_variable(syntax, statement, findings);
        check_attach(syntax, statement, findings);
        check_tree(syntax, statement, findings);
        if (!is_program(statement)) continue;
        const Phrase &line = line_of(syntax, statement);
        const std::vector<std::string> words = words_split(line.text);
        // A shell's own quotes mean something to it.
        if (!runs_commands(words)) {
            check_quotes(syntax, line, findings);
            check_shell_signs(syntax, line, findings);
        }
        check_blanks_of_values(syntax, line, findings);
        check_commands(syntax, line, words, findings);
        check_path(line, syntax, words, findings);
    }
}
