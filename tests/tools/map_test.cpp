#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "tests/support/site.h"

namespace {

using MapTest = Site;

void expect_refused(const Outcome &outcome, const std::string &sentence) {
    EXPECT_EQ(outcome, (Outcome{1, "", "map: " + sentence + "\n"}));
}

} // namespace

TEST_F(MapTest, MapsADriveAndSaysSo) {
    EXPECT_EQ(map({"H:=SRV1/USERS:home/jdoe"}), (Outcome{0, "Drive H: = SRV1/USERS:home/jdoe\n", ""}));
    EXPECT_EQ(link("H"), below("SRV1/USERS/home/jdoe"));
}

TEST_F(MapTest, EveryWayToNameATargetLeadsToItsFolder) {
    struct {
        Words words;
        const char *link, *folder;
    } const rows[] = {
        {{"h:=SRV1/USERS:home"}, "H", "SRV1/USERS/home"},
        {{"ROOT", "I:=SRV1/SYS:public"}, "I", "SRV1/SYS/public"},
        {{"root", "J:=SRV1/SYS:"}, "J", "SRV1/SYS"},
        {{"K:=SRV1\\SYS:public\\bin"}, "K", "SRV1/SYS/public/bin"},
        {{"L:=\\\\SRV2\\DATA\\apps"}, "L", "SRV2/DATA/apps"},
        {{"M:=//SRV2/DATA/apps/x"}, "M", "SRV2/DATA/apps/x"},
        {{"N:=SYS:public"}, "N", "SRV1/SYS/public"},
        {{"O:=.SRV2_DATA.acme:apps"}, "O", "SRV2/DATA/apps"},
        {{"P:=.APPS.sales.acme:bin"}, "P", "SRV2/DATA/apps/bin"},
        {{"Q:=.CN=APPS.OU=sales.O=acme:bin"}, "Q", "SRV2/DATA/apps/bin"},
        {{"R:", "=", "SRV1/SYS:my", "files"}, "R", "SRV1/SYS/my files"},
        {{"T:=\"SRV1/SYS:a, b\""}, "T", "SRV1/SYS/a, b"},
        {{"*1:=SRV1/SYS:"}, "F", "SRV1/SYS"},
        {{"*2:=srv1/sys:"}, "G", "SRV1/SYS"},
        {{"U:=SRV1/SYS:a//b/./c/../d/"}, "U", "SRV1/SYS/a/b/d"},
        {{"  V:=  SRV1/SYS:x \t "}, "V", "SRV1/SYS/x"},
        {{"W:=//SRV2/DATA"}, "W", "SRV2/DATA"},
        {{"X:=.TOOLS.acme:bin"}, "X", "SRV2/DATA/bin"},
        {{"A:=SRV1/SYS:"}, "A", "SRV1/SYS"},
        {{"a:=SRV2/DATA:"}, "A", "SRV2/DATA"},
        {{"Z:=SRV1/SYS:"}, "Z", "SRV1/SYS"},
        {{"z:=SRV2/DATA:"}, "Z", "SRV2/DATA"},
        {{"*10:=SRV2/DATA:ten"}, "O", "SRV2/DATA/ten"},
        {{"*21:=SRV2/DATA:last"}, "Z", "SRV2/DATA/last"},
        {{"NEXT", "ROOT", "SRV1/SYS:next"}, "B", nullptr},
        {{"NEXT", "ROOT", "SRV1/SYS:next"}, "S", "SRV1/SYS/next"},
    };
    addToTree("dn: cn=TOOLS,o=acme\nobjectClass: alias\ncn: TOOLS\naliasedObjectName: cn=SRV2_DATA,o=acme\n");
    for (const auto &row : rows) {
        Outcome outcome = map(row.words);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(link(row.link), row.folder != nullptr ? below(row.folder) : "") << row.words[0];
    }
}

TEST_F(MapTest, ObjectsAreFoundFromTheContextOfTheLogin) {
    environment["QRT_CONTEXT"] = "sales.acme";
    EXPECT_EQ(map({"G:=APPS:bin"}).out, "Drive G: = SRV2/DATA:apps/bin\n");
}

// A complete name stays one, also where the container's own name would continue it.
TEST_F(MapTest, ANameWithALeadingPeriodIsNotLookedUpInTheContextOfTheLogin) {
    addToTree(
        "dn: ou=acme,ou=sales,o=acme\nobjectClass: organizationalUnit\nou: acme\n\n"
        "dn: cn=SRV1_SYS,ou=acme,ou=sales,o=acme\nobjectClass: qrtVolume\ncn: SRV1_SYS\n"
        "qrtHostServer: cn=SRV2,o=acme\nqrtHostResourceName: DATA\n");
    environment["QRT_CONTEXT"] = "sales.acme";
    EXPECT_EQ(map({"G:=.SRV1_SYS.acme:x"}).out, "Drive G: = SRV1/SYS:x\n");
    EXPECT_EQ(map({"G:=SRV1_SYS.acme:x"}).out, "Drive G: = SRV2/DATA:x\n");
}

