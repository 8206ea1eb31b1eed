// The directory on LDAP servers. Servers are asked when something is wanted, and an object is asked for once: it is
// read with all that a login may want of it and kept for the login. Copies of what was read are kept by the stores
// around it (site_copy_store.h, offline_store.h).
#ifndef PLATFORM_CLIENT_LDAP_STORE_H
#define PLATFORM_CLIENT_LDAP_STORE_H

#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/client/core/config.h"
#include "platform/client/core/directory_store.h"
#include "platform/client/ldap/lookup.h"
#include "platform/client/ldap/servers.h"

// A server, a volume or a directory map: what the tree's "site" consists of.
bool ldap_is_site_object(const Entry &entry);

class LdapStore : public DirectoryStore {
  public:
    // `config` must outlive the store. No server is asked yet.
    LdapStore(const ConfigTree &config, const Name &base) : tree_(config), root_(base), servers_(config.ldap) {}

    // The calls throw LdapTrouble when no server answers. A login that a server has accepted throws none: whatever goes
    // wrong afterwards is a CodedError.
    const Name &base() const override { return root_; }
    EntryPtr find(const Name &name, Aliases aliases) override;
    EntryPtr findUser(const Name &name) override;
    std::vector<Name> groupsOf(const Entry &entry) override;
    EntryPtr findServer(std::string_view name) override;
    EntryPtr findVolume(const Entry &server, std::string_view volume) override;
    Verdict checkPassword(const Entry &entry, const char *password) override;
    Verdict login(EntryPtr *user, const char *password) override;
    void logout() override;

    // For those who keep copies. As in LdapServers:
    bool haveDistrusted() const { return servers_.haveDistrusted(); }
    // Whether the site has been read since the last login or logout, and whom to tell when it is.
    bool hasReadSite() const { return siteRead_; }
    std::function<void(const std::vector<EntryPtr> &site)> onSiteRead = [](const std::vector<EntryPtr> &) {};
    // All that has been read since then, the site first, and how many objects that are.
    std::vector<EntryPtr> allRead() const;
    size_t countRead() const { return objects_.countKept(); }

  private:
    std::string groupFilter(const std::string &dn) const;
    EntryPtr readUser(const Entry &asked);
    void readSession(const Entry &user);
    void readSite();
    void keepSite(const LdapAnswer &answer);
    template <typename Wanted>
    EntryPtr findInSite(Wanted wanted);
    Verdict verdictOf(const LdapAnswer &answer, const Entry &user) const;
    void forget();

    const ConfigTree &tree_;
    Name root_;
    LdapServers servers_;
    LdapLookup objects_{tree_, root_, &servers_};
    std::unordered_map<std::string, std::vector<Name>> groups_; // by the member's DN
    bool siteRead_ = false;
    std::vector<EntryPtr> site_;
    std::string siteMissing_; // as in LdapAnswer
    uint32_t siteMissingCode_ = 0;
    bool loggedIn_ = false;
};

#endif
