#include "commands/file_spec.h"

#include "tests/unit/session_fixture.h"

namespace {

using FileSpecTest = NetworkFileTest;

TEST_F(FileSpecTest, EachFormReportsAMissingFileInItsWay) {
    const std::pair<const char *, const char *> rows[] = {
        {"SYS:LOGIN/X.TXT", "Unable to find file:(SYS/LOGIN//X.TXT)\n"},
        {"SYS:/LOGIN/X.TXT", "Unable to find file:(SYS//LOGIN/X.TXT)\n"},
        {"SRV1/SYS:/X.TXT", "Unable to find file:SRV1/SYS//X.TXT\n"},
        {"srv1/sys:/x.txt", "Unable to find file:SRV1/SYS//x.txt\n"},
        {"/X.TXT", "Unable to find file:/X.TXT\n"},
        {"\\\\SRV1\\SYS\\X.TXT", "Unable to Find : SRV1/SYS/\\X.TXT\n"},
    };
    for (const auto &[name, message] : rows) EXPECT_EQ(display(name), message) << name;
}

TEST_F(FileSpecTest, ServersAndVolumesMayBeReferencesAndJoinedWords) {
    setenv("FILE_SPEC_TEST", "a_b", 1);
    const std::pair<const char *, const char *> rows[] = {
        {"%<FILE_SPEC_TEST>:/x", "Unable to find file:(A_B//x)\n"},
        {"<FILE_SPEC_TEST>c:/x", "Unable to find file:(A_BC//x)\n"},
        {"my-vol * 1:/x", "Unable to find file:(MY-VOL*1//x)\n"},
        {"IF set:/x", "Unable to find file:(IFSET//x)\n"},
        {"srv1 / %<FILE_SPEC_TEST> :/x", "Unable to find file:SRV1/A_B//x\n"},
        {"\\\\srv1 \\%<FILE_SPEC_TEST>", "Invalid display command format\n"},
        {"SYS:MY FILE", "Unable to find file:(SYS/MY FILE)\n"},
    };
    for (const auto &[name, message] : rows) EXPECT_THAT(display(name), EndsWith(message)) << name;
    setenv("FILE_SPEC_TEST", "srv1", 1);
    EXPECT_EQ(display("%<FILE_SPEC_TEST>/sys:/x"), "Unable to find file:SRV1/SYS//x\n");
    EXPECT_EQ(display("\\\\%<FILE_SPEC_TEST>\\sys/x"), "Unable to Find : srv1/sys//x\n");
    unsetenv("FILE_SPEC_TEST");
}

TEST_F(FileSpecTest, OnlyAMissingFileOfADottedVolumeIsLookedForInTheDirectory) {
    EXPECT_EQ(display("SYS:/X"), "Unable to find file:(SYS//X)\n");
    network_file("SRV1/.VOL1.ACME/A/X", "on the default server");
    EXPECT_EQ(display(".vol1.acme:A/X"), "on the default server");
    EXPECT_THAT(spy::calls("ZKCLXInit"), IsEmpty());
}

TEST_F(FileSpecTest, AnEmptyFileCountsAsNotFound) {
    network_file("SRV1/SYS/EMPTY/X", "");
    EXPECT_EQ(get_file("SRV1", "SYS/EMPTY/X"), "(1)");
    EXPECT_EQ(display("SYS:/EMPTY/X"), "Unable to find file:(SYS//EMPTY/X)\n");
}

TEST_F(FileSpecTest, AFileInASkippedBranchIsLookedUpAllTheSame) {
    spy::forget_calls();
    for (const std::string statement : {"DISPLAY ", "FDISPLAY ", "INCLUDE "}) {
        run("IF \"a\" = \"b\" THEN\n" + statement + "SYS:/X\n" + statement + "SRV1/SYS:/X\n" + statement +
            "/nowhere/x\n" + statement + "\\\\SRV1\\SYS\\X\nEND\n");
        EXPECT_EQ(output(),
                  "Unable to find file:(SYS//X)\nUnable to find file:SRV1/SYS//X\n"
                  "Unable to find file:/nowhere/x\nUnable to Find : SRV1/SYS/\\X\n");
    }
    run("IF \"a\" = \"b\" THEN\nCOMSPEC=SYS:/X\nEND\n");
    EXPECT_EQ(output(), "Unable to find file:(SYS//X)\n");
}

TEST_F(FileSpecTest, NamesAreUpperCasedInPlaceAndPathsJoined) {
    OwnedText name = text("srv-1.Acme_x");
    char *const block = name.get();
    name = file_upper_case(std::move(name));
    EXPECT_EQ(name.get(), block);
    EXPECT_STREQ(name.get(), "SRV-1.ACME_X");
    EXPECT_STREQ(path_after_word(text("LOGIN"), text("/X.TXT")).get(), "LOGIN//X.TXT");
    EXPECT_STREQ(path_after_word(text("X.TXT"), text("")).get(), "X.TXT/");
    EXPECT_STREQ(path_after_word(text("MY"), text(" FILE")).get(), "MY FILE");
    EXPECT_STREQ(path_after_separator(text("LOGIN/X")).get(), "/LOGIN/X");
    EXPECT_STREQ(path_after_separator(text("")).get(), "/");
    EXPECT_STREQ(file_dotted(text("name"), text("path")).get(), "");
    EXPECT_EQ(output(), "");
    EXPECT_THAT(spy::calls(), IsEmpty());
}

class DriveLetterTest : public FileSpecTest {
  protected:
    DriveLetterTest() {
        folder_.file("config/map.conf", "Map_Link_Default_Location=/home/u\n");
        spy::server("SRV2");
        spy::authenticated("SRV2");
    }
};

TEST_F(DriveLetterTest, ADriveIsFollowedWhenTheDefaultServerHasNoSuchFile) {
    spy::mapped_drive("/home/u/F", "SRV2/DATA:users/jdoe");
    network_file("SRV2/DATA/users/jdoe/X.TXT", "on drive F");
    EXPECT_EQ(display("F:X.TXT"), "on drive F");
    EXPECT_EQ(display("f:X.TXT"), "on drive F");
    const std::vector<std::string> opened = spy::calls("ZKCCOpenConnByName");
    EXPECT_THAT(opened[0], HasSubstr("\"SRV1\""));
    EXPECT_THAT(opened[1], HasSubstr("\"SRV2\""));
}

TEST_F(DriveLetterTest, AnIncludeFollowsTheDriveToo) {
    spy::mapped_drive("/home/u/F", "SRV2/DATA:users/jdoe");
    network_file("SRV2/DATA/users/jdoe/X.TXT", "WRITE \"on drive F\"");
    EXPECT_EQ(run("INCLUDE F:X.TXT\n"), 0);
    EXPECT_EQ(output(), "on drive F\n");
}

TEST_F(DriveLetterTest, AnySingleCharacterIsADriveAPeriodToo) {
    spy::mapped_drive("/home/u/.", "SRV2/DATA:users");
    spy::mapped_drive("/home/u/7", "SRV2/DATA:more");
    EXPECT_EQ(display(".:/X.TXT"), "Unable to find file:(DATA/users//X.TXT)\n");
    EXPECT_EQ(display("7:/X.TXT"), "Unable to find file:(DATA/more//X.TXT)\n");
    EXPECT_THAT(spy::calls("ZKCLXInit"), IsEmpty()) << "no object is looked for";
}

TEST_F(DriveLetterTest, TheDefaultServersFileComesFirst) {
    spy::mapped_drive("/home/u/F", "SRV2/DATA:users/jdoe");
    network_file("SRV1/F/X.TXT", "on volume F");
    EXPECT_EQ(display("F:X.TXT"), "on volume F");
    EXPECT_THAT(spy::calls("ZKGetMappedDrives"), IsEmpty());
}

TEST_F(DriveLetterTest, OnlyTheFirstColonOfTheMappingIsReplaced) {
    spy::mapped_drive("/home/u/F", "SRV2/DATA:a:b");
    network_file("SRV2/DATA/a:b/X.TXT", "on drive F");
    EXPECT_EQ(display("F:X.TXT"), "on drive F");
}

TEST_F(DriveLetterTest, TheMessageShowsTheLastNameTried) {
    EXPECT_EQ(display("F:/X.TXT"), "Unable to find file:(F//X.TXT)\n");
    spy::mapped_drive("/home/u/F", "SRV2/DATA:users");
    EXPECT_EQ(display("F:/X.TXT"), "Unable to find file:(DATA/users//X.TXT)\n");
}

TEST_F(DriveLetterTest, WhatIsNoDriveIsNotFollowed) {
    spy::mapped_drive("/home/u/F", "nothing");
    EXPECT_EQ(display("F:/X.TXT"), "Unable to find file:(F//X.TXT)\n") << "a mapping without a separator";
    spy::forget_calls();
    spy::mapped_drive("/home/u/SYS", "SRV2/DATA:users");
    EXPECT_EQ(display("SYS:/X.TXT"), "Unable to find file:(SYS//X.TXT)\n") << "a longer volume";
    EXPECT_THAT(spy::calls("ZKGetMappedDrives"), IsEmpty());
}

} // namespace
