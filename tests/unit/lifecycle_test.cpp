#include "run/lifecycle.h"

#include <fcntl.h>
#include <libintl.h>
#include <stdio_ext.h>

#include <clocale>
#include <csignal>

#include "base/output.h"
#include "tests/unit/message_catalogue.h"
#include "tests/unit/session_fixture.h"
#include "tests/unit/standard_streams.h"

namespace {

// Taken before any test points the places elsewhere.
const std::string default_places[] = {place_config_folder, place_slp_folder,        place_conf_log, place_mount_point,
                                      place_module_status, place_network_interface, place_locale};

TEST(PlacesTest, AreTheSystemsOwn) {
    EXPECT_THAT(default_places,
                ElementsAre("/etc/opt/brasca/qrt/", "/etc/", "/var/opt/brasca/log/qrt/qrt_conf_parse.log",
                            "/mnt/brasca", "/proc/marfs/Version", "eth0", "/usr/share/locale"));
}

class LifecycleTest : public SessionTest {
  protected:
    ~LifecycleTest() override {
        signal(SIGINT, SIG_DFL);
        if (fdr != stream_) close(fd[0]);
        if (fcntl(0, F_GETFD) == -1) keep_standard_input();
    }

    // A session that writes to the test's own stream.
    int start() { return qrt_init(nullptr, stream_); }

    // A session with a pipe. The stream stays the library's; it is kept reachable here.
    static int start_with_pipe() {
        static std::vector<FILE *> streams;
        const int result = qrt_init(nullptr, nullptr);
        streams.push_back(fdr);
        return result;
    }

    // Ends a session with a stream of the test's own, which closes descriptor 0.
    static int end() {
        const int result = qrt_exit();
        keep_standard_input();
        return result;
    }

    void login_conf(const std::string &content) { folder_.file("config/login.conf", content); }

