#include "tools/automount/refresh.h"

#include <sys/stat.h>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <new>

#include "platform/catalogue.h"
#include "platform/client/core/config.h"
#include "platform/common/nocase.h"
#include "platform/common/places.h"
#include "platform/terminal_text.h"
#include "platform/zk.h"
#include "tools/automount/limited_program.h"
#include "tools/automount/root_file.h"

static constexpr size_t file_limit = size_t{16} << 20;
static constexpr time_t new_enough = 10; // seconds: who asks for names that are not there does not ask the servers

static void complain(const std::string &what) {
    fprintf(stderr, "qrt-automount: %s\n", terminal_text(what).c_str());
}

static std::optional<MountSite> read_site() {
    std::string text;
    if (!root_file_read(place_site_copy, file_limit, &text)) return std::nullopt;
    return site_parse(text);
}

static bool is_plain(const std::string &text) {
    return std::none_of(
        text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7F; });
}

namespace {

// The volumes of one tree while its objects are read.
struct Reading {
    const ConfigAutomount &allowed;
    const std::string &tree;
    std::vector<SiteVolume> found;
    std::vector<std::string> refusals;
};

} // namespace

static bool is_below(const std::vector<std::string> &folders, const std::string &path) {
    return std::any_of(
        folders.begin(), folders.end(),
        [&](const std::string &folder) {
            return path == folder || path.compare(0, folder.size() + 1, folder + "/") == 0;
        });
}

// Root mounts what the directory names only where the configuration lets it.
static std::string refusal_of(const ConfigAutomount &allowed, const SiteVolume &volume) {
    std::string why;
    const std::optional<SiteMount> mount = [&]() -> std::optional<SiteMount> {
        const MountSite one = {0, {}, "", 1, 1, false, {volume}};
        return site_find(one, volume.server, volume.name, &why);
    }();
    if (!is_plain(volume.server + volume.name + volume.source + volume.options))
        return catalogue_text("a control character");
    if (!mount) return why;
    const VolumeSource &source = mount->source;
    if (source.kind == VolumeSource::Kind::local && !is_below(allowed.folders, source.path))
        return catalogue_format("%s is not below one of the folders of [automount] in client.toml",
                                source.path.c_str());
    if (source.kind != VolumeSource::Kind::local && !volume_host_is_listed(allowed.hosts, source.host))
        return catalogue_format("%s is not among the hosts of [automount] in client.toml", source.host.c_str());
    return "";
}

static void take_volume(void *caller, const ZKVolumeSource *volume) {
    Reading &reading = *static_cast<Reading *>(caller);
    const SiteVolume one = {reading.tree, volume->server, volume->volume, volume->source, volume->options};
    const std::string refusal = refusal_of(reading.allowed, one);
    if (refusal.empty())
        reading.found.push_back(one);
    else
        reading.refusals.push_back(catalogue_format("%1$s: volume %2$s/%3$s: %4$s", one.tree.c_str(),
                                                    one.server.c_str(), one.name.c_str(), refusal.c_str()));
}

static std::string last_error(uint32_t code) {
    char sentence[1024] = {};
    ZKGetLastErrorText(sizeof sentence, sentence);
    return sentence[0] != '\0' ? sentence : catalogue_format("the directory client returned error code %u", code);
}

// Throws AutomountError when the tree cannot be read.
static bool read_tree(const ConfigTree &tree, const ConfigAutomount &allowed, std::vector<SiteVolume> *volumes) {
    if (!tree.ldif.empty()) root_file_check(tree.ldif);
    uint32_t context = 0;
    uint32_t code = ZKCallsInit(nullptr, nullptr);
    if (code == ZK_OK) code = ZKDSCreateContextHandle(&context);
    if (code == ZK_OK) code = ZKDSSetContext(context, DCK_TREE_NAME, tree.name.c_str());
    Reading reading = {allowed, tree.name, {}, {}};
    if (code == ZK_OK) code = ZKDSScanVolumeSources(context, take_volume, &reading);
    const std::string problem = code == ZK_OK ? "" : last_error(code);
    ZKDSFreeContext(context);
    if (code != ZK_OK)
        throw AutomountError(catalogue_format("cannot read tree %1$s: %2$s", tree.name.c_str(), problem.c_str()));
    for (const std::string &refusal : reading.refusals) complain(refusal);
    volumes->insert(volumes->end(), reading.found.begin(), reading.found.end());
    return reading.refusals.empty();
}

