// The flags of the directory contexts that a login, its scripts and their programs work with, so that names and aliases
// mean the same to all of them: typeless complete names, aliases followed.
#ifndef PLATFORM_COMMON_CONTEXT_FLAGS_H
#define PLATFORM_COMMON_CONTEXT_FLAGS_H

#include <cstdint>

#include "platform/zk.h"

// Has no meaning to the client.
constexpr uint32_t context_flag_stored = 0x40;

constexpr uint32_t login_context_flags =
    DCV_DEREF_ALIASES | DCV_XLATE_STRINGS | DCV_TYPELESS_NAMES | DCV_CANONICALIZE_NAMES | context_flag_stored;

#endif
