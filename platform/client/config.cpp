#include "platform/client/config.h"

#include <toml++/toml.h>
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "platform/client/errors.h"
#include "platform/client/names.h"
#include "platform/client/schema.h"
#include "platform/zk.h"

namespace {

constexpr const char *system_file = "/etc/opt/brasca/zk/client.toml";
constexpr size_t tree_name_limit = ZK_TREE_NAME_SIZE - 1;
constexpr size_t server_name_limit = ZK_SERVER_NAME_SIZE - 1;

// One table of the file: reads its keys by type, and refuses those that nobody asked for.
class Table {
  public:
    Table(const std::string &path, const toml::table &values) : file(path), table(values) {}

    [[noreturn]] void refuse(const toml::source_region &where, const std::string &why) const {
        throw DataError(file + ":" + std::to_string(where.begin.line) + ":" + std::to_string(where.begin.column) +
                        ": " + why);
    }

    [[noreturn]] void refuse(const char *key, const std::string &why) const {
        const toml::node *node = table.get(key);
        refuse(node == nullptr ? table.source() : node->source(), why);
    }

    std::string text(const char *key, const std::string &otherwise) {
        const toml::node *node = get(key);
        if (node == nullptr) {
            return otherwise;
        }
        return text_of(*node, key);
    }

    std::string required(const char *key, size_t limit) {
        std::string value = text(key, "");
        if (value.empty() || value.size() > limit) {
            refuse(key, std::string(key) + " must be there, with 1 to " + std::to_string(limit) + " bytes");
        }
        return value;
    }

    bool texts(const char *key, std::vector<std::string> *values) {
        const toml::node *node = get(key);
        if (node == nullptr) {
            return false;
        }
        if (!node->is_array()) {
            refuse(node->source(), std::string(key) + " must be a list of texts");
        }
        for (const toml::node &element : *node->as_array()) {
            values->push_back(text_of(element, key));
        }
        return true;
    }

    bool flag(const char *key, bool otherwise) {
        const toml::node *node = get(key);
        if (node != nullptr && !node->is_boolean()) {
            refuse(node->source(), std::string(key) + " must be true or false");
        }
        return node == nullptr ? otherwise : node->as_boolean()->get();
    }

    // Seconds, with or without a fraction.
    double seconds(const char *key, double otherwise) {
        const toml::node *node = get(key);
        std::optional<double> value = node == nullptr ? otherwise : node->value<double>();
        if (!value || !(*value > 0 && *value <= 3600)) {
            refuse(key, std::string(key) + " must be a number of seconds, above 0 and at most 3600");
        }
        return *value;
    }

    // A table of texts.
    std::vector<std::pair<std::string, std::string>> pairs(const char *key) {
        std::vector<std::pair<std::string, std::string>> found;
        const toml::node *node = get(key);
        if (node != nullptr && !node->is_table()) {
            refuse(node->source(), std::string(key) + " must be a table of texts");
        }
        if (node != nullptr) {
            for (auto &&[name, value] : *node->as_table()) {
                found.emplace_back(std::string(name.str()), text_of(value, key));
            }
        }
        return found;
    }

    bool has(const char *key) const { return table.get(key) != nullptr; }

    template <typename Each>
    void tables(const char *key, Each each) {
        const toml::node *node = get(key);
        if (node == nullptr) {
            return;
        }
        if (!node->is_array_of_tables()) {
            refuse(node->source(), std::string(key) + " must be written as [[" + key + "]]");
        }
        for (const toml::node &element : *node->as_array()) {
            Table one(file, *element.as_table());
            each(one);
            one.check_all_known();
        }
    }

    void check_all_known() const {
        for (auto &&[key, node] : table) {
            if (known.count(std::string(key.str())) == 0) {
                refuse(key.source(), "unknown key " + std::string(key.str()));
            }
        }
    }

  private:
    const toml::node *get(const char *key) {
        known.insert(key);
        return table.get(key);
    }

    std::string text_of(const toml::node &node, const char *key) const {
        if (!node.is_string()) {
            refuse(node.source(), std::string(key) + " must be a text");
        }
        const std::string &value = node.as_string()->get();
        if (value.find('\0') != std::string::npos) {
            refuse(node.source(), std::string(key) + " has a zero byte");
        }
        return value;
    }

