// What the answers of a server come to, one by one, and for how long a copy of the site serves.
#include "platform/client/session/trees.h"

#include <filesystem>

#include "platform/client/core/errors.h"
#include "platform/zk.h"
#include "tests/ldap/hostile_server.h"
#include "tests/ldap/ldap_site.h"

namespace {

using Attributes = std::vector<std::pair<std::string, std::string>>;

class LdapStoreTest : public testing::Test {
  protected:
    LdapStoreTest() {
        setenv("XDG_CACHE_HOME", cache.path().c_str(), 1);
        tree.name = "ACME";
        tree.base = "o=acme";
        tree.ldap.cleartextLoopback = true;
        tree.ldap.timeLimit = 600;
        user->name = {{"cn", "jdoe"}};
        user->entryClass = schema_class_of({"person"});
    }
    void on(const Scripted &script) {
        store.reset();
        server = std::make_unique<HostileServer>(script);
        tree.ldap.uris = {server->uri()};
        store = tree_ldap_store(tree, {{"o", "acme"}});
    }
    // Every search has this answer.
    void onSearches(const Scripted::Answer &answer) { on({{{Scripted::bound()}}, {answer}, {{Scripted::unknown()}}}); }
    static std::string object(const std::string &name, const std::string &objectClass, const Attributes &more) {
        Attributes all = {{"objectClass", objectClass}, {"cn", name}};
        all.insert(all.end(), more.begin(), more.end());
        return Scripted::entry("cn=" + name + ",o=acme", all);
    }
    // The code of the verdict, or of the error with its sentence.
    template <typename Call>
    std::string outcome(Call call) {
        try {
            return shown(call());
        } catch (const DataError &error) {
            return error.what();
        } catch (const CodedError &error) {
            return std::to_string(error.code) + " " + error.what();
        }
    }
    static std::string shown(const Verdict &verdict) {
        return std::to_string(verdict == Verdict::accepted        ? ZK_OK
                              : verdict == Verdict::wrongPassword ? ZKE_WRONG_PASSWORD
                                                                  : ZKE_ACCOUNT_LOCKED);
    }
    template <typename Found>
    static std::string shown(const Found &) {
        return "found";
    }

    TempFolder cache;
    ConfigTree tree;
    std::unique_ptr<HostileServer> server;
    std::unique_ptr<DirectoryStore> store;
    std::shared_ptr<Entry> user = std::make_shared<Entry>();
};

std::string code(uint32_t number) {
    return std::to_string(number);
}

} // namespace

TEST_F(LdapStoreTest, ARefusedLoginIsReportedByWhatTheServerAnswers) {
    const struct {
        int result;
        std::string report;
    } cases[] = {
        {49, code(ZKE_WRONG_PASSWORD)},
        {48, code(ZKE_WRONG_PASSWORD)},
        {32, code(ZKE_WRONG_PASSWORD)},
        {34, code(ZKE_WRONG_PASSWORD)},
        {53, code(ZKE_ACCOUNT_LOCKED)},
        {19, code(ZKE_ACCOUNT_LOCKED)},
        {50, code(ZKE_ACCOUNT_LOCKED)},
        {13, code(ZKE_TLS_REQUIRED) + " ACME: the server does not accept passwords over this connection"},
        {8, code(ZKE_TLS_REQUIRED) + " ACME: the server does not accept passwords over this connection"},
        {10, code(ZKE_REFERRAL_BROKEN) + " ACME: the server referred the login of CN=jdoe to another server"},
        {21, code(ZKE_DIRECTORY_UNREACHABLE) + " ACME: login of CN=jdoe failed: Invalid syntax "},
    };
    for (const auto &one : cases) {
        on({{{Scripted::bound(one.result)}}, {{Scripted::done()}}, {{Scripted::unknown()}}});
        EntryPtr asked = user;
        EXPECT_EQ(outcome([&]() { return store->login(&asked, "secret"); }), one.report) << one.result;
        EXPECT_EQ(outcome([&]() { return store->checkPassword(*user, "secret"); }), one.report) << one.result;
        EXPECT_EQ(server->logins(), 2);
    }
    EntryPtr asked = user;
    const std::string elsewhere = "ldap://elsewhere.example/";
    on({{{Scripted::bound(10, "", {elsewhere})}}, {{Scripted::done()}}, {{Scripted::unknown()}}});
    EXPECT_EQ(outcome([&]() { return store->login(&asked, "secret"); }), cases[9].report + ": " + elsewhere);
    on({{{Scripted::bound(21, "ask later")}}, {{Scripted::done()}}, {{Scripted::unknown()}}});
    EXPECT_EQ(outcome([&]() { return store->login(&asked, "secret"); }), cases[10].report + "ask later");
}

