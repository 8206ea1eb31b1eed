#include "platform/client/ldap/lookup.h"

#include <algorithm>
#include <cstdio>

#include "platform/catalogue.h"
#include "platform/client/core/errors.h"
#include "platform/client/ldap/filter.h"
#include "platform/client/ldap/recognise.h"

static constexpr int same_name_limit = 32;                       // objects of one name and different types side by side
static constexpr const char *leaf_types[] = {"cn", "uid", "ou"}; // the likely ones, in this order

LdapLookup::LdapLookup(const ConfigTree &config, const Name &base, LdapServers *askedServers)
    : tree_(config), root_(base), servers_(*askedServers) {}

static bool is_active_directory(const std::vector<std::string> &capabilities) {
    constexpr const char *activeDirectory = "1.2.840.113556.1.4.800";
    return std::find(capabilities.begin(), capabilities.end(), activeDirectory) != capabilities.end();
}

bool LdapLookup::findsNestedGroups() {
    const bool isKnown = rootDse_ || isOfAccounts();
    return isKnown && is_active_directory(rootDse().capabilities);
}

// A directory of accounts says that it is one; the others differ in their classes.
SitePreset LdapLookup::recognise() {
    const RootDse &root = rootDse();
    if (is_active_directory(root.capabilities)) return SitePreset::activeDirectory;
    const LdapAnswer answer =
        servers_.search({root.subschema, LDAP_SCOPE_BASE, "(objectClass=subschema)", {"objectClasses"}});
    if (root.subschema.empty() || answer.entries.empty()) {
        throw DataError(tree_.name + ": " +
                        catalogue_text("the server does not show its schema: set schema to the one it has"));
    }
    return ldap_recognised_schema(answer.entries.front());
}

const LdapEntries &LdapLookup::entries() {
    if (entries_ == nullptr) {
        ConfigLdap config = tree_.ldap;
        if (config.schema == SitePreset::automatic) {
            config.schema = recognise();
            if (config.trace) fprintf(stderr, "Tree %s: schema %s.\n", tree_.name.c_str(), preset_name(config.schema));
        }
        entries_ = std::make_unique<LdapEntries>(config, root_, tree_.anyText);
    }
    return *entries_;
}

std::string LdapLookup::dnOf(const Name &name) const {
    const EntryPtr entry = kept(name);
    return entry == nullptr ? name_to_dn(name, root_) : dnOf(*entry);
}

LdapAnswer LdapLookup::search(const Name &below, int scope, const std::string &filter, bool withMembers,
                              int sizeLimit) {
    LdapSearch wanted = {name_to_dn(below, root_), scope, filter, entries().attributes(withMembers), sizeLimit};
    LdapAnswer answer = servers_.search(wanted);
    anythingSeen_ = anythingSeen_ || !answer.entries.empty();
    if (!answer.missing.empty()) {
        missing_ = answer.missing;
        missingCode_ = answer.missingCode;
    }
    return answer;
}

// A server that shows nothing yet may do so after a login.
const LdapLookup::RootDse &LdapLookup::rootDse() {
    static const RootDse nothing;
    if (rootDse_) return *rootDse_;
    const LdapAnswer answer =
        servers_.search({"",
                         LDAP_SCOPE_BASE,
                         "(objectClass=*)",
                         {"namingContexts", "defaultNamingContext", "supportedCapabilities", "subschemaSubentry"}});
    if (answer.entries.empty()) return nothing;
    RootDse &root = rootDse_.emplace();
    for (const LdapEntry &entry : answer.entries) {
        for (const auto &[name, values] : entry.attributes) {
            if (equal_nocase(name, "namingContexts")) root.contexts = values;
            if (equal_nocase(name, "supportedCapabilities")) root.capabilities = values;
            if (equal_nocase(name, "defaultNamingContext") && !values.empty()) root.defaultContext = values.front();
            if (equal_nocase(name, "subschemaSubentry") && !values.empty()) root.subschema = values.front();
        }
    }
    return root;
}

