#include "platform/client/copies/site_copy_store.h"

#include <ctime>

#include "platform/client/core/trouble.h"

static constexpr time_t copy_seconds = 60;

// With a copy for work offline the site's own serves for as long as that.
static bool is_recent(time_t written, const ConfigLdap &config) {
    const time_t age = time(nullptr) - written;
    return config.offline ? ldap_copy_is_recent(written, config.offlineDays) : age >= 0 && age <= copy_seconds;
}

SiteCopyStore::SiteCopyStore(const ConfigTree &config, const Name &treeBase, ServersStoreMaker *make)
    : tree_(config), root_(treeBase), make_(make), file_(config, treeBase, "site") {}

ServersStore &SiteCopyStore::servers() {
    if (servers_ == nullptr) {
        servers_ = make_(
            tree_, root_,
            [this](const std::vector<EntryPtr> &site) {
                if (!site.empty()) // an anonymous process may see nothing where its user saw everything
                    file_.write(site);
            });
    }
    return *servers_;
}

std::vector<EntryPtr> SiteCopyStore::allRead() const {
    return servers_ == nullptr ? std::vector<EntryPtr>() : servers_->allRead();
}

DirectoryStore *SiteCopyStore::usable() {
    if (hasReadSite()) return nullptr;
    if (!tried_) {
        tried_ = true;
        time_t written = 0;
        copy_ = file_.read(&written);
        if (copy_ != nullptr && !is_recent(written, tree_.ldap)) copy_.reset();
    }
    if (haveDistrusted()) copy_.reset();
    return copy_.get();
}

EntryPtr SiteCopyStore::find(const Name &name, Aliases aliases) {
    DirectoryStore *kept = usable();
    const EntryPtr entry = kept == nullptr ? nullptr : kept->find(name, aliases);
    return entry != nullptr && entry_is_of_site(*entry) ? entry : servers().find(name, aliases);
}

EntryPtr SiteCopyStore::findServer(std::string_view name) {
    DirectoryStore *kept = usable();
    const EntryPtr entry = kept == nullptr ? nullptr : kept->findServer(name);
    return entry != nullptr ? entry : servers().findServer(name);
}

EntryPtr SiteCopyStore::findVolume(const Entry &server, std::string_view volume) {
    DirectoryStore *kept = usable();
    const EntryPtr entry = kept == nullptr ? nullptr : kept->findVolume(server, volume);
    return entry != nullptr ? entry : servers().findVolume(server, volume);
}

Verdict SiteCopyStore::login(EntryPtr *user, const char *password) {
    try {
        const Verdict verdict = servers().login(user, password);
        if (verdict == Verdict::accepted) forget();
        return verdict;
    } catch (const LdapTrouble &) {
        throw; // no user has been logged in
    } catch (...) {
        forget();
        throw;
    }
}

void SiteCopyStore::logout() {
    if (servers_ != nullptr) servers_->logout();
    forget();
}

// What was read before a login is another user's.
void SiteCopyStore::forget() {
    tried_ = true;
    copy_.reset();
}
