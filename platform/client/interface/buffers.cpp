#include "platform/client/interface/buffers.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <set>

#include "platform/client/interface/answers.h"
#include "platform/client/interface/boundary.h"

// What the parts of a reply take of the buffer's size.
static constexpr size_t reply_head = 4;
static constexpr size_t attribute_head = 12;
static constexpr size_t value_head = 4;

static std::set<const ZKDSBuffer *> &open_buffers() {
    static std::set<const ZKDSBuffer *> buffers;
    return buffers;
}

static size_t attribute_size(const SchemaAttribute &attribute) {
    return attribute_head + strlen(attribute.name) + 1;
}

static size_t value_size(const ReplyAttribute &attribute, size_t number) {
    return value_head + value_block_size(attribute.attribute->syntax, attribute.values[number]);
}

static void clear_reply(ZKDSBuffer *reply) {
    reply->attributes.clear();
    reply->nextAttribute = 0;
    reply->nextValue = 0;
    reply->used = reply_head;
}

static bool take_room(ZKDSBuffer *reply, size_t size) {
    if (size > reply->size || reply->used > reply->size - size) return false;
    reply->used += size;
    return true;
}

// An attribute's parts: each value is one, and an attribute without values is one too.
static size_t count_parts(const ReplyAttribute &attribute) {
    return std::max<size_t>(attribute.values.size(), 1);
}

// Adds the parts from `first` on as far as they fit. Returns the first that did not, or the number of all.
static size_t add_parts(ZKDSBuffer *reply, const ReplyAttribute &from, size_t first) {
    for (size_t number = first; number < count_parts(from); number++) {
        const size_t head = number == first ? attribute_size(*from.attribute) : 0;
        if (!take_room(reply, head + (from.values.empty() ? 0 : value_size(from, number)))) return number;
        if (number == first) reply->attributes.push_back({from.attribute, {}});
        if (!from.values.empty()) reply->attributes.back().values.push_back(from.values[number]);
    }
    return count_parts(from);
}

static void check_buffer(const ZKDSBuffer *buffer) {
    error_unless(buffer != nullptr, ZKE_BAD_PARAMETER);
    error_unless(buffer_is_open(buffer), ZKE_BAD_HANDLE);
}

// The value that comes next. Throws CodedError, ZKE_BAD_PARAMETER, before the first attribute, and when the attribute
// has no further value or is not of that syntax.
static const Value &next_value(const ZKDSBuffer *reply, uint32_t syntax) {
    check_buffer(reply);
    error_unless(reply->nextAttribute > 0, ZKE_BAD_PARAMETER);
    const ReplyAttribute &current = reply->attributes[reply->nextAttribute - 1];
    error_unless(current.attribute->syntax == syntax && reply->nextValue < current.values.size(), ZKE_BAD_PARAMETER);
    return current.values[reply->nextValue];
}

bool buffer_is_open(const ZKDSBuffer *buffer) {
    return open_buffers().count(buffer) == 1;
}

void buffer_fill(ZKDSBuffer *reply, const std::vector<ReplyAttribute> &attributes, int32_t *iteration) {
    error_unless(*iteration >= ZK_NO_MORE_ITERATIONS && *iteration != 0, ZKE_BAD_PARAMETER);
    clear_reply(reply);
    size_t toSkip = *iteration == ZK_NO_MORE_ITERATIONS ? 0 : static_cast<size_t>(*iteration);
    size_t done = 0;
    bool complete = true;
    for (size_t i = 0; i < attributes.size() && complete; i++) {
        const size_t first = std::min(toSkip, count_parts(attributes[i]));
        const size_t end = add_parts(reply, attributes[i], first);
        toSkip -= first;
        done += end;
        complete = end == count_parts(attributes[i]);
    }
    error_unless(!complete || (toSkip == 0 && (*iteration <= 0 || !reply->attributes.empty())), ZKE_BAD_PARAMETER);
    if (!complete && reply->attributes.empty()) {
        clear_reply(reply);
        throw CodedError(ZKE_BUFFER_TOO_SMALL);
    }
    *iteration = complete ? ZK_NO_MORE_ITERATIONS : static_cast<int32_t>(done);
}

uint32_t ZKDSAllocBuf(uint32_t size, ZKDSBuffer **buffer) {
    return guarded([&] {
        error_unless(size != 0 && buffer != nullptr, ZKE_BAD_PARAMETER);
        auto made = std::make_unique<ZKDSBuffer>();
        made->size = size;
        open_buffers().insert(made.get());
        *buffer = made.release();
    });
}

uint32_t ZKDSFreeBuf(ZKDSBuffer *buffer) {
    return guarded([&] {
        check_buffer(buffer);
        open_buffers().erase(buffer);
        delete buffer;
    });
}

uint32_t ZKDSInitBuf(uint32_t, uint32_t operation, ZKDSBuffer *buffer) {
    return guarded([&] {
        check_buffer(buffer);
        error_unless(operation == ZK_OPERATION_READ, ZKE_BAD_PARAMETER);
        clear_reply(buffer);
        buffer->used = 0;
        buffer->names.clear();
        buffer->initialised = true;
    });
}

uint32_t ZKDSPutAttrName(uint32_t, ZKDSBuffer *buffer, const char *attribute) {
    return guarded([&] {
        check_buffer(buffer);
        error_unless(attribute != nullptr && buffer->initialised, ZKE_BAD_PARAMETER);
        const size_t length = strlen(attribute);
        error_unless(length <= ZK_MAX_ATTR_NAME, ZKE_NO_SUCH_ATTRIBUTE);
        error_unless(take_room(buffer, length + 1), ZKE_BUFFER_TOO_SMALL);
        buffer->names.emplace_back(attribute);
    });
}

uint32_t ZKDSGetAttrCount(uint32_t, ZKDSBuffer *reply, uint32_t *count) {
    return guarded([&] {
        check_buffer(reply);
        error_unless(count != nullptr, ZKE_BAD_PARAMETER);
        *count = static_cast<uint32_t>(reply->attributes.size());
    });
}

uint32_t ZKDSGetAttrName(uint32_t, ZKDSBuffer *reply, char *attribute, uint32_t *valueCount, uint32_t *syntax) {
    return guarded([&] {
        check_buffer(reply);
        error_unless(attribute != nullptr && valueCount != nullptr && syntax != nullptr, ZKE_BAD_PARAMETER);
        error_unless(reply->nextAttribute < reply->attributes.size(), ZKE_NO_MORE_ENTRIES);
        reply->nextValue = 0;
        const ReplyAttribute &next = reply->attributes[reply->nextAttribute++];
        put_text(next.attribute->name, ZK_MAX_ATTR_NAME + 1, attribute);
        *valueCount = static_cast<uint32_t>(next.values.size());
        *syntax = next.attribute->syntax;
    });
}

uint32_t ZKDSComputeAttrValSize(uint32_t, ZKDSBuffer *reply, uint32_t syntax, uint32_t *size) {
    return guarded([&] {
        const Value &value = next_value(reply, syntax);
        error_unless(size != nullptr, ZKE_BAD_PARAMETER);
        *size = static_cast<uint32_t>(value_block_size(syntax, value));
    });
}

uint32_t ZKDSGetAttrVal(uint32_t, ZKDSBuffer *reply, uint32_t syntax, void *value) {
    return guarded([&] {
        const Value &next = next_value(reply, syntax);
        error_unless(value != nullptr, ZKE_BAD_PARAMETER);
        value_write(syntax, next, value);
        reply->nextValue++;
    });
}
