#include "tools/qrtscript/plan/session.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstring>
#include <functional>
#include <new>
#include <set>
#include <string_view>

#include "base/clock.h"
#include "base/output.h"
#include "platform/catalogue.h"
#include "platform/common/opened.h"
#include "platform/common/write_all.h"
#include "qrtscript.h"
#include "script/syntax_error.h"
#include "tools/own_folder.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtlogin/login.h"
#include "tools/qrtscript/plan/confine.h"
#include "tools/qrtscript/plan/reader.h"
#include "tools/qrtscript/plan/running.h"
#include "tools/qrtscript/secret_names.h"

static constexpr rlim_t cpu_seconds = 120;
static constexpr size_t longest_record = size_t{512} << 20;
// The scripts are stopped earlier, unless a file or a server does not answer.
static constexpr time_t longest_wait = 180; // in seconds

// ---- in the session's process ----

static int result_pipe = -1;
static Json answer; // an object; nothing that needs memory before main()

[[noreturn]] static void leave() {
    const bool isWritten = write_all(result_pipe, answer.dump(-1, ' ', false, Json::error_handler_t::replace));
    _exit(isWritten ? 0 : 1);
}

// The scripts have ended, or they would not.
[[noreturn]] static void leave_with_record() {
    Json record = recorder_result();
    recorder_turn_off();
    recorder_scrub(recorder_secrets(), &answer["environment"]);
    answer.update(record);
    answer["secrets"] = recorder_secrets();
    leave();
}

static void leave_early() {
    leave_with_record();
}

static void limit(__rlimit_resource resource, rlim_t most) {
    rlimit now = {};
    if (getrlimit(resource, &now) == 0) most = std::min(most, now.rlim_max);
    const rlimit both = {most, most};
    setrlimit(resource, &both);
}

// Nothing that a plan needs is left to be told with.
[[noreturn]] static void leave_without_memory() {
    _exit(exit_system);
}

static void limit_process() {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    limit(RLIMIT_CPU, cpu_seconds);
    limit(RLIMIT_CORE, 0);
#ifndef QRT_SANITIZED // whose own tables take terabytes of addresses
    // A script that doubles a variable in a loop ends the plan, not the machine.
    constexpr rlim_t two_gigabytes = rlim_t{2} << 30;
    limit(RLIMIT_AS, two_gigabytes);
#endif
    std::set_new_handler([] { leave_without_memory(); });
    signal(SIGPIPE, SIG_IGN);
}

static Options options_of(const SessionRequest &request) {
    Options options;
    options.user = request.user;
    options.tree = request.tree;
    options.context = request.context;
    options.server = request.server;
    options.loginScript = request.script;
    options.profileScript = request.profileScript;
    options.variables = request.variables;
    return options;
}

namespace {

// The values of an attribute, reply after reply.
class AttributeValues {
  public:
    AttributeValues(uint32_t context, const char *object, const char *attribute) : context_(context) {
        if (ZKDSAllocBuf(buffer_size, &request_) != ZK_OK || ZKDSAllocBuf(buffer_size, &reply_) != ZK_OK) return;
        ZKDSInitBuf(context, ZK_OPERATION_READ, request_);
        if (ZKDSPutAttrName(context, request_, attribute) != ZK_OK) return;
        int32_t iteration = ZK_NO_MORE_ITERATIONS;
        do {
            if (ZKDSRead(context, object, ZK_INFO_NAMES_AND_VALUES, 0, request_, &iteration, reply_) != ZK_OK) return;
            takeReply();
        } while (iteration != ZK_NO_MORE_ITERATIONS);
    }
    ~AttributeValues() {
        if (request_ != nullptr) ZKDSFreeBuf(request_);
        if (reply_ != nullptr) ZKDSFreeBuf(reply_);
    }
    AttributeValues(const AttributeValues &) = delete;
    AttributeValues &operator=(const AttributeValues &) = delete;
    Json list = Json::array();

  private:
    static constexpr uint32_t buffer_size = 4096;

