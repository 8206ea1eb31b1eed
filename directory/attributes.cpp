#include "directory/attributes.h"

#include "base/output.h"
#include "base/text.h"
#include "directory/attribute_values.h"
#include "qrtscript.h"

QrtAttributeName ctable[] = {
    {"LAST_NAME", "Surname"},
    {nullptr, nullptr},
};

static uint32_t allocate(TracedFunction function, ReadBuffer &buffer) {
    ZKDSBuffer *made = nullptr;
    uint32_t code = ZKDSAllocBuf(attribute_buffer_size, &made);
    buffer.reset(made);
    if (code != ZK_OK) TRACE_FOR(function, 4, "ZKDSAllocBuf returned %x", code);
    return code == ZK_OK && made == nullptr ? ZKE_NO_MEMORY : code;
}

uint32_t attributes_prepare(AttributeRead &read, uint32_t handle, const char *attribute, CallFailed failed) {
    read.handle = handle;
    uint32_t code = allocate(read.function, read.request);
    if (failed(code) || !read.request) return code;
    code = allocate(read.function, read.reply);
    if (failed(code) || !read.reply) return code;
    code = ZKDSInitBuf(handle, ZK_OPERATION_READ, read.request.get());
    if (code != ZK_OK) TRACE_FOR(read.function, 4, "ZKDSInitBuf returned %x", code);
    if (failed(code)) return code;
    code = ZKDSPutAttrName(handle, read.request.get(), attribute);
    if (code != ZK_OK) TRACE_FOR(read.function, 4, "ZKDSPutAttrName(%s) returned %x", attribute, code);
    return code;
}

uint32_t attributes_read(AttributeRead &read, const char *object) {
    uint32_t code = ZKDSRead(read.handle, object, ZK_INFO_NAMES_AND_VALUES, 0, read.request.get(), &read.iteration,
                             read.reply.get());
    if (code != ZK_OK) TRACE_FOR(read.function, 4, "ZKDSRead(%s) returned %x", object, code);
    return code;
}

uint32_t attributes_count(const AttributeRead &read, uint32_t &count) {
    uint32_t code = ZKDSGetAttrCount(read.handle, read.reply.get(), &count);
    if (code != ZK_OK) TRACE_FOR(read.function, 4, "ZKDSGetAttrCount returned %x", code);
    return code;
}

uint32_t attributes_head(const AttributeRead &read, AttributeHead &head) {
    uint32_t code = ZKDSGetAttrName(read.handle, read.reply.get(), head.name, &head.values, &head.syntax);
    if (code != ZK_OK) TRACE_FOR(read.function, 4, "ZKDSGetAttrName returned %x", code);
    return code;
}

// Each reply overwrites the one before, so that only the last one is left to be examined: required.
static uint32_t read_last_reply(AttributeRead &read, const char *object) {
    uint32_t code = ZK_OK;
    do code = attributes_read(read, object);
    while (code == ZK_OK && read.iteration != ZK_NO_MORE_ITERATIONS);
    return code;
}

// The object has no such attribute: an attribute that the schema knows just has no value there.
static uint32_t ask_schema(AttributeRead &read) {
    uint32_t code =
        ZKDSReadAttrDef(read.handle, ZK_INFO_NAMES, 0, read.request.get(), &read.iteration, read.reply.get());
    if (code != ZK_OK) TRACE(qrt_GetAttribute, 4, "ZKDSReadAttrDef returned %x", code);
    return code == ZK_OK ? ZKE_NO_SUCH_VALUE : code;
}

namespace {

// Takes what is to be handed out of one value.
struct Reader {
    bool everyValue; // or only the first one of an attribute
    AttributeText (*take)(AttributeValue &value, const char *attribute);
};

} // namespace

static AttributeText in_memory(OwnedText text) {
    AttributeText made = {std::move(text)};
    made.text = made.owned.get();
    return made;
}

static uint32_t walk_reply(AttributeRead &read, const Reader &reader, AttributeText &text) {
    uint32_t attributes = 0;
    uint32_t code = attributes_count(read, attributes);
    text = in_memory(text_copy(""));
    for (uint32_t i = 0; code == ZK_OK && i < attributes; i++) {
        AttributeHead head;
        code = attributes_head(read, head);
        if (code == ZK_OK && !reader.everyValue && head.values > 1) head.values = 1;
        for (uint32_t j = 0; code == ZK_OK && j < head.values; j++) {
            AttributeValue value;
            code = attribute_values_fetch(read.function, read.handle, read.reply.get(), head.syntax, value);
            if (code == ZK_OK) text = reader.take(value, head.name);
        }
    }
    return code;
}

static AttributeText take_text(AttributeValue &value, const char *attribute) {
    return in_memory(attribute_values_is_plain(value) ? std::move(value.block)
                                                      : text_copy(attribute_values_text(value, attribute)));
}

// A time is handed out as ctime's own text, everything without an entry here as the raw block: the callers of the
// lighter reader count on both.
static AttributeText take_value(AttributeValue &value, const char *attribute) {
    if (value.syntax == ZK_SYNTAX_TIME) return {nullptr, attribute_values_ctime(value)};
    if (value.syntax == ZK_SYNTAX_NETWORK_ADDRESS || value.syntax == ZK_SYNTAX_PATH)
        return in_memory(text_copy(attribute_values_text(value, attribute)));
    return in_memory(std::move(value.block));
}

static const char *directory_name_of(const char *identifier) {
    for (const QrtAttributeName *row = ctable; row->identifier != nullptr; row++)
        if (equal_nocase(row->identifier, identifier)) return row->attribute;
    return identifier;
}

static uint32_t user_variable(const char *value, OwnedText &text) {
    text = text_copy(value != nullptr ? value : "");
    return value != nullptr ? ZK_OK : QRT_NOT_FOUND;
}

uint32_t attributes_text(uint32_t handle, const char *object, const char *attribute, OwnedText &text) {
    if (attribute[0] >= '0' && attribute[0] <= '9' && !attribute[1])
        return user_variable(uservars[attribute[0] - '0'], text);
    if (object == nullptr) return ZKE_NO_SUCH_ENTRY;
    AttributeRead read{TRACED(qrt_GetAttribute)};
    uint32_t code = attributes_prepare(read, handle, directory_name_of(attribute));
    if (code != ZK_OK) return code;
    code = read_last_reply(read, object);
    if (code == ZKE_NO_SUCH_ATTRIBUTE) return ask_schema(read);
    AttributeText found;
    if (code == ZK_OK) code = walk_reply(read, {false, take_text}, found);
    if (code == ZK_OK) text = std::move(found.owned);
    return code;
}

uint32_t attributes_last_value(uint32_t handle, const char *object, const char *attribute, AttributeText &value) {
    if (object == nullptr) return ZKE_NO_SUCH_ENTRY;
    AttributeRead read{TRACED(__GetAttribute)};
    uint32_t code = attributes_prepare(read, handle, attribute);
    if (code == ZK_OK) code = read_last_reply(read, object);
    return code == ZK_OK ? walk_reply(read, {true, take_value}, value) : code;
}
