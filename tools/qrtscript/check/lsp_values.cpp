#include "tools/qrtscript/check/lsp_values.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <nlohmann/json.hpp>
#include <vector>

#include "platform/common/write_all.h"
#include "platform/terminal_text.h"
#include "tools/own_folder.h"
#include "tools/program_start.h"

using Json = nlohmann::json;
using std::chrono::seconds;

static constexpr seconds limit{3}, pause_after_silence{30};
static constexpr int password_descriptor = 3;
static const char *const silence = "the directory has not answered within 3 seconds";

std::string lsp_code(std::string text) {
    std::replace(text.begin(), text.end(), '`', '\'');
    return "`" + text + "`";
}

// Its beginning, with what a value may have that a line of text has not.
static std::string value_shown(const std::string &value) {
    constexpr size_t longest = 500;
    const std::string shown = terminal_text(value);
    if (shown.empty()) return "an empty text";
    if (shown.size() <= longest) return lsp_code(shown);
    size_t end = longest;
    while (end > 0 && (static_cast<unsigned char>(shown[end]) & 0xC0) == 0x80) --end;
    return lsp_code(shown.substr(0, end)) + " ...";
}

// ---- whose values ----

void LspValues::readAs(std::string name, Secret password) {
    as_ = std::move(name);
    password_ = std::move(password);
}

void LspValues::choose(LspUser user) {
    cancelAll();
    silentUntil_.reset();
    user_ = std::move(user);
}

// %2 to %9 come from the command line of a login. A name with signs could be more than a name in a script.
std::string LspValues::askable(std::string name) const {
    constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_";
    std::replace(name.begin(), name.end(), ' ', '_');
    const bool isGiven = name.size() == 1 && name[0] >= '2' && name[0] <= '9';
    return user_.user.empty() || isGiven || name.find_first_not_of(letters) != name.npos ? "" : name;
}

// ---- the process ----

// A file in memory that can be read from its beginning.
static Opened file_with(const std::string &text) {
    Opened file(memfd_create("script", MFD_CLOEXEC));
    if (file.isOpen() && (!write_all(file.number(), text) || lseek(file.number(), 0, SEEK_SET) != 0)) return Opened(-1);
    return file;
}

// The pipe holds all of it, before there is a reader.
static Opened pipe_with(const Secret &password) {
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) return Opened(-1);
    const Opened writeEnd(ends[1]);
    write_all(ends[1], {password.text(), strlen(password.text())});
    return Opened(ends[0]);
}

static std::vector<std::string> words_of(const LspUser &user, const std::string &as, bool hasPassword) {
    std::vector<std::string> words = {"qrtscript-plan", "plan", "--format=json", "--profile-script=/dev/null",
                                      "--user=" + user.user};
    if (!user.tree.empty()) words.push_back("--tree=" + user.tree);
    if (!user.context.empty()) words.push_back("--context=" + user.context);
    if (!as.empty()) words.push_back("--as=" + as);
    if (hasPassword) words.push_back("--password-fd=" + std::to_string(password_descriptor));
    words.emplace_back("-");
    return words;
}

namespace {

// Those that the process begins with.
struct Descriptors {
    int input, output, errors;
    int password; // negative: none
};

} // namespace

// In the new process. It has no terminal: a question for a password would be in the way of the editor there.
[[noreturn]] static void become_plan(const std::string &program, const std::vector<char *> &words,
                                     const Descriptors &from) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setsid();
    dup2(from.input, STDIN_FILENO);
    dup2(from.output, STDOUT_FILENO);
    dup2(from.errors, STDERR_FILENO);
    if (from.password == password_descriptor)
        fcntl(password_descriptor, F_SETFD, 0);
    else if (from.password >= 0)
        dup2(from.password, password_descriptor);
    program_restore_signals();
    execv(program.c_str(), words.data());
    const std::string why = std::string(program) + ": " + strerror(errno) + "\n";
    write_all(STDERR_FILENO, why);
    _exit(127);
}

