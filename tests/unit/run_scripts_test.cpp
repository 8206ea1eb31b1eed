#include "tests/unit/run_sequence_fixture.h"

namespace {

TEST_F(RunSequenceTest, TheContainersScriptIsTheNearestOne) {
    spy::stream("O=acme", "WRITE \"acme\"");
    run_all();
    EXPECT_EQ(scripts(), "acme\nmap ran\n");
    EXPECT_THAT(asked(), ElementsAre("OU=sales.O=acme", "O=acme", "jdoe.OU=sales.O=acme"));
    EXPECT_THAT(spy::calls("ZKDSReadObjectInfo"), ElementsAre("ZKDSReadObjectInfo(1, \"jdoe.OU=sales.O=acme\")"));
}

TEST_F(RunSequenceTest, AScriptRunsAsItsUser) {
    spy::stream("OU=sales.O=acme", "DISPLAY .probe");
    spy::stream("probe", "");
    run_all();
    ASSERT_GE(before_.size(), 2U);
    EXPECT_EQ(before_[1].script_of, "jdoe.OU=sales.O=acme");
    EXPECT_EQ(before_[1].ctx, 1U);
}

TEST_F(RunSequenceTest, ASyntaxErrorInTheContainersScriptIsNotTheResult) {
    spy::stream("OU=sales.O=acme", "= =");
    EXPECT_EQ(run_all(), 0U);
    EXPECT_THAT(scripts(), EndsWith("map ran\n"));
}

class ProfileTest : public RunSequenceTest {
  protected:
    ProfileTest() { declare_profile(); }
    static void declare_profile() {
        spy::text_attribute("jdoe.OU=sales.O=acme", "Profile", {"staff.acme"});
        spy::stream("staff.acme", "WRITE \"staff\"");
        spy::stream("jdoe.OU=sales.O=acme", "WRITE \"user\"");
    }
};

TEST_F(ProfileTest, TheUsersProfileRuns) {
    run_all();
    EXPECT_EQ(scripts(), "staff\nuser\n");
    EXPECT_THAT(asked(), ElementsAre("OU=sales.O=acme", "O=acme", "staff.acme", "jdoe.OU=sales.O=acme"));
}

TEST_F(ProfileTest, WhatRunsInTheProfilesPlace) {
    const auto statement = [](const char *object) { spy::stream("OU=sales.O=acme", std::string("PROFILE ") + object); };
    const auto profile = [this] { args_.profileScript = file("profile", "WRITE \"from the file\"\n"); };
    const auto bare = [](const char *user) {
        spy::text_attribute(user, "Profile", {"bare.acme"});
        spy::object("bare.acme");
    };
    const struct {
        const char *behaviour;
        std::function<void()> prepare;
        std::string scripts;
        bool staff; // whether the profile's object is asked for its script
    } rows[] = {
        {"a profile without a script is passed", [&] { bare("jdoe.OU=sales.O=acme"); }, "user\n", false},
        {"an unreadable attribute is silent", [] { spy::fail("ZKDSRead", 0x1234); }, "user\n", false},
        {"a file comes in its place", profile, "from the file\nuser\n", false},
        {"one that cannot be read is silent", [this] { args_.profileScript = hold("/nowhere/profile"); }, "user\n",
         false},
        {"after a PROFILE statement an ordinary name is a script error",
         [&] {
             statement("other.acme");
             spy::text_attribute("other.acme", "Profile", {"staff.acme"});
         },
         "\nScript error.\nThe original line was:\nstaff.acme\n\nuser\n", true},
        {"a profile without a script is passed then, too",
         [&] {
             statement("other.acme");
             bare("other.acme");
         },
         "user\n", false},
        {"and an object without the attribute", [&] { statement("staff.acme"); }, "user\n", false},
        {"a file comes before a PROFILE statement",
         [&] {
             statement("other.acme");
             profile();
         },
         "from the file\nuser\n", false},
        {"with a login file a profile file still runs",
         [&] {
             profile();
             args_.loginScript = file("login", "WRITE \"mine\"\n");
         },
         "from the file\nmine\n", false},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.behaviour);
        declare_network();
        declare_profile();
        args_.profileScript = args_.loginScript = nullptr;
        row.prepare();
        EXPECT_EQ(run_all(), 0U);
        EXPECT_EQ(scripts(), row.scripts);
        const auto asks_staff = Contains("staff.acme");
        if (row.staff)
            EXPECT_THAT(asked(), asks_staff);
        else
            EXPECT_THAT(asked(), Not(asks_staff));
        if (args_.profileScript != nullptr) {
            EXPECT_THAT(spy::calls("ZKDSRead"), IsEmpty());
        }
    }
}

