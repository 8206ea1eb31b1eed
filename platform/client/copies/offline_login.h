// The last good copy of what a login read, for the day on which no server answers. It is kept only where the
// configuration asks for it. The password itself is never written: a yescrypt hash of it is, and a login is checked
// against that.
//
// The copy is no way around what a server says: it goes when a server refuses the login that it would accept, and it is
// not taken in place of a server that could not prove who it is.
#ifndef PLATFORM_CLIENT_COPIES_OFFLINE_LOGIN_H
#define PLATFORM_CLIENT_COPIES_OFFLINE_LOGIN_H

#include <memory>
#include <string>
#include <vector>

#include "platform/client/core/config.h"
#include "platform/client/core/directory_store.h"
#include "platform/client/core/other_attributes.h"

class OfflineLogin {
  public:
    // `tree` must outlive the object.
    OfflineLogin(const ConfigTree &tree, const Name &base) : config_(tree), root_(base) {}

    // A user has logged in, with this password; from now on `save` keeps what the login has read.
    void keep(const EntryPtr &user, const LoginName &typed, const char *password);
    void save(const std::vector<EntryPtr> &entries, const std::vector<Name> &groups) const;

    // The user has asked for an attribute outside of the schema: `save` keeps it, too. True when it was not kept
    // before. So many of them, or so large ones, that no script means them are not.
    bool keepOther(const OtherAttribute &asked);

    // A server answered and did not let the user in: the account is gone, locked, or the password is another one. The
    // user's copy goes where it would let in whom the server did not.
    void refused(const Name &user) const;
    void refusedPassword(const Name &user, const char *password) const;

    // Whom a typed name may mean, with all types: the object of that name, and the users who have logged in by it
    // before.
    std::vector<Name> meant(const LoginName &typed) const;

    // No server answers: takes the user's copy instead. False when there is none that is recent enough, or none is
    // wanted.
    bool begin(const Name &user);
    bool active() const { return copy_ != nullptr; }
    DirectoryStore *store() const { return copy_.get(); }
    // Of the copy, as DirectoryStore::otherAttribute.
    const OtherAttribute *otherAttribute(const Entry &user, std::string_view name);

    // Accepted, after a line on standard error that says how old the copy is, or WrongPassword.
    Verdict login(const Entry &user, const char *password) const;

    // The user has logged out.
    void end();

  private:
    const ConfigTree &config_;
    Name root_;
    EntryPtr user_;
    std::string passwordHash_;
    std::vector<EntryValue> asked_; // attributes outside of the schema, as the copy has them
    OtherAttributes others_;        // of the copy
    bool othersRead_ = false;
    std::unique_ptr<DirectoryStore> copy_;
    time_t written_ = 0;

    std::unique_ptr<DirectoryStore> read(const Name &who, time_t *when) const;
    EntryPtr typedBefore(const std::string &key) const;
    EntryPtr objectBefore(const Name &typed) const;
};

#endif
