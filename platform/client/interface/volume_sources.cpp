// What the volumes of a tree are mounted from.
#include "platform/client/core/values.h"
#include "platform/client/interface/boundary.h"
#include "platform/client/session/contexts.h"
#include "platform/client/session/linked_volumes.h"

// The name of the volume's server, as the server's own object spells it; empty when the tree has no such object.
static std::string server_of(Tree *tree, const Entry &volume) {
    const std::string *host = volume.first("qrtHostServer");
    if (host == nullptr) return "";
    const EntryPtr server = tree->store->find(value_parse(schema_dn, *host, tree->store->base()).name, Aliases::keep);
    return server != nullptr && server->isClass("Server") ? entry_common_name(*server) : "";
}

uint32_t ZKDSScanVolumeSources(uint32_t context, ZKVolumeSourceNotice notice, void *caller) {
    return guarded([&] {
        error_unless(notice != nullptr, ZKE_BAD_PARAMETER);
        Tree &tree = context_tree(contexts().at(context));
        for (const EntryPtr &volume : tree.store->volumes()) {
            const std::string *source = volume->first("qrtVolumeSource");
            const std::string *name = volume->first("qrtHostResourceName");
            if (source == nullptr || name == nullptr) continue;
            const std::string *options = volume->first("qrtVolumeOptions");
            const std::string server = server_of(&tree, *volume);
            const ZKVolumeSource found = {server.c_str(), name->c_str(), source->c_str(),
                                          options == nullptr ? "" : options->c_str()};
            if (!server.empty()) notice(caller, &found);
        }
    });
}

uint32_t ZKScanLinkedVolumes(ZKVolumeSourceNotice notice, void *caller) {
    return guarded([&] {
        error_unless(notice != nullptr, ZKE_BAD_PARAMETER);
        for (const LinkedVolume &volume : linked_volumes()) {
            const ZKVolumeSource found = {volume.server.c_str(), volume.volume.c_str(), volume.folder.c_str(), ""};
            notice(caller, &found);
        }
    });
}
