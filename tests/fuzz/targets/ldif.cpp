// The LDIF reader and the tree in an LDIF file, over files in memory.
//
//     input ::= tree NUL included [ NUL value ]
//
// The three are /tree/acme.ldif, /tree/more.ldif and /tree/value.txt; there is /etc/passwd, too, which must not be
// read.
#include "platform/client/ldif/reader.h"

#include <functional>

#include "platform/client/core/errors.h"
#include "platform/client/core/values.h"
#include "platform/client/ldif/store.h"
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

static std::string refusal(const std::function<void()> &what) {
    try {
        what();
        return "";
    } catch (const DataError &error) {
        return error.what();
    }
}

static bool identical(const Name &a, const Name &b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const NamePart &x, const NamePart &y) { return x.type == y.type && x.value == y.value; });
}

// A value that is checked alone is refused as one that is taken.
static void check_value(const SchemaAttribute &attribute, std::string_view text) {
    DnView dn;
    Value taken;
    const std::string why = refusal([&] { taken = value_parse(attribute.syntax, text, {}); });
    FUZZ_CHECK(why == refusal([&] { value_check(attribute.syntax, text, {}, &dn); }));
    if (!why.empty()) return;
    FUZZ_CHECK(identical(taken.name, name_of_view(dn.parts)));
    std::string key;
    name_view_key(dn.parts, &key);
    FUZZ_CHECK(key == name_key(taken.name));
}

static void check_record(const LdifRecord &record) {
    FUZZ_CHECK(is_shown(record.file));
    FUZZ_CHECK(!record.attributes.empty());
    unsigned line = record.line;
    for (const LdifAttribute &attribute : record.attributes) {
        FUZZ_CHECK(is_name(attribute.name));
        FUZZ_CHECK(attribute.line > line);
        FUZZ_CHECK(attribute.value != secret);
        if (const SchemaAttribute *row = schema_find_ldap(attribute.name)) check_value(*row, attribute.value);
        line = attribute.line;
    }
}

// What is refused is refused with file and line.
static void check_refusal(std::string_view why) {
    FUZZ_CHECK(why.size() > 10 && is_shown(why.substr(0, 9)) && why[9] == ':');
    FUZZ_CHECK(why[10] == ' ' || (why[10] >= '1' && why[10] <= '9'));
}

// The entry is what the record says.
static void check_entry(DirectoryStore &store, const LdifRecord &record) {
    Name name;
    FUZZ_CHECK(name_parse_dn(record.dn, {}, &name, nullptr));
    const EntryPtr entry = store.find(name, Aliases::keep);
    FUZZ_CHECK(entry != nullptr && entry->name.size() == name.size());
    FUZZ_CHECK(name.empty() || identical({name.front()}, {entry->name.front()}));
    FUZZ_CHECK(name_key(name) == name_key(entry->name) && name_types_agree(name, entry->name));
    auto next = entry->values.begin();
    for (const LdifAttribute &attribute : record.attributes) {
        const SchemaAttribute *const row = schema_find_ldap(attribute.name);
        if (row == nullptr) continue;
        FUZZ_CHECK(next != entry->values.end() && next->attribute == row && next->text == attribute.value);
        next++;
    }
    FUZZ_CHECK(next == entry->values.end());
    for (const EntryValue &one : entry->values) {
        if (one.attribute != schema_find_ldap("member")) continue;
        const EntryPtr member = store.find(value_parse(schema_dn, one.text, {}).name, Aliases::keep);
        if (member == nullptr || member->entryClass->base == std::string_view("Root")) continue;
        const std::vector<Name> groups = store.groupsOf(*member);
        FUZZ_CHECK(std::count_if(groups.begin(), groups.end(),
                                 [&](const Name &group) { return identical(group, entry->name); }) == 1);
    }
}

// A tree has all records of its file; the reader has read as many without a refusal.
static void check_store(size_t records) {
    size_t objects = 0;
    std::unique_ptr<DirectoryStore> store;
    const std::string why = refusal([&] {
        store = ldif_store_load("/tree/acme.ldif", "acme.ldif", {}, &objects, {true, true});
    });
    if (store == nullptr) return check_refusal(why);
    FUZZ_CHECK(objects == records);
    LdifReader reader("/tree/acme.ldif", "acme.ldif");
    LdifRecord record;
    while (reader.next(&record)) check_entry(*store, record);
}

// What adds to a directory may lack parents and classes, and has no password.
static void check_addition() {
    std::unique_ptr<DirectoryStore> store;
    const std::string why =
        refusal([&] { store = ldif_store_load_addition(LdifText{std::string(tree)}, "acme.ldif", {}, {}); });
    if (store == nullptr) return check_refusal(why);
    LdifReader reader(LdifText{std::string(tree)}, "acme.ldif");
    LdifRecord record;
    while (reader.next(&record)) {
        Name name;
        FUZZ_CHECK(name_parse_dn(record.dn, {}, &name, nullptr));
        const EntryPtr entry = store->find(name, Aliases::keep);
        FUZZ_CHECK(entry == nullptr || entry->first("userPassword") == nullptr);
    }
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
        size_t records = 0;
        for (; opened < 200 && reader.next(&record); records++) check_record(record);
        if (opened < 200) check_store(records);
    } catch (const DataError &error) {
        check_refusal(error.what());
    }
    check_addition();
    files_check_closed();
    return 0;
}