TEST_F(MapTest, TheTreeOfTheLoginIsUsed) {
    environment["QRT_TREE"] = "NOTREE";
    expect_refused(map({"G:=.APPS.sales.acme:bin"}), "cannot map drive G: to \".APPS.sales.acme:bin\": no such tree");
    site.write("client.toml", file_text(site.path("client.toml")) +
                                  "[[tree]]\nname = \"OTHER\"\nldif = \"other.ldif\"\ndefault_server = \"SRV9\"\n");
    site.write("other.ldif",
               "dn: o=other\nobjectClass: organization\no: other\n\n"
               "dn: cn=SRV9,o=other\nobjectClass: qrtServer\ncn: SRV9\n\n"
               "dn: cn=SRV9_SYS,o=other\nobjectClass: qrtVolume\ncn: SRV9_SYS\n"
               "qrtHostServer: cn=SRV9,o=other\nqrtHostResourceName: SYS\n");
    environment["QRT_TREE"] = "OTHER";
    EXPECT_EQ(map({"G:=.SRV9_SYS.other:bin"}).out, "Drive G: = SRV9/SYS:bin\n");
    EXPECT_EQ(map({"H:=SYS:public"}).out, "Drive H: = SRV9/SYS:public\n") << "on the tree's default server";
    environment["QRT_TREE"] = "";
    EXPECT_EQ(map({"G:=.APPS.sales.acme:bin"}).out, "Drive G: = SRV2/DATA:apps/bin\n");
}

TEST_F(MapTest, AVolumeOfThisMachineIsLinkedWhereTheConfigurationSaysSo) {
    site.make("users");
    const std::string volume =
        "[[volume]]\nserver = \"FS1\"\nname = \"USERS\"\nsource = \"" + site.path("users") + "\"\n";
    site.write("client.toml", "mount = \"link\"\n" + volume);
    EXPECT_EQ(map({"H:=FS1/USERS:"}).out, "Drive H: = FS1/USERS:\n");
    EXPECT_EQ(link("H"), site.path("users"));
    site.write("client.toml", volume);
    EXPECT_EQ(map({"G:=FS1/USERS:"}).out, "Drive G: = FS1/USERS:\n");
    EXPECT_EQ(link("G"), below("FS1/USERS"));
}

TEST_F(MapTest, ServersOutsideEveryTreeNeedNone) {
    std::string servers, items, said;
    // More of them than the client keeps connections for at a time.
    for (int number = 1; number <= 260; ++number) {
        const std::string name = "HOST" + std::to_string(number);
        servers += "[[server]]\nname = \"" + name + "\"\n";
        items += "H:=" + name + "/SYS:,";
        said += "Drive H: = " + name + "/SYS:\n";
    }
    site.write("client.toml", servers);
    items.pop_back();
    Outcome outcome = map({items});
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out, said);
}

// The longest target that is looked at: the directory's own names are no longer.
TEST_F(MapTest, AnOverlongTargetIsRefused) {
    const std::string longest(512, 'x');
    const std::string head = "cannot map drive H: to \"";
    const Outcome outcome = map({"H:=" + longest});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err.find("the name is too long"), std::string::npos) << outcome.err;
    expect_refused(map({"H:=" + longest + "x"}), head + longest + "x\": the name is too long");
}

TEST_F(MapTest, ADriveCanLeadBelowAnotherDrive) {
    map({"H:=SRV1/USERS:home"});
    EXPECT_EQ(map({"J:=H:jdoe"}).out, "Drive J: = SRV1/USERS:home/jdoe\n");
    EXPECT_EQ(map({"S1:=H:"}).out, "Drive S1: = SRV1/USERS:home\n");
    expect_refused(map({"J:=H"}),
                   "cannot map drive J: to \"H\": not SERVER/VOLUME:path, VOLUME:path or the name of an object");
}

