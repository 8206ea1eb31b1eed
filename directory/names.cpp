#include "directory/names.h"

#include <cstring>
#include <new>

#include "qrtscript.h"

static size_t find_delimiter(std::string_view text, std::string_view delimiter) {
    for (size_t at = text.find(delimiter); at != std::string_view::npos; at = text.find(delimiter, at + 1))
        if (at == 0 || text[at - 1] != '\\') return at;
    return std::string_view::npos;
}

NameParts names_split(std::string_view name) {
    if (!name.empty() && name.front() == '.') name.remove_prefix(1);
    std::string_view leaf = name.substr(0, find_delimiter(name, "."));
    std::string_view parent = "[Root]";
    if (leaf.size() + 1 < name.size()) parent = name.substr(leaf.size() + 1);
    size_t type = find_delimiter(leaf, "=");
    std::string_view bare = type == std::string_view::npos ? leaf : leaf.substr(type + 1);
    return {std::string(parent), std::string(bare), std::string(leaf)};
}

bool names_copy(char *out, size_t size, std::string_view text) {
    const bool fits = text.size() < size;
    if (!fits) text = {};
    out[text.copy(out, text.size())] = '\0';
    return fits;
}

char *DSFindDelimiter(const char *text, const char *delimiter) {
    if (!text || !delimiter) return nullptr;
    size_t at = find_delimiter(text, delimiter);
    return at == std::string_view::npos ? nullptr : const_cast<char *>(text + at);
}

static void hand_out(char *out, const std::string &text) {
    if (out) memcpy(out, text.c_str(), text.size() + 1);
}

char *DSRemoveNameFromFullName(const char *name, char *parent, char *leaf, char *typedLeaf) try {
    // The parts are copies, so that an out may be the buffer of the name itself.
    NameParts parts = names_split(name ? name : "");
    hand_out(parent, parts.parent);
    hand_out(typedLeaf, parts.typedLeaf);
    hand_out(leaf, parts.leaf);
    return leaf;
} catch (const std::bad_alloc &) {
    for (char *out : {parent, leaf, typedLeaf})
        if (out) *out = '\0';
    return leaf;
}

char *qrt_DSFindDelimiter(const char *text, const char *delimiter) {
    return DSFindDelimiter(text, delimiter);
}

char *qrt_DSRemoveNameFromFullName(const char *name, char *parent, char *leaf, char *typedLeaf) {
    return DSRemoveNameFromFullName(name, parent, leaf, typedLeaf);
}
