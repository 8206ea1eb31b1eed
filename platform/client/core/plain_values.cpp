#include "platform/client/core/plain_values.h"

#include <algorithm>
#include <cstring>

#include "platform/zk.h"

namespace {

// What ends an item of a list of drives, or the quotes around one.
constexpr const char *ends_item = ",;\"";

struct Utf8Form {
    unsigned char mask;
    unsigned char lead;
    size_t length;
    uint32_t lowest; // a smaller character has a shorter form
};
constexpr Utf8Form utf8_forms[] = {
    {0x80, 0x00, 1, 0}, {0xE0, 0xC0, 2, 0x80}, {0xF0, 0xE0, 3, 0x800}, {0xF8, 0xF0, 4, 0x10000}};

// The length of the character at the start of `text`, 0 when it is not UTF-8.
size_t first_character(std::string_view text, uint32_t *character) {
    auto byte = [&](size_t at) { return static_cast<unsigned char>(text[at]); };
    for (const Utf8Form &form : utf8_forms) {
        if ((byte(0) & form.mask) != form.lead || text.size() < form.length) {
            continue;
        }
        uint32_t code = byte(0) & static_cast<unsigned char>(~form.mask);
        for (size_t i = 1; i < form.length; i++) {
            if ((byte(i) & 0xC0) != 0x80) {
                return 0;
            }
            code = code << 6 | (byte(i) & 0x3Fu);
        }
        bool surrogate = code >= 0xD800 && code <= 0xDFFF;
        *character = code;
        return code < form.lowest || code > 0x10FFFF || surrogate ? 0 : form.length;
    }
    return 0;
}

bool is_control(uint32_t character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

// The parts of a path that scripts see: itself, the name of its volume, and that of the volume's server.
bool is_of_a_path(const SchemaAttribute &attribute) {
    return attribute.syntax == ZK_SYNTAX_PATH || strcmp(attribute.ldap, "qrtHostServer") == 0 ||
           strcmp(attribute.ldap, "qrtHostResourceName") == 0;
}

bool ends_an_item(const Value &value) {
    auto has = [](std::string_view text) { return text.find_first_of(ends_item) != std::string_view::npos; };
    return has(value.text) || std::any_of(value.lines.begin(), value.lines.end(), has);
}

bool is_exempt(uint32_t syntax) {
    return syntax == schema_stream || syntax == ZK_SYNTAX_POSTAL_ADDRESS || syntax == ZK_SYNTAX_NETWORK_ADDRESS;
}

} // namespace

bool text_is_plain(std::string_view text, std::string_view allowed) {
    while (!text.empty()) {
        uint32_t character = 0;
        size_t length = first_character(text, &character);
        if (length == 0 || (is_control(character) && allowed.find(text.front()) == std::string_view::npos)) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

bool entry_name_is_plain(const Entry &entry) {
    auto plain = [](const NamePart &part) { return text_is_plain(part.value); };
    return std::all_of(entry.name.begin(), entry.name.end(), plain) &&
           (!entry.is_class("Server") || text_is_plain(entry_common_name(entry)));
}

bool value_is_handed_out(const ConfigTree &tree, const Entry &entry, const SchemaAttribute &attribute,
                         const Value &value) {
    if (is_exempt(attribute.syntax)) {
        return true;
    }
    if (is_of_a_path(attribute)) {
        // Drives are mapped to a directory map by the map's name, which stands for the path as a whole.
        bool whole = entry.is_class("Directory Map");
        auto plain = [](const std::string &text) { return text_is_plain(text); };
        return tree.anyPath || (plain(value.text) && std::all_of(value.lines.begin(), value.lines.end(), plain) &&
                                (whole || !ends_an_item(value)));
    }
    return tree.anyText || text_is_plain(value.text, "\t\r\n");
}