TEST_F(LdapStoreTest, AnEmptyPasswordIsNotSent) {
    onSearches({Scripted::done()});
    EntryPtr asked = user;
    EXPECT_EQ(store->login(&asked, ""), Verdict::wrongPassword);
    EXPECT_EQ(store->checkPassword(*user, ""), Verdict::wrongPassword);
    EXPECT_EQ(server->connections(), 0);
}

TEST_F(LdapStoreTest, ALoginReadsTheUserAsTheUserMay) {
    onSearches({object("jdoe", "inetOrgPerson", {{"title", "Manager"}}), Scripted::done()});
    EntryPtr asked = user;
    ASSERT_EQ(store->login(&asked, "secret"), Verdict::accepted);
    ASSERT_NE(asked->first("title"), nullptr);
    EXPECT_EQ(*asked->first("title"), "Manager");
    EXPECT_EQ(store->checkPassword(*user, "secret"), Verdict::accepted);
}

TEST_F(LdapStoreTest, ServersAndVolumesAreFoundByTheirNames) {
    onSearches({object("V0", "qrtVolume", {{"qrtHostServer", "cn=SRV2,o=acme"}, {"qrtHostResourceName", "SYS"}}),
                object("V1", "qrtVolume", {{"qrtHostServer", "cn=srv1,o=acme"}, {"qrtHostResourceName", "SYS"}}),
                object("V2", "qrtVolume", {{"qrtHostServer", "cn=SRV1,o=acme"}}),
                object("V3", "qrtVolume", {{"qrtHostResourceName", "DATA"}}),
                object("P", "person", {{"qrtHostServer", "cn=SRV1,o=acme"}, {"qrtHostResourceName", "USERS"}}),
                object("SRV1", "qrtServer", {}), object("SRV2", "qrtServer", {}), Scripted::done()});
    EntryPtr first, second, volume;
    ASSERT_NE(first = store->findServer(""), nullptr);
    EXPECT_EQ(entry_common_name(*first), "SRV1") << "the first one";
    ASSERT_NE(second = store->findServer("srv2"), nullptr);
    EXPECT_EQ(entry_common_name(*second), "SRV2");
    for (const char *none : {"V1", "P", "SRV", "SRV3"}) EXPECT_EQ(store->findServer(none), nullptr) << none;
    ASSERT_NE(volume = store->findVolume(*first, "sys"), nullptr);
    EXPECT_EQ(entry_common_name(*volume), "V1");
    for (const char *none : {"DATA", "USERS", "V1", ""}) EXPECT_EQ(store->findVolume(*first, none), nullptr) << none;
    EXPECT_EQ(server->connections(), 1);
}

TEST_F(LdapStoreTest, AListThatTheServerCutsIsNoList) {
    onSearches({object("SRV1", "qrtServer", {}), Scripted::done(4)});
    EntryPtr found;
    EXPECT_EQ(outcome([&]() { return store->findServer("SRV1"); }),
              "ACME: the list of servers and volumes is incomplete: server size limit exceeded after 1");
    EXPECT_EQ(outcome([&]() { return store->groupsOf(*user); }),
              "ACME: the list of groups of CN=jdoe is incomplete: server size limit exceeded after 1");
}

