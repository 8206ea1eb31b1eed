// The LDIF reader, over files in memory.
//
//     input ::= tree NUL included [ NUL value ]
//
// The three are /tree/acme.ldif, /tree/more.ldif and /tree/value.txt; there is /etc/passwd, too, which must not be
// read.
#include "platform/client/ldif/reader.h"

#include "platform/client/core/errors.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/world/files.h"

// The zero byte keeps the fuzzer from writing it by itself.
static constexpr std::string_view secret("root:x\0", 7);
static std::string_view tree, included, value;
static int opened;

// Each opening costs; a tree of includes has to end by itself.
static std::optional<std::string_view> tree_file(const char *path) {
    const std::string_view name = path;
    opened++;
    if (name == "/tree/acme.ldif") return tree;
    if (name == "/tree/more.ldif") return included;
    if (name == "/tree/value.txt") return value;
    if (name == "/etc/passwd") return secret;
    return std::nullopt;
}

static bool is_name(std::string_view name) {
    return !name.empty() && name.find_first_of(std::string_view(" :\r\n\0", 5)) == name.npos;
}

// Any of the three may be included.
static bool is_shown(std::string_view file) {
    return file == "acme.ldif" || file == "more.ldif" || file == "value.txt";
}

static void check_record(const LdifRecord &record) {
    FUZZ_CHECK(is_shown(record.file));
    FUZZ_CHECK(!record.attributes.empty());
    unsigned line = record.line;
    for (const LdifAttribute &attribute : record.attributes) {
        FUZZ_CHECK(is_name(attribute.name));
        FUZZ_CHECK(attribute.line > line);
        FUZZ_CHECK(attribute.value != secret);
        line = attribute.line;
    }
}

// What is refused is refused with file and line.
static void check_refusal(std::string_view why) {
    FUZZ_CHECK(why.size() > 10 && is_shown(why.substr(0, 9)) && why[9] == ':');
    FUZZ_CHECK(why[10] == ' ' || (why[10] >= '1' && why[10] <= '9'));
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::string_view rest = fuzz_view(data, size);
    tree = fuzz_take(rest, '\0');
    included = fuzz_take(rest, '\0');
    value = fuzz_take(rest, '\0');
    files_content = tree_file;
    opened = 0;
    try {
        LdifReader reader("/tree/acme.ldif", "acme.ldif");
        LdifRecord record;
        while (opened < 200 && reader.next(&record)) check_record(record);
    } catch (const DataError &error) {
        check_refusal(error.what());
    }
    files_check_closed();
    return 0;
}
