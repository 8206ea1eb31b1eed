// What map does where the file system, or another process between two of its calls, makes replacing a link hard. Its
// call to rename passes through here.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <functional>

#include "tests/support/process.h"
#include "tools/map/link_directory.h"
#include "tools/map/refusal.h"

namespace {

// Called before each rename with its flags. Returns 0, or the error with which the rename fails.
std::function<int(unsigned)> before_rename;

} // namespace

extern "C" int renameat2(int from, const char *old_name, int to, const char *new_name, unsigned flags) noexcept {
    errno = before_rename ? before_rename(flags) : 0;
    if (errno != 0) return -1;
    return static_cast<int>(syscall(SYS_renameat2, from, old_name, to, new_name, flags));
}

namespace {

class LinkDirectoryTest : public ::testing::Test {
  protected:
    LinkDirectoryTest() {
        setenv("HOME", home.path().c_str(), 1);
        LinkDirectory().write("H", {"SRV1", "SYS", "old"});
    }
    ~LinkDirectoryTest() override { before_rename = nullptr; }

    // Writes the link H anew and returns the refusal, if any.
    static std::string rewrite() {
        try {
            LinkDirectory().write("H", {"SRV1", "SYS", "new"});
        } catch (const Refusal &refusal) {
            return refusal.what();
        }
        return "";
    }
    static std::string linked() {
        const std::optional<Location> found = LinkDirectory().read("H");
        return found ? found->path : "none";
    }
    size_t entries() const {
        const std::filesystem::directory_iterator all(home.path());
        return static_cast<size_t>(std::distance(begin(all), end(all)));
    }
    void putFile() const {
        unlink(home.path("H").c_str());
        home.write("H", "a file of the user's own");
    }
    void expectFile(const std::string &refusal) const {
        EXPECT_EQ(refusal, home.path("H") + " is not a drive link and was left unchanged");
        EXPECT_EQ(file_text(home.path("H")), "a file of the user's own");
        EXPECT_EQ(entries(), 1U) << "nothing temporary is left";
    }

    TempFolder home;
};

} // namespace

TEST_F(LinkDirectoryTest, ANewLinkReplacesNothing) {
    before_rename = [](unsigned) { return EPERM; };
    LinkDirectory().write("G", {"SRV1", "SYS", ""});
    EXPECT_TRUE(LinkDirectory().read("G"));
}

TEST_F(LinkDirectoryTest, WithoutAnExchangeOfNamesTheLinkIsReplacedAllTheSame) {
    for (const int missing : {EINVAL, ENOSYS, EOPNOTSUPP}) {
        before_rename = [&](unsigned flags) { return flags == RENAME_EXCHANGE ? missing : 0; };
        EXPECT_EQ(rewrite(), "");
        EXPECT_EQ(linked(), "new");
        EXPECT_EQ(entries(), 1U);
        unlink(home.path("H").c_str());
        LinkDirectory().write("H", {"SRV1", "SYS", "old"});
    }
}

TEST_F(LinkDirectoryTest, WithoutAnExchangeOfNamesAFileIsNotReplaced) {
    before_rename = [&](unsigned flags) {
        if (flags == RENAME_EXCHANGE) putFile();
        return flags == RENAME_EXCHANGE ? EINVAL : 0;
    };
    expectFile(rewrite());
}

TEST_F(LinkDirectoryTest, AnotherErrorLeavesTheOldLink) {
    for (const bool exchange : {true, false}) {
        before_rename = [&](unsigned flags) { return exchange || flags == 0 ? EPERM : EINVAL; };
        EXPECT_EQ(rewrite(), "cannot create link " + home.path("H") + ": Operation not permitted");
        EXPECT_EQ(linked(), "old");
        EXPECT_EQ(entries(), 1U) << "nothing temporary is left";
    }
}

TEST_F(LinkDirectoryTest, AFileThatComesBeforeTheExchangeGoesBackToItsPlace) {
    bool done = false;
    before_rename = [&](unsigned) {
        if (!done) putFile();
        done = true;
        return 0;
    };
    expectFile(rewrite());
}

TEST_F(LinkDirectoryTest, AFileThatCannotGoBackIsKept) {
    int renames = 0;
    before_rename = [&](unsigned) {
        if (++renames == 1) putFile();
        if (renames == 2) std::filesystem::rename(home.path("H"), home.path("elsewhere"));
        return 0;
    };
    EXPECT_EQ(rewrite(), "cannot create link " + home.path("H") + ": File exists");
    unlink(home.path("elsewhere").c_str());
    ASSERT_EQ(entries(), 1U);
    EXPECT_EQ(file_text(std::filesystem::directory_iterator(home.path())->path()), "a file of the user's own");
}

TEST_F(LinkDirectoryTest, ALinkThatGoesMeanwhileIsMadeAnew) {
    before_rename = [&](unsigned flags) {
        if (flags == RENAME_EXCHANGE) unlink(home.path("H").c_str());
        return 0;
    };
    EXPECT_EQ(rewrite(), "");
    EXPECT_EQ(linked(), "new");
    EXPECT_EQ(entries(), 1U);
}

TEST_F(LinkDirectoryTest, AFileThatComesInTheLinksPlaceIsNotReplaced) {
    before_rename = [&](unsigned flags) {
        if (flags == RENAME_EXCHANGE) unlink(home.path("H").c_str());
        if (flags == RENAME_NOREPLACE) putFile();
        return 0;
    };
    expectFile(rewrite());
}

TEST_F(LinkDirectoryTest, ClosesTheDirectory) {
    const int before = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(before);
    rewrite();
    const int after = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(after);
    EXPECT_EQ(after, before);
}
