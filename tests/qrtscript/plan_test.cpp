// "qrtscript plan" as an administrator runs it. The cases in plans/ are a script each (or none, for the directory's
// own), the plan as text and some of them as JSON.
#include <nlohmann/json.hpp>

#include "tests/support/site.h"

using Json = nlohmann::ordered_json;

namespace {

const std::string plans = SOURCE_DIR "/tests/qrtscript/plans";
const std::string acme = SOURCE_DIR "/examples/acme";

class Plan : public Site {
  protected:
    void useSample() { environment["ZKCLIENT_CONF"] = acme + "/client.toml"; }

    // In the folder of the cases, so that a script is named as it is there.
    Outcome plan(const Words &words, const std::string &descriptor3 = "") const {
        Words all = {"/bin/sh", "-c", "cd '" + plans + "' && exec \"$@\"", "sh", QRTSCRIPT_PATH, "plan"};
        all.insert(all.end(), words.begin(), words.end());
        return process_run(all, environment, descriptor3);
    }
    Json json(Words words) const {
        words.insert(words.begin(), {"--format", "json"});
        const Outcome outcome = plan(words);
        EXPECT_EQ(outcome.err, "");
        Json result = Json::parse(outcome.out, nullptr, false);
        EXPECT_TRUE(result.is_object()) << outcome.out;
        return result;
    }
    Json planOf(const std::string &script) {
        userScript(script);
        return json({"--user", "jdoe.sales.acme"});
    }
    // The effects of one kind.
    static std::vector<Json> of(const Json &plan, const std::string &kind) {
        std::vector<Json> found;
        for (const Json &effect : plan["effects"])
            if (effect["kind"] == kind) found.push_back(effect);
        return found;
    }
};

struct Case {
    const char *name;
    const char *user;
    bool hasScript;
    int status;
};

const Case cases[] = {
    {"login", "jdoe.sales.acme", false, 0},  {"default", "mlee.emea.sales.acme", false, 0},
    {"locked", "rfox.it.acme", false, 0},    {"conditions", "jdoe.sales.acme", true, 0},
    {"effects", "jdoe.sales.acme", true, 1}, {"mistakes", "jdoe.sales.acme", true, 1},
};

class GoldenPlan : public Plan, public testing::WithParamInterface<Case> {
  protected:
    Words words() const {
        Words all = {"--as-of", "2026-03-05 09:05:07Z", "--env", "environment", "--var", "2=quiet",
                     "--user",  GetParam().user};
        if (GetParam().hasScript) all.push_back(std::string(GetParam().name) + ".qrt");
        return all;
    }
};

} // namespace

TEST_P(GoldenPlan, IsReadableByAnAdministrator) {
    useSample();
    environment["TZ"] = "UTC";
    const Outcome outcome = plan(words());
    EXPECT_EQ(outcome.out, file_text(plans + "/" + GetParam().name + ".txt"));
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, GetParam().status);
}

TEST_P(GoldenPlan, IsTheSameAsJson) {
    useSample();
    environment["TZ"] = "UTC";
    Words all = words();
    all.insert(all.begin(), {"--format", "json"});
    const Outcome outcome = plan(all);
    EXPECT_EQ(outcome.out, file_text(plans + "/" + GetParam().name + ".json"));
    EXPECT_EQ(outcome.status, GetParam().status);
}

INSTANTIATE_TEST_SUITE_P(Cases, GoldenPlan, testing::ValuesIn(cases),
                         [](const auto &one) { return std::string(one.param.name); });

TEST_F(Plan, SaysByWhomTheValuesWereRead) {
    EXPECT_THAT(plan({"--user", "jdoe.sales.acme"}).out,
                testing::HasSubstr("Values were read with the administrator's rights, as nobody (without a login).\n"));
    const Outcome outcome =
        plan({"--as", "jdoe.sales.acme", "--password-fd", "3", "--user", "locked.sales.acme"}, "secret\n");
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.out, testing::HasSubstr("as jdoe.sales.acme.\n"));
    EXPECT_THAT(outcome.out, testing::HasSubstr("A login would be refused: CN=locked.OU=sales.O=acme is locked."));
}

