#include "tools/qrtscript/plan/recorder.h"

#include <algorithm>
#include <cstring>
#include <ctime>

#include "tools/qrtscript/plan/sources.h"

static constexpr size_t most_effects = 200000;
static constexpr size_t largest_record = size_t{32} << 20; // as JSON, nearly
static constexpr time_t longest_run = 60;                  // in seconds
static constexpr size_t shortest_secret = 6;

void (*recorder_notice)(const Json &effect) = nullptr;

namespace {

struct Record {
    Recording mode = Recording::off;
    void (*ended)() = nullptr;
    time_t began = 0;
    size_t size = 0;
    Json effects = Json::array();
    Secrets secrets, secretsHere; // as in the record
};

} // namespace

static Record &record() {
    static Record theRecord;
    return theRecord;
}

static time_t seconds_now() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec;
}

Recording recorder_mode() {
    return record().mode;
}

void recorder_start(Recording mode, void (*ended)()) {
    record() = {};
    record().mode = mode;
    record().ended = ended;
    record().began = seconds_now();
}

void recorder_turn_off() {
    record().mode = Recording::off;
}

static void replace_all(std::string *text, const std::string &from, const char *to) {
    for (size_t at = text->find(from); at != text->npos; at = text->find(from, at + strlen(to)))
        text->replace(at, from.size(), to);
}

// Members whose texts are the recorder's own words.
static bool is_own_word(const std::string &member) {
    static const std::set<std::string_view> members = {"asks_for", "change",   "from", "kind",
                                                       "message",  "operator", "role", "what"};
    return members.count(member) != 0;
}

template <typename Replace>
static void replace_texts(Json *value, const Replace &replace) {
    if (value->is_string()) {
        replace(value->get_ptr<std::string *>());
    } else if (value->is_array()) {
        for (Json &inner : *value) replace_texts(&inner, replace);
    } else if (value->is_object()) {
        for (const auto &[member, inner] : value->items())
            if (!is_own_word(member)) replace_texts(&inner, replace);
    }
}

void recorder_scrub(const Secrets &secrets, Json *record) {
    if (secrets.empty()) return;
    replace_texts(record, [&](std::string *text) {
        for (const std::string &secret : secrets) replace_all(text, secret, record_hidden);
    });
}

// In the place of one or two letters there would be more stars than words.
static void scrub_here(Json *effect) {
    constexpr size_t shortest = 3;
    // What a condition reads is hidden where it is read.
    if (record().secretsHere.empty() || effect->value("kind", "") == "if") return;
    const Json name = effect->value("name", Json());
    replace_texts(effect, [](std::string *text) {
        for (const std::string &secret : record().secretsHere)
            if (secret.size() >= shortest)
                replace_all(text, secret, record_hidden);
            else if (text->find(secret) != text->npos)
                *text = record_hidden;
    });
    if (effect->value("kind", "") == "set") (*effect)["name"] = name;
}

static size_t size_of(const Json &value) {
    constexpr size_t other = 8; // numbers, signs
    size_t size = value.is_string() ? value.get_ref<const std::string &>().size() + other : other;
    if (value.is_array())
        for (const Json &inner : value) size += size_of(inner);
    if (value.is_object())
        for (const auto &[member, inner] : value.items()) size += member.size() + size_of(inner);
    return size;
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
    scrub_here(&whole);
    if (recorder_mode() == Recording::act) {
        recorder_scrub(record().secrets, &whole);
        if (recorder_notice != nullptr) recorder_notice(whole);
        return;
    }
    record().size += size_of(whole);
    if (record().size > largest_record)
        recorder_stop(
            "the record is larger than 32 MiB: what follows is cut off; if the scripts are not endless, plan shorter "
            "ones with SCRIPT");
    record().effects.push_back(std::move(whole));
    if (record().effects.size() == most_effects)
        recorder_stop(
            "more than 200000 effects: what follows is cut off; if the scripts are not endless, plan shorter ones with "
            "SCRIPT");
}

size_t recorder_count() {
    return record().effects.size();
}

void recorder_amend(size_t effect, const char *member, Json value) {
    if (effect < record().effects.size()) record().effects[effect][member] = std::move(value);
}

void recorder_mistake(const std::string &text, bool isReported) {
    recorder_add("mistake", {{"text", text}, {"reported", isReported}});
}

void recorder_hide(std::string_view secret) {
    if (secret.size() >= shortest_secret) record().secrets.insert(record_text(secret));
}

void recorder_hide_here(std::string_view value) {
    if (!value.empty()) record().secretsHere.insert(record_text(value));
}

bool recorder_hides_here(std::string_view text) {
    const Secrets &secrets = record().secretsHere;
    const std::string shown = record_text(text);
    return std::any_of(secrets.begin(), secrets.end(),
                       [&](const std::string &secret) { return shown.find(secret) != shown.npos; });
}

void recorder_line() {
    record().secretsHere.clear();
}

const Secrets &recorder_secrets() {
    return record().secrets;
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

void recorder_check_time() {
    if (recorder_plans() && seconds_now() - record().began > longest_run)
        recorder_stop("the scripts have run for more than 60 seconds");
}

Json recorder_result() {
    Json result = {{"sources", sources_list()}, {"effects", record().effects}};
    recorder_scrub(record().secrets, &result);
    return result;
}
