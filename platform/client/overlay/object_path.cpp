#include "platform/client/overlay/object_path.h"

#include <climits>

#include "platform/client/core/letters.h"
#include "platform/common/hex.h"
#include "platform/common/nocase.h"
#include "platform/terminal_text.h"

// Files that are no scripts have the top folder to themselves.
static constexpr std::string_view taken_names[] = {"site.toml", "site.ldif"};

static void append_escaped(char byte, std::string *to) {
    constexpr char digits[] = "0123456789ABCDEF";
    const auto value = static_cast<unsigned char>(byte);
    *to += '%';
    *to += digits[value >> 4];
    *to += digits[value & 15];
}

static bool must_be_escaped(const TerminalLetter &letter, bool first) {
    const char c = letter.bytes.front();
    return !letter.valid || letter_is_harmful(letter.code) || c == '%' || c == '/' || (first && (c == '.' || c == '_'));
}

// Folding takes letters apart and puts them together before it makes them small, and some small ones could be put
// together once more.
std::string object_path_key(std::string_view value) {
    return name_fold(name_fold(value));
}

static std::string component_of(std::string_view value) {
    const std::string key = object_path_key(value);
    const bool isTaken = key == taken_names[0] || key == taken_names[1];
    std::string component;
    TerminalLetter letter;
    for (size_t at = 0; at < key.size(); at += letter.bytes.size()) {
        terminal_letter(std::string_view(key).substr(at), &letter);
        if (!must_be_escaped(letter, at == 0) && (at > 0 || !isTaken)) {
            component += letter.bytes;
            continue;
        }
        for (const char byte : letter.bytes) append_escaped(byte, &component);
    }
    return component;
}

std::optional<std::string> object_path(const Name &name, bool isContainer) {
    std::string path;
    for (size_t i = name.size(); i-- > 0;) {
        const bool isLeaf = i == 0 && !isContainer;
        const std::string component = component_of(name[i].value);
        if (component.empty() || component.size() + (isLeaf ? object_path_end.size() : 0) > NAME_MAX)
            return std::nullopt;
        path.append(component).append(isLeaf ? object_path_end : "/");
    }
    if (isContainer) path += object_path_container;
    return path.empty() ? std::nullopt : std::optional(path);
}

bool object_path_component(std::string_view component, std::string *value) {
    value->clear();
    if (component.empty() || component.front() == '.' || component.front() == '_') return false;
    for (size_t i = 0; i < component.size(); i++) {
        char c = component[i];
        if (c == '%') {
            c = hex_byte(component.substr(i + 1)).value_or('\0');
            i += 2;
        }
        if (c == '\0') return false;
        *value += c;
    }
    return true;
}

// Takes the folders off the path, the topmost first.
static bool take_folders(std::string_view *path, Name *name) {
    for (size_t end = path->find('/'); end != path->npos; end = path->find('/')) {
        NamePart part;
        if (name->size() == name_depth_limit || !object_path_component(path->substr(0, end), &part.value)) return false;
        name->insert(name->begin(), std::move(part));
        path->remove_prefix(end + 1);
    }
    return true;
}

bool object_path_parse(std::string_view path, Name *name, bool *isContainer) {
    Name parsed;
    if (!take_folders(&path, &parsed)) return false;
    *isContainer = equal_nocase(path, object_path_container);
    if (!*isContainer) {
        NamePart leaf;
        if (path.size() <= object_path_end.size() || parsed.size() == name_depth_limit ||
            !equal_nocase(path.substr(path.size() - object_path_end.size()), object_path_end) ||
            !object_path_component(path.substr(0, path.size() - object_path_end.size()), &leaf.value))
            return false;
        parsed.insert(parsed.begin(), std::move(leaf));
    }
    *name = std::move(parsed);
    return true;
}
