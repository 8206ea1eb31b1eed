// Where a script's text comes from besides a local file: a directory object's "Login Script" stream, the nearest
// container above an object that has one, or the built-in default. They know nothing of the parser.
#ifndef DIRECTORY_SCRIPT_SOURCES_H
#define DIRECTORY_SCRIPT_SOURCES_H

#include <cstdint>
#include <string>

#include "base/text.h"

// The text of a local file, or null.
OwnedText script_sources_file(const char *path);

// The login script of an object, with a line break appended. Returns 0 or the client's code; `text` is set for 0 only.
// Throws std::bad_alloc.
uint32_t script_sources_object(uint32_t handle, const char *object, std::string &text);

// The script of the nearest container above the object that has one. Returns 0 or QRT_NOT_FOUND. Throws std::bad_alloc.
uint32_t script_sources_container(uint32_t handle, const char *object, std::string &text);

// The script for a user without one.
const char *script_sources_default();

#endif
