#include "tests/fuzz/world/results.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "platform/client/core/schema.h"
#include "platform/zk.h"
#include "tests/fuzz/fuzz.h"

static constexpr uint32_t codes[] = {ZK_OK,
                                     ZKE_VOLUME_UNKNOWN,
                                     ZKE_OTHER_IDENTITY,
                                     ZKE_CONN_INVALID,
                                     ZKE_SERVER_NO_SLOTS,
                                     ZKE_SERVER_NOT_FOUND,
                                     ZKE_DIFF_OBJECT_ALREADY_AUTHEN,
                                     ZKE_NO_SUCH_ATTRIBUTE,
                                     ZKE_NO_SUCH_VALUE,
                                     ZKE_NO_SUCH_ENTRY,
                                     ZKE_TREE_NOT_FOUND,
                                     ZKE_BAD_CONTEXT};

uint32_t result_code(uint32_t code) {
    const bool own = (code >= ZKE_WRONG_PASSWORD && code <= ZKE_AMBIGUOUS_NAME) ||
                     (code >= ZKE_DIRECTORY_UNREACHABLE && code <= ZKE_REFERRAL_BROKEN) ||
                     (code >= ZKE_MALFORMED_NAME && code <= ZKE_NO_MEMORY);
    FUZZ_CHECK(own || std::find(std::begin(codes), std::end(codes), code) != std::end(codes));
    // The targets make no call that is wrong in itself.
    FUZZ_CHECK(code != ZKE_BAD_PARAMETER && code != ZKE_NO_MEMORY);
    return code;
}

void result_check_name(const char *name, size_t limit) {
    FUZZ_CHECK(strnlen(name, limit + 1) <= limit);
}

static bool is_control(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < ' ' || byte == 0x7F;
}

void result_check_error_text() {
    char text[512];
    FUZZ_CHECK(ZKGetLastErrorText(sizeof text, text) == ZK_OK);
    FUZZ_CHECK(std::none_of(text, text + strlen(text), is_control));
}

// Its NUL is within the block.
static void check_text(const char *text, const char *end, bool plain) {
    FUZZ_CHECK(text < end);
    const size_t length = strnlen(text, static_cast<size_t>(end - text));
    FUZZ_CHECK(text + length < end);
    if (!plain) return;
    FUZZ_CHECK(
        std::none_of(text, text + length, [](char c) { return is_control(c) && c != '\t' && c != '\r' && c != '\n'; }));
}

template <typename Layout>
static Layout layout_of(const char *block, uint32_t size) {
    Layout layout;
    FUZZ_CHECK(size >= sizeof layout);
    memcpy(&layout, block, sizeof layout);
    return layout;
}

static void check_value(uint32_t syntax, ExactText &block, uint32_t size, bool plain) {
    const char *start = block.data(), *end = start + size;
    const auto inside = [&](const char *text, bool isPlain) {
        FUZZ_CHECK(text >= start);
        check_text(text, end, isPlain);
    };
    if (syntax == ZK_SYNTAX_COUNTER || syntax == ZK_SYNTAX_TIME || syntax == ZK_SYNTAX_INTERVAL) {
        FUZZ_CHECK(size == sizeof(int32_t));
    } else if (syntax == ZK_SYNTAX_NUMERIC_TEXT) {
        inside(layout_of<ZKNumericText>(start, size).text, plain);
    } else if (syntax == ZK_SYNTAX_NETWORK_ADDRESS) {
        const auto address = layout_of<ZKNetworkAddress>(start, size);
        FUZZ_CHECK(reinterpret_cast<char *>(address.address) >= start);
        FUZZ_CHECK(reinterpret_cast<char *>(address.address) + address.length == end);
    } else if (syntax == ZK_SYNTAX_PATH) {
        const auto path = layout_of<ZKPath>(start, size);
        inside(path.volume, plain);
        inside(path.path, plain);
    } else if (syntax == ZK_SYNTAX_POSTAL_ADDRESS) {
        const auto address = layout_of<ZKPostalAddress>(start, size);
        for (const char *line : address.line)
            if (line) inside(line, false);
    } else {
        inside(start, plain && syntax != schema_stream);
    }
}

size_t result_check_reply(uint32_t context, ZKDSBuffer *reply, bool plain) {
    uint32_t attributes = 0;
    size_t values = 0;
    FUZZ_CHECK(ZKDSGetAttrCount(context, reply, &attributes) == ZK_OK);
    for (; attributes > 0; attributes--) {
        char name[ZK_MAX_ATTR_NAME + 1];
        uint32_t count = 0, syntax = 0, size = 0;
        FUZZ_CHECK(ZKDSGetAttrName(context, reply, name, &count, &syntax) == ZK_OK);
        result_check_name(name, ZK_MAX_ATTR_NAME);
        FUZZ_CHECK(name[0] != '\0');
        for (; count > 0; count--, values++) {
            FUZZ_CHECK(ZKDSComputeAttrValSize(context, reply, syntax, &size) == ZK_OK);
            FUZZ_CHECK(size > 0);
            // Without a NUL of its own: the block ends where the size says.
            ExactText block(std::string(size - 1, 'x'));
            FUZZ_CHECK(ZKDSGetAttrVal(context, reply, syntax, block.data()) == ZK_OK);
            check_value(syntax, block, size, plain);
        }
        FUZZ_CHECK(ZKDSComputeAttrValSize(context, reply, syntax, &size) != ZK_OK);
    }
    return values;
}

static void check_connection(uint32_t connection) {
    char name[ZK_SERVER_NAME_SIZE];
    if (result_code(ZKCCGetConnInfo(connection, ZK_INFO_SERVER_NAME, sizeof name, name)) == ZK_OK)
        result_check_name(name, ZK_SERVER_NAME_SIZE - 1);
}

void result_check_path(const char *path) {
    char server[ZK_SERVER_NAME_SIZE], volume[65], rest[256];
    uint32_t connection = 0;
    if (result_code(ZKParsePath(path, server, &connection, volume, rest)) != ZK_OK) return;
    result_check_name(server, sizeof server - 1);
    result_check_name(volume, sizeof volume - 1);
    result_check_name(rest, sizeof rest - 1);
    check_connection(connection);
    FUZZ_CHECK(ZKCCCloseConn(connection) == ZK_OK);
}

void result_check_server(const char *name, const char *user, const char *password) {
    uint32_t connection = 0;
    if (result_code(ZKCCOpenConnByName(0, name, ZK_NAME_ANY, ZK_OPEN_BY_NAME, ZK_TRANSPORT_ANY, &connection)) != ZK_OK)
        return;
    check_connection(connection);
    result_code(ZKLoginToFileServer(connection, user, 256, password));
    FUZZ_CHECK(ZKCCCloseConn(connection) == ZK_OK);
}

void results_close_connections() {
    uint32_t iteration = 0, connection = 0;
    while (ZKCCScanConnInfo(&iteration, ZK_INFO_CONNECTION_NUMBER, nullptr, 0, ZK_OPEN_BY_REFERENCE, 0, nullptr,
                            &connection) == ZK_OK) {
        while (ZKCCCloseConn(connection) == ZK_OK) {
        }
    }
}
