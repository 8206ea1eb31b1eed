// "qrtscript plan" as an administrator runs it. The cases in plans/ are a script each (or none, for the directory's
// own), the plan as text and some of them as JSON.
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/support/manual.h"
#include "tests/support/site.h"

using OrderedJson = nlohmann::ordered_json;

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
    OrderedJson json(Words words) const {
        words.insert(words.begin(), {"--format", "json"});
        const Outcome outcome = plan(words);
        EXPECT_EQ(outcome.err, "");
        OrderedJson result = OrderedJson::parse(outcome.out, nullptr, false);
        EXPECT_TRUE(result.is_object()) << outcome.out;
        return result;
    }
    OrderedJson planOf(const std::string &script) {
        userScript(script);
        return json({"--user", "jdoe.sales.acme"});
    }
    // The effects of one kind.
    static std::vector<OrderedJson> of(const OrderedJson &plan, const std::string &kind) {
        std::vector<OrderedJson> found;
        for (const OrderedJson &effect : plan["effects"])
            if (effect["kind"] == kind) found.push_back(effect);
        return found;
    }
};

struct PlanCase {
    const char *name;
    const char *user;
    bool hasScript;
    int status;
};

const PlanCase plan_cases[] = {
    {"login", "jdoe.sales.acme", false, 0},  {"default", "mlee.emea.sales.acme", false, 0},
    {"locked", "rfox.it.acme", false, 0},    {"conditions", "jdoe.sales.acme", true, 0},
    {"effects", "jdoe.sales.acme", true, 1}, {"mistakes", "jdoe.sales.acme", true, 1},
};

