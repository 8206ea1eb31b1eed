// Reading objects: request and reply buffers, values, streams.
#include <algorithm>
#include <cstring>

#include "platform/zk.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/world/answers.h"
#include "tests/fuzz/world/client_state.h"

struct ZKDSBuffer {
    bool open;
    char requested[ZK_MAX_ATTR_NAME + 1];
};

static constexpr size_t most_buffers = 32;
static constexpr size_t block_size = 1200;
static ZKDSBuffer buffers[most_buffers];
static size_t buffers_used;
static int open_files;

// The next value, made when its size is asked for. The pointers in it are offsets into it until it is copied out.
static char block[block_size];
static uint32_t block_length;

void client_buffers_start() {
    for (size_t i = 0; i < buffers_used; i++) buffers[i].open = false;
    buffers_used = 0;
    open_files = 0;
    block_length = 0;
}

void client_buffers_check_end() {
    for (size_t i = 0; i < buffers_used; i++) FUZZ_CHECK(!buffers[i].open);
    FUZZ_CHECK(open_files == 0);
}

static void buffer_used(const ZKDSBuffer *buffer) {
    FUZZ_CHECK(buffer >= buffers && buffer < buffers + most_buffers && buffer->open);
}

uint32_t ZKDSAllocBuf(uint32_t, ZKDSBuffer **buffer) {
    if (const uint32_t code = answers_code()) return code;
    auto *free_one = std::find_if(buffers, buffers + most_buffers, [](const ZKDSBuffer &one) { return !one.open; });
    if (free_one == buffers + most_buffers) return ZKE_NO_MEMORY;
    free_one->open = true;
    free_one->requested[0] = '\0';
    buffers_used = std::max(buffers_used, static_cast<size_t>(free_one - buffers) + 1);
    *buffer = free_one;
    return ZK_OK;
}

uint32_t ZKDSFreeBuf(ZKDSBuffer *buffer) {
    buffer_used(buffer);
    buffer->open = false;
    return answers_code();
}

uint32_t ZKDSInitBuf(uint32_t context, uint32_t, ZKDSBuffer *buffer) {
    buffer_used(buffer);
    return client_code(context);
}

uint32_t ZKDSPutAttrName(uint32_t context, ZKDSBuffer *buffer, const char *attribute) {
    client_context_used(context);
    buffer_used(buffer);
    const size_t length = client_text_in(attribute);
    if (length > ZK_MAX_ATTR_NAME) return ZKE_NO_SUCH_ATTRIBUTE;
    memcpy(buffer->requested, attribute, length + 1);
    return answers_code();
}

static uint32_t read_reply(uint32_t context, const ZKDSBuffer *request, int32_t *iteration, ZKDSBuffer *reply) {
    buffer_used(request);
    buffer_used(reply);
    if (const uint32_t code = client_code(context)) return code;
    memcpy(reply->requested, request->requested, sizeof reply->requested);
    *iteration = answers_byte() == '+' ? 1 : ZK_NO_MORE_ITERATIONS;
    return ZK_OK;
}

uint32_t ZKDSRead(uint32_t context, const char *object, uint32_t, uint32_t, ZKDSBuffer *request, int32_t *iteration,
                  ZKDSBuffer *reply) {
    client_text_in(object);
    return read_reply(context, request, iteration, reply);
}

uint32_t ZKDSReadAttrDef(uint32_t context, uint32_t, uint32_t, ZKDSBuffer *request, int32_t *iteration,
                         ZKDSBuffer *reply) {
    return read_reply(context, request, iteration, reply);
}

uint32_t ZKDSGetAttrCount(uint32_t context, ZKDSBuffer *reply, uint32_t *count) {
    buffer_used(reply);
    const uint32_t code = client_code(context);
    if (code == ZK_OK) *count = answers_number(1);
    return code;
}

static uint32_t answered_syntax() {
    static constexpr uint32_t syntaxes[] = {
        ZK_SYNTAX_NUMERIC_TEXT, ZK_SYNTAX_NETWORK_ADDRESS, ZK_SYNTAX_PATH, ZK_SYNTAX_POSTAL_ADDRESS, ZK_SYNTAX_COUNTER,
        ZK_SYNTAX_TIME,         ZK_SYNTAX_INTERVAL,        UINT32_MAX};
    const uint8_t byte = answers_byte();
    return byte >= 'a' && byte < 'a' + sizeof syntaxes / sizeof *syntaxes ? syntaxes[byte - 'a'] : 3;
}

uint32_t ZKDSGetAttrName(uint32_t context, ZKDSBuffer *reply, char *attribute, uint32_t *valueCount, uint32_t *syntax) {
    buffer_used(reply);
    if (const uint32_t code = client_code(context)) return code;
    const std::string_view name = answers_text(reply->requested, ZK_MAX_ATTR_NAME);
    memmove(attribute, name.data(), name.size());
    attribute[name.size()] = '\0';
    *valueCount = answers_number(1);
    *syntax = answered_syntax();
    return ZK_OK;
}

