#include "commands/server_file.h"

#include <sys/stat.h>

#include "platform/common/location.h"
#include "tests/unit/session_fixture.h"

namespace {

// Set by a test: the effective user has no entry in the password database.
bool user_is_unknown = false;

} // namespace

// In the test program, so that a test can do without an entry.
extern "C" struct passwd *getpwuid(uid_t user) {
    static struct passwd entry;
    static char texts[4096];
    struct passwd *found = nullptr;
    if (user_is_unknown || getpwuid_r(user, &entry, texts, sizeof texts, &found) != 0) return nullptr;
    return found;
}

namespace {

class ServerFileTest : public NetworkFileTest {
  protected:
    ~ServerFileTest() override { user_is_unknown = false; }
};

TEST_F(ServerFileTest, AVolumesFileLiesBelowTheMountPointOnTheDefaultServer) {
    network_file("SRV1/SYS/LOGIN/X.TXT", "the file");
    EXPECT_EQ(display("SYS:LOGIN/X.TXT"), "the file");
    EXPECT_EQ(display("sys:LOGIN\\X.TXT"), "the file");
    EXPECT_EQ(display("SYS:/LOGIN/X.TXT"), "the file");
    EXPECT_EQ(display("SYS:\\LOGIN\\X.TXT"), "the file");
    network_file("SRV1/SYS/X.TXT", "the file");
    EXPECT_EQ(display("SYS:X.TXT"), "the file");
    EXPECT_EQ(display("SRV1/SYS:X.TXT"), "the file");
    EXPECT_EQ(display("SYS:X.TXT  "), "the file") << "blanks at the end do not count";
    EXPECT_EQ(display("SYS:/X.TXT/ "), "the file");
    network_file("SRV1/SYS/LOGIN/X.TXT", "the file");
    EXPECT_EQ(display("\\\\SRV1\\SYS\\LOGIN\\X.TXT"), "the file");
}

TEST_F(ServerFileTest, IncludeReadsTheSameFile) {
    network_file("SRV1/SYS/LOGIN/X.TXT", "WRITE \"from X\"");
    for (const char *name : {"SYS:LOGIN/X.TXT", "SRV1/SYS:LOGIN/X.TXT", "\\\\SRV1\\SYS\\LOGIN\\X.TXT"}) {
        EXPECT_EQ(run(std::string("INCLUDE ") + name + "\n"), 0) << name;
        EXPECT_EQ(output(), "from X\n") << name;
    }
}

TEST_F(ServerFileTest, Variable0IsTheDefaultServer) {
    spy::server("SRV2");
    spy::authenticated("SRV2");
    qrt_SetUserVar(0, "srv2");
    network_file("SRV1/SYS/A/X.TXT", "of the tree's");
    network_file("SRV2/SYS/A/X.TXT", "of variable 0");
    EXPECT_EQ(display("SYS:A/X.TXT"), "of variable 0");
    qrt_SetUserVar(0, nullptr);
    EXPECT_EQ(display("SYS:A/X.TXT"), "of the tree's");
}

TEST_F(ServerFileTest, WithoutADefaultServerTheNameHasNoServer) {
    spy::default_server("");
    driveDir = text_copy(folder_.path("")).release();
    std::filesystem::create_directories(folder_.path("SYS/A"));
    folder_.file("SYS/A/X.TXT", "local");
    EXPECT_EQ(display("SYS:A/X.TXT"), "local");
    EXPECT_THAT(spy::calls("ZKCCOpenConnByName"), IsEmpty());
}

TEST_F(ServerFileTest, AServersFileIsNamedWithItsServerInItsOwnSpelling) {
    spy::server("SRV2");
    spy::authenticated("SRV2");
    network_file("SRV2/VOL1/dir/x.txt", "on SRV2");
    EXPECT_EQ(display("SRV2/VOL1:dir/x.txt"), "on SRV2");
    EXPECT_EQ(display("srv2\\vol1:dir\\x.txt"), "on SRV2");
    network_file("SRV1/SYS/A/X.TXT", "the file");
    EXPECT_EQ(get_file("srv1", "SYS/A/X.TXT"), "the file");
    spy::fail("ZKCCGetConnInfo", 0x1234);
    EXPECT_EQ(get_file("srv1", "SYS/A/X.TXT"), "(1)") << "without it the name as given counts";
    EXPECT_EQ(get_file("SRV1", "SYS/A/X.TXT"), "the file");
}

TEST_F(ServerFileTest, TheMountPointIsTheUsualOneUnlessTheStatusFileNamesAnother) {
    EXPECT_EQ(mount_point(), mount_);
    folder_.file("Version", "Marfs mount=\nMarfs mount=/second\n");
    EXPECT_EQ(mount_point(), mount_) << "a line without a path";
    folder_.file("Version", std::string(5000, '\n') + "Marfs mount=/far/down\n");
    EXPECT_EQ(mount_point(), "/far/down") << "wherever in the file";
    folder_.file("Version", "Marfsd Version=1.2\n");
    EXPECT_EQ(mount_point(), mount_);
    folder_.file("Version", "Marfs mount=" + std::string(300, 'x') + "\n");
    EXPECT_EQ(mount_point(), std::string(256, 'x'));
    folder_.file("Version", "Marfs mount=/at/the/end");
    EXPECT_EQ(mount_point(), "/at/the/end");
    const std::string other = folder_.path("other");
    std::filesystem::create_directories(other + "/" + user() + "/SRV1/SYS");
    folder_.file("other/" + user() + "/SRV1/SYS/x", "elsewhere");
    folder_.file("Version", "Marfsd Version=1.2\nMarfs mount=" + other + "\nmore\n");
    EXPECT_EQ(mount_point(), other);
    EXPECT_EQ(get_file("SRV1", "SYS/x"), "elsewhere");
}

TEST_F(ServerFileTest, AUserWithoutAnEntryIsCalledUser) {
    user_is_unknown = true;
    EXPECT_EQ(server_file_path("SRV1", "SYS/x"), mount_ + "/user/SRV1/SYS/x");
    user_is_unknown = false;
    EXPECT_EQ(server_file_path("SRV1", "SYS/x"), mount_ + "/" + user() + "/SRV1/SYS/x");
}

TEST_F(ServerFileTest, TheEffectiveUserCounts) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can change it";
    ASSERT_EQ(seteuid(65534), 0);
    const std::string path = server_file_path("SRV1", "SYS/x");
    ASSERT_EQ(seteuid(0), 0);
    EXPECT_EQ(path, mount_ + "/" + getpwuid(65534)->pw_name + "/SRV1/SYS/x");
    EXPECT_NE(path, server_file_path("SRV1", "SYS/x"));
}

