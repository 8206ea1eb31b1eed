// The store of a tree's servers with the copy of its site in front: the servers, volumes and directory maps that one
// process has read serve the next one, since the programs that a script runs are many, and short.
#ifndef PLATFORM_CLIENT_COPIES_SITE_COPY_STORE_H
#define PLATFORM_CLIENT_COPIES_SITE_COPY_STORE_H

#include <ctime>
#include <memory>

#include "platform/client/copies/copy.h"
#include "platform/client/core/servers_store.h"

// The copy is used until the site is read from the servers, somebody logs in or out, or a server could not prove to be
// the site's own. It stays after a login of the user who has read it just before.
class SiteCopyStore : public ServersStore, private SiteKeeper {
  public:
    // The store of the servers is made when they are first asked. `config` must outlive this one.
    SiteCopyStore(const ConfigTree &config, const Name &base, ServersStoreMaker *make);

    const Name &base() const override { return root_; }
    EntryPtr find(const Name &name, Aliases aliases) override;
    EntryPtr findUser(const LoginName &name) override { return servers().findUser(name); }
    std::vector<EntryPtr> usersNamed(const std::string &value) override { return servers().usersNamed(value); }
    std::vector<Name> usersBelow(const Name &container) override { return servers().usersBelow(container); }
    std::vector<Name> groupsOf(const Entry &entry) override { return servers().groupsOf(entry); }
    std::vector<Name> missing(const Name &container, const std::vector<Name> &names) override {
        return servers().missing(container, names);
    }
    std::vector<Name> ownNames(std::vector<Name> names) override { return servers().ownNames(std::move(names)); }
    const OtherAttribute *otherAttribute(const Entry &user, std::string_view name) override {
        return servers().otherAttribute(user, name);
    }
    EntryPtr findServer(std::string_view name) override;
    EntryPtr findVolume(const Entry &server, std::string_view volume) override;
    std::vector<EntryPtr> volumes() override { return servers().volumes(); }
    Verdict checkPassword(const Entry &entry, const char *password) override {
        return servers().checkPassword(entry, password);
    }
    Verdict login(EntryPtr *user, const char *password) override;
    void logout() override;
    void noteLogin() override { servers().noteLogin(); }
    void changePassword(const Entry &entry, const char *oldPassword, const char *newPassword) override {
        servers().changePassword(entry, oldPassword, newPassword);
    }
    bool changesPasswords() const override { return tree_.ldap.needsPassword(); }
    StoredScript readScript(const Entry &entry) override { return servers().readScript(entry); }
    void writeScript(const Entry &entry, const ScriptText &before, const ScriptText &after) override {
        servers().writeScript(entry, before, after);
    }
    std::vector<EntryPtr> scripts() override { return servers().scripts(); }
    Verdict loginAs(const std::string &dn, const char *password) override { return servers().loginAs(dn, password); }

    bool haveDistrusted() const override { return servers_ != nullptr && servers_->haveDistrusted(); }
    bool hasReadSite() const override { return servers_ != nullptr && servers_->hasReadSite(); }
    std::vector<EntryPtr> allRead() const override;
    size_t countRead() const override { return servers_ == nullptr ? 0 : servers_->countRead(); }

  private:
    void keepSite(const std::vector<EntryPtr> &site, const EntryPtr &reader) override;
    bool servesLogin(const Entry &user) override;
    EntryPtr lastReader() override;

    ServersStore &servers();
    void read();
    DirectoryStore *usable();
    void forget();

    const ConfigTree &tree_;
    Name root_;
    ServersStoreMaker *make_;
    std::unique_ptr<ServersStore> servers_; // null until they are asked
    LdapCopy file_;
    std::unique_ptr<DirectoryStore> copy_; // null: none, or of no more use
    bool tried_ = false;
    time_t written_ = 0; // when the copy was made, and by whom
    EntryPtr reader_;
    bool servesLogin_ = false; // the copy stays after the login that is being made
};

#endif
