#include "tools/qrtscript/check/finding.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <iterator>

#include "platform/catalogue.h"
#include "platform/common/nocase.h"

static const char *const severity_names[] = {"style", "warning", "error"};

const char *severity_name(Severity severity) {
    return severity_names[static_cast<size_t>(severity)];
}

std::optional<Severity> severity_named(std::string_view name) {
    for (size_t place = 0; place < std::size(severity_names); ++place)
        if (name == severity_names[place]) return static_cast<Severity>(place);
    return {};
}

const Code codes[] = {
    {"QS0001", Severity::warning, catalogue_mark("a directive with an unknown code")},
    {"QS0002", Severity::warning, catalogue_mark("a directive that cannot be read")},
    {"QS0003", Severity::warning, catalogue_mark("a directive for the file below a statement")},
    {"QS1001", Severity::error, catalogue_mark("a statement that cannot be read")},
    {"QS1002", Severity::error, catalogue_mark("a reserved word as the label of GOTO")},
    {"QS1003", Severity::error, catalogue_mark("IF without END")},
    {"QS1004", Severity::error, catalogue_mark("IF nested too deep")},
    {"QS1005", Severity::warning, catalogue_mark("END without IF")},
    {"QS1006", Severity::warning, catalogue_mark("ELSE without IF")},
    {"QS1007", Severity::error, catalogue_mark("ELSE IF on one line")},
    {"QS1008", Severity::warning, catalogue_mark("GOTO to a label that is not there")},
    {"QS1009", Severity::warning, catalogue_mark("a label on the first line")},
    {"QS1010", Severity::warning, catalogue_mark("a label that does not begin its line")},
    {"QS1011", Severity::warning, catalogue_mark("GOTO to the beginning of another label")},
    {"QS1012", Severity::warning, catalogue_mark("a label twice")},
    {"QS1013", Severity::warning, catalogue_mark("a reserved word as a label")},
    {"QS1014", Severity::warning, catalogue_mark("lines that are never reached")},
    {"QS1015", Severity::warning, catalogue_mark("a loop without a way out")},
    {"QS1016", Severity::error, catalogue_mark("a last line without a line end")},
    {"QS1017", Severity::error, catalogue_mark("lines that end with a carriage return alone")},
    {"QS1018", Severity::warning, catalogue_mark("text behind a NUL")},
    {"QS1019", Severity::warning, catalogue_mark("ELSE twice in one IF")},
    {"QS1020", Severity::warning, catalogue_mark("IF without THEN in front of one statement")},
    {"QS1021", Severity::error, catalogue_mark("a statement with too many parts")},
    {"QS1022", Severity::warning, catalogue_mark("INCLUDE of a script that includes itself")},
    {"QS1023", Severity::warning, catalogue_mark("EXIT within an IF")},
    {"QS1024", Severity::warning, catalogue_mark("a jump back out of a block")},
    {"QS1025", Severity::error, catalogue_mark("a byte order mark")},
    {"QS1026", Severity::style, catalogue_mark("text that is not UTF-8")},
    {"QS2001", Severity::warning, catalogue_mark("a name in a text with a sign that does not end it")},
    {"QS2002", Severity::warning, catalogue_mark("a quote in front of an identifier")},
    {"QS2003", Severity::warning, catalogue_mark("quotes in a program line")},
    {"QS2004", Severity::warning, catalogue_mark("an argument with blanks")},
    {"QS2005", Severity::warning, catalogue_mark("a text as a condition")},
    {"QS2006", Severity::warning, catalogue_mark("VALUE with <=")},
    {"QS2007", Severity::warning, catalogue_mark("operators without parentheses")},
    {"QS2008", Severity::warning, catalogue_mark("a value in quotes compared with nothing")},
    {"QS2009", Severity::warning, catalogue_mark("a comparison that depends on the user's language")},
    {"QS2010", Severity::warning, catalogue_mark("a word without quotes that nobody knows")},
    {"QS2011", Severity::style, catalogue_mark("a quote that is not closed")},
    {"QS2012", Severity::warning, catalogue_mark("a value that is substituted twice")},
    {"QS2013", Severity::warning, catalogue_mark("MEMBER OF a group that is not there")},
    {"QS2014", Severity::warning, catalogue_mark("PROFILE with an object that has a profile")},
    {"QS2015", Severity::style, catalogue_mark("HOME DIRECTORY in two words")},
    {"QS2016", Severity::warning, catalogue_mark("a digit without quotes")},
    {"QS2017", Severity::warning, catalogue_mark("numbers compared as texts")},
    {"QS2018", Severity::warning, catalogue_mark("a path with a backslash that begins another character")},
    {"QS2019", Severity::warning, catalogue_mark("a shell's signs in a program line")},
    {"QS3001", Severity::warning, catalogue_mark("a drive or a mapping that is refused")},
    {"QS3002", Severity::warning, catalogue_mark("a drive that is mapped twice")},
    {"QS3003", Severity::warning, catalogue_mark("a drive that is used before it is mapped")},
    {"QS3004", Severity::warning, catalogue_mark("a mapping to what is not there")},
    {"QS4001", Severity::warning, catalogue_mark("an identifier that nobody knows")},
    {"QS4002", Severity::warning, catalogue_mark("an object that is not there")},
    {"QS4003", Severity::warning, catalogue_mark("a server that is not there")},
    {"QS4004", Severity::warning, catalogue_mark("a tree that is not there")},
    {"QS5001", Severity::warning, catalogue_mark("a password in a TREE line")},
    {"QS5002", Severity::warning, catalogue_mark("a password in an ATTACH line")},
    {"QS5003", Severity::warning, catalogue_mark("a value in a command of a shell")},
    {"QS5004", Severity::warning, catalogue_mark("a variable that changes what programs do")},
    {"QS5005", Severity::warning, catalogue_mark("a program by a relative path")},
};
const size_t code_count = std::size(codes);

const Code *code_named(std::string_view name) {
    for (const Code &code : codes)
        if (equal_nocase(code.name, name)) return &code;
    return nullptr;
}

Finding finding_at(const char *code, size_t place, size_t length, std::string message) {
    const auto before = [](const Code &one, const char *name) { return strcmp(one.name, name) < 0; };
    const Code *found = std::lower_bound(std::begin(codes), std::end(codes), code, before);
    assert(found != std::end(codes) && strcmp(found->name, code) == 0);
    return {found, found->severity, place, length, std::move(message), "", {}};
}

Finding finding_at(const Syntax &syntax, const char *code, TokenRange tokens, std::string message) {
    return finding_at(code, syntax.begin(tokens), syntax.end(tokens) - syntax.begin(tokens), std::move(message));
}

void findings_sort(Findings *findings, bool (*before)(const Finding &a, const Finding &b)) {
    if (std::is_sorted(findings->begin(), findings->end(), before)) return;
    std::vector<Finding *> places;
    places.reserve(findings->size());
    for (Finding &finding : *findings) places.push_back(&finding);
    std::stable_sort(places.begin(), places.end(), [&](const Finding *a, const Finding *b) { return before(*a, *b); });
    Findings sorted;
    sorted.reserve(findings->size());
    for (Finding *finding : places) sorted.push_back(std::move(*finding));
    *findings = std::move(sorted);
}

bool finding_is_about_secret(const Finding &finding) {
    const std::string_view name = finding.code->name;
    return name == "QS5001" || name == "QS5002";
}
