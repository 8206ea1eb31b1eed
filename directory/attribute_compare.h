// Whether an attribute of an object names another object: MEMBER OF.
#ifndef DIRECTORY_ATTRIBUTE_COMPARE_H
#define DIRECTORY_ATTRIBUTE_COMPARE_H

#include <cstdint>
#include <string>
#include <string_view>

// The name that values are compared with: ".Admins.corp" is complete, "Admins." stands as it is, anything else is in
// the current context. Types after a period are dropped.
std::string attribute_compare_wanted(std::string_view name);

// qrt_compareAttribute (qrtscript.h); a lookup that did not get as far as the read leaves the flag alone.
uint32_t attribute_compare(uint32_t handle, const char *object, const char *attribute, std::string_view name,
                           uint32_t &flag);

#endif
