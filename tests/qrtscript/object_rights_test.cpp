// Who may read what export and --backup-dir write, and what a signal leaves of it.
#include <sys/stat.h>
#include <sys/xattr.h>
#include <csignal>

#include "tests/qrtscript/object_site.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::MatchesRegex;

class ObjectRights : public ObjectSite {
  protected:
    ObjectRights() {
        userScript("WRITE \"one\"\n");
        containerScript("WRITE \"all\"\n");
        addToTree("\ndn: cn=listed,o=acme\nobjectClass: person\ncn: listed\nsn: l\nqrtLoginScript: EXIT\n");
    }
    ~ObjectRights() override { umask(umaskBefore_); }
    static std::string rights(const fs::path &path) {
        char text[8];
        struct stat found = {};
        EXPECT_EQ(stat(path.c_str(), &found), 0) << path;
        snprintf(text, sizeof text, "%04o", found.st_mode & 07777u);
        return text;
    }
    void setRights(const std::string &name, unsigned rights) const {
        fs::permissions(site.path(name), static_cast<fs::perms>(rights));
    }
    Outcome put(const std::string &object) {
        return qrtscript({"put", object, "--yes", "--backup-dir", site.path("backups/former")}, "BREAK ON\n");
    }
    // The one file below a folder whose name begins so.
    fs::path kept(const std::string &begin) const {
        fs::path found;
        for (const auto &item : fs::recursive_directory_iterator(site.path("backups/former/ACME")))
            if (item.path().filename().string().compare(0, begin.size(), begin) == 0) found = item.path();
        return found;
    }
    std::string exported(const std::string &name) const { return rights(site.path("scripts/" + name)); }
    Outcome exportAll() { return qrtscript({"export", site.path("scripts")}); }

  private:
    mode_t umaskBefore_ = umask(022);
};

} // namespace

TEST_F(ObjectRights, ANewFolderOfFormerScriptsIsItsOwnersAlone) {
    EXPECT_EQ(put("jdoe.sales.acme").status, 0);
    for (const char *folder : {"backups", "backups/former", "backups/former/ACME", "backups/former/ACME/acme/sales"})
        EXPECT_EQ(rights(site.path(folder)), "0700") << folder;
    EXPECT_EQ(rights(kept("jdoe.qrt.")), "0600");
}

TEST_F(ObjectRights, AFolderThatOthersMayReadIsKeptToButForPrivateScripts) {
    site.make("backups/former");
    setRights("backups/former", 0755);
    setRights("container.qrt", 0640);
    EXPECT_EQ(put("jdoe.sales.acme").status, 0);
    EXPECT_EQ(put("sales.acme").status, 0);
    EXPECT_EQ(rights(kept("jdoe.qrt.")), "0644");
    EXPECT_EQ(rights(kept("jdoe.qrt.").parent_path()), "0755");
    EXPECT_EQ(rights(kept("_container.qrt.")), "0600");
    setRights("acme.ldif", 0600);
    EXPECT_EQ(put("listed.acme").status, 0);
    EXPECT_EQ(rights(kept("listed.qrt.")), "0600");
    setRights("backups/former", 0750);
    fs::remove_all(site.path("backups/former/ACME"));
    site.write("user.qrt", "WRITE \"two\"\n");
    EXPECT_EQ(put("jdoe.sales.acme").status, 0);
    EXPECT_EQ(rights(kept("jdoe.qrt.")), "0640");
    EXPECT_EQ(rights(site.path("backups/former/ACME")), "0750");
}

TEST_F(ObjectRights, WhatGitMakesOfAPrivateScriptIsPrivate) {
    site.make("backups/former");
    setRights("backups/former", 0755);
    const auto git = [this](const std::string &words) {
        return process_run({"/bin/sh", "-c", "cd '" + site.path("backups/former") + "' && git " + words}, environment);
    };
    ASSERT_EQ(git("init -q && git config user.name Admin && git config user.email admin@acme.example").status, 0);
    setRights("user.qrt", 0600);
    ASSERT_EQ(put("jdoe.sales.acme").status, 0);
    const std::string id = git("rev-parse HEAD:ACME/acme/sales/" + kept("jdoe.qrt.").filename().string()).out;
    ASSERT_EQ(id.size(), 41u);
    const fs::path object = site.path("backups/former/.git/objects/" + id.substr(0, 2) + "/" + id.substr(2, 38));
    EXPECT_EQ(rights(object), "0400");
}

