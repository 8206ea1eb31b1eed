// One attribute value: fetched from the client into a block of our own, and turned into text by its syntax.
//
// Nothing in a value is taken on trust: a length counts only as far as the block goes, and a pointer that does not lead
// into the block counts as null.
#ifndef DIRECTORY_ATTRIBUTE_VALUES_H
#define DIRECTORY_ATTRIBUTE_VALUES_H

#include <cstdint>
#include <string>
#include <string_view>

#include "base/output.h"
#include "base/text.h"
#include "platform/zk.h"

struct AttributeValue {
    uint32_t syntax = 0;
    OwnedText block;   // at least as large as any of the value layouts, and a NUL stands after the value
    uint32_t size = 0; // the value's bytes in the block
};

// Which results of a client call end a sequence of them.
using CallFailed = bool (*)(uint32_t code);
bool attribute_values_any_code(uint32_t code); // all but 0

// Fetches the next value of the reply: its size, then the value, each with a trace of its failure. Returns the code of
// the last call made, which is the first one that `failed`, or ZKE_NO_MEMORY when the size is beyond all reason; then
// `value` is left alone.
uint32_t attribute_values_fetch(TracedFunction function, uint32_t handle, ZKDSBuffer *reply, uint32_t syntax,
                                AttributeValue &value, CallFailed failed = attribute_values_any_code);

// The value as text, for the attribute of that name; the time until a password expires is given in days. Empty when the
// value is.
std::string attribute_values_text(const AttributeValue &value, std::string_view attribute);

// Whether the block itself is the text: the syntaxes without a layout of their own.
bool attribute_values_is_plain(const AttributeValue &value);

// Syntax 24: ctime's own text, valid until the next conversion of a time.
char *attribute_values_ctime(const AttributeValue &value);

// Syntax 15: the volume object's name and the path; empty where the pointer is null.
std::string_view attribute_values_volume(const AttributeValue &value);
std::string_view attribute_values_path(const AttributeValue &value);

#endif
