// The wire below libldap: what counts as a message, and what is read, over a pair of sockets.
#include "platform/client/ldap/stream.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

#include "platform/client/ldap/uri.h"
#include "platform/zk.h"
#include "tests/ldap/framing.h"
#include "tests/ldap/full_port.h"
#include "tests/support/process.h"

namespace {

using namespace std::string_literals;

std::string ber_length(size_t length) {
    return length < 0x80 ? std::string(1, static_cast<char>(length))
                         : "\x82"s + static_cast<char>(length >> 8) + static_cast<char>(length);
}

// A message with a number of so many bytes and this answer, of this many bytes.
std::string message(size_t number, char answer, size_t rest) {
    const std::string body = "\x02"s + static_cast<char>(number) + std::string(number, '\x01') + answer +
                             ber_length(rest) + std::string(rest, 'x');
    return "\x30"s + ber_length(body.size()) + body;
}

class LdapStream : public testing::Test {
  protected:
    LdapStream() {
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends), 0);
        watch.begin(LdapClock::now() + std::chrono::minutes(10));
    }
    ~LdapStream() override {
        for (int end : ends) close(end);
    }
    void say(const std::string &bytes) const {
        EXPECT_EQ(send(ends[1], bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    }
    // What one read brings; "error" for -1.
    std::string read(size_t size) {
        std::string bytes(size, '\0');
        const ber_slen_t got = watch.read(ends[0], reinterpret_cast<unsigned char *>(bytes.data()), size);
        return got < 0 ? "error" : bytes.substr(0, static_cast<size_t>(got));
    }

    int ends[2] = {-1, -1};
    LdapWatch watch;
};

// Connects to the URI within a minute: the descriptor, or -1 with the sentence.
int connected(const std::string &uri, bool *loopback, std::string *sentence, const std::string &owner = "") {
    try {
        return ldap_stream_connect(ldap_uri_parse(uri), owner, LdapClock::now() + std::chrono::minutes(1), loopback);
    } catch (const LdapTrouble &trouble) {
        EXPECT_EQ(trouble.code, ZKE_DIRECTORY_UNREACHABLE);
        *sentence = trouble.what();
        return -1;
    }
}

} // namespace

TEST(LdapFraming, TakesEveryAnswerThereIsAndNothingElse) {
    const std::string answers = "\x61\x64\x65\x67\x69\x6B\x6D\x6F\x73\x78\x79";
    for (int tag = 0; tag < 256; tag++) {
        LdapFraming framing;
        const bool known = answers.find(static_cast<char>(tag)) != std::string::npos;
        EXPECT_EQ(take(&framing, message(1, static_cast<char>(tag), 1)),
                  known ? LdapFraming::Fine : LdapFraming::Malformed)
            << tag;
    }
}

TEST(LdapFraming, TakesNumbersOfOneToFourBytes) {
    for (size_t number = 0; number <= 6; number++) {
        LdapFraming framing;
        EXPECT_EQ(take(&framing, message(number, '\x64', 1)),
                  number >= 1 && number <= 4 ? LdapFraming::Fine : LdapFraming::Malformed)
            << number;
    }
}

TEST(LdapFraming, AnAnswerEndsWithinItsMessage) {
    const struct {
        std::string message;
        bool fine;
    } cases[] = {
        {"\x30\x05\x02\x01\x01\x65\x00"s, true},
        {"\x30\x05\x02\x01\x01\x65\x01"s, false},
        {"\x30\x06\x02\x01\x01\x65\x01x"s, true},
        {"\x30\x07\x02\x01\x01\x65\x01xc"s, true}, // controls
        {"\x30\x07\x02\x01\x01\x65\x03xx"s, false},
        {"\x30\x07\x02\x01\x01\x65\x81\x01x"s, true},
        {"\x30\x07\x02\x01\x01\x65\x81\x02x"s, false},
        {"\x30\x07\x02\x01\x01\x65\x82\x00\x00"s, true},
        {"\x30\x06\x02\x01\x01\x65\x82\x00"s, false}, // cut within the length
        {"\x30\x06\x02\x01\x01\x65\x80x"s, false},
        {"\x30\x0E\x02\x01\x01\x65\x88\x00\x00\x00\x00\x00\x00\x00\x01x"s, true},
        {"\x30\x0F\x02\x01\x01\x65\x89\x00\x00\x00\x00\x00\x00\x00\x00\x00"s, false},
    };
    for (const auto &one : cases) {
        LdapFraming framing;
        EXPECT_EQ(take(&framing, one.message), one.fine ? LdapFraming::Fine : LdapFraming::Malformed)
            << testing::PrintToString(one.message);
        EXPECT_TRUE(!one.fine || !framing.inMessage());
    }
}

