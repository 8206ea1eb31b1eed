#include "tools/qrtscript/plan/origins.h"

#include <unordered_map>
#include <vector>

#include "tools/qrtscript/plan/recorder.h"

namespace {

struct Origins {
    std::vector<Json> noted; // in this line
    std::unordered_map<const char *, Json> ofTexts;
};

} // namespace

static Origins &origins() {
    static Origins theOrigins;
    return theOrigins;
}

void origins_clear() {
    origins().noted.clear();
    origins().ofTexts.clear();
}

void origins_note(Json origin) {
    recorder_check_time(); // a line may have any number of names
    origins().noted.push_back(std::move(origin));
}

size_t origins_count() {
    return origins().noted.size();
}

void origins_give(const char *text, size_t since) {
    Json list = Json::array();
    for (size_t i = since; i < origins().noted.size(); i++) list.push_back(origins().noted[i]);
    origins().ofTexts[text] = std::move(list);
}

Json origins_of(const char *text) {
    const auto found = origins().ofTexts.find(text);
    return found == origins().ofTexts.end() ? Json::array() : found->second;
}

void origins_join(const char *text, std::initializer_list<const char *> parts) {
    Json list = Json::array();
    for (const char *part : parts)
        for (Json &one : origins_of(part)) list.push_back(std::move(one));
    origins().ofTexts[text] = std::move(list);
}
