// The rules of the check, one function for each group of codes. Each adds what it finds; the order does not matter.
#ifndef TOOLS_QRTSCRIPT_CHECK_RULES_H
#define TOOLS_QRTSCRIPT_CHECK_RULES_H

#include "tools/qrtscript/check/directory.h"
#include "tools/qrtscript/check/finding.h"
#include "tools/qrtscript/check/syntax.h"

// What a login would report: mistakes of the parser, each at its own line.
void check_mistakes(const Syntax &syntax, Findings *findings);
// IF, ELSE and END that do not belong together.
void check_blocks(const Syntax &syntax, Findings *findings);
// Labels and jumps.
void check_labels(const Syntax &syntax, Findings *findings);
// Quoted texts, words and references.
void check_text(const Syntax &syntax, Findings *findings);
// Conditions and arithmetic.
void check_conditions(const Syntax &syntax, Findings *findings);
// Program lines, and what is unsafe: passwords, variables, commands made of values.
void check_programs(const Syntax &syntax, Findings *findings);
// MAP, PATH, DRIVE, and the drives in the names of files.
void check_drives(const Syntax &syntax, Findings *findings);

// INCLUDE of objects and local files that lead back to one another, or to `name`, the script itself.
void check_includes(const Syntax &syntax, const std::string &name, const CheckDirectory *directory, Findings *findings);

// Names that the directory has not. It also takes back what others have found of a word that the directory knows.
// Throws std::runtime_error when the directory does not answer.
void check_with_directory(const Syntax &syntax, const CheckDirectory &directory, Findings *findings);

// All of them, sorted by place. `directory` may be null; `name` is the object or the file that the script stands in, if
// it is known. No finding tells a password.
Findings check_script(const Syntax &syntax, const CheckDirectory *directory = nullptr, const std::string &name = "");

// The text with the passwords in it overwritten by "*", for what shows lines of it: `findings` are the text's own, and
// the places stay.
std::string without_secrets(std::string text, const Findings &findings);

#endif