const Name &LdapLookup::searchBase() {
    if (!searchBases_.empty()) return searchBases_.front();
    Name found;
    if (!tree_.ldap.searchBase.empty()) {
        if (!name_parse_dn(tree_.ldap.searchBase, root_, &found, nullptr))
            throw DataError(tree_.name + ": " + catalogue_text("search_base must be base or below it"));
        searchBases_.push_back(found);
    } else if (!root_.empty()) {
        searchBases_.emplace_back();
    } else {
        const RootDse &root = rootDse();
        for (const std::string &context : root.contexts)
            if (name_parse_dn(context, root_, &found, nullptr)) searchBases_.push_back(found);
        if (searchBases_.size() != 1 && name_parse_dn(root.defaultContext, root_, &found, nullptr) && !found.empty())
            searchBases_ = {found};
        if (searchBases_.size() != 1) {
            searchBases_.clear();
            throw DataError(
                tree_.name + ": " +
                catalogue_text("the server does not have exactly one naming context: set base or search_base"));
        }
    }
    return searchBases_.front();
}

EntryPtr LdapLookup::keep(const LdapEntry &readEntry) {
    EntryPtr entry = entries().make(readEntry);
    if (entry != nullptr) {
        std::vector<EntryPtr> &same = read_[name_key(entry->name)];
        for (const EntryPtr &one : same)
            if (name_equal(one->name, entry->name)) return one;
        same.push_back(entry);
        count_++;
        noteAccount(*entry);
        if (!readEntry.origin.server.empty()) origins_[name_to_dotted(entry->name, true)] = readEntry.origin;
        absent_.erase(name_to_dotted(entry->name, true));
    }
    return entry;
}

void LdapLookup::replace(const EntryPtr &entry) {
    for (EntryPtr &one : read_[name_key(entry->name)])
        if (name_equal(one->name, entry->name)) one = entry;
}

static std::string account_key(const Name &name) {
    return name_fold(name_to_dotted(name, true));
}

void LdapLookup::noteAccount(const Entry &entry) {
    Name name;
    if (!entry.dn.empty() && name_parse_dn(entry.dn, root_, &name, nullptr)) accounts_[account_key(name)] = entry.name;
}

std::vector<Name> LdapLookup::ownNames(std::vector<Name> names) {
    constexpr size_t most = 500; // in one search
    if (!isOfAccounts()) return names;
    std::vector<std::string> filters;
    for (size_t i = 0; i < names.size(); i++) {
        if (accounts_.emplace(account_key(names[i]), names[i]).second && kept(names[i]) == nullptr)
            filters.push_back(filter_equal(schema().dnAttribute, name_to_dn(names[i], root_)));
        if (filters.empty() || (filters.size() < most && i + 1 < names.size())) continue;
        for (const LdapEntry &entry : search(searchBase(), LDAP_SCOPE_SUBTREE, filter_or(filters), false).entries)
            keep(entry);
        filters.clear();
    }
    for (Name &name : names) name = accounts_.at(account_key(name));
    return names;
}

EntryPtr LdapLookup::kept(const Name &name) const {
    auto found = read_.find(name_key(name));
    if (found != read_.end()) {
        for (const EntryPtr &one : found->second)
            if (name_may_be(name, one->name)) return one;
    }
    return nullptr;
}

// Does the name agree with the search base, as far as both go?
bool LdapLookup::fitSearchBase(const Name &name) {
    const Name &start = searchBase();
    size_t common = std::min(start.size(), name.size());
    Name top = name_above(name, name.size() - common);
    Name startTop = name_above(start, start.size() - common);
    return name_key(top) == name_key(startTop) && name_types_agree(top, startTop);
}

static bool may_be_account(const Name &name) {
    return !name.empty() && (name.front().type.empty() || name.front().type == "cn");
}

