#include "tests/unit/statement_forms.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <map>
#include <sstream>

#include "tests/unit/keywords.h"

namespace statement_forms {

// Every form of a statement. Words in capitals are keywords, <name> is a phrase below.
static const std::vector<std::string> statements = {"",
                                                    "WRITE <text>",
                                                    "DISPLAY <file>",
                                                    "DISPLAY <object>",
                                                    "DISPLAY <unc>",
                                                    "FDISPLAY <file>",
                                                    "FDISPLAY <object>",
                                                    "FDISPLAY <unc>",
                                                    "CLS",
                                                    "PAUSE",
                                                    "WAIT",
                                                    "FIRE <string>",
                                                    "FIRE <string> <word>",
                                                    "FIRE PHASERS",
                                                    "FIRE PHASERS <word>",
                                                    "FIRE PHASERS <word> <word>",
                                                    "FIRE PHASER <word>",
                                                    "FIRE PHASER <word> <word>",
                                                    "LASTLOGINTIME",
                                                    "LAST_LOGIN_TIME",
                                                    "DEBUG 0",
                                                    "DEBUG OFF",
                                                    "INCLUDE <file>",
                                                    "INCLUDE <object>",
                                                    "INCLUDE <unc>",
                                                    "MAP <rest>",
                                                    "PATH <rest>",
                                                    "# <rest>",
                                                    "@ <rest>",
                                                    "DRIVE <word> :",
                                                    "DRIVE * <word>",
                                                    "SET <word> = <text>",
                                                    "SET <word> =",
                                                    "DOS SET <word> = <text>",
                                                    "DOS SET <word> =",
                                                    "TEMP SET <word> = <text>",
                                                    "TEMP SET <word> =",
                                                    "LOCAL SET <word> = <text>",
                                                    "SHIFT",
                                                    "SHIFT <string>",
                                                    "SHIFT - <string>",
                                                    "CONTEXT <object>",
                                                    "CHANGE_CONTEXT <object>",
                                                    "CX <object>",
                                                    "PROFILE <word>",
                                                    "NO_DEFAULT",
                                                    "SET_TIME ON",
                                                    "SET_TIME OFF",
                                                    "SCRIPT_SERVER <word>",
                                                    "TERM <string>",
                                                    "SWAP",
                                                    "NOSWAP",
                                                    "COMSPEC = <file>",
                                                    "REGREAD <quoted>",
                                                    "DOS VERIFY <word>",
                                                    "TREE <joined>",
                                                    "TREE <joined> / <object>",
                                                    "TREE <joined> / <object> ; <word>",
                                                    "ATTACH <word>",
                                                    "IF <condition> <then> <statement>",
                                                    "IF <condition> <then>",
                                                    "IF <condition>",
                                                    "ELSE",
                                                    "END",
                                                    "ENDIF",
                                                    "BREAK ON",
                                                    "BREAK OFF",
                                                    "DOS BREAK ON",
                                                    "DOS BREAK OFF",
                                                    "EXIT",
                                                    "GOTO <target>",
                                                    ": <word>",
                                                    "<string> :",
                                                    "<reserved> :",
                                                    "REMARK <rest>",
                                                    "REM <rest>",
                                                    "* <rest>",
                                                    "; <rest>"};

static const std::vector<std::string> reserved = label_words();

// What each phrase may be. Between a word and what may not be a word "-" and "*" are left out: they belong to the word.
static const std::map<std::string, std::vector<std::string>> phrases = {
    {"<word>", {"<string>", "<string>", "<string>", "<reserved>", "<whole>", "<string> - <word>", "<string> * <word>"}},
    {"<whole>", {"MAP", "REMARK", "REM"}},
    {"<text>",
     {"<part>", "<part>", "<part>", "<word>", "<part> <sign> <text>", "<word> <apart> <part>", "; <text>", "% <word>",
      ""}},
    {"<part>", {"<quoted>", "<quoted>", "% < <string> >", "< <string> >", "<member> OF <quoted>"}},
    {"<member>", {"MEMBER", "MEMBERS", "NOT MEMBER", "NOT MEMBERS"}},
    {"<sign>", {";", "+", "-", "*", "/"}},
    {"<apart>", {";", "+", "/"}},
    {"<joined>",
     {"<string>", "<string>", "<reserved>", "% <string>", "<string> <joined>", "<string> - <joined>",
      "% < <string> > <joined>"}},
    {"<object>", {"<joined>", "<joined>", "<joined> = <object>"}},
    {"<file>",
     {"<string> : <string> <rest>", "<string> : / <rest>", "<string> : \\ <rest>", "<string> / <string> : <string>",
      "<string> \\ <string> : / <rest>", "/ <rest>", "<included>"}},
    {"<unc>", {"\\ \\ <joined> \\ <string> <rest>", "\\ \\ <joined> \\ / <rest>"}},
    {"<then>", {"THEN", "THEN", "THEN BEGIN", "THEN DO"}},
    {"<condition>",
     {"<comparison>", "<comparison>", "<comparison>", "( <condition> )", "<comparison> AND <condition>",
      "<comparison> OR <condition>", "<comparison> NOR <condition>", "( <condition> ) OR <condition>"}},
    {"<comparison>",
     {"<part>", "<member> OF <quoted>", "<side> <operator> <operand>", "<side> <operator> <operand>",
      "VALUE <side> <operator> <operand>"}},
    {"<side>", {"<part>", "<string>", "<part> + <part>"}},
    {"<operand>", {"<part>", "<string>", "<part> ; <string>"}},
    {"<operator>",
     {"=", "= =", "EQUAL", "EQUALS", "IS", "< >", "! =", "NOT EQUALS", "GREATER THAN", ">", "> =", "<", "LESS THAN",
      "< ="}},
};

static const std::vector<std::string> strings = {"A", "b",  "word", "x.y",     ".a.b", "4",
                                                 "0", "'c", "[r]",  "UNKNOWN", "$d",   "O"};
static const std::vector<std::string> quotes = {
    "\"\"",       "\"0\"",       "\"1\"",           "\"12\"",      "\"some text\"", "\"%LOGIN_NAME\"",
    "\"a\\\"b\"", "\"WRITE (\"", "\"\\n\\7\\\\ \"", "\"EXIT ; #\""};
static const std::vector<std::string> rests = {
    "", "x", "H:=SYS:USERS", "WRITE \"a\"", ") ( = %", "open \" quote", "\t blanks  ", "*;#@", "a\\b\\", "% %< \"%A"};
static const std::vector<std::string> oddities = {
    "(",  ")",    "!", "%", "<", ">", "\\", "\"", "'",  "`",  "\x80", "\x01", "\xe2\x80\x9c",
    "\r", "\r\r", ":", "=", ";", "#", "@",  "*",  "\t", "\f", "DO",   "/",    "-"};

const std::vector<std::string> &Source::forms() {
    return statements;
}

Tokens Source::statement() {
    return expanded(any_of(statements));
}

Tokens Source::statement_without(const std::string &without) {
    for (;;) {
        Tokens tokens = statement();
        if (std::find(tokens.begin(), tokens.end(), without) == tokens.end()) return tokens;
    }
}

Tokens Source::expanded(const std::string &form) {
    Tokens tokens;
    std::istringstream stream(form);
    for (std::string symbol; stream >> symbol;) expand(symbol, tokens);
    return tokens;
}

void Source::expand(const std::string &symbol, Tokens &tokens) {
    const auto phrase = phrases.find(symbol);
    if (phrase != phrases.end()) {
        for (const std::string &token : expanded(any_of(phrase->second))) tokens.push_back(token);
    } else if (symbol == "<statement>") {
        // Not the empty one, which makes the line a block's, nor the label BEGIN, which belongs to the THEN.
        Tokens inner = statement();
        while (inner.empty() || inner[0] == "BEGIN") inner = statement();
        tokens.insert(tokens.end(), inner.begin(), inner.end());
    } else if (symbol == "<string>") {
        tokens.push_back(any_of(strings));
    } else if (symbol == "<quoted>") {
        tokens.push_back(any_of(quotes));
    } else if (symbol == "<rest>") {
        tokens.push_back(" " + any_of(rests));
    } else if (symbol == "<reserved>") {
        tokens.push_back(any_of(reserved));
    } else if (symbol == "<included>") {
        tokens.push_back(included_);
    } else if (symbol == "<target>") {
        // A label of its own, so that no jump ever finds one.
        tokens.push_back("N" + std::to_string(1000 + labels_++));
    } else {
        tokens.push_back(symbol);
    }
}

static bool is_delimiter(char c) {
    return strchr(" \t\r\n:;\\/\"#@%*+-()!=<>", c) != nullptr;
}

std::string Source::letter_case(const std::string &token) {
    const bool keyword = std::all_of(token.begin(), token.end(), [](char c) { return isupper(c) || c == '_'; });
    if (!keyword || token.size() < 2 || one_in(2)) return token;
    std::string other = token;
    for (char &c : other)
        if (one_in(2)) c = static_cast<char>(tolower(c));
    return other;
}

std::string Source::written(const Tokens &tokens) {
    static const char *const blanks[] = {" ", " ", "  ", "\t", " \t "};
    std::string line = one_in(5) ? any_of(blanks) : "";
    for (const std::string &token : tokens) {
        const bool apart = line.empty() || is_delimiter(line.back()) || is_delimiter(token[0]);
        // A keyword and the rest of its line are always apart: the rest brings its own blank.
        if (!apart || (one_in(2) && token[0] != ' ')) line += any_of(blanks);
        line += letter_case(token);
    }
    return line;
}

void Source::damage(Tokens &tokens) {
    if (tokens.empty()) return;
    const size_t at = below(tokens.size()), other = below(tokens.size());
    const auto place = tokens.begin() + static_cast<std::ptrdiff_t>(at);
    switch (below(4)) {
        case 0:
            tokens.erase(place);
            break;
        case 1:
            tokens.insert(place, std::string(*place));
            break;
        case 2:
            std::swap(tokens[at], tokens[other]);
            break;
        default:
            tokens.insert(place, any_of(oddities));
    }
}

void Source::damage(std::string &line) {
    const size_t at = below(line.size() + 1);
    switch (below(4)) {
        case 0:
            line.resize(at);
            break;
        case 1:
            line.insert(at, any_of(oddities));
            break;
        case 2:
            std::replace(line.begin(), line.end(), '"', '\'');
            break;
        default:
            if (at < line.size()) line.erase(at, 1);
    }
}

std::string Source::mistaken(Tokens tokens) {
    damage(tokens);
    if (one_in(3)) damage(tokens);
    std::string line = written(tokens);
    if (one_in(2)) damage(line);
    return line;
}

} // namespace statement_forms
