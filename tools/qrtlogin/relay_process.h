// The process that shows what the scripts write: it copies a pipe to standard output until no process has the pipe's
// write end any more. A process of its own, since a program that a script has started and left running goes on writing
// when the login has long become the user's shell, and since a login that ends in an unforeseen way leaves nothing
// unshown.
#ifndef TOOLS_QRTLOGIN_RELAY_PROCESS_H
#define TOOLS_QRTLOGIN_RELAY_PROCESS_H

// Becomes that process. `input` is the pipe's read end and `requests` a connected stream socket, both above 2; every
// other descriptor but standard output is closed. The login's side of the socket:
//
//     a byte         shows all that has been written to the pipe before it; then comes the answer
//     end of input   the same, ends a line that is open, and is the last answer
//
// An answer is an int: 0, or the errno of the first write to standard output that failed. What cannot be written is
// thrown away, so that the scripts run on; but when the scripts have ended, the process ends there.
//
// `window` is -1, or a socket above 2 to a login's window (login_message.h), which is shown the same until the scripts
// have ended. One that reads nothing for ten seconds is shown nothing more.
[[noreturn]] void relay_process(int input, int requests, int window = -1);

#endif
