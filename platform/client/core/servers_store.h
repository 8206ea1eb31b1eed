// What a store of a tree on servers offers beyond others, to those who keep copies of what was read (copies/).
#ifndef PLATFORM_CLIENT_CORE_SERVERS_STORE_H
#define PLATFORM_CLIENT_CORE_SERVERS_STORE_H

#include <cstddef>
#include <memory>
#include <vector>

#include "platform/client/core/config.h"
#include "platform/client/core/directory_store.h"

class ServersStore : public DirectoryStore {
  public:
    // When no server gave an answer: was one of them, or of those referred to, not certain to be the site's own?
    virtual bool haveDistrusted() const = 0;
    // Whether the site has been read since the last login or logout.
    virtual bool hasReadSite() const = 0;
    // All that has been read since then, the site first, and how many objects that are.
    virtual std::vector<EntryPtr> allRead() const = 0;
    virtual size_t countRead() const = 0;
};

// Who keeps a copy of the site.
class SiteKeeper {
  public:
    virtual ~SiteKeeper() = default;
    // The site has been read, by a user as the user's entry shows it, or by nobody (null).
    virtual void keepSite(const std::vector<EntryPtr> &site, const EntryPtr &reader) = 0;
    // Does the copy serve this user, who is logging in? The site need not be read then.
    virtual bool servesLogin(const Entry &user) = 0;
    // Whose login has read the site last: an entry of which the name and the profile of then are there. Null: not
    // known.
    virtual EntryPtr lastReader() = 0;
};

// Makes the store; `config` and `keeper` must outlive it. No server is asked yet.
using ServersStoreMaker = std::unique_ptr<ServersStore>(const ConfigTree &config, const Name &base, SiteKeeper *keeper);

#endif
