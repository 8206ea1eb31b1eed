#include "platform/prompt/window_framing.h"

#include <cstring>

bool window_field_take(std::string_view *rest, size_t limit, std::string_view *field) {
    if (rest->size() < window_size_bytes) return false;
    const auto byte = [rest](size_t i) { return static_cast<unsigned char>((*rest)[i]); };
    const size_t size = byte(0) | static_cast<size_t>(byte(1)) << 8;
    rest->remove_prefix(window_size_bytes);
    if (size > limit || size > rest->size()) return false;
    *field = rest->substr(0, size);
    rest->remove_prefix(size);
    return field->find('\0') == field->npos;
}

bool window_kind_take(std::string_view *rest, std::string_view kinds, char *kind) {
    if (rest->empty() || kinds.find(rest->front()) == kinds.npos) return false;
    *kind = rest->front();
    rest->remove_prefix(1);
    return true;
}

char *window_field_put(std::string_view field, char *to) {
    *to++ = static_cast<char>(field.size() & 0xFF);
    *to++ = static_cast<char>(field.size() >> 8);
    if (!field.empty()) memcpy(to, field.data(), field.size());
    return to + field.size();
}
