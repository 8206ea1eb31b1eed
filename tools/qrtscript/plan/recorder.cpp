#include "tools/qrtscript/plan/recorder.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "tools/qrtscript/plan/sources.h"

static constexpr size_t most_effects = 200000;
static constexpr size_t shortest_secret = 3;

void (*recorder_notice)(const Json &effect) = nullptr;

namespace {

struct Record {
    Recording mode = Recording::off;
    void (*ended)() = nullptr;
    Json effects = Json::array();
    std::vector<std::string> secrets; // as in the record, the longest first
};

} // namespace

static Record &record() {
    static Record theRecord;
    return theRecord;
}

Recording recorder_mode() {
    return record().mode;
}

void recorder_start(Recording mode, void (*ended)()) {
    record() = {};
    record().mode = mode;
    record().ended = ended;
}

void recorder_turn_off() {
    record().mode = Recording::off;
}

static void replace_all(std::string *text, const std::string &from, const char *to) {
    for (size_t at = text->find(from); at != text->npos; at = text->find(from, at + strlen(to)))
        text->replace(at, from.size(), to);
}

static void scrub(Json *value) {
    if (value->is_string())
        for (const std::string &secret : record().secrets)
            replace_all(value->get_ptr<std::string *>(), secret, record_hidden);
    else if (value->is_structured())
        for (Json &inner : *value) scrub(&inner);
}

void recorder_add(const char *kind, Json effect) {
    if (!recorder_is_on()) return;
    Json whole = {{"kind", kind}};
    const SourcePlace place = sources_here();
    if (place.source >= 0) {
        whole["source"] = place.source;
        whole["line"] = place.line;
    }
    whole.update(effect);
    if (recorder_mode() == Recording::act) {
        scrub(&whole);
        if (recorder_notice != nullptr) recorder_notice(whole);
        return;
    }
    record().effects.push_back(std::move(whole));
    if (record().effects.size() == most_effects) recorder_stop("more than 200000 effects");
}

void recorder_mistake(const std::string &text, bool isReported) {
    recorder_add("mistake", {{"text", text}, {"reported", isReported}});
}

void recorder_hide(std::string_view secret) {
    if (secret.size() < shortest_secret) return;
    std::vector<std::string> &secrets = record().secrets;
    std::string text = record_text(secret);
    if (std::find(secrets.begin(), secrets.end(), text) != secrets.end()) return;
    secrets.push_back(std::move(text));
    std::stable_sort(secrets.begin(), secrets.end(),
                     [](const std::string &a, const std::string &b) { return a.size() > b.size(); });
}

void recorder_hide_value(std::string_view value) {
    constexpr size_t shortest_value = 6;
    if (value.size() >= shortest_value) recorder_hide(value);
}

void recorder_stop(const std::string &reason) {
    if (!recorder_plans()) return;
    record().effects.push_back({{"kind", "stopped"}, {"reason", reason}});
    const SourcePlace place = sources_here();
    if (place.source >= 0) {
        record().effects.back()["source"] = place.source;
        record().effects.back()["line"] = place.line;
    }
    record().ended();
}

Json recorder_result() {
    Json result = {{"sources", sources_list()}, {"effects", record().effects}};
    scrub(&result);
    return result;
}
