#include "commands/drive.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/output.h"
#include "commands/program.h"
#include "directory/session.h"
#include "directory/substitution.h"
#include "include/exported.h"
#include "platform/common/link_directory.h"
#include "platform/zk.h"
#include "qrtscript.h"
#include "script/parser.h"
#include "script/syntax_error.h"

char *driveDir = nullptr;

static constexpr uint32_t mapping_size = 256; // of a mapping's local path and of its target
// The client's list of mappings is believed to end only up to here.
static constexpr int mapping_limit = 100000;

bool drive_map(uint32_t handle, const std::string &command) {
    std::string line = substitution_of(handle, command).get();
    std::replace(line.begin(), line.end(), ';', ',');
    std::replace(line.begin(), line.end(), '\\', '/');
    TRACE(qrt_map_command, 4, "map command: %s", line.c_str());
    const int status = program_run(line);
    if (status == 0) return true;
    TRACE(qrt_map_command, 0, "map command status: 0x%X", static_cast<unsigned>(status));
    syntax_error = 1;
    return false;
}

void map_statement(OwnedText line) {
    drive_map(ctx, std::string("map ") + line.get());
}

// Drives are links named by an upper-case letter, whatever letter the script writes.
static void raise_single_letter(std::string &name) {
    if (name.size() == 1) text_raise(name.data());
}

void drive_change(uint32_t handle, const char *name) {
    std::string drive = substitution_of(handle, name).get();
    raise_single_letter(drive);
    session_replace(driveDir, (drive_link_folder(drive) + drive).c_str());
    TRACE(qrt_ChangeWorkingDir, 7, "drive directory: %s", driveDir);
}

void drive_statement(OwnedText name) {
    TRACE(yyparse, 2, "drive: %s", name.get());
    drive_change(ctx, name.get());
}

static std::optional<std::string> link_directory() {
    const LinkDirectoryPlace place = link_directory_place();
    if (place.code != conf_found)
        TRACE(util_map_location, 4, "Map_Link_Default_Location: not read (%u)", static_cast<unsigned>(place.code));
    else
        TRACE(util_map_location, 4, "Map_Link_Default_Location: %s", place.configured.c_str());
    // A fault of the configuration, not of the script: it goes to the process's own output, untranslated.
    if (!place.path && place.code == conf_found)
        output_print("Invalid environment variable(%s)\n",
                     place.configured.substr(0, place.configured.find('/')).c_str());
    return place.path;
}

std::string drive_link_folder(std::string_view name) {
    std::string folder = link_directory().value_or("");
    if (!name.empty() && name.front() == '/') return "";
    // That a directory of a single character gets no slash is required.
    if (folder.size() > 1 && folder.back() != '/') folder += '/';
    return folder;
}

std::optional<DriveTarget> drive_split_target(std::string_view target) {
    size_t cut = target.find('/');
    if (cut == target.npos) cut = target.find('\\');
    if (cut == target.npos) return std::nullopt;
    return DriveTarget{std::string(target.substr(0, cut)), std::string(target.substr(cut + 1))};
}

// The client's list of mapped drives, or null.
static OwnedText read_mappings() {
    uint32_t size = 0;
    if (ZKGetMappedDrives(nullptr, &size) != ZK_OK) return nullptr;
    OwnedText list(static_cast<char *>(malloc(size)));
    if (list == nullptr) {
        TRACE(util_map_existing, 4, "no memory for %u bytes of mapped drives", size);
        return nullptr;
    }
    return ZKGetMappedDrives(list.get(), &size) == ZK_OK ? std::move(list) : nullptr;
}

std::optional<std::string> drive_target(const char *link) {
    const OwnedText list = read_mappings();
    if (list == nullptr) return std::nullopt;
    uint32_t cursor = 0;
    for (int entry = 0; entry < mapping_limit; ++entry) {
        uint32_t attribute = 0;
        // One byte more than the size that the client gets: its strings end here even when it leaves out their NUL.
        char local[mapping_size + 1] = "";
        char target[mapping_size + 1] = "";
        if (ZKEnumMappedDrives(list.get(), &cursor, &attribute, mapping_size, local, mapping_size, target) != ZK_OK)
            break;
        if (equal_nocase(link, local)) return target;
    }
    return std::nullopt;
}
