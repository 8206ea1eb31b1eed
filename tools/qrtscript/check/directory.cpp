#include "tools/qrtscript/check/directory.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "platform/catalogue.h"
#include "platform/common/context_flags.h"
#include "platform/common/opened.h"
#include "platform/common/skip.h"
#include "platform/terminal_text.h"
#include "platform/zk.h"
#include "tools/own_folder.h"
#include "tools/qrtscript/login_as.h"

[[noreturn]] static void fail(const std::string &attempt) {
    char reason[1024] = "";
    ZKGetLastErrorText(sizeof reason, reason);
    throw std::runtime_error(terminal_text(attempt + (*reason != '\0' ? std::string(": ") + reason : "")));
}

static void require(uint32_t code, const std::string &attempt) {
    if (code != ZK_OK) fail(attempt);
}

// What the directory has not, as against what it did not tell.
static bool is_missing(uint32_t code) {
    return code == ZKE_NO_SUCH_ENTRY || code == ZKE_MALFORMED_NAME || code == ZKE_NO_SUCH_ATTRIBUTE ||
           code == ZKE_NO_SUCH_VALUE || code == ZKE_SERVER_NOT_FOUND || code == ZKE_TREE_NOT_FOUND;
}

static bool is_there(uint32_t code) {
    if (code != ZK_OK && !is_missing(code)) fail(catalogue_text("cannot read the directory"));
    return code == ZK_OK;
}

CheckDirectory::CheckDirectory(const DirectoryOptions &options) {
    require(ZKCallsInit(nullptr, nullptr), catalogue_text("cannot start the directory client"));
    require(ZKCLXInit(nullptr, nullptr), catalogue_text("cannot start the directory client"));
    // An administrator is a guest here: no copy of what they may read, and no password of theirs, stays.
    if (options.as) require(ZKKeepNothing(), catalogue_text("cannot start the directory client"));
    require(ZKDSCreateContextHandle(&handle_), catalogue_text("cannot start the directory client"));
    try {
        use(options);
    } catch (const std::exception &) {
        ZKDSFreeContext(handle_);
        throw;
    }
}

CheckDirectory::~CheckDirectory() {
    ZKDSFreeContext(handle_);
}

static std::string without_period(const std::string &name) {
    return name.substr(!name.empty() && name[0] == '.' ? 1 : 0);
}

void CheckDirectory::use(const DirectoryOptions &options) {
    char tree[ZK_MAX_NAME + 1] = "";
    if (!options.tree)
        require(ZKDSGetContext(handle_, DCK_TREE_NAME, tree), catalogue_text("cannot find the default tree"));
    tree_ = options.tree.value_or(tree);
    const std::string attempt = catalogue_format("cannot use tree %s", tree_.c_str());
    require(ZKDSSetContext(handle_, DCK_FLAGS, &login_context_flags), attempt);
    require(ZKDSSetContext(handle_, DCK_TREE_NAME, tree_.c_str()), attempt);
    context_ = without_period(options.context.value_or(""));
    require(ZKDSSetContext(handle_, DCK_NAME_CONTEXT, context_.c_str()), attempt);
    if (options.as) login_as(handle_, tree_, *options.as, options.passwordDescriptor);
    if (!options.user) return;
    char name[ZK_MAX_NAME + 1] = "";
    const uint32_t code = ZKDSReadObjectInfo(handle_, options.user->c_str(), name, nullptr);
    require(code, catalogue_format("cannot find user %s", options.user->c_str()));
    const std::string_view whole = name;
    const size_t period = find_unescaped(whole, '.');
    context_ = period < whole.size() ? whole.substr(period + 1) : "";
    require(ZKDSSetContext(handle_, DCK_NAME_CONTEXT, context_.c_str()), attempt);
}

std::optional<std::string> CheckDirectory::classOf(const std::string &name) const {
    char found[ZK_MAX_NAME + 1] = "";
    ZKDSObjectInfo info = {};
    if (!is_there(ZKDSReadObjectInfo(handle_, name.c_str(), found, &info))) return {};
    return info.baseClass;
}

bool CheckDirectory::hasServer(const std::string &name) const {
    uint32_t connection = 0;
    const uint32_t code =
        ZKCCOpenConnByName(0, name.c_str(), ZK_NAME_FILE_SERVER, ZK_OPEN_BY_NAME, ZK_TRANSPORT_ANY, &connection);
    if (code == ZK_OK) ZKCCCloseConn(connection);
    return is_there(code);
}

