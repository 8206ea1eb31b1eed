#include "platform/client/core/config.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "platform/catalogue.h"
#include "platform/client/core/config_table.h"
#include "platform/client/core/descriptor.h"
#include "platform/client/core/errors.h"
#include "platform/client/core/names.h"
#include "platform/client/core/presets.h"
#include "platform/client/core/schema.h"
#include "platform/client/core/toml.h"
#include "platform/client/core/values.h"
#include "platform/common/location.h"
#include "platform/common/volume_source.h"
#include "platform/zk.h"

static constexpr const char *system_file = "/etc/opt/brasca/zk/client.toml";
// The same in every locale.
static constexpr const char *ldap_name_characters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-";
static constexpr size_t file_limit = size_t{16} * 1024 * 1024;
static constexpr size_t tree_name_limit = ZK_TREE_NAME_SIZE - 1;
static constexpr size_t server_name_limit = ZK_SERVER_NAME_SIZE - 1;
static constexpr size_t volume_name_limit = 64;

static bool starts_with(const std::string &text, const char *start) {
    return text.compare(0, strlen(start), start) == 0;
}

// Labels of at most 63 letters, digits and hyphens; those of a service begin with "_", and others follow. Names of DNS
// have at most 253 bytes, of which some are for the services that are asked for.
static bool is_domain(const std::string &name) {
    constexpr size_t longest = 253 - std::string_view("_ldap._tcp.dc._msdcs.").size(), longest_label = 63;
    size_t start = 0;
    bool isService = true;
    for (size_t end = 0; end != name.npos; start = end + 1) {
        end = name.find('.', start);
        const std::string label = name.substr(start, end == name.npos ? end : end - start);
        isService = starts_with(label, "_");
        const std::string letters = label.substr(isService ? 1 : 0);
        if (letters.empty() || label.size() > longest_label ||
            letters.find_first_not_of(ldap_name_characters) != letters.npos)
            return false;
    }
    return name.size() <= longest && !isService;
}

// No connection without TLS becomes possible by an answer of DNS.
static void read_srv(ConfigTable &table, ConfigLdap *ldap) {
    constexpr const char *start = "srv:";
    const std::string text = table.text("servers", "");
    if (!starts_with(text, start) || !is_domain(text.substr(strlen(start))))
        table.refuse("servers", catalogue_text("servers must be \"srv:\" and the name of a domain"));
    if (table.has("start_tls") && !ldap->startTls)
        table.refuse("start_tls", catalogue_text("servers found by DNS are asked over TLS only"));
    if (ldap->external)
        table.refuse("sasl_external", catalogue_format("sasl_external requires an ldapi:// URI, not %s", text.c_str()));
    ldap->srvName = text.substr(strlen(start));
    ldap->startTls = true;
}

static void check_uris(const ConfigTable &table, const ConfigLdap &ldap) {
    if (!ldap.hasServers()) table.refuse("uris", catalogue_text("uris must name at least one server"));
    if (ldap.gssapi && ldap.external)
        table.refuse("sasl_gssapi", catalogue_text("sasl_gssapi and sasl_external are mutually exclusive"));
    for (const std::string &uri : ldap.uris) {
        bool known = starts_with(uri, "ldap://") || starts_with(uri, "ldaps://") || starts_with(uri, "ldapi://");
        if (!known || uri.find_first_of(" ?") != std::string::npos) {
            table.refuse("uris", catalogue_format(
                                     "%s is not a URI of the form ldap://host:port, ldaps://host:port or ldapi://path",
                                     uri.c_str()));
        }
        if (ldap.external && !starts_with(uri, "ldapi://")) {
            table.refuse("sasl_external",
                         catalogue_format("sasl_external requires an ldapi:// URI, not %s", uri.c_str()));
        }
        if (ldap.gssapi && starts_with(uri, "ldapi://")) {
            table.refuse("sasl_gssapi",
                         catalogue_format("sasl_gssapi requires an ldap:// or ldaps:// URI, not %s", uri.c_str()));
        }
    }
    if ((ldap.gssapi || ldap.external) && ldap.offline) {
        table.refuse(
            "offline",
            catalogue_text("offline requires passwords and cannot be combined with sasl_gssapi or sasl_external"));
    }
}

