// Objects by their names: how a name without types becomes a DN, and what has been read already. The same object is
// never asked for twice.
#ifndef PLATFORM_CLIENT_LDAP_LOOKUP_H
#define PLATFORM_CLIENT_LDAP_LOOKUP_H

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "platform/client/ldap/entries.h"
#include "platform/client/ldap/servers.h"

class LdapLookup {
  public:
    // `tree` and `servers` must outlive the object. All calls that may ask a server throw LdapTrouble, and DataError
    // when the place to search in is not known.
    LdapLookup(const ConfigTree &tree, const Name &base, LdapServers *servers);

    // Where the tree's objects are, relative to the base: what the configuration says, otherwise the only naming
    // context that the server has.
    const Name &searchBase();

    // Entries with all attributes that a login may want.
    LdapAnswer search(const Name &below, int scope, const std::string &filter, bool withMembers, int sizeLimit = 0);
    EntryPtr keep(const LdapEntry &read);
    // Takes the place of the entry of its name that is kept.
    void replace(const EntryPtr &entry);

    // What `search` asks for.
    std::vector<std::string> attributes() { return entries().attributes(false); }

    // The object of a name, aliases not followed; null when there is none. `kept` asks no server.
    EntryPtr lookup(const Name &name);
    EntryPtr kept(const Name &name) const;
    // Looks names below one container up, all in one search.
    void readTogether(const Name &container, const std::vector<Name> &names);
    // All entries that have a value of the row, with what names them and that value. Nothing of them is kept.
    std::vector<EntryPtr> having(const SchemaAttribute &row);
    std::vector<EntryPtr> allKept() const;
    size_t countKept() const { return count_; }

    // Entries' names in place of those that their DNs would give them; they are read where that is not known yet.
    std::vector<Name> ownNames(std::vector<Name> names);

    // Which server had the object; an empty one for the tree's own.
    LdapOrigin origin(const Name &name) const;

    // What a name means before all others that it can mean: `cn` below `ou`, where it has no types. Nothing for a name
    // that can be no object's.
    std::optional<Name> likely(const Name &name);

    // The likely name of an object that is not visible anonymously. Nothing for a name that can be no object's, and
    // where the directory has shown anything at all.
    std::optional<Name> unseen(const Name &name);

    bool showsNothing() const { return !anythingSeen_; }

    // Asks the server for its naming contexts when the directory has shown nothing: DataError when the base or
    // search_base of the configuration is in none of them. Nothing happens where the server does not say.
    void refuseWrongBase();

    // What the tree's servers call things; a server may be asked for that.
    const SiteSchema &schema() { return entries().schema(); }
    // Users are known by an account's name, and nobody is shown anything before a login.
    bool isOfAccounts() { return !schema().userName.empty(); }

    // Does the server say that it finds the groups of groups itself, by Active Directory's matching rule? A directory
    // of accounts is asked; of another one that counts which it has said already.
    bool findsNestedGroups();

    // The DN of an entry, and of a name that may be one of an entry that has been read.
    std::string dnOf(const Entry &entry) const { return entry.dn.empty() ? name_to_dn(entry.name, root_) : entry.dn; }
    std::string dnOf(const Name &name) const;

    // Another user may read other things.
    void forget();

  private:
    // What the server says of itself.
    struct RootDse {
        std::vector<std::string> contexts, capabilities;
        std::string defaultContext, subschema;
    };

    const LdapEntries &entries();
    const RootDse &rootDse();
    SitePreset recognise();
    void noteAccount(const Entry &entry);
    std::vector<Name> guesses(const Name &name);
    void readGuesses(const Name &name);
    EntryPtr readByLevels(const Name &name);
    EntryPtr readLevel(const Name &parent, const NamePart &part);
    bool fitSearchBase(const Name &name);

    const ConfigTree &tree_;
    Name root_;
    std::unique_ptr<LdapEntries> entries_; // null until it is known what the servers call things
    LdapServers &servers_;
    std::optional<RootDse> rootDse_; // once a server has shown it: the same for all users
    std::vector<Name> searchBases_;  // one, once it is known
    bool anythingSeen_ = false;
    std::unordered_map<std::string, LdapOrigin> origins_; // names with their types
    std::string missing_;                                 // as in the last answers
    uint32_t missingCode_ = 0;
    std::unordered_map<std::string, std::vector<EntryPtr>> read_; // by name_key
    size_t count_ = 0;                                            // of its entries
    std::unordered_map<std::string, Name> accounts_;              // by the typed dotted form of their DNs, folded
    std::unordered_set<std::string> absent_;                      // names with their types
};

#endif
