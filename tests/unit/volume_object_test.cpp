#include "commands/file_spec.h"
#include "tests/unit/session_fixture.h"

namespace {

class VolumeObjectTest : public NetworkFileTest {
  protected:
    void volume(const std::string &name, const std::string &server, const std::string &onServer) {
        spy::text_attribute(name, "Host_Resource_Name", {onServer});
        spy::text_attribute(name, "Host_Server", {server});
    }

    // What orbispec answers: code, server, volume, path. Each buffer is on the heap and as large as promised.
    static std::string resolve(const std::string &name) {
        std::vector<char> server(49, '#'), place(514, '#'), path(514, '#');
        const uint32_t code = orbispec(name.c_str(), server.data(), place.data(), path.data());
        return std::to_string(code) + " " + server.data() + " " + place.data() + " " + path.data();
    }
};

TEST_F(VolumeObjectTest, AVolumeObjectOrADirectoryMapLeadsToItsServer) {
    volume("vol1.sales.acme", "SRV1.sales.acme", "DATA");
    EXPECT_EQ(resolve(".vol1.sales.acme"), "0 SRV1 DATA ");
    spy::text_attribute("apps.sales.acme", "Path", {"vol1.sales.acme:public\\apps"});
    EXPECT_EQ(resolve("apps.sales.acme"), "0 SRV1 DATA public\\apps");
    spy::text_attribute("apps.sales.acme", "Path", {"vol1.sales.acme:a:b"});
    EXPECT_EQ(resolve("apps.sales.acme"), "0 SRV1 DATA a:b") << "the first separator counts";
    spy::attribute("apps.sales.acme", "Path", {spy::path("vol1.sales.acme", "public/apps")});
    EXPECT_EQ(resolve("apps.sales.acme"), "0 SRV1 DATA public/apps") << "of the path syntax";
    spy::attribute("vol1.sales.acme", "Host_Resource_Name", {});
    EXPECT_EQ(resolve("vol1.sales.acme"), "0 SRV1  ") << "an attribute without values is an empty text";
}

// The text of a time is not on the heap.
TEST_F(VolumeObjectTest, AnAttributeOfTheTimeSyntaxIsAText) {
    const spy::Value january = spy::number(ZK_SYNTAX_TIME, 15 * 86400);
    spy::attribute("apps.sales.acme", "Path", {january});
    resolve("apps.sales.acme");
    EXPECT_THAT(spy::calls("ZKDSRead").back(), HasSubstr(" Jan 1")) << "up to its first colon it names the volume";
    spy::attribute("vol1.sales.acme", "Host_Resource_Name", {january});
    spy::attribute("vol1.sales.acme", "Host_Server", {january});
    EXPECT_THAT(resolve("vol1.sales.acme"), HasSubstr(" Jan 1"));
}

TEST_F(VolumeObjectTest, TheClientIsAskedInThisOrder) {
    spy::abbreviated("vol1.sales.acme", "vol1");
    volume("vol1.sales.acme", "SRV1.acme", "DATA");
    resolve(".vol1.sales.acme");
    std::vector<std::string> before;
    for (const std::string &call : spy::calls()) {
        if (call.rfind("ZKDSAllocBuf", 0) == 0) break;
        before.push_back(call);
    }
    EXPECT_THAT(before, ElementsAre("ZKCLXInit(null, null)", "ZKDSCreateContextHandle()",
                                    "ZKDSGetContext(1, DCK_TREE_NAME)", "ZKDSAbbreviateName(1, \"vol1.sales.acme\")",
                                    "ZKDSCreateContextHandle()", "ZKDSSetContext(2, DCK_FLAGS, 0x17)",
                                    "ZKDSSetContext(2, DCK_TREE_NAME, \"\")", "ZKDSWhoAmI(2)"));
    EXPECT_THAT(spy::calls("ZKDSRead"), ElementsAre(StartsWith("ZKDSRead(2, \"vol1.sales.acme\", 1, 0"),
                                                    StartsWith("ZKDSRead(2, \"vol1.sales.acme\", 1, 0"),
                                                    StartsWith("ZKDSRead(2, \"vol1.sales.acme\", 1, 0")));
    const std::vector<std::string> asked = spy::calls("ZKDSPutAttrName");
    ASSERT_EQ(asked.size(), 3U);
    EXPECT_THAT(asked[0], HasSubstr("\"Path\""));
    EXPECT_THAT(asked[1], HasSubstr("\"Host_Resource_Name\""));
    EXPECT_THAT(asked[2], HasSubstr("\"Host_Server\""));
    EXPECT_EQ(spy::open_contexts(), 0);
}

TEST_F(VolumeObjectTest, TheEnvironmentIsPresetButNotOverwritten) {
    std::string seen;
    spy::on_call([&seen](const std::string &call) {
        if (call == "ZKCLXInit(null, null)") seen = shown(getenv("TOLAN_USE_BRUNE"));
    });
    resolve("vol1");
    spy::on_call(nullptr);
    EXPECT_EQ(seen, "0") << "before the client starts";
    setenv("TOLAN_USE_BRUNE", "1", 1);
    resolve("vol1");
    EXPECT_STREQ(getenv("TOLAN_USE_BRUNE"), "1");
    unsetenv("TOLAN_USE_BRUNE");
}

TEST_F(VolumeObjectTest, AShortNameIsOfTheUsersContainer) {
    volume("vol1.sales.acme", "SRV1.acme", "DATA");
    EXPECT_EQ(resolve("vol1"), "0 SRV1 DATA ");
    spy::logged_in("a.b");
    volume("vol1.b", "SRV2.b", "OTHER");
    EXPECT_EQ(resolve("vol1"), "0 SRV2 OTHER ") << "one of three is";
    spy::logged_in("ab");
    spy::forget_calls();
    EXPECT_THAT(resolve("vol1"), StartsWith("4294966695 "));
    EXPECT_THAT(spy::calls("ZKDSRead")[0], HasSubstr("\"vol1\"")) << "a name of two characters is no login";
}

TEST_F(VolumeObjectTest, AnyOtherNameStandsAsItIs) {
    volume("vol1.east.acme", "SRV1.acme", "DATA");
    EXPECT_EQ(resolve("vol1.east.acme"), "0 SRV1 DATA ");
    EXPECT_THAT(spy::calls("ZKDSWhoAmI"), IsEmpty());
}

TEST_F(VolumeObjectTest, OnlyOneLeadingPeriodIsSkipped) {
    resolve("..vol1.acme");
    EXPECT_THAT(spy::calls("ZKDSAbbreviateName"), ElementsAre("ZKDSAbbreviateName(1, \".vol1.acme\")"));
}

TEST_F(VolumeObjectTest, EachFailureIsTheClientsCode) {
    const struct {
        const char *call;
        int occurrence;
    } rows[] = {
        {"ZKCLXInit", 1},          {"ZKDSCreateContextHandle", 1}, {"ZKDSGetContext", 1},
        {"ZKDSAbbreviateName", 1}, {"ZKDSCreateContextHandle", 2}, {"ZKDSSetContext", 1},
        {"ZKDSSetContext", 2},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.call) + " " + std::to_string(row.occurrence));
        spy::reset();
        spy::fail_nth(row.call, row.occurrence, 0x1234);
        EXPECT_EQ(resolve("vol1.acme"), std::to_string(0x1234) + "   ");
        EXPECT_EQ(spy::call_names()[spy::calls("ZKDSFreeContext").empty() ? spy::calls().size() - 1 : 0],
                  spy::calls("ZKDSFreeContext").empty() ? row.call : "ZKCLXInit");
        EXPECT_THAT(spy::calls("ZKDSFreeContext"), Each(AnyOf("ZKDSFreeContext(1)", "ZKDSFreeContext(2)")));
        EXPECT_EQ(spy::open_contexts(), 0);
    }
}

