// The process environment around a run: what it was before, what the scripts made of it, and how it is handed on.
#ifndef TOOLS_QRTLOGIN_ENVIRONMENT_H
#define TOOLS_QRTLOGIN_ENVIRONMENT_H

#include <map>
#include <string>
#include <vector>

class RunEnvironment {
  public:
    // Remembers the environment as it is.
    RunEnvironment();

    // Sets a variable for the time of the run only.
    void lend(const std::string &name, const std::string &value);
    // Puts `folder` in front of PATH for the time of the run.
    void lendPathFolder(const std::string &folder);
    // A variable that others set during the run as a switch of their own, and that is no part of its result.
    void ignore(const std::string &name);

    // After the run: takes back what was lent, unless a script has set the variable to something else. A PATH that a
    // script has set loses the lent folder and keeps the rest.
    void takeBack();

    // After the run: gives each variable that makes shells, interpreters or the loader run code the value, or absence,
    // that it had before the run. Returns the names of those that the scripts had changed, in their order.
    std::vector<std::string> keepCodeVariables();

    // The variables that now differ from the remembered environment, with their values.
    std::map<std::string, std::string> changes() const;

    // The variables that now differ from the remembered environment and whose names a shell accepts, in the order of
    // their names, as lines "export NAME='value'\n".
    std::string exportLines() const;

  private:
    std::map<std::string, std::string> before_;
    std::map<std::string, std::string> lent_;
    std::string pathElement_; // the folder as it stands in PATH, or empty
};

// `text` as one word of a shell: in single quotes.
std::string shell_quote(const std::string &text);

// True for a name that a shell can assign to.
bool shell_is_name(const std::string &name);

// The folder of this program's own binary when a program named `program` stands in it, else an empty text.
std::string own_folder_with(const std::string &program);

#endif
