#include "tools/qrtscript/plan/sources.h"

#include <algorithm>
#include <vector>

namespace {

struct Source {
    SourceTitle title;
    SourcePlace from;               // of the INCLUDE
    std::vector<size_t> lineStarts; // of the text, ascending
};

// A stretch of the active buffer that is a stretch of one source.
struct Stretch {
    size_t start;  // in the buffer
    size_t offset; // in the source's text
    int source;
};

struct Sources {
    std::vector<Source> all;
    std::vector<Stretch> stretches; // by their starts, without gaps
    SourcePlace here;
};

} // namespace

static Sources &sources() {
    static Sources theSources;
    return theSources;
}

static int add_source(const SourceTitle &title, std::string_view text, const SourcePlace &from) {
    Source source{title, from, {0}};
    for (size_t at = text.find('\n'); at != text.npos; at = text.find('\n', at + 1))
        source.lineStarts.push_back(at + 1);
    sources().all.push_back(std::move(source));
    return static_cast<int>(sources().all.size()) - 1;
}

void sources_begin(const SourceTitle &title, std::string_view text) {
    const int source = add_source(title, text, {});
    sources().stretches = {{0, 0, source}};
    sources().here = {source, 1};
}

void sources_end() {
    sources().stretches.clear();
    sources().here = {};
}

static std::vector<Stretch>::iterator stretch_at(size_t at) {
    std::vector<Stretch> &all = sources().stretches;
    const auto behind = std::upper_bound(all.begin(), all.end(), at,
                                         [](size_t place, const Stretch &one) { return place < one.start; });
    return behind == all.begin() ? all.end() : behind - 1;
}

int sources_splice(const SourceTitle &title, std::string_view text, size_t at) {
    const int source = add_source(title, text, sources().here);
    const auto found = stretch_at(at);
    if (found == sources().stretches.end()) return source;
    const Stretch rest{at, found->offset + (at - found->start), found->source};
    const bool startsHere = found->start == at;
    auto place = startsHere ? sources().stretches.erase(found) : found + 1;
    place = sources().stretches.insert(place, {at, 0, source});
    place = sources().stretches.insert(place + 1, rest);
    for (; place != sources().stretches.end(); ++place) place->start += text.size() + 2;
    return source;
}

SourcePlace sources_at(size_t at) {
    const auto found = stretch_at(at);
    if (found == sources().stretches.end()) return {};
    const std::vector<size_t> &starts = sources().all[static_cast<size_t>(found->source)].lineStarts;
    const size_t offset = found->offset + (at - found->start);
    const auto behind = std::upper_bound(starts.begin(), starts.end(), offset);
    return {found->source, static_cast<int>(behind - starts.begin())};
}

void sources_line(size_t at) {
    sources().here = sources_at(at);
}

SourcePlace sources_here() {
    return sources().here;
}

void sources_set_here(SourcePlace place) {
    sources().here = place;
}

Json sources_list() {
    Json list = Json::array();
    for (const Source &source : sources().all) {
        Json one = {{"role", source.title.role}, {"name", record_text(source.title.name)}};
        if (source.from.source >= 0) one["included_by"] = {{"source", source.from.source}, {"line", source.from.line}};
        if (source.title.uncertain) one["uncertain"] = true;
        list.push_back(std::move(one));
    }
    return list;
}