TEST_F(ProfileTest, WithALoginFileAProfileNamedByTheCallerRunsItsName) {
    spy::text_attribute("other.acme", "Profile", {"WRITE\n"});
    spy::stream("WRITE\n", "WRITE \"its script\"");
    args_.loginScript = file("login", "WRITE \"mine\"\n");
    run_all([] { over_ride_profile = text_copy("other.acme").release(); });
    EXPECT_EQ(scripts(), "\nmine\n");
}

TEST_F(ProfileTest, AProfileFileRunsAsTheUserWhereverTheContainersScriptWent) {
    spy::stream("OU=sales.O=acme", "CONTEXT .east.acme");
    spy::stream("probe", "");
    args_.profileScript = file("profile", "DISPLAY .probe\n");
    run_all();
    ASSERT_GE(before_.size(), 2U);
    EXPECT_EQ(before_[1].script_of, "jdoe.east.acme") << "the object is named anew for it";
    EXPECT_EQ(asked().back(), "jdoe.OU=sales.O=acme") << "the user's script stays the one of the start";
}

TEST_F(ProfileTest, AfterAProfileStatementItsNameRunsInPlaceOfItsScript) {
    spy::stream("OU=sales.O=acme", "PROFILE other.acme");
    spy::text_attribute("other.acme", "Profile", {"WRITE \"a name\"\n"});
    spy::stream("WRITE \"a name\"\n", "WRITE \"its script\"");
    EXPECT_EQ(run_all(), 0U);
    EXPECT_EQ(scripts(), "a name\nuser\n");
    EXPECT_THAT(spy::calls("ZKDSOpenStream"),
                Contains("ZKDSOpenStream(1, \"WRITE \"a name\"\n\", \"Login Script\", 0)"));
    EXPECT_THAT(spy::calls("ZKDSRead"), ElementsAre(StartsWith("ZKDSRead(1, \"other.acme\", 1, 0")));
}

TEST_F(ProfileTest, WithALoginFileNoDirectoryScriptRuns) {
    spy::stream("OU=sales.O=acme", "WRITE \"container\"");
    args_.loginScript = file("login", "WRITE \"mine\"\n");
    EXPECT_EQ(run_all(), 0U);
    EXPECT_EQ(scripts(), "mine\n");
    EXPECT_THAT(asked(), IsEmpty());
    EXPECT_THAT(spy::calls("ZKDSReadObjectInfo"), IsEmpty());
    EXPECT_THAT(spy::calls("ZKDSRead"), SizeIs(1)) << "the profile's name is read and not used";
}

TEST_F(RunSequenceTest, TheUsersScriptGivesTheResult) {
    spy::stream("jdoe.OU=sales.O=acme", "WRITE \"user\"\n= =");
    EXPECT_EQ(run_all(), 1U);
    EXPECT_THAT(scripts(), StartsWith("user\n"));
}

TEST_F(RunSequenceTest, AUserWithoutAScriptRunsTheDefaultOne) {
    EXPECT_EQ(run_all(), 0U);
    EXPECT_EQ(scripts(), "map ran\n");
    spy::stream("OU=sales.O=acme", "NO_DEFAULT");
    EXPECT_EQ(run_all(), 0U);
    EXPECT_EQ(use_default_script, 0);
    EXPECT_EQ(scripts(), "map ran\n");
    folder_.script("map", "exit 1");
    EXPECT_EQ(run_all(), 1U);
}

TEST_F(RunSequenceTest, AnEmptyScriptKeepsTheDefaultOneAwayAndAnUnreadableOneDoesNot) {
    spy::stream("jdoe.OU=sales.O=acme", "");
    EXPECT_EQ(run_all(), 0U);
    EXPECT_EQ(scripts(), "");
    declare_network();
    spy::stream("jdoe.OU=sales.O=acme", "WRITE \"user\"");
    spy::fail_nth("ZKDSOpenStream", 3, 0xFFFFE010);
    EXPECT_EQ(run_all(), 0U);
    EXPECT_EQ(scripts(), "map ran\n");
}

TEST_F(RunSequenceTest, ALoginFileResultsIn0WhateverItDid) {
    args_.loginScript = file("login", "WRITE \"mine\"\n= =\n");
    EXPECT_EQ(run_all(), 0U);
    EXPECT_THAT(scripts(), StartsWith("mine\n"));
    EXPECT_THAT(scripts(), HasSubstr("= ="));
    args_.loginScript = hold("/nowhere/login");
    EXPECT_EQ(run_all(), 0U);
    EXPECT_EQ(scripts(), "Unable to read file (/nowhere/login)\n");
    for (char *path : {file("login", ""), hold("/dev/null")}) {
        args_.loginScript = path;
        EXPECT_EQ(run_all(), 0U);
        EXPECT_EQ(scripts(), "");
    }
}

