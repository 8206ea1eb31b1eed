// Each code has a page, and what the page shows is true.
#include "tools/qrtscript/check/code_pages.h"

#include <algorithm>
#include <cstring>
#include <nlohmann/json.hpp>
#include <set>

#include "tests/qrtscript/check_fixture.h"
#include "tools/qrtscript/check/finding.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

class CodePages : public CheckFixture {
  protected:
    CodePages() { environment["ZKCLIENT_CONF"] = SOURCE_DIR "/examples/acme/client.toml"; }

    // The script that the n-th fenced text of a page is, or that its command writes.
    std::string example(const std::string &page, int number) const {
        size_t at = 0;
        for (int i = 0; i < 2 * number; ++i) at = page.find("\n```", at) + 1;
        at = page.find("\n```", at) + 1;
        const size_t begin = page.find('\n', at) + 1, end = page.find("\n```", begin) + 1;
        const std::string kind = page.substr(at + 3, begin - at - 4), text = page.substr(begin, end - begin);
        EXPECT_TRUE(kind == "qrt" || kind == "sh") << kind;
        return kind == "sh" ? shell(text).out : text;
    }

    std::set<std::string> codesOf(const std::string &script) const {
        folder.write("script", script);
        const Outcome outcome = check({"--user=.jdoe.sales.acme", "--no-ignore", "--format=json", "script"});
        EXPECT_EQ(outcome.err, "");
        std::set<std::string> found;
        const auto report = nlohmann::json::parse(outcome.out);
        for (const auto &finding : report["findings"]) found.insert(finding["code"]);
        return found;
    }
};

} // namespace

TEST_F(CodePages, EachCodeHasOneAndEachIsOfACode) {
    std::vector<std::string_view> names;
    for (size_t place = 0; place < code_count; ++place) names.emplace_back(codes[place].name);
    EXPECT_EQ(code_pages(), names);
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
}

TEST_F(CodePages, BeginWithTitleAndSeverity) {
    for (size_t place = 0; place < code_count; ++place) {
        const Code &code = codes[place];
        EXPECT_THAT(std::string(code_page(code.name)),
                    StartsWith(std::string("# ") + code.name + ": " + code.title +
                               "\n\nSeverity: " + severity_name(code.severity) + "\n\n"));
    }
}

TEST_F(CodePages, TheFirstExampleGivesTheFindingAndTheSecondNone) {
    for (const std::string_view code : code_pages()) {
        const std::string page(code_page(code));
        const std::set<std::string> found = codesOf(example(page, 0));
        EXPECT_EQ(found.count(std::string(code)), 1U) << code << ": " << testing::PrintToString(found);
        const std::set<std::string> left = codesOf(example(page, 1));
        EXPECT_EQ(left.count(std::string(code)), 0U) << code;
        // A directive hides findings only for those who trust the script.
        const bool isClean = left.empty() || code.substr(0, 3) == "QS0";
        EXPECT_TRUE(isClean) << code << ": " << testing::PrintToString(left);
    }
}

TEST_F(CodePages, AreExplainedOnATerminal) {
    const Outcome outcome = qrtscript({"explain-code", "qs1007"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, StartsWith("QS1007: ELSE IF on one line\n\nSeverity: error\n"));
    EXPECT_THAT(outcome.out, HasSubstr("\nExample\n\n    IF \"%1\" = \"a\" THEN\n"));
    EXPECT_THAT(qrtscript({"explain-code", "--color", "QS1007"}).out, StartsWith("\x1b[1mQS1007: "));
    EXPECT_THAT(qrtscript({"explain-code", "QS1007", "QS1008"}).out, HasSubstr("\n\nQS1008: "));
}

TEST_F(CodePages, AllCodesAreListed) {
    const Outcome outcome = qrtscript({"explain-code"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), static_cast<long>(code_count));
    EXPECT_THAT(outcome.out, HasSubstr("QS1007  error    ELSE IF on one line\n"));
    // They are looked up by that order.
    const auto before = [](const Code &one, const Code &other) { return strcmp(one.name, other.name) < 0; };
    EXPECT_TRUE(std::is_sorted(codes, codes + code_count, before));
}

TEST_F(CodePages, OfAnUnknownCodeThereIsNone) {
    EXPECT_EQ(qrtscript({"explain-code", "QS1099"}),
              (Outcome{2, "", "qrtscript explain-code: there is no code QS1099; did you mean QS1009?\n"}));
    EXPECT_EQ(qrtscript({"explain-code", "x\x1b"}).err, "qrtscript explain-code: there is no code x\\x1B\n");
    EXPECT_EQ(qrtscript({"explain-code", "--nonsense"}).status, 2);
}
