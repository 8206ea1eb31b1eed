#include "directory/substitution.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "directory/identifiers.h"
#include "directory/reference.h"
#include "directory/session.h"

static constexpr size_t none = std::string_view::npos;

namespace {

// The text being worked on is `settled` followed by `open` from `start` on. The settled part contains no reference that
// could still be replaced, and the room before `start` takes the next value, so that replacing the references of a long
// text one by one does not move the rest of it each time. Positions count from the text's beginning.
struct Text {
    WipedString settled;
    WipedString open;
    size_t start = 0;
    size_t resume = 0; // where a scan from the beginning arrives at when it has passed the settled part
};

} // namespace

static size_t text_size(const Text &text) {
    return text.settled.size() + text.open.size() - text.start;
}

static std::string_view open_part(const Text &text) {
    return std::string_view(text.open).substr(text.start);
}

// The first `c` at or after `position`, in the open part.
static size_t find_marker(const Text &text, char c, size_t position) {
    size_t from = std::max(position, text.settled.size()) - text.settled.size();
    size_t found = open_part(text).find(c, from);
    return found == none ? none : found + text.settled.size();
}

static void settle_up_to(Text &text, size_t position) {
    if (position <= text.settled.size()) return;
    size_t count = position - text.settled.size();
    text.settled.append(text.open, text.start, count);
    text.start += count;
}

// Puts `value` in front of the open part, into the room that is there or else into new room, as large as the text.
static void put_in_front(Text &text, std::string_view value) {
    if (value.size() > text.start) {
        size_t room = value.size() + text.open.size() - text.start;
        text.open.replace(0, text.start, room, ' ');
        text.start = room;
    }
    text.start -= value.size();
    text.open.replace(text.start, value.size(), value);
}

// A "<" is sought from the scan's position on, and replaced where its text stands first, settled or not.
static void unsettle_all(Text &text) {
    put_in_front(text, text.settled);
    text.settled.clear();
    text.resume = 0;
}

// What stands directly before a reference may become part of the next one by the replacement.
static void unsettle_before(Text &text, size_t marker) {
    if (text.settled.empty() || marker != text.settled.size()) return;
    char last = text.settled.back();
    text.settled.pop_back();
    put_in_front(text, {&last, 1});
    if (last == '%') text.resume = text.settled.rfind('%') + 1;
}

// Replaces the first occurrence of `old`, which is in the open part.
static void replace_first(Text &text, const WipedString &old, const WipedString &value) {
    static constexpr size_t near = 16;
    size_t at = open_part(text).find(old);
    if (at > near) {
        text.open.replace(text.start + at, old.size(), value);
        return;
    }
    WipedString front(open_part(text).substr(0, at));
    text.start += at + old.size();
    put_in_front(text, front + value);
}

namespace {

// Who asks: the handle, and the two objects whose attributes count, made when they are first needed. They are missing
// without a current object.
struct Asker {
    uint32_t handle;
    bool ready = false;
    std::optional<std::string> current, loggedIn;
    bool differ = false;
};

} // namespace

static void get_ready(Asker &asker) {
    if (asker.ready) return;
    asker.ready = true;
    asker.current = session_object();
    asker.loggedIn = session_logged_in_object();
    // Both are there, or neither.
    asker.differ = asker.current && !equal_nocase(*asker.current, *asker.loggedIn);
}

static bool ask(uint32_t handle, const std::optional<std::string> &object, const char *name, WipedString &value) {
    OwnedText found;
    if (identifiers_look_up(handle, object, name, found) != 0) return false;
    value = found.get();
    return true;
}

static bool look_up(Asker &asker, const Reference &reference, WipedString &value) {
    const WipedString name(reference.name);
    if (name.empty()) return false;
    if (reference.isVariable) {
        const char *variable = identifiers_variable(reference.name.substr(1));
        value = variable != nullptr ? variable : "";
        return true;
    }
    get_ready(asker);
    return ask(asker.handle, asker.current, name.c_str(), value) ||
           (asker.differ && ask(asker.handle, asker.loggedIn, name.c_str(), value));
}

namespace {

// A scan from the text's beginning, up to its next replacement.
struct Scan {
    size_t position;
    char sought = '%';         // "<" once no "%" is left
    size_t marker = none;      // the first one at or after the position
    bool onlyEmpty = true;     // no reference with a name was met yet
    size_t emptyPassed = none; // the last reference without a name that was met, and the one before it
    size_t emptyBefore = none;
};

} // namespace

