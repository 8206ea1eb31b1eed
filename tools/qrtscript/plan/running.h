// What is known of the statement that is running, beside its place.
#ifndef TOOLS_QRTSCRIPT_PLAN_RUNNING_H
#define TOOLS_QRTSCRIPT_PLAN_RUNNING_H

#include <optional>
#include <set>
#include <string>

#include "tools/qrtscript/plan/recorder.h"
#include "tools/qrtscript/plan/sources.h"

struct Running {
    bool inScript = false;
    bool inWord = false;                     // a bare word is looked up
    bool inMistake = false;                  // the parser reports a mistake
    bool hidesReports = false;               // a run shows its mistakes without secrets
    std::string reported;                    // what it has printed
    bool inFormatError = false;              // a statement's own report
    bool clearsScreen = false;               // its line ends are no text
    bool hasRunProgram = false;              // in this session
    bool isUncertain = false;                // the line has read a file that a program may have changed
    int prompts = 0, questions = 0;          // of this line
    size_t lineStart = 0;                    // in the active buffer
    std::set<std::string> secretVariables;   // that have been set to a secret
    std::string lastStream;                  // the object whose stream was opened last
    std::optional<std::string> objectScript; // whose login script was read in this line
    SourceTitle next;                        // what the next text is
    std::string profileFile;                 // that was asked for on the command line
    bool profileIsNext = false;              // the next script that is read from an object is the profile's
};

Running &running();

// A line begins at this place of the active buffer.
void running_line(size_t start);
// The line from its first letter on, without its end.
std::string_view running_line_text();
// What of it has been read.
std::string_view running_line_read();

// Whether a variable with this value is one to hide.
bool running_is_secret(const std::string &name, std::string_view value);

// Reports a name that has no value, once in a line.
void running_missing(const std::string &name, const std::string &what, const std::string &reason);

#endif
