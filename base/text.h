// Owned heap text and the string utilities: what the parser's actions and the commands build their operands with.
#ifndef BASE_TEXT_H
#define BASE_TEXT_H

#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/common/nocase.h"

struct TextFree {
    void operator()(char *text) const { free(text); }
};

// Heap text that crosses an interface: freed with free(), null means none.
using OwnedText = std::unique_ptr<char, TextFree>;

// Overwrites heap text with zero bytes, in a way the compiler keeps. Null is allowed.
void text_wipe(char *text);

struct TextWipeAndFree {
    void operator()(char *text) const {
        text_wipe(text);
        free(text);
    }
};

// A secret in heap text, which is overwritten before it is freed.
using SecretText = std::unique_ptr<char, TextWipeAndFree>;

// A heap copy of `text`.
OwnedText text_copy(std::string_view text);

// The same of a text that may be missing: null for null, or for none.
OwnedText text_copy_or_null(const char *text);
OwnedText text_copy_or_null(const std::optional<std::string> &text);

// An allocator that overwrites memory before it frees it.
template <typename T>
struct WipingAllocator {
    using value_type = T;
    WipingAllocator() = default;
    template <typename U>
    explicit WipingAllocator(const WipingAllocator<U> &) {}
    T *allocate(size_t count) { return std::allocator<T>().allocate(count); }
    void deallocate(T *memory, size_t count) {
        explicit_bzero(memory, count * sizeof(T));
        std::allocator<T>().deallocate(memory, count);
    }
    bool operator==(const WipingAllocator &) const { return true; }
    bool operator!=(const WipingAllocator &) const { return false; }
};

// A string that leaves nothing of itself on the heap. One of at most 15 bytes stands on the stack: secret_wipe_traces.
using WipedString = std::basic_string<char, std::char_traits<char>, WipingAllocator<char>>;

// Compares two texts, folding bytes to lower case in the C locale: below, equal to or above 0.
int text_compare_nocase(const char *a, const char *b);

// Raises the letters of a text to upper case in place, in the C locale.
void text_raise(char *text);

// The number that text begins with, base 10 (leading blanks and a sign allowed, 0 without a digit), truncated to 32
// bits.
int text_number(const char *text);

#endif
