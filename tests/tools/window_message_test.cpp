#include "platform/prompt/window_message.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <csignal>
#include <cstdlib>

#include "platform/prompt/window_environment.h"
#include "platform/prompt/window_process.h"
#include "platform/treelogin.h"
#include "tests/support/own_process.h"

namespace {

using testing::HasSubstr;

std::string answer_packet(const WindowAnswer &answer) {
    char packet[window_message_limit];
    return {packet, window_answer_write(answer, packet)};
}

} // namespace

TEST(WindowMessage, ARequestArrivesAsItWasSent) {
    const WindowRequest sent = {WindowAsk::confirmYes, "Log out?\n\xff", "jdoe", "qrtlogin"};
    WindowRequest got;
    ASSERT_TRUE(window_request_read(window_request_write(sent), &got));
    EXPECT_EQ(got.ask, sent.ask);
    EXPECT_EQ(got.subject, sent.subject);
    EXPECT_EQ(got.user, sent.user);
    EXPECT_EQ(got.program, sent.program);
}

TEST(WindowMessage, ARequestIsCutToWhatAMessageMayHave) {
    const WindowRequest sent = {WindowAsk::login, std::string(100000, 's'), std::string(100000, 'u'),
                                std::string(100000, 'p')};
    const std::string packet = window_request_write(sent);
    EXPECT_LE(packet.size(), window_message_limit);
    WindowRequest got;
    ASSERT_TRUE(window_request_read(packet, &got));
    EXPECT_EQ(got.subject, std::string(window_subject_limit, 's'));
    EXPECT_EQ(got.user, std::string(window_name_limit, 'u'));
    EXPECT_EQ(got.program, std::string(window_name_limit, 'p'));
}

TEST(WindowMessage, ARequestThatIsNotWholeIsNone) {
    const std::string whole = window_request_write({WindowAsk::login, "ACME", "jdoe", "qrtlogin"});
    WindowRequest got;
    for (size_t size = 0; size < whole.size(); ++size)
        EXPECT_FALSE(window_request_read(whole.substr(0, size), &got)) << size;
    EXPECT_FALSE(window_request_read(whole + "x", &got));
    EXPECT_FALSE(window_request_read("x" + whole.substr(1), &got));
    EXPECT_EQ(got.subject, "");
}

TEST(WindowMessage, ANameAndAPasswordOfTheLongestKindFitIn) {
    const std::string longest(window_name_limit, 'x'), longer = longest + "x";
    const std::string packet = answer_packet({WindowSays::accepted, longest, longest});
    WindowAnswer got;
    ASSERT_TRUE(window_answer_read(packet, WindowAsk::login, &got));
    EXPECT_EQ(got.text, longest);
    EXPECT_EQ(got.secret, longest);
    EXPECT_EQ(answer_packet({WindowSays::accepted, "jdoe", longer}), "");
    EXPECT_EQ(answer_packet({WindowSays::accepted, longer, "x"}), "");
}

TEST(WindowMessage, AnAnswerHasWhatItsRequestAsksForAndNothingElse) {
    const struct {
        WindowAsk ask;
        WindowAnswer answer;
        bool isOne;
    } rows[] = {
        {WindowAsk::login, {WindowSays::accepted, "jdoe", "x"}, true},
        {WindowAsk::login, {WindowSays::accepted, "jdoe", ""}, false},
        {WindowAsk::login, {WindowSays::accepted, "", "x"}, false},
        {WindowAsk::login, {WindowSays::refused, "", ""}, true},
        {WindowAsk::login, {WindowSays::refused, "jdoe", "x"}, false},
        {WindowAsk::confirm, {WindowSays::accepted, "", ""}, true},
        {WindowAsk::confirm, {WindowSays::accepted, "jdoe", "x"}, false},
        {WindowAsk::pause, {WindowSays::alive, "", ""}, true},
        {WindowAsk::pause, {WindowSays::alive, "", "x"}, false},
        {WindowAsk::display, {WindowSays::failed, "no display", ""}, true},
        {WindowAsk::display, {WindowSays::failed, "", ""}, false},
        {WindowAsk::display, {WindowSays::failed, "no display", "x"}, false},
    };
    for (const auto &row : rows) {
        WindowAnswer got;
        EXPECT_EQ(window_answer_read(answer_packet(row.answer), row.ask, &got), row.isOne)
            << static_cast<char>(row.ask) << static_cast<char>(row.answer.says) << row.answer.text;
    }
}