TEST_F(LdapStoreTest, WhatIsNotFoundMayBeWhereNobodyAnswers) {
    tree.ldap.referrals = true;
    const std::string silent = "ldap://127.0.0.1:" + std::to_string(free_port());
    onSearches({object("SRV1", "qrtServer", {}), object("a", "groupOfNames", {}), Scripted::reference({silent + "/"}),
                Scripted::done()});
    const std::string report = code(ZKE_DIRECTORY_UNREACHABLE) + " " + server->uri() +
                               ": cannot follow referral: " + silent + ": cannot connect: Connection refused";
    EntryPtr found, other;
    EXPECT_NE(found = store->findServer("SRV1"), nullptr);
    EXPECT_EQ(outcome([&]() { return store->findServer("SRV9"); }), report);
    EXPECT_EQ(outcome([&]() { return store->findVolume(*found, "SYS"); }), report);
    EXPECT_NE(found = store->find({{"cn", "a"}}, Aliases::keep), nullptr);
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(outcome([&]() { return store->find({{"cn", "none"}}, Aliases::keep); }), report);
    for (int i = 0; i < 2; i++) EXPECT_EQ(outcome([&]() { return store->groupsOf(*user); }), report);
}

TEST_F(LdapStoreTest, WhoIsNotShownAfterAFirstLoginIsLoggedOut) {
    onSearches({Scripted::done()});
    EntryPtr asked = user, found;
    EXPECT_EQ(outcome([&]() { return store->login(&asked, "secret"); }),
              code(ZKE_NO_ACCESS) +
                  " ACME: the server has accepted the login of CN=jdoe but does not show the user's own entry");
    EXPECT_EQ(store->findServer("SRV1"), nullptr);
    EXPECT_EQ(server->connections(), 2) << "nobody asks over the connection of the login";
    EXPECT_EQ(server->logins(), 1);
}

TEST_F(LdapStoreTest, ALaterLoginWhoseUserIsNotShownLogsNobodyOut) {
    const Scripted::Answer jdoe = {object("jdoe", "inetOrgPerson", {}), Scripted::done()};
    on({{{Scripted::bound()}}, {jdoe, {Scripted::done()}}, {{Scripted::unknown()}}});
    EntryPtr asked = user, found;
    ASSERT_EQ(store->login(&asked, "secret"), Verdict::accepted);
    for (int attempt = 1; attempt <= 2; attempt++) {
        const int before = server->connections();
        EXPECT_NE(outcome([&]() { return store->login(&asked, "secret"); }), code(ZK_OK));
        EXPECT_EQ(store->findServer("SRV1"), nullptr);
        EXPECT_EQ(server->connections(), before + attempt);
        store->logout(); // after which the next one is a first login again
    }
}

TEST_F(LdapStoreTest, NothingThatAUserHasReadOutlivesTheLogout) {
    const std::string folder = cache.path("brasca-zk");
    const auto copies = [&]() {
        return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
    };
    tree.ldap.offline = true;
    tree.nestedGroups = false; // whatever is asked, the answer is the same
    onSearches({object("jdoe", "inetOrgPerson", {}), object("SRV1", "qrtServer", {}), Scripted::done()});
    EntryPtr asked = user, found;
    ASSERT_EQ(store->login(&asked, "secret"), Verdict::accepted);
    EXPECT_EQ(copies(), 3) << "of the login, of whom its name means, and of the site";
    store->groupsOf(*asked);
    EXPECT_NE(found = store->find({{"cn", "SRV1"}}, Aliases::keep), nullptr);
    int searches = server->searches();
    EXPECT_EQ(searches, 2);
    store->logout();
    EXPECT_NE(found = store->findServer("SRV1"), nullptr);
    EXPECT_EQ(server->searches(), ++searches) << "not from the copy of what the user saw";
    store->groupsOf(*asked);
    EXPECT_EQ(server->searches(), ++searches);
    std::filesystem::remove_all(folder);
    store->logout();
    EXPECT_NE(found = store->find({{"cn", "jdoe"}}, Aliases::keep), nullptr);
    EXPECT_EQ(server->searches(), ++searches);
    EXPECT_FALSE(std::filesystem::exists(folder)) << "nobody is logged in whose login could be kept";
    EXPECT_NE(found = store->findServer("SRV1"), nullptr);
    EXPECT_EQ(copies(), 1) << "of the site";

    store = tree_ldap_store(tree, {{"o", "acme"}});
    EXPECT_NE(found = store->findServer("SRV1"), nullptr);
    EXPECT_EQ(server->searches(), searches + 1) << "the site is known from its copy";
    ASSERT_EQ(store->login(&asked, "secret"), Verdict::accepted);
    store->logout();
    searches = server->searches();
    EXPECT_NE(found = store->findServer("SRV1"), nullptr);
    EXPECT_EQ(server->searches(), searches + 1) << "which is older than the login";
}

