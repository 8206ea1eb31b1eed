#include "platform/client/core/nested_groups.h"

#include <cstdio>
#include <unordered_set>

#include "platform/catalogue.h"

static constexpr int level_limit = 32;

static std::string key_of(const Name &name) {
    std::string key = name_key(name);
    for (const NamePart &part : name) key.append(part.type).push_back(',');
    return key;
}

void nested_groups_add(const std::string &tree, const Name &user, const GroupsOfLevel &level,
                       std::vector<Name> *groups) {
    std::unordered_set<std::string> seen;
    for (const Name &group : *groups) seen.insert(key_of(group));
    std::vector<Name> last = *groups;
    for (int count = 0; !last.empty(); count++) {
        if (count == level_limit) {
            fprintf(stderr,
                    catalogue_text("Tree %1$s: groups of %2$s are nested more than %3$d levels deep: the rest is left "
                                   "out.\n"),
                    tree.c_str(), name_to_dotted(user, false).c_str(), level_limit);
            return;
        }
        std::vector<Name> next;
        for (Name &group : level(last))
            if (seen.insert(key_of(group)).second) next.push_back(std::move(group));
        groups->insert(groups->end(), next.begin(), next.end());
        last = std::move(next);
    }
}