static bool is_ldap_name(const std::string &name) {
    return !name.empty() && name.find_first_not_of(ldap_name_characters) == std::string::npos;
}

// `key`: which of the file's keys says so.
static void rename_attribute(const ConfigTable &table, const char *key, const std::string &name,
                             const std::string &site, ConfigLdap *ldap) {
    const SchemaAttribute *row = schema_find_ldap(name);
    if (row == nullptr || !is_ldap_name(site)) {
        table.refuse(key, catalogue_format("%1$s = \"%2$s\": unknown attribute or invalid LDAP attribute name",
                                           name.c_str(), site.c_str()));
    }
    // Passwords are never read, and objects are distinguished by the one class attribute that LDAP has.
    if (equal_nocase(row->ldap, "userPassword") || equal_nocase(row->ldap, "objectClass"))
        table.refuse(key, catalogue_format("%s cannot be renamed", row->ldap));
    if (ldap->schema != SitePreset::automatic && preset_has(ldap->schema, *row, site)) {
        table.refuse(key, catalogue_format("%1$s = \"%2$s\" changes nothing: the schema has that name", name.c_str(),
                                           site.c_str()));
    }
    if (!ldap->attributes.emplace(row->ldap, site).second)
        table.refuse(key, catalogue_format("%s is given twice", row->ldap));
}

static void read_attributes(ConfigTable &table, ConfigLdap *ldap) {
    for (const auto &[name, site] : table.pairs("attributes")) rename_attribute(table, "attributes", name, site, ldap);
    constexpr const char *script = "login_script_attribute";
    const std::string site = table.text(script, "");
    if (table.has(script)) rename_attribute(table, script, "qrtLoginScript", site, ldap);
}

static void read_classes(ConfigTable &table, std::map<std::string, std::string> *classes) {
    for (const auto &[name, site] : table.pairs("classes")) {
        if (schema_class_name(name) == name || !is_ldap_name(site)) {
            table.refuse("classes", catalogue_format("%1$s = \"%2$s\": unknown class or invalid LDAP class name",
                                                     name.c_str(), site.c_str()));
        }
        if (schema_class_name(site) == schema_class_name(name)) {
            table.refuse("classes", catalogue_format("%1$s = \"%2$s\" changes nothing: the schema has that class",
                                                     name.c_str(), site.c_str()));
        }
        classes->emplace(name, site);
    }
}

static void read_homes(ConfigTable &table, ConfigLdap *ldap) {
    ldap->homeVolume = table.text("home_volume", "");
    ldap->homePrefix = table.text("home_prefix", ldap->homeVolume.empty() ? "" : "/home");
    try {
        if (!ldap->homeVolume.empty()) value_parse(ZK_SYNTAX_PATH, "//" + ldap->homeVolume, {});
    } catch (const DataError &) {
        table.refuse("home_volume", catalogue_text("home_volume must be a server and a volume, \"SRV1/HOME\""));
    }
    if (ldap->homeVolume.empty() && !ldap->homePrefix.empty())
        table.refuse("home_prefix", catalogue_text("home_prefix needs home_volume"));
    if (!ldap->homePrefix.empty() && ldap->homePrefix.front() != '/')
        table.refuse("home_prefix", catalogue_text("home_prefix must begin with \"/\""));
}

static void read_schema(ConfigTable &table, ConfigLdap *ldap) {
    const std::string name = table.text("schema", preset_name(ldap->schema));
    const std::optional<SitePreset> preset = preset_of(name);
    if (!preset) {
        table.refuse("schema", catalogue_format("unknown schema %s: brasca, rfc2307, rfc2307bis, ad and auto are known",
                                                name.c_str()));
    }
    ldap->schema = *preset;
    read_attributes(table, ldap);
    read_classes(table, &ldap->classes);
    read_homes(table, ldap);
}

