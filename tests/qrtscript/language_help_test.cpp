// The sentences of the editor's help are those of the manual.
#include "tools/qrtscript/check/language_help.h"

#include <gmock/gmock.h>
#include <regex>
#include <sstream>

#include "include/qrtscript.h"
#include "tests/support/process.h"
#include "tools/qrtscript/check/forms.h"

namespace {

struct ManualRow {
    std::vector<std::string> names; // the first words of what stands in code spans
    std::string sentence;
};

std::vector<ManualRow> manual_table(const std::string &heading) {
    const std::string manual = file_text(SOURCE_DIR "/docs/language.md");
    std::istringstream lines(manual.substr(manual.find("|---", manual.find("\n" + heading + "\n"))));
    std::vector<ManualRow> rows;
    std::string line;
    std::getline(lines, line);
    const std::regex link("\\[([^\\]]*)\\]\\([^)]*\\)"), word("`([^` ]+)[^`]*`"), last(" to `9`");
    while (std::getline(lines, line) && line[0] == '|') {
        const size_t end = line.find(" | ");
        std::string cell = std::regex_replace(line.substr(2, end - 2), last, " `3` `4` `5` `6` `7` `8` `9`");
        ManualRow row = {{}, std::regex_replace(line.substr(end + 3, line.find(" |", end + 3) - end - 3), link, "$1")};
        for (std::sregex_iterator at(cell.begin(), cell.end(), word), none; at != none; ++at)
            row.names.push_back((*at)[1] == ":label" ? ":" : (*at)[1].str());
        rows.push_back(row);
    }
    return rows;
}

} // namespace

TEST(LanguageHelp, SaysOfStatementsWhatTheManualSays) {
    size_t count = 0;
    for (const ManualRow &row : manual_table("## Statements at a glance"))
        for (const std::string &name : row.names) {
            if (name == "label:" || name == "DOS") continue;
            EXPECT_EQ(statement_sentence(name), row.sentence) << name;
            ++count;
        }
    EXPECT_GT(count, 40U);
    for (const std::string_view keyword : statement_keywords()) EXPECT_NE(statement_sentence(keyword), "") << keyword;
    for (const char *prefix : {"DOS", "temp", "LOCAL"})
        EXPECT_EQ(statement_sentence(prefix), statement_sentence("SET"));
    EXPECT_EQ(statement_sentence("FOO"), "");
}

TEST(LanguageHelp, SaysOfIdentifiersWhatTheManualSays) {
    size_t count = 0;
    std::string attribute;
    for (const ManualRow &row : manual_table("### All identifiers")) {
        for (const std::string &name : row.names) {
            EXPECT_EQ(identifier_sentence(name), row.sentence) << name;
            ++count;
        }
        if (row.names.empty()) attribute = row.sentence;
    }
    EXPECT_GT(count, 60U);
    EXPECT_EQ(identifier_sentence("TITLE"), attribute);
    EXPECT_EQ(identifier_sentence("login_name"), identifier_sentence("LOGIN_NAME"));
    for (const QrtIdentifier *row = itable; row->name != nullptr; ++row)
        EXPECT_NE(identifier_sentence(row->name), attribute) << row->name;
}