// Names with types that the name may mean, the likely ones first: those of its containers before its own.
std::vector<Name> LdapLookup::guesses(const Name &name) {
    const Name &start = searchBase();
    std::vector<Name> found;
    Name full = name;
    std::copy(start.begin(), start.end(), full.end() - static_cast<std::ptrdiff_t>(start.size()));
    for (size_t i = full.size() - start.size(); i-- > 1;) {
        if (full[i].type.empty()) full[i].type = "ou";
        found.push_back(name_above(full, i));
    }
    if (full.size() == start.size() || !full.front().type.empty()) {
        found.push_back(full);
        return found;
    }
    // The likely type of a user first.
    const std::string &user = schema().userType;
    full.front().type = user;
    found.push_back(full);
    for (const char *type : leaf_types) {
        if (type == user) continue;
        full.front().type = type;
        found.push_back(full);
    }
    return found;
}

// All levels at once by their full names, which a server looks up without a search through the tree. A server that does
// not know how answers with nothing.
void LdapLookup::readGuesses(const Name &name) {
    std::vector<std::string> filters;
    for (const Name &guess : guesses(name))
        if (kept(guess) == nullptr) filters.push_back(filter_equal(schema().dnAttribute, name_to_dn(guess, root_)));
    if (!anythingSeen_ && searchBase().size() < name.size())
        filters.push_back(filter_equal(schema().dnAttribute, name_to_dn(searchBase(), root_)));
    if (isOfAccounts() && may_be_account(name)) filters.push_back(filter_equal(schema().userName, name.front().value));
    for (const LdapEntry &entry : search(searchBase(), LDAP_SCOPE_SUBTREE, filter_or(filters), true).entries)
        keep(entry);
}

EntryPtr LdapLookup::readLevel(const Name &parent, const NamePart &part) {
    std::vector<std::string> filters;
    if (!part.type.empty()) filters.push_back(filter_equal(part.type, part.value));
    for (const char *type : name_usual_types)
        if (part.type.empty()) filters.push_back(filter_equal(type, part.value));
    if (isOfAccounts() && may_be_account({part})) filters.push_back(filter_equal(schema().userName, part.value));
    // A full list says that the name is common; those that came are as good as any.
    LdapAnswer answer = search(parent, LDAP_SCOPE_ONELEVEL, filter_or(filters), true, same_name_limit);
    for (const LdapEntry &entry : answer.entries) keep(entry);
    Name wanted = {part};
    wanted.insert(wanted.end(), parent.begin(), parent.end());
    return kept(wanted);
}

void LdapLookup::readTogether(const Name &container, const std::vector<Name> &names) {
    std::vector<std::string> filters;
    for (const Name &name : names)
        for (const char *type : leaf_types) filters.push_back(filter_equal(type, name.front().value));
    if (filters.empty()) return;
    const LdapAnswer answer = search(container, LDAP_SCOPE_ONELEVEL, filter_or(filters), false);
    for (const LdapEntry &entry : answer.entries) keep(entry);
    if (answer.result != LDAP_SUCCESS || !answer.missing.empty()) return; // each is asked for when it is wanted
    for (const Name &name : names)
        if (kept(name) == nullptr) absent_.insert(name_to_dotted(name, true));
}

EntryPtr LdapLookup::readByLevels(const Name &name) {
    Name parent = searchBase();
    for (size_t i = name.size() - parent.size(); i-- > 0;) {
        Name part = name_above(name, i);
        EntryPtr entry = kept(part);
        if (entry == nullptr) entry = readLevel(parent, part.front());
        if (entry == nullptr || entry->isClass("Alias")) break; // nothing lies below it
        parent = entry->name;
    }
    return kept(name);
}

