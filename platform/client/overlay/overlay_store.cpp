#include "platform/client/overlay/overlay_store.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "platform/catalogue.h"
#include "platform/client/core/errors.h"
#include "platform/client/core/file_change.h"
#include "platform/client/core/toml.h"
#include "platform/client/core/values.h"
#include "platform/client/ldif/store.h"
#include "platform/client/overlay/entry_merge.h"

static constexpr const char *form_file = "site.toml";
static constexpr const char *entries_file = "site.ldif";
static constexpr size_t form_limit = 64 * 1024;
static constexpr size_t entries_limit = size_t{256} << 20;
static constexpr int known_version = 1;

static const SchemaAttribute *login_script() {
    static const SchemaAttribute *const row = schema_find_ldap("qrtLoginScript");
    return row;
}

static bool is_whole(const Entry &entry) {
    return entry_is_of_site(entry) || entry.isClass("Profile");
}

// A folder without the file is another one than was meant, or one where nothing has been mounted yet.
static void check_form(const SiteFolder &folder) {
    const std::string text = folder.read(form_file, form_limit);
    const auto refuse = [&folder](const toml::source_region &where, const std::string &why) {
        throw DataError(folder.shown(form_file) + ":" + std::to_string(where.begin.line) + ":" +
                        std::to_string(where.begin.column) + ": " + why);
    };
    try {
        const toml::table table = toml::parse(std::string_view(text));
        for (auto &&[key, node] : table)
            if (key.str() != "version")
                refuse(key.source(), catalogue_format("unknown key %s", std::string(key.str()).c_str()));
        const toml::node *version = table.get("version");
        if (version == nullptr || version->value<int64_t>() != known_version)
            refuse(version == nullptr ? table.source() : version->source(),
                   catalogue_format("version must be %d", known_version));
    } catch (const toml::parse_error &error) {
        refuse(error.source(), std::string(error.description()));
    }
}

OverlayStore::Site::Site(const ConfigTree &config, const Name &base)
    : folder(config.scripts, config.configurationOwner, config.ldap.timeLimit) {
    check_form(folder);
    LdifText text{folder.readIfThere(entries_file, entries_limit).value_or("")};
    LdifOptions options;
    options.anyName = config.anyText;
    options.nestedGroups = config.nestedGroups;
    entries = ldif_store_load_addition(std::move(text), folder.shown(entries_file), base, options);
}

OverlayStore::OverlayStore(std::unique_ptr<DirectoryStore> directory, const ConfigTree &config)
    : directory_(std::move(directory)), config_(config), site_(std::make_unique<Site>(config, directory_->base())) {}

// What site.ldif says of the object; null for nothing.
EntryPtr OverlayStore::ownEntry(const Name &name) const {
    EntryPtr own = site_->entries->find(name, Aliases::keep);
    return own == nullptr || own->values.empty() ? nullptr : own;
}

// The same; null where it only adds to an object of the directory.
EntryPtr OverlayStore::ownObject(const Name &name) const {
    EntryPtr own = ownEntry(name);
    return own == nullptr || own->first("objectClass") == nullptr ? nullptr : own;
}

// The name in the entry's DN, which may be another one than the tree has for it.
Name OverlayStore::dnName(const Entry &entry) const {
    Name name;
    return !entry.dn.empty() && name_parse_dn(entry.dn, base(), &name, nullptr) ? name : entry.name;
}

// What site.ldif says of an object of the directory, under either name.
EntryPtr OverlayStore::ownEntryOf(const Entry &entry) const {
    const EntryPtr own = ownEntry(entry.name);
    return own != nullptr || entry.dn.empty() ? own : ownEntry(dnName(entry));
}

// Two scripts for one object: nobody could say which one runs.
const ScriptFile *OverlayStore::scriptOf(const Entry &entry, const Entry *own) {
    const ScriptFile *file = site_->scripts.script(entry.name, entry.entryClass->container);
    if (file != nullptr && own != nullptr && own->first(login_script()->ldap) != nullptr) {
        throw DataError(catalogue_format("%1$s and %2$s both have a login script for %3$s", file->shown.c_str(),
                                         site_->folder.shown(entries_file).c_str(),
                                         name_to_dotted(entry.name, true).c_str()));
    }
    return file;
}