TEST_F(RunSequenceTest, ATreeStatementInOneScriptLeavesTheOthersTheirContext) {
    spy::tree("OTHER_TREE", "SRV2");
    spy::stream("OU=sales.O=acme", "TREE OTHER_TREE/bob.org");
    spy::text_attribute("jdoe.OU=sales.O=acme", "Profile", {"staff.acme"});
    spy::stream("staff.acme", "WRITE \"staff\"");
    spy::stream("jdoe.OU=sales.O=acme", "WRITE \"user\"");
    spy::logged_in_to("OTHER_TREE", "");
    args_.password = hold("secret");
    EXPECT_EQ(run_all(), 0U);
    EXPECT_THAT(scripts(), EndsWith("staff\nuser\n"));
    EXPECT_EQ(spy::open_contexts(), 0);
    const std::string tree = spy::calls("ZKDSSetContext").back();
    EXPECT_THAT(tree, EndsWith("DCK_TREE_NAME, \"ACME_TREE\")")) << "the run's own, not the statement's";
    const std::string fresh = tree.substr(tree.find('('), tree.find(',') - tree.find('('));
    EXPECT_THAT(spy::calls("ZKDSOpenStream").back(), StartsWith("ZKDSOpenStream" + fresh + ","));
}

TEST_F(RunSequenceTest, ATreeStatementInTheLastScriptLeavesNoContextBehind) {
    spy::tree("OTHER_TREE", "SRV2");
    spy::stream("jdoe.OU=sales.O=acme", "TREE OTHER_TREE/bob.org\nWRITE \"on\"");
    spy::logged_in_to("OTHER_TREE", "");
    args_.password = hold("secret");
    EXPECT_EQ(run_all(), 0U);
    EXPECT_THAT(scripts(), EndsWith("on\n"));
    EXPECT_EQ(spy::open_contexts(), 0);
}

// The second TREE statement is handed the number that the run's own context had.
TEST_F(RunSequenceTest, ANumberThatIsHandedOutAgainDoesNotHideATreeStatement) {
    spy::reuse_contexts();
    spy::tree("OTHER_TREE", "SRV2");
    spy::tree("THIRD_TREE", "SRV3");
    spy::stream("OU=sales.O=acme", "TREE OTHER_TREE/bob.org\nTREE THIRD_TREE/bob.org");
    spy::stream("jdoe.OU=sales.O=acme", "WRITE \"user\"");
    for (const char *tree : {"OTHER_TREE", "THIRD_TREE"}) spy::logged_in_to(tree, "");
    args_.password = hold("secret");
    EXPECT_EQ(run_all(), 0U);
    const std::vector<std::string> logins = spy::calls("ZKDSLoginEx");
    EXPECT_THAT(logins, SizeIs(2));
    EXPECT_THAT(logins.back(), StartsWith("ZKDSLoginEx(1,"));
    EXPECT_THAT(spy::calls("ZKDSSetContext").back(), EndsWith("DCK_TREE_NAME, \"ACME_TREE\")"));
    EXPECT_THAT(scripts(), EndsWith("user\n"));
    EXPECT_EQ(spy::open_contexts(), 0);
}

TEST_F(RunSequenceTest, AfterATreeStatementInTheLastScriptItsContextIsFreedAndNothingElseCalled) {
    spy::tree("OTHER_TREE", "SRV2");
    spy::stream("jdoe.OU=sales.O=acme", "TREE OTHER_TREE/bob.org\nFDISPLAY none");
    spy::logged_in_to("OTHER_TREE", "");
    args_.password = hold("secret");
    EXPECT_EQ(run_all(), 0U);
    const std::vector<std::string> calls = spy::calls();
    const std::string login = spy::calls("ZKDSLoginEx")[0];
    const std::string made = login.substr(login.find('('), login.find(',') - login.find('('));
    EXPECT_EQ(calls.back(), "ZKDSFreeContext" + made + ")");
    EXPECT_THAT(calls[calls.size() - 2], StartsWith("ZKDSOpenStream" + made + ",")) << "of the FDISPLAY";
    EXPECT_EQ(std::count(calls.begin(), calls.end(), calls.back()), 1);
}

TEST_F(RunSequenceTest, AFreshContextIsMadeOnlyForAStepThatNeedsIt) {
    spy::tree("OTHER_TREE", "SRV2");
    args_.profileScript = file("profile", "TREE OTHER_TREE/bob.org\n");
    args_.loginScript = hold("/nowhere/login");
    spy::logged_in_to("OTHER_TREE", "");
    args_.password = hold("secret");
    EXPECT_EQ(run_all(), 0U);
    EXPECT_EQ(spy::calls().back().substr(0, 15), "ZKDSFreeContext");
    EXPECT_THAT(spy::calls("ZKDSSetContext").back(), EndsWith("DCK_TREE_NAME, \"OTHER_TREE\")"));
    EXPECT_EQ(spy::open_contexts(), 0);
}

} // namespace
