// qrtscript export and import.
#include <csignal>

#include "tests/qrtscript/object_site.h"

namespace {

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class ObjectFolder : public ObjectSite {
  protected:
    ObjectFolder() {
        containerScript("WRITE \"sales\"\n");
        userScript("WRITE \"user\"\n");
    }
    std::string folder(const std::string &name = "") const {
        return site.path("scripts") + (name.empty() ? "" : "/" + name);
    }
    std::string text(const std::string &name) const { return file_text(folder(name)); }
    void write(const std::string &name, const std::string &what) const { site.write("scripts/" + name, what); }
    Outcome put(const std::string &subcommand, Words more = {}) {
        more.insert(more.begin(), {subcommand, folder()});
        return qrtscript(more);
    }
    std::vector<std::string> files() const {
        std::vector<std::string> all;
        for (const auto &item : fs::recursive_directory_iterator(folder()))
            if (item.is_regular_file()) all.push_back(fs::relative(item.path(), folder()));
        std::sort(all.begin(), all.end());
        return all;
    }
};

} // namespace

TEST_F(ObjectFolder, ExportWritesEachScriptUnderItsObjectsPath) {
    EXPECT_EQ(put("export"), (Outcome{0, "add     acme/sales/_container.qrt\nadd     acme/sales/jdoe.qrt\n",
                                      "qrtscript export: 2 login scripts, 2 written\n"}));
    EXPECT_THAT(files(), testing::ElementsAre("acme/sales/_container.qrt", "acme/sales/jdoe.qrt", "site.toml"));
    EXPECT_EQ(text("acme/sales/jdoe.qrt"), "WRITE \"user\"\n");
    EXPECT_EQ(put("export"), (Outcome{0, "", "qrtscript export: 2 login scripts, 0 written\n"}));
    userScript("");
    site.write("user.qrt", "EXIT\n");
    EXPECT_EQ(put("export", {"--dry-run"}),
              (Outcome{0, "change  acme/sales/jdoe.qrt\n", "qrtscript export: 2 login scripts, 1 to be written\n"}));
    EXPECT_EQ(text("acme/sales/jdoe.qrt"), "WRITE \"user\"\n");
}

TEST_F(ObjectFolder, WhatIsExportedIsAFolderOfScripts) {
    fs::permissions(site.path(), fs::perms(0755));
    ASSERT_EQ(
        process_run({"/bin/sh", "-c", "umask 022; '" QRTSCRIPT_PATH "' export '" + folder() + "'"}, environment).status,
        0);
    site.write("client.toml", file_text(site.path("client.toml")) + "scripts = \"scripts\"\n");
    site.write("container.qrt", "WRITE \"of the directory\"\n");
    EXPECT_EQ(login().out, login_head + "sales\nuser\n");
}

TEST_F(ObjectFolder, ExportFindsFilesInAnySpelling) {
    write("Acme/SALES/Jdoe.qrt", "WRITE \"old\"\n");
    EXPECT_THAT(put("export").out, HasSubstr("change  Acme/SALES/Jdoe.qrt\n"));
    EXPECT_EQ(text("Acme/SALES/Jdoe.qrt"), "WRITE \"user\"\n");
    EXPECT_FALSE(fs::exists(folder("acme/sales/jdoe.qrt")));
}

