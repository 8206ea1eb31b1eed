#include "tools/qrtscript/plan/sharing.h"

#include <algorithm>
#include <set>

// So many values are listed, one by one.
static constexpr size_t few_values = 4;
// Whoever does not get what nearly all get.
static constexpr size_t few_users = 3;

using Values = std::set<std::string_view>;

Sharing::Sharing(const std::vector<Gets> &users) : number_(users.size()) {
    for (size_t user = 0; user < users.size(); user++)
        for (const auto &[what, value] : users[user]) uses_[what].push_back({user, value, false, false});
}

static bool has(const Json &list, const Json &item) {
    return std::any_of(
        list.begin(), list.end(),
        [&item](const Json &one) { return one["what"] == item["what"] && one["value"] == item["value"]; });
}

template <typename Uses>
static Values values_of(const Uses &uses) {
    Values values;
    for (const auto *use : uses) values.insert(use->value);
    return values;
}

Json Sharing::item(std::string_view what, const std::vector<Use *> &uses) {
    const Values values = values_of(uses);
    Json item = {{"what", what}};
    item["value"] = values.size() == 1 ? Json(*values.begin()) : Json();
    if (values.size() > 1) item["values"] = values.size();
    return item;
}

// Parted by their values, these users are told apart.
static bool is_parted(size_t values, size_t users) {
    return values > 1 && values <= few_values && 2 * values <= users;
}

static std::vector<bool> marked(const UserNumbers &users, size_t number) {
    std::vector<bool> isMember(number, false);
    for (const size_t user : users) isMember[user] = true;
    return isMember;
}

Json Sharing::takeOfAll() {
    UserNumbers all;
    for (size_t user = 0; user < number_; user++) all.push_back(user);
    Json list = take(all, Json::array());
    part();
    return list;
}

void Sharing::part() {
    for (auto &[what, uses] : uses_) {
        std::map<std::string_view, std::vector<Use *>> byValue;
        std::vector<Use *> all;
        for (Use &use : uses) {
            if (use.isTaken) continue;
            byValue[use.value].push_back(&use);
            all.push_back(&use);
        }
        if (byValue.size() > few_values)
            parts_.push_back({what, std::move(all), false});
        else
            for (auto &[value, some] : byValue) parts_.push_back({what, std::move(some), false});
    }
}

void Sharing::explain(const UserNumbers &users) {
    const std::vector<bool> isMember = marked(users, number_);
    for (Part &one : parts_) {
        if (one.uses.size() != users.size()) continue;
        const auto isTheirs = [&isMember](const Use *use) { return isMember[use->user]; };
        one.isExplained = one.isExplained || std::all_of(one.uses.begin(), one.uses.end(), isTheirs);
    }
}

Json Sharing::takeOfOthers(const UserNumbers &users) {
    const std::vector<bool> isMember = marked(users, number_);
    Json list = Json::array();
    for (Part &one : parts_) {
        if (one.isExplained || one.uses.size() + users.size() != number_) continue;
        const auto isOthers = [&isMember](const Use *use) { return !isMember[use->user]; };
        if (!std::all_of(one.uses.begin(), one.uses.end(), isOthers)) continue;
        for (Use *use : one.uses) use->isTaken = use->isKept = true;
        list.push_back(item(one.what, one.uses));
    }
    return list;
}

void Sharing::keepOfNearlyAll() {
    for (const Part &one : parts_) {
        const size_t missing = number_ - one.uses.size();
        if (one.isExplained || missing > few_users || (few_users + 1) * missing > one.uses.size()) continue;
        for (Use *use : one.uses) use->isKept = true;
    }
}

Json Sharing::take(const UserNumbers &users, const Json &without) {
    Json list = Json::array();
    const std::vector<bool> isMember = marked(users, number_);
    for (auto &[what, uses] : uses_) {
        std::vector<Use *> members;
        for (Use &use : uses)
            if (isMember[use.user] && !use.isKept) members.push_back(&use);
        if (members.size() != users.size() || members.empty()) continue;
        if (is_parted(values_of(members).size(), members.size())) continue;
        Json shared = item(what, members);
        if (has(without, shared)) continue;
        for (Use *use : members) use->isTaken = true;
        list.push_back(std::move(shared));
    }
    return list;
}

Json Sharing::rest() const {
    Json list = Json::array();
    for (const Part &one : parts_) {
        std::vector<Use *> left;
        UserNumbers users;
        for (Use *use : one.uses) {
            if (use->isTaken) continue;
            left.push_back(use);
            users.push_back(use->user);
        }
        if (left.empty()) continue;
        Json shared = item(one.what, left);
        shared["users"] = users;
        list.push_back(std::move(shared));
    }
    return list;
}
