// What a run has done to the session by each of its steps, and for whom each script runs.
#include "script/input_buffer.h"
#include "tests/unit/run_sequence_fixture.h"

namespace {

class RunStateTest : public RunSequenceTest {
  protected:
    // The session's globals that a run fills, in the order in which it fills them.
    static std::string filled() {
        std::string all = std::to_string(g_useGUI);
        for (const char *text : {CurrentPassword, uservars[2], uservars[3], uservars[4], uservars[5], CurrentTree,
                                 CurrentObject, LoginName, uservars[1]})
            all += std::string(" ") + (text ? text : "-");
        all += std::string(" ") + LoginAliasContext;
        for (const char *text : {CurrentContext, InitialContext, uservars[0]})
            all += std::string(" ") + (text ? text : "-");
        return all;
    }
    std::string written() {
        written_ += output();
        return written_;
    }

    // For whom, and on which context, the script ran that showed the object "probe".
    std::vector<std::string> probed() {
        std::vector<std::string> runs;
        std::vector<std::string> objects = asked();
        for (size_t i = 0; i < before_.size() && i < objects.size(); i++) {
            if (objects[i] == ".probe") runs.push_back(before_[i].script_of + " on " + std::to_string(before_[i].ctx));
        }
        return runs;
    }

  private:
    std::string written_;
};

TEST_F(RunStateTest, EachStepFindsWhatTheStepsBeforeItHaveFilled) {
    args_.userGUI = 1;
    args_.password = hold("pw");
    args_.userVar2 = hold("b");
    args_.userVar3 = hold("c");
    args_.userVar4 = hold("d");
    args_.userVar5 = hold("e");
    args_.user = hold("jdoe.sales");
    std::vector<std::string> states;
    keeps_snapshots_ = false;
    run_all([&] {
        spy::on_call([&](const std::string &call) {
            const std::string name = call.substr(0, call.find('('));
            if (states.empty() || name == "ZKDSWhoAmI" || call == "ZKCCGetConnInfo(104, 7, 49)" ||
                name == "ZKDSReadObjectInfo")
                states.push_back(filled() + " | " + written());
        });
    });
    const std::string tree = "Your current tree is: ACME_TREE\n";
    const std::string user = tree + "Your current context is: OU=sales.O=acme\nUser: jdoe\n";
    const std::string named = "1 pw b c d e ACME_TREE jdoe jdoe jdoe Y .OU=sales.O=acme .OU=sales.O=acme ";
    EXPECT_THAT(states,
                ElementsAre("1 pw b c d e - - - - N - - - | ", "1 pw b c d e ACME_TREE - - - N - - - | " + tree,
                            named + "- | " + user, named + "SRV1 | " + user + "You are attached to server SRV1\n"));
}

TEST_F(RunStateTest, WithoutATreeTheRequestHasBeenTakenAllTheSame) {
    args_.treename = hold("NOWHERE");
    args_.userVar4 = hold("four");
    args_.userGUI = 5;
    args_.profileScript = hold("<DEFAULT>");
    args_.loginScript = hold("<DEFAULT>");
    EXPECT_EQ(run_all(), 0xF001U);
    EXPECT_EQ(args_.profileScript, nullptr);
    EXPECT_EQ(args_.loginScript, nullptr);
    EXPECT_EQ(g_useGUI, 5);
    EXPECT_EQ(variables(), "----four-----");
    EXPECT_EQ(CurrentTree, nullptr);
}

TEST_F(RunStateTest, WithoutAUserTheSessionAndItsContextStayOpen) {
    args_.user = nullptr;
    args_.userVar2 = hold("two");
    EXPECT_EQ(run_all(), 0xF003U);
    EXPECT_EQ(variables(), "--two-------");
    EXPECT_EQ(spy::open_contexts(), 1);
    EXPECT_EQ(CurrentObject, nullptr);
    EXPECT_EQ(CurrentContext, nullptr);
}

TEST_F(RunStateTest, WhatTheCallerHasSetStaysWhereTheRequestIsSilent) {
    args_.userVar3 = hold("given");
    g_useGUI = 1;
    run_all([] {
        set(CurrentPassword, "set before");
        for (int index = 0; index < QRT_USER_VARIABLES; index++) qrt_SetUserVar(index, std::to_string(index).c_str());
    });
    EXPECT_EQ(last_.variables, "SRV1jdoe2given456789");
    EXPECT_EQ(last_.gui, 0) << "the windows are always the request's";
    EXPECT_EQ(before_.front().password, "set before");
    EXPECT_THAT(wipe_watch::wiped(), Contains("set before")) << "at the end, like the request's own";
}

TEST_F(RunStateTest, BeforeTheServerIsAskedTheContextIsThatOfTheCallersTree) {
    spy::tree("OTHER_TREE", "SRV2");
    args_.treename = nullptr;
    args_.server = hold("SRV1");
    EXPECT_EQ(run_all([] { set(CurrentTree, "OTHER_TREE"); }), 0U);
    EXPECT_THAT(spy::calls("ZKDSSetContext"), Contains("ZKDSSetContext(1, DCK_TREE_NAME, \"OTHER_TREE\")"));
    EXPECT_THAT(spy::calls("ZKCCOpenConnByName")[0], HasSubstr("\"OTHER_TREE\""));
    EXPECT_THAT(spy::calls("ZKCCOpenConnByName")[1], HasSubstr("\"SRV1\""));
    EXPECT_THAT(printed_, StartsWith("Your current tree is: ACME_TREE\n"));
}

TEST_F(RunStateTest, WithoutADefaultServerAnotherTreesServerLeavesNone) {
    spy::server("SRV2", "OTHER_TREE");
    spy::authenticated("SRV2");
    args_.server = hold("SRV2");
    // The sixth question is for the default server's name: three for the trees, the server's state and its tree.
    spy::fail_nth("ZKCCGetConnInfo", 6, 0x8801);
    EXPECT_EQ(run_all(), 0U);
    EXPECT_THAT(printed_, HasSubstr("User: jdoe\nUnable to set primary connection: 1\nmap ran\n"));
    EXPECT_THAT(spy::calls("ZKCCSetPrimConn"), IsEmpty());
}

TEST_F(RunStateTest, EachScriptRunsAsTheUserOfTheStart) {
    const std::string user = "jdoe.OU=sales.O=acme on 1";
    const auto runs = [this](const char *container, const std::function<void()> &prepare) {
        declare_network();
        before_.clear();
        spy::stream("OU=sales.O=acme", container);
        spy::stream("probe", "");
        prepare();
        run_all();
        return probed();
    };
    const auto directory = [] {
        spy::text_attribute("jdoe.OU=sales.O=acme", "Profile", {"staff.acme"});
        for (const char *object : {"staff.acme", "jdoe.OU=sales.O=acme"}) spy::stream(object, "DISPLAY .probe");
    };
    const auto name_of_profile = [] {
        spy::text_attribute("other.acme", "Profile", {"DISPLAY .probe\n"});
        spy::stream("DISPLAY .probe\n", "");
    };
    const auto files = [this] {
        args_.profileScript = file("profile", "DISPLAY .probe\nCONTEXT .east.acme\n");
        args_.loginScript = file("login", "DISPLAY .probe\n");
    };
    EXPECT_THAT(runs("DISPLAY .probe\nCONTEXT .east.acme", directory), ElementsAre(user, user, user));
    EXPECT_THAT(runs("CONTEXT .east.acme\nPROFILE other.acme", name_of_profile), ElementsAre(user));
    EXPECT_THAT(runs("", files), ElementsAre(user, user));
}

TEST_F(RunStateTest, WhatIsNotThereIsNotRun) {
    const int32_t depth = ibufstackindex;
    args_.profileScript = hold("/nowhere/profile");
    run_all();
    EXPECT_EQ(ibufstackindex, depth + 1) << "the default script alone";
    args_.profileScript = nullptr;
    args_.loginScript = hold("/nowhere/login");
    spy::text_attribute("jdoe.OU=sales.O=acme", "Profile", {"bare.acme"});
    run_all();
    EXPECT_EQ(ibufstackindex, depth + 1) << "none at all";
    args_.loginScript = nullptr;
    run_all();
    EXPECT_EQ(ibufstackindex, depth + 2);
}

TEST_F(RunStateTest, AMistakeInAProfilesScriptIsNotTheResult) {
    spy::text_attribute("jdoe.OU=sales.O=acme", "Profile", {"staff.acme"});
    spy::stream("staff.acme", "= =");
    EXPECT_EQ(run_all(), 0U);
    EXPECT_THAT(scripts(), HasSubstr("Script error.\n"));
    EXPECT_THAT(scripts(), EndsWith("map ran\n"));
    args_.profileScript = file("profile", "= =\n");
    EXPECT_EQ(run_all(), 0U);
    EXPECT_THAT(scripts(), HasSubstr("Script error.\n"));
    EXPECT_THAT(scripts(), EndsWith("map ran\n"));
}

} // namespace
