// What a server is asked for when an object is looked up by its name, and that it is asked once.
#include "platform/client/ldap/lookup.h"

#include <gmock/gmock.h>

#include "tests/support/slapd.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Name named(const std::string &dotted) {
    Name name;
    EXPECT_TRUE(name_parse_dotted(dotted, {}, &name));
    return name;
}

class LdapLookupTest : public testing::Test {
  protected:
    LdapLookupTest() {
        Slapd::Setup setup;
        setup.ldif = sample_ldif() +
                     "\ndn: l=york,o=acme\nobjectClass: alias\nobjectClass: extensibleObject\nl: york\n"
                     "aliasedObjectName: ou=sales,o=acme\n";
        server = std::make_unique<Slapd>(setup);
        tree.name = "ACME";
        tree.ldap.uris = {server->uri()};
        tree.ldap.searchBase = "o=acme";
    }
    void on(const std::string &searchBase, const Name &base = {}) {
        tree.ldap.searchBase = searchBase;
        servers = std::make_unique<LdapServers>(tree.ldap);
        lookup = std::make_unique<LdapLookup>(tree, base, servers.get());
    }
    // The name of what is found, "none", or why not.
    std::string find(const std::string &dotted) {
        if (lookup == nullptr) on(tree.ldap.searchBase);
        try {
            EntryPtr entry = lookup->lookup(named(dotted));
            return entry == nullptr ? "none" : name_to_dotted(entry->name, true);
        } catch (const std::exception &error) {
            return error.what();
        }
    }
    // The searches up to now, "base scope filter" each.
    std::vector<std::string> asked() {
        std::vector<std::string> searches;
        lookup.reset();
        servers.reset();
        for (const std::string &line : server->operations()) {
            if (line.compare(0, 5, "SRCH ") != 0) continue;
            const auto part = [&line](const std::string &before, const std::string &after) {
                const size_t start = line.find(before) + before.size();
                return line.substr(start, line.find(after, start) - start);
            };
            searches.push_back(part("base=\"", "\"") + " " + part("scope=", " ") + " " + part("filter=\"", "\""));
        }
        return searches;
    }

    ConfigTree tree;
    std::unique_ptr<Slapd> server;
    std::unique_ptr<LdapServers> servers;
    std::unique_ptr<LdapLookup> lookup;
};

const char usual_jdoe[] =
    "o=acme 2 (|(entryDN=ou=sales,o=acme)(entryDN=cn=jdoe,ou=sales,o=acme)(entryDN=uid=jdoe,ou=sales,o=acme)"
    "(entryDN=ou=jdoe,ou=sales,o=acme)(entryDN=o=acme))";

} // namespace

TEST_F(LdapLookupTest, AsksForAllLevelsAtOnceByTheirLikelyNames) {
    EXPECT_EQ(find("jdoe.sales.acme"), "CN=jdoe.OU=sales.O=acme");
    EXPECT_THAT(asked(), ElementsAre(usual_jdoe));
}

TEST_F(LdapLookupTest, AsksForNothingTwice) {
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(find("jdoe.sales.acme"), "CN=jdoe.OU=sales.O=acme");
        EXPECT_EQ(find("CN=JDOE.sales.acme"), "CN=jdoe.OU=sales.O=acme");
        EXPECT_EQ(find("sales.acme"), "OU=sales.O=acme");
        EXPECT_EQ(find("acme"), "O=acme");
    }
    EXPECT_THAT(asked(), ElementsAre(usual_jdoe));
}

TEST_F(LdapLookupTest, AsksForWhatIsNewOnly) {
    EXPECT_EQ(find("jdoe.sales.acme"), "CN=jdoe.OU=sales.O=acme");
    EXPECT_EQ(find("CN=mlee.emea.sales.acme"), "CN=mlee.OU=emea.OU=sales.O=acme");
    EXPECT_THAT(asked(), ElementsAre(usual_jdoe,
                                     "o=acme 2 (|(entryDN=ou=emea,ou=sales,o=acme)"
                                     "(entryDN=cn=mlee,ou=emea,ou=sales,o=acme))"));
}

TEST_F(LdapLookupTest, AsksLevelByLevelForWhatHasAnUnlikelyName) {
    EXPECT_EQ(find("none.sales.acme"), "none");
    EXPECT_EQ(find("none.sales.acme"), "none") << "and remembers that there is none";
    EXPECT_THAT(
        asked(),
        ElementsAre("o=acme 2 (|(entryDN=ou=sales,o=acme)(entryDN=cn=none,ou=sales,o=acme)"
                    "(entryDN=uid=none,ou=sales,o=acme)(entryDN=ou=none,ou=sales,o=acme)(entryDN=o=acme))",
                    "ou=sales,o=acme 1 (|(cn=none)(uid=none)(ou=none)(o=none)(c=none)(l=none)(st=none)(dc=none))"));
}

