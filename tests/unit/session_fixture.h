// What the unit tests share: a session against the recording client, which is as in a new process at the start and
// freed at the end, in a folder of the test's own.
#ifndef SESSION_FIXTURE_H
#define SESSION_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "base/clock.h"
#include "base/text.h"
#include "commands/file_spec.h"
#include "directory/session.h"
#include "include/exported.h"
#include "language/actions.h"
#include "language/control_flow.h"
#include "language/tokenizer.h"
#include "platform/common/places.h"
#include "qrtscript.h"
#include "script/conditions.h"
#include "script/input_buffer.h"
#include "script/syntax_error.h"
#include "tests/client_spy/client_spy.h"
#include "tests/client_spy/wipe_watch.h"
#include "tests/unit/keywords.h"
#include "tests/unit/program_folder.h"

extern char **environ;

using testing::AllOf;
using testing::AnyOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::ExitedWithCode;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

// The environment, the fixed places and the clock, put back at the end.
class Surroundings {
  public:
    Surroundings() {
        for (char **entry = environ; *entry != nullptr; entry++) environment_.push_back(*entry);
    }
    ~Surroundings() {
        restore_environment();
        for (const auto &[place, before] : places_) *place = before;
        clock_now = clock_;
    }
    Surroundings(const Surroundings &) = delete;
    Surroundings &operator=(const Surroundings &) = delete;

    void restore_environment() const {
        clearenv();
        for (const std::string &entry : environment_) {
            const size_t sign = entry.find('=');
            setenv(entry.substr(0, sign).c_str(), entry.c_str() + sign + 1, 1);
        }
    }

  private:
    std::vector<std::string> environment_;
    const std::vector<std::pair<const char **, const char *>> places_ = {
        {&place_config_folder, place_config_folder},
        {&place_slp_folder, place_slp_folder},
        {&place_conf_log, place_conf_log},
        {&place_mount_point, place_mount_point},
        {&place_module_status, place_module_status},
        {&place_network_interface, place_network_interface},
        {&place_locale, place_locale}};
    time_t (*const clock_)() = clock_now;
};

class SessionTest : public testing::Test {
  protected:
    // The directory context that scripts run on here.
    static constexpr uint32_t handle = 77;

    SessionTest() : stream_(tmpfile()) {
        spy::reset();
        wipe_watch::forget();
        clear();
        fdr = stream_;
        debug_level = condindex = condstate[0] = valuestate = 0;
        gotostate = gotoWasUsed = invalidGoToLabel = ibufstackindex = 0;
        std::filesystem::create_directory(folder_.path("config"));
        place_config_folder = config_.c_str();
        place_mount_point = mount_.c_str();
        place_module_status = status_.c_str();
    }
    ~SessionTest() override {
        EXPECT_THAT(spy::mistakes(), testing::IsEmpty());
        EXPECT_EQ(spy::open_buffers(), 0);
        EXPECT_EQ(spy::open_files(), 0);
        for (; ibufstackindex > 0; ibufstackindex--)
            if (lex_activeBuffer() != nullptr) lex_free_active_buffer();
        clear();
        spy::reset();
        fdr = nullptr;
        fclose(stream_);
    }

    // What has been written since the last call, by the library and by its children.
    std::string output() {
        std::string text;
        char buffer[4096];
        for (;;) {
            const ssize_t count = pread(fileno(stream_), buffer, sizeof buffer, read_);
            if (count <= 0) return text;
            text.append(buffer, static_cast<size_t>(count));
            read_ += count;
        }
    }

    // From here on statements are in a branch that is skipped.
    static void skip() { condstate[0] = 1; }

    static OwnedText text(const char *value) { return text_copy_or_null(value); }
    static void set(char *&global, const char *value) {
        free(global);
        global = text_copy_or_null(value).release();
    }

    // Runs one script text and returns what the runner returns.
    static int run(const std::string &script) { return parsescript_Run(script.c_str(), objname, handle); }

    static std::string shown(const char *text) { return text == nullptr ? "(null)" : text; }

    static std::string hexadecimal(uint32_t code) {
        char digits[9];
        snprintf(digits, sizeof digits, "%X", code);
        return digits;
    }

    // New heap text of the library as a string.
    static std::string taken(char *text) {
        const OwnedText owned(text);
        return shown(text);
    }

    // The user variables %0 to %9, one character or word each.
    static std::string variables() {
        std::string row;
        for (const char *value : uservars) row += value == nullptr ? "-" : value;
        return row;
    }

    // The traces of `action` at one debug level.
    template <typename Action>
    static std::string traces(int32_t level, Action action) {
        testing::internal::CaptureStdout();
        debug_level = level;
        action();
        debug_level = 0;
        return testing::internal::GetCapturedStdout();
    }

    // The texts of the traces that `action` leaves at one level, without their heads.
    static std::vector<std::string> trace_texts(int level, const std::function<void()> &action) {
        std::vector<std::string> texts;
        const std::string printed = traces(level, action);
        for (size_t start = 0; start < printed.size();) {
            size_t end = printed.find('\n', start);
            if (end == std::string::npos) end = printed.size();
            const std::string line = printed.substr(start, end - start);
            if (line.rfind("--DEBUG--", 0) == 0) texts.push_back(text_of_trace(line));
            start = end + 1;
        }
        return texts;
    }

    // Checks that `action` leaves these traces. Their levels are checked by traces_test.
    static void expect_traces(const std::vector<std::string> &texts, const std::function<void()> &action) {
        EXPECT_THAT(trace_texts(9, action), testing::IsSupersetOf(texts));
    }

