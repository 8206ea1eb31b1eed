// The client's calls, whole: for each function every call that it makes, in order and with all arguments. What each
// call is for is told by the tests of the function's own module; here nothing may be added, left out or moved.
#include "commands/file_spec.h"
#include "include/exported.h"
#include "tests/unit/run_sequence_fixture.h"

namespace {

using testing::ElementsAre;

class CallOrderTest : public RunSequenceTest {
  protected:
    CallOrderTest() {
        spy::reset();
        spy::tree("ACME_TREE", "SRV1");
        spy::tree("OTHER_TREE", "SRV2");
        spy::logged_in("CN=jdoe.OU=sales.O=acme");
    }

    // jdoe's session with ACME_TREE, on the context 77.
    static void start_session() {
        CurrentObject = text_copy("jdoe").release();
        CurrentContext = text_copy(".sales.acme").release();
        CurrentTree = text_copy("ACME_TREE").release();
        CurrentPassword = text_copy("kept").release();
        ctx = handle;
        spy::forget_calls();
    }

    static void volume_object(const std::string &name) {
        spy::object(name, "Volume");
        spy::text_attribute(name, "Host Server", {"CN=SRV1.O=acme"});
        spy::text_attribute(name, "Host Resource Name", {"USERS"});
    }

    // One call after the other, those of reading one attribute whose value has `syntax` included.
    class Calls {
      public:
        Calls &add(std::initializer_list<std::string> calls) {
            all_.insert(all_.end(), calls);
            return *this;
        }
        Calls &prepare(int context, const std::string &object, const std::string &attribute) {
            const std::string in = "(" + std::to_string(context) + ", ";
            request_ = "buf" + std::to_string(++buffers_);
            reply_ = "buf" + std::to_string(++buffers_);
            return add({"ZKDSAllocBuf(4096)", "ZKDSAllocBuf(4096)", "ZKDSInitBuf" + in + "3, " + request_ + ")",
                        "ZKDSPutAttrName" + in + request_ + ", \"" + attribute + "\")",
                        "ZKDSRead" + in + "\"" + object + "\", 1, 0, iter -1)"});
        }
        Calls &value(int context, int syntax) {
            const std::string reply = "(" + std::to_string(context) + ", " + reply_;
            const std::string of = ", " + std::to_string(syntax) + ")";
            return add({"ZKDSGetAttrCount" + reply + ")", "ZKDSGetAttrName" + reply + ")",
                        "ZKDSComputeAttrValSize" + reply + of, "ZKDSGetAttrVal" + reply + of});
        }
        Calls &release() { return add({"ZKDSFreeBuf(" + request_ + ")", "ZKDSFreeBuf(" + reply_ + ")"}); }
        Calls &read(int context, const std::string &object, const std::string &attribute, int syntax = 3) {
            return prepare(context, object, attribute).value(context, syntax).release();
        }
        operator std::vector<std::string>() const { return all_; }

      private:
        std::vector<std::string> all_;
        std::string request_, reply_;
        int buffers_ = 0;
    };

