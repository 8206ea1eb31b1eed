#include "base/text.h"

#include <algorithm>
#include <cstring>
#include <new>

// Only the 26 letters fold, whatever locale the calling process has set.
static unsigned char fold(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 'A' && byte <= 'Z' ? static_cast<unsigned char>(byte - 'A' + 'a') : byte;
}

OwnedText text_copy(std::string_view text) {
    auto *copy = static_cast<char *>(malloc(text.size() + 1));
    if (copy == nullptr) throw std::bad_alloc();
    std::copy(text.begin(), text.end(), copy);
    copy[text.size()] = '\0';
    return OwnedText(copy);
}

OwnedText text_copy_or_null(const char *text) {
    return text == nullptr ? nullptr : text_copy(text);
}

void text_wipe(char *text) {
    if (text != nullptr) explicit_bzero(text, strlen(text));
}

__attribute__((noinline)) void text_wipe_stack() {
    char below[16384];
    explicit_bzero(below, sizeof below);
}

int text_compare_nocase(const char *a, const char *b) {
    while (*a != '\0' && fold(*a) == fold(*b)) {
        ++a;
        ++b;
    }
    return fold(*a) - fold(*b);
}

bool text_equal_nocase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return fold(x) == fold(y); });
}

int text_number(const char *text) {
    return static_cast<int>(strtol(text, nullptr, 10));
}

// Joining with a null hands back the other argument itself: callers tell by comparing pointers what they may free.
static char *join(char *a, std::string_view separator, char *b) {
    if (a == nullptr) return b;
    if (b == nullptr) return a;
    const size_t a_length = strlen(a);
    const size_t b_length = strlen(b);
    auto *joined = static_cast<char *>(malloc(a_length + separator.size() + b_length + 1));
    if (joined == nullptr) return nullptr;
    memcpy(joined, a, a_length);
    memcpy(joined + a_length, separator.data(), separator.size());
    memcpy(joined + a_length + separator.size(), b, b_length + 1);
    return joined;
}

// A separator that is already there is doubled, not suppressed: file names are compared and shown as joined.
char *util_concat_filespec(char *a, char *b) {
    return join(a, "/", b);
}
char *util_concat_strings(char *a, char *b) {
    return join(a, " ", b);
}
char *util_concat_strings_nos(char *a, char *b) {
    return join(a, "", b);
}

char *util_parse_replace_string(char *s, const char *find, const char *repl) {
    if (s == nullptr || find == nullptr || repl == nullptr) return s;
    const char *match = strstr(s, find);
    if (match == nullptr) return s;
    const auto prefix = static_cast<size_t>(match - s);
    const size_t repl_length = strlen(repl);
    const char *rest = match + strlen(find);
    const size_t rest_length = strlen(rest);
    auto *replaced = static_cast<char *>(malloc(prefix + repl_length + rest_length + 1));
    if (replaced == nullptr) return nullptr;
    memcpy(replaced, s, prefix);
    memcpy(replaced + prefix, repl, repl_length);
    memcpy(replaced + prefix + repl_length, rest, rest_length + 1);
    free(s);
    return replaced;
}
