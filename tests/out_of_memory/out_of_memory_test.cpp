// What the library answers when memory runs out: each call with its first, second, third ... allocation failing, once
// and for good, until one run needs no more.
#include <gmock/gmock.h>

#include <cstdlib>
#include <cstring>
#include <functional>

#include "commands/drive.h"
#include "include/exported.h"
#include "language/actions.h"
#include "language/tokenizer.h"
#include "script/input_buffer.h"
#include "tests/allocations/failing_malloc.h"
#include "tests/unit/run_sequence_fixture.h"

namespace {

using testing::AnyOf;
using testing::Each;
using testing::HasSubstr;
using testing::Not;

class MemoryTest : public RunSequenceTest {
  protected:
    MemoryTest() { keeps_snapshots_ = false; }

    // Runs `call` with one allocation failing after the other; `check` follows each run in which one failed.
    static void with_each_failing(const std::function<void()> &call, const std::function<void()> &check) {
        for (const bool for_good : {false, true}) {
            long failed = 1;
            for (long at = 1; failed > 0; at++) {
                SCOPED_TRACE("allocation " + std::to_string(at) + (for_good ? " for good" : " once"));
                allocations_arm(at, for_good);
                call();
                allocations_disarm();
                failed = allocations_failed();
                if (failed > 0) check();
            }
        }
    }
};

TEST_F(MemoryTest, AScriptThatFindsNoRoomForItsTextSaysSo) {
    int result = 0;
    setvbuf(stream_, nullptr, _IONBF, 0);
    allocations_arm(1, true);
    result = parsescript_Run("WRITE \"never\"\n", objname, handle);
    allocations_disarm();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(output(), "memory exhausted");
}

TEST_F(MemoryTest, AScriptEndsWithAReportOfTheLineThatItHadReached) {
    setvbuf(stream_, nullptr, _IONBF, 0);
    const char script[] = "WRITE \"a text that is longer than what fits into a string object\"\nWRITE \"later\"\n";
    int result = 0;
    with_each_failing([&] { result = parsescript_Run(script, objname, handle); },
                      [&] {
                          const std::string printed = output();
                          if (result == 0) return; // the allocation was one that can be done without
                          EXPECT_THAT(printed, AnyOf(HasSubstr("memory exhausted"),
                                                     HasSubstr("\nScript error.\nThe original line was:\nWRITE \"")));
                          EXPECT_EQ(condindex, 0);
                      });
    output();
    EXPECT_EQ(run("WRITE \"whole again\"\n"), 0);
    EXPECT_EQ(output(), "whole again\n");
}

TEST_F(MemoryTest, NoStatementIsPassedOverInSilence) {
    setvbuf(stream_, nullptr, _IONBF, 0);
    folder_.script("program", "echo program ran");
    int result = 0;
    with_each_failing([&] { result = parsescript_Run("#program\nMAP H:=SRV1/SYS:\n", objname, handle); },
                      [&] {
                          const std::string printed = output();
                          const bool whole = printed == "program ran\nmap ran\n";
                          EXPECT_EQ(result, whole ? 0 : 1) << printed;
                          if (whole) return;
                          EXPECT_THAT(printed, AnyOf(HasSubstr("memory exhausted"), HasSubstr("Script error.")));
                      });
    EXPECT_EQ(output(), "program ran\nmap ran\n");
}

TEST_F(MemoryTest, AnAssignedOrWrittenTextIsTheOneOfTheScript) {
    setvbuf(stream_, nullptr, _IONBF, 0);
    const std::string text(50, 't');
    const std::string script = "SET TEXT=\"" + text + "\"\nWRITE \"" + text + "\"\n";
    int result = 0;
    with_each_failing(
        [&] {
            unsetenv("TEXT");
            result = parsescript_Run(script.c_str(), objname, handle);
        },
        [&] {
            const std::string printed = output();
            const char *assigned = getenv("TEXT");
            EXPECT_TRUE(assigned == nullptr || assigned == text); // setenv's own failure is not looked at
            if (result != 0) {
                EXPECT_THAT(printed, AnyOf(HasSubstr("memory exhausted"), HasSubstr("Script error.")));
                return;
            }
            EXPECT_EQ(printed, text + "\n");
        });
    EXPECT_EQ(output(), text + "\n");
}

TEST_F(MemoryTest, AnIncludeThatFindsNoRoomIsSkippedAndTheScriptGoesOn) {
    setvbuf(stream_, nullptr, _IONBF, 0);
    ASSERT_EQ(lex_addBuffer("rest\n"), 0);
    const LexBuffer *before = nullptr;
    const auto include = [&] {
        before = lex_activeBuffer();
        EXPECT_EQ(lex_IncludeFile("included\n"), 0);
    };
    with_each_failing(include, [&] {
        EXPECT_EQ(output(), "memory exhausted");
        EXPECT_EQ(lex_activeBuffer(), before);
    });
    EXPECT_STREQ(lex_activeBuffer()->data, "included\n\r\nincluded\n\r\nrest\n");
    lex_free_active_buffer();
    ibufstackindex = 0;
}

TEST_F(MemoryTest, TheReadersOfOneTextHaveNone) {
    const std::string word(lex_max_word, 'w');
    ASSERT_EQ(lex_addBuffer(word.c_str()), 0);
    for (char *(*reader)(LexBuffer *) : {lex_gettoken, lex_quotestring, lex_line, lex_line_fetch}) {
        char *text = nullptr;
        const auto read = [&] {
            free(text);
            lex_activeBuffer()->readPos = 0;
            text = reader(lex_activeBuffer());
        };
        with_each_failing(read, [&] { EXPECT_EQ(text, nullptr); });
        EXPECT_EQ(text, word);
        free(text);
    }
    lex_free_active_buffer();
    ibufstackindex = 0;
}

TEST_F(MemoryTest, TheTokenizerTellsTheEndAndTheParserItsOwnResult) {
    setvbuf(stream_, nullptr, _IONBF, 0);
    ASSERT_EQ(lex_addBuffer("WORD\n"), 0);
    lex_activeBuffer()->readPos = 0;
    allocations_arm(1, true);
    const int token = yylex();
    lex_activeBuffer()->readPos = 0;
    const int parsed = yyparse();
    allocations_disarm();
    EXPECT_EQ(token, 0);
    EXPECT_EQ(parsed, 2);
    EXPECT_EQ(output(), "memory exhausted\nScript error.\nThe original line was:\nWORD\n\n");
    lex_free_active_buffer();
    ibufstackindex = 0;
}

TEST_F(MemoryTest, ALineOfTheOutputThatCannotBeCutToItsLengthIsHandedOutAllTheSame) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "a line\n", 7), 7);
    fd[0] = ends[0];
    char *line = nullptr;
    allocations_arm(2, false);
    const int result = qrt_ReadResults(&line);
    allocations_disarm();
    EXPECT_EQ(allocations_failed(), 1);
    EXPECT_EQ(result, 0);
    EXPECT_STREQ(line, "a line");
    free(line);
    close(ends[0]);
    close(ends[1]);
    fd[0] = 0;
}

