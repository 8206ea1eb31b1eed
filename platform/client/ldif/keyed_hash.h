// A hash of texts from elsewhere. Its key differs with each process, so that no file can be made whose names collide.
#ifndef PLATFORM_CLIENT_LDIF_KEYED_HASH_H
#define PLATFORM_CLIENT_LDIF_KEYED_HASH_H

#include <cstdint>
#include <string_view>

uint32_t keyed_hash(std::string_view text);

#endif
