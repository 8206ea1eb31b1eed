#include "platform/client/core/site_schema.h"

#include <utility>

#include "platform/client/core/names.h"

const std::string &SiteSchema::attributeOf(std::string_view ldap) const {
    return sources.at(schema_find_ldap(ldap)).front().attribute;
}

static std::string lower(std::string text) {
    for (char &c : text) c = lower_case(c);
    return text;
}

std::string_view SiteSchema::classOf(const std::string &theirs) const {
    auto renamed = classes.find(lower(theirs));
    return renamed == classes.end() ? theirs : renamed->second;
}

// posixAccount's home directories name no server: below the prefix they are the configured volume's.
static PresetConversion path_on_volume(const ConfigLdap &config) {
    const std::string unc = "//" + config.homeVolume;
    return [unc, prefix = config.homePrefix](const std::string &home) -> std::optional<std::string> {
        const bool below = home.size() > prefix.size() && home.compare(0, prefix.size(), prefix) == 0 &&
                           (prefix.empty() || prefix.back() == '/' || home[prefix.size()] == '/');
        if (!below) return std::nullopt;
        const size_t start = home.find_first_not_of('/', prefix.size());
        return start == std::string::npos ? unc : unc + "/" + home.substr(start);
    };
}

SiteSchema site_schema(const ConfigLdap &config) {
    const bool isActive = config.schema == SitePreset::activeDirectory;
    SiteSchema schema;
    for (const SchemaAttribute &row : schema_attributes()) {
        auto renamed = config.attributes.find(row.ldap);
        schema.sources[&row] = renamed == config.attributes.end()
                                   ? preset_sources(config.schema, row)
                                   : std::vector<PresetSource>{{renamed->second, nullptr}};
    }
    if (!config.homeVolume.empty()) {
        std::vector<PresetSource> &home = schema.sources.at(schema_find_ldap("qrtHomeDirectory"));
        home.push_back({"homeDirectory", path_on_volume(config)});
    }
    for (const auto &[ours, theirs] : config.classes) schema.classes[lower(theirs)] = ours;
    if (!config.classes.empty()) {
        schema.sources.at(schema_find_ldap("objectClass")).front().convert =
            [classes = schema.classes](const std::string &theirs) -> std::optional<std::string> {
            auto renamed = classes.find(lower(theirs));
            return renamed == classes.end() ? theirs : renamed->second;
        };
    }
    if (isActive)
        schema.loginAttributes = {"sAMAccountName", "userPrincipalName", "mail"};
    else
        schema.loginAttributes = {schema.attributeOf("uid"), schema.attributeOf("mail")};
    if (config.schema == SitePreset::brasca) schema.loginAttributes.insert(schema.loginAttributes.begin(), "cn");
    schema.userType = config.schema == SitePreset::brasca || isActive ? "cn" : "uid";
    if (!config.loginAttributes.empty()) {
        schema.loginAttributes = config.loginAttributes;
        schema.userType = name_type(config.loginAttributes.front());
    }
    schema.dnAttribute = isActive ? "distinguishedName" : "entryDN";
    schema.userName = isActive ? "sAMAccountName" : "";
    schema.listsAccounts = config.schema == SitePreset::rfc2307 || config.schema == SitePreset::rfc2307bis;
    return schema;
}