class GoldenPlan : public Plan, public testing::WithParamInterface<PlanCase> {
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

INSTANTIATE_TEST_SUITE_P(Cases, GoldenPlan, testing::ValuesIn(plan_cases),
                         [](const auto &one) { return std::string(one.param.name); });

TEST_F(Plan, SaysByWhomTheValuesWereRead) {
    EXPECT_THAT(plan({"--user", "jdoe.sales.acme"}).out,
                testing::HasSubstr("Values were read anonymously (without --as), not with the user's rights.\n"));
    const Outcome outcome =
        plan({"--as", "jdoe.sales.acme", "--password-fd", "3", "--user", "locked.sales.acme"}, "secret\n");
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.out,
                testing::HasSubstr("Values were read with the administrator's rights, as jdoe.sales.acme.\n"));
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

TEST_F(Plan, ItsMemoryGetsIntoNoCoreFile) {
    rlimit limit = {};
    if (getrlimit(RLIMIT_CORE, &limit) != 0 || limit.rlim_max < 8 * 512)
        GTEST_SKIP() << "the limit for core files cannot be raised here";
    environment["ASAN_OPTIONS"] += ":disable_coredump=0"; // which would set the limit itself
    TerminalProcess terminal({"/bin/sh", "-c", "ulimit -S -c 8\nexec \"$@\"", "sh", QRTSCRIPT_PATH, "plan", "--as",
                              "jdoe.sales.acme", "--user", "locked.sales.acme"},
                             environment);
    ASSERT_TRUE(terminal.awaits("ser")) << terminal.shown();
    EXPECT_THAT(file_text("/proc/" + std::to_string(terminal.id()) + "/limits"),
                testing::ContainsRegex("Max core file size +0 "));
}

TEST_F(Plan, WhatCannotBePlannedIsStatus2) {
    addToTree(
        "\ndn: cn=crew,ou=sales,o=acme\nobjectClass: groupOfNames\ncn: crew\nmember: cn=jdoe,ou=sales,o=acme\n"
        "\ndn: cn=morning,ou=sales,o=acme\nobjectClass: qrtProfileObject\ncn: morning\n");
    const std::string pipe = site.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    site.write("large", "");
    ASSERT_EQ(truncate(site.path("large").c_str(), 17 << 20), 0);
    const struct {
        Words words;
        std::string reason;
    } rows[] = {
        {{"--user", "nobody.sales.acme"}, "cannot plan a login of nobody.sales.acme to tree ACME: no such user\n"},
        {{"--user", "sales.acme"}, "cannot plan a login of sales.acme to tree ACME: no such user\n"},
        {{"--user", "crew.sales.acme"}, "cannot plan a login of crew.sales.acme to tree ACME: no such user\n"},
        {{"--user", "morning.sales.acme"}, "cannot plan a login of morning.sales.acme to tree ACME: no such user\n"},
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
        {{"--user", "jdoe.sales.acme", "."}, "cannot read the script .: Is a directory"},
        {{"--user", "jdoe.sales.acme", "--diff", "/no/such/script"}, "cannot read the script /no/such/script: "},
        {{"--all-users", "--summary", "--diff", "x"}, "--diff needs --user"},
        {{"--all-users", "--summary", "--container", "nowhere.acme"},
         "cannot list the users of nowhere.acme: no such container\n"},
        {{"--user", "a", "-", "--diff", "-"}, "only one of the scripts can come from standard input"},
        {{"--user", "jdoe.sales.acme", "--env", "."}, "cannot open .: Is a directory"},
        {{"--user", "jdoe.sales.acme", "--env", pipe}, "cannot open " + pipe + ": not a regular file"},
        {{"--user", "jdoe.sales.acme", "--env", "/dev/zero"}, "cannot open /dev/zero: not a regular file"},
        {{"--user", "jdoe.sales.acme", "--env", site.path("large")}, "/large: File too large"},
        {{"--user", "jdoe.sales.acme", pipe}, "cannot read the script " + pipe + ": not a regular file"},
        {{"--user", "jdoe.sales.acme", "/dev/zero"}, "cannot read the script /dev/zero: not a regular file"},
        {{"--user", "jdoe.sales.acme", "--profile-script", "/dev/tty"}, "the script /dev/tty: "},
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
    OrderedJson plan = json({"--user", "jdoe.sales.acme"});
    EXPECT_EQ(of(plan, "print")[0]["text"], "/home/jdoe  \n");
    EXPECT_EQ(plan["environment"]["PATH"], "/usr/local/bin:/usr/bin:/bin");
    site.write("environment", "# of a user\n\nEDITOR=vi\nSECRET_THING=hush-hush\r\n");
    plan = json({"--env", site.path("environment"), "--user", "jdoe.sales.acme"});
    EXPECT_EQ(of(plan, "print")[0]["text"], " vi ********\n");
    EXPECT_EQ(plan["environment"]["SECRET_THING"], "********");
}

TEST_F(Plan, ALocaleThatTheMachineLacksIsToldAndTheAdministratorsIsNotTaken) {
    const std::string command = "localedef -f UTF-8 -i de_DE '" + site.path("de_DE.UTF-8") + "'";
    ASSERT_EQ(system(command.c_str()), 0) << command;
    environment["LOCPATH"] = site.path();
    environment["LC_ALL"] = "de_DE.UTF-8";
    userScript("WRITE \"%DAY_OF_WEEK\"\n");
    const auto planIn = [&](const std::string &variables) {
        site.write("environment", variables);
        return plan({"--as-of", "2026-03-05 09:05", "--env", site.path("environment"), "--user", "jdoe.sales.acme"})
            .out;
    };
    const std::string lacking = planIn("LANG=xx_YY.UTF-8\n");
    EXPECT_THAT(lacking, testing::HasSubstr("prints    Thursday\n"));
    EXPECT_THAT(lacking, testing::HasSubstr("\nThis machine has no locale xx_YY.UTF-8: messages, names of days and "
                                            "comparisons are as in the locale C.\n"));
    const std::string found = planIn("LANG=de_DE.UTF-8\nLOCPATH=" + site.path() + "\n");
    EXPECT_THAT(found, testing::HasSubstr("prints    Donnerstag\n"));
    EXPECT_THAT(found, testing::Not(testing::HasSubstr("has no locale")));
    const Words all = {"--all-users", "--summary", "--env", site.path("environment")};
    site.write("environment", "LC_TIME=xx_YY\n");
    EXPECT_THAT(plan(all).out, testing::HasSubstr("\nThis machine has no locale xx_YY: "));
}

TEST_F(Plan, FunctionsOfAShellInTheEnvironmentAreLeftOut) {
    userScript("WRITE \"%<BEFORE> %<AFTER>\"\n");
    site.write("environment",
               "BEFORE=1\nBASH_FUNC_greet%%=() {  echo hi\n if true; then echo X; fi\n}\n"
               "BASH_FUNC_one%%=() { :; }\nAFTER=2\n");
    const Outcome outcome = plan({"--env", site.path("environment"), "--user", "jdoe.sales.acme"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, testing::HasSubstr("prints    1 2\n"));
    EXPECT_THAT(outcome.out, testing::Not(testing::HasSubstr("greet")));
    EXPECT_EQ(outcome.err, "qrtscript plan: " + site.path("environment") +
                               ":2: the exported shell function greet is left out\nqrtscript plan: " +
                               site.path("environment") + ":5: the exported shell function one is left out\n");
    for (const char *wrong : {"BASH_FUNC_greet=() {\n}\n", "BASH_FUNC_%%=() {\n}\n", "}\n"}) {
        site.write("environment", wrong);
        EXPECT_THAT(plan({"--env", site.path("environment"), "--user", "jdoe.sales.acme"}).err,
                    testing::HasSubstr(": not NAME=value\n"))
            << wrong;
    }
}

TEST_F(Plan, AnIfWithoutThenStandsInItsOwnLineWithItsValues) {
    for (const char *between : {"", "\n", "\r\n\n"}) {
        const OrderedJson plan =
            planOf("WRITE \"one\"\nIF \"%FULL_NAME\" = \"Jane Doe\"\n" + std::string(between) + "WRITE \"two\"\nEND\n");
        const std::vector<OrderedJson> ifs = of(plan, "if");
        ASSERT_EQ(ifs.size(), 1u);
        EXPECT_EQ(ifs[0]["line"], 2);
        EXPECT_EQ(ifs[0]["text"], "IF \"%FULL_NAME\" = \"Jane Doe\"");
        ASSERT_EQ(ifs[0]["tests"].size(), 1u);
        EXPECT_EQ(ifs[0]["tests"][0]["left"], "Jane Doe");
        EXPECT_EQ(ifs[0]["tests"][0]["values"][0]["reference"], "%FULL_NAME");
        EXPECT_EQ(of(plan, "print")[1]["line"], 3 + std::count(between, between + strlen(between), '\n'));
    }
}

TEST_F(Plan, AMistakeInAConditionLeavesNothingToTheNext) {
    const OrderedJson plan = planOf("IF \"%OS\" = \"x\" ~ ~ THEN\nEND\nIF \"a\" = \"a\" THEN WRITE \"b\"\n");
    ASSERT_EQ(of(plan, "if").size(), 1u);
    EXPECT_EQ(of(plan, "if")[0]["tests"].size(), 1u);
    EXPECT_EQ(of(plan, "if")[0]["tests"][0]["left"], "a");
}

TEST_F(Plan, ShowsWhatAnUnreadableIfSkips) {
    const char *broken = "IF MEMBER OF .managers.acme THEN MAP G:=SRV1/SYS:\n";
    const struct {
        std::string script, shown;
    } rows[] = {
        {"WRITE \"one\"\nIF \"a\" = \"a\" THEN\nWRITE \"two\"\nEND\nEND\nWRITE \"three\"\n",
         "     1  skips     up to END in line 6\n     7  prints    three\n"},
        {"WRITE \"one\"\nELSE\nWRITE \"two\"\nEND\n",
         "     1  skips     up to ELSE in line 3\n     3  else      executed\n     4  prints    two\n"},
        {"WRITE \"one\"\n", "     1  skips     the rest of the script: there is no END for this IF\n"},
    };
    for (const auto &row : rows) {
        userScript(broken + row.script);
        EXPECT_THAT(plan({"--user", "jdoe.sales.acme"}).out, testing::HasSubstr(row.shown));
    }
    // Behind another IF it ends with its line, and in a block that is skipped it skips nothing more.
    for (const char *script : {"IF \"a\" = \"a\" THEN IF ~ ~ ~ THEN WRITE \"x\"\nEND\n",
                               "IF \"a\" = \"b\" THEN\nIF ~ ~ ~ THEN WRITE \"x\"\nEND\nEND\n"})
        EXPECT_EQ(of(planOf(script), "skipped").size(), 0u) << script;
    EXPECT_EQ(of(planOf(broken + std::string("END\n")), "skipped")[0]["to"]["line"], 2);
}

TEST_F(Plan, MistakesAreInPlainWords) {
    const char *rows[][2] = {
        {"WRIET \"x\"", "no statement begins with WRIET; did you mean WRITE?"},
        {"MAP", ""},
        {"SHIFT \"1\"", "unexpected text in quotes; expected: SHIFT [NUMBER]"},
        {"DRIVE", "the line ends too early; expected: DRIVE X: | DRIVE *X"},
        {"IF MEMBER OF managers THEN WRITE \"x\"", "unexpected word; expected: IF CONDITION THEN [STATEMENT]"},
        {"IF \"a\" = \"a\" THEN CLS 1", "unexpected word; expected: CLS"},
        {"IF \"a\" = \"a\" THEN FOO 1", "no statement begins with FOO"},
        {"GOTO IF", "a reserved word is no label: this GOTO does not jump"},
    };
    for (const auto &[script, text] : rows) {
        const OrderedJson plan = planOf(std::string(script) + "\n");
        const std::vector<OrderedJson> mistakes = of(plan, "mistake");
        ASSERT_EQ(mistakes.empty(), *text == '\0') << script;
        if (mistakes.empty()) continue;
        EXPECT_EQ(mistakes[0]["text"], text);
        EXPECT_THAT(mistakes[0]["printed"].get<std::string>(), testing::HasSubstr("Script error.\n"));
    }
}

TEST_F(Plan, ReadsAsADistinguishedName) {
    for (const char *name : {"cn=jdoe,ou=sales,o=acme", "CN=jdoe, OU=sales, O=acme"}) {
        const Outcome outcome = plan({"--as", name, "--password-fd", "3", "--user", "locked.sales.acme"}, "secret\n");
        EXPECT_EQ(outcome.err, "");
        EXPECT_THAT(outcome.out, testing::HasSubstr("as " + std::string(name) + ".\n"));
    }
    const struct {
        std::string name, password, reason;
    } rows[] = {{"cn=jdoe,ou=sales,o=acme", "wrong\n", "wrong password\n"},
                {"cn=nobody,ou=sales,o=acme", "secret\n", "no such user\n"}};
    for (const auto &row : rows) {
        const Outcome outcome =
            plan({"--as", row.name, "--password-fd", "3", "--user", "jdoe.sales.acme"}, row.password);
        EXPECT_EQ(outcome.err, "qrtscript plan: cannot log in as " + row.name + " to tree ACME: " + row.reason);
        EXPECT_EQ(outcome.status, 2);
    }
}

TEST_F(Plan, ReadsAScriptFromStandardInput) {
    const Outcome outcome = process_run({"/bin/sh", "-c", "echo 'WRITE \"given\"' | exec \"$@\"", "sh", QRTSCRIPT_PATH,
                                         "plan", "--user", "jdoe.sales.acme", "-"},
                                        environment);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, testing::HasSubstr("\nstandard input\n     1  prints    given\n"));
}

TEST_F(Plan, ThePasswordAndAnInputAreNotReadFromOneFile) {
    site.write("both", "secret\nWRITE \"given\"\n");
    const std::string user = " --user jdoe.sales.acme ", as = " --as jdoe.sales.acme --password-fd ";
    const struct {
        std::string command, reason;
    } rows[] = {
        {"plan" + user + as + "0 -", "the password and the script cannot both come from standard input"},
        {"plan" + user + as + "3 - 3<&0", "the password and the script cannot both come from standard input"},
        {"plan" + user + as + "0 /dev/stdin", "cannot read /dev/stdin: file descriptor 0 reads the password from it"},
        {"plan" + user + as + "0 --profile-script /dev/stdin", "file descriptor 0 reads the password from it"},
        {"plan" + user + as + "0 --diff /dev/fd/0", "cannot read /dev/fd/0: file descriptor 0 reads the password"},
        {"plan" + user + as + "0 --env /proc/self/fd/0", "file descriptor 0 reads the password from it"},
        {"plan" + user + as + "3 3<both both", "cannot read both: file descriptor 3 reads the password from it"},
        {"run" + user + " --password-fd 0 /dev/stdin <both", "file descriptor 0 reads the password from it"},
        {"run" + user + " --password-fd 3 3<both both",
         "cannot read both: file descriptor 3 reads the password from it"},
    };
    for (const auto &row : rows) {
        const std::string command = "cd '" + site.path() + "'; cat both | \"$0\" " + row.command;
        const Outcome outcome = process_run({"/bin/sh", "-c", command, QRTSCRIPT_PATH}, environment);
        EXPECT_EQ(outcome.status, 2) << row.command;
        EXPECT_EQ(outcome.out, "") << row.command;
        EXPECT_THAT(outcome.err, testing::HasSubstr(row.reason)) << row.command;
    }
    const std::string apart = "cd '" + site.path() + "'; sed 1d both | \"$0\" plan" + user + as + "3 - 3<script.qrt";
    site.write("script.qrt", "secret\n");
    EXPECT_EQ(process_run({"/bin/sh", "-c", apart, QRTSCRIPT_PATH}, environment).status, 0);
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
    const OrderedJson plan = json({"--user", "jdoe.sales.acme"});
    EXPECT_EQ(of(plan, "include").size(), 100u);
    EXPECT_EQ(of(plan, "mistake")[0]["text"], "memory exhausted");
}

TEST_F(Plan, WhatIsRecordedHasALimit) {
    const std::string line = "WRITE \"" + std::string(60000, 'x') + "\"\n";
    const OrderedJson plan = planOf("WRITE \"begin\"\nA:\n" + line + "GOTO A\n");
    const std::vector<OrderedJson> stopped = of(plan, "stopped");
    ASSERT_EQ(stopped.size(), 1u);
    EXPECT_EQ(stopped[0]["reason"],
              "the record is larger than 32 MiB: what follows is cut off; if the scripts are not endless, plan shorter "
              "ones with SCRIPT");
    EXPECT_EQ(stopped[0]["line"], 3);
    EXPECT_EQ(plan["mistakes"], 1);
    EXPECT_GT(of(plan, "print").size(), 400u);
    EXPECT_LT(of(plan, "print").size(), 600u);
}

// In a world where the clock runs away, or a file does not answer (hook/slow_world.c).
class SlowPlan : public Plan {
  protected:
    SlowPlan() {
        std::filesystem::create_symlink(SLOW_WORLD_PATH, site.path("slow_world.so"));
        environment["ASAN_OPTIONS"] += ":verify_asan_link_order=0";
    }
    Outcome planOf(const std::string &script, const char *slow) {
        userScript(script);
        const std::string command = "LD_PRELOAD=" + site.path("slow_world.so") + " exec \"$@\"";
        environment["SLOW_WORLD"] = slow;
        return process_run({"/bin/sh", "-c", command, "sh", QRTSCRIPT_PATH, "plan", "--user", "jdoe.sales.acme"},
                           environment);
    }
};

TEST_F(SlowPlan, TheClockIsLookedAtInEachLineAndAtEachName) {
    for (const char *script :
         {"WRITE \"1\"\nWRITE \"2\"\nWRITE \"3\"\nWRITE \"4\"\nWRITE \"5\"\n", "WRITE \"%OS %OS %OS %OS %OS %OS\"\n"}) {
        const Outcome outcome = planOf(script, "clock");
        EXPECT_THAT(outcome.out, testing::HasSubstr("STOPPED   the scripts have run for more than 60 seconds\n"));
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.err, "");
    }
}

TEST_F(SlowPlan, AFileThatDoesNotAnswerIsGivenUp) {
    const Outcome outcome = planOf("DISPLAY " + site.path("stuck") + "\n", "file");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(
        outcome.err,
        "qrtscript plan: cannot plan a login of jdoe.sales.acme to tree ACME: a file or a server has not answered "
        "for three minutes\n");
}

#ifndef QRT_SANITIZED // whose own tables take terabytes of addresses
TEST_F(Plan, MemoryThatRunsOutIsToldInASentence) {
    site.write("many-lines.qrt", std::string(4000000, '\n'));
    site.write("one-line.qrt", "WRITE \"x\"\n");
    const auto limited = [&](const std::string &script) {
        return process_run({"/bin/sh", "-c", "ulimit -v 40000; exec \"$@\"", "sh", QRTSCRIPT_PATH, "plan", "--user",
                            "jdoe.sales.acme", site.path(script)},
                           environment);
    };
    EXPECT_EQ(limited("one-line.qrt").status, 0);
    const Outcome outcome = limited("many-lines.qrt");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err,
              "qrtscript plan: cannot plan a login of jdoe.sales.acme to tree ACME: memory exhausted: the scripts of a "
              "plan can have 2 GiB at most\n");
}

