// Each code of the check, with a script that gives it and one that does not.
#include <gmock/gmock.h>

#include "tools/qrtscript/check/rules.h"
#include "tools/qrtscript/check/secrets.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// "LINE:COLUMN CODE" for each finding.
std::vector<std::string> found_in(const std::string &text) {
    const Lines lines(text);
    std::vector<std::string> found;
    for (const Finding &finding : check_script(syntax_read(text)))
        found.push_back(std::to_string(lines.line(finding.place)) + ":" + std::to_string(lines.column(finding.place)) +
                        " " + finding.code->name);
    return found;
}

struct Row {
    const char *text;
    std::vector<std::string> found;
};

void expect_rows(const std::vector<Row> &rows) {
    for (const Row &row : rows) EXPECT_EQ(found_in(row.text), row.found) << row.text;
}

std::string repeated(int count, const std::string &text) {
    std::string all;
    for (int i = 0; i < count; ++i) all += text;
    return all;
}

} // namespace

TEST(CheckMistakes, AreFoundEachAtItsOwnLine) {
    // A login reports the first and the last.
    expect_rows(
        {{"FOO 1\nFOO 2\nFOO 3\nWRITE \"x\"\nFOO 4\n", {"1:1 QS1001", "2:1 QS1001", "3:1 QS1001", "5:1 QS1001"}},
         {"WRITE \"a\" \"b\"\n", {"1:11 QS1001"}},
         {"SET X \"a\"\n", {"1:7 QS1001"}},
         {"EXIT\nFOO 1\n", {"2:1 QS1001", "2:1 QS1014"}},
         {"IF \"a\" = \"b\" THEN FOO 1\nWRITE \"\"\n", {"1:19 QS1001"}},
         {"GOTO IF\nIF:\n", {"1:6 QS1002", "2:1 QS1013"}},
         {"", {}},
         {"\n\n  \n", {}},
         {"REM anything \" goes %\n* and % here\n; and here\n", {}}});
}

TEST(CheckMistakes, TellWhatWasExpected) {
    const auto message = [](const char *text) { return check_script(syntax_read(text)).at(0).message; };
    EXPECT_EQ(message("SET X \"a\"\n"), "unexpected \"a\"; expected: SET NAME = [TEXT]");
    EXPECT_EQ(message("DRIVE\n"), "the line ends too early; expected: DRIVE X: | DRIVE *X");
    EXPECT_EQ(message("WRIET \"a\"\n"), "no statement begins with WRIET; did you mean WRITE?");
    EXPECT_EQ(message("\"a\"\n"), "no statement begins with \"a\"");
}

TEST(CheckMistakes, TellWhatNeedsQuotes) {
    const auto message = [](const char *text) { return check_script(syntax_read(text)).at(0).message; };
    EXPECT_EQ(message("IF MEMBER OF .m.acme THEN MAP G:=SRV1/A:\nEND\n"),
              "unexpected .m.acme: put the name in quotes: MEMBER OF \".m.acme\"");
    EXPECT_EQ(message("IF NOT MEMBER OF staff THEN\nEND\n"),
              "unexpected staff: put the name in quotes: MEMBER OF \"staff\"");
    EXPECT_EQ(message("WRITE CN LAST_NAME\n"), "unexpected LAST_NAME: put a text of several words in quotes");
    EXPECT_EQ(message("IF CN = CN set THEN\nEND\n"), "unexpected set: put a text of several words in quotes");
    EXPECT_EQ(message("WRITE CN )\n"), "unexpected ); expected: WRITE [TEXT]");
    EXPECT_EQ(message("{\n"), "no statement begins with {");
}

TEST(CheckMistakes, TellWhatABrokenIfSkips) {
    const auto message = [](const std::string &text) { return check_script(syntax_read(text)).at(0).message; };
    const std::string one = "IF CN = CN THEN\nIF CN = CN THEN WRITE CN\nELSE\nEND\n";
    EXPECT_EQ(message("IF \"a\" b\nWRITE CN\n" + one + "endif\n"),
              "unexpected b; expected: IF CONDITION THEN [STATEMENT]; everything up to ENDIF in line 7 is skipped");
    EXPECT_EQ(message("IF \"a\" b\nWRITE CN\nELSE\nEND\n"),
              "unexpected b; expected: IF CONDITION THEN [STATEMENT]; everything up to ELSE in line 3 is skipped");
    EXPECT_EQ(message("IF \"a\" b\nEND\nWRITE CN\nEND\n"), "unexpected b; expected: IF CONDITION THEN [STATEMENT]");
    EXPECT_EQ(
        message("IF \"a\" b\nWRITE CN\n"),
        "unexpected b; expected: IF CONDITION THEN [STATEMENT]; everything behind it is skipped: there is no END");
}

