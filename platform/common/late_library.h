// Libraries that most runs do without are not loaded with the program, which would wait for them, but for their first
// use. Variables that scripts set do not influence where they are found: the dynamic linker keeps LD_LIBRARY_PATH as
// the process started. A relative element of it counts from the working folder of that moment, which no script changes.
#ifndef PLATFORM_COMMON_LATE_LIBRARY_H
#define PLATFORM_COMMON_LATE_LIBRARY_H

#include <dlfcn.h>

// The function of a library, which stays loaded. Null when there is none; dlerror() says why.
template <typename Function>
Function *late_function(const char *library, const char *name) {
    void *handle = dlopen(library, RTLD_NOW | RTLD_LOCAL);
    return handle == nullptr ? nullptr : reinterpret_cast<Function *>(dlsym(handle, name));
}

#endif
