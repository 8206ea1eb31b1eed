// Memory that runs out at any allocation of a call: the call comes back, nothing is lost or freed twice (which the
// sanitizers see), and the same call works again when there is memory.

#include "commands/drive.h"
#include "commands/program.h"
#include "run/lifecycle.h"
#include "tests/failing_malloc/failing_malloc.h"
#include "tests/unit/run_sequence_fixture.h"

namespace {

class OutOfMemoryTest : public NetworkFileTest {
  protected:
    OutOfMemoryTest() {
        folder_.script("map", "echo map \"$@\"");
        folder_.file("config/map.conf", "Map_Link_Default_Location=%HOME/drives\n");
        folder_.script("program", "echo program ran");
        setvbuf(stream_, nullptr, _IONBF, 0);
        network_file("SRV1/SYS/LOGIN/X.TXT", "WRITE \"of the file\"\n");
        declare();
    }
    static void declare() {
        spy::reset();
        spy::tree("ACME_TREE", "SRV1");
        spy::default_server("SRV1");
        spy::logged_in("jdoe.sales.acme");
        spy::authenticated("SRV1");
        spy::server("A-SERVER-OF-SOME-LENGTH", "ACME_TREE");
        spy::object("jdoe.sales.acme", "User", "CN=jdoe.OU=sales.O=acme");
        spy::text_attribute("jdoe.sales.acme", "Full Name", {"John Doe, whose name is longer than a few bytes"});
        spy::text_attribute("jdoe.sales.acme", "Group Membership", {"Everybody.acme", "Staff.sales.acme"});
        spy::attribute("jdoe.sales.acme", "Home Directory", {spy::path("USERVOL.sales.acme", "home/jdoe")});
        spy::object("USERVOL.sales.acme", "Volume");
        spy::text_attribute("USERVOL.sales.acme", "Host Server", {"CN=SRV1.OU=servers.O=acme"});
        spy::text_attribute("USERVOL.sales.acme", "Host Resource Name", {"USERS"});
        spy::object("APPMAP.sales.acme", "Directory Map");
        spy::attribute("APPMAP.sales.acme", "Path", {spy::path("USERVOL.sales.acme", "public/apps")});
        spy::mapped_drive("/links/F", "SRV2/DATA:users/jdoe");
        spy::stream("jdoe.sales.acme", "WRITE \"of the user\"");
        spy::stream("OU=sales.O=acme", "WRITE \"of the container\"");
    }

    // The session before each call: jdoe of .sales.acme in ACME_TREE.
    static void start() {
        declare();
        clear();
        set(CurrentObject, "jdoe");
        set(LoginName, "jdoe");
        set(CurrentContext, ".sales.acme");
        set(InitialContext, ".OU=sales.O=acme");
        set(CurrentTree, "ACME_TREE");
        set(CurrentPassword, "kept in the session");
        for (int i = 0; i < QRT_USER_VARIABLES; i++) uservars[i] = text_copy(std::to_string(i)).release();
        condindex = 0;
        condstate[0] = 0;
        ctx = handle;
        unsetenv("MEMORY_FAULT_TEST");
    }

    // The outcome of `call`, which `look` returns as a string, and how many allocations it makes.
    std::string outcome(const std::function<void()> &call, const std::function<std::string()> &look) {
        start();
        output();
        call();
        return look();
    }
    using Look = std::function<std::string()>;
    using Check = std::function<void(const std::string &outcome)>;