TEST_F(MapTest, ChecksWithoutMapping) {
    EXPECT_EQ(map({"--check", "H:=SRV1/SYS:public,", "NEXT", "SRV2/DATA:apps,N:=H:nowhere"}).status, 0);
    const Outcome outcome = map({"--check", "H:=SRV1/NOVOL:,K:=SRV9/SYS:"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err,
              "map: cannot map drive H: to \"SRV1/NOVOL:\": no such volume on the server\n"
              "map: cannot map drive K: to \"SRV9/SYS:\": no such server\n");
    EXPECT_EQ(map({"--check", "X9:=SRV1/SYS:"}).status, 1);
    EXPECT_EQ(link("H"), "");
    // It needs no place for links.
    environment.erase("HOME");
    EXPECT_EQ(map({"--check", "H:=SRV1/SYS:public"}).status, 0);
}

TEST_F(MapTest, ANewMappingReplacesAnOldOne) {
    map({"H:=SRV1/USERS:home"});
    EXPECT_EQ(map({"H:=SRV2/DATA:apps"}).status, 0);
    EXPECT_EQ(link("H"), below("SRV2/DATA/apps"));
    size_t entries = 0;
    for (const auto &entry : std::filesystem::directory_iterator(home.path())) {
        EXPECT_EQ(entry.path().filename(), "H");
        ++entries;
    }
    EXPECT_EQ(entries, 1u); // nothing temporary is left
}

TEST_F(MapTest, SeveralMappingsStandBehindOneAnother) {
    EXPECT_EQ(map({"G:=SRV1/SYS:,", "H:=SRV2/DATA:apps;I:=SRV1/USERS:"}),
              (Outcome{0, "Drive G: = SRV1/SYS:\nDrive H: = SRV2/DATA:apps\nDrive I: = SRV1/USERS:\n", ""}));
    EXPECT_EQ(map({"DEL G: , DEL H:;\tNEXT SRV1/SYS:"}).out,
              "Drive G: is no longer mapped.\nDrive H: is no longer mapped.\nDrive F: = SRV1/SYS:\n");
}

TEST_F(MapTest, OneThatFailsDoesNotStopTheOthers) {
    Outcome outcome = map({"G:=NOSRV/SYS:,H:=SRV1/SYS:"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "Drive H: = SRV1/SYS:\n");
    EXPECT_EQ(link("G"), "");
}

// Where both go to the same place, as with 2>&1.
TEST_F(MapTest, WritesItsLinesInTheOrderOfTheMappings) {
    Outcome outcome = process_run({"/bin/sh", "-c", "exec \"$0\" \"$@\" 2>&1", MAP_PATH,
                                   "G:=SRV1/SYS:,H:=NOSRV/SYS:,I:=SRV1/USERS:,J:=NOSRV/SYS:"},
                                  environment);
    EXPECT_EQ(outcome.out,
              "Drive G: = SRV1/SYS:\n"
              "map: cannot map drive H: to \"NOSRV/SYS:\": no such server\n"
              "Drive I: = SRV1/USERS:\n"
              "map: cannot map drive J: to \"NOSRV/SYS:\": no such server\n");
}

TEST_F(MapTest, NextTakesTheFirstFreeLetterFromFOn) {
    map({"F:=SRV1/SYS:"});
    home.write("G", "a file of the user's own");
    EXPECT_EQ(map({"NEXT", "SRV1/USERS:"}).out, "Drive H: = SRV1/USERS:\n");
    EXPECT_EQ(map({"n", "SRV1/USERS:home"}).out, "Drive I: = SRV1/USERS:home\n");
}

// As a script does that runs at each login.
TEST_F(MapTest, NextForAPlaceThatHasALetterIsThatLetter) {
    map({"NEXT", "SRV1/USERS:"});
    map({"NEXT", "SRV1/SYS:"});
    EXPECT_EQ(map({"NEXT", "SRV1/USERS:"}).out, "Drive F: = SRV1/USERS:\n");
    EXPECT_EQ(link("H"), "");
    for (char letter = 'H'; letter <= 'Z'; ++letter) home.write(std::string(1, letter), "");
    EXPECT_EQ(map({"NEXT", "SRV1/SYS:"}).out, "Drive G: = SRV1/SYS:\n");
}

TEST_F(MapTest, NextTakesTheLastLetterAndIsRefusedWithoutAFreeOne) {
    for (char letter = 'F'; letter <= 'Y'; ++letter) home.write(std::string(1, letter), "");
    EXPECT_EQ(map({"NEXT", "SRV1/SYS:"}).out, "Drive Z: = SRV1/SYS:\n");
    expect_refused(map({"NEXT", "SRV1/USERS:"}), "no free drive letter");
    expect_refused(map({"NEXT", "NOSRV/SYS:"}), "no such server");
    EXPECT_EQ(map({"NEXT", "SRV1/SYS:"}).out, "Drive Z: = SRV1/SYS:\n") << "leads there already";
}

TEST_F(MapTest, InsertMovesTheFollowingPlacesOfTheSearchPath) {
    map({"S1:=SRV1/SYS:one"});
    map({"S2:=SRV1/SYS:two"});
    EXPECT_EQ(map({"INS", "S1:=SRV1/SYS:public,SRV2/DATA:apps"}).status, 0);
    EXPECT_EQ(link("S1"), below("SRV1/SYS/public"));
    EXPECT_EQ(link("S2"), below("SRV2/DATA/apps"));
    EXPECT_EQ(link("S3"), below("SRV1/SYS/one"));
    EXPECT_EQ(link("S4"), below("SRV1/SYS/two"));
}

TEST_F(MapTest, APlaceThatIsInTheSearchPathMoves) {
    map({"S1:=SRV1/SYS:one,SRV1/SYS:two,SRV1/SYS:three"});
    EXPECT_EQ(map({"INS", "S1:=SRV1/SYS:three"}).out, "Drive S1: = SRV1/SYS:three\n");
    EXPECT_EQ(link("S3"), below("SRV1/SYS/two"));
    EXPECT_EQ(map({"S9:=SRV1/SYS:one"}).out, "Drive S3: = SRV1/SYS:one\n");
    EXPECT_EQ(link("S2"), below("SRV1/SYS/two"));
    EXPECT_EQ(map({"S1:=SRV1/SYS:two"}).out, "Drive S1: = SRV1/SYS:two\n");
    EXPECT_EQ(link("S2"), below("SRV1/SYS/one"));
    EXPECT_EQ(link("S3"), "");
}

TEST_F(MapTest, ALoginADayFillsNoSearchPath) {
    for (int day = 1; day <= 20; ++day) {
        EXPECT_EQ(map({"INS", "S1:=SRV1/SYS:one,SRV1/SYS:two"}).status, 0);
        EXPECT_EQ(map({"S16:=SRV1/SYS:three"}).status, 0);
    }
    EXPECT_EQ(link("S1"), below("SRV1/SYS/one"));
    EXPECT_EQ(link("S2"), below("SRV1/SYS/two"));
    EXPECT_EQ(link("S3"), below("SRV1/SYS/three"));
    EXPECT_EQ(link("S4"), "");
}

TEST_F(MapTest, APlaceBeyondTheEndIsTheOneAfterTheLast) {
    EXPECT_EQ(map({"S9:=SRV1/SYS:one"}).out, "Drive S1: = SRV1/SYS:one\n");
    EXPECT_EQ(map({"s9:=SRV1/SYS:two"}).out, "Drive S2: = SRV1/SYS:two\n");
    EXPECT_EQ(map({"X9:=SRV1/SYS:three"}).status, 1) << "no other letter has places";
    EXPECT_EQ(link("S3") + link("S9"), "");
}

TEST_F(MapTest, RemovingAPlaceLeavesNoGap) {
    map({"S1:=SRV1/SYS:one,SRV1/SYS:two,SRV1/SYS:three"});
    EXPECT_EQ(map({"DEL", "S2:"}).out, "Drive S2: is no longer mapped.\n");
    EXPECT_EQ(link("S2"), below("SRV1/SYS/three"));
    EXPECT_EQ(link("S3"), "");
}

TEST_F(MapTest, AFullSearchPathRefusesOneMore) {
    for (int place = 1; place <= 9; ++place)
        plant("S" + std::to_string(place), below("SRV1/SYS/" + std::to_string(place)));
    for (int place = 10; place <= 16; ++place) {
        const std::string name = "S" + std::to_string(place);
        EXPECT_EQ(map({name + ":=SRV1/SYS:" + std::to_string(place)}).status, 0);
        EXPECT_EQ(link(name), below("SRV1/SYS/" + std::to_string(place)));
    }
    expect_refused(map({"INS", "S1:=SRV1/SYS:"}), "the search path is full");
    EXPECT_EQ(link("S16"), below("SRV1/SYS/16"));
    EXPECT_EQ(map({"s16:=SRV1/SYS:new"}).out, "Drive S16: = SRV1/SYS:new\n");
}

TEST_F(MapTest, ASeventeenthPlaceIsNoneOfTheSearchPath) {
    plant("S1", below("SRV1/SYS/one"));
    plant("S17", below("SRV1/SYS/seventeen"));
    EXPECT_EQ(map({}).out, "No drives are mapped.\nSearch path\nS1:  SRV1/SYS:one\n");
    EXPECT_EQ(map({"INS", "S1:=SRV1/SYS:two"}).status, 0);
    EXPECT_EQ(link("S17"), below("SRV1/SYS/seventeen"));
}

// Each link that is made anew could fail, and lose its place.
TEST_F(MapTest, PlacesThatStayAreNotMadeAnew) {
    map({"S1:=SRV1/SYS:one,SRV1/SYS:two"});
    struct stat before = {};
    struct stat after = {};
    ASSERT_EQ(lstat(home.path("S1").c_str(), &before), 0);
    EXPECT_EQ(map({"S3:=SRV1/SYS:three"}).status, 0);
    ASSERT_EQ(lstat(home.path("S1").c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_ctim.tv_nsec, before.st_ctim.tv_nsec);
}

TEST_F(MapTest, DelRemovesMappings) {
    map({"G:=SRV1/SYS:,H:=SRV1/SYS:,I:=SRV1/SYS:"});
    plant("S2", below("SRV1/SYS/two"));
    EXPECT_EQ(map({"DEL", "g:,H:"}),
              (Outcome{0, "Drive G: is no longer mapped.\nDrive H: is no longer mapped.\n", ""}));
    EXPECT_EQ(link("G") + link("H"), "");
    EXPECT_EQ(link("I"), below("SRV1/SYS"));
    EXPECT_EQ(link("S2"), below("SRV1/SYS/two")) << "the search path is left alone";
}

TEST_F(MapTest, AloneItListsDrivesAndSearchPath) {
    map({"H:=SRV1/USERS:home/jdoe,A:=SRV1/SYS:,Z:=SRV2/DATA:,S1:=SRV1/SYS:public,SRV2/DATA:apps"});
    plant("K", "/etc");
    EXPECT_EQ(map({}), (Outcome{0,
                                "Drives\n"
                                "A:   SRV1/SYS:\n"
                                "H:   SRV1/USERS:home/jdoe\n"
                                "Z:   SRV2/DATA:\n"
                                "Search path\n"
                                "S1:  SRV1/SYS:public\n"
                                "S2:  SRV2/DATA:apps\n",
                                ""}));
}

TEST_F(MapTest, ADriveAloneIsShown) {
    EXPECT_EQ(map({}).out, "No drives are mapped.\n");
    map({"H:=SRV1/USERS:home"});
    EXPECT_EQ(map({"h:"}).out, "Drive H: = SRV1/USERS:home\n");
    expect_refused(map({"G:"}), "drive G: is not mapped");
}

TEST_F(MapTest, DisplayAndErrorsApplyToTheRestOfTheLine) {
    Outcome outcome = map({"DISPLAY OFF,G:=SRV1/SYS:,DISPLAY ON,H:=SRV1/SYS:"});
    EXPECT_EQ(outcome.out, "Drive H: = SRV1/SYS:\n");
    EXPECT_EQ(link("G"), below("SRV1/SYS"));
    outcome = map({"errors", "off,I:=NOSRV/SYS:"});
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(map({"DISPLAY OFF,DEL G:"}).out, "");
    EXPECT_EQ(link("G"), "");
}

TEST_F(MapTest, DisplayAndErrorsAreIndependent) {
    const std::string refusal = "cannot map drive I: to \"NOSRV/SYS:\": no such server";
    expect_refused(map({"DISPLAY OFF,I:=NOSRV/SYS:"}), refusal);
    EXPECT_EQ(map({"ERRORS OFF,H:=SRV1/SYS:"}), (Outcome{0, "Drive H: = SRV1/SYS:\n", ""}));
    expect_refused(map({"ERRORS OFF,I:=NOSRV/SYS:,ERRORS ON,I:=NOSRV/SYS:"}), refusal);
}

TEST_F(MapTest, RefusalsNameTheReason) {
    const struct {
        Words words;
        const char *sentence;
    } rows[] = {
        {{"H:=NOSRV/SYS:"}, "cannot map drive H: to \"NOSRV/SYS:\": no such server"},
        {{"H:=SRV1/NOVOL:x"}, "cannot map drive H: to \"SRV1/NOVOL:x\": no such volume on the server"},
        {{"H:=SRV1/SYS:../../x"}, "cannot map drive H: to \"SRV1/SYS:../../x\": the path leads outside the volume"},
        {{"H:=SRV1/SYS:a\\..\\.."}, "cannot map drive H: to \"SRV1/SYS:a\\..\\..\": the path leads outside the volume"},
        {{"H:=//SRV1"}, "cannot map drive H: to \"//SRV1\": no volume after the server name"},
        {{"HH:"}, "no drive given for \"HH:\""},
        {{"H"}, "no drive given for \"H\""},
        {{"H:=SRV1/SYS:,SRV1/SYS:x"}, "no drive given for \"SRV1/SYS:x\""},
        {{"S1:,SRV1/SYS:x"}, "no drive given for \"SRV1/SYS:x\""},
        {{"DEL S1:,SRV1/SYS:x"}, "no drive given for \"SRV1/SYS:x\""},
        {{"DISPLAY OFF,SRV1/SYS:x"}, "no drive given for \"SRV1/SYS:x\""},
        {{"S1:=SRV1/SYS:,INS SRV1/SYS:x"}, "no drive given for \"SRV1/SYS:x\""},
        {{"S1:=SRV1/SYS:,DEL SRV1/SYS:x"}, "no drive given for \"SRV1/SYS:x\""},
        {{"NEXT", "H:=SRV1/SYS:"}, "NEXT takes only a target, not drive H:"},
        {{"NEXT", "H:"}, "NEXT takes only a target, not drive H:"},
        {{"INS", "S1:"}, "INS takes a search drive and a target, as in INS S1:=SRV1/SYS:public"},
        {{"NEXT", "NOSRV/SYS:"}, "cannot map drive F: to \"NOSRV/SYS:\": no such server"},
        {{"H:=///SYS/x"},
         "cannot map drive H: to \"///SYS/x\": not SERVER/VOLUME:path, VOLUME:path or the name of an object"},
        {{"H:=//SRV1//x"},
         "cannot map drive H: to \"//SRV1//x\": not SERVER/VOLUME:path, VOLUME:path or the name of an object"},
        {{"H:="}, "no target given for drive H:"},
        {{"SRV1/SYS:public"}, "no drive given for \"SRV1/SYS:public\""},
        {{"INS", "H:=SRV1/SYS:"}, "INS takes a search drive and a target, as in INS S1:=SRV1/SYS:public"},
        {{"DEL", "H:=SRV1/SYS:"}, "DEL takes only a drive"},
        {{"DEL", "H:"}, "cannot unmap drive H: not mapped"},
        {{"DISPLAY", "MAYBE"}, "DISPLAY and ERRORS take ON or OFF"},
        {{"G:=SRV1/SYS:,,"}, "missing drive or target next to a comma or after a keyword"},
    };
    for (const auto &row : rows) expect_refused(map(row.words), row.sentence);
    for (const std::string drive : {"HH:", "S17:", "S0:", "*22:", "../x:", "S100:", "S001:", "S1x:", "S1/:", "*1x:",
                                    "*0:", "*:", "@:", "[:", "`:", "{:", ":"})
        expect_refused(map({drive + "=SRV1/SYS:"}),
                       "\"" + drive + "\" is not a drive: use a letter, S1 to S16 or *1 to *21");
    EXPECT_TRUE(std::filesystem::is_empty(home.path()));
}

TEST_F(MapTest, ControlCharactersLeadNowhere) {
    const std::string path = "the path contains a control character", name = "invalid server or volume name";
    struct {
        const char *target, *shown;
        std::string reason;
    } const rows[] = {
        {"SRV1/SYS:a\x01", "SRV1/SYS:a\\x01", path},
        {"SRV1/SYS:\x1F/b", "SRV1/SYS:\\x1F/b", path},
        {"SRV1/SYS:a\n", "SRV1/SYS:a\\x0A", path},
        {"SRV1/SYS:a\x7F"
         "b",
         "SRV1/SYS:a\\x7Fb", path},
        {"//SRV1/SYS/a\x1B[2Jb", "//SRV1/SYS/a\\x1B[2Jb", path},
        {"SRV1/S\x1BYS:a", "SRV1/S\\x1BYS:a", "no such volume on the server"},
        {"ANYSRV/V\x7FOL:a", "ANYSRV/V\\x7FOL:a", name},
        {"ANYSRV/V\x1FOL:a", "ANYSRV/V\\x1FOL:a", name},
    };
    site.write("client.toml", file_text(site.path("client.toml")) + "[[server]]\nname = \"ANYSRV\"\n");
    for (const auto &row : rows)
        expect_refused(map({std::string("H:=") + row.target}),
                       "cannot map drive H: to \"" + std::string(row.shown) + "\": " + row.reason);
    EXPECT_EQ(map({"H:=SRV1/SYS:a b\xC3\xA9~"}).out, "Drive H: = SRV1/SYS:a b\xC3\xA9~\n") << "these are none";
    for (const char *folder : {"SRV1/SYS/a\x1F", "SRV1/SYS/a\x7F", "SR\x01V1/SYS", "SRV1/SY\nS/a", "SRV1", "SRV1/",
                               "SRV1/..", "SRV1/SYS/a/..", "SRV1/SY\\S", "./SYS"}) {
        plant("J", below(folder));
        EXPECT_EQ(map({"J:"}).status, 1) << "such a link is not a drive's";
        unlink(home.path("J").c_str());
    }
}

// Each stands for one folder below the mount point.
TEST_F(MapTest, NamesOfServersAndVolumesThatAreNoFoldersAreRefused) {
    site.write("client.toml", file_text(site.path("client.toml")) + "[[server]]\nname = \"ANYSRV\"\n");
    for (const char *volume : {"A/B", "A\\B", ".."}) {
        const std::string name = "V" + std::to_string(strlen(volume)) + (volume[1] == '/' ? "s" : "b");
        addToTree("dn: cn=" + name + ",o=acme\nobjectClass: qrtVolume\ncn: " + name +
                  "\nqrtHostServer: cn=SRV1,o=acme\nqrtHostResourceName: " + volume + "\n");
        expect_refused(map({"H:=." + name + ".acme:x"}),
                       "cannot map drive H: to \"." + name + ".acme:x\": invalid server or volume name");
    }
    for (const char *target : {"ANYSRV/..:x", "ANYSRV/.:x"})
        expect_refused(map({std::string("H:=") + target}),
                       "cannot map drive H: to \"" + std::string(target) + "\": invalid server or volume name");
}

// C1's characters may stand in names of folders; a terminal never sees them as they are.
TEST_F(MapTest, NamesAreShownWithoutWhatATerminalWouldObey) {
    const std::string shown = "SRV1/SYS:a\\xC2\\x9B\\x9Bb \xC3\x96\xE2\x82\xAC\n";
    EXPECT_EQ(map({"H:=SRV1/SYS:a\xC2\x9B\x9B"
                   "b \xC3\x96\xE2\x82\xAC"})
                  .out,
              "Drive H: = " + shown);
    EXPECT_EQ(map({"H:"}).out, "Drive H: = " + shown);
    EXPECT_EQ(map({}).out, "Drives\nH:   " + shown);
    expect_refused(map({"\x1B]0\x07:=SRV1/SYS:"}),
                   "\"\\x1B]0\\x07:\" is not a drive: use a letter, S1 to S16 or *1 to *21");
}

TEST_F(MapTest, WhatIsNotADrivesLinkIsNeverReplacedOrRemoved) {
    plant("G", site.path("acme.ldif"));
    plant("I", below("../../etc"));
    plant("J", "/mnt/brasca-other/x/SRV1/SYS");
    home.write("H", "a file of the user's own");
    std::filesystem::create_directory(home.path("K"));
    for (const std::string name : {"G", "H", "I", "J", "K"}) {
        const std::string reason = home.path(name) + " is not a drive link and was left unchanged";
        expect_refused(map({name + ":=SRV1/SYS:"}), "cannot map drive " + name + ": " + reason);
        expect_refused(map({"DEL", name + ":"}), "cannot unmap drive " + name + ": " + reason);
    }
    EXPECT_EQ(link("G"), site.path("acme.ldif"));
    EXPECT_EQ(link("I"), below("../../etc"));
    EXPECT_EQ(file_text(home.path("H")), "a file of the user's own");
    EXPECT_TRUE(std::filesystem::is_directory(home.path("K")));
}

TEST_F(MapTest, APlaceOfTheSearchPathThatIsTakenByAFileLosesNoOther) {
    map({"S1:=SRV1/SYS:one"});
    home.write("S2", "a file of the user's own");
    EXPECT_EQ(map({"INS", "S1:=SRV1/SYS:two"}).status, 1);
    EXPECT_EQ(link("S1"), below("SRV1/SYS/one"));
    EXPECT_EQ(file_text(home.path("S2")), "a file of the user's own");
}

TEST_F(MapTest, ALinkDirectoryThatIsALinkIsRefused) {
    TempFolder elsewhere;
    std::filesystem::create_directory_symlink(elsewhere.path(), home.path("drives"));
    environment["HOME"] = home.path("drives");
    EXPECT_EQ(map({"H:=SRV1/SYS:"}).status, 1);
    EXPECT_TRUE(std::filesystem::is_empty(elsewhere.path()));
}

// map's sentence on a directory of the drives that others can write in, but for the path.
std::string shared_sentence(const std::string &path) {
    return "the directory for the drive links, " + path +
           ", is writable by other users: run chmod go-w on it, or set HOME or map.conf to another one";
}

TEST_F(MapTest, ADirectoryThatOthersCanWriteInIsRefused) {
    map({"H:=SRV1/USERS:"});
    for (mode_t mode : {0777, 01777, 0702}) {
        ASSERT_EQ(chmod(home.path().c_str(), mode), 0);
        for (const Words &words : {Words{}, {"H:"}, {"H:=SRV1/SYS:"}, {"DEL", "H:"}})
            expect_refused(map(words), shared_sentence(home.path()));
        EXPECT_EQ(link("H"), below("SRV1/USERS"));
    }
    ASSERT_EQ(chmod(home.path().c_str(), 0755), 0);
    EXPECT_EQ(map({"H:=SRV1/SYS:"}).status, 0);
}

// Most systems give each user a group of his own, for files that are made with the group's right to write.
TEST_F(MapTest, AGroupCountsAsOthersUnlessItIsTheUsersPrivateOne) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a directory to any group";
    ASSERT_EQ(chmod(home.path().c_str(), 0770), 0);
    EXPECT_EQ(map({"H:=SRV1/SYS:"}).status, 0) << "root's group of the same name has no other member";
    ASSERT_EQ(chown(home.path().c_str(), 0, 65534), 0);
    expect_refused(map({"H:=SRV1/SYS:"}), shared_sentence(home.path()));
}

// An access list gives rights to others that the mode shows as the group's.
TEST_F(MapTest, AnAccessListGivesOthersTheGroupsRights) {
    if (geteuid() != 0) GTEST_SKIP() << "root's group is known to be private";
    // Version 2; rwx for owner, user 65534 and mask, nothing for group and others: tag, rights, id.
    const unsigned char list[] = {2, 0,    0,    0,    1,    0,    7,    0, 0xff, 0xff, 0xff, 0xff, 2,    0,    7,
                                  0, 0xfe, 0xff, 0,    0,    4,    0,    0, 0,    0xff, 0xff, 0xff, 0xff, 0x10, 0,
                                  7, 0,    0xff, 0xff, 0xff, 0xff, 0x20, 0, 0,    0,    0xff, 0xff, 0xff, 0xff};
    if (setxattr(home.path().c_str(), "system.posix_acl_access", list, sizeof list, 0) != 0)
        GTEST_SKIP() << "no access lists here: " << strerror(errno);
    expect_refused(map({"H:=SRV1/SYS:"}), shared_sentence(home.path()));
}

TEST_F(MapTest, AnotherUsersDirectoryIsRefused) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a directory away";
    ASSERT_EQ(chown(home.path().c_str(), 65534, 65534), 0);
    for (const Words &words : {Words{}, {"H:=SRV1/SYS:"}})
        expect_refused(map(words), "the directory for the drive links, " + home.path() +
                                       ", belongs to another user: set HOME or map.conf to one of your own");
    EXPECT_EQ(link("H"), "");
}

TEST_F(MapTest, ALinkThatAnotherUserMadeIsNoDrive) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a link away";
    map({"H:=SRV1/USERS:"});
    ASSERT_EQ(lchown(home.path("H").c_str(), 65534, 65534), 0);
    EXPECT_EQ(map({}).out, "No drives are mapped.\n");
    expect_refused(map({"H:"}), "drive H: is not mapped");
    const std::string reason = "the link " + home.path("H") + " was made by another user: remove it with rm";
    expect_refused(map({"H:=SRV1/SYS:"}), "cannot map drive H: " + reason);
    expect_refused(map({"DEL", "H:"}), "cannot unmap drive H: " + reason);
    EXPECT_EQ(link("H"), below("SRV1/USERS"));
}

