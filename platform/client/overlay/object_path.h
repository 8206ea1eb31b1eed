// Where the script of an object is in a folder that is laid out as the tree is:
//
//     path      ::= folder* ( component ".qrt" | "_container.qrt" )    acme/sales/jdoe.qrt, acme/sales/_container.qrt
//     folder    ::= component "/"
//     component ::= ( byte | "%" hex hex )+                            one value of the object's name, without its type
//
// Written are lower case letters, and "%XX" for "%", "/", control characters, a leading "." or "_", and bytes that are
// not UTF-8. Read is any spelling that the client takes for the same name.
#ifndef PLATFORM_CLIENT_OVERLAY_OBJECT_PATH_H
#define PLATFORM_CLIENT_OVERLAY_OBJECT_PATH_H

#include <optional>
#include <string>
#include <string_view>

#include "platform/client/core/names.h"

inline constexpr std::string_view object_path_end = ".qrt";
inline constexpr std::string_view object_path_container = "_container.qrt";

// The path of the object's script; nothing when no file can have that name: a part of more than 255 bytes, or of blanks
// alone. Types do not count: of two objects that differ only in these at most one can have a file.
std::optional<std::string> object_path(const Name &name, bool isContainer);

// The name, without types, that the path means. False for a path that is none.
bool object_path_parse(std::string_view path, Name *name, bool *isContainer);

// The value that a component stands for. False for one that begins with "." or "_", and for a malformed "%XX".
bool object_path_component(std::string_view component, std::string *value);

// Two components or values with the same key mean the same object.
std::string object_path_key(std::string_view value);

#endif
