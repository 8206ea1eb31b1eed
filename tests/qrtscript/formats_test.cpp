#include <nlohmann/json.hpp>

#include "tests/qrtscript/check_fixture.h"
#include "tests/qrtscript/findings_of.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using CheckFormats = CheckFixture;

CheckResult result_of(const std::string &name, const std::string &text) {
    CheckResult result;
    result.scripts.push_back(checked_script(name, text));
    return result;
}

// A terminal would obey them.
bool has_control(const std::string &text) {
    for (size_t at = 0; at < text.size(); ++at) {
        const auto byte = static_cast<unsigned char>(text[at]);
        if ((byte < 0x20 && byte != '\n') || byte == 0x7F) return true;
        if (byte == 0xC2 && at + 1 < text.size() && (static_cast<unsigned char>(text[at + 1]) & 0xE0) == 0x80)
            return true;
    }
    return false;
}

constexpr ReportFormat all_formats[] = {ReportFormat::text, ReportFormat::gcc, ReportFormat::json, ReportFormat::sarif,
                                        ReportFormat::github};

} // namespace

TEST(ReportTest, GccCountsBytesAndCallsStyleANote) {
    CheckResult result = result_of("a.qrt", "IF \"\xC3\xBC\" = \"b\" THEN FOO\n");
    EXPECT_EQ(report_gcc(result), "a.qrt:1:20: error: no statement begins with FOO [QS1001]\n");
    result.scripts[0].findings[0].severity = Severity::style;
    EXPECT_THAT(report_gcc(result), HasSubstr(": note: "));
}

TEST(ReportTest, TextCountsCharacters) {
    const CheckResult result = result_of("a.qrt", "IF \"\xC3\xBC\" = \"b\" THEN FOO\n");
    EXPECT_EQ(report_text(result, false),
              "a.qrt:1:19: error: no statement begins with FOO [QS1001]\n"
              "  1 | IF \"\xC3\xBC\" = \"b\" THEN FOO\n"
              "    |                   ^~~\n"
              "1 error\n");
}

TEST(ReportTest, TextShowsOfALongLineWhatIsAroundThePiece) {
    const std::string filling(3000, 'x');
    const std::string text =
        report_text(result_of("a.qrt", "IF \"" + filling + "\" = \"b\" THEN FOO " + filling + "\n"), false);
    EXPECT_LT(text.size(), 1200U);
    EXPECT_THAT(text, HasSubstr("a.qrt:1:3018: "));
    EXPECT_THAT(text, HasSubstr("| ...x"));
    EXPECT_THAT(text, HasSubstr("x...\n"));
}

TEST(ReportTest, GithubEscapesNamesAndMessages) {
    CheckResult result = result_of("a,b:c%\n\x1b.qrt", "FOO 1\n");
    result.scripts[0].findings[0].message = "100%: a,\nb\x1b";
    result.problems = {"x\n::error::y"};
    EXPECT_EQ(report_github(result),
              "::error file=a%2Cb%3Ac%25%0A\\x1B.qrt,line=1,endLine=1,col=1,endColumn=4,title=QS1001::"
              "100%25: a,%0Ab\\x1B\n"
              "::error title=qrtscript check::x%0A::error::y\n");
}

TEST(ReportTest, GithubNamesSeveritiesItsWay) {
    CheckResult result = result_of("a", "GOTO NO\n");
    EXPECT_THAT(report_github(result), HasSubstr("::warning file=a,"));
    result.scripts[0].findings[0].severity = Severity::style;
    EXPECT_THAT(report_github(result), HasSubstr("::notice file=a,"));
}

TEST(ReportTest, GithubHasNoColumnsForMoreThanALine) {
    const std::string text = report_github(result_of("a", "IF \"a\" = \"b\"\nWRITE \"x\"\n"));
    EXPECT_THAT(text, HasSubstr("line=1,endLine=1,")) << "an IF without THEN is one line";
    CheckResult result = result_of("a", "FOO 1\nWRITE \"x\"\n");
    result.scripts[0].findings[0].length = 10;
    EXPECT_THAT(report_github(result), HasSubstr("line=1,endLine=2,title="));
}

