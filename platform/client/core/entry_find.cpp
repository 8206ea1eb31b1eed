#include "platform/client/core/entry_find.h"

#include "platform/catalogue.h"
#include "platform/client/core/errors.h"
#include "platform/client/core/values.h"

static constexpr int alias_limit = 16;

// The root has an entry only when the tree's base is one.
static EntryPtr root_entry() {
    static const SchemaClass rootClass = {"", "Root", true};
    auto made = std::make_shared<Entry>();
    made->entryClass = &rootClass;
    return made;
}

// What an alias stands for takes the place of its name, `below` parts from the leaf.
static bool follow_alias(const Entry &entry, const Name &base, size_t below, Name *wanted) {
    const std::string *target = entry.first("aliasedObjectName");
    if (target == nullptr || !entry.isClass("Alias")) return false;
    Name real = value_parse(schema_dn, *target, base).name;
    wanted->resize(below);
    wanted->insert(wanted->end(), real.begin(), real.end());
    return true;
}

EntryPtr entry_find(const Name &name, Aliases aliases, const Name &base, const EntryAt &at, const EntryAt &above) {
    Name wanted = name;
    for (int hops = 0; hops <= alias_limit && wanted.size() <= name_depth_limit; hops++) {
        EntryPtr found = at(wanted);
        if (found != nullptr && (aliases == Aliases::keep || !found->isClass("Alias"))) return found;
        if (wanted.empty()) return root_entry();
        size_t below = 0;
        while (aliases == Aliases::follow && found == nullptr && ++below < wanted.size())
            found = above(name_above(wanted, below));
        if (found == nullptr || !follow_alias(*found, base, below, &wanted)) return nullptr;
    }
    throw DataError(catalogue_format("too many levels of aliases: %s", name_to_dotted(name, true).c_str()));
}