TEST(LdapFraming, FindsTheEndOfEveryMessageHoweverItComes) {
    std::string all;
    for (size_t rest : {0u, 1u, 2u, 122u, 123u, 124u, 125u, 1000u, 70u}) {
        const std::string one = message(rest % 4 + 1, '\x64', rest);
        LdapFraming whole, twice;
        EXPECT_EQ(take(&whole, one), LdapFraming::Fine) << rest;
        EXPECT_FALSE(whole.inMessage()) << rest;
        EXPECT_EQ(take(&twice, one.substr(0, one.size() - 1)), LdapFraming::Fine);
        EXPECT_TRUE(twice.inMessage()) << rest;
        EXPECT_EQ(take(&twice, one.substr(one.size() - 1)), LdapFraming::Fine);
        EXPECT_FALSE(twice.inMessage()) << rest;
        EXPECT_EQ(take(&whole, "x"), LdapFraming::Malformed) << "the next one begins";
        all += one;
    }
    for (size_t step = 1; step < 10; step++) {
        LdapFraming framing;
        for (size_t at = 0; at < all.size(); at += step)
            EXPECT_EQ(take(&framing, all.substr(at, step)), LdapFraming::Fine);
        EXPECT_FALSE(framing.inMessage()) << step;
    }
}

TEST(LdapFraming, TakesLengthsUpToTheLimitHoweverTheyAreWritten) {
    static_assert(ldap_message_limit == 0x1400000, "of which the lengths below are made");
    const struct {
        std::string head;
        LdapFraming::Verdict verdict;
    } cases[] = {
        {"\x30\x84\x01\x40\x00\x00"s, LdapFraming::Fine},
        {"\x30\x84\x01\x40\x00\x01"s, LdapFraming::TooLarge},
        {"\x30\x88\x00\x00\x00\x00\x01\x40\x00\x00"s, LdapFraming::Fine},
        {"\x30\x88\x00\x00\x00\x00\x01\x40\x00\x01"s, LdapFraming::TooLarge},
        {"\x30\x88\x80\x00\x00\x00\x00\x00\x00\x05"s, LdapFraming::TooLarge},
        {"\x30\x81\x01"s, LdapFraming::Fine},
        {"\x30\x01"s, LdapFraming::Fine},
        {"\x30\x7F"s, LdapFraming::Fine},
        {"\x30\x80"s, LdapFraming::Malformed},
        {"\x30\x89"s, LdapFraming::Malformed},
        {"\x30\x82\x00\x00"s, LdapFraming::Malformed},
    };
    for (const auto &one : cases) {
        LdapFraming framing;
        EXPECT_EQ(take(&framing, one.head), one.verdict) << testing::PrintToString(one.head);
    }
}

TEST_F(LdapStream, HandsOutWhatIsThereInPiecesOfAnySize) {
    say("0123456789");
    EXPECT_EQ(read(4), "0123");
    EXPECT_TRUE(watch.hasReadAhead());
    EXPECT_EQ(read(1), "4");
    EXPECT_EQ(read(100), "56789");
    EXPECT_FALSE(watch.hasReadAhead());
    say("abc");
    EXPECT_EQ(read(100000), "abc");
    EXPECT_FALSE(watch.hasReadAhead()) << "a large piece is not kept here";
    say("de");
    EXPECT_EQ(read(1), "d");
    say("f");
    EXPECT_EQ(read(100000), "e") << "what was read ahead comes first";
    EXPECT_EQ(read(100000), "f");
    EXPECT_EQ(watch.event(), LdapWatch::Nothing);
}

