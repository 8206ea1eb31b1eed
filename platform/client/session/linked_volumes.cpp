#include "platform/client/session/linked_volumes.h"

#include "platform/client/session/trees.h"
#include "platform/common/volume_source.h"

std::vector<LinkedVolume> linked_volumes() {
    std::vector<LinkedVolume> linked;
    const Config &config = trees_config();
    if (!config.mountByLink) return linked;
    for (const ConfigVolume &volume : config.volumes) {
        std::string why;
        const std::optional<VolumeSource> source = volume_source_parse(volume.source, &why);
        if (source && source->kind == VolumeSource::Kind::local)
            linked.push_back({volume.server, volume.name, source->path});
    }
    return linked;
}
