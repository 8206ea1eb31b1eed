#include "directory/script_sources.h"

#include <sys/stat.h>

#include "tests/unit/session_fixture.h"

namespace {

constexpr uint32_t no_such_value = 0xFFFFFDA6;

class ScriptSourcesTest : public SessionTest {
  protected:
    std::string local(const std::string &name) {
        return taken(qrt_readLoginScriptFromFile(folder_.path(name).c_str()));
    }

    // The code of reading an object's script, and its text.
    uint32_t read(const char *object) {
        text_ = "(untouched)";
        char untouched = 0;
        char *text = &untouched;
        const uint32_t code = qrt_GetLoginScript(handle, object, &text);
        if (text != &untouched) text_ = taken(text);
        return code;
    }
    uint32_t read_container(const char *object) {
        text_ = "(untouched)";
        char untouched = 0;
        char *text = &untouched;
        const uint32_t code = qrt_get_container(handle, object, &text);
        if (text != &untouched) text_ = taken(text);
        return code;
    }
    std::string text_;
};

TEST_F(ScriptSourcesTest, ALocalFileIsTakenAsItIs) {
    folder_.file("script", "WRITE \"a\"\r\nlast line");
    EXPECT_EQ(local("script"), "WRITE \"a\"\r\nlast line");
}

TEST_F(ScriptSourcesTest, AnEmptyLocalFileYieldsAnEmptyText) {
    folder_.file("empty", "");
    EXPECT_EQ(local("empty"), "");
}

TEST_F(ScriptSourcesTest, ALargeLocalFileIsReadWhole) {
    const std::string large(300000, 'x');
    folder_.file("large", large);
    EXPECT_EQ(local("large"), large);
}

TEST_F(ScriptSourcesTest, WhatIsNoReadableFileYieldsNull) {
    EXPECT_EQ(local("missing"), "(null)");
    EXPECT_EQ(local("missing/folder"), "(null)");
    EXPECT_EQ(local("config"), "(null)");
    EXPECT_EQ(qrt_readLoginScriptFromFile(""), nullptr);
    EXPECT_EQ(local(std::string(5000, 'x')), "(null)");
}

TEST_F(ScriptSourcesTest, APipeIsNotWaitedFor) {
    ASSERT_EQ(mkfifo(folder_.path("fifo").c_str(), 0600), 0);
    EXPECT_EQ(local("fifo"), "(null)");
}

TEST_F(ScriptSourcesTest, ADeviceIsAnEmptyText) {
    for (const char *device : {"/dev/null", "/dev/zero"}) EXPECT_EQ(taken(qrt_readLoginScriptFromFile(device)), "");
}

TEST_F(ScriptSourcesTest, AFileWithoutPermissionYieldsNull) {
    folder_.file("secret", "x");
    chmod(folder_.path("").c_str(), 0755);
    chmod(folder_.path("secret").c_str(), 0);
    const auto read_as_nobody = [this] {
        if (geteuid() == 0 && setuid(65534) != 0) _exit(1);
        _exit(qrt_readLoginScriptFromFile(folder_.path("secret").c_str()) == nullptr ? 33 : 0);
    };
    EXPECT_EXIT(read_as_nobody(), ExitedWithCode(33), "");
}

TEST_F(ScriptSourcesTest, LocalFilesAreTraced) {
    folder_.file("script", "x");
    for (const char *name : {"script", "missing"}) {
        SCOPED_TRACE(name);
        const auto read_it = [&] { local(name); };
        expect_traces({"Entering ...", "Exiting ..."}, read_it);
    }
}

TEST_F(ScriptSourcesTest, AnObjectsScriptIsReadFromItsStream) {
    spy::stream("jdoe.sales.acme", "WRITE \"hi\"");
    EXPECT_EQ(read("jdoe.sales.acme"), 0U);
    EXPECT_EQ(text_, "WRITE \"hi\"\r\n");
    EXPECT_THAT(spy::calls(), ElementsAre("ZKDSAbbreviateName(77, \"jdoe.sales.acme\")",
                                          "ZKDSOpenStream(77, \"jdoe.sales.acme\", \"Login Script\", 0)",
                                          "ZKDSGetContext(77, DCK_LAST_CONNECTION)", "ZKCCGetConnInfo(0, 10, 4)",
                                          "ZKReadFile(301, 512)", "ZKReadFile(301, 512)", "ZKCloseFile(301)"));
}

TEST_F(ScriptSourcesTest, TheNameIsShortened) {
    spy::abbreviated("jdoe.sales.acme", "jdoe");
    spy::stream("jdoe", "x");
    EXPECT_EQ(read("jdoe.sales.acme"), 0U);
    EXPECT_EQ(text_, "x\r\n");
}

TEST_F(ScriptSourcesTest, TheNameIsUsedAsItIsWhenItCannotBeShortened) {
    spy::fail("ZKDSAbbreviateName", 0x1234);
    spy::stream("jdoe.sales.acme", "x");
    EXPECT_EQ(read("jdoe.sales.acme"), 0U);
    EXPECT_EQ(text_, "x\r\n");
}

TEST_F(ScriptSourcesTest, AnOverlongNameThatCannotBeShortenedIsCut) {
    spy::fail("ZKDSAbbreviateName", 0x1234);
    EXPECT_NE(read(std::string(1000, 'x').c_str()), 0U);
    EXPECT_EQ(spy::calls("ZKDSOpenStream")[0],
              "ZKDSOpenStream(77, \"" + std::string(256, 'x') + "\", \"Login Script\", 0)");
}

TEST_F(ScriptSourcesTest, AShortNameOfAnyLengthIsUsedWhole) {
    for (const size_t length : {256U, 257U, 512U}) {
        const std::string name(length, 'x');
        spy::abbreviated("jdoe.sales.acme", name);
        spy::forget_calls();
        EXPECT_NE(read("jdoe.sales.acme"), 0U);
        EXPECT_THAT(spy::calls("ZKDSOpenStream"),
                    ElementsAre("ZKDSOpenStream(77, \"" + name + "\", \"Login Script\", 0)"));
    }
}

TEST_F(ScriptSourcesTest, AnObjectWithoutAScriptIsTheClientsCode) {
    spy::object("jdoe.acme");
    EXPECT_EQ(read("jdoe.acme"), no_such_value);
    EXPECT_EQ(text_, "(untouched)");
    EXPECT_THAT(spy::calls("ZKReadFile"), IsEmpty());
    EXPECT_THAT(spy::calls("ZKCloseFile"), IsEmpty());
    EXPECT_EQ(output(), "");
}

TEST_F(ScriptSourcesTest, AStreamThatCannotBeOpenedIsTheClientsCode) {
    spy::stream("jdoe.acme", "x");
    spy::fail("ZKDSOpenStream", 0xFFFFE010);
    EXPECT_EQ(read("jdoe.acme"), 0xFFFFE010U);
    EXPECT_EQ(text_, "(untouched)");
}

TEST_F(ScriptSourcesTest, AnEmptyScriptIsALineBreak) {
    spy::stream("jdoe.acme", "");
    EXPECT_EQ(read("jdoe.acme"), 0U);
    EXPECT_EQ(text_, "\r\n");
}

TEST_F(ScriptSourcesTest, AScriptOf512BytesTakesTwoReads) {
    spy::stream("jdoe.acme", std::string(512, 'x'));
    EXPECT_EQ(read("jdoe.acme"), 0U);
    EXPECT_EQ(text_, std::string(512, 'x') + "\r\n");
    EXPECT_EQ(spy::calls("ZKReadFile").size(), 2U);
}

TEST_F(ScriptSourcesTest, AScriptOfAnyLengthIsReadInBlocks) {
    for (const size_t length : {1U, 511U, 513U, 1023U, 1024U, 1025U, 5000U, 100000U}) {
        SCOPED_TRACE(length);
        spy::stream("jdoe.acme", std::string(length, 'x'));
        spy::forget_calls();
        EXPECT_EQ(read("jdoe.acme"), 0U);
        EXPECT_EQ(text_.size(), length + 2);
        EXPECT_EQ(spy::calls("ZKReadFile").size(), (length + 511) / 512 + 1);
    }
}

TEST_F(ScriptSourcesTest, ShortReadsArePutTogether) {
    spy::stream("jdoe.acme", "a script in small pieces");
    spy::read_at_most(3);
    EXPECT_EQ(read("jdoe.acme"), 0U);
    EXPECT_EQ(text_, "a script in small pieces\r\n");
}

TEST_F(ScriptSourcesTest, AReadErrorKeepsTheTextReadSoFar) {
    spy::stream("jdoe.acme", std::string(600, 'x'));
    spy::fail_nth("ZKReadFile", 2, 0x1234);
    EXPECT_EQ(read("jdoe.acme"), 0U);
    EXPECT_EQ(text_, std::string(512, 'x') + "\r\n");
    EXPECT_EQ(spy::calls("ZKReadFile").size(), 2U);
    EXPECT_EQ(spy::calls("ZKCloseFile").size(), 1U);
}

TEST_F(ScriptSourcesTest, AReadErrorAtTheStartLeavesALineBreak) {
    spy::stream("jdoe.acme", "x");
    spy::fail("ZKReadFile", 0x1234);
    EXPECT_EQ(read("jdoe.acme"), 0U);
    EXPECT_EQ(text_, "\r\n");
}

TEST_F(ScriptSourcesTest, AScriptWithAZeroByteEndsThereWithALineBreak) {
    spy::stream("jdoe.acme", std::string("WRITE\0rest", 10));
    EXPECT_EQ(read("jdoe.acme"), 0U);
    EXPECT_EQ(text_, "WRITE\r\n");
}

class CountedReadTest : public ScriptSourcesTest {
  protected:
    // A script served by SRV1 over the connection 101.
    CountedReadTest() {
        spy::server("SRV1");
        ZKCCOpenConnByName(0, "SRV1", 2, 1, 0x8000, &connection_);
        ZKDSSetContext(handle, DCK_LAST_CONNECTION, &connection_);
        spy::stream("jdoe.acme", "x");
        spy::forget_calls();
    }

