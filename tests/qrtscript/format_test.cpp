// What a formatted script looks like, and that it is still the same script.
#include "tools/qrtscript/check/format.h"

#include <gmock/gmock.h>
#include <cstdlib>
#include <filesystem>

#include "tests/qrtscript/same_script.h"
#include "tests/support/process.h"
#include "tests/unit/script_model.h"
#include "tests/unit/statement_forms.h"

namespace {

std::string formatted(const std::string &text, size_t indentation = 2) {
    return script_formatted(syntax_read(text), {indentation});
}

struct Row {
    const char *before, *after;
};

void expect_formatted(const std::vector<Row> &rows) {
    for (const Row &row : rows) {
        EXPECT_EQ(formatted(row.before), row.after);
        EXPECT_EQ(formatted(row.after), row.after);
        EXPECT_EQ(same_script::difference(row.before, row.after), "") << row.before;
    }
}

void expect_left(const std::vector<const char *> &texts) {
    for (const char *text : texts) EXPECT_EQ(formatted(text), text);
}

} // namespace

TEST(Format, IndentsByTheIfsAround) {
    expect_formatted({
        {"IF \"a\" THEN\nCLS\n      IF \"b\" THEN BEGIN\nCLS\n\tELSE\nCLS\nENDIF\n  END\n CLS\n",
         "IF \"a\" THEN\n  CLS\n  IF \"b\" THEN BEGIN\n    CLS\n  ELSE\n    CLS\n  ENDIF\nEND\nCLS\n"},
        {"IF \"a\"\nCLS\nCLS\n", "IF \"a\"\n  CLS\nCLS\n"},
        {"IF \"a\"\nIF \"b\"\nCLS\nCLS\n", "IF \"a\"\n  IF \"b\"\n    CLS\nCLS\n"},
        {"IF \"a\" THEN CLS\n  CLS\n", "IF \"a\" THEN CLS\nCLS\n"},
        {"IF \"a\"  \n \nCLS\nEND\n", "IF \"a\"\n\n  CLS\nEND\n"},
        {"END\nELSE\n CLS\n", "END\nELSE\nCLS\n"},
        {"IF \"a\" THEN\nrem  one \n*  two \n  @x \n  map  x  \nEND\n",
         "IF \"a\" THEN\n  REM  one \n  *  two \n  @x \n  MAP  x  \nEND\n"},
    });
    EXPECT_EQ(formatted("IF \"a\" THEN\nCLS\nEND\n", 4), "IF \"a\" THEN\n    CLS\nEND\n");
    EXPECT_EQ(formatted("IF \"a\" THEN\n CLS\nEND\n", 0), "IF \"a\" THEN\nCLS\nEND\n");
}

TEST(Format, WritesKeywordsInCapitalsWhereTheyAreKeywords) {
    expect_formatted({
        {"write if\nwrite write-on ; not member of \"of\"\n", "WRITE if\nWRITE write-on ; NOT MEMBER OF \"of\"\n"},
        {"if value is is then and members of \"if\" or ( of = <value> ) nor \"x\" not equals then then write then\n",
         "IF VALUE is IS then AND MEMBERS OF \"if\" OR ( of = <value> ) NOR \"x\" NOT EQUALS then THEN WRITE then\n"},
        {"if a greater than b and c less than d and e equal f and g equals h then do\nend\n",
         "IF a GREATER THAN b AND c LESS THAN d AND e EQUAL f AND g EQUALS h THEN DO\nEND\n"},
        {"set set = \"set\"\ndos set if =\ntemp set on = end\nlocal set x = on\n",
         "SET set = \"set\"\nDOS SET if =\nTEMP SET on = end\nLOCAL SET x = on\n"},
        {"dos break on\nbreak off\nset_time on\ndos verify on\n",
         "DOS BREAK ON\nBREAK OFF\nSET_TIME ON\nDOS VERIFY on\n"},
        {"debug off\ndebug on\nfire phasers 3\nfire phaser 3\nfire phaser\n",
         "DEBUG OFF\nDEBUG on\nFIRE phasers 3\nFIRE PHASER 3\nFIRE phaser\n"},
        {"goto loop\nif:\n:end\ninclude display\ncx if.on\n", "GOTO loop\nif:\n:end\nINCLUDE display\nCX if.on\n"},
        {"tree map/if;end\nprofile profile\ndrive drive:\ncomspec = /if\n",
         "TREE map/if;end\nPROFILE profile\nDRIVE drive:\nCOMSPEC = /if\n"},
    });
}

TEST(Format, EndsLinesInALineFeed) {
    expect_formatted({
        {"CLS\r\nMAP x \r\r\nWRITE \"x\r\r\r\n\r\n:a\r\nCLS \t\r\n", "CLS\nMAP x \nWRITE \"x\n\n:a\nCLS\n"},
        {"CLS\n\n  \n\t", "CLS\n"},
        {"\n\n\n", "\n"},
        {"IF \"a\"\n\n\n\n", "IF \"a\"\n\n"},
    });
    expect_left({"", " ", "CLS", "CLS\nCLS  ", "CLS\nREM x"});
}

