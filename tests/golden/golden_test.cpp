// Runs every tests/scripts/<topic>/<behaviour>.qrt as a script of the sample tree's jdoe and compares its output with
// <behaviour>.expected. Each case is a test of its own, a second one in which the lines end in CR LF, and two more with
// each as `qrtscript fmt` writes it. Those of the topic "errors" have none with CR LF: a mistake is reported again only
// after three good tokens, and a CR is a token.
// Where <behaviour>.typed stands beside them, the script runs on a terminal: each of its lines is "question=>answer".
// Where <behaviour>.settings does, each of its lines is "name=value": a script variable if the name is a digit, and an
// environment variable otherwise. The scripts of the topic "logins" are a container's, in a whole login. It is always
// Thursday, 5 March 2026, 09:05:07.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "base/clock.h"
#include "platform/zk.h"
#include "qrtscript.h"
#include "tests/support/process.h"
#include "tests/support/sample_session.h"

namespace fs = std::filesystem;

static const fs::path scripts = SOURCE_DIR "/tests/scripts";

static std::string with_crlf(const std::string &text) {
    std::string result;
    for (char c : text) {
        if (c == '\n') result += '\r';
        result += c;
    }
    return result;
}

class Golden : public testing::Test {
  public:
    Golden(fs::path script, bool crlf, bool formatted)
        : script_(std::move(script)), crlf_(crlf), formatted_(formatted) {}

    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "golden-XXXXXX").string();
        ASSERT_TRUE(mkdtemp(pattern.data()));
        folder_ = pattern;
        // Without the fixed place the links that map makes lead nowhere.
        const bool fixed_place = sample_prepare(folder_);
        if (!fixed_place && topic() == "links") GTEST_SKIP() << "no private mounts here";
        read_text();
        setenv("TZ", "UTC", 1);
        clock_now = [] { return time_t{1772701507}; };
        read_settings();
        output_ = fopen((folder_ / "output").c_str(), "w+e");
        if (topic() != "logins") log_in();
    }

    void TearDown() override {
        if (handle_ != 0) sample_log_out(handle_);
        if (output_) fclose(output_);
        fs::remove_all(folder_);
    }

    void TestBody() override {
        fs::path expected = script_, typed = script_;
        expected.replace_extension(".expected");
        typed.replace_extension(".typed");
        ASSERT_TRUE(fs::exists(expected)) << expected << " is missing";
        int result = 0;
        if (topic() == "logins") {
            result = run_login();
        } else if (fs::exists(typed)) {
            TerminalProcess terminal([this] { return run(); });
            type_answers(terminal, sample_read_file(typed));
            result = terminal.finish();
        } else {
            result = run();
        }
        std::string got = sample_read_file(folder_ / "output").substr(static_cast<size_t>(start_));
        // The end of a login is a NUL.
        if (topic() == "logins" && !got.empty() && got.back() == '\0') got.pop_back();
        if (result != 0) got += "[result " + std::to_string(result) + "]\n";
        EXPECT_EQ(got, sample_read_file(expected));
    }

  private:
    std::string topic() const { return script_.parent_path().filename(); }

    void read_text() {
        text_ = sample_read_file(script_);
        if (crlf_) text_ = with_crlf(text_);
        if (!formatted_) return;
        const std::string name = (folder_ / "script.qrt").string();
        std::ofstream(name, std::ios::binary) << text_;
        const Outcome outcome = process_run({QRTSCRIPT_PATH, "fmt", "--stdout", name}, process_environment());
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        text_ = outcome.out;
    }

    // A locale of Debian's is compiled into the test's folder: few machines have more than their own.
    void make_locale(const std::string &name) {
        const std::string command =
            "localedef -f UTF-8 -i " + name.substr(0, name.find('.')) + " '" + (folder_ / name).string() + "'";
        ASSERT_EQ(system(command.c_str()), 0) << command;
        setenv("LOCPATH", folder_.c_str(), 1);
    }

    void read_settings() {
        fs::path settings = script_;
        settings.replace_extension(".settings");
        std::ifstream lines(settings);
        for (std::string line; std::getline(lines, line);) {
            const size_t equals = line.find('=');
            ASSERT_NE(equals, line.npos) << line;
            const std::string name = line.substr(0, equals), value = line.substr(equals + 1);
            if (name == "LC_ALL") make_locale(value);
            if (name.size() == 1 && isdigit(name[0]))
                variables_[name[0] - '0'] = value;
            else
                setenv(name.c_str(), value.c_str(), 1);
        }
    }

    int run() {
        for (int n = 0; n < 10; n++)
            if (!variables_[n].empty()) qrt_SetUserVar(n, variables_[n].c_str());
        char *object = qrt_Object();
        const int result = parsescript_Run(text_.c_str(), object, handle_);
        free(object);
        handle_ = ctx;
        fflush(output_);
        return result;
    }

    static void type_answers(TerminalProcess &terminal, const std::string &typed) {
        std::istringstream lines(typed);
        for (std::string line; std::getline(lines, line);) {
            const size_t arrow = line.find("=>");
            ASSERT_NE(arrow, line.npos) << line;
            ASSERT_TRUE(terminal.awaits(line.substr(0, arrow))) << line << "\n" << terminal.shown();
            terminal.type(line.substr(arrow + 2) + "\n");
        }
    }

    // The profile's script and the user's own are one line each, so that the case is about the container's.
    void write_scripts() const {
        sample_use_quick_passwords(folder_ / "tree");
        std::ofstream(folder_ / "tree/scripts/sales.qrt", std::ios::binary) << text_;
        std::ofstream(folder_ / "tree/scripts/fieldstaff.qrt") << "WRITE \"the profile's script\"\n";
        std::ofstream(folder_ / "tree/scripts/jdoe.qrt") << "WRITE \"the user's script\"\n";
    }

    int run_login() {
        write_scripts();
        char tree[] = "ACME", user[] = "jdoe.sales.acme", name[] = ".jdoe.sales.acme", password[] = "sunflower";
        QrtRunScriptsArgs args = {};
        args.treename = tree;
        args.user = user;
        args.password = password;
        uint32_t context = 0;
        if (qrt_init(nullptr, output_) != 0 || qrt_Getctx(tree, &context) != 0) return -1;
        if (ZKDSLoginEx(context, name, 2, password) != 0) return -1;
        const uint32_t result = qrt_RunScripts(&args);
        ZKDSFreeContext(context);
        return static_cast<int>(result);
    }

    void log_in() {
        handle_ = sample_log_in(output_);
        ASSERT_NE(handle_, 0U);
        // The session's own messages are not the script's.
        start_ = ftell(output_);
    }

    fs::path script_;
    bool crlf_, formatted_;
    std::string text_;
    fs::path folder_;
    std::string variables_[10];
    FILE *output_ = nullptr;
    uint32_t handle_ = 0;
    long start_ = 0;
};

static void register_case(const fs::path &script, bool crlf, bool formatted) {
    const std::string topic =
        script.parent_path().filename().string() + (crlf ? "_crlf" : "") + (formatted ? "_formatted" : "");
    testing::RegisterTest(topic.c_str(), script.stem().c_str(), nullptr, nullptr, script.c_str(), 1,
                          [=]() -> Golden * { return new Golden(script, crlf, formatted); });
}

int main(int argc, char **argv) {
    for (const auto &entry : fs::recursive_directory_iterator(scripts)) {
        if (entry.path().extension() != ".qrt") continue;
        for (const bool formatted : {false, true}) {
            register_case(entry.path(), false, formatted);
            if (entry.path().parent_path().filename() != "errors") register_case(entry.path(), true, formatted);
        }
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
