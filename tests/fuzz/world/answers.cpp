#include "tests/fuzz/world/answers.h"

#include <algorithm>

#include "platform/zk.h"

static constexpr int allowance = 250;
static constexpr uint32_t world_codes[] = {ZKE_VOLUME_UNKNOWN,
                                           ZKE_OTHER_IDENTITY,
                                           ZKE_CONN_INVALID,
                                           ZKE_SERVER_NOT_FOUND,
                                           ZKE_NO_SUCH_ATTRIBUTE,
                                           ZKE_NO_SUCH_VALUE,
                                           ZKE_NO_SUCH_ENTRY,
                                           ZKE_TREE_NOT_FOUND,
                                           ZKE_BAD_CONTEXT,
                                           ZKE_WRONG_PASSWORD,
                                           ZKE_NO_ACCESS,
                                           ZKE_DIRECTORY_UNREACHABLE,
                                           ZKE_BAD_DIRECTORY_DATA,
                                           ZKE_MALFORMED_NAME,
                                           ZKE_BUFFER_TOO_SMALL,
                                           ZKE_BAD_HANDLE,
                                           ZKE_NO_MORE_ENTRIES,
                                           ZKE_NO_MEMORY,
                                           0x10000,
                                           0x7FFF};
static constexpr size_t lengths[] = {0, 1, 2, 31, 48, 255, 256, 511, 512, 1024};

static std::string_view rest;
static int calls_left;

static char filler[1024];

void answers_start(std::string_view bytes) {
    rest = bytes;
    calls_left = allowance;
    if (!filler[0]) std::fill(filler, filler + sizeof filler, 'x');
}

uint8_t answers_byte() {
    if (rest.empty()) return 0;
    const char first = rest.front();
    rest.remove_prefix(1);
    return static_cast<uint8_t>(first);
}

uint32_t answers_number(uint32_t ordinary) {
    const uint8_t byte = answers_byte();
    if (byte >= '0' && byte <= '9') return byte - uint32_t{'0'};
    if (byte == 'h') return UINT32_MAX;
    if (byte == 'm') return INT32_MAX;
    return byte == 'n' ? uint32_t{1} << 31 : ordinary;
}

std::string_view answers_text(std::string_view ordinary, size_t limit) {
    const uint8_t byte = answers_byte();
    if (byte >= '0' && byte <= '9') return {filler, std::min(lengths[byte - '0'], limit)};
    if (byte != '"' && byte < 0xA0) return ordinary.substr(0, limit);
    const std::string_view text = rest.substr(0, rest.find_first_of(std::string_view("\n\0", 2)));
    rest.remove_prefix(std::min(rest.size(), text.size() + 1));
    return text.substr(0, limit);
}

bool answers_exhausted() {
    return calls_left == 0 || --calls_left == 0;
}

uint32_t answers_code() {
    if (answers_exhausted()) return ZKE_DIRECTORY_UNREACHABLE;
    const uint8_t byte = answers_byte();
    return byte >= 'A' && byte <= 'T' ? world_codes[byte - 'A'] : ZK_OK;
}