TEST(CheckMistakes, TellTheLineThatALoginQuotes) {
    const auto quoted = [](const char *text) { return check_script(syntax_read(text)).at(0).quotedLine; };
    EXPECT_EQ(quoted("WRITE \"a\" x\n"), "WRITE \"a\" x");
    // The look-ahead has been read.
    EXPECT_EQ(quoted("WRITE \"a\"\nFOO\nWRITE \"b\"\n"), "WRITE \"b\"");
    EXPECT_EQ(quoted("REM\nGOTO NOWHERE\n"), "");
}

TEST(CheckMistakes, KnowTheEndsOfLinesAndOfTheText) {
    expect_rows({{"WRITE \"a\"\nWRITE \"b\"", {"2:1 QS1016"}},
                 {"WRITE \"a\"\rWRITE \"b\"\r", {"1:1 QS1016", "1:11 QS1017"}},
                 {"WRITE \"a\"\r\nWRITE \"b\"\r\r\n", {}},
                 {"IF \"a\" = \"b\" THEN", {"1:1 QS1003", "1:1 QS1016"}},
                 {"IF\n", {"1:1 QS1001", "1:1 QS1003", "1:1 QS1020", "1:3 QS2005"}},
                 {"IF \"a\" = \"b\"\n", {"1:1 QS1001", "1:1 QS1003", "1:1 QS1020"}}});
    // There is a line end, so that none is put behind it.
    const Finding early = check_script(syntax_read("IF \"a\" = \"b\"\n")).at(0);
    EXPECT_THAT(early.message, testing::StartsWith("the script ends too early; expected: IF "));
    EXPECT_EQ(early.quotedLine, "IF \"a\" = \"b\"");
    EXPECT_FALSE(early.fix);
    EXPECT_EQ(found_in(std::string("WRITE \"a\"\n\0FOO\n", 15)), std::vector<std::string>{"2:1 QS1018"});
}

TEST(CheckMistakes, KnowTextsThatAreNotUtf8) {
    const auto found = [](const std::string &text) { return found_in(text); };
    const auto message = [](const std::string &text) { return check_script(syntax_read(text)).at(0).message; };
    const auto is_error = [](const std::string &text) {
        return check_script(syntax_read(text)).at(0).severity == Severity::error;
    };
    const std::string little("\xFF\xFEW\0R\0\n\0", 8), big("\xFE\xFF\0W\0R\0\n", 8), bare("W\0R\0I\0\n\0", 8);
    const std::string wide = "this is UTF-16, which a login reads up to its first NUL: save it as UTF-8";
    for (const std::string &text : {little, big, bare}) {
        EXPECT_THAT(found(text), ElementsAre(testing::EndsWith("QS1018"))) << text;
        EXPECT_EQ(message(text), wide);
        EXPECT_TRUE(is_error(text)) << "a login reports it";
    }
    const std::string nul("REM\nWRITE \"x\"\0\nFOO\n", 19), later("FOO\nREM\n\0", 9);
    EXPECT_THAT(found(nul), ElementsAre("2:10 QS1018"));
    EXPECT_TRUE(is_error(nul));
    EXPECT_THAT(found(later), ElementsAre("1:1 QS1001", "3:1 QS1018"));
    EXPECT_FALSE(is_error(std::string("REM\n\0FOO", 8)));
    expect_rows({{"\xEF\xBB\xBFWRITE \"x\"\nFOO\n", {"1:1 QS1025", "2:1 QS1001"}},
                 {"\xEF\xBB\xBF", {"1:1 QS1016", "1:1 QS1025"}},
                 {"WRITE \"B\xE4r\"\nREM \xE4 \xFC\nWRITE \"\xC3\xA4\"\n", {"1:9 QS1026", "2:5 QS1026"}}});
    const Findings findings = check_script(syntax_read("\xEF\xBB\xBFWRITE \"x\"\n"));
    EXPECT_EQ(findings.at(0).severity, Severity::error);
    EXPECT_EQ(findings.at(0).message, "a byte order mark stands in front of this line, so that a login cannot read it");
    EXPECT_EQ(findings.at(0).fix.value().end, 3U);
    EXPECT_EQ(check_script(syntax_read("\xEF\xBB\xBF:A\n")).at(0).code->name, std::string("QS1025"));
}

