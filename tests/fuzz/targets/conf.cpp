// The configuration reader: whole files, and single lines into buffers of any size.
//
//     input ::= size key NUL file        size: one byte, the length of the value's buffer
#include "platform/common/conf_file.h"
#include "qrtscript.h"

#include <algorithm>

#include "qrtscript.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/world/files.h"

static constexpr char canary = 0x5A;
static std::string_view file;

static std::optional<std::string_view> the_file(const char *) {
    return file;
}

// A value is a NUL-terminated text that the file holds; a length is in decimal or "*".
static void check_value(const char *value, size_t valueSize, uint32_t code) {
    const std::string_view text(value, strnlen(value, valueSize));
    if (code == 0) {
        FUZZ_CHECK(text.size() < valueSize);
        FUZZ_CHECK(file.find(text) != file.npos);
        FUZZ_CHECK(text.find_first_of("=\n") == text.npos);
        FUZZ_CHECK(text.empty() || (text[0] != ' ' && text[0] != '\t'));
    } else if (code == QRT_CONF_TOO_LONG) {
        FUZZ_CHECK(text == "*" || text.find_first_not_of("0123456789") == text.npos);
        // Of one byte the buffer is either too small for the length, or holds it.
        FUZZ_CHECK(!text.empty());
    } else {
        FUZZ_CHECK(code == QRT_CONF_NO_KEY || code == QRT_CONF_EMPTY_KEY || code == QRT_CONF_NO_SPACE);
        FUZZ_CHECK(std::all_of(value, value + valueSize, [](char c) { return c == canary; }));
    }
}

static void read_file(const char *key, size_t valueSize) {
    ExactText value(std::string(valueSize, canary));
    const uint32_t code = qrtGetConfValue("map.conf", "", key, value.data(), static_cast<int>(valueSize));
    FUZZ_CHECK(value.data()[valueSize] == '\0');
    check_value(value.data(), valueSize, code);
}

static void read_line(const char *key, size_t valueSize) {
    ExactText line(file.substr(0, file.find('\0')));
    ExactText value(std::string(valueSize, canary));
    const int result = parseLineForKeyValue(line.data(), key, value.data(), static_cast<int>(valueSize));
    FUZZ_CHECK(result >= 0 && result <= static_cast<int>(file.size()));
    FUZZ_CHECK(value.data()[valueSize] == '\0');
    const bool written = std::any_of(value.data(), value.data() + valueSize, [](char c) { return c != canary; });
    if (written) FUZZ_CHECK(result == 1 && strlen(value.data()) < valueSize);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) return 0;
    files_content = the_file;
    const size_t valueSize = data[0];
    file = fuzz_view(data + 1, size - 1);
    ExactText key(fuzz_take(file, '\0'));
    read_file(key.data(), valueSize);
    read_line(key.data(), valueSize);
    return 0;
}
