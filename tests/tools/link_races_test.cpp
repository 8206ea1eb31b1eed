// The directory of the drives under attack: while map's part and the client use it again and again, another user swaps
// it for a directory of his own and for a link, in a folder where he may; and another process of the user's own puts a
// file under a drive's name. RACES is how often the first is tried, 10,000 without; scripts/check-races.sh tries more.
#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <new>

#include "platform/zk.h"
#include "tests/support/process.h"
#include "tools/map/link_directory.h"
#include "tools/map/refusal.h"

namespace {

constexpr uid_t other_user = 65534;

long wanted_races() {
    const char *races = getenv("RACES");
    return races != nullptr ? atol(races) : 10000;
}

// What the two processes count for each other.
struct Counts {
    std::atomic<long> attacks{0}, uses{0}, lost{0};
};

// Runs `attack` in a process of its own until the object goes.
class Attacker {
  public:
    Attacker(uid_t user, const std::function<void(Counts *)> &attack) {
        void *shared = mmap(nullptr, sizeof(Counts), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (shared == MAP_FAILED) throw std::bad_alloc();
        counts = new (shared) Counts;
        child_ = fork();
        if (child_ != 0) return;
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (user != geteuid() &&
            (setgroups(0, nullptr) != 0 || setresgid(user, user, user) != 0 || setresuid(user, user, user) != 0))
            _exit(1);
        for (;; counts->attacks++) attack(counts);
    }
    ~Attacker() {
        stop();
        munmap(counts, sizeof(Counts));
    }
    void stop() {
        if (child_ > 0) kill(child_, SIGKILL);
        if (child_ > 0) waitpid(child_, nullptr, 0);
        child_ = -1;
    }
    Attacker(const Attacker &) = delete;
    Attacker &operator=(const Attacker &) = delete;

    // Waits for one attack more than these. False when the attacker has ended.
    bool isAtWork(long attacks) {
        while (counts->attacks <= attacks) {
            if (waitpid(child_, nullptr, WNOHANG) != 0) {
                child_ = -1;
                return false;
            }
            usleep(1000);
        }
        return true;
    }
    Counts *counts = nullptr;

  private:
    pid_t child_ = -1;
};

class LinkRaces : public ::testing::Test {
  protected:
    LinkRaces() {
        chmod(folder.path().c_str(), 0777);
        for (const char *name : {"drives", "second"}) {
            std::filesystem::create_directory(folder.path(name));
            chmod(folder.path(name).c_str(), 0700);
        }
        folder.write("client.toml", "[[server]]\nname = \"SRV1\"\n");
        setenv("ZKCLIENT_CONF", folder.path("client.toml").c_str(), 1);
        setenv("HOME", folder.path("drives").c_str(), 1);
    }

    // The other user's directory, where the user may write, too, with a drive of the other user's.
    void makeTrap() {
        const std::string trap = folder.path("trap");
        std::filesystem::create_directory(trap);
        chmod(trap.c_str(), 0777);
        for (const char *name : {"H", "S1"}) {
            const std::string link = trap + "/" + name;
            std::filesystem::create_symlink(location_local_path({"TRAP", "SYS", ""}), link);
            ASSERT_EQ(lchown(link.c_str(), other_user, other_user), 0);
        }
        ASSERT_EQ(chown(trap.c_str(), other_user, other_user), 0);
        std::filesystem::create_symlink(folder.path("second"), folder.path("alias"));
        ASSERT_EQ(lchown(folder.path("alias").c_str(), other_user, other_user), 0);
    }

    static std::vector<std::string> entries(const std::string &directory) {
        std::vector<std::string> names;
        for (const auto &entry : std::filesystem::directory_iterator(directory))
            names.push_back(entry.path().filename());
        return names;
    }

