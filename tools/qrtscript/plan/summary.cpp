#include "tools/qrtscript/plan/summary.h"

#include <algorithm>

#include "platform/terminal_text.h"
#include "tools/qrtscript/plan/show_text.h"

static std::string harmless(const Json &object, const char *key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_string() ? terminal_text(found->get<std::string>()) : "";
}

static std::string source_of(const Json &plan, const Json &effect) {
    const int source = effect.value("source", -1);
    return source < 0 ? "login" : show_source(plan["sources"][static_cast<size_t>(source)]);
}

static Json mistakes_of(const Json &plan) {
    Json list = Json::array();
    for (const Json &effect : plan["effects"]) {
        if (!plan_is_mistake(effect)) continue;
        const ShownEffect words = show_effect(effect);
        list.push_back({{"script", source_of(plan, effect)},
                        {"line", effect.value("line", 0)},
                        {"text", words.lines.empty() ? "" : words.lines.front()}});
    }
    return list;
}

static void add_drives(const Json &effect, std::map<std::string, std::string> *gets) {
    for (const Json &change : effect.value("drives", Json::array())) {
        const std::string drive = change.value("drive", "");
        if (change.value("new", Json()).is_null())
            gets->erase("maps " + drive);
        else
            (*gets)["maps " + drive] = change.value("new", "");
    }
}

// Of what is set or mapped again the last counts.
Summary::Gets Summary::getsOf(const Json &plan) {
    Gets gets;
    for (const Json &effect : plan["effects"]) {
        const std::string kind = effect.value("kind", "");
        if (kind == "map")
            add_drives(effect, &gets);
        else if (kind == "set")
            gets["sets " + effect.value("name", "")] = effect.value("new", "");
        else if (kind == "run" || kind == "print")
            for (const std::string &line : show_effect(effect).lines)
                gets[(kind == "run" ? "runs " : "prints ") + line] = "";
    }
    return gets;
}

void Summary::add(const Json &plan) {
    const Json found = mistakes_of(plan);
    size_t missing = 0;
    for (const Json &effect : plan["effects"]) missing += effect.value("kind", "") == "not_found" ? 1 : 0;
    const Json groups = plan.value("groups", Json::array());
    for (const Json &group : groups) groups_[group.get<std::string>()].push_back(gets_.size());
    Json user = {{"user", plan.value("user", "")}, {"mistakes", found}, {"not_found", missing}, {"groups", groups}};
    if (plan.contains("refused")) user["refused"] = plan["refused"];
    users_.push_back(std::move(user));
    gets_.push_back(getsOf(plan));
    mistakes_ += found.size();
}

void Summary::addFailure(const std::string &user, const std::string &reason) {
    users_.push_back({{"user", record_text(user)}, {"error", record_text(reason)}});
    failures_++;
}

// What all of these users get, with the value where it is the same for all.
Json Summary::common(const std::vector<size_t> &users, const Json &without) const {
    Json list = Json::array();
    if (users.empty()) return list;
    for (const auto &[what, value] : gets_[users.front()]) {
        bool isEverybodys = true, isSame = true;
        for (const size_t user : users) {
            const auto found = gets_[user].find(what);
            isEverybodys = isEverybodys && found != gets_[user].end();
            isSame = isSame && isEverybodys && found->second == value;
        }
        Json item = {{"what", what}};
        item["value"] = isSame ? Json(value) : Json();
        if (isEverybodys && std::find(without.begin(), without.end(), item) == without.end())
            list.push_back(std::move(item));
    }
    return list;
}

Json Summary::result() const {
    std::vector<size_t> all;
    for (size_t i = 0; i < gets_.size(); i++) all.push_back(i);
    Json result = {{"users", users_}, {"everybody", common(all, Json::array())}};
    result["groups"] = Json::array();
    std::vector<std::string> names;
    for (const Json &user : users_)
        if (!user.contains("error")) names.push_back(user.value("user", ""));
    for (const auto &[group, members] : groups_) {
        Json users = Json::array();
        for (const size_t member : members) users.push_back(names[member]);
        result["groups"].push_back(
            {{"group", group}, {"users", users}, {"gets", common(members, result["everybody"])}});
    }
    return result;
}

static std::string user_lines(const Json &user) {
    std::string text;
    const std::string name = "  " + harmless(user, "user");
    if (user.contains("error")) return name + ": could not be planned: " + harmless(user, "error") + "\n";
    if (user.contains("refused")) text += name + ": a login would be refused: " + harmless(user, "refused") + "\n";
    for (const Json &mistake : user.value("mistakes", Json::array())) {
        const int line = mistake.value("line", 0);
        text += name + ": " + harmless(mistake, "script") + (line > 0 ? " line " + std::to_string(line) : "") + ": " +
                mistake.value("text", "") + "\n";
    }
    return text;
}

static std::string gets_lines(const Json &gets) {
    std::string text;
    for (const Json &item : gets) {
        const std::string value = item["value"].is_null() ? " (each another)" : harmless(item, "value");
        const bool isPlain = item["value"].is_null() || value.empty();
        text += "  " + harmless(item, "what") + (isPlain ? "" : " = ") + value + "\n";
    }
    return text.empty() ? "  nothing\n" : text;
}

std::string summary_text(const Json &summary) {
    std::string problems;
    size_t users = 0, withProblems = 0;
    for (const Json &user : summary["users"]) {
        const std::string lines = user_lines(user);
        users++;
        withProblems += lines.empty() ? 0 : 1;
        problems += lines;
    }
    std::string text = "\n" + std::to_string(users) + (users == 1 ? " user, " : " users, ") +
                       (withProblems == 0 ? "none" : std::to_string(withProblems)) + " with mistakes or refused\n" +
                       problems;
    text += "\nEverybody gets\n" + gets_lines(summary["everybody"]);
    for (const Json &group : summary["groups"])
        text += "\nGroup " + harmless(group, "group") + " (" + std::to_string(group["users"].size()) +
                (group["users"].size() == 1 ? " user" : " users") + ") also gets\n" + gets_lines(group["gets"]);
    return text;
}
