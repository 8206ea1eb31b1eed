// What the allocation check runs: the scripts of the golden cases, one with every other statement, and whole logins,
// all on the sample tree with the library's own directory client and prompts.
#ifndef ALLOCATIONS_CASES_H
#define ALLOCATIONS_CASES_H

#include <functional>
#include <string>
#include <vector>

// The allocation that fails; none for 0.
struct Failing {
    long at;
    bool for_good;
};

struct CaseRun {
    std::string output;
    long allocations; // made while the library ran
    long refused;
    std::string wrong; // what did not hold while it failed, if anything
};

struct Case {
    std::string name;
    bool fresh; // stands for the first run in a process: a second one is another case
    std::function<CaseRun(Failing)> run;
    bool apart = false; // in a process of its own, which leaves nothing that the next run could show
};

std::vector<Case> cases_all();

int cases_open_descriptors();

// The greeting goes by the time of day, which does not stand still during the check.
std::string cases_without_greeting(std::string text);

// The folder with the sample tree and the home directory that the cases use; it is gone with the object.
class SampleFolder {
  public:
    SampleFolder();
    ~SampleFolder();
    SampleFolder(const SampleFolder &) = delete;
    SampleFolder &operator=(const SampleFolder &) = delete;

  private:
    std::string path_;
};

#endif
