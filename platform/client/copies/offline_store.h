// The store of a tree's servers with the copy of the user's login behind: when no server answers a login, the copy
// does, and serves all that is asked until the logout (offline_login.h).
#ifndef PLATFORM_CLIENT_COPIES_OFFLINE_STORE_H
#define PLATFORM_CLIENT_COPIES_OFFLINE_STORE_H

#include <memory>

#include "platform/client/copies/offline_login.h"
#include "platform/client/core/servers_store.h"
#include "platform/client/core/trouble.h"

class OfflineStore : public DirectoryStore {
  public:
    // `config` must outlive the store.
    OfflineStore(std::unique_ptr<ServersStore> inner, const ConfigTree &config)
        : store_(std::move(inner)), offline_(config, store_->base()) {}

    const Name &base() const override { return store_->base(); }
    EntryPtr find(const Name &name, Aliases aliases) override;
    EntryPtr findUser(const LoginName &name) override;
    std::vector<EntryPtr> usersNamed(const std::string &value) override { return current().usersNamed(value); }
    std::vector<Name> usersBelow(const Name &container) override { return current().usersBelow(container); }
    std::vector<Name> groupsOf(const Entry &entry) override { return current().groupsOf(entry); }
    std::vector<Name> missing(const Name &container, const std::vector<Name> &names) override {
        return current().missing(container, names);
    }
    std::vector<Name> ownNames(std::vector<Name> names) override { return current().ownNames(std::move(names)); }
    const OtherAttribute *otherAttribute(const Entry &user, std::string_view name) override;
    EntryPtr findServer(std::string_view name) override { return current().findServer(name); }
    EntryPtr findVolume(const Entry &server, std::string_view volume) override {
        return current().findVolume(server, volume);
    }
    std::vector<EntryPtr> volumes() override { return current().volumes(); }
    Verdict checkPassword(const Entry &entry, const char *password) override;
    Verdict login(EntryPtr *user, const char *password) override;
    void logout() override;
    void noteLogin() override { current().noteLogin(); }
    void changePassword(const Entry &entry, const char *oldPassword, const char *newPassword) override;
    bool changesPasswords() const override { return !offline_.active() && store_->changesPasswords(); }
    // Scripts are the servers' own, never those of a copy.
    StoredScript readScript(const Entry &entry) override { return store_->readScript(entry); }
    void writeScript(const Entry &entry, const ScriptText &before, const ScriptText &after) override {
        store_->writeScript(entry, before, after);
    }
    bool scriptIsPrivate(const Entry &entry) override { return store_->scriptIsPrivate(entry); }
    std::vector<EntryPtr> scripts() override { return store_->scripts(); }
    Verdict loginAs(const std::string &dn, const char *password) override { return store_->loginAs(dn, password); }

  private:
    DirectoryStore &current() {
        if (offline_.active()) return *offline_.store();
        return *store_;
    }
    bool mayBegin(const LdapTrouble &trouble) const { return !trouble.distrusted && !store_->haveDistrusted(); }
    bool begin(const LdapTrouble &trouble, const Name &user);
    void noteRefusal(const Verdict &verdict, const Name &user, const char *password) const;
    void save();

    std::unique_ptr<ServersStore> store_;
    OfflineLogin offline_;
    LoginName typed_;   // by which the user was looked for
    EntryPtr identity_; // who has logged in at a server, and whose login is kept
};

#endif