TEST_F(LdapStream, SaysThatTheServerHasClosed) {
    say("ab");
    shutdown(ends[1], SHUT_WR);
    EXPECT_EQ(read(1), "a");
    EXPECT_EQ(read(1), "b");
    EXPECT_EQ(watch.event(), LdapWatch::Nothing);
    EXPECT_EQ(read(1), "");
    EXPECT_FALSE(watch.hasReadAhead());
    EXPECT_EQ(watch.event(), LdapWatch::Closed);
    EXPECT_EQ(read(100000), "");
    watch.begin(LdapClock::now() - std::chrono::seconds(1));
    watch.waitFor(ends[1], POLLIN);
    EXPECT_EQ(watch.event(), LdapWatch::Closed) << "the first event is the cause";
}

TEST_F(LdapStream, ReadsNothingAfterTheDeadlineAlsoWhatIsThere) {
    say("abc");
    EXPECT_EQ(read(1), "a");
    watch.begin(LdapClock::now() - std::chrono::seconds(1));
    errno = 0;
    EXPECT_EQ(read(1), "error");
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_EQ(watch.event(), LdapWatch::TimedOut);
}

TEST_F(LdapStream, WaitsNoLongerThanTheDeadline) {
    watch.begin(LdapClock::now() + std::chrono::milliseconds(30));
    errno = 0;
    EXPECT_EQ(read(1), "error");
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_EQ(watch.event(), LdapWatch::TimedOut);
    EXPECT_TRUE(watch.waitFor(ends[0], POLLOUT));
}

TEST_F(LdapStream, SaysThatTheConnectionWasBroken) {
    EXPECT_EQ(send(ends[0], "x", 1, MSG_NOSIGNAL), 1);
    close(std::exchange(ends[1], dup(ends[0]))); // with something unread
    EXPECT_EQ(read(1), "error");
    EXPECT_EQ(errno, ECONNRESET);
    EXPECT_FALSE(watch.hasReadAhead());
    EXPECT_EQ(watch.event(), LdapWatch::Closed);
}

TEST(LdapWatch, KeepsItsVerdictAndTheFirstReason) {
    const auto takes = [](LdapWatch *watch, const std::string &bytes) {
        return watch->takeBytes(reinterpret_cast<const unsigned char *>(bytes.data()), bytes.size());
    };
    LdapWatch malformed, large;
    EXPECT_TRUE(takes(&malformed, message(1, '\x64', 5)));
    EXPECT_FALSE(takes(&malformed, "HTTP"));
    EXPECT_EQ(malformed.event(), LdapWatch::Malformed);
    EXPECT_FALSE(takes(&large, "\x30\x84\x7F\xFF\xFF\xFF"));
    EXPECT_EQ(large.event(), LdapWatch::TooLarge);
    large.note(LdapWatch::Closed);
    EXPECT_EQ(large.event(), LdapWatch::TooLarge);
}

TEST(LdapWatch, CountsEachRequestAnew) {
    std::vector<unsigned char> bytes = {0x30, 0x84, 0x01, 0x40, 0x00, 0x00, 0x02, 0x01, 0x01, 0x64};
    bytes.resize(6 + ldap_message_limit);
    LdapWatch watch;
    for (int i = 0; i < 30; i++) {
        watch.begin(LdapDeadline::max());
        ASSERT_TRUE(watch.takeBytes(bytes.data(), bytes.size())) << i;
    }
}

TEST(LdapConnect, MakesASocketThatDoesNotWaitAndIsNotInherited) {
    int number = 0, on = 0;
    const int listener = listen_on_loopback(&number);
    const std::string port = std::to_string(number);
    bool loopback = false;
    std::string sentence;
    const int made = connected("ldap://127.0.0.1:" + port, &loopback, &sentence);
    ASSERT_GE(made, 0) << sentence;
    EXPECT_TRUE(loopback);
    EXPECT_NE(fcntl(made, F_GETFL) & O_NONBLOCK, 0);
    EXPECT_NE(fcntl(made, F_GETFD) & FD_CLOEXEC, 0);
    socklen_t length = sizeof on;
    EXPECT_EQ(getsockopt(made, IPPROTO_TCP, TCP_NODELAY, &on, &length), 0);
    EXPECT_NE(on, 0);
    close(made);
    const int anywhere = connected("ldap://0.0.0.0:" + port, &loopback, &sentence);
    ASSERT_GE(anywhere, 0) << sentence;
    EXPECT_FALSE(loopback) << "an address that is not known to lead to this machine";
    close(anywhere);
    close(listener);
    loopback = true;
    EXPECT_EQ(connected("ldap://127.0.0.1:" + port, &loopback, &sentence), -1);
    EXPECT_EQ(sentence, "ldap://127.0.0.1:" + port + ": cannot connect: Connection refused");
    EXPECT_FALSE(loopback);
}

