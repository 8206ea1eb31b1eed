#include "directory/attribute_compare.h"

#include <memory>
#include <new>

#include "base/output.h"
#include "base/text.h"
#include "directory/attribute_values.h"
#include "directory/attributes.h"
#include "directory/names.h"

// Aliases followed, strings translated, typeless and canonical names, and the accepted bit 0x40.
static constexpr uint32_t compare_flags = 0x57;
static constexpr int abbreviated_length = 256;

static std::string abbreviated(const char *name) {
    char out[abbreviated_length + 1] = "";
    qrt_abbrivateName(name, out, abbreviated_length);
    return out;
}

std::string attribute_compare_wanted(const char *name) {
    std::string wanted = name ? name : "";
    if (!wanted.empty() && wanted.front() == '.')
        wanted.erase(0, 1);
    else if (!wanted.empty() && wanted.back() == '.')
        wanted.pop_back();
    else if (CurrentContext)
        wanted += CurrentContext; // it brings its own leading "."
    return abbreviated(wanted.c_str());
}

static uint32_t traced(const char *call, uint32_t code) {
    if (code != ZK_OK) TRACE(qrt_compareAttribute, 4, "%s returned %x", call, code);
    return code;
}

namespace {
struct ContextFree {
    void operator()(const uint32_t *context) const { ZKDSFreeContext(*context); }
};
} // namespace

// Canonicalizes the object's name for the trace and binds a scratch context to the caller's tree. Returns 0 or the code
// of the first call that failed; `saved` are the flags that the caller's context had.
static uint32_t prepare_contexts(uint32_t handle, uint32_t scratch, const char *tree, const char *object,
                                 uint32_t &saved) {
    uint32_t code = traced("ZKDSGetContext", ZKDSGetContext(handle, DCK_FLAGS, &saved));
    if (code != ZK_OK) return code;
    uint32_t flags = compare_flags;
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
static uint32_t search_reply(const AttributeRead &read, const std::string &wanted, uint32_t *flag) {
    uint32_t attributes = 0;
    uint32_t code = attributes_count(read, attributes);
    for (uint32_t i = 0; code == ZK_OK && *flag != 0 && i < attributes; i++) {
        AttributeHead head;
        code = attributes_head(read, head);
        for (uint32_t j = 0; code == ZK_OK && *flag != 0 && j < head.values; j++) {
            AttributeValue value;
            code = attribute_values_fetch(read.function, read.handle, read.reply.get(), head.syntax, value);
            if (code == ZK_OK && text_equal_nocase(abbreviated(value.block.get()), wanted)) *flag = 0;
        }
    }
    return code;
}

// The flag becomes 1 only when the read is about to be made: a lookup that did not get so far is no answer.
static uint32_t search_attribute(uint32_t handle, const char *object, const char *attribute, const std::string &wanted,
                                 uint32_t *flag) {
    AttributeRead read{TRACED(qrt_compareAttribute)};
    uint32_t code = attributes_prepare(read, handle, attribute);
    if (code != ZK_OK) return code;
    *flag = 1;
    do {
        code = attributes_read(read, object);
        if (code == ZK_OK) code = search_reply(read, wanted, flag);
    } while (code == ZK_OK && *flag != 0 && read.iteration != ZK_NO_MORE_ITERATIONS);
    return code;
}

static uint32_t compare(uint32_t handle, const char *object, const char *attribute, const char *name, uint32_t *flag) {
    char tree[names_buffer_size] = "";
    uint32_t code = traced("ZKDSGetContext", ZKDSGetContext(handle, DCK_TREE_NAME, tree));
    if (code != ZK_OK) return code;
    uint32_t scratch = 0;
    code = traced("ZKDSCreateContextHandle", ZKDSCreateContextHandle(&scratch));
    if (code != ZK_OK) return code;
    std::unique_ptr<uint32_t, ContextFree> owned(&scratch);
    uint32_t saved = 0;
    code = prepare_contexts(handle, scratch, tree, object, saved);
    if (code != ZK_OK) return code;
    std::string wanted = attribute_compare_wanted(name);
    owned.reset();
    code = search_attribute(handle, object, attribute, wanted, flag);
    // After a failed read the flags stay as they are: required.
    return code == ZK_OK ? traced("ZKDSSetContext", ZKDSSetContext(handle, DCK_FLAGS, &saved)) : code;
}

uint32_t qrt_compareAttribute(uint32_t handle, const char *object, const char *attribute, const char *name,
                              uint32_t *flag) try {
    if (!object) return ZKE_NO_SUCH_ENTRY;
    if (!attribute || !flag) return ZKE_BAD_PARAMETER;
    return compare(handle, object, attribute, name, flag);
} catch (const std::bad_alloc &) {
    return ZKE_NO_MEMORY;
}
