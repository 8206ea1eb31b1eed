// The keywords of the language, as the grammar lists them.
#ifndef TESTS_UNIT_KEYWORDS_H
#define TESTS_UNIT_KEYWORDS_H

#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

// The words of a text, which blanks separate.
inline std::vector<std::string> words_of(const std::string &text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

// What `pattern` finds in the grammar between `start` and `end`, its first group.
inline std::vector<std::string> words_of_grammar(const std::string &start, const std::string &end,
                                                 const char *pattern) {
    std::ifstream file(SOURCE_DIR "/language/grammar.y");
    const std::string text((std::istreambuf_iterator<char>(file)), {});
    const size_t from = text.find(start);
    const std::string part = text.substr(from, text.find(end, from) - from);
    const std::regex word(pattern);
    std::vector<std::string> words;
    for (std::sregex_iterator at(part.begin(), part.end(), word), none; at != none; ++at) words.push_back((*at)[1]);
    return words;
}

inline std::vector<std::string> keywords() {
    return words_of_grammar("%token", "%%", "KW_\\w+ \\d+ \"(\\w+)\"");
}

// The reserved words that may stand in front of a label's colon; those that start a whole line come on top.
inline std::vector<std::string> label_words(const std::string &further = "") {
    std::vector<std::string> words = words_of_grammar("\nr_words:", "\n  ;", "\"(\\w+)\"");
    for (const std::string &word : words_of(further)) words.push_back(word);
    return words;
}

#endif
