#include "platform/client/session/connections.h"

#include "platform/client/interface/answers.h"
#include "platform/client/interface/boundary.h"

// Distinguishes what opening by reference takes from a handle.
static constexpr uint32_t reference_bit = 0x80000000u;

static bool known_open_state(uint32_t state) {
    return state == ZK_OPEN_BY_NAME || state == ZK_OPEN_BY_REFERENCE;
}

static void put_checked_number(uint32_t number, uint32_t size, void *value) {
    error_unless(size >= sizeof number, ZKE_BUFFER_TOO_SMALL);
    put_number(number, value);
}

static void put_info(const Connection &connection, uint32_t item, uint32_t size, void *value) {
    switch (item) {
        case ZK_INFO_AUTHENTICATION_STATE:
            return put_checked_number(connection.authenticated ? 1 : 0, size, value);
        case ZK_INFO_TREE_NAME: {
            error_unless(connection.tree != nullptr, ZKE_TREE_NOT_FOUND);
            std::string padded = connection.tree->config.name;
            padded.resize(ZK_TREE_NAME_SIZE - 1, '_');
            return put_text(padded, size, value);
        }
        case ZK_INFO_CONNECTION_NUMBER:
            return put_checked_number(connection.number, size, value);
        case ZK_INFO_USER_NUMBER:
            return put_checked_number(connection.userNumber, size, value);
        case ZK_INFO_SERVER_NAME:
            error_unless(!connection.serverName.empty(), ZKE_SERVER_NOT_FOUND);
            return put_text(connection.serverName, size, value);
        case ZK_INFO_COUNTED_STATE:
            return put_checked_number(connection.licenses > 0 ? 1 : 0, size, value);
        default:
            throw CodedError(ZKE_BAD_PARAMETER);
    }
}

// Does the connection have this value of an item that can be searched for?
static bool matches(const Connection &connection, uint32_t item, const char *value) {
    if (item == ZK_INFO_SERVER_NAME) return equal_nocase(connection.serverName, value);
    return connection.tree != nullptr && connection.tree == tree_find(value);
}

uint32_t ZKCCOpenConnByName(uint32_t start, const char *name, uint32_t nameFormat, uint32_t openState,
                            uint32_t transport, uint32_t *connection) {
    return guarded([&] {
        error_unless(start == 0 && name != nullptr && connection != nullptr && known_open_state(openState) &&
                         transport == ZK_TRANSPORT_ANY &&
                         (nameFormat == ZK_NAME_ANY || nameFormat == ZK_NAME_FILE_SERVER),
                     ZKE_BAD_PARAMETER);
        *connection = (nameFormat == ZK_NAME_ANY ? connection_open_any(name) : connection_open_server(name)).handle;
    });
}

uint32_t ZKCCOpenConnByRef(uint32_t reference, uint32_t openState, uint32_t reserved, uint32_t *connection) {
    return guarded([&] {
        error_unless(connection != nullptr && known_open_state(openState) && reserved == 0, ZKE_BAD_PARAMETER);
        error_unless((reference & reference_bit) != 0, ZKE_CONN_INVALID);
        Connection &open = connections().at(reference & ~reference_bit);
        open.uses++;
        *connection = open.handle;
    });
}

uint32_t ZKCCScanConnInfo(uint32_t *iteration, uint32_t item, const void *value, uint32_t, uint32_t openState,
                          uint32_t infoSize, void *info, uint32_t *connection) {
    return guarded([&] {
        const bool searchable = value == nullptr || item == ZK_INFO_SERVER_NAME || item == ZK_INFO_TREE_NAME;
        error_unless(iteration != nullptr && connection != nullptr && searchable && known_open_state(openState),
                     ZKE_BAD_PARAMETER);
        auto at = connections().after(*iteration == UINT32_MAX ? 0 : *iteration);
        while (at != connections().end() && value != nullptr &&
               !matches(at->second, item, static_cast<const char *>(value)))
            ++at;
        error_unless(at != connections().end(), ZKE_NO_MORE_ENTRIES);
        Connection &open = at->second;
        if (info != nullptr && infoSize != 0) put_info(open, item, infoSize, info);
        open.uses++;
        *iteration = open.handle;
        *connection = open.handle;
    });
}

uint32_t ZKCCGetConnInfo(uint32_t connection, uint32_t item, uint32_t size, void *value) {
    return guarded([&] {
        const Connection &open = connections().at(connection);
        error_unless(value != nullptr, ZKE_BAD_PARAMETER);
        put_info(open, item, size, value);
    });
}

uint32_t ZKCCSetPrimConn(uint32_t connection) {
    return guarded([&] { connection_prefer(connections().at(connection)); });
}

uint32_t ZKCCCloseConn(uint32_t connection) {
    return guarded([&] { connection_close(&connections().at(connection)); });
}

uint32_t ZKCCLicenseConn(uint32_t connection) {
    return guarded([&] { connections().at(connection).licenses++; });
}

uint32_t ZKCCUnlicenseConn(uint32_t connection) {
    return guarded([&] {
        Connection &open = connections().at(connection);
        error_unless(open.licenses > 0, ZKE_BAD_PARAMETER);
        open.licenses--;
    });
}

uint32_t ZKGetDefaultConnRef(uint32_t *reference) {
    return guarded([&] {
        error_unless(reference != nullptr, ZKE_BAD_PARAMETER);
        const Connection *open = connection_default();
        error_unless(open != nullptr, ZKE_CONN_INVALID);
        *reference = open->handle | reference_bit;
    });
}
