// The client's configuration file, and what is done with what it says.
//
//     input ::= file [ NUL data ]          data: of each LDIF file that it names
//
// No server takes a connection.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/client/core/errors.h"
#include "platform/client/session/trees.h"
#include "platform/zk.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/world/files.h"
#include "tests/fuzz/world/network.h"
#include "tests/fuzz/world/process.h"
#include "tests/fuzz/world/results.h"

static constexpr size_t most_used = 4; // trees, and servers
static constexpr const char *file_path = "/fuzz/client.toml";
static std::string_view file, data_file;

static std::optional<std::string_view> the_files(const char *path) {
    if (strcmp(path, file_path) == 0) return file;
    return strstr(path, "none") ? std::nullopt : std::optional(data_file);
}

static int refuse(int) {
    return ECONNREFUSED;
}
static const NetworkPeer nobody = {refuse, nullptr, nullptr};

// A configuration that has been read stays for the process: there is one to begin with.
static bool prepare() {
    file = "[[server]]\nname = \"S\"\n";
    process_start();
    process_set("ZKCLIENT_CONF", file_path);
    files_content = the_files;
    network_peer = &nobody;
    stderr = files_sink();
    FUZZ_CHECK(ZKCallsInit(nullptr, nullptr) == ZK_OK);
    return true;
}

static bool is_text(const std::string &text, size_t limit) {
    return text.size() <= limit && text.find('\0') == text.npos;
}

static bool is_name(const std::string &text, size_t limit) {
    return !text.empty() && is_text(text, limit);
}

static bool begins(const std::string &text, std::string_view start) {
    return text.compare(0, start.size(), start) == 0;
}

static void check_ldap(const ConfigLdap &ldap) {
    for (const std::string &uri : ldap.uris) {
        FUZZ_CHECK(begins(uri, "ldap://") || begins(uri, "ldaps://") || begins(uri, "ldapi://"));
        FUZZ_CHECK(uri.find_first_of(std::string_view(" ?\0", 3)) == uri.npos);
        FUZZ_CHECK(!ldap.external || begins(uri, "ldapi://"));
        FUZZ_CHECK(!ldap.gssapi || !begins(uri, "ldapi://"));
    }
    FUZZ_CHECK(ldap.srvName.empty() || (ldap.uris.empty() && ldap.startTls && !ldap.external));
    FUZZ_CHECK(ldap.srvName.find_first_of(std::string_view(" /?:\0", 5)) == ldap.srvName.npos);
    for (const std::string &uri : ldap.referralServers) FUZZ_CHECK(begins(uri, "ldap://") || begins(uri, "ldaps://"));
    FUZZ_CHECK(ldap.timeLimit > 0 && ldap.timeLimit <= 3600);
    FUZZ_CHECK(ldap.retryAfter > 0 && ldap.retryAfter <= 3600);
    FUZZ_CHECK(ldap.offlineDays > 0 && ldap.offlineDays <= 3650);
    FUZZ_CHECK(ldap.needsPassword() || !ldap.offline);
    FUZZ_CHECK(begins(ldap.caFile, "/") && is_text(ldap.caFile, SIZE_MAX));
    for (const auto &[ours, theirs] : ldap.attributes) {
        FUZZ_CHECK(schema_find_ldap(ours) && ours != "userPassword" && ours != "objectClass");
        FUZZ_CHECK(!theirs.empty() && std::all_of(theirs.begin(), theirs.end(), [](char c) {
            return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-';
        }));
    }
}

