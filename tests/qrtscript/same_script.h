// Whether two texts are the same script: what may differ is blanks between tokens, the letter case of keywords, and how
// lines end.
#ifndef TESTS_QRTSCRIPT_SAME_SCRIPT_H
#define TESTS_QRTSCRIPT_SAME_SCRIPT_H

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "language/grammar.tab.h"
#include "platform/common/nocase.h"
#include "script/labels.h"
#include "tools/qrtscript/check/rules.h"
#include "tools/qrtscript/check/syntax.h"

namespace same_script {

// A token a line, without the returns, and without the line ends at the end of the text.
inline std::vector<std::string> tokens(const Syntax &syntax) {
    std::vector<std::string> list;
    for (const Token &token : syntax.tokens) {
        if (token.kind == '\r') continue;
        std::string spelling(syntax.spelling(token));
        const bool isKeyword = token.kind >= KW_WRITE && token.kind < WHOLELINE && token.kind != STRING;
        if (isKeyword) std::transform(spelling.begin(), spelling.end(), spelling.begin(), upper_case);
        list.push_back(std::to_string(token.kind) + " " + spelling);
    }
    while (!list.empty() && list.back() == "10 \n") list.pop_back();
    return list;
}

inline std::vector<std::string> errors(const Syntax &syntax) {
    std::vector<std::string> list;
    for (const Finding &finding : check_script(syntax))
        if (finding.severity == Severity::error)
            list.push_back(std::string(finding.code->name) + " " + finding.message + " | " + finding.quotedLine);
    return list;
}

inline bool is_blank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// Where a jump goes on: the line's number, and what is left of it but for the blanks around that.
inline std::string landing(const std::string &text, const std::string &label) {
    labels_forget();
    const std::optional<int32_t> found = labels_find(text, label);
    labels_forget();
    if (!found) return "nowhere";
    const auto place = static_cast<size_t>(*found);
    std::string rest = text.substr(place, text.find('\n', place) - place);
    while (!rest.empty() && is_blank(rest.back())) rest.pop_back();
    return std::to_string(std::count(text.begin(), text.begin() + *found, '\n')) + ":" + rest;
}

// What a GOTO of this script, or of one that includes it, could name.
inline std::set<std::string> possible_labels(const std::string &text) {
    constexpr size_t longest = 12; // of what a line begins with behind a colon
    std::set<std::string> labels;
    std::string word;
    for (const char c : text + "\n") {
        if (std::string_view(" \t\n\r:;\\/\"#@%+()!=<>\0", 20).find(c) == std::string_view::npos) {
            word += c;
            if (word.size() <= longest) labels.insert(word);
        } else if (!word.empty()) {
            labels.insert(word);
            word.clear();
        }
    }
    return labels;
}

// What differs; empty when nothing does.
inline std::string difference(const std::string &before, const std::string &after) {
    const Syntax one = syntax_read(before), other = syntax_read(after);
    if (tokens(one) != tokens(other)) return "tokens";
    if (errors(one) != errors(other)) return "errors";
    if (one.mistakes.size() != other.mistakes.size()) return "mistakes";
    for (const std::string &label : possible_labels(before + "\n" + after))
        if (landing(before, label) != landing(after, label)) return "label " + label;
    return "";
}

} // namespace same_script

#endif
