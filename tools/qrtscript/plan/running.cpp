#include "tools/qrtscript/plan/running.h"

#include <set>

#include "script/conditions.h"
#include "tools/qrtscript/plan/origins.h"

static std::set<std::string> &missing_in_line() {
    static std::set<std::string> names;
    return names;
}

Running &running() {
    static Running theRun;
    return theRun;
}

void running_line() {
    origins_clear();
    missing_in_line().clear();
    running().isUncertain = false;
    running().prompts = running().questions = 0;
    running().objectScript.reset();
}

// Operands are looked up in skipped blocks as well: what is missing there is of no consequence. A word that stands for
// itself is looked up once more, with the "%" that it gets.
void running_missing(const std::string &name, const std::string &what, const std::string &reason) {
    const std::string bare = name.substr(!name.empty() && name.front() == '%' ? 1 : 0);
    if (!condition_executing() || !missing_in_line().insert(bare).second) return;
    recorder_add("not_found", {{"name", record_text(name)}, {"what", what}, {"reason", reason}});
}
