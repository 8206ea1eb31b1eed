#include "base/words.h"

#include <algorithm>
#include <cstring>

// Tried in this order.
static const char placeholders[] = "_~`@?";

// Moves the text from `quote` on over the backslash before it, and keeps the text's length with a blank at its end.
static void drop_backslash(char *quote) {
    const size_t length = strlen(quote);
    memmove(quote - 1, quote, length);
    quote[length - 1] = ' ';
}

char *words_find_quote(char *text) {
    char *quote = strchr(text, '"');
    while (quote != nullptr && quote != text && quote[-1] == '\\') {
        drop_backslash(quote);
        quote = strchr(quote, '"');
    }
    return quote;
}

static char choose_placeholder(const char *text) {
    const char *candidate = placeholders;
    while (*candidate != '\0' && strchr(text, *candidate) != nullptr) ++candidate;
    return *candidate;
}

char words_hide_blanks(char *text) {
    char *open = words_find_quote(text);
    if (open == nullptr) return '\0';
    const char placeholder = choose_placeholder(text);
    if (placeholder == '\0') return '\0';
    while (open != nullptr) {
        char *close = words_find_quote(open + 1);
        if (close == nullptr) break;
        std::replace(open, close, ' ', placeholder);
        open = words_find_quote(close + 1);
    }
    return placeholder;
}

std::vector<std::string> words_split(std::string line) {
    const char placeholder = words_hide_blanks(line.data());
    std::vector<std::string> words;
    size_t start = line.find_first_not_of(' ');
    while (start != std::string::npos) {
        const size_t end = std::min(line.find(' ', start), line.size());
        std::string word = line.substr(start, end - start);
        // That the program's name keeps its placeholders is required.
        if (placeholder != '\0' && !words.empty()) std::replace(word.begin(), word.end(), placeholder, ' ');
        words.push_back(std::move(word));
        start = line.find_first_not_of(' ', end);
    }
    return words;
}