TEST_F(ObjectFolder, ExportPutsNewFilesIntoTheFoldersThatAreThere) {
    site.make("scripts/Acme");
    write("Acme/SALES/JDOE.QRT", "WRITE \"old\"\n");
    EXPECT_EQ(put("export"), (Outcome{0, "add     Acme/SALES/_container.qrt\nchange  Acme/SALES/JDOE.QRT\n",
                                      "qrtscript export: 2 login scripts, 2 written\n"}));
    EXPECT_THAT(files(), testing::ElementsAre("Acme/SALES/JDOE.QRT", "Acme/SALES/_container.qrt", "site.toml"));
    fs::remove(folder("Acme/SALES/JDOE.QRT"));
    fs::rename(folder("Acme/SALES/_container.qrt"), folder("Acme/SALES/_CONTAINER.Qrt"));
    EXPECT_EQ(put("export").out, "add     Acme/SALES/jdoe.qrt\n");
    EXPECT_EQ(put("import").err, "qrtscript import: 2 files, 0 login scripts to be changed\n");
    site.make("scripts/acme");
    EXPECT_EQ(put("export"), (Outcome{66, "",
                                      "qrtscript export: " + folder("Acme/") + " and " + folder("acme/") +
                                          " stand for the same object\n"}));
}

TEST_F(ObjectFolder, CountsHaveTheirSingulars) {
    EXPECT_EQ(qrtscript({"put", "--remove", "sales.acme", "--yes"}).status, 0);
    EXPECT_EQ(put("export", {"-n"}).err, "qrtscript export: 1 login script, 1 to be written\n");
    EXPECT_EQ(put("export").err, "qrtscript export: 1 login script, 1 written\n");
    write("acme/sales/jdoe.qrt", "BREAK ON\n");
    EXPECT_EQ(put("import", {"--yes"}).err,
              "qrtscript import: 1 file, 1 login script to be changed\n"
              "qrtscript import: 1 login script changed\n");
    write("acme/gone.qrt", "EXIT\n");
    auto process = onTerminal({"export", folder(), "--prune"});
    ASSERT_TRUE(process->answers("Remove 1 file? (y/n) ", "n\n")) << process->shown();
    EXPECT_EQ(process->finish(), 0);
}

TEST_F(ObjectFolder, ExportRefusesTwoFilesOfOneObject) {
    write("acme/Sales/jdoe.qrt", "EXIT\n");
    write("acme/sales/jdoe.qrt", "EXIT\n");
    EXPECT_EQ(put("export"), (Outcome{66, "",
                                      "qrtscript export: " + folder("acme/Sales/jdoe.qrt") + " and " +
                                          folder("acme/sales/jdoe.qrt") + " stand for the same object\n"}));
}

TEST_F(ObjectFolder, ImportTellsTwoObjectsOfOneNameApart) {
    addToTree(
        "\ndn: cn=x,ou=sales,o=acme\nobjectClass: person\ncn: x\nsn: x\nqrtLoginScript: EXIT\n"
        "\ndn: ou=x,ou=sales,o=acme\nobjectClass: organizationalUnit\nou: x\nqrtLoginScript: REM\n");
    ASSERT_EQ(put("export").status, 0);
    EXPECT_EQ(text("acme/sales/x.qrt"), "EXIT\n");
    EXPECT_EQ(text("acme/sales/x/_container.qrt"), "REM\n");
    write("acme/sales/x/_container.qrt", "BREAK ON\n");
    EXPECT_EQ(put("import", {"--yes"}).out, "change  x.sales.acme\n");
    EXPECT_EQ(script("ou=x.sales.acme"), "BREAK ON\n");
    EXPECT_EQ(script("cn=x.sales.acme"), "EXIT\n");
}

TEST_F(ObjectFolder, AScriptWithoutALastLineEndIsTheSameAsAFile) {
    addToTree("\ndn: cn=x,ou=sales,o=acme\nobjectClass: person\ncn: x\nsn: x\nqrtLoginScript: WRITE \"x\"\n");
    ASSERT_EQ(put("export").status, 0);
    EXPECT_EQ(text("acme/sales/x.qrt"), "WRITE \"x\"\n");
    EXPECT_EQ(put("export").out, "");
    EXPECT_EQ(put("import", {"--yes"}).out, "");
    write("acme/sales/x.qrt", "WRITE \"x\"");
    EXPECT_EQ(put("import", {"--yes"}).out, "");
    write("acme/sales/x.qrt", "WRITE \"y\"");
    EXPECT_EQ(put("import", {"--yes"}).out, "change  x.sales.acme\n");
    EXPECT_EQ(script("x.sales.acme"), "WRITE \"y\"\n");
}

