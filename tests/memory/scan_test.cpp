// The scanner itself: it finds what it is meant to find, so that an empty answer means something.
#include <sys/mman.h>
#include <cstdlib>

#include "tests/memory/secret_site.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Scan : public SecretSite {
  protected:
    // What is found in a process that has done `body`.
    std::vector<std::string> found_after(const std::function<void()> &body) {
        startHere([&] {
            body();
            at_rest();
            return 0;
        });
        await_rest();
        return left_of(users_secret);
    }
};

char data_place[64];

} // namespace

TEST_F(Scan, FindsNothingInAProcessWithoutTheSecret) {
    EXPECT_THAT(found_after([] {}), IsEmpty());
}

TEST_F(Scan, FindsTheSecretOnTheHeap) {
    EXPECT_THAT(found_after([] { users_secret.put(static_cast<char *>(malloc(100))); }),
                ElementsAre(HasSubstr("32 characters in [heap]")));
}

TEST_F(Scan, FindsTheSecretInData) {
    EXPECT_THAT(found_after([] { users_secret.put(data_place); }), ElementsAre(HasSubstr("32 characters in ")));
}

TEST_F(Scan, FindsTheSecretBelowTheStacksEnd) {
    const auto leave_it = [] {
        volatile char deep[4096];
        users_secret.put(const_cast<char *>(deep) + 64);
    };
    EXPECT_THAT(found_after(leave_it), ElementsAre(HasSubstr("32 characters in [stack]")));
}

TEST_F(Scan, FindsTheSecretInAnAnonymousMap) {
    const auto map_it = [] {
        void *map = mmap(nullptr, 1 << 20, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        users_secret.put(static_cast<char *>(map) + 70000);
    };
    EXPECT_THAT(found_after(map_it), ElementsAre(HasSubstr("32 characters in ")));
}

TEST_F(Scan, FindsWhatFreeLeaves) {
    const auto free_it = [] {
        char *volatile text = static_cast<char *>(malloc(HiddenSecret::length + 1));
        users_secret.put(text);
        free(text);
    };
    EXPECT_THAT(found_after(free_it), ElementsAre(HasSubstr("16 characters in [heap]")));
}

TEST_F(Scan, FindsSixCharactersAndNotFive) {
    const auto keep = [](size_t from, size_t count) {
        auto *place = static_cast<char *>(calloc(1, 100));
        for (size_t i = 0; i < count; ++i) place[10 + i] = users_secret.at(from + i);
    };
    EXPECT_THAT(found_after([&] { keep(0, 6); }), ElementsAre(HasSubstr(" 6 characters in [heap]")));
    EXPECT_THAT(found_after([&] { keep(26, 6); }), ElementsAre(HasSubstr(" 6 characters in [heap]")));
    EXPECT_THAT(found_after([&] { keep(3, 5); }), IsEmpty());
}

TEST_F(Scan, FindsUtf16) {
    const auto widen = [] {
        auto *place = static_cast<char *>(calloc(1, 100));
        for (size_t i = 0; i < HiddenSecret::length; ++i) place[2 * i] = users_secret.at(i);
    };
    EXPECT_THAT(found_after(widen), ElementsAre(HasSubstr("32 characters of UTF-16 in [heap]")));
}

TEST_F(Scan, TheHookStopsAProgramWithItsMemory) {
    start({"/bin/sh", "-c", "read held; exit 3"});
    answer("", users_secret);
    await_rest();
    EXPECT_THAT(left_of(users_secret), testing::Not(IsEmpty()));
    EXPECT_EQ(finish(), 3);
}
