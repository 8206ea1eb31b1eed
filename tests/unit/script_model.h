// Random scripts of which it is known what they write: blocks, single statements, jumps and loops with a WRITE in every
// place, and mistakes with their reports. Written down from what scripts are to do, without the library's help.
#ifndef TESTS_UNIT_SCRIPT_MODEL_H
#define TESTS_UNIT_SCRIPT_MODEL_H

#include <string>

#include "tests/unit/statement_forms.h"

class ScriptModel {
  public:
    explicit ScriptModel(statement_forms::Source &random) : random_(random) {
        write(true);
        block(true, 3);
        write(true);
    }

    const std::string &script() const { return script_; }
    // What it writes, and what the runner returns.
    const std::string &output() const { return output_; }
    int result() const { return result_; }

  private:
    // A few statements of a place that executes or is skipped, with further blocks up to `depth` levels in them.
    void block(bool executing, int depth);
    void statement(bool executing, int depth);
    void write(bool executing);
    void silence();
    void variable(bool executing);
    void mistake(bool executing);
    void if_block(bool executing, int depth);
    void single_statement(bool executing);
    void jump(bool executing);
    void loop(bool executing, int depth);

    // Adds a line: blanks and letter case at random, a line end at random. Returns it as written.
    std::string line(const std::string &words);
    void plain_line(const std::string &text);
    void wrote(bool executing, const std::string &text) {
        if (executing) output_ += text;
    }
    void reported(const std::string &text);
    std::string next_name(const char *kind) { return kind + std::to_string(10000 + ++names_); }

    statement_forms::Source &random_;
    std::string script_, output_;
    int result_ = 0;
    int names_ = 0;
};

#endif
