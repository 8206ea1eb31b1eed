// The layouts of attribute values: fields first, what they point to behind them in the same block.
#include <cstring>

#include "tests/client_spy/spy_state.h"

namespace spy {

// A block of `size` zero bytes with a number at its start.
static Value fields(uint32_t syntax, size_t size, uint32_t first = 0) {
    Value value;
    value.syntax = syntax;
    value.block.assign(size, '\0');
    if (size >= sizeof first) memcpy(value.block.data(), &first, sizeof first);
    return value;
}

static void point(Value &value, size_t field, const std::string &bytes) {
    value.pointers.emplace_back(field, value.block.size());
    value.block += bytes;
}

static void point_text(Value &value, size_t field, const char *target) {
    if (target) point(value, field, std::string(target) + '\0');
}

Value text(const std::string &value, uint32_t syntax) {
    return raw(syntax, value + '\0');
}

Value number(uint32_t syntax, int32_t value) {
    return fields(syntax, sizeof value, static_cast<uint32_t>(value));
}

Value numeric_text(const char *value) {
    Value built = fields(ZK_SYNTAX_NUMERIC_TEXT, sizeof(ZKNumericText));
    point_text(built, offsetof(ZKNumericText, text), value);
    return built;
}

Value address(uint32_t type, const std::string &bytes, std::optional<uint32_t> claimedLength, bool hasBytes) {
    Value value = fields(ZK_SYNTAX_NETWORK_ADDRESS, sizeof(ZKNetworkAddress), type);
    uint32_t length = claimedLength.value_or(static_cast<uint32_t>(bytes.size()));
    memcpy(value.block.data() + offsetof(ZKNetworkAddress, length), &length, sizeof length);
    if (hasBytes) point(value, offsetof(ZKNetworkAddress, address), bytes);
    return value;
}

Value path(const char *volume, const char *rest, uint32_t nameSpace) {
    Value value = fields(ZK_SYNTAX_PATH, sizeof(ZKPath), nameSpace);
    point_text(value, offsetof(ZKPath, volume), volume);
    point_text(value, offsetof(ZKPath, path), rest);
    return value;
}

Value postal(const std::vector<const char *> &lines) {
    Value value = fields(ZK_SYNTAX_POSTAL_ADDRESS, sizeof(ZKPostalAddress));
    for (size_t i = 0; i < lines.size() && i < 6; i++) point_text(value, i * sizeof(char *), lines[i]);
    return value;
}

Value raw(uint32_t syntax, const std::string &block) {
    Value value;
    value.syntax = syntax;
    value.block = block;
    return value;
}

Value sized(Value value, uint32_t claimedSize) {
    value.claimedSize = claimedSize;
    return value;
}

} // namespace spy