    // The calls about counting.
    std::vector<std::string> counting() {
        EXPECT_EQ(read("jdoe.acme"), 0U);
        EXPECT_EQ(text_, "x\r\n");
        std::vector<std::string> found;
        for (const std::string &call : spy::calls()) {
            if (call.rfind("ZKCC", 0) == 0) found.push_back(call);
        }
        return found;
    }
    uint32_t connection_ = 0;
};

TEST_F(CountedReadTest, AConnectionIsCountedForTheReadAndThenNoMore) {
    EXPECT_THAT(counting(),
                ElementsAre("ZKCCGetConnInfo(101, 10, 4)", "ZKCCLicenseConn(101)", "ZKCCUnlicenseConn(101)"));
    EXPECT_THAT(spy::call_names(),
                ElementsAre("ZKDSAbbreviateName", "ZKDSOpenStream", "ZKDSGetContext", "ZKCCGetConnInfo",
                            "ZKCCLicenseConn", "ZKReadFile", "ZKReadFile", "ZKCloseFile", "ZKCCUnlicenseConn"));
}

TEST_F(CountedReadTest, ACountedConnectionStaysCounted) {
    spy::counted("SRV1");
    EXPECT_THAT(counting(), ElementsAre("ZKCCGetConnInfo(101, 10, 4)"));
}

TEST_F(CountedReadTest, AConnectionThatCannotBeCountedIsNotUncounted) {
    spy::fail("ZKCCLicenseConn", 0x1234);
    EXPECT_THAT(counting(), ElementsAre("ZKCCGetConnInfo(101, 10, 4)", "ZKCCLicenseConn(101)"));
}

TEST_F(CountedReadTest, WithoutTheStateNothingIsCounted) {
    spy::fail("ZKCCGetConnInfo", 0x1234);
    EXPECT_THAT(counting(), ElementsAre("ZKCCGetConnInfo(101, 10, 4)"));
}

TEST_F(CountedReadTest, WithoutTheConnectionNothingIsCounted) {
    spy::fail("ZKDSGetContext", 0x1234);
    EXPECT_THAT(counting(), IsEmpty());
}

TEST_F(CountedReadTest, TheReadIsTraced) {
    expect_traces(
        {"KDB object is jdoe.acme", "KDB short name is jdoe.acme", "ZKCCGetConnInfo: 0x0 0", "ZKCCLicenseConn: 0x0",
         "ZKReadFile: 0x0", "ZKReadFile read size: 3", "--------------------Read LoginScript---------------",
         "-------------------------------------------------"},
        [this] { read("jdoe.acme"); });
    const std::vector<std::string> texts = trace_texts(5, [this] { read("jdoe.acme"); });
    ASSERT_GE(texts.size(), 4U);
    EXPECT_THAT(std::vector<std::string>(texts.end() - 4, texts.end()),
                ElementsAre("ZKReadFile read size: 3", "--------------------Read LoginScript---------------", "x\r",
                            "-------------------------------------------------"));
}

TEST_F(CountedReadTest, FailuresAreTraced) {
    spy::object("bare.acme");
    expect_traces({"No login script defined for bare.acme: FFFFFDA6"}, [this] { read("bare.acme"); });
    EXPECT_THAT(trace_texts(9, [this] { read("bare.acme"); }), Not(Contains(HasSubstr("err:"))));
    spy::fail("ZKDSOpenStream", 0xE010);
    expect_traces({"ZKDSOpenStream err: 0000E010"}, [this] { read("jdoe.acme"); });
    EXPECT_THAT(trace_texts(9, [this] { read("jdoe.acme"); }), Not(Contains(HasSubstr("No login script"))));
}

TEST_F(CountedReadTest, TheCodesOfFailingCallsAreTraced) {
    const auto read_it = [this] { read("jdoe.acme"); };
    spy::fail("ZKCCLicenseConn", 0x8801);
    spy::fail("ZKReadFile", 0xFFFFE010);
    expect_traces({"ZKCCLicenseConn: 0x8801", "ZKReadFile: 0xffffe010"}, read_it);
    spy::fail("ZKCCGetConnInfo", 0x8801);
    EXPECT_THAT(trace_texts(5, read_it), Contains(StartsWith("ZKCCGetConnInfo: 0x8801 ")));
    EXPECT_THAT(trace_texts(4, read_it), IsEmpty());
}

TEST_F(ScriptSourcesTest, TheNearestContainersScriptIsFound) {
    spy::object("jdoe", "User", "CN=jdoe.OU=sales.O=acme");
    spy::stream("OU=sales.O=acme", "near");
    spy::stream("O=acme", "far");
    EXPECT_EQ(read_container("jdoe"), 0U);
    EXPECT_EQ(text_, "near\r\n");
    EXPECT_EQ(spy::calls()[0], "ZKDSReadObjectInfo(77, \"jdoe\")");
    EXPECT_THAT(spy::calls("ZKDSOpenStream"),
                ElementsAre("ZKDSOpenStream(77, \"OU=sales.O=acme\", \"Login Script\", 0)"));
}

TEST_F(ScriptSourcesTest, AContainerWithoutAScriptIsPassed) {
    spy::object("jdoe", "User", "CN=jdoe.OU=sales.O=acme");
    spy::object("OU=sales.O=acme", "Organizational Unit");
    spy::stream("O=acme", "far");
    EXPECT_EQ(read_container("jdoe"), 0U);
    EXPECT_EQ(text_, "far\r\n");
}

TEST_F(ScriptSourcesTest, AContainerWhoseScriptCannotBeReadIsPassed) {
    spy::object("jdoe", "User", "CN=jdoe.OU=sales.O=acme");
    spy::stream("OU=sales.O=acme", "near");
    spy::stream("O=acme", "far");
    spy::fail_nth("ZKDSOpenStream", 1, 0xFFFFE010);
    EXPECT_EQ(read_container("jdoe"), 0U);
    EXPECT_EQ(text_, "far\r\n");
}

TEST_F(ScriptSourcesTest, TheObjectsOwnScriptIsNotItsContainers) {
    spy::stream("CN=jdoe.O=acme", "own");
    EXPECT_EQ(read_container("CN=jdoe.O=acme"), 0xFFFFFFFFU);
    EXPECT_EQ(text_, "(untouched)");
    EXPECT_THAT(spy::calls("ZKDSOpenStream"), ElementsAre("ZKDSOpenStream(77, \"O=acme\", \"Login Script\", 0)"));
}

TEST_F(ScriptSourcesTest, EscapedPeriodsSeparateHereToo) {
    spy::object("jdoe", "User", "CN=j\\.doe.O=acme");
    spy::stream("O=acme", "x");
    EXPECT_EQ(read_container("jdoe"), 0U);
    EXPECT_THAT(spy::calls("ZKDSOpenStream"), ElementsAre("ZKDSOpenStream(77, \"doe.O=acme\", \"Login Script\", 0)",
                                                          "ZKDSOpenStream(77, \"O=acme\", \"Login Script\", 0)"));
}

TEST_F(ScriptSourcesTest, EachOfTwoPeriodsInARowIsAStep) {
    spy::object("jdoe", "User", "jdoe..acme");
    EXPECT_EQ(read_container("jdoe"), 0xFFFFFFFFU);
    EXPECT_THAT(spy::calls("ZKDSAbbreviateName"),
                ElementsAre("ZKDSAbbreviateName(77, \".acme\")", "ZKDSAbbreviateName(77, \"acme\")"));
}

TEST_F(ScriptSourcesTest, TheLongestNameIsWalkedUp) {
    const std::string container = std::string(500, 'c') + ".O=acme";
    spy::object("jdoe", "User", "jdoe." + container);
    EXPECT_EQ(read_container("jdoe"), 0xFFFFFFFFU);
    EXPECT_THAT(spy::calls("ZKDSAbbreviateName"),
                ElementsAre("ZKDSAbbreviateName(77, \"" + container + "\")", "ZKDSAbbreviateName(77, \"O=acme\")"));
}

TEST_F(ScriptSourcesTest, AnObjectAtTheTopHasNoContainer) {
    spy::object("admin", "User", "CN=admin");
    EXPECT_EQ(read_container("admin"), 0xFFFFFFFFU);
    EXPECT_THAT(spy::calls("ZKDSOpenStream"), IsEmpty());
}

TEST_F(ScriptSourcesTest, AnUnknownObjectHasNoContainer) {
    EXPECT_EQ(read_container("nobody"), 0xFFFFFFFFU);
    EXPECT_THAT(spy::call_names(), ElementsAre("ZKDSReadObjectInfo"));
}

TEST_F(ScriptSourcesTest, TheWalkIsTraced) {
    spy::object("jdoe", "User", "CN=jdoe.O=acme");
    expect_traces({"ZKDSReadObjectInfo(jdoe) returned (CN=jdoe.O=acme)"}, [this] { read_container("jdoe"); });
    expect_traces({"Error: ZKDSReadObjectInfo(ctx,nobody,...) returned -601"}, [this] { read_container("nobody"); });
}

TEST_F(ScriptSourcesTest, WithoutAnObjectThereIsNoScript) {
    EXPECT_EQ(read(nullptr), 0xFFFFFDA7U);
    EXPECT_EQ(read_container(nullptr), 0xFFFFFFFFU);
    EXPECT_EQ(text_, "(untouched)");
    EXPECT_THAT(spy::calls(), IsEmpty());
}

TEST_F(ScriptSourcesTest, TheDefaultScriptListsTheDrives) {
    char *first = nullptr;
    char *second = nullptr;
    EXPECT_EQ(__get_default_script(&first), 0);
    EXPECT_EQ(__get_default_script(&second), 0);
    EXPECT_NE(first, second);
    EXPECT_EQ(taken(first), "map\r\n");
    EXPECT_EQ(taken(second), "map\r\n");
    expect_traces({"entering...", "return (PAM_SUCCESS)"}, [] {
        char *text = nullptr;
        __get_default_script(&text);
        free(text);
    });
}

} // namespace
