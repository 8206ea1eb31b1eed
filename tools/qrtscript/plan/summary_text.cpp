#include <algorithm>

#include "platform/terminal_text.h"
#include "tools/qrtscript/plan/summary.h"

// What a list shows at most.
static constexpr size_t most_names = 3;
static constexpr size_t most_groups = 10;
static constexpr size_t most_some = 20;
static constexpr size_t most_single = 10;
static constexpr size_t most_gets = 3;

static std::string harmless(const Json &object, const char *key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_string() ? terminal_text(found->get<std::string>()) : "";
}

static std::string number_of(size_t number, const char *one, const char *many) {
    return std::to_string(number) + " " + (number == 1 ? one : many);
}

static std::string users_of(size_t number) {
    return number_of(number, "user", "users");
}

// "a, b and c", "a, b, c and 7 more"
static std::string list_of(const std::vector<std::string> &names, size_t most) {
    const bool isWhole = names.size() <= most + 1;
    const size_t shown = isWhole ? names.size() : most;
    std::string text;
    for (size_t i = 0; i < shown; i++) text += (i == 0 ? "" : isWhole && i + 1 == shown ? " and " : ", ") + names[i];
    return isWhole ? text : text + " and " + std::to_string(names.size() - shown) + " more";
}

static std::vector<std::string> names_of(const Json &users) {
    std::vector<std::string> names;
    for (const Json &user : users) names.push_back(terminal_text(user.get<std::string>()));
    return names;
}

// Of the users that could be planned.
static std::string who(const Json &users, const std::vector<std::string> &all) {
    const std::vector<std::string> names = names_of(users);
    if (names.size() <= most_names + 1) return list_of(names, most_names);
    if (names.size() == all.size()) return "all " + users_of(all.size());
    if (all.size() - names.size() > most_names) return users_of(names.size()) + ": " + list_of(names, most_names);
    std::vector<std::string> missing;
    for (const std::string &name : all)
        if (std::find(names.begin(), names.end(), name) == names.end()) missing.push_back(name);
    return "all but " + list_of(missing, most_names);
}

// "maps H: = SRV1/SYS:"; `users` is the number of those who get it.
static std::string item_text(const Json &item, size_t users) {
    const std::string what = harmless(item, "what");
    const size_t values = item.value("values", size_t{1});
    if (values > 1 && values == users) return what + " (a different value for each user)";
    if (values > 1) return what + " (" + std::to_string(values) + " different values)";
    const std::string value = harmless(item, "value");
    return what + (value.empty() ? "" : " = " + value);
}

static std::string gets_lines(const Json &gets, size_t users) {
    std::string text;
    for (const Json &item : gets) text += "  " + item_text(item, users) + "\n";
    return text;
}

static std::string problem_lines(const Json &summary, const std::vector<std::string> &all) {
    std::string text;
    for (const Json &user : summary["users"]) {
        const std::string name = "  " + harmless(user, "user");
        if (user.contains("error")) text += name + ": could not be planned: " + harmless(user, "error") + "\n";
        if (user.contains("refused")) text += name + ": a login would be refused: " + harmless(user, "refused") + "\n";
    }
    for (const Json &mistake : summary["mistakes"]) {
        const int line = mistake.value("line", 0);
        text += "  " + harmless(mistake, "script") + (line > 0 ? " line " + std::to_string(line) : "") + ": " +
                harmless(mistake, "text") + " (" + who(mistake["users"], all) + ")\n";
    }
    return text;
}

// A line for what is not listed group by group.
static std::string other_groups(const Json &groups) {
    std::vector<std::string> plain, single;
    for (const Json &group : groups)
        if (group["users"].size() == 1)
            single.push_back(harmless(group, "group") + " (" + who(group["users"], {}) + ")");
        else if (group["gets"].empty())
            plain.push_back(harmless(group, "group"));
    std::string text;
    if (!plain.empty()) text += "\nNothing more as a group get " + list_of(plain, most_groups) + "\n";
    if (!single.empty())
        text +=
            "\nGroups with one user, whose effects are among those of single users: " + list_of(single, most_groups) +
            "\n";
    return text;
}