TEST_F(MapTest, AMissingLinkDirectoryIsMade) {
    environment["HOME"] = home.path("drives");
    EXPECT_EQ(map({"H:=SRV1/SYS:"}).status, 0);
    EXPECT_EQ(link("drives/H"), below("SRV1/SYS"));
}

TEST_F(MapTest, SlashesAtTheEndOfTheLinkDirectoryAreNotShown) {
    environment["HOME"] = home.path() + "//";
    plant("G", "/etc");
    expect_refused(map({"DEL", "G:"}),
                   "cannot unmap drive G: " + home.path("G") + " is not a drive link and was left unchanged");
    environment["HOME"] = "/";
    expect_refused(map({"H:"}), geteuid() == 0 ? "drive H: is not mapped"
                                               : "the directory for the drive links, /, belongs to another user: set "
                                                 "HOME or map.conf to one of your own");
}

// As a user of whom nothing is known but the number, who is not root either.
TEST_F(MapTest, AUserWithoutANameHasAFolderOfTheMountPoint) {
    const auto mapped = [&](const std::string &item) {
        return process_run({"/usr/bin/unshare", "-U", "--map-user=4242", MAP_PATH, item}, environment);
    };
    if (process_run({"/usr/bin/unshare", "-U", "--map-user=4242", "/bin/true"}, environment).status != 0)
        GTEST_SKIP() << "no user namespace here";
    EXPECT_EQ(mapped("H:=SRV1/SYS:").err, "");
    EXPECT_EQ(link("H"), "/mnt/brasca/user/SRV1/SYS");
    EXPECT_EQ(mapped("H:").out, "Drive H: = SRV1/SYS:\n");
    ASSERT_EQ(chmod(home.path().c_str(), 0500), 0);
    for (const std::string name : {"G", "H"})
        expect_refused(mapped(name + ":=SRV2/DATA:"),
                       "cannot map drive " + name + ": cannot create link " + home.path(name) + ": Permission denied");
    expect_refused(mapped("DEL H:"),
                   "cannot unmap drive H: cannot remove link " + home.path("H") + ": Permission denied");
    chmod(home.path().c_str(), 0700);
}