TEST_F(ServerFileTest, APlainNameLiesInTheDrivesDirectory) {
    folder_.file("x.txt", "the file");
    EXPECT_EQ(get_file(nullptr, folder_.path("x.txt").c_str()), "the file") << "no drive: the name alone";
    driveDir = text_copy(folder_.path("config/..")).release();
    EXPECT_EQ(get_file(nullptr, "x.txt"), "the file");
    EXPECT_EQ(get_file(nullptr, "/x.txt"), "the file");
    EXPECT_EQ(get_file(nullptr, "config\\..\\x.txt"), "the file");
    EXPECT_EQ(get_file(nullptr, folder_.path("x.txt").c_str()), "(1)") << "an absolute name too is the drive's";
}

TEST_F(ServerFileTest, IdentifiersInNamesAreReplacedAndTheirBackslashesTurn) {
    setenv("FILE_SPEC_TEST", "x", 1);
    folder_.file("x.txt", "the file");
    EXPECT_EQ(get_file(nullptr, folder_.path("%<FILE_SPEC_TEST>.txt").c_str()), "the file");
    unsetenv("FILE_SPEC_TEST");
    setenv("FILE_SPEC_TEST", "\\LOGIN\\X", 1);
    network_file("SRV1/SYS/LOGIN/X.TXT", "the file");
    EXPECT_EQ(get_file("SRV1", "SYS%<FILE_SPEC_TEST>.TXT"), "the file");
    EXPECT_EQ(display("SYS:/%<FILE_SPEC_TEST>.TXT"), "the file");
    unsetenv("FILE_SPEC_TEST");
}

TEST_F(ServerFileTest, AMissingSpecificationIsReported) {
    EXPECT_EQ(get_file(nullptr, nullptr), "(1)");
    EXPECT_EQ(get_file("SRV1", nullptr), "(1)");
    EXPECT_EQ(output(), "File Specificaion Empty\nFile Specificaion Empty\n");
    EXPECT_THAT(spy::calls(), IsEmpty());
}

