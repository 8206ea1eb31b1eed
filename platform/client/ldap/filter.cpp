#include "platform/client/ldap/filter.h"

#include <cstdio>

static std::string escaped_byte(char c) {
    char hex[4];
    snprintf(hex, sizeof hex, "\\%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
    return hex;
}

std::string filter_escaped(std::string_view value) {
    std::string text;
    for (char c : value)
        if (c == '*' || c == '(' || c == ')' || c == '\\' || c == '\0')
            text += escaped_byte(c);
        else
            text += c;
    return text;
}

std::string filter_escaped_binary(std::string_view value) {
    std::string text;
    for (char c : value) text += escaped_byte(c);
    return text;
}

static std::string joined(const char *kind, const std::vector<std::string> &filters) {
    if (filters.size() == 1) return filters.front();
    std::string text = kind;
    for (const std::string &filter : filters) text += filter;
    return text + ")";
}

std::string filter_equal(std::string_view attribute, std::string_view value) {
    return "(" + std::string(attribute) + "=" + filter_escaped(value) + ")";
}

std::string filter_or(const std::vector<std::string> &filters) {
    return joined("(|", filters);
}

std::string filter_and(const std::vector<std::string> &filters) {
    return joined("(&", filters);
}
