// Scripts that nobody would write: too long, too deep, random. None may crash, leak or hang, and what can be said about
// their output is said.
#include <algorithm>
#include <random>

#include "tests/unit/session_fixture.h"

namespace {

class HostileScriptTest : public ScriptTest {
  protected:
    static size_t count(const std::string &text, const std::string &part) {
        size_t found = 0;
        for (size_t at = text.find(part); at != text.npos; at = text.find(part, at + part.size())) found++;
        return found;
    }
    static std::string noise(unsigned seed, size_t length, const std::string &without) {
        std::mt19937 random(seed);
        std::string text;
        while (text.size() < length) {
            const char c = static_cast<char>(random() % 255 + 1);
            if (without.find(c) == without.npos) text += c;
        }
        return text;
    }
    // Lines of random words, signs and quotes of the language.
    static std::string babble(unsigned seed, int lines, const std::vector<std::string> &words) {
        std::mt19937 random(seed);
        std::string text;
        while (lines-- > 0) {
            for (auto length = random() % 12; length > 0; length--) text += words[random() % words.size()] + " ";
            text += random() % 8 ? "\n" : "\r\n";
        }
        return text;
    }
};

static const std::string signs = "= ( ) < > ! : * - ; / + % \\ . \"text\" \"%LOGIN_NAME\" \"open word word2 A.B";
// All keywords but those that `without` names, and the words and signs of `further`.
static std::vector<std::string> vocabulary(const std::string &without, const std::string &further) {
    std::vector<std::string> words = words_of(further);
    const std::vector<std::string> left_out = words_of(without);
    for (const std::string &keyword : keywords())
        if (std::count(left_out.begin(), left_out.end(), keyword) == 0) words.push_back(keyword);
    return words;
}

TEST_F(HostileScriptTest, LongScriptsRunToTheirEnd) {
    const std::string megabyte(1000000, 'x'), words = "FOO" + repeat(250000, " BAR");
    setenv("SELF", "%<SELF>", 1);
    expect_scripts({
        {"ten megabytes of remarks", repeat(100000, "REM " + std::string(95, 'x') + "\n") + "WRITE \"end\"\n", "end\n"},
        {"ten megabytes of one line", "REM " + std::string(10000000, 'x') + "\nWRITE \"end\"\n", "end\n"},
        {"a quoted string of one megabyte", "WRITE \"" + megabyte + "\"\n", megabyte + "\n"},
        {"an error quotes its long line whole", words + "\nWRITE \"end\"\n", report(words) + "end\n", 1},
        {"an open quote at the end", "WRITE \"" + megabyte, report("WRITE \"" + megabyte), 1},
        {"ends and elses", repeat(100000, "END\n") + repeat(100000, "ELSE\n") + "WRITE \"end\"\n", "end\n"},
        {"a value that names itself", "WRITE \"%<SELF>\"\n", "%<SELF>\n"},
    });
}

TEST_F(HostileScriptTest, OneMegabyteOfASingleCharacter) {
    for (const char c : std::string("\n\t ;*\"\\:%<>=()!-+/.x\x01\xff")) {
        run(std::string(1000000, c) + "\n\n\nWRITE \"end\"\n");
        const std::string text = output();
        EXPECT_EQ(text.substr(text.size() - 4), "end\n") << c;
    }
}

// Every fourth carriage return is an error, and none looks back over all of them.
TEST_F(HostileScriptTest, AHundredThousandCarriageReturns) {
    EXPECT_EQ(run(std::string(100000, '\r') + "\nWRITE \"end\"\n"), 1);
    const std::string text = output();
    EXPECT_THAT(text, StartsWith(report("bogus") + report("bogus")));
    EXPECT_THAT(text, EndsWith("end\n"));
}

TEST_F(HostileScriptTest, WordsOfTenThousandCharacters) {
    const std::string word(10000, 'w'), cut(511, 'w');
    EXPECT_EQ(run("SET " + word + " = \"" + word + "\"\nWRITE <" + cut + ">\nCX " + word + "=" + word + "\n:" + word +
                  "\n" + word + ":\nGOTO " + word + "\nWRITE \"end\"\n"),
              0);
    EXPECT_EQ(output(), word + "\nYour current context is: " + cut + "=" + cut + "\nend\n");
}

TEST_F(HostileScriptTest, TenThousandJoinedWordsAreTooMuchForTheParser) {
    EXPECT_EQ(run("SET a" + repeat(10000, "-b") + " = \"x\"\n"), 1);
    EXPECT_EQ(run("CX" + repeat(20000, " a") + "\n"), 1);
    EXPECT_EQ(count(output(), "Script error.\n"), 2U);
}

// Each of them quotes the first line, from ever further behind it.
TEST_F(HostileScriptTest, AMistakeInEachOfManyLinesOfLineEnds) {
    EXPECT_EQ(run("REM first\n" + repeat(100000, "\r\r\r\r\n")), 1);
    EXPECT_EQ(count(output(), report("REM first")), 100000U);
}

TEST_F(HostileScriptTest, FiveThousandNestedBlocks) {
    EXPECT_EQ(run(repeat(5000, "IF \"0\" THEN\n") + "WRITE \"inner\"\n" + repeat(5000, "END\n") + "WRITE \"end\"\n"),
              1);
    const std::string text = output();
    EXPECT_EQ(count(text, "Script error.\n"), 1U);
    EXPECT_EQ(count(text, "\ninner\n"), 0U);
    EXPECT_THAT(text, EndsWith("\n\nend\n"));
}

TEST_F(HostileScriptTest, ThousandsOfNestedBlocksEnd) {
    EXPECT_EQ(run(repeat(5000, "IF \"0\" THEN\n")), 1);
    EXPECT_THAT(output(), EndsWith("Warning, unmatched IF...THEN statment (no END or ENDIF)\n"));
    EXPECT_EQ(printed("WRITE \"next script\"\n"), "next script\n");
    EXPECT_EQ(run(repeat(5000, "IF ) \n") + repeat(5000, "END\n") + "WRITE \"end\"\n"), 1);
    EXPECT_THAT(output(), EndsWith("end\n"));
    EXPECT_EQ(run(repeat(5000, "IF \"0\" THEN ") + "WRITE \"inner\"\nWRITE \"end\"\n"), 1);
    EXPECT_EQ(count(output(), "\ninner\n"), 0U);
    EXPECT_EQ(printed("WRITE \"next script\"\n"), "next script\n");
}

TEST_F(HostileScriptTest, ThousandIfsOnOneLineLeaveTheirLevels) {
    EXPECT_EQ(run(repeat(1000, "IF \"0\" THEN ") + "WRITE \"inner\"\nWRITE \"end\"\n"), 1);
    const std::string text = output();
    EXPECT_EQ(count(text, "Script error.\n"), 1U);
    EXPECT_THAT(text, EndsWith("\n\nend\n"));
}

TEST_F(HostileScriptTest, AFileThatIncludesItselfStops) {
    folder_.file("self", "WRITE \"in\"\nINCLUDE " + folder_.path("self") + "\nWRITE \"out\"\n");
    EXPECT_EQ(run("INCLUDE " + folder_.path("self") + "\nWRITE \"end\"\n"), 0);
    EXPECT_EQ(output(), repeat(100, "in\n") + "memory exhausted" + repeat(100, "out\n") + "end\n");
}

// Read to its end, the text would be 2^100 texts.
TEST_F(HostileScriptTest, AFileThatIncludesItselfTwice) {
    const std::string again = "INCLUDE " + folder_.path("self") + "\n";
    folder_.file("self", "REM " + std::string(1 << 20, 'x') + "\n" + again + again);
    EXPECT_EQ(run("INCLUDE " + folder_.path("self") + "\nWRITE \"end\"\n"), 0);
    const std::string shown = output();
    // Of 63 texts, each of the 126 statements but 62 has been refused.
    EXPECT_EQ(count(shown, "memory exhausted"), 64u);
    EXPECT_THAT(shown, EndsWith("memory exhaustedend\n"));
}

TEST_F(HostileScriptTest, TextsThatIncludeEachOtherStop) {
    folder_.file("a", "INCLUDE " + folder_.path("b") + "\n");
    folder_.file("b", "INCLUDE " + folder_.path("a") + "\n");
    EXPECT_EQ(run("INCLUDE " + folder_.path("a") + "\nWRITE \"end\"\n"), 0);
    EXPECT_EQ(output(), "memory exhaustedend\n");
    spy::stream(user, "INCLUDE .jdoe.sales.acme\r\n");
    EXPECT_EQ(run("INCLUDE .jdoe.sales.acme\nWRITE \"end\"\n"), 0);
    EXPECT_EQ(output(), "memory exhaustedend\n");
}

TEST_F(HostileScriptTest, ALoopAroundAnIncludeDoesNotNest) {
    folder_.file("once", "SET N = %<N> + \"1\"\n");
    EXPECT_EQ(run("SET N = \"0\"\nLOOP:\nINCLUDE " + folder_.path("once") +
                  "\nIF VALUE %<N> < \"20000\" THEN GOTO LOOP\n"
                  "WRITE \"end\"\n"),
              0);
    EXPECT_EQ(output(), "end\n");
}

TEST_F(HostileScriptTest, NoiseIsReadToItsEnd) {
    // Without the signs that start programs.
    run(noise(1, 1000000, "#@") + "\n\nWRITE \"end\"\n");
    EXPECT_THAT(output(), HasSubstr("Script error.\n"));
    run("IF \"1\" THEN\n" + noise(2, 1000000, "") + "\n\nEND\nWRITE \"end\"\n");
    EXPECT_THAT(output(), EndsWith("\nend\n"));
    std::mt19937 random(3);
    std::string text;
    while (text.size() < 200000) text += "\"\\\r\n;: %<>"[random() % 10];
    run(text + "\n\nWRITE \"end\"\n");
    EXPECT_THAT(output(), EndsWith("end\n"));
}

TEST_F(HostileScriptTest, RandomWordsOfTheLanguage) {
    const auto words = vocabulary("GOTO EXIT DEBUG DRIVE TREE MAP PATH", signs);
    for (unsigned seed = 0; seed < 20; seed++) {
        condstate[0] = 0;
        run(babble(seed, 300, words));
        EXPECT_THAT(output(), HasSubstr("Script error.\n")) << seed;
    }
}

TEST_F(HostileScriptTest, SkippedRandomWordsDoNothing) {
    const auto words = vocabulary("ELSE END ENDIF", "# @ " + signs);
    for (unsigned seed = 0; seed < 20; seed++) {
        const std::string script = "IF \"1\" THEN\n" + babble(seed, 300, words);
        run(script + "\n\n" + repeat(1000, "END\n") + "WRITE \"end\"\n");
        EXPECT_THAT(output(), EndsWith("\nend\n")) << seed;
        EXPECT_EQ(bcntrlc, 0);
        EXPECT_STREQ(CurrentContext, ".sales.acme");
        EXPECT_EQ(gotoWasUsed, 0);
    }
}

} // namespace