    void takeReply() {
        uint32_t attributes = 0, values = 0, syntax = 0, size = 0;
        char name[ZK_MAX_ATTR_NAME + 1] = "";
        if (ZKDSGetAttrCount(context_, reply_, &attributes) != ZK_OK || attributes == 0 ||
            ZKDSGetAttrName(context_, reply_, name, &values, &syntax) != ZK_OK)
            return;
        for (uint32_t i = 0; i < values && ZKDSComputeAttrValSize(context_, reply_, syntax, &size) == ZK_OK; i++) {
            std::string value(size + 1, '\0');
            if (ZKDSGetAttrVal(context_, reply_, syntax, value.data()) != ZK_OK) return;
            list.push_back(record_text(value.c_str()));
        }
    }

    uint32_t context_;
    ZKDSBuffer *request_ = nullptr, *reply_ = nullptr;
};

} // namespace

// An object of these classes has no password, so that a login fails.
static bool is_no_user(uint32_t context) {
    static const std::set<std::string_view> others = {
        "Group",     "Profile",      "Volume",  "Server",   "Directory Map", "Organizational Unit",
        "Container", "Organization", "Country", "Locality", "Domain"};
    char name[ZK_MAX_NAME + 1] = "", found[ZK_MAX_NAME + 1] = "";
    ZKDSObjectInfo info = {};
    if (ZKDSWhoAmI(context, name) != ZK_OK) return false;
    const std::string complete = "." + std::string(name);
    return ZKDSReadObjectInfo(context, complete.c_str(), found, &info) == ZK_OK && others.count(info.baseClass) != 0;
}

// Who logs in; and what a login would say.
static void act_as_user(const Login &login, const SessionRequest &request) {
    uint32_t code = ZKDSActAs(login.context(), request.user.c_str());
    if (code == ZK_OK && is_no_user(login.context())) code = ZKE_NO_SUCH_ENTRY;
    if (code != ZK_OK)
        throw failure_of(code, catalogue_format("cannot plan a login of %1$s to tree %2$s", request.user.c_str(),
                                                request.tree.c_str()));
    char name[ZK_MAX_NAME + 1] = "";
    ZKDSWhoAmI(login.context(), name);
    answer["user"] = record_text(name);
    answer["tree"] = record_text(request.tree);
    const std::string complete = "." + std::string(name);
    answer["groups"] = AttributeValues(login.context(), complete.c_str(), "Group Membership").list;
    if (ZKDSLoginState(login.context()) == ZK_OK) return;
    char reason[1024] = "";
    ZKGetLastErrorText(sizeof reason, reason);
    answer["refused"] = record_text(reason);
}

static Variables bare_environment(const std::string &login) {
    return {{"HOME", "/home/" + login},
            {"LANG", "C.UTF-8"},
            {"LOGNAME", login},
            {"PATH", "/usr/local/bin:/usr/bin:/bin"},
            {"USER", login}};
}

static void set_environment(const SessionRequest &request, const Login &login, const std::string &leaf) {
    auto variables = request.environment ? *request.environment : bare_environment(leaf);
    clearenv();
    Json shown = Json::object();
    // What a login program lends the scripts.
    variables.emplace_back("QRT_TREE", request.tree);
    variables.emplace_back("QRT_CONTEXT", login.container());
    for (const auto &[name, value] : variables) {
        setenv(name.c_str(), value.c_str(), 1);
        shown[record_text(name)] = secret_variable(name, value) ? record_hidden : record_text(value);
    }
    answer["environment"] = std::move(shown);
}

// A login without the locale has that of the process's start, and not the administrator's.
static void set_locale() {
    setlocale(LC_ALL, "C");
    if (setlocale(LC_ALL, "") != nullptr) return;
    for (const char *variable :
         {"LC_ALL", "LC_CTYPE", "LC_NUMERIC", "LC_TIME", "LC_COLLATE", "LC_MONETARY", "LC_MESSAGES", "LC_PAPER",
          "LC_NAME", "LC_ADDRESS", "LC_TELEPHONE", "LC_MEASUREMENT", "LC_IDENTIFICATION", "LANG"}) {
        const char *name = getenv(variable);
        if (name == nullptr || *name == '\0') continue;
        const locale_t found = newlocale(LC_ALL_MASK, name, nullptr);
        if (found == nullptr) {
            answer["locale_missing"] = record_text(name);
            return;
        }
        freelocale(found);
    }
}

