#include "tools/qrtscript/check/secrets.h"

#include <algorithm>
#include <map>
#include <set>
#include <string_view>

#include "platform/common/nocase.h"
#include "tools/qrtscript/secret_lines.h"

static bool is_letter(char c) {
    return (c >= '0' && c <= '9') || (lower_case(c) >= 'a' && lower_case(c) <= 'z');
}

// ---- texts ----

// Where the lines that a login does not read begin. A line ends with CR too.
class UnreadLines {
  public:
    explicit UnreadLines(const Syntax &syntax);
    bool has(size_t start) const { return start >= from_ || starts_.count(start) != 0; }

  private:
    void add(const std::string &text, size_t place) {
        const size_t before = place == 0 ? text.npos : text.find_last_of("\r\n", place - 1);
        starts_.insert(before == text.npos ? 0 : before + 1);
    }
    std::set<size_t> starts_;
    size_t from_;
};

UnreadLines::UnreadLines(const Syntax &syntax) : from_(syntax.unreadFrom.value_or(syntax.text.size())) {
    for (const Mistake &mistake : syntax.mistakes) add(syntax.text, mistake.place);
    for (const Statement &statement : syntax.statements)
        if (statement.kind == Statement::Kind::broken || statement.kind == Statement::Kind::if_broken)
            add(syntax.text, syntax.begin(statement.tokens));
    if (syntax.unreadFrom) add(syntax.text, *syntax.unreadFrom);
    if (syntax.endsEarly) add(syntax.text, syntax.text.size());
}

std::string secrets_masked(const Syntax &syntax) {
    const std::string_view text = syntax.text;
    const UnreadLines unread(syntax);
    std::string masked(text);
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find_first_of("\r\n", start), text.size());
        const std::string_view line = text.substr(start, end - start);
        for (const SecretPart &part : secret_parts(line, unread.has(start)))
            std::fill(masked.begin() + static_cast<long>(start + part.begin),
                      masked.begin() + static_cast<long>(start + part.end), '*');
        start = end + 1;
    }
    return masked;
}

// ---- findings ----

namespace {

// The lines with passwords, as they are and as they are shown.
using MaskedLines = std::map<std::string_view, std::string_view>;

} // namespace

static MaskedLines masked_lines(std::string_view text, std::string_view masked) {
    MaskedLines lines;
    for (const std::string_view ends : {"\n", "\r\n"})
        for (size_t start = 0; start < text.size();) {
            const size_t end = std::min(text.find_first_of(ends, start), text.size());
            const std::string_view line = text.substr(start, end - start), shown = masked.substr(start, end - start);
            if (line != shown) lines.emplace(line, shown);
            start = end + 1;
        }
    return lines;
}

// A quoted line is one of the script, or its beginning: not always the one with the mistake.
static std::string shown_line(const MaskedLines &lines, const std::string &line) {
    const auto found = lines.lower_bound(line);
    if (found == lines.end() || found->first.compare(0, line.size(), line) != 0) return line;
    return std::string(found->second.substr(0, line.size()));
}

// A message quotes the piece that it is about: each time that stands there for itself, not as a part of a word.
static std::string shown_message(std::string message, std::string_view piece, std::string_view shown) {
    for (size_t at = message.find(piece); at != std::string::npos; at = message.find(piece, at + piece.size())) {
        const size_t end = at + piece.size();
        const bool isPart = (at > 0 && is_letter(message[at - 1]) && is_letter(piece.front())) ||
                            (end < message.size() && is_letter(message[end]) && is_letter(piece.back()));
        if (!isPart) message.replace(at, piece.size(), shown);
    }
    return message;
}

void secrets_hide(const Syntax &syntax, const std::string &masked, Findings *findings) {
    const std::string_view text = syntax.text;
    const MaskedLines lines = masked_lines(text, masked);
    if (lines.empty()) return;
    for (Finding &finding : *findings) {
        if (!finding.quotedLine.empty()) finding.quotedLine = shown_line(lines, finding.quotedLine);
        const size_t place = std::min(finding.place, text.size());
        const std::string_view piece = text.substr(place, finding.length);
        std::string_view shown = std::string_view(masked).substr(place, finding.length);
        if (piece == shown || finding_is_about_secret(finding)) continue;
        // One asterisk would be taken for a part of the script.
        if (shown.find_first_not_of('*') == shown.npos) shown = "********";
        finding.message = shown_message(std::move(finding.message), piece, shown);
    }
}
