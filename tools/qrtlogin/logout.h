// The end of a login's drives.
#ifndef TOOLS_QRTLOGIN_LOGOUT_H
#define TOOLS_QRTLOGIN_LOGOUT_H

// Removes the links of all drives and of the search path, and the password that was kept for mounting. A drive in which
// one of the user's programs works, or has a file open, stays and is named. No drive is looked at, so that none is
// waited for. Returns the exit status, 0 or 1: something could not be removed, as standard error says.
int logout_run();

#endif
