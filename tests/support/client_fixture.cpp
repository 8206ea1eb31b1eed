#include "tests/support/client_fixture.h"

#include <cstdlib>
#include <cstring>

ClientTest::ClientTest() {
    setenv("ZKCLIENT_CONF", SOURCE_DIR "/tests/client/data/client.toml", 1);
}

ClientTest::~ClientTest() {
    for (uint32_t handle : contexts) ZKDSFreeContext(handle);
}

void ClientTest::configure(const std::string &toml) {
    folder.write("client.toml", toml);
    setenv("ZKCLIENT_CONF", folder.path("client.toml").c_str(), 1);
}

uint32_t ClientTest::context(uint32_t flags, const char *tree) {
    uint32_t handle = 0;
    EXPECT_EQ(ZK_OK, ZKDSCreateContextHandle(&handle));
    contexts.push_back(handle);
    EXPECT_EQ(ZK_OK, ZKDSSetContext(handle, DCK_FLAGS, &flags));
    if (tree != nullptr) {
        EXPECT_EQ(ZK_OK, ZKDSSetContext(handle, DCK_TREE_NAME, tree));
    }
    return handle;
}

uint32_t ClientTest::context_at(const char *nameContext, uint32_t flags) {
    uint32_t handle = context(flags);
    EXPECT_EQ(ZK_OK, ZKDSSetContext(handle, DCK_NAME_CONTEXT, nameContext));
    return handle;
}

uint32_t ClientTest::login(uint32_t handle, const char *user, const char *password) {
    return ZKDSLoginEx(handle, user, 2, password);
}

std::string ClientTest::who_am_i(uint32_t handle) {
    char name[ZK_MAX_NAME + 1] = "?";
    lastCode = ZKDSWhoAmI(handle, name);
    return name;
}

std::string ClientTest::canonical(uint32_t handle, const char *name) {
    char result[ZK_MAX_NAME + 1] = "?";
    lastCode = ZKDSCanonicalizeName(handle, name, result);
    return result;
}

std::string ClientTest::abbreviated(uint32_t handle, const char *name) {
    char result[ZK_MAX_NAME + 1] = "?";
    lastCode = ZKDSAbbreviateName(handle, name, result);
    return result;
}

static std::string show_address(const char *block) {
    ZKNetworkAddress address;
    memcpy(&address, block, sizeof address);
    std::string text = std::to_string(address.type) + "#";
    for (uint32_t i = 0; i < address.length; i++) {
        char hex[3];
        snprintf(hex, sizeof hex, "%02x", address.address[i]);
        text += hex;
    }
    return text;
}

static std::string show_postal(const char *block) {
    ZKPostalAddress address;
    memcpy(&address, block, sizeof address);
    std::string text;
    for (const char *line : address.line) text += line == nullptr ? "-" : std::string("[") + line + "]";
    return text;
}

// A value block as text, through the layout that its syntax promises.
static std::string show(uint32_t syntax, const char *block) {
    ZKPath path;
    ZKNumericText numeric;
    int32_t number;
    switch (syntax) {
        case ZK_SYNTAX_COUNTER:
        case ZK_SYNTAX_TIME:
        case ZK_SYNTAX_INTERVAL:
            memcpy(&number, block, sizeof number);
            return std::to_string(number);
        case ZK_SYNTAX_PATH:
            memcpy(&path, block, sizeof path);
            return std::to_string(path.nameSpace) + "|" + path.volume + "|" + path.path;
        case ZK_SYNTAX_NETWORK_ADDRESS:
            return show_address(block);
        case ZK_SYNTAX_POSTAL_ADDRESS:
            return show_postal(block);
        case ZK_SYNTAX_NUMERIC_TEXT:
            memcpy(&numeric, block, sizeof numeric);
            return numeric.text;
        default:
            return block;
    }
}

