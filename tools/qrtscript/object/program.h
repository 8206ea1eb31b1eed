// Programs that do a part of the work: diff, git, the editor, the check.
#ifndef TOOLS_QRTSCRIPT_OBJECT_PROGRAM_H
#define TOOLS_QRTSCRIPT_OBJECT_PROGRAM_H

#include <sys/types.h>
#include <string>
#include <vector>

enum class ProgramOutput {
    taken,     // into ProgramRun::output
    shown,     // on standard error, which is where messages go
    unchanged, // the standard streams of this process; the interrupt key is the program's meanwhile
    dropped    // standard error too
};

struct ProgramRun {
    int status = 0; // its exit status; 127: it is not there; over 128: ended by a signal
    std::string output;
};

// Runs the program to its end; one without a "/" is looked for in PATH. Without ProgramOutput::unchanged it has no
// input. What it makes does not get the rights in `withheld`, beside those of the umask. Throws Failure when no process
// can be started.
ProgramRun program_run(const std::vector<std::string> &words, ProgramOutput output, mode_t withheld = 0);

#endif
