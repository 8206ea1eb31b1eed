// The pieces that messages between a program and its windows are made of, each message in one packet: a letter for its
// kind, then fields of two bytes for the size, the low one first, and as many bytes. What is read comes from a
// stranger.
#ifndef PLATFORM_PROMPT_WINDOW_FRAMING_H
#define PLATFORM_PROMPT_WINDOW_FRAMING_H

#include <cstddef>
#include <string_view>

constexpr size_t window_size_bytes = 2;

// No message is longer.
constexpr size_t window_message_limit = 8192;

// Takes a field of at most `limit` bytes, none of them NUL, off the front of `rest`. False: it does not begin with one.
bool window_field_take(std::string_view *rest, size_t limit, std::string_view *field);

// Takes the kind, if it is one of `kinds`.
bool window_kind_take(std::string_view *rest, std::string_view kinds, char *kind);

// Writes a field of less than 64 KiB where there is room for it, and returns its end.
char *window_field_put(std::string_view field, char *to);

#endif
