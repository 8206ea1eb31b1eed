#include "commands/drive.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "base/output.h"
#include "commands/program.h"
#include "directory/substitution.h"
#include "platform/common/link_directory.h"
#include "platform/zk.h"
#include "script/parser.h"
#include "script/syntax_error.h"

char *driveDir = nullptr;

static constexpr uint32_t mapping_size = 256; // of a mapping's local path and of its target
// The client's list of mappings is believed to end only up to here.
static constexpr int mapping_limit = 100000;

// Joins what is not null, with blanks between. That `b` is joined twice is this entry point's required behaviour; the
// statements never pass one.
static std::string join_command(const char *word, const char *a, const char *b, const char *c) {
    std::string line;
    const char *separator = "";
    for (const char *part : {word, a, b, b, c}) {
        if (part == nullptr) continue;
        line.append(separator).append(part);
        separator = " ";
    }
    return line;
}

static int run_map(uint32_t handle, const std::string &command) {
    const OwnedText line = substitution_of(handle, command.c_str());
    char *end = line.get() + strlen(line.get());
    std::replace(line.get(), end, ';', ',');
    std::replace(line.get(), end, '\\', '/');
    TRACE(qrt_map_command, 4, "map command: %s", line.get());
    const int status = program_run(line.get());
    if (status == 0) return 0;
    TRACE(qrt_map_command, 0, "map command status: 0x%X", static_cast<unsigned>(status));
    syntax_error = 1;
    return 1;
}

int qrt_map_command(uint32_t handle, const char *word, const char *a, const char *b, const char *c) try {
    return run_map(handle, join_command(word, a, b, c));
} catch (const std::bad_alloc &) {
    syntax_error = 1;
    return 1;
}

void map_statement(OwnedText line) {
    run_map(ctx, join_command("map", line.get(), nullptr, nullptr));
}

// Drives are links named by an upper-case letter, whatever letter the script writes.
static void raise_single_letter(char *name) {
    if (strlen(name) == 1 && *name >= 'a' && *name <= 'z') *name = static_cast<char>(*name - 'a' + 'A');
}

int qrt_ChangeWorkingDir(uint32_t handle, const char *name) {
    const OwnedText drive(qrt_find_replace_ids(handle, name));
    if (drive == nullptr) return 0;
    raise_single_letter(drive.get());
    char *link = nullptr;
    char *second = nullptr;
    util_map_location(drive.get(), nullptr, &link, &second);
    free(second);
    if (link == nullptr) return 0;
    free(driveDir);
    driveDir = link;
    TRACE(qrt_ChangeWorkingDir, 7, "drive directory: %s", driveDir);
    return 1;
}

void drive_statement(OwnedText name) {
    TRACE(yyparse, 2, "drive: %s", name.get());
    qrt_ChangeWorkingDir(ctx, name.get());
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

int util_map_location(const char *name, const char *extra, char **link, char **second) try {
    if (link != nullptr) *link = nullptr;
    if (second != nullptr) *second = nullptr;
    if (name == nullptr) name = "";
    std::string base;
    if (const auto folder = link_directory(); folder && name[0] != '/') {
        base = *folder;
        // That a directory of a single character gets no slash is required.
        if (base.size() > 1 && base.back() != '/') base += '/';
    }
    OwnedText first = text_copy(base + name);
    if (second != nullptr) *second = text_copy(extra == nullptr ? base : base + extra).release();
    if (link != nullptr) *link = first.release();
    return 0;
} catch (const std::bad_alloc &) {
    return 0;
}

// Cuts a mapping's target in two. Returns false, and leaves both alone, when it has no separator.
static bool split_target(std::string_view target, OwnedText &server, OwnedText &rest) {
    size_t cut = target.find('/');
    if (cut == std::string_view::npos) cut = target.find('\\');
    if (cut == std::string_view::npos) return false;
    server = text_copy(target.substr(0, cut));
    rest = text_copy(target.substr(cut + 1));
    return true;
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

int util_map_existing(const char *linkPath, char **server, char **rest) try {
    const OwnedText list = linkPath != nullptr ? read_mappings() : nullptr;
    if (list == nullptr) return 1;
    uint32_t cursor = 0;
    for (int entry = 0; entry < mapping_limit; ++entry) {
        uint32_t attribute = 0;
        // One byte more than the client is told of: its texts end here even when it leaves out their NUL.
        char local[mapping_size + 1] = "";
        char target[mapping_size + 1] = "";
        if (ZKEnumMappedDrives(list.get(), &cursor, &attribute, mapping_size, local, mapping_size, target) != ZK_OK)
            break;
        if (text_compare_nocase(linkPath, local) != 0) continue;
        OwnedText first;
        OwnedText second;
        if (!split_target(target, first, second)) return 0;
        if (server != nullptr) *server = first.release();
        if (rest != nullptr) *rest = second.release();
        return 0;
    }
    return 1;
} catch (const std::bad_alloc &) {
    return 1;
}