TEST(Format, KeepsWhatBeginsALine) {
    // Labels, and what would become one.
    expect_formatted({
        {"IF \"a\" THEN\na:\n b:\n:c\n :d\nMAP:e\n MAP:f\nREM:g\n\t*h:\nCLS\nEND\n",
         "IF \"a\" THEN\na:\n b:\n:c\n :d\nMAP:e\n MAP:f\nREM:g\n\t*h:\n  CLS\nEND\n"},
    });
    // A line's first character is not looked at when the two words are joined.
    expect_left({"IF \"a\" THEN\n;Home Directory\nEND\n", "  ;home directory\n"});
    expect_formatted({{"IF \"a\" THEN\n;home  directory\nEND\n", "IF \"a\" THEN\n  ;home  directory\nEND\n"}});
}

TEST(Format, LeavesMistakesAsTheyAre) {
    expect_formatted({
        {"cls\n foo bar \r\n  cls\n  cls \r\n", "CLS\n foo bar \r\n  cls\nCLS\r\n"},
        {"goto write\n  cls\n  cls\n", "goto write\n  cls\nCLS\n"},
        {" if ) x\n  cls\ncls\nend\n\n", " if ) x\n  cls\n  CLS\nEND\n\n"},
        {" if \"a\" then foo bar\n  cls\n  cls\n", " if \"a\" then foo bar\n  cls\nCLS\n"},
        {"  cls\nwrite \"a\\\r\n", "CLS\nwrite \"a\\\r\n"},
        {"  cls\n  cls\n\n\r\r\r\r\n  cls\n  cls\n", "CLS\n  cls\n\n\r\r\r\r\n  cls\nCLS\n"},
        {"  cls\n  cls", "CLS\n  cls"},
    });
    // A jump into the middle of a label's line reads the rest of it, a mistake that quotes the next line.
    expect_left({"GOTO ab\r\n:abcd  \r\n  cls\r\n"});
    const std::string behind("CLS\n  cls\0\n  cls\nlabel:\n  cls\n", 30);
    EXPECT_EQ(formatted(" " + behind), behind);
}

TEST(Format, StaysSmallForManyOpenIfs) {
    std::string text;
    for (int i = 0; i < 5000; ++i) text += "IF a THEN\n";
    EXPECT_LT(formatted(text, 16).size(), text.size() * 110);
}

namespace {

using statement_forms::Source;

std::string random_line(Source &random) {
    static const std::vector<std::string> names = {"a", "ab", "abMAP", "abc", "GOTO", "home directory"};
    const std::string name = random.any_of(names);
    static const std::vector<std::string> blanks = {"", "", " ", "\t ", "   "};
    switch (random.below(12)) {
        case 0:
            return random.any_of(blanks) + name + random.any_of(blanks) + ":" + random.any_of(blanks);
        case 1:
            return random.any_of(blanks) + ":" + name + random.any_of(blanks);
        case 2:
            return random.any_of(blanks) + "goto " + name;
        case 3:
            return random.any_of(blanks) + random.any_of(std::vector<std::string>{"%", ";", "*", "map:", "WRITE %"}) +
                   name;
        case 4:
            return random.any_of(blanks);
        case 5:
            return "if " + random.any_of(blanks) + "\"a\" then " + random.any_of(blanks);
        case 6:
            return random.any_of(blanks) + random.any_of(std::vector<std::string>{"else", "end", "endif"});
        case 7:
            return random.mistaken(random.statement());
        case 8:
            return "write \"" + name + random.any_of(std::vector<std::string>{"\\", "\\\\", "\\\"", "  ", "\""});
        default:
            return random.any_of(blanks) + random.written(random.statement());
    }
}

std::string random_script(Source &random) {
    static const std::vector<std::string> ends = {"\n", "\r\n", "\r\r\n", "\n", " \r \n", "\r"};
    const size_t kinds = random.one_in(3) ? ends.size() : random.one_in(2) ? 2 : 1;
    std::string script;
    for (size_t count = random.below(12); count > 0; --count) script += random_line(random) + ends[random.below(kinds)];
    if (random.one_in(10)) script += random_line(random);
    if (random.one_in(10) && !script.empty()) script[random.below(script.size())] = '\0';
    return script;
}

void expect_same(const std::string &script) {
    const std::string once = formatted(script);
    EXPECT_EQ(same_script::difference(script, once), "") << testing::PrintToString(script) << "\nbecame\n"
                                                         << testing::PrintToString(once);
    EXPECT_EQ(formatted(once), once) << testing::PrintToString(script);
}

} // namespace

TEST(Format, ChangesNoScriptButItsLooks) {
    const char *scripts = getenv("QRT_PROPERTY_SCRIPTS"), *seed = getenv("QRT_PROPERTY_SEED");
    const int count = scripts != nullptr ? atoi(scripts) : 1500, first = seed != nullptr ? atoi(seed) : 1;
    for (int i = first; i < first + count && !HasFailure(); ++i) {
        SCOPED_TRACE("QRT_PROPERTY_SCRIPTS=1 QRT_PROPERTY_SEED=" + std::to_string(i));
        Source random(static_cast<unsigned>(i), "/dev/null");
        expect_same(random_script(random));
        expect_same(ScriptModel(random).script());
    }
}

TEST(Format, ChangesNoScriptOfTheProjectButItsLooks) {
    size_t count = 0;
    for (const char *folder : {SOURCE_DIR "/tests/scripts", SOURCE_DIR "/examples"})
        for (const auto &entry : std::filesystem::recursive_directory_iterator(folder)) {
            if (entry.path().extension() != ".qrt") continue;
            SCOPED_TRACE(entry.path());
            expect_same(file_text(entry.path()));
            ++count;
        }
    EXPECT_GT(count, 50U);
}
