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
    static void directory_map(const std::string &name, const char *volumeObject, const std::string &path) {
        spy::object(name, "Directory Map");
        spy::attribute(name, "Path", {spy::path(volumeObject, path.c_str())});
    }
    uint32_t parse(const char *path, uint32_t context = session_handle) {
        return qrt_ZKDSParsePath(context, path, server, &connection, volume, rest, &resolved);
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
    const auto server_of = [this](const char *name) {
        return qrt_DSGetObjConnID(session_handle, name, &connection, server, nullptr);
    };
    volume_object("USERVOL", "CN=SRV1.OU=servers.O=acme", "USERS");
    EXPECT_EQ(server_of("USERVOL"), 0u);
    EXPECT_STREQ(server, "SRV1");
    EXPECT_EQ(connection, 0u);
    EXPECT_THAT(spy::calls("ZKDSPutAttrName"), ElementsAre("ZKDSPutAttrName(40, buf1, \"Host Server\")"));
    EXPECT_THAT(spy::calls("ZKCCOpenConnByName"), IsEmpty());
    spy::object("NONE", "Volume");
    EXPECT_EQ(server_of("NONE"), ZKE_NO_SUCH_VALUE) << "the attribute's code";
    spy::text_attribute("LONGEST", "Host Server", {std::string(513, 'S')});
    EXPECT_EQ(server_of("LONGEST"), 0u);
    EXPECT_EQ(server, std::string(513, 'S'));
    spy::text_attribute("LONGER", "Host Server", {std::string(514, 'S')});
    EXPECT_EQ(server_of("LONGER"), QRT_NOT_FOUND) << "over the buffer";
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

TEST_F(VolumesTest, VolumeNameIsTheOneValueOfTheOneAttribute) {
    const spy::Attribute name{"Host Resource Name", {spy::text("SYS")}, {}},
        upper{"HOST RESOURCE NAME", {spy::text("SYS")}, {}}, none{"Host Resource Name", {}, {}},
        both{"Host Resource Name", {spy::text("A"), spy::text("B")}, {}},
        another{"Description", {spy::text("a"), spy::text("b")}, {}},
        longest{"Host Resource Name", {spy::text(std::string(513, 'v'))}, {}},
        longer{"Host Resource Name", {spy::text(std::string(514, 'v'))}, {}};
    const struct {
        const char *behaviour;
        std::vector<spy::Attribute> attributes;
        std::optional<std::string> name;
    } rows[] = {{"in any letter case", {upper}, "SYS"},
                {"no attribute", {}, {}},
                {"two attributes", {name, name}, {}},
                {"no value", {none}, {}},
                {"two values", {both}, {}},
                {"another attribute leaves it empty", {another}, ""},
                {"one that just fits", {longest}, std::string(513, 'v')},
                {"one over the buffer", {longer}, {}}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.behaviour);
        spy::replies("V", "Host Resource Name", {{row.attributes, {}}});
        volume[0] = '\0';
        EXPECT_EQ(volume_name("V"), row.name ? 0u : QRT_NOT_FOUND);
        if (row.name) {
            EXPECT_EQ(volume, *row.name);
        }
    }
}

TEST_F(VolumesTest, VolumeNameRepeatsTheReadUntilTheLastReply) {
    spy::attribute_in_replies("V", "Host Resource Name", {{spy::text("ONE")}, {spy::text("TWO")}});
    EXPECT_EQ(volume_name("V"), 0u);
    EXPECT_STREQ(volume, "TWO");
    EXPECT_THAT(spy::calls("ZKDSRead"),
                ElementsAre("ZKDSRead(40, \"V\", 1, 0, iter -1)", "ZKDSRead(40, \"V\", 1, 0, iter 1)"));
}