TEST(CheckMistakes, KnowTheLimitsOfTheParser) {
    const auto nested = [](int depth) { return repeated(depth, "IF \"a\" = \"a\" THEN\n") + repeated(depth, "END\n"); };
    EXPECT_THAT(found_in(nested(199)), IsEmpty());
    EXPECT_THAT(found_in(nested(201)), ElementsAre("200:18 QS1004"));
    EXPECT_THAT(found_in("WRITE \"\"" + repeated(6000, " ; \"\"") + "\nFOO\n"),
                testing::Contains(testing::EndsWith("QS1021")));
}

TEST(CheckBlocks, BelongTogether) {
    const std::string open = "IF \"a\" = \"b\" THEN\n";
    expect_rows({{"IF \"a\" = \"b\" THEN\nWRITE \"\"\n", {"1:1 QS1003"}},
                 {"IF \"a\" = \"b\" THEN\nELSE\nEND\nIF \"a\" = \"b\" THEN BEGIN\nENDIF\n", {}},
                 {"IF \"a\" = \"b\" THEN WRITE \"\"\nWRITE \"\"\n", {}},
                 {"IF \"a\" = \"b\" THEN IF \"a\" = \"b\" THEN WRITE \"\"\nWRITE \"\"\n", {}},
                 {"END\n", {"1:1 QS1005"}},
                 {"ELSE\nWRITE \"\"\n", {"1:1 QS1006"}},
                 {"IF \"a\" = \"b\" THEN\nELSE IF \"a\" = \"c\" THEN\nEND\n", {"2:1 QS1007"}},
                 {"IF \"a\" = \"b\" THEN\nELSE\nELSE\nEND\n", {"3:1 QS1019"}},
                 {"IF \"a\" = \"b\"\nWRITE \"\"\n", {"1:1 QS1020"}},
                 {"IF \"a\" = \"b\"\n\nWRITE \"\"\nEND\n", {}},
                 {"IF NOT \"a\"\nEND\n", {"1:8 QS1001"}},
                 {"IF NOT \"a\"\nWRITE \"\"\n", {"1:8 QS1001"}},
                 {"IF \"a\" = \"b\" THEN\nIF NOT \"a\"\nEND\n", {"1:1 QS1003", "2:8 QS1001"}}});
    EXPECT_EQ(check_script(syntax_read("IF \"a\" = \"b\" THEN\nIF NOT \"a\"\nEND\n")).at(0).message,
              "there is no END for this IF: the one in line 2, which cannot be read, takes it");
    // A login does not report it when the script has jumped.
    const auto severity = [](const std::string &text) { return check_script(syntax_read(text)).back().severity; };
    EXPECT_EQ(severity(open), Severity::error);
    EXPECT_EQ(severity("\nA:\nIF \"a\" = \"b\" THEN GOTO A\n" + open), Severity::warning);
}

TEST(CheckLabels, AreFoundWhereALoginFindsThem) {
    expect_rows({{"REM\nIF \"a\" = \"b\" THEN GOTO A\nA:\n", {}},
                 {"REM\nIF \"a\" = \"b\" THEN GOTO A-B\n:a-b\n", {}},
                 {"GOTO NOWHERE\n", {"1:6 QS1008"}},
                 {"A:\nWRITE \"\"\n", {"1:1 QS1009"}},
                 {"REM\n  A:\n", {"2:3 QS1010"}},
                 {"REM\nA :\n", {"2:1 QS1010"}},
                 {"REM\nIF \"a\" = \"b\" THEN GOTO LOOP\n:LOOPING\n", {"2:24 QS1011"}},
                 {"REM\nA:\nWRITE \"\"\na:\n", {"4:1 QS1012"}},
                 {"REM\nWRITE:\n", {"2:1 QS1013"}},
                 {"REM\nIF \"a\" = \"b\" THEN GOTO A\n  A:\n", {"2:24 QS1008", "3:3 QS1010"}}});
    const auto message = [](const char *text) { return check_script(syntax_read(text)).at(0).message; };
    EXPECT_EQ(message("REM\nGOTO LOP\nLOOP:\n"), "there is no label LOP: this GOTO does nothing; did you mean LOOP?");
}

