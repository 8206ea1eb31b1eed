// The trees of the configuration, each with its directory, loaded when the tree is first used, and with the identity
// that the process is logged in with.
#ifndef PLATFORM_CLIENT_SESSION_TREES_H
#define PLATFORM_CLIENT_SESSION_TREES_H

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/client/core/config.h"
#include "platform/client/core/directory_store.h"

struct Tree {
    ConfigTree config;
    std::unique_ptr<DirectoryStore> store; // null until tree_load
    EntryPtr identity;                     // the user who is logged in, or null; set by interface/identity.cpp
    Verdict verdict;                       // of that login
    bool openedUnasked = false; // session/connections.cpp: by its name alone, since its directory could not be asked
};

// Reads the configuration unless one has been read that has trees or servers. Throws DataError.
void trees_configure();

// The configuration, read when need be. Throws DataError.
const Config &trees_config();

const std::vector<std::unique_ptr<Tree>> &trees_all();

// By name, in any letter case, padded with "_" or not; null when there is none.
Tree *tree_find(std::string_view name);

// The tree that is meant when none is named: the preferred one, otherwise the configuration's default, otherwise the
// first one. Null without trees.
Tree *tree_default();
void tree_prefer(Tree *tree);

// The store of a tree on LDAP servers: the servers, before them the copy of the site, and around both, where the
// configuration wants it, the copy for work offline. `config` must outlive it. No server is asked yet.
std::unique_ptr<DirectoryStore> tree_ldap_store(const ConfigTree &config, const Name &base);

// Makes sure that the tree's directory is loaded: an LDIF file is read, LDAP servers are not asked yet. Throws
// DataError.
void tree_load(Tree *tree);

// Scripts follow, which may turn to any tree: what the trees need of the environment is read now.
void trees_settle();

// The name with all types when the user who is logged in to the tree, or a container above the user, fits it; otherwise
// the name itself. Names are returned without types, and one such name may fit several objects or none.
Name tree_meant_name(const Tree &tree, const Name &name);

// The server that the configuration names for the tree, otherwise the first one; null when the tree has no file server.
// The tree is loaded. Throws DataError for a name that no server has, CodedError when the directory cannot be asked.
EntryPtr tree_default_server(const Tree &tree);

#endif