TEST(ReportTest, JsonSaysWhatWasFoundAndWhere) {
    CheckResult result = result_of("\xC3\xBC.qrt", "\n \"\xC3\xBC\"\nWRITE \"\xC3\xBC\"");
    result.problems = {"none.qrt: No such file or directory"};
    const auto json = nlohmann::json::parse(report_json(result));
    EXPECT_EQ(json["version"], 1);
    EXPECT_EQ(json["tool"]["name"], "qrtscript check");
    EXPECT_EQ(json["scripts"], nlohmann::json::array({"\xC3\xBC.qrt"}));
    EXPECT_EQ(json["problems"], nlohmann::json::array({"none.qrt: No such file or directory"}));
    ASSERT_EQ(json["findings"].size(), 2U);
    const nlohmann::json last = {{"script", "\xC3\xBC.qrt"},
                                 {"code", "QS1016"},
                                 {"severity", "error"},
                                 {"message", "the last line has no line end, so that it is not read"},
                                 {"line", 3},
                                 {"column", 1},
                                 {"endLine", 3},
                                 {"endColumn", 10},
                                 {"offset", 7},
                                 {"length", 10},
                                 {"text", "WRITE \"\xC3\xBC\""},
                                 {"loginQuotes", "WRITE \"\xC3\xBC\""},
                                 {"fix", {{"offset", 17}, {"length", 0}, {"text", "\n"}}}};
    EXPECT_EQ(json["findings"][1], last);
}

TEST(ReportTest, SarifSaysHowItCountsColumns) {
    const auto run =
        nlohmann::json::parse(report_sarif(result_of("dir/a b.qrt", "IF \"\xC3\xBC\" = \"b\" THEN FOO\n")))["runs"][0];
    EXPECT_EQ(run["columnKind"], "unicodeCodePoints");
    const auto result = run["results"][0];
    EXPECT_EQ(result["ruleId"], "QS1001");
    EXPECT_EQ(run["tool"]["driver"]["rules"][result["ruleIndex"].get<size_t>()]["id"], "QS1001");
    const auto place = result["locations"][0]["physicalLocation"];
    EXPECT_EQ(place["artifactLocation"]["uri"], "dir/a%20b.qrt");
    EXPECT_EQ(place["region"]["startColumn"], 19);
    EXPECT_EQ(place["region"]["endColumn"], 22);
    EXPECT_EQ(run["invocations"][0]["executionSuccessful"], true);
}

TEST(ReportTest, SarifsFingerprintStaysWhenLinesMove) {
    const auto fingerprint = [](const std::string &text) {
        const auto log = nlohmann::json::parse(report_sarif(result_of("a", text)));
        return log["runs"][0]["results"][0]["partialFingerprints"];
    };
    EXPECT_EQ(fingerprint("FOO 1\n"), fingerprint("\nWRITE \"x\"\nFOO 1\n"));
    EXPECT_NE(fingerprint("FOO 1\n"), fingerprint("FOO 2\n"));
}

// What a finding names may lie at a line end or behind the last line.
TEST(ReportTest, NoPlaceIsBehindItsLine) {
    for (const char *text :
         {"WRITE\n", "WRITE\r\n", "SET\r\r\n", "IF", "IF\n", "\n\nGOTO\n", "WRITE \"x\nFOO \xff\xff\n"}) {
        const auto json = nlohmann::json::parse(report_json(result_of("a", text)));
        const Lines lines(text);
        for (const auto &finding : json["findings"]) {
            const size_t line = finding["line"], end = finding["endLine"];
            EXPECT_LE(finding["column"], lines.text(line).size() + 1) << text;
            EXPECT_LE(finding["endColumn"], lines.text(end).size() + 1) << text;
            EXPECT_GE(std::make_pair(finding["endLine"], finding["endColumn"]),
                      std::make_pair(finding["line"], finding["column"]));
        }
    }
}

