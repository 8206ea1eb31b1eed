#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cstring>

#include "platform/common/places.h"
#include "tests/support/client_fixture.h"

namespace {

class Paths : public ClientTest {
  protected:
    // "server|volume|rest", or the code.
    std::string parse(const std::string &path) {
        char server[ZK_SERVER_NAME_SIZE] = "?";
        char volume[65] = "?";
        char rest[256] = "?";
        lastCode = ZKParsePath(path.c_str(), server, &connection, volume, rest);
        return lastCode == ZK_OK ? std::string(server) + "|" + volume + "|" + rest : "failed";
    }

    uint32_t connection = 0;
};

TEST_F(Paths, EveryForm) {
    struct {
        const char *path, *expected;
    } cases[] = {
        {"SRV1/SYS:public", "SRV1|SYS|public"},
        {"srv1/sys:public/Bin", "SRV1|SYS|public/Bin"},
        {"SRV1\\SYS:public", "SRV1|SYS|public"},
        {"SRV1/SYS:/public", "SRV1|SYS|public"},
        {"SRV1/users:", "SRV1|Users|"},
        {"SRV1/SYS:a:b", "SRV1|SYS|a:b"},
        {"\\\\SRV2\\SYS\\public\\x", "SRV2|SYS|public\\x"},
        {"//srv2/sys/public", "SRV2|SYS|public"},
        {"\\\\SRV2\\SYS", "SRV2|SYS|"},
        {"\\\\SRV2\\SYS:public", "SRV2|SYS|public"},
        {"OLDSRV/data:x", "OLDSRV|Data|x"},
        {"ANYSRV/whatever:x", "ANYSRV|whatever|x"},
        {"ANYSRV\\whatever:\\x\\", "ANYSRV|whatever|x\\"},
        {"\\\\ANYSRV/vol\\\\x", "ANYSRV|vol|x"},
        {"//ANYSRV/vol", "ANYSRV|vol|"},
        {"ANYSRV/vol://x", "ANYSRV|vol|x"},
        {"ANYSRV/vol:/", "ANYSRV|vol|"},
    };
    for (auto &c : cases) EXPECT_EQ(c.expected, parse(c.path)) << c.path;
}

TEST_F(Paths, AVolumeAloneIsOnTheDefaultServer) {
    EXPECT_EQ("SRV1|SYS|x", parse("SYS:x")) << "without a connection the tree's own server";
    uint32_t second = open_server("SRV2");
    ZKCCSetPrimConn(second);
    EXPECT_EQ("SRV2|SYS|x", parse("SYS:x"));
    EXPECT_EQ(second, connection);
    EXPECT_EQ(ZK_OK, ZKCCCloseConn(second));
    EXPECT_EQ("SRV2", text_info(second, ZK_INFO_SERVER_NAME)) << "the path counts as a use";
    EXPECT_EQ("failed", parse("USERS:x"));
    EXPECT_EQ(ZKE_VOLUME_UNKNOWN, lastCode) << "SRV2 has no such volume";
}

TEST_F(Paths, TheConnectionIsOpen) {
    EXPECT_EQ("SRV2|SYS|x", parse("SRV2/SYS:x"));
    EXPECT_EQ("SRV2", text_info(connection, ZK_INFO_SERVER_NAME));
    EXPECT_EQ(ZK_OK, ZKCCCloseConn(connection));
    EXPECT_EQ(ZK_OK, ZKParsePath("SRV2/SYS:x", nullptr, nullptr, nullptr, nullptr));
    uint32_t iteration = 0;
    EXPECT_EQ(ZKE_NO_MORE_ENTRIES, ZKCCScanConnInfo(&iteration, 7, "SRV2", 11, 1, 0, nullptr, &connection))
        << "what is not asked for does not stay open";
}

TEST_F(Paths, ConfiguredVolumesAreThereWithoutAnObject) {
    configure(
        "[[server]]\nname = \"FS2\"\nvolumes = [\"SYS\"]\n"
        "[[volume]]\nserver = \"FS1\"\nname = \"HOME\"\nsource = \"smb://fs1/home\"\n"
        "[[volume]]\nserver = \"fs1\"\nname = \"Docs\"\nsource = \"smb://fs1/docs\"\n"
        "[[volume]]\nserver = \"fs2\"\nname = \"DATA\"\nsource = \"smb://fs2/data\"\n");
    EXPECT_EQ("FS1|HOME|x", parse("fs1/home:x"));
    EXPECT_EQ("FS1|Docs|x", parse("//Fs1/docs/x"));
    EXPECT_EQ("FS2|SYS|", parse("fs2/sys:"));
    EXPECT_EQ("FS2|DATA|", parse("FS2/data:"));
    EXPECT_EQ("failed", parse("FS1/OTHER:"));
    EXPECT_EQ(ZKE_VOLUME_UNKNOWN, lastCode);
    EXPECT_EQ("failed", parse("FS3/HOME:"));
    EXPECT_EQ(ZKE_SERVER_NOT_FOUND, lastCode);
}

TEST_F(Paths, VolumesAreLinkedOnlyWhereTheConfigurationSaysSo) {
    const auto linked = [] {
        std::vector<std::string> found;
        const auto take = [](void *caller, const ZKVolumeSource *one) {
            static_cast<std::vector<std::string> *>(caller)->push_back(std::string(one->server) + "|" + one->volume +
                                                                       "|" + one->source);
        };
        EXPECT_EQ(ZK_OK, ZKScanLinkedVolumes(take, &found));
        return found;
    };
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKScanLinkedVolumes(nullptr, nullptr));
    configure(
        "mount = \"link\"\n"
        "[[volume]]\nserver = \"FS1\"\nname = \"HOME\"\nsource = \"smb://fs1/home\"\n"
        "[[volume]]\nserver = \"FS1\"\nname = \"DATA\"\nsource = \"/srv/data/\"\n");
    EXPECT_THAT(linked(), testing::ElementsAre("FS1|DATA|/srv/data"));
}

