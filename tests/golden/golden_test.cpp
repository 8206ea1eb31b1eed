// Runs every tests/scripts/<topic>/<behaviour>.qrt as a script of the sample tree's jdoe and compares its output with
// <behaviour>.expected. Each case is a test of its own, and a second one in which the lines end in CR LF. Those of the
// topic "errors" have no second one: a mistake is reported again only after three good tokens, and a CR is a token.
// Where <behaviour>.typed stands beside them, the script runs on a terminal: each of its lines is "question=>answer".
#include <gtest/gtest.h>
#include <pwd.h>
#include <sched.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "frame/places.h"
#include "platform/zk.h"
#include "qrtscript.h"
#include "tests/tools/process.h"

namespace fs = std::filesystem;

static const fs::path scripts = SOURCE_DIR "/tests/scripts";
static const fs::path sample = SOURCE_DIR "/examples/acme";

static std::string read_file(const fs::path &path) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream content;
    content << file.rdbuf();
    return content.str();
}

static std::string with_crlf(const std::string &text) {
    std::string result;
    for (char c : text) {
        if (c == '\n') result += '\r';
        result += c;
    }
    return result;
}

static bool write_file(const char *path, const std::string &text) {
    std::ofstream file(path);
    return static_cast<bool>(file << text << std::flush);
}

// A user namespace lets everybody have mounts; root needs none.
static bool enter_namespaces() {
    const std::string user = std::to_string(geteuid()), group = std::to_string(getegid());
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return unshare(CLONE_NEWNS) == 0;
    return write_file("/proc/self/setgroups", "deny") && write_file("/proc/self/uid_map", "0 " + user + " 1") &&
           write_file("/proc/self/gid_map", "0 " + group + " 1");
}

static bool enter_private_mounts() {
    return enter_namespaces() && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("tmpfs", fs::path(place_mount_point).parent_path().c_str(), "tmpfs", 0, nullptr) == 0;
}

class Golden : public testing::Test {
  public:
    Golden(fs::path script, bool crlf) : script_(std::move(script)), crlf_(crlf) {}

    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "golden-XXXXXX").string();
        ASSERT_TRUE(mkdtemp(pattern.data()));
        folder_ = pattern;
        fs::create_directories(folder_ / "home");
        setenv("HOME", (folder_ / "home").c_str(), 1);
        setenv("LC_ALL", "C", 1);
        setenv("ZKCLIENT_CONF", (sample / "client.toml").c_str(), 1);
        setenv("PATH", (std::string(BINARY_DIR) + ":/usr/bin:/bin").c_str(), 1);
        mount_volumes();
        log_in();
    }

    void TearDown() override {
        ZKDSLogout(handle_);
        ZKDSFreeContext(handle_);
        free(CurrentPassword);
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
            type_answers(terminal, read_file(typed));
            result = terminal.finish();
        } else {
            result = run();
        }
        std::string got = read_file(folder_ / "output").substr(static_cast<size_t>(start_));
        if (result != 0) got += "[result " + std::to_string(result) + "]\n";
        EXPECT_EQ(got, read_file(expected));
    }

  private:
    int run() {
        std::string text = read_file(script_);
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

    // The sample's volumes, where the network file system would have them: at the fixed place in a mount namespace of
    // the test's own, so that the links that map makes lead there. Where the kernel forbids that, the library alone is
    // pointed elsewhere, and the topic "links" is skipped.
    void mount_volumes() {
        const bool fixed_place = enter_private_mounts();
        if (!fixed_place && script_.parent_path().filename() == "links") GTEST_SKIP() << "no private mounts here";
        mount_ = fixed_place ? std::string(place_mount_point) : (folder_ / "mount").string();
        place_mount_point = mount_.c_str();
        const struct passwd *user = getpwuid(geteuid());
        const fs::path place = fs::path(mount_) / (user ? user->pw_name : "user");
        fs::create_directories(place);
        fs::copy(sample / "volumes", place, fs::copy_options::recursive);
    }

    void log_in() {
        output_ = fopen((folder_ / "output").c_str(), "w+e");
        ASSERT_EQ(qrt_init(nullptr, output_), 0);
        ASSERT_EQ(qrt_Getctx("ACME", &handle_), 0u);
        ASSERT_EQ(ZKDSLoginEx(handle_, ".jdoe.sales.acme", 2, "sunflower"), 0u);
        qrt_SetTree("ACME");
        qrt_SetCurrentObject("jdoe");
        qrt_SetLoginName("jdoe");
        CurrentPassword = strdup("sunflower");
        qrt_SetUserVar(1, "jdoe");
        std::string context = ".sales.acme";
        qrt_SetCurrentContext(context.data());
        qrt_SetInitialContext(context.c_str());
        qrt_SetServer(handle_, "SRV1");
        // The session's own messages are not the script's.
        start_ = ftell(output_);
    }

    fs::path script_;
    bool crlf_;
    fs::path folder_;
    std::string mount_;
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