EntryPtr OverlayStore::merged(const EntryPtr &found, const EntryPtr &own) {
    if (const auto known = merged_.find(found); known != merged_.end()) return known->second;
    const ScriptFile *script = scriptOf(*found, own.get());
    EntryPtr result = found;
    if (script != nullptr || (own != nullptr && own != found)) {
        auto made = std::make_shared<Entry>(*found);
        if (own != nullptr && own != found) entry_merge(*own, made.get());
        if (script != nullptr) entry_replace(login_script(), script->text, made.get());
        result = std::move(made);
    }
    noteProfile(*result);
    // The root's entry is made anew whenever it is asked for.
    if (!found->name.empty()) merged_.emplace(found, result);
    return result;
}

std::pair<Name, EntryPtr> *OverlayStore::namedProfile(const Name &name) {
    const auto isIt = [&name](const auto &known) { return name_equal(known.first, name); };
    const auto found = std::find_if(profiles_.begin(), profiles_.end(), isIt);
    return found == profiles_.end() ? nullptr : &*found;
}

void OverlayStore::noteProfile(const Entry &entry) {
    const std::string *profile = entry.first("qrtProfile");
    if (profile == nullptr) return;
    Name name = value_parse(schema_dn, *profile, base()).name;
    if (namedProfile(name) == nullptr) profiles_.emplace_back(std::move(name), nullptr);
}

// A file alone does not make an object: that of a user who has gone must not bring the name back.
EntryPtr OverlayStore::profileOfScript(const Name &name) {
    std::pair<Name, EntryPtr> *known = namedProfile(name);
    if (known == nullptr) return nullptr;
    if (known->second == nullptr && site_->scripts.script(known->first, false) != nullptr) {
        constexpr const char *className = "qrtProfileObject";
        auto made = std::make_shared<Entry>();
        made->name = known->first;
        made->entryClass = schema_class_of({className});
        made->values = {{schema_find_ldap("objectClass"), className}};
        known->second = std::move(made);
    }
    const EntryPtr profile = known->second;
    return profile == nullptr ? nullptr : merged(profile, nullptr);
}

EntryPtr OverlayStore::merged(const EntryPtr &found) {
    return found == nullptr ? nullptr : merged(found, ownEntryOf(*found));
}

EntryPtr OverlayStore::find(const Name &name, Aliases aliases) {
    const EntryPtr own = ownEntry(name);
    if (own != nullptr && is_whole(*own)) return merged(own, own);
    const EntryPtr found = directory_->find(name, aliases);
    if (found != nullptr) return merged(found);
    const EntryPtr object = ownObject(name);
    return object == nullptr ? profileOfScript(name) : merged(object, object);
}

std::vector<Name> OverlayStore::missing(const Name &container, const std::vector<Name> &names) {
    std::vector<Name> none = directory_->missing(container, names);
    const auto isThere = [this](const Name &name) { return ownObject(name) != nullptr; };
    none.erase(std::remove_if(none.begin(), none.end(), isThere), none.end());
    return none;
}

// Groups of the folder may have the object itself as a member, and groups of the directory.
std::vector<Name> OverlayStore::groupsOf(const Entry &entry) {
    std::vector<Name> groups = directory_->groupsOf(entry);
    std::vector<Name> members = {entry.name};
    if (!entry.dn.empty()) members.push_back(dnName(entry));
    if (config_.nestedGroups) members.insert(members.end(), groups.begin(), groups.end());
    for (Name &member : members) {
        Entry asked;
        asked.name = std::move(member);
        for (Name &group : site_->entries->groupsOf(asked)) {
            const bool isKnown =
                std::any_of(groups.begin(), groups.end(), [&](const Name &known) { return name_equal(known, group); });
            if (!isKnown) groups.push_back(std::move(group));
        }
    }
    return groups;
}

