// What a volume of a file server is mounted from, and with which options: as client.toml and the directory give them.
//
//     source  ::= "smb://" host "/" share { "/" folder }      "%XX" stands for a byte in these two
//               | "nfs://" host { "/" folder }
//               | { "/" folder }                              a folder of this machine, "%" is a character like others
//     host    ::= letters, digits, ".", "-", "_"; the first one is a letter or a digit
//               | "[" IPv6-address "]"                        without a zone
//     options ::= [ option { "," option } ]                   in the spelling of mount.cifs and mount.nfs
//
// Whoever writes a volume's object is not root, and root mounts it: names and options are taken from fixed lists, and
// nothing of a source can be taken for an option.
#ifndef PLATFORM_COMMON_VOLUME_SOURCE_H
#define PLATFORM_COMMON_VOLUME_SOURCE_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

inline constexpr size_t volume_source_limit = 1024; // bytes
inline constexpr size_t volume_options_limit = 256;

struct VolumeSource {
    enum class Kind { smb, nfs, local };
    Kind kind = Kind::local;
    std::string host; // in lower case, an IPv6 address in its shortest form and in brackets; empty for a local folder
    std::string path; // smb: "share/folder"; nfs and local: "/folder/folder"
};

// Nothing, and the reason in `*why` (a message), for a text that is not a source.
std::optional<VolumeSource> volume_source_parse(std::string_view text, std::string *why);

// The single options, each name once. Nothing, and the reason in `*why`, for one that this kind of source does not
// have.
std::optional<std::vector<std::string>> volume_options_parse(VolumeSource::Kind kind, std::string_view text,
                                                             std::string *why);

// Whether the options have one of that name, with a value or without.
bool volume_options_have(const std::vector<std::string> &options, std::string_view name);

// Whether `host` is one of the hosts: "fs1", "fs1.school.example", or ".school.example" for all below a domain. Without
// regard to case and to the form of an address. `host` is as above.
bool volume_host_is_listed(const std::vector<std::string> &hosts, std::string_view host);

// Whether the text can stand in such a list.
bool volume_host_is_valid(std::string_view host);

#endif
