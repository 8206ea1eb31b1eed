#include "directory/reference.h"

#include <algorithm>

bool reference_is_without_name(std::string_view rest) {
    return rest.size() == 1 || (reference_ends_name(rest[1]) && rest[1] != '"' && rest[1] != '>');
}

Reference reference_parse(std::string_view rest) {
    Reference reference;
    if (rest[1] == '"') {
        // Whatever follows the quoted name is lost when it resolves: required.
        reference.name = rest.substr(2, rest.find('"', 2) - 2);
        reference.replaced = rest;
    } else {
        auto end = static_cast<size_t>(std::find_if(rest.begin() + 1, rest.end(), reference_ends_name) - rest.begin());
        reference.isVariable = rest[1] == '<';
        reference.closedByQuote = end < rest.size() && rest[end] == '"';
        if (end < rest.size() && rest[end] == '>') end++;
        reference.name = rest.substr(1, end - 1);
        reference.replaced = rest.substr(0, end);
    }
    return reference;
}
