#include "tools/qrtscript/plan/summary.h"

#include <algorithm>
#include <set>

#include "tools/qrtscript/plan/show_text.h"

static const Json *source_of(const Json &plan, const Json &effect) {
    const int source = effect.value("source", -1);
    return source < 0 ? nullptr : &plan["sources"][static_cast<size_t>(source)];
}

static Json mistakes_of(const Json &plan) {
    Json list = Json::array();
    for (const Json &effect : plan["effects"]) {
        if (!plan_is_mistake(effect)) continue;
        const ShownEffect words = show_effect(effect);
        const Json *source = source_of(plan, effect);
        list.push_back({{"script", source != nullptr ? show_source(*source) : "login"},
                        {"line", effect.value("line", 0)},
                        {"text", words.lines.empty() ? "" : words.lines.front()}});
    }
    return list;
}

// ---- what a user gets ----

// Empty for none.
static std::string text_of(const Json &effect, const char *key) {
    const auto found = effect.find(key);
    return found != effect.end() && found->is_string() ? found->get<std::string>() : "";
}

static void add_drives(const Json &effect, Gets *gets) {
    for (const Json &change : effect.value("drives", Json::array())) {
        const std::string drive = change.value("drive", "");
        if (change.value("new", Json()).is_null())
            gets->erase("maps " + drive);
        else
            (*gets)["maps " + drive] = change.value("new", "");
    }
}

// By whom a login is, or what a question is taken to be answered with, differs from user to user.
static void add_login(const Json &effect, Gets *gets) {
    const char *where = effect.contains("server") ? "server" : "tree";
    (*gets)["logs in to " + std::string(where) + " " + text_of(effect, where)] = text_of(effect, "user");
}

static void add_words(const Json &effect, Gets *gets) {
    const ShownEffect shown = show_effect(effect);
    for (const std::string &line : shown.lines) (*gets)[shown.verb + " " + line] = "";
}

// Of what is set or mapped again the last counts.
static Gets gets_of(const Json &plan) {
    static const std::set<std::string> inWords = {"run", "print", "message", "clear_screen", "no_default"};
    Gets gets;
    for (const Json &effect : plan["effects"]) {
        const std::string kind = effect.value("kind", "");
        if (source_of(plan, effect) == nullptr) continue; // the login's own lines
        if (kind == "map")
            add_drives(effect, &gets);
        else if (kind == "set")
            gets["sets " + effect.value("name", "")] = effect.value("new", "");
        else if (kind == "login")
            add_login(effect, &gets);
        else if (kind == "logout")
            gets["logs out from tree " + text_of(effect, "tree")] = "";
        else if (kind == "tree")
            gets["moves to tree " + text_of(effect, "tree")] = "";
        else if (kind == "question")
            gets["asks for " + effect.value("asks_for", "")] = effect.value("assumed", "");
        else if (kind == "drive")
            gets["drive " + effect.value("name", "")] = effect.value("folder", "");
        else if (kind == "break")
            gets["break"] = effect.value("on", false) ? "on" : "off";
        else if (inWords.count(kind) != 0)
            add_words(effect, &gets);
    }
    return gets;
}

// ---- many users ----

// The user's own script is nobody else's.
static std::set<std::string> shared_scripts(const Json &plan) {
    static const std::set<std::string> shared = {"container", "profile", "default"};
    std::set<std::string> scripts;
    for (const Json &source : plan["sources"])
        if (shared.count(source.value("role", "")) != 0) scripts.insert(show_source(source));
    return scripts;
}

void Summary::add(const Json &plan) {
    const Json found = mistakes_of(plan);
    const size_t number = gets_.size();
    if (plan.contains("locale_missing")) localeMissing_ = plan.value("locale_missing", "");
    size_t missing = 0;
    for (const Json &effect : plan["effects"]) missing += effect.value("kind", "") == "not_found" ? 1 : 0;
    const Json groups = plan.value("groups", Json::array());
    for (const Json &group : groups) groups_[group.get<std::string>()].push_back(number);
    for (const std::string &script : shared_scripts(plan)) scripts_[script].push_back(number);
    for (const Json &one : found) {
        UserNumbers &users = mistakesByPlace_[{one.value("script", ""), one.value("line", 0), one.value("text", "")}];
        if (users.empty() || users.back() != number) users.push_back(number);
    }
    Json user = {{"user", plan.value("user", "")}, {"mistakes", found}, {"not_found", missing}, {"groups", groups}};
    if (plan.contains("refused")) user["refused"] = plan["refused"];
    names_.push_back(user.value("user", ""));
    users_.push_back(std::move(user));
    gets_.push_back(gets_of(plan));
    mistakes_ += found.size();
}