TEST_F(Paths, AConfiguredVolumeJoinsThoseOfATreesServer) {
    folder.write("acme.ldif",
                 "dn: o=acme\nobjectClass: organization\no: acme\n\n"
                 "dn: cn=SRV1,o=acme\nobjectClass: qrtServer\ncn: SRV1\n");
    configure(
        "[[tree]]\nname = \"ACME\"\nldif = \"acme.ldif\"\n"
        "[[volume]]\nserver = \"SRV1\"\nname = \"HOME\"\nsource = \"/srv/home\"\n");
    EXPECT_EQ("SRV1|HOME|x", parse("srv1/home:x"));
    EXPECT_EQ("SRV1|HOME|x", parse("home:x")) << "on the default server";
    EXPECT_EQ("failed", parse("SRV1/OTHER:x"));
    EXPECT_EQ(ZKE_VOLUME_UNKNOWN, lastCode);
}

TEST_F(Paths, ListedHostsAreServersWithAnyVolume) {
    configure(
        "[[server]]\nname = \"old.school.example\"\nvolumes = [\"Sys\"]\n"
        "[automount]\nhosts = [\"fs1\", \".school.example\"]\n");
    EXPECT_EQ("FS1|SHARE|dir\\x", parse("\\\\fs1\\share\\dir\\x"));
    EXPECT_EQ("FS1|SHARE|", parse("//FS1/Share"));
    EXPECT_EQ("FS1|HOME$|", parse("fs1/home$:"));
    EXPECT_EQ("DFS.SCHOOL.EXAMPLE|ROOT|x", parse("//dfs.school.example/root/x"));
    EXPECT_EQ("old.school.example|Sys|x", parse("//OLD.school.example/sys/x")) << "a configured server comes first";
    for (const char *path : {"//fs2/share", "//evil.example/share", "//school.example/x",
                             "//a23456789012345678901234567890123456.school.example/x"}) {
        EXPECT_EQ("failed", parse(path)) << path;
        EXPECT_EQ(ZKE_SERVER_NOT_FOUND, lastCode) << path;
    }
    uint32_t first = 0, again = 0;
    EXPECT_EQ(ZK_OK, ZKParsePath("//fs1/a", nullptr, &first, nullptr, nullptr));
    EXPECT_EQ(ZK_OK, ZKParsePath("//FS1/b", nullptr, &again, nullptr, nullptr));
    EXPECT_EQ(first, again) << "one server, one connection";
}

