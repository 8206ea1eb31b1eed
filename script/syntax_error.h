// The report of a mistake in the script. The run goes on behind the line.
#ifndef SCRIPT_SYNTAX_ERROR_H
#define SCRIPT_SYNTAX_ERROR_H

#include <cstdint>

#pragma GCC visibility push(default)
extern "C" int32_t syntax_error; // the script had a mistake. Set here, by failing MAP statements, by parsescript_Run.
#pragma GCC visibility pop

// Reports a syntax error, quoting the line in which the read position stands; `message` is only traced. Sets
// `syntax_error`. Needs no memory.
void syntax_error_report(const char *message);

#endif
