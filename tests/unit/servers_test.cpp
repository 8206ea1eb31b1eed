#include "directory/servers.h"

#include "tests/unit/session_fixture.h"

namespace {

class ServersTest : public SessionTest {
  protected:
    ServersTest() {
        spy::tree("ACME_TREE", "SRV1");
        spy::server("SRV2", "ACME_TREE");
    }
};

class CheckAuthServerTest : public ServersTest {
  protected:
    uint32_t check(const char *server) {
        char untouched = 0;
        char *tree = &untouched;
        const uint32_t code = qrt_CheckAuthServer(text(server).get(), &tree);
        tree_ = tree == &untouched ? "(untouched)" : taken(tree);
        return code;
    }
    std::string tree_;
};

TEST_F(CheckAuthServerTest, AnOpenConnectionIsFoundAndOtherwiseOneIsOpened) {
    spy::authenticated("SRV1");
    EXPECT_EQ(check("SRV1"), 0U);
    EXPECT_EQ(tree_, "ACME_TREE");
    const std::string scan = "ZKCCScanConnInfo(iter 0, 7, \"SRV1\", 11, 1, 0, null)",
                      state = "ZKCCGetConnInfo(101, 1, 4)", tree = "ZKCCGetConnInfo(101, 4, 33)";
    EXPECT_THAT(spy::calls(), ElementsAre(scan, "ZKCCOpenConnByName(0, \"SRV1\", 2, 1, 32768)", state, tree));
    spy::forget_calls();
    EXPECT_EQ(check("SRV1"), 0U);
    EXPECT_EQ(tree_, "ACME_TREE");
    EXPECT_THAT(spy::calls(), ElementsAre(scan, state, tree));
}

TEST_F(CheckAuthServerTest, AnUnreadableStateClosesTheConnection) {
    spy::fail("ZKCCGetConnInfo", 0x8801);
    EXPECT_EQ(check("SRV1"), 0x8801U);
    EXPECT_EQ(spy::calls().back(), "ZKCCCloseConn(101)");
    EXPECT_EQ(output(), "");
    expect_traces({"ZKCCGetConnInfo: 8801"}, [this] { check("SRV1"); });
}

TEST_F(CheckAuthServerTest, AnUnauthenticatedConnectionIs1AndAnUnknownServerReported) {
    EXPECT_EQ(check("SRV1"), 1U);
    EXPECT_EQ(spy::calls().back(), "ZKCCGetConnInfo(101, 1, 4)");
    EXPECT_EQ(output(), "");
    EXPECT_EQ(check("NOWHERE"), 0x8847U);
    EXPECT_EQ(output(), "Server not Found:NOWHERE\n");
}

TEST_F(CheckAuthServerTest, AnUnreadableTreeIsNull) {
    spy::authenticated("SRV1");
    spy::fail_nth("ZKCCGetConnInfo", 2, 0x8801);
    EXPECT_EQ(check("SRV1"), 0U);
    EXPECT_EQ(tree_, "(null)");
    EXPECT_THAT(spy::calls("ZKCCCloseConn"), IsEmpty());
}

TEST_F(CheckAuthServerTest, AFullTreeNameIsKeptWhole) {
    spy::authenticated("SRV1");
    spy::connection_answer(ZK_INFO_TREE_NAME, std::string(32, 'T') + '\0');
    check("SRV1");
    EXPECT_EQ(tree_, std::string(32, 'T'));
    spy::connection_answer(ZK_INFO_TREE_NAME, std::string(64, 'T'));
    check("SRV1");
    EXPECT_EQ(tree_, std::string(32, 'T')) << "without its end";
}

TEST_F(CheckAuthServerTest, TheScanIsTraced) {
    expect_traces({"ZKCCScanConnInfo() returned 8847"}, [this] { check("NOWHERE"); });
    spy::fail("ZKCCScanConnInfo", 0xAB12);
    EXPECT_THAT(trace_texts(6, [this] { check("SRV1"); }), Contains("ZKCCScanConnInfo() returned AB12"));
}

TEST_F(ServersTest, TheServerBecomesThePrimaryOneAsItSpellsItself) {
    EXPECT_EQ(qrt_SetServer(handle, "srv1"), 0U);
    EXPECT_EQ(output(), "You are attached to server SRV1\n");
    EXPECT_STREQ(uservars[0], "SRV1") << "as the server spells itself";
    EXPECT_THAT(spy::calls(),
                ElementsAre("ZKCCOpenConnByName(0, \"srv1\", 32768, 1, 32768)", "ZKCCGetConnInfo(101, 7, 49)",
                            "ZKCCSetPrimConn(101)", "ZKDSSetContext(77, DCK_LAST_CONNECTION, 101)"));
    qrt_SetUserVar(0, "srv1");
    EXPECT_EQ(qrt_SetServer(handle, uservars[0]), 0U);
    EXPECT_STREQ(uservars[0], "SRV1");
    spy::connection_answer(ZK_INFO_SERVER_NAME, std::string(200, 'S'));
    EXPECT_EQ(qrt_SetServer(handle, "SRV1"), 0U);
    EXPECT_EQ(std::string(uservars[0]), std::string(48, 'S'));
}

TEST_F(ServersTest, AServerThatCannotBeSetIsReported) {
    qrt_SetUserVar(0, "OLD");
    EXPECT_EQ(qrt_SetServer(handle, nullptr), 1U);
    EXPECT_EQ(output(), "Unable to set primary connection: 1\n");
    EXPECT_STREQ(uservars[0], "OLD");
    EXPECT_THAT(spy::calls(), IsEmpty());
    qrt_SetUserVar(0, "OLD");
    EXPECT_EQ(qrt_SetServer(handle, "NOWHERE"), 0x8847U);
    EXPECT_EQ(output(), "Unable to set primary connection: 8847\n");
    EXPECT_STREQ(uservars[0], "NOWHERE");
    EXPECT_THAT(spy::call_names(), ElementsAre("ZKCCOpenConnByName"));
}

TEST_F(ServersTest, AServerThatDoesNotTellItsNameIsReported) {
    spy::fail("ZKCCGetConnInfo", 0x8801);
    EXPECT_EQ(qrt_SetServer(handle, "srv1"), 0x8801U);
    EXPECT_EQ(output(), "Unable to set primary connection: 8801\n");
    EXPECT_STREQ(uservars[0], "srv1");
    EXPECT_THAT(spy::calls("ZKCCSetPrimConn"), IsEmpty());
}

TEST_F(ServersTest, TheContextsResultReplacesTheConnections) {
    spy::fail("ZKCCSetPrimConn", 0x8808);
    EXPECT_EQ(qrt_SetServer(handle, "SRV1"), 0U);
    EXPECT_EQ(output(), "You are attached to server SRV1\n");
    EXPECT_EQ(qrt_SetServer(0, "SRV1"), 0x8808U) << "without a handle the connection's result counts";
    EXPECT_EQ(output(), "Unable to set primary connection: 8808\n");
    spy::mend();
    spy::fail("ZKDSSetContext", 0xFFFFFEB8);
    EXPECT_EQ(qrt_SetServer(handle, "SRV1"), 0xFFFFFEB8U);
    EXPECT_EQ(output(), "Unable to set primary connection: FFFFFEB8\n");
    EXPECT_THAT(spy::calls("ZKCCCloseConn"), IsEmpty()) << "successful connections stay open";
}

TEST_F(ServersTest, SettingTheServerIsTraced) {
    expect_traces({"entering qrt_SetServer(srv1)", "ZKCCSetPrimConn on SRV1 0",
                   "ZKDSSetContext(DCK_LAST_CONNECTION, to server (SRV1) = 0"},
                  [] { qrt_SetServer(handle, "srv1"); });
    const auto refused = [] {
        spy::fail("ZKCCSetPrimConn", 0xAB12);
        spy::fail("ZKDSSetContext", 0xCD34);
        qrt_SetServer(handle, "srv1");
        spy::mend();
    };
    expect_traces({"ZKCCSetPrimConn on SRV1 ab12", "ZKDSSetContext(DCK_LAST_CONNECTION, to server (SRV1) = cd34"},
                  refused);
    expect_traces({"qrt_Getctx FAILED to get context. Default server connection may not be set"},
                  [] { qrt_SetServer(0, "srv1"); });
}

class AttachTest : public ServersTest {
  protected:
    AttachTest() { spy::keep_prompt_texts(); }
    ~AttachTest() override {
        for (const auto &[user, password] : spy::prompt_texts()) {
            free(user);
            free(password);
        }
    }
    static uint32_t attach(const char *server) { return qrt_Attach(text(server).get()); }
};

TEST_F(AttachTest, AnUnknownOrMissingServerIsReported) {
    EXPECT_EQ(qrt_Attach(nullptr), 1U);
    EXPECT_EQ(output(), "Server not definded:(null)\n");
    EXPECT_THAT(spy::calls(), IsEmpty());
    EXPECT_EQ(attach("NOWHERE"), 0x8847U);
    EXPECT_EQ(output(), "Server not Found:NOWHERE\n");
}

TEST_F(AttachTest, AnUnreadableStateClosesTheConnection) {
    spy::fail("ZKCCGetConnInfo", 0x8801);
    EXPECT_EQ(attach("SRV1"), 0x8801U);
    EXPECT_THAT(spy::calls(), ElementsAre("ZKCCOpenConnByName(0, \"SRV1\", 2, 1, 32768)", "ZKCCGetConnInfo(101, 1, 4)",
                                          "ZKCCCloseConn(101)"));
    EXPECT_EQ(output(), "");
}

TEST_F(AttachTest, AnAuthenticatedServerNeedsNothing) {
    spy::authenticated("SRV1");
    EXPECT_EQ(attach("SRV1"), 0U);
    EXPECT_EQ(output(), "");
    EXPECT_THAT(spy::call_names(), ElementsAre("ZKCCOpenConnByName", "ZKCCGetConnInfo"));
}

TEST_F(AttachTest, TheDirectoryLoginAuthenticatesWithoutAPrompt) {
    spy::logged_in("jdoe.acme");
    EXPECT_EQ(attach("SRV1"), 0U);
    EXPECT_EQ(output(), "");
    EXPECT_THAT(spy::calls(), ElementsAre("ZKCCOpenConnByName(0, \"SRV1\", 2, 1, 32768)", "ZKCCGetConnInfo(101, 1, 4)",
                                          "ZKCLXInit(null, null)", "ZKDSCreateContextHandle()",
                                          "ZKDSAuthenticateConnEx(1, 101)", "ZKCCGetConnInfo(101, 1, 4)"));
    EXPECT_EQ(spy::open_contexts(), 1) << "the handle is not freed";
    EXPECT_STREQ(getenv("TOLAN_USE_BRUNE"), "0");
}

TEST_F(AttachTest, OtherwiseTheUserIsAskedOnTheTerminalOrInWindows) {
    for (const std::string call : {"auxlogin_c", "auxlogin_g"}) {
        g_useGUI = call == "auxlogin_g" ? 1 : 0;
        spy::authenticated("SRV1", false);
        spy::forget_calls();
        spy::account("jdoe", "right");
        spy::prompt_answer("jdoe", "right");
        EXPECT_EQ(attach("SRV1"), 0U);
        EXPECT_EQ(output(), "Server not authenticated - login to server:SRV1\n");
        EXPECT_THAT(spy::calls(call), ElementsAre(call + "(\"(server) SRV1\", \"<username>\")"));
        EXPECT_THAT(spy::calls(g_useGUI ? "auxlogin_c" : "auxlogin_g"), IsEmpty());
        EXPECT_THAT(spy::calls().back(), EndsWith(", \"jdoe\", 256, \"right\")"));
        EXPECT_THAT(spy::calls("ZKCCCloseConn"), IsEmpty());
    }
}

TEST_F(AttachTest, ThereIsNoLimitToWrongPasswords) {
    spy::account("jdoe", "right");
    for (const char *password : {"wrong", "Right", "", "right"}) spy::prompt_answer("jdoe", password);
    EXPECT_EQ(attach("SRV1"), 0U);
    const std::string refused = "Unable to authenticate to server:SRV1 (FFFFE001)\n";
    EXPECT_EQ(output(), "Server not authenticated - login to server:SRV1\n" + refused + refused + refused);
    EXPECT_EQ(spy::calls("auxlogin_c").size(), 4U);
    spy::account("jdoe", "right");
    for (int attempt = 0; attempt < 500; attempt++) spy::prompt_answer("jdoe", "wrong");
    spy::prompt_answer("jdoe", "right");
    EXPECT_EQ(attach("SRV1"), 0U);
}

TEST_F(AttachTest, ACancelledPromptClosesTheConnectionWhateverItsCode) {
    spy::account("jdoe", "right");
    spy::prompt_answer("jdoe", "wrong");
    spy::prompt_cancel();
    EXPECT_EQ(attach("SRV1"), 1U);
    EXPECT_EQ(spy::calls().back(), "ZKCCCloseConn(101)");
    output();
    for (const uint32_t answer : {2U, 55U, 0xFFFFFFFFU}) {
        spy::fail("auxlogin_c", answer);
        EXPECT_EQ(attach("SRV1"), 1U) << answer;
        EXPECT_EQ(spy::call_names().back(), "ZKCCCloseConn") << answer;
        EXPECT_EQ(output(), "Server not authenticated - login to server:SRV1\n") << answer;
    }
}

TEST_F(AttachTest, NameAndPasswordAreWipedButNotFreed) {
    spy::account("jdoe", "right");
    spy::prompt_answer("jdoe", "wrong");
    spy::prompt_answer("jdoe", "right");
    attach("SRV1");
    for (const char *secret : {"jdoe", "wrong", "right"}) EXPECT_THAT(wipe_watch::wiped(), Contains(secret));
    ASSERT_EQ(spy::prompt_texts().size(), 2U);
    for (const auto &[user, password] : spy::prompt_texts()) {
        EXPECT_EQ(std::string(user, 5), std::string(5, '\0'));
        EXPECT_EQ(std::string(password, 6), std::string(6, '\0'));
    }
}

TEST_F(AttachTest, TheEnvironmentIsSetBeforeTheClientStartsAndNotOverwritten) {
    std::string seen;
    spy::on_call([&seen](const std::string &call) {
        if (call == "ZKCLXInit(null, null)") seen = shown(getenv("TOLAN_USE_BRUNE"));
    });
    attach("SRV1");
    EXPECT_EQ(seen, "0");
    setenv("TOLAN_USE_BRUNE", "1", 1);
    attach("SRV1");
    EXPECT_STREQ(getenv("TOLAN_USE_BRUNE"), "1");
}

TEST_F(AttachTest, AnAuthenticationWithoutEffectAsksTheUser) {
    const std::function<void()> rows[] = {
        [] { spy::connection_answer(ZK_INFO_AUTHENTICATION_STATE, std::string(4, '\0')); },
        [] { spy::fail_nth("ZKCCGetConnInfo", 2, 0x8801); }, [] { spy::fail("ZKDSCreateContextHandle", 0xFFFFFEB8); }};
    for (const auto &prepare : rows) {
        spy::reset();
        spy::tree("ACME_TREE", "SRV1");
        spy::logged_in("jdoe.acme");
        prepare();
        EXPECT_EQ(attach("SRV1"), 1U) << "nobody answers the prompt";
        EXPECT_THAT(spy::calls("ZKDSAuthenticateConnEx"), SizeIs(&prepare == &rows[2] ? 0 : 1));
        EXPECT_EQ(spy::calls("auxlogin_c").size(), 1U);
        EXPECT_EQ(output(), "Server not authenticated - login to server:SRV1\n");
    }
}

TEST_F(AttachTest, AttachingIsTraced) {
    const auto ask = [] {
        spy::prompt_answer("jdoe", "clear");
        attach("SRV1");
        spy::authenticated("SRV1", false);
    };
    expect_traces({"qrt_attach username(jdoe)password(clear)", "ZKDSAuthenticateConnEx ccode:FFFFE003",
                   "check if authent_state:0"},
                  ask);
    const auto by_login = [] {
        spy::logged_in("jdoe.acme");
        attach("SRV1");
        spy::authenticated("SRV1", false);
    };
    expect_traces({"ZKDSAuthenticateConnEx ccode:0", "ZKCCGetConnInfo  ccode:0", "check if authent_state:1"}, by_login);
    spy::fail("ZKCCGetConnInfo", 0xAB12);
    expect_traces({"ZKCCGetConnInfo: ab12"}, [] { attach("SRV1"); });
    const auto unreadable = [] {
        spy::mend();
        spy::fail_nth("ZKCCGetConnInfo", static_cast<int>(spy::calls("ZKCCGetConnInfo").size()) + 2, 0xAB12);
        attach("SRV1");
        spy::authenticated("SRV1", false);
    };
    expect_traces({"ZKCCGetConnInfo  ccode:AB12"}, unreadable);
}

} // namespace
