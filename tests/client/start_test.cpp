#include "platform/client/interface/start.h"

#include <fstream>
#include <iterator>
#include <set>

#include "tests/support/client_fixture.h"

namespace {

using Start = ClientTest;

std::string contents(const char *path) {
    std::ifstream file(path);
    return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

TEST_F(Start, TheClientMayBeMadeReadyAnyNumberOfTimes) {
    EXPECT_EQ(ZK_OK, ZKCallsInit(nullptr, nullptr));
    EXPECT_EQ(ZK_OK, ZKCLXInit(nullptr, nullptr));
    EXPECT_EQ(ZK_OK, ZKCallsInit(nullptr, nullptr));
    EXPECT_EQ("", last_error());
}

TEST_F(Start, TheVersionIsTheProjects) {
    uint8_t v[4] = {9, 9, 9, 9};
    ASSERT_EQ(ZK_OK, ZKGetZKNetVersion(&v[0], &v[1], &v[2], &v[3]));
    std::string version = std::to_string(v[0]) + "." + std::to_string(v[1]) + "." + std::to_string(v[2]);
    EXPECT_NE(std::string::npos, contents(SOURCE_DIR "/CMakeLists.txt").find("VERSION " + version + " "));
    EXPECT_EQ(0, v[3]);
}

// The names that begin with ZK and stand between these two texts.
std::set<std::string> names_between(const std::string &text, const std::string &before, const std::string &after) {
    std::set<std::string> names;
    for (size_t at = text.find(before); at != std::string::npos; at = text.find(before, at + 1)) {
        size_t start = at + before.size();
        size_t end = text.find(after, start);
        std::string name = text.substr(start, end - start);
        if (name.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz") == std::string::npos) {
            names.insert("ZK" + name);
        }
    }
    return names;
}

TEST_F(Start, TheMapExportsWhatTheHeaderDeclares) {
    std::string header = contents(SOURCE_DIR "/platform/zk.h");
    std::string map = contents(SOURCE_DIR "/platform/client/libzkclient.map");
    std::set<std::string> declared = names_between(header, "\nuint32_t ZK", "(");
    EXPECT_EQ(declared, names_between(map, "\n    ZK", ";"));
    EXPECT_EQ(55u, declared.size());
}

TEST_F(Start, TheSampleTreeLoads) {
    setenv("ZKCLIENT_CONF", SOURCE_DIR "/examples/acme/client.toml", 1);
    open_server("ACME");
    EXPECT_EQ(ZK_OK, lastCode) << last_error();
}

} // namespace