    // Runs `call` with each of its allocations failing in turn, once or for good, at trace level `level`. `check` is
    // called with the outcome of each run in which one failed.
    void sweep(const std::function<void()> &call, const Look &look, const Check &check, int32_t level, bool for_good) {
        testing::internal::CaptureStdout();
        const std::string usual = outcome(call, look);
        bool met = true;
        for (int number = 1; met && !HasFailure(); number++) {
            SCOPED_TRACE(number);
            start();
            debug_level = level;
            allocations_arm(number, for_good);
            bool thrown = false;
            try {
                call();
            } catch (const std::bad_alloc &) {
                thrown = true;
            }
            met = allocations_disarm() > 0;
            EXPECT_FALSE(thrown) << "has to be caught in the call";
            debug_level = 0;
            const std::string starved = look();
            if (met) check(starved);
            EXPECT_THAT(spy::mistakes(), IsEmpty());
            EXPECT_EQ(spy::open_buffers(), 0);
            EXPECT_EQ(spy::open_files(), 0);
            EXPECT_EQ(outcome(call, look), usual);
        }
        const std::string printed = testing::internal::GetCapturedStdout();
        if (HasFailure()) printf("%s", printed.c_str());
    }
    void sweep(const std::function<void()> &call, const Look &look, const Check &check = unchecked) {
        sweep(call, look, check, 0, false);
        sweep(call, look, check, 0, true);
        sweep(call, look, unchecked, 9, false);
    }
    static void is_null(const std::string &text) { EXPECT_EQ(text, "(null)"); }
    static void unchecked(const std::string &) {}

    // The same for a function that hands out new text, and for a script.
    void sweep_text(const std::function<char *()> &call, const Check &check = unchecked) {
        char *text = nullptr;
        sweep([&] { text = call(); }, [&] { return taken(text); }, check);
    }
    void sweep_out(const std::function<uint32_t(char **)> &call, const Check &check = unchecked) {
        char *text = nullptr;
        uint32_t code = 0;
        sweep(
            [&] {
                text = nullptr;
                code = call(&text);
            },
            [&] { return std::to_string(code) + " " + taken(text); }, check);
    }
    // A script that does not succeed says why, in the place that it had reached.
    void sweep_script(const std::string &script, const Check &check = unchecked) {
        SCOPED_TRACE(script);
        int result = 0;
        std::string object = "jdoe.sales.acme";
        const auto look = [&] {
            const std::string printed = output();
            if (result != 0) {
                EXPECT_THAT(printed, AnyOf(HasSubstr("memory exhausted"), HasSubstr("Script error."))) << result;
            }
            return std::to_string(result) + " " + printed + session();
        };
        sweep([&] { result = parsescript_Run(script.c_str(), object.data(), ctx); }, look, check);
    }
    std::string session() {
        std::string row = variables();
        for (const char *global : {CurrentObject, LoginName, CurrentContext, InitialContext, CurrentTree, driveDir,
                                   over_ride_profile, static_cast<char *>(getenv("MEMORY_FAULT_TEST"))})
            row += " " + shown(global);
        return row;
    }
};

TEST_F(OutOfMemoryTest, TheSessionsSettersKeepWhatTheyCannotReplace) {
    std::string context = "OU=a context of some length.O=acme";
    const auto look = [this] { return session() + output(); };
    sweep([] { qrt_SetCurrentObject("somebody with a long name"); }, look);
    sweep([] { qrt_SetLoginName("somebody with a long name"); }, look);
    sweep([&] { qrt_SetCurrentContext(context.data()); }, look);
    sweep([] { qrt_SetUserVar(3, "a value of some length"); }, look);
    sweep([] { qrt_ShiftVars(2); }, look);
    sweep(
        [] {
            char *before = InitialContext;
            if (qrt_SetInitialContext(".O=acme")) free(before);
        },
        look);
}

TEST_F(OutOfMemoryTest, TheSessionsTextsAreNullWithoutMemory) {
    sweep_text(qrt_GetServer);
    sweep_text(qrt_Object);
    sweep_text(qrt_LoggedInObject);
    start();
    allocations_arm(1, false);
    EXPECT_EQ(qrt_Object(), nullptr);
    EXPECT_GT(allocations_disarm(), 0);
}

TEST_F(OutOfMemoryTest, WithoutRoomForALineTheReaderLosesNothing) {
    start();
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "a line\n", 7), 7);
    fd[0] = ends[0];
    char untouched = 'x';
    char *line = &untouched;
    errno = 0;
    allocations_arm(1, false);
    EXPECT_EQ(qrt_ReadResults(&line), -1);
    EXPECT_GT(allocations_disarm(), 0);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(line, nullptr);
    EXPECT_EQ(qrt_ReadResults(&line), 0);
    EXPECT_EQ(taken(line), "a line");
    // One that cannot be cut to its length is handed out all the same.
    ASSERT_EQ(write(ends[1], "a line\n", 7), 7);
    allocations_arm(2, false);
    EXPECT_EQ(qrt_ReadResults(&line), 0);
    EXPECT_EQ(allocations_disarm(), 1);
    EXPECT_EQ(taken(line), "a line");
    close(ends[0]);
    close(ends[1]);
}

