// The copy of what a directory said, as a file below the user's cache folder.
#include "platform/client/copies/copy.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <cstdlib>
#include <filesystem>

#include "platform/zk.h"
#include "tests/support/process.h"

namespace {

namespace fs = std::filesystem;

class LdapCopyTest : public testing::Test {
  protected:
    LdapCopyTest() {
        setenv("XDG_CACHE_HOME", cache.path("deep/cache").c_str(), 1);
        tree.name = "ACME";
        tree.base = "dc=example";
        tree.ldap.uris = {"ldap://a.example"};
    }
    ~LdapCopyTest() override { unsetenv("XDG_CACHE_HOME"); }

    using Values = std::vector<std::pair<const char *, std::string>>;
    static EntryPtr made(const Name &name, const Values &values = {}) {
        auto entry = std::make_shared<Entry>();
        entry->name = name;
        for (const auto &[attribute, value] : values) entry->values.push_back({schema_find_ldap(attribute), value});
        return entry;
    }
    static EntryPtr person(const Name &name, const std::string &title) {
        return made(name,
                    {{"objectClass", "inetOrgPerson"}, {"cn", name.front().value}, {"sn", "x"}, {"title", title}});
    }
    LdapCopy copy(const std::string &kind = "site") const { return {tree, base, kind}; }
    void write(const std::vector<EntryPtr> &entries) const { copy().write(entries); }

    std::string value(const Name &name, const char *attribute) const {
        time_t written = 0;
        std::unique_ptr<DirectoryStore> store = copy().read(&written);
        EntryPtr entry;
        if (store == nullptr || (entry = store->find(name, Aliases::keep)) == nullptr) return "no entry";
        const std::string *text = entry->first(attribute);
        return text == nullptr ? "no value" : *text;
    }
    std::string title(const Name &name) const { return value(name, "title"); }
    bool isThere() const {
        time_t written = 0;
        return copy().read(&written) != nullptr;
    }
    std::vector<fs::path> files() const {
        std::vector<fs::path> found;
        std::error_code none;
        for (const auto &file : fs::directory_iterator(cache.path("deep/cache/brasca-zk"), none))
            found.push_back(file.path());
        return found;
    }
    // The file with this in place of its first line.
    void changeHead(const std::string &head) const {
        const std::string text = file_text(files().at(0));
        const std::string rest = text.substr(text.find('\n'));
        fs::resize_file(files().at(0), 0);
        cache.write("deep/cache/brasca-zk/" + files().at(0).filename().string(), head + rest);
    }

    TempFolder cache;
    ConfigTree tree;
    const Name base = {{"dc", "example"}};
    const Name jdoe = {{"cn", "jdoe"}, {"ou", "sales"}, {"o", "acme"}};
};

} // namespace

TEST_F(LdapCopyTest, KeepsEntriesOfWhichAServerDoesNotShowEverything) {
    const EntryPtr bare = made({{"cn", "bare"}, {"o", "acme"}});
    const EntryPtr alias = made({{"cn", "alias"}, {"o", "acme"}}, {{"objectClass", "alias"}});
    write({person(jdoe, "boss"), bare, alias, std::make_shared<Entry>()});
    EXPECT_EQ(title(jdoe), "boss");
    EXPECT_EQ(value(bare->name, "cn"), "bare");
    EXPECT_EQ(value(bare->name, "objectClass"), "no value");
    EXPECT_EQ(value(alias->name, "objectClass"), "alias");
}

// "dn" and "control" begin lines of LDIF that are no attributes; a time has a form, and a class or a password a
// meaning.
TEST_F(LdapCopyTest, KeepsEntriesThatAreNamedByWhatIsNoName) {
    const EntryPtr named =
        made({{"dn", "x"}, {"control", "y"}, {"o", "acme"}}, {{"objectClass", "person"}, {"title", "boss"}});
    auto timed = std::make_shared<Entry>(*named);
    timed->name = {{"modifytimestamp", "x"}, {"objectclass", "qrtServer"}, {"userpassword", "x"}, {"o", "acme"}};
    write({person(jdoe, "boss"), named, timed});
    EXPECT_EQ(title(jdoe), "boss");
    EXPECT_EQ(title(named->name), "boss");
    EXPECT_EQ(title(timed->name), "boss");
    EXPECT_EQ(value(name_above(timed->name, 1), "objectClass"), "organizationalUnit");
    EXPECT_EQ(value(name_above(timed->name, 2), "userPassword"), "no value");
}

TEST_F(LdapCopyTest, TakesAContainerThatAServerSpellsInTwoWaysForOne) {
    const EntryPtr sales =
        made({{"ou", "Sales"}, {"o", "ACME"}}, {{"objectClass", "organizationalUnit"}, {"ou", "Sales"}});
    write({person(jdoe, "boss"), sales});
    EXPECT_EQ(title(jdoe), "boss");
    EXPECT_EQ(value(sales->name, "ou"), "Sales");
}