TEST_F(ServerFileTest, TheServerIsReachedAskedAndAuthenticated) {
    const std::string asked = "ZKCCOpenConnByName ZKCCGetConnInfo ZKCCGetConnInfo ",
                      probed = asked + "ZKDSCanDSAuthenticate ";
    const struct {
        const char *behaviour, *server;
        bool authenticated;
        std::function<void()> prepare;
        std::string calls;
        const char *message;
    } rows[] = {
        {"authenticated", "SRV1", true, [] {}, asked, ""},
        {"not authenticated", "SRV1", false, [] {}, probed + "ZKDSAuthenticateConnEx ", ""},
        {"without a login", "SRV1", false, [] { spy::logged_out(); }, probed, "Not logged into tree\n"},
        {"any other answer than 1", "SRV1", false, [] { spy::fail("ZKDSCanDSAuthenticate", 2); }, probed,
         "Not logged into tree\n"},
        {"a failed authentication", "srv1", false, [] { spy::fail("ZKDSAuthenticateConnEx", 0x8890); },
         probed + "ZKDSAuthenticateConnEx ", "Unable to Authenticate to server: SRV1 (8890)\n"},
        {"an unreachable server", "NOWHERE", true, [] {}, "ZKCCOpenConnByName ",
         "Unable to connect to server: NOWHERE (8847)\n"},
    };
    network_file("SRV1/SYS/x", "the file");
    network_file("SYS/x", "the file"); // the name without a server
    for (const auto &row : rows) {
        SCOPED_TRACE(row.behaviour);
        spy::mend();
        spy::logged_in("jdoe.sales.acme");
        spy::authenticated("SRV1", row.authenticated);
        row.prepare();
        spy::forget_calls();
        EXPECT_EQ(get_file(row.server, "SYS/x"), "the file");
        EXPECT_EQ(output(), row.message);
        std::string calls;
        for (const std::string &name : spy::call_names()) calls += name + " ";
        EXPECT_EQ(calls, row.calls);
    }
}

TEST_F(ServerFileTest, TheClientIsAskedWithTheseArguments) {
    spy::authenticated("SRV1", false);
    get_file("SRV1", "SYS/x");
    EXPECT_THAT(spy::calls(), ElementsAre("ZKCCOpenConnByName(0, \"SRV1\", 2, 1, 32768)", "ZKCCGetConnInfo(101, 7, 49)",
                                          "ZKCCGetConnInfo(101, 1, 4)", "ZKDSCanDSAuthenticate(77)",
                                          "ZKDSAuthenticateConnEx(77, 101)"));
}

class HostileNameTest : public NetworkFileTest {
  protected:
    HostileNameTest() {
        folder_.file("secret", "beside the mount point");
        network_file("other/SYS/x", "of another server");
        network_file("SRV1/SYS/x", "its own");
    }
};