TEST_F(VolumesTest, CodesAreTheirLowSixteenBitsWithTheSign) {
    volume_object("V", "SRV1.acme", "SYS");
    directory_map("M", "V", "apps");
    for (const auto &[reported, returned] :
         {std::pair{0xFFFFFDA5u, 0xFFFFFDA5u}, std::pair{0x8801u, 0xFFFF8801u}, std::pair{0x00018001u, 0xFFFF8001u}}) {
        spy::mend();
        spy::fail("ZKDSRead", reported);
        EXPECT_EQ(volume_name("V"), returned);
        EXPECT_EQ(map("M"), returned);
    }
}

// A code whose low half is positive is no failure: the walk goes on with what the buffer contains.
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

TEST_F(VolumesTest, DirectoryMapReturnsItsVolumeObjectAndPutsItsPathInFrontOfTheRest) {
    directory_map("APPMAP", "VOL1.acme", "apps");
    EXPECT_EQ(map("APPMAP"), 0u);
    EXPECT_STREQ(volume, "VOL1.acme");
    EXPECT_STREQ(rest, "apps");
    strcpy(rest, "bin");
    EXPECT_EQ(map("APPMAP"), 0u);
    EXPECT_STREQ(rest, "apps\\bin");
    spy::replies("M", "Path", {{{}, {}}});
    EXPECT_EQ(map("M"), 0u) << "without attributes nothing is written";
    EXPECT_STREQ(rest, "apps\\bin");
    EXPECT_STREQ(volume, "VOL1.acme");
}

TEST_F(VolumesTest, DirectoryMapNeedsOneValueOfTheAttributeInItsLetterCase) {
    spy::replies("M", "Path", {{{{"PATH", {spy::path("V", "p")}, {}}}, {}}});
    spy::attribute("NONE", "Path", {});
    spy::attribute("TWO", "Path", {spy::path("V", "p"), spy::path("W", "q")});
    for (const char *name : {"M", "NONE", "TWO"}) EXPECT_EQ(map(name), ZKE_NO_SUCH_ATTRIBUTE) << name;
    spy::replies("N", "Path", {{{{"PATH", {spy::path("V", "p")}, {}}, {"Path", {spy::path("W", "q")}, {}}}, {}}});
    EXPECT_EQ(map("N"), 0u);
    EXPECT_STREQ(volume, "W");
}

TEST_F(VolumesTest, DirectoryMapsFitInTheirBuffers) {
    directory_map("LONG", "VOL1", std::string(300, 'p'));
    EXPECT_EQ(map("LONG"), QRT_NOT_FOUND);
    directory_map("WIDE", std::string(600, 'v').c_str(), "p");
    EXPECT_EQ(map("WIDE"), QRT_NOT_FOUND);
    EXPECT_STREQ(rest, "");
    directory_map("M", "V", std::string(255, 'p'));
    EXPECT_EQ(map("M"), 0u);
    EXPECT_EQ(rest, std::string(255, 'p'));
    directory_map("N", "V", std::string(251, 'p'));
    strcpy(rest, "bin");
    EXPECT_EQ(map("N"), 0u);
    EXPECT_EQ(rest, std::string(251, 'p') + "\\bin");
}

TEST_F(VolumesTest, DirectoryMapWithHostileValuesStaysInBounds) {
    spy::object("NULLS", "Directory Map");
    spy::attribute("NULLS", "Path", {spy::path(nullptr, nullptr)});
    EXPECT_EQ(map("NULLS"), 0u);
    EXPECT_STREQ(volume, "");
    spy::attribute("SHORT", "Path", {spy::raw(ZK_SYNTAX_PATH, "ab")});
    EXPECT_EQ(map("SHORT"), 0u);
    spy::attribute("TEXT", "Path", {spy::text("no path at all")});
    EXPECT_EQ(map("TEXT"), ZKE_NO_SUCH_ATTRIBUTE);
}