TEST_F(Paths, RefusedPaths) {
    const struct {
        uint32_t code;
        std::vector<std::string> paths;
    } cases[] = {
        {ZKE_MALFORMED_NAME,
         {"",
          "/etc/passwd",
          "public",
          ":x",
          "/SYS:x",
          "SRV1/:x",
          "SRV1/a/SYS:x",
          "\\\\SRV1",
          "\\\\\\SYS",
          "\\\\SRV1\\",
          "SRV1/" + std::string(65, 'v') + ":x",
          "SRV1/SYS:" + std::string(2000, 'x'),
          "SRV1/SYS:" + std::string(1016, 'x'),
          "//",
          "\\\\",
          "/\\SRV1/SYS",
          "\\/SRV1/SYS:x",
          "/",
          "ANYSRV/a\\SYS:x",
          "//ANYSRV//x"}},
        {ZKE_BUFFER_TOO_SMALL, {"SRV1/SYS:" + std::string(1015, 'x'), "SRV1/SYS:" + std::string(256, 'x')}},
        {ZKE_SERVER_NOT_FOUND, {"SRV7/SYS:x"}},
        {ZKE_VOLUME_UNKNOWN, {"SRV1/NONE:x", "OLDSRV/NONE:x"}},
    };
    for (const auto &one : cases)
        for (const std::string &path : one.paths) {
            EXPECT_EQ("failed", parse(path)) << path;
            EXPECT_EQ(one.code, lastCode) << path;
        }
    EXPECT_EQ("SRV1|SYS|" + std::string(255, 'x'), parse("SRV1/SYS:" + std::string(255, 'x')));
    EXPECT_EQ("ANYSRV|" + std::string(64, 'v') + "|x", parse("ANYSRV/" + std::string(64, 'v') + ":x"));
}

class Drives : public ClientTest {
  protected:
    Drives() {
        place_mount_point = "/mnt/net/";
        folder.make("drives");
        place_config_folder = config_.c_str();
        setenv("DRIVES_TEST", folder.path().c_str(), 1);
        links_are_in(folder.path("drives"));
    }
    ~Drives() override { place_config_folder = kept_; }

    void links_are_in(const std::string &place) {
        folder.write("map.conf", "Map_Link_Default_Location=" + place + "\n");
    }

    void link(const char *name, const std::string &to) {
        ASSERT_EQ(0, symlink(to.c_str(), folder.path("drives/" + std::string(name)).c_str()));
    }

    // The list as the client writes it.
    static std::vector<char> listed() {
        uint32_t size = 0;
        EXPECT_EQ(ZK_OK, ZKGetMappedDrives(nullptr, &size));
        std::vector<char> list(size);
        EXPECT_EQ(ZK_OK, ZKGetMappedDrives(list.data(), &size));
        return list;
    }

    // "name=target" of each drive, through buffers of this size.
    std::vector<std::string> drives(uint32_t size = 256) {
        std::vector<std::string> found;
        const std::vector<char> list = listed();
        std::vector<char> local(size), target(size);
        uint32_t cursor = 0, attribute = 0;
        while ((lastCode = ZKEnumMappedDrives(list.data(), &cursor, &attribute, size, local.data(), size,
                                              target.data())) == ZK_OK) {
            found.push_back(std::string(local.data()) + "=" + target.data());
        }
        return found;
    }

    std::string drive(const char *name, const char *target) { return folder.path("drives/") + name + "=" + target; }

  private:
    const std::string config_ = folder.path() + "/";
    const char *const kept_ = place_config_folder;
};

TEST_F(Paths, ATreeWithoutAServerHasNoVolumes) {
    folder.write("t.ldif", "dn: o=acme\nobjectClass: organization\no: acme\n");
    configure("[[tree]]\nname = \"T\"\nldif = \"t.ldif\"\n");
    EXPECT_EQ("failed", parse("SYS:x"));
    EXPECT_EQ(ZKE_SERVER_NOT_FOUND, lastCode);
}

TEST_F(Paths, AFailureLeavesNoConnectionOpenAndNothingWritten) {
    char volume[65] = "?";
    EXPECT_EQ(ZKE_VOLUME_UNKNOWN, ZKParsePath("SRV2/NONE:x", volume, &connection, volume, volume));
    EXPECT_STREQ("?", volume);
    EXPECT_EQ(0u, connection);
    uint32_t iteration = 0;
    EXPECT_EQ(ZKE_NO_MORE_ENTRIES, ZKCCScanConnInfo(&iteration, 7, "SRV2", 11, 1, 0, nullptr, &connection));
    char server[ZK_SERVER_NAME_SIZE] = "?";
    EXPECT_EQ(ZK_OK, ZKParsePath("srv2/SYS:x", server, nullptr, nullptr, nullptr));
    EXPECT_STREQ("SRV2", server) << "the server is returned also without its connection";
}

