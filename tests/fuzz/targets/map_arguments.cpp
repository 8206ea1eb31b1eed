// The mapping program: its command line, taken apart and carried out over a directory of links in memory and a client
// that answers from the input.
//
//     input ::= mode line [ NUL links [ NUL answers ] ]        answers: world/answers.h
//     mode  ::= a digit, the sum of: 1 the network file system is mounted, 2 QRT_CONTEXT is set, 4 QRT_TREE is set
//     links ::= { name " " path LF | name "=" target LF }      below the user's folder of the mount point, or anywhere
//
// Whatever the line says and the client answers: no link leads anywhere but below the user's folder, what is no drive's
// link is left alone, and nothing else is left behind.
#include <algorithm>
#include <cstdio>

#include "platform/common/location.h"
#include "platform/common/places.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/world/answers.h"
#include "tests/fuzz/world/client.h"
#include "tests/fuzz/world/files.h"
#include "tests/fuzz/world/links.h"
#include "tests/fuzz/world/process.h"
#include "tools/linked_volumes.h"
#include "tools/map/command.h"
#include "tools/map/location.h"
#include "tools/map/map_run.h"
#include "tools/map/refusal.h"

using Links = std::map<std::string, std::string>;

static bool mounted;

static std::optional<std::string_view> no_file(const char *) {
    return std::nullopt;
}

static bool is_folder(const char *path) {
    return mounted && !strstr(path, "none");
}

static std::string folder() {
    return std::string(place_mount_point) + "/user/";
}

static void prepare() {
    files_content = no_file;
    links_is_folder = is_folder;
    stdout = files_sink();
    stderr = files_sink();
}

static void start(unsigned mode, std::string_view given, std::string_view answers) {
    mounted = mode & 1;
    process_start();
    if (mode & 2) process_set("QRT_CONTEXT", "sales.acme");
    if (mode & 4) process_set("QRT_TREE", "ACME_TREE");
    links_start("/home/fuzz");
    while (!given.empty()) {
        const std::string_view line = fuzz_take(given, '\n');
        const size_t end = line.find_first_of(" =");
        if (end == line.npos || end == 0 || line.substr(0, end).find('/') != line.npos) continue;
        const std::string target((line[end] == ' ' ? folder() : "").append(line.substr(end + 1)));
        links.emplace(line.substr(0, end), target);
    }
    answers_start(answers);
    client_start();
    files_sink_clear();
}

// In the place of the program's own, which asks once for all inputs.
const std::vector<LinkedVolume> &linked_volumes_of_client() {
    static const std::vector<LinkedVolume> none;
    return none;
}

// ---- what command_parse promises ----

static void check_command(const Command &command) {
    using Action = Command::Action;
    const Drive &drive = command.drive;
    FUZZ_CHECK(drive.letter == '\0' || (drive.letter >= 'A' && drive.letter <= 'Z'));
    FUZZ_CHECK(drive.place >= 0 && (drive.letter == '\0' || drive.place == 0));
    const bool hasDrive = drive.letter != '\0' || drive.place > 0;
    switch (command.action) {
        case Action::show:
        case Action::remove:
            FUZZ_CHECK(hasDrive);
            break;
        case Action::insert:
            FUZZ_CHECK(drive.isSearch() && drive.place > 0 && !command.target.empty());
            break;
        case Action::assign:
            FUZZ_CHECK(hasDrive && !command.target.empty());
            break;
        case Action::next:
            FUZZ_CHECK(!hasDrive && !command.target.empty());
            break;
        default:
            FUZZ_CHECK(!hasDrive && command.target.empty());
    }
    FUZZ_CHECK(command.target.find('"') == std::string::npos);
}

// ---- what is left ----

static bool is_drive(const std::string &name) {
    const auto drive = drive_of(name);
    return drive && drive->name() == name;
}

static bool is_drive_link(const std::string &target) {
    return location_of_link(target).has_value();
}

static bool leads_inside(const std::string &target) {
    if (target.compare(0, folder().size(), folder()) != 0) return false;
    const std::string below = target.substr(folder().size()) + "/";
    const bool control = std::any_of(below.begin(), below.end(),
                                     [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7F; });
    return !control && below.find("/../") == below.npos && below.compare(0, 3, "../") != 0 &&
           below.find('\\') == below.npos && std::count(below.begin(), below.end(), '/') >= 2;
}

static void check_links(const Links &before) {
    for (const auto &[name, target] : links) {
        const auto was = before.find(name);
        if (was != before.end() && was->second == target) continue;
        FUZZ_CHECK(is_drive(name) && leads_inside(target) && is_drive_link(target));
        FUZZ_CHECK(was == before.end() || is_drive_link(was->second));
    }
    for (const auto &[name, target] : before) FUZZ_CHECK(links.count(name) == 1 || is_drive_link(target));
}

// The number of places without a gap, or nothing when something else is among them.
static std::optional<size_t> length_of_path(const Links &some) {
    size_t length = 0;
    bool ended = false;
    for (int place = 1; place <= Drive::search_drives; place++) {
        const auto found = some.find("S" + std::to_string(place));
        if (found == some.end()) {
            ended = true;
            continue;
        }
        if (ended || !is_drive_link(found->second)) return std::nullopt;
        length++;
    }
    return length;
}

static void check_end(int status, const Links &before) {
    FUZZ_CHECK(status == 0 || status == 1);
    check_links(before);
    if (length_of_path(before)) FUZZ_CHECK(length_of_path(links));
    fflush(stdout);
    fflush(stderr);
    client_check_end();
    files_check_closed();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const bool prepared = (prepare(), true);
    if (size == 0 || !prepared) return 0;
    std::string_view answers = fuzz_view(data + 1, size - 1);
    const std::string line(fuzz_take(answers, '\0'));
    const std::string_view given = fuzz_take(answers, '\0');
    start(data[0], given, answers);
    try {
        const std::vector<Command> commands = command_parse(line);
        FUZZ_CHECK(!commands.empty());
        for (const Command &command : commands) check_command(command);
        const Links before = links;
        const int status = MapRun().run(commands);
        check_end(status, before);
    } catch (const Refusal &refusal) {
        FUZZ_CHECK(*refusal.what() != '\0');
    }
    links.clear();
    return 0;
}
