// The summary of many users: nothing that a user gets is left out of it, and it stays short.
#include <gmock/gmock.h>

#include <algorithm>
#include <random>
#include <set>

#include "tools/qrtscript/plan/sharing.h"
#include "tools/qrtscript/plan/summary.h"

namespace {

using Got = std::set<std::pair<size_t, std::string>>; // a user and what

void note(const Json &list, const UserNumbers &users, Got *got) {
    for (const Json &item : list)
        for (const size_t user : users) got->insert({user, item["what"].get<std::string>()});
}

UserNumbers others_of(const UserNumbers &users, size_t number) {
    UserNumbers others;
    for (size_t user = 0; user < number; user++)
        if (std::find(users.begin(), users.end(), user) == users.end()) others.push_back(user);
    return others;
}

UserNumbers numbers(const Json &list) {
    return list.get<UserNumbers>();
}

// Two groups, of which not all effects are theirs.
Got summed_up(const std::vector<Gets> &users, const std::vector<UserNumbers> &groups) {
    Sharing sharing(users);
    Got got;
    const Json everybody = sharing.takeOfAll();
    note(everybody, others_of({}, users.size()), &got);
    for (const UserNumbers &group : groups) sharing.explain(group);
    for (const UserNumbers &group : groups) note(sharing.takeOfOthers(group), others_of(group, users.size()), &got);
    sharing.keepOfNearlyAll();
    for (const UserNumbers &group : groups) note(sharing.take(group, everybody), group, &got);
    for (const Json &item : sharing.rest()) note(Json::array({item}), numbers(item["users"]), &got);
    return got;
}

Json user_named(const std::string &name) {
    return {{"user", name}, {"mistakes", Json::array()}};
}

// So many users, each with an effect of their own.
Json summary_of(size_t users) {
    Json summary = {{"users", Json::array()},  {"mistakes", Json::array()}, {"everybody", Json::array()},
                    {"groups", Json::array()}, {"scripts", Json::array()},  {"some", Json::array()},
                    {"single", Json::array()}};
    for (size_t i = 0; i < users; i++) {
        const std::string name = "u" + std::to_string(i);
        summary["users"].push_back(user_named(name));
        Json gets = Json::array();
        for (int k = 0; k < 7; k++) gets.push_back({{"what", "prints " + name + std::to_string(k)}, {"value", ""}});
        summary["single"].push_back({{"user", name}, {"gets", gets}});
    }
    return summary;
}

} // namespace

TEST(PlanSharing, EachEffectOfEachUserIsInTheResult) {
    std::mt19937 random(16);
    for (int round = 0; round < 200; round++) {
        const size_t number = 1 + random() % 20;
        std::vector<Gets> users(number);
        Got wanted;
        std::vector<UserNumbers> groups(3);
        for (size_t user = 0; user < number; user++) {
            for (UserNumbers &group : groups)
                if (random() % 2 == 0) group.push_back(user);
            for (int k = 0; k < 12; k++) {
                if (random() % 12 < static_cast<unsigned>(k)) continue;
                const std::string what = "maps " + std::to_string(k);
                users[user][what] = std::to_string(random() % (1U + static_cast<unsigned>(k)));
                wanted.insert({user, what});
            }
        }
        EXPECT_EQ(summed_up(users, groups), wanted) << "round " << round;
    }
}

TEST(PlanSharing, AValueThatDiffersIsOneItemForManyAndOneForEachOfAFew) {
    std::vector<Gets> users(6);
    for (size_t i = 0; i < 6; i++) users[i] = {{"sets ME", std::to_string(i)}, {"maps H:", i < 3 ? "A" : "B"}};
    Sharing sharing(users);
    EXPECT_EQ(sharing.takeOfAll(), Json::parse(R"([{"what": "sets ME", "value": null, "values": 6}])"));
    EXPECT_EQ(sharing.take({0, 1, 2}, Json::array())[0], Json::parse(R"({"what": "maps H:", "value": "A"})"));
    EXPECT_EQ(sharing.rest(), Json::parse(R"([{"what": "maps H:", "value": "B", "users": [3, 4, 5]}])"));
}

TEST(PlanSharing, WhatNearlyAllGetIsNotCreditedToTheirGroups) {
    std::vector<Gets> users(13);
    for (size_t i = 1; i < 13; i++) users[i] = {{"prints x", ""}};
    Sharing sharing(users);
    EXPECT_EQ(sharing.takeOfAll().size(), 0u);
    sharing.keepOfNearlyAll();
    EXPECT_EQ(sharing.take({1, 2, 3}, Json::array()).size(), 0u);
    EXPECT_EQ(sharing.rest()[0]["users"].size(), 12u);
}

TEST(PlanSharing, TheTextIsShortForThousandsOfUsersAndCountsWhatItLeavesOut) {
    Json summary = summary_of(3000);
    Json names = Json::array();
    for (int i = 0; i < 40; i++) {
        names.push_back("u" + std::to_string(i));
        if (i > 0) summary["some"].push_back({{"what", "maps " + std::to_string(i)}, {"value", "X"}, {"users", names}});
    }
    const std::string text = summary_text(summary);
    EXPECT_LT(std::count(text.begin(), text.end(), '\n'), 60);
    EXPECT_THAT(text, testing::HasSubstr("\n  maps 39 = X (40 users: u0, u1, u2 and 37 more)\n"));
    EXPECT_THAT(text,
                testing::HasSubstr("\n  and 19 more effects, each of at most 20 users (--format json shows them)\n"));
    EXPECT_THAT(text, testing::HasSubstr("\nSingle users also get 21000 effects\n"
                                         "  u0: prints u00; prints u01; prints u02; and 4 more\n"));
    EXPECT_THAT(
        text, testing::HasSubstr("\n  and those of 2990 users more\n"
                                 "  (qrtscript plan --user USER shows all of one user, --format json of all users)\n"));
}

TEST(PlanSharing, TheTextIsHarmless) {
    Json summary = summary_of(1);
    summary["everybody"].push_back({{"what", "prints \x1B[2J"}, {"value", ""}});
    EXPECT_THAT(summary_text(summary), testing::HasSubstr("  prints \\x1B[2J\n"));
}
