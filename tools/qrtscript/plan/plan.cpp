#include "tools/qrtscript/plan/plan.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <new>

#include "platform/catalogue.h"
#include "platform/common/write_all.h"
#include "platform/treelogin.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtlogin/login.h"
#include "tools/qrtlogin/password.h"
#include "tools/qrtlogin/private_memory.h"
#include "tools/qrtscript/password_input.h"
#include "tools/qrtscript/plan/difference.h"
#include "tools/qrtscript/plan/input.h"
#include "tools/qrtscript/plan/session.h"
#include "tools/qrtscript/plan/show_text.h"
#include "tools/qrtscript/plan/summary.h"

static constexpr int format_version = 1;

// ---- who reads the directory ----

// The prompt of every login; it may be answered with another name.
static void ask_reader(const std::string &tree, Reader *reader) {
    char *user = nullptr, *password = nullptr;
    if (auxlogin_c(tree.c_str(), reader->name->c_str(), &user, &password) != 0)
        throw Failure(exit_password, catalogue_text("no password"));
    reader->name = user;
    free(user);
    strncpy(reader->password.text(), password, reader->password.capacity());
    explicit_bzero(password, strlen(password));
    free(password);
}

static Reader reader_of(const PlanOptions &options, const Login &login) {
    Reader reader;
    reader.name = options.as;
    if (!options.as) return reader;
    if (options.passwordDescriptor >= 0) {
        const Secret given = password_read(options.passwordDescriptor);
        strncpy(reader.password.text(), given.text(), reader.password.capacity());
    } else if (login.needsPassword()) {
        ask_reader(login.tree(), &reader);
    }
    return reader;
}

// Nothing has been read yet.
static void check_inputs(const PlanOptions &options) {
    for (const auto &file : {options.script, options.profileScript, options.otherScript, options.environmentFile})
        if (file) password_input_check(options.passwordDescriptor, *file);
}

// ---- one plan ----

static SessionRequest request_of(const PlanOptions &options, const std::string &tree) {
    SessionRequest request;
    request.user = options.user.value_or("");
    request.tree = tree;
    request.context = options.context;
    request.server = options.server;
    request.script = input_script(options.script);
    request.profileScript = input_script(options.profileScript);
    request.variables = options.variables;
    request.now = options.asOf ? input_time(*options.asOf) : time(nullptr);
    if (options.environmentFile) request.environment = input_environment(*options.environmentFile);
    return request;
}

static Json heading_of(const char *format, const SessionRequest &request, const Reader &reader) {
    Json heading = {{"format", format}, {"version", format_version}, {"time", input_time_text(request.now)}};
    heading["read_as"] = reader.name ? Json(record_text(*reader.name)) : Json();
    heading["rights"] =
        reader.name ? "values were read with the administrator's rights" : "values were read anonymously";
    return heading;
}

static Json whole_plan(const SessionRequest &request, const Reader &reader, Secrets *secrets) {
    Json plan = heading_of("qrtscript-plan", request, reader);
    plan.update(session_plan(request, reader, secrets));
    plan["mistakes"] = plan_count_mistakes(plan);
    return plan;
}

static void write_out(const std::string &text) {
    fwrite(text.data(), 1, text.size(), stdout);
}

static std::string json_text(const Json &value) {
    return value.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

static int status_of(size_t mistakes) {
    return mistakes == 0 ? plan_clean : plan_mistakes;
}

static int show_plan(const PlanOptions &options, const SessionRequest &request, const Reader &reader) {
    Secrets secrets;
    const Json plan = whole_plan(request, reader, &secrets);
    write_out(options.json ? json_text(plan) : show_text(plan));
    return status_of(plan_count_mistakes(plan));
}

// ---- the difference of two ----

// The exit status is that of the script that is to come.
static int show_difference(const PlanOptions &options, const std::string &script, const SessionRequest &request,
                           const Reader &reader) {
    SessionRequest other = request;
    other.script = script;
    Secrets secrets; // of either may stand in the other
    Json before = whole_plan(request, reader, &secrets), after = whole_plan(other, reader, &secrets);
    for (Json *plan : {&before, &after})
        for (const char *member : {"sources", "effects"}) recorder_scrub(secrets, &(*plan)[member]);
    const Json changes = difference_of(before, after);
    if (options.json) {
        Json result = heading_of("qrtscript-plan-difference", request, reader);
        result["user"] = after["user"];
        result["tree"] = after["tree"];
        result["changes"] = changes;
        result["mistakes"] = {{"before", before["mistakes"]}, {"after", after["mistakes"]}};
        write_out(json_text(result));
    } else {
        Json heading = after;
        heading["read_as"] = reader.name ? Json(record_text(*reader.name)) : Json();
        write_out(show_heading(heading) + difference_text(changes));
    }
    return status_of(plan_count_mistakes(after));
}

// ---- many users ----

namespace {

// On a terminal, how far it has come.
class Progress {
  public:
    explicit Progress(size_t all) : all_(all), isShown_(isatty(STDERR_FILENO) != 0) {}
    ~Progress() {
        if (isShown_) fputs("\r\x1B[K", stderr);
    }
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;
    void step() {
        done_++;
        if (!isShown_) return;
        const std::string text = catalogue_format(
            catalogue_plural("Planned %1$zu of %2$zu login", "Planned %1$zu of %2$zu logins", all_), done_, all_);
        fprintf(stderr, "\r%s", text.c_str());
    }

  private:
    size_t all_, done_ = 0;
    bool isShown_;
};

} // namespace

static Summary summary_of(const std::vector<std::string> &users, SessionRequest request, const Reader &reader,
                          Secrets *secrets) {
    Summary summary;
    Progress progress(users.size());
    for (const std::string &user : users) {
        request.user = user;
        try {
            summary.add(session_plan(request, reader, secrets));
        } catch (const Failure &failure) {
            summary.addFailure(user.substr(1), failure.what());
        }
        progress.step();
    }
    return summary;
}

static int show_summary(const PlanOptions &options, const SessionRequest &request, const Reader &reader) {
    const std::string container = options.container.value_or("");
    Secrets secrets;
    const Summary summary = summary_of(session_users(request, reader, container), request, reader, &secrets);
    Json result = heading_of("qrtscript-plan-summary", request, reader);
    result["tree"] = record_text(request.tree);
    result["container"] = record_text(container);
    result.update(summary.result(secrets));
    write_out(options.json ? json_text(result) : show_heading(result) + summary_text(result));
    return summary.failures() > 0 ? plan_failed : status_of(summary.mistakes());
}

// The destructor of a JSON value needs memory, too: without any it would end the program with a signal.
static void end_without_memory() {
    static const std::string text = "qrtscript plan: " + std::string(catalogue_text("memory exhausted")) + "\n";
    std::set_new_handler([] {
        write_all(STDERR_FILENO, text);
        _exit(plan_failed);
    });
}

int plan_run(const PlanOptions &options) {
    private_memory_begin(); // the sessions' processes inherit it
    check_inputs(options);
    ZKKeepNothing();
    Options forTree;
    forTree.tree = options.tree;
    forTree.server = options.tree ? std::nullopt : options.server;
    const Login login(forTree);
    const std::optional<std::string> other = input_script(options.otherScript);
    const SessionRequest request = request_of(options, login.tree());
    const Reader reader = reader_of(options, login);
    end_without_memory();
    if (options.allUsers) return show_summary(options, request, reader);
    if (other) return show_difference(options, *other, request, reader);
    return show_plan(options, request, reader);
}