static void check_config(const Config &config) {
    bool known = config.defaultTree.empty();
    for (const ConfigTree &tree : config.trees) {
        FUZZ_CHECK(is_name(tree.name, ZK_TREE_NAME_SIZE - 1) && tree.name.back() != '_');
        FUZZ_CHECK(std::count_if(config.trees.begin(), config.trees.end(),
                                 [&](const ConfigTree &other) { return equal_nocase(other.name, tree.name); }) == 1);
        FUZZ_CHECK(tree.ldif.empty() == tree.ldap.hasServers());
        FUZZ_CHECK(tree.ldif.empty() || begins(tree.ldif, "/"));
        Name base;
        FUZZ_CHECK(name_parse_dn(tree.base, {}, &base, nullptr));
        check_ldap(tree.ldap);
        known = known || equal_nocase(tree.name, config.defaultTree);
    }
    FUZZ_CHECK(known);
    for (const ConfigServer &server : config.servers) {
        FUZZ_CHECK(is_name(server.name, ZK_SERVER_NAME_SIZE - 1));
        FUZZ_CHECK(!server.anyVolume || server.volumes.empty());
        for (const std::string &volume : server.volumes) FUZZ_CHECK(is_text(volume, SIZE_MAX));
        for (const ConfigUser &user : server.users) FUZZ_CHECK(is_text(user.name, SIZE_MAX));
    }
}

// What is refused is refused with file, line and column.
static void check_refusal(const std::string &path, const std::string &why) {
    FUZZ_CHECK(begins(why, path + ":"));
    size_t at = path.size() + 1;
    for (const char end : {':', ':'}) {
        const size_t digits = why.find_first_not_of("0123456789", at);
        FUZZ_CHECK(digits != why.npos && digits > at && why[digits] == end);
        at = digits + 1;
    }
    FUZZ_CHECK(why.size() > at + 1 && why[at] == ' ');
}

// As a process that has read this file would have it.
static void install(const Config &config) {
    auto &trees = const_cast<std::vector<std::unique_ptr<Tree>> &>(trees_all());
    trees.clear();
    for (const ConfigTree &one : config.trees) {
        trees.push_back(std::make_unique<Tree>());
        trees.back()->config = one;
    }
    const_cast<Config &>(trees_config()) = config;
}

static void use_tree(uint32_t context, const std::string &name) {
    char back[ZK_MAX_NAME + 1], distinguished[ZK_MAX_NAME + 1];
    int needed = 0;
    const std::string padded = name + "____";
    FUZZ_CHECK(ZKSetPreferredDSTree(static_cast<uint16_t>(padded.size()), padded.c_str()) == ZK_OK);
    if (result_code(ZKDSSetContext(context, DCK_TREE_NAME, name.c_str())) == ZK_OK) {
        FUZZ_CHECK(ZKDSGetContext(context, DCK_TREE_NAME, back) == ZK_OK && name == back);
        result_code(ZKDSLoginNeedsPassword(context, &needed));
        result_code(ZKDSReadObjectInfo(context, "jdoe.sales", distinguished, nullptr));
    }
    result_check_server(name.c_str(), "jdoe.sales", "sunflower");
    result_check_error_text();
}

static void use_server(const ConfigServer &server) {
    const ConfigUser user = server.users.empty() ? ConfigUser{"jdoe", ""} : server.users.front();
    result_check_server(server.name.c_str(), user.name.c_str(), "sunflower");
    if (!server.volumes.empty()) result_check_path((server.name + "/" + server.volumes.front() + ":public").c_str());
    result_check_error_text();
}

static void use(const Config &config) {
    uint32_t context = 0, size = 0;
    FUZZ_CHECK(ZKDSCreateContextHandle(&context) == ZK_OK);
    for (size_t i = 0; i < config.trees.size() && i < most_used; i++) use_tree(context, config.trees[i].name);
    for (size_t i = 0; i < config.servers.size() && i < most_used; i++) use_server(config.servers[i]);
    result_check_path("SYS:public");
    result_code(ZKGetMappedDrives(nullptr, &size));
    FUZZ_CHECK(ZKDSFreeContext(context) == ZK_OK);
    results_close_connections();
    tree_prefer(nullptr);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const bool prepared = prepare();
    FUZZ_CHECK(prepared);
    data_file = fuzz_view(data, size);
    file = fuzz_take(data_file, '\0');
    try {
        const Config config = config_load(file_path);
        check_config(config);
        install(config);
        use(config);
        install({});
    } catch (const DataError &error) {
        check_refusal(file_path, error.what());
    }
    files_check_closed();
    network_check_closed();
    return 0;
}