TEST_F(ObjectFolder, ExportSaysWhichFilesHaveNoScript) {
    write("acme/gone.qrt", "EXIT\n");
    write("notes.txt", "kept\n");
    const Outcome outcome = put("export");
    EXPECT_THAT(outcome.out, HasSubstr("stale   acme/gone.qrt\n"));
    EXPECT_THAT(outcome.err, EndsWith("the tree has no script for the stale files; --prune removes them\n"));
    EXPECT_THAT(put("export", {"--prune"}).err, EndsWith("--yes writes without a question\n"));
    EXPECT_TRUE(fs::exists(folder("acme/gone.qrt")));
    EXPECT_EQ(put("export", {"--prune", "--yes"}).status, 0);
    EXPECT_FALSE(fs::exists(folder("acme/gone.qrt")));
    EXPECT_TRUE(fs::exists(folder("notes.txt")));
}

TEST_F(ObjectFolder, ExportAsksBeforeItRemovesAllFiles) {
    write("beta/a.qrt", "EXIT\n");
    write("beta/b.qrt", "EXIT\n");
    const std::string refusal = "qrtscript export: the tree has no script for any file of " + folder() +
                                ": --prune would remove 2 files, all that are there; --force does it\n";
    EXPECT_EQ(put("export", {"--prune", "--yes"}), (Outcome{66, "", refusal}));
    EXPECT_THAT(files(), testing::ElementsAre("beta/a.qrt", "beta/b.qrt")) << "nothing was written, either";
    const std::string question = "The tree has no script for any file of " + folder() + ". Remove 2 files, ";
    auto process = onTerminal({"export", folder(), "--prune"});
    ASSERT_TRUE(process->awaits("all that are there? (y/n) ")) << process->shown();
    process->type("n\n");
    EXPECT_EQ(process->finish(), 0);
    std::string shown = process->shown();
    for (const char c : {'\r', '\n'}) shown.erase(std::remove(shown.begin(), shown.end(), c), shown.end());
    EXPECT_THAT(shown, HasSubstr(question)) << shown;
    EXPECT_TRUE(fs::exists(folder("beta/a.qrt")));
    for (const char *name : {"acme", "site.toml"}) fs::remove_all(folder(name));
    EXPECT_EQ(put("export", {"--prune", "--yes", "--force"}).status, 0);
    EXPECT_FALSE(fs::exists(folder("beta/a.qrt")));
}

TEST_F(ObjectFolder, OfATreeInAFileNoLoginShowsMore) {
    for (const char *object : {"sales.acme", "jdoe.sales.acme"})
        ASSERT_EQ(qrtscript({"put", "--remove", object, "--yes"}).status, 0);
    EXPECT_EQ(put("export"), (Outcome{0, "", "qrtscript export: 0 login scripts, 0 written\n"}));
}

TEST_F(ObjectFolder, ExportFollowsNoLinkOutOfTheFolder) {
    site.make("outside");
    site.make("scripts");
    fs::create_directory_symlink("../outside", folder("acme"));
    const Outcome outcome = put("export");
    EXPECT_EQ(outcome.status, 66);
    EXPECT_EQ(outcome.err, "qrtscript export: cannot read " + folder("acme") + ": it is a symbolic link\n");
    EXPECT_TRUE(fs::is_empty(site.path("outside")));
}

TEST_F(ObjectFolder, ExportRefusesTwoObjectsOfOneFile) {
    addToTree(
        "\ndn: cn=x,ou=sales,o=acme\nobjectClass: person\ncn: x\nsn: x\nqrtLoginScript: EXIT\n"
        "\ndn: uid=x,ou=sales,o=acme\nobjectClass: person\nuid: x\nsn: x\nqrtLoginScript: REM\n");
    const Outcome outcome = put("export");
    EXPECT_EQ(outcome.status, 73);
    EXPECT_EQ(outcome.err,
              "qrtscript export: CN=x.OU=sales.O=acme and UID=x.OU=sales.O=acme would have the same file, "
              "acme/sales/x.qrt\n");
}

