#include "tools/map/resolve.h"

#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "include/qrtscript.h"
#include "platform/catalogue.h"
#include "platform/common/context_flags.h"
#include "platform/zk.h"
#include "tools/linked_volumes.h"
#include "tools/map/command.h"
#include "tools/map/refusal.h"

// What the directory's own names and the parts of a path may need at most.
static constexpr size_t target_limit = ZK_MAX_NAME;
static constexpr size_t part_size = 2 * ZK_MAX_NAME + 2;

namespace {

struct Meaning {
    uint32_t code;
    const char *text;
};

} // namespace

static const Meaning meanings[] = {
    {ZKE_SERVER_NOT_FOUND, catalogue_mark("no such server")},
    {ZKE_VOLUME_UNKNOWN, catalogue_mark("no such volume on the server")},
    {ZKE_NO_SUCH_ENTRY, catalogue_mark("no such object or volume")},
    {ZKE_NO_SUCH_ATTRIBUTE, catalogue_mark("the object is not a volume")},
    {ZKE_NO_SUCH_VALUE, catalogue_mark("the object is not a volume")},
    {ZKE_MALFORMED_NAME, catalogue_mark("not SERVER/VOLUME:path, VOLUME:path or the name of an object")},
    {ZKE_TREE_NOT_FOUND, catalogue_mark("no such tree")},
    {ZKE_NO_ACCESS, catalogue_mark("access denied")},
    {ZKE_NO_MEMORY, catalogue_mark("memory exhausted")},
};

[[noreturn]] static void refuse(uint32_t code) {
    for (const Meaning &meaning : meanings)
        if (meaning.code == code) throw Refusal(catalogue_text(meaning.text));
    bool directory = code >= ZKE_DIRECTORY_UNREACHABLE && code <= ZKE_REFERRAL_BROKEN;
    if (!directory) throw Refusal(catalogue_format("the directory client returned error code %u", code));
    char sentence[1024] = {};
    ZKGetLastErrorText(sizeof sentence, sentence);
    throw Refusal(std::string(catalogue_text("cannot read the directory")) + (sentence[0] != '\0' ? ": " : "") +
                  sentence);
}

static void require(uint32_t code) {
    if (code != ZK_OK) refuse(code);
}

namespace {

// A directory context for the looks-up of one target. The login's own identity is not known here: whatever a mapping
// needs, everybody may read.
class LookupContext {
  public:
    LookupContext() {
        require(ZKDSSetContext(context_.handle, DCK_FLAGS, &login_context_flags));
        char ownDefault[ZK_MAX_NAME + 1] = {};
        const char *tree = getenv("QRT_TREE");
        if (tree == nullptr || *tree == '\0') {
            // No tree at all is no failure yet: there are servers outside every tree.
            if (ZKDSGetContext(context_.handle, DCK_TREE_NAME, ownDefault) != ZK_OK) return;
            tree = ownDefault;
        }
        require(ZKDSSetContext(context_.handle, DCK_TREE_NAME, tree));
        require(ZKSetPreferredDSTree(static_cast<uint16_t>(strnlen(tree, ZK_MAX_NAME)), tree));
    }
    uint32_t handle() const { return context_.handle; }

  private:
    struct Context {
        Context() {
            require(ZKCallsInit(nullptr, nullptr));
            require(ZKDSCreateContextHandle(&handle));
        }
        Context(const Context &) = delete;
        Context &operator=(const Context &) = delete;
        ~Context() { ZKDSFreeContext(handle); }
        uint32_t handle = 0;
    };
    Context context_;
};

struct ServerConnection {
    ServerConnection() = default;
    ServerConnection(const ServerConnection &) = delete;
    ServerConnection &operator=(const ServerConnection &) = delete;
    ~ServerConnection() { ZKCCCloseConn(handle); }
    uint32_t handle = 0;
};

} // namespace