static time_t planned_now = 0;

static char *text_or_null(std::optional<std::string> *text) {
    return *text ? (*text)->data() : nullptr;
}

static void run_sequence_of(Options options, const std::string &name) {
    std::string user = name; // the library cuts it
    std::string tree = *options.tree;
    QrtRunScriptsArgs args = {};
    args.userVar2 = text_or_null(&options.variables[0]);
    args.userVar3 = text_or_null(&options.variables[1]);
    args.userVar4 = text_or_null(&options.variables[2]);
    args.userVar5 = text_or_null(&options.variables[3]);
    args.treename = tree.data();
    args.context = text_or_null(&options.context);
    args.user = user.data();
    args.profileScript = text_or_null(&options.profileScript);
    args.loginScript = text_or_null(&options.loginScript);
    args.server = text_or_null(&options.server);
    running().profileFile = options.profileScript.value_or("");
    CurrentPassword = strdup("");
    const uint32_t code = qrt_RunScripts(&args);
    answer["failed"] = code != 0 || syntax_error != 0;
}

static void list_users(const SessionRequest &request, const Reader &reader, const std::string &container) {
    reader_log_in(request.tree, reader);
    const Login login(options_of(request));
    static const auto add = [](void *, const char *name) { answer["users"].push_back("." + record_text(name)); };
    answer["users"] = Json::array();
    const uint32_t code = ZKDSScanUsers(
        login.context(), container.c_str(), [](void *caller, const char *name) { add(caller, name); }, nullptr);
    const std::string attempt =
        catalogue_format("cannot list the users of %s", container.empty() ? request.tree.c_str() : container.c_str());
    if (code == ZKE_NO_SUCH_ENTRY) throw Failure(exit_user, attempt + ": " + catalogue_text("no such container"));
    if (code != ZK_OK) throw failure_of(code, attempt);
    leave();
}

static void run_session(const SessionRequest &request, const Reader &reader) {
    reader_log_in(request.tree, reader);
    const Options options = options_of(request);
    const Login login(options);
    act_as_user(login, request);
    const std::string user = login.nameForScripts(request.user);
    set_environment(request, login, user.substr(0, user.find('.')));
    set_locale();
    planned_now = request.now;
    clock_now = [] { return planned_now; };
    FILE *nowhere = fopen("/dev/null", "we");
    if (nowhere == nullptr || qrt_init(nullptr, nowhere) != 0)
        throw Failure(exit_system, catalogue_text("cannot start a session"));
    own_catalogues_bind();
    debug_level = 0;
    if (!confine_process())
        throw Failure(exit_system, catalogue_text("cannot confine the process that makes the plan"));
    recorder_start(Recording::plan, leave_early);
    for (const auto &[name, value] : request.environment.value_or(Variables()))
        if (secret_variable(name, value)) recorder_hide(value);
    run_sequence_of(options, user);
    leave_with_record();
}

// Runs `body`, which leaves by itself unless it throws.
[[noreturn]] static void session_main(const std::function<void()> &body) {
    limit_process();
    ZKKeepNothing();
    try {
        body();
    } catch (const std::bad_alloc &) {
        leave_without_memory();
    } catch (const Failure &failure) {
        answer = {{"error", record_text(failure.what())}, {"status", failure.status()}};
    } catch (const std::exception &problem) {
        answer = {{"error", record_text(problem.what())}, {"status", exit_system}};
    }
    leave();
}

// ---- in the calling process ----

static time_t seconds_now() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec;
}