TEST_F(Plan, TheProcessOfTheScriptsHasALimitOfMemory) {
    EXPECT_THAT(process_run({"/usr/bin/strace", "-f", "-qq", "-e", "trace=setrlimit,prlimit64", QRTSCRIPT_PLAN_PATH,
                             "plan", "--user", "jdoe.sales.acme"},
                            environment)
                    .err,
                testing::HasSubstr("RLIMIT_AS, {rlim_cur=2097152*1024, rlim_max=2097152*1024}"));
}
#endif

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
    const OrderedJson plan = planOf(
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

TEST_F(Plan, SecretsAreMaskedInLinesThatAreNotExecuted) {
    const OrderedJson plan = planOf(
        "IF \"a\" = \"b\" THEN SET DB_PASSWORD=\"swordfish\"\n"
        "IF \"a\" = \"b\" THEN\nSET API_KEY=\"moonfish\"\nEND\n"
        "IF \"a\" = \"b\" THEN TRE LAB/jdoe;cod\n"
        "IF \"a\" = \"b\" THEN #sync --token=eel\n"
        "WRITE \"swordfish and moonfish\"\n"
        "SET DB_PWD \"starfish\"\n"
        "SETT PASSWORD=\"dogfish\"\n"
        "TRE LAB/jdoe;clownfish\n"
        "SET PASSWORD=sunfish\n"
        "#sync --secret=lungfish\n");
    const std::string text = plan.dump();
    for (const char *secret :
         {"swordfish", "moonfish", "cod", "eel", "starfish", "dogfish", "clownfish", "sunfish", "lungfish"})
        EXPECT_EQ(text.find(secret), std::string::npos) << secret << "\n" << plan.dump(2);
    EXPECT_EQ(of(plan, "print")[0]["text"], "******** and ********\n");
    EXPECT_EQ(of(plan, "if")[0]["text"], "IF \"a\" = \"b\" THEN SET DB_PASSWORD=********");
    EXPECT_EQ(of(plan, "run")[0]["words"][1], "--secret=********");
}

TEST_F(Plan, AShortSecretIsMaskedWhereItStands) {
    site.write("environment", "PIN=on\nPWD=/home/jdoe\nTOKEN=\n");
    userScript(
        "SET PASSWORD=\"no\"\n"
        "WRITE \"no is not one\"\n"
        "WRITE \"%<PASSWORD>\"\n"
        "SET COPY=\"<%<PIN>>\"\n"
        "WRITE \"on %<COPY>\"\n"
        "IF \"%<PIN>\" = \"on\" THEN WRITE \"on\"\n"
        "IF \"%<TOKEN>\" = \"off\" AND \"%OS\" = \"off\" THEN WRITE \"off\"\n"
        "SET SECRET=abc\n"
        "#echo on %<PIN>\n"
        "TREE LAB/jdoe;let\n"
        "WRITE \"let %<PWD>\"\n");
    const OrderedJson plan = json({"--env", site.path("environment"), "--user", "jdoe.sales.acme"});
    const std::vector<OrderedJson> prints = of(plan, "print"), sets = of(plan, "set"), ifs = of(plan, "if");
    ASSERT_EQ(prints.size(), 5u) << plan.dump(2);
    EXPECT_EQ(prints[0]["text"], "no is not one\n");
    EXPECT_EQ(prints[1]["text"], "********");
    EXPECT_EQ(prints[2]["text"], "on ********\n");
    EXPECT_EQ(prints[3]["text"], "********"); // of the line that has it
    EXPECT_EQ(prints[4]["text"], "let /home/jdoe\n");
    EXPECT_EQ(sets[0]["new"], "********");
    EXPECT_EQ(sets[1]["name"], "COPY");
    EXPECT_EQ(sets[1]["new"], "********");
    EXPECT_EQ(ifs[0]["text"], "IF \"%<PIN>\" = \"********\" THEN WRITE \"on\"");
    EXPECT_EQ(ifs[0]["tests"][0]["left"], "********");
    EXPECT_EQ(ifs[0]["tests"][0]["right"], "********");
    EXPECT_EQ(ifs[0]["tests"][0]["values"][0]["value"], "********");
    EXPECT_EQ(ifs[0]["tests"][0]["values"][0]["secret"], true);
    EXPECT_EQ(ifs[1]["tests"][0]["left"], "");
    EXPECT_EQ(ifs[1]["tests"][0]["right"], "********");
    EXPECT_EQ(ifs[1]["tests"][1]["right"], "off");
    EXPECT_EQ(of(plan, "not_found")[0]["name"], "********");
    EXPECT_EQ(of(plan, "run")[0]["words"][0], "echo");
    EXPECT_EQ(plan["environment"]["PIN"], "********");
    EXPECT_EQ(plan["environment"]["PWD"], "/home/jdoe");
    EXPECT_FALSE(plan.contains("secrets"));
}

TEST_F(Plan, ASecretCannotHideAMistake) {
    userScript("SET PASSWORD=\"mistake\"\nFOO 1\n");
    const Outcome outcome = plan({"--user", "jdoe.sales.acme"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, testing::HasSubstr("     2  MISTAKE   no statement begins with FOO"));
}

TEST_F(Plan, BothSidesOfADifferenceHideTheSecretsOfEither) {
    site.write("before.qrt", "WRITE \"swordfish\"\nSET OLD_PASSWORD=\"moonfish\"\n");
    site.write("after.qrt", "WRITE \"moonfish\"\nSET NEW_PASSWORD=\"swordfish\"\n");
    const Words words = {"--user", "jdoe.sales.acme", "--diff", site.path("after.qrt"), site.path("before.qrt")};
    EXPECT_THAT(plan(words).out, testing::EndsWith("after.qrt\n+    2  sets      NEW_PASSWORD = \"********\"\n"));
    const std::string changes = json(words)["changes"].dump();
    EXPECT_EQ(changes.find("fish"), std::string::npos) << changes;
}

TEST_F(Plan, AttributesWithPasswordsAreNotRead) {
    const OrderedJson plan = planOf("WRITE \"%USERPASSWORD %PASSWORD_EXPIRES\"\n");
    EXPECT_EQ(of(plan, "print")[0]["text"], "%USERPASSWORD 32767\n");
    EXPECT_EQ(of(plan, "not_found")[0]["reason"], "the object has no such value");
}

TEST_F(Plan, TextOfAFileIsUncertainOnceAProgramHasRun) {
    site.write("volume/notice.txt", "WRITE \"notice\"\n");
    const std::string configuration = file_text(site.path("client.toml"));
    site.write("client.toml", "mount = \"link\"\n" + configuration +
                                  "[[volume]]\nserver = \"SRV2\"\nname = \"DATA\"\nsource = \"" + site.path("volume") +
                                  "\"\n");
    const OrderedJson plan =
        planOf("MAP H:=SRV2/DATA:\nDRIVE H:\nDISPLAY notice.txt\n#true\nDISPLAY notice.txt\nINCLUDE notice.txt\n");
    const std::vector<OrderedJson> reads = of(plan, "read"), prints = of(plan, "print");
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
    environment["ASAN_OPTIONS"] += ":detect_leaks=0"; // which a traced process cannot do
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
    const OrderedJson plan = planOf("WRITE \"x\"\n");
    EXPECT_EQ(of(plan, "print").size(), 1u);
    EXPECT_THAT(process_run({"/usr/bin/strace", "-f", "-qq", "-e", "trace=seccomp,prctl", QRTSCRIPT_PLAN_PATH, "plan",
                             "--user", "jdoe.sales.acme"},
                            environment)
                    .err,
                testing::HasSubstr("SECCOMP_"));
}

// ---- the difference ----

TEST_F(Plan, TheDifferenceOfTwoScriptsIsThatOfTheirEffects) {
    userScript("WRITE \"one\"\nSET A=\"1\"\nMAP H:=SRV1/SYS:\nWRITE \"last\"\n");
    site.write("other.qrt",
               "\n\nWRITE \"one\"\nIF \"a\" = \"a\" THEN SET A=\"2\"\nMAP H:=SRV1/SYS:\n#true\nWRITE \"last\"\n");
    Outcome outcome = plan({"--user", "jdoe.sales.acme", "--diff", site.path("other.qrt")});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out.substr(outcome.out.find("\n\n") + 1),
              "\nuser script jdoe.sales.acme\n"
              "-    2  sets      A = \"1\"\n"
              "\n" +
                  site.path("other.qrt") +
                  "\n"
                  "+    4  sets      A = \"2\"\n"
                  "+    6  runs      true\n");
    // Line numbers and the way that the script takes are no effects.
    site.write("same.qrt", "WRITE \"one\"\nGOTO NEXT\nNEXT:\nSET A=\"1\"\nMAP H:=SRV1/SYS:\nWRITE \"last\"\n");
    outcome = plan({"--user", "jdoe.sales.acme", "--diff", site.path("same.qrt")});
    EXPECT_THAT(outcome.out, testing::EndsWith("\nNo change in the effects.\n"));
    // The status is that of the script that is to come.
    site.write("bad.qrt", "FOO 1\n");
    EXPECT_EQ(plan({"--user", "jdoe.sales.acme", "--diff", site.path("bad.qrt")}).status, 1);
    EXPECT_EQ(plan({"--user", "jdoe.sales.acme", "--diff", site.path("same.qrt"), site.path("bad.qrt")}).status, 0);
    const OrderedJson changes = json({"--user", "jdoe.sales.acme", "--diff", site.path("other.qrt")});
    EXPECT_EQ(changes["format"], "qrtscript-plan-difference");
    EXPECT_EQ(changes["changes"].size(), 3u);
    EXPECT_EQ(changes["changes"][0]["change"], "removed");
    EXPECT_EQ(changes["changes"][0]["effect"]["name"], "A");
}

// ---- many users ----

class PlanOfAll : public Plan {
  protected:
    void SetUp() override {
        containerScript(
            "WRITE \"Hello\"\nMAP F:=SRV1/SYS:public\nSET ME=\"%LOGIN_NAME\"\n"
            "IF MEMBER OF \"team\" THEN MAP P:=SRV2/DATA:apps\n");
        userScript("SET LEAK=\"from jdoe\"\nFOO 1\n");
        addToTree(
            "\ndn: cn=mary,ou=sales,o=acme\nobjectClass: inetOrgPerson\nobjectClass: qrtUser\ncn: mary\nsn: x\n"
            "qrtLoginScript: WRITE \"leaked %<LEAK>\"\n"
            "\ndn: cn=team,ou=sales,o=acme\nobjectClass: groupOfNames\ncn: team\n"
            "member: cn=jdoe,ou=sales,o=acme\nmember: cn=mary,ou=sales,o=acme\n");
    }
};

TEST_F(PlanOfAll, TellsWhoSeesMistakesAndWhatEachGroupGets) {
    const Outcome outcome =
        plan({"--all-users", "--summary", "--container", "sales.acme", "--as-of", "2026-03-05 09:05"});
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out.substr(outcome.out.find("\n\n") + 2),
              "3 users, 2 with mistakes or refused\n"
              "  locked.sales.acme: a login would be refused: CN=locked.OU=sales.O=acme is locked\n"
              "  user script jdoe.sales.acme line 2: no statement begins with FOO (jdoe.sales.acme)\n"
              "\n"
              "Everybody gets\n"
              "  maps F: = SRV1/SYS:public\n"
              "  prints Hello\n"
              "  sets ME (a different value for each user)\n"
              "\n"
              "Group team.sales.acme (2 users) also gets\n"
              "  maps P: = SRV2/DATA:apps\n"
              "\n"
              "Single users also get 2 effects\n"
              "  jdoe.sales.acme: sets LEAK = from jdoe\n"
              "  mary.sales.acme: prints leaked \n");
    EXPECT_THAT(outcome.out,
                testing::StartsWith("Plans of the logins of all users in sales.acme and below to tree ACME at 2026-"));
    EXPECT_THAT(outcome.out, testing::HasSubstr("Values were read anonymously"));
}

