// What would leave the process: output, variables, programs, logins, questions, files. When a plan is made it is
// recorded, and not done.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "qrtscript.h"
#include "script/conditions.h"
#include "tools/qrtscript/plan/drives.h"
#include "tools/qrtscript/plan/running.h"
#include "tools/qrtscript/plan/seams.h"

// ---- output ----

// The library's messages that tell of nothing wrong.
static bool is_information(const char *message) {
    static const char *const messages[] = {
        "Your current tree is: %s\n",
        "Your current context is: %s\n",
        "User: %s\n",
        "You are attached to server %s\n",
        "Last Login occurred at: %s\n",
        "Press Enter key to continue...\n",
        "DEBUG turned on level=%i\n",
        "Exiting script...\n",
        "Attached to server(%s)\n",
        "Already logged into Tree(%1$s) as %2$s\n",
        "Server not authenticated - login to server:%s\n",
        "set_time command not implemented for Linux\n",
        "REGREAD command not supported\n",
        "script_server (out of date) Ferrox 2 and Ferrox 3 users only\n",
    };
    for (const char *one : messages)
        if (strcmp(message, one) == 0) return true;
    return false;
}

static std::string without_line_ends(std::string text) {
    text.erase(text.find_last_not_of("\r\n") + 1);
    return text;
}

static void add_message(const char *message, const std::string &text) {
    if (is_information(message)) {
        recorder_add("message", {{"text", record_text(text)}, {"message", without_line_ends(message)}});
    } else {
        const std::string shown = record_text(text);
        recorder_add("mistake", {{"text", without_line_ends(shown)}, {"reported", true}, {"printed", shown}});
    }
}

// As the library's own are.
int wrap_say(const char *message, ...) __attribute__((format(printf, 1, 2)));
void wrap_output_print(const char *format, ...) __attribute__((format(printf, 1, 2)));
void wrap_output_trace(TracedFunction function, int line, const char *format, ...)
    __attribute__((format(printf, 3, 4)));

