// Groups whose members are groups.
#ifndef PLATFORM_CLIENT_CORE_NESTED_GROUPS_H
#define PLATFORM_CLIENT_CORE_NESTED_GROUPS_H

#include <functional>
#include <string>
#include <vector>

#include "platform/client/core/names.h"

// The groups that have at least one of these as a member.
using GroupsOfLevel = std::function<std::vector<Name>(const std::vector<Name> &)>;

// Adds to the groups of a user those that have them as members, those of these, and so on: each once, the nearest
// first. Groups that are members of each other end. More than 32 levels are left out, with a line on standard error.
// `level` is asked once for each level. `tree` and `user` are for that line.
void nested_groups_add(const std::string &tree, const Name &user, const GroupsOfLevel &level,
                       std::vector<Name> *groups);

#endif
