// Whether an attribute of an object names another object: qrt_compareAttribute (qrtscript.h), behind MEMBER OF.
#ifndef DIRECTORY_ATTRIBUTE_COMPARE_H
#define DIRECTORY_ATTRIBUTE_COMPARE_H

#include <string>

// The name that values are compared with: ".Admins.corp" is complete, "Admins." stands as it is, anything else is in
// the current context. Types after a period are dropped. Throws std::bad_alloc.
std::string attribute_compare_wanted(const char *name);

#endif