TEST_F(MapTest, WithoutALinkDirectoryItSaysSo) {
    environment.erase("HOME");
    expect_refused(map({}), "no directory for the drive links: neither map.conf nor HOME names one");
    environment["HOME"] = home.path("missing/drives");
    expect_refused(map({}), "cannot use " + home.path("missing/drives") +
                                " as the directory for the drive links: No such file or directory");
    environment["HOME"] = "relative";
    expect_refused(map({}), "the directory for the drive links is not an absolute path: relative");
}

TEST_F(MapTest, AConfigurationThatCannotBeReadIsReported) {
    site.write("acme.ldif", "dn: o=acme\nthis is no attribute\n");
    Outcome outcome = map({"H:=SRV1/SYS:"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("acme.ldif:2"), std::string::npos) << outcome.err;
}

TEST_F(MapTest, AServerThatCannotBeReachedIsReported) {
    site.write("client.toml", "[[tree]]\nname = \"FAR\"\nuris = [\"ldap://127.0.0.1:1\"]\nbase = \"o=acme\"\n");
    expect_refused(map({"H:=.APPS.sales.acme:bin"}),
                   "cannot map drive H: to \".APPS.sales.acme:bin\": cannot read the directory: "
                   "ldap://127.0.0.1:1: cannot connect: Connection refused");
}

// A code that has no words of its own.
TEST_F(MapTest, APathThatNoProgramHasRoomForIsRefused) {
    const std::string target = "SRV1/SYS:" + std::string(256, 'x');
    expect_refused(map({"H:=" + target}),
                   "cannot map drive H: to \"" + target + "\": the directory client returned error code 4294959137");
}

// The sentence is as long as the name of a file in it.
TEST_F(MapTest, AnOverlongSentenceIsCut) {
    const std::string name(3000, 'n');
    site.write("acme.ldif", "dn: o=acme\no:< file:" + name + "\n");
    Outcome outcome = map({"H:=SRV1/SYS:"});
    std::error_code none;
    const std::string folder = std::filesystem::canonical(site.path(), none).string() + "/";
    const std::string sentence = "acme.ldif:2: cannot open " + folder + name;
    expect_refused(outcome,
                   "cannot map drive H: to \"SRV1/SYS:\": cannot read the directory: " + sentence.substr(0, 1023));
}

TEST_F(MapTest, HelpIsWrittenToStandardOutput) {
    Outcome outcome = map({"--help"});
    EXPECT_EQ(outcome.out.substr(0, 36), "Usage: map [ITEM[, ITEM]...]\nList, c");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, 0);
}