static bool next_marker(Text &text, Scan &scan) {
    if (scan.marker != none && scan.marker >= scan.position) return true;
    scan.marker = find_marker(text, scan.sought, scan.position);
    if (scan.marker != none || scan.sought == '<') return scan.marker != none;
    unsettle_all(text);
    scan.sought = '<';
    scan.marker = find_marker(text, scan.sought, scan.position);
    return scan.marker != none;
}

// A reference without a name never becomes one by a replacement further on, unless that begins directly behind it. What
// lies before the first name can so be left out of all later scans.
static void settle_before_name(Text &text, Scan &scan) {
    bool first = scan.onlyEmpty && scan.sought == '%' && scan.marker > 0;
    scan.onlyEmpty = false;
    if (!first) return;
    size_t end = scan.marker - 1;
    size_t last = scan.emptyPassed == end ? scan.emptyBefore : scan.emptyPassed;
    if (last != none) text.resume = last + 1;
    settle_up_to(text, end);
    unsettle_before(text, scan.marker);
}

static void pass_empty(Scan &scan) {
    scan.emptyBefore = scan.emptyPassed;
    scan.emptyPassed = scan.marker;
    // Stepping by one from wherever it is, the scan gets just behind the marker.
    scan.position = scan.marker + 1;
}

static std::string_view text_from(const Text &text, size_t position) {
    return open_part(text).substr(position - text.settled.size());
}

// What the value of the reference at the scan's marker replaces. One that fills a pair of quotes takes everything from
// the opening quote on with it: required.
static std::string_view replaced_text(const Text &text, const Scan &scan, const Reference &reference) {
    // The last never holds, since what is settled ends before the character in front of a name; it keeps the look at
    // that character inside the text all the same.
    // GCOVR_EXCL_BR_START
    if (!reference.closedByQuote || scan.marker == scan.position || scan.marker == text.settled.size())
        return reference.replaced;
    // GCOVR_EXCL_BR_STOP
    std::string_view quoted = text_from(text, scan.marker - 1);
    return quoted.front() == '"' ? quoted : reference.replaced;
}

// Replaces the next reference that resolves. False when there is none.
static bool replace_next(Text &text, Asker &asker) {
    Scan scan;
    scan.position = text.resume;
    while (next_marker(text, scan)) {
        if (reference_is_without_name(text_from(text, scan.marker))) {
            pass_empty(scan);
            continue;
        }
        settle_before_name(text, scan);
        Reference reference = reference_parse(text_from(text, scan.marker));
        std::string_view replaced = replaced_text(text, scan, reference);
        WipedString value;
        if (look_up(asker, reference, value)) {
            replace_first(text, WipedString(replaced), value);
            return true;
        }
        // Counted from the scan's position, not from the marker, which may so be met again: required.
        scan.position += replaced.size();
    }
    return false;
}

static bool is_marker(char c) {
    return c == '%' || c == '<';
}

OwnedText substitution_in(uint32_t handle, OwnedText text) {
    const char *at = text.get();
    while (*at != '\0' && !is_marker(*at)) at++;
    return *at == '\0' ? std::move(text) : substitution_of(handle, text.get());
}

// The common case at once: references to variables alone, "%<NAME>", whose values have no reference in them. None where
// there is anything else, and nothing has been looked up then that leaves a trace.
static std::optional<WipedString> with_plain_variables(std::string_view text) {
    WipedString result;
    const char *done = text.begin();
    for (const char *marker; (marker = std::find_if(done, text.end(), is_marker)) != text.end();) {
        const char *end = std::find_if(marker + 1, text.end(), reference_ends_name);
        if (*marker != '%' || end == text.end() || *end != '>' || marker[1] != '<') return std::nullopt;
        const char *value = identifiers_variable({marker + 2, static_cast<size_t>(end - marker - 2)});
        if (value == nullptr) value = "";
        if (strpbrk(value, "%<") != nullptr) return std::nullopt;
        result.append(done, marker).append(value);
        done = end + 1;
        if (text.size() + result.size() > substitution_most_growth) return std::nullopt;
    }
    return result.append(done, text.end());
}

OwnedText substitution_of(uint32_t handle, std::string_view text) {
    if (const std::optional<WipedString> plain = with_plain_variables(text)) return text_copy(*plain);
    Text work;
    work.open = text;
    size_t limit = work.open.size() + substitution_most_growth;
    Asker asker{handle, false, {}, {}, false};
    for (int i = 0; i < substitution_most_replacements && text_size(work) <= limit; i++)
        if (!replace_next(work, asker)) break;
    work.settled.append(open_part(work));
    return text_copy(work.settled);
}
