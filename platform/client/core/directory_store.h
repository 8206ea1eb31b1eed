// What the client needs of a directory, wherever it is kept. An entry is read once, with all its attributes, so that a
// store behind a network needs few round trips; typeless names are the store's to resolve, level by level.
#ifndef PLATFORM_CLIENT_CORE_DIRECTORY_STORE_H
#define PLATFORM_CLIENT_CORE_DIRECTORY_STORE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/client/core/errors.h"
#include "platform/client/core/login_name.h"
#include "platform/client/core/names.h"
#include "platform/client/core/schema.h"
#include "platform/client/core/verdict.h"

struct EntryValue {
    const SchemaAttribute *attribute;
    std::string text; // as in the directory's data, its form checked
};

struct Entry {
    Name name;      // with all types, spelled as in the data
    std::string dn; // not empty: the entry's DN, where the directory knows the entry by another name than the tree
    const SchemaClass *entryClass = nullptr;
    std::vector<EntryValue> values; // in the order of the data
    uint32_t subordinates = 0;
    int32_t modificationTime = 0;

    // The first value of an attribute by its LDAP name, null when there is none.
    const std::string *first(std::string_view ldap) const;
    bool isClass(std::string_view base) const { return base == entryClass->base; }
};

using EntryPtr = std::shared_ptr<const Entry>;

// An attribute that the client's own schema does not have.
struct OtherAttribute {
    const SchemaAttribute *row;
    std::vector<std::string> values; // their form checked
};

enum class Aliases { follow, keep };

using ScriptText = std::optional<std::string>; // nothing: an object without a login script

// An object's login script as the directory has it at this moment.
struct StoredScript {
    ScriptText text;
    std::string place; // where it is kept or would be, for people: "acme.ldif:17", "qrtLoginScript of ou=sales,o=acme"
    std::string changed;   // when its entry was changed, as in the directory ("20261123033200Z"); empty: not known
    std::string changedBy; // and by whom, a DN
};

class DirectoryStore {
  public:
    DirectoryStore() = default;
    DirectoryStore(const DirectoryStore &) = delete;
    DirectoryStore &operator=(const DirectoryStore &) = delete;
    virtual ~DirectoryStore() = default;

    // The DN below which the tree lives.
    virtual const Name &base() const = 0;

    // What is looked for and not there is null. A store behind a network throws CodedError when it cannot be asked, any
    // store DataError for data that it cannot use.

    // The entry of a name whose parts may lack their types. An alias that is followed, at the leaf or on the way, leads
    // to the entry it stands for. DataError for aliases that go round.
    virtual EntryPtr find(const Name &name, Aliases aliases) = 0;

    // The groups that have the entry as a member, each once, in the order of the data; after them, where the tree takes
    // groups into groups, those that have these as members.
    virtual std::vector<Name> groupsOf(const Entry &entry) = 0;

    // Of these names below one container those that no object has.
    virtual std::vector<Name> missing(const Name &container, const std::vector<Name> &names);

    // Names that stand in values, as the tree calls these objects.
    virtual std::vector<Name> ownNames(std::vector<Name> names) { return names; }

    // An attribute of the user who is logged in, by its own name. Null without one. Its row lives as long as the store,
    // the rest until the next login.
    virtual const OtherAttribute *otherAttribute(const Entry &, std::string_view) { return nullptr; }

    // The file server with this common name, in any letter case; the first one for an empty name.
    virtual EntryPtr findServer(std::string_view name) = 0;

    // The volume of a server by the volume's name on it, in any letter case.
    virtual EntryPtr findVolume(const Entry &server, std::string_view volume) = 0;

    // All volumes, in the order of the data.
    virtual std::vector<EntryPtr> volumes() = 0;

    // Is it the entry's password? WrongPassword also for an entry that has none.
    virtual Verdict checkPassword(const Entry &entry, const char *password) = 0;

    // The users that one of the attributes which name users gives this value, in the order of the data.
    virtual std::vector<EntryPtr> usersNamed(const std::string &) { return {}; }

    // The users in a container and below, each once. CodedError and DataError where the list would not be complete.
    virtual std::vector<Name> usersBelow(const Name &) { return {}; }

    // The object that somebody wants to log in as, aliases followed. What a directory shows only after a login may be
    // missing in the entry. CodedError, ZKE_AMBIGUOUS_NAME, with the contexts of all when the name is several users'.
    virtual EntryPtr findUser(const LoginName &name);

    // Logs in: from now on the directory is asked as this user, and `*user` becomes the entry as the user may read it.
    // A failed login leaves the earlier one in place.
    virtual Verdict login(EntryPtr *user, const char *password) { return checkPassword(**user, password); }
    virtual void logout() {}

    // Throws DataError where a script of the user's own, of a container above or of the profile cannot be used. A login
    // does this by itself.
    virtual void requireScripts(const Entry &) {}

    // The login is over: its time may be kept for the next one. Nothing is waited for.
    virtual void noteLogin() {}

    // Gives the entry another password, on the word of the one that it has; an entry that is logged in stays so. Throws
    // CodedError: ZKE_WRONG_PASSWORD for the old one, ZKE_PASSWORD_REFUSED for the new one, with what the directory
    // says of it, ZKE_NO_ACCESS where users cannot change passwords.
    virtual void changePassword(const Entry &entry, const char *oldPassword, const char *newPassword) = 0;
    // Whether `changePassword` may succeed.
    virtual bool changesPasswords() const { return false; }

    // For who administers login scripts (interface/scripts.h). A store that keeps none throws CodedError,
    // ZKE_NO_ACCESS.

    // The entry's own script, whatever has been read of it before.
    virtual StoredScript readScript(const Entry &) { throw CodedError(ZKE_NO_ACCESS); }
    // Gives the entry the script `after` in place of `before`, all of it or nothing. Throws CodedError:
    // ZKE_SCRIPT_CHANGED when the entry's script is another one than `before`, ZKE_NOT_LOGGED_IN and ZKE_NO_ACCESS
    // where that may not be done. What has been read of the entry stays as it is.
    virtual void writeScript(const Entry &, const ScriptText &, const ScriptText &) { throw CodedError(ZKE_NO_ACCESS); }
    // Is the entry's script in a file that not everybody may read? A copy of it must not be for more people.
    virtual bool scriptIsPrivate(const Entry &) { return false; }
    // All entries that have a script, with it as a value, in the order of the data. What else they have may be missing.
    virtual std::vector<EntryPtr> scripts() { throw CodedError(ZKE_NO_ACCESS); }
    // Logs in by a DN of which there need not be an entry: servers' managers have none. For reading and writing
    // scripts.
    virtual Verdict loginAs(const std::string &, const char *) { throw CodedError(ZKE_NO_ACCESS); }
};

// The user when there is only one; null without any. `typed` is the name that means them, for the error of findUser.
EntryPtr entry_only_user(const std::string &typed, const std::vector<EntryPtr> &found);

// A file server's or volume's own name: its common name, its name on the server.
std::string entry_common_name(const Entry &entry);

// Is it the file server, or the volume of that server, as find_server and find_volume want it? `base` is the tree's.
bool entry_is_server(const Entry &entry, std::string_view name);
bool entry_is_volume(const Entry &entry, const Entry &server, std::string_view volume, const Name &base);

// A server, a volume or a directory map: what the tree's "site" consists of.
bool entry_is_of_site(const Entry &entry);

#endif
