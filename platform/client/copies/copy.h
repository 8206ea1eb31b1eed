// Copies of what was read from servers, as LDIF files of the user's own (mode 0600, below the user's cache folder). The
// embedded directory serves them. What is not certain to be the user's own work counts as not there: whoever could put
// a copy into the place of another would choose the password of a login.
#ifndef PLATFORM_CLIENT_COPIES_COPY_H
#define PLATFORM_CLIENT_COPIES_COPY_H

#include <ctime>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "platform/client/core/config.h"
#include "platform/client/core/directory_store.h"

class LdapCopy {
  public:
    // `kind` distinguishes the copies of one tree. A copy belongs to the tree as it is configured: with other servers
    // or another base it counts as not there.
    LdapCopy(const ConfigTree &tree, const Name &base, const std::string &kind);

    // Replaces the copy. Of two entries with one name the first is written; those above the given ones are made up
    // where they are missing. A copy that cannot be written is left alone: it is a convenience. `reader`, when there is
    // one: who has read the entries.
    void write(const std::vector<EntryPtr> &entries, const EntryPtr &reader = nullptr) const;

    // The copy as a directory, null when there is none that can be used. `*written` is when it was made, `*reader` who
    // has read it, with no other value than the profile; null when that is not known.
    std::unique_ptr<DirectoryStore> read(time_t *written, EntryPtr *reader = nullptr) const;

    void remove() const;

  private:
    std::string text(const std::vector<EntryPtr> &entries, const EntryPtr &reader) const;
    EntryPtr readerIn(std::string_view text) const;
    void addEntry(const Entry &entry, std::unordered_set<std::string> *written, std::string *out) const;
    void addParents(const Name &name, std::unordered_set<std::string> *written, std::string *out) const;

    Name base_;
    std::string folder_; // empty: the user has no cache folder
    std::string file_;   // in the folder
    std::string belongsTo_;
};

// Is a copy that was made at `written` at most so many days old? One from the future is not: who can set the clock back
// would make it last forever. A day is left for clocks that are wrong, or in another time zone.
bool ldap_copy_is_recent(time_t written, double days);

#endif