// All labels are compared for so many names only.
TEST(CheckLabels, TheFirstMissingNamesHaveSuggestions) {
    std::string text = "REM\n";
    for (int number = 100; number < 200; ++number) text += "LABEL" + std::to_string(number) + ":\n";
    for (int number = 100; number < 160; ++number)
        text += repeated(2, "IF \"a\" = \"b\" THEN GOTO LABLE" + std::to_string(number) + "\n");
    size_t suggestions = 0, missing = 0;
    for (const Finding &finding : check_script(syntax_read(text))) {
        if (std::string(finding.code->name) != "QS1008") continue;
        ++missing;
        suggestions += finding.message.find("did you mean LABEL1") != std::string::npos ? 1 : 0;
    }
    EXPECT_EQ(missing, 120U);
    EXPECT_EQ(suggestions, 100U);
    const Findings once = check_script(syntax_read("REM\n A:\nGOTO a\n"));
    EXPECT_EQ(once.back().message, "the label a is never found where it stands: this GOTO does nothing");
}

TEST(CheckLabels, FollowTheJumps) {
    expect_rows({{"EXIT\n\nREM\nWRITE \"\"\nWRITE \"\"\n", {"4:1 QS1014"}},
                 {"IF \"a\" = \"b\" THEN EXIT\nWRITE \"\"\n", {"1:19 QS1023"}},
                 {"IF \"a\" = \"b\" THEN\nEXIT\nELSE\nWRITE \"\"\nEND\nWRITE \"\"\n", {"2:1 QS1023"}},
                 {"GOTO A\nWRITE \"\"\nA:\nWRITE \"\"\n", {"2:1 QS1014"}},
                 {"GOTO NOWHERE\nWRITE \"\"\n", {"1:6 QS1008"}},
                 {"REM\nA:\nWRITE \"\"\nGOTO A\n", {"4:1 QS1015"}},
                 {"REM\nA:\nIF \"a\" = \"b\" THEN EXIT\nGOTO A\n", {"3:19 QS1023"}},
                 {"REM\nA:\nIF \"a\" = \"b\" THEN GOTO B\nGOTO A\nB:\n", {}},
                 {"REM\nA:\nIF \"a\" = \"b\" THEN GOTO A\nWRITE \"\"\n", {}}});
}

TEST(CheckLabels, KnowWhatLeavesAnIfOpen) {
    expect_rows({{"IF \"a\" = \"b\" THEN EXIT\n", {"1:19 QS1023"}},
                 {"REM\nA:\nIF \"a\" = \"b\" THEN\nGOTO A\nEND\n", {"4:1 QS1024"}},
                 {"REM\nA:\nIF \"a\" = \"b\" THEN\nGOTO B\nEND\nB:\n", {}},
                 {"REM\nIF \"a\" = \"b\" THEN\nA:\nIF \"a\" = \"b\" THEN GOTO A\nEND\n", {}}});
}

TEST(CheckLabels, OfferNoFixThatChangesAnotherJump) {
    const auto fix = [](const char *text) {
        for (const Finding &finding : check_script(syntax_read(text)))
            if (std::string(finding.code->name) == "QS1010") return finding.fix.has_value();
        return false;
    };
    EXPECT_TRUE(fix("REM\n  DONE:\n"));
    EXPECT_FALSE(fix("REM\n  DONE:\nGOTO DONE\nDONE:\n"));
}

TEST(CheckText, KnowsTheTrapsOfTheLanguage) {
    expect_rows({{"WRITE \"%SURNAME!\"\n", {"1:8 QS2001"}},
                 {"WRITE \"%SURNAME, %FULL_NAME.\"\nWRITE \"100%!\"\n", {}},
                 {"WRITE \"a \\\\ \\\"b\\\" %SURNAME?\"\n", {"1:19 QS2001"}},
                 {"WRITE \"\\\"%CN\\\" x\"\n", {"1:9 QS2002"}},
                 {"# echo \"%CN\" x\n", {"1:8 QS2002"}},
                 {"# echo \"x\" y\n", {"1:8 QS2003"}},
                 {"# sh -c echo${IFS}\"$WHO\"\n", {}},
                 {"# printf [%s]\\n %CN!\n", {"1:17 QS2001"}},
                 {"WRITE %LOGIN_NAME.txt\n", {"1:7 QS2001"}},
                 {"# echo 'x y'\n", {"1:8 QS2003"}},
                 {"# echo \"x y\"\n", {"1:8 QS2004"}},
                 {"@ echo %FULL_NAME %LOGIN_NAME\n", {"1:8 QS2004"}},
                 {"WRITE foo ; CN ; 2\n", {"1:7 QS2010"}},
                 {"IF CN = jdoe THEN WRITE \"\"\n", {"1:9 QS2010"}},
                 {"WRITE \"a\nWRITE \"b\\\"\n", {"1:7 QS2011", "2:7 QS2011"}},
                 {"SET A = \"50%\" ; \"CN\"\nSET A = \"50%\"\n", {"1:9 QS2012"}},
                 {"WRITE \"%HOME DIRECTORY\"\n", {"1:13 QS2015"}}});
}

