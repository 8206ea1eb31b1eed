// The change of one value in the text of an LDIF file.
//
//     input ::= choice value NUL text
//
// The first byte chooses the record, the attribute and whether the value is replaced, added or taken away.
#include "platform/client/ldif/rewrite.h"

#include <string>
#include <vector>

#include "platform/client/core/errors.h"
#include "platform/client/ldif/reader.h"
#include "tests/fuzz/fuzz.h"

struct Read {
    std::vector<LdifChange> places;                          // of each attribute
    std::vector<std::pair<std::string, std::string>> values; // and what it is
    bool whole = true;                                       // nothing was refused
};

static Read all_of(const std::string &text) {
    Read read;
    try {
        LdifReader reader(LdifText{text}, "text");
        LdifRecord record;
        while (reader.next(&record)) {
            for (const LdifAttribute &one : record.attributes) {
                read.places.push_back({record.place.at, record.place.line, one.line, false, "attribute", {}});
                read.values.emplace_back(one.name, one.value);
            }
        }
    } catch (const DataError &) {
        read.whole = false;
    }
    return read;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::string_view rest = fuzz_view(data, size);
    if (rest.empty()) return 0;
    const auto choice = static_cast<unsigned char>(rest.front());
    rest.remove_prefix(1);
    const std::string value(fuzz_take(rest, '\0')), text(rest);
    const Read before = all_of(text);
    if (!before.whole || before.places.empty()) return 0;
    const size_t number = choice / 3 % before.places.size();
    LdifChange change = before.places[number];
    change.isFurther = choice % 3 == 1;
    if (choice % 3 != 2) change.value = value;
    const std::string after = ldif_rewritten(text, change);

    auto expected = before.values;
    const auto at = expected.begin() + static_cast<std::ptrdiff_t>(number);
    if (change.isFurther)
        expected.insert(at + 1, {"attribute", value});
    else if (change.value)
        *at = {"attribute", value};
    else
        expected.erase(at);
    const Read found = all_of(after);
    // A record that has lost its only attribute is refused.
    if (change.value || found.whole) FUZZ_CHECK(found.whole && found.values == expected);

    // Nothing before the value's line and nothing after it is another one.
    size_t head = 0, tail = 0;
    while (head < text.size() && head < after.size() && text[head] == after[head]) head++;
    while (tail < text.size() - head && tail < after.size() - head &&
           text[text.size() - 1 - tail] == after[after.size() - 1 - tail])
        tail++;
    FUZZ_CHECK(head >= change.record);
    return 0;
}