EntryPtr OverlayStore::findServer(std::string_view name) {
    const EntryPtr own = site_->entries->findServer(name);
    return own != nullptr ? merged(own, own) : merged(directory_->findServer(name));
}

EntryPtr OverlayStore::findVolume(const Entry &server, std::string_view volume) {
    const EntryPtr own = site_->entries->findVolume(server, volume);
    return own != nullptr ? merged(own, own) : merged(directory_->findVolume(server, volume));
}

// The folder's come first, as for a single one.
std::vector<EntryPtr> OverlayStore::volumes() {
    std::vector<EntryPtr> all;
    for (const EntryPtr &own : site_->entries->volumes()) all.push_back(merged(own, own));
    const auto isOwn = [this](const EntryPtr &volume) { return ownObject(volume->name) != nullptr; };
    for (const EntryPtr &volume : directory_->volumes())
        if (!isOwn(volume)) all.push_back(merged(volume));
    return all;
}

// What a login is going to run: a script that cannot be used must not be left out in silence.
void OverlayStore::checkScripts(const Entry &user) {
    const ScriptFile *top = site_->scripts.script({}, true);
    if (top != nullptr && base().empty())
        throw DataError(top->shown + ": " + catalogue_text("the root of a tree has no login script"));
    site_->scripts.script(user.name, false);
    for (size_t i = 1; i < user.name.size(); i++) site_->scripts.script(name_above(user.name, i), true);
    const EntryPtr own = ownEntryOf(user);
    const std::string *profile = own == nullptr ? nullptr : own->first("qrtProfile");
    if (profile == nullptr) profile = user.first("qrtProfile");
    if (profile != nullptr) site_->scripts.script(value_parse(schema_dn, *profile, base()).name, false);
}

// What the directory itself has of the object, and nothing for one that only the folder has.
ScriptText OverlayStore::directoryScript(const Entry &entry, StoredScript *stored) const {
    if (ownObject(entry.name) != nullptr && is_whole(entry)) return std::nullopt;
    try {
        *stored = directory_->readScript(entry);
    } catch (const CodedError &error) {
        const bool isOnlyHere = ownObject(entry.name) != nullptr || entry.isClass("Profile");
        if (error.code != ZKE_NO_SUCH_ENTRY || !isOnlyHere) throw;
    }
    return stored->text;
}

StoredScript OverlayStore::readScript(const Entry &entry) {
    StoredScript stored;
    const EntryPtr own = ownEntryOf(entry);
    ScriptFiles files(site_->folder);
    const ScriptFile *file = files.script(entry.name, entry.entryClass->container);
    const std::string *listed = own == nullptr ? nullptr : own->first(login_script()->ldap);
    if (file != nullptr) {
        stored.text = file->text;
        stored.place = file->shown;
    } else if (listed != nullptr) {
        stored.text = *listed;
        stored.place = site_->folder.shown(entries_file);
    } else if (!directoryScript(entry, &stored)) {
        const std::optional<std::string> path = files.newPath(entry.name, entry.entryClass->container);
        if (path) stored.place = site_->folder.shown(*path);
    }
    return stored;
}

void OverlayStore::changeFile(const Entry &entry, const std::string &file, const ScriptText &before,
                              const ScriptText &after) {
    std::string name;
    const Descriptor folder = site_->folder.folderOf(file, false, &name);
    FileChange change(folder, name, site_->folder.shown(file), login_script()->limit);
    if (before != change.text()) {
        throw CodedError(ZKE_SCRIPT_CHANGED,
                         catalogue_format("%s has been changed by somebody else", site_->folder.shown(file).c_str()));
    }
    if (after) return change.replace(*after);
    StoredScript stored;
    if (directoryScript(entry, &stored)) {
        throw CodedError(ZKE_NO_ACCESS,
                         catalogue_format("%1$s cannot be removed: the directory has a script of the object, too, "
                                          "which would be run then (%2$s)",
                                          site_->folder.shown(file).c_str(), stored.place.c_str()));
    }
    change.remove();
}