static size_t layout_size(uint32_t syntax) {
    switch (syntax) {
        case ZK_SYNTAX_NUMERIC_TEXT:
            return sizeof(ZKNumericText);
        case ZK_SYNTAX_NETWORK_ADDRESS:
            return sizeof(ZKNetworkAddress);
        case ZK_SYNTAX_PATH:
            return sizeof(ZKPath);
        case ZK_SYNTAX_POSTAL_ADDRESS:
            return sizeof(ZKPostalAddress);
        case ZK_SYNTAX_COUNTER:
        case ZK_SYNTAX_TIME:
        case ZK_SYNTAX_INTERVAL:
            return sizeof(int32_t);
        default:
            return 0;
    }
}

// A value is its layout, all of whose fields are zero until it is copied out, and a text behind it.
uint32_t ZKDSComputeAttrValSize(uint32_t context, ZKDSBuffer *reply, uint32_t syntax, uint32_t *size) {
    client_context_used(context);
    buffer_used(reply);
    block_length = 0; // of a value without a size there is nothing to copy
    if (const uint32_t code = answers_code()) return code;
    const std::string_view text = answers_text("value", ZK_MAX_NAME);
    const size_t layout = layout_size(syntax);
    memset(block, 0, layout);
    memcpy(block + layout, text.data(), text.size());
    block[layout + text.size()] = '\0';
    block_length = static_cast<uint32_t>(layout + text.size() + 1);
    switch (answers_byte()) {
        case '-': // cut short, its NUL missing at least
            block_length = static_cast<uint32_t>(answers_number(block_length - 1));
            block_length = std::min<uint32_t>(block_length, static_cast<uint32_t>(layout + text.size()));
            break;
        case '^':
            *size = UINT32_MAX;
            return ZK_OK;
        default:
            break;
    }
    *size = block_length;
    return ZK_OK;
}

// A pointer of the value: to the text behind the layout, or wherever the answers say.
template <typename T>
static void put_pointer(T *&pointer, char *value, size_t layout) {
    switch (answers_byte()) {
        case '0':
            pointer = nullptr;
            break;
        case '<':
            pointer = reinterpret_cast<T *>(value) - 1;
            break;
        case '>':
            pointer = reinterpret_cast<T *>(value + block_length);
            break;
        case '~':
            pointer = reinterpret_cast<T *>(uintptr_t{0x41414141});
            break;
        default:
            pointer = reinterpret_cast<T *>(value + layout);
    }
}

static void put_layout(uint32_t syntax, char *value) {
    const size_t layout = layout_size(syntax);
    ZKNumericText numeric;
    ZKNetworkAddress address;
    ZKPath path;
    ZKPostalAddress postal;
    const uint32_t number = answers_number(86400);
    switch (syntax) {
        case ZK_SYNTAX_NUMERIC_TEXT:
            put_pointer(numeric.text, value, layout);
            memcpy(value, &numeric, layout);
            break;
        case ZK_SYNTAX_NETWORK_ADDRESS:
            address.type = number;
            address.length = answers_number(6);
            put_pointer(address.address, value, layout);
            memcpy(value, &address, layout);
            break;
        case ZK_SYNTAX_PATH:
            path.nameSpace = number;
            put_pointer(path.volume, value, layout);
            put_pointer(path.path, value, layout);
            memcpy(value, &path, layout);
            break;
        case ZK_SYNTAX_POSTAL_ADDRESS:
            for (char *&line : postal.line) put_pointer(line, value, layout);
            memcpy(value, &postal, layout);
            break;
        default:
            memcpy(value, &number, sizeof number);
    }
}

uint32_t ZKDSGetAttrVal(uint32_t context, ZKDSBuffer *reply, uint32_t syntax, void *value) {
    buffer_used(reply);
    if (const uint32_t code = client_code(context)) return code;
    memcpy(value, block, block_length);
    const size_t layout = layout_size(syntax);
    if (layout > 0 && layout <= block_length) put_layout(syntax, static_cast<char *>(value));
    return ZK_OK;
}

uint32_t ZKDSReadObjectInfo(uint32_t context, const char *object, char *distinguishedName, ZKDSObjectInfo *info) {
    client_text_in(object);
    if (const uint32_t code = client_code(context)) return code;
    client_name_out(distinguishedName, object);
    if (info) {
        *info = {};
        const std::string_view name = answers_byte() == 'm' ? "Directory Map" : answers_text("Volume", 33);
        memcpy(info->baseClass, name.data(), name.size());
    }
    return ZK_OK;
}

uint32_t ZKDSOpenStream(uint32_t context, const char *object, const char *attribute, uint32_t, uint32_t *file) {
    client_text_in(object);
    client_text_in(attribute);
    if (const uint32_t code = client_code(context)) return code;
    *file = 301;
    open_files++;
    return ZK_OK;
}

// A stream is empty unless the answers say what it contains.
uint32_t ZKReadFile(uint32_t, uint32_t count, uint32_t *bytesRead, void *data) {
    FUZZ_CHECK(open_files > 0);
    if (const uint32_t code = answers_code()) return code;
    const std::string_view text = answers_text("", count);
    memcpy(data, text.data(), text.size());
    *bytesRead = static_cast<uint32_t>(text.size());
    // Line feeds end an answer: that they end lines as well is left to the answers' next piece.
    if (!text.empty() && text.size() < count) static_cast<char *>(data)[(*bytesRead)++] = '\n';
    if (answers_byte() == 0x1f) *bytesRead = UINT32_MAX;
    return ZK_OK;
}

uint32_t ZKCloseFile(uint32_t) {
    FUZZ_CHECK(open_files > 0);
    open_files--;
    return answers_code();
}