// Anyone who may write a referral object chooses the server that is asked, and any public authority certifies one.
static void check_referrals(const ConfigTable &table, const ConfigLdap &ldap) {
    if (ldap.referrals && !table.has("ca_file")) {
        table.refuse("referrals",
                     catalogue_text("referrals needs ca_file: only the site's own authority can identify its servers"));
    }
    for (const std::string &uri : ldap.referralServers) {
        bool known = starts_with(uri, "ldap://") || starts_with(uri, "ldaps://");
        if (!known || uri.find_first_of(" ?") != std::string::npos) {
            table.refuse(
                "referral_servers",
                catalogue_format("%s is not a URI of the form ldap://host:port or ldaps://host:port", uri.c_str()));
        }
    }
}

static ConfigLdap read_ldap(ConfigTable &table, const std::string &folder) {
    ConfigLdap ldap;
    table.texts("uris", &ldap.uris);
    ldap.external = table.flag("sasl_external", ldap.external);
    ldap.gssapi = table.flag("sasl_gssapi", ldap.gssapi);
    ldap.offline = table.flag("offline", ldap.offline);
    ldap.offlineDays = table.days("offline_days", ldap.offlineDays);
    ldap.startTls = table.flag("start_tls", ldap.startTls);
    if (table.has("servers")) read_srv(table, &ldap);
    check_uris(table, ldap);
    ldap.searchBase = table.text("search_base", "");
    Name searched;
    if (!name_parse_dn(ldap.searchBase, {}, &searched, nullptr))
        table.refuse("search_base", catalogue_text("malformed DN"));
    ldap.caFile = table.text("ca_file", ldap.caFile);
    ldap.ownAuthority = table.has("ca_file");
    if (ldap.caFile.empty() || ldap.caFile.front() != '/') ldap.caFile = folder + ldap.caFile;
    ldap.localOwner = table.text("ldapi_owner", ldap.localOwner);
    ldap.cleartextLoopback = table.flag("allow_cleartext_loopback", ldap.cleartextLoopback);
    ldap.timeLimit = table.seconds("time_limit", ldap.timeLimit);
    ldap.referrals = table.flag("referrals", ldap.referrals);
    table.texts("referral_servers", &ldap.referralServers);
    check_referrals(table, ldap);
    ldap.retryAfter = table.seconds("retry_after", ldap.retryAfter);
    read_schema(table, &ldap);
    return ldap;
}

// What users type to log in.
static void read_login_names(ConfigTable &table, ConfigTree *tree) {
    tree->defaultContext = table.text("default_context", "");
    Name context;
    if (!tree->defaultContext.empty() && !name_parse_dotted(tree->defaultContext, {}, &context))
        table.refuse("default_context", catalogue_text("malformed name"));
    table.texts("login_attributes", &tree->loginAttributes);
    for (const std::string &name : tree->loginAttributes) {
        const SchemaAttribute *row = schema_find_ldap(name);
        const bool isSecret = row != nullptr && equal_nocase(row->ldap, "userPassword");
        if (!is_ldap_name(name) || isSecret || (!tree->ldif.empty() && row == nullptr))
            table.refuse("login_attributes", catalogue_format("%s cannot name users", name.c_str()));
    }
    tree->ldap.loginAttributes = tree->loginAttributes;
}

