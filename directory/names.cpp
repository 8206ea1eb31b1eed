#include "directory/names.h"

size_t names_find_delimiter(std::string_view text, std::string_view delimiter) {
    for (size_t at = text.find(delimiter); at != text.npos; at = text.find(delimiter, at + 1))
        if (at == 0 || text[at - 1] != '\\') return at;
    return text.npos;
}

NameParts names_split(std::string_view name) {
    if (!name.empty() && name.front() == '.') name.remove_prefix(1);
    std::string_view leaf = name.substr(0, names_find_delimiter(name, "."));
    std::string_view parent = "[Root]";
    if (leaf.size() + 1 < name.size()) parent = name.substr(leaf.size() + 1);
    size_t type = names_find_delimiter(leaf, "=");
    std::string_view bare = type == leaf.npos ? leaf : leaf.substr(type + 1);
    return {std::string(parent), std::string(bare), std::string(leaf)};
}

std::string names_abbreviated(std::string_view name, size_t longest) {
    std::string kept;
    const auto isTypeEnd = [&](size_t at) { return at < name.size() && name[at] == '='; };
    for (size_t i = 0; i < longest && i < name.size(); i++) {
        kept += name[i];
        if (name[i] != '.' || i + 3 >= longest) continue;
        // The second look starts where the first one left off: after a one-letter type it reads three places on from
        // the "=", so that ".O=ab=c" loses "ab=" as well. Required: names that compare equal depend on it.
        if (isTypeEnd(i + 2)) i += 2;
        if (isTypeEnd(i + 3)) i += 3;
    }
    return kept;
}

bool names_copy(char *out, size_t size, std::string_view text) {
    const bool fits = text.size() < size;
    if (!fits) text = {};
    out[text.copy(out, text.size())] = '\0';
    return fits;
}
