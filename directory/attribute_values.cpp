#include "directory/attribute_values.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <new>

#include "base/clock.h"
#include "base/output.h"

static constexpr int seconds_per_day = 86400;
// Replies travel in buffers of 4096 bytes; a size above this one is not a value but damage.
static constexpr uint32_t largest_value = 16u << 20;
static constexpr uint32_t largest_layout = sizeof(ZKPostalAddress);

bool attribute_values_any_code(uint32_t code) {
    return code != ZK_OK;
}

uint32_t attribute_values_fetch(TracedFunction function, uint32_t handle, ZKDSBuffer *reply, uint32_t syntax,
                                AttributeValue &value, CallFailed failed) {
    uint32_t size = 0;
    uint32_t code = ZKDSComputeAttrValSize(handle, reply, syntax, &size);
    if (code != ZK_OK) TRACE_FOR(function, 4, "ZKDSComputeAttrValSize returned %x", code);
    if (failed(code)) return code;
    if (size > largest_value) return ZKE_NO_MEMORY;
    // The zeros behind a short value stand for its missing fields, the last one ends a text that has no NUL.
    OwnedText block(static_cast<char *>(calloc(1, size_t{std::max(size, largest_layout)} + 1)));
    if (!block) throw std::bad_alloc();
    code = ZKDSGetAttrVal(handle, reply, syntax, block.get());
    if (code != ZK_OK) TRACE_FOR(function, 4, "ZKDSGetAttrVal returned %x", code);
    if (failed(code)) return code;
    value.syntax = syntax;
    value.block = std::move(block);
    value.size = size;
    return code;
}

template <typename Layout>
static Layout layout_of(const AttributeValue &value) {
    Layout layout;
    memcpy(&layout, value.block.get(), sizeof layout);
    return layout;
}

// The bytes of the block from `pointer` on; none when it does not lead into the value.
static std::string_view bytes_at(const AttributeValue &value, const void *pointer) {
    auto start = reinterpret_cast<uintptr_t>(value.block.get());
    auto at = reinterpret_cast<uintptr_t>(pointer);
    if (at < start || at - start >= value.size) return {};
    return std::string_view(value.block.get(), value.size).substr(at - start);
}

static std::string_view text_at(const AttributeValue &value, const char *pointer) {
    std::string_view bytes = bytes_at(value, pointer);
    return bytes.substr(0, bytes.find('\0'));
}

static std::string days_text(int64_t seconds) {
    return std::to_string(seconds / seconds_per_day);
}

static bool is_password_expiration(std::string_view attribute) {
    std::string spelled(attribute);
    std::replace(spelled.begin(), spelled.end(), '_', ' ');
    return equal_nocase(spelled, "PASSWORD EXPIRATION TIME");
}

char *attribute_values_ctime(const AttributeValue &value) {
    const ClockZone zone;
    time_t moment = layout_of<int32_t>(value);
    return ctime(&moment);
}

static std::string time_text(const AttributeValue &value, std::string_view attribute) {
    if (is_password_expiration(attribute)) return days_text(int64_t{layout_of<int32_t>(value)} - clock_now());
    const char *text = attribute_values_ctime(value);
    return text != nullptr ? text : "";
}

static std::string interval_text(const AttributeValue &value, std::string_view) {
    return days_text(layout_of<int32_t>(value));
}

static std::string counter_text(const AttributeValue &value, std::string_view) {
    return std::to_string(layout_of<int32_t>(value));
}

static std::string numeric_text(const AttributeValue &value, std::string_view) {
    return std::string(text_at(value, layout_of<ZKNumericText>(value).text));
}

static std::string address_text(const AttributeValue &value, std::string_view) {
    auto layout = layout_of<ZKNetworkAddress>(value);
    std::string_view bytes = bytes_at(value, layout.address).substr(0, layout.length);
    std::string text;
    if (layout.type != 8 && layout.type != 9) {
        for (size_t i = 0; i < bytes.size(); i += 2) text += bytes[i];
        return text;
    }
    // An Internet address follows its two bytes of port; what is too short for one is none.
    for (size_t i = 2; i < 6 && bytes.size() >= 6; i++)
        text += (i == 2 ? "" : ".") + std::to_string(static_cast<uint8_t>(bytes[i]));
    return text;
}

std::string_view attribute_values_volume(const AttributeValue &value) {
    return text_at(value, layout_of<ZKPath>(value).volume);
}

std::string_view attribute_values_path(const AttributeValue &value) {
    return text_at(value, layout_of<ZKPath>(value).path);
}

static std::string path_text(const AttributeValue &value, std::string_view) {
    return std::string(attribute_values_volume(value)) + ":" + std::string(attribute_values_path(value));
}

static std::string postal_text(const AttributeValue &value, std::string_view) {
    std::string text;
    for (const char *line : layout_of<ZKPostalAddress>(value).line) {
        std::string_view written = text_at(value, line);
        if (!written.empty()) text += std::string(written) + "\n";
    }
    return text;
}

namespace {

struct Conversion {
    uint32_t syntax;
    std::string (*text)(const AttributeValue &value, std::string_view attribute);
};

} // namespace

static const Conversion conversions[] = {
    {ZK_SYNTAX_TIME, time_text},
    {ZK_SYNTAX_INTERVAL, interval_text},
    {ZK_SYNTAX_COUNTER, counter_text},
    {ZK_SYNTAX_NUMERIC_TEXT, numeric_text},
    {ZK_SYNTAX_NETWORK_ADDRESS, address_text},
    {ZK_SYNTAX_PATH, path_text},
    {ZK_SYNTAX_POSTAL_ADDRESS, postal_text},
};

static const Conversion *conversion_of(uint32_t syntax) {
    for (const Conversion &row : conversions)
        if (row.syntax == syntax) return &row;
    return nullptr;
}

std::string attribute_values_text(const AttributeValue &value, std::string_view attribute) {
    const Conversion *row = conversion_of(value.syntax);
    return row != nullptr ? row->text(value, attribute) : std::string(value.block.get());
}

bool attribute_values_is_plain(const AttributeValue &value) {
    return conversion_of(value.syntax) == nullptr;
}
