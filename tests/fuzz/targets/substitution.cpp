// Replacing identifier references, against the plainest way to do the same.
//
//     input    ::= text NUL { name "=" value line-feed }
//
// The lines say what the names stand for; "<" before a name makes it a variable of the environment. Values may name
// further references, and themselves.
#include <array>

#include "directory/identifiers.h"
#include "directory/substitution.h"
#include "qrtscript.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/world/process.h"
#include "tests/fuzz/world/wrapped.h"

static constexpr size_t none = std::string_view::npos;
// What the reference below and the library may look up for one input: both stop finding anything after as many. The
// library may look up twice what the reference does.
static constexpr int most_lookups = 120;
static constexpr size_t most_growth = 4096;

static std::array<std::pair<std::string_view, std::string_view>, 16> values;
static size_t values_used;
static int lookups;

static const std::string_view *value_of(std::string_view name) {
    for (size_t i = 0; i < values_used; i++)
        if (values[i].first == name) return &values[i].second;
    return nullptr;
}

static bool exhausted() {
    return ++lookups > most_lookups;
}

decltype(identifiers_look_up) wrapped_look_up asm("__wrap_" WRAPPED_LOOK_UP);
decltype(identifiers_variable) wrapped_variable asm("__wrap_" WRAPPED_VARIABLE);

uint32_t wrapped_look_up(uint32_t, const std::optional<std::string> &, const char *name, OwnedText &value) {
    const std::string_view *found = exhausted() ? nullptr : value_of(name);
    if (!found) return QRT_NOT_FOUND;
    value.reset(strndup(found->data(), found->size()));
    return 0;
}

// The name ends at its ">"; the values' names of variables begin with "<".
static const std::string_view *variable_of(std::string_view name) {
    name = name.substr(0, name.find('>'));
    for (size_t i = 0; i < values_used; i++)
        if (values[i].first.substr(0, 1) == "<" && values[i].first.substr(1) == name) return &values[i].second;
    return nullptr;
}

const char *wrapped_variable(std::string_view name) {
    static std::string kept;
    const std::string_view *found = exhausted() ? nullptr : variable_of(name);
    if (found) kept = *found;
    return found ? kept.c_str() : nullptr;
}

// ---- the plainest way ----

struct Reference {
    std::string_view name, replaced;
    bool isVariable = false;
};

static Reference parse(std::string_view text, size_t marker, size_t position) {
    const std::string_view rest = text.substr(marker);
    if (rest.size() == 1 || strchr(" \n\r\t#@\\", rest[1])) return {"", rest.substr(0, 1), false};
    if (rest[1] == '"') return {rest.substr(2, rest.find('"', 2) == none ? none : rest.find('"', 2) - 2), rest, false};
    size_t end = rest.find_first_of(" \t\r\n\"#@\\/:(),.%-;>", 1);
    if (end == none) end = rest.size();
    const bool closedByQuote = end < rest.size() && rest[end] == '"';
    if (end < rest.size() && rest[end] == '>') end++;
    Reference reference = {rest.substr(1, end - 1), rest.substr(0, end), rest[1] == '<'};
    if (closedByQuote && marker != position && text[marker - 1] == '"') reference.replaced = text.substr(marker - 1);
    return reference;
}

static bool resolve(const Reference &reference, std::string_view &value) {
    const std::string_view name = reference.name;
    if (name.empty()) return false;
    const bool stopped = exhausted();
    const bool variable = reference.isVariable;
    const std::string_view *found = stopped ? nullptr : variable ? variable_of(name.substr(1)) : value_of(name);
    value = found ? *found : std::string_view();
    return found || variable;
}

// False when nothing is left to be replaced.
static bool replace_next(std::string &text) {
    for (size_t position = 0;;) {
        size_t marker = text.find('%', position);
        if (marker == none) marker = text.find('<', position);
        if (marker == none) return false;
        const Reference reference = parse(text, marker, position);
        std::string_view value;
        if (resolve(reference, value)) {
            const std::string replaced(reference.replaced);
            text.replace(text.find(replaced), replaced.size(), value);
            return true;
        }
        position += reference.replaced.size();
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::string_view rest = fuzz_view(data, size);
    const std::string_view text = fuzz_take(rest, '\0');
    for (values_used = 0; values_used < values.size() && !rest.empty(); values_used++) {
        std::string_view line = fuzz_take(rest, '\n');
        line = line.substr(0, line.find('\0'));
        const std::string_view name = fuzz_take(line, '=');
        values[values_used] = {name, line};
    }
    std::string expected(text);
    lookups = 0;
    while (replace_next(expected))
        if (expected.size() > text.size() + most_growth) return 0;
    if (lookups > most_lookups / 2) return 0;
    lookups = 0;
    ExactText input(text);
    char *replaced = qrt_find_replace_ids(1, input.data());
    FUZZ_CHECK(replaced && expected == replaced);
    FUZZ_CHECK(input.data() == text);
    free(replaced);
    return 0;
}
