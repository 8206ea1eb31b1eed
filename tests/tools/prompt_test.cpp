#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <libintl.h>
#include <pty.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utmp.h>
#include <algorithm>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/prompt/terminal_prompt.h"
#include "platform/treelogin.h"
#include "tests/failing_malloc/failing_malloc.h"
#include "tests/support/process.h"

namespace {

constexpr char end_key[] = "\x04";
constexpr char name_question[] = "User name";
constexpr char password_question[] = "Password: ";

// Asks, and shows what the caller got. The exit status is the prompt's result.
int ask(int (*prompt)(const char *, const char *, char **, char **), const char *label, const char *defaultUser) {
    char untouched[] = "untouched";
    char *user = untouched;
    char *password = untouched;
    int result = prompt(label, defaultUser, &user, &password);
    printf("<%s|%s>\n", user, password);
    return result;
}

TerminalProcess login(const char *label, const char *defaultUser) {
    return TerminalProcess([=] { return ask(auxlogin_c, label, defaultUser); });
}

// Answers both questions, and checks that the caller got `result`.
void answer(TerminalProcess &process, const char *nameQuestion, const char *name, const char *password,
            const char *result) {
    ASSERT_TRUE(process.answers(nameQuestion, std::string(name) + "\n"));
    ASSERT_TRUE(process.answers(password_question, std::string(password) + "\n"));
    EXPECT_TRUE(process.awaits(result));
    EXPECT_EQ(process.finish(), 0);
}

// Stops at the question for the name, or lets the name stand and stops at that for the password.
void await_question(TerminalProcess &process, bool atPassword) {
    ASSERT_TRUE(process.awaits(name_question));
    if (!atPassword) return;
    process.type("\n");
    ASSERT_TRUE(process.awaits(password_question));
}

void expect_cancelled(TerminalProcess &process) {
    EXPECT_TRUE(process.awaits("<untouched|untouched>"));
    EXPECT_EQ(process.finish(), 1);
    EXPECT_TRUE(process.echoes());
}

// A field of a process's status, such as "State"; empty once the process is gone.
std::string status_field(pid_t process, const std::string &name) {
    const std::string status = file_text("/proc/" + std::to_string(process) + "/status");
    const size_t at = status.find("\n" + name + ":\t");
    const size_t start = at + name.size() + 3;
    return at == std::string::npos ? "" : status.substr(start, status.find('\n', start) - start);
}

// Waits until the process sleeps and no signal to it waits.
void await_sleep(pid_t process) {
    const auto sleeps = [&] {
        const std::string state = status_field(process, "State");
        return state.empty() || state[0] == 'Z' ||
               (state[0] == 'S' && status_field(process, "ShdPnd").find_first_not_of('0') == std::string::npos);
    };
    while (!sleeps()) sched_yield();
}

int without_terminal(const std::function<int()> &body) {
    pid_t child = fork();
    if (child == 0) {
        setsid();
        _exit(body());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

TEST(TerminalPrompt, OffersTheDefaultNameUnlessItIsAPlaceholderInAngleBrackets) {
    const struct {
        const char *offered, *question, *typed, *result;
    } rows[] = {
        {nullptr, "ACME\r\nUser name: ", "jdoe", "<jdoe|sun flower>"},
        {"jdoe", "User name [jdoe]: ", "", "<jdoe|sun flower>"},
        {"jdoe", "User name [jdoe]: ", "mlee", "<mlee|sun flower>"},
        {"<username>", "User name: ", "mlee", "<mlee|sun flower>"},
        {"<jdoe", "User name [<jdoe]: ", "", "<<jdoe|sun flower>"},
        {"jdoe>", "User name [jdoe>]: ", "", "<jdoe>|sun flower>"},
    };
    for (const auto &row : rows) {
        TerminalProcess process = login("ACME", row.offered);
        answer(process, row.question, row.typed, "sun flower", row.result);
    }
}

TEST(TerminalPrompt, AnEmptyNameIsAskedForAgain) {
    TerminalProcess process = login("ACME", "<username>");
    ASSERT_TRUE(process.answers("User name: ", "\n"));
    answer(process, "User name: ", "mlee", "x", "<mlee|x>");
}

TEST(TerminalPrompt, WithoutALabelTheQuestionComesFirst) {
    for (const char *label : {"", static_cast<const char *>(nullptr)}) {
        TerminalProcess process = login(label, nullptr);
        ASSERT_TRUE(process.awaits("User name: "));
        EXPECT_EQ(process.shown(), "User name: ");
    }
}

TEST(TerminalPrompt, WhatTheProgramHasToShowComesBeforeEachPrompt) {
    TerminalProcess process([] {
        auxbefore_prompt = [] { write(STDOUT_FILENO, "before\n", 7); };
        auxpause_script();
        return ask(auxlogin_c, "ACME", "jdoe");
    });
    ASSERT_TRUE(process.answers("before\r\nPress Enter", "\n"));
    ASSERT_TRUE(process.awaits("before\r\nACME\r\n"));
}

TEST(TerminalPrompt, AShorterAnswerReplacesALongerOne) {
    TerminalProcess process([] {
        Terminal terminal;
        Secret answer;
        for (const char *question : {"first? ", "second? "})
            if (!terminal.askLine(question, &answer)) return 1;
        printf("<%s>\n", answer.text());
        return 0;
    });
    ASSERT_TRUE(process.answers("first? ", "longer\n"));
    ASSERT_TRUE(process.answers("second? ", "x\n"));
    EXPECT_TRUE(process.awaits("<x>"));
}

TEST(TerminalPrompt, ClosesTheTerminal) {
    TerminalProcess process([] {
        const int before = dup(STDIN_FILENO);
        { Terminal terminal; }
        return dup(STDIN_FILENO) - before;
    });
    EXPECT_EQ(process.finish(), 1);
}

TEST(TerminalPrompt, TheNameIsShownAndThePasswordIsNot) {
    TerminalProcess process = login("ACME", nullptr);
    ASSERT_TRUE(process.awaits(name_question));
    EXPECT_TRUE(process.echoes());
    process.type("jdoe\n");
    ASSERT_TRUE(process.awaits(password_question));
    EXPECT_FALSE(process.echoes());
    process.type("sunflower\n");
    ASSERT_TRUE(process.awaits("<jdoe|sunflower>"));
    size_t printed = process.shown().rfind("<jdoe");
    EXPECT_EQ(process.shown().substr(0, printed).find("sunflower"), std::string::npos);
    EXPECT_EQ(process.finish(), 0);
    EXPECT_TRUE(process.echoes());
}

TEST(TerminalPrompt, EndOfInputCancelsAndRestoresTheTerminal) {
    for (const bool atPassword : {false, true}) {
        TerminalProcess process = login("ACME", "jdoe");
        await_question(process, atPassword);
        process.type(end_key);
        expect_cancelled(process);
    }
}

// A program whose own handler lets system calls go on would otherwise wait for the answer for ever.
TEST(TerminalPrompt, AnInterruptCancelsWhateverTheProgramsHandlerIs) {
    for (const bool atPassword : {false, true}) {
        TerminalProcess process([] {
            signal(SIGINT, [](int) {});
            return ask(auxlogin_c, "ACME", "jdoe");
        });
        await_question(process, atPassword);
        process.interrupt();
        expect_cancelled(process);
    }
}

TEST(TerminalPrompt, AnInterruptCancelsWhateverTheStandardInputIs) {
    TerminalProcess process([] {
        alarm(30); // or a lost interrupt would be waited for
        dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
        signal(SIGINT, [](int) {});
        return ask(auxlogin_c, "ACME", "jdoe");
    });
    ASSERT_TRUE(process.awaits(name_question));
    process.interrupt();
    expect_cancelled(process);
}

TEST(TerminalPrompt, TheInterruptReachesTheProgramsOwnHandlerAfterwards) {
    TerminalProcess process([] {
        signal(SIGINT, [](int) { _exit(42); });
        return ask(auxlogin_c, "ACME", "jdoe");
    });
    ASSERT_TRUE(process.awaits(name_question));
    process.interrupt();
    EXPECT_EQ(process.finish(), 42);
}

TEST(TerminalPrompt, AnInterruptIsReportedOnceAndALaterQuestionIsAsked) {
    static volatile sig_atomic_t reported = 0;
    TerminalProcess process([] {
        signal(SIGINT, [](int) { reported = reported + 1; });
        const bool cancelled = ask(auxlogin_c, "ACME", "jdoe") != 0;
        return ask(auxlogin_c, "ACME", "jdoe") == 0 && cancelled && reported == 1 ? 0 : 43;
    });
    ASSERT_TRUE(process.awaits(name_question));
    process.interrupt();
    answer(process, name_question, "", "secret", "<jdoe|secret>");
}

TEST(TerminalPrompt, AnotherSignalDoesNotEndTheQuestion) {
    TerminalProcess process([] {
        signal(SIGUSR1, [](int) {});
        return ask(auxlogin_c, "ACME", "jdoe");
    });
    ASSERT_TRUE(process.awaits(name_question));
    // The first ones may still find it writing.
    for (int i = 0; i < 20; ++i) process.signal(SIGUSR1);
    answer(process, "]: ", "", "secret", "<jdoe|secret>");
}

TEST(TerminalPrompt, ControlCharactersOfALabelDoNotReachTheTerminal) {
    TerminalProcess process = login("AC\x1b[2JME\tx\xC2\x9B\x9B Gr\xC3\xB6\xC3\x9F \xF0\x9F\x98\x80 \xFC",
                                    "j\x07"
                                    "doe");
    EXPECT_TRUE(process.awaits("AC\\x1B[2JME\\x09x\\xC2\\x9B\\x9B Gr\xC3\xB6\xC3\x9F \xF0\x9F\x98\x80 \xFC\r\n"));
    EXPECT_TRUE(process.awaits("[j\\x07doe]"));
    TerminalProcess edges = login("<\x1f ~\x7f\xc3\xa9>", nullptr);
    EXPECT_TRUE(edges.awaits("<\\x1F ~\\x7F\xc3\xa9>\r\n"));
}

// It is held back until the question waits for its answer, and then ends it.
TEST(TerminalPrompt, ASignalThatComesWhileTheQuestionIsWrittenEndsIt) {
    const std::string question(200000, 'x');
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
        TerminalProcess process([&] {
            alarm(30); // or a lost signal would be waited for
            return auxconfirm_g(question.c_str(), "question", 1, 12);
        });
        ASSERT_TRUE(process.awaits("xxxx"));
        await_sleep(process.id());
        kill(process.id(), signal);
        EXPECT_TRUE(process.awaits("(y/n) "));
        EXPECT_EQ(process.finish(), 1000 + signal);
    }
}

// The terminal goes while the prompt has it open, and the program ignores the signal that reports it.
TEST(TerminalPrompt, ATerminalThatIsGoneEndsTheQuestion) {
    static int other_end = -1;
    const auto asked_on_a_lost_one = [] {
        int terminal = -1;
        signal(SIGHUP, SIG_IGN);
        alarm(30);
        if (openpty(&other_end, &terminal, nullptr, nullptr, nullptr) != 0 || login_tty(terminal) != 0) return 99;
        auxbefore_prompt = [] { close(other_end); };
        return ask(auxlogin_c, "ACME", "jdoe");
    };
    EXPECT_EQ(without_terminal(asked_on_a_lost_one), 1);
}

TEST(TerminalPrompt, ControlCharactersOfAConfirmationDoNotReachTheTerminal) {
    TerminalProcess process([] { return auxconfirm_g("Log out \x9B\xC2\x85\x1b]?", "question", 1, 12); });
    EXPECT_TRUE(process.awaits("Log out \\x9B\\xC2\\x85\\x1B]? (y/n) "));
}

// A terminal that takes no more, as after Ctrl-S, delays the text. A signal then ends the write, after a part of the
// text or before any of it.
TEST(TerminalPrompt, ASignalLosesNothingOfATextThatTheTerminalDelays) {
    const std::string label(200000, 'x');
    TerminalProcess process([&] {
        struct sigaction handled = {};
        handled.sa_handler = [](int) {}; // calls are not gone on with
        sigaction(SIGUSR1, &handled, nullptr);
        alarm(30); // or a lost question would be waited for
        return ask(auxlogin_c, label.c_str(), "jdoe");
    });
    ASSERT_TRUE(process.awaits("xxxx"));
    for (int i = 0; i < 5; ++i) {
        await_sleep(process.id());
        kill(process.id(), SIGUSR1);
    }
    await_sleep(process.id());
    EXPECT_TRUE(process.awaits("User name [jdoe]: "));
    EXPECT_EQ(static_cast<size_t>(std::count(process.shown().begin(), process.shown().end(), 'x')), label.size());
}

TEST(TerminalPrompt, AnOverlongNameIsRefused) {
    for (const size_t length : {Secret::usual_capacity + 1, 3 * Secret::usual_capacity}) {
        TerminalProcess process = login("ACME", nullptr);
        ASSERT_TRUE(process.answers(name_question, std::string(length, 'x') + "\n"));
        expect_cancelled(process);
    }
}

TEST(TerminalPrompt, TheLongestNameAndPasswordAreTaken) {
    const std::string name(Secret::usual_capacity, 'n'), password(Secret::usual_capacity - 1, 'p');
    TerminalProcess process = login("ACME", nullptr);
    answer(process, name_question, name.c_str(), password.c_str(), ("<" + name + "|" + password + ">").c_str());
    for (const size_t more : {1, 2}) {
        TerminalProcess refused = login("ACME", "jdoe");
        await_question(refused, true);
        refused.type(password + std::string(more, 'p') + "\n");
        expect_cancelled(refused);
    }
}

TEST(TerminalPrompt, ADefaultNameIsOfferedUpToTheLongestAnswer) {
    const std::string longest(Secret::usual_capacity, 'n');
    TerminalProcess offered = login(nullptr, longest.c_str());
    answer(offered, "User name [", "", "secret", ("<" + longest + "|secret>").c_str());
    TerminalProcess left_out = login(nullptr, (longest + "n").c_str());
    answer(left_out, "User name: ", "jdoe", "secret", "<jdoe|secret>");
}

TEST(TerminalPrompt, WithoutATerminalEveryPromptFails) {
    EXPECT_EQ(without_terminal([] { return ask(auxlogin_c, "ACME", "jdoe"); }), 1);
    EXPECT_EQ(without_terminal([] { return ask(auxlogin_g, "ACME", "jdoe"); }), 1);
    EXPECT_EQ(without_terminal(auxinit_g), 1);
    EXPECT_EQ(without_terminal(auxpause_script), 1);
    EXPECT_EQ(without_terminal([] { return auxconfirm_g("Log out?", "question", 1, 12); }), 0);
}

TEST(WindowPrompt, WithoutADisplayItAsksOnTheTerminal) {
    TerminalProcess process([] { return auxinit_g() == 0 ? 99 : ask(auxlogin_g, "ACME", "jdoe"); });
    answer(process, "User name [jdoe]: ", "", "x", "<jdoe|x>");
    EXPECT_EQ(process.shown().find("cannot ask"), std::string::npos);
}

TEST(WindowPrompt, NoneIsTriedByAProgramThatTalksToItsUserOnTheTerminal) {
    TerminalProcess process([] {
        setenv("DISPLAY", ":nowhere", 1);
        auxwindows = 0;
        return auxinit_g() == 0 ? 99 : ask(auxlogin_g, "ACME", "jdoe");
    });
    answer(process, "User name [jdoe]: ", "", "x", "<jdoe|x>");
    EXPECT_EQ(process.shown().find("cannot ask"), std::string::npos);
}

// The lines on standard error of a process that has neither a display nor a terminal.
static std::string complaint_without_terminal(const std::function<int()> &body, bool windows = true) {
    TempFolder folder;
    const std::string path = folder.path("errors");
    without_terminal([&] {
        dup2(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600), STDERR_FILENO);
        auxwindows = windows ? 1 : 0;
        return body();
    });
    return file_text(path);
}

TEST(WindowPrompt, WhatCanBeAskedNowhereIsOneLine) {
    const std::string line = std::string(program_invocation_short_name) +
                             ": cannot ask in a window: there is neither a display nor a terminal\n";
    const std::function<int()> prompts[] = {[] { return ask(auxlogin_g, "ACME", "jdoe"); },
                                            [] { return auxconfirm_g("Log out?", "question", 1, 12); },
                                            [] { return auxpause_script(); }};
    for (const auto &prompt : prompts) {
        EXPECT_EQ(complaint_without_terminal(prompt), line);
        EXPECT_EQ(complaint_without_terminal(prompt, false), "") << "no window was wanted";
    }
}

TEST(WindowPrompt, ConfirmTakesAClearAnswerOnly) {
    struct {
        const char *typed;
        int answer;
    } const rows[] = {{"y\n", 4}, {"Y\n", 4}, {"yes\n", 4}, {"n\n", 0}, {"no\n", 0}, {"\nmaybe\ny\n", 4}, {end_key, 0}};
    for (const auto &row : rows) {
        TerminalProcess process([] { return auxconfirm_g("Log out?", "question", 1, 12); });
        ASSERT_TRUE(process.answers("Log out? (y/n) ", row.typed));
        EXPECT_EQ(process.finish(), row.answer) << row.typed;
    }
}

TEST(WindowPrompt, ConfirmWithoutATextAsksAllTheSame) {
    TerminalProcess process([] { return auxconfirm_g(nullptr, "question", 1, 12); });
    ASSERT_TRUE(process.answers(" (y/n) ", "y\n"));
    EXPECT_EQ(process.finish(), 4);
}

// Sets the process's language, with the catalogues of the build.
static void speak(const char *language) {
    setenv("LANGUAGE", language, 1);
    setlocale(LC_ALL, "C.UTF-8");
    bindtextdomain("brasca-client-script", BINARY_DIR "/locale");
}

TEST(WindowPrompt, ConfirmAsksInThePersonsLanguageAndTakesEnglishToo) {
    struct {
        const char *language, *question, *typed;
        int answer;
    } const rows[] = {
        {"de", "Log out? (j/n) ", "j\n", 4},      {"de", "Log out? (j/n) ", "Ja\n", 4},
        {"de", "Log out? (j/n) ", "nein\n", 0},   {"de", "Log out? (j/n) ", "yes\n", 4},
        {"es", "Log out? (s/n) ", "s\n", 4},      {"es", "Log out? (s/n) ", "sí\n", 4},
        {"fr", "Log out? (o/n) ", "oui\n", 4},    {"fr", "Log out? (o/n) ", "non\n", 0},
        {"ja", "Log out? (y/n) ", "y\n", 4},      {"ja", "Log out? (y/n) ", "はい\n", 4},
        {"ja", "Log out? (y/n) ", "いいえ\n", 0},
    };
    for (const auto &row : rows) {
        TerminalProcess process([&] {
            speak(row.language);
            return auxconfirm_g("Log out?", "question", 1, 12);
        });
        ASSERT_TRUE(process.answers(row.question, row.typed)) << process.shown();
        EXPECT_EQ(process.finish(), row.answer) << row.language << " " << row.typed;
    }
}

TEST(TerminalPrompt, AsksInThePersonsLanguage) {
    TerminalProcess process([] {
        speak("ja");
        return ask(auxlogin_c, "ACME", "jdoe");
    });
    ASSERT_TRUE(process.answers("ユーザー名 [jdoe]: ", "\n"));
    ASSERT_TRUE(process.answers("パスワード: ", "x\n"));
    EXPECT_TRUE(process.awaits("<jdoe|x>"));
    EXPECT_EQ(process.finish(), 0);
}

TEST(WindowPrompt, PauseWaitsForEnterOrTheEndOfInput) {
    for (const bool ends : {false, true}) {
        TerminalProcess process(auxpause_script);
        ASSERT_TRUE(process.answers("Press Enter", ends ? end_key : "\n"));
        EXPECT_EQ(process.finish(), ends ? 1 : 0);
    }
}

using Answers = std::vector<std::pair<std::string, std::string>>;

// Each allocation of a prompt fails in turn, until one is done without a failure.
static void expect_failures(const std::function<int()> &prompt, const Answers &answers, int failed) {
    bool done = false;
    for (long number = 1; !done; ++number) {
        ASSERT_LT(number, 1000);
        static long *failures =
            static_cast<long *>(mmap(nullptr, sizeof(long), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
        TerminalProcess process([&] {
            allocations_arm(number, 0);
            const int result = prompt();
            *failures = allocations_disarm();
            return result;
        });
        for (const auto &[question, typed] : answers)
            if (process.awaits(question)) process.type(typed);
        const int result = process.finish();
        done = *failures == 0;
        EXPECT_EQ(result, done ? 4 : failed) << "allocation " << number;
        EXPECT_FALSE(done && number == 1);
    }
}

TEST(TerminalPrompt, WithoutMemoryNothingIsAnswered) {
    const auto login = [] {
        char untouched[] = "untouched";
        char *user = untouched, *password = untouched;
        const int result = auxlogin_c("ACME, whose name is not a short one", "jdoe", &user, &password);
        if (result == 0) return strcmp(user, "mlee") == 0 && strcmp(password, "secret") == 0 ? 4 : 99;
        return user == untouched && password == untouched ? result : 98;
    };
    // The dynamic linker does without some of its own, so that the library is loaded by now.
    ASSERT_NE(dlopen(LIBBSD_SONAME, RTLD_NOW), nullptr);
    expect_failures(login, {{name_question, "mlee\n"}, {password_question, "secret\n"}}, 1);
}

TEST(WindowPrompt, WithoutMemoryTheAnswerIsNo) {
    expect_failures([] { return auxconfirm_g("Log out, and lose what is not saved?", "question", 1, 12); },
                    {{"(y/n) ", "y\n"}}, 0);
    expect_failures([] { return auxpause_script() == 0 ? 4 : 1; }, {{"Press Enter", "\n"}}, 1);
}

// ---- the calling program's hooks ----

static std::string calls;

// Between the two calls a person is waited for, whatever comes of it.
TEST(PromptHooks, AreCalledBeforeAndAfterEachPrompt) {
    TerminalProcess process([] {
        auxbefore_prompt = [] { calls += "("; };
        auxafter_prompt = [] { calls += ")"; };
        ask(auxlogin_c, "ACME", "jdoe");
        auxconfirm_g("Log out?", "question", 1, 12);
        auxpause_script();
        printf("calls: %s\n", calls.c_str());
        return 0;
    });
    ASSERT_TRUE(process.answers("User name [jdoe]: ", "\n"));
    ASSERT_TRUE(process.answers(password_question, "x\n"));
    ASSERT_TRUE(process.answers("Log out? (y/n) ", end_key));
    ASSERT_TRUE(process.answers("Press Enter", "\n"));
    EXPECT_TRUE(process.awaits("calls: ()()()"));
    EXPECT_EQ(process.finish(), 0);
}
