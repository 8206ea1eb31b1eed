#include "platform/client/session/trees.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "platform/catalogue.h"
#include "platform/client/copies/offline_store.h"
#include "platform/client/copies/site_copy_store.h"
#include "platform/client/core/errors.h"
#include "platform/client/core/start_environment.h"
#include "platform/client/ldif/store.h"
#include "platform/client/overlay/overlay_store.h"
#include "platform/client/session/ldap_module.h"
#include "platform/zk.h"

namespace {

struct Network {
    bool configured = false;
    Config config;
    std::vector<std::unique_ptr<Tree>> trees;
    Tree *preferred = nullptr;
};

} // namespace

static Network &network() {
    static Network theNetwork;
    return theNetwork;
}

// Reports, where the administrator asked for it, how long a login has waited for the file.
static std::unique_ptr<DirectoryStore> load_file(const ConfigTree &config, const Name &base) {
    auto start = std::chrono::steady_clock::now();
    size_t objects = 0;
    LdifOptions options;
    options.anyName = config.anyText;
    options.nestedGroups = config.nestedGroups;
    options.timeLimit = config.ldap.timeLimit;
    if (!config.loginAttributes.empty()) options.loginAttributes = config.loginAttributes;
    std::unique_ptr<DirectoryStore> store = ldif_store_load(config.ldif, config.shown, base, &objects, options);
    std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    if (network().config.trace) {
        fprintf(stderr, "Tree %s: %zu objects read from %s in %.3f s.\n", config.name.c_str(), objects,
                config.shown.c_str(), took.count());
    }
    return store;
}

void trees_configure() {
    start_environment_keep();
    if (network().configured) return;
    Config config = config_load(config_path());
    std::vector<std::unique_ptr<Tree>> trees;
    for (const ConfigTree &one : config.trees) {
        trees.push_back(std::make_unique<Tree>());
        trees.back()->config = one;
    }
    // Without a file the next call looks again: nothing can hold on to a tree yet.
    network().configured = !trees.empty() || !config.servers.empty();
    network().config = std::move(config);
    network().trees = std::move(trees);
}

const Config &trees_config() {
    trees_configure();
    return network().config;
}

const std::vector<std::unique_ptr<Tree>> &trees_all() {
    trees_configure();
    return network().trees;
}

Tree *tree_find(std::string_view name) {
    std::string_view unpadded = name;
    while (!unpadded.empty() && unpadded.back() == '_') unpadded.remove_suffix(1);
    for (const std::unique_ptr<Tree> &tree : trees_all())
        if (equal_nocase(tree->config.name, unpadded)) return tree.get();
    return nullptr;
}

Tree *tree_default() {
    const std::vector<std::unique_ptr<Tree>> &trees = trees_all();
    if (network().preferred != nullptr) return network().preferred;
    Tree *named = tree_find(network().config.defaultTree);
    return named != nullptr || trees.empty() ? named : trees.front().get();
}

void tree_prefer(Tree *tree) {
    network().preferred = tree;
}

std::unique_ptr<DirectoryStore> tree_ldap_store(const ConfigTree &config, const Name &base) {
    auto store = std::make_unique<SiteCopyStore>(config, base, ldap_module_store);
    if (!config.ldap.offline) return store;
    return std::make_unique<OfflineStore>(std::move(store), config);
}

void tree_load(Tree *tree) {
    if (tree->store != nullptr) return;
    Name base;
    name_parse_dn(tree->config.base, {}, &base, nullptr); // the configuration was refused if it is malformed
    const bool isOnServers = tree->config.ldap.hasServers();
    std::unique_ptr<DirectoryStore> store =
        isOnServers ? tree_ldap_store(tree->config, base) : load_file(tree->config, base);
    if (!tree->config.scripts.empty()) store = std::make_unique<OverlayStore>(std::move(store), tree->config);
    tree->store = std::move(store);
    if (isOnServers) return;
    try {
        tree_default_server(*tree);
    } catch (const DataError &) {
        tree->store.reset();
        throw;
    }
}

void trees_settle() {
    const std::vector<std::unique_ptr<Tree>> &trees = trees_all();
    if (std::any_of(trees.begin(), trees.end(), [](const auto &tree) { return tree->config.ldap.hasServers(); }))
        ldap_module_load();
}

Name tree_meant_name(const Tree &tree, const Name &name) {
    if (tree.identity == nullptr || name.size() > tree.identity->name.size()) return name;
    Name own = name_above(tree.identity->name, tree.identity->name.size() - name.size());
    return name_equal(name, own) ? own : name;
}

EntryPtr tree_default_server(const Tree &tree) {
    const std::string &name = tree.config.defaultServer;
    EntryPtr server = tree.store->findServer(name);
    if (server == nullptr && !name.empty())
        throw DataError(tree.config.shown + ": " + catalogue_format("the tree has no server %s", name.c_str()));
    return server;
}