TEST_F(Drives, LinksBelowTheMountPointAreDrives) {
    link("H", "/mnt/net/jdoe/SRV1/USERS/home/jdoe");
    link("G", "/mnt/net/jdoe/SRV1/SYS");
    link("I", "/mnt//net/./jdoe/SRV1/SYS/a//b/");
    EXPECT_EQ((std::vector<std::string>{drive("G", "SRV1/SYS:"), drive("H", "SRV1/USERS:home/jdoe"),
                                        drive("I", "SRV1/SYS:a/b")}),
              drives());
    EXPECT_EQ(ZKE_NO_MORE_ENTRIES, lastCode);
}

TEST_F(Drives, TheStatusFileNamesTheMountPoint) {
    folder.write("Version", "Marfsd Version=1.2\nMarfs mount=/mnt/told\n");
    const std::string status = folder.path("Version");
    const char *kept = place_module_status;
    place_module_status = status.c_str();
    link("H", "/mnt/told/jdoe/SRV1/SYS/x");
    link("I", "/mnt/net/jdoe/SRV1/SYS/x");
    EXPECT_EQ(std::vector<std::string>{drive("H", "SRV1/SYS:x")}, drives());
    place_module_status = kept;
}

TEST_F(Drives, WhatPointsElsewhereIsNoDrive) {
    link("a", "/mnt/net/jdoe/SRV1");
    link("b", "/mnt/network/jdoe/SRV1/SYS");
    link("c", "/tmp");
    link("d", "mnt/net/jdoe/SRV1/SYS");
    link("e", "/mnt/net/jdoe/SRV1/SYS/../../x");
    link("f", "/mnt");
    folder.write("drives/file", "x");
    folder.make("drives/folder");
    EXPECT_EQ(std::vector<std::string>{}, drives());
}

TEST_F(Drives, AMountPointThatClimbsHasNone) {
    place_mount_point = "/mnt/../net";
    link("H", "/net/jdoe/SRV1/SYS/x");
    link("I", "/mnt/../net/jdoe/SRV1/SYS/x");
    link("J", "/mnt/jdoe/SRV1/SYS/x");
    EXPECT_EQ(std::vector<std::string>{}, drives());
}

TEST_F(Drives, WithoutTheDirectoryThereAreNone) {
    for (const char *place : {"/none", "%NOT_SET_IN_TESTS/drives", "drives"}) {
        links_are_in(place);
        EXPECT_EQ(std::vector<std::string>{}, drives()) << place;
    }
}

TEST_F(Drives, ADriveTooLongForTheCallerDoesNotHideTheOthers) {
    link("A", "/mnt/net/jdoe/SRV1/SYS/" + std::string(300, 'x'));
    link("B", "/mnt/net/jdoe/SRV1/SYS/b");
    EXPECT_EQ(std::vector<std::string>{drive("B", "SRV1/SYS:b")}, drives());
    EXPECT_EQ(2u, drives(512).size());
}

TEST_F(Drives, ADriveMayFillTheCallersBuffers) {
    link("B", "/mnt/net/jdoe/SRV1/SYS/b");
    const auto local = static_cast<uint32_t>(folder.path("drives/B").size() + 1);
    const auto target = static_cast<uint32_t>(sizeof "SRV1/SYS:b");
    const struct {
        uint32_t localSize, targetSize, code;
    } rows[] = {
        {local, target, ZK_OK}, {local - 1, target, ZKE_NO_MORE_ENTRIES}, {local, target - 1, ZKE_NO_MORE_ENTRIES}};
    const std::vector<char> list = listed();
    for (const auto &row : rows) {
        std::vector<char> path(row.localSize), place(row.targetSize);
        uint32_t cursor = 0;
        EXPECT_EQ(row.code, ZKEnumMappedDrives(list.data(), &cursor, nullptr, row.localSize, path.data(),
                                               row.targetSize, place.data()));
    }
}

TEST_F(Drives, TheLinkDirectoryMayNameAVariable) {
    link("H", "/mnt/net/jdoe/SRV1/SYS/x");
    links_are_in("%DRIVES_TEST/drives");
    std::vector<std::string> found = drives();
    ASSERT_EQ(1u, found.size());
    EXPECT_EQ(folder.path() + "/drives/H=SRV1/SYS:x", found[0]);
    unsetenv("DRIVES_TEST");
    EXPECT_EQ(std::vector<std::string>{}, drives());
}

TEST_F(Drives, TheHomeDirectoryIsTheDefault) {
    setenv("HOME", folder.path("drives").c_str(), 1);
    link("H", "/mnt/net/jdoe/SRV1/SYS/x");
    unlink(folder.path("map.conf").c_str());
    EXPECT_EQ(std::vector<std::string>{drive("H", "SRV1/SYS:x")}, drives());
}