static void keep_report_of(const char *format, va_list arguments) noexcept __attribute__((format(printf, 1, 0)));
static std::string formatted(const char *format, va_list arguments) __attribute__((format(printf, 1, 0)));
static std::string formatted(const char *format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const int length = vsnprintf(nullptr, 0, format, again);
    va_end(again);
    std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
    vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

// The report of a mistake, which wrap_syntax_error_report shows: it is also made when memory has run out, by a function
// that has to come to its end.
static void keep_report(std::string_view text) noexcept {
    try {
        running().reported += text;
    } catch (const std::bad_alloc &) {
        running().reported.clear();
    }
}

static void keep_report_of(const char *format, va_list arguments) noexcept {
    char *text = nullptr;
    if (vasprintf(&text, format, arguments) < 0) return;
    keep_report(text);
    free(text);
}

int wrap_say(const char *message, ...) {
    if (fdr == nullptr) return 0;
    va_list arguments;
    va_start(arguments, message);
    if (running().inMistake) {
        keep_report_of(output_translate(message), arguments);
        va_end(arguments);
        return 0;
    }
    const std::string text = formatted(output_translate(message), arguments);
    va_end(arguments);
    if (!recorder_plans()) real_output_put(text);
    if (recorder_is_on()) add_message(message, text);
    return 0;
}

static void add_text(std::string_view text) {
    const bool isEndMarker = text.size() == 1 && text.front() == '\0';
    if (isEndMarker || text.empty() || running().clearsScreen) return;
    std::string shown = record_text(text);
    if (running().inFormatError) {
        recorder_add("mistake", {{"text", without_line_ends(shown)}, {"reported", true}, {"printed", shown}});
    } else {
        Json effect = {{"text", std::move(shown)}};
        if (running().isUncertain) effect["uncertain"] = true;
        recorder_add("print", std::move(effect));
    }
}

void wrap_output_put(std::string_view text) {
    if (fdr == nullptr) return;
    if (running().inMistake) return keep_report(text);
    if (!recorder_plans()) real_output_put(text);
    if (recorder_is_on()) add_text(text);
}

void wrap_output_print(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::string text = formatted(format, arguments);
    va_end(arguments);
    if (recorder_is_on()) {
        const std::string shown = record_text(text);
        recorder_add("mistake", {{"text", without_line_ends(shown)}, {"reported", true}, {"printed", shown}});
    }
    if (!recorder_plans()) real_output_print("%s", text.c_str());
}

// Traces name passwords; a plan tells what they would.
void wrap_output_trace(TracedFunction function, int line, const char *format, ...) {
    if (recorder_is_on()) return;
    va_list arguments;
    va_start(arguments, format);
    const std::string text = formatted(format, arguments);
    va_end(arguments);
    real_output_trace(function, line, "%s", text.c_str());
}

void wrap_cls_statement() {
    running().clearsScreen = true;
    real_cls_statement();
    running().clearsScreen = false;
    if (recorder_is_on()) recorder_add("clear_screen", Json::object());
}

// ---- the session ----

// In the process that makes the plan, which ends with it.
void wrap_variables_set(const char *name, const char *value) {
    if (!recorder_is_on()) return real_variables_set(name, value);
    const char *before = getenv(name);
    const bool wasSecret = before != nullptr && running_is_secret(name, before);
    const bool isSecret = running_is_secret(name, value) || recorder_hides_here(value);
    if (isSecret) {
        recorder_hide(value);
        running().secretVariables.insert(name);
    }
    Json effect = {{"name", record_text(name)}};
    effect["old"] = before == nullptr ? Json() : Json(wasSecret ? record_hidden : record_text(before));
    effect["new"] = isSecret ? record_hidden : record_text(value);
    real_variables_set(name, value);
    if (*name != '\0' && strchr(name, '=') == nullptr) recorder_add("set", std::move(effect));
}

void wrap_session_shift_variables(int count) {
    real_session_shift_variables(count);
    if (!recorder_is_on()) return;
    Json variables = Json::object();
    for (int i = 0; i < QRT_USER_VARIABLES; i++)
        if (uservars[i] != nullptr) variables["%" + std::to_string(i)] = record_text(uservars[i]);
    recorder_add("shift", {{"by", count}, {"variables", std::move(variables)}});
}

void wrap_profile_statement(OwnedText name) {
    if (recorder_is_on()) recorder_add("profile", {{"name", record_text(name.get())}});
    real_profile_statement(std::move(name));
}

void wrap_no_default_statement() {
    real_no_default_statement();
    if (recorder_is_on()) recorder_add("no_default", Json::object());
}

void wrap_break_statement(bool on) {
    real_break_statement(on);
    if (recorder_is_on()) recorder_add("break", {{"on", on}});
}

// ---- programs ----

static bool is_program(const std::string &path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && access(path.c_str(), X_OK) == 0;
}

// As execvp finds it, on this machine.
static bool is_found(const std::string &name) {
    if (name.find('/') != name.npos) return is_program(name);
    const char *variable = getenv("PATH");
    const std::string path = variable != nullptr ? variable : "/bin:/usr/bin";
    for (size_t start = 0; start <= path.size();) {
        const size_t end = std::min(path.find(':', start), path.size());
        const std::string folder = path.substr(start, end - start);
        if (is_program((folder.empty() ? "." : folder) + "/" + name)) return true;
        start = end + 1;
    }
    return false;
}

static int recorded_run(const std::vector<std::string> &words, bool waits) {
    if (recorder_plans() && drives_is_map(words)) return drives_map(words);
    Json shown = Json::array();
    for (const std::string &word : words) shown.push_back(record_text(record_word(word)));
    Json effect = {{"words", std::move(shown)}, {"waits", waits}};
    if (recorder_plans()) effect["found"] = is_found(words.front());
    recorder_add("run", std::move(effect));
    running().hasRunProgram = true;
    return 0;
}

int wrap_child_run(std::vector<std::string> words) {
    if (recorder_is_on()) {
        const int status = recorded_run(words, true);
        if (recorder_plans()) return status;
    }
    return real_child_run(std::move(words));
}

void wrap_child_run_in_background(std::vector<std::string> words) {
    if (recorder_is_on()) {
        recorded_run(words, false);
        if (recorder_plans()) return;
    }
    real_child_run_in_background(std::move(words));
}

// ---- files on servers ----

OwnedText wrap_local_file_read(const char *path, size_t &length) {
    return recorder_plans() ? real_local_file_read(drives_path(path).c_str(), length)
                            : real_local_file_read(path, length);
}

// A file has been looked for; its text is what follows.
static OwnedText noted_file(std::string name, OwnedText text) {
    // The notation of a path doubles its slash.
    const size_t slashes = name.find("//");
    if (slashes != name.npos && slashes > 0) name.erase(slashes, 1);
    const bool found = text != nullptr && *text != '\0';
    running().next = {"include", name, running().hasRunProgram};
    if (!recorder_is_on() || !condition_executing()) return text;
    running().isUncertain = found && running().hasRunProgram;
    Json effect = {{"name", record_text(name)}, {"found", found}};
    if (running().isUncertain) effect["uncertain"] = true;
    recorder_add("read", std::move(effect));
    return text;
}

OwnedText wrap_file_on_volume(OwnedText volume, OwnedText path) {
    const std::string name = std::string(volume.get()) + ":" + path.get();
    return noted_file(name, real_file_on_volume(std::move(volume), std::move(path)));
}

OwnedText wrap_file_on_server(OwnedText server, OwnedText volume, OwnedText path) {
    const std::string name = std::string(server.get()) + "/" + volume.get() + ":" + path.get();
    return noted_file(name, real_file_on_server(std::move(server), std::move(volume), std::move(path)));
}

OwnedText wrap_file_plain(OwnedText path) {
    const std::string name = path.get();
    return noted_file(name, real_file_plain(std::move(path)));
}

OwnedText wrap_file_unc(OwnedText server, OwnedText path) {
    const std::string name = std::string("\\\\") + server.get() + "\\" + path.get();
    return noted_file(name, real_file_unc(std::move(server), std::move(path)));
}

// A login script, which no program changes on this way, or a file.
OwnedText wrap_file_of_object(OwnedText name) {
    const std::string written = name.get();
    running().objectScript.reset();
    OwnedText text = real_file_of_object(std::move(name));
    if (!running().objectScript) return noted_file(written, std::move(text));
    running().next = {"include", written};
    if (recorder_is_on()) recorder_add("read", {{"object", record_text(*running().objectScript)}, {"found", true}});
    return text;
}

// ---- drives ----

void wrap_drive_statement(OwnedText name) {
    if (!recorder_is_on()) return real_drive_statement(std::move(name));
    const std::string written = record_text(name.get());
    real_drive_statement(std::move(name));
    recorder_add("drive", {{"name", written}, {"folder", record_text(driveDir != nullptr ? driveDir : "")}});
}

std::optional<std::string> wrap_drive_target(const char *link) {
    return recorder_plans() ? drives_target(link) : real_drive_target(link);
}

uint32_t wrap_ZKCCSetPrimConn(uint32_t connection) {
    const uint32_t code = real_ZKCCSetPrimConn(connection);
    if (code == ZK_OK) drives_note_primary(connection);
    return code;
}

// ---- logins ----

static Json text_or_none(const char *text) {
    return text == nullptr ? Json() : Json(record_text(text));
}

void wrap_tree_statement(OwnedText tree, OwnedText user, SecretText password) {
    if (recorder_is_on()) {
        if (password != nullptr) recorder_hide(password.get());
        recorder_add("tree", {{"tree", text_or_none(tree.get())},
                              {"user", text_or_none(user.get())},
                              {"password", password != nullptr ? "given" : "none"}});
    }
    real_tree_statement(std::move(tree), std::move(user), std::move(password));
}

static std::string who_am_i(uint32_t context) {
    char name[ZK_MAX_NAME + 1] = "";
    return ZKDSWhoAmI(context, name) == ZK_OK ? name : "";
}

// Whether the password is right is not asked.
static uint32_t assumed_login(uint32_t context, const char *object) {
    const std::string before = who_am_i(context);
    uint32_t code = ZKDSActAs(context, object);
    if (code == ZK_OK && !before.empty() && !equal_nocase(before, who_am_i(context))) {
        ZKDSActAs(context, before.c_str());
        return ZKE_OTHER_IDENTITY;
    }
    if (code == ZK_OK) code = ZKDSLoginState(context);
    if (code != ZK_OK && code != ZKE_NO_SUCH_ENTRY) ZKDSActAs(context, before.empty() ? nullptr : before.c_str());
    return code;
}

// A login of a run is a real one.
static void add_login(Json effect) {
    if (!recorder_plans()) effect["real"] = true;
    recorder_add("login", std::move(effect));
}

uint32_t wrap_ZKDSLoginEx(uint32_t context, const char *object, uint32_t option, const char *password) {
    if (!recorder_is_on()) return real_ZKDSLoginEx(context, object, option, password);
    if (password != nullptr) recorder_hide(password);
    char tree[ZK_MAX_NAME + 1] = "";
    ZKDSGetContext(context, DCK_TREE_NAME, tree);
    const uint32_t code = !recorder_plans()   ? real_ZKDSLoginEx(context, object, option, password)
                          : object == nullptr ? static_cast<uint32_t>(ZKE_BAD_PARAMETER)
                                              : assumed_login(context, object);
    add_login({{"tree", record_text(tree)}, {"user", text_or_none(object)}, {"code", code}});
    return code;
}

uint32_t wrap_ZKDSLogout(uint32_t context) {
    if (!recorder_is_on()) return real_ZKDSLogout(context);
    char tree[ZK_MAX_NAME + 1] = "";
    ZKDSGetContext(context, DCK_TREE_NAME, tree);
    recorder_add("logout", {{"tree", record_text(tree)}, {"user", record_text(who_am_i(context))}});
    return recorder_plans() ? ZKDSActAs(context, nullptr) : real_ZKDSLogout(context);
}

uint32_t wrap_ZKLoginToFileServer(uint32_t connection, const char *user, uint32_t objectType, const char *password) {
    if (!recorder_is_on()) return real_ZKLoginToFileServer(connection, user, objectType, password);
    char server[ZK_SERVER_NAME_SIZE + 1] = "";
    ZKCCGetConnInfo(connection, ZK_INFO_SERVER_NAME, ZK_SERVER_NAME_SIZE, server);
    const uint32_t code = recorder_plans() ? ZK_OK : real_ZKLoginToFileServer(connection, user, objectType, password);
    add_login({{"server", record_text(server)}, {"user", text_or_none(user)}, {"code", code}});
    return code;
}

// ---- questions ----

// The first question of a line is taken to be answered with the name that it offers, or else the user's own; one that
// comes after a refusal is taken to be cancelled.
static int assumed_answer(const char *label, const char *offered, char **user, char **password) {
    const bool isAnswered = running().prompts++ == 0;
    const bool hasName = offered != nullptr && *offered != '<';
    const std::string name = hasName ? offered : LoginName != nullptr ? LoginName : "";
    recorder_add("question", {{"text", record_text(label != nullptr ? label : "")},
                              {"asks_for", "name and password"},
                              {"assumed", isAnswered ? record_text(name) : "cancelled"}});
    if (!isAnswered) return 1;
    *user = strdup(name.c_str());
    *password = strdup("");
    return *user != nullptr && *password != nullptr ? 0 : 1;
}

int wrap_auxinit_g() {
    return recorder_plans() ? 0 : real_auxinit_g();
}

int wrap_auxlogin_g(const char *label, const char *offered, char **user, char **password) {
    return recorder_plans() ? assumed_answer(label, offered, user, password)
                            : real_auxlogin_g(label, offered, user, password);
}

int wrap_auxlogin_c(const char *label, const char *offered, char **user, char **password) {
    return recorder_plans() ? assumed_answer(label, offered, user, password)
                            : real_auxlogin_c(label, offered, user, password);
}

int wrap_auxconfirm_g(const char *text, const char *icon, int buttons, int defaultButton) {
    constexpr int yes = 4;
    if (!recorder_plans()) return real_auxconfirm_g(text, icon, buttons, defaultButton);
    const bool isYes = running().questions++ == 0;
    recorder_add("question",
                 {{"text", record_text(text)}, {"asks_for", "yes or no"}, {"assumed", isYes ? "yes" : "no"}});
    return isYes ? yes : 0;
}

int wrap_auxpause_script() {
    if (!recorder_plans()) return real_auxpause_script();
    recorder_add("question", {{"text", ""}, {"asks_for", "a key"}, {"assumed", "pressed"}});
    return 0;
}