namespace {

// A user, and a group of some.
std::string user_entry(const std::string &name, const std::string &script, const std::string &below = "ou=sales") {
    return "\ndn: cn=" + name + "," + below + ",o=acme\nobjectClass: inetOrgPerson\nobjectClass: qrtUser\ncn: " + name +
           "\nsn: x\n" + (script.empty() ? "" : "qrtLoginScript: " + script + "\n");
}
std::string group_entry(const std::string &name, const Words &members) {
    std::string entry = "\ndn: cn=" + name + ",ou=sales,o=acme\nobjectClass: groupOfNames\ncn: " + name + "\n";
    for (const std::string &member : members) entry += "member: cn=" + member + ",ou=sales,o=acme\n";
    return entry;
}

} // namespace

class PlanOfMany : public Plan {
  protected:
    // In the order of their names, behind jdoe and locked.
    static constexpr int users = 30;
    void SetUp() override {
        containerScript(
            "IF MEMBER OF \"team\" THEN\n  MAP D:=SRV1/SYS:\nELSE\n  MAP G:=SRV2/DATA:\nEND\n"
            "IF \"%CN\" = \"u10\" THEN MAP X:=SRV1/SYS:x\n"
            "IF \"%CN\" = \"u12\" THEN\n  MAP K:=SRV1/SYS:k\nELSE\n  MAP K:=SRV1/SYS:\nEND\n"
            "IF \"%CN\" <> \"u11\" THEN WRITE \"nearly all\"\n"
            "IF \"%CN\" < \"u11\" THEN\n  FOO 1\n  ATTACH SRV2/jdoe\n  WRITE \"early\"\nEND\n");
        userScript("NO_DEFAULT\n");
        std::string entries;
        Words team = {"jdoe", "locked"};
        for (int i = 10; i < 10 + users - 2; i++) {
            const std::string name = "u" + std::to_string(i);
            if (team.size() < 5) team.push_back(name);
            entries += user_entry(name, "WRITE \"own " + name + "\"");
        }
        entries +=
            "\ndn: ou=emea,ou=sales,o=acme\nobjectClass: organizationalUnit\nobjectClass: qrtContainer\nou: emea\n"
            "qrtLoginScript:: V1JJVEUgImVtZWEiCk1BUCBHOj1TUlYyL0RBVEE6Cg==\n"; // WRITE "emea" and MAP G:
        for (const char *name : {"e1", "e2"}) entries += user_entry(name, "NO_DEFAULT", "ou=emea,ou=sales");
        addToTree(entries + group_entry("boss", {"u37"}) + group_entry("crew", team) + group_entry("team", team));
    }
};

