// Passwords in scripts, which no report may show: one that a pipeline writes is read by many.
#ifndef TOOLS_QRTSCRIPT_CHECK_SECRETS_H
#define TOOLS_QRTSCRIPT_CHECK_SECRETS_H

#include <string>

#include "tools/qrtscript/check/finding.h"
#include "tools/qrtscript/check/syntax.h"

// The script's text, with as many bytes, and "*" in the place of each secret (tools/qrtscript/secret_lines.h).
std::string secrets_masked(const Syntax &syntax);

// Takes passwords out of what findings say. `masked` is the script's text with "*" in the place of each password.
void secrets_hide(const Syntax &syntax, const std::string &masked, Findings *findings);

#endif