TEST_F(OutOfMemoryTest, DirectoryReadsComeBack) {
    const char *object = "jdoe.sales.acme";
    sweep_out([&](char **text) { return qrt_GetAttribute(handle, object, "Full_Name", text); });
    sweep_out([&](char **text) { return qrt_GetAttribute(handle, object, "Home_Directory", text); });
    sweep_out([&](char **text) { return qrt_GetAttribute(handle, object, "3", text); });
    sweep_out([&](char **text) { return __GetAttribute(handle, object, "Full_Name", text); });
    uint32_t flag = 7;
    sweep_out([&](char **) { return qrt_compareAttribute(handle, object, "Group_Membership", "Staff", &flag); });
    sweep_out([&](char **text) {
        *text = qrt_Error("ZKDSRead", "qrt_GetAttribute", 12, 0x8801);
        return 0;
    });
    sweep_out([&](char **text) { return qrt_GetLoginScript(handle, object, text); });
    sweep_out([&](char **text) { return qrt_get_container(handle, object, text); });
    sweep_out([&](char **text) { return static_cast<uint32_t>(__get_default_script(text)); });
    sweep_text([] { return qrt_GetEnvVar("PATH"); });
}

TEST_F(OutOfMemoryTest, IdentifiersAreThenUnknown) {
    for (const char *name : {"GREETING_TIME", "SHORT_YEAR", "MACHINE", "REQUESTER", "P_STATION", "NETWORK",
                             "SHELL_TYPE", "STATION", "FILE_SERVER", "FULL_NAME", "LOGIN_CONTEXT", "PASSWORD_EXPIRES",
                             "CN", "HOME_DIRECTORY", "LANGUAGE", "USER_ID", "LAST_NAME"}) {
        SCOPED_TRACE(name);
        sweep_out([&](char **text) { return qrt_GetIdentifierValue(handle, "jdoe.sales.acme", name, text); });
    }
    sweep_out([&](char **text) { return qrt_GetIdentifierValue(handle, "jdoe.sales.acme", "COMSPEC", text); },
              [](const std::string &outcome) { EXPECT_EQ(outcome, std::to_string(QRT_NOT_FOUND) + " (null)"); });
    sweep_text([] { return qrt_find_replace_ids(handle, "Hello %FULL_NAME of %<PATH>, \"%NOBODY\" and <x>"); });
}

TEST_F(OutOfMemoryTest, VolumesAndNamesComeBack) {
    char server[514], volume[514], rest[514];
    uint32_t connection = 0, code = 0;
    uint16_t resolved = 0;
    const auto look = [&] { return std::to_string(code) + server + volume + rest + output(); };
    const auto fresh = [&] { server[0] = volume[0] = rest[0] = '\0'; };
    const auto sweep_code = [&](const std::function<uint32_t()> &call) {
        sweep(
            [&] {
                fresh();
                code = call();
            },
            look);
    };
    for (const char *path : {"APPMAP.sales.acme:bin", "USERVOL.sales.acme", "SRV1/SYS:public"})
        sweep_code([&] { return qrt_ZKDSParsePath(handle, path, server, &connection, volume, rest, &resolved); });
    sweep_code([&] { return qrt_DSGetObjConnID(handle, "USERVOL.sales.acme", &connection, server, nullptr); });
    sweep_code([&] { return qrt_DSGetPhysicalVolumeName(handle, "USERVOL.sales.acme", volume); });
    sweep_code([&] { return qrt_CheckForDirectoryMap(handle, "APPMAP.sales.acme", volume, rest); });
    sweep_code([&] { return orbispec("USERVOL", server, volume, rest); });
    sweep_code([&] {
        qrt_DSRemoveNameFromFullName(".CN=somebody with a long name.OU=sales.O=acme", server, volume, rest);
        return 0;
    });
}