TEST_F(ObjectFolder, ExportSaysWhatCannotBeWritten) {
    write("acme/sales", "in the way");
    const Outcome outcome = put("export");
    EXPECT_EQ(outcome.status, 73);
    EXPECT_THAT(outcome.err, EndsWith(": Not a directory\n"));
    site.write("scripts2", "");
    EXPECT_EQ(qrtscript({"export", site.path("scripts2")}).status, 66);
    EXPECT_EQ(qrtscript({"export", "/dev/null/x"}).status, 73);
}

TEST_F(ObjectFolder, ImportWritesOnlyWhatDiffers) {
    ASSERT_EQ(put("export").status, 0);
    EXPECT_EQ(put("import"), (Outcome{0, "", "qrtscript import: 2 files, 0 login scripts to be changed\n"}));
    write("acme/sales/jdoe.qrt", "WRITE \"imported\"\n");
    write("acme/_container.qrt", "WRITE \"all\"\n");
    const std::string plan = "add     acme\nchange  jdoe.sales.acme\n";
    EXPECT_EQ(put("import", {"--dry-run"}),
              (Outcome{0, plan, "qrtscript import: 3 files, 2 login scripts to be changed\n"}));
    EXPECT_EQ(script("jdoe.sales.acme"), "WRITE \"user\"\n");
    EXPECT_EQ(put("import", {"--yes"}), (Outcome{0, plan,
                                                 "qrtscript import: 3 files, 2 login scripts to be changed\n"
                                                 "qrtscript import: 2 login scripts changed\n"}));
    EXPECT_EQ(script("jdoe.sales.acme"), "WRITE \"imported\"\n");
    EXPECT_EQ(script("acme"), "WRITE \"all\"\n");
}

TEST_F(ObjectFolder, ImportShowsTheDifferencesWithVerbose) {
    write("acme/sales/jdoe.qrt", "EXIT\n");
    EXPECT_EQ(put("import", {"-nv"}).out,
              "change  jdoe.sales.acme\n--- jdoe.sales.acme\n+++ acme/sales/jdoe.qrt\n"
              "@@ -1 +1 @@\n-WRITE \"user\"\n+EXIT\n");
}

TEST_F(ObjectFolder, ImportAsksAndShowsItsProgress) {
    write("acme/sales/jdoe.qrt", "EXIT\n");
    auto process = onTerminal({"import", folder()});
    ASSERT_TRUE(process->answers("Change 1 login script? (y/n) ", "n\n")) << process->shown();
    EXPECT_EQ(process->finish(), 1);
    EXPECT_EQ(script("jdoe.sales.acme"), "WRITE \"user\"\n");
    process = onTerminal({"import", folder()});
    ASSERT_TRUE(process->answers("Change 1 login script? (y/n) ", "y\n")) << process->shown();
    EXPECT_EQ(process->finish(), 0);
    EXPECT_THAT(process->shown(), HasSubstr("\rImport: 1/1\033[K"));
    EXPECT_EQ(script("jdoe.sales.acme"), "EXIT\n");
    EXPECT_EQ(put("import").status, 0) << "nothing is to be asked";
    write("acme/sales/jdoe.qrt", "BREAK ON\n");
    EXPECT_EQ(put("import").status, 64) << "nobody is there to ask";
}