    static void expect_calls(const std::vector<std::string> &wanted) { EXPECT_EQ(spy::calls(), wanted); }
};

// ---- the run sequence ----

TEST_F(CallOrderTest, ARunWithAServerAndAProfile) {
    spy::server("SRV3", "ACME_TREE");
    spy::authenticated("SRV3");
    spy::text_attribute("jdoe.OU=sales.O=acme", "Profile", {"staff.acme"});
    for (const char *object : {"OU=sales.O=acme", "staff.acme", "jdoe.OU=sales.O=acme"}) spy::stream(object, "");
    args_.server = hold("srv3");
    EXPECT_EQ(run_all(), 0U);
    const auto script = [](const std::string &object, const std::string &file) {
        std::vector<std::string> calls = {"ZKDSAbbreviateName(1, \"" + object + "\")",
                                          "ZKDSOpenStream(1, \"" + object + "\", \"Login Script\", 0)",
                                          "ZKDSGetContext(1, DCK_LAST_CONNECTION)",
                                          "ZKCCGetConnInfo(105, 10, 4)",
                                          "ZKCCLicenseConn(105)",
                                          "ZKReadFile(" + file + ", 512)",
                                          "ZKCloseFile(" + file + ")",
                                          "ZKCCUnlicenseConn(105)"};
        return calls;
    };
    Calls calls;
    const auto add_all = [&calls](const std::vector<std::string> &more) {
        for (const std::string &call : more) calls.add({call});
    };
    calls.add({"ZKCallsInit(null, null)",
               // the tree
               "ZKCCOpenConnByName(0, \"acme_tree\", 32768, 1, 32768)", "ZKCCGetConnInfo(101, 4, 33)",
               "ZKCCOpenConnByName(0, \"ACME_TREE\", 32768, 1, 32768)", "ZKCCGetConnInfo(102, 4, 33)",
               "ZKSetPreferredDSTree(9, \"ACME_TREE\")",
               // the context
               "ZKCallsInit(null, null)", "ZKCLXInit(null, null)", "ZKDSCreateContextHandle()",
               "ZKDSSetContext(1, DCK_FLAGS, 0x57)", "ZKCCOpenConnByName(0, \"ACME_TREE\", 32768, 1, 32768)",
               "ZKCCGetConnInfo(103, 4, 33)", "ZKDSSetContext(1, DCK_TREE_NAME, \"ACME_TREE\")",
               // the user and the server
               "ZKDSWhoAmI(1)", "ZKCCScanConnInfo(iter 0, 7, \"srv3\", 11, 1, 0, null)",
               "ZKCCOpenConnByName(0, \"srv3\", 2, 1, 32768)", "ZKCCGetConnInfo(104, 1, 4)",
               "ZKCCGetConnInfo(104, 4, 33)", "ZKCCOpenConnByName(0, \"srv3\", 32768, 1, 32768)",
               "ZKCCGetConnInfo(105, 7, 49)", "ZKCCSetPrimConn(105)", "ZKDSSetContext(1, DCK_LAST_CONNECTION, 105)",
               // the scripts
               "ZKDSReadObjectInfo(1, \"jdoe.OU=sales.O=acme\")"});
    add_all(script("OU=sales.O=acme", "301"));
    calls.read(1, "jdoe.OU=sales.O=acme", "Profile");
    add_all(script("staff.acme", "302"));
    add_all(script("jdoe.OU=sales.O=acme", "303"));
    expect_calls(calls.add({"ZKDSFreeContext(1)"}));
}

TEST_F(CallOrderTest, OneMoreScript) {
    start_session();
    EXPECT_EQ(qrt_RunScript("WRITE\n"), 0);
    expect_calls({"ZKCallsInit(null, null)", "ZKCLXInit(null, null)", "ZKDSCreateContextHandle()",
                  "ZKDSSetContext(1, DCK_FLAGS, 0x57)", "ZKCCOpenConnByName(0, \"ACME_TREE\", 32768, 1, 32768)",
                  "ZKCCGetConnInfo(101, 4, 33)", "ZKDSSetContext(1, DCK_TREE_NAME, \"ACME_TREE\")",
                  "ZKDSFreeContext(1)"});
}

// ---- script sources ----

TEST_F(CallOrderTest, AScriptOverACountedConnection) {
    uint32_t connection = 0;
    ZKCCOpenConnByName(0, "SRV1", 2, 1, 0x8000, &connection);
    ZKDSSetContext(handle, DCK_LAST_CONNECTION, &connection);
    spy::abbreviated("jdoe.sales.acme", "jdoe");
    spy::stream("jdoe", std::string(600, 'x'));
    spy::forget_calls();
    char *text = nullptr;
    EXPECT_EQ(qrt_GetLoginScript(handle, "jdoe.sales.acme", &text), 0U);
    EXPECT_EQ(taken(text).size(), 602U);
    expect_calls({"ZKDSAbbreviateName(77, \"jdoe.sales.acme\")", "ZKDSOpenStream(77, \"jdoe\", \"Login Script\", 0)",
                  "ZKDSGetContext(77, DCK_LAST_CONNECTION)", "ZKCCGetConnInfo(101, 10, 4)", "ZKCCLicenseConn(101)",
                  "ZKReadFile(301, 512)", "ZKReadFile(301, 512)", "ZKReadFile(301, 512)", "ZKCloseFile(301)",
                  "ZKCCUnlicenseConn(101)"});
}

TEST_F(CallOrderTest, AContainersScript) {
    spy::object("jdoe", "User", "CN=jdoe.OU=east.OU=sales.O=acme");
    spy::stream("OU=sales.O=acme", "");
    char *text = nullptr;
    EXPECT_EQ(qrt_get_container(handle, "jdoe", &text), 0U);
    EXPECT_EQ(taken(text), "\r\n");
    expect_calls({"ZKDSReadObjectInfo(77, \"jdoe\")", "ZKDSAbbreviateName(77, \"OU=east.OU=sales.O=acme\")",
                  "ZKDSOpenStream(77, \"OU=east.OU=sales.O=acme\", \"Login Script\", 0)",
                  "ZKDSAbbreviateName(77, \"OU=sales.O=acme\")",
                  "ZKDSOpenStream(77, \"OU=sales.O=acme\", \"Login Script\", 0)",
                  "ZKDSGetContext(77, DCK_LAST_CONNECTION)", "ZKCCGetConnInfo(0, 10, 4)", "ZKReadFile(301, 512)",
                  "ZKCloseFile(301)"});
}

// ---- files ----

TEST_F(CallOrderTest, AFileOfTheDefaultServer) {
    start_session();
    spy::authenticated("SRV1", false);
    char *text = nullptr;
    EXPECT_EQ(qrt_GetFile(handle, ":", "SYS/x", &text), 1);
    expect_calls({"ZKCCOpenConnByName(0, \"ACME_TREE\", 32768, 1, 32768)", "ZKCCGetConnInfo(101, 7, 512)",
                  "ZKCCOpenConnByName(0, \"SRV1\", 2, 1, 32768)", "ZKCCGetConnInfo(102, 7, 49)",
                  "ZKCCGetConnInfo(102, 1, 4)", "ZKDSCanDSAuthenticate(77)", "ZKDSAuthenticateConnEx(77, 102)"});
}

TEST_F(CallOrderTest, ADirectoryMapByItsShortName) {
    spy::attribute("apps.OU=sales.O=acme", "Path", {spy::path("USERVOL.acme", "public")});
    spy::text_attribute("USERVOL.acme", "Host_Resource_Name", {"DATA"});
    spy::text_attribute("USERVOL.acme", "Host_Server", {"SRV1.acme"});
    char server[49], volume[514], path[514];
    EXPECT_EQ(orbispec(".apps", server, volume, path), 0U);
    Calls calls;
    calls.add({"ZKCLXInit(null, null)", "ZKDSCreateContextHandle()", "ZKDSGetContext(1, DCK_TREE_NAME)",
               "ZKDSAbbreviateName(1, \"apps\")", "ZKDSCreateContextHandle()", "ZKDSSetContext(2, DCK_FLAGS, 0x17)",
               "ZKDSSetContext(2, DCK_TREE_NAME, \"\")", "ZKDSWhoAmI(2)"});
    calls.read(2, "apps.OU=sales.O=acme", "Path", 15);
    calls.read(2, "USERVOL.acme", "Host_Resource_Name").read(2, "USERVOL.acme", "Host_Server");
    expect_calls(calls.add({"ZKDSFreeContext(2)", "ZKDSFreeContext(1)"}));
}

// ---- attributes and volumes ----

TEST_F(CallOrderTest, AnAttributeThatTheObjectLacks) {
    spy::object("jdoe.acme");
    spy::schema("Thing");
    char *value = nullptr;
    EXPECT_EQ(qrt_GetAttribute(handle, "jdoe.acme", "Thing", &value), ZKE_NO_SUCH_VALUE);
    Calls calls;
    calls.prepare(77, "jdoe.acme", "Thing").add({"ZKDSReadAttrDef(77, 0, 0, iter -1)"}).release();
    expect_calls(calls);
}

TEST_F(CallOrderTest, AnAttributeInTwoReplies) {
    spy::attribute_in_replies("jdoe.acme", "Thing", {{spy::text("a")}, {spy::text("b")}});
    char *value = nullptr;
    EXPECT_EQ(qrt_GetAttribute(handle, "jdoe.acme", "Thing", &value), 0U);
    EXPECT_EQ(taken(value), "b");
    Calls calls;
    calls.prepare(77, "jdoe.acme", "Thing").add({"ZKDSRead(77, \"jdoe.acme\", 1, 0, iter 1)"}).value(77, 3).release();
    expect_calls(calls);
}

TEST_F(CallOrderTest, TheServerOfAVolume) {
    volume_object("USERVOL.acme");
    char server[514];
    uint32_t connection = 9;
    EXPECT_EQ(qrt_DSGetObjConnID(handle, "USERVOL.acme", &connection, server, nullptr), 0U);
    expect_calls(Calls().read(77, "USERVOL.acme", "Host Server"));
}

TEST_F(CallOrderTest, TheTargetOfADirectoryMap) {
    spy::attribute("APPMAP.acme", "Path", {spy::path("USERVOL.acme", "apps")});
    char volume[514], rest[256] = "";
    EXPECT_EQ(qrt_CheckForDirectoryMap(handle, "APPMAP.acme", volume, rest), 0U);
    expect_calls(Calls().read(77, "APPMAP.acme", "Path", 15));
}

TEST_F(CallOrderTest, APathThatBeginsWithADirectoryMap) {
    volume_object("USERVOL.acme");
    spy::object("APPMAP.acme", "Directory Map");
    spy::attribute("APPMAP.acme", "Path", {spy::path("USERVOL.acme", "apps")});
    char server[514], volume[514], rest[256];
    uint32_t connection = 9;
    uint16_t resolved = 0;
    EXPECT_EQ(qrt_ZKDSParsePath(handle, "APPMAP.acme:bin", server, &connection, volume, rest, &resolved), 0U);
    Calls calls;
    calls.add({"ZKDSReadObjectInfo(77, \"APPMAP.acme\")"}).read(77, "APPMAP.acme", "Path", 15);
    calls.read(77, "USERVOL.acme", "Host Server").read(77, "USERVOL.acme", "Host Resource Name");
    expect_calls(calls);
}

TEST_F(CallOrderTest, APathThatIsTheClients) {
    char server[514], volume[514], rest[256];
    uint32_t connection = 9;
    uint16_t resolved = 0;
    qrt_ZKDSParsePath(handle, "NOBODY:bin", server, &connection, volume, rest, &resolved);
    expect_calls({"ZKDSReadObjectInfo(77, \"NOBODY\")", "ZKParsePath(\"NOBODY:bin\")"});
}

TEST_F(CallOrderTest, AHomeDirectory) {
    volume_object("USERVOL.acme");
    spy::attribute("jdoe.acme", "Home Directory", {spy::path("USERVOL.acme", "home/jdoe")});
    char *value = nullptr;
    EXPECT_EQ(qrt_GetIdentifierValue(handle, "jdoe.acme", "HOME_DIRECTORY", &value), 0U);
    EXPECT_EQ(taken(value), "SRV1/USERS:home/jdoe");
    Calls calls;
    calls.read(77, "jdoe.acme", "HOME_DIRECTORY", 15).add({"ZKDSReadObjectInfo(77, \"USERVOL.acme\")"});
    calls.read(77, "USERVOL.acme", "Host Server").read(77, "USERVOL.acme", "Host Resource Name");
    expect_calls(calls);
}

TEST_F(CallOrderTest, TheClientsVersion) {
    char *value = nullptr;
    EXPECT_EQ(qrt_GetIdentifierValue(handle, "jdoe.acme", "REQUESTER", &value), 0U);
    EXPECT_EQ(taken(value), "1.2.3.4");
    expect_calls({"ZKGetZKNetVersion()"});
}

// ---- the TREE statement ----

static const std::vector<std::string> probe = {"ZKCallsInit(null, null)",
                                               "ZKCLXInit(null, null)",
                                               "ZKDSCreateContextHandle()",
                                               "ZKDSSetContext(1, DCK_FLAGS, 0x57)",
                                               "ZKCCOpenConnByName(0, \"OTHER_TREE\", 32768, 1, 32768)",
                                               "ZKCCGetConnInfo(101, 4, 33)",
                                               "ZKDSSetContext(1, DCK_TREE_NAME, \"OTHER_TREE\")",
                                               "ZKDSCanDSAuthenticate(1)"};

// The calls of a login, or of a log-out, on a new context.
std::vector<std::string> login(const std::string &context, const std::string &user, const std::string &password) {
    return {"ZKCallsInit(null, null)",
            "ZKCLXInit(null, null)",
            "ZKDSCreateContextHandle()",
            "ZKDSSetContext(" + context + ", DCK_FLAGS, 0x57)",
            "ZKDSSetContext(" + context + ", DCK_TREE_NAME, \"OTHER_TREE\")",
            "ZKDSLoginEx(" + context + ", \"" + user + "\", 2, \"" + password + "\")"};
}
std::vector<std::string> logout(const std::string &context) {
    return {"ZKCallsInit(null, null)", "ZKCLXInit(null, null)", "ZKDSCreateContextHandle()",
            "ZKDSSetContext(" + context + ", DCK_TREE_NAME, \"OTHER_TREE\")", "ZKDSLogout(" + context + ")"};
}
static const std::vector<std::string> tree_set = {"ZKCCOpenConnByName(0, \"OTHER_TREE\", 32768, 1, 32768)",
                                                  "ZKCCGetConnInfo(102, 4, 33)",
                                                  "ZKSetPreferredDSTree(10, \"OTHER_TREE\")"};

std::vector<std::string> joined(std::initializer_list<std::vector<std::string>> parts) {
    std::vector<std::string> all;
    for (const std::vector<std::string> &part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

class TreeOrderTest : public CallOrderTest {
  protected:
    TreeOrderTest() {
        start_session();
        spy::logged_in_to("OTHER_TREE", "");
    }
    void tree(const char *user, const char *password) {
        std::string secret = password;
        doTreeLogin("OTHER_TREE", user, secret.data());
    }
};

TEST_F(TreeOrderTest, ALogin) {
    tree("bob.org", "given");
    expect_calls(
        joined({probe, login("2", "bob.org", "given"), tree_set, {"ZKDSFreeContext(77)", "ZKDSFreeContext(1)"}}));
}

TEST_F(TreeOrderTest, ALoginThatExists) {
    spy::logged_in_to("OTHER_TREE", "bob.org");
    tree("bob.org", "given");
    expect_calls(joined({probe, {"ZKDSWhoAmI(1)"}, tree_set, {"ZKDSFreeContext(1)"}}));
}

TEST_F(TreeOrderTest, AnotherUsersLogin) {
    spy::logged_in_to("OTHER_TREE", "admin.org");
    tree("bob.org", "given");
    expect_calls(joined({probe,
                         {"ZKDSWhoAmI(1)"},
                         logout("2"),
                         login("3", "bob.org", "given"),
                         tree_set,
                         {"ZKDSFreeContext(77)", "ZKDSFreeContext(1)"}}));
}

TEST_F(TreeOrderTest, AnotherIdentityThatIsLoggedOut) {
    spy::fail_nth("ZKDSLoginEx", 1, 0x8800);
    spy::confirm_answer(4);
    spy::prompt_answer("ann.org", "typed");
    tree("bob.org", "given");
    expect_calls(
        joined({probe,
                login("2", "bob.org", "given"),
                {"auxconfirm_g(\"Already logged in to OTHER_TREE as bob.org, log out?\", \"question\", 1, 12)"},
                logout("3"),
                {"auxlogin_c(\"OTHER_TREE\", \"bob.org\")"},
                login("4", "ann.org", "typed"),
                tree_set,
                {"ZKDSFreeContext(77)", "ZKDSFreeContext(1)"}}));
}

TEST_F(TreeOrderTest, ARefusedLoginAndACancelledPromptInWindows) {
    g_useGUI = 1;
    spy::account("bob.org", "right");
    tree("bob.org", "wrong");
    expect_calls(joined({probe,
                         login("2", "bob.org", "wrong"),
                         {"auxinit_g()", "auxlogin_g(\"OTHER_TREE\", \"bob.org\")", "ZKDSFreeContext(1)"}}));
}

// ---- servers ----

TEST_F(CallOrderTest, AServerThatIsAttachedAfterAPrompt) {
    spy::logged_out();
    spy::account("jdoe", "right");
    spy::prompt_answer("jdoe", "wrong");
    spy::prompt_answer("jdoe", "right");
    spy::keep_prompt_texts();
    EXPECT_EQ(qrt_Attach(hold("SRV1")), 0U);
    for (const auto &[name, password] : spy::prompt_texts()) {
        free(name);
        free(password);
    }
    expect_calls({"ZKCCOpenConnByName(0, \"SRV1\", 2, 1, 32768)", "ZKCCGetConnInfo(101, 1, 4)", "ZKCLXInit(null, null)",
                  "ZKDSCreateContextHandle()", "ZKDSAuthenticateConnEx(1, 101)",
                  "auxlogin_c(\"(server) SRV1\", \"<username>\")", "ZKLoginToFileServer(101, \"jdoe\", 256, \"wrong\")",
                  "auxlogin_c(\"(server) SRV1\", \"<username>\")",
                  "ZKLoginToFileServer(101, \"jdoe\", 256, \"right\")"});
}

TEST_F(CallOrderTest, AnAttachThatIsCancelled) {
    spy::logged_out();
    EXPECT_EQ(qrt_Attach(hold("SRV1")), 1U);
    expect_calls({"ZKCCOpenConnByName(0, \"SRV1\", 2, 1, 32768)", "ZKCCGetConnInfo(101, 1, 4)", "ZKCLXInit(null, null)",
                  "ZKDSCreateContextHandle()", "ZKDSAuthenticateConnEx(1, 101)",
                  "auxlogin_c(\"(server) SRV1\", \"<username>\")", "ZKCCCloseConn(101)"});
}

TEST_F(CallOrderTest, AServerThatIsNotAuthenticated) {
    char *tree = nullptr;
    EXPECT_EQ(qrt_CheckAuthServer(hold("SRV1"), &tree), 1U);
    expect_calls({"ZKCCScanConnInfo(iter 0, 7, \"SRV1\", 11, 1, 0, null)",
                  "ZKCCOpenConnByName(0, \"SRV1\", 2, 1, 32768)", "ZKCCGetConnInfo(101, 1, 4)"});
}

} // namespace
