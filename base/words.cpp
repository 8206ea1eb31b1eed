#include "base/words.h"

#include <algorithm>
#include <cstring>

#include "base/output.h"

// Tried in this order.
static const char placeholders[] = "_~`@?";

static void report_null(const char *function) {
    output_print("ERROR, called %s(NULL)\n", function);
}

// Moves the text from `quote` on over the backslash before it, and keeps the text's length with a blank at its end.
static void drop_backslash(char *quote) {
    const size_t length = strlen(quote);
    memmove(quote - 1, quote, length);
    quote[length - 1] = ' ';
}

char *getQuote(char *str) {
    if (str == nullptr) {
        report_null("getQuote");
        return nullptr;
    }
    char *quote = strchr(str, '"');
    while (quote != nullptr && quote != str && quote[-1] == '\\') {
        drop_backslash(quote);
        quote = strchr(quote, '"');
    }
    return quote;
}

void replaceChar(char *str, char ch) {
    for (char *at = str; at != nullptr && *at != '\0'; ++at) {
        if (*at == ch) *at = ' ';
    }
}

static char choose_placeholder(const char *str) {
    const char *candidate = placeholders;
    while (*candidate != '\0' && strchr(str, *candidate) != nullptr) ++candidate;
    return *candidate;
}

char prescanForQuotedStrings(char *str) {
    if (str == nullptr) {
        report_null("prescanForQuotedStrings");
        return '\0';
    }
    char *open = getQuote(str);
    if (open == nullptr) return '\0';
    const char placeholder = choose_placeholder(str);
    if (placeholder == '\0') return '\0';
    while (open != nullptr) {
        char *close = getQuote(open + 1);
        if (close == nullptr) break;
        for (char *at = open; at != close; ++at) {
            if (*at == ' ') *at = placeholder;
        }
        open = getQuote(close + 1);
    }
    return placeholder;
}

std::vector<std::string> words_split(const char *line) {
    std::string hidden(line ? line : "");
    const char placeholder = prescanForQuotedStrings(hidden.data());
    std::vector<std::string> words;
    size_t start = hidden.find_first_not_of(' ');
    while (start != std::string::npos) {
        const size_t end = std::min(hidden.find(' ', start), hidden.size());
        words.push_back(hidden.substr(start, end - start));
        // That the program's name keeps its placeholders is required.
        if (placeholder != '\0' && words.size() > 1) replaceChar(words.back().data(), placeholder);
        start = hidden.find_first_not_of(' ', end);
    }
    return words;
}