// Returns why it cannot; nothing when it could.
std::string LspValues::start(const std::string &name) {
    const Opened input = file_with("IF \"%" + name + "\" = \"\" THEN CLS\n");
    errors_ = file_with("");
    const Opened password = password_.empty() ? Opened(-1) : pipe_with(password_);
    int ends[2] = {-1, -1};
    const bool areOpen = input.isOpen() && errors_.isOpen() && (password_.empty() || password.isOpen());
    if (!areOpen || pipe2(ends, O_CLOEXEC) != 0) return strerror(errno);
    output_ = Opened(ends[0]);
    const Opened writeEnd(ends[1]);
    fcntl(output_.number(), F_SETFL, O_NONBLOCK);
    std::vector<std::string> words = words_of(user_, as_, !password_.empty());
    std::vector<char *> pointers;
    for (std::string &word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    const std::string program = own_folder() + "/qrtscript-plan";
    const Descriptors descriptors = {input.number(), writeEnd.number(), errors_.number(), password.number()};
    program_ = fork();
    if (program_ < 0) return strerror(errno);
    if (program_ == 0) become_plan(program, pointers, descriptors);
    deadline_ = Clock::now() + limit;
    return "";
}

// What it has written is all that counts; it may be killed when that is complete.
void LspValues::end() {
    if (program_ > 0) {
        kill(program_, SIGKILL);
        kill(-program_, SIGKILL);
        TEMP_FAILURE_RETRY(waitpid(program_, nullptr, 0));
    }
    program_ = -1;
    output_ = Opened(-1);
    text_.clear();
}

// ---- questions ----

std::string LspValues::unknown(const std::string &why) const {
    return "For " + lsp_code(terminal_text(user_.user)) + ": not known: " + terminal_text(why);
}

void LspValues::ask(const std::string &key, const std::string &name, Taker taker) {
    questions_.push_back({key, name, std::move(taker)});
    next();
}

// Starts the process for the first question that has to wait for one.
void LspValues::next() {
    while (program_ < 0 && !questions_.empty()) {
        const bool isSilent = silentUntil_ && Clock::now() < *silentUntil_;
        const std::string problem = isSilent ? silence : start(questions_.front().name);
        if (!problem.empty()) answer(unknown(problem));
    }
}

void LspValues::answer(const std::string &sentence) {
    end();
    const Question question = std::move(questions_.front());
    questions_.pop_front();
    question.taker(sentence);
}

bool LspValues::cancel(const std::string &key) {
    const auto found =
        std::find_if(questions_.begin(), questions_.end(), [&](const Question &one) { return one.key == key; });
    if (found == questions_.end()) return false;
    if (found == questions_.begin()) end();
    questions_.erase(found);
    next();
    return true;
}

void LspValues::cancelAll() {
    while (!questions_.empty()) answer("");
}

int LspValues::milliseconds() const {
    if (program_ < 0) return -1;
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline_ - Clock::now()).count();
    return static_cast<int>(std::max<int64_t>(left + 1, 0));
}

// Whether the end has come.
bool LspValues::readOutput() {
    constexpr size_t longest = 1 << 20;
    char bytes[65536];
    while (text_.size() < longest) {
        const ssize_t got = read(output_.number(), bytes, sizeof bytes);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0 && errno == EAGAIN) return false;
        if (got <= 0) return true;
        text_.append(bytes, static_cast<size_t>(got));
    }
    return true;
}

void LspValues::advance() {
    if (program_ < 0) return;
    if (readOutput()) {
        answer(sentence());
    } else if (Clock::now() >= deadline_) {
        silentUntil_ = Clock::now() + pause_after_silence;
        answer(unknown(silence));
    }
    next();
}

// ---- what the plan says ----

// The reference in the one condition of the script.
static const Json *reference_in(const Json &plan) {
    static const Json::json_pointer place("/tests/0/values/0");
    const auto effects = plan.find("effects");
    if (effects == plan.end()) return nullptr;
    for (const Json &effect : *effects)
        if (effect.value("kind", "") == "if" && effect.contains(place)) return &effect.at(place);
    return nullptr;
}

// The first line of what it has complained of, without its name.
std::string LspValues::complaint() const {
    char bytes[1024];
    const ssize_t got = pread(errors_.number(), bytes, sizeof bytes, 0);
    std::string line(bytes, static_cast<size_t>(std::max<ssize_t>(got, 0)));
    line.resize(std::min(line.find('\n'), line.size()));
    constexpr std::string_view name = "qrtscript plan: ";
    if (line.compare(0, name.size(), name) == 0) line.erase(0, name.size());
    return line.empty() ? "qrtscript plan has ended early" : line;
}

std::string LspValues::sentence() const {
    const Json plan = Json::parse(text_, nullptr, false);
    const Json *reference = plan.is_object() ? reference_in(plan) : nullptr;
    if (reference == nullptr) return unknown(complaint());
    const std::string missing = reference->value("missing", "");
    const auto value = reference->find("value");
    std::string text = "For " + lsp_code(terminal_text(plan.value("user", user_.user))) + ": ";
    text += value == reference->end() ? "no value" : value_shown(value->get<std::string>());
    return missing.empty() ? text : text + ": " + terminal_text(missing);
}