    const Surroundings surroundings_;
    ProgramFolder folder_;
    const std::string config_ = folder_.path("config/");
    const std::string mount_ = folder_.path("mnt");
    const std::string status_ = folder_.path("Version");

    // "--DEBUG--" function ":" line " " text
    static std::string text_of_trace(const std::string &line) {
        size_t at = strlen("--DEBUG--");
        const auto skip = [&](auto belongs) {
            const size_t start = at;
            while (at < line.size() && belongs(static_cast<unsigned char>(line[at]))) at++;
            return at > start;
        };
        const bool function = skip([](unsigned char c) { return std::isalnum(c) != 0 || c == '_'; });
        const bool colon = at < line.size() && line[at++] == ':';
        const bool number = skip([](unsigned char c) { return std::isdigit(c) != 0; });
        const bool blank = at < line.size() && line[at++] == ' ';
        EXPECT_TRUE(function && colon && number && blank) << line;
        return line.substr(at);
    }

    // The session as in a new process.
    static void clear() {
        session_clear();
        for (char **global : {&CurrentPassword, &driveDir, &gotolabel}) set(*global, nullptr);
        objname = nullptr;
        ctx = 0;
        g_useGUI = 0;
        use_default_script = 1;
        LoginAliasContext[0] = 'N';
        bcntrlc = 0;
        fd[0] = fd[1] = 0;
        syntax_error = 0;
        unsetenv("TOLAN_USE_BRUNE");
    }

    FILE *const stream_;
    off_t read_ = 0;
};

// Nobody logged in, an empty client, a user "jdoe" in ".sales.acme".
inline constexpr char user_object[] = "jdoe.sales.acme";
inline constexpr uint32_t session_handle = 40;

class DirectoryTest : public SessionTest {
  protected:
    DirectoryTest() {
        set(CurrentObject, "jdoe");
        set(CurrentContext, ".sales.acme");
        set(InitialContext, ".sales.acme");
    }
};

// A script of a table: what it shows, what it writes and what the runner returns.
struct ScriptRow {
    const char *behaviour;
    std::string script, output;
    int result = 0;
};

// A session of jdoe in .sales.acme of ACME_TREE, and verbs to run scripts in it. The object jdoe.sales.acme exists and
// has no attribute that a test does not give it.
class ScriptTest : public SessionTest {
  protected:
    ScriptTest() { start(); }
    ~ScriptTest() override {
        ZKDSFreeContext(context_);
        EXPECT_EQ(spy::open_contexts(), 0);
    }

    void start() {
        spy::tree("ACME_TREE", "SRV1");
        spy::object(user);
        spy::logged_in(user);
        for (char **name : {&CurrentObject, &LoginName}) set(*name, "jdoe");
        for (char **context : {&CurrentContext, &InitialContext}) set(*context, ".sales.acme");
        ZKDSCreateContextHandle(&context_);
        ZKDSSetContext(context_, DCK_TREE_NAME, "ACME_TREE");
        spy::forget_calls();
    }

    // Runs a script in the session. Returns the runner's result.
    int run(const std::string &script) {
        std::string object = user;
        const int result = parsescript_Run(script.c_str(), object.data(), context_);
        objname = nullptr;
        context_ = ctx; // a TREE statement leaves its own handle
        return result;
    }
    // Runs a script and returns what it wrote.
    std::string printed(const std::string &script) {
        run(script);
        return output();
    }
    // Runs each script, all of them in a level 0 that executes.
    void expect_scripts(const std::vector<ScriptRow> &rows) {
        for (const auto &[behaviour, script, written, result] : rows) {
            SCOPED_TRACE(behaviour);
            condstate[0] = 0;
            EXPECT_EQ(run(script), result);
            EXPECT_EQ(output(), written);
        }
    }
    // Runs the parser alone, as the runner does. Returns the parser's own result.
    int parse(const std::string &script) {
        end_of_line = 1;
        cond_reset();
        ctx = context_;
        ibufstackindex = 0;
        lex_addBuffer(script.c_str());
        const int result = yyparse();
        lex_free_active_buffer();
        return result;
    }

    // The report of a syntax error that quotes `line`.
    static std::string report(const std::string &line) {
        return "\nScript error.\nThe original line was:\n" + line + "\n\n";
    }

    static std::string repeat(size_t count, const std::string &text) {
        std::string all;
        all.reserve(count * text.size());
        while (count-- > 0) all += text;
        return all;
    }

    static constexpr char user[] = "jdoe.sales.acme";
    uint32_t context_ = 0;
};

// A mount point with the volumes of SRV1, which is the default server of ACME_TREE.
class NetworkFileTest : public SessionTest {
  protected:
    NetworkFileTest() {
        spy::tree("ACME_TREE", "SRV1");
        spy::default_server("SRV1");
        spy::logged_in("jdoe.sales.acme");
        spy::authenticated("SRV1");
    }

    static std::string user() {
        const passwd *entry = getpwuid(geteuid());
        return entry != nullptr ? entry->pw_name : "user";
    }

    // A file below the mount point's directory of the user.
    void network_file(const std::string &name, const std::string &content) {
        const std::string path = mount_ + "/" + user() + "/" + name;
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path) << content;
    }

    // What a statement that names the file displays.
    std::string display(const std::string &name) {
        run("DISPLAY " + name + "\n");
        return output();
    }

    // The text of qrt_GetFile, "(1)" for its failure.
    static std::string get_file(const char *server, const char *spec) {
        char untouched = 0;
        char *text = &untouched;
        const int result = qrt_GetFile(handle, server, spec, &text);
        if (result == 0) return taken(text);
        EXPECT_EQ(text, nullptr);
        return "(" + std::to_string(result) + ")";
    }
};

#endif
