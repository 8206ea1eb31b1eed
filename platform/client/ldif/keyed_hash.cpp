#include "platform/client/ldif/keyed_hash.h"

#include <sys/random.h>
#include <cstring>

namespace {

// SipHash with one round for each word and three at the end.
class SipHash {
  public:
    SipHash(uint64_t key0, uint64_t key1)
        : a_(key0 ^ 0x736f6d6570736575),
          b_(key1 ^ 0x646f72616e646f6d),
          c_(key0 ^ 0x6c7967656e657261),
          d_(key1 ^ 0x7465646279746573) {}

    void add(uint64_t word) {
        d_ ^= word;
        round();
        a_ ^= word;
    }
    uint64_t end() {
        c_ ^= 0xFF;
        for (int i = 0; i < 3; i++) round();
        return a_ ^ b_ ^ c_ ^ d_;
    }

  private:
    static uint64_t rotated(uint64_t word, int bits) { return word << bits | word >> (64 - bits); }
    void round() {
        a_ += b_;
        c_ += d_;
        b_ = rotated(b_, 13) ^ a_;
        d_ = rotated(d_, 16) ^ c_;
        a_ = rotated(a_, 32) + d_;
        c_ += b_;
        d_ = rotated(d_, 21) ^ a_;
        b_ = rotated(b_, 17) ^ c_;
        c_ = rotated(c_, 32);
    }

    uint64_t a_, b_, c_, d_;
};

struct Key {
    // While the machine starts there may be no random bytes yet; nothing is waited for.
    Key() {
        if (getrandom(words, sizeof words, GRND_NONBLOCK) != sizeof words) words[0] = reinterpret_cast<uintptr_t>(this);
    }
    uint64_t words[2] = {};
};

} // namespace

uint64_t keyed_hash_with(uint64_t key0, uint64_t key1, std::string_view text) {
    SipHash hash(key0, key1);
    uint64_t word = 0;
    size_t at = 0;
    for (; text.size() - at >= sizeof word; at += sizeof word) {
        memcpy(&word, text.data() + at, sizeof word);
        hash.add(word);
    }
    word = uint64_t{text.size()} << 56;
    memcpy(&word, text.data() + at, text.size() - at);
    hash.add(word);
    return hash.end();
}

uint32_t keyed_hash(std::string_view text) {
    static const Key key;
    return static_cast<uint32_t>(keyed_hash_with(key.words[0], key.words[1], text));
}