    // What the reader gets until the end.
    static std::vector<std::string> read_all() {
        std::vector<std::string> lines;
        char *line = nullptr;
        while (qrt_ReadResults(&line) == 0) lines.push_back(taken(line));
        EXPECT_EQ(line, nullptr);
        return lines;
    }
};

TEST_F(LifecycleTest, InitTakesTheCallersStream) {
    fd[0] = fd[1] = 9;
    int unused = 0;
    EXPECT_EQ(qrt_init(&unused, stream_), 0);
    EXPECT_EQ(fdr, stream_);
    EXPECT_EQ(fd[0], 0);
    EXPECT_EQ(fd[1], 0);
}

TEST_F(LifecycleTest, InitMakesAPipeWithoutAStream) {
    ASSERT_EQ(start_with_pipe(), 0);
    ASSERT_NE(fdr, nullptr);
    EXPECT_GT(fd[0], 0);
    EXPECT_GT(fd[1], 0);
    EXPECT_EQ(fileno(fdr), fd[1]);
    EXPECT_EQ(fcntl(fd[0], F_GETFL) & O_ACCMODE, O_RDONLY);
    EXPECT_EQ(fcntl(fd[1], F_GETFL) & O_ACCMODE, O_WRONLY);
    qrt_exit();
}

TEST_F(LifecycleTest, InitResetsTheSession) {
    char variable[] = "kept by the caller";
    char profile[] = "profile";
    for (char *&slot : uservars) slot = variable;
    over_ride_profile = profile;
    debug_level = 5;
    start();
    EXPECT_EQ(variables(), "----------");
    EXPECT_EQ(over_ride_profile, nullptr);
    EXPECT_EQ(debug_level, 0);
    EXPECT_STREQ(variable, "kept by the caller");
}

TEST_F(LifecycleTest, InitClearsTheFirst84InputBuffers) {
    LexBuffer buffer = {};
    const int32_t depth = ibufstackindex;
    for (LexBuffer *&slot : ibufstack) slot = &buffer;
    ibufstackindex = 42;
    start();
    EXPECT_EQ(ibufstackindex, 42);
    for (int slot = 0; slot < lex_stack_size; slot++) {
        EXPECT_EQ(ibufstack[slot], slot < 84 ? nullptr : &buffer) << slot;
    }
    for (LexBuffer *&slot : ibufstack) slot = nullptr;
    ibufstackindex = depth;
}

TEST_F(LifecycleTest, InitInstallsTheInterruptHandlerAndBindsTheCatalogue) {
    start();
    EXPECT_EQ(signal(SIGINT, SIG_DFL), &cntrlcHandler);
    start();
    EXPECT_STREQ(textdomain(nullptr), "brasca-client-script");
    EXPECT_STREQ(bindtextdomain("brasca-client-script", nullptr), place_locale);
    textdomain("messages");
}

TEST_F(LifecycleTest, InitWorksAgainForANewSession) {
    ASSERT_EQ(start_with_pipe(), 0);
    FILE *const first = fdr;
    const int ends[] = {fd[0], fd[1]};
    ASSERT_EQ(start_with_pipe(), 0);
    EXPECT_NE(fdr, first);
    EXPECT_NE(fd[1], ends[1]);
    EXPECT_NE(fcntl(ends[1], F_GETFD), -1) << "the old stream is not closed";
    qrt_exit();
    fclose(first);
    close(ends[0]);
}

TEST_F(LifecycleTest, InitFailsWithoutAStreamForThePipe) {
    const auto start_without_descriptors = [] {
        allow_standard_descriptors_only();
        dup2(2, 1);
        _exit(qrt_init(nullptr, nullptr) == -1 ? 33 : 0);
    };
    EXPECT_EXIT(start_without_descriptors(), ExitedWithCode(33), "^Error initializing qrt Invalid argument\n$");
}

TEST_F(LifecycleTest, TheTraceLevelOfTheConfigurationIsTracedOnce) {
    login_conf("debug_level=6\n");
    const auto start_and_go_on = [this] {
        start();
        EXPECT_EQ(debug_level, 0);
        qrt_SetCurrentObject("jdoe");
        free(qrt_Object());
    };
    EXPECT_EQ(trace_texts(0, start_and_go_on), std::vector<std::string>{"debug_level found in conf file:6"});
}

TEST_F(LifecycleTest, TheConfigurationSetsTheTraceLevel) {
    const std::pair<std::string, int32_t> rows[] = {{"", 0},
                                                    {"debug_level=3\n", 3},
                                                    {"debug_level=1\n", 1},
                                                    {"debug_level=12x\n", 12},
                                                    {"debug_level=0x10\n", 0},
                                                    {"debug_level=0\n", 0},
                                                    {"debug_level=-2\n", -2},
                                                    {"debug_level=x\n", 0},
                                                    {"other=3\n", 0},
                                                    // A text of up to 255 characters is read.
                                                    {"debug_level=" + std::string(254, '0') + "3\n", 3},
                                                    {"debug_level=" + std::string(255, '0') + "3\n", 0}};
    for (const auto &[content, level] : rows) {
        SCOPED_TRACE(content);
        if (!content.empty()) login_conf(content);
        testing::internal::CaptureStdout();
        debug_level = 9;
        EXPECT_EQ(qrt_script_load_configuration(), 0);
        EXPECT_EQ(debug_level, level);
        const std::string printed = testing::internal::GetCapturedStdout();
        if (level <= 0) {
            EXPECT_EQ(printed, "");
            continue;
        }
        EXPECT_THAT(printed, HasSubstr("--DEBUG--qrt_script_load_configuration:"));
        EXPECT_THAT(printed, HasSubstr(" debug_level found in conf file:" + std::to_string(level) + "\n"));
    }
}

TEST_F(LifecycleTest, ExitMarksTheEndOfTheOutputWithAZeroByte) {
    start();
    fputs("last words", fdr);
    EXPECT_EQ(end(), 0);
    EXPECT_EQ(output(), std::string("last words\0", 11));
}

TEST_F(LifecycleTest, ExitFreesTheSession) {
    start();
    for (char **global :
         {&CurrentContext, &CurrentObject, &CurrentTree, &InitialContext, &LoginName, &over_ride_profile}) {
        *global = text_copy("x").release();
    }
    for (int index = 0; index < QRT_USER_VARIABLES; index++) qrt_SetUserVar(index, "x");
    set(CurrentPassword, "secret");
    end();
    for (const char *global :
         {CurrentContext, CurrentObject, CurrentTree, InitialContext, LoginName, over_ride_profile}) {
        EXPECT_EQ(global, nullptr);
    }
    EXPECT_EQ(variables(), "----------");
    EXPECT_STREQ(CurrentPassword, "secret") << "not the session's end but the run's wipes it";
}

TEST_F(LifecycleTest, ExitClosesThePipesWriteEndOnce) {
    start_with_pipe();
    const int write_end = fd[1];
    FILE *const stream = fdr;
    qrt_exit();
    EXPECT_EQ(fcntl(write_end, F_GETFD), -1);
    EXPECT_EQ(fd[1], -1);
    EXPECT_NE(fcntl(fd[0], F_GETFD), -1);
    EXPECT_EQ(fdr, stream);
    start_with_pipe();
    qrt_exit();
    const int other = open("/dev/null", O_RDONLY);
    qrt_exit();
    EXPECT_NE(fcntl(other, F_GETFD), -1);
    close(other);
}

TEST_F(LifecycleTest, ExitClosesDescriptor0ForAStreamOfTheCallersOwn) {
    start();
    keep_standard_input();
    qrt_exit();
    EXPECT_EQ(fcntl(0, F_GETFD), -1);
    keep_standard_input();
    EXPECT_NE(fputs("still open", stream_), EOF);
}

TEST_F(LifecycleTest, WhatIsWrittenAfterTheEndIsLost) {
    start_with_pipe();
    say("in time\n");
    qrt_exit();
    say("late\n");
    EXPECT_THAT(read_all(), ElementsAre("in time"));
    __fpurge(fdr); // its descriptor's number may be another file's by now
}

TEST_F(LifecycleTest, APipeMayHaveTheStandardDescriptorsNumbers) {
    const auto start_and_end = [] {
        close(STDIN_FILENO);
        close(STDOUT_FILENO);
        const bool made = start_with_pipe() == 0 && fd[0] == STDIN_FILENO && fd[1] == STDOUT_FILENO;
        qrt_exit();
        _exit(made && fd[1] == -1 ? 33 : 0);
    };
    EXPECT_EXIT(start_and_end(), ExitedWithCode(33), "");
}

TEST_F(LifecycleTest, TheReaderGetsEachLineAndThenTheEnd) {
    start_with_pipe();
    say("one\n");
    output_put("\ntwo\r\nthree");
    qrt_exit();
    EXPECT_THAT(read_all(), ElementsAre("one", "", "two\r", "three"));
    char untouched = 'x';
    char *line = &untouched;
    EXPECT_EQ(qrt_ReadResults(&line), -1);
    EXPECT_EQ(line, nullptr);
}

TEST_F(LifecycleTest, TheReaderGetsTheOutputOfARun) {
    start_with_pipe();
    EXPECT_EQ(run("WRITE \"hello\"\nCLS\nWRITE\n"), 0);
    qrt_exit();
    std::vector<std::string> expected(42);
    expected[0] = "hello";
    EXPECT_EQ(read_all(), expected);
}

TEST_F(LifecycleTest, ALongLineArrivesInPieces) {
    start_with_pipe();
    const std::string x1024(1024, 'x');
    output_put(std::string(1500, 'x') + "\n");
    output_put(x1024 + "\n");
    output_put(std::string(1023, 'y') + "\n");
    qrt_exit();
    EXPECT_THAT(read_all(), ElementsAre(x1024, std::string(476, 'x'), x1024, "", std::string(1023, 'y')));
}

TEST_F(LifecycleTest, TheEndMarkerEndsTheOutputWhateverFollows) {
    start_with_pipe();
    output_put(std::string("a\0b\n", 4));
    char *line = nullptr;
    EXPECT_EQ(qrt_ReadResults(&line), 0);
    EXPECT_EQ(taken(line), "a");
    EXPECT_EQ(qrt_ReadResults(&line), 0);
    EXPECT_EQ(taken(line), "b");
    output_put(std::string("\0", 1));
    EXPECT_EQ(qrt_ReadResults(&line), -1);
    qrt_exit();
}

TEST_F(LifecycleTest, AFailedReadEndsTheLine) {
    start_with_pipe();
    fcntl(fd[0], F_SETFL, O_NONBLOCK);
    output_put("half a line");
    char *line = nullptr;
    EXPECT_EQ(qrt_ReadResults(&line), 0);
    EXPECT_EQ(taken(line), "half a line");
    EXPECT_EQ(qrt_ReadResults(&line), 0);
    EXPECT_EQ(taken(line), "") << "a failed read with nothing stored is an empty line";
    qrt_exit();
}

// Interrupts the process when the script asks for the object "now".
void interrupt_now() {
    spy::on_call([](const std::string &call) {
        if (call.find("ZKDSOpenStream") == 0) raise(SIGINT);
    });
    spy::stream("now", "");
}

TEST_F(LifecycleTest, AnInterruptIsIgnoredBeforeBreakOnAndAfterBreakOff) {
    start();
    cntrlcHandler(SIGINT);
    EXPECT_EQ(output(), "");
    interrupt_now();
    EXPECT_EQ(run("WRITE \"a\"\nDISPLAY .now\nWRITE \"b\"\n"), 0);
    EXPECT_EQ(output(), "a\n\r\nb\n");
    EXPECT_EQ(run("BREAK ON\nBREAK OFF\nDISPLAY .now\nWRITE \"b\"\n"), 0);
    EXPECT_EQ(output(), "\r\nb\n");
}

TEST_F(LifecycleTest, AnInterruptAfterBreakOnEndsTheProcessWithStatus0) {
    start();
    interrupt_now();
    EXPECT_EXIT(run("BREAK ON\nWRITE \"a\"\nDISPLAY .now\nWRITE \"b\"\n"), ExitedWithCode(0), "");
    EXPECT_EQ(output(), "a\nctrl-c pressed, script aborted\n");
}

TEST_F(LifecycleTest, TheAbortRunsNoExitHandlersAndFlushesNothing) {
    start();
    FILE *const other = tmpfile();
    const auto abort_script = [other] {
        std::atexit([] { fputs("an exit handler ran", stderr); });
        fputs("unflushed", other);
        bcntrlc = 1;
        cntrlcHandler(SIGINT);
    };
    EXPECT_EXIT(abort_script(), ExitedWithCode(0), "^$");
    char byte = 0;
    EXPECT_EQ(pread(fileno(other), &byte, 1, 0), 0);
    fclose(other);
}

// Takes away all that waits in the session's pipe.
std::string drained() {
    std::string all;
    char block[4096];
    fcntl(fd[0], F_SETFL, O_NONBLOCK);
    for (ssize_t got = 0; (got = read(fd[0], block, sizeof block)) > 0;) all.append(block, static_cast<size_t>(got));
    return all;
}

// The pipe is full, and another signal comes before there is room.
TEST_F(LifecycleTest, TheAbortsMessageIsWrittenAfterAnotherSignal) {
    start_with_pipe();
    fcntl(fd[1], F_SETFL, O_NONBLOCK);
    while (write(fd[1], "x", 1) == 1) continue;
    fcntl(fd[1], F_SETFL, 0);
    const auto abort_script = [] {
        struct sigaction make_room = {};
        make_room.sa_handler = [](int) { drained(); };
        sigaction(SIGALRM, &make_room, nullptr);
        ualarm(100000, 0);
        bcntrlc = 1;
        cntrlcHandler(SIGINT);
    };
    EXPECT_EXIT(abort_script(), ExitedWithCode(0), "");
    EXPECT_EQ(drained(), "ctrl-c pressed, script aborted\n");
    qrt_exit();
}

class LogFileTest : public LifecycleTest {
  protected:
    LogFileTest() {
        place_conf_log = log_.c_str();
        fpLogFileOutput = nullptr;
        bLogFileOutput = 1;
    }
    ~LogFileTest() override {
        if (fpLogFileOutput) fclose(fpLogFileOutput);
        fpLogFileOutput = nullptr;
        bLogFileOutput = 1;
    }
    const std::string log_ = folder_.path("log/parse.log");
};

TEST_F(LogFileTest, IsOpenedForAppending) {
    std::filesystem::create_directory(folder_.path("log"));
    folder_.file("log/parse.log", "old\n");
    openLogFile();
    ASSERT_NE(fpLogFileOutput, nullptr);
    EXPECT_EQ(bLogFileOutput, 1);
    fputs("new\n", fpLogFileOutput);
    fflush(fpLogFileOutput);
    EXPECT_EQ(taken(qrt_readLoginScriptFromFile(log_.c_str())), "old\nnew\n");
}

TEST_F(LogFileTest, ThatCannotBeOpenedIsReportedAndSwitchedOff) {
    testing::internal::CaptureStderr();
    openLogFile();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: unable to open log file: " + log_ + "\n");
    EXPECT_EQ(fpLogFileOutput, nullptr);
    EXPECT_EQ(bLogFileOutput, 0);
}

class CatalogueTest : public LifecycleTest {
  protected:
    ~CatalogueTest() override {
        setlocale(LC_ALL, "C");
        textdomain("messages");
    }