TEST_F(ObjectRights, AnExportIsForNobodyElseThanTheScriptsFile) {
    setRights("user.qrt", 0600);
    ASSERT_EQ(exportAll().status, 0);
    EXPECT_EQ(exported("acme/sales/jdoe.qrt"), "0600");
    EXPECT_EQ(exported("acme/sales/_container.qrt"), "0644");
    EXPECT_EQ(exported("acme/listed.qrt"), "0644");
    EXPECT_EQ(exported("site.toml"), "0644");
    fs::remove_all(site.path("scripts"));
    setRights("acme.ldif", 0640);
    umask(002);
    ASSERT_EQ(exportAll().status, 0);
    EXPECT_EQ(exported("acme/listed.qrt"), "0600");
    EXPECT_EQ(exported("acme/sales/_container.qrt"), "0664");
}

TEST_F(ObjectRights, AScriptOfTheSitesFolderIsAsPrivateAsItsFile) {
    fs::permissions(site.path(), fs::perms(0755));
    site.write("site/site.toml", "version = 1\n");
    site.write("site/acme/sales/jdoe.qrt", "WRITE \"site\"\n");
    site.write("site/site.ldif", "dn: ou=sales,o=acme\nqrtLoginScript: EXIT\n");
    site.write("client.toml", file_text(site.path("client.toml")) + "scripts = \"site\"\n");
    setRights("site/acme/sales/jdoe.qrt", 0600);
    setRights("site/site.ldif", 0600);
    ASSERT_EQ(exportAll().err, "qrtscript export: 3 login scripts, 3 written\n");
    EXPECT_EQ(exported("acme/sales/jdoe.qrt"), "0600");
    EXPECT_EQ(exported("acme/sales/_container.qrt"), "0600");
    EXPECT_EQ(exported("acme/listed.qrt"), "0644");
}

TEST_F(ObjectRights, AFileOfAnExportKeepsItsRights) {
    ASSERT_EQ(exportAll().status, 0);
    setRights("scripts/acme/sales/jdoe.qrt", 0640);
    site.write("user.qrt", "WRITE \"two\"\n");
    ASSERT_EQ(exportAll().status, 0);
    EXPECT_EQ(file_text(site.path("scripts/acme/sales/jdoe.qrt")), "WRITE \"two\"\n");
    EXPECT_EQ(exported("acme/sales/jdoe.qrt"), "0640");
}

TEST_F(ObjectRights, AFileOfAnExportKeepsItsOwnerAndAccessList) {
    ASSERT_EQ(exportAll().status, 0);
    const std::string path = site.path("scripts/acme/sales/jdoe.qrt");
    if (chown(path.c_str(), 1, 1) != 0) GTEST_SKIP() << "only root can";
    // Version 2; the owner rw, user 7 r, the group nothing, mask r, others nothing.
    const unsigned char list[] = {2, 0, 0,   0,   1,   0,   6,  0, 255, 255, 255, 255, 2,   0,  4,
                                  0, 7, 0,   0,   0,   4,   0,  0, 0,   255, 255, 255, 255, 16, 0,
                                  4, 0, 255, 255, 255, 255, 32, 0, 0,   0,   255, 255, 255, 255};
    if (setxattr(path.c_str(), "system.posix_acl_access", list, sizeof list, 0) != 0)
        GTEST_SKIP() << "no access lists here: " << strerror(errno);
    site.write("user.qrt", "WRITE \"two\"\n");
    ASSERT_EQ(exportAll().status, 0);
    unsigned char now[sizeof list + 1] = {};
    EXPECT_EQ(getxattr(path.c_str(), "system.posix_acl_access", now, sizeof now), ssize_t{sizeof list});
    EXPECT_EQ(memcmp(now, list, sizeof list), 0);
    struct stat found = {};
    ASSERT_EQ(stat(path.c_str(), &found), 0);
    EXPECT_EQ(found.st_uid, 1u);
    EXPECT_EQ(found.st_gid, 1u);
    EXPECT_EQ(file_text(path), "WRITE \"two\"\n");
}

