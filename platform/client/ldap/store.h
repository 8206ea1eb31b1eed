// The directory on LDAP servers. Servers are asked when something is wanted, and an object is asked for once: it is
// read with all that a login may want of it and kept for the login. Copies of what was read are kept by the stores
// around it (copies/).
#ifndef PLATFORM_CLIENT_LDAP_STORE_H
#define PLATFORM_CLIENT_LDAP_STORE_H

#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/client/core/config.h"
#include "platform/client/core/servers_store.h"
#include "platform/client/ldap/accounts.h"
#include "platform/client/ldap/groups.h"
#include "platform/client/ldap/kerberos_change.h"
#include "platform/client/ldap/lookup.h"
#include "platform/client/ldap/other_attributes.h"
#include "platform/client/ldap/servers.h"

class LdapStore : public ServersStore {
  public:
    // `config` and `siteKeeper` must outlive the store. No server is asked yet.
    LdapStore(const ConfigTree &config, const Name &base, SiteKeeper *siteKeeper)
        : tree_(config), root_(base), servers_(config.ldap), keeper_(*siteKeeper) {}

    // The calls throw LdapTrouble when no server answers. A login that a server has accepted throws none: whatever goes
    // wrong afterwards is a CodedError.
    const Name &base() const override { return root_; }
    EntryPtr find(const Name &name, Aliases aliases) override;
    std::vector<EntryPtr> usersNamed(const std::string &value) override;
    std::vector<Name> usersBelow(const Name &container) override;
    EntryPtr findUser(const LoginName &name) override;
    std::vector<Name> groupsOf(const Entry &entry) override { return groups_.of(entry); }
    std::vector<Name> missing(const Name &container, const std::vector<Name> &names) override;
    std::vector<Name> ownNames(std::vector<Name> names) override { return objects_.ownNames(std::move(names)); }
    const OtherAttribute *otherAttribute(const Entry &user, std::string_view name) override;
    EntryPtr findServer(std::string_view name) override;
    EntryPtr findVolume(const Entry &server, std::string_view volume) override;
    std::vector<EntryPtr> volumes() override;
    Verdict checkPassword(const Entry &entry, const char *password) override;
    Verdict login(EntryPtr *user, const char *password) override;
    void logout() override;
    void noteLogin() override;
    void changePassword(const Entry &entry, const char *oldPassword, const char *newPassword) override;
    bool changesPasswords() const override { return tree_.ldap.needsPassword(); }
    StoredScript readScript(const Entry &entry) override;
    void writeScript(const Entry &entry, const ScriptText &before, const ScriptText &after) override;
    std::vector<EntryPtr> scripts() override;
    Verdict loginAs(const std::string &dn, const char *password) override;

    bool haveDistrusted() const override { return servers_.haveDistrusted(); }
    bool hasReadSite() const override { return siteRead_; }
    std::vector<EntryPtr> allRead() const override;
    size_t countRead() const override { return objects_.countKept(); }

  private:
    EntryPtr userSeen(const LoginName &name);
    // As whom servers take the user: by the entry's DN, or by the name of an account.
    std::string bindName(const Entry &user) const;
    void changeAtCentre(const LdapIdentity &before, const LdapIdentity &after) const;
    LdapAnswer bind(const Entry &user, const char *password);
    void bindAsSeen(EntryPtr *user, const char *password, LdapAnswer *answer);
    EntryPtr readUser(const Entry &asked);
    void readSession(const Entry &user);
    void readSite();
    void keepSite(const LdapAnswer &answer, const Name &reader);
    template <typename Wanted>
    EntryPtr findInSite(Wanted wanted);
    time_t lockEnd(const Entry &user);
    // A value that the directory has computed of an entry, empty when there is none.
    std::string computed(const Entry &user, const char *attribute);
    EntryPtr withExpiration(const EntryPtr &user, int64_t seconds);
    Verdict verdictOf(const LdapAnswer &answer, const Entry &user) const;
    const std::string &scriptAttribute();
    void forget();

    const ConfigTree &tree_;
    Name root_;
    LdapServers servers_;
    LdapLookup objects_{tree_, root_, &servers_};
    LdapGroups groups_{tree_, root_, &servers_, &objects_};
    LdapAccounts accounts_{tree_, root_, &servers_, &objects_};
    LdapOtherAttributes others_; // of who is logged in
    SiteKeeper &keeper_;
    LoginName assumedName_; // what stands for `assumed_`, the user whom nobody has looked up
    EntryPtr assumed_;
    LdapAccount account_; // of the last name that was to log in; no entry: the name was looked up
    bool siteRead_ = false;
    std::vector<EntryPtr> site_;
    std::string siteMissing_; // as in LdapAnswer
    uint32_t siteMissingCode_ = 0;
    Name user_;           // who is logged in
    std::string boundAs_; // the bindName of that login
    bool loggedIn_ = false;
};

#endif
