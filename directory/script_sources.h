// Where a script's text comes from besides a local file: a directory object's "Login Script" stream, the nearest
// container above an object that has one, or the built-in default. They know nothing of the parser.
#ifndef DIRECTORY_SCRIPT_SOURCES_H
#define DIRECTORY_SCRIPT_SOURCES_H

#include <cstdint>
#include <string>

#include "base/text.h"

// The functions of qrtscript.h: qrt_readLoginScriptFromFile, qrt_GetLoginScript, qrt_get_container and
// __get_default_script. The text is set for 0 only.
OwnedText script_sources_file(const char *path);
uint32_t script_sources_object(uint32_t handle, const char *object, std::string &text);
uint32_t script_sources_container(uint32_t handle, const char *object, std::string &text);
const char *script_sources_default();

#endif
