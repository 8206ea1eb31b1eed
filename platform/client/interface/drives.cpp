// Mapped drives: the user's own symbolic links of the link directory that point below the mount point. The links are
// the only record of them.
//
// The list that programs hold: a ListHead, and for each drive an attribute word and two texts with their NULs.
#include <dirent.h>
#include <unistd.h>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/client/interface/answers.h"
#include "platform/client/interface/boundary.h"
#include "platform/client/session/linked_volumes.h"
#include "platform/common/link_directory.h"
#include "platform/common/location.h"
#include "platform/common/own_directory.h"

static constexpr uint32_t list_magic = 0x5652445A;
static constexpr uint32_t drive_is_link = 1;

namespace {

struct ListHead {
    uint32_t magic;
    uint32_t size; // of the whole list
};

struct Drive {
    std::string local;  // the link's path
    std::string target; // SERVER/VOLUME:path
};

struct CloseFolder {
    void operator()(DIR *folder) const { closedir(folder); }
};
using FolderPointer = std::unique_ptr<DIR, CloseFolder>;

} // namespace

// Null when there is no such directory. Throws CodedError for one that is not the user's alone: what others could have
// put there leads no drive anywhere.
static FolderPointer open_folder(const std::string &path) {
    DirectoryFault fault = DirectoryFault::notOpened;
    const int descriptor = own_directory_open(path, &fault);
    if (descriptor < 0 && fault != DirectoryFault::notOpened)
        throw CodedError(ZKE_NO_ACCESS, own_directory_refusal(path, fault));
    FolderPointer folder(descriptor < 0 ? nullptr : fdopendir(descriptor));
    if (folder == nullptr && descriptor >= 0) close(descriptor);
    return folder;
}

// Drives are listed whatever is wrong with the configuration.
static std::vector<LinkedVolume> linked_volumes_if_any() {
    try {
        return linked_volumes();
    } catch (const DataError &) {
        return {};
    }
}

static std::vector<Drive> find_drives() {
    std::vector<Drive> drives;
    std::string path = link_directory_place().path.value_or("");
    const FolderPointer folder(path[0] == '/' ? open_folder(path) : nullptr);
    if (folder == nullptr) return drives;
    if (path.back() != '/') path += '/';
    const std::vector<LinkedVolume> linked = linked_volumes_if_any();
    while (const dirent *item = readdir(folder.get())) {
        const std::optional<OwnLink> link = own_link_read(dirfd(folder.get()), item->d_name);
        const std::optional<Location> location = link ? location_of_link(link->target, linked) : std::nullopt;
        if (location) drives.push_back({path + item->d_name, location->text()});
    }
    std::sort(drives.begin(), drives.end(), [](const Drive &a, const Drive &b) { return a.local < b.local; });
    return drives;
}

static void append_number(std::string *list, uint32_t number) {
    list->append(reinterpret_cast<const char *>(&number), sizeof number);
}

static std::string make_list() {
    std::string list(sizeof(ListHead), '\0');
    for (const Drive &drive : find_drives()) {
        append_number(&list, drive_is_link);
        list.append(drive.local.c_str(), drive.local.size() + 1);
        list.append(drive.target.c_str(), drive.target.size() + 1);
    }
    ListHead head = {list_magic, static_cast<uint32_t>(list.size())};
    memcpy(&list[0], &head, sizeof head);
    return list;
}

// One text of the list; false when the list ends before it does.
static bool take_text(std::string_view list, uint32_t *at, std::string_view *text) {
    size_t end = list.find('\0', *at);
    if (end == std::string_view::npos) return false;
    *text = list.substr(*at, end - *at);
    *at = static_cast<uint32_t>(end + 1);
    return true;
}

static bool take_drive(std::string_view list, uint32_t *at, uint32_t *attribute, std::string_view *local,
                       std::string_view *target) {
    if (list.size() - *at < sizeof *attribute) return false;
    memcpy(attribute, list.data() + *at, sizeof *attribute);
    *at += static_cast<uint32_t>(sizeof *attribute);
    return take_text(list, at, local) && take_text(list, at, target);
}

uint32_t ZKGetMappedDrives(void *buffer, uint32_t *size) {
    return guarded([&] {
        error_unless(size != nullptr, ZKE_BAD_PARAMETER);
        const std::string list = make_list();
        // A link may have come since the size was asked for: the new size is returned.
        const bool fits = buffer == nullptr || *size >= list.size();
        *size = static_cast<uint32_t>(list.size());
        error_unless(fits, ZKE_BUFFER_TOO_SMALL);
        if (buffer != nullptr) memcpy(buffer, list.data(), list.size());
    });
}

uint32_t ZKEnumMappedDrives(const void *buffer, uint32_t *cursor, uint32_t *attribute, uint32_t localSize,
                            char *localPath, uint32_t targetSize, char *target) {
    return guarded([&] {
        error_unless(buffer != nullptr && cursor != nullptr && localPath != nullptr && target != nullptr,
                     ZKE_BAD_PARAMETER);
        ListHead head;
        memcpy(&head, buffer, sizeof head);
        uint32_t at = *cursor == 0 ? static_cast<uint32_t>(sizeof head) : *cursor;
        error_unless(head.magic == list_magic && at >= sizeof head && at <= head.size, ZKE_BAD_PARAMETER);
        std::string_view list(static_cast<const char *>(buffer), head.size);
        uint32_t word = 0;
        std::string_view local;
        std::string_view to;
        while (take_drive(list, &at, &word, &local, &to)) {
            *cursor = at;
            // A drive too long for the caller's buffers must not hide those behind it.
            if (local.size() < localSize && to.size() < targetSize) {
                put_text(local, localSize, localPath);
                put_text(to, targetSize, target);
                if (attribute != nullptr) *attribute = word;
                return;
            }
        }
        throw CodedError(ZKE_NO_MORE_ENTRIES);
    });
}