TEST_F(VolumesTest, PathBeginsWithAVolumeObjectOrADirectoryMap) {
    for (const char *name : {"USERVOL", "USER/VOL", "A/B"}) volume_object(name, "CN=SRV1.O=acme", "USERS");
    volume_object("BROKEN", "SRV9.acme", "ODD");
    spy::object("BROKEN", "Directory Map");
    directory_map("APPMAP", "USERVOL", "apps");
    directory_map("UPPER", "USERVOL", "apps");
    spy::object("UPPER", "DIRECTORY map");
    const struct {
        const char *behaviour, *path, *name, *server, *volume, *rest;
    } rows[] = {
        {"a volume object", "USERVOL:home/jdoe", "USERVOL", "SRV1", "USERS", "home/jdoe"},
        {"cut at a backslash", "USERVOL\\home", "USERVOL", "SRV1", "USERS", "home"},
        {"the volume alone", "USERVOL", "USERVOL", "SRV1", "USERS", ""},
        {"without a colon it is not cut at a slash", "USER/VOL", "USER/VOL", "SRV1", "USERS", ""},
        {"cut at its colon before a backslash", "USERVOL:home\\a:b", "USERVOL", "SRV1", "USERS", "home\\a:b"},
        {"a slash counts only when there is no backslash anywhere", "A/B:x\\y", "A/B", "SRV1", "USERS", "x\\y"},
        {"a directory map", "APPMAP:bin", "APPMAP", "SRV1", "USERS", "apps\\bin"},
        {"its class in any letter case", "UPPER:", "UPPER", "SRV1", "USERS", "apps"},
        {"a map that cannot be read is taken as a volume", "BROKEN:bin", "BROKEN", "SRV9", "ODD", "bin"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.behaviour);
        spy::forget_calls();
        rest[0] = '\0';
        EXPECT_EQ(parse(row.path), 0u);
        expect_split(row.server, row.volume, row.rest, 1);
        EXPECT_EQ(connection, 0u);
        EXPECT_THAT(spy::calls("ZKDSReadObjectInfo"),
                    ElementsAre("ZKDSReadObjectInfo(40, \"" + std::string(row.name) + "\")"));
        EXPECT_THAT(spy::calls("ZKParsePath"), IsEmpty());
        if (row.path == std::string("APPMAP:bin")) {
            EXPECT_THAT(spy::calls("ZKDSPutAttrName"), ElementsAre(HasSubstr("\"Path\""), HasSubstr("\"Host Server\""),
                                                                   HasSubstr("\"Host Resource Name\"")));
        }
    }
}

TEST_F(VolumesTest, ClientPathsGoToTheClientWithoutADirectoryRead) {
    for (const char *path : {"SRV1/SYS:public", "\\\\SRV1\\SYS\\public", "SRV1\\SYS:public", ""}) {
        SCOPED_TRACE(path);
        spy::parsed_path(path, "SRV1", 105, "SYS", "public");
        EXPECT_EQ(parse(path), 0u);
        expect_split("SRV1", "SYS", "public", 0);
        EXPECT_EQ(connection, 105u);
    }
    EXPECT_THAT(spy::call_names(), Each("ZKParsePath"));
    spy::reset();
    server[0] = volume[0] = '\0';
    EXPECT_EQ(parse(nullptr), ZKE_SERVER_NOT_FOUND);
    expect_split("", "", "", 0);
    EXPECT_THAT(spy::call_names(), ElementsAre("ZKParsePath"));
}

TEST_F(VolumesTest, WhatIsNoVolumeFallsBackToTheClient) {
    EXPECT_EQ(parse("SYS:public"), ZKE_SERVER_NOT_FOUND) << "the client's own code";
    EXPECT_STREQ(rest, "");
    spy::object("jdoe", "User");
    EXPECT_EQ(parse("jdoe:x"), ZKE_SERVER_NOT_FOUND);
    EXPECT_EQ(spy::calls("ZKParsePath").size(), 2u);
    spy::parsed_path("SYS:public", "SRV2", 106, "SYS", "public");
    EXPECT_EQ(parse("SYS:public"), 0u) << "an unknown object";
    expect_split("SRV2", "SYS", "public", 0);
    spy::text_attribute("USERVOL", "Host Server", {"SRV1.acme"});
    spy::parsed_path("USERVOL:x", "SRV2", 106, "SYS", "y");
    EXPECT_EQ(parse("USERVOL:x"), 0u) << "a volume whose name cannot be read";
    expect_split("SRV2", "SYS", "y", 0);
}