TEST_F(LdapStoreTest, AListOfGroupsThatTheServerCutOffIsAnError) {
    for (const int limit : {4, 11}) { // of entries, of what may be looked at
        onSearches({Scripted::entry("cn=a,o=acme", {}), Scripted::done(limit)});
        EXPECT_THROW(store->groupsOf(*user), DataError) << limit;
    }
}

TEST_F(LdapStoreTest, GroupsAreAskedForOnce) {
    onSearches({Scripted::entry("cn=a,o=acme", {}), Scripted::entry("cn=other,o=elsewhere", {}),
                Scripted::entry("cn=b,o=acme", {}), Scripted::done()});
    for (int i = 0; i < 2; i++) {
        std::string names;
        for (const Name &group : store->groupsOf(*user)) names += name_to_dotted(group, false) + " ";
        EXPECT_EQ(names, "a b ");
    }
    EXPECT_EQ(server->searches(), 2) << "for the groups and, once, for those that they are in";
}

namespace {

// A directory of accounts: the user is in staff, and staff in everyone.
class LdapGroupsOfAccounts : public LdapStoreTest {
  protected:
    LdapGroupsOfAccounts() { tree.ldap.schema = SitePreset::activeDirectory; }
    // The server's rootDSE, and what it answers from there on.
    std::string groupsWith(const Attributes &rootDse, const std::vector<Scripted::Answer> &more) {
        std::vector<Scripted::Answer> searches = {
            groups({"staff"}), groups({}), {Scripted::entry("", rootDse), Scripted::done()}};
        searches.insert(searches.end(), more.begin(), more.end());
        on({{{Scripted::bound()}}, searches, {{Scripted::unknown()}}});
        std::string names;
        for (const Name &group : store->groupsOf(*user)) names += name_to_dotted(group, false) + " ";
        return names + std::to_string(server->searches());
    }
    static Scripted::Answer groups(const std::vector<std::string> &names, int result = 0) {
        Scripted::Answer answer;
        for (const std::string &name : names) answer.push_back(Scripted::entry("cn=" + name + ",o=acme", {}));
        answer.push_back(Scripted::done(result));
        return answer;
    }
    const Attributes hasTheRule = {{"supportedCapabilities", "1.2.840.113556.1.4.800"}};
};

} // namespace

TEST_F(LdapGroupsOfAccounts, ThoseOfGroupsAreOneSearchWhereTheServerSaysThatItFindsThem) {
    EXPECT_EQ(groupsWith(hasTheRule, {groups({"everyone", "staff"}), groups({"never asked for"})}), "staff everyone 4");
    EXPECT_EQ(groupsWith(hasTheRule, {groups({}), groups({"never asked for"})}), "staff 4");
}

TEST_F(LdapGroupsOfAccounts, ThoseOfGroupsAreASearchForEachLevelWhereItDoesNot) {
    const std::vector<Scripted::Answer> levels = {groups({"everyone"}), groups({})};
    EXPECT_EQ(groupsWith({{"supportedCapabilities", "1.2.840.113556.1.4.1851"}}, levels), "staff everyone 5");
    EXPECT_EQ(groupsWith({{"vendorName", "x"}}, levels), "staff everyone 5");
}

TEST_F(LdapGroupsOfAccounts, ThoseOfGroupsAreASearchForEachLevelWhereTheSearchByTheRuleIsRefused) {
    for (const int refusal : {18, 12, 53}) // inappropriateMatching and others
        EXPECT_EQ(groupsWith(hasTheRule, {groups({}, refusal), groups({"everyone"}), groups({})}), "staff everyone 6")
            << refusal;
}

// What it says of itself is read once: for the schema that it has, and for this.
TEST_F(LdapGroupsOfAccounts, TheServerIsNotAskedAgainWhatItCanDo) {
    tree.ldap.schema = SitePreset::automatic;
    on({{{Scripted::bound()}},
        {{Scripted::entry("", hasTheRule), Scripted::done()},
         groups({"staff"}),
         groups({}),
         groups({"everyone"}),
         groups({"never asked for"})},
        {{Scripted::unknown()}}});
    EXPECT_EQ(store->groupsOf(*user).size(), 2u);
    EXPECT_EQ(server->searches(), 4);
}

