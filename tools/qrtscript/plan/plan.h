// "qrtscript plan": from the command line to the output.
#ifndef TOOLS_QRTSCRIPT_PLAN_PLAN_H
#define TOOLS_QRTSCRIPT_PLAN_PLAN_H

#include "tools/qrtscript/plan/options.h"

// Writes the plan, and returns the exit status. Throws what keeps a plan from being made.
int plan_run(const PlanOptions &options);

#endif
