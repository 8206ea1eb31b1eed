// Reading attributes through request and reply buffers.
#include <cstring>

#include "tests/client_spy/spy_state.h"

using namespace spy;

uint32_t ZKDSAllocBuf(uint32_t size, ZKDSBuffer **buffer) {
    if (auto code = record("ZKDSAllocBuf", {shown(size)})) return *code;
    *buffer = new ZKDSBuffer;
    (*buffer)->number = state().nextBuffer++;
    state().buffers.insert(*buffer);
    return ZK_OK;
}

uint32_t ZKDSFreeBuf(ZKDSBuffer *buffer) {
    if (auto code = record("ZKDSFreeBuf", {shown(buffer)})) return *code;
    if (!buffer_known(buffer, "ZKDSFreeBuf")) return ZKE_BAD_HANDLE;
    state().buffers.erase(buffer);
    delete buffer;
    return ZK_OK;
}

uint32_t ZKDSInitBuf(uint32_t context, uint32_t operation, ZKDSBuffer *buffer) {
    if (auto code = record("ZKDSInitBuf", {shown(context), shown(operation), shown(buffer)})) return *code;
    if (!buffer_known(buffer, "ZKDSInitBuf")) return ZKE_BAD_HANDLE;
    buffer->requested.clear();
    return ZK_OK;
}

uint32_t ZKDSPutAttrName(uint32_t context, ZKDSBuffer *buffer, const char *attribute) {
    if (auto code = record("ZKDSPutAttrName", {shown(context), shown(buffer), shown(attribute)})) return *code;
    if (!buffer_known(buffer, "ZKDSPutAttrName")) return ZKE_BAD_HANDLE;
    buffer->requested = attribute;
    return ZK_OK;
}

// The iterations of a read are 1, 2, ... : the number of replies already given.
uint32_t ZKDSRead(uint32_t context, const char *object, uint32_t infoType, uint32_t allAttributes, ZKDSBuffer *request,
                  int32_t *iteration, ZKDSBuffer *reply) {
    if (auto code = record("ZKDSRead", {shown(context), shown(object), shown(infoType), shown(allAttributes),
                                        "iter " + std::to_string(*iteration)}))
        return *code;
    if (!buffer_known(request, "ZKDSRead") || !buffer_known(reply, "ZKDSRead")) return ZKE_BAD_HANDLE;
    context_of(context);
    if (!object || state().objects.count(object_key(object)) == 0) return ZKE_NO_SUCH_ENTRY;
    auto row = state().answers.find({object_key(object), attribute_key(request->requested)});
    if (row == state().answers.end()) return ZKE_NO_SUCH_ATTRIBUTE;
    size_t given = *iteration < 0 ? 0 : static_cast<size_t>(*iteration);
    reply->reply = given < row->second.size() ? row->second[given] : Reply();
    reply->attribute = 0;
    *iteration = given + 1 < row->second.size() ? static_cast<int32_t>(given + 1) : ZK_NO_MORE_ITERATIONS;
    return ZK_OK;
}

uint32_t ZKDSReadAttrDef(uint32_t context, uint32_t infoType, uint32_t allAttributes, ZKDSBuffer *request,
                         int32_t *iteration, ZKDSBuffer *reply) {
    if (auto code = record("ZKDSReadAttrDef", {shown(context), shown(infoType), shown(allAttributes),
                                               "iter " + std::to_string(*iteration)}))
        return *code;
    if (!buffer_known(request, "ZKDSReadAttrDef") || !buffer_known(reply, "ZKDSReadAttrDef")) return ZKE_BAD_HANDLE;
    return state().schema.count(attribute_key(request->requested)) == 0 ? ZKE_NO_SUCH_ATTRIBUTE : ZK_OK;
}

uint32_t ZKDSGetAttrCount(uint32_t context, ZKDSBuffer *reply, uint32_t *count) {
    if (auto code = record("ZKDSGetAttrCount", {shown(context), shown(reply)})) return *code;
    if (!buffer_known(reply, "ZKDSGetAttrCount")) return ZKE_BAD_HANDLE;
    *count = reply->reply.claimedCount.value_or(static_cast<uint32_t>(reply->reply.attributes.size()));
    return ZK_OK;
}

uint32_t ZKDSGetAttrName(uint32_t context, ZKDSBuffer *reply, char *attribute, uint32_t *valueCount, uint32_t *syntax) {
    if (auto code = record("ZKDSGetAttrName", {shown(context), shown(reply)})) return *code;
    if (!buffer_known(reply, "ZKDSGetAttrName")) return ZKE_BAD_HANDLE;
    if (reply->attribute >= reply->reply.attributes.size()) return ZKE_BAD_PARAMETER;
    const Attribute &row = reply->reply.attributes[reply->attribute++];
    reply->value = 0;
    copy_out(attribute, row.name.substr(0, ZK_MAX_ATTR_NAME));
    *valueCount = row.claimedCount.value_or(static_cast<uint32_t>(row.values.size()));
    *syntax = row.values.empty() ? 3 : row.values.front().syntax;
    return ZK_OK;
}

static const Value *next_value(const ZKDSBuffer *reply) {
    if (reply->attribute == 0) return nullptr;
    const std::vector<Value> &values = reply->reply.attributes[reply->attribute - 1].values;
    return reply->value < values.size() ? &values[reply->value] : nullptr;
}

uint32_t ZKDSComputeAttrValSize(uint32_t context, ZKDSBuffer *reply, uint32_t syntax, uint32_t *size) {
    if (auto code = record("ZKDSComputeAttrValSize", {shown(context), shown(reply), shown(syntax)})) return *code;
    if (!buffer_known(reply, "ZKDSComputeAttrValSize")) return ZKE_BAD_HANDLE;
    const Value *value = next_value(reply);
    if (!value) return ZKE_BAD_PARAMETER;
    *size = value->claimedSize.value_or(static_cast<uint32_t>(value->block.size()));
    return ZK_OK;
}

uint32_t ZKDSGetAttrVal(uint32_t context, ZKDSBuffer *reply, uint32_t syntax, void *value) {
    if (auto code = record("ZKDSGetAttrVal", {shown(context), shown(reply), shown(syntax)})) return *code;
    if (!buffer_known(reply, "ZKDSGetAttrVal")) return ZKE_BAD_HANDLE;
    const Value *next = next_value(reply);
    if (!next) return ZKE_BAD_PARAMETER;
    reply->value++;
    size_t size = std::min<size_t>(next->block.size(), next->claimedSize.value_or(UINT32_MAX));
    char *block = static_cast<char *>(value);
    memcpy(block, next->block.data(), size);
    for (const auto &[field, target] : next->pointers) {
        const char *address = block + target;
        if (field + sizeof address <= size) memcpy(block + field, &address, sizeof address);
    }
    return ZK_OK;
}