// False when there is nothing to read for so many seconds; -1: waits as long as it takes.
static bool awaits(int pipe, time_t seconds) {
    pollfd file = {pipe, POLLIN, 0};
    const int wait = seconds < 0 ? -1 : static_cast<int>(seconds * 1000);
    return TEMP_FAILURE_RETRY(poll(&file, 1, wait)) != 0;
}

// None when it does not come to its end in time.
static std::optional<std::string> read_all(int pipe, time_t longest) {
    const time_t end = seconds_now() + longest;
    std::string text;
    char piece[65536];
    while (text.size() < longest_record) {
        if (!awaits(pipe, longest < 0 ? -1 : std::max(end - seconds_now(), time_t{0}))) return std::nullopt;
        const ssize_t got = TEMP_FAILURE_RETRY(read(pipe, piece, sizeof piece));
        if (got <= 0) break;
        text.append(piece, static_cast<size_t>(got));
    }
    return text;
}

static std::string end_of(int status) {
    // The alarm is that of confine_process.
    if (WIFSIGNALED(status) && (WTERMSIG(status) == SIGXCPU || WTERMSIG(status) == SIGKILL))
        return catalogue_text("the scripts have used more than two minutes of processor time");
    const bool isWithoutMemory = WIFSIGNALED(status) ? WTERMSIG(status) == SIGALRM : WEXITSTATUS(status) == exit_system;
    if (isWithoutMemory) return catalogue_text("memory exhausted: the scripts of a plan can have 2 GiB at most");
    if (WIFSIGNALED(status)) return catalogue_format("its process was ended by signal %d", WTERMSIG(status));
    return catalogue_text("its process ended before its time");
}

// Ends a process that may not even be ended, in a call to a share that does not answer.
[[noreturn]] static void give_up(pid_t child, const std::string &attempt) {
    kill(child, SIGKILL);
    waitpid(child, nullptr, WNOHANG);
    throw Failure(exit_system,
                  attempt + ": " + catalogue_text("a file or a server has not answered for three minutes"));
}

static pid_t started(const std::function<void()> &body, int (&ends)[2]) {
    fflush(stdout);
    fflush(stderr);
    if (pipe2(ends, O_CLOEXEC) != 0) throw Failure(exit_system, strerror(errno));
    const pid_t child = fork();
    if (child < 0) throw Failure(exit_system, strerror(errno));
    if (child != 0) return child;
    close(ends[0]);
    result_pipe = ends[1];
    session_main(body);
}

// The answer of a process of its own. `attempt`: for the error when there is none in `longest` seconds, or at all.
static Json in_own_process(const std::function<void()> &body, const std::string &attempt, time_t longest) {
    int ends[2];
    const pid_t child = started(body, ends);
    close(ends[1]);
    const Opened answers(ends[0]);
    const std::optional<std::string> text = read_all(answers.number(), longest);
    if (!text) give_up(child, attempt);
    int status = 0;
    TEMP_FAILURE_RETRY(waitpid(child, &status, 0));
    Json result = Json::parse(*text, nullptr, false);
    if (result.is_discarded() || !result.is_object()) throw Failure(exit_system, attempt + ": " + end_of(status));
    if (result.contains("error")) throw Failure(result.value("status", exit_system), result.value("error", ""));
    return result;
}

Json session_plan(const SessionRequest &request, const Reader &reader, Secrets *secrets) {
    Json plan = in_own_process(
        [&] { run_session(request, reader); },
        catalogue_format("cannot plan a login of %1$s to tree %2$s", request.user.c_str(), request.tree.c_str()),
        longest_wait);
    for (const Json &secret : plan["secrets"]) secrets->insert(secret.get<std::string>());
    plan.erase("secrets");
    return plan;
}

std::vector<std::string> session_users(const SessionRequest &request, const Reader &reader,
                                       const std::string &container) {
    const Json result = in_own_process([&] { list_users(request, reader, container); },
                                       catalogue_format("cannot list the users of %s", request.tree.c_str()), -1);
    return result["users"].get<std::vector<std::string>>();
}