TEST_F(VolumesTest, OnlyTheUnknownVolumeCodeSurvivesTheClientsFailure) {
    for (const uint32_t code : {0x8700u, 0x8702u, 0xFFFF8701u, 0xFFFFFDA7u, 0x8701u}) {
        spy::mend();
        spy::fail("ZKDSReadObjectInfo", code);
        EXPECT_EQ(parse("SYS:public"), code == 0x8701u ? code : 0x8847u) << code;
    }
    spy::parsed_path("SYS:public", "SRV2", 106, "SYS", "public");
    EXPECT_EQ(parse("SYS:public"), 0u);
}

TEST_F(VolumesTest, ServerLookupMayFailWithTheUnknownVolumeCode) {
    volume_object("USERVOL", "SRV1.acme", "USERS");
    spy::fail_nth("ZKDSRead", 1, 0x8701);
    EXPECT_EQ(parse("USERVOL:x"), 0u);
    expect_split("", "USERS", "x", 1);
}

TEST_F(VolumesTest, OutsMayBeNullAndWithoutAVolumeOutTheClientIsAsked) {
    volume_object("USERVOL", "SRV1.acme", "USERS");
    EXPECT_EQ(qrt_ZKDSParsePath(session_handle, "USERVOL:x", server, &connection, volume, nullptr, nullptr), 0u);
    EXPECT_STREQ(volume, "USERS");
    spy::parsed_path("USERVOL:x", "SRV2", 106, "SYS", "y");
    EXPECT_EQ(qrt_ZKDSParsePath(session_handle, "USERVOL:x", server, &connection, nullptr, nullptr, nullptr), 0u);
    EXPECT_STREQ(server, "SRV2");
}

TEST_F(VolumesTest, WhatFitsIsWholeAndWhatDoesNotIsNotFound) {
    volume_object("V", "SRV1.acme", "SYS");
    const std::string path(255, 'x');
    EXPECT_EQ(parse(("V:" + path).c_str()), 0u);
    EXPECT_EQ(rest, path);
    EXPECT_EQ(parse(("V\\" + path).c_str()), 0u);
    EXPECT_EQ(rest, path);
    const std::string name(769, 'v');
    volume_object(name, "SRV1.acme", "SYS");
    spy::object(name, "Volume", "V.acme"); // the client's own names are shorter
    EXPECT_EQ(parse(name.c_str()), 0u);
    EXPECT_STREQ(volume, "SYS");
    EXPECT_EQ(resolved, 1);
    EXPECT_EQ(parse(("V:" + std::string(256, 'x')).c_str()), QRT_NOT_FOUND);
    EXPECT_EQ(parse(std::string(770, 'x').c_str()), QRT_NOT_FOUND);
    std::string answer(300, 'x');
    spy::parsed_path("A/B:c", "SRV1", 1, "SYS", answer);
    EXPECT_EQ(parse("A/B:c"), QRT_NOT_FOUND);
    EXPECT_STREQ(rest, "");
}

TEST_F(VolumesTest, APathWhoseServersNameDoesNotFitIsLeftToTheClient) {
    volume_object("V", std::string(514, 'S'), "SYS");
    spy::parsed_path("V:x", "SRV2", 106, "SYS", "y");
    EXPECT_EQ(parse("V:x"), 0u);
    EXPECT_STREQ(server, "SRV2");
    EXPECT_EQ(resolved, 0);
    spy::mend();
    EXPECT_NE(parse("V:unknown"), 0u);
    EXPECT_STREQ(server, "");
}