TEST_F(OutOfMemoryTest, ConnectionsComeBack) {
    uint32_t made = 0;
    sweep_out([&](char **) {
        const uint32_t code = qrt_Getctx("acme_tree", &made);
        if (made != 0) ZKDSFreeContext(made);
        return code;
    });
    sweep_text([] { return qrt_GetTreeName("acme_tree"); });
    sweep_text([] { return qrt_GetTreeFromServer("srv1"); });
    sweep_text([] { return qrt_GetDefaultServerFromTree("acme_tree"); });
    sweep_text(qrt_GetDefaultServer);
    std::string server = "SRV1";
    sweep_out([&](char **tree) { return qrt_CheckAuthServer(server.data(), tree); });
    const auto look = [this] { return session() + output(); };
    sweep([] { qrt_SetServer(handle, "srv1"); }, look);
    sweep([] { qrt_SetTree("acme_tree"); }, look);
    for (std::string attached : {"SRV1", "A-SERVER-OF-SOME-LENGTH"})
        sweep(
            [&] {
                spy::authenticated("SRV1", false);
                spy::logged_out();
                spy::prompt_answer("jdoe", "right");
                spy::keep_prompt_texts();
                qrt_Attach(attached.data());
            },
            [&] {
                // Wiped by the call, and not its to free.
                for (const auto &[name, password] : spy::prompt_texts()) {
                    free(name);
                    free(password);
                }
                return look();
            });
}

TEST_F(OutOfMemoryTest, FilesAndDrivesComeBack) {
    for (const char *server : {":", "srv1", static_cast<const char *>(nullptr)})
        sweep_out([&](char **text) {
            return static_cast<uint32_t>(qrt_GetFile(handle, server, "SYS\\LOGIN/%<NO>X.TXT", text));
        });
    char *link = nullptr, *second = nullptr;
    sweep([&] { link = second = nullptr, util_map_location("G", "extra", &link, &second); },
          [&] { return taken(link) + taken(second); });
    int code = 0;
    sweep(
        [&] {
            link = second = nullptr;
            code = util_map_existing("/links/F", &link, &second);
        },
        [&] { return std::to_string(code) + taken(link) + taken(second); });
    sweep([&] { qrt_ChangeWorkingDir(handle, "g"); }, [this] { return session(); });
    const std::string target(200, 'c');
    // What could not be started is a mistake of the script.
    sweep([&] { syntax_error = 0, code = qrt_map_command(handle, "map", "a", "b", target.c_str()); },
          [&] { return output(); },
          [&](const std::string &) {
              EXPECT_THAT(code, AnyOf(0, 1));
              EXPECT_EQ(code, syntax_error);
          });
    sweep([&] { code = execute_command("map \"a b\" c"); }, [&] { return std::to_string(code) + output(); });
    sweep([&] { code = execute_command_nowait("true \"a b\" c"); }, [&] { return std::to_string(code); });
    std::string a = "a text", b = "another text of some length";
    for (auto *join : {util_concat_filespec, util_concat_strings, util_concat_strings_nos})
        sweep_text([&] { return join(a.data(), b.data()); }, is_null);
    sweep(
        [&] {
            link = strdup("a text with an old word");
            second = util_parse_replace_string(link, "old", "very much newer");
        },
        [&] {
            if (second == nullptr && link != nullptr) {
                EXPECT_EQ(taken(link), "a text with an old word");
            }
            return taken(second);
        },
        is_null);
}