TEST_F(VolumeObjectTest, ATreeThatCannotBeSetIsReported) {
    spy::fail_nth("ZKDSSetContext", 2, 0x1234);
    resolve("vol1.acme");
    EXPECT_EQ(output(), "Unable to find treeName:()\n");
}

// A client whose new contexts stand in ACME_TREE.
TEST_F(VolumeObjectTest, TheTreeOfANewContextIsTheOneThatIsSearched) {
    spy::on_call([](const std::string &call) {
        if (call == "ZKDSGetContext(1, DCK_TREE_NAME)") ZKDSSetContext(1, DCK_TREE_NAME, "ACME_TREE");
    });
    volume("vol1.acme", "SRV1.acme", "DATA");
    EXPECT_EQ(resolve("vol1.acme"), "0 SRV1 DATA ");
    EXPECT_THAT(spy::calls("ZKDSSetContext"), Contains("ZKDSSetContext(2, DCK_TREE_NAME, \"ACME_TREE\")"));
    spy::reset();
    spy::on_call([](const std::string &call) {
        if (call == "ZKDSGetContext(1, DCK_TREE_NAME)") ZKDSSetContext(1, DCK_TREE_NAME, "ACME_TREE");
    });
    spy::object("jdoe.acme");
    testing::internal::CaptureStdout();
    EXPECT_EQ(resolve("jdoe.acme"), std::to_string(ZKE_NO_SUCH_ATTRIBUTE) + "   ");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Unable to find volume object jdoe.acme in tree: ACME_TREE\n");
    EXPECT_EQ(output(), "");
    spy::fail("ZKDSSetContext", 0x1234);
    EXPECT_THAT(resolve("jdoe.acme"), StartsWith("4660 "));
}

