// qrtscript edit and log, and the folder of former scripts.
#include <csignal>

#include "tests/qrtscript/object_site.h"

namespace {

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

class ObjectEdit : public ObjectSite {
  protected:
    ObjectEdit() { containerScript("WRITE \"one\"\nWRITE \"two\"\nREM\nREM\nWRITE \"three\"\n"); }
    // What the editor does with the file "$1"; `variable` names it.
    void editor(const std::string &commands, const char *variable = "EDITOR") {
        program("editor", commands);
        environment[variable] = site.path("editor");
    }
    std::string former() const { return file_text(site.path("container.qrt")); }
    // The one file that was kept, with the folder that it is in.
    std::string kept() const {
        std::string text;
        for (const auto &item : fs::recursive_directory_iterator(temporary.path())) {
            if (!item.is_regular_file()) continue;
            EXPECT_EQ(text, "") << "more than one";
            EXPECT_EQ(item.path().filename(), "sales.acme.qrt");
            EXPECT_EQ(fs::status(item.path()).permissions(), fs::perms(0600));
            EXPECT_EQ(fs::status(item.path().parent_path()).permissions(), fs::perms(0700));
            text = file_text(item.path());
        }
        return text;
    }
    Words backupWords(Words words) const {
        words.insert(words.end(), {"--backup-dir", site.path("former")});
        return words;
    }
    void git(const std::string &words) const {
        const Outcome done =
            process_run({"/bin/sh", "-c", "cd '" + site.path("former") + "' && git " + words}, process_environment());
        ASSERT_EQ(done.status, 0) << done.err;
    }
};

constexpr const char *changed = "sed -i 's/two/2/' \"$1\"\n";
constexpr const char *result = "WRITE \"one\"\nWRITE \"2\"\nREM\nREM\nWRITE \"three\"\n";

} // namespace

