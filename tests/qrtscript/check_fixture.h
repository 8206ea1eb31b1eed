// Runs `qrtscript check` and its neighbours over scripts in a folder of the test's own.
#ifndef TESTS_QRTSCRIPT_CHECK_FIXTURE_H
#define TESTS_QRTSCRIPT_CHECK_FIXTURE_H

#include <gmock/gmock.h>

#include "tests/support/process.h"

class CheckFixture : public testing::Test {
  protected:
    // Runs the words in the folder; `input` is standard input.
    Outcome qrtscript(const Words &words, const std::string &input = "") const {
        Words all = {"/bin/sh", "-c", "cd \"$0\" && exec \"$@\" <&3", folder.path(), QRTSCRIPT_PATH};
        all.insert(all.end(), words.begin(), words.end());
        return process_run(all, environment, input);
    }
    Outcome check(Words words, const std::string &input = "") const {
        words.insert(words.begin(), "check");
        return qrtscript(words, input);
    }
    // The shell's lines, with the program as "$0".
    Outcome shell(const std::string &lines) const {
        return process_run({"/bin/sh", "-c", "cd '" + folder.path() + "'\n" + lines, QRTSCRIPT_PATH}, environment);
    }

    TempFolder folder;
    Variables environment = process_environment();
};

#endif
