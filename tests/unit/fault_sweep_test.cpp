// One whole login whose scripts hold every kind of statement that reaches the client, run again for each of the
// client's calls with that call failing. Whatever fails, the session comes to its end: nothing crashes, hangs or leaks,
// no buffer or file of the client stays open, and the session keeps no password.
#include <dirent.h>

#include <map>

#include "tests/unit/run_sequence_fixture.h"

namespace {

const char container_script[] =
    "WRITE \"%FULL_NAME %LOGIN_NAME %NO_SUCH %HOME_DIRECTORY %CN %STATION %USER_ID %REQUESTER\"\n"
    "IF MEMBER OF \"staff\" THEN\nWRITE \"staff\"\nELSE\nWRITE \"guest\"\nEND\n"
    "IF NOT MEMBER OF \".none.acme\" THEN WRITE \"not in none\"\n"
    "INCLUDE .news.acme\nINCLUDE SYS:NOFILE\nDISPLAY SRV1/SYS:NOFILE\nDISPLAY \\\\SRV1\\SYS\\NOFILE\n"
    "DISPLAY .apps.acme:X\nDISPLAY F:X\nLASTLOGINTIME\nMAP F:=SYS:\nDRIVE F:\nSET X = \"%TITLE\"\n"
    "CONTEXT sales.acme\nPROFILE .p.acme\nATTACH SRV2\nATTACH SRV3\n";
const char user_script[] =
    "TREE OTHER/.bob.acme;pass\nWRITE %LAST_NAME\nTREE OTHER\nTREE NOWHERE\nATTACH OUTSIDE\nWRITE \"end\"\n";

int open_descriptors() {
    DIR *folder = opendir("/proc/self/fd");
    int count = 0;
    while (folder && readdir(folder)) count++;
    if (folder) closedir(folder);
    return count;
}

class FaultSweepTest : public RunSequenceTest {
  protected:
    // The end of a session closes descriptor 0.
    static void end_session() {
        const int input = dup(0);
        qrt_exit();
        dup2(input, 0);
        close(input);
    }

    void declare() {
        declare_network();
        spy::tree("OTHER", "SRV3");
        for (const char *server : {"SRV1", "SRV2"}) spy::server(server, "ACME_TREE");
        spy::server("SRV3", "OTHER");
        spy::server("OUTSIDE");
        spy::authenticated("SRV1");
        spy::default_server("SRV1");
        spy::logged_in_to("OTHER", "CN=alice.O=acme");
        for (const char *user : {"jdoe.OU=sales.O=acme", "bob.acme"}) {
            spy::text_attribute(user, "FULL_NAME", {"John Doe"});
            spy::text_attribute(user, "Surname", {"Doe"});
            spy::attribute(user, "HOME_DIRECTORY", {spy::path("vol1.acme", "home")});
            spy::text_attribute(user, "Group_Membership", {"a.acme", "staff.OU=sales.O=acme"});
            spy::text_attribute(user, "Profile", {"p.acme"});
        }
        spy::text_attribute(".p.acme", "Profile", {"q.acme"});
        spy::text_attribute("apps.acme", "Path", {"vol1.acme:apps"});
        spy::text_attribute("vol1.acme", "Host_Resource_Name", {"SYS"});
        spy::text_attribute("vol1.acme", "Host_Server", {"SRV1.acme"});
        spy::stream("OU=sales.O=acme", container_script);
        spy::stream(".news.acme", "WRITE \"news\"\n");
        spy::stream("q.acme", "WRITE \"profile\"\n");
        spy::stream("jdoe.OU=sales.O=acme", user_script);
        spy::mapped_drive(folder_.path("home/F"), "SRV1/SYS:public");
        for (int i = 0; i < 4; i++) spy::prompt_answer("jdoe", "typed");
        spy::prompt_cancel();
        spy::confirm_answer(4);
        spy::keep_prompt_texts();
    }

    // One login with what `fail` arranges, and what holds whatever happened.
    void log_in(const std::function<void()> &fail) {
        declare();
        args_ = {};
        args_.treename = hold("acme_tree");
        args_.user = hold("jdoe");
        args_.password = hold("the-password");
        fail();
        const int before = open_descriptors();
        const uint32_t result = run_all();
        EXPECT_EQ(spy::mistakes(), std::vector<std::string>());
        if (giving_back_works_) {
            EXPECT_EQ(spy::open_buffers(), 0);
            EXPECT_EQ(spy::open_files(), 0);
        }
        EXPECT_LE(open_descriptors(), before);
        EXPECT_LE(result, 0xF003U);
        if (result == QRT_NO_TREE) end_session();
        if (result <= 1) {
            EXPECT_EQ(CurrentPassword, nullptr);
            EXPECT_EQ(CurrentTree, nullptr);
            EXPECT_EQ(uservars[0], nullptr);
            EXPECT_GE(condindex, 0);
        }
        EXPECT_EQ(printed_.find("the-password"), std::string::npos);
        // What ATTACH was answered is wiped and, as required, never freed.
        for (const auto &texts : spy::prompt_texts()) answered_->push_back(texts);
        clear();
    }

    // Whether the call that fails is none of those that give something back.
    void failing(const std::string &name) { giving_back_works_ = name != "ZKCloseFile" && name != "ZKDSFreeBuf"; }

    bool giving_back_works_ = true;
    // Never freed, so that the texts count as reachable at the end of the process.
    static std::vector<std::pair<char *, char *>> *answered_;
};

std::vector<std::pair<char *, char *>> *FaultSweepTest::answered_ = new std::vector<std::pair<char *, char *>>;

TEST_F(FaultSweepTest, EachCallFailsOnceInAWholeLogin) {
    log_in([] {});
    const std::vector<std::string> names = spy::call_names();
    const int calls = static_cast<int>(names.size());
    EXPECT_GT(calls, 150);
    int runs = 0;
    for (const uint32_t code : {ZKE_CONN_INVALID, ZKE_NO_SUCH_ATTRIBUTE}) {
        for (int call = 1; call <= calls && !HasFailure(); call++, runs++) {
            SCOPED_TRACE("call " + std::to_string(call) + " fails with " + std::to_string(code));
            failing(names[static_cast<size_t>(call) - 1]);
            log_in([=] { spy::fail_call(call, code); });
        }
    }
    failing("");
    log_in([] {});
    RecordProperty("runs", runs);
    printf("%d logins, each with one of %d calls failing\n", runs, calls);
}

TEST_F(FaultSweepTest, EachFunctionFailsFromItsNthCallOn) {
    log_in([] {});
    std::map<std::string, int> occurrences;
    for (const std::string &name : spy::call_names()) occurrences[name]++;
    int runs = 0;
    for (const auto &[name, count] : occurrences) {
        for (int nth = 1; nth <= count && nth <= 5 && !HasFailure(); nth++, runs++) {
            SCOPED_TRACE(name + " fails from call " + std::to_string(nth) + " on");
            failing(name);
            log_in([&] { spy::fail_from(name, nth, ZKE_DIRECTORY_UNREACHABLE); });
        }
    }
    failing("");
    log_in([] {});
    printf("%d logins, each with one function failing for good\n", runs);
}

} // namespace