TEST_F(Plan, TheReadersPasswordIsChecked) {
    const Outcome outcome =
        plan({"--as", "jdoe.sales.acme", "--password-fd", "3", "--user", "jdoe.sales.acme"}, "wrong\n");
    EXPECT_EQ(outcome.err, "qrtscript plan: cannot log in as jdoe.sales.acme to tree ACME: wrong password\n");
    EXPECT_EQ(outcome.status, 2);
}

TEST_F(Plan, TheReaderIsAskedOnTheTerminal) {
    TerminalProcess terminal({QRTSCRIPT_PATH, "plan", "--as", "jdoe.sales.acme", "--user", "locked.sales.acme"},
                             environment);
    ASSERT_TRUE(terminal.answers("ser", "\n")) << terminal.shown();
    ASSERT_TRUE(terminal.answers("assword", "secret\n")) << terminal.shown();
    EXPECT_EQ(terminal.finish(), 0);
    EXPECT_THAT(terminal.shown(), testing::HasSubstr("as jdoe.sales.acme."));
    EXPECT_THAT(terminal.shown(), testing::Not(testing::HasSubstr("secret")));
}

TEST_F(Plan, WhatCannotBePlannedIsStatus2) {
    const struct {
        Words words;
        const char *reason;
    } rows[] = {
        {{"--user", "nobody.sales.acme"}, "cannot plan a login of nobody.sales.acme to tree ACME: "},
        {{"--user", "jdoe.sales.acme", "--tree", "NONE"}, "cannot use tree NONE: "},
        {{"--user", "jdoe.sales.acme", "/no/such/script"}, "cannot read the script /no/such/script: No such file"},
        {{"--user", "jdoe.sales.acme", "--as-of", "soon"},
         "--as-of takes a time such as \"2026-03-05 09:05\", not \"soon\""},
        {{"--user", "jdoe.sales.acme", "--env", "/no/such/file"}, "cannot open /no/such/file: No such file"},
        {{"--user", "jdoe.sales.acme", "--env", "effects.qrt"}, "effects.qrt:1: not NAME=value"},
        {{}, "no user given"},
        {{"--user", ""}, "no user given"},
        {{"--user", "a", "one", "two"}, "extra script \"two\""},
        {{"--user", "a", "--format", "xml"}, "--format takes text or json, not \"xml\""},
        {{"--all-users"}, "--all-users and --summary belong together"},
        {{"--user", "a", "--container", "b"}, "--container needs --all-users"},
        {{"--user", "a", "--var", "7=x"}, "--var takes N=TEXT"},
        {{"--user", "a", "--password-fd", "3"}, "--password-fd needs --as"},
    };
    for (const auto &row : rows) {
        const Outcome outcome = plan(row.words);
        EXPECT_EQ(outcome.status, 2) << row.reason;
        EXPECT_EQ(outcome.err.compare(0, 16, "qrtscript plan: "), 0) << outcome.err;
        EXPECT_THAT(outcome.err, testing::HasSubstr(row.reason));
        EXPECT_EQ(outcome.out, "");
    }
}

TEST_F(Plan, OutputThatIsLostIsStatus2) {
    Words words = {"/bin/sh", "-c",     "exec \"$@\" >/dev/full", "sh", QRTSCRIPT_PATH,
                   "plan",    "--user", "jdoe.sales.acme"};
    const Outcome outcome = process_run(words, environment);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, testing::HasSubstr("No space left on device"));
}

TEST_F(Plan, TheClockIsThatOfAsOf) {
    userScript("WRITE \"%DAY.%MONTH.%YEAR %HOUR24:%MINUTE %GREETING_TIME\"\n");
    environment["TZ"] = "UTC";
    site.write("environment", "TZ=UTC\n");
    const char *rows[][2] = {{"2026-03-05 09:05", "05.03.2026 09:05 morning"},
                             {"2026-03-05T21:05:59Z", "05.03.2026 21:05 evening"},
                             {"@0", "01.01.1970 00:00 morning"},
                             {"1999-12-31", "31.12.1999 00:00 morning"}};
    for (const auto &[time, text] : rows)
        EXPECT_THAT(plan({"--as-of", time, "--env", site.path("environment"), "--user", "jdoe.sales.acme"}).out,
                    testing::HasSubstr(std::string("prints    ") + text + "\n"));
    for (const char *time : {"2026-02-30", "25:00", "@-1", "", "2026-03-05 09:05x", "@99999999999999999999"})
        EXPECT_EQ(plan({"--as-of", time, "--user", "jdoe.sales.acme"}).status, 2) << time;
}

