// A hash of texts from elsewhere. Its key differs with each process, so that no file can be made whose names collide.
#ifndef PLATFORM_CLIENT_LDIF_KEYED_HASH_H
#define PLATFORM_CLIENT_LDIF_KEYED_HASH_H

#include <cstdint>
#include <string_view>

uint32_t keyed_hash(std::string_view text);

// The whole of the hash (SipHash-1-3) with a key that is known.
uint64_t keyed_hash_with(uint64_t key0, uint64_t key1, std::string_view text);

#endif
