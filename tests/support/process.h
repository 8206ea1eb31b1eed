// Runs programs for the tests: with files for their output (a program that goes on in the background cannot hold the
// test up), or on a terminal of their own.
#ifndef TESTS_SUPPORT_PROCESS_H
#define TESTS_SUPPORT_PROCESS_H

#include <sys/types.h>
#include <termios.h>
#include <functional>
#include <map>
#include <string>
#include <vector>

using Words = std::vector<std::string>;
using Variables = std::map<std::string, std::string>;

struct Outcome {
    int status = -1; // the exit status, or 1000 + the signal that ended the program
    std::string out, err;
};
bool operator==(const Outcome &one, const Outcome &other);
void PrintTo(const Outcome &outcome, std::ostream *stream);

// A folder that is gone with the object.
class TempFolder {
  public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder &) = delete;
    TempFolder &operator=(const TempFolder &) = delete;
    std::string path(const std::string &name = "") const { return name.empty() ? path_ : path_ + "/" + name; }
    // Writes a file, making the folders above it.
    void write(const std::string &name, const std::string &text) const;
    // Makes a folder and those above it.
    void make(const std::string &name) const;

  private:
    std::string path_;
};

std::string file_text(const std::string &path);

// Runs a program to its end, without a terminal. `environment` is the whole of its environment; what `descriptor3`
// contains can be read there from descriptor 3.
Outcome process_run(const Words &words, const Variables &environment, const std::string &descriptor3 = "");

// The variables that a sanitized program needs, and a PATH.
Variables process_environment();

// A program, or a function in a process of its own, on a terminal that the test types on.
class TerminalProcess {
  public:
    TerminalProcess(const Words &words, const Variables &environment);
    // The function's result is the exit status.
    explicit TerminalProcess(const std::function<int()> &body);
    ~TerminalProcess();
    TerminalProcess(const TerminalProcess &) = delete;
    TerminalProcess &operator=(const TerminalProcess &) = delete;

    // Reads what appears until `text` has appeared once more. False when the program ends without it.
    bool awaits(const std::string &text);
    void type(const std::string &text);
    // Types the answer to a question that it awaits. False when the question does not come.
    bool answers(const std::string &question, const std::string &typed);
    // Presses the interrupt key once the program waits for input. (readpassphrase misses a signal that comes between
    // its question and its read.)
    void interrupt();
    // Sends it another signal once it waits for input.
    void signal(int number) const;
    bool echoes() const;
    // The process, and its rests: it may stop itself with SIGSTOP. False when it ends instead.
    pid_t id() const { return child_; }
    bool awaitsStop() const;
    void goOn() const;
    // Whether it ends within so many milliseconds while nothing of what it writes is read.
    bool endsWithin(int milliseconds) const;
    // Reads the rest and returns the exit status, as in Outcome.
    int finish();
    // All that has appeared so far.
    const std::string &shown() const { return shown_; }

  private:
    bool readSome();
    void awaitRest() const;
    pid_t child_ = -1;
    int terminal_ = -1;
    std::string shown_;
    size_t seen_ = 0;
};

#endif
