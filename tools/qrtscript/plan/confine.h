// The kernel's word that a plan changes nothing: whatever the seams between the library's objects should leave open.
#ifndef TOOLS_QRTSCRIPT_PLAN_CONFINE_H
#define TOOLS_QRTSCRIPT_PLAN_CONFINE_H

// From now on this process, and what it would start, can run no program and can neither make, write, rename, remove nor
// give away a file: such a call fails with EPERM. What is open stays usable, connections can be made. False when the
// kernel cannot do that.
bool confine_process();

#endif
