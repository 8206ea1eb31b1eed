// Questions to the person at the terminal, and what a long work shows there.
#ifndef TOOLS_QRTSCRIPT_OBJECT_QUESTION_H
#define TOOLS_QRTSCRIPT_OBJECT_QUESTION_H

#include <cstddef>
#include <string>

// Is there anybody to ask?
bool question_can_be_asked();

// True for yes. Throws Failure, usage, where there is no terminal.
bool question_ask(const std::string &text);

// Shows how far a work has come, in one line of standard error if that is a terminal, and takes it away at the end.
class Progress {
  public:
    Progress(std::string what, size_t all);
    ~Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;
    void step();
    void clear(); // before something else is written

  private:
    std::string what_;
    size_t all_;
    size_t done_ = 0;
    bool isShown_;
};

#endif
