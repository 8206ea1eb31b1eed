#include "tools/automount/site.h"

#include <algorithm>
#include <charconv>

#include "platform/common/location.h"
#include "platform/common/nocase.h"

static constexpr std::string_view heading = "brasca-site 1 ";
static constexpr long longest_seconds = 3600;

static std::string line(std::initializer_list<std::string> fields) {
    std::string text;
    for (const std::string &field : fields) text += (text.empty() ? "" : "\t") + field;
    return text + "\n";
}

std::string site_text(const MountSite &site) {
    std::string text = std::string(heading) + std::to_string(site.written) + "\n";
    for (const std::string &host : site.hosts) text += line({"host", host});
    text += line({"smb_options", site.smbOptions});
    text += line({"time_limit", std::to_string(site.timeLimit)});
    text += line({"refresh", std::to_string(site.refresh)});
    if (site.credentials) text += line({"credentials"});
    for (const SiteVolume &volume : site.volumes)
        text += line({"volume", volume.tree, volume.server, volume.name, volume.source, volume.options});
    return text;
}

template <typename Number>
static bool number_of(std::string_view text, Number *number) {
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), *number);
    return problem == std::errc() && end == text.data() + text.size() && *number >= 0;
}

static std::vector<std::string> fields_of(std::string_view text) {
    std::vector<std::string> fields;
    for (size_t start = 0; start <= text.size();) {
        const size_t end = std::min(text.find('\t', start), text.size());
        fields.emplace_back(text.substr(start, end - start));
        start = end + 1;
    }
    return fields;
}

static bool take_seconds(const std::string &text, long *seconds) {
    return number_of(text, seconds) && *seconds > 0 && *seconds <= longest_seconds;
}

static bool take_line(const std::vector<std::string> &fields, MountSite *site) {
    const std::string &kind = fields[0];
    if (kind == "credentials" && fields.size() == 1) return site->credentials = true;
    if (kind == "volume" && fields.size() == 6) {
        site->volumes.push_back({fields[1], fields[2], fields[3], fields[4], fields[5]});
        return true;
    }
    if (fields.size() != 2) return false;
    if (kind == "host") {
        site->hosts.push_back(fields[1]);
        return true;
    }
    if (kind == "smb_options") {
        site->smbOptions = fields[1];
        return true;
    }
    if (kind == "time_limit") return take_seconds(fields[1], &site->timeLimit);
    return kind == "refresh" && take_seconds(fields[1], &site->refresh);
}

std::optional<MountSite> site_parse(std::string_view text) {
    MountSite site;
    bool first = true;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        if (end == std::string_view::npos) return std::nullopt; // cut off
        const std::string_view one = text.substr(0, end);
        text.remove_prefix(end + 1);
        if (first &&
            (one.substr(0, heading.size()) != heading || !number_of(one.substr(heading.size()), &site.written)))
            return std::nullopt;
        if (!first && !take_line(fields_of(one), &site)) return std::nullopt;
        first = false;
    }
    return first ? std::nullopt : std::optional<MountSite>(site);
}

bool site_has_server(const MountSite &site, std::string_view server) {
    return volume_host_is_listed(site.hosts, server) ||
           std::any_of(
               site.volumes.begin(), site.volumes.end(),
               [server](const SiteVolume &volume) { return equal_nocase(volume.server, server); });
}

static std::optional<SiteMount> mount_of(const std::string &source, const std::string &options, std::string *why) {
    const std::optional<VolumeSource> parsed = volume_source_parse(source, why);
    if (!parsed) return std::nullopt;
    const std::optional<std::vector<std::string>> list = volume_options_parse(parsed->kind, options, why);
    if (!list) return std::nullopt;
    return SiteMount{*parsed, *list};
}

// The share of a listed host: a volume's name may have characters that mean something else in a source.
static std::string share_source(std::string_view server, std::string_view volume) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string source = "smb://" + std::string(server) + "/";
    for (char c : volume) {
        const auto byte = static_cast<unsigned char>(lower_case(c));
        if (byte == '%')
            source += std::string("%") + digits[byte >> 4] + digits[byte & 15];
        else
            source += static_cast<char>(byte);
    }
    return source;
}

std::optional<SiteMount> site_find(const MountSite &site, std::string_view server, std::string_view volume,
                                   std::string *why) {
    why->clear();
    for (const SiteVolume &one : site.volumes)
        if (equal_nocase(one.server, server) && equal_nocase(one.name, volume))
            return mount_of(one.source, one.options, why);
    if (!is_folder_name(volume) || !volume_host_is_listed(site.hosts, server)) return std::nullopt;
    return mount_of(share_source(server, volume), site.smbOptions, why);
}
