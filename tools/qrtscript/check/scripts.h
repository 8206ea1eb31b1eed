// The scripts that a check is asked for.
#ifndef TOOLS_QRTSCRIPT_CHECK_SCRIPTS_H
#define TOOLS_QRTSCRIPT_CHECK_SCRIPTS_H

#include <functional>
#include <string>
#include <vector>

// What could not be read, and why: a message of one line.
using Problems = std::vector<std::string>;

// A file that a command is asked for.
struct FoundScript {
    std::string name;
    std::string path;    // where it is read, the same but for symbolic links that a folder has
    bool isLink = false; // such a link: it is never written through, since it may be anybody's
};

// What `input` stands for: itself, or the *.qrt files in and below a folder, in the order of their names. Symbolic
// links in a folder are not followed to other folders, nor to files outside of `input`: the latter are a problem, since
// who proposes scripts could have other files read or written that way. Files and folders that `excluded` says true of
// are left out, but not `input` itself. A folder that cannot be read becomes a problem.
std::vector<FoundScript> script_files(const std::string &input,
                                      const std::function<bool(const std::string &)> &excluded, Problems *problems);

// The same, the links last: what they lead to is rewritten before they are read.
std::vector<FoundScript> script_files_to_rewrite(const std::string &input,
                                                 const std::function<bool(const std::string &)> &excluded,
                                                 Problems *problems);

// The text of a file, or of standard input for "-". Throws std::runtime_error with name and reason, also for a name
// that is no regular file's, and for more than 64 MiB.
std::string script_text(const std::string &name);

#endif
