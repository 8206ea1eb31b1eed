#include "commands/drive.h"

#include "tests/failing_malloc/failing_malloc.h"
#include "tests/unit/session_fixture.h"

namespace {

// A "map" program that shows its arguments, and a configuration of the test's own.
class DriveTest : public SessionTest {
  protected:
    DriveTest() {
        folder_.script("map", "printf map; for a in \"$@\"; do printf '[%s]' \"$a\"; done");
        setenv("HOME", "/home/u", 1);
    }
    void link_directory_is(const std::string &value) {
        folder_.file("config/map.conf", "Map_Link_Default_Location=" + value + "\n");
    }
    std::string map(const char *line) {
        map_statement(text(line));
        return output();
    }
    std::string drive(const char *name) {
        drive_statement(text(name));
        return driveDir == nullptr ? "(none)" : driveDir;
    }

    // The two paths of util_map_location, put together.
    static std::string location(const char *name, const char *extra) {
        char *link = nullptr;
        char *second = nullptr;
        EXPECT_EQ(util_map_location(name, extra, &link, &second), 0);
        const OwnedText first(link);
        const OwnedText other(second);
        return std::string(link) + " " + second;
    }

    // The server and the rest of a mapping, put together.
    static std::string mapping(const char *linkPath) {
        char *server = nullptr;
        char *rest = nullptr;
        const int code = util_map_existing(linkPath, &server, &rest);
        const OwnedText first(server);
        const OwnedText second(rest);
        if (code != 0) return "no mapping";
        return server == nullptr ? "untouched" : std::string(server) + " " + rest;
    }
};

TEST_F(DriveTest, MapRunsTheMappingProgramWithItsLine) {
    EXPECT_EQ(map(" ROOT H:=SRV/VOL:HOME"), "map[ROOT][H:=SRV/VOL:HOME]");
    EXPECT_EQ(syntax_error, 0);
    setenv("DRIVE_TEST", "jdoe", 1);
    EXPECT_EQ(map(" ROOT H:=SRV/VOL:HOME/%<DRIVE_TEST>"), "map[ROOT][H:=SRV/VOL:HOME/jdoe]");
    EXPECT_EQ(map(" INS S1:=SRV\\SYS:PUBLIC;SRV\\SYS:APPS"), "map[INS][S1:=SRV/SYS:PUBLIC,SRV/SYS:APPS]");
    setenv("DRIVE_TEST", "a\\b;c", 1);
    EXPECT_EQ(map(" %<DRIVE_TEST>"), "map[a/b,c]");
}

TEST_F(DriveTest, AFailedMappingIsASyntaxErrorOfTheScript) {
    folder_.script("map", "exit 3");
    map(" x");
    EXPECT_EQ(syntax_error, 1);
}

TEST_F(DriveTest, AMissingMappingProgramCountsAsSuccess) {
    setenv("PATH", "/nowhere", 1);
    EXPECT_EQ(map(" x"), "");
    EXPECT_EQ(syntax_error, 0);
}

TEST_F(DriveTest, ASkippedMapOrDriveDoesNothing) {
    skip();
    execute(map_statement, text(" x"));
    EXPECT_EQ(output(), "");
    skip();
    execute(drive_statement, text("g"));
    EXPECT_EQ(driveDir, nullptr);
    EXPECT_EQ(output(), "");
}

TEST_F(DriveTest, MapCommandPassesItsThirdTextTwiceAndReturnsOneForAnyFailure) {
    EXPECT_EQ(qrt_map_command(ctx, "map", "a", "b", "c"), 0);
    EXPECT_EQ(output(), "map[a][b][b][c]");
    EXPECT_EQ(qrt_map_command(ctx, "map", "a", nullptr, "c"), 0);
    EXPECT_EQ(output(), "map[a][c]");
    EXPECT_EQ(qrt_map_command(ctx, "map", nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(output(), "map");
    folder_.script("map", "exit 3");
    EXPECT_EQ(qrt_map_command(ctx, "map", "a", nullptr, nullptr), 1);
    EXPECT_EQ(syntax_error, 1);
}

TEST_F(DriveTest, MapTracesItsLineFromLevelFiveAndItsFailureFromLevelOne) {
    folder_.script("map", "exit 30");
    const auto run = [] { map_statement(text(" a;b")); };
    EXPECT_THAT(traces(5, run), HasSubstr("map  a,b"));
    EXPECT_THAT(traces(4, run), Not(HasSubstr("map  a,b")));
    EXPECT_THAT(traces(1, run), HasSubstr("0x1E"));
    EXPECT_EQ(traces(0, run), "");
}

// MAP, PATH and DRIVE lines in whole scripts.
class DriveScriptTest : public ScriptTest {
  protected:
    DriveScriptTest() {
        folder_.script("map", "printf map; for a in \"$@\"; do printf '[%s]' \"$a\"; done; echo");
        setenv("HOME", "/home/u", 1);
    }
};

TEST_F(DriveScriptTest, PathIsRunExactlyAsTheSameLineAfterMap) {
    for (const std::string line : {" S2:=X:", " INS S1:=SRV\\SYS:A;SRV\\SYS:B", "  ROOT  H:=%LOGIN_NAME \"a b\"", ""}) {
        const std::string mapped = printed("MAP" + line + "\n");
        EXPECT_THAT(mapped, StartsWith("map"));
        EXPECT_EQ(printed("PATH" + line + "\n"), mapped);
    }
    EXPECT_EQ(printed("PATH S2:=X:\n"), "map[S2:=X:]\n");
}

TEST_F(DriveScriptTest, AFailedMappingEndsTheScriptWithOneAndTheNextStatementRuns) {
    folder_.script("map", "exit 3");
    EXPECT_EQ(run("MAP x\nWRITE \"next\"\n"), 1);
    EXPECT_EQ(output(), "next\n");
}

TEST_F(DriveScriptTest, DriveTakesTheNameBeforeItsColonOrBehindItsAsterisk) {
    EXPECT_EQ(run("DRIVE g:\n"), 0);
    EXPECT_STREQ(driveDir, "/home/u/G");
    EXPECT_EQ(run("DRIVE *links\n"), 0);
    EXPECT_STREQ(driveDir, "/home/u/links");
    EXPECT_EQ(run("DRIVE h\n\n"), 1);
    EXPECT_STREQ(driveDir, "/home/u/links");
}

TEST_F(DriveTest, DrivePointsAtTheLinkBelowHomeAndRaisesOnlyASingleLetter) {
    EXPECT_EQ(drive("g"), "/home/u/G");
    EXPECT_EQ(drive("a"), "/home/u/A");
    EXPECT_EQ(drive("z"), "/home/u/Z");
    EXPECT_EQ(drive("gh"), "/home/u/gh");
    EXPECT_EQ(drive("1"), "/home/u/1");
    setenv("DRIVE_TEST", "x", 1);
    EXPECT_EQ(drive("%<DRIVE_TEST>"), "/home/u/X");
    EXPECT_EQ(drive("/mnt/x"), "/mnt/x");
    link_directory_is("%HOME/drives");
    EXPECT_EQ(drive("H"), "/home/u/drives/H");
    EXPECT_EQ(qrt_ChangeWorkingDir(ctx, "g"), 1);
}

TEST_F(DriveTest, DriveTracesTheNameFromLevelThreeAndTheDirectoryFromLevelEight) {
    const auto run = [] { drive_statement(text("q")); };
    EXPECT_THAT(traces(3, run), HasSubstr("q\n"));
    EXPECT_EQ(traces(2, run), "");
    EXPECT_THAT(traces(8, run), HasSubstr("/home/u/Q"));
    EXPECT_THAT(traces(7, run), Not(HasSubstr("/home/u/Q")));
}

TEST_F(DriveTest, TheLocationComesFromTheConfiguration) {
    const struct {
        const char *configured;
        const char *locations; // of the drive G and of "extra"
    } rows[] = {
        {"/links", "/links/G /links/extra"},
        {"/links/", "/links/G /links/extra"},
        {"/", "/G /extra"},
        {"d", "dG dextra"},
        {"dd", "dd/G dd/extra"},
        {"%HOME", "/home/u/G /home/u/extra"},
        {"%HOME/", "/home/u/G /home/u/extra"},
        {"%HOME/a/b", "/home/u/a/b/G /home/u/a/b/extra"},
        {"  ", "G extra"},
    };
    for (const auto &row : rows) {
        link_directory_is(row.configured);
        EXPECT_EQ(location("G", "extra"), row.locations) << row.configured;
    }
}

TEST_F(DriveTest, TheSecondLocationIsTheDirectoryAloneWithoutAnExtra) {
    link_directory_is("/links");
    EXPECT_EQ(location("G", nullptr), "/links/G /links/");
    EXPECT_EQ(location("/mnt/x", "extra"), "/mnt/x extra") << "an absolute name is its own";
    EXPECT_EQ(location("/mnt/x", nullptr), "/mnt/x ");
    std::filesystem::remove(folder_.path("config/map.conf"));
    unsetenv("HOME");
    EXPECT_EQ(location("G", "extra"), "G extra") << "so is any name without a directory";
    EXPECT_EQ(location("G", nullptr), "G ");
}

TEST_F(DriveTest, AValueThatDoesNotFitCountsAsNotRead) {
    link_directory_is("/" + std::string(254, 'd'));
    EXPECT_EQ(location("G", nullptr).size(), 255 + 2 + 1 + 256u);
    link_directory_is("/" + std::string(255, 'd'));
    EXPECT_EQ(location("G", nullptr), "/home/u/G /home/u/");
}

TEST_F(DriveTest, AnUnsetVariableIsReportedOnStandardOutput) {
    const struct {
        const char *value, *shown;
    } rows[] = {{"%DRIVE_TEST", "%DRIVE_TEST"}, {"%DRIVE_TEST/drives", "%DRIVE_TEST"}, {"%", "%"}, {"%/drives", "%"}};
    for (const auto &row : rows) {
        link_directory_is(row.value);
        testing::internal::CaptureStdout();
        EXPECT_EQ(location("G", "extra"), "G extra") << row.value;
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "Invalid environment variable(" + std::string(row.shown) + ")\n");
        EXPECT_EQ(output(), "");
    }
    link_directory_is("%DRIVE_TEST");
    testing::internal::CaptureStdout();
    EXPECT_EQ(location("/mnt/x", nullptr), "/mnt/x ");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Invalid environment variable(%DRIVE_TEST)\n");
}

TEST_F(DriveTest, AVariableMayBeEmpty) {
    setenv("DRIVE_TEST", "", 1);
    link_directory_is("%DRIVE_TEST");
    EXPECT_EQ(location("G", "extra"), "G extra");
    link_directory_is("%DRIVE_TEST/drives");
    EXPECT_EQ(location("G", "extra"), "/drives/G /drives/extra");
}

TEST_F(DriveTest, TheLocationIsTraced) {
    link_directory_is("/links");
    const auto look = [] { location("G", nullptr); };
    EXPECT_THAT(traces(5, look), HasSubstr("/links"));
    folder_.file("config/map.conf", "");
    EXPECT_THAT(traces(5, look), HasSubstr("Map_Link_Default_Location: not read"));
}

TEST_F(DriveTest, AMappingIsCutAtItsFirstSlashOrElseBackslash) {
    EXPECT_EQ(mapping("/home/u/G"), "no mapping") << "the list is empty";
    const struct {
        const char *link, *target, *mapping;
    } rows[] = {{"/home/u/A", "SRV1/SYS:a\\b/c", "SRV1 SYS:a\\b/c"},
                {"/home/u/B", "SRV1\\SYS:a\\b", "SRV1 SYS:a\\b"},
                {"/home/u/C", "A\\B/C", "A\\B C"},
                {"/home/u/D", "/", " "}};
    for (const auto &row : rows) spy::mapped_drive(row.link, row.target);
    for (const auto &row : rows) EXPECT_EQ(mapping(row.link), row.mapping);
    spy::mapped_drive("/HOME/u/a", "B/2");
    EXPECT_EQ(mapping("/home/U/a"), "SRV1 SYS:a\\b/c") << "in any letter case, and the first one counts";
    EXPECT_EQ(mapping("/home/u/G"), "no mapping") << "it is not in the list";
    EXPECT_EQ(output(), "");
}

TEST_F(DriveTest, AMappingWithoutASeparatorLeavesTheOutputsAlone) {
    spy::mapped_drive("/home/u/G", "SRV1");
    EXPECT_EQ(mapping("/home/u/G"), "untouched");
    char before = '\0';
    char *server = &before, *rest = &before;
    EXPECT_EQ(util_map_existing("/home/u/G", &server, &rest), 0);
    EXPECT_EQ(server, &before);
    EXPECT_EQ(rest, &before);
    EXPECT_EQ(util_map_existing("/home/u/H", &server, &rest), 1);
    EXPECT_EQ(server, &before);
    EXPECT_EQ(rest, &before);
}

TEST_F(DriveTest, AMappingMayBeAsLongAsTheBufferPassedToTheClient) {
    const std::string link(255, 'l'), rest(250, 'r');
    spy::mapped_drive(link, "SRV1/" + rest);
    EXPECT_EQ(mapping(link.c_str()), "SRV1 " + rest);
}

TEST_F(DriveTest, TheClientIsAskedForTheSizeFirst) {
    spy::mapped_drive("F", "SRV1/SYS:");
    spy::mapped_drive("G", "SRV1/SYS:");
    mapping("G");
    EXPECT_THAT(spy::calls(),
                ElementsAre("ZKGetMappedDrives(null, 0)", "ZKGetMappedDrives(buffer, 48)",
                            "ZKEnumMappedDrives(buffer, 0, 256, 256)", "ZKEnumMappedDrives(buffer, 1, 256, 256)"));
}

TEST_F(DriveTest, AFailingCallIsNoMapping) {
    spy::mapped_drive("F", "SRV1/SYS:");
    spy::mapped_drive("G", "SRV1/SYS:");
    for (int call = 1; call <= 4; ++call) {
        spy::mend();
        const int before = spy::call_count();
        spy::fail_call(before + call, ZKE_BAD_PARAMETER);
        EXPECT_EQ(mapping("G"), "no mapping") << "call " << call;
        EXPECT_EQ(spy::call_count() - before, call) << "none follows";
    }
}

TEST_F(DriveTest, NoMemoryForTheListIsTraced) {
    spy::mapped_drive("G", "SRV1/SYS:");
    const auto starved = [] {
        char *server = nullptr, *rest = nullptr;
        allocations_arm(1, false);
        EXPECT_EQ(util_map_existing("G", &server, &rest), 1);
        EXPECT_EQ(allocations_disarm(), 1);
    };
    EXPECT_THAT(traces(5, starved), HasSubstr("no memory for 32 bytes of mapped drives\n"));
    EXPECT_EQ(spy::calls("ZKGetMappedDrives"), (std::vector<std::string>{"ZKGetMappedDrives(null, 0)"}));
}

TEST_F(DriveTest, AListWithoutAnEndIsGivenUp) {
    spy::on_call([](const std::string &call) {
        if (call.rfind("ZKEnumMappedDrives", 0) == 0) spy::mapped_drive("F", "SRV1/SYS:");
    });
    EXPECT_EQ(mapping("G"), "no mapping");
    EXPECT_EQ(spy::calls("ZKEnumMappedDrives").size(), 100000U);
    spy::on_call({});
}

} // namespace