TEST_F(ObjectFolder, ImportRefusesFilesWithoutAnObject) {
    write("acme/sales/jdoe.qrt", "EXIT\n");
    write("acme/sales/nobody.qrt", "EXIT\n");
    write("acme/%zz.qrt", "EXIT\n");
    write("acme/Sales/JDOE.qrt", "EXIT\n");
    const Outcome outcome = put("import", {"--yes"});
    EXPECT_EQ(outcome.status, 5);
    EXPECT_THAT(outcome.err, HasSubstr("qrtscript import: " + folder("acme/sales/nobody.qrt") + ": no such object\n"));
    EXPECT_THAT(outcome.err, HasSubstr("qrtscript import: " + folder("acme/%zz.qrt") + ": no such object\n"));
    EXPECT_THAT(outcome.err, HasSubstr(folder("acme/Sales/JDOE.qrt") + " and " + folder("acme/sales/jdoe.qrt") +
                                       " stand for the same object\n"));
    EXPECT_THAT(outcome.err, EndsWith("nothing was written: not every file is the script of an object\n"));
    EXPECT_EQ(script("jdoe.sales.acme"), "WRITE \"user\"\n");
}

TEST_F(ObjectFolder, ImportRefusesWhatDoesNotCheck) {
    write("acme/sales/jdoe.qrt", "EXIT\n");
    write("acme/sales/_container.qrt", "IF \"a\" = \"a\" THEN\n");
    const Outcome outcome = put("import", {"--yes"});
    EXPECT_EQ(outcome.status, 6);
    EXPECT_THAT(outcome.err, HasSubstr(folder("acme/sales/_container.qrt") + ":1:1: error: "));
    EXPECT_EQ(script("jdoe.sales.acme"), "WRITE \"user\"\n");
    EXPECT_EQ(put("import", {"--dry-run"}).status, 6) << "a pipeline can ask before";
    EXPECT_EQ(put("import", {"--yes", "--force"}).status, 0);
    EXPECT_EQ(script("sales.acme"), "IF \"a\" = \"a\" THEN\n");
}

TEST_F(ObjectFolder, ImportReadsNothingThroughALink) {
    site.write("secret", "REM secret\n");
    write("acme/.keep", "");
    fs::create_symlink("../../secret", folder("acme/jdoe.qrt"));
    EXPECT_EQ(
        put("import", {"--yes"}),
        (Outcome{66, "", "qrtscript import: cannot read " + folder("acme/jdoe.qrt") + ": it is a symbolic link\n"}));
    EXPECT_EQ(qrtscript({"import", "/none"}).status, 66);
}

