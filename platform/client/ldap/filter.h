// Search filters (RFC 4515) from values that may hold anything.
#ifndef PLATFORM_CLIENT_LDAP_FILTER_H
#define PLATFORM_CLIENT_LDAP_FILTER_H

#include <string>
#include <string_view>
#include <vector>

// A value as it stands in a filter. Bytes that are not text are taken as they are by no server: those of a binary
// value have to be escaped one by one.
std::string filter_escaped(std::string_view value);
std::string filter_escaped_binary(std::string_view value);

// "(attribute=value)", the value escaped.
std::string filter_equal(std::string_view attribute, std::string_view value);

// "(|...)" or "(&...)" of filters; of a single one that one itself. Not for an empty list.
std::string filter_or(const std::vector<std::string> &filters);
std::string filter_and(const std::vector<std::string> &filters);

#endif