TEST_F(PlanOfMany, ShowsWhatOthersAndSingleUsersGet) {
    const Outcome outcome = plan({"--all-users", "--summary"});
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out.substr(outcome.out.find("\n\n") + 2),
              "32 users, 30 with mistakes or refused\n"
              "  locked.sales.acme: a login would be refused: CN=locked.OU=sales.O=acme is locked\n"
              "  container script sales.acme line 14: no statement begins with FOO (all but e1.emea.sales.acme and "
              "e2.emea.sales.acme)\n"
              "  container script sales.acme line 15: Invalid attach command format (jdoe.sales.acme, "
              "locked.sales.acme and u10.sales.acme)\n"
              "  container script sales.acme line 15: unexpected \"/\"; expected: ATTACH SERVER (all but "
              "e1.emea.sales.acme and e2.emea.sales.acme)\n"
              "\n"
              "Everybody gets\n"
              "  nothing\n"
              "\n"
              "Group crew.sales.acme (5 users) also gets\n"
              "  maps D: = SRV1/SYS:\n"
              "\n"
              "Group team.sales.acme (5 users) also gets\n"
              "  maps D: = SRV1/SYS:\n"
              "\n"
              "The 2 users with the container script emea.sales.acme also get\n"
              "  default the caller is told to run no default script\n"
              "  prints emea\n"
              "\n"
              "The 27 users who are not in group crew.sales.acme also get\n"
              "  maps G: = SRV2/DATA:\n"
              "\n"
              "The 27 users who are not in group team.sales.acme also get\n"
              "  maps G: = SRV2/DATA:\n"
              "\n"
              "Groups with one user, whose effects are among those of single users: boss.sales.acme "
              "(u37.sales.acme)\n"
              "\n"
              "Some users also get\n"
              "  maps K: = SRV1/SYS: (all but u12.sales.acme, e1.emea.sales.acme and e2.emea.sales.acme)\n"
              "  prints nearly all (all but u11.sales.acme, e1.emea.sales.acme and e2.emea.sales.acme)\n"
              "  prints early (jdoe.sales.acme, locked.sales.acme and u10.sales.acme)\n"
              "\n"
              "Single users also get 31 effects\n"
              "  jdoe.sales.acme: default the caller is told to run no default script\n"
              "  u10.sales.acme: maps X: = SRV1/SYS:x; prints own u10\n"
              "  u11.sales.acme: prints own u11\n"
              "  u12.sales.acme: maps K: = SRV1/SYS:k; prints own u12\n"
              "  u13.sales.acme: prints own u13\n"
              "  u14.sales.acme: prints own u14\n"
              "  u15.sales.acme: prints own u15\n"
              "  u16.sales.acme: prints own u16\n"
              "  u17.sales.acme: prints own u17\n"
              "  u18.sales.acme: prints own u18\n"
              "  and those of 19 users more\n"
              "  (qrtscript plan --user USER shows all of one user, --format json of all users)\n");
}

