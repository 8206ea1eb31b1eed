#include "platform/client/core/plain_values.h"

#include <algorithm>
#include <cstring>

#include "platform/terminal_text.h"
#include "platform/zk.h"

// What ends an item of a list of drives, or the quotes around one.
static constexpr const char *ends_item = ",;\"";

// The parts of a path that scripts see: itself, the name of its volume, and that of the volume's server.
static bool is_of_a_path(const SchemaAttribute &attribute) {
    return attribute.syntax == ZK_SYNTAX_PATH || strcmp(attribute.ldap, "qrtHostServer") == 0 ||
           strcmp(attribute.ldap, "qrtHostResourceName") == 0;
}

static bool ends_an_item(const Value &value) {
    auto has = [](std::string_view text) { return text.find_first_of(ends_item) != std::string_view::npos; };
    return has(value.text) || std::any_of(value.lines.begin(), value.lines.end(), has);
}

static bool is_exempt(uint32_t syntax) {
    return syntax == schema_stream || syntax == ZK_SYNTAX_POSTAL_ADDRESS || syntax == ZK_SYNTAX_NETWORK_ADDRESS;
}

bool text_is_plain(std::string_view text, std::string_view allowed) {
    TerminalLetter letter;
    for (; !text.empty(); text.remove_prefix(letter.bytes.size())) {
        terminal_letter(text, &letter);
        if (!letter.valid || (terminal_obeys(letter) && allowed.find(text.front()) == std::string_view::npos))
            return false;
    }
    return true;
}

bool entry_name_is_plain(const Entry &entry) {
    auto plain = [](const NamePart &part) { return text_is_plain(part.value); };
    return std::all_of(entry.name.begin(), entry.name.end(), plain) &&
           (!entry.isClass("Server") || text_is_plain(entry_common_name(entry)));
}

bool attribute_is_secret(std::string_view name) {
    constexpr const char *words[] = {"password", "passwd", "pwd", "secret", "key", "hash", "credential"};
    std::string folded;
    for (char c : name) folded += lower_case(c);
    return folded != "secretary" && std::any_of(std::begin(words), std::end(words), [&](const char *word) {
               return folded.find(word) != std::string::npos;
           });
}

bool value_is_handed_out(const ConfigTree &tree, const Entry &entry, const SchemaAttribute &attribute,
                         const Value &value) {
    if (is_exempt(attribute.syntax)) return true;
    if (is_of_a_path(attribute)) {
        // Drives are mapped to a directory map by the map's name, which stands for the path as a whole.
        bool whole = entry.isClass("Directory Map");
        auto plain = [](const std::string &text) { return text_is_plain(text); };
        return tree.anyPath || (plain(value.text) && std::all_of(value.lines.begin(), value.lines.end(), plain) &&
                                (whole || !ends_an_item(value)));
    }
    return tree.anyText || text_is_plain(value.text, "\t\r\n");
}