TEST_F(LdapLookupTest, FindsAnAliasOfAnUnlikelyNameButNothingBelowIt) {
    EXPECT_EQ(find("york.acme"), "L=york.O=acme");
    EXPECT_EQ(find("jdoe.york.acme"), "none");
}

TEST_F(LdapLookupTest, AsksForATypeThatIsGivenAlone) {
    EXPECT_EQ(find("SN=none.OU=sales.acme"), "none");
    EXPECT_THAT(asked(),
                ElementsAre("o=acme 2 (|(entryDN=ou=sales,o=acme)(entryDN=sn=none,ou=sales,o=acme)(entryDN=o=acme))",
                            "ou=sales,o=acme 1 (sn=none)"));
}

TEST_F(LdapLookupTest, AsksForTheSearchBaseItself) {
    EXPECT_EQ(find("acme"), "O=acme");
    EXPECT_THAT(asked(), ElementsAre("o=acme 2 (entryDN=o=acme)"));
}

TEST_F(LdapLookupTest, AsksNobodyForWhatIsBesideTheSearchBase) {
    on("ou=sales,o=acme");
    for (const char *name : {"acme", "sales.other", "jdoe.CN=sales.acme", "jdoe.sales.other", "x"})
        EXPECT_EQ(find(name), "none") << name;
    EXPECT_EQ(find("jdoe.sales.acme"), "CN=jdoe.OU=sales.O=acme");
    EXPECT_THAT(asked(),
                ElementsAre("ou=sales,o=acme 2 (|(entryDN=cn=jdoe,ou=sales,o=acme)(entryDN=uid=jdoe,ou=sales,o=acme)"
                            "(entryDN=ou=jdoe,ou=sales,o=acme)(entryDN=ou=sales,o=acme))"));
}

TEST_F(LdapLookupTest, ForgetsWhatItHasRead) {
    EXPECT_EQ(find("acme"), "O=acme");
    EXPECT_EQ(lookup->allKept().size(), 1u);
    lookup->forget();
    EXPECT_THAT(lookup->allKept(), IsEmpty());
    EXPECT_EQ(find("acme"), "O=acme");
    EXPECT_THAT(asked(), ElementsAre("o=acme 2 (entryDN=o=acme)", "o=acme 2 (entryDN=o=acme)"));
}

TEST_F(LdapLookupTest, TakesTheServersOnlyNamingContext) {
    on("");
    EXPECT_EQ(name_to_dn(lookup->searchBase(), {}), "o=acme");
    EXPECT_EQ(name_to_dn(lookup->searchBase(), {}), "o=acme");
    EXPECT_THAT(asked(), ElementsAre(" 0 (objectClass=*)"));
}

TEST_F(LdapLookupTest, TheTreesBaseIsWhereItSearches) {
    on("", {{"o", "acme"}});
    EXPECT_EQ(find("sales"), "OU=sales");
    EXPECT_THAT(asked(), ElementsAre("o=acme 2 (|(entryDN=cn=sales,o=acme)(entryDN=uid=sales,o=acme)"
                                     "(entryDN=ou=sales,o=acme)(entryDN=o=acme))"));
}

TEST_F(LdapLookupTest, ASearchBaseHasToBeBelowTheBase) {
    on("o=other", {{"o", "acme"}});
    EXPECT_EQ(find("sales"), "ACME: search_base must be base or below it");
}

TEST_F(LdapLookupTest, TheLikelyNameOfWhatNobodyMaySee) {
    on("o=acme");
    const struct {
        const char *name, *likely;
    } cases[] = {{"jdoe.sales.acme", "CN=jdoe.OU=sales.O=acme"},
                 {"UID=jdoe.sales.acme", "UID=jdoe.OU=sales.O=acme"},
                 {"jdoe.L=sales.acme", "CN=jdoe.L=sales.O=acme"},
                 {"jdoe.acme", "CN=jdoe.O=acme"}};
    for (const auto &one : cases) {
        const std::optional<Name> likely = lookup->unseen(named(one.name));
        ASSERT_TRUE(likely) << one.name;
        EXPECT_EQ(name_to_dotted(*likely, true), one.likely);
    }
    for (const char *name : {"acme", "jdoe.other", "x"}) EXPECT_FALSE(lookup->unseen(named(name))) << name;
    EXPECT_EQ(find("acme"), "O=acme");
    EXPECT_FALSE(lookup->unseen(named("jdoe.sales.acme"))) << "it shows something";
    lookup->forget();
    EXPECT_TRUE(lookup->unseen(named("jdoe.sales.acme")));
}