TEST(CheckConditions, KnowTheTrapsOfTheLanguage) {
    expect_rows({{"IF \"YES\" THEN WRITE \"\"\n", {"1:4 QS2005"}},
                 {"IF MEMBER OF \"G\" THEN WRITE \"\"\nIF NOT MEMBER OF \"G\" THEN WRITE \"\"\n", {}},
                 {"IF VALUE \"3\" <= \"5\" THEN WRITE \"\"\n", {"1:10 QS2006"}},
                 {"IF \"3\" <= \"5\" THEN WRITE \"\"\n", {}},
                 {"IF \"a\"=\"b\" OR \"a\"=\"c\" AND \"a\"=\"d\" THEN WRITE \"\"\n", {"1:4 QS2007"}},
                 {"IF (\"a\"=\"b\" OR \"a\"=\"c\") AND \"a\"=\"d\" THEN WRITE \"\"\n", {}},
                 {"IF \"a\"=\"b\" OR (\"a\"=\"c\" AND \"a\"=\"d\") THEN WRITE \"\"\n", {}},
                 {"IF \"a\"=\"b\" OR \"a\"=\"c\" OR \"a\"=\"d\" THEN WRITE \"\"\n", {}},
                 {"WRITE \"9\" - \"3\" - \"2\"\n", {"1:7 QS2007"}},
                 {"WRITE \"9\" + \"3\" + \"2\"\nWRITE \"A\" ; \"1\" + \"2\"\n", {}},
                 {"WRITE \"1\" + \"2\" ; \"B\"\n", {"1:7 QS2007"}},
                 {"IF \"%TITLE\" = \"\" THEN WRITE \"\"\n", {"1:4 QS2008"}},
                 {"IF \"%HOME_DIRECTORY\" <> \"\" THEN WRITE \"\"\n", {"1:4 QS2008"}},
                 {"IF %TITLE = \"\" THEN WRITE \"\"\nIF \"%CN\" = \"\" THEN WRITE \"\"\n", {}},
                 {"IF \"%DAY_OF_WEEK\" = \"Monday\" THEN WRITE \"\"\n", {"1:4 QS2009"}},
                 {"IF %NDAY_OF_WEEK = \"2\" THEN WRITE \"\"\n", {}}});
}

TEST(CheckConditions, KnowWhichDigitsAreVariables) {
    expect_rows({{"IF %NDAY_OF_WEEK = 2 THEN WRITE \"\"\n", {"1:20 QS2016"}},
                 {"IF (VALUE %HOUR24 < 9) AND 8 < CN THEN WRITE \"\"\n", {"1:21 QS2016", "1:28 QS2016"}},
                 {"IF %NDAY_OF_WEEK = %2 THEN WRITE \"\"\nIF \"2\" = %NDAY_OF_WEEK THEN WRITE \"\"\n", {}},
                 {"SET N = 1\nSET N = %1\nSET N = \"1\"\nSHIFT 1\nWRITE 1\n", {"1:9 QS2016"}},
                 {"SET N = %HOUR24 + 1\nWRITE \"1\" - 0\n", {"1:19 QS2016", "2:13 QS2016"}}});
    EXPECT_EQ(check_script(syntax_read("SET N = 1\n")).at(0).message,
              "1 without quotes is the variable %1: write \"1\" for the number");
}

