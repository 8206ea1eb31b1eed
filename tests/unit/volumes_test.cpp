#include "directory/volumes.h"

#include "tests/unit/session_fixture.h"

namespace {

class VolumesTest : public DirectoryTest {
  public:
    static void volume_object(const std::string &name, const std::string &server, const std::string &volume) {
        spy::object(name, "Volume");
        spy::text_attribute(name, "Host Server", {server});
        spy::text_attribute(name, "Host Resource Name", {volume});
    }
    static void directory_map(const std::string &name, const char *volumeObject, const char *path) {
        spy::object(name, "Directory Map");
        spy::attribute(name, "Path", {spy::path(volumeObject, path)});
    }
    uint32_t parse(const char *path) {
        return qrt_ZKDSParsePath(session_handle, path, server, &connection, volume, rest, &resolved);
    }
    uint32_t map(const char *name) { return qrt_CheckForDirectoryMap(session_handle, name, volume, rest); }
    uint32_t volume_name(const char *name) { return qrt_DSGetPhysicalVolumeName(session_handle, name, volume); }
    void expect_split(const char *wantedServer, const char *wantedVolume, const char *wantedRest, int wantedResolved) {
        EXPECT_STREQ(server, wantedServer);
        EXPECT_STREQ(volume, wantedVolume);
        EXPECT_STREQ(rest, wantedRest);
        EXPECT_EQ(resolved, wantedResolved);
    }
    char server[514] = "", volume[514] = "", rest[256] = "";
    uint32_t connection = 99;
    uint16_t resolved = 7;
};

TEST_F(VolumesTest, ServerOfAVolumeIsTheLeafOfItsHostServer) {
    volume_object("USERVOL", "CN=SRV1.OU=servers.O=acme", "USERS");
    EXPECT_EQ(qrt_DSGetObjConnID(session_handle, "USERVOL", &connection, server, nullptr), 0u);
    EXPECT_STREQ(server, "SRV1");
    EXPECT_EQ(connection, 0u);
    EXPECT_THAT(spy::calls("ZKDSPutAttrName"), ElementsAre("ZKDSPutAttrName(40, buf1, \"Host Server\")"));
    EXPECT_THAT(spy::calls("ZKCCOpenConnByName"), IsEmpty());
}

TEST_F(VolumesTest, ServerOfAVolumeFailsWithTheAttributesCode) {
    spy::object("USERVOL", "Volume");
    spy::schema("Host Server");
    EXPECT_EQ(qrt_DSGetObjConnID(session_handle, "USERVOL", &connection, server, nullptr), ZKE_NO_SUCH_VALUE);
}

TEST_F(VolumesTest, ServerNameOverTheBufferIsNotFound) {
    spy::text_attribute("USERVOL", "Host Server", {std::string(600, 'S')});
    EXPECT_EQ(qrt_DSGetObjConnID(session_handle, "USERVOL", &connection, server, nullptr), QRT_NOT_FOUND);
}

TEST_F(VolumesTest, VolumeNameIsReadWithOneRequest) {
    volume_object("USERVOL", "SRV1.acme", "USERS");
    EXPECT_EQ(volume_name("USERVOL"), 0u);
    EXPECT_STREQ(volume, "USERS");
    EXPECT_THAT(spy::calls(), ElementsAre("ZKDSAllocBuf(4096)", "ZKDSAllocBuf(4096)", "ZKDSInitBuf(40, 3, buf1)",
                                          "ZKDSPutAttrName(40, buf1, \"Host Resource Name\")",
                                          "ZKDSRead(40, \"USERVOL\", 1, 0, iter -1)", "ZKDSGetAttrCount(40, buf2)",
                                          "ZKDSGetAttrName(40, buf2)", "ZKDSComputeAttrValSize(40, buf2, 3)",
                                          "ZKDSGetAttrVal(40, buf2, 3)", "ZKDSFreeBuf(buf1)", "ZKDSFreeBuf(buf2)"));
}

TEST_F(VolumesTest, VolumeNameTakesTheAttributeInAnyLetterCase) {
    spy::replies("V", "Host Resource Name", {{{{"HOST RESOURCE NAME", {spy::text("SYS")}, {}}}, {}}});
    EXPECT_EQ(volume_name("V"), 0u);
    EXPECT_STREQ(volume, "SYS");
}

TEST_F(VolumesTest, VolumeNameNeedsExactlyOneAttribute) {
    spy::replies("NONE", "Host Resource Name", {{{}, {}}});
    EXPECT_EQ(volume_name("NONE"), QRT_NOT_FOUND);
    spy::Attribute name{"Host Resource Name", {spy::text("SYS")}, {}};
    spy::replies("TWO", "Host Resource Name", {{{name, name}, {}}});
    EXPECT_EQ(volume_name("TWO"), QRT_NOT_FOUND);
}

TEST_F(VolumesTest, VolumeNameNeedsExactlyOneValue) {
    spy::text_attribute("NONE", "Host Resource Name", {});
    EXPECT_EQ(volume_name("NONE"), QRT_NOT_FOUND);
    spy::text_attribute("TWO", "Host Resource Name", {"A", "B"});
    EXPECT_EQ(volume_name("TWO"), QRT_NOT_FOUND);
}

TEST_F(VolumesTest, VolumeNameOfAnotherAttributeIsLeftEmpty) {
    spy::replies("V", "Host Resource Name", {{{{"Description", {spy::text("a"), spy::text("b")}, {}}}, {}}});
    EXPECT_EQ(volume_name("V"), 0u);
    EXPECT_STREQ(volume, "");
}

TEST_F(VolumesTest, VolumeNameRepeatsTheReadUntilTheLastReply) {
    spy::attribute_in_replies("V", "Host Resource Name", {{spy::text("ONE")}, {spy::text("TWO")}});
    EXPECT_EQ(volume_name("V"), 0u);
    EXPECT_STREQ(volume, "TWO");
    EXPECT_THAT(spy::calls("ZKDSRead"),
                ElementsAre("ZKDSRead(40, \"V\", 1, 0, iter -1)", "ZKDSRead(40, \"V\", 1, 0, iter 1)"));
}

TEST_F(VolumesTest, VolumeNameOverTheBufferIsNotFound) {
    spy::text_attribute("V", "Host Resource Name", {std::string(513, 'v')});
    EXPECT_EQ(volume_name("V"), 0u);
    spy::text_attribute("W", "Host Resource Name", {std::string(514, 'w')});
    EXPECT_EQ(volume_name("W"), QRT_NOT_FOUND);
}

struct Code {
    uint32_t told, returned;
};

class VolumeCodes : public VolumesTest, public testing::WithParamInterface<Code> {};

TEST_P(VolumeCodes, AreTheirLowSixteenBitsWithTheSign) {
    volume_object("V", "SRV1.acme", "SYS");
    spy::fail("ZKDSRead", GetParam().told);
    EXPECT_EQ(volume_name("V"), GetParam().returned);
    directory_map("M", "V", "apps");
    EXPECT_EQ(map("M"), GetParam().returned);
}

INSTANTIATE_TEST_SUITE_P(Volumes, VolumeCodes,
                         testing::Values(Code{0xFFFFFDA5, 0xFFFFFDA5}, Code{0x8801, 0xFFFF8801},
                                         Code{0x00018001, 0xFFFF8001}));

// A code whose low half is positive is no failure: the walk goes on with what the buffer holds.
TEST_F(VolumesTest, PositiveLowHalfIsNoFailure) {
    volume_object("V", "SRV1.acme", "SYS");
    spy::fail("ZKDSPutAttrName", 0xFFFF0005);
    EXPECT_EQ(volume_name("V"), ZKE_NO_SUCH_ATTRIBUTE); // nothing was requested, and the read says so
    EXPECT_EQ(spy::calls("ZKDSRead").size(), 1u);
    // The value calls likewise: the code that the last one reports is the result.
    for (const char *call : {"ZKDSComputeAttrValSize", "ZKDSGetAttrVal"}) {
        spy::mend();
        spy::fail(call, 0xFFFF0005);
        EXPECT_EQ(volume_name("V"), call == std::string("ZKDSGetAttrVal") ? 5u : 0u) << call;
        EXPECT_EQ(spy::calls("ZKDSGetAttrVal").size(), call == std::string("ZKDSGetAttrVal") ? 2u : 1u) << call;
    }
}

TEST_F(VolumesTest, EveryFailingCallFreesBothBuffers) {
    volume_object("V", "SRV1.acme", "SYS");
    directory_map("M", "V", "apps");
    for (auto read : {&VolumesTest::volume_name, &VolumesTest::map}) {
        spy::mend();
        int first = spy::call_count() + 1;
        EXPECT_EQ((this->*read)(read == &VolumesTest::map ? "M" : "V"), 0u);
        int last = spy::call_count() - 2; // the two that free
        for (int i = first; i <= last; i++) {
            spy::mend();
            spy::fail_call(spy::call_count() + 1 + i - first, 0xFFFFFDA7);
            EXPECT_EQ((this->*read)(read == &VolumesTest::map ? "M" : "V"), 0xFFFFFDA7) << i;
            EXPECT_EQ(spy::open_buffers(), 0);
        }
    }
}

TEST_F(VolumesTest, AttributeNamesAreThoseOfTheSessionsGlobals) {
    const std::string resource = hostResName, path = pathStr;
    strcpy(hostResName, "Resource");
    strcpy(pathStr, "Way");
    spy::text_attribute("V", "Resource", {"SYS"});
    EXPECT_EQ(volume_name("V"), 0u);
    EXPECT_STREQ(volume, "SYS");
    spy::attribute("M", "Way", {spy::path("VOL1", "apps")});
    EXPECT_EQ(map("M"), 0u);
    EXPECT_STREQ(volume, "VOL1");
    strcpy(hostResName, resource.c_str());
    strcpy(pathStr, path.c_str());
}

TEST_F(VolumesTest, DirectoryMapTellsItsVolumeObjectAndPath) {
    directory_map("APPMAP", "VOL1.acme", "apps");
    EXPECT_EQ(map("APPMAP"), 0u);
    EXPECT_STREQ(volume, "VOL1.acme");
    EXPECT_STREQ(rest, "apps");
}

TEST_F(VolumesTest, DirectoryMapsPathIsPutInFrontOfTheRest) {
    directory_map("APPMAP", "VOL1", "apps");
    strcpy(rest, "bin");
    EXPECT_EQ(map("APPMAP"), 0u);
    EXPECT_STREQ(rest, "apps\\bin");
}

TEST_F(VolumesTest, DirectoryMapWithoutAttributesWritesNothing) {
    spy::replies("M", "Path", {{{}, {}}});
    strcpy(rest, "bin");
    strcpy(volume, "old");
    EXPECT_EQ(map("M"), 0u);
    EXPECT_STREQ(rest, "bin");
    EXPECT_STREQ(volume, "old");
}

TEST_F(VolumesTest, DirectoryMapsAttributeIsMetWithItsLetterCase) {
    spy::replies("M", "Path", {{{{"PATH", {spy::path("V", "p")}, {}}}, {}}});
    EXPECT_EQ(map("M"), ZKE_NO_SUCH_ATTRIBUTE);
    spy::replies("N", "Path", {{{{"PATH", {spy::path("V", "p")}, {}}, {"Path", {spy::path("W", "q")}, {}}}, {}}});
    EXPECT_EQ(map("N"), 0u);
    EXPECT_STREQ(volume, "W");
}

TEST_F(VolumesTest, DirectoryMapNeedsOneValueInEveryAttributeOnTheWay) {
    spy::attribute("NONE", "Path", {});
    EXPECT_EQ(map("NONE"), ZKE_NO_SUCH_ATTRIBUTE);
    spy::attribute("TWO", "Path", {spy::path("V", "p"), spy::path("W", "q")});
    EXPECT_EQ(map("TWO"), ZKE_NO_SUCH_ATTRIBUTE);
}

TEST_F(VolumesTest, DirectoryMapOverTheBuffersIsNotFound) {
    directory_map("LONG", "VOL1", std::string(300, 'p').c_str());
    EXPECT_EQ(map("LONG"), QRT_NOT_FOUND);
    directory_map("WIDE", std::string(600, 'v').c_str(), "p");
    EXPECT_EQ(map("WIDE"), QRT_NOT_FOUND);
    EXPECT_STREQ(rest, "");
}

TEST_F(VolumesTest, DirectoryMapWithHostileValuesStaysInBounds) {
    directory_map("NULLS", nullptr, nullptr);
    EXPECT_EQ(map("NULLS"), 0u);
    EXPECT_STREQ(volume, "");
    spy::attribute("SHORT", "Path", {spy::raw(ZK_SYNTAX_PATH, "ab")});
    EXPECT_EQ(map("SHORT"), 0u);
    spy::attribute("TEXT", "Path", {spy::text("no path at all")});
    EXPECT_EQ(map("TEXT"), ZKE_NO_SUCH_ATTRIBUTE);
}

TEST_F(VolumesTest, PathBeginningWithAVolumeObject) {
    volume_object("USERVOL", "CN=SRV1.O=acme", "USERS");
    EXPECT_EQ(parse("USERVOL:home/jdoe"), 0u);
    expect_split("SRV1", "USERS", "home/jdoe", 1);
    EXPECT_EQ(connection, 0u);
    EXPECT_THAT(spy::calls("ZKDSReadObjectInfo"), ElementsAre("ZKDSReadObjectInfo(40, \"USERVOL\")"));
    EXPECT_THAT(spy::calls("ZKParsePath"), IsEmpty());
}

TEST_F(VolumesTest, PathMayBeCutAtABackslash) {
    volume_object("USERVOL", "SRV1.acme", "USERS");
    EXPECT_EQ(parse("USERVOL\\home"), 0u);
    expect_split("SRV1", "USERS", "home", 1);
}

TEST_F(VolumesTest, PathMayBeTheVolumeAlone) {
    volume_object("USERVOL", "SRV1.acme", "USERS");
    EXPECT_EQ(parse("USERVOL"), 0u);
    expect_split("SRV1", "USERS", "", 1);
}

TEST_F(VolumesTest, PathWithoutAColonIsNotCutAtASlash) {
    volume_object("USER/VOL", "SRV1.acme", "USERS");
    EXPECT_EQ(parse("USER/VOL"), 0u);
    expect_split("SRV1", "USERS", "", 1);
    EXPECT_THAT(spy::calls("ZKDSReadObjectInfo"), ElementsAre("ZKDSReadObjectInfo(40, \"USER/VOL\")"));
}

TEST_F(VolumesTest, PathIsCutAtItsColonBeforeABackslash) {
    volume_object("USERVOL", "SRV1.acme", "USERS");
    EXPECT_EQ(parse("USERVOL:home\\a:b"), 0u);
    expect_split("SRV1", "USERS", "home\\a:b", 1);
}

TEST_F(VolumesTest, PathBeginningWithADirectoryMap) {
    volume_object("VOL1", "SRV1.acme", "SYS");
    directory_map("APPMAP", "VOL1", "apps");
    EXPECT_EQ(parse("APPMAP:bin"), 0u);
    expect_split("SRV1", "SYS", "apps\\bin", 1);
    EXPECT_THAT(spy::calls("ZKDSPutAttrName"),
                ElementsAre(HasSubstr("\"Path\""), HasSubstr("\"Host Server\""), HasSubstr("\"Host Resource Name\"")));
}

TEST_F(VolumesTest, ClassOfADirectoryMapIsMetInAnyLetterCase) {
    volume_object("VOL1", "SRV1.acme", "SYS");
    directory_map("APPMAP", "VOL1", "apps");
    spy::object("APPMAP", "DIRECTORY map");
    EXPECT_EQ(parse("APPMAP:"), 0u);
    expect_split("SRV1", "SYS", "apps", 1);
}

TEST_F(VolumesTest, MapThatCannotBeReadIsTakenAsAVolume) {
    volume_object("APPMAP", "SRV9.acme", "ODD");
    spy::object("APPMAP", "Directory Map");
    EXPECT_EQ(parse("APPMAP:bin"), 0u);
    expect_split("SRV9", "ODD", "bin", 1);
}

class ClientPaths : public VolumesTest, public testing::WithParamInterface<const char *> {};

TEST_P(ClientPaths, GoToTheClientWithoutADirectoryRead) {
    spy::parsed_path(GetParam(), "SRV1", 105, "SYS", "public");
    EXPECT_EQ(parse(GetParam()), 0u);
    expect_split("SRV1", "SYS", "public", 0);
    EXPECT_EQ(connection, 105u);
    EXPECT_THAT(spy::call_names(), ElementsAre("ZKParsePath"));
}

INSTANTIATE_TEST_SUITE_P(Volumes, ClientPaths,
                         testing::Values("SRV1/SYS:public", "\\\\SRV1\\SYS\\public", "SRV1\\SYS:public", ""));

TEST_F(VolumesTest, NullPathGoesToTheClient) {
    EXPECT_EQ(parse(nullptr), ZKE_SERVER_NOT_FOUND);
    expect_split("", "", "", 0);
    EXPECT_THAT(spy::call_names(), ElementsAre("ZKParsePath"));
}

// The slash counts only when there is no backslash anywhere.
TEST_F(VolumesTest, SlashBeforeTheColonDoesNotCountBesideABackslash) {
    volume_object("A/B", "SRV1.acme", "SYS");
    EXPECT_EQ(parse("A/B:x\\y"), 0u);
    expect_split("SRV1", "SYS", "x\\y", 1);
}

TEST_F(VolumesTest, UnknownObjectFallsBackToTheClient) {
    spy::parsed_path("SYS:public", "SRV2", 106, "SYS", "public");
    EXPECT_EQ(parse("SYS:public"), 0u);
    expect_split("SRV2", "SYS", "public", 0);
}

TEST_F(VolumesTest, ClientsOwnCodeIsReturned) {
    EXPECT_EQ(parse("SYS:public"), ZKE_SERVER_NOT_FOUND);
    EXPECT_STREQ(rest, "");
}

TEST_F(VolumesTest, UnknownVolumeCodeSurvivesTheClientsFailure) {
    spy::fail("ZKDSReadObjectInfo", 0x8701);
    EXPECT_EQ(parse("SYS:public"), 0x8701u);
    spy::parsed_path("SYS:public", "SRV2", 106, "SYS", "public");
    EXPECT_EQ(parse("SYS:public"), 0u);
}

TEST_F(VolumesTest, ServerLookupMayFailWithTheUnknownVolumeCode) {
    volume_object("USERVOL", "SRV1.acme", "USERS");
    spy::fail_nth("ZKDSRead", 1, 0x8701);
    EXPECT_EQ(parse("USERVOL:x"), 0u);
    expect_split("", "USERS", "x", 1);
}

TEST_F(VolumesTest, ObjectThatIsNoVolumeFallsBack) {
    spy::object("jdoe", "User");
    EXPECT_EQ(parse("jdoe:x"), ZKE_SERVER_NOT_FOUND);
    EXPECT_EQ(spy::calls("ZKParsePath").size(), 1u);
}

TEST_F(VolumesTest, FailedVolumeNameFallsBack) {
    spy::text_attribute("USERVOL", "Host Server", {"SRV1.acme"});
    spy::parsed_path("USERVOL:x", "SRV2", 106, "SYS", "y");
    EXPECT_EQ(parse("USERVOL:x"), 0u);
    expect_split("SRV2", "SYS", "y", 0);
}

TEST_F(VolumesTest, WithoutAVolumeOutTheClientIsAsked) {
    volume_object("USERVOL", "SRV1.acme", "USERS");
    spy::parsed_path("USERVOL:x", "SRV2", 106, "SYS", "y");
    EXPECT_EQ(qrt_ZKDSParsePath(session_handle, "USERVOL:x", server, &connection, nullptr, nullptr, nullptr), 0u);
    EXPECT_STREQ(server, "SRV2");
}

TEST_F(VolumesTest, OutsMayBeNullBesideAVolumeOut) {
    volume_object("USERVOL", "SRV1.acme", "USERS");
    EXPECT_EQ(qrt_ZKDSParsePath(session_handle, "USERVOL:x", server, &connection, volume, nullptr, nullptr), 0u);
    EXPECT_STREQ(volume, "USERS");
}

TEST_F(VolumesTest, BadContextReturnsOne) {
    volume_object("USERVOL", "SRV1.acme", "USERS");
    EXPECT_EQ(qrt_ZKDSParsePath(0xFFFFFEB8, "USERVOL:x", server, &connection, volume, rest, &resolved), 1u);
    EXPECT_THAT(spy::calls("ZKParsePath"), IsEmpty());
}

TEST_F(VolumesTest, PathsOverTheirLimitsAreNotFound) {
    EXPECT_EQ(parse(("V:" + std::string(256, 'x')).c_str()), QRT_NOT_FOUND);
    EXPECT_EQ(parse(std::string(770, 'x').c_str()), QRT_NOT_FOUND);
    std::string answer(300, 'x');
    spy::parsed_path("A/B:c", "SRV1", 1, "SYS", answer);
    EXPECT_EQ(parse("A/B:c"), QRT_NOT_FOUND);
    EXPECT_STREQ(rest, "");
}

} // namespace
