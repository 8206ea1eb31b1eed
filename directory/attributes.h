// Reading the attributes of directory objects: the read sequence of the client's buffer calls, and the two readers that
// are built on it.
#ifndef DIRECTORY_ATTRIBUTES_H
#define DIRECTORY_ATTRIBUTES_H

#include <cstdint>
#include <memory>
#include <string>

#include "base/output.h"
#include "directory/attribute_values.h"
#include "platform/zk.h"

inline constexpr uint32_t attribute_buffer_size = 4096;

struct ReadBufferFree {
    void operator()(ZKDSBuffer *buffer) const { ZKDSFreeBuf(buffer); }
};
using ReadBuffer = std::unique_ptr<ZKDSBuffer, ReadBufferFree>;

// A read of one attribute for `function`, the exported one that was called. Both buffers are given back when it ends.
struct AttributeRead {
    TracedFunction function;
    uint32_t handle = 0;
    ReadBuffer reply = nullptr, request = nullptr;
    int32_t iteration = ZK_NO_MORE_ITERATIONS;
};

// What a reply says about one attribute.
struct AttributeHead {
    char name[ZK_MAX_ATTR_NAME + 1] = "";
    uint32_t values = 0;
    uint32_t syntax = 0;
};

// Allocates the two buffers and puts the attribute's name into the request. Returns the code of the last call made,
// which is the first one that `failed`.
uint32_t attributes_prepare(AttributeRead &read, uint32_t handle, const char *attribute,
                            CallFailed failed = attribute_values_any_code);
// Each is the client's call with a trace of its failure. Returns its code.
uint32_t attributes_read(AttributeRead &read, const char *object);
uint32_t attributes_count(const AttributeRead &read, uint32_t &count);
uint32_t attributes_head(const AttributeRead &read, AttributeHead &head);

// The value that a read yields: `text` is in `owned`, or is ctime's own, which is not to be freed.
struct AttributeText {
    OwnedText owned;
    char *text = nullptr;
};

// The attribute's first value as text; a single digit names a user variable, which is empty and QRT_NOT_FOUND when it
// is not set. An attribute that the schema knows and the object does not have is ZKE_NO_SUCH_VALUE. `text` is not null
// for 0. Returns 0 or the client's code.
uint32_t attributes_text(uint32_t handle, const char *object, const char *attribute, OwnedText &text);

// The attribute's last value: the raw value unless it is a time, an address or a path. Returns and throws the same.
uint32_t attributes_last_value(uint32_t handle, const char *object, const char *attribute, AttributeText &value);

#endif