TEST_F(VolumesTest, TheSignOfTheLowHalfIsItsHighestBit) {
    volume_object("V", "SRV1.acme", "SYS");
    directory_map("M", "V", "apps");
    for (const char *call : {"ZKDSAllocBuf", "ZKDSInitBuf", "ZKDSPutAttrName", "ZKDSRead", "ZKDSGetAttrCount",
                             "ZKDSGetAttrName", "ZKDSComputeAttrValSize", "ZKDSGetAttrVal"}) {
        for (const uint32_t code : {0x8000u, 0xFFFFu}) {
            spy::mend();
            spy::fail(call, code);
            EXPECT_EQ(volume_name("V"), 0xFFFF0000u + code) << call;
            EXPECT_EQ(map("M"), 0xFFFF0000u + code) << call;
            EXPECT_EQ(spy::call_names().back(), std::string(call) == "ZKDSAllocBuf" ? call : "ZKDSFreeBuf");
        }
    }
    // Here the call is made and its answer taken, whatever its code says.
    spy::mend();
    spy::fail("ZKDSInitBuf", 0xFFFF7FFF);
    EXPECT_EQ(volume_name("V"), 0u);
    EXPECT_STREQ(volume, "SYS");
    EXPECT_EQ(map("M"), 0u);
    EXPECT_STREQ(volume, "V");
}

TEST_F(VolumesTest, TheLastCallsCodeIsReturned) {
    volume_object("V", "SRV1.acme", "SYS");
    spy::fail("ZKDSGetAttrVal", 0xFFFF0005);
    EXPECT_EQ(volume_name("V"), 5u);
    spy::mend();
    spy::replies("M", "Path", {{{}, {}}});
    spy::fail("ZKDSGetAttrCount", 0xFFFF0006);
    EXPECT_EQ(map("M"), 6u);
}

TEST_F(VolumesTest, APathThatCannotBeResolvedIsTheClientsAsItWasPassedIn) {
    directory_map("APPMAP", "GONE", "apps");
    spy::object("HALF", "Volume");
    spy::text_attribute("HALF", "Host Resource Name", {"USERS"});
    for (const char *path : {"HALF:x", "APPMAP:bin"}) {
        spy::forget_calls();
        spy::parsed_path(path, "SRV2", 106, "SYS", "y");
        EXPECT_EQ(parse(path), 0u);
        expect_split("SRV2", "SYS", "y", 0);
        EXPECT_EQ(connection, 106u);
        EXPECT_THAT(spy::calls("ZKParsePath"), ElementsAre("ZKParsePath(\"" + std::string(path) + "\")"));
        if (path[0] == 'H') {
            EXPECT_THAT(spy::calls("ZKDSPutAttrName"), ElementsAre("ZKDSPutAttrName(40, buf1, \"Host Server\")"));
        }
    }
}

TEST_F(VolumesTest, APathThatNobodyKnowsLeavesNoRest) {
    for (const char *path : {"", "SRV1/SYS:public", "SYS:public"}) {
        strcpy(rest, "old");
        resolved = 7;
        EXPECT_EQ(parse(path), 0x8847u) << path;
        EXPECT_STREQ(rest, "") << path;
        EXPECT_EQ(resolved, 0) << path;
    }
}

// Only the object of a volume needs it.
TEST_F(VolumesTest, WithoutAContextTheClientStillTakesItsOwnPaths) {
    const uint32_t none = 0xFFFFFEB8;
    for (const char *path : {"SRV1/SYS:public", "\\\\SRV1\\SYS\\public", "SYS:public"}) {
        spy::parsed_path(path, "SRV1", 105, "SYS", "public");
        EXPECT_EQ(parse(path, none), 0u) << path;
        EXPECT_STREQ(rest, "public") << path;
    }
    volume_object("USERVOL", "SRV1.acme", "USERS");
    spy::forget_calls();
    EXPECT_EQ(parse("USERVOL:x", none), 1u);
    EXPECT_EQ(resolved, 0);
    EXPECT_STREQ(rest, "");
    EXPECT_THAT(spy::calls("ZKParsePath"), IsEmpty());
}

} // namespace