// The signal comes while a file is being written, before it has its name.
TEST_F(ObjectRights, ASignalLeavesNoPartOfAFile) {
    environment["ASAN_OPTIONS"] += ":detect_leaks=0"; // which a traced process cannot do
    const auto interrupted = [this](const char *name, const std::string &call, Words words) {
        words.insert(words.begin(), {"/usr/bin/strace", "-f", "-qq", "-o", "/dev/null", "-e",
                                     "inject=" + call + ":signal=" + name + ":when=1", QRTSCRIPT_PATH});
        return process_run(words, environment).status;
    };
    for (const auto &[name, number] : {std::pair{"INT", SIGINT}, {"TERM", SIGTERM}, {"HUP", SIGHUP}}) {
        fs::remove_all(site.path("scripts"));
        EXPECT_EQ(interrupted(name, "renameat", {"export", site.path("scripts")}), 1000 + number);
        std::vector<std::string> files;
        for (const auto &item : fs::recursive_directory_iterator(site.path("scripts")))
            if (item.is_regular_file()) files.push_back(item.path().filename());
        EXPECT_THAT(files, testing::ElementsAre("site.toml")) << name;
        EXPECT_EQ(file_text(site.path("scripts/site.toml")), "version = 1\n");

        fs::remove_all(site.path("backups"));
        site.write("new.qrt", std::string("REM ") + name + "\n");
        const std::string before = file_text(site.path("user.qrt"));
        EXPECT_EQ(interrupted(name, "fsync",
                              {"put", "jdoe.sales.acme", site.path("new.qrt"), "--yes", "--backup-dir",
                               site.path("backups/former")}),
                  1000 + number);
        EXPECT_EQ(file_text(site.path("user.qrt")), before);
        EXPECT_EQ(kept("jdoe.qrt."), "") << "nothing was replaced";
    }
}

TEST_F(ObjectRights, AnExportWaitsOnceForTheDisk) {
    environment["ASAN_OPTIONS"] += ":detect_leaks=0";
    const auto syncs = [this](Words words) {
        words.insert(words.begin(), {"/usr/bin/strace", "-f", "-qq", "-o", site.path("calls"), "-e",
                                     "trace=fsync,fdatasync,syncfs", QRTSCRIPT_PATH, "export", site.path("scripts")});
        EXPECT_EQ(process_run(words, environment).status, 0);
        const std::string calls = file_text(site.path("calls"));
        return std::count(calls.begin(), calls.end(), '\n');
    };
    EXPECT_EQ(syncs({"--dry-run"}), 0);
    EXPECT_EQ(syncs({}), 1) << "of three scripts";
    EXPECT_EQ(syncs({}), 0) << "nothing was written";
}

// ---- the names of former scripts ----

TEST_F(ObjectRights, FormerScriptsOfALongNameAreKept) {
    const std::string name(247, 'x');
    addToTree("\ndn: cn=" + name + ",o=acme\nobjectClass: person\ncn: " + name + "\nsn: l\nqrtLoginScript: REM long\n");
    const Outcome outcome = put(name + ".acme");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    const fs::path folder = site.path("backups/former/ACME/_names");
    const Outcome log = qrtscript({"log", name + ".acme", "--backup-dir", site.path("backups/former")});
    EXPECT_THAT(log.out, MatchesRegex("[^\n]*; the former script is in ACME/_names/x{60}~[0-9a-f]{64}\\.qrt\\.[0-9]{8}T"
                                      "[0-9]{6}\\.[0-9]{6}Z\n"));
    std::vector<std::string> names;
    for (const auto &item : fs::directory_iterator(folder))
        if (item.path().extension() == ".name") names.push_back(file_text(item.path()));
    EXPECT_THAT(names, testing::ElementsAre("CN=" + name + ".O=acme\n"));
    EXPECT_EQ(qrtscript({"put", name + ".acme", "--yes", "--backup-dir", site.path("backups/former")}, "EXIT\n").status,
              0);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 3);
}