TEST_F(PlanOfMany, TheJsonHasEachMistakeOnceWithItsUsersAndAllEffects) {
    const OrderedJson summary = json({"--all-users", "--summary"});
    ASSERT_EQ(summary["mistakes"].size(), 3u);
    EXPECT_EQ(summary["mistakes"][0]["users"].size(), 30u);
    EXPECT_EQ(summary["mistakes"][1]["users"].size(), 3u);
    EXPECT_EQ(summary["groups"][0]["group"], "boss.sales.acme");
    EXPECT_EQ(summary["groups"][0]["gets"], OrderedJson::array());
    EXPECT_EQ(summary["groups"][2]["others_get"][0]["what"], "maps G:");
    EXPECT_EQ(summary["scripts"][0]["script"], "container script emea.sales.acme");
    EXPECT_EQ(summary["single"].size(), 29u);
}

TEST_F(PlanOfAll, ASecretOfOneUserIsHiddenInWhatOthersGet) {
    containerScript("WRITE \"swordfish\"\n");
    userScript("SET DB_PASSWORD=\"swordfish\"\n");
    const Words words = {"--all-users", "--summary"};
    EXPECT_EQ(plan(words).out.find("swordfish"), std::string::npos);
    EXPECT_EQ(json(words).dump().find("swordfish"), std::string::npos);
}