bool CheckDirectory::hasTree(const std::string &name) const {
    uint32_t handle = 0;
    require(ZKDSCreateContextHandle(&handle), catalogue_text("cannot start the directory client"));
    const uint32_t code = ZKDSSetContext(handle, DCK_TREE_NAME, name.c_str());
    ZKDSFreeContext(handle);
    return is_there(code);
}

namespace {

struct FreeBuffer {
    void operator()(ZKDSBuffer *buffer) const { ZKDSFreeBuf(buffer); }
};
using Buffer = std::unique_ptr<ZKDSBuffer, FreeBuffer>;

} // namespace

static Buffer make_buffer() {
    constexpr uint32_t size = 64 << 10;
    ZKDSBuffer *made = nullptr;
    if (ZKDSAllocBuf(size, &made) != ZK_OK) throw std::bad_alloc();
    return Buffer(made);
}

static Buffer request_for(uint32_t handle, const std::string &attribute) {
    Buffer request = make_buffer();
    require(ZKDSInitBuf(handle, ZK_OPERATION_READ, request.get()), catalogue_text("cannot read the directory"));
    const uint32_t code = ZKDSPutAttrName(handle, request.get(), attribute.c_str());
    return code == ZK_OK ? std::move(request) : Buffer();
}

bool CheckDirectory::knowsAttribute(const std::string &name) const {
    const Buffer request = request_for(handle_, name), reply = make_buffer();
    int32_t iteration = ZK_NO_MORE_ITERATIONS;
    return request && is_there(ZKDSReadAttrDef(handle_, ZK_INFO_NAMES, 0, request.get(), &iteration, reply.get()));
}

bool CheckDirectory::hasValue(const std::string &object, const std::string &attribute) const {
    const Buffer request = request_for(handle_, attribute), reply = make_buffer();
    int32_t iteration = ZK_NO_MORE_ITERATIONS;
    return request && is_there(ZKDSRead(handle_, object.c_str(), ZK_INFO_NAMES_AND_VALUES, 0, request.get(), &iteration,
                                        reply.get()));
}

std::optional<std::string> CheckDirectory::scriptOf(const std::string &name) const {
    constexpr size_t limit = 64 << 20; // more than a login reads
    uint32_t file = 0;
    if (!is_there(ZKDSOpenStream(handle_, name.c_str(), "Login Script", 0, &file))) return {};
    std::string text;
    char part[4096];
    uint32_t code = ZK_OK, got = sizeof part;
    while (code == ZK_OK && got == sizeof part && text.size() < limit) {
        code = ZKReadFile(file, sizeof part, &got, part);
        if (code == ZK_OK) text.append(part, got);
    }
    ZKCloseFile(file);
    require(code, catalogue_format("cannot read the script of %s", name.c_str()));
    return text + "\r\n";
}

// The mapping program stands beside this one in the build, and among the users' programs where it was installed.
static std::string map_program() {
    const std::string beside = own_folder() + "/map";
    return access(beside.c_str(), X_OK) == 0 ? beside : own_folder() + "/../../bin/map";
}

[[noreturn]] static void run_map(const std::string &line, const std::string &tree, const std::string &context,
                                 int errors) {
    dup2(errors, STDERR_FILENO);
    dup2(errors, STDOUT_FILENO);
    setenv("QRT_TREE", tree.c_str(), 1);
    setenv("QRT_CONTEXT", context.c_str(), 1);
    const std::string program = map_program();
    execl(program.c_str(), "map", "--check", line.c_str(), nullptr);
    _exit(127);
}

std::string CheckDirectory::mapRefusal(const std::string &line) const {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    const Opened output(ends[0]);
    Opened input(ends[1]);
    const pid_t child = fork();
    if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
    if (child == 0) run_map(line, tree_, context_, input.number());
    input = Opened(-1);
    std::string said;
    char part[4096];
    for (ssize_t got; (got = TEMP_FAILURE_RETRY(read(output.number(), part, sizeof part))) > 0;)
        said.append(part, static_cast<size_t>(got));
    int status = 0;
    if (TEMP_FAILURE_RETRY(waitpid(child, &status, 0)) != child || !WIFEXITED(status) || WEXITSTATUS(status) == 127)
        throw std::runtime_error(catalogue_format("cannot run %1$s: %2$s", "map", strerror(errno)));
    if (WEXITSTATUS(status) == 0) return "";
    said.resize(std::min(said.find('\n'), said.size()));
    const size_t name = said.find("map: ");
    return name == 0 ? said.substr(5) : said;
}
