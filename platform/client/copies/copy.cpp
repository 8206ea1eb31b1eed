#include "platform/client/copies/copy.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <utility>

#include "platform/client/core/errors.h"
#include "platform/client/core/keeping.h"
#include "platform/client/core/plain_values.h"
#include "platform/client/core/private_folder.h"
#include "platform/client/core/values.h"
#include "platform/client/ldif/store.h"

static constexpr const char *heading = "# zkclient copy 1 ";
static constexpr const char *reader_mark = "# reader ";
static constexpr const char *profile_mark = "# profile ";
static constexpr size_t file_limit = size_t{512} * 1024 * 1024;

// Empty without a home directory, in a privileged process, and in one that keeps nothing.
static std::string cache_folder() {
    if (keeping_is_off) return "";
    const char *cache = secure_getenv("XDG_CACHE_HOME");
    if (cache != nullptr && *cache == '/') return std::string(cache) + "/brasca-zk";
    const char *home = secure_getenv("HOME");
    return home != nullptr && *home == '/' ? std::string(home) + "/.cache/brasca-zk" : "";
}

static std::string base64(const std::string &bytes) {
    constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string encoded;
    for (size_t i = 0; i < bytes.size(); i += 3) {
        uint32_t bits = 0;
        for (size_t k = i; k < i + 3; k++)
            bits = bits << 8 | (k < bytes.size() ? static_cast<unsigned char>(bytes[k]) : 0);
        for (size_t k = 0; k < 4; k++) encoded += i + k <= bytes.size() ? digits[bits >> (18 - 6 * k) & 63] : '=';
    }
    return encoded;
}

static std::string hash_text(const std::string &text) {
    uint64_t hash = 14695981039346656037u; // FNV-1a
    for (char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211u;
    char hex[17];
    snprintf(hex, sizeof hex, "%016llx", static_cast<unsigned long long>(hash));
    return hex;
}

// One attribute of an LDIF entry.
static std::string line(const std::string &attribute, const std::string &value) {
    return attribute + (value.empty() ? ":\n" : ":: " + base64(value) + "\n");
}

// The value in an entry's name, unless the entry has it or another type than the usual ones: what is no name by itself
// may not be of its attribute's syntax, be a password or a class, or begin a line of LDIF that is no attribute.
static std::string naming_line(const Entry &entry) {
    const NamePart &part = entry.name.front();
    const SchemaAttribute *naming = schema_find_ldap(part.type);
    bool there = std::any_of(entry.values.begin(), entry.values.end(), [&](const EntryValue &value) {
        return value.attribute == naming && name_fold(value.text) == name_fold(part.value);
    });
    bool usual =
        std::find(std::begin(name_usual_types), std::end(name_usual_types), part.type) != std::end(name_usual_types);
    return there || !usual ? "" : line(part.type, part.value);
}

// Servers may spell a container in the names of what is below it in another case than in its own.
static bool add_once(const Name &name, std::unordered_set<std::string> *written) {
    return written->insert(name_typed_key(name)).second;
}

LdapCopy::LdapCopy(const ConfigTree &tree, const Name &treeBase, const std::string &kind)
    : base_(treeBase), folder_(cache_folder()) {
    std::string settings = tree.name + "\n" + tree.base;
    for (const std::string &uri : tree.ldap.uris) settings += "\n" + uri;
    if (!tree.ldap.srvName.empty()) settings += "\nsrv:" + tree.ldap.srvName;
    for (const auto &[name, site] : tree.ldap.attributes) settings.append("\n").append(name).append("=").append(site);
    belongsTo_ = hash_text(settings);
    file_ = hash_text(settings + "\n" + kind) + ".ldif";
}

void LdapCopy::addParents(const Name &name, std::unordered_set<std::string> *written, std::string *out) const {
    for (size_t i = name.size(); i-- > 1;) {
        Entry above;
        above.name = name_above(name, i);
        if (add_once(above.name, written)) {
            *out += "\n" + line("dn", name_to_dn(above.name, base_)) + "objectClass: organizationalUnit\n" +
                    naming_line(above);
        }
    }
}

// An entry of which nothing is shown is left out: no record can be empty.
void LdapCopy::addEntry(const Entry &entry, std::unordered_set<std::string> *written, std::string *out) const {
    addParents(entry.name, written, out);
    std::string lines;
    for (const EntryValue &value : entry.values) lines += line(value.attribute->ldap, value.text);
    // The tree may have given another attribute for the one in its name.
    lines += entry.name.empty() ? "" : naming_line(entry);
    if (!lines.empty() && add_once(entry.name, written))
        *out += "\n" + line("dn", name_to_dn(entry.name, base_)) + lines;
}

// A comment on a line of its own; none for a text that would be more.
static std::string comment(const char *mark, const std::string &text) {
    return text_is_plain(text) ? mark + text + "\n" : "";
}

// What stands behind the mark, when the text begins with a line of it; the line is taken off the text.
static std::optional<std::string> take_comment(const char *mark, std::string_view *text) {
    const size_t end = text->find('\n');
    if (end == text->npos || text->substr(0, strlen(mark)) != mark) return std::nullopt;
    std::string found(text->substr(strlen(mark), end - strlen(mark)));
    text->remove_prefix(end + 1);
    return found;
}

std::string LdapCopy::text(const std::vector<EntryPtr> &entries, const EntryPtr &reader) const {
    // Those above first: an entry comes after its parent, and a made-up one only where there is no real one.
    std::vector<EntryPtr> sorted = entries;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const EntryPtr &a, const EntryPtr &b) { return a->name.size() < b->name.size(); });
    std::string out = heading + std::to_string(time(nullptr)) + " " + belongsTo_ + "\n";
    if (reader != nullptr) out += comment(reader_mark, name_to_dn(reader->name, base_));
    const std::string *profile = reader == nullptr ? nullptr : reader->first("qrtProfile");
    if (profile != nullptr) out += comment(profile_mark, *profile);
    std::unordered_set<std::string> written;
    for (const EntryPtr &entry : sorted) addEntry(*entry, &written, &out);
    return out;
}

