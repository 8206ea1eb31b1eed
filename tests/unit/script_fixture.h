// What the tests of the script language share: a session of jdoe in .sales.acme of ACME_TREE, and verbs to run scripts
// in it over the recording client. The object jdoe.sales.acme exists and has no attribute that a test does not give it.
#ifndef SCRIPT_FIXTURE_H
#define SCRIPT_FIXTURE_H

#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "include/exported.h"
#include "language/actions.h"
#include "language/tokenizer.h"
#include "script/input_buffer.h"
#include "tests/client_spy/client_spy.h"
#include "tests/unit/command_fixture.h"

// The words of a text, which blanks separate.
inline std::vector<std::string> words_of(const std::string &text) {
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) words.push_back(word);
    return words;
}

// The reserved words that may stand in front of a label's colon, from the grammar's rule; those that start a whole line
// come on top.
inline std::vector<std::string> label_words(const std::string &further = "") {
    std::ostringstream grammar;
    grammar << std::ifstream(SOURCE_DIR "/language/grammar.y").rdbuf();
    const std::string text = grammar.str();
    const size_t start = text.find("\nr_words:");
    std::string rule = text.substr(start, text.find("\n  ;", start) - start).substr(sizeof "\nr_words:" - 1);
    for (char &c : rule) c = c == '"' || c == '|' ? ' ' : c;
    std::vector<std::string> words = words_of(rule + " " + further);
    EXPECT_GE(words.size(), 40u);
    return words;
}

class ScriptTest : public CommandTest {
  protected:
    ScriptTest() {
        spy::reset();
        spy::tree("ACME_TREE", "SRV1");
        spy::object(user);
        spy::logged_in(user);
        CurrentObject = text_copy("jdoe").release();
        CurrentContext = text_copy(".sales.acme").release();
        InitialContext = text_copy(".sales.acme").release();
        LoginName = text_copy("jdoe").release();
        ZKDSCreateContextHandle(&context_);
        ZKDSSetContext(context_, DCK_TREE_NAME, "ACME_TREE");
        spy::forget_calls();
        ibufstackindex = 0;
        invalidGoToLabel = 0;
        bcntrlc = 0;
    }
    ~ScriptTest() override {
        for (char **global : {&CurrentContext, &InitialContext, &CurrentObject, &LoginName, &over_ride_profile,
                              &driveDir, &gotolabel, &CurrentTree, &CurrentPassword}) {
            free(*global);
            *global = nullptr;
        }
        for (int i = 0; i < QRT_USER_VARIABLES; i++) qrt_SetUserVar(i, nullptr);
        ZKDSFreeContext(context_);
        EXPECT_THAT(spy::mistakes(), testing::IsEmpty());
        EXPECT_EQ(spy::open_buffers(), 0);
        EXPECT_EQ(spy::open_contexts(), 0);
        EXPECT_EQ(spy::open_files(), 0);
    }

    // Runs a script in the session. Returns the runner's result.
    int run(const std::string &script) {
        std::string object = user;
        const int result = parsescript_Run(script.c_str(), object.data(), context_);
        objname = nullptr;
        context_ = ctx; // a TREE statement leaves its own handle
        return result;
    }
    // Runs a script and returns what it wrote.
    std::string printed(const std::string &script) {
        run(script);
        return output();
    }
    // Runs the parser alone, as the runner does. Returns the parser's own result.
    int parse(const std::string &script) {
        end_of_line = 1;
        cond_reset();
        ctx = context_;
        ibufstackindex = 0;
        lex_addBuffer(script.c_str());
        const int result = yyparse();
        lex_free_active_buffer();
        return result;
    }

    // The report of a syntax error that quotes `line`.
    static std::string report(const std::string &line) {
        return "\nScript error.\nThe original line was:\n" + line + "\n\n";
    }

    static constexpr char user[] = "jdoe.sales.acme";
    uint32_t context_ = 0;
};

#endif