    // A session whose messages come from a catalogue with these translations.
    void start_translated(const std::map<std::string, std::string> &translations) {
        message_catalogue_write(folder_.path("locale"), "zz", output_domain, translations);
        place_locale = locale_.c_str();
        setenv("LC_ALL", "C.UTF-8", 1);
        setenv("LANGUAGE", "zz", 1);
        start();
    }
    const std::string locale_ = folder_.path("locale");
};

TEST_F(CatalogueTest, MessagesAreTranslatedAndMayReorderTheirPlaceholders) {
    start_translated({{"Your current context is: %s\n", "Kontext: %s\n"}});
    for (const int category : {LC_MESSAGES, LC_CTYPE, LC_TIME}) EXPECT_STREQ(setlocale(category, nullptr), "C.UTF-8");
    qrt_SetCurrentContext(text("O=acme").get());
    EXPECT_EQ(output(), "Kontext: O=acme\n");
    say("Not logged into tree\n");
    EXPECT_EQ(output(), "Not logged into tree\n");
    start_translated({{"Unable to find file:%1$s/%2$s\n", "%2$s fehlt auf %1$s\n"}});
    run("DISPLAY SRV1/SYS:X.TXT\n");
    EXPECT_THAT(output(), HasSubstr("SYS/X.TXT/ fehlt auf SRV1\n"));
}

// A catalogue is a file that a script may have chosen, and a translation is a printf format.
TEST_F(CatalogueTest, ATranslationThatTakesItsArgumentsInAnotherWayIsNotUsed) {
    for (const char *hostile :
         {"%n\n", "%lx\n", "%s %s\n", "%s %lx %lx\n", "%2$s\n", "%1$s %s\n", "%*s\n", "%9999999s\n", "%\n", "%1$n",
          "%10$s\n", "no name\n", "%s%n\n", "%1$s %2$s\n", "%.*s\n"}) {
        start_translated({{"User: %s\n", hostile}});
        say("User: %s\n", "jdoe");
        EXPECT_EQ(output(), "User: jdoe\n") << hostile;
    }
    for (const char *sound : {"%s, 100%%\n", "%1$s, 100%%\n"}) {
        start_translated({{"User: %s\n", sound}});
        say("User: %s\n", "jdoe");
        EXPECT_EQ(output(), "jdoe, 100%\n") << sound;
    }
}

TEST_F(CatalogueTest, ALanguageThatIsAPathIsNotFollowed) {
    start_translated({});
    message_catalogue_write(folder_.path("locale"), "../hostile", output_domain, {{"User: %s\n", "Gotcha %s\n"}});
    for (const char *language : {"../hostile", "zz:../hostile", "../locale/../hostile"}) {
        run("SET LANGUAGE = \"" + std::string(language) + "\"\n");
        say("User: %s\n", "jdoe");
        EXPECT_EQ(output(), "User: jdoe\n") << language;
        EXPECT_STREQ(getenv("LANGUAGE"), language) << "programs find what the script has set";
    }
}

TEST_F(CatalogueTest, TheAbortLineIsTranslated) {
    start_translated({{"ctrl-c pressed, script aborted\n", "Abbruch\n"}});
    bcntrlc = 1;
    EXPECT_EXIT(raise(SIGINT), ExitedWithCode(0), "");
    EXPECT_EQ(output(), "Abbruch\n");
}

} // namespace