static ConfigTree read_tree(ConfigTable &table, const std::string &folder, const std::vector<ConfigTree> &before) {
    ConfigTree tree;
    tree.name = table.required("name", tree_name_limit);
    if (tree.name.back() == '_') table.refuse("name", catalogue_text("a tree name must not end in \"_\""));
    for (const ConfigTree &other : before)
        if (equal_nocase(other.name, tree.name))
            table.refuse("name", catalogue_format("tree %s is already defined", tree.name.c_str()));
    if (table.has("uris") && table.has("ldif")) {
        table.refuse("uris", catalogue_text("a tree cannot have both ldif and uris"));
    } else if (table.has("servers") && (table.has("uris") || table.has("ldif"))) {
        table.refuse("servers", catalogue_text("a tree cannot have both servers and ldif or uris"));
    } else if (table.has("uris") || table.has("servers")) {
        tree.ldap = read_ldap(table, folder);
        tree.shown = tree.name;
    } else if (!table.has("ldif")) {
        table.refuse("ldif", catalogue_format("tree %s has neither ldif nor uris", tree.name.c_str()));
    } else {
        tree.shown = table.required("ldif", 4096);
        tree.ldif = tree.shown.front() == '/' ? tree.shown : folder + tree.shown;
    }
    tree.base = table.text("base", "");
    Name base;
    if (!name_parse_dn(tree.base, {}, &base, nullptr)) table.refuse("base", catalogue_text("malformed DN"));
    Name searched;
    if (!tree.ldap.searchBase.empty() && !name_parse_dn(tree.ldap.searchBase, base, &searched, nullptr))
        table.refuse("search_base", catalogue_text("search_base must be base or below it"));
    tree.defaultServer = table.text("default_server", "");
    read_login_names(table, &tree);
    tree.nestedGroups = table.flag("nested_groups", tree.nestedGroups);
    tree.flatGroups = table.flag("flat_groups", tree.flatGroups);
    tree.allAttributes = table.flag("all_attributes", tree.ldap.schema != SitePreset::brasca);
    if (table.has("scripts")) tree.scripts = table.required("scripts", 4096);
    if (!tree.scripts.empty() && tree.scripts.front() != '/') tree.scripts.insert(0, folder);
    tree.warnDays = table.daysOrNone("warn_days", tree.warnDays);
    tree.sharePassword = table.flag("share_password", tree.sharePassword);
    tree.anyText = table.flag("any_text", tree.anyText);
    tree.anyPath = table.flag("any_path", tree.anyPath);
    return tree;
}

static ConfigServer read_server(ConfigTable &table) {
    ConfigServer server;
    server.name = table.required("name", server_name_limit);
    server.anyVolume = !table.texts("volumes", &server.volumes);
    table.tables("user", [&](ConfigTable &user) {
        server.users.push_back({user.required("name", ZK_MAX_NAME), user.required("password", 1024)});
    });
    return server;
}

static ConfigVolume read_volume(ConfigTable &table, const std::vector<ConfigVolume> &before) {
    ConfigVolume volume;
    volume.server = table.required("server", server_name_limit);
    volume.name = table.required("name", volume_name_limit);
    if (!is_folder_name(volume.server) || !is_folder_name(volume.name))
        table.refuse("name", catalogue_text("invalid server or volume name"));
    for (const ConfigVolume &other : before)
        if (equal_nocase(other.server, volume.server) && equal_nocase(other.name, volume.name))
            table.refuse("name", catalogue_format("volume %1$s/%2$s is already defined", volume.server.c_str(),
                                                  volume.name.c_str()));
    std::string why;
    volume.source = table.required("source", volume_source_limit);
    const std::optional<VolumeSource> source = volume_source_parse(volume.source, &why);
    if (!source) table.refuse("source", why);
    volume.options = table.text("options", "");
    if (!volume_options_parse(source->kind, volume.options, &why)) table.refuse("options", why);
    return volume;
}

static ConfigAutomount read_automount(ConfigTable &table) {
    ConfigAutomount automount;
    std::string why;
    table.texts("hosts", &automount.hosts);
    for (const std::string &host : automount.hosts)
        if (!volume_host_is_valid(host))
            table.refuse("hosts", catalogue_format("%s is not a host or .DOMAIN", host.c_str()));
    table.texts("folders", &automount.folders);
    for (std::string &folder : automount.folders) {
        const std::optional<VolumeSource> source = volume_source_parse(folder, &why);
        if (!source || source->kind != VolumeSource::Kind::local)
            table.refuse("folders", catalogue_format("%s is not an absolute path", folder.c_str()));
        folder = source->path;
    }
    automount.smbOptions = table.text("smb_options", automount.smbOptions);
    if (!volume_options_parse(VolumeSource::Kind::smb, automount.smbOptions, &why)) table.refuse("smb_options", why);
    automount.timeLimit = table.seconds("time_limit", automount.timeLimit);
    automount.refresh = table.seconds("refresh", automount.refresh);
    automount.credentials = table.flag("credentials", automount.credentials);
    return automount;
}