// The server's own spelling of its name.
static std::string server_name(const char *server) {
    ServerConnection connection;
    require(ZKCCOpenConnByName(0, server, ZK_NAME_FILE_SERVER, ZK_OPEN_BY_NAME, ZK_TRANSPORT_ANY, &connection.handle));
    char name[ZK_SERVER_NAME_SIZE + 1] = {}; // ends even where the client fills the whole of its field
    require(ZKCCGetConnInfo(connection.handle, ZK_INFO_SERVER_NAME, ZK_SERVER_NAME_SIZE, name));
    return name;
}

// "//SRV1/SYS/public" as "SRV1/SYS:public".
static std::string without_double_slash(std::string target) {
    target.erase(0, 2);
    size_t server = target.find('/');
    if (server == std::string::npos) throw Refusal(catalogue_text("no volume after the server name"));
    size_t volume = target.find('/', server + 1);
    if (volume == std::string::npos) return target + ":";
    target[volume] = ':';
    return target;
}

// An object's name without a leading period with the login's container appended; nothing for a target that names no
// such object. (The looks-up themselves start at the root, as the names in the directory's own values do.)
static std::optional<std::string> in_login_context(const std::string &target) {
    const char *context = getenv("QRT_CONTEXT");
    size_t colon = std::min(target.find(':'), target.size());
    bool relative = target[0] != '.' && target.find('/') > colon;
    if (context == nullptr || *context == '\0' || !relative) return std::nullopt;
    return target.substr(0, colon) + "." + context + target.substr(colon);
}

namespace {

// What a look-up finds. `byObject` is not 0 when the directory's objects gave the answer.
struct Parts {
    char server[part_size] = {};
    char volume[part_size] = {};
    char rest[part_size] = {};
    uint16_t byObject = 0;
};

} // namespace

static uint32_t look_up(const LookupContext &context, const std::string &target, Parts *parts) {
    ServerConnection connection;
    return qrt_ZKDSParsePath(context.handle(), target.c_str(), parts->server, &connection.handle, parts->volume,
                             parts->rest, &parts->byObject);
}

static Location resolve_network(const std::string &target) {
    LookupContext context;
    Parts parts;
    const std::optional<std::string> inContext = in_login_context(target);
    if (inContext) look_up(context, *inContext, &parts);
    if (parts.byObject == 0) require(look_up(context, target, &parts));
    return {server_name(parts.server), parts.volume, location_join("", parts.rest)};
}

// A target such as "H:home" is below drive H if there is one.
static std::optional<Location> resolve_drive(const std::string &target, const LinkDirectory *links) {
    size_t colon = target.find(':');
    if (colon == std::string::npos) return std::nullopt;
    const std::optional<Drive> drive = drive_of(target.substr(0, colon));
    if (!drive) return std::nullopt;
    const std::optional<Location> root = links->read(drive.value().name());
    if (!root) return std::nullopt;
    const Location &at = root.value();
    return Location{at.server, at.volume, location_join(at.path, target.substr(colon + 1))};
}

static bool is_folder(const std::string &path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// Volumes that are mounted when they are used are not waited for here.
static bool has_all_mounts(const std::string &mountPoint) {
    struct statfs status = {};
    return is_folder(mountPoint) && (statfs(mountPoint.c_str(), &status) != 0 || status.f_type != AUTOFS_SUPER_MAGIC);
}

Location resolve_target(const std::string &target, const LinkDirectory *links) {
    std::string path = target;
    std::replace(path.begin(), path.end(), '\\', '/');
    if (path.size() > target_limit) throw Refusal(catalogue_text("the name is too long"));
    if (path.compare(0, 2, "//") == 0) path = without_double_slash(path);
    std::optional<Location> location = links != nullptr ? resolve_drive(path, links) : std::nullopt;
    if (!location) location = resolve_network(path);
    location_check(*location);
    const std::string folder = location_link_target(*location, linked_volumes_of_client());
    const bool isMounted = folder == location_local_path(*location);
    if ((!isMounted || has_all_mounts(mount_point())) && !is_folder(folder))
        throw Refusal(catalogue_format("no such directory: %s", location->text().c_str()));
    return *location;
}