TEST(CheckConditions, KnowNumbersThatAreComparedAsTexts) {
    expect_rows({{"IF %PASSWORD_EXPIRES < \"14\" THEN WRITE \"\"\n", {"1:4 QS2017"}},
                 {"IF \"14\" >= PASSWORD_EXPIRES THEN WRITE \"\"\n", {"1:4 QS2017"}},
                 {"IF \"%hour\" <= \"9\" THEN WRITE \"\"\n", {"1:4 QS2017"}},
                 {"IF VALUE %PASSWORD_EXPIRES < \"14\" THEN WRITE \"\"\n", {}},
                 {"IF %PASSWORD_EXPIRES = \"14\" THEN WRITE \"\"\n", {}},
                 {"IF %HOUR24 < \"09\" AND %HOUR24 > \"8\" THEN WRITE \"\"\n", {"1:23 QS2017"}},
                 {"IF %MONTH = \"1\" THEN WRITE \"\"\nIF %MONTH <> \"01\" THEN WRITE \"\"\n", {"1:4 QS2017"}},
                 {"IF %YEAR > \"1999\" AND %CN < \"9\" AND %HOUR24 < \"noon\" THEN WRITE \"\"\n", {}}});
    EXPECT_EQ(check_script(syntax_read("IF %MONTH = \"1\" THEN WRITE \"\"\n")).at(0).message,
              "the length of MONTH is 2, so that it is never the text \"1\": write IF VALUE");
}

TEST(CheckText, KnowsPathsWithControlCharacters) {
    expect_rows({{"SET T = \"C:\\temp\\new\"\n", {"1:17 QS2018"}},
                 {"WRITE \"see F:\\new\\users\"\n", {"1:14 QS2018"}},
                 {"SET T = \"F:\\new\"\n", {"1:12 QS2018"}},
                 {"SET T = \"\\\\SRV\\SYS\\7up\"\n", {"1:19 QS2018"}},
                 {"WRITE \"Drive F:\\nDrive G:\\n\"\nWRITE \"a\\nb\\7c\"\n", {}},
                 {"SET T = \"C:\\\\temp\\\\new\"\nSET T = \"C:/temp/new\"\nSET T = \"C:\\temp\"\n", {}},
                 {"SET T = \"a\\\n", {"1:9 QS2011"}}});
    EXPECT_EQ(check_script(syntax_read("SET T = \"F:\\new\"\n")).at(0).message,
              "\\n is a control character here: write \\\\n or / for a path");
}

TEST(CheckPrograms, KnowWhatAShellWouldDo) {
    expect_rows(
        {{"# ls >/tmp/x 2>&1\n", {"1:6 QS2019"}},
         {"# ls 2>/tmp/x\n@ ls <x\n", {"1:6 QS2019", "2:6 QS2019"}},
         {"# ls | grep x\n# true && ls\n# ls ; ls\n# ls &\n", {"1:6 QS2019", "2:8 QS2019", "3:6 QS2019", "4:6 QS2019"}},
         {"# echo $HOME\n# echo a${HOME}\n# echo $(id)\n# echo `id`\n",
          {"1:8 QS2019", "2:8 QS2019", "3:8 QS2019", "4:8 QS2019"}},
         {"# echo a|b a&b 5 %<HOME> US$ a->b %CN;x <%s>\n", {}},
         {"# sh -c ls>/tmp/x\n#\n# \n", {}}});
}

TEST(CheckConditions, FixesStayApartFromWhatFollows) {
    const Findings findings = check_script(syntax_read("IF \"%TITLE\"NOT EQUALS \"\" THEN WRITE \"\"\n"));
    ASSERT_THAT(findings, SizeIs(1));
    EXPECT_EQ(findings[0].fix.value().text, "%TITLE ");
}

TEST(CheckDrives, KnowsWhatTheMappingProgramRefuses) {
    expect_rows({{"MAP 1:=SRV1/SYS:\n", {"1:4 QS3001"}},
                 {"MAP H:=%HOME_DIRECTORY; K:=SRV1\\SYS:x\nMAP\nPATH INS S1:=SRV1/SYS:\n", {}},
                 {"MAP H:=SRV1/A:\nMAP H:=SRV1/B:\n", {"2:4 QS3002"}},
                 {"MAP H:=SRV1/A:\nMAP DEL H:\nMAP H:=SRV1/B:\n", {}},
                 {"IF \"a\" = \"b\" THEN\nMAP H:=SRV1/A:\nELSE\nMAP H:=SRV1/B:\nEND\n", {}},
                 {"DRIVE H:\nMAP H:=SRV1/A:\n", {"1:7 QS3003"}},
                 {"DRIVE HH:\nDRIVE S1:\n", {"1:7 QS3001"}},
                 {"DISPLAY H:x.txt\nMAP H:=SRV1/A:\n", {"1:9 QS3003"}},
                 {"MAP H:=SRV1/A:\nDRIVE H:\nDISPLAY K:x.txt\n", {}}});
}

