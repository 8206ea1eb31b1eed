#include "run/run_sequence.h"

#include <set>
#include <thread>

#include "tests/unit/run_sequence_fixture.h"

namespace {

constexpr uint32_t no_tree = 0xF001;
constexpr uint32_t no_user = 0xF003;

TEST_F(RunSequenceTest, AllScriptsRunInTheirOrder) {
    spy::stream("OU=sales.O=acme", "WRITE \"container\"");
    spy::text_attribute("jdoe.OU=sales.O=acme", "Profile", {"staff.acme"});
    spy::stream("staff.acme", "WRITE \"profile\"");
    spy::stream("jdoe.OU=sales.O=acme", "WRITE \"user\"");
    EXPECT_EQ(run_all(), 0U);
    EXPECT_EQ(printed_, std::string("Your current tree is: ACME_TREE\n"
                                    "Your current context is: OU=sales.O=acme\n"
                                    "User: jdoe\n"
                                    "You are attached to server SRV1\n"
                                    "container\nprofile\nuser\n") +
                            '\0');
    EXPECT_EQ(spy::open_contexts(), 0);
}

// The steps of a run with a server and a profile; what each asks the client for is checked by the tests of its module.
TEST_F(RunSequenceTest, TheStepsComeInThisOrder) {
    spy::server("SRV3", "ACME_TREE");
    spy::authenticated("SRV3");
    spy::text_attribute("jdoe.OU=sales.O=acme", "Profile", {"staff.acme"});
    for (const char *object : {"OU=sales.O=acme", "staff.acme", "jdoe.OU=sales.O=acme"}) spy::stream(object, "");
    args_.server = hold("srv3");
    EXPECT_EQ(run_all(), 0U);
    const std::set<std::string> parts = {
        "ZKCCGetConnInfo",       "ZKCLXInit",       "ZKDSSetContext", "ZKDSAbbreviateName",
        "ZKDSGetContext",        "ZKCCLicenseConn", "ZKReadFile",     "ZKCloseFile",
        "ZKCCUnlicenseConn",     "ZKDSAllocBuf",    "ZKDSInitBuf",    "ZKDSGetAttrCount",
        "ZKDSGetAttrName",       "ZKDSGetAttrVal",  "ZKDSFreeBuf",    "ZKDSRead",
        "ZKDSComputeAttrValSize"};
    std::vector<std::string> steps;
    for (const std::string &call : spy::calls())
        if (parts.count(call.substr(0, call.find('('))) == 0) steps.push_back(call.substr(2));
    const std::string tree = "32768, 1, 32768)", server = "2, 1, 32768)", script = ", \"Login Script\", 0)";
    EXPECT_THAT(steps, ElementsAre("CallsInit(null, null)", "CCOpenConnByName(0, \"acme_tree\", " + tree,
                                   "CCOpenConnByName(0, \"ACME_TREE\", " + tree, "SetPreferredDSTree(9, \"ACME_TREE\")",
                                   "CallsInit(null, null)", "DSCreateContextHandle()",
                                   "CCOpenConnByName(0, \"ACME_TREE\", " + tree, "DSWhoAmI(1)",
                                   "CCScanConnInfo(iter 0, 7, \"srv3\", 11, 1, 0, null)",
                                   "CCOpenConnByName(0, \"srv3\", " + server, "CCOpenConnByName(0, \"srv3\", " + tree,
                                   "CCSetPrimConn(105)", "DSReadObjectInfo(1, \"jdoe.OU=sales.O=acme\")",
                                   "DSOpenStream(1, \"OU=sales.O=acme\"" + script,
                                   "DSPutAttrName(1, buf1, \"Profile\")", "DSOpenStream(1, \"staff.acme\"" + script,
                                   "DSOpenStream(1, \"jdoe.OU=sales.O=acme\"" + script, "DSFreeContext(1)"));
}

TEST_F(RunSequenceTest, TheSessionIsFilled) {
    args_.password = hold("secret");
    args_.userGUI = 7;
    char *QrtRunScriptsArgs::*const fields[] = {&QrtRunScriptsArgs::userVar2, &QrtRunScriptsArgs::userVar3,
                                                &QrtRunScriptsArgs::userVar4, &QrtRunScriptsArgs::userVar5};
    for (int i = 0; i < 4; i++) args_.*fields[i] = hold(std::to_string(i));
    run_all();
    const Snapshot &session = before_.back();
    EXPECT_EQ(std::tie(session.object, session.login, session.context, session.initial, session.tree, session.password,
                       session.variables, session.alias, session.gui),
              std::make_tuple("jdoe", "jdoe", ".OU=sales.O=acme", ".OU=sales.O=acme", "ACME_TREE", "secret",
                              "SRV1jdoe0123----", "N", 7));
    EXPECT_STREQ(getenv("TOLAN_USE_BRUNE"), "0");
}

TEST_F(RunSequenceTest, TheSessionIsEndedButTheEnvironmentStays) {
    setenv("TOLAN_USE_BRUNE", "1", 1);
    args_.password = hold("secret");
    run_all();
    EXPECT_STREQ(getenv("TOLAN_USE_BRUNE"), "1");
    for (const char *global : {CurrentContext, CurrentObject, CurrentTree, InitialContext, LoginName, CurrentPassword})
        EXPECT_EQ(global, nullptr);
    EXPECT_EQ(variables(), "----------");
    EXPECT_EQ(last_.password, "(null)") << "wiped before the context is freed";
    EXPECT_THAT(wipe_watch::wiped(), Contains("secret"));
    EXPECT_STREQ(args_.password, "secret") << "the caller's own stays";
}

TEST_F(RunSequenceTest, TheEnvironmentIsSetBeforeTheClientStarts) {
    std::vector<std::string> seen;
    args_.treename = nullptr; // the run ends before its session does
    qrt_init(nullptr, stream_);
    spy::on_call([&](const std::string &) { seen.push_back(shown(getenv("TOLAN_USE_BRUNE"))); });
    EXPECT_EQ(qrt_RunScripts(&args_), no_tree);
    spy::on_call(nullptr);
    EXPECT_THAT(seen, ElementsAre("0"));
}

TEST_F(RunSequenceTest, TheClientsStartIsNotChecked) {
    spy::fail_nth("ZKCallsInit", 1, 0x1234);
    EXPECT_EQ(run_all(), 0U);
    EXPECT_EQ(scripts(), "map ran\n");
}

// Far more than fits into a pipe.
TEST_F(RunSequenceTest, TheReaderDrainsThePipeWhileTheScriptsRun) {
    const std::string line(1000, 'x');
    std::string script;
    for (int i = 0; i < 300; i++) script += "WRITE \"" + line + "\"\n";
    args_.loginScript = file("login", script);
    ASSERT_EQ(qrt_init(nullptr, nullptr), 0);
    FILE *const pipe = fdr;
    std::vector<std::string> lines;
    std::thread reader([&lines] {
        char *text = nullptr;
        while (qrt_ReadResults(&text) == 0) lines.push_back(taken(text));
    });
    EXPECT_EQ(qrt_RunScripts(&args_), 0U);
    reader.join();
    ASSERT_EQ(lines.size(), 304U);
    EXPECT_EQ(lines[0], "Your current tree is: ACME_TREE");
    for (size_t i = 4; i < lines.size(); i++) EXPECT_EQ(lines[i], line);
    close(fd[0]);
    fclose(pipe);
}

TEST_F(RunSequenceTest, ASecondSessionRunsLikeTheFirst) {
    run_all();
    const std::string first = printed_;
    run_all();
    EXPECT_EQ(printed_, first);
}

TEST_F(RunSequenceTest, DefaultScriptsAreReplacedByNullInTheRecord) {
    args_.profileScript = hold("<DEFAULT>");
    args_.loginScript = hold("<DEFAULT>");
    run_all();
    EXPECT_EQ(args_.profileScript, nullptr);
    EXPECT_EQ(args_.loginScript, nullptr);
    const std::string with_default = printed_;
    declare_network();
    run_all();
    EXPECT_EQ(printed_, with_default);
}

TEST_F(RunSequenceTest, OnlyTheExactWordIsTheDefault) {
    for (const char *word : {"<default>", "<DEFAULT> ", "DEFAULT", ""}) {
        SCOPED_TRACE(word);
        args_.profileScript = hold(word);
        args_.loginScript = hold(word);
        EXPECT_EQ(run_all(), 0U);
        EXPECT_STREQ(args_.profileScript, word);
        EXPECT_STREQ(args_.loginScript, word);
        EXPECT_EQ(scripts(), "Unable to read file (" + std::string(word) + ")\n") << "nothing about the profile's";
    }
}

TEST_F(RunSequenceTest, TheRequestIsTraced) {
    const auto request = [this] {
        args_ = {};
        args_.userVar2 = hold("v2");
        args_.userVar3 = hold("v3");
        args_.userVar4 = hold("v4");
        args_.userVar5 = hold("v5");
        args_.treename = hold("acme_tree");
        args_.server = hold("SRV1");
        args_.context = hold("O=acme");
        args_.user = hold("jdoe");
        args_.profileScript = hold("<DEFAULT>");
        args_.loginScript = hold("<DEFAULT>");
        args_.userGUI = 3;
        args_.password = hold("s3cret");
        trace_level_ = debug_level;
        declare_network();
        run_all();
    };
    const std::vector<std::string> rows = {
        "User Variable2 is: v2",       "User Variable3 is: v3",     "User Variable4 is: v4", "User Variable5 is: v5",
        "treename is: acme_tree",      "server is: SRV1",           "context is: O=acme",    "user is: jdoe",
        "profileScript is: <DEFAULT>", "loginScript is: <DEFAULT>", "userGUI is: 3"};
    expect_traces(rows, request);
    const std::vector<std::string> texts = trace_texts(5, request);
    ASSERT_GE(texts.size(), rows.size());
    for (size_t i = 0; i < rows.size(); i++) EXPECT_EQ(texts[i], rows[i]) << "in this order";
    EXPECT_THAT(traces(9, request), Not(HasSubstr("s3cret")));
}

TEST_F(RunSequenceTest, TheStepsAreTraced) {
    const auto step = [this](const std::function<void()> &prepare) {
        return [this, prepare] {
            trace_level_ = debug_level;
            args_ = {};
            args_.treename = hold("acme_tree");
            args_.user = hold("jdoe");
            declare_network();
            prepare();
            run_all();
        };
    };
    expect_traces(
        {"real treename is: ACME_TREE", "Current logged in user: CN=jdoe.OU=sales.O=acme",
         "Now Process Container script", "Could not open/read container script", "Now Process user's Profile script",
         "object for profile: jdoe.OU=sales.O=acme", "Now Process User's Login script: jdoe.OU=sales.O=acme",
         "Now Process User's \"default\" Login script"},
        step([] {}));
    expect_traces({"TreeName from server (ACME_TREE)"}, step([this] {
                      args_.treename = nullptr;
                      args_.server = hold("SRV1");
                  }));
    expect_traces({"Now Process User's Login script (/nowhere/x)"},
                  step([this] { args_.loginScript = hold("/nowhere/x"); }));
    expect_traces({"using alias context, old (.sales), new (.OU=sales.O=acme)"},
                  step([this] { args_.user = hold("jdoe.sales"); }));
}

TEST_F(RunSequenceTest, WithoutATreeAndAServerNothingRuns) {
    args_.treename = nullptr;
    args_.password = hold("secret");
    EXPECT_EQ(run_all(), no_tree);
    EXPECT_EQ(printed_, "No Treename defined\n") << "and no end marker";
    EXPECT_STREQ(CurrentPassword, "secret") << "the session is left as it stands";
    EXPECT_THAT(spy::call_names(), ElementsAre("ZKCallsInit"));
    args_.treename = hold("NOWHERE");
    EXPECT_EQ(run_all(), no_tree);
    EXPECT_EQ(printed_, "No Treename defined\n");
}

TEST_F(RunSequenceTest, TheServersTreeServesWhenTheTreeIsUnknown) {
    for (char *tree : {static_cast<char *>(nullptr), hold("NOWHERE")}) {
        declare_network();
        args_.treename = tree;
        args_.server = hold("SRV1");
        EXPECT_EQ(run_all(), 0U);
        EXPECT_THAT(printed_, StartsWith("Your current tree is: ACME_TREE\n"));
        EXPECT_EQ(spy::open_contexts(), 0);
    }
}

TEST_F(RunSequenceTest, AContextIsMadeBeforeTheServerIsAsked) {
    args_.treename = nullptr;
    args_.server = hold("NOWHERE");
    EXPECT_EQ(run_all(), no_tree);
    EXPECT_THAT(spy::call_names(), ElementsAre("ZKCallsInit", "ZKCallsInit", "ZKCLXInit", "ZKDSCreateContextHandle",
                                               "ZKDSSetContext", "ZKCCOpenConnByName"));
    EXPECT_THAT(spy::calls("ZKCCOpenConnByName"), ElementsAre(HasSubstr("\"NOWHERE\"")));
}

TEST_F(RunSequenceTest, AKnownTreeComesBeforeTheServers) {
    spy::tree("OTHER_TREE", "SRV2");
    args_.server = hold("SRV2");
    run_all();
    EXPECT_THAT(printed_, StartsWith("Your current tree is: ACME_TREE\n"));
}

TEST_F(RunSequenceTest, WithoutAUserNothingRuns) {
    args_.user = nullptr;
    args_.password = hold("secret");
    EXPECT_EQ(run_all(), no_user);
    EXPECT_EQ(printed_, "Your current tree is: ACME_TREE\n");
    EXPECT_STREQ(CurrentTree, "ACME_TREE");
    EXPECT_STREQ(CurrentPassword, "secret");
    EXPECT_THAT(spy::calls("ZKDSWhoAmI"), IsEmpty());
}

TEST_F(RunSequenceTest, TheUserIsTheDirectorysOrElseTheRequests) {
    const std::string given = "OU=east.O=acme", of_directory = ".OU=sales.O=acme", longer = "jdoe.sales.acme";
    const struct {
        const char *behaviour, *known;
        std::string user, context, object, current, initial, left;
        uint32_t failure = 0;
    } rows[] = {
        {"a plain user who is not logged in is of the context given", "", "jdoe", given, "jdoe", "." + given, given,
         "jdoe"},
        {"without any context it is empty", "", "jdoe", "", "jdoe", "", "", "jdoe"},
        {"one with a context is cut in the record", "", longer, "not consulted", "jdoe", ".sales.acme", ".sales.acme",
         "jdoe"},
        {"the directory's name comes before the request's", "CN=jdoe.OU=sales.O=acme", "somebody.else", "O=other",
         "jdoe", of_directory, of_directory, "somebody.else"},
        {"a name of two characters is no login", "ab", "jdoe", "", "jdoe", "", "", "jdoe"},
        {"one of three is", "abc", "jdoe", "", "abc", ".[Root]", ".[Root]", "jdoe"},
        {"a failed question is no login", "CN=x.O=y", "jdoe", "", "jdoe", "", "", "jdoe", 0x1234},
        {"it is cut at the very first period", "", "j\\.doe.acme", "", "j\\", ".doe.acme", ".doe.acme", "j\\"},
        {"which may be the last", "", "jdoe.", "", "jdoe", ".", ".", "jdoe"},
        {"or the first", "", ".jdoe", "", "", ".jdoe", ".jdoe", ""},
        {"its type stays", "", "CN=jdoe.O=acme", "", "CN=jdoe", ".O=acme", ".O=acme", "CN=jdoe"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.behaviour);
        declare_network();
        spy::logged_in(row.known);
        if (row.failure != 0) spy::fail("ZKDSWhoAmI", row.failure);
        LoginAliasContext[0] = 'N';
        args_.user = hold(row.user);
        args_.context = row.context.empty() ? nullptr : hold(row.context);
        EXPECT_EQ(run_all(), 0U);
        EXPECT_EQ(args_.user, row.left);
        EXPECT_EQ(last_.object, row.object);
        EXPECT_EQ(last_.login, row.object);
        EXPECT_EQ(last_.variables, "SRV1" + row.object + "--------");
        EXPECT_EQ(last_.context, row.current);
        EXPECT_EQ(last_.initial, row.initial);
        const std::string shown = row.current.empty() ? "" : row.current.substr(1);
        EXPECT_THAT(printed_, HasSubstr("Your current context is: " + shown + "\nUser: " + row.object + "\n"));
        const bool known = row.failure == 0 && strlen(row.known) > 2;
        if (!known) {
            EXPECT_EQ(last_.alias, "N") << "no alias can be seen then";
        }
    }
}

TEST_F(RunSequenceTest, AnotherContextThanTheDirectorysIsAnAlias) {
    const std::pair<const char *, const char *> rows[] = {{"jdoe.sales.acme", "Y"},
                                                          {"jdoe.OU=sales.O=acme", "N"},
                                                          {"jdoe.ou=SALES.o=ACME", "N"},
                                                          {"CN=jdoe.OU=sales.O=acme", "N"},
                                                          {"jdoe", "N"},
                                                          {"j\\.doe", "N"},
                                                          {"j\\.doe.OU=sales.O=acme", "N"},
                                                          {"jdoe.", "Y"}};
    for (const auto &[user, alias] : rows) {
        SCOPED_TRACE(user);
        declare_network();
        LoginAliasContext[0] = 'N';
        args_.user = hold(user);
        run_all();
        EXPECT_STREQ(LoginAliasContext, alias);
        EXPECT_EQ(last_.context, ".OU=sales.O=acme");
    }
}

TEST_F(RunSequenceTest, LongNamesAreBounded) {
    const std::string longest(512, 'n');
    // The client itself refuses names beyond its own limit.
    spy::fail("ZKDSAbbreviateName", ZKE_MALFORMED_NAME);
    spy::logged_in(longest);
    run_all();
    EXPECT_EQ(last_.object, longest);
    declare_network();
    spy::logged_out();
    spy::fail("ZKDSAbbreviateName", ZKE_MALFORMED_NAME);
    args_.user = hold(std::string(3000, 'u'));
    run_all();
    EXPECT_EQ(last_.object, std::string(3000, 'u'));
    EXPECT_THAT(printed_, HasSubstr("User: " + std::string(512, 'u') + "\n")) << "what is shown is cut";
}

TEST_F(RunSequenceTest, TheServerIsTheRequestsOrElseTheTreesDefaultOne) {
    const struct {
        const char *behaviour, *tree;
        bool authenticated;
        int failing;
        const char *used;
    } rows[] = {
        {"none is given", nullptr, false, 0, "SRV1"},
        {"one that is not authenticated", "ACME_TREE", false, 0, "SRV2"},
        {"an authenticated one of the tree", "acme_TREE", true, 0, "SRV2"},
        {"an authenticated one of another tree gives way", "OTHER_TREE", true, 0, "SRV1"},
        // Two questions for the tree, one for the context and one for the server's state come first.
        {"so does one whose tree cannot be read", "ACME_TREE", true, 5, "SRV1"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.behaviour);
        declare_network();
        if (row.tree != nullptr) {
            spy::server("SRV2", row.tree);
            spy::authenticated("SRV2", row.authenticated);
            args_.server = hold("srv2");
        }
        if (row.failing != 0) spy::fail_nth("ZKCCGetConnInfo", row.failing, 0x8801);
        EXPECT_EQ(run_all(), 0U);
        EXPECT_THAT(printed_, HasSubstr(std::string("You are attached to server ") + row.used + "\n"));
        EXPECT_THAT(printed_, Not(HasSubstr(row.used == std::string("SRV1") ? "SRV2" : "SRV1")));
        EXPECT_THAT(spy::calls("ZKCCSetPrimConn"), SizeIs(1));
        EXPECT_THAT(spy::calls("ZKCCScanConnInfo"), SizeIs(row.tree == nullptr ? 0 : 1));
    }
}

TEST_F(RunSequenceTest, WithoutAnyServerNoneIsSet) {
    spy::fail_from("ZKCCOpenConnByName", 4, 0x8847);
    EXPECT_EQ(run_all(), 0U);
    EXPECT_THAT(spy::calls("ZKCCSetPrimConn"), IsEmpty());
    EXPECT_THAT(printed_, HasSubstr("User: jdoe\nmap ran\n")) << "and nothing is said about a server";
    EXPECT_EQ(last_.variables[0], '-');
}

TEST_F(RunSequenceTest, AnUnknownServerGivesWayToTheDefaultOne) {
    const std::string unknown = "Unable to set primary connection: 8847\n", none = "Unable to set primary connection: ";
    const auto with = [this](const std::function<void()> &fail) {
        declare_network();
        fail();
        args_.server = hold("NOWHERE");
        EXPECT_EQ(run_all(), 0U);
        return spy::calls("ZKCCSetPrimConn").size();
    };
    EXPECT_EQ(with([] {}), 1U);
    EXPECT_THAT(printed_, HasSubstr("Server not Found:NOWHERE\n" + unknown + "You are attached to server SRV1\n"));
    // The fourth question is for the default server's name: two for the tree and one for the context come first.
    EXPECT_EQ(with([] { spy::fail_nth("ZKCCGetConnInfo", 4, 0x8801); }), 0U);
    EXPECT_THAT(printed_, HasSubstr(unknown + none + "1\n"));
    const auto failing_default = [] {
        spy::fail("ZKCCSetPrimConn", 0x8808);
        spy::fail_from("ZKDSSetContext", 3, 0x8808);
    };
    EXPECT_EQ(with(failing_default), 1U) << "it is not tried again";
    EXPECT_THAT(printed_, HasSubstr(unknown + none + "8808\n"));
}

TEST_F(RunSequenceTest, WhateverCallFailsTheRunEnds) {
    const auto prepare = [this] {
        declare_network();
        spy::authenticated("SRV1");
        spy::stream("OU=sales.O=acme", "WRITE \"container %FULL_NAME\"");
        spy::text_attribute("jdoe.OU=sales.O=acme", "Profile", {"staff.acme"});
        spy::text_attribute("jdoe.OU=sales.O=acme", "Full Name", {"John Doe"});
        spy::stream("staff.acme", "WRITE \"profile\"");
        spy::stream("jdoe.OU=sales.O=acme", "WRITE \"user\"");
        args_.server = hold("SRV1");
        args_.password = hold("secret");
    };
    prepare();
    run_all();
    const int calls = spy::call_count();
    ASSERT_GT(calls, 40);
    for (int number = 1; number <= calls; number++) {
        SCOPED_TRACE(number);
        prepare();
        spy::fail_call(number, 0xFFFFE010);
        EXPECT_EQ(run_all(), 0U);
        EXPECT_EQ(printed_.back(), '\0');
        EXPECT_EQ(CurrentPassword, nullptr);
        EXPECT_THAT(spy::mistakes(), IsEmpty());
        const std::string failed = spy::call_names()[static_cast<size_t>(number) - 1];
        if (failed == "ZKDSFreeBuf" || failed == "ZKCloseFile" || failed == "ZKDSFreeContext") continue;
        EXPECT_EQ(spy::open_buffers(), 0);
        EXPECT_EQ(spy::open_files(), 0);
        EXPECT_EQ(spy::open_contexts(), 0);
    }
}

} // namespace
