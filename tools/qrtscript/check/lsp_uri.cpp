#include "tools/qrtscript/check/lsp_uri.h"

#include <cctype>
#include <charconv>

std::string uri_path(std::string_view uri) {
    constexpr std::string_view scheme = "file://", here = "localhost";
    if (uri.substr(0, scheme.size()) != scheme) return "";
    uri.remove_prefix(scheme.size());
    if (uri.substr(0, here.size()) == here) uri.remove_prefix(here.size());
    if (uri.empty() || uri.front() != '/') return "";
    std::string path;
    for (size_t at = 0; at < uri.size(); ++at) {
        if (uri[at] != '%') {
            path += uri[at];
            continue;
        }
        unsigned byte = 0;
        const char *digits = uri.data() + at + 1;
        if (at + 2 >= uri.size() || std::from_chars(digits, digits + 2, byte, 16).ptr != digits + 2) return "";
        if (byte == 0) return "";
        path += static_cast<char>(byte);
        at += 2;
    }
    return path;
}

std::string uri_of_path(std::string_view path) {
    constexpr std::string_view plain = "/-._~", digits = "0123456789ABCDEF";
    std::string uri = "file://";
    for (const char c : path) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80 && (isalnum(byte) != 0 || plain.find(c) != plain.npos))
            uri += c;
        else
            uri.append({'%', digits[byte >> 4], digits[byte & 15]});
    }
    return uri;
}
