// The edges of the volume functions: what just fits their buffers, which codes count as failures, and when a path is
// the client's all the same.
#include <cstring>

#include "directory/volumes.h"
#include "tests/unit/session_fixture.h"

namespace {

class VolumesBounds : public DirectoryTest {
  protected:
    static void volume_object(const std::string &name, const std::string &server, const std::string &volume) {
        spy::object(name, "Volume");
        spy::text_attribute(name, "Host Server", {server});
        spy::text_attribute(name, "Host Resource Name", {volume});
    }
    static void directory_map(const std::string &name, const char *volumeObject, const std::string &path) {
        spy::object(name, "Directory Map");
        spy::attribute(name, "Path", {spy::path(volumeObject, path.c_str())});
    }
    uint32_t parse(const std::string &path, uint32_t context = session_handle) {
        return qrt_ZKDSParsePath(context, path.c_str(), server, &connection, volume, rest, &resolved);
    }
    char server[514] = "", volume[514] = "", rest[256] = "";
    uint32_t connection = 99;
    uint16_t resolved = 7;
};

TEST_F(VolumesBounds, ARestOf255CharactersFits) {
    volume_object("V", "SRV1.acme", "SYS");
    const std::string path(255, 'x');
    EXPECT_EQ(parse("V:" + path), 0u);
    EXPECT_EQ(rest, path);
    EXPECT_EQ(parse("V\\" + path), 0u);
    EXPECT_EQ(rest, path);
}

TEST_F(VolumesBounds, APathOf769CharactersFits) {
    const std::string name(769, 'v');
    volume_object(name, "SRV1.acme", "SYS");
    spy::object(name, "Volume", "V.acme"); // the client's own names are shorter
    EXPECT_EQ(parse(name), 0u);
    EXPECT_STREQ(volume, "SYS");
    EXPECT_EQ(resolved, 1);
}

TEST_F(VolumesBounds, AServersNameOf513CharactersFits) {
    const std::string name(513, 'S');
    spy::text_attribute("V", "Host Server", {name});
    EXPECT_EQ(qrt_DSGetObjConnID(session_handle, "V", &connection, server, nullptr), 0u);
    EXPECT_EQ(server, name);
}

TEST_F(VolumesBounds, APathWhoseServersNameDoesNotFitIsLeftToTheClient) {
    volume_object("V", std::string(514, 'S'), "SYS");
    spy::parsed_path("V:x", "SRV2", 106, "SYS", "y");
    EXPECT_EQ(parse("V:x"), 0u);
    EXPECT_STREQ(server, "SRV2");
    EXPECT_EQ(resolved, 0);
    spy::mend();
    EXPECT_NE(parse("V:unknown"), 0u);
    EXPECT_STREQ(server, "");
}

TEST_F(VolumesBounds, AMapsPathAndTheRestBehindItFitIn255Characters) {
    directory_map("M", "V", std::string(255, 'p'));
    EXPECT_EQ(qrt_CheckForDirectoryMap(session_handle, "M", volume, rest), 0u);
    EXPECT_EQ(rest, std::string(255, 'p'));
    directory_map("N", "V", std::string(251, 'p'));
    strcpy(rest, "bin");
    EXPECT_EQ(qrt_CheckForDirectoryMap(session_handle, "N", volume, rest), 0u);
    EXPECT_EQ(rest, std::string(251, 'p') + "\\bin");
}

TEST_F(VolumesBounds, TheSignOfTheLowHalfIsItsHighestBit) {
    volume_object("V", "SRV1.acme", "SYS");
    directory_map("M", "V", "apps");
    for (const char *call : {"ZKDSAllocBuf", "ZKDSInitBuf", "ZKDSPutAttrName", "ZKDSRead", "ZKDSGetAttrCount",
                             "ZKDSGetAttrName", "ZKDSComputeAttrValSize", "ZKDSGetAttrVal"}) {
        for (const uint32_t code : {0x8000u, 0xFFFFu}) {
            spy::mend();
            spy::fail(call, code);
            EXPECT_EQ(qrt_DSGetPhysicalVolumeName(session_handle, "V", volume), 0xFFFF0000u + code) << call;
            EXPECT_EQ(qrt_CheckForDirectoryMap(session_handle, "M", volume, rest), 0xFFFF0000u + code) << call;
            EXPECT_EQ(spy::call_names().back(), std::string(call) == "ZKDSAllocBuf" ? call : "ZKDSFreeBuf");
        }
    }
    // Here the call is made and its answer taken, whatever its code says.
    spy::mend();
    spy::fail("ZKDSInitBuf", 0xFFFF7FFF);
    EXPECT_EQ(qrt_DSGetPhysicalVolumeName(session_handle, "V", volume), 0u);
    EXPECT_STREQ(volume, "SYS");
    EXPECT_EQ(qrt_CheckForDirectoryMap(session_handle, "M", volume, rest), 0u);
    EXPECT_STREQ(volume, "V");
}

TEST_F(VolumesBounds, TheLastCallsCodeIsReturned) {
    volume_object("V", "SRV1.acme", "SYS");
    spy::fail("ZKDSGetAttrVal", 0xFFFF0005);
    EXPECT_EQ(qrt_DSGetPhysicalVolumeName(session_handle, "V", volume), 5u);
    spy::mend();
    spy::replies("M", "Path", {{{}, {}}});
    spy::fail("ZKDSGetAttrCount", 0xFFFF0006);
    EXPECT_EQ(qrt_CheckForDirectoryMap(session_handle, "M", volume, rest), 6u);
}

TEST_F(VolumesBounds, AMapsPathIsTheClientsAsItWasPassedIn) {
    directory_map("APPMAP", "GONE", "apps");
    spy::parsed_path("APPMAP:bin", "SRV2", 106, "SYS", "y");
    EXPECT_EQ(parse("APPMAP:bin"), 0u);
    EXPECT_STREQ(server, "SRV2");
    EXPECT_STREQ(volume, "SYS");
    EXPECT_STREQ(rest, "y");
    EXPECT_EQ(connection, 106u);
    EXPECT_EQ(resolved, 0);
    EXPECT_THAT(spy::calls("ZKParsePath"), ElementsAre("ZKParsePath(\"APPMAP:bin\")"));
}

TEST_F(VolumesBounds, AVolumeWithoutAServerIsTheClients) {
    spy::object("HALF", "Volume");
    spy::text_attribute("HALF", "Host Resource Name", {"USERS"});
    spy::parsed_path("HALF:x", "SRV2", 106, "SYS", "y");
    EXPECT_EQ(parse("HALF:x"), 0u);
    EXPECT_STREQ(server, "SRV2");
    EXPECT_STREQ(volume, "SYS");
    EXPECT_EQ(resolved, 0);
    EXPECT_THAT(spy::calls("ZKDSPutAttrName"), ElementsAre("ZKDSPutAttrName(40, buf1, \"Host Server\")"));
}

TEST_F(VolumesBounds, APathThatNobodyKnowsLeavesNoRest) {
    for (const char *path : {"", "SRV1/SYS:public", "SYS:public"}) {
        strcpy(rest, "old");
        resolved = 7;
        EXPECT_EQ(parse(path), 0x8847u) << path;
        EXPECT_STREQ(rest, "") << path;
        EXPECT_EQ(resolved, 0) << path;
    }
}

// Only the object of a volume needs it.
TEST_F(VolumesBounds, WithoutAContextTheClientStillTakesItsOwnPaths) {
    const uint32_t none = 0xFFFFFEB8;
    for (const char *path : {"SRV1/SYS:public", "\\\\SRV1\\SYS\\public", "SYS:public"}) {
        spy::parsed_path(path, "SRV1", 105, "SYS", "public");
        EXPECT_EQ(parse(path, none), 0u) << path;
        EXPECT_STREQ(rest, "public") << path;
    }
    volume_object("USERVOL", "SRV1.acme", "USERS");
    EXPECT_EQ(parse("USERVOL:x", none), 1u);
    EXPECT_EQ(resolved, 0);
    EXPECT_STREQ(rest, "");
}

TEST_F(VolumesBounds, OnlyTheUnknownVolumeCodeStaysPending) {
    for (const uint32_t told : {0x8700u, 0x8702u, 0xFFFF8701u, 0xFFFFFDA7u}) {
        spy::mend();
        spy::fail("ZKDSReadObjectInfo", told);
        EXPECT_EQ(parse("SYS:public"), 0x8847u) << told;
    }
}

} // namespace