void Summary::addFailure(const std::string &user, const std::string &reason) {
    users_.push_back({{"user", record_text(user)}, {"error", record_text(reason)}});
    failures_++;
}

Json Summary::namesOf(const Json &numbers) const {
    Json names = Json::array();
    for (const Json &number : numbers) names.push_back(names_[number.get<size_t>()]);
    return names;
}

Json Summary::mistakesOf() const {
    Json list = Json::array();
    for (const auto &[place, users] : mistakesByPlace_) {
        const auto &[script, line, text] = place;
        list.push_back({{"script", script}, {"line", line}, {"text", text}, {"users", namesOf(users)}});
    }
    return list;
}

// What one user gets may have any reason: it takes two to credit their group with it.
static constexpr size_t fewest = 2;

void Summary::explain(Sharing *sharing) const {
    for (const Sections *sections : {&groups_, &scripts_})
        for (const auto &[name, users] : *sections)
            if (users.size() >= fewest) sharing->explain(users);
}

Json Summary::groupsOf(const Json &everybody, Sharing *sharing) const {
    Json list = Json::array();
    for (const auto &[group, members] : groups_) {
        list.push_back({{"group", group}, {"users", namesOf(members)}, {"gets", Json::array()}});
        list.back()["others_get"] =
            gets_.size() - members.size() >= fewest ? sharing->takeOfOthers(members) : Json::array();
    }
    sharing->keepOfNearlyAll();
    size_t place = 0;
    for (const auto &[group, members] : groups_) {
        if (members.size() >= fewest) list[place]["gets"] = sharing->take(members, everybody);
        ++place;
    }
    return list;
}

Json Summary::scriptsOf(const Json &everybody, Sharing *sharing) const {
    Json list = Json::array();
    for (const auto &[script, users] : scripts_)
        if (users.size() >= fewest && users.size() < gets_.size())
            list.push_back({{"script", script}, {"users", namesOf(users)}, {"gets", sharing->take(users, everybody)}});
    return list;
}

static std::string scrubbed(const std::string &text, const Secrets &secrets) {
    Json shown = text;
    recorder_scrub(secrets, &shown);
    return shown.get<std::string>();
}

static std::vector<Gets> without_secrets(const std::vector<Gets> &users, const Secrets &secrets) {
    if (secrets.empty()) return users;
    std::vector<Gets> shown;
    for (const Gets &gets : users) {
        shown.emplace_back();
        for (const auto &[what, value] : gets) shown.back()[scrubbed(what, secrets)] = scrubbed(value, secrets);
    }
    return shown;
}

// The rest: what several users get, and what single ones do.
static void add_rest(const Json &rest, const std::vector<std::string> &names, Json *result) {
    std::map<size_t, Json> single;
    for (Json item : rest) {
        Json users = Json::array();
        for (const Json &number : item["users"]) users.push_back(names[number.get<size_t>()]);
        if (users.size() >= fewest) {
            item["users"] = std::move(users);
            (*result)["some"].push_back(std::move(item));
        } else {
            Json &gets = single[item["users"][0].get<size_t>()];
            item.erase("users");
            gets.push_back(std::move(item));
        }
    }
    for (auto &[user, gets] : single) (*result)["single"].push_back({{"user", names[user]}, {"gets", gets}});
}

Json Summary::result(const Secrets &secrets) const {
    const std::vector<Gets> shown = without_secrets(gets_, secrets);
    Sharing sharing(shown);
    Json result = Json::object();
    if (!localeMissing_.empty()) result["locale_missing"] = localeMissing_;
    result["users"] = users_;
    result["mistakes"] = mistakesOf();
    result["everybody"] = sharing.takeOfAll();
    explain(&sharing);
    result["groups"] = groupsOf(result["everybody"], &sharing);
    result["scripts"] = scriptsOf(result["everybody"], &sharing);
    result["some"] = result["single"] = Json::array();
    add_rest(sharing.rest(), names_, &result);
    for (const char *member : {"mistakes", "groups"}) recorder_scrub(secrets, &result[member]);
    for (Json &user : result["users"])
        if (user.contains("mistakes")) recorder_scrub(secrets, &user["mistakes"]);
    return result;
}