TEST_F(LdapCopyTest, GivesBackEveryValueAsItWas) {
    std::string every;
    for (int byte = 1; byte < 256; byte++) every += static_cast<char>(byte);
    for (const std::string &value :
         {std::string("a"), std::string("ab"), std::string("abc"), std::string("abcd"), every}) {
        write({person(jdoe, value)});
        EXPECT_EQ(title(jdoe), value);
    }
}

TEST_F(LdapCopyTest, MakesUpWhatIsMissingAboveAndTakesWhatIsThere) {
    const EntryPtr unit = made({{"ou", "sales"}, {"o", "acme"}},
                               {{"objectClass", "organizationalUnit"}, {"ou", "sales"}, {"description", "real"}});
    write({person(jdoe, "first"), unit, person(jdoe, "second")});
    EXPECT_EQ(title(jdoe), "first");
    EXPECT_EQ(value(unit->name, "description"), "real");
    EXPECT_EQ(value({{"o", "acme"}}, "description"), "no value");
    EXPECT_EQ(value({{"o", "other"}}, "description"), "no entry");
}

// Another version of the client finds it again.
TEST_F(LdapCopyTest, HasANameThatItsTreeAndItsUseMake) {
    write({person(jdoe, "x")});
    ASSERT_EQ(files().size(), 1u);
    EXPECT_EQ(files()[0].filename().string(), "094c18becdfb1d34.ldif");
    const std::string text = file_text(files()[0]);
    EXPECT_EQ(text.substr(0, 18), "# zkclient copy 1 ");
    EXPECT_EQ(text.substr(text.find('\n') - 17, 18), " 0f0e8a88b611ecaf\n");
    tree.ldap.attributes = {{"displayName", "gecos"}, {"title", "rank"}};
    write({person(jdoe, "x")});
    EXPECT_TRUE(fs::exists(cache.path("deep/cache/brasca-zk/198e6f3407c0ac88.ldif")));
}

TEST_F(LdapCopyTest, WritesTheValueInANameThatTheEntryLacks) {
    const EntryPtr entry = made({{"cn", "J Doe"}, {"o", "acme"}}, {{"objectClass", "person"}, {"sn", "J Doe"}});
    write({entry});
    EXPECT_EQ(value(entry->name, "cn"), "J Doe");
    auto spelled = std::make_shared<Entry>(*entry);
    spelled->values.push_back({schema_find_ldap("cn"), "j doe"});
    write({spelled});
    EXPECT_EQ(value(entry->name, "cn"), "j doe") << "it has it in another spelling";
}

TEST_F(LdapCopyTest, IsTheUsersAlone) {
    write({person(jdoe, "x")});
    ASSERT_EQ(files().size(), 1u) << "nothing temporary is left";
    const fs::path file = files()[0];
    struct stat made = {};
    ASSERT_EQ(stat(file.c_str(), &made), 0);
    EXPECT_EQ(made.st_mode & 07777, 0600u);
    ASSERT_EQ(stat(file.parent_path().c_str(), &made), 0);
    EXPECT_EQ(made.st_mode & 07777, 0700u);
    for (const mode_t others : {040, 020, 010, 04, 02, 01}) {
        chmod(file.c_str(), 0600 | others);
        EXPECT_FALSE(isThere()) << others;
    }
    chmod(file.c_str(), 0600);
    EXPECT_TRUE(isThere());
    fs::rename(file, cache.path("elsewhere"));
    fs::create_symlink(cache.path("elsewhere"), file);
    EXPECT_FALSE(isThere());
}

TEST_F(LdapCopyTest, BelongsToTheTreeAsItIsConfigured) {
    write({person(jdoe, "x")});
    time_t written = 0;
    EXPECT_EQ(copy("login").read(&written), nullptr);
    const ConfigTree configured = tree;
    tree.ldap.uris.emplace_back("ldap://b.example");
    EXPECT_FALSE(isThere());
    tree = configured;
    tree.base = "dc=other";
    EXPECT_FALSE(isThere());
    tree = configured;
    tree.ldap.attributes = {{"title", "rank"}};
    EXPECT_FALSE(isThere());
    tree = configured;
    EXPECT_TRUE(isThere());
}

TEST_F(LdapCopyTest, IsReadOnlyWithItsOwnHead) {
    write({person(jdoe, "x")});
    const std::string text = file_text(files().at(0));
    const std::string head = text.substr(0, text.find('\n'));
    const size_t owner = head.rfind(' ');
    const std::string start = head.substr(0, head.rfind(' ', owner - 1) + 1);
    changeHead(start + "1234567" + head.substr(owner));
    time_t written = 0;
    EXPECT_NE(copy().read(&written), nullptr);
    EXPECT_EQ(written, 1234567);
    for (const std::string &wrong :
         {"x" + head, start + "soon" + head.substr(owner), start + "7" + head.substr(owner + 1),
          start + "7 " + std::string(16, '0'), start, std::string()}) {
        changeHead(wrong);
        EXPECT_FALSE(isThere()) << wrong;
    }
}