TEST_F(OutOfMemoryTest, ADriveThatCannotBeFoundKeepsTheOneBefore) {
    start();
    ASSERT_EQ(qrt_ChangeWorkingDir(handle, "g"), 1);
    const std::string before = driveDir;
    bool met = true;
    for (int number = 1; met; number++) {
        allocations_arm(number, true);
        const int changed = qrt_ChangeWorkingDir(handle, "h");
        met = allocations_disarm() > 0;
        ASSERT_EQ(changed, met ? 0 : 1) << number;
        ASSERT_NE(driveDir, nullptr) << number;
        EXPECT_EQ(driveDir == before, met) << number;
    }
}

TEST_F(OutOfMemoryTest, AProgramThatCannotBeStartedHasItsResult) {
    allocations_arm(1, true);
    const int waited = execute_command("true");
    const int left_running = execute_command_nowait("true");
    EXPECT_GT(allocations_disarm(), 0);
    EXPECT_EQ(waited, 1);
    EXPECT_EQ(left_running, 0);
}

TEST_F(OutOfMemoryTest, ScriptsComeBack) {
    for (const char *script :
         {"WRITE \"Hello \" ; %FULL_NAME ; \"4\" + \"5\"\n", "SET MEMORY_FAULT_TEST = \"%2 and a longer text\"\n",
          "IF MEMBER OF \"Staff\" AND VALUE \"5\" > \"3\" THEN\nWRITE a-b\nELSE\nWRITE %<HOME>\nEND\n",
          "GOTO THERE-IS\nWRITE \"x\"\n:THERE-IS\nWRITE \"y\"\n", "FOO BAR\nWRITE \"next\"\n",
          "SHIFT 2\nCX OU=a.O = b\n", "INCLUDE .jdoe.sales.acme\nDISPLAY jdoe\n",
          "DISPLAY SYS:LOGIN/X.TXT\nDISPLAY srv1/sys:LOGIN\\X.TXT\n",
          "DISPLAY \\\\SRV1\\SYS\\LOGIN\\X.TXT\nDISPLAY F:X\nDISPLAY .USERVOL:X\n", "DRIVE g:\nPROFILE a-b\n",
          "MAP ROOT G:=%FULL_NAME\n", "LASTLOGINTIME\nDEBUG 0\nFIRE PHASER 3 TIMES\n", "GOTO IF\nIF ) THEN\nEND\n",
          "GOTO A-LONG-LABEL-THAT-IS-NOWHERE\n", "#map x\n", "TREE ACME_TREE/jdoe.sales.acme;secret\n",
          "ATTACH SRV1\n"})
        sweep_script(script);
}

TEST_F(OutOfMemoryTest, NoStatementIsPassedOverInSilence) {
    const auto whole = [](const std::string &printed) {
        return [printed](const std::string &outcome) {
            if (outcome[0] == '0') {
                EXPECT_THAT(outcome, HasSubstr(printed));
            }
            EXPECT_EQ(condindex, 0);
        };
    };
    sweep_script("#program\nMAP H:=SRV1/SYS:\n", whole("program ran\nmap map H:=SRV1/SYS:"));
    const std::string text(50, 't');
    sweep_script("WRITE \"" + text + "\"\n", whole(text + "\n"));
    sweep_script("SET MEMORY_FAULT_TEST=\"" + text + "\"\n", [&](const std::string &) {
        const std::string assigned = shown(getenv("MEMORY_FAULT_TEST"));
        EXPECT_THAT(assigned, AnyOf("(null)", text)); // setenv's own failure is not looked at
    });
}

TEST_F(OutOfMemoryTest, AWholeLoginComesBack) {
    uint32_t result = 0;
    std::string tree = "acme_tree", user = "jdoe", password = "a password of some length";
    const auto login = [&] {
        QrtRunScriptsArgs args = {};
        args.treename = tree.data();
        args.user = user.data();
        args.password = password.data();
        // The run lets go of the one before without freeing it.
        session_replace(InitialContext, nullptr);
        const int keep = dup(0);
        result = qrt_RunScripts(&args);
        dup2(keep, 0);
        close(keep);
    };
    sweep(login, [&] { return std::to_string(result) + output(); });
}

