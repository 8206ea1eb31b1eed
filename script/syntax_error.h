// The report of a mistake in the script: the parser and the statements call yyerror(), the run goes on behind the line.
#ifndef SCRIPT_SYNTAX_ERROR_H
#define SCRIPT_SYNTAX_ERROR_H

#include <cstdint>

#pragma GCC visibility push(default)
extern "C" {

extern int32_t syntax_error; // the script had a mistake. Set here, by failing MAP statements and by parsescript_Run.

// Reports a syntax error, quoting the line in which the read position stands; `message` is only traced. Sets
// `syntax_error`.
void yyerror(const char *message);
}
#pragma GCC visibility pop

#endif
