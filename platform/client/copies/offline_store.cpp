#include "platform/client/copies/offline_store.h"

#include <algorithm>

#include "platform/catalogue.h"
#include "platform/client/core/login_check.h"

// Takes the copy. A server that cannot be reached is one thing, one that is not the site's own another.
bool OfflineStore::begin(const LdapTrouble &trouble, const Name &user) {
    return mayBegin(trouble) && offline_.begin(user);
}

// A program that runs in this one's place leaves no later moment to keep what was read.
EntryPtr OfflineStore::find(const Name &name, Aliases aliases) {
    const size_t before = store_->countRead();
    EntryPtr entry = current().find(name, aliases);
    if (entry != nullptr && store_->countRead() > before) save();
    return entry;
}

const OtherAttribute *OfflineStore::otherAttribute(const Entry &user, std::string_view name) {
    if (offline_.active()) return offline_.otherAttribute(user, name);
    const OtherAttribute *asked = store_->otherAttribute(user, name);
    const bool isOwn = identity_ != nullptr && name_equal(identity_->name, user.name);
    if (asked != nullptr && isOwn && offline_.keepOther(*asked)) save();
    return asked;
}

EntryPtr OfflineStore::findUser(const LoginName &name) {
    if (offline_.active()) return offline_.store()->findUser(name);
    typed_ = name;
    try {
        EntryPtr user = store_->findUser(name);
        if (user == nullptr)
            for (const Name &meant : offline_.meant(name)) offline_.refused(meant);
        return user;
    } catch (const LdapTrouble &trouble) {
        for (const Name &meant : offline_.meant(name))
            if (begin(trouble, meant)) return offline_.store()->find(meant, Aliases::follow);
        throw;
    }
}

// A password that was changed, an account that was locked: pulling the plug must not bring them back.
void OfflineStore::noteRefusal(const Verdict &verdict, const Name &user, const char *password) const {
    if (verdict.isOfAccount())
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
    std::vector<Name> asked = {(*user)->name};
    for (Name &meant : offline_.meant(typed_)) asked.push_back(std::move(meant));
    Verdict verdict = Verdict::accepted;
    try {
        verdict = store_->login(user, password);
    } catch (const LdapTrouble &trouble) {
        const auto kept =
            std::find_if(asked.begin(), asked.end(), [&](const Name &one) { return begin(trouble, one); });
        if (kept == asked.end()) throw;
        if (EntryPtr entry = offline_.store()->find(*kept, Aliases::follow)) *user = entry;
        return offline_.login(**user, password);
    } catch (...) {
        identity_.reset(); // what was read may be gone
        throw;
    }
    asked.push_back((*user)->name); // which may be known since the login only
    for (const Name &one : asked) noteRefusal(verdict, one, password);
    if (verdict == Verdict::accepted && login_is_locked(**user)) {
        identity_.reset();
        for (const Name &one : asked) offline_.refused(one); // the login finds that out itself
    } else if (verdict == Verdict::accepted) {
        identity_ = *user;
        offline_.keep(identity_, typed_, password);
        save();
    }
    return verdict;
}

// The copy takes the new password from now on, or none.
void OfflineStore::changePassword(const Entry &entry, const char *oldPassword, const char *newPassword) {
    if (offline_.active()) {
        throw CodedError(ZKE_DIRECTORY_UNREACHABLE,
                         catalogue_text("the password can only be changed at a server, and none answers"));
    }
    store_->changePassword(entry, oldPassword, newPassword);
    if (identity_ == nullptr || !name_equal(identity_->name, entry.name)) {
        for (const Name &meant : offline_.meant(typed_)) offline_.refused(meant);
        return offline_.refused(entry.name);
    }
    offline_.keep(identity_, typed_, newPassword);
    save();
}

void OfflineStore::save() {
    if (identity_ != nullptr) offline_.save(store_->allRead(), store_->groupsOf(*identity_));
}

void OfflineStore::logout() {
    identity_.reset();
    store_->logout();
    offline_.end();
}
