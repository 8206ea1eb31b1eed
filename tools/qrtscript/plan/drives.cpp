#include "tools/qrtscript/plan/drives.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <map>

#include "commands/drive.h"
#include "directory/session.h"
#include "platform/catalogue.h"
#include "platform/zk.h"
#include "qrtscript.h"
#include "tools/linked_volumes.h"
#include "tools/map/command.h"
#include "tools/map/link_directory.h"
#include "tools/map/map_run.h"
#include "tools/map/refusal.h"
#include "tools/qrtscript/plan/recorder.h"

namespace {

struct Drives {
    std::map<std::string, Location> links;
    Json changes = Json::array(); // of the line that is being carried out
    unsigned primary = 0;
};

} // namespace

static Drives &drives() {
    static Drives theDrives;
    return theDrives;
}

// ---- the link directory of the mapping program's own objects ----

LinkDirectory::LinkDirectory() : path_("") {}
LinkDirectory::~LinkDirectory() = default;

std::optional<Location> LinkDirectory::read(const std::string &name) const {
    const auto found = drives().links.find(name);
    return found == drives().links.end() ? std::nullopt : std::optional<Location>(found->second);
}

bool LinkDirectory::isFree(const std::string &name) const {
    return drives().links.count(name) == 0;
}

static void note_change(const std::string &name, const std::optional<Location> &before, const Json &now) {
    Json change = {{"drive", name + ":"}};
    change["old"] = before ? Json(record_text(before->text())) : Json();
    change["new"] = now;
    drives().changes.push_back(std::move(change));
}

void LinkDirectory::write(const std::string &name, const Location &location) {
    note_change(name, read(name), record_text(location.text()));
    drives().links[name] = location;
}

void LinkDirectory::remove(const std::string &name) {
    const std::optional<Location> before = read(name);
    if (!before) throw Refusal(catalogue_format("drive %s: is not mapped", name.c_str()));
    note_change(name, before, {});
    drives().links.erase(name);
}

// ---- a run of the mapping program ----

namespace {

// Takes what is written to standard output and error.
class Capture {
  public:
    Capture() : file_(memfd_create("map", MFD_CLOEXEC)) {
        fflush(stdout);
        for (int i = 0; i < 2; i++) {
            kept_[i] = fcntl(STDOUT_FILENO + i, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
            dup2(file_, STDOUT_FILENO + i);
        }
    }
    ~Capture() {
        fflush(stdout);
        for (int i = 0; i < 2; i++) {
            dup2(kept_[i], STDOUT_FILENO + i);
            close(kept_[i]);
        }
        close(file_);
    }
    Capture(const Capture &) = delete;
    Capture &operator=(const Capture &) = delete;
    std::string text() const {
        fflush(stdout);
        std::string all;
        char piece[4096];
        lseek(file_, 0, SEEK_SET);
        for (ssize_t got = 0; (got = read(file_, piece, sizeof piece)) > 0;)
            all.append(piece, static_cast<size_t>(got));
        return all;
    }

  private:
    int file_;
    int kept_[2];
};

// The mapping program is a process of its own: its primary connection is that of the default tree.
class OwnConnections {
  public:
    OwnConnections() {
        const char *tree = getenv("QRT_TREE");
        if (tree != nullptr)
            opened_ = ZKCCOpenConnByName(0, tree, ZK_NAME_ANY, ZK_OPEN_BY_NAME, ZK_TRANSPORT_ANY, &own_) == ZK_OK;
        if (opened_) ZKCCSetPrimConn(own_);
    }
    ~OwnConnections() {
        if (opened_) ZKCCCloseConn(own_);
        if (drives().primary != 0) ZKCCSetPrimConn(drives().primary);
        if (CurrentTree != nullptr) ZKSetPreferredDSTree(static_cast<uint16_t>(strlen(CurrentTree)), CurrentTree);
    }
    OwnConnections(const OwnConnections &) = delete;
    OwnConnections &operator=(const OwnConnections &) = delete;

  private:
    bool opened_ = false;
    uint32_t own_ = 0;
};

} // namespace

void drives_note_primary(unsigned connection) {
    drives().primary = connection;
}

bool drives_is_map(const std::vector<std::string> &words) {
    const std::string &program = words.front();
    return program.substr(program.find_last_of('/') + 1) == "map";
}

static int carry_out(const std::string &line) {
    try {
        return MapRun().run(command_parse(line));
    } catch (const std::exception &problem) {
        fflush(stdout);
        fprintf(stderr, catalogue_text("map: %s\n"), problem.what());
        return 1;
    }
}

int drives_map(const std::vector<std::string> &words) {
    std::string line;
    for (size_t i = 1; i < words.size(); i++) line += (i > 1 ? " " : "") + words[i];
    const unsigned primary = drives().primary;
    drives().changes = Json::array();
    int status = 0;
    std::string printed;
    {
        const Capture capture;
        const OwnConnections connections;
        status = carry_out(line);
        printed = capture.text();
        drives().primary = primary;
    }
    recorder_add("map", {{"command", record_text(line)},
                         {"drives", drives().changes},
                         {"printed", record_text(printed)},
                         {"status", status}});
    return status;
}

// ---- what the drives lead to ----

std::optional<std::string> drives_target(const std::string &link) {
    for (const auto &[name, location] : drives().links)
        if (equal_nocase(drive_link_folder(name) + name, link)) return location.text();
    return std::nullopt;
}

std::string drives_path(const std::string &path) {
    for (const auto &[name, location] : drives().links) {
        const std::string link = drive_link_folder(name) + name;
        if (path.compare(0, link.size(), link) == 0 && (path.size() == link.size() || path[link.size()] == '/'))
            return location_link_target(location, linked_volumes_of_client()) + path.substr(link.size());
    }
    return path;
}