// As far as the configuration still allows them.
static void keep_volumes_of(const std::string &tree, const std::optional<MountSite> &before,
                            const ConfigAutomount &allowed, std::vector<SiteVolume> *volumes) {
    if (!before) return;
    for (const SiteVolume &volume : before->volumes)
        if (volume.tree == tree && refusal_of(allowed, volume).empty()) volumes->push_back(volume);
}

static std::optional<MountSite> site_before() {
    try {
        return read_site();
    } catch (const AutomountError &) {
        return std::nullopt; // it is written anew
    }
}

// The configuration's own part.
static MountSite site_of(const Config &config) {
    MountSite site;
    site.hosts = config.automount.hosts;
    site.smbOptions = config.automount.smbOptions;
    site.timeLimit = std::lround(std::ceil(config.automount.timeLimit));
    site.refresh = std::lround(std::ceil(config.automount.refresh));
    site.credentials = config.automount.credentials;
    for (const ConfigVolume &volume : config.volumes)
        site.volumes.push_back({"", volume.server, volume.name, volume.source, volume.options});
    return site;
}

static bool is_current(const MountSite &site) {
    struct stat configuration = {};
    if (stat(config_path().c_str(), &configuration) == 0 && configuration.st_ctim.tv_sec >= site.written) return false;
    const time_t age = time(nullptr) - site.written;
    return age >= 0 && age <= site.refresh;
}

// What holds even if no directory ever answers, in the place of a file that is not current. It counts as old: whoever
// needs more still asks them.
static void write_without_directories(const Config &config, const std::optional<MountSite> &before) {
    MountSite site = site_of(config);
    for (const ConfigTree &tree : config.trees) keep_volumes_of(tree.name, before, config.automount, &site.volumes);
    root_file_write(place_site_copy, site_text(site));
}

bool site_refresh() {
    const std::string path = config_path();
    root_file_check(path);
    const Config config = config_load(path);
    const std::optional<MountSite> before = site_before();
    MountSite site = site_of(config);
    site.written = time(nullptr);
    if (!config.trees.empty() && !(before && is_current(*before))) write_without_directories(config, before);
    bool well = true;
    for (const ConfigTree &tree : config.trees) {
        try {
            well = read_tree(tree, config.automount, &site.volumes) && well;
        } catch (const AutomountError &error) {
            complain(error.what());
            keep_volumes_of(tree.name, before, config.automount, &site.volumes);
            well = false;
        }
    }
    root_file_write(place_site_copy, site_text(site));
    return well;
}

static int refresh_status() {
    try {
        site_refresh();
        return 0;
    } catch (const std::exception &error) {
        complain(error.what());
        return 1;
    }
}

// A tree's file or its folder of scripts may be on a mount whose server is dead.
static void refresh_within_limit() {
    const ProgramEnd end = limited_work_run(refresh_status, site_refresh_limit);
    fputs(end.output.c_str(), stderr);
    if (end.how == ProgramEnd::How::exited) return;
    complain(catalogue_text("the directories did not answer in time"));
    std::optional<MountSite> before = site_before();
    if (!before) return;
    before->written = time(nullptr); // whoever uses a drive now is not to wait for them again
    root_file_write(place_site_copy, site_text(*before));
}

static MountSite read_or_throw() {
    if (const std::optional<MountSite> site = read_site()) return *site;
    throw AutomountError(catalogue_format("%s does not exist or is damaged", place_site_copy));
}

MountSite site_current() {
    const std::optional<MountSite> site = site_before();
    if (site && is_current(*site)) return *site;
    refresh_within_limit();
    return read_or_throw();
}

MountSite site_current_for(bool (*has)(const MountSite &site, const void *wanted), const void *wanted) {
    const MountSite site = site_current();
    if (has(site, wanted) || time(nullptr) - site.written <= new_enough) return site;
    refresh_within_limit();
    return read_or_throw();
}