void LdapCopy::write(const std::vector<EntryPtr> &entries, const EntryPtr &reader) const {
    PrivateFolder(folder_, PrivateFolder::Make).replace(file_, text(entries, reader));
}

void LdapCopy::remove() const {
    PrivateFolder(folder_).remove(file_);
}

EntryPtr LdapCopy::readerIn(std::string_view text) const {
    auto reader = std::make_shared<Entry>();
    const std::optional<std::string> dn = take_comment(reader_mark, &text);
    if (!dn || !name_parse_dn(*dn, base_, &reader->name, nullptr) || reader->name.empty()) return nullptr;
    reader->entryClass = schema_class_of({"person"});
    const std::optional<std::string> profile = take_comment(profile_mark, &text);
    if (!profile) return reader;
    const SchemaAttribute *row = schema_find_ldap("qrtProfile");
    try {
        value_parse(row->syntax, *profile, base_);
        reader->values.push_back({row, *profile});
    } catch (const DataError &) {
        // No login has written it.
    }
    return reader;
}

std::unique_ptr<DirectoryStore> LdapCopy::read(time_t *written, EntryPtr *reader) const {
    LdifText ldif;
    if (!PrivateFolder(folder_).read(file_, file_limit, &ldif.text)) return nullptr;
    const std::string first = ldif.text.substr(0, ldif.text.find('\n'));
    if (first.compare(0, strlen(heading), heading) != 0) return nullptr;
    char *end = nullptr;
    *written = strtoll(first.c_str() + strlen(heading), &end, 10);
    if (*end != ' ' || end + 1 != belongsTo_) return nullptr;
    if (reader != nullptr)
        *reader = readerIn(std::string_view(ldif.text).substr(std::min(first.size() + 1, ldif.text.size())));
    try {
        return ldif_store_load(std::move(ldif), file_, base_);
    } catch (const DataError &) {
        return nullptr;
    }
}

bool ldap_copy_is_recent(time_t written, double days) {
    constexpr double day = 86400;
    double age = difftime(time(nullptr), written);
    return age >= -day && age <= days * day;
}