    const std::string &file;
    const toml::table &table;
    std::set<std::string> known;
};

bool starts_with(const std::string &text, const char *start) {
    return text.compare(0, strlen(start), start) == 0;
}

void check_uris(const Table &table, const ConfigLdap &ldap) {
    if (ldap.uris.empty()) {
        table.refuse("uris", "uris must name at least one server");
    }
    for (const std::string &uri : ldap.uris) {
        bool known = starts_with(uri, "ldap://") || starts_with(uri, "ldaps://") || starts_with(uri, "ldapi://");
        if (!known || uri.find_first_of(" ?") != std::string::npos) {
            table.refuse("uris", uri + " is no URI of the form ldap://host:port, ldaps://host:port or ldapi://path");
        }
        if (ldap.external && !starts_with(uri, "ldapi://")) {
            table.refuse("sasl_external", "sasl_external works over ldapi only, not over " + uri);
        }
        if (ldap.gssapi && starts_with(uri, "ldapi://")) {
            table.refuse("sasl_gssapi", "sasl_gssapi works over ldap and ldaps, not over " + uri);
        }
    }
    if (ldap.gssapi && ldap.external) {
        table.refuse("sasl_gssapi", "either sasl_gssapi or sasl_external");
    }
    if ((ldap.gssapi || ldap.external) && ldap.offline) {
        table.refuse("offline", "offline logins need passwords, which sasl_gssapi and sasl_external do without");
    }
}

ConfigLdap read_ldap(Table &table, const std::string &folder) {
    ConfigLdap ldap;
    table.texts("uris", &ldap.uris);
    ldap.external = table.flag("sasl_external", ldap.external);
    ldap.gssapi = table.flag("sasl_gssapi", ldap.gssapi);
    ldap.offline = table.flag("offline", ldap.offline);
    check_uris(table, ldap);
    ldap.searchBase = table.text("search_base", "");
    Name searched;
    if (!name_parse_dn(ldap.searchBase, {}, &searched, nullptr)) {
        table.refuse("search_base", "malformed DN");
    }
    ldap.caFile = table.text("ca_file", ldap.caFile);
    if (ldap.caFile.empty() || ldap.caFile.front() != '/') {
        ldap.caFile = folder + ldap.caFile;
    }
    ldap.startTls = table.flag("start_tls", ldap.startTls);
    ldap.cleartextLoopback = table.flag("allow_cleartext_loopback", ldap.cleartextLoopback);
    ldap.timeLimit = table.seconds("time_limit", ldap.timeLimit);
    ldap.referrals = table.flag("referrals", ldap.referrals);
    ldap.retryAfter = table.seconds("retry_after", ldap.retryAfter);
    for (const auto &[name, site] : table.pairs("attributes")) {
        const SchemaAttribute *row = schema_find_ldap(name);
        if (row == nullptr || site.empty() ||
            !std::all_of(site.begin(), site.end(), [](unsigned char c) { return isalnum(c) != 0 || c == '-'; })) {
            table.refuse("attributes", name + " = \"" + site + "\": not an attribute of the client, or no LDAP name");
        }
        ldap.attributes[row->ldap] = site;
    }
    return ldap;
}

ConfigTree read_tree(Table &table, const std::string &folder, const std::vector<ConfigTree> &before) {
    ConfigTree tree;
    tree.name = table.required("name", tree_name_limit);
    if (tree.name.back() == '_') {
        table.refuse("name", "the name of a tree does not end in \"_\"");
    }
    for (const ConfigTree &other : before) {
        if (equal_nocase(other.name, tree.name)) {
            table.refuse("name", "the tree " + tree.name + " is there already");
        }
    }
    if (table.has("uris") && table.has("ldif")) {
        table.refuse("uris", "a tree is an LDIF file (ldif) or on servers (uris), not both");
    } else if (table.has("uris")) {
        tree.ldap = read_ldap(table, folder);
        tree.shown = tree.name;
    } else {
        tree.shown = table.required("ldif", 4096);
        tree.ldif = tree.shown.front() == '/' ? tree.shown : folder + tree.shown;
    }
    tree.base = table.text("base", "");
    Name base;
    if (!name_parse_dn(tree.base, {}, &base, nullptr)) {
        table.refuse("base", "malformed DN");
    }
    tree.defaultServer = table.text("default_server", "");
    return tree;
}

ConfigServer read_server(Table &table) {
    ConfigServer server;
    server.name = table.required("name", server_name_limit);
    server.anyVolume = !table.texts("volumes", &server.volumes);
    table.tables("user", [&](Table &user) {
        server.users.push_back({user.required("name", ZK_MAX_NAME), user.required("password", 1024)});
    });
    return server;
}

void check_default_tree(Table &top, const Config &config) {
    for (const ConfigTree &tree : config.trees) {
        if (equal_nocase(tree.name, config.defaultTree)) {
            return;
        }
    }
    if (!config.defaultTree.empty()) {
        top.refuse("default_tree", "there is no tree " + config.defaultTree);
    }
}

Config read_config(const std::string &path, const toml::table &parsed) {
    Config config;
    Table top(path, parsed);
    std::string folder = path.substr(0, path.rfind('/') + 1);
    config.defaultTree = top.text("default_tree", "");
    config.linkDirectory = top.text("link_directory", config.linkDirectory);
    config.mountPoint = top.text("mount_point", config.mountPoint);
    if (config.mountPoint.empty() || config.mountPoint.front() != '/') {
        top.refuse("mount_point", "mount_point must be an absolute path");
    }
    config.trace = top.flag("trace", config.trace);
    top.tables("tree", [&](Table &tree) { config.trees.push_back(read_tree(tree, folder, config.trees)); });
    top.tables("server", [&](Table &server) { config.servers.push_back(read_server(server)); });
    top.check_all_known();
    check_default_tree(top, config);
    return config;
}

} // namespace

std::string config_path() {
    const char *named = secure_getenv("ZKCLIENT_CONF");
    return named != nullptr && *named != '\0' ? named : system_file;
}

Config config_load(const std::string &path) {
    errno = 0;
    std::ifstream file(path);
    if (!file) {
        error_keep((path + ": cannot open the configuration: " + strerror(errno)).c_str());
        if (errno != ENOENT) {
            throw DataError(error_kept());
        }
        return Config();
    }
    std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (file.bad()) {
        throw DataError(path + ": cannot read the configuration");
    }
    try {
        // Without the path: the parser copies it where it must not throw, and would end the process without memory.
        return read_config(path, toml::parse(std::string_view(text)));
    } catch (const toml::parse_error &error) {
        throw DataError(path + ":" + std::to_string(error.source().begin.line) + ":" +
                        std::to_string(error.source().begin.column) + ": " + std::string(error.description()));
    }
}