TEST_F(VolumeObjectTest, WhatIsNoVolumeIsReportedOnStandardOutput) {
    spy::object("jdoe.acme");
    testing::internal::CaptureStdout();
    EXPECT_THAT(resolve("jdoe.acme"), Not(StartsWith("0 ")));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Unable to find volume object jdoe.acme in tree: \n");
    EXPECT_EQ(output(), "");
}

TEST_F(VolumeObjectTest, WithoutAVolumesNameItsServerIsNotAskedFor) {
    spy::text_attribute("jdoe.acme", "Host_Server", {"SRV1.acme"});
    testing::internal::CaptureStdout();
    EXPECT_EQ(resolve("jdoe.acme"), std::to_string(ZKE_NO_SUCH_ATTRIBUTE) + "   ");
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(spy::calls("ZKDSRead").size(), 2U);
}

TEST_F(VolumeObjectTest, AVolumeWithoutAServerIsThatReadsCode) {
    spy::text_attribute("vol1.acme", "Host_Resource_Name", {"DATA"});
    EXPECT_EQ(resolve("vol1.acme"), std::to_string(0xFFFFFDA5U) + "  DATA ");
}

TEST_F(VolumeObjectTest, OverlongAnswersAreCutAndThoseThatFitAreWhole) {
    const std::string large(3000, 'x');
    spy::text_attribute("map.acme", "Path", {"vol1.acme:" + large});
    volume("vol1.acme", large, large);
    EXPECT_EQ(resolve("map.acme"),
              "0 " + large.substr(0, 48) + " " + large.substr(0, 513) + " " + large.substr(0, 513));
    for (const size_t missing : {2U, 1U, 0U}) {
        const std::string server(48 - missing, 's'), name(513 - missing, 'v'), path(513 - missing, 'p');
        spy::text_attribute("map.acme", "Path", {"vol1.acme:" + path});
        volume("vol1.acme", server, name);
        EXPECT_EQ(resolve("map.acme"), "0 " + server + " " + name + " " + path);
        spy::text_attribute("map.acme", "Path", {"vol1.acme:" + path + "+"});
        volume("vol1.acme", server + "+", name + "+");
        const std::string last = missing == 0 ? "" : "+";
        EXPECT_EQ(resolve("map.acme"), "0 " + server + last + " " + name + last + " " + path + last);
    }
}

TEST_F(VolumeObjectTest, AFileOnAVolumeObjectIsRead) {
    volume("vol1.sales.acme", "SRV1.acme", "DATA");
    network_file("SRV1/DATA/X.TXT", "on the volume");
    EXPECT_STREQ(file_on_volume(text(".VOL1.SALES.ACME"), text("X.TXT")).get(), "on the volume");
    EXPECT_EQ(display(".vol1.sales.acme:X.TXT"), "on the volume");
    EXPECT_EQ(display(".vol1.sales.acme:/Y.TXT"), "Unable to find file:(DATA///Y.TXT)\n");
    spy::text_attribute("apps.sales.acme", "Path", {"vol1.sales.acme:public\\apps"});
    network_file("SRV1/DATA/public/apps/X.TXT", "of the map");
    EXPECT_EQ(display(".apps.sales.acme:X.TXT"), "of the map");
}

TEST_F(VolumeObjectTest, AnUnknownVolumeObjectIsReportedByItsName) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(display(".vol1.acme:/X.TXT"), "Unable to find file:(.VOL1.ACME//X.TXT)\n");
    testing::internal::GetCapturedStdout();
    spy::text_attribute("vol1.sales.acme", "Host_Resource_Name", {"DATA"});
    EXPECT_EQ(display(".vol1.sales.acme:X.TXT"), "Unable to find file:(.VOL1.SALES.ACME/X.TXT/)\n");
    spy::text_attribute("apps.sales.acme", "Path", {"apps.sales.acme:apps"});
    testing::internal::CaptureStdout();
    EXPECT_EQ(display(".apps.sales.acme:X.TXT"), "Unable to find file:(.APPS.SALES.ACME/X.TXT/)\n");
    EXPECT_THAT(testing::internal::GetCapturedStdout(),
                HasSubstr("Unable to find volume object apps.sales.acme in tree:"));
}

} // namespace