    // Maps, reads and lists once. True when the directory was taken.
    static bool use(const std::string &volume) {
        bool taken = true;
        try {
            LinkDirectory links;
            const std::optional<Location> before = links.read("H");
            EXPECT_TRUE(!before || before->server == "SRV1");
            links.write("H", {"SRV1", volume, ""});
            EXPECT_EQ(links.read("H")->text(), "SRV1/" + volume + ":");
            EXPECT_FALSE(links.read("S1"));
        } catch (const Refusal &) {
            taken = false;
        }
        char list[4096];
        uint32_t size = sizeof list;
        const bool listed = ZKGetMappedDrives(list, &size) == ZK_OK;
        EXPECT_EQ(std::string(list, listed ? size : 0).find("TRAP"), std::string::npos);
        return taken;
    }

    TempFolder folder;
};

TEST_F(LinkRaces, AnotherUsersDirectoryIsNeverTakenForTheUsersOwn) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can be two users";
    makeTrap();
    const std::string drives = folder.path("drives"), trap = folder.path("trap"), alias = folder.path("alias");
    Attacker attacker(other_user, [&](Counts *) {
        for (const std::string &other : {trap, alias}) {
            for (int there_and_back = 0; there_and_back < 2; ++there_and_back) {
                if (renameat2(AT_FDCWD, drives.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE) != 0) _exit(1);
                for (int pause = rand() % 20000; pause > 0; --pause) asm volatile("");
            }
        }
    });
    ASSERT_TRUE(attacker.isAtWork(0));
    const long races = wanted_races();
    long taken = 0;
    for (long race = 0; race < races && !HasFailure(); ++race) taken += use(race % 2 == 0 ? "SYS" : "USERS") ? 1 : 0;
    ASSERT_TRUE(attacker.isAtWork(attacker.counts->attacks)) << "the attack itself has failed";
    attacker.stop();
    printf("races: %ld uses beside %ld swaps, %ld in the user's own directory\n", races,
           attacker.counts->attacks.load(), taken);
    EXPECT_GT(taken, 0);
    EXPECT_LT(taken, races);
    // Whatever stands where at the moment: the user's links are in his own directory alone, and not in a second one of
    // his to which the other user's link led.
    EXPECT_TRUE(std::filesystem::is_empty(folder.path("second")));
    for (const char *place : {"drives", "trap", "alias"}) {
        struct stat status = {};
        ASSERT_EQ(lstat(folder.path(place).c_str(), &status), 0);
        if (!S_ISDIR(status.st_mode)) continue;
        const bool others = status.st_uid == other_user;
        for (const std::string &name : entries(folder.path(place))) {
            ASSERT_EQ(lstat(folder.path(std::string(place) + "/" + name).c_str(), &status), 0);
            EXPECT_EQ(status.st_uid, others ? other_user : geteuid()) << place << "/" << name;
        }
    }
}

// A file of the user's own that comes under a drive's name between map's look and its change is never replaced.
TEST_F(LinkRaces, AFileThatComesUnderADrivesNameIsNeverReplaced) {
    const std::string name = folder.path("drives/H"), file = folder.path("file");
    const Attacker attacker(geteuid(), [&](Counts *counts) {
        const int made = open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        struct stat before = {}, after = {};
        fstat(made, &before);
        close(made);
        rename(file.c_str(), name.c_str());
        // The use that is on its way may put the file aside for a moment; the next one finds it.
        for (const long uses = counts->uses; counts->uses < uses + 2;) sched_yield();
        const bool there = lstat(name.c_str(), &after) == 0 && after.st_ino == before.st_ino;
        if (!there) counts->lost++;
        unlink(name.c_str());
    });
    const long races = wanted_races() / 20; // each takes far longer
    for (long use = 0; attacker.counts->attacks < races && use < 10000 * races; ++use, attacker.counts->uses++) {
        try {
            LinkDirectory().write("H", {"SRV1", "SYS", ""});
        } catch (const Refusal &) {
        }
    }
    printf("races: %ld files under a drive's name, %ld lost\n", attacker.counts->attacks.load(),
           attacker.counts->lost.load());
    EXPECT_GE(attacker.counts->attacks, races);
    EXPECT_EQ(attacker.counts->lost, 0);
}

} // namespace