TEST(ReportTest, NoBytesBreakAFormatOrReachATerminal) {
    std::string every;
    for (int byte = 1; byte < 256; ++byte) every += static_cast<char>(byte);
    for (const std::string &text :
         {every, "FOO" + every + "\n" + every, std::string("GOTO \x1b[2J\xC2\x9B\n"),
          std::string("WRITE \"\0\"\nFOO\n", 14), std::string("FOO \xE2\x82\n\xF0\x9F\nFOO \xED\xA0\x80\n")}) {
        CheckResult result = result_of("a\x1b\n\xff\xC2\x9B.qrt", text);
        result.problems = {every};
        for (const ReportFormat format : all_formats) {
            const std::string shown = report(result, format, false);
            EXPECT_FALSE(has_control(shown)) << shown;
        }
        EXPECT_TRUE(nlohmann::json::accept(report_json(result)));
        EXPECT_TRUE(nlohmann::json::accept(report_sarif(result)));
    }
}

TEST(ReportTest, NoFormatShowsAPassword) {
    for (const char *text :
         {"TREE T/u;sekret x\n", "FOO\nattach S/u;sekret\n", "IF \"a\" = \"b\" THEN TREE T/u;\"sekret\" y\n",
          "TREE T/u;sekret", "REM qrtscript disable=QS9\nTREE \"T/u;sekret\" z ;\r\n", "TREE T/u;x sekret\n",
          "TRE LAB/.u.lab;sekret\n", "ATACH S/u;sekret\nCLS\n", "CONNECT LAB/.u.lab;sekret\n", "LAB/.u;sekret\n",
          "IF \"a\" = \"b\" THEN TRE LAB/.u;sekret\n", "IF \"a\" = \"b\" THEN CLS\nIF TRE LAB/.u;sekret\n",
          "TRE LAB/.u;sekret", "WRITE \"x\"\nFOO\nTRE LAB/.u;sekret\n", "TREE T/u;sekret x\rFOO\n",
          "SET DB_PASSWORD \"sekret\"\n", "SETT API_KEY=\"sekret\"\n", "PWD=\"sekret\"\n"}) {
        const CheckResult result = result_of("a", text);
        EXPECT_FALSE(result.scripts[0].findings.empty()) << text;
        for (const ReportFormat format : all_formats)
            EXPECT_THAT(report(result, format, true), Not(HasSubstr("sekret"))) << text;
    }
}

TEST_F(CheckFormats, EachIsWrittenForCleanScripts) {
    folder.write("a.qrt", "WRITE \"x\"\n");
    for (const char *format : {"text", "gcc", "github"})
        EXPECT_EQ(check({"--format", format, "a.qrt"}), (Outcome{0, "", ""}));
    for (const char *format : {"json", "sarif"}) {
        const Outcome outcome = check({"--format", format, "a.qrt"});
        EXPECT_EQ(outcome.status, 0);
        EXPECT_TRUE(nlohmann::json::accept(outcome.out));
    }
    EXPECT_EQ(check({"--format=xml", "a.qrt"}).status, 2);
}

TEST_F(CheckFormats, WhatCouldNotBeCheckedIsInThem) {
    const auto json = nlohmann::json::parse(check({"--format=json", "none.qrt"}).out);
    EXPECT_EQ(json["problems"][0], "none.qrt: No such file or directory");
    const auto sarif = nlohmann::json::parse(check({"--format=sarif", "none.qrt"}).out);
    EXPECT_EQ(sarif["runs"][0]["invocations"][0]["executionSuccessful"], false);
    EXPECT_THAT(check({"--format=github", "none.qrt"}).out, HasSubstr("::error title=qrtscript check::none.qrt: "));
}