static std::string section(const std::string &title, size_t users, const Json &gets) {
    return gets.empty() ? "" : "\n" + title + "\n" + gets_lines(gets, users);
}

static std::string group_sections(const Json &summary, size_t all) {
    std::string text;
    for (const Json &group : summary["groups"])
        text += section("Group " + harmless(group, "group") + " (" + users_of(group["users"].size()) + ") also gets",
                        group["users"].size(), group["gets"]);
    for (const Json &script : summary["scripts"])
        text +=
            section("The " + users_of(script["users"].size()) + " with the " + harmless(script, "script") + " also get",
                    script["users"].size(), script["gets"]);
    for (const Json &group : summary["groups"])
        text += section("The " + users_of(all - group["users"].size()) + " who are not in group " +
                            harmless(group, "group") + " also get",
                        all - group["users"].size(), group["others_get"]);
    return text + other_groups(summary["groups"]);
}

static std::string some_section(Json some, const std::vector<std::string> &all) {
    if (some.empty()) return "";
    std::stable_sort(some.begin(), some.end(),
                     [](const Json &a, const Json &b) { return a["users"].size() > b["users"].size(); });
    std::string text = "\nSome users also get\n";
    const size_t shown = some.size() <= most_some + 1 ? some.size() : most_some;
    for (size_t i = 0; i < shown; i++)
        text += "  " + item_text(some[i], some[i]["users"].size()) + " (" + who(some[i]["users"], all) + ")\n";
    if (shown == some.size()) return text;
    return text + "  and " + std::to_string(some.size() - shown) + " more effects, each of at most " +
           users_of(some[shown]["users"].size()) + " (--format json shows them)\n";
}

static std::string single_section(const Json &single) {
    size_t effects = 0;
    for (const Json &user : single) effects += user["gets"].size();
    if (effects == 0) return "";
    std::string text = "\nSingle users also get " + number_of(effects, "effect", "effects") + "\n";
    const size_t shown = single.size() <= most_single + 1 ? single.size() : most_single;
    for (size_t i = 0; i < shown; i++) {
        std::vector<std::string> items;
        for (const Json &item : single[i]["gets"]) items.push_back(item_text(item, 1));
        const size_t left = items.size() <= most_gets + 1 ? 0 : items.size() - most_gets;
        items.resize(items.size() - left);
        std::string line;
        for (const std::string &item : items) line += (line.empty() ? "" : "; ") + item;
        text += "  " + harmless(single[i], "user") + ": " + line +
                (left > 0 ? "; and " + std::to_string(left) + " more" : "") + "\n";
    }
    if (shown < single.size()) text += "  and those of " + users_of(single.size() - shown) + " more\n";
    const bool isCut = text.find(" more\n") != text.npos;
    return text + (isCut ? "  (qrtscript plan --user USER shows all of one user, --format json of all users)\n" : "");
}

static size_t count_of_problems(const Json &users) {
    return static_cast<size_t>(std::count_if(
        users.begin(), users.end(),
        [](const Json &user) {
            return user.contains("error") || user.contains("refused") || !user["mistakes"].empty();
        }));
}

std::string summary_text(const Json &summary) {
    std::vector<std::string> all; // that could be planned
    for (const Json &user : summary["users"])
        if (!user.contains("error")) all.push_back(harmless(user, "user"));
    const size_t problems = count_of_problems(summary["users"]);
    const Json &everybody = summary["everybody"];
    return "\n" + users_of(summary["users"].size()) + ", " + (problems == 0 ? "none" : std::to_string(problems)) +
           " with mistakes or refused\n" + problem_lines(summary, all) + "\nEverybody gets\n" +
           (everybody.empty() ? "  nothing\n" : gets_lines(everybody, all.size())) +
           group_sections(summary, all.size()) + some_section(summary["some"], all) + single_section(summary["single"]);
}
