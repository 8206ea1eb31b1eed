#include "directory/attribute_compare.h"

#include "base/output.h"
#include "base/text.h"
#include "directory/attribute_values.h"
#include "directory/attributes.h"
#include "directory/contexts.h"
#include "directory/names.h"

static constexpr size_t abbreviated_length = 256;

std::string attribute_compare_wanted(std::string_view name) {
    std::string wanted(name);
    if (!wanted.empty() && wanted.front() == '.')
        wanted.erase(0, 1);
    else if (!wanted.empty() && wanted.back() == '.')
        wanted.pop_back();
    else if (CurrentContext != nullptr)
        wanted += CurrentContext; // it brings its own leading "."
    return names_abbreviated(wanted, abbreviated_length);
}

static uint32_t traced(const char *call, uint32_t code) {
    if (code != ZK_OK) TRACE(qrt_compareAttribute, 4, "%s returned %x", call, code);
    return code;
}

// Canonicalizes the object's name for the trace and binds a scratch context to the caller's tree. Returns 0 or the code
// of the first call that failed; `saved` are the flags that the caller's context had.
static uint32_t prepare_contexts(uint32_t handle, uint32_t scratch, const char *tree, const char *object,
                                 uint32_t &saved) {
    uint32_t code = traced("ZKDSGetContext", ZKDSGetContext(handle, DCK_FLAGS, &saved));
    if (code != ZK_OK) return code;
    uint32_t flags = contexts_flags;
    ZKDSSetContext(handle, DCK_FLAGS, &flags);
    code = traced("ZKDSSetContext", ZKDSSetContext(scratch, DCK_FLAGS, &flags));
    if (code != ZK_OK) return code;
    char canonical[names_buffer_size] = "";
    code = traced("ZKDSCanonicalizeName", ZKDSCanonicalizeName(handle, object, canonical));
    if (code != ZK_OK) return code;
    TRACE(qrt_compareAttribute, 4, "canonical name of (%s) is (%s)", object, canonical);
    code = traced("ZKDSSetContext", ZKDSSetContext(scratch, DCK_TREE_NAME, tree));
    if (code != ZK_OK) return code;
    return traced("ZKDSSetContext", ZKDSSetContext(scratch, DCK_NAME_CONTEXT, ""));
}

// Compares the values of one reply until one matches.
static uint32_t search_reply(const AttributeRead &read, const std::string &wanted, uint32_t &flag) {
    uint32_t attributes = 0;
    uint32_t code = attributes_count(read, attributes);
    for (uint32_t i = 0; code == ZK_OK && flag != 0 && i < attributes; i++) {
        AttributeHead head;
        code = attributes_head(read, head);
        for (uint32_t j = 0; code == ZK_OK && flag != 0 && j < head.values; j++) {
            AttributeValue value;
            code = attribute_values_fetch(read.function, read.handle, read.reply.get(), head.syntax, value);
            if (code == ZK_OK && equal_nocase(names_abbreviated(value.block.get(), abbreviated_length), wanted))
                flag = 0;
        }
    }
    return code;
}

// The flag becomes 1 only when the read is about to be made: a lookup that did not get so far is no answer.
static uint32_t search_attribute(uint32_t handle, const char *object, const char *attribute, const std::string &wanted,
                                 uint32_t &flag) {
    AttributeRead read{TRACED(qrt_compareAttribute)};
    uint32_t code = attributes_prepare(read, handle, attribute);
    if (code != ZK_OK) return code;
    flag = 1;
    do {
        code = attributes_read(read, object);
        if (code == ZK_OK) code = search_reply(read, wanted, flag);
    } while (code == ZK_OK && flag != 0 && read.iteration != ZK_NO_MORE_ITERATIONS);
    return code;
}

uint32_t attribute_compare(uint32_t handle, const char *object, const char *attribute, std::string_view name,
                           uint32_t &flag) {
    char tree[names_buffer_size] = "";
    uint32_t code = traced("ZKDSGetContext", ZKDSGetContext(handle, DCK_TREE_NAME, tree));
    if (code != ZK_OK) return code;
    Context scratch;
    code = traced("ZKDSCreateContextHandle", ZKDSCreateContextHandle(&scratch.handle));
    if (code != ZK_OK) return code;
    uint32_t saved = 0;
    code = prepare_contexts(handle, scratch.handle, tree, object, saved);
    if (code != ZK_OK) return code;
    const std::string wanted = attribute_compare_wanted(name);
    scratch.reset();
    code = search_attribute(handle, object, attribute, wanted, flag);
    // After a failed read the flags stay as they are: required.
    return code == ZK_OK ? traced("ZKDSSetContext", ZKDSSetContext(handle, DCK_FLAGS, &saved)) : code;
}
