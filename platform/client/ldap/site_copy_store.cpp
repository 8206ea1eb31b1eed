#include "platform/client/ldap/site_copy_store.h"

#include <ctime>

namespace {

constexpr time_t copy_seconds = 60;

// With a copy for work offline the site's own serves for as long as that.
bool is_recent(time_t written, const ConfigLdap &config) {
    const time_t age = time(nullptr) - written;
    return config.offline ? ldap_copy_is_recent(written, config.offlineDays) : age >= 0 && age <= copy_seconds;
}

} // namespace

SiteCopyStore::SiteCopyStore(std::unique_ptr<LdapStore> asked, const ConfigTree &config)
    : tree(config), servers(std::move(asked)), file(config, servers->base(), "site") {
    servers->onSiteRead = [this](const std::vector<EntryPtr> &site) {
        if (!site.empty()) // a process that is nobody may see nothing where its user saw everything
            file.write(site);
    };
}

DirectoryStore *SiteCopyStore::usable() {
    if (servers->hasReadSite()) return nullptr;
    if (!tried) {
        tried = true;
        time_t written = 0;
        copy = file.read(&written);
        if (copy != nullptr && !is_recent(written, tree.ldap)) copy.reset();
    }
    if (servers->haveDistrusted()) copy.reset();
    return copy.get();
}

EntryPtr SiteCopyStore::find(const Name &name, Aliases aliases) {
    DirectoryStore *kept = usable();
    const EntryPtr entry = kept == nullptr ? nullptr : kept->find(name, aliases);
    return entry != nullptr && ldap_is_site_object(*entry) ? entry : servers->find(name, aliases);
}

EntryPtr SiteCopyStore::find_server(std::string_view name) {
    DirectoryStore *kept = usable();
    const EntryPtr entry = kept == nullptr ? nullptr : kept->find_server(name);
    return entry != nullptr ? entry : servers->find_server(name);
}

EntryPtr SiteCopyStore::find_volume(const Entry &server, std::string_view volume) {
    DirectoryStore *kept = usable();
    const EntryPtr entry = kept == nullptr ? nullptr : kept->find_volume(server, volume);
    return entry != nullptr ? entry : servers->find_volume(server, volume);
}

Verdict SiteCopyStore::login(EntryPtr *user, const char *password) {
    try {
        const Verdict verdict = servers->login(user, password);
        if (verdict == Verdict::Accepted) forget();
        return verdict;
    } catch (const LdapTrouble &) {
        throw; // nobody has been logged in
    } catch (...) {
        forget();
        throw;
    }
}

void SiteCopyStore::logout() {
    servers->logout();
    forget();
}

// What was read before a login is another user's.
void SiteCopyStore::forget() {
    tried = true;
    copy.reset();
}