TEST_F(PlanOfAll, NothingOfOneUsersRunReachesTheNext) {
    const OrderedJson summary = json({"--all-users", "--summary"});
    EXPECT_EQ(summary["format"], "qrtscript-plan-summary");
    ASSERT_EQ(summary["users"].size(), 3u);
    EXPECT_EQ(summary["users"][2]["user"], "mary.sales.acme");
    EXPECT_EQ(summary.dump().find("leaked from jdoe"), std::string::npos);
    EXPECT_EQ(summary["groups"][0]["users"], OrderedJson::array({"jdoe.sales.acme", "mary.sales.acme"}));
}

TEST_F(PlanOfAll, AUserWhoCannotBePlannedHidesNoOther) {
    environment["ZKCLIENT_CONF"] = site.path("client.toml");
    site.write("scripts/site.toml", "version = 1\n");
    site.write("scripts/acme/sales/mary.qrt", std::string("WRITE \"a\0\"\n", 11));
    const std::string configuration = file_text(site.path("client.toml"));
    site.write("client.toml", configuration + "scripts = \"scripts\"\n");
    const Outcome outcome = plan({"--all-users", "--summary"});
    EXPECT_EQ(outcome.status, 2) << outcome.out << outcome.err;
    EXPECT_THAT(outcome.out, testing::HasSubstr("  mary.sales.acme: could not be planned: "));
    EXPECT_THAT(outcome.out, testing::HasSubstr("  user script jdoe.sales.acme line 2: "));
}

TEST_F(PlanOfAll, ShowsItsProgressOnATerminal) {
    TerminalProcess terminal({QRTSCRIPT_PATH, "plan", "--all-users", "--summary"}, environment);
    EXPECT_TRUE(terminal.awaits("Planned 3 of 3 logins")) << terminal.shown();
    EXPECT_EQ(terminal.finish(), 1);
}

// ---- a run ----

class Run : public Plan {
  protected:
    Outcome run(const Words &words, const std::string &script, const std::string &password = "secret\n") {
        site.write("script.qrt", script);
        Words all = {QRTSCRIPT_PATH, "run", "--password-fd", "3", "--user", "jdoe.sales.acme"};
        all.insert(all.end(), words.begin(), words.end());
        all.push_back(site.path("script.qrt"));
        return process_run(all, environment, password);
    }
};

TEST_F(Run, DoesWhatTheScriptSays) {
    const Outcome outcome = run({"--var", "2=x"}, "WRITE \"Hello %FULL_NAME %2\"\n#touch " + home.path("made") +
                                                      "\nMAP H:=SRV1/SYS:public\nSET A=\"b\"\n#printenv A\n");
    EXPECT_EQ(outcome.out, login_head + "Hello Jane Doe x\nDrive H: = SRV1/SYS:public\nb\n");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(link("H"), "");
    EXPECT_EQ(file_text(home.path("made")), "");
}

TEST_F(Run, TheTraceStandsBesideTheLines) {
    const Outcome outcome = run({"--trace"},
                                "WRITE \"one\"\n"
                                "IF \"%FULL_NAME\" = \"Jane Doe\" THEN\n"
                                "SET A=\"b\"\n"
                                "#echo two\n"
                                "END\n"
                                "IF MEMBER OF \"nobodies\" THEN WRITE \"no\"\n"
                                "TREE OTHER/jdoe;swordfish; x\n");
    EXPECT_EQ(outcome.out,
              login_head +
                  "one\n"
                  "|    2  if        IF \"%FULL_NAME\" = \"Jane Doe\" THEN\n"
                  "|                 -> true: executed\n"
                  "|                    \"Jane Doe\" = \"Jane Doe\": true\n"
                  "|                    %FULL_NAME is \"Jane Doe\" (attribute FULL_NAME of jdoe.sales.acme)\n"
                  "|    3  sets      A = \"b\"\n"
                  "|    4  runs      echo two\n"
                  "two\n"
                  "|    6  no value  group .nobodies.sales.acme: there is no such object\n"
                  "|    6  if        IF MEMBER OF \"nobodies\" THEN WRITE \"no\"\n"
                  "|                 -> false: skipped\n"
                  "|                    MEMBER OF \"nobodies\": not a member (attribute Group_Membership of "
                  "jdoe.sales.acme: there is no such object)\n"
                  "\nScript error.\nThe original line was:\nTREE OTHER/jdoe;********\n\n"
                  "|    7  MISTAKE   unexpected \";\"; expected: TREE TREE[/USER[;PASSWORD]]\n"
                  "|                    Script error.\n"
                  "|                    The original line was:\n"
                  "|                    TREE OTHER/jdoe;********\n"
                  "Invalid tree command format\n"
                  "|    7  MISTAKE   Invalid tree command format\n");
    EXPECT_EQ(outcome.status, 1);
}

TEST_F(Run, AnyMistakeIsStatus1WithOrWithoutATrace) {
    for (const char *script : {"END\n", "ATTACH SRV9\n", "TREE OTHER/nobody;x\n", "INCLUDE /no/such/file\n",
                               "FOO 1\nWRITE \"x\"\n", "ELSE\n", "GOTO NOWHERE\n"}) {
        const int planned = [&] {
            site.write("script.qrt", script);
            return plan({"--user", "jdoe.sales.acme", site.path("script.qrt")}).status;
        }();
        EXPECT_EQ(run({}, script).status, planned) << script;
        EXPECT_EQ(run({"--trace"}, script).status, planned) << script;
    }
    EXPECT_EQ(run({}, "END\n").status, 1);
}

TEST_F(Run, ALoginIsARealOne) {
    addOtherTree();
    // Of "orchid": the password of the login itself is not sent to another tree.
    const std::string
        key = "userPassword: ",
        hash =
            "{CRYPT}$6$saltsalt$K0OamCcSlBEjAx48He7N4GV2zBALzF2iMe3pVc8sW725pS7UjG3JFuEcegWxyFsHOHzAOg1JI5fnu5EZr.Epz/";
    std::string other = file_text(site.path("other.ldif"));
    const size_t place = other.find(key) + key.size();
    site.write("other.ldif", other.replace(place, other.find('\n', place) - place, hash));
    const std::string script = "TREE OTHER/jdoe;orchid\n";
    EXPECT_THAT(run({"--trace"}, script).out, testing::HasSubstr("  logs in   jdoe.sales.acme to tree OTHER\n"));
    userScript(script);
    EXPECT_THAT(plan({"--user", "jdoe.sales.acme"}).out,
                testing::HasSubstr("jdoe.sales.acme to tree OTHER (the password is taken to be right)\n"));
}

TEST_F(Run, TheTraceShowsAnUnreadableIf) {
    EXPECT_THAT(run({"--trace"}, "IF ~ ~ ~ THEN\nWRITE \"x\"\nEND\n").out,
                testing::HasSubstr("|    1  skips     up to its ELSE or END\n"));
}

