// What a store of a tree on servers offers beyond others, to those who keep copies of what was read (copies/).
#ifndef PLATFORM_CLIENT_CORE_SERVERS_STORE_H
#define PLATFORM_CLIENT_CORE_SERVERS_STORE_H

#include <cstddef>
#include <functional>
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

// Is told when the site has been read.
using SiteRead = std::function<void(const std::vector<EntryPtr> &site)>;

// Makes the store; `config` must outlive it. No server is asked yet.
using ServersStoreMaker = std::unique_ptr<ServersStore>(const ConfigTree &config, const Name &base,
                                                        SiteRead onSiteRead);

#endif
