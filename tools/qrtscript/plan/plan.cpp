#include "tools/qrtscript/plan/plan.h"

#include <cstdio>
#include <cstring>
#include <ctime>

#include "platform/catalogue.h"
#include "platform/treelogin.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtlogin/login.h"
#include "tools/qrtlogin/password.h"
#include "tools/qrtscript/plan/input.h"
#include "tools/qrtscript/plan/session.h"
#include "tools/qrtscript/plan/show_text.h"

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

// ---- one plan ----

static SessionRequest request_of(const PlanOptions &options, const std::string &tree) {
    SessionRequest request;
    request.user = options.user.value_or("");
    request.tree = tree;
    request.context = options.context;
    request.server = options.server;
    request.script = options.script;
    request.profileScript = options.profileScript;
    request.variables = options.variables;
    request.now = options.asOf ? input_time(*options.asOf) : time(nullptr);
    if (options.environmentFile) request.environment = input_environment(*options.environmentFile);
    return request;
}

static Json heading_of(const char *format, const SessionRequest &request, const Reader &reader) {
    Json heading = {{"format", format}, {"version", format_version}, {"time", input_time_text(request.now)}};
    heading["read_as"] = reader.name ? Json(recorder_text(*reader.name)) : Json();
    heading["rights"] = "values were read with the administrator's rights";
    return heading;
}

static Json whole_plan(const SessionRequest &request, const Reader &reader) {
    Json plan = heading_of("qrtscript-plan", request, reader);
    plan.update(session_plan(request, reader));
    plan["mistakes"] = plan_count_mistakes(plan);
    return plan;
}

static void write_out(const std::string &text) {
    fwrite(text.data(), 1, text.size(), stdout);
}

static std::string json_text(const Json &value) {
    return value.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

int plan_run(const PlanOptions &options) {
    ZKKeepNothing();
    Options forTree;
    forTree.tree = options.tree;
    forTree.server = options.tree ? std::nullopt : options.server;
    const Login login(forTree);
    input_require_script(options.script);
    input_require_script(options.profileScript);
    const SessionRequest request = request_of(options, login.tree());
    const Reader reader = reader_of(options, login);
    const Json plan = whole_plan(request, reader);
    write_out(options.json ? json_text(plan) : show_text(plan));
    return plan_count_mistakes(plan) == 0 ? plan_clean : plan_mistakes;
}
