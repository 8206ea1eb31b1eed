#include "tools/qrtlogin/run_watch.h"

#include <strings.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>
#include <fstream>
#include <iterator>
#include <memory>
#include <new>
#include <utility>

#include "include/exported.h"
#include "include/qrtscript.h"
#include "platform/catalogue.h"
#include "platform/zk.h"
#include "script/input_buffer.h"
#include "tools/qrtlogin/output_relay.h"

static constexpr unsigned mistakes_told = 1000;
static constexpr int64_t show_every = 100; // milliseconds

static RunWatch *watching = nullptr;

// Written by the process that becomes a program, in this one's memory.
static volatile pid_t started_program;
static volatile int started_error;
static char started_name[256];

RunWatch *run_watch() {
    return watching;
}

void run_watch_in_program() {
    started_error = 0;
    started_name[0] = '\0';
    started_program = getpid();
}

void run_watch_executes(const char *program) {
    if (started_program != getpid()) return;
    const size_t length = strnlen(program, sizeof started_name - 1);
    memcpy(started_name, program, length);
    started_name[length] = '\0';
}

void run_watch_not_executed(int error) {
    if (started_program == getpid()) started_error = error;
}

static int64_t now() {
    timespec time = {};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
    return int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1000000;
}

// One that the library cannot read is nothing here either.
static std::string file_text(const std::optional<std::string> &path) {
    if (!path) return "";
    std::ifstream file(*path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

RunWatch::RunWatch(LoginWindow *window, const Options &options, std::string user)
    : window_(window),
      user_(std::move(user)),
      profileFile_(file_text(options.profileScript)),
      userFile_(file_text(options.loginScript)),
      depth_(ibufstackindex) {
    started_program = 0;
    watching = this;
}

// The library has given up its stream by then.
RunWatch::~RunWatch() {
    watching = nullptr;
    if (outer_ == nullptr) return;
    if (fdr == outer_) fdr = inner_;
    fclose(outer_);
}

// ---- the library's output ----

static void look_at(std::string_view text) noexcept {
    try {
        if (watching != nullptr) watching->wrote(text);
    } catch (const std::exception &) {
        // Without memory there is nothing to be seen.
    }
}

static ssize_t write_watched(void *inner, const char *text, size_t size) {
    FILE *stream = static_cast<FILE *>(inner);
    look_at({text, size});
    fwrite(text, 1, size, stream);
    return fflush(stream) == 0 ? static_cast<ssize_t>(size) : 0;
}

void RunWatch::takeLibrarysOutput() {
    inner_ = fdr;
    outer_ = fopencookie(inner_, "w", {nullptr, write_watched, nullptr, nullptr});
    if (outer_ == nullptr) throw std::bad_alloc();
    fdr = outer_;
}

void RunWatch::wrote(std::string_view text) {
    look();
    // The library's own words, each in one piece.
    if (text == catalogue_text("Script error.\n")) {
        const ScriptPlace where = place(true);
        mistake(script_, script_place_text(where), where.text);
    } else if (text == catalogue_text("Warning, unmatched IF...THEN statment (no END or ENDIF)\n")) {
        mistake(script_, "", catalogue_text("IF without END"));
    }
    if (now() - shownAt_ >= show_every) showPlace(place(false));
}

void RunWatch::mistake(char script, const std::string &where, const std::string &text) {
    if (++mistakes_ > mistakes_told) return;
    OutputRelay::catchUp(); // it comes among the output where it belongs
    window_->tell('m', {{&script, 1}, where, text});
}

// ---- which script it is ----

static std::string complete_name(uint32_t context, const std::string &object) {
    char name[ZK_MAX_NAME + 1] = {};
    if (ZKDSCanonicalizeName(context, object.c_str(), name) != ZK_OK) return object;
    char shortened[ZK_MAX_NAME + 1] = {};
    qrt_abbrivateName(name, shortened, ZK_MAX_NAME);
    return shortened;
}

static bool equal_names(std::string_view a, std::string_view b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

static bool is_above(std::string_view container, std::string_view object) {
    return object.size() > container.size() && object[object.size() - container.size() - 1] == '.' &&
           equal_names(object.substr(object.size() - container.size()), container);
}

// A script that is read while another one runs is included there.
void RunWatch::opened(uint32_t context, const std::string &object, uint32_t file) {
    look();
    if (objname != nullptr) return;
    const std::string name = complete_name(context, object);
    readFile_ = file;
    readText_.clear();
    readScript_ = equal_names(name, user_) ? 'u' : is_above(name, user_) ? 'c' : 'p';
    begin(readScript_, name);
}

void RunWatch::read(uint32_t file, std::string_view text) {
    if (readScript_ != '-' && file == readFile_ && objname == nullptr) readText_.append(text);
}

void RunWatch::begin(char script, const std::string &object) {
    script_ = script;
    text_.clear();
    window_->tell('s', {{&script, 1}, object});
}

static std::string_view active_text() {
    const LexBuffer *buffer = lex_activeBuffer();
    if (buffer == nullptr || buffer->data == nullptr) return {};
    return {buffer->data, static_cast<size_t>(buffer->length)};
}

void RunWatch::identify() {
    const std::string_view active = active_text();
    // Only the first line is sure to be there still: another text may have been included.
    const auto begins = [active](const std::string &text) {
        const std::string_view first = std::string_view(text).substr(0, text.find('\n'));
        return !text.empty() && active.substr(0, first.size()) == first;
    };
    if (readScript_ != '-') {
        text_ = std::move(readText_); // the library ends it with a line
        text_.append("\r\n");
        readText_.clear();
    } else if (begins(profileFile_) && script_ != 'u') {
        begin('p', "");
        text_ = profileFile_;
    } else {
        begin('u', "");
        text_ = begins(userFile_) ? userFile_ : std::string(active);
    }
    readScript_ = '-';
}

void RunWatch::look() {
    takeStarted();
    if (objname == nullptr || ibufstackindex == depth_) return;
    depth_ = ibufstackindex;
    identify();
}

// ---- where it is ----

// A mistake is where the library quotes the line: with the character that it has looked ahead at.
ScriptPlace RunWatch::place(bool atLookAhead) const {
    const LexBuffer *buffer = lex_activeBuffer();
    if (objname == nullptr || buffer == nullptr || buffer->data == nullptr) return {};
    const size_t position = static_cast<size_t>(buffer->readPos) + (atLookAhead ? 1 : 0);
    return script_place(text_, active_text(), position);
}

void RunWatch::showPlace(const ScriptPlace &place) {
    shownAt_ = now();
    window_->mention('n', {script_place_text(place), place.text});
}

// ---- programs ----

void RunWatch::startsProgram() {
    look();
    const ScriptPlace where = place(false);
    starting_ = {script_, script_place_text(where), where.text, "", 0};
    showPlace(where);
}

void RunWatch::takeStarted() {
    if (started_program == 0) return;
    Program program = starting_;
    program.name = started_name;
    program.error = started_error;
    const pid_t number = started_program;
    programs_[number] = std::move(program);
    started_program = 0;
}

void RunWatch::ended(pid_t program, int status) {
    takeStarted();
    const auto found = programs_.find(program);
    if (found == programs_.end()) return;
    const Program known = std::move(found->second);
    programs_.erase(found);
    judge(known, status);
}

void RunWatch::judge(const Program &program, int status) {
    if (program.error != 0)
        return complain(program,
                        catalogue_format("cannot run %1$s: %2$s", program.name.c_str(), strerror(program.error)));
    if (WIFSIGNALED(status)) return complain(program, catalogue_format("ended by signal %d", WTERMSIG(status)));
    if (WEXITSTATUS(status) != 0) complain(program, catalogue_format("ended with status %d", WEXITSTATUS(status)));
}

// A mapping that fails counts as a mistake of the script, as it does for the exit status.
void RunWatch::complain(const Program &program, const std::string &why) {
    if (program.name == "map" && program.error == 0) return mistake(program.script, program.where, program.line);
    if (++mistakes_ > mistakes_told) return;
    OutputRelay::catchUp();
    window_->tell('p', {{&program.script, 1}, program.where, program.line, why});
}