// Installed, it finds its catalogues from its own place.
TEST_F(MapTest, SpeaksThePersonsLanguage) {
    std::filesystem::create_directory(site.path("bin"));
    std::filesystem::copy(MAP_PATH, site.path("bin/map"));
    const std::string catalogues = site.path("bin/" LOCALE_FROM_PROGRAMS);
    std::filesystem::create_directories(std::filesystem::path(catalogues).lexically_normal());
    std::filesystem::copy(BINARY_DIR "/locale", catalogues, std::filesystem::copy_options::recursive);
    environment["LD_LIBRARY_PATH"] = BINARY_DIR;
    environment["LC_ALL"] = "C.UTF-8";
    environment["LANGUAGE"] = "de";
    Outcome outcome = process_run({site.path("bin/map")}, environment);
    EXPECT_EQ(outcome.out, "Es sind keine Laufwerke zugeordnet.\n");
    EXPECT_EQ(outcome.err, "");
}

// With the network file system mounted the target must be there. The mount point is at a fixed place, so this runs in a
// mount namespace of its own.
class MountedMapTest : public MapTest {
  protected:
    Outcome mappedWithMount(const std::string &target) {
        return process_run({"/usr/bin/unshare", "-Urm", "/bin/sh", "-c",
                            "mount -t tmpfs none /mnt && mkdir -p /mnt/brasca/root/SRV1/SYS/public && "
                            "echo > /mnt/brasca/root/SRV1/SYS/file && exec \"$0\" \"$1\"",
                            MAP_PATH, target},
                           environment);
    }
    void SetUp() override {
        Outcome trial =
            process_run({"/usr/bin/unshare", "-Urm", "/bin/mount", "-t", "tmpfs", "none", "/mnt"}, environment);
        if (trial.status != 0) GTEST_SKIP() << "no private mount namespace here: " << trial.err;
    }
};

TEST_F(MountedMapTest, AFolderThatIsThereIsMappedAndNothingElse) {
    expect_refused(mappedWithMount("H:=SRV1/SYS:missing"),
                   "cannot map drive H: to \"SRV1/SYS:missing\": no such directory: SRV1/SYS:missing");
    EXPECT_EQ(mappedWithMount("H:=SRV1/SYS:file").status, 1);
    EXPECT_EQ(link("H"), "");
    EXPECT_EQ(mappedWithMount("H:=SRV1/SYS:public").out, "Drive H: = SRV1/SYS:public\n");
    EXPECT_EQ(link("H"), "/mnt/brasca/root/SRV1/SYS/public");
}