TEST_F(OutOfMemoryTest, ALabelIsThenNotFound) {
    start();
    lex_addBuffer("x\n:A-LABEL-OF-SOME-LENGTH\ny\n");
    int result = 0;
    sweep([&] { result = lex_goto("A-LABEL-OF-SOME-LENGTH"); }, [&] { return std::to_string(result); });
}

TEST_F(OutOfMemoryTest, TheTokenizersReadersHaveNoTextThen) {
    start();
    end_of_line = wholeline = 0;
    const std::string word(lex_max_word, 'w');
    ASSERT_EQ(lex_addBuffer((word + "\" rest").c_str()), 0);
    const auto again = [](auto read) {
        return [read] {
            lex_activeBuffer()->readPos = 0;
            return read(lex_activeBuffer());
        };
    };
    for (auto *read : {lex_gettoken, lex_line, lex_line_fetch, lex_quotestring}) {
        sweep_text(again(read), is_null);
        EXPECT_THAT(taken(again(read)()), StartsWith(word));
    }
}

TEST_F(OutOfMemoryTest, TheTokenizerThenReturnsTheEndAndTheParserItsOwnResult) {
    start();
    ASSERT_EQ(lex_addBuffer("WORD\n"), 0);
    allocations_arm(1, true);
    const int token = yylex();
    lex_activeBuffer()->readPos = 0;
    const int parsed = yyparse();
    EXPECT_GT(allocations_disarm(), 0);
    EXPECT_EQ(token, 0);
    EXPECT_EQ(parsed, 2);
    EXPECT_EQ(output(), "memory exhausted\nScript error.\nThe original line was:\nWORD\n\n");
}

// The list of what is being included takes memory of its own, before the text does.
TEST_F(OutOfMemoryTest, WithoutMemoryNothingIsIncluded) {
    start();
    lex_addBuffer("old\n");
    for (const int allocation : {1, 2, 1, 2}) {
        allocations_arm(allocation, false);
        EXPECT_EQ(lex_IncludeFile("new"), 0);
        EXPECT_GT(allocations_disarm(), 0);
        EXPECT_EQ(output(), "memory exhausted") << allocation;
        EXPECT_STREQ(lex_activeBuffer()->data, "old\n");
    }
}

TEST_F(OutOfMemoryTest, AScriptThatCannotBeTakenInSaysSo) {
    start();
    for (const bool for_good : {false, true}) {
        allocations_arm(1, for_good);
        const int result = parsescript_Run("WRITE \"x\"\n", nullptr, handle);
        EXPECT_GT(allocations_disarm(), 0);
        EXPECT_EQ(result, 1);
        EXPECT_EQ(output(), "memory exhausted");
    }
}

// The allocations behind the question for the user are those that keep the user's name.
TEST_F(RunSequenceTest, ALoginRunsNoScriptForAUserThatCouldNotBeKept) {
    setvbuf(stream_, nullptr, _IONBF, 0);
    keeps_snapshots_ = false;
    int reported = 0;
    for (long at = 1; at <= 12; at++) {
        SCOPED_TRACE(at);
        declare_network();
        args_.user = hold("jdoe");
        const uint32_t result = run_all([at] {
            spy::on_call([at](const std::string &call) {
                if (call.rfind("ZKDSWhoAmI", 0) == 0) allocations_arm(at, false);
            });
        });
        allocations_disarm();
        EXPECT_THAT(spy::calls("ZKDSOpenStream"), Each(Not(HasSubstr("null"))));
        if (printed_.find("memory exhausted") == std::string::npos) continue;
        EXPECT_EQ(result, 1U);
        // Without the name no script is looked for; with it the user's is, whatever ran out of memory meanwhile.
        if (spy::calls("ZKDSOpenStream").empty())
            reported++;
        else
            EXPECT_THAT(spy::calls("ZKDSOpenStream"), Contains(HasSubstr("\"jdoe.OU=sales.O=acme\"")));
    }
    EXPECT_GT(reported, 0);
}

} // namespace
