#include "platform/client/ldap/offline_store.h"

#include "platform/client/core/login_check.h"

// Takes the copy. A server that nobody can hear is one thing, a server that is not the site's own another.
bool OfflineStore::begin(const LdapTrouble &trouble, const Name &user) {
    return !trouble.distrusted && !servers.haveDistrusted() && offline.begin(user);
}

// A program that runs in this one's place leaves no later moment to keep what was read.
EntryPtr OfflineStore::find(const Name &name, Aliases aliases) {
    const size_t before = servers.countRead();
    EntryPtr entry = current().find(name, aliases);
    if (entry != nullptr && servers.countRead() > before) save();
    return entry;
}

EntryPtr OfflineStore::find_user(const Name &name) {
    if (offline.active()) return offline.store()->find_user(name);
    try {
        EntryPtr user = store->find_user(name);
        if (user == nullptr) offline.refused(name);
        return user;
    } catch (const LdapTrouble &trouble) {
        if (!begin(trouble, name)) throw;
        return offline.store()->find_user(name);
    }
}

// A password that was changed, an account that was locked: pulling the plug must not bring them back.
void OfflineStore::noteRefusal(Verdict verdict, const Name &user, const char *password) const {
    if (verdict == Verdict::Locked)
        offline.refused(user);
    else if (verdict == Verdict::WrongPassword)
        offline.refusedPassword(user, password);
}

Verdict OfflineStore::check_password(const Entry &entry, const char *password) {
    const Verdict verdict = current().check_password(entry, password);
    if (!offline.active()) noteRefusal(verdict, entry.name, password);
    return verdict;
}

Verdict OfflineStore::login(EntryPtr *user, const char *password) {
    if (offline.active()) return offline.login(**user, password);
    const Name asked = (*user)->name;
    Verdict verdict = Verdict::Accepted;
    try {
        verdict = store->login(user, password);
    } catch (const LdapTrouble &trouble) {
        if (!begin(trouble, asked)) throw;
        return offline.login(**user, password);
    } catch (...) {
        identity.reset(); // what was read may be gone
        throw;
    }
    noteRefusal(verdict, asked, password);
    if (verdict == Verdict::Accepted && login_is_locked(**user)) {
        identity.reset();
        offline.refused(asked); // whoever logs in finds that out for itself
    } else if (verdict == Verdict::Accepted) {
        identity = *user;
        offline.keep(identity, password);
        save();
    }
    return verdict;
}

void OfflineStore::save() {
    if (identity != nullptr) offline.save(servers.allRead(), store->groups_of(*identity));
}

void OfflineStore::logout() {
    identity.reset();
    store->logout();
    offline.end();
}