TEST_F(HostileNameTest, NoNameLeavesItsServersDirectory) {
    for (const char *name :
         {"../../../secret", "SYS/../../../../secret", "SYS\\..\\..\\..\\..\\secret", "..", "../other/SYS/x",
          "SYS/../../other/SYS/x", "./../other/SYS/x", "SYS//../../other/SYS/x", "x/../../SRV1/SYS/x"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(get_file("SRV1", name), "(1)");
        EXPECT_EQ(get_file(":", name), "(1)");
    }
    EXPECT_EQ(get_file("SRV1", "SYS/../SYS/./x"), "its own");
    EXPECT_EQ(get_file("SRV1", "SYS/..x/../x"), "(1)") << "no such folder, but no way out either";
}

TEST_F(HostileNameTest, StatementsDoNotLeaveItEither) {
    for (const char *name :
         {"SYS:/../../../../secret", "..:/x", "..:/../secret", "SRV1/..:/../../secret", "../SYS:/x",
          "\\\\SRV1\\..\\..\\..\\secret", "\\\\..\\..\\secret", "\\\\SRV1\\SYS\\..\\..\\..\\..\\secret"}) {
        SCOPED_TRACE(name);
        EXPECT_THAT(display(name), Not(HasSubstr("mount point")));
    }
}

TEST_F(HostileNameTest, NoServersNameLeadsOut) {
    folder_.file("mnt/secret", "of no user");
    for (const char *name : {"..", "../..", ".", "SRV1/../..", "/"}) {
        SCOPED_TRACE(name);
        spy::connection_answer(ZK_INFO_SERVER_NAME, std::string(name) + '\0');
        EXPECT_EQ(get_file("SRV1", "secret"), "(1)");
        EXPECT_EQ(get_file("SRV1", "other/SYS/x"), "(1)");
    }
    spy::connection_answer(ZK_INFO_SERVER_NAME, std::string(200, 'S'));
    network_file(std::string(48, 'S') + "/x", "cut");
    EXPECT_EQ(get_file("SRV1", "x"), "cut");
}

TEST_F(HostileNameTest, ADirectoryMapDoesNotLeadOut) {
    spy::text_attribute("map.acme", "Path", {"vol1.acme:../../../../secret/.."});
    spy::text_attribute("vol1.acme", "Host_Resource_Name", {".."});
    spy::text_attribute("vol1.acme", "Host_Server", {"..acme"});
    EXPECT_THAT(display(".map.acme:/secret"), Not(HasSubstr("mount point")));
}

TEST_F(HostileNameTest, OverlongPathsAreNotFound) {
    const std::string prefix = mount_ + "/" + user() + "/SRV1/";
    const std::string longest(511 - prefix.size(), 'x');
    EXPECT_EQ(server_file_path("SRV1", longest), prefix + longest);
    EXPECT_EQ(server_file_path("SRV1", longest + "x"), "");
    EXPECT_EQ(get_file("SRV1", std::string(100000, 'x').c_str()), "(1)");
    EXPECT_EQ(get_file(nullptr, std::string(100000, '/').c_str()), "(1)");
    EXPECT_THAT(display("SYS:/" + std::string(5000, 'x')), StartsWith("Unable to find file:(SYS//xxx"));
}

// The length shows that one slash is put between, and none when the name brings it.
TEST_F(HostileNameTest, APathOfADriveHasUpTo511Characters) {
    const std::string above = folder_.path(std::string(250, 'd'));
    for (const size_t length : {509U, 510U}) {
        const std::string drive = above + "/" + std::string(length - above.size() - 1, 'e');
        std::filesystem::create_directories(drive);
        std::ofstream(drive + "/x") << "the file";
        session_replace(driveDir, drive.c_str());
        EXPECT_EQ(get_file(nullptr, "x"), length == 509 ? "the file" : "(1)");
        EXPECT_EQ(get_file(nullptr, "/x"), length == 509 ? "the file" : "(1)");
        session_replace(driveDir, nullptr);
        EXPECT_EQ(get_file(nullptr, (drive + "/x").c_str()), length == 509 ? "the file" : "(1)");
    }
}

TEST_F(HostileNameTest, WhatIsNoPlainFileIsNotFound) {
    ASSERT_EQ(mkfifo((mount_ + "/" + user() + "/SRV1/SYS/fifo").c_str(), 0600), 0);
    EXPECT_EQ(get_file("SRV1", "SYS/fifo"), "(1)");
    for (const char *name : {"/dev/zero", "/dev/tty", "/dev/stdin", "/proc/self/mem", "/"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(get_file(nullptr, name), "(1)");
    }
    EXPECT_EQ(get_file("SRV1", "SYS"), "(1)");
    EXPECT_EQ(get_file("SRV1", ""), "(1)");
    EXPECT_EQ(get_file(nullptr, ""), "(1)");
    const std::string path = mount_ + "/" + user() + "/SRV1/SYS/x";
    spy::on_call([&](const std::string &) { std::filesystem::remove(path); });
    EXPECT_EQ(get_file("SRV1", "SYS/x"), "(1)");
}

TEST_F(HostileNameTest, AFileWithoutPermissionIsNotFound) {
    const std::string path = folder_.path("secret");
    chmod(folder_.path("").c_str(), 0755);
    chmod(path.c_str(), 0);
    const auto read_as_nobody = [&] {
        if (geteuid() == 0 && setuid(65534) != 0) _exit(1);
        char *text = nullptr;
        _exit(qrt_GetFile(handle, nullptr, path.c_str(), &text) == 1 && !text ? 33 : 0);
    };
    EXPECT_EXIT(read_as_nobody(), ExitedWithCode(33), "");
}

TEST_F(HostileNameTest, AFileWithZeroBytesIsShownUpToTheFirst) {
    network_file("SRV1/SYS/zero", std::string("ab\0cd", 5));
    EXPECT_EQ(get_file("SRV1", "SYS/zero"), "ab");
}

} // namespace