TEST_F(ObjectRights, NoObjectHasFormerScriptsOfAnotherOne) {
    const std::string stamped = "jdoe.qrt.20261123t033201.123456z", blank(300, 'b');
    for (const std::string &name : {stamped, std::string("jdoe.qrt.x"), blank + "_", blank + "-"}) {
        addToTree("\ndn: cn=" + name + ",ou=sales,o=acme\nobjectClass: person\ncn: " + name +
                  "\nsn: l\nqrtLoginScript: REM other\n");
    }
    const auto log = [this](const std::string &name) {
        return qrtscript({"log", name, "--backup-dir", site.path("backups/former")}).out;
    };
    std::string escaped = stamped;
    for (size_t at = 0; (at = escaped.find('.', at)) != escaped.npos; at += 2) escaped.insert(at, "\\");
    ASSERT_EQ(put("jdoe\\.qrt\\.x.sales.acme").status, 0);
    ASSERT_EQ(put(escaped + ".sales.acme").status, 0);
    EXPECT_EQ(log("jdoe.sales.acme"), "");
    const Outcome outcome = put(blank + "_.sales.acme");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(log(blank + "_.sales.acme"), HasSubstr("ACME/_names/bbbb"));
    EXPECT_EQ(log(blank + "-.sales.acme"), "");
}

TEST_F(ObjectRights, LogTellsTheTimeOfTheFile) {
    site.write("backups/former/ACME/acme/sales/jdoe.qrt.20261123T033405.123456Z", "REM\n");
    EXPECT_EQ(qrtscript({"log", "jdoe.sales.acme", "--backup-dir", site.path("backups/former")}).out,
              "2026-11-23T03:34:05Z  replaced; the former script is in "
              "ACME/acme/sales/jdoe.qrt.20261123T033405.123456Z\n");
}

TEST_F(ObjectRights, ATreeIsFoundInAnySpelling) {
    ASSERT_EQ(put("jdoe.sales.acme").status, 0);
    const Outcome log =
        qrtscript({"log", "--tree", "acme", "jdoe.sales.acme", "--backup-dir", site.path("backups/former")});
    EXPECT_THAT(log.out, HasSubstr("; the former script is in ACME/acme/sales/jdoe.qrt."));
}

TEST_F(ObjectRights, ATreesNameThatIsNoFilesIsHashed) {
    const std::string config = file_text(site.path("client.toml"));
    for (const char *name : {"A B", "A_B", "A/B"}) {
        std::string text = config;
        for (size_t at = 0; (at = text.find("\"ACME\"", at)) != text.npos; at++)
            text.replace(at, 6, std::string("\"") + name + "\"");
        site.write("client.toml", text);
        site.write("user.qrt", "REM\n");
        EXPECT_EQ(put("jdoe.sales.acme").status, 0) << name;
    }
    std::vector<std::string> names;
    for (const auto &item : fs::directory_iterator(site.path("backups/former")))
        names.push_back(item.path().filename());
    std::sort(names.begin(), names.end());
    EXPECT_THAT(names, testing::ElementsAre("A_B", MatchesRegex("A_B~[0-9a-f]{64}"), MatchesRegex("A_B~[0-9a-f]{64}")));
}

TEST_F(ObjectRights, TheNameOfAnObjectIsNoPatternOfGits) {
    program("git", "echo \"$@\" >>'" + site.path("words") + "'\n");
    environment["PATH"] = site.path() + ":" + environment["PATH"];
    site.make("backups/former/.git");
    ASSERT_EQ(put("jdoe.sales.acme").status, 0);
    const std::string words = file_text(site.path("words"));
    EXPECT_THAT(words, MatchesRegex("--literal-pathspecs -C [^\n]* add -f -- ACME/acme/sales/jdoe\\.qrt\\.[^ \n]*\n"
                                    "--literal-pathspecs -C [^\n]* commit -q -m Keep [^\n]* -- ACME/[^ \n]*\n"));
}

TEST_F(ObjectRights, LogRefusesAFolderThatCannotBeRead) {
    EXPECT_EQ(qrtscript({"log", "jdoe.sales.acme", "--backup-dir", "/none"}),
              (Outcome{66, "", "qrtscript log: cannot read /none: No such file or directory\n"}));
    EXPECT_EQ(qrtscript({"log", "jdoe.sales.acme", "--backup-dir", site.path("user.qrt")}),
              (Outcome{66, "", "qrtscript log: cannot read " + site.path("user.qrt") + ": Not a directory\n"}));
    site.make("empty");
    EXPECT_EQ(qrtscript({"log", "jdoe.sales.acme", "--backup-dir", site.path("empty")}).status, 0);
}