TEST_F(ObjectEdit, PutsBackWhatTheEditorHasMade) {
    editor(changed);
    const Outcome outcome = qrtscript({"edit", "sales.acme", "--yes"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(former(), result);
    EXPECT_THAT(outcome.out, HasSubstr("\n-WRITE \"two\"\n+WRITE \"2\"\n"));
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(temporaries(), 0);
}

TEST_F(ObjectEdit, VisualComesBeforeEditorAndMayHaveWords) {
    editor("exit 9\n");
    program("visual", "test \"$1\" = --wait && shift && " + std::string(changed));
    environment["VISUAL"] = site.path("visual") + " --wait";
    EXPECT_EQ(qrtscript({"edit", "sales.acme", "--yes"}).status, 0);
    EXPECT_EQ(former(), result);
}

TEST_F(ObjectEdit, WithoutAChangeNothingIsWritten) {
    editor("true\n");
    EXPECT_EQ(qrtscript({"edit", "sales.acme"}), (Outcome{0, "", "qrtscript edit: nothing was changed\n"}));
    EXPECT_EQ(temporaries(), 0);
}

TEST_F(ObjectEdit, AScriptWithoutALastLineEndIsEditedAsAFile) {
    userScript("WRITE \"a\"");
    editor("sed -i s/x/y/ \"$1\"\n");
    EXPECT_EQ(qrtscript({"edit", "jdoe.sales.acme"}), (Outcome{0, "", "qrtscript edit: nothing was changed\n"}));
    editor("sed -i s/a/b/ \"$1\"\n");
    EXPECT_EQ(qrtscript({"edit", "jdoe.sales.acme", "--yes"}).err, "");
    EXPECT_EQ(script("jdoe.sales.acme"), "WRITE \"b\"\n");
}

TEST_F(ObjectEdit, FindingsNameTheObject) {
    editor("echo FOO >\"$1\"\n");
    EXPECT_THAT(qrtscript({"edit", "jdoe.sales.acme", "--yes"}).err, StartsWith("jdoe.sales.acme:1:1: error: "));
}

TEST_F(ObjectEdit, BeginsAFirstScriptWithAnEmptyFile) {
    editor("test ! -s \"$1\" && echo EXIT >\"$1\"\n");
    EXPECT_EQ(qrtscript({"edit", "jdoe.sales.acme", "--yes"}).status, 0);
    EXPECT_EQ(script("jdoe.sales.acme"), "EXIT\n");
}

TEST_F(ObjectEdit, KeepsTheTextWhenTheAnswerIsNo) {
    editor(changed);
    auto process = onTerminal({"edit", "sales.acme"});
    ASSERT_TRUE(process->answers("Make this the login script of sales.acme? (y/n) ", "n\n")) << process->shown();
    EXPECT_EQ(process->finish(), 1);
    EXPECT_THAT(process->shown(), MatchesRegex("(.|\n)*qrtscript edit: the text is kept in " + temporary.path() +
                                               "/qrtscript-[^/]*/sales\\.acme\\.qrt\r\n"));
    EXPECT_EQ(kept(), result);
    EXPECT_THAT(former(), HasSubstr("two"));
}

TEST_F(ObjectEdit, KeepsTheTextWhenTheEditorFails) {
    editor(std::string(changed) + "exit 3\n");
    const Outcome outcome = qrtscript({"edit", "sales.acme", "--yes"});
    EXPECT_EQ(outcome.status, 8);
    EXPECT_THAT(outcome.err, HasSubstr("the text is kept in "));
    EXPECT_THAT(outcome.err, HasSubstr("qrtscript edit: the editor failed: " + site.path("editor")));
    EXPECT_EQ(kept(), result);
    EXPECT_THAT(former(), HasSubstr("two"));
}

TEST_F(ObjectEdit, KeepsNothingOfAFailedEditorThatHasChangedNothing) {
    for (const char *end : {"exit 3\n", "kill -9 $$\n", "rm \"$1\"; exit 1\n"}) {
        editor(end);
        const Outcome outcome = qrtscript({"edit", "sales.acme", "--yes"});
        EXPECT_EQ(outcome.status, 8);
        EXPECT_THAT(outcome.err, EndsWith("qrtscript edit: the editor failed: " + site.path("editor") + "\n"));
        EXPECT_THAT(outcome.err, Not(HasSubstr("is kept")));
        EXPECT_EQ(temporaries(), 0) << end;
    }
}

TEST_F(ObjectEdit, SaysWhenTheEditorHasRemovedTheFile) {
    environment["EDITOR"] = "rm";
    EXPECT_EQ(qrtscript({"edit", "sales.acme", "--yes"}),
              (Outcome{8, "", "qrtscript edit: the editor has removed its file: rm\n"}));
    EXPECT_EQ(temporaries(), 0);
    editor("mv \"$1\" \"$1~\"\n");
    EXPECT_THAT(qrtscript({"edit", "sales.acme", "--yes"}).err,
                MatchesRegex("qrtscript edit: the editor's files are kept in " + temporary.path() +
                             "/qrtscript-[^/]*/\n[^\n]*has removed its file: [^\n]*\n"));
    EXPECT_EQ(temporaries(), 1);
}

TEST_F(ObjectEdit, KeepsWhatAFailedEditorHasLeftForARecovery) {
    editor("echo swapped >\"$(dirname \"$1\")/.swap\"; kill -9 $$\n");
    const Outcome outcome = qrtscript({"edit", "sales.acme", "--yes"});
    EXPECT_EQ(outcome.status, 8);
    EXPECT_THAT(outcome.err, HasSubstr("the text is kept in "));
    EXPECT_EQ(temporaries(), 1);
}

// The editor has saved and is still open.
TEST_F(ObjectEdit, KeepsWhatTheEditorHasSavedOnASignal) {
    editor(changed + std::string("echo saved; read -r line\n"));
    for (const int number : {SIGTERM, SIGHUP}) {
        auto process = onTerminal({"edit", "sales.acme"});
        ASSERT_TRUE(process->awaits("saved")) << process->shown();
        kill(process->id(), number);
        EXPECT_EQ(process->finish(), 1000 + number);
        EXPECT_THAT(process->shown(), HasSubstr("The text is kept in " + temporary.path()));
        EXPECT_EQ(kept(), result);
        for (const auto &item : fs::directory_iterator(temporary.path())) fs::remove_all(item.path());
    }
    EXPECT_THAT(former(), HasSubstr("two"));
}

TEST_F(ObjectEdit, KeepsTheTextOnAnInterruptAndSaysWhere) {
    editor(changed);
    auto process = onTerminal({"edit", "sales.acme"});
    ASSERT_TRUE(process->awaits("(y/n) "));
    process->interrupt();
    EXPECT_EQ(process->finish(), 1000 + SIGINT);
    EXPECT_THAT(process->shown(), HasSubstr("The text is kept in " + temporary.path()));
    EXPECT_EQ(kept(), result);
    EXPECT_THAT(former(), HasSubstr("two"));
}

TEST_F(ObjectEdit, KeepsATextThatCannotBeWritten) {
    editor(changed + std::string("mv '") + site.path("container.qrt") + "' '" + site.path("gone") + "'\n");
    const Outcome outcome = qrtscript({"edit", "sales.acme", "--yes"});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.err, HasSubstr("container.qrt: No such file or directory"));
    EXPECT_EQ(kept(), result);
}

TEST_F(ObjectEdit, OffersToEditAnErrorOnceMore) {
    editor("if grep -q IF \"$1\"; then " + std::string("sed -i 's/^IF.*/EXIT/' \"$1\"") +
           "; else echo 'IF \"a\" = \"a\" THEN' >>\"$1\"; fi\n");
    auto process = onTerminal({"edit", "sales.acme", "--yes"});
    ASSERT_TRUE(process->answers("Edit it once more? (y/n) ", "y\n")) << process->shown();
    EXPECT_EQ(process->finish(), 0) << process->shown();
    EXPECT_THAT(former(), EndsWith("WRITE \"three\"\nEXIT\n"));
}

TEST_F(ObjectEdit, RefusesAnErrorAndKeepsTheText) {
    editor("echo 'IF \"a\" = \"a\" THEN' >>\"$1\"\n");
    const Outcome outcome = qrtscript({"edit", "sales.acme", "--yes"});
    EXPECT_EQ(outcome.status, 6);
    EXPECT_THAT(outcome.err, EndsWith("qrtscript edit: the login script of sales.acme was not written\n"));
    EXPECT_THAT(kept(), EndsWith("THEN\n"));
    EXPECT_THAT(former(), Not(HasSubstr("IF")));
}

TEST_F(ObjectEdit, MergesWithWhatSomebodyElseHasChanged) {
    editor(changed + std::string("sed -i 's/three/3/' '") + site.path("container.qrt") + "'\n");
    auto process = onTerminal({"edit", "sales.acme", "--yes"});
    ASSERT_TRUE(process->answers("Merge both changes? (y/n) ", "y\n")) << process->shown();
    EXPECT_EQ(process->finish(), 0) << process->shown();
    EXPECT_EQ(former(), "WRITE \"one\"\nWRITE \"2\"\nREM\nREM\nWRITE \"3\"\n");
    EXPECT_EQ(temporaries(), 0);
}

TEST_F(ObjectEdit, MarksWhatBothHaveChanged) {
    editor("if grep -q '<<<<' \"$1\"; then cp \"$1\" '" + site.path("marked") +
           "'; echo 'WRITE \"both\"' >\"$1\"; else " + std::string("sed -i 's/two/2/' \"$1\"") +
           "; sed -i 's/two/zwei/' '" + site.path("container.qrt") + "'; fi\n");
    auto process = onTerminal({"edit", "sales.acme", "--yes"});
    ASSERT_TRUE(process->answers("Merge both changes? (y/n) ", "y\n")) << process->shown();
    EXPECT_EQ(process->finish(), 0) << process->shown();
    EXPECT_EQ(file_text(site.path("marked")),
              "WRITE \"one\"\n<<<<<<< yours\nWRITE \"2\"\n=======\nWRITE \"zwei\"\n"
              ">>>>>>> theirs\nREM\nREM\nWRITE \"three\"\n");
    EXPECT_EQ(former(), "WRITE \"both\"\n");
}

TEST_F(ObjectEdit, MergesByDiff3WhereThereIsNoGit) {
    site.make("bin");
    for (const char *name : {"sh", "sed", "diff", "diff3", "env"})
        fs::create_symlink("/usr/bin/" + std::string(name), site.path("bin/" + std::string(name)));
    environment["PATH"] = site.path("bin");
    editor(changed + std::string("sed -i 's/three/3/' '") + site.path("container.qrt") + "'\n");
    auto process = onTerminal({"edit", "sales.acme", "--yes"});
    ASSERT_TRUE(process->answers("Merge both changes? (y/n) ", "y\n")) << process->shown();
    EXPECT_EQ(process->finish(), 0) << process->shown();
    EXPECT_EQ(former(), "WRITE \"one\"\nWRITE \"2\"\nREM\nREM\nWRITE \"3\"\n");
}

TEST_F(ObjectEdit, KeepsTheTextOnAConflictWithoutATerminal) {
    editor(changed + std::string("sed -i 's/three/3/' '") + site.path("container.qrt") + "'\n");
    const Outcome outcome = qrtscript({"edit", "sales.acme", "--yes"});
    EXPECT_EQ(outcome.status, 7);
    EXPECT_THAT(outcome.err, EndsWith("container.qrt has been changed by somebody else\n"));
    EXPECT_EQ(kept(), result);
    EXPECT_EQ(former(), "WRITE \"one\"\nWRITE \"two\"\nREM\nREM\nWRITE \"3\"\n");
}

TEST_F(ObjectEdit, KeepsFormerScriptsByObjectAndTime) {
    editor(changed);
    ASSERT_EQ(qrtscript(backupWords({"edit", "sales.acme", "--yes"})).status, 0);
    ASSERT_EQ(qrtscript(backupWords({"put", "sales.acme", "--yes"}), "EXIT\n").status, 0);
    std::vector<std::string> names, texts;
    for (const auto &item : fs::directory_iterator(site.path("former/ACME/acme/sales"))) names.push_back(item.path());
    std::sort(names.begin(), names.end());
    ASSERT_EQ(names.size(), 2u);
    EXPECT_THAT(fs::path(names[0]).filename().string(),
                MatchesRegex("_container\\.qrt\\.[0-9]{8}T[0-9]{6}\\.[0-9]{6}Z"));
    EXPECT_THAT(file_text(names[0]), HasSubstr("two"));
    EXPECT_EQ(file_text(names[1]), result);
    const Outcome log = qrtscript(backupWords({"log", "sales.acme"}));
    EXPECT_THAT(log.out, MatchesRegex("20[0-9-]{8}T[0-9:]{8}Z  replaced; the former script is in [^\n]*\n"
                                      "20[0-9-]{8}T[0-9:]{8}Z  replaced; the former script is in [^\n]*\n"));
    EXPECT_LT(log.out.find(fs::path(names[1]).filename().string()),
              log.out.find(fs::path(names[0]).filename().string()));
    const std::string all = qrtscript(backupWords({"log", "-v", "sales.acme"})).out;
    EXPECT_THAT(all, HasSubstr("\n-WRITE \"one\"\n-WRITE \"2\"\n-REM\n-REM\n-WRITE \"three\"\n+EXIT\n"));
    EXPECT_THAT(all, EndsWith("\n-WRITE \"two\"\n+WRITE \"2\"\n REM\n REM\n WRITE \"three\"\n"));
}

TEST_F(ObjectEdit, CommitsFormerScriptsInARepository) {
    site.make("former");
    git("init -q && git config user.name Admin && git config user.email admin@example.test");
    ASSERT_EQ(qrtscript(backupWords({"put", "sales.acme", "--yes"}), "EXIT\n").status, 0);
    git("diff --quiet HEAD && test -z \"$(git status --porcelain)\"");
    git("log --format=%s | grep -qx 'Keep the former login script of sales.acme'");
    EXPECT_THAT(qrtscript(backupWords({"log", "sales.acme"})).out, MatchesRegex(".* \\([0-9a-f]{7,} Admin\\)\n"));
}

TEST_F(ObjectEdit, WritesNothingWhenTheFormerScriptCannotBeKept) {
    site.write("former", "in the way");
    const Outcome outcome = qrtscript(backupWords({"put", "sales.acme", "--yes"}), "EXIT\n");
    EXPECT_EQ(outcome.status, 73);
    EXPECT_THAT(outcome.err, HasSubstr("qrtscript put: cannot keep the former script in " + site.path("former")));
    EXPECT_THAT(former(), HasSubstr("two"));
    fs::remove(site.path("former"));
    site.make("former/.git"); // no repository
    EXPECT_EQ(qrtscript(backupWords({"put", "sales.acme", "--yes"}), "EXIT\n").status, 73);
    EXPECT_THAT(former(), HasSubstr("two"));
}

// Without a name for Git, with a hook that refuses, with somebody else's lock, on a failing write.
TEST_F(ObjectEdit, WhatWasNotReplacedLeavesNoCopy) {
    site.make("former");
    git("init -q && echo staged >other && git add other");
    const auto expectNothing = [this](const Words &words, int status, const std::string &what) {
        const Outcome outcome = qrtscript(backupWords(words), "EXIT\n");
        EXPECT_EQ(outcome.status, status) << what << outcome.err;
        EXPECT_THAT(former(), HasSubstr("two")) << what;
        EXPECT_THAT(qrtscript(backupWords({"log", "sales.acme"})).out, "") << what;
        git("status --porcelain >../status");
        EXPECT_THAT(file_text(site.path("status")), MatchesRegex("A  other\n")) << what;
    };
    const Words put = {"put", "sales.acme", "--yes"};
    environment["GIT_CONFIG_GLOBAL"] = "/dev/null";
    environment["EMAIL"] = "";
    git("config user.useConfigOnly true");
    expectNothing(put, 73, "no identity");
    git("config user.name Admin && git config user.email admin@example.test");
    site.write("former/.git/hooks/pre-commit", "#!/bin/sh\nexit 1\n");
    fs::permissions(site.path("former/.git/hooks/pre-commit"), fs::perms(0700));
    expectNothing(put, 73, "a hook");
    fs::remove(site.path("former/.git/hooks/pre-commit"));
    site.write("former/.git/index.lock", "");
    expectNothing(put, 73, "a lock");
    fs::remove(site.path("former/.git/index.lock"));
    // Somebody else changes the script while this hook runs.
    const std::string script = site.path("container.qrt");
    site.write("former/.git/hooks/pre-commit", "#!/bin/sh\necho 'REM two' >'" + script + "'\n");
    fs::permissions(site.path("former/.git/hooks/pre-commit"), fs::perms(0700));
    expectNothing(put, 7, "a conflict");
    git("log --format=%s >../subjects");
    EXPECT_EQ(file_text(site.path("subjects")),
              "Take back copies of login scripts that were not replaced\nKeep the former login script of sales.acme\n");
}

TEST_F(ObjectEdit, AnInterruptWhileGitRunsLeavesNoCopy) {
    site.make("former");
    git("init -q && git config user.name Admin && git config user.email admin@example.test");
    site.write("new.qrt", "EXIT\n");
    for (const char *hook : {"pre-commit", "post-commit"}) { // before the commit is made, and afterwards
        const std::string path = site.path(std::string("former/.git/hooks/") + hook);
        site.write(std::string("former/.git/hooks/") + hook,
                   "#!/bin/sh\necho ran >>../ran; echo running >/dev/tty; exec sleep 20\n");
        fs::permissions(path, fs::perms(0700));
        auto process = onTerminal(backupWords({"put", "sales.acme", site.path("new.qrt"), "--yes"}));
        ASSERT_TRUE(process->awaits("running")) << process->shown();
        process->interrupt();
        EXPECT_EQ(process->finish(), 1000 + SIGINT);
        EXPECT_THAT(former(), HasSubstr("two"));
        EXPECT_EQ(qrtscript(backupWords({"log", "sales.acme"})).out, "") << hook;
        EXPECT_EQ(file_text(site.path("ran")), "ran\n") << "not by what takes the copy back";
        fs::remove(site.path("ran"));
        fs::remove(path);
        git("status --porcelain >../status");
        EXPECT_EQ(file_text(site.path("status")), "") << hook;
    }
}

TEST_F(ObjectEdit, SeveralWaitForOneBackupFolder) {
    site.make("former");
    git("init -q && git config user.name Admin && git config user.email admin@example.test");
    std::string line;
    for (const char digit : std::string("12345678")) {
        const std::string name = std::string("u") + digit;
        addToTree("\ndn: cn=" + name + ",o=acme\nobjectClass: person\ncn: " + name +
                  "\nsn: u\nqrtLoginScript:< file:" + name + ".qrt\n");
        site.write(name + ".qrt", "REM\n");
        line += "echo EXIT | '" QRTSCRIPT_PATH "' put " + name + ".acme --yes --backup-dir '" + site.path("former") +
                "' >/dev/null || echo failed & ";
    }
    EXPECT_EQ(process_run({"/bin/sh", "-c", line + "wait"}, environment), (Outcome{0, "", ""}));
    git("rev-list --count HEAD >../count && git status --porcelain >>../count");
    EXPECT_EQ(file_text(site.path("count")), "8\n");
}

TEST_F(ObjectEdit, LogSaysWhenNothingIsKnown) {
    EXPECT_EQ(qrtscript({"log", "sales.acme"}),
              (Outcome{0, "", "qrtscript log: nothing is known about the login script of sales.acme\n"}));
    EXPECT_EQ(qrtscript({"log", "nobody.acme"}).status, 5);
}

TEST_F(ObjectEdit, AHooksRepositoryIsNotTheBackups) {
    for (const char *name : {"former", "hook"}) {
        site.make(name);
        ASSERT_EQ(process_run({"/usr/bin/git", "init", "-q", site.path(name)}, environment).status, 0);
    }
    git("config user.name Admin");
    git("config user.email admin@acme.example");
    environment["GIT_DIR"] = site.path("hook/.git");
    editor(changed);
    ASSERT_EQ(qrtscript(backupWords({"edit", "sales.acme", "--yes"})).status, 0);
    environment.erase("GIT_DIR");
    const auto commits = [&](const std::string &name) {
        return process_run({"/usr/bin/git", "-C", site.path(name), "rev-list", "--all", "--count"}, environment).out;
    };
    EXPECT_EQ(commits("former"), "1\n");
    EXPECT_EQ(commits("hook"), "0\n");
}