EntryPtr LdapLookup::lookup(const Name &name) {
    EntryPtr entry = kept(name);
    std::string dotted = name_to_dotted(name, true);
    if (entry != nullptr || absent_.count(dotted) != 0) return entry;
    missing_.clear();
    if (name.size() >= searchBase().size() && fitSearchBase(name)) {
        readGuesses(name);
        entry = kept(name);
        if (entry == nullptr && anythingSeen_) entry = readByLevels(name);
    }
    if (entry == nullptr && !missing_.empty()) throw LdapTrouble(missingCode_, missing_); // it may be there
    if (entry == nullptr) absent_.insert(dotted);
    return entry;
}

LdapOrigin LdapLookup::origin(const Name &name) const {
    auto found = origins_.find(name_to_dotted(name, true));
    return found == origins_.end() ? LdapOrigin() : found->second;
}

std::vector<EntryPtr> LdapLookup::having(const SchemaAttribute &row) {
    std::vector<std::string> wanted = {"objectClass"}, filters;
    if (!schema().userName.empty()) wanted.push_back(schema().userName);
    for (const PresetSource &source : schema().sources.at(&row)) {
        wanted.push_back(source.attribute);
        filters.push_back("(" + source.attribute + "=*)");
    }
    LdapSearch asked = {name_to_dn(searchBase(), root_), LDAP_SCOPE_SUBTREE, filter_or(filters), wanted};
    asked.paged = true;
    const LdapAnswer answer = servers_.search(asked);
    if (!answer.missing.empty()) throw LdapTrouble(answer.missingCode, answer.missing);
    if (answer.result != LDAP_SUCCESS) {
        throw DataError(catalogue_format("%1$s: the server does not list the entries with %2$s: %3$s",
                                         tree_.name.c_str(), wanted.back().c_str(), ldap_err2string(answer.result)));
    }
    std::vector<EntryPtr> found;
    for (const LdapEntry &one : answer.entries) {
        EntryPtr entry = entries().make(one);
        if (entry != nullptr && entry->first(row.ldap) != nullptr) found.push_back(std::move(entry));
    }
    return found;
}

std::vector<EntryPtr> LdapLookup::allKept() const {
    std::vector<EntryPtr> all;
    for (const auto &same : read_) all.insert(all.end(), same.second.begin(), same.second.end());
    return all;
}

std::optional<Name> LdapLookup::likely(const Name &name) {
    if (name.size() <= searchBase().size() || !fitSearchBase(name)) return std::nullopt;
    const std::vector<Name> all = guesses(name);
    const size_t leaves = name.front().type.empty() ? std::size(leaf_types) : 1;
    return all[all.size() - leaves];
}

std::optional<Name> LdapLookup::unseen(const Name &name) {
    return anythingSeen_ ? std::nullopt : likely(name);
}

// With referrals another server may have it.
void LdapLookup::refuseWrongBase() {
    const std::string key = tree_.ldap.searchBase.empty() ? "base" : "search_base";
    const std::string &wanted = tree_.ldap.searchBase.empty() ? tree_.base : tree_.ldap.searchBase;
    Name place;
    if (anythingSeen_ || wanted.empty() || tree_.ldap.referrals || !name_parse_dn(wanted, {}, &place, nullptr)) return;
    std::string shown;
    try {
        const RootDse &root = rootDse();
        for (const std::string &context : root.contexts) {
            Name held;
            if (!name_parse_dn(context, {}, &held, nullptr) ||
                (held.size() <= place.size() && name_equal(held, name_above(place, place.size() - held.size()))))
                return;
            shown += (shown.empty() ? "" : "; ") + context;
        }
    } catch (const CodedError &) { // what was asked before has been answered: that counts
        return;
    }
    if (!shown.empty()) {
        throw DataError(catalogue_format("%1$s: the server does not hold %2$s %3$s: its naming contexts are %4$s",
                                         tree_.name.c_str(), key.c_str(), wanted.c_str(), shown.c_str()));
    }
}

void LdapLookup::forget() {
    read_.clear();
    count_ = 0;
    absent_.clear();
    accounts_.clear();
    origins_.clear();
    anythingSeen_ = false;
}
