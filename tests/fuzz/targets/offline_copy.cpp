// The copies of what was read from servers: a hostile file in the place of one, and hostile entries in one.
//
//     input ::= "r" heading LF records         heading: a number, the moment of a copy of this tree; else as it stands
//             | "w" records                    LDIF of what a server shows, kept and read again
#include "platform/client/copies/copy.h"

#include <algorithm>

#include "platform/client/copies/offline_login.h"
#include "platform/client/core/errors.h"
#include "platform/client/core/values.h"
#include "platform/client/ldap/entries.h"
#include "platform/client/ldif/reader.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/world/files.h"
#include "tests/fuzz/world/process.h"
#include "tests/fuzz/world/results.h"

static constexpr size_t most_entries = 16;
static constexpr const char *password = "sunflower";

// The one file in the folder.
static std::optional<std::string> kept;
static std::string heading_start, heading_end; // around the moment

static std::optional<std::string_view> kept_file(const char *path) {
    FUZZ_CHECK(strncmp(path, "/home/fuzz/.cache/brasca-zk/", 28) == 0);
    return kept ? std::optional<std::string_view>(*kept) : std::nullopt;
}

static void keep_file(const char *path, std::string_view text) {
    FUZZ_CHECK(strncmp(path, "/home/fuzz/.cache/brasca-zk/", 28) == 0);
    kept = text;
}

static bool remove_file(const char *) {
    const bool was = kept.has_value();
    kept.reset();
    return was;
}

static const ConfigTree &tree() {
    static const ConfigTree one = [] {
        ConfigTree made;
        made.name = "ACME_TREE";
        made.base = "o=acme";
        made.ldap.uris = {"ldap://127.0.0.1"};
        made.ldap.offline = true;
        return made;
    }();
    return one;
}

static const Name &base() {
    static const Name one = [] {
        Name made;
        FUZZ_CHECK(name_parse_dn(tree().base, {}, &made, nullptr));
        return made;
    }();
    return one;
}

static Name user() {
    Name name;
    FUZZ_CHECK(name_parse_dotted("CN=jdoe.OU=sales", {}, &name));
    return name;
}

static void prepare() {
    process_start();
    files_content = kept_file;
    files_have_folders = true;
    files_written = keep_file;
    files_remove = remove_file;
    stderr = files_sink();
    LdapCopy(tree(), base(), "site").write({});
    const std::string moment = std::to_string(process_time);
    const size_t at = kept->find(moment);
    heading_start = kept->substr(0, at);
    heading_end = kept->substr(at + moment.size());
}

static void check_values(const Entry &entry) {
    for (const EntryValue &value : entry.values) {
        const Value parsed = value_parse(value.attribute->syntax, value.text, base()); // does not throw
        FUZZ_CHECK(value.text.size() <= value.attribute->limit && parsed.lines.size() <= 6);
    }
    FUZZ_CHECK(entry.entryClass && name_to_dotted(entry.name, true).size() <= 512);
}

// What the call returns, or nothing where the copy's data are refused.
template <typename Call>
static auto asked(const Call &call) -> decltype(call()) {
    try {
        return call();
    } catch (const DataError &) {
        return {};
    }
}

// All that the copy of a login is asked for.
static void ask(DirectoryStore *store) {
    for (const Aliases aliases : {Aliases::follow, Aliases::keep}) {
        const EntryPtr entry = asked([&] { return store->find(user(), aliases); });
        if (entry == nullptr) continue;
        check_values(*entry);
        for (const Name &group : store->groupsOf(*entry)) FUZZ_CHECK(group.size() <= name_depth_limit);
    }
    for (const char *name : {"", "SRV1"}) {
        const EntryPtr server = store->findServer(name);
        if (server == nullptr) continue;
        FUZZ_CHECK(!entry_common_name(*server).empty() && server->isClass("Server"));
        if (const EntryPtr volume = store->findVolume(*server, "SYS")) check_values(*volume);
    }
}

// A password that is no hash is reported instead of refused.
template <typename Check>
static bool lets_in(const Check &check) {
    return asked([&] { return std::optional<Verdict>(check()); }) == Verdict::accepted;
}

