#include "platform/client/copies/site_copy_store.h"

#include <ctime>

#include "platform/client/core/trouble.h"

static constexpr time_t copy_seconds = 60;
// A login leaves the programs that its scripts run half of the time at least.
static constexpr time_t login_copy_seconds = copy_seconds / 2;

// With a copy for work offline the site's own serves for as long as that.
static bool is_recent(time_t written, const ConfigLdap &config) {
    const time_t age = time(nullptr) - written;
    return config.offline ? ldap_copy_is_recent(written, config.offlineDays) : age >= 0 && age <= copy_seconds;
}

SiteCopyStore::SiteCopyStore(const ConfigTree &config, const Name &treeBase, ServersStoreMaker *make)
    : tree_(config), root_(treeBase), make_(make), file_(config, treeBase, "site") {}

ServersStore &SiteCopyStore::servers() {
    if (servers_ == nullptr) servers_ = make_(tree_, root_, this);
    return *servers_;
}

void SiteCopyStore::keepSite(const std::vector<EntryPtr> &site, const EntryPtr &reader) {
    if (site.empty()) return; // an anonymous process may see nothing where its user saw everything
    file_.write(site, reader);
    reader_ = reader;
}

EntryPtr SiteCopyStore::lastReader() {
    read();
    return reader_;
}

// Not in the place of what a copy for work offline has to contain, nor where the order of the servers decides which one
// is the tree's own.
bool SiteCopyStore::servesLogin(const Entry &user) {
    const bool isWanted = !tree_.ldap.offline && !tree_.defaultServer.empty() && usable() != nullptr;
    const time_t age = time(nullptr) - written_;
    servesLogin_ =
        isWanted && reader_ != nullptr && name_equal(reader_->name, user.name) && age >= 0 && age <= login_copy_seconds;
    return servesLogin_;
}

std::vector<EntryPtr> SiteCopyStore::allRead() const {
    return servers_ == nullptr ? std::vector<EntryPtr>() : servers_->allRead();
}

void SiteCopyStore::read() {
    if (tried_) return;
    tried_ = true;
    copy_ = file_.read(&written_, &reader_);
    if (copy_ != nullptr && !is_recent(written_, tree_.ldap)) copy_.reset();
}

DirectoryStore *SiteCopyStore::usable() {
    if (hasReadSite()) return nullptr;
    read();
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
    servesLogin_ = false;
    try {
        const Verdict verdict = servers().login(user, password);
        if (verdict == Verdict::accepted && !servesLogin_) forget();
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
