// The store of a tree's servers with the copy of the user's login behind: when no server answers a login, the copy
// does, and serves all that is asked until the logout (offline_login.h).
#ifndef PLATFORM_CLIENT_LDAP_OFFLINE_STORE_H
#define PLATFORM_CLIENT_LDAP_OFFLINE_STORE_H

#include <memory>

#include "platform/client/ldap/offline_login.h"
#include "platform/client/ldap/store.h"

class OfflineStore : public DirectoryStore {
  public:
    // `asked` is what `inner` asks in the end; `config` must outlive the store.
    OfflineStore(std::unique_ptr<DirectoryStore> inner, const LdapStore &asked, const ConfigTree &config)
        : store(std::move(inner)), servers(asked), offline(config, asked.base()) {}

    const Name &base() const override { return store->base(); }
    EntryPtr find(const Name &name, Aliases aliases) override;
    EntryPtr find_user(const Name &name) override;
    std::vector<Name> groups_of(const Entry &entry) override { return current().groups_of(entry); }
    EntryPtr find_server(std::string_view name) override { return current().find_server(name); }
    EntryPtr find_volume(const Entry &server, std::string_view volume) override {
        return current().find_volume(server, volume);
    }
    Verdict check_password(const Entry &entry, const char *password) override;
    Verdict login(EntryPtr *user, const char *password) override;
    void logout() override;

  private:
    DirectoryStore &current() { return offline.active() ? *offline.store() : *store; }
    bool begin(const LdapTrouble &trouble, const Name &user);
    void noteRefusal(Verdict verdict, const Name &user, const char *password) const;
    void save();

    std::unique_ptr<DirectoryStore> store;
    const LdapStore &servers;
    OfflineLogin offline;
    EntryPtr identity; // who has logged in at a server, and whose login is kept
};

#endif
