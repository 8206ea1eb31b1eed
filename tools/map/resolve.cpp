#include "tools/map/resolve.h"

#include <sys/stat.h>
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "frame/mount.h"
#include "include/qrtscript.h"
#include "platform/catalogue.h"
#include "platform/zk.h"
#include "tools/map/command.h"
#include "tools/map/refusal.h"

namespace {

// What the directory's own names and the parts of a path may need at most.
constexpr size_t target_limit = ZK_MAX_NAME;
constexpr size_t part_size = 2 * ZK_MAX_NAME + 2;

struct Meaning {
    uint32_t code;
    const char *text;
};

const Meaning meanings[] = {
    {ZKE_SERVER_NOT_FOUND, catalogue_mark("no such server")},
    {ZKE_VOLUME_UNKNOWN, catalogue_mark("no such volume on the server")},
    {ZKE_NO_SUCH_ENTRY, catalogue_mark("no such object or volume")},
    {ZKE_NO_SUCH_ATTRIBUTE, catalogue_mark("the object is not a volume")},
    {ZKE_NO_SUCH_VALUE, catalogue_mark("the object is not a volume")},
    {ZKE_MALFORMED_NAME, catalogue_mark("malformed name")},
    {ZKE_TREE_NOT_FOUND, catalogue_mark("no such tree")},
    {ZKE_NO_ACCESS, catalogue_mark("access denied")},
    {ZKE_NO_MEMORY, catalogue_mark("memory exhausted")},
};

[[noreturn]] void refuse(uint32_t code) {
    for (const Meaning &meaning : meanings)
        if (meaning.code == code) throw Refusal(catalogue_text(meaning.text));
    bool directory = code >= ZKE_DIRECTORY_UNREACHABLE && code <= ZKE_REFERRAL_BROKEN;
    if (!directory) throw Refusal(catalogue_format("the directory client returned error code %u", code));
    char sentence[1024] = {};
    ZKGetLastErrorText(sizeof sentence, sentence);
    throw Refusal(std::string(catalogue_text("cannot read the directory")) + (sentence[0] != '\0' ? ": " : "") +
                  sentence);
}

void require(uint32_t code) {
    if (code != ZK_OK) refuse(code);
}

// A directory context for the looks-up of one target. The login's own identity is not known here: whatever a mapping
// needs, everybody may read.
class LookupContext {
  public:
    LookupContext() {
        require(ZKCallsInit(nullptr, nullptr));
        require(ZKDSCreateContextHandle(&handle_));
        try {
            useTree();
        } catch (const Refusal &) {
            ZKDSFreeContext(handle_);
            throw;
        }
    }
    ~LookupContext() { ZKDSFreeContext(handle_); }
    LookupContext(const LookupContext &) = delete;
    LookupContext &operator=(const LookupContext &) = delete;
    uint32_t handle() const { return handle_; }

  private:
    void useTree() {
        // What the library sets for its own contexts, so that names and aliases mean the same here.
        const uint32_t flags = 0x57;
        require(ZKDSSetContext(handle_, DCK_FLAGS, &flags));
        char ownDefault[ZK_MAX_NAME + 1] = {};
        const char *tree = getenv("QRT_TREE");
        if (tree == nullptr || *tree == '\0') {
            // No tree at all is no failure yet: there are servers outside every tree.
            if (ZKDSGetContext(handle_, DCK_TREE_NAME, ownDefault) != ZK_OK) return;
            tree = ownDefault;
        }
        require(ZKDSSetContext(handle_, DCK_TREE_NAME, tree));
        require(ZKSetPreferredDSTree(static_cast<uint16_t>(strnlen(tree, ZK_MAX_NAME)), tree));
    }
    uint32_t handle_ = 0;
};

// The server's own spelling of its name.
std::string server_name(const std::string &server) {
    uint32_t connection = 0;
    uint32_t code =
        ZKCCOpenConnByName(0, server.c_str(), ZK_NAME_FILE_SERVER, ZK_OPEN_BY_NAME, ZK_TRANSPORT_ANY, &connection);
    if (code != ZK_OK) refuse(code);
    char name[ZK_SERVER_NAME_SIZE + 1] = {}; // ends even where the client fills the whole of its field
    code = ZKCCGetConnInfo(connection, ZK_INFO_SERVER_NAME, ZK_SERVER_NAME_SIZE, name);
    ZKCCCloseConn(connection);
    return code == ZK_OK ? name : server;
}

// "//SRV1/SYS/public" as "SRV1/SYS:public".
std::string without_double_slash(const std::string &target) {
    size_t server = target.find('/', 2);
    if (server == std::string::npos) throw Refusal(catalogue_text("no volume after the server name"));
    size_t volume = std::min(target.find('/', server + 1), target.size());
    return target.substr(2, volume - 2) + ":" + target.substr(std::min(volume + 1, target.size()));
}

// An object's name without a leading period with the login's container appended; an empty text for a target that names
// no such object. (The looks-up themselves start at the root, as the names in the directory's own values do.)
std::string in_login_context(const std::string &target) {
    const char *context = getenv("QRT_CONTEXT");
    size_t colon = std::min(target.find(':'), target.size());
    bool relative = colon > 0 && target[0] != '.' && target.find('/') > colon;
    if (context == nullptr || *context == '\0' || !relative) return "";
    return target.substr(0, colon) + "." + context + target.substr(colon);
}

// One look-up. `*byObject` tells whether the directory's objects gave the answer.
uint32_t look_up(const LookupContext &context, const std::string &target, Location *location, bool *byObject) {
    char server[part_size] = {};
    char volume[part_size] = {};
    char rest[part_size] = {};
    uint32_t connection = 0;
    uint16_t resolved = 0;
    uint32_t code = qrt_ZKDSParsePath(context.handle(), target.c_str(), server, &connection, volume, rest, &resolved);
    if (code != ZK_OK) return code;
    *byObject = resolved != 0;
    location->server = server;
    location->volume = volume;
    location->path = rest;
    return ZK_OK;
}

Location resolve_network(const std::string &target) {
    LookupContext context;
    Location location;
    bool byObject = false;
    std::string inContext = in_login_context(target);
    if (!inContext.empty()) look_up(context, inContext, &location, &byObject);
    if (!byObject) require(look_up(context, target, &location, &byObject));
    location.server = server_name(location.server);
    location.path = location_join("", location.path);
    return location;
}

// A target such as "H:home" is below drive H if there is one.
std::optional<Location> resolve_drive(const std::string &target, const LinkDirectory &links) {
    size_t colon = target.find(':');
    if (colon == std::string::npos) return std::nullopt;
    std::optional<Drive> drive = drive_of(target.substr(0, colon));
    if (!drive) return std::nullopt;
    std::optional<Location> location = links.read(drive->name());
    if (location) location->path = location_join(location->path, target.substr(colon + 1));
    return location;
}

bool is_folder(const std::string &path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

} // namespace

Location resolve_target(const std::string &target, const LinkDirectory &links) {
    std::string path = target;
    std::replace(path.begin(), path.end(), '\\', '/');
    if (path.size() > target_limit) throw Refusal(catalogue_text("the name is too long"));
    if (path.compare(0, 2, "//") == 0) path = without_double_slash(path);
    std::optional<Location> location = resolve_drive(path, links);
    if (!location) location = resolve_network(path);
    location_check(*location);
    if (is_folder(mount_point()) && !is_folder(location_local_path(*location)))
        throw Refusal(catalogue_format("no such directory: %s", location->text().c_str()));
    return *location;
}