void OverlayStore::writeScript(const Entry &entry, const ScriptText &before, const ScriptText &after) {
    const bool isContainer = entry.entryClass->container;
    const EntryPtr own = ownEntryOf(entry);
    ScriptFiles files(site_->folder);
    if (const ScriptFile *file = files.script(entry.name, isContainer))
        return changeFile(entry, file->inside, before, after);
    if (own != nullptr && own->first(login_script()->ldap) != nullptr) {
        throw CodedError(ZKE_NO_ACCESS, catalogue_format("the script is in %s: move it to a file of its own",
                                                         site_->folder.shown(entries_file).c_str()));
    }
    StoredScript stored;
    if (directoryScript(entry, &stored)) return directory_->writeScript(entry, before, after);
    if (before) {
        throw CodedError(ZKE_SCRIPT_CHANGED,
                         catalogue_format("the login script of %s has been removed by somebody else",
                                          name_to_dotted(entry.name, true).c_str()));
    }
    if (!after) return;
    const std::optional<std::string> path = files.newPath(entry.name, isContainer);
    if (!path)
        throw DataError(catalogue_format("no file can have the name of %s", name_to_dotted(entry.name, true).c_str()));
    std::string name;
    const Descriptor folder = site_->folder.folderOf(*path, true, &name);
    file_create(folder, name, site_->folder.shown(*path), *after);
}

// A folder whose container is not there has nothing that counts.
void OverlayStore::addScriptsBelow(const Name &container, std::vector<EntryPtr> *all) {
    const auto child = [&](const std::string &value, bool isContainer) {
        Name name = container;
        name.insert(name.begin(), {"", value});
        const EntryPtr found = find(name, Aliases::keep);
        return found != nullptr && found->entryClass->container == isContainer ? found : nullptr;
    };
    const ScriptFiles::Values values = site_->scripts.values(container);
    for (const std::string &value : values.scripts)
        if (EntryPtr entry = child(value, false)) all->push_back(std::move(entry));
    if (container.size() == name_depth_limit) return;
    for (const std::string &value : values.folders) {
        const EntryPtr below = child(value, true);
        if (below == nullptr) continue;
        if (site_->scripts.script(below->name, true) != nullptr) all->push_back(below);
        addScriptsBelow(below->name, all);
    }
}

bool OverlayStore::scriptIsPrivate(const Entry &entry) {
    const ScriptFile *file = site_->scripts.script(entry.name, entry.entryClass->container);
    if (file != nullptr) return !site_->folder.isForAll(file->inside);
    const EntryPtr own = ownEntryOf(entry);
    const bool isListed = own != nullptr && own->first(login_script()->ldap) != nullptr;
    return isListed ? !site_->folder.isForAll(entries_file) : directory_->scriptIsPrivate(entry);
}

std::vector<EntryPtr> OverlayStore::scripts() {
    std::vector<EntryPtr> all;
    addScriptsBelow({}, &all);
    for (const EntryPtr &own : site_->entries->scripts())
        if (EntryPtr entry = find(own->name, Aliases::keep)) all.push_back(std::move(entry));
    std::unordered_set<std::string> known;
    for (const EntryPtr &entry : all) known.insert(name_fold(name_to_dotted(entry->name, true)));
    for (EntryPtr &entry : directory_->scripts()) {
        const bool isReplaced = ownObject(entry->name) != nullptr && is_whole(*entry);
        if (!isReplaced && known.insert(name_fold(name_to_dotted(entry->name, true))).second)
            all.push_back(std::move(entry));
    }
    return all;
}

Verdict OverlayStore::login(EntryPtr *user, const char *password) {
    auto now = std::make_unique<Site>(config_, base());
    site_.swap(now);
    merged_.clear();
    profiles_.clear();
    checkScripts(**user);
    const Verdict verdict = directory_->login(user, password);
    if (verdict != Verdict::accepted) return verdict;
    try {
        *user = merged(*user);
        checkScripts(**user);
    } catch (...) {
        if (!loggedIn_) directory_->logout();
        throw;
    }
    loggedIn_ = true;
    return verdict;
}

void OverlayStore::logout() {
    loggedIn_ = false;
    directory_->logout();
    merged_.clear();
    profiles_.clear();
}
