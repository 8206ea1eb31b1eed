#include "platform/client/copies/offline_store.h"

#include "platform/client/core/login_check.h"

// Takes the copy. A server that cannot be reached is one thing, one that is not the site's own another.
bool OfflineStore::begin(const LdapTrouble &trouble, const Name &user) {
    return !trouble.distrusted && !store_->haveDistrusted() && offline_.begin(user);
}

// A program that runs in this one's place leaves no later moment to keep what was read.
EntryPtr OfflineStore::find(const Name &name, Aliases aliases) {
    const size_t before = store_->countRead();
    EntryPtr entry = current().find(name, aliases);
    if (entry != nullptr && store_->countRead() > before) save();
    return entry;
}

EntryPtr OfflineStore::findUser(const Name &name) {
    if (offline_.active()) return offline_.store()->findUser(name);
    try {
        EntryPtr user = store_->findUser(name);
        if (user == nullptr) offline_.refused(name);
        return user;
    } catch (const LdapTrouble &trouble) {
        if (!begin(trouble, name)) throw;
        return offline_.store()->findUser(name);
    }
}

// A password that was changed, an account that was locked: pulling the plug must not bring them back.
void OfflineStore::noteRefusal(Verdict verdict, const Name &user, const char *password) const {
    if (verdict == Verdict::locked)
        offline_.refused(user);
    else if (verdict == Verdict::wrongPassword)
        offline_.refusedPassword(user, password);
}

Verdict OfflineStore::checkPassword(const Entry &entry, const char *password) {
    const Verdict verdict = current().checkPassword(entry, password);
    if (!offline_.active()) noteRefusal(verdict, entry.name, password);
    return verdict;
}

Verdict OfflineStore::login(EntryPtr *user, const char *password) {
    if (offline_.active()) return offline_.login(**user, password);
    const Name asked = (*user)->name;
    Verdict verdict = Verdict::accepted;
    try {
        verdict = store_->login(user, password);
    } catch (const LdapTrouble &trouble) {
        if (!begin(trouble, asked)) throw;
        if (EntryPtr kept = offline_.store()->findUser(asked)) *user = kept;
        return offline_.login(**user, password);
    } catch (...) {
        identity_.reset(); // what was read may be gone
        throw;
    }
    noteRefusal(verdict, asked, password);
    if (verdict == Verdict::accepted && login_is_locked(**user)) {
        identity_.reset();
        offline_.refused(asked); // the login finds that out itself
    } else if (verdict == Verdict::accepted) {
        identity_ = *user;
        offline_.keep(identity_, password);
        save();
    }
    return verdict;
}

void OfflineStore::save() {
    if (identity_ != nullptr) offline_.save(store_->allRead(), store_->groupsOf(*identity_));
}

void OfflineStore::logout() {
    identity_.reset();
    store_->logout();
    offline_.end();
}
