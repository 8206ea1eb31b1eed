#include "tests/support/site.h"

namespace {

const std::string acme = SOURCE_DIR "/examples/acme";

// The text of the README's fenced block of that kind.
std::string readme_block(const std::string &kind) {
    std::string text = file_text(acme + "/README.md");
    size_t start = text.find("```" + kind + "\n");
    if (start == std::string::npos) return "no block " + kind;
    start += kind.size() + 4;
    return text.substr(start, text.find("```\n", start) - start);
}

std::string without_time(std::string text) {
    for (const std::string greeting : {"Good morning,", "Good afternoon,", "Good evening,"}) {
        size_t at = text.find(greeting);
        if (at != std::string::npos) text.replace(at, greeting.size(), "Good day,");
    }
    return text;
}

class AcmeExample : public Site {
  protected:
    void SetUp() override { environment["ZKCLIENT_CONF"] = acme + "/client.toml"; }
    Outcome jane(const Words &words = {}) { return login(words, "sunflower", "jdoe.sales.acme"); }
};

} // namespace

TEST_F(AcmeExample, TheReadmeShowsALogin) {
    Outcome outcome = jane();
    EXPECT_EQ(without_time(outcome.out), without_time(readme_block("text")));
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, 0);
}

TEST_F(AcmeExample, TheReadmeShowsTheEnvironment) {
    EXPECT_EQ(jane({"--print-environment"}).out, readme_block("sh"));
}

TEST_F(AcmeExample, TheAliasLeadsToTheSameLogin) {
    EXPECT_EQ(without_time(login({}, "sunflower", "jdoe.acme").out), without_time(readme_block("text")));
}

TEST_F(AcmeExample, QuietSkipsTheTalkAndKeepsTheDrives) {
    std::string out = jane({"--var", "2=quiet"}).out;
    EXPECT_EQ(out.find("Good "), std::string::npos);
    EXPECT_EQ(out.find("News"), std::string::npos);
    EXPECT_NE(out.find("Drive H: = SRV1/USERS:home/jdoe\n"), std::string::npos);
}

TEST_F(AcmeExample, AUserWithoutAScriptGetsTheContainersFurtherUpAndTheDefault) {
    EXPECT_EQ(without_time(login({}, "moonlight", "mlee.emea.sales.acme").out),
              "Your current tree is: ACME\n"
              "Your current context is: emea.sales.acme\n"
              "User: mlee\n"
              "You are attached to server SRV1\n"
              "Good day, Mina Lee.\n"
              "News: the canteen is closed on Friday.\n"
              "Your requests go to the managers.\n"
              "Drive F: = SRV1/SYS:public\n"
              "Drive H: = SRV1/USERS:home/mlee\n"
              "Drive S1: = SRV2/DATA:apps/bin\n"
              "Drive P: = SRV2/DATA:apps/prices\n"
              "Drives\n"
              "F:   SRV1/SYS:public\n"
              "H:   SRV1/USERS:home/mlee\n"
              "P:   SRV2/DATA:apps/prices\n"
              "Search path\n"
              "S1:  SRV2/DATA:apps/bin\n");
}

TEST_F(AcmeExample, TheAdministratorsScriptEndsEarly) {
    Outcome outcome = login({}, "starfish", "admin.acme");
    EXPECT_NE(outcome.out.find("Drive D: = SRV2/DATA:\nExiting script...\n"), std::string::npos) << outcome.out;
    EXPECT_EQ(outcome.out.find("Nothing after EXIT"), std::string::npos);
    EXPECT_EQ(outcome.status, 0);
}

TEST_F(AcmeExample, TheLockedAccountStaysOut) {
    EXPECT_EQ(login({}, "seaweed", "rfox.it.acme").status, 2);
}

// Every folder that a script maps is there among the sample volumes, and the drives lead to their files.
TEST_F(AcmeExample, TheDrivesLeadToTheSampleVolumes) {
    const std::string mounted =
        "mount -t tmpfs none /mnt && mkdir -p /mnt/brasca/root && mount --bind \"$0\" /mnt/brasca/root";
    const Words inNamespace = {"/usr/bin/unshare", "-Urm", "/bin/sh", "-c"};
    Words trial = inNamespace;
    trial.insert(trial.end(), {mounted, acme + "/volumes"});
    Outcome possible = process_run(trial, environment);
    if (possible.status != 0) GTEST_SKIP() << "no private mount namespace here: " << possible.err;

    Words words = inNamespace;
    words.insert(words.end(),
                 {mounted + " && exec \"$1\" --password-fd 3 jdoe.sales.acme -- cat \"$2\" \"$3\"", acme + "/volumes",
                  QRTLOGIN_PATH, home.path("P/current.txt"), home.path("N/monday.txt")});
    Outcome outcome = process_run(words, environment, "sunflower");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(without_time(outcome.out),
              without_time(readme_block("text")) + "Barometer 40\nCall the customers in the north.\n");
    EXPECT_EQ(outcome.status, 0);
}
