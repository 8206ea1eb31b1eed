// Requests for files that are given up when no answer comes.
#include "platform/client/core/file_access.h"

#include <fcntl.h>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>

#include "tests/support/client_fixture.h"

namespace {

using Kind = FileTrouble::Kind;

constexpr double hour = 3600;

// A request for "slow", which is answered when the gate opens.
class FileAccessTest : public testing::Test {
  protected:
    std::string ask(FileAccess *access) {
        try {
            return access->run<std::string>("slow", [opened = opened](FileSteps *) {
                opened.wait();
                return std::string("answer");
            });
        } catch (const FileTrouble &trouble) {
            return file_trouble_text(trouble);
        }
    }
    std::promise<void> gate;
    std::shared_future<void> opened = gate.get_future().share();
};

TEST_F(FileAccessTest, WhatTheWorkReturnsOrThrowsIsTheCallers) {
    for (const double limit : {0.0, hour}) {
        FileAccess access(limit);
        EXPECT_EQ("text", access.run<std::string>("x", [](FileSteps *) { return std::string("text"); }));
        const auto fails = [](FileSteps *) -> int { throw std::runtime_error("no"); };
        EXPECT_THROW(access.run<int>("x", fails), std::runtime_error);
    }
}

TEST_F(FileAccessTest, OnlyWithALimitIsThereAThread) {
    const auto thread = [](FileSteps *) { return std::this_thread::get_id(); };
    EXPECT_EQ(std::this_thread::get_id(), FileAccess(0).run<std::thread::id>("x", thread));
    EXPECT_NE(std::this_thread::get_id(), FileAccess(hour).run<std::thread::id>("x", thread));
}

TEST_F(FileAccessTest, WhatDoesNotAnswerIsGivenUpAndNotAskedAgainUntilItDoes) {
    FileAccess access(0.01);
    EXPECT_EQ("cannot open slow: Connection timed out", ask(&access));
    const auto asked = std::make_shared<std::atomic<int>>(0);
    EXPECT_THROW(access.run<int>("other", [asked](FileSteps *) { return ++*asked; }), FileTrouble);
    EXPECT_EQ(0, *asked);
    gate.set_value();
    std::string answer;
    while (answer != "answer") answer = ask(&access);
}

// A large file on a slow server is no dead one.
TEST_F(FileAccessTest, TheLimitIsThatOfTheNextStep) {
    using Clock = std::chrono::steady_clock;
    const std::chrono::milliseconds limit(500);
    FileAccess access(std::chrono::duration<double>(limit).count());
    const int steps = access.run<int>("x", [limit](FileSteps *counted) {
        const auto end = Clock::now() + 2 * limit;
        while (Clock::now() < end) {
            ++*counted;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return counted->load() > 0 ? 1 : 0;
    });
    EXPECT_EQ(1, steps);
}

TEST_F(FileAccessTest, EachPartOfAFileIsAStep) {
    const TempFolder folder;
    const std::string text(std::size_t{5} << 19, 'x');
    folder.write("large", text);
    const Descriptor file(open(folder.path("large").c_str(), O_RDONLY | O_CLOEXEC));
    FileSteps steps{0};
    EXPECT_EQ(text, file_read(file, text.size(), "large", &steps));
    EXPECT_EQ(3U, steps);
}

TEST(FileTrouble, HasTheSentencesOfAllItsKinds) {
    const auto text = [](Kind kind, const char *path) {
        return file_trouble_text({kind, path, EACCES, "not a regular file"});
    };
    EXPECT_EQ("cannot open f: Permission denied", text(Kind::unopened, "f"));
    EXPECT_EQ("cannot open the file: Permission denied", text(Kind::unopened, ""));
    EXPECT_EQ("f: cannot read the file: Permission denied", text(Kind::unread, "f"));
    EXPECT_EQ("cannot read the file: Permission denied", text(Kind::unread, ""));
    EXPECT_EQ("cannot make f: Permission denied", text(Kind::unmade, "f"));
    EXPECT_EQ("f: not a regular file", text(Kind::refused, "f"));
}

} // namespace