// Others could lead the user's drives where they like.
TEST_F(Drives, ADirectoryThatOthersCanWriteInIsRefused) {
    link("H", "/mnt/net/jdoe/SRV1/SYS/x");
    uint32_t size = 0;
    for (mode_t mode : {0777, 01777, 0702}) {
        ASSERT_EQ(0, chmod(folder.path("drives").c_str(), mode));
        EXPECT_EQ(ZKE_NO_ACCESS, ZKGetMappedDrives(nullptr, &size));
        EXPECT_EQ("the directory for the drive links, " + folder.path("drives") +
                      ", is writable by other users: run chmod go-w on it, or set HOME or map.conf to another one",
                  last_error());
    }
    ASSERT_EQ(0, chmod(folder.path("drives").c_str(), 0755));
    EXPECT_EQ(1u, drives().size());
}

TEST_F(Drives, WhatAnotherUserMadeIsNotUsed) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give files away";
    }
    link("G", "/mnt/net/jdoe/SRV1/SYS/x");
    link("H", "/mnt/net/jdoe/SRV1/SYS/x");
    ASSERT_EQ(0, lchown(folder.path("drives/H").c_str(), 65534, 65534));
    EXPECT_EQ(std::vector<std::string>{drive("G", "SRV1/SYS:x")}, drives());
    ASSERT_EQ(0, chown(folder.path("drives").c_str(), 65534, 65534));
    uint32_t size = 0;
    EXPECT_EQ(ZKE_NO_ACCESS, ZKGetMappedDrives(nullptr, &size));
    EXPECT_EQ("the directory for the drive links, " + folder.path("drives") +
                  ", belongs to another user: set HOME or map.conf to one of your own",
              last_error());
}

TEST_F(Drives, ALinkToADirectoryOfDrivesIsNotFollowed) {
    link("H", "/mnt/net/jdoe/SRV1/SYS/x");
    ASSERT_EQ(0, symlink("drives", folder.path("alias").c_str()));
    for (const char *name : {"alias", "alias/"}) {
        links_are_in(folder.path(name));
        EXPECT_EQ(std::vector<std::string>{}, drives()) << name;
    }
}

TEST_F(Drives, AListThatHasGrownIsReported) {
    uint32_t size = 0;
    ASSERT_EQ(ZK_OK, ZKGetMappedDrives(nullptr, &size));
    std::vector<char> list(size);
    link("H", "/mnt/net/jdoe/SRV1/SYS/x");
    EXPECT_EQ(ZKE_BUFFER_TOO_SMALL, ZKGetMappedDrives(list.data(), &size));
    EXPECT_GT(size, list.size());
}

TEST_F(Drives, AListThatIsNoneIsRefused) {
    char nothing[64] = {};
    char text[64];
    uint32_t cursor = 0;
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKEnumMappedDrives(nothing, &cursor, nullptr, 64, text, 64, text));
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKEnumMappedDrives(nullptr, &cursor, nullptr, 64, text, 64, text));
    const std::vector<char> list = listed();
    for (const uint32_t at : {4u, 7u, 8u, 9u, 4000u}) {
        cursor = at;
        EXPECT_EQ(at == 8 ? ZKE_NO_MORE_ENTRIES : ZKE_BAD_PARAMETER,
                  ZKEnumMappedDrives(list.data(), &cursor, nullptr, 64, text, 64, text));
    }
}

// Each list says itself how long it is.
TEST_F(Drives, AListThatIsCutEndsBeforeTheDriveThatIsCut) {
    link("H", "/mnt/net/jdoe/SRV1/SYS/x");
    const std::vector<char> whole = listed();
    const auto size = static_cast<uint32_t>(whole.size());
    for (uint32_t cut = 8; cut <= size; cut++) {
        std::vector<char> list(whole.begin(), whole.begin() + cut);
        memcpy(list.data() + 4, &cut, sizeof cut);
        char local[256], target[256];
        uint32_t cursor = 0, attribute = 7;
        EXPECT_EQ(cut == size ? ZK_OK : ZKE_NO_MORE_ENTRIES,
                  ZKEnumMappedDrives(list.data(), &cursor, &attribute, 256, local, 256, target))
            << cut;
        EXPECT_EQ(cut == size ? 1u : 7u, attribute);
    }
}

} // namespace
