// The copy on disk against somebody who changes the files while they are read.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "platform/client/copies/copy.h"
#include "platform/zk.h"
#include "tests/support/process.h"

namespace {

constexpr int rounds = 20000; // a look at the path alone lost one in some thousands

class PrivateCopy : public testing::Test {
  protected:
    PrivateCopy() {
        setenv("XDG_CACHE_HOME", cache.path().c_str(), 1);
        tree.name = "ACME";
        tree.ldap.uris = {"ldap://127.0.0.1:9"};
        own().write({user("own")});
        for (const auto &one : std::filesystem::directory_iterator(folder())) file = one.path();
    }
    ~PrivateCopy() override { unsetenv("XDG_CACHE_HOME"); }

    LdapCopy own() { return LdapCopy(tree, {}, "login"); }
    std::string folder() { return cache.path("brasca-zk"); }

    static EntryPtr user(const std::string &fullName) {
        auto entry = std::make_shared<Entry>();
        entry->name = {{"cn", "jdoe"}, {"o", "acme"}};
        entry->values = {{schema_find_ldap("objectClass"), "person"},
                         {schema_find_ldap("cn"), "jdoe"},
                         {schema_find_ldap("displayName"), fullName}};
        return entry;
    }

    // Whose copy is read: "own", "foreign", or "" for none.
    std::string taken() {
        time_t written = 0;
        std::unique_ptr<DirectoryStore> store = own().read(&written);
        EntryPtr found;
        if (store == nullptr || (found = store->find({{"cn", "jdoe"}, {"o", "acme"}}, Aliases::keep)) == nullptr)
            return "";
        return *found->first("displayName");
    }

    // A copy as an attacker would write it: right in every way but its owner or its rights.
    std::string foreign(const std::string &name, mode_t mode) {
        const std::string ownFile = file_text(file);
        own().write({user("foreign")});
        std::filesystem::create_directories(std::filesystem::path(cache.path(name)).parent_path());
        std::filesystem::rename(file, cache.path(name));
        EXPECT_EQ(chmod(cache.path(name).c_str(), mode), 0);
        own().write({user("own")});
        return cache.path(name);
    }

    // Reads again and again while somebody exchanges two files.
    void race(const std::string &one, const std::string &other) {
        std::atomic<bool> ended = false;
        std::atomic<int> exchanges = 0;
        std::thread attacker([&]() {
            while (!ended) exchanges += renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE) == 0;
        });
        int taken_own = 0;
        for (int i = 0; i < rounds; i++) {
            const std::string whose = taken();
            EXPECT_NE(whose, "foreign") << "in round " << i;
            taken_own += whose == "own";
            if (whose == "foreign") break;
        }
        ended = true;
        attacker.join();
        EXPECT_GT(exchanges, 0);
        EXPECT_GT(taken_own, 0) << "the race is about something";
    }

    TempFolder cache;
    ConfigTree tree;
    std::string file; // the copy
};

} // namespace

TEST_F(PrivateCopy, IsReadBack) {
    EXPECT_EQ(taken(), "own");
    struct stat found = {};
    ASSERT_EQ(stat(folder().c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 07777, 0700u);
    own().remove();
    EXPECT_EQ(taken(), "");
}

TEST_F(PrivateCopy, AFileThatOthersCanUseNeverTakesItsPlace) {
    race(file, foreign("planted", 0644));
}

TEST_F(PrivateCopy, ALinkNeverTakesItsPlace) {
    const std::string target = foreign("planted", 0600);
    ASSERT_EQ(symlink(target.c_str(), cache.path("link").c_str()), 0);
    race(file, cache.path("link"));
}

TEST_F(PrivateCopy, AFolderThatOthersCanWriteNeverTakesItsFoldersPlace) {
    foreign("theirs/" + file.substr(file.rfind('/') + 1), 0600);
    ASSERT_EQ(chmod(cache.path("theirs").c_str(), 0777), 0);
    race(folder(), cache.path("theirs"));
}

TEST_F(PrivateCopy, ALinkToAFolderNeverTakesItsFoldersPlace) {
    foreign("theirs/" + file.substr(file.rfind('/') + 1), 0600);
    ASSERT_EQ(symlink(cache.path("theirs").c_str(), cache.path("link").c_str()), 0);
    race(folder(), cache.path("link"));
}

TEST_F(PrivateCopy, IsNotTakenFromAFolderThatOthersCanWrite) {
    for (mode_t mode : {0770, 0707, 0777, 01777}) {
        ASSERT_EQ(chmod(folder().c_str(), mode), 0);
        EXPECT_EQ(taken(), "") << std::oct << mode;
        std::string before = file_text(file);
        own().write({user("new")});
        EXPECT_EQ(file_text(file), before) << "nor written into one";
    }
    ASSERT_EQ(chmod(folder().c_str(), 0755), 0);
    EXPECT_EQ(taken(), "own") << "who only sees the names learns nothing";
}

TEST_F(PrivateCopy, IsNotTakenFromAnotherOwner) {
    if (geteuid() != 0) GTEST_SKIP() << "only root gives files away";
    ASSERT_EQ(chown(file.c_str(), 65534, 65534), 0);
    EXPECT_EQ(taken(), "");
    ASSERT_EQ(chown(file.c_str(), 0, 0), 0);
    EXPECT_EQ(taken(), "own");
    ASSERT_EQ(chown(folder().c_str(), 65534, 65534), 0);
    EXPECT_EQ(taken(), "");
}

TEST_F(PrivateCopy, NoFolderIsMadeInTheFolderOfAnother) {
    if (geteuid() != 0) GTEST_SKIP() << "only root gives files away";
    std::filesystem::create_directory(cache.path("of-another"));
    ASSERT_EQ(chown(cache.path("of-another").c_str(), 65534, 65534), 0);
    setenv("XDG_CACHE_HOME", cache.path("of-another/cache").c_str(), 1);
    own().write({user("own")});
    EXPECT_TRUE(std::filesystem::is_empty(cache.path("of-another")));
}

TEST_F(PrivateCopy, NamesNoOtherFile) {
    cache.write("secret", "a secret");
    const std::string whole = file_text(file);
    cache.write("brasca-zk/" + file.substr(file.rfind('/') + 1),
                whole + "title:< file://" + cache.path("secret") + "\n");
    EXPECT_EQ(taken(), "");
    cache.write("brasca-zk/" + file.substr(file.rfind('/') + 1), whole + "title: plain\n");
    EXPECT_EQ(taken(), "own");
}

TEST_F(PrivateCopy, ThatIsAPipeDoesNotHoldTheProgram) {
    std::filesystem::remove(file);
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    EXPECT_EQ(taken(), "");
}

TEST(CopyAge, CountsInDaysAndEndsInTheFutureToo) {
    const time_t now = time(nullptr);
    EXPECT_TRUE(ldap_copy_is_recent(now, 30));
    EXPECT_TRUE(ldap_copy_is_recent(now - 30 * 86400 + 20, 30));
    EXPECT_FALSE(ldap_copy_is_recent(now - 30 * 86400 - 1, 30));
    EXPECT_TRUE(ldap_copy_is_recent(now - 3600, 0.5));
    EXPECT_FALSE(ldap_copy_is_recent(now - 46800, 0.5));
    EXPECT_TRUE(ldap_copy_is_recent(now + 86400, 30));
    EXPECT_FALSE(ldap_copy_is_recent(now + 86400 + 20, 30));
}
