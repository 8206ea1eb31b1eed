// Runs every tests/scripts/<topic>/<behaviour>.qrt as a script of the sample tree's jdoe and compares its output with
// <behaviour>.expected. Each case is a test of its own, and a second one in which the lines end in CR LF. Those of the
// topic "errors" have no second one: a mistake is reported again only after three good tokens, and a CR is a token.
// Where <behaviour>.typed stands beside them, the script runs on a terminal: each of its lines is "question=>answer".
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <sstream>
#include <string>

#include "qrtscript.h"
#include "tests/golden/sample_session.h"
#include "tests/tools/process.h"

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
    Golden(fs::path script, bool crlf) : script_(std::move(script)), crlf_(crlf) {}

    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "golden-XXXXXX").string();
        ASSERT_TRUE(mkdtemp(pattern.data()));
        folder_ = pattern;
        // Without the fixed place the links that map makes lead nowhere.
        const bool fixed_place = sample_prepare(folder_);
        if (!fixed_place && script_.parent_path().filename() == "links") GTEST_SKIP() << "no private mounts here";
        log_in();
    }

    void TearDown() override {
        sample_log_out(handle_);
        if (output_) fclose(output_);
        fs::remove_all(folder_);
    }

    void TestBody() override {
        fs::path expected = script_, typed = script_;
        expected.replace_extension(".expected");
        typed.replace_extension(".typed");
        ASSERT_TRUE(fs::exists(expected)) << expected << " is missing";
        int result = 0;
        if (fs::exists(typed)) {
            TerminalProcess terminal([this] { return run(); });
            type_answers(terminal, sample_read_file(typed));
            result = terminal.finish();
        } else {
            result = run();
        }
        std::string got = sample_read_file(folder_ / "output").substr(static_cast<size_t>(start_));
        if (result != 0) got += "[result " + std::to_string(result) + "]\n";
        EXPECT_EQ(got, sample_read_file(expected));
    }

  private:
    int run() {
        std::string text = sample_read_file(script_);
        if (crlf_) text = with_crlf(text);
        char *object = qrt_Object();
        const int result = parsescript_Run(text.c_str(), object, handle_);
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

    void log_in() {
        output_ = fopen((folder_ / "output").c_str(), "w+e");
        handle_ = sample_log_in(output_);
        ASSERT_NE(handle_, 0U);
        // The session's own messages are not the script's.
        start_ = ftell(output_);
    }

    fs::path script_;
    bool crlf_;
    fs::path folder_;
    FILE *output_ = nullptr;
    uint32_t handle_ = 0;
    long start_ = 0;
};

static void register_case(const fs::path &script, bool crlf) {
    const std::string topic = script.parent_path().filename().string() + (crlf ? "_crlf" : "");
    testing::RegisterTest(topic.c_str(), script.stem().c_str(), nullptr, nullptr, script.c_str(), 1,
                          [=]() -> Golden * { return new Golden(script, crlf); });
}

int main(int argc, char **argv) {
    for (const auto &entry : fs::recursive_directory_iterator(scripts)) {
        if (entry.path().extension() != ".qrt") continue;
        register_case(entry.path(), false);
        if (entry.path().parent_path().filename() != "errors") register_case(entry.path(), true);
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
