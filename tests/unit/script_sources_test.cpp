#include "directory/script_sources.h"

#include <sys/stat.h>

#include "tests/unit/session_fixture.h"

namespace {

class ScriptSourcesTest : public SessionTest {
  protected:
    std::string local(const std::string &name) {
        return taken(qrt_readLoginScriptFromFile(folder_.path(name).c_str()));
    }

    // What the reader of a script hands out: the text, or the code of a failure, which leaves the out alone.
    static std::string outcome(uint32_t (*reader)(uint32_t, const char *, char **), const char *object) {
        char untouched = 0;
        char *text = &untouched;
        const uint32_t code = reader(handle, object, &text);
        EXPECT_EQ(text == &untouched, code != 0);
        return code == 0 ? taken(text) : hexadecimal(code);
    }
    // Of an object's own script, of its container's.
    static std::string read(const std::string &object) { return outcome(qrt_GetLoginScript, object.c_str()); }
    static std::string container(const std::string &object) { return outcome(qrt_get_container, object.c_str()); }
    // The stream that was opened.
    static std::string opened(const std::string &name) {
        return "ZKDSOpenStream(77, \"" + name + "\", \"Login Script\", 0)";
    }
};

TEST_F(ScriptSourcesTest, ALocalFileIsReadWholeAndAsItIs) {
    for (const std::string &script :
         {std::string("WRITE \"a\"\r\nlast line"), std::string(), std::string(300000, 'x')}) {
        folder_.file("script", script);
        EXPECT_EQ(local("script"), script);
    }
    for (const char *device : {"/dev/null", "/dev/zero"}) EXPECT_EQ(taken(qrt_readLoginScriptFromFile(device)), "");
}

TEST_F(ScriptSourcesTest, WhatIsNoReadableFileYieldsNull) {
    ASSERT_EQ(mkfifo(folder_.path("fifo").c_str(), 0600), 0);
    for (const std::string &name : {std::string("missing"), std::string("missing/folder"), std::string("config"),
                                    std::string("fifo"), std::string(5000, 'x')})
        EXPECT_EQ(local(name), "(null)") << name;
    EXPECT_EQ(qrt_readLoginScriptFromFile(""), nullptr);
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
    EXPECT_EQ(read("jdoe.sales.acme"), "WRITE \"hi\"\r\n");
    EXPECT_THAT(spy::calls(), ElementsAre("ZKDSAbbreviateName(77, \"jdoe.sales.acme\")", opened("jdoe.sales.acme"),
                                          "ZKDSGetContext(77, DCK_LAST_CONNECTION)", "ZKCCGetConnInfo(0, 10, 4)",
                                          "ZKReadFile(301, 512)", "ZKReadFile(301, 512)", "ZKCloseFile(301)"));
}

TEST_F(ScriptSourcesTest, TheNameIsShortenedWhereItCanBe) {
    spy::abbreviated("jdoe.sales.acme", "jdoe");
    spy::stream("jdoe", "x");
    EXPECT_EQ(read("jdoe.sales.acme"), "x\r\n");
    spy::fail("ZKDSAbbreviateName", 0x1234);
    spy::stream("jdoe.sales.acme", "y");
    EXPECT_EQ(read("jdoe.sales.acme"), "y\r\n");
    read(std::string(1000, 'x'));
    EXPECT_EQ(spy::calls("ZKDSOpenStream").back(), opened(std::string(256, 'x'))) << "an overlong one is cut";
}

TEST_F(ScriptSourcesTest, AShortNameOfAnyLengthIsUsedWhole) {
    for (const size_t length : {256U, 257U, 512U}) {
        spy::abbreviated("jdoe.sales.acme", std::string(length, 'x'));
        read("jdoe.sales.acme");
        EXPECT_EQ(spy::calls("ZKDSOpenStream").back(), opened(std::string(length, 'x')));
    }
}

TEST_F(ScriptSourcesTest, AnObjectWithoutAReadableScriptIsTheClientsCode) {
    spy::object("jdoe.acme");
    EXPECT_EQ(read("jdoe.acme"), "FFFFFDA6");
    EXPECT_THAT(spy::calls("ZKReadFile"), IsEmpty());
    EXPECT_THAT(spy::calls("ZKCloseFile"), IsEmpty());
    EXPECT_EQ(output(), "");
    spy::stream("jdoe.acme", "x");
    spy::fail("ZKDSOpenStream", 0xFFFFE010);
    EXPECT_EQ(read("jdoe.acme"), "FFFFE010");
}

TEST_F(ScriptSourcesTest, AScriptOfAnyLengthIsReadInBlocks) {
    for (const size_t length : {0U, 1U, 511U, 512U, 513U, 1023U, 1024U, 1025U, 5000U, 100000U}) {
        SCOPED_TRACE(length);
        spy::stream("jdoe.acme", std::string(length, 'x'));
        spy::forget_calls();
        EXPECT_EQ(read("jdoe.acme"), std::string(length, 'x') + "\r\n");
        EXPECT_EQ(spy::calls("ZKReadFile").size(), (length + 511) / 512 + 1);
    }
    spy::stream("jdoe.acme", std::string("WRITE\0rest", 10));
    EXPECT_EQ(read("jdoe.acme"), "WRITE\r\n") << "a zero byte ends it";
    spy::stream("jdoe.acme", "a script in small pieces");
    spy::read_at_most(3);
    EXPECT_EQ(read("jdoe.acme"), "a script in small pieces\r\n");
}

TEST_F(ScriptSourcesTest, AReadErrorKeepsTheTextReadSoFar) {
    spy::stream("jdoe.acme", std::string(600, 'x'));
    spy::fail_nth("ZKReadFile", 2, 0x1234);
    EXPECT_EQ(read("jdoe.acme"), std::string(512, 'x') + "\r\n");
    EXPECT_EQ(spy::calls("ZKReadFile").size(), 2U);
    EXPECT_EQ(spy::calls("ZKCloseFile").size(), 1U);
    spy::fail("ZKReadFile", 0x1234);
    EXPECT_EQ(read("jdoe.acme"), "\r\n");
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
    static std::vector<std::string> counting() {
        spy::forget_calls();
        EXPECT_EQ(read("jdoe.acme"), "x\r\n");
        std::vector<std::string> found;
        for (const std::string &call : spy::calls())
            if (call.rfind("ZKCC", 0) == 0) found.push_back(call);
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

TEST_F(CountedReadTest, OtherwiseItIsNotUncounted) {
    const std::string asked = "ZKCCGetConnInfo(101, 10, 4)";
    spy::fail("ZKCCLicenseConn", 0x1234);
    EXPECT_THAT(counting(), ElementsAre(asked, "ZKCCLicenseConn(101)"));
    spy::counted("SRV1");
    EXPECT_THAT(counting(), ElementsAre(asked));
    spy::counted("SRV1", false);
    spy::fail("ZKCCGetConnInfo", 0x1234);
    EXPECT_THAT(counting(), ElementsAre(asked)) << "without the state";
    spy::fail("ZKDSGetContext", 0x1234);
    EXPECT_THAT(counting(), IsEmpty()) << "without the connection";
}

TEST_F(CountedReadTest, TheReadIsTraced) {
    expect_traces(
        {"KDB object is jdoe.acme", "KDB short name is jdoe.acme", "ZKCCGetConnInfo: 0x0 0", "ZKCCLicenseConn: 0x0",
         "ZKReadFile: 0x0", "ZKReadFile read size: 3", "--------------------Read LoginScript---------------",
         "-------------------------------------------------"},
        [] { read("jdoe.acme"); });
    const std::vector<std::string> texts = trace_texts(5, [] { read("jdoe.acme"); });
    ASSERT_GE(texts.size(), 4U);
    EXPECT_THAT(std::vector<std::string>(texts.end() - 4, texts.end()),
                ElementsAre("ZKReadFile read size: 3", "--------------------Read LoginScript---------------", "x\r",
                            "-------------------------------------------------"));
}

TEST_F(CountedReadTest, FailuresAreTraced) {
    spy::object("bare.acme");
    expect_traces({"No login script defined for bare.acme: FFFFFDA6"}, [] { read("bare.acme"); });
    EXPECT_THAT(trace_texts(9, [] { read("bare.acme"); }), Not(Contains(HasSubstr("err:"))));
    spy::fail("ZKDSOpenStream", 0xE010);
    expect_traces({"ZKDSOpenStream err: 0000E010"}, [] { read("jdoe.acme"); });
    EXPECT_THAT(trace_texts(9, [] { read("jdoe.acme"); }), Not(Contains(HasSubstr("No login script"))));
}

TEST_F(CountedReadTest, TheCodesOfFailingCallsAreTraced) {
    const auto read_it = [] { read("jdoe.acme"); };
    spy::fail("ZKCCLicenseConn", 0x8801);
    spy::fail("ZKReadFile", 0xFFFFE010);
    expect_traces({"ZKCCLicenseConn: 0x8801", "ZKReadFile: 0xffffe010"}, read_it);
    spy::fail("ZKCCGetConnInfo", 0x8801);
    EXPECT_THAT(trace_texts(5, read_it), Contains(StartsWith("ZKCCGetConnInfo: 0x8801 ")));
    EXPECT_THAT(trace_texts(4, read_it), IsEmpty());
}

TEST_F(ScriptSourcesTest, TheNearestContainersScriptIsFound) {
    spy::object("jdoe", "User", "CN=jdoe.OU=sales.O=acme");
    spy::stream("O=acme", "far");
    spy::object("OU=sales.O=acme", "Organizational Unit");
    EXPECT_EQ(container("jdoe"), "far\r\n") << "a container without a script is passed";
    spy::stream("OU=sales.O=acme", "near");
    spy::forget_calls();
    EXPECT_EQ(container("jdoe"), "near\r\n");
    EXPECT_EQ(spy::calls()[0], "ZKDSReadObjectInfo(77, \"jdoe\")");
    EXPECT_THAT(spy::calls("ZKDSOpenStream"), ElementsAre(opened("OU=sales.O=acme")));
    spy::fail_nth("ZKDSOpenStream", 4, 0xFFFFE010);
    EXPECT_EQ(container("jdoe"), "far\r\n") << "so is one whose script cannot be read";
}

TEST_F(ScriptSourcesTest, TheWalkUpGoesFromPeriodToPeriod) {
    const std::string deep = std::string(500, 'c') + ".O=acme";
    const struct {
        std::string name;
        std::vector<std::string> containers;
    } rows[] = {
        {"CN=jdoe.O=acme", {"O=acme"}},
        {"CN=j\\.doe.O=acme", {"doe.O=acme", "O=acme"}},
        {"jdoe..acme", {".acme", "acme"}},
        {"jdoe." + deep, {deep, "O=acme"}},
        {"CN=admin", {}},
    };
    spy::stream("CN=jdoe.O=acme", "the object's own is not its container's");
    for (const auto &row : rows) {
        spy::object("jdoe", "User", row.name);
        spy::forget_calls();
        EXPECT_EQ(container("jdoe"), "FFFFFFFF");
        std::vector<std::string> streams;
        for (const std::string &name : row.containers) streams.push_back(opened(name));
        EXPECT_EQ(spy::calls("ZKDSOpenStream"), streams);
    }
    spy::forget_calls();
    EXPECT_EQ(container("nobody"), "FFFFFFFF");
    EXPECT_THAT(spy::call_names(), ElementsAre("ZKDSReadObjectInfo"));
}

TEST_F(ScriptSourcesTest, TheWalkIsTraced) {
    spy::object("jdoe", "User", "CN=jdoe.O=acme");
    expect_traces({"ZKDSReadObjectInfo(jdoe) returned (CN=jdoe.O=acme)"}, [] { container("jdoe"); });
    expect_traces({"Error: ZKDSReadObjectInfo(ctx,nobody,...) returned -601"}, [] { container("nobody"); });
}

TEST_F(ScriptSourcesTest, WithoutAnObjectThereIsNoScript) {
    EXPECT_EQ(outcome(qrt_GetLoginScript, nullptr), "FFFFFDA7");
    EXPECT_EQ(outcome(qrt_get_container, nullptr), "FFFFFFFF");
    EXPECT_THAT(spy::calls(), IsEmpty());
}

TEST_F(ScriptSourcesTest, TheDefaultScriptListsTheDrives) {
    char *first = nullptr, *second = nullptr;
    const auto get = [&] {
        EXPECT_EQ(__get_default_script(&first), 0);
        EXPECT_EQ(__get_default_script(&second), 0);
    };
    expect_traces({"entering...", "return (PAM_SUCCESS)"}, get);
    EXPECT_NE(first, second);
    EXPECT_EQ(taken(first), "map\r\n");
    EXPECT_EQ(taken(second), "map\r\n");
}

} // namespace