// The rule is used whatever the tree's schema is, and finds what has a user as `member` alone.
TEST_F(LdapGroupsOfAccounts, InAnotherSchemaTheRuleIsUsedBesideTheLevels) {
    tree.ldap.schema = SitePreset::brasca;
    tree.base.clear();
    on({{{Scripted::bound()}},
        {{Scripted::entry("", {hasTheRule.front(), {"namingContexts", "o=acme"}}), Scripted::done()},
         groups({"staff"}),
         groups({"everyone"}),
         groups({"as a uniqueMember"}),
         groups({})},
        {{Scripted::unknown()}}});
    store = tree_ldap_store(tree, {});
    user->name = {{"cn", "jdoe"}, {"o", "acme"}};
    EXPECT_EQ(store->groupsOf(*user).size(), 3u);
    EXPECT_EQ(server->searches(), 5);
}

// A server gives 1,500 values or so at once, and says which.
TEST_F(LdapStoreTest, ValuesThatComeInRangesAreAllThere) {
    const auto member = [](const std::string &range, const std::string &who) {
        return Scripted::Answer{object("a", "groupOfNames", {{"member" + range, "cn=" + who + ",o=acme"}}),
                                Scripted::done()};
    };
    on({{{Scripted::bound()}},
        {member(";range=0-0", "x"), member(";range=1-1", "y"), member(";Range=2-*", "z")},
        {{Scripted::unknown()}}});
    const EntryPtr group = store->find({{"cn", "a"}}, Aliases::keep);
    ASSERT_NE(group, nullptr);
    std::string members;
    for (const EntryValue &value : group->values)
        if (value.attribute == schema_find_ldap("member")) members += value.text + " ";
    EXPECT_EQ(members, "cn=x,o=acme cn=y,o=acme cn=z,o=acme ");
    EXPECT_EQ(server->searches(), 3);
}

TEST_F(LdapStoreTest, ARangeThatDoesNotGoOnEnds) {
    for (const char *range : {"member;range=0-0", "member;range=0-18446744073709551615", "member;range=0-",
                              "member;range=", "member;range=-", "member;range=0-x"}) {
        onSearches({object("a", "groupOfNames", {{range, "cn=x,o=acme"}}), Scripted::done()});
        EXPECT_NE(store->find({{"cn", "a"}}, Aliases::keep), nullptr);
        EXPECT_LE(server->searches(), 2) << range;
    }
}

namespace {

struct CopyAge {
    const char *options;
    long seconds;
    bool serves;
};

void PrintTo(const CopyAge &age, std::ostream *out) {
    *out << age.seconds << " s " << age.options;
}

class LdapSiteCopy : public LdapSite, public testing::WithParamInterface<CopyAge> {};

} // namespace

// No server is left that could be asked.
TEST_P(LdapSiteCopy, ServesForItsTime) {
    auto server = std::make_unique<Slapd>(sample());
    defaultServer = "";
    onServers({server->uri()}, GetParam().options);
    keptHome = home.path();
    ASSERT_EQ(login().status, 0);
    server.reset();
    for (const auto &one : std::filesystem::directory_iterator(home.path(".cache/brasca-zk"))) {
        const std::string text = file_text(one.path()), heading = "# zkclient copy 1 ";
        home.write(
            std::filesystem::relative(one.path(), home.path()),
            heading + std::to_string(time(nullptr) - GetParam().seconds) + text.substr(text.find(' ', heading.size())));
    }
    open_server("SRV2");
    EXPECT_EQ(lastCode, GetParam().serves ? ZK_OK : ZKE_DIRECTORY_UNREACHABLE);
    lastCode = ZKParsePath("SRV2/SYS:x", nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(lastCode, GetParam().serves ? ZK_OK : ZKE_DIRECTORY_UNREACHABLE);
}

INSTANTIATE_TEST_SUITE_P(Ages, LdapSiteCopy,
                         testing::Values(CopyAge{"", 0, true}, CopyAge{"", 30, true}, CopyAge{"", 61, false},
                                         CopyAge{"", -30, false}, CopyAge{"offline = true\n", 29 * 86400, true},
                                         CopyAge{"offline = true\n", 31 * 86400, false}));
