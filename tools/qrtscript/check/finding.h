// What a check finds: codes that stay the same, where, and what can be done about it.
#ifndef TOOLS_QRTSCRIPT_CHECK_FINDING_H
#define TOOLS_QRTSCRIPT_CHECK_FINDING_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/qrtscript/check/syntax.h"

enum class Severity { style, warning, error };

// "style", "warning", "error": never translated, because programs read them.
const char *severity_name(Severity severity);
std::optional<Severity> severity_named(std::string_view name);

// A kind of finding. Codes are never renumbered or used again. QS0...: the check's own
// directives; QS1...: structure; QS2...: traps of the language;
// QS3...: drives; QS4...: the directory; QS5...: safety.
struct Code {
    const char *name;
    Severity severity;
    const char *title; // in English, as in docs/codes; marked for the catalogue
};

// All codes in the order of their names.
extern const Code codes[];
extern const size_t code_count;
// The code of that name, in any letter case; null when there is none.
const Code *code_named(std::string_view name);

// What makes a finding go away without changing anything else: `text` in place of the bytes from `begin` to `end`.
struct Fix {
    size_t begin, end;
    std::string text;
};

struct Finding {
    const Code *code;
    Severity severity;
    size_t place, length;   // of the offending piece in the script's text, bytes
    std::string message;    // translated, one line
    std::string quotedLine; // which a login would quote for it; empty for what a login does not report
    std::optional<Fix> fix;
};

using Findings = std::vector<Finding>;

// A finding about a run of tokens, or about bytes, with the code's own severity. `code` has to exist.
Finding finding_at(const Syntax &syntax, const char *code, TokenRange tokens, std::string message);
Finding finding_at(const char *code, size_t place, size_t length, std::string message);

// Sorts them; those of which neither comes before the other stay as they are. Each is moved once: it is large.
void findings_sort(Findings *findings, bool (*before)(const Finding &a, const Finding &b));

// Whether it is about a password, which no message of that kind quotes.
bool finding_is_about_secret(const Finding &finding);

#endif
