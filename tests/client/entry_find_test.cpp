// Names along aliases, over entries of a list.
#include "platform/client/core/entry_find.h"

#include <gmock/gmock.h>

#include "platform/client/core/errors.h"

namespace {

class EntryFind : public ::testing::Test {
  protected:
    void add(const char *name, const char *objectClass, const char *target = nullptr) {
        auto made = std::make_shared<Entry>();
        EXPECT_TRUE(name_parse_dotted(name, {}, &made->name));
        made->entryClass = schema_class_of({objectClass});
        if (target != nullptr) made->values.push_back({schema_find_ldap("aliasedObjectName"), target});
        entries.push_back(made);
    }

    // The entry's name, "" for the root, or the error.
    std::string find(const Name &name, Aliases aliases = Aliases::follow) {
        const auto at = [this](const Name &wanted) -> EntryPtr {
            for (const EntryPtr &entry : entries) {
                if (name_equal(entry->name, wanted)) return entry;
            }
            return nullptr;
        };
        try {
            const EntryPtr found = entry_find(name, aliases, {}, at, at);
            return found == nullptr ? none : found->name.empty() ? "" : name_to_dotted(found->name, false);
        } catch (const DataError &error) {
            return error.what();
        }
    }
    std::string find(const char *dotted, Aliases aliases = Aliases::follow) {
        Name name;
        EXPECT_TRUE(name_parse_dotted(dotted, {}, &name));
        return find(name, aliases);
    }

    std::vector<EntryPtr> entries;
    const std::string none = "no entry";
};

TEST_F(EntryFind, AliasesLeadOnAtTheLeafAndOnTheWay) {
    add("CN=jdoe.OU=sales.O=acme", "person");
    add("OU=trade.O=acme", "alias", "ou=sales,o=acme");
    add("CN=john.O=acme", "alias", "cn=jdoe,ou=trade,o=acme");
    EXPECT_EQ(find("jdoe.trade.acme"), "jdoe.sales.acme");
    EXPECT_EQ(find("john.acme"), "jdoe.sales.acme");
    EXPECT_EQ(find("john.acme", Aliases::keep), "john.acme");
    EXPECT_EQ(find("jdoe.trade.acme", Aliases::keep), none);
    EXPECT_EQ(find("x.john.acme"), none);
}

TEST_F(EntryFind, OnlyAnAliasWithATargetLeadsOn) {
    add("CN=jdoe.O=acme", "person");
    add("CN=other.O=acme", "person", "cn=jdoe,o=acme");
    add("CN=empty.O=acme", "alias");
    EXPECT_EQ(find("jdoe.other.acme"), none);
    EXPECT_EQ(find("other.acme"), "other.acme");
    EXPECT_EQ(find("empty.acme"), none);
}

TEST_F(EntryFind, TheRootIsThereWithoutAnEntry) {
    EXPECT_EQ(find(Name{}), "");
    EXPECT_EQ(find(Name{}, Aliases::keep), "");
    add("CN=top.O=acme", "alias", "");
    EXPECT_EQ(find("top.acme"), "") << "an alias of the root";
}

TEST_F(EntryFind, SixteenAliasesInARowAreFollowed) {
    add("CN=a0", "person");
    for (int i = 1; i <= 17; i++)
        add(("CN=a" + std::to_string(i)).c_str(), "alias", ("cn=a" + std::to_string(i - 1)).c_str());
    EXPECT_EQ(find("a16"), "a0");
    EXPECT_EQ(find("a17"), "too many levels of aliases: a17");
}

TEST_F(EntryFind, AnAliasMakesNoNameDeeperThanNamesMayBe) {
    add("CN=down", "alias", "cn=down,cn=x");
    Name deep(name_depth_limit - 1, {"cn", "y"});
    deep.push_back({"cn", "down"});
    EXPECT_THAT(find(deep), testing::StartsWith("too many levels of aliases: "));
    Name there(name_depth_limit - 2, {"cn", "y"});
    there.push_back({"cn", "down"});
    EXPECT_EQ(find(there), none);
}

} // namespace
