// What the tests of whole sessions share: a session against the recording client that is empty at the start and freed
// at the end, the fixed places in a folder of the test's own, and checks of the traces with their levels.
#ifndef SESSION_FIXTURE_H
#define SESSION_FIXTURE_H

#include <gmock/gmock.h>

#include <cctype>
#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "base/text.h"
#include "directory/session.h"
#include "platform/common/places.h"
#include "script/syntax_error.h"
#include "tests/client_spy/client_spy.h"
#include "tests/client_spy/wipe_watch.h"
#include "tests/unit/command_fixture.h"
#include "tests/unit/program_folder.h"

// A trace's text and the level that the debug level has to exceed for it.
struct TraceRow {
    int threshold;
    std::string text;
};

class SessionTest : public CommandTest {
  protected:
    // The directory context that scripts run on here.
    static constexpr uint32_t handle = 77;

    SessionTest() {
        spy::reset();
        wipe_watch::forget();
        clear();
        std::filesystem::create_directory(folder_.path("config"));
        place_config_folder = config_.c_str();
        place_mount_point = mount_.c_str();
        place_module_status = status_.c_str();
    }
    ~SessionTest() override {
        EXPECT_THAT(spy::mistakes(), testing::IsEmpty());
        EXPECT_EQ(spy::open_buffers(), 0);
        EXPECT_EQ(spy::open_files(), 0);
        clear();
        spy::reset();
        place_config_folder = places_[0];
        place_mount_point = places_[1];
        place_module_status = places_[2];
    }

    // Runs one script text and returns what the runner returns.
    static int run(const std::string &script) { return parsescript_Run(script.c_str(), objname, handle); }

    static std::string shown(const char *text) { return text == nullptr ? "(null)" : text; }

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

    // Checks the levels of the traces that `action`, run at each level in turn, leaves.
    static void expect_traces(const std::vector<TraceRow> &rows, const std::function<void()> &action) {
        std::vector<std::vector<std::string>> printed;
        for (int level = 0; level <= 9; level++) printed.push_back(trace_texts(level, action));
        for (const TraceRow &row : rows) {
            SCOPED_TRACE(row.text);
            const auto threshold = static_cast<size_t>(row.threshold);
            EXPECT_THAT(printed[threshold], testing::Not(testing::Contains(row.text))) << "threshold too low";
            EXPECT_THAT(printed[threshold + 1], testing::Contains(row.text));
        }
    }

    ProgramFolder folder_;
    const std::string config_ = folder_.path("config/");
    const std::string mount_ = folder_.path("mnt");
    const std::string status_ = folder_.path("Version");

  protected:
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

    static void clear() {
        session_clear();
        for (char **global : {&CurrentPassword, &driveDir}) {
            free(*global);
            *global = nullptr;
        }
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

    const char *const places_[3] = {place_config_folder, place_mount_point, place_module_status};
};

#endif
