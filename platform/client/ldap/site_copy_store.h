// The store of a tree's servers with the copy of its site in front: the servers, volumes and directory maps that one
// process has read serve the next one, since the programs that a script runs are many, and short.
#ifndef PLATFORM_CLIENT_LDAP_SITE_COPY_STORE_H
#define PLATFORM_CLIENT_LDAP_SITE_COPY_STORE_H

#include <memory>

#include "platform/client/ldap/copy.h"
#include "platform/client/ldap/store.h"

// The copy is used until the site is read from the servers, somebody logs in or out, or a server could not prove to be
// the site's own.
class SiteCopyStore : public DirectoryStore {
  public:
    // `config` must outlive the store.
    SiteCopyStore(std::unique_ptr<LdapStore> asked, const ConfigTree &config);

    const Name &base() const override { return servers_->base(); }
    EntryPtr find(const Name &name, Aliases aliases) override;
    EntryPtr findUser(const Name &name) override { return servers_->findUser(name); }
    std::vector<Name> groupsOf(const Entry &entry) override { return servers_->groupsOf(entry); }
    EntryPtr findServer(std::string_view name) override;
    EntryPtr findVolume(const Entry &server, std::string_view volume) override;
    Verdict checkPassword(const Entry &entry, const char *password) override {
        return servers_->checkPassword(entry, password);
    }
    Verdict login(EntryPtr *user, const char *password) override;
    void logout() override;

  private:
    DirectoryStore *usable();
    void forget();

    const ConfigTree &tree_;
    std::unique_ptr<LdapStore> servers_;
    LdapCopy file_;
    std::unique_ptr<DirectoryStore> copy_; // null: none, or of no more use
    bool tried_ = false;
};

#endif