static void read_copy(std::string_view text) {
    const std::string_view first = text.substr(0, text.find('\n'));
    const bool isMoment = !first.empty() && first.find_first_not_of("0123456789-") == first.npos;
    kept = isMoment ? heading_start + std::string(first) + heading_end.substr(0, heading_end.find('\n')) +
                          std::string(text.substr(first.size()))
                    : std::string(text);
    OfflineLogin offline(tree(), base());
    if (!offline.begin(user())) return;
    ask(offline.store());
    EntryPtr entry = asked([&] { return offline.store()->find(user(), Aliases::follow); });
    if (entry != nullptr) {
        for (const char *name : {"EMPLOYEE_ID", "loginShell", "userPassword"}) {
            const OtherAttribute *other = asked([&] { return offline.otherAttribute(*entry, name); });
            if (other == nullptr) continue;
            FUZZ_CHECK(strcmp(name, "userPassword") != 0 && !other->values.empty());
            for (const std::string &value : other->values) value_parse(other->row->syntax, value, base());
        }
        // Whom the copy lets in, a server that says no to the same password shuts out.
        const bool accepted = lets_in([&] { return offline.login(*entry, password); });
        const bool own = (entry = offline.store()->find(user(), Aliases::keep)) != nullptr &&
                         lets_in([&] { return offline.store()->checkPassword(*entry, password); });
        offline.refusedPassword(user(), password);
        FUZZ_CHECK(kept.has_value() == !own);
        FUZZ_CHECK(accepted || !own || entry->isClass("Alias"));
    }
    offline.end();
}

// The entries as a server would show them.
static std::vector<EntryPtr> shown(std::string_view text) {
    static const LdapEntries entries(tree().ldap, base());
    std::vector<EntryPtr> made;
    try {
        LdifReader reader(LdifText{std::string(text)}, "shown");
        LdifRecord record;
        while (made.size() < most_entries && reader.next(&record)) {
            LdapEntry one;
            one.dn = record.dn;
            for (const LdifAttribute &attribute : record.attributes) {
                if (one.attributes.empty() || one.attributes.back().first != attribute.name)
                    one.attributes.push_back({std::string(attribute.name), {}});
                one.attributes.back().second.emplace_back(attribute.value);
            }
            if (const EntryPtr entry = entries.make(one)) made.push_back(entry);
        }
    } catch (const DataError &) {
        // What came before it is enough.
    }
    return made;
}

// An entry of which nothing is shown is not kept.
static bool has_anything(const Entry &entry) {
    const auto is_usual = [](const std::string &type) {
        return std::find(std::begin(name_usual_types), std::end(name_usual_types), type) != std::end(name_usual_types);
    };
    return !entry.values.empty() || (!entry.name.empty() && is_usual(entry.name.front().type));
}

static bool same_value(const EntryValue &a, const EntryValue &b) {
    return a.attribute == b.attribute && a.text == b.text;
}

// Whatever a server shows, the copy can be read, and contains it.
static void write_copy(std::string_view text) {
    const std::vector<EntryPtr> entries = shown(text);
    const LdapCopy copy(tree(), base(), "site");
    kept.reset();
    const EntryPtr reader = entries.empty() ? nullptr : entries.front();
    copy.write(entries, reader);
    FUZZ_CHECK(kept);
    time_t written = 0;
    EntryPtr who;
    const std::unique_ptr<DirectoryStore> store = copy.read(&written, &who);
    FUZZ_CHECK(store && written == process_time);
    FUZZ_CHECK(!who || (reader && name_equal(who->name, reader->name)));
    std::vector<std::string> seen;
    for (const EntryPtr &entry : entries) {
        check_values(*entry);
        const std::string key = name_fold(name_to_dotted(entry->name, true));
        if (std::find(seen.begin(), seen.end(), key) != seen.end()) continue; // only the first of a name is kept
        if (!has_anything(*entry)) continue;
        seen.push_back(key);
        const EntryPtr found = store->find(entry->name, Aliases::keep);
        FUZZ_CHECK(found);
        FUZZ_CHECK(name_equal(found->name, entry->name) && found->values.size() >= entry->values.size());
        FUZZ_CHECK(std::equal(entry->values.begin(), entry->values.end(), found->values.begin(), same_value));
        FUZZ_CHECK(found->modificationTime == entry->modificationTime);
    }
    copy.remove();
    FUZZ_CHECK(!kept);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const bool prepared = (prepare(), true);
    if (size == 0 || !prepared) return 0;
    const std::string_view rest = fuzz_view(data + 1, size - 1);
    if (data[0] == 'w')
        write_copy(rest);
    else
        read_copy(rest);
    kept.reset();
    files_check_closed();
    return 0;
}