// A volume that is configured is there for scripts even if no tree and no [[server]] has its server.
static void add_servers_of_volumes(Config *config) {
    for (const ConfigVolume &volume : config->volumes) {
        auto known = std::find_if(config->servers.begin(), config->servers.end(),
                                  [&](const ConfigServer &server) { return equal_nocase(server.name, volume.server); });
        if (known == config->servers.end()) {
            config->servers.push_back({volume.server, false, false, {}, {}});
            known = config->servers.end() - 1;
        }
        const bool listed = std::any_of(known->volumes.begin(), known->volumes.end(),
                                        [&](const std::string &one) { return equal_nocase(one, volume.name); });
        if (!listed) known->volumes.push_back(volume.name);
    }
}

static bool read_mount(ConfigTable &top) {
    const std::string way = top.text("mount", "autofs");
    if (way != "autofs" && way != "link")
        top.refuse("mount", catalogue_format("mount must be \"autofs\" or \"link\", not \"%s\"", way.c_str()));
    return way == "link";
}

static void check_default_tree(const ConfigTable &top, const Config &config) {
    for (const ConfigTree &tree : config.trees)
        if (equal_nocase(tree.name, config.defaultTree)) return;
    if (!config.defaultTree.empty())
        top.refuse("default_tree", catalogue_format("unknown tree %s", config.defaultTree.c_str()));
}

static Config read_config(const std::string &path, const toml::table &parsed) {
    Config config;
    ConfigTable top(path, parsed);
    std::string folder = path.substr(0, path.rfind('/') + 1);
    config.defaultTree = top.text("default_tree", "");
    config.trace = top.flag("trace", config.trace);
    top.tables(
        "tree", [&](ConfigTable &tree) { config.trees.push_back(read_tree(tree, folder, config.trees)); });
    top.tables(
        "server", [&](ConfigTable &server) { config.servers.push_back(read_server(server)); });
    top.tables("volume", [&](ConfigTable &volume) { config.volumes.push_back(read_volume(volume, config.volumes)); });
    add_servers_of_volumes(&config);
    config.mountByLink = read_mount(top);
    top.section("automount", [&](ConfigTable &table) { config.automount = read_automount(table); });
    top.checkAllKnown();
    check_default_tree(top, config);
    const bool tickets =
        std::any_of(config.trees.begin(), config.trees.end(), [](const ConfigTree &tree) { return tree.ldap.gssapi; });
    for (ConfigTree &tree : config.trees) {
        tree.ldap.saslMechanisms = tickets;
        tree.ldap.trace = config.trace;
    }
    return config;
}

std::string config_path() {
    const char *named = secure_getenv("ZKCLIENT_CONF");
    return named != nullptr && *named != '\0' ? named : system_file;
}

// A pipe will do, too.
static std::string read_text(const std::string &path, const Descriptor &file) {
    std::string text;
    char part[4096];
    ssize_t got = 0;
    while ((got = TEMP_FAILURE_RETRY(read(file.number, part, sizeof part))) > 0 && text.size() <= file_limit)
        text.append(part, static_cast<size_t>(got));
    if (got < 0)
        throw DataError(path + ": " + catalogue_format("cannot read the configuration file: %s", strerror(errno)));
    if (text.size() > file_limit) throw DataError(path + ": " + catalogue_text("the file is too large"));
    return text;
}

Config config_load(const std::string &path) {
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    const bool isThere = file.number >= 0;
    if (!isThere) {
        const int problem = errno;
        error_keep(catalogue_format("%1$s: cannot open the configuration file: %2$s", path.c_str(), strerror(problem))
                       .c_str());
        if (problem != ENOENT) throw DataError(error_kept());
    } // one that is not there is read like an empty one
    const std::string text = isThere ? read_text(path, file) : "";
    struct stat status = {};
    const bool hasOwner = fstat(file.number, &status) == 0;
    try {
        // Without the path: the parser copies it where it must not throw, and would end the process without memory.
        Config config = read_config(path, toml::parse(std::string_view(text)));
        for (ConfigTree &tree : config.trees) tree.configurationOwner = hasOwner ? status.st_uid : 0;
        if (config.trees.empty() && isThere) error_keep(catalogue_format("%s has no [[tree]]", path.c_str()).c_str());
        return config;
    } catch (const toml::parse_error &error) {
        throw DataError(path + ":" + std::to_string(error.source().begin.line) + ":" +
                        std::to_string(error.source().begin.column) + ": " + std::string(error.description()));
    }
}