TEST_F(Plan, TheEnvironmentIsABareOneOrThatOfTheFile) {
    userScript("WRITE \"%<HOME> %<EDITOR> %<SECRET_THING>\"\n");
    environment["EDITOR"] = "administrator";
    Json plan = json({"--user", "jdoe.sales.acme"});
    EXPECT_EQ(of(plan, "print")[0]["text"], "/home/jdoe  \n");
    EXPECT_EQ(plan["environment"]["PATH"], "/usr/local/bin:/usr/bin:/bin");
    site.write("environment", "# of a user\n\nEDITOR=vi\nSECRET_THING=hush-hush\r\n");
    plan = json({"--env", site.path("environment"), "--user", "jdoe.sales.acme"});
    EXPECT_EQ(of(plan, "print")[0]["text"], " vi hush-hush\n");
    EXPECT_EQ(plan["environment"]["SECRET_THING"], "********");
}

TEST_F(Plan, EndlessScriptsAreStopped) {
    Outcome outcome = plan({"--user", "jdoe.sales.acme", "endless.qrt"});
    EXPECT_THAT(
        outcome.out,
        testing::HasSubstr("     4  STOPPED   more than 1000 jumps have been made: the scripts may be endless\n"));
    EXPECT_EQ(outcome.status, 1);
    // Includes end as they do in a login.
    site.write("user.qrt", "");
    userScript("INCLUDE .jdoe.sales.acme\n");
    const Json plan = json({"--user", "jdoe.sales.acme"});
    EXPECT_EQ(of(plan, "include").size(), 100u);
    EXPECT_EQ(of(plan, "mistake")[0]["text"], "memory exhausted");
}

TEST_F(Plan, ControlCharactersAreShownHarmlessly) {
    addToTree(
        "\ndn: cn=evil,ou=sales,o=acme\nobjectClass: inetOrgPerson\nobjectClass: qrtUser\ncn: evil\nsn: x\n"
        "qrtLoginScript:: V1JJVEUgIhtbMkobXTA7aGEHIgpXUklURSAiR3L832UiCg==\n");
    const Outcome outcome = plan({"--user", "evil.sales.acme"});
    EXPECT_EQ(outcome.out.find('\x1b'), std::string::npos);
    EXPECT_THAT(outcome.out, testing::HasSubstr("prints    \\x1B[2J\\x1B]0;ha\\x07\n"));
    EXPECT_THAT(outcome.out, testing::HasSubstr("prints    Gr\\xFC\\xDFe\n"));
}

TEST_F(Plan, SecretsAreMaskedWhereverTheyStand) {
    const Json plan = planOf(
        "SET WORD=\"swordfish\"\n"
        "TREE OTHER/jdoe;swordfish\n"
        "WRITE \"swordfish\"\n"
        "#echo swordfish\n"
        "IF \"swordfish\" = \"swordfish\" THEN TREE OTHER/jdoe;swordfish\n"
        "TREE OTHER/jdoe;unclosed\"moonfish\n"
        "ATTACH SRV1/jdoe;starfish\n"
        "SET MY_PASSWORD=\"sunfish\"\n");
    const std::string text = plan.dump();
    for (const char *secret : {"swordfish", "moonfish", "starfish", "sunfish"})
        EXPECT_EQ(text.find(secret), std::string::npos) << secret;
    EXPECT_EQ(of(plan, "set")[0]["new"], "********");
    EXPECT_EQ(of(plan, "set")[1]["new"], "********");
}

TEST_F(Plan, AttributesWithPasswordsAreNotRead) {
    const Json plan = planOf("WRITE \"%USERPASSWORD %PASSWORD_EXPIRES\"\n");
    EXPECT_EQ(of(plan, "print")[0]["text"], "%USERPASSWORD 32767\n");
    EXPECT_EQ(of(plan, "not_found")[0]["reason"], "the object has no such value");
}