std::string ClientTest::take_values(uint32_t handle, ZKDSBuffer *reply, std::vector<std::string> *values) {
    char name[ZK_MAX_ATTR_NAME + 1];
    uint32_t attributes = 0, count = 0, syntax = 0;
    EXPECT_EQ(ZK_OK, ZKDSGetAttrCount(handle, reply, &attributes));
    for (uint32_t a = 0; a < attributes; a++) {
        EXPECT_EQ(ZK_OK, ZKDSGetAttrName(handle, reply, name, &count, &syntax));
        for (uint32_t v = 0; v < count; v++) {
            uint32_t size = 0;
            EXPECT_EQ(ZK_OK, ZKDSComputeAttrValSize(handle, reply, syntax, &size));
            std::vector<char> block(size); // exactly as large as returned, so that a write beyond is seen
            EXPECT_EQ(ZK_OK, ZKDSGetAttrVal(handle, reply, syntax, block.data()));
            values->push_back(show(syntax, block.data()));
        }
    }
    return name;
}

std::vector<std::string> ClientTest::read(uint32_t handle, const char *object, const char *attribute) {
    std::vector<std::string> values;
    ZKDSBuffer *request = nullptr;
    ZKDSBuffer *reply = nullptr;
    EXPECT_EQ(ZK_OK, ZKDSAllocBuf(4096, &request));
    EXPECT_EQ(ZK_OK, ZKDSAllocBuf(4096, &reply));
    EXPECT_EQ(ZK_OK, ZKDSInitBuf(handle, ZK_OPERATION_READ, request));
    lastCode = ZKDSPutAttrName(handle, request, attribute);
    int32_t iteration = ZK_NO_MORE_ITERATIONS;
    do {
        if (lastCode == ZK_OK) {
            lastCode = ZKDSRead(handle, object, ZK_INFO_NAMES_AND_VALUES, 0, request, &iteration, reply);
        }
        if (lastCode == ZK_OK) {
            take_values(handle, reply, &values);
        }
    } while (lastCode == ZK_OK && iteration != ZK_NO_MORE_ITERATIONS);
    EXPECT_EQ(ZK_OK, ZKDSFreeBuf(request));
    EXPECT_EQ(ZK_OK, ZKDSFreeBuf(reply));
    return values;
}

std::string ClientTest::base_class(uint32_t handle, const char *object) {
    char name[ZK_MAX_NAME + 1];
    ZKDSObjectInfo info = {};
    lastCode = ZKDSReadObjectInfo(handle, object, name, &info);
    return info.baseClass;
}

std::string ClientTest::stream(uint32_t handle, const char *object, const char *attribute) {
    uint32_t file = 0;
    std::string text;
    lastCode = ZKDSOpenStream(handle, object, attribute, 0, &file);
    if (lastCode == ZK_OK) {
        char piece[5];
        uint32_t got = 0;
        while (ZKReadFile(file, sizeof piece, &got, piece) == ZK_OK && got > 0) text.append(piece, got);
        EXPECT_EQ(ZK_OK, ZKCloseFile(file));
    }
    return text;
}

uint32_t ClientTest::open_server(const char *name, uint32_t nameFormat) {
    uint32_t connection = 0;
    lastCode = ZKCCOpenConnByName(0, name, nameFormat, ZK_OPEN_BY_NAME, ZK_TRANSPORT_ANY, &connection);
    return connection;
}

std::string ClientTest::text_info(uint32_t connection, uint32_t item) {
    char text[ZK_SERVER_NAME_SIZE] = "?";
    lastCode = ZKCCGetConnInfo(connection, item, item == ZK_INFO_TREE_NAME ? 33 : 49, text);
    return text;
}

uint32_t ClientTest::number_info(uint32_t connection, uint32_t item) {
    uint32_t number = 0xDEAD;
    lastCode = ZKCCGetConnInfo(connection, item, sizeof number, &number);
    return number;
}

std::string ClientTest::last_error() {
    char text[1024] = "?";
    EXPECT_EQ(ZK_OK, ZKGetLastErrorText(sizeof text, text));
    return text;
}