TEST(CheckSafety, FindsPasswordsAndCommandsMadeOfValues) {
    expect_rows({{"TREE ACME/joe;hush\nTREE ACME/joe\n", {"1:15 QS5001"}},
                 {"ATTACH SRV1/joe;hush\n", {"1:12 QS1001", "1:17 QS5002"}},
                 {"# sh -c echo%CN\n# sh script.sh %CN\n", {"1:13 QS5003"}},
                 {"# timeout 5 /bin/sh -xc echo%CN\n@ python3.11 -c print(%CN)\n", {"1:29 QS5003", "2:23 QS5003"}},
                 {"SET LD_PRELOAD = \"x\"\nSET LANGUAGE = \"de\"\nSET EDITOR = \"vi\"\n", {"1:5 QS5004", "2:5 QS5004"}},
                 {"# bin/x\n# /bin/x\n# x\n", {"1:3 QS5005"}}});
}

TEST(CheckSafety, TellsNoPassword) {
    const std::string text = "TREE ACME/joe;hush\nATTACH SRV1/joe;hush\n";
    const Findings findings = check_script(syntax_read(text));
    ASSERT_THAT(findings, SizeIs(3));
    for (const Finding &finding : findings)
        EXPECT_THAT(finding.message + finding.quotedLine, testing::Not(testing::HasSubstr("hush")));
    EXPECT_EQ(without_secrets(text, findings), "TREE ACME/joe;****\nATTACH SRV1/joe;****\n");
}

TEST(CheckSafety, APasswordBehindAnotherSignIsHidden) {
    const auto masked = [](const std::string &text) { return secrets_masked(syntax_read(text)); };
    EXPECT_EQ(masked("TREE LAB/.jdoe.lab:secret\n"), "TREE LAB/.jdoe.lab:******\n");
    EXPECT_EQ(masked("ATTACH SRV1/jdoe,secret\n"), "ATTACH SRV1/jdoe,******\n");
    EXPECT_EQ(masked("TRE LAB/.jdoe.lab:secret\n"), "TRE LAB/.jdoe.lab:******\n");
    EXPECT_EQ(masked("TREE LAB/.jdoe.lab\nWRITE \"a/b:c\"\nFOO a/b:c\n"),
              "TREE LAB/.jdoe.lab\nWRITE \"a/b:c\"\nFOO a/b:c\n");
    for (const Finding &finding : check_script(syntax_read("TREE LAB/.jdoe.lab:secret\n")))
        EXPECT_THAT(finding.message + finding.quotedLine, testing::Not(testing::HasSubstr("secret")));
}

TEST(CheckSafety, APasswordIsHiddenWhereItStandsAlone) {
    const auto messages = [](const std::string &text) {
        std::vector<std::string> all;
        for (const Finding &finding : check_script(syntax_read(text)))
            all.push_back(finding.message + (finding.quotedLine.empty() ? "" : " | " + finding.quotedLine));
        return all;
    };
    EXPECT_THAT(messages("TREE LAB/.j;e\nFOO BAR\n"),
                ElementsAre("a password in a script is readable by every user: leave it out, and the login asks for it",
                            "no statement begins with FOO | FOO BAR"));
    EXPECT_THAT(messages("TREE LAB/.j;a\nWRITE \"a\"\n"),
                ElementsAre("a password in a script is readable by every user: leave it out, and the login asks for "
                            "it"));
    EXPECT_THAT(messages("TREE LAB/.j;e x\n"),
                testing::Contains("unexpected ********; expected: TREE TREE[/USER[;PASSWORD]] | TREE LAB/.j;***"));
    EXPECT_THAT(messages("TRE LAB/.j;e\n"),
                ElementsAre("no statement begins with TRE; did you mean TREE? | TRE LAB/.j;*"));
    EXPECT_THAT(messages("WRIET \"a\"; b\n"),
                ElementsAre("no statement begins with WRIET; did you mean WRITE? | WRIET \"a\"; b"));
}
