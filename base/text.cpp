#include "base/text.h"

#include <algorithm>
#include <cstring>
#include <new>

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
OwnedText text_copy_or_null(const std::optional<std::string> &text) {
    return text ? text_copy(*text) : nullptr;
}

void text_wipe(char *text) {
    if (text != nullptr) explicit_bzero(text, strlen(text));
}

int text_compare_nocase(const char *a, const char *b) {
    const auto fold = [](char c) { return static_cast<unsigned char>(lower_case(c)); };
    for (; *a != '\0' && fold(*a) == fold(*b); ++a) ++b;
    return fold(*a) - fold(*b);
}

void text_raise(char *text) {
    for (; *text != '\0'; ++text)
        if (*text >= 'a' && *text <= 'z') *text = static_cast<char>(*text - 'a' + 'A');
}

int text_number(const char *text) {
    return static_cast<int>(strtol(text, nullptr, 10));
}
