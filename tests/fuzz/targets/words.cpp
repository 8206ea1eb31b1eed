// Splitting command lines into words, and the three functions it is made of.
//
//     input ::= line
#include "base/words.h"

#include <algorithm>

#include "include/exported.h"
#include "tests/fuzz/fuzz.h"

static const char placeholders[] = "_~`@?";

// The line as the search for quotes leaves it: without the backslashes of the quotes that it passed, and as long as
// before. With no placeholder to be had it stops at the first quote that counts.
static std::string without_backslashes(std::string_view line) {
    const auto taken = [line](char c) { return line.find(c) != line.npos; };
    const bool stops = std::all_of(placeholders, placeholders + sizeof placeholders - 1, taken);
    bool stopped = false;
    std::string text;
    for (size_t i = 0; i < line.size(); i++) {
        const bool escaped = !stopped && line[i] == '\\' && i + 1 < line.size() && line[i + 1] == '"';
        if (escaped) i++;
        if (line[i] == '"' && !escaped && stops) stopped = true;
        text += line[i];
    }
    text.append(line.size() - text.size(), ' ');
    return text;
}

static std::string without(std::string text, char c) {
    text.erase(std::remove(text.begin(), text.end(), c), text.end());
    return text;
}

static void check_words(const std::vector<std::string> &words, char placeholder, const std::string &plain) {
    std::string all;
    for (size_t i = 0; i < words.size(); i++) {
        FUZZ_CHECK(!words[i].empty());
        FUZZ_CHECK(words[i].find(' ') == std::string::npos || (i > 0 && placeholder));
        FUZZ_CHECK(i == 0 || !placeholder || words[i].find(placeholder) == std::string::npos);
        all += words[i];
    }
    all = without(all, ' ');
    FUZZ_CHECK((placeholder ? without(all, placeholder) : all) == without(plain, ' '));
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view whole = fuzz_view(data, size);
    const std::string_view line = whole.substr(0, whole.find('\0'));
    ExactText input(line), hidden(line), found(line);
    const std::string plain = without_backslashes(line);

    const char placeholder = prescanForQuotedStrings(hidden.data());
    FUZZ_CHECK(!placeholder || (strchr(placeholders, placeholder) && line.find(placeholder) == line.npos));
    check_words(words_split(input.data()), placeholder, plain);
    FUZZ_CHECK(input.data() == line);
    if (placeholder) replaceChar(hidden.data(), placeholder);
    FUZZ_CHECK(hidden.data() == plain);

    const char *quote = getQuote(found.data());
    FUZZ_CHECK(strlen(found.data()) == line.size());
    FUZZ_CHECK(!quote || *quote == '"');
    return 0;
}