TEST(LdapConnect, GoesOnWaitingWhenASignalComes) {
    const FullPort port;
    struct sigaction before = {}, counts = {};
    static volatile sig_atomic_t signals = 0;
    counts.sa_handler = [](int) { signals = signals + 1; };
    ASSERT_EQ(sigaction(SIGALRM, &counts, &before), 0);
    const itimerval often = {{0, 2000}, {0, 2000}}, never = {};
    ASSERT_EQ(setitimer(ITIMER_REAL, &often, nullptr), 0);
    while (signals == 0) pause();
    signals = 0;
    bool loopback = false;
    std::string why;
    try {
        ldap_stream_connect(ldap_uri_parse(port.uri()), "", LdapClock::now() + std::chrono::milliseconds(100),
                            &loopback);
    } catch (const LdapTrouble &trouble) {
        why = trouble.what();
    }
    EXPECT_EQ(setitimer(ITIMER_REAL, &never, nullptr), 0);
    EXPECT_EQ(sigaction(SIGALRM, &before, nullptr), 0);
    EXPECT_GT(signals, 0);
    EXPECT_EQ(why, port.uri() + ": cannot connect: Connection timed out");
}

TEST(LdapConnect, ReachesALocalSocketWhosePathFits) {
    TempFolder folder;
    bool loopback = true;
    std::string sentence;
    const std::string path = folder.path("s");
    const int listener = listen_at(path);
    const int made = connected(local_uri(path), &loopback, &sentence);
    EXPECT_GE(made, 0) << sentence;
    EXPECT_FALSE(loopback) << "it is no network";
    close(made);
    close(listener);
    const std::string longest(sizeof sockaddr_un::sun_path - 1, 'x');
    connected(local_uri(longest), &loopback, &sentence);
    EXPECT_EQ(sentence, local_uri(longest) + ": cannot connect: No such file or directory");
    connected(local_uri(longest + "x"), &loopback, &sentence);
    EXPECT_EQ(sentence, local_uri(longest + "x") + ": cannot connect: the path is too long");
}

#ifndef QRT_SANITIZED // the sanitizers need descriptors of their own
TEST(LdapConnect, SaysThatThereIsNoDescriptorLeft) {
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none = {0, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    bool loopback = false;
    std::string sentence;
    EXPECT_EQ(connected("ldap://127.0.0.1:9", &loopback, &sentence), -1);
    EXPECT_EQ(sentence, "ldap://127.0.0.1:9: cannot connect: Too many open files");
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
}
#endif

TEST(LdapConnect, KnowsTheLoopbackOfTheNewerProtocol) {
    const int listener = socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in6 address = {};
    address.sin6_family = AF_INET6;
    socklen_t length = sizeof address;
    if (listener < 0 || bind(listener, reinterpret_cast<sockaddr *>(&address), length) != 0 ||
        listen(listener, 5) != 0 || getsockname(listener, reinterpret_cast<sockaddr *>(&address), &length) != 0)
        GTEST_SKIP() << "this machine has no IPv6";
    const std::string port = std::to_string(ntohs(address.sin6_port));
    for (const std::string host : {"[::1]", "[::]"}) {
        bool loopback = false;
        std::string sentence;
        const int made = connected("ldap://" + host + ":" + port, &loopback, &sentence);
        EXPECT_GE(made, 0) << sentence;
        EXPECT_EQ(loopback, host == "[::1]");
        close(made);
    }
    close(listener);
}