TEST(WindowEnvironment, KeepsWhatAWindowNeedsAndNothingThatLoadsCode) {
    in_own_process([] {
        clearenv();
        const std::pair<const char *, const char *> variables[] = {
            {"DISPLAY", ":1"},
            {"LC_MESSAGES", "de_DE"},
            {"LANGUAGE", "de:en"},
            {"GTK_PATH", "/tmp"},
            {"LD_PRELOAD", "/tmp/x"},
            {"DISPLAYED", "x"},
            {"GTK_MODULES", "x"},
            {"PATH", "/tmp"},
            {"DBUS_SESSION_BUS_ADDRESS", "unix:path=/run/bus"},
            {"GIO_EXTRA_MODULES", "/x"},
            {"XCURSOR_SIZE", "24"},
            {"AT_SPI_BUS_ADDRESS", "unix:path=/a;unixexec:path=/b"},
        };
        for (const auto &[name, value] : variables) setenv(name, value, 1);
        window_environment_enter();
        std::vector<std::string> left;
        for (char **entry = environ; *entry != nullptr; ++entry) left.emplace_back(*entry);
        EXPECT_THAT(left, testing::UnorderedElementsAre("DISPLAY=:1", "LC_MESSAGES=de_DE", "LANGUAGE=de:en",
                                                        "PATH=/usr/local/bin:/usr/bin:/bin", "XCURSOR_SIZE=24",
                                                        "DBUS_SESSION_BUS_ADDRESS=unix:path=/run/bus"));
        setenv("LANGUAGE", "/tmp/catalogues", 1);
        window_environment_enter();
        EXPECT_EQ(getenv("LANGUAGE"), nullptr);
    });
}

TEST(WindowEnvironment, TheTokenOfAStartupOnWaylandHasTheNameThatTheToolkitKnows) {
    in_own_process([] {
        clearenv();
        setenv("DESKTOP_STARTUP_ID", "of X11", 1);
        setenv("XDG_ACTIVATION_TOKEN", "of Wayland", 1);
        EXPECT_THAT(window_environment(), testing::Contains("DESKTOP_STARTUP_ID=of X11"));
        setenv("WAYLAND_DISPLAY", "wayland-0", 1);
        EXPECT_THAT(window_environment(), testing::Contains("DESKTOP_STARTUP_ID=of Wayland"));
        EXPECT_THAT(window_environment(), testing::Not(testing::Contains("DESKTOP_STARTUP_ID=of X11")));
    });
}

TEST(WindowEnvironment, ADisplayIsOneThatIsNamed) {
    in_own_process([] {
        clearenv();
        EXPECT_FALSE(window_display_named());
        setenv("DISPLAY", "", 1);
        EXPECT_FALSE(window_display_named());
        setenv("WAYLAND_DISPLAY", "wayland-0", 1);
        EXPECT_TRUE(window_display_named());
        unsetenv("WAYLAND_DISPLAY");
        setenv("DISPLAY", ":0", 1);
        EXPECT_TRUE(window_display_named());
    });
}

TEST(WindowProcess, AProgramThatEndsIsNoticedAlsoWhereTheCallerIgnoresItsChildren) {
    for (const bool isIgnored : {false, true})
        in_own_process([isIgnored] {
            if (isIgnored) signal(SIGCHLD, SIG_IGN);
            window_program = "/bin/false";
            Secret packet(window_message_limit);
            WindowAnswer answer;
            std::string reason;
            const int lowest = dup(0);
            close(lowest);
            EXPECT_EQ(window_ask({WindowAsk::pause, "", "", ""}, &packet, &answer, &reason), WindowOutcome::failed);
            EXPECT_THAT(reason, HasSubstr(isIgnored ? "ended with status 0" : "ended with status 1"));
            EXPECT_EQ(dup(0), lowest) << "a descriptor is left open";
            EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
        });
}

TEST(WindowProcess, WithoutDescriptorsNothingIsAsked) {
    in_own_process([] {
        allow_descriptors(1);
        Secret packet(window_message_limit);
        WindowAnswer answer;
        std::string reason;
        EXPECT_EQ(window_ask({WindowAsk::pause, "", "", ""}, &packet, &answer, &reason), WindowOutcome::failed);
        EXPECT_EQ(reason, "Too many open files");
    });
}
