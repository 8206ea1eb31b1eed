#include "platform/common/volume_source.h"

#include <arpa/inet.h>
#include <algorithm>
#include <cstring>

#include "platform/catalogue.h"
#include "platform/common/location.h"
#include "platform/common/nocase.h"

using Kind = VolumeSource::Kind;

static constexpr size_t host_limit = 253;
static constexpr size_t number_digits = 7;

namespace {

struct Scheme {
    std::string_view start;
    Kind kind;
};

// What an option may have behind its "=": nothing, one of several words, a number, or a name.
struct OptionRule {
    Kind kind;
    const char *name;
    const char *values; // words with "|" between; null: none
};

} // namespace

static constexpr const char *any_number = "#";
static constexpr const char *any_name = "@";

static constexpr Scheme schemes[] = {{"smb://", Kind::smb}, {"nfs://", Kind::nfs}};

static constexpr OptionRule rules[] = {
    {Kind::smb, "sec", "krb5|krb5i|ntlmssp|ntlmsspi|ntlmv2|ntlmv2i"},
    {Kind::smb, "vers", "2.1|3|3.0|3.0.2|3.02|3.1.1|default"},
    {Kind::smb, "multiuser", nullptr},
    {Kind::smb, "guest", nullptr},
    {Kind::smb, "domain", any_name},
    {Kind::smb, "port", any_number},
    {Kind::smb, "seal", nullptr},
    {Kind::smb, "cache", "none|strict|loose"},
    {Kind::smb, "mfsymlinks", nullptr},
    {Kind::smb, "nobrl", nullptr},
    {Kind::smb, "noserverino", nullptr},
    {Kind::smb, "hard", nullptr},
    {Kind::smb, "soft", nullptr},
    {Kind::nfs, "sec", "sys|krb5|krb5i|krb5p"},
    {Kind::nfs, "vers", "3|4|4.0|4.1|4.2"},
    {Kind::nfs, "proto", "tcp|tcp6|udp|udp6"},
    {Kind::nfs, "port", any_number},
    {Kind::nfs, "hard", nullptr},
    {Kind::nfs, "soft", nullptr},
    {Kind::nfs, "softerr", nullptr},
    {Kind::nfs, "timeo", any_number},
    {Kind::nfs, "retrans", any_number},
    {Kind::nfs, "nconnect", any_number},
    {Kind::nfs, "nolock", nullptr},
};
static constexpr const char *rules_of_all[] = {"ro", "rw", "noexec", "nosuid", "nodev"};

static bool is_alphanumeric(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

static bool is_host(std::string_view host) {
    const auto fits = [](char c) { return is_alphanumeric(c) || c == '.' || c == '-' || c == '_'; };
    return !host.empty() && host.size() <= host_limit && is_alphanumeric(host[0]) &&
           std::all_of(host.begin(), host.end(), fits);
}

// The address in its only form; nothing for other text.
static std::optional<std::string> address_in_brackets(std::string_view text) {
    if (text.size() < 2 || text.front() != '[' || text.back() != ']') return std::nullopt;
    in6_addr address = {};
    char shortest[INET6_ADDRSTRLEN];
    const std::string inside(text.substr(1, text.size() - 2));
    if (inside.find('\0') != std::string::npos || inet_pton(AF_INET6, inside.c_str(), &address) != 1)
        return std::nullopt;
    return std::string("[") + inet_ntop(AF_INET6, &address, shortest, sizeof shortest) + "]";
}

// The host as a source has it.
static std::optional<std::string> host_of(std::string_view text) {
    if (!is_host(text)) return address_in_brackets(text);
    std::string host;
    for (char c : text) host += lower_case(c);
    return host;
}

static int hex_value(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    c = lower_case(c);
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

// Nothing for a "%" without two hexadecimal digits.
static std::optional<std::string> percent_decoded(std::string_view text) {
    std::string decoded;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded += text[i];
            continue;
        }
        if (text.size() - i < 3 || hex_value(text[i + 1]) < 0 || hex_value(text[i + 2]) < 0) return std::nullopt;
        decoded += static_cast<char>(hex_value(text[i + 1]) * 16 + hex_value(text[i + 2]));
        i += 2;
    }
    return decoded;
}

// The folders, a slash before each; nothing when one of them is no folder's name.
static std::optional<std::string> checked_folders(std::string_view path, bool decoded) {
    std::string checked;
    for (size_t start = 1; start <= path.size();) {
        const size_t end = std::min(path.find('/', start), path.size());
        const std::string_view written = path.substr(start, end - start);
        const std::optional<std::string> folder = decoded ? percent_decoded(written) : std::string(written);
        start = end + 1;
        if (written.empty() && end == path.size()) continue; // a slash at the end
        if (!folder || !is_folder_name(*folder)) return std::nullopt;
        checked += "/" + *folder;
    }
    return checked;
}