TEST_F(ObjectFolder, ImportStopsAtTheFirstFailureAndSaysWhatWasWritten) {
    addToTree(
        "\ndn: cn=first,o=acme\nobjectClass: person\ncn: first\nsn: f\nqrtLoginScript:< file:shared.qrt\n"
        "\ndn: cn=second,o=acme\nobjectClass: person\ncn: second\nsn: s\nqrtLoginScript:< file:shared.qrt\n");
    site.write("shared.qrt", "EXIT\n");
    write("acme/_container.qrt", "EXIT\n");
    write("acme/first.qrt", "BREAK ON\n");
    write("acme/sales/jdoe.qrt", "BREAK ON\n");
    const Outcome outcome = put("import", {"--yes"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("qrtscript import: 1 of 3 login scripts changed; not changed:\n"
                                       "  first.acme\n  jdoe.sales.acme\n"
                                       "qrtscript import: cannot write the login script of first.acme: "));
    EXPECT_EQ(script("acme"), "EXIT\n");
    EXPECT_EQ(script("jdoe.sales.acme"), "WRITE \"user\"\n");
}

TEST_F(ObjectFolder, ImportPrunesOnlyWhenTold) {
    write("acme/sales/jdoe.qrt", "WRITE \"user\"\n");
    EXPECT_EQ(put("import", {"--yes"}).out, "");
    EXPECT_EQ(script("sales.acme"), "WRITE \"sales\"\n");
    EXPECT_EQ(put("import", {"--prune", "--dry-run"}).out, "remove  sales.acme\n");
    EXPECT_EQ(put("import", {"--prune"}).status, 64) << "it asks";
    write("site.toml", "version = 1\n");
    EXPECT_EQ(put("import", {"--prune", "--yes", "--backup-dir", site.path("former")}).status, 0);
    EXPECT_EQ(qrtscript({"get", "sales.acme"}).status, 5);
    EXPECT_TRUE(fs::exists(site.path("former/ACME/acme/sales")));
}

TEST_F(ObjectFolder, AnInterruptedImportSaysWhatWasWritten) {
    for (const std::string name : {"u1", "u2", "u3", "u4"}) {
        addToTree("\ndn: cn=" + name + ",o=acme\nobjectClass: person\ncn: " + name + "\nsn: u\nqrtLoginScript: REM\n");
        write("acme/" + name + ".qrt", "EXIT\n");
    }
    // The interrupt comes while this git keeps the former text of the third script, which is not replaced any more.
    program("git", "case \"$*\" in *commit*u3*) kill -INT $PPID;; esac\n");
    environment["PATH"] = site.path() + ":" + environment["PATH"];
    site.make("former/.git");
    const Outcome outcome =
        process_run({QRTSCRIPT_PATH, "import", folder(), "--yes", "--backup-dir", site.path("former")}, environment);
    EXPECT_EQ(outcome.status, 1000 + SIGINT);
    EXPECT_THAT(outcome.err, EndsWith("qrtscript import: 2 of 4 login scripts changed; not changed:\n"
                                      "  u3.acme\n  u4.acme\n"));
    EXPECT_EQ(script("u2.acme"), "EXIT\n");
    EXPECT_EQ(script("u3.acme"), "REM\n");
}

TEST_F(ObjectFolder, AnEmptyFolderPrunesNothing) {
    site.make("empty");
    const Outcome outcome = qrtscript({"import", "--yes", "--prune", site.path("empty")});
    EXPECT_EQ(outcome.status, 66);
    EXPECT_THAT(outcome.err, HasSubstr("--prune would remove all of them"));
}

TEST_F(ObjectFolder, OnlyAWholeTreePrunesWithoutAQuestion) {
    write("acme/sales/jdoe.qrt", "WRITE \"user\"\n");
    const std::string refusal = "qrtscript import: " + folder() +
                                " has no site.toml, which marks a whole tree: --prune would remove 1 login script\n";
    EXPECT_EQ(put("import", {"--prune", "--yes"}), (Outcome{66, "", refusal}));
    EXPECT_EQ(put("import", {"--prune", "--yes", "--force"}).status, 66);
    const auto answer = [this](const std::string &typed) {
        auto process = onTerminal({"import", folder(), "--prune"});
        EXPECT_TRUE(
            process->answers(" has no site.toml, which marks a whole tree. "
                             "Remove 1 login script that has no file there? (y/n) ",
                             typed));
        EXPECT_TRUE(typed == "n\n" || process->answers("Change 1 login script? (y/n) ", typed)) << process->shown();
        return process->finish();
    };
    EXPECT_EQ(answer("n\n"), 1);
    EXPECT_EQ(script("sales.acme"), "WRITE \"sales\"\n");
    EXPECT_EQ(answer("y\n"), 0);
    EXPECT_EQ(qrtscript({"get", "sales.acme"}).status, 5);
    EXPECT_EQ(put("import", {"--prune", "--yes"}).status, 0) << "there is nothing to remove";
}

TEST_F(ObjectFolder, AMarkedFolderIsNotAskedAbout) {
    write("acme/sales/jdoe.qrt", "WRITE \"user\"\n");
    write("site.toml", "version = 1\n");
    auto process = onTerminal({"import", folder(), "--prune"});
    ASSERT_TRUE(process->answers("Change 1 login script? (y/n) ", "y\n")) << process->shown();
    EXPECT_EQ(process->finish(), 0);
    EXPECT_THAT(process->shown(), Not(HasSubstr("whole tree")));
}