TEST_F(MemoryTest, JoinersAndTheReplacerHandBackNull) {
    char a[] = "one", b[] = "two";
    for (char *(*join)(char *, char *) : {util_concat_filespec, util_concat_strings, util_concat_strings_nos}) {
        char *joined = nullptr;
        const auto call = [&] {
            free(joined);
            joined = join(a, b);
        };
        with_each_failing(call, [&] { EXPECT_EQ(joined, nullptr); });
        EXPECT_NE(joined, nullptr);
        free(joined);
    }
    char *text = strdup("a text");
    char *replaced = text;
    with_each_failing([&] { replaced = util_parse_replace_string(replaced == nullptr ? text : replaced, "text", "t"); },
                      [&] {
                          EXPECT_EQ(replaced, nullptr);
                          EXPECT_STREQ(text, "a text");
                      });
    EXPECT_STREQ(replaced, "a t");
    free(replaced);
}

TEST_F(MemoryTest, ADriveThatCouldNotBeMappedIsAMistakeOfTheScript) {
    const std::string long_target(200, 'x');
    int result = 0;
    syntax_error = 0;
    with_each_failing([&] { result = qrt_map_command(handle, "true", long_target.c_str(), nullptr, nullptr); },
                      [&] {
                          EXPECT_EQ(result, syntax_error);
                          EXPECT_THAT(result, AnyOf(0, 1));
                          syntax_error = 0;
                      });
    EXPECT_EQ(result, 0);
}

TEST_F(MemoryTest, AnIdentifierWithoutMemoryCountsAsUnknown) {
    uint32_t code = 0;
    char *value = nullptr;
    const auto call = [&] {
        free(value);
        value = nullptr;
        code = qrt_GetIdentifierValue(handle, "jdoe.acme", "COMSPEC", &value);
    };
    with_each_failing(call, [&] {
        EXPECT_EQ(code, QRT_NOT_FOUND);
        EXPECT_EQ(value, nullptr);
    });
    EXPECT_STREQ(value, "Not_Available_For_Linux");
    free(value);
}

// The allocations behind the question for the user are those that keep the user's name.
TEST_F(MemoryTest, ALoginRunsNoScriptForAUserThatCouldNotBeKept) {
    setvbuf(stream_, nullptr, _IONBF, 0);
    int told = 0;
    for (long at = 1; at <= 12; at++) {
        SCOPED_TRACE("allocation " + std::to_string(at));
        declare_network();
        args_.user = hold("jdoe");
        const auto prepare = [at] {
            spy::on_call([at](const std::string &call) {
                if (call.rfind("ZKDSWhoAmI", 0) == 0) allocations_arm(at, false);
            });
        };
        const uint32_t result = run_all(prepare);
        allocations_disarm();
        EXPECT_THAT(spy::calls("ZKDSOpenStream"), Each(Not(HasSubstr("null"))));
        if (printed_.find("memory exhausted") == std::string::npos) continue;
        EXPECT_EQ(result, 1U);
        EXPECT_THAT(spy::calls("ZKDSOpenStream"), testing::IsEmpty());
        told++;
    }
    EXPECT_GT(told, 0);
}

TEST_F(MemoryTest, NoObjectHasNoScript) {
    char *text = nullptr;
    EXPECT_EQ(qrt_GetLoginScript(handle, nullptr, &text), ZKE_NO_SUCH_ENTRY);
    EXPECT_EQ(qrt_get_container(handle, nullptr, &text), QRT_NOT_FOUND);
    EXPECT_EQ(text, nullptr);
}

} // namespace