TEST_F(Run, AnInterruptIsStatus130) {
    program("waits", "kill -INT $PPID; sleep 1");
    EXPECT_EQ(run({}, "BREAK ON\n" + running("waits")).status, 130);
}

TEST_F(Run, AReaderThatIsGoneEndsItWithoutAWord) {
    site.write("script.qrt", "WRITE \"one\"\n#sleep 1\nWRITE \"two\"\n");
    const Outcome outcome =
        process_run({"/bin/bash", "-c", "\"$@\" | :; exit ${PIPESTATUS[0]}", "sh", QRTSCRIPT_PATH, "run",
                     "--password-fd", "3", "--user", "jdoe.sales.acme", site.path("script.qrt")},
                    environment, "secret\n");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, 128 + SIGPIPE);
}

TEST_F(Run, ItsMessagesBeginWithItsName) {
    site.write("script.qrt", "WRITE \"x\"\n");
    TerminalProcess terminal({QRTSCRIPT_PATH, "run", "--user", "jdoe.sales.acme", site.path("script.qrt")},
                             environment);
    ASSERT_TRUE(terminal.answers("assword", "wrong\n")) << terminal.shown();
    ASSERT_TRUE(terminal.awaits("qrtscript run: cannot log in as jdoe.sales.acme to tree ACME: wrong password"))
        << terminal.shown();
    ASSERT_TRUE(terminal.answers("assword", "secret\n")) << terminal.shown();
    EXPECT_EQ(terminal.finish(), 0);
    EXPECT_THAT(terminal.shown(), testing::Not(testing::HasSubstr("qrtlogin")));
    const Outcome ended = run({"--time-limit", "1"}, "#sleep 30\n");
    EXPECT_EQ(ended.status, 124);
    EXPECT_THAT(ended.err, testing::StartsWith("qrtscript run: "));
}

TEST_F(Run, ShowsNoSecretOfTheScript) {
    const std::string script =
        "TRE OTHER/jdoe;eel\n"
        "IF \"a\" = \"b\" THEN SET DB_PASSWORD=\"cod\"\n"
        "SET API_KEY=carp\n"
        "IF \"%<API_KEY>\" = \"%carp\" THEN #true --token=pike\n"
        "l\xF6wenfisch\n";
    for (const Words &words : {Words{}, Words{"--trace"}}) {
        const Outcome outcome = run(words, script);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.out,
                    testing::HasSubstr("\nScript error.\nThe original line was:\nTRE OTHER/jdoe;********\n\n"));
        EXPECT_THAT(outcome.out, testing::HasSubstr("\nl\xF6wenfisch\n\n")) << "the report's own bytes";
        for (const char *secret : {"eel", "cod", "carp", "pike"})
            EXPECT_EQ(outcome.out.find(secret), std::string::npos) << outcome.out;
        EXPECT_EQ(outcome.err, "");
    }
}

TEST_F(Run, ALoginThatFailsRunsNothing) {
    const Outcome outcome = run({}, "#touch " + home.path("made") + "\n", "wrong\n");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, testing::StartsWith("qrtscript run: cannot log in as jdoe.sales.acme to tree ACME: "));
    EXPECT_NE(access(home.path("made").c_str(), F_OK), 0);
    EXPECT_EQ(process_run({QRTSCRIPT_PATH, "run", "--user", "jdoe.sales.acme"}, environment).status, 2);
    EXPECT_EQ(process_run({QRTSCRIPT_PATH, "run", site.path("script.qrt")}, environment).status, 2);
}

TEST_F(Run, TheScriptIsARegularFile) {
    ASSERT_EQ(mkfifo(site.path("pipe").c_str(), 0600), 0);
    for (const std::string &file : {site.path("pipe"), std::string("/dev/zero"), site.path()}) {
        const Outcome outcome = process_run(
            {QRTSCRIPT_PATH, "run", "--password-fd", "3", "--user", "jdoe.sales.acme", file}, environment, "secret\n");
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, testing::StartsWith("qrtscript run: cannot read the script " + file + ": "));
    }
}

TEST_F(Run, AsksForThePasswordOnATerminal) {
    site.write("script.qrt", "WRITE \"Hello\"\n");
    TerminalProcess terminal({QRTSCRIPT_PATH, "run", "--user", "jdoe.sales.acme", site.path("script.qrt")},
                             environment);
    ASSERT_TRUE(terminal.answers("assword", "secret\n")) << terminal.shown();
    EXPECT_TRUE(terminal.awaits("Hello")) << terminal.shown();
    EXPECT_EQ(terminal.finish(), 0);
}

// ---- the manual ----

class PlanManual : public Plan {
  protected:
    // The blocks of docs/administrator.md with these names, one after the other in one shell.
    Outcome type(const Words &names) {
        useSample();
        std::string text = "set -e\ncd '" + site.path() + "'\n";
        for (const std::string &name : names) text += manual_block("administrator.md", name, "sh");
        environment["PATH"] = std::string(BINARY_DIR) + ":/usr/bin:/bin";
        environment["SCRIPTS"] = acme + "/scripts";
        site.write("password", "sunflower\n");
        return process_run({"/bin/sh", "-c", text}, environment);
    }
};

TEST_F(PlanManual, ShowsThePlanOfALogin) {
    const Outcome outcome = type({"the plan of a login"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, testing::HasSubstr("     4  if        IF \"%2\" = \"quiet\" THEN GOTO DRIVES\n"
                                                "                  -> false: skipped\n"
                                                "                     \"%2\" = \"quiet\": false\n"
                                                "                     %2: the script variable is not set\n"));
    EXPECT_THAT(outcome.out, testing::HasSubstr("    16  maps      H: = SRV1/USERS:home/jdoe\n"));
}

TEST_F(PlanManual, ShowsThePlanOfAChange) {
    const Outcome outcome = type({"the plan of a change"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, testing::HasSubstr("\nnew.qrt\n+   20  maps      P: = "));
}

TEST_F(PlanManual, ShowsThePlanOfAnotherDayAndOfAContainer) {
    const Outcome outcome = type({"the plan of another day", "the plans of a container"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, testing::HasSubstr(" at 2026-12-24 17:30:00 "));
    EXPECT_THAT(outcome.out, testing::HasSubstr("\n2 users, none with mistakes or refused\n"));
}

TEST_F(PlanManual, ShowsARun) {
    environment["HOME"] = home.path();
    const Outcome outcome = type({"the plan of a change", "a run"});
    EXPECT_THAT(outcome.out, testing::HasSubstr("Drive H: = SRV1/USERS:home/jdoe\n"));
    EXPECT_THAT(outcome.out, testing::HasSubstr("|   16  runs      map H:=SRV1/USERS:home/jdoe\n"));
}