TEST_F(LdapCopyTest, SaysWhoHasReadItWithWhichProfile) {
    const auto reader = [this]() -> std::string {
        time_t written = 0;
        EntryPtr who;
        EXPECT_NE(copy().read(&written, &who), nullptr);
        if (who == nullptr) return "nobody";
        const std::string *profile = who->first("qrtProfile");
        return name_to_dotted(who->name, true) + (profile == nullptr ? "" : " " + *profile);
    };
    const std::vector<EntryPtr> entries = {person(jdoe, "boss")};
    write(entries);
    EXPECT_EQ(reader(), "nobody");
    copy().write(entries, made(jdoe, {{"title", "boss"}}));
    EXPECT_EQ(reader(), "CN=jdoe.OU=sales.O=acme");
    copy().write(entries, made(jdoe, {{"qrtProfile", "cn=p,dc=example"}}));
    EXPECT_EQ(reader(), "CN=jdoe.OU=sales.O=acme cn=p,dc=example");
    copy().write(entries, made(jdoe, {{"qrtProfile", "cn=" + std::string(600, 'p') + ",dc=example"}}));
    EXPECT_EQ(reader(), "CN=jdoe.OU=sales.O=acme") << "no object has such a name";
    copy().write(entries, made({{"cn", "j\ndn: x"}, {"o", "acme"}}, {{"qrtProfile", "cn=p,dc=example"}}));
    EXPECT_EQ(reader(), "nobody") << "whose name would be further lines";
    copy().write(entries, made(jdoe, {{"qrtProfile", "cn=p\ndn: x,dc=example"}}));
    EXPECT_EQ(reader(), "CN=jdoe.OU=sales.O=acme");
    copy().write(entries, made({}, {}));
    EXPECT_EQ(reader(), "nobody") << "the root is no user";
}

TEST_F(LdapCopyTest, AReaderWhomNobodyCanBeIsNone) {
    write({person(jdoe, "x")});
    const std::string text = file_text(files().at(0));
    const std::string head = text.substr(0, text.find('\n'));
    const struct {
        const char *lines, *reader;
    } cases[] = {
        {"# reader cn=a,dc=example", "CN=a"},
        {"# reader cn=a,dc=example\n# profile cn=p,dc=example", "CN=a with a profile"},
        {"# reader cn=a,dc=example\n# profile cn=p,dc=other", "CN=a"},
        {"# reader cn=a,dc=example\n# profile ", "CN=a"},
        {"# reader cn=a,dc=other", "nobody"},
        {"# reader a", "nobody"},
        {"# reader ", "nobody"},
        {"# reader dc=example", "nobody"},
        {"# profile cn=p,dc=example\n# reader cn=a,dc=example", "nobody"},
    };
    for (const auto &one : cases) {
        changeHead(head + "\n" + one.lines);
        time_t written = 0;
        EntryPtr who;
        EXPECT_NE(copy().read(&written, &who), nullptr);
        const std::string name = who == nullptr ? "nobody" : name_to_dotted(who->name, true);
        EXPECT_EQ(name + (who != nullptr && who->first("qrtProfile") != nullptr ? " with a profile" : ""), one.reader)
            << one.lines;
    }
    for (const char *cut : {"", "\n", "\n# reader", "\n# reader cn=a,dc=example"}) {
        cache.write("deep/cache/brasca-zk/" + files().at(0).filename().string(), head + cut);
        time_t written = 0;
        EntryPtr who;
        copy().read(&written, &who);
        EXPECT_EQ(who, nullptr) << cut;
    }
}

TEST_F(LdapCopyTest, ADamagedOneIsNotTaken) {
    write({person(jdoe, "x")});
    const fs::path file = files().at(0);
    fs::resize_file(file, fs::file_size(file) - 4);
    EXPECT_EQ(title(jdoe), "no entry");
}

TEST_F(LdapCopyTest, StandsInTheCacheFolderOfTheUser) {
    unsetenv("XDG_CACHE_HOME");
    setenv("HOME", cache.path("home").c_str(), 1);
    write({person(jdoe, "x")});
    EXPECT_TRUE(fs::is_directory(cache.path("home/.cache/brasca-zk")));
    setenv("XDG_CACHE_HOME", "relative", 1);
    EXPECT_TRUE(isThere()) << "a relative folder does not count";
    setenv("HOME", "relative", 1);
    EXPECT_FALSE(isThere());
    unsetenv("HOME");
    write({person(jdoe, "x")});
    EXPECT_FALSE(isThere());
}

TEST_F(LdapCopyTest, IsLeftAloneWhereItCannotBeWritten) {
    cache.write("deep/cache", "a file where the folder should be");
    write({person(jdoe, "x")});
    EXPECT_FALSE(isThere());
}
