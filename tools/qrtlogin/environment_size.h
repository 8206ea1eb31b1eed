// Says so when the environment has become one that no program can be started with: the system then refuses to start it,
// and a script does not learn of it.
#ifndef TOOLS_QRTLOGIN_ENVIRONMENT_SIZE_H
#define TOOLS_QRTLOGIN_ENVIRONMENT_SIZE_H

// Warns on standard error, once in a process, when a variable of the environment is longer than the 128 KiB that the
// system passes on, or all of them together are too long. The warning names the variable, or the longest of them.
void environment_size_check() noexcept;

#endif