static std::optional<VolumeSource> refused(std::string *why, const std::string &reason) {
    *why = reason;
    return std::nullopt;
}

static std::optional<VolumeSource> remote_source(Kind kind, std::string_view text, std::string *why) {
    VolumeSource source;
    source.kind = kind;
    const size_t slash = std::min(text.find('/'), text.size());
    const std::optional<std::string> host = host_of(text.substr(0, slash));
    if (!host) return refused(why, catalogue_text("the source names no valid host"));
    source.host = *host;
    const std::optional<std::string> path = checked_folders(text.substr(slash), true);
    if (!path) return refused(why, catalogue_text("the path of the source is not valid"));
    source.path = *path;
    if (kind == Kind::nfs && source.path.empty()) source.path = "/";
    if (kind == Kind::nfs) return source;
    if (source.path.empty()) return refused(why, catalogue_text("the source names no share"));
    // mount.cifs hands the name of the share to the kernel among the options.
    if (source.path.find_first_of(",\"") != std::string::npos)
        return refused(why, catalogue_text("a share and its folders cannot have a comma or a double quote"));
    source.path.erase(0, 1);
    return source;
}

static std::optional<VolumeSource> local_source(std::string_view text, std::string *why) {
    const std::optional<std::string> path = checked_folders(text, false);
    if (!path) return refused(why, catalogue_text("the path of the source is not valid"));
    if (path->empty()) return refused(why, catalogue_text("the source is the root directory"));
    VolumeSource source;
    source.path = *path;
    return source;
}

std::optional<VolumeSource> volume_source_parse(std::string_view text, std::string *why) {
    if (text.size() > volume_source_limit) return refused(why, catalogue_text("the source is too long"));
    for (const Scheme &scheme : schemes)
        if (text.substr(0, scheme.start.size()) == scheme.start)
            return remote_source(scheme.kind, text.substr(scheme.start.size()), why);
    if (text.substr(0, 1) == "/") return local_source(text, why);
    return refused(why, catalogue_text("the source is not smb://HOST/SHARE, nfs://HOST/PATH or /PATH"));
}

static bool is_number(std::string_view text) {
    return !text.empty() && text.size() <= number_digits &&
           std::all_of(
               text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

static bool is_one_of(std::string_view words, std::string_view word) {
    while (!words.empty()) {
        const size_t end = std::min(words.find('|'), words.size());
        if (words.substr(0, end) == word) return true;
        words.remove_prefix(std::min(end + 1, words.size()));
    }
    return false;
}

static bool value_fits(const char *values, std::string_view value) {
    if (values == any_number) return is_number(value);
    if (values == any_name) return is_host(value);
    return is_one_of(values, value);
}

static bool option_fits(Kind kind, std::string_view option) {
    const size_t equals = option.find('=');
    const std::string_view name = option.substr(0, equals);
    for (const char *known : rules_of_all)
        if (option == known) return true;
    for (const OptionRule &rule : rules) {
        if (rule.kind != kind || name != rule.name) continue;
        if (rule.values == nullptr) return equals == std::string_view::npos;
        return equals != std::string_view::npos && value_fits(rule.values, option.substr(equals + 1));
    }
    return false;
}

static std::string_view name_of(std::string_view option) {
    return option.substr(0, option.find('='));
}

bool volume_options_have(const std::vector<std::string> &options, std::string_view name) {
    return std::any_of(
        options.begin(), options.end(), [name](const std::string &option) { return name_of(option) == name; });
}

std::optional<std::vector<std::string>> volume_options_parse(Kind kind, std::string_view text, std::string *why) {
    std::vector<std::string> options;
    if (text.size() > volume_options_limit) {
        *why = catalogue_text("the options are too long");
        return std::nullopt;
    }
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find(',', start), text.size());
        const std::string option(text.substr(start, end - start));
        if (!option_fits(kind, option) || volume_options_have(options, name_of(option)) || (end + 1 == text.size())) {
            *why = catalogue_format("unknown, repeated or wrong mount option \"%s\"", option.c_str());
            return std::nullopt;
        }
        options.push_back(option);
        start = end + 1;
    }
    return options;
}

bool volume_host_is_valid(std::string_view host) {
    return host.substr(0, 1) == "." ? is_host(host.substr(1)) : host_of(host).has_value();
}

bool volume_host_is_listed(const std::vector<std::string> &hosts, std::string_view host) {
    const std::optional<std::string> wanted = host_of(host);
    const auto covers = [&wanted](const std::string &listed) {
        if (listed.empty() || listed[0] != '.') return host_of(listed) == wanted;
        return wanted->size() > listed.size() && equal_nocase(wanted->substr(wanted->size() - listed.size()), listed);
    };
    return wanted && std::any_of(hosts.begin(), hosts.end(), covers);
}
