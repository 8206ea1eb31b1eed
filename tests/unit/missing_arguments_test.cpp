// What the exported functions make of arguments that a caller should not leave out, and of answers that contain
// nothing: they come back with the code, or the text, of nothing found.
#include <fcntl.h>

#include <csignal>

#include "base/output.h"
#include "base/words.h"
#include "commands/drive.h"
#include "commands/program.h"
#include "run/lifecycle.h"
#include "tests/unit/session_fixture.h"

namespace {

class MissingArgumentsTest : public NetworkFileTest {
  protected:
    static std::string attribute(const char *name) {
        char *value = nullptr;
        const uint32_t code = qrt_GetAttribute(handle, "jdoe.acme", name, &value);
        return std::to_string(code) + " " + taken(value);
    }
};

TEST_F(MissingArgumentsTest, ANullEmptiesWhatItIsSetToButTheContext) {
    qrt_SetCurrentObject("jdoe");
    qrt_SetLoginName("jdoe");
    EXPECT_EQ(qrt_SetCurrentObject(nullptr), nullptr);
    EXPECT_EQ(qrt_SetLoginName(nullptr), nullptr);
    EXPECT_EQ(qrt_SetInitialContext(nullptr), nullptr);
    EXPECT_EQ(CurrentObject, nullptr);
    EXPECT_EQ(LoginName, nullptr);
    const std::vector<std::string> texts = trace_texts(9, [] {
        qrt_SetCurrentObject(nullptr);
        qrt_SetLoginName(nullptr);
        qrt_SetInitialContext(nullptr);
        qrt_GetCurrentTree();
    });
    EXPECT_THAT(texts, ElementsAre("entering qrt_SetCurrentObject()", "entering qrt_SetLoginName()",
                                   "entering qrt_SetInitialContext()", "qrt_GetCurrentTree returned ()"));
    set(CurrentContext, ".acme");
    EXPECT_EQ(qrt_SetCurrentContext(nullptr), 0);
    EXPECT_STREQ(CurrentContext, ".acme");
    EXPECT_EQ(output(), "");
}

TEST_F(MissingArgumentsTest, ANullNameHasNoPartsAndNoDelimiter) {
    char out[4] = "old";
    EXPECT_EQ(qrt_abbrivateName(nullptr, out, 3), 0);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(qrt_abbrivateName("a.b", nullptr, 3), 0);
    char parent[514] = "x", leaf[514] = "x";
    EXPECT_EQ(qrt_DSRemoveNameFromFullName(nullptr, parent, leaf, nullptr), leaf);
    EXPECT_STREQ(parent, "[Root]");
    EXPECT_STREQ(leaf, "");
    EXPECT_EQ(qrt_DSFindDelimiter(nullptr, "."), nullptr);
    EXPECT_EQ(qrt_DSFindDelimiter("a.b", nullptr), nullptr);
}

TEST_F(MissingArgumentsTest, WithoutAStreamNothingIsWritten) {
    fdr = nullptr;
    EXPECT_EQ(say("Not logged into tree\n"), 0);
    output_put("text");
    close(0);
    EXPECT_EQ(qrt_exit(), 0);
    const int null = open("/dev/null", O_RDWR);
    if (null != 0) {
        dup2(null, 0);
        close(null);
    }
    fdr = stream_;
    EXPECT_EQ(output(), "");
    EXPECT_STREQ(output_translate(""), "");
}

TEST_F(MissingArgumentsTest, WithoutAStreamTheAbortStillEndsTheProcess) {
    qrt_init(nullptr, stream_);
    fdr = nullptr;
    bcntrlc = 1;
    EXPECT_EXIT(raise(SIGINT), ExitedWithCode(0), "^$");
    signal(SIGINT, SIG_DFL);
    EXPECT_EQ(output(), "");
}

// The messages that go to the process's own standard output, into a pipe that nobody reads any more.
TEST_F(MissingArgumentsTest, AStandardOutputWithoutAReaderDoesNotEndTheCaller) {
    folder_.file("config/map.conf", "Map_Link_Default_Location=%NOT_SET_AT_ALL/x\n");
    const auto write_messages = [] {
        int ends[2];
        if (pipe(ends) != 0 || dup2(ends[1], STDOUT_FILENO) < 0) _exit(9);
        close(ends[0]);
        getQuote(nullptr);
        prescanForQuotedStrings(nullptr);
        char *link = nullptr, *second = nullptr;
        util_map_location("F", nullptr, &link, &second);
        char server[49], volume[514], path[514];
        orbispec("none.acme", server, volume, path);
        _exit(ferror(stdout) != 0 ? 0 : 8);
    };
    EXPECT_EXIT(write_messages(), ExitedWithCode(0), "");
}

TEST_F(MissingArgumentsTest, WithoutAStreamAProgramKeepsTheCallersOutput) {
    folder_.script("leave", "exit 3");
    fdr = nullptr;
    EXPECT_EQ(execute_command("leave"), 3);
}

TEST_F(MissingArgumentsTest, ANullTextIsNotReadIncludedOrALabel) {
    EXPECT_EQ(qrt_readLoginScriptFromFile(nullptr), nullptr);
    lex_addBuffer("x\nA:\n");
    EXPECT_EQ(lex_IncludeFile(nullptr), 0);
    EXPECT_STREQ(lex_activeBuffer()->data, "x\nA:\n");
    EXPECT_EQ(lex_goto(nullptr), 1);
    lex_free_active_buffer();
    lex_free_active_buffer();
    EXPECT_EQ(lex_activeBuffer(), nullptr);
}

TEST_F(MissingArgumentsTest, ANullIdentifierIsUnknown) {
    char *value = nullptr;
    EXPECT_EQ(qrt_GetIdentifierValue(handle, "jdoe.acme", nullptr, &value), QRT_NOT_FOUND);
    EXPECT_EQ(qrt_GetEnvVar(nullptr), nullptr);
    EXPECT_EQ(value, nullptr);
}

TEST_F(MissingArgumentsTest, ACodeWithoutARuleIsUnknown) {
    const QrtIdentifier kept = itable[0];
    itable[0].code = 99;
    char *value = nullptr;
    EXPECT_EQ(qrt_GetIdentifierValue(handle, "jdoe.acme", kept.name, &value), QRT_NOT_FOUND);
    EXPECT_EQ(value, nullptr);
    itable[0] = kept;
}

TEST_F(MissingArgumentsTest, AYearOfTwoDigitsHasNothingBehindThem) {
    clock_now = [] { return time_t{-62135596800 + 300 * 86400}; };
    char *value = nullptr;
    EXPECT_EQ(qrt_GetIdentifierValue(handle, "jdoe.acme", "SHORT_YEAR", &value), 0U);
    EXPECT_EQ(taken(value), "");
}

TEST_F(MissingArgumentsTest, AnErrorWithoutNamesIsTracedWithEmptyOnes) {
    EXPECT_THAT(traces(9, [] { free(qrt_Error(nullptr, nullptr, 3, 0x8801)); }),
                HasSubstr("function: Line:3 - API: code:8801 ZKE_CONN_INVALID\n"));
}

TEST_F(MissingArgumentsTest, APathThatIsNullIsTracedAsEmpty) {
    char server[514] = "", volume[514] = "", rest[256] = "";
    uint32_t connection = 0;
    uint16_t resolved = 0;
    const auto parse = [&] { qrt_ZKDSParsePath(handle, nullptr, server, &connection, volume, rest, &resolved); };
    EXPECT_THAT(traces(9, parse), HasSubstr("ZKParsePath() returned 8847\n"));
    EXPECT_THAT(spy::calls("ZKParsePath"), Contains("ZKParsePath(null)")) << "as it was passed in";
}

TEST_F(MissingArgumentsTest, ABufferThatIsNotMadeIsNoMemory) {
    spy::text_attribute("jdoe.acme", "Surname", {"Doe"});
    for (const int occurrence : {1, 2}) {
        spy::reset();
        spy::fail_nth("ZKDSAllocBuf", occurrence, ZK_OK);
        EXPECT_EQ(attribute("Surname"), std::to_string(ZKE_NO_MEMORY) + " (null)");
        spy::reset();
        spy::fail_nth("ZKDSAllocBuf", occurrence, ZK_OK);
        char volume[514] = "", rest[256] = "";
        EXPECT_NE(qrt_DSGetPhysicalVolumeName(handle, "V.acme", volume), 0U);
        spy::reset();
        spy::fail_nth("ZKDSAllocBuf", occurrence, ZK_OK);
        EXPECT_NE(qrt_CheckForDirectoryMap(handle, "V.acme", volume, rest), 0U);
        EXPECT_THAT(spy::calls("ZKDSRead"), IsEmpty());
    }
}

TEST_F(MissingArgumentsTest, AMapWhosePathHasNoColonLeadsToTheVolumeItself) {
    spy::text_attribute("map.acme", "Path", {"vol1.acme"});
    spy::text_attribute("vol1.acme", "Host_Resource_Name", {"DATA"});
    spy::text_attribute("vol1.acme", "Host_Server", {"SRV1.acme"});
    char server[49] = "", volume[514] = "", path[514] = "old";
    EXPECT_EQ(orbispec("map.acme", server, volume, path), 0U);
    EXPECT_STREQ(server, "SRV1");
    EXPECT_STREQ(volume, "DATA");
    EXPECT_STREQ(path, "");
}

TEST_F(MissingArgumentsTest, AMappingWithoutAColonIsFollowedAndFDisplayTakesAUncName) {
    folder_.file("config/map.conf", "Map_Link_Default_Location=/home/u\n");
    spy::server("SRV2");
    spy::authenticated("SRV2");
    spy::mapped_drive("/home/u/F", "SRV2/DATA");
    network_file("SRV2/DATA/X.TXT", "on drive F");
    EXPECT_EQ(display("F:X.TXT"), "on drive F");
    network_file("SRV1/SYS/LOGIN/X.TXT", "the file");
    run("FDISPLAY \\\\SRV1\\SYS\\LOGIN\\X.TXT\n");
    EXPECT_EQ(output(), "the file");
}

TEST_F(MissingArgumentsTest, OnlyLettersAreRaised) {
    folder_.file("config/map.conf", "Map_Link_Default_Location=/home/u\n");
    for (const char *name : {"{", "[", "1", "z"}) qrt_ChangeWorkingDir(handle, name);
    EXPECT_STREQ(driveDir, "/home/u/Z");
    qrt_ChangeWorkingDir(handle, "{");
    EXPECT_STREQ(driveDir, "/home/u/{");
    EXPECT_STREQ(file_upper_case(text("az{`")).get(), "AZ{`");
}

TEST_F(MissingArgumentsTest, AnEmptyVolumeOrADottedNameIsNoFile) {
    EXPECT_STREQ(file_on_volume(text(""), text("X.TXT")).get(), "");
    EXPECT_EQ(output(), "Unable to find file:(/X.TXT)\n");
    EXPECT_THAT(trace_texts(5, [] { file_dotted(text("name"), text("path")); }), Contains("filespec .name path"));
    EXPECT_THAT(trace_texts(4, [] { file_dotted(text("name"), text("path")); }), IsEmpty());
}

TEST_F(MissingArgumentsTest, ANullServerHasNoTree) {
    EXPECT_THAT(trace_texts(9, [] { EXPECT_EQ(qrt_GetTreeFromServer(nullptr), nullptr); }),
                Contains("qrt_GetTreeFromServer()"));
    EXPECT_THAT(trace_texts(9, [] { EXPECT_EQ(qrt_GetTreeName(nullptr), nullptr); }), Contains("qrt_GetTreeName()"));
    EXPECT_THAT(trace_texts(9, [] { qrt_SetServer(handle, nullptr); }), Contains("entering qrt_SetServer()"));
    output();
    set(CurrentTree, "ACME_TREE");
    EXPECT_THAT(trace_texts(9, [] { qrt_SetTree(nullptr); }), ElementsAre("entering qrt_SetTree()"));
    EXPECT_EQ(CurrentTree, nullptr);
    EXPECT_EQ(output(), "");
    EXPECT_THAT(spy::calls(), IsEmpty());
}

TEST_F(MissingArgumentsTest, AnEmptyNameThatIsEnteredChangesNeitherContextNorObject) {
    spy::tree("OTHER_TREE", "SRV2");
    spy::logged_in_to("OTHER_TREE", "");
    qrt_SetCurrentObject("jdoe");
    set(CurrentContext, ".acme");
    spy::prompt_answer("", "typed");
    doTreeLogin("OTHER_TREE", nullptr, nullptr);
    EXPECT_STREQ(CurrentTree, "OTHER_TREE");
    EXPECT_STREQ(CurrentObject, "jdoe");
    EXPECT_STREQ(CurrentContext, ".acme");
}

TEST_F(MissingArgumentsTest, TheFormsOfTreeAreTracedWithWhatTheyLeaveOut) {
    const auto form = [](const char *script) { return [script] { run(script); }; };
    EXPECT_THAT(trace_texts(6, form("TREE NOWHERE\n")), Contains("TREE NOWHERE/NULL;NULL"));
    EXPECT_THAT(trace_texts(6, form("TREE NOWHERE/bob;secret\n")), Contains("TREE NOWHERE/bob;<a password>"));
}

TEST_F(MissingArgumentsTest, AnUnknownTreeOfARunIsTracedAsEmpty) {
    QrtRunScriptsArgs args = {};
    std::string tree = "NOWHERE", server = "NOWHERE";
    args.treename = tree.data();
    args.server = server.data();
    const std::vector<std::string> texts = trace_texts(5, [&] { EXPECT_EQ(qrt_RunScripts(&args), 0xF001U); });
    EXPECT_THAT(texts, Contains("real treename is: "));
    EXPECT_THAT(texts, Contains("TreeName from server ()"));
}

} // namespace

TEST(StateGlobals, StartAsDeclared) {
    for (const char *text : {CurrentContext, InitialContext, CurrentObject, LoginName, CurrentTree, CurrentPassword,
                             objname, over_ride_profile, driveDir, gotolabel, inputBuffer})
        EXPECT_EQ(text, nullptr);
    for (const char *variable : uservars) EXPECT_EQ(variable, nullptr);
    for (const LexBuffer *buffer : ibufstack) EXPECT_EQ(buffer, nullptr);
    EXPECT_EQ(fdr, nullptr);
    EXPECT_EQ(fpLogFileOutput, nullptr);
    for (const int32_t number : {fd[0], fd[1], debug_level, g_useGUI, use_default_script, ibufstackindex, linecounter,
                                 inputIndex, condindex, condstate[0], condstate[199], valuestate, gotostate,
                                 gotoWasUsed, invalidGoToLabel, syntax_error, end_of_line, wholeline})
        EXPECT_EQ(number, 0);
    EXPECT_EQ(ctx, 0U);
    EXPECT_EQ(bcntrlc, 0);
    EXPECT_EQ(attachedCount, 0);
    EXPECT_EQ(bLogFileOutput, 1);
    EXPECT_STREQ(LoginAliasContext, "N");
}
