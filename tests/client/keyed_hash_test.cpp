#include "platform/client/ldif/keyed_hash.h"

#include <gtest/gtest.h>
#include <string>

namespace {

// Computed by an implementation that gives the published value of SipHash-2-4 and the hashes of CPython 3.11, which are
// SipHash-1-3. The key is that of the published value: the bytes 0 to 15.
TEST(KeyedHash, IsSipHashWithOneRoundForEachWordAndThreeAtTheEnd) {
    const struct {
        size_t length;
        uint64_t hash;
    } rows[] = {{0, 0xabac0158050fc4dc}, {1, 0xc9f49bf37d57ca93},  {7, 0xd3927d989bb11140},  {8, 0x369095118d299a8e},
                {9, 0x25a48eb36c063de4}, {15, 0xd320d86d2a519956}, {16, 0xcc4fdd1a7d908b66}, {63, 0x9d199062b7bbb3a8}};
    std::string text; // the bytes 0, 1, 2 ...
    for (const auto &row : rows) {
        while (text.size() < row.length) text += static_cast<char>(text.size());
        EXPECT_EQ(row.hash, keyed_hash_with(0x0706050403020100, 0x0f0e0d0c0b0a0908, text)) << row.length;
    }
}

TEST(KeyedHash, KeepsItsKeyInAProcess) {
    EXPECT_EQ(keyed_hash("sales.acme"), keyed_hash("sales.acme"));
    EXPECT_NE(keyed_hash("sales.acme"), static_cast<uint32_t>(keyed_hash_with(0, 0, "sales.acme")));
}

} // namespace