TEST_F(Plan, TextOfAFileIsUncertainOnceAProgramHasRun) {
    site.write("volume/notice.txt", "WRITE \"notice\"\n");
    const std::string configuration = file_text(site.path("client.toml"));
    site.write("client.toml", "mount = \"link\"\n" + configuration +
                                  "[[volume]]\nserver = \"SRV2\"\nname = \"DATA\"\nsource = \"" + site.path("volume") +
                                  "\"\n");
    const Json plan =
        planOf("MAP H:=SRV2/DATA:\nDRIVE H:\nDISPLAY notice.txt\n#true\nDISPLAY notice.txt\nINCLUDE notice.txt\n");
    const std::vector<Json> reads = of(plan, "read"), prints = of(plan, "print");
    ASSERT_EQ(reads.size(), 3u);
    EXPECT_TRUE(reads[0]["found"]);
    EXPECT_FALSE(reads[0].contains("uncertain"));
    EXPECT_TRUE(reads[1].contains("uncertain"));
    ASSERT_EQ(prints.size(), 3u);
    EXPECT_FALSE(prints[0].contains("uncertain"));
    EXPECT_TRUE(prints[1].contains("uncertain"));
    EXPECT_EQ(prints[2]["text"], "notice\n");
    EXPECT_EQ(plan["sources"][1]["uncertain"], true);
    EXPECT_EQ(prints[2]["source"], 1);
}

TEST_F(Plan, NothingIsDone) {
    program("marks", "touch \"" + home.path("run") + "\"");
    userScript(running("marks") + "@" + site.path("marks") + "\n#touch " + home.path("made") +
               "\nMAP H:=SRV1/SYS:\nSET PATH=\"" + site.path() + "\"\n#marks\nATTACH SRV2\nTREE OTHER/jdoe;secret\n");
    addOtherTree();
    const std::string before = file_text(site.path("acme.ldif"));
    site.write("environment", "HOME=" + home.path() + "\nPATH=/usr/bin\n");
    environment["XDG_CACHE_HOME"] = home.path("cache");
    const Outcome outcome =
        process_run({"/usr/bin/strace", "-f", "-qq", "-o", site.path("trace"), "-e",
                     "trace=execve,execveat,symlink,symlinkat,link,linkat,unlink,unlinkat,rename,renameat,"
                     "renameat2,mkdir,mkdirat,rmdir,creat,connect,sendto,kill,openat,open,truncate",
                     QRTSCRIPT_PLAN_PATH, "plan", "--env", site.path("environment"), "--user", "jdoe.sales.acme"},
                    environment);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.out, testing::HasSubstr("maps      H: = SRV1/SYS:\n"));
    EXPECT_THAT(outcome.out, testing::HasSubstr("logs in   jdoe.sales.acme to tree OTHER"));
    EXPECT_EQ(Outcome(process_run({"/usr/bin/find", home.path(), "-mindepth", "1"}, environment)).out, "");
    EXPECT_EQ(file_text(site.path("acme.ldif")), before);
    int programs = 0;
    std::istringstream calls(file_text(site.path("trace")));
    for (std::string call; std::getline(calls, call);) {
        const bool opens = call.find(" open") != call.npos;
        const bool writes =
            call.find("O_WRONLY") != call.npos || call.find("O_RDWR") != call.npos || call.find("O_CREAT") != call.npos;
        if (call.find("execve(") != call.npos)
            programs++;
        else if (call.find("/nscd/socket") != call.npos) // who the process's user is
            continue;
        else if (opens && (!writes || call.find("\"/dev/null\"") != call.npos))
            continue;
        else if (call.find("+++ exited") == call.npos && call.find("--- SIGCHLD") == call.npos)
            ADD_FAILURE() << call;
    }
    EXPECT_EQ(programs, 1) << "the planner itself";
}

TEST_F(Plan, TheKernelRefusesWhatTheSeamsWouldLeaveOpen) {
    // Of the process that runs the scripts: a program and a file that must not be.
    const Json plan = planOf("WRITE \"x\"\n");
    EXPECT_EQ(of(plan, "print").size(), 1u);
    EXPECT_THAT(process_run({"/usr/bin/strace", "-f", "-qq", "-e", "trace=seccomp,prctl", QRTSCRIPT_PLAN_PATH, "plan",
                             "--user", "jdoe.sales.acme"},
                            environment)
                    .err,
                testing::HasSubstr("SECCOMP_"));
}
