#include "tools/qrtlogin/script_place.h"

#include <algorithm>

#include "platform/catalogue.h"

static constexpr std::string_view line_ends("\r\n\0", 3);

static size_t lines_in(std::string_view text) {
    return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

// Behind the last character of the line.
static size_t line_position(std::string_view now, size_t position) {
    const size_t last = now.substr(0, position).find_last_not_of(line_ends);
    return last == now.npos ? 0 : last + 1;
}

static std::string line_around(std::string_view now, size_t position) {
    const size_t before = position == 0 ? now.npos : now.find_last_of(line_ends, position - 1);
    const size_t start = before == now.npos ? 0 : before + 1;
    return std::string(now.substr(start, now.find_first_of(line_ends, start) - start));
}

ScriptPlace script_place(std::string_view script, std::string_view now, size_t position) {
    position = line_position(now, std::min(position, now.size()));
    ScriptPlace place;
    place.text = line_around(now, position);
    if (script.empty() || now.size() < script.size()) return place;
    const auto end = script.end();
    const size_t front = static_cast<size_t>(std::mismatch(script.begin(), end, now.begin()).first - script.begin());
    const auto rest = std::mismatch(script.rbegin(), script.rend(), now.rbegin()).first - script.rbegin();
    const size_t back = std::min(static_cast<size_t>(rest), script.size() - front);
    place.in = ScriptPlace::In::script;
    if (position <= front || now.size() == script.size()) {
        place.line = 1 + lines_in(now.substr(0, position));
    } else if (position > now.size() - back) {
        place.line = 1 + lines_in(script) - lines_in(now.substr(position));
    } else {
        place.in = ScriptPlace::In::included;
        // What was put in begins at the start of a line.
        const size_t start = now.substr(0, front).rfind('\n') + 1;
        place.line = lines_in(now.substr(0, start));
        place.included = 1 + lines_in(now.substr(start, position - start));
    }
    return place;
}

std::string script_place_text(const ScriptPlace &place) {
    if (place.in == ScriptPlace::In::script)
        return catalogue_format("line %lu", static_cast<unsigned long>(place.line));
    if (place.in == ScriptPlace::In::included)
        return catalogue_format("line %1$lu of what line %2$lu includes", static_cast<unsigned long>(place.included),
                                static_cast<unsigned long>(place.line));
    return "";
}
