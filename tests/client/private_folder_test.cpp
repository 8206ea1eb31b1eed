// A folder that is the user's alone. What races and other owners could do is in tests/ldap/private_copy_test.cpp.
#include "platform/client/core/private_folder.h"

#include <sys/stat.h>
#include <unistd.h>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/support/client_fixture.h"

namespace {

namespace fs = std::filesystem;

class PrivateFolderTest : public ::testing::Test {
  protected:
    std::string path(const std::string &name = "own") const { return root.path(name); }
    bool isOpen(const std::string &name, PrivateFolder::Missing missing = PrivateFolder::Leave) const {
        return PrivateFolder(path(name), missing).isOpen();
    }
    mode_t mode(const std::string &name) const {
        struct stat found = {};
        return stat(path(name).c_str(), &found) == 0 ? found.st_mode & 07777 : 0;
    }
    std::string text(const std::string &name) const {
        std::ifstream file(path(name), std::ios::binary);
        return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    }
    // What is read of own/file: "none" when it is refused.
    std::string taken(size_t limit = 100) const {
        std::string text;
        return PrivateFolder(path()).read("file", limit, &text) ? text : "none";
    }
    size_t descriptors() const {
        return static_cast<size_t>(std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
    }

    TempFolder root;
};

TEST_F(PrivateFolderTest, IsMadeWithThoseAboveItWhereThatIsAsked) {
    EXPECT_FALSE(isOpen("a/b/own"));
    EXPECT_FALSE(fs::exists(path("a")));
    EXPECT_TRUE(isOpen("a/b/own", PrivateFolder::Make));
    for (const char *made : {"a", "a/b", "a/b/own"}) EXPECT_EQ(mode(made), 0700u) << made;
    EXPECT_TRUE(isOpen("a/b/own"));
    EXPECT_TRUE(isOpen("a/b/own", PrivateFolder::Make));
    EXPECT_TRUE(isOpen("a//b/own"));
}

TEST_F(PrivateFolderTest, IsOpenedByItsWholePathOnly) {
    root.make("own");
    EXPECT_FALSE(PrivateFolder("").isOpen());
    ASSERT_EQ(chdir(path("").c_str()), 0);
    EXPECT_FALSE(PrivateFolder("own").isOpen());
    EXPECT_FALSE(PrivateFolder("x" + path()).isOpen());
    ASSERT_EQ(chdir("/"), 0);
}

TEST_F(PrivateFolderTest, IsNeitherAFileNorALinkNorWritableForOthers) {
    root.write("file", "");
    EXPECT_FALSE(isOpen("file", PrivateFolder::Make));
    root.make("own");
    fs::create_directory_symlink(path(), path("link"));
    EXPECT_FALSE(isOpen("link", PrivateFolder::Make));
    fs::create_directory_symlink(path("away"), path("dangling"));
    EXPECT_FALSE(isOpen("dangling", PrivateFolder::Make));
    EXPECT_FALSE(fs::exists(path("away")));
    for (const mode_t bit : {020, 02}) {
        ASSERT_EQ(chmod(path().c_str(), 0700 | bit), 0);
        EXPECT_FALSE(isOpen("own")) << bit;
    }
    for (const mode_t bits : {040, 010, 04, 01, 055}) {
        ASSERT_EQ(chmod(path().c_str(), 0700 | bits), 0);
        EXPECT_TRUE(isOpen("own")) << bits;
    }
}

TEST_F(PrivateFolderTest, MayLieBelowALink) {
    root.make("real/own");
    fs::create_directory_symlink(path("real"), path("link"));
    EXPECT_TRUE(isOpen("link/own"));
}

TEST_F(PrivateFolderTest, GivesBackWhatWasWritten) {
    std::string large(100000, 'x');
    for (const std::string &text : {std::string("one"), std::string(), std::string("a\0b", 3), large}) {
        EXPECT_TRUE(PrivateFolder(path(), PrivateFolder::Make).replace("file", text));
        EXPECT_EQ(taken(text.size()), text);
        EXPECT_EQ(mode("own/file"), 0600u);
        EXPECT_EQ(std::distance(fs::directory_iterator(path()), fs::directory_iterator()), 1) << "nothing else is left";
    }
    EXPECT_EQ(taken(large.size() - 1), "none") << "it is over the limit";
}

TEST_F(PrivateFolderTest, TakesNoFileThatOthersHaveARightTo) {
    PrivateFolder(path(), PrivateFolder::Make).replace("file", "text");
    for (const mode_t bit : {040, 020, 010, 04, 02, 01}) {
        ASSERT_EQ(chmod(path("own/file").c_str(), 0600 | bit), 0);
        EXPECT_EQ(taken(), "none") << bit;
    }
    ASSERT_EQ(chmod(path("own/file").c_str(), 0700), 0);
    EXPECT_EQ(taken(), "text");
    if (geteuid() == 0) {
        ASSERT_EQ(chown(path("own/file").c_str(), 65534, 65534), 0);
        EXPECT_EQ(taken(), "none");
    }
}

TEST_F(PrivateFolderTest, TakesRegularFilesOnly) {
    root.make("own");
    EXPECT_EQ(taken(), "none") << "there is none";
    root.write("elsewhere", "text");
    ASSERT_EQ(chmod(path("elsewhere").c_str(), 0600), 0);
    fs::create_symlink(path("elsewhere"), path("own/file"));
    EXPECT_EQ(taken(), "none");
    fs::remove(path("own/file"));
    ASSERT_EQ(mkfifo(path("own/file").c_str(), 0600), 0);
    EXPECT_EQ(taken(), "none");
    fs::remove(path("own/file"));
    ASSERT_EQ(mkdir(path("own/file").c_str(), 0700), 0);
    EXPECT_EQ(taken(), "none");
}

TEST_F(PrivateFolderTest, LeavesNothingBehindWhenItCannotReplace) {
    root.make("own/file/full");
    EXPECT_FALSE(PrivateFolder(path()).replace("file", "text"));
    EXPECT_EQ(std::distance(fs::directory_iterator(path()), fs::directory_iterator()), 1);
    EXPECT_FALSE(PrivateFolder(path()).replace("none/file", "text"));
}

TEST_F(PrivateFolderTest, Removes) {
    const PrivateFolder folder(path(), PrivateFolder::Make);
    folder.replace("file", "text");
    EXPECT_TRUE(folder.remove("file"));
    EXPECT_FALSE(fs::exists(path("own/file")));
    EXPECT_FALSE(folder.remove("file"));
}

TEST_F(PrivateFolderTest, ThatIsNotOpenDoesNothing) {
    root.write("file", "text");
    ASSERT_EQ(chmod(path("file").c_str(), 0600), 0);
    ASSERT_EQ(chdir(path("").c_str()), 0);
    const PrivateFolder none(path("none"));
    std::string text;
    EXPECT_FALSE(none.read("file", 100, &text));
    EXPECT_FALSE(none.read(path("file"), 100, &text));
    EXPECT_FALSE(none.replace(path("file"), "other"));
    EXPECT_FALSE(none.remove(path("file")));
    EXPECT_EQ(this->text("file"), "text");
    ASSERT_EQ(chdir("/"), 0);
}

TEST_F(PrivateFolderTest, LeavesNoDescriptorOpen) {
    const size_t before = descriptors();
    for (int i = 0; i < 2; i++) {
        PrivateFolder(path("a/b/own"), PrivateFolder::Make).replace("file", "text");
        std::string text;
        PrivateFolder(path("a/b/own")).read("file", 3, &text);
        isOpen("a/none/x");
        ASSERT_EQ(chmod(path("a/b/own").c_str(), i == 0 ? 0777 : 0700), 0);
        isOpen("a/b/own");
    }
    EXPECT_EQ(descriptors(), before);
}

} // namespace
