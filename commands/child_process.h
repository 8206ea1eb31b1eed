// The processes of a script's programs, and nothing else of them: the one place where the library starts another
// program. Who wants to know what a script would start, and start none, links other functions of these names.
#ifndef COMMANDS_CHILD_PROCESS_H
#define COMMANDS_CHILD_PROCESS_H

#include <string>
#include <vector>

// Starts the program that the first of the words names (at least one) and waits for its end. Returns its exit status; 0
// for one that was ended by a signal or cannot be started. When no process can be made, the calling process ends with
// status 1.
int child_run(std::vector<std::string> words);

// The same without waiting. The program is reaped by child_reap, or while another one is waited for.
void child_run_in_background(std::vector<std::string> words);

// Reaps those of the programs started without waiting that have ended. Never waits.
void child_reap();

#endif
