// Login scripts that are changed in a folder of scripts, around a tree in a file.
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <filesystem>

#include "platform/client/interface/scripts.h"
#include "tests/support/client_fixture.h"
#include "tests/support/own_process.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

constexpr const char *directory = R"(dn: o=acme
objectClass: organization
o: acme
qrtLoginScript: WRITE "acme"

dn: ou=Sales,o=acme
objectClass: organizationalUnit
ou: Sales
qrtLoginScript: WRITE "hidden"

dn: ou=new,ou=Sales,o=acme
objectClass: organizationalUnit
ou: new

dn: cn=jdoe,ou=Sales,o=acme
objectClass: inetOrgPerson
cn: jdoe
sn: Doe

dn: cn=listed,ou=Sales,o=acme
objectClass: person
cn: listed
sn: Listed
)";

constexpr const char *additions = R"(dn: cn=listed,ou=Sales,o=acme
qrtLoginScript: WRITE "listed"

dn: cn=night,ou=Sales,o=acme
objectClass: qrtProfileObject
cn: night
)";

class OverlayScripts : public ClientTest {
  protected:
    OverlayScripts() {
        umask(022);
        folder.write("acme.ldif", directory);
        site("site.toml", "version = 1\n");
        site("site.ldif", additions);
        site("ACME/sales/_container.qrt", "WRITE \"sales\"\n");
        site("ACME/sales/night.qrt", "WRITE \"night\"\n");
        configure("[[tree]]\nname = \"ACME\"\nldif = \"acme.ldif\"\nscripts = \"scripts\"\n");
        at = context();
    }
    void site(const std::string &name, const std::string &text) const { folder.write("scripts/" + name, text); }
    std::string inside(const std::string &name) const { return folder.path("scripts/" + name); }
    std::string file(const std::string &name) const { return file_text(inside(name)); }
    StoredScript stored(const std::string &object) { return script_read(at, script_object(at, object)); }
    // Empty when it has been written.
    std::string put(const std::string &object, const ScriptText &before, const ScriptText &after) {
        try {
            script_write(at, script_object(at, object), before, after);
            return "";
        } catch (const CodedError &error) {
            code = error.code;
            return error.what();
        }
    }
    static mode_t mode(const std::string &path) {
        struct stat found = {};
        EXPECT_EQ(stat(path.c_str(), &found), 0) << path;
        return found.st_mode & 07777;
    }

    uint32_t at = 0;
    uint32_t code = ZK_OK;
};

} // namespace

TEST_F(OverlayScripts, TellsWhereEachScriptIs) {
    EXPECT_EQ(stored("sales.acme").text, "WRITE \"sales\"\n");
    EXPECT_EQ(stored("sales.acme").place, inside("ACME/sales/_container.qrt"));
    EXPECT_EQ(stored("night.sales.acme").place, inside("ACME/sales/night.qrt"));
    EXPECT_EQ(stored("listed.sales.acme").text, "WRITE \"listed\"");
    EXPECT_EQ(stored("listed.sales.acme").place, inside("site.ldif"));
    EXPECT_EQ(stored("acme").place, "acme.ldif:4");
    EXPECT_EQ(stored("jdoe.sales.acme").text, std::nullopt);
    EXPECT_EQ(stored("jdoe.sales.acme").place, inside("ACME/sales/jdoe.qrt"));
}

TEST_F(OverlayScripts, TellsWhoseFileNotEverybodyMayRead) {
    const auto isPrivate = [this](const char *object) { return script_is_private(at, script_object(at, object)); };
    const char *const objects[] = {"sales.acme", "listed.sales.acme", "acme"};
    for (const char *object : objects) EXPECT_FALSE(isPrivate(object)) << object;
    for (const auto &path : {inside("ACME/sales/_container.qrt"), inside("site.ldif"), folder.path("acme.ldif")})
        fs::permissions(path, fs::perms(0600));
    for (const char *object : objects) EXPECT_TRUE(isPrivate(object)) << object;
    EXPECT_FALSE(isPrivate("night.sales.acme"));
}

TEST_F(OverlayScripts, ChangesTheFileOfTheObject) {
    EXPECT_EQ(put("sales.acme", "WRITE \"sales\"\n", "EXIT\n"), "");
    EXPECT_EQ(file("ACME/sales/_container.qrt"), "EXIT\n");
    EXPECT_EQ(stored("sales.acme").text, "EXIT\n");
    EXPECT_EQ(put("night.sales.acme", "WRITE \"night\"\n", ""), "");
    EXPECT_EQ(stored("night.sales.acme").text, "");
    EXPECT_EQ(file_text(folder.path("acme.ldif")), directory);
}

TEST_F(OverlayScripts, ChangesTheDirectoryWhereOnlyThatHasAScript) {
    EXPECT_EQ(put("acme", "WRITE \"acme\"", "EXIT"), "");
    EXPECT_FALSE(fs::exists(inside("ACME/_container.qrt")));
    EXPECT_EQ(stored("acme").text, "EXIT");
}

TEST_F(OverlayScripts, MakesAFileThatEverybodyMayRead) {
    umask(077);
    EXPECT_EQ(put("jdoe.sales.acme", std::nullopt, "EXIT\n"), "");
    EXPECT_EQ(put("new.sales.acme", std::nullopt, "EXIT\n"), "");
    EXPECT_EQ(file("ACME/sales/jdoe.qrt"), "EXIT\n");
    EXPECT_EQ(mode(inside("ACME/sales/jdoe.qrt")), 0644u);
    EXPECT_EQ(file("ACME/sales/new/_container.qrt"), "EXIT\n");
    EXPECT_EQ(mode(inside("ACME/sales/new")), 0755u);
    std::vector<std::string> names;
    for (const auto &item : fs::directory_iterator(inside("ACME/sales"))) names.push_back(item.path().filename());
    std::sort(names.begin(), names.end());
    EXPECT_THAT(names, ElementsAre("_container.qrt", "jdoe.qrt", "new", "night.qrt")) << "nothing else is left";
}

TEST_F(OverlayScripts, RefusesWhatIsNoLongerWhatWasRead) {
    EXPECT_EQ(put("sales.acme", "another", "mine"),
              inside("ACME/sales/_container.qrt") + " has been changed by somebody else");
    EXPECT_EQ(code, ZKE_SCRIPT_CHANGED);
    code = ZK_OK;
    EXPECT_NE(put("jdoe.sales.acme", "once there", "mine"), "");
    EXPECT_EQ(code, ZKE_SCRIPT_CHANGED);
    EXPECT_NE(put("sales.acme", std::nullopt, "mine"), "");
    EXPECT_EQ(file("ACME/sales/_container.qrt"), "WRITE \"sales\"\n");
}

TEST_F(OverlayScripts, SeesTheFolderAsItIsNow) {
    ASSERT_EQ(stored("jdoe.sales.acme").text, std::nullopt);
    site("ACME/sales/jdoe.qrt", "REM somebody else's\n");
    EXPECT_NE(put("jdoe.sales.acme", std::nullopt, "mine"), "");
    EXPECT_EQ(code, ZKE_SCRIPT_CHANGED);
    EXPECT_EQ(stored("jdoe.sales.acme").text, "REM somebody else's\n");
}

TEST_F(OverlayScripts, RemovesAFileUnlessAnotherScriptWouldShow) {
    EXPECT_EQ(put("night.sales.acme", "WRITE \"night\"\n", std::nullopt), "");
    EXPECT_FALSE(fs::exists(inside("ACME/sales/night.qrt")));
    EXPECT_EQ(put("sales.acme", "WRITE \"sales\"\n", std::nullopt),
              inside("ACME/sales/_container.qrt") +
                  " cannot be removed: the directory has a script of the object, too, which would be run then "
                  "(acme.ldif:9)");
    EXPECT_EQ(code, ZKE_NO_ACCESS);
    EXPECT_EQ(file("ACME/sales/_container.qrt"), "WRITE \"sales\"\n");
}

TEST_F(OverlayScripts, ChangesAProfileThatIsItsFileAlone) {
    site("site.ldif", std::string(additions) + "\ndn: cn=jdoe,ou=Sales,o=acme\nqrtProfile: cn=only,ou=Sales,o=acme\n");
    site("ACME/sales/only.qrt", "EXIT\n");
    script_object(at, "jdoe.sales.acme"); // who names it
    EXPECT_EQ(put("only.sales.acme", "EXIT\n", "REM\n"), "");
    EXPECT_EQ(file("ACME/sales/only.qrt"), "REM\n");
    EXPECT_EQ(put("only.sales.acme", "REM\n", std::nullopt), "");
    EXPECT_FALSE(fs::exists(inside("ACME/sales/only.qrt")));
}

TEST_F(OverlayScripts, LeavesTheEntriesOfTheSiteAlone) {
    EXPECT_EQ(put("listed.sales.acme", "WRITE \"listed\"", "mine"),
              "the script is in " + inside("site.ldif") + ": move it to a file of its own");
    EXPECT_EQ(code, ZKE_NO_ACCESS);
    EXPECT_EQ(file("site.ldif"), additions);
}

TEST_F(OverlayScripts, FollowsALinkInsideOfTheFolderOnly) {
    fs::rename(inside("ACME/sales/night.qrt"), inside("night"));
    fs::create_symlink("../../night", inside("ACME/sales/night.qrt"));
    EXPECT_EQ(put("night.sales.acme", "WRITE \"night\"\n", "EXIT\n"), "");
    EXPECT_TRUE(fs::is_symlink(inside("ACME/sales/night.qrt")));
    EXPECT_EQ(file("night"), "EXIT\n");
    folder.write("outside", "EXIT\n");
    fs::remove(inside("ACME/sales/night.qrt"));
    fs::create_symlink("../../../outside", inside("ACME/sales/night.qrt"));
    EXPECT_EQ(put("night.sales.acme", "EXIT\n", "mine"),
              inside("ACME/sales/night.qrt") + ": the symbolic link leads out of the folder");
    EXPECT_EQ(file_text(folder.path("outside")), "EXIT\n");
}

TEST_F(OverlayScripts, SaysWhenTheFolderMayNotBeWritten) {
    in_own_process([this] {
        if (geteuid() == 0) {
            ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
            ASSERT_EQ(setresuid(65534, 65534, 65534), 0);
        } else {
            ASSERT_EQ(chmod(inside("ACME/sales").c_str(), 0555), 0);
        }
        EXPECT_EQ(put("new.sales.acme", std::nullopt, "EXIT\n"),
                  "cannot make " + inside("ACME/sales/new") + ": Permission denied");
        EXPECT_EQ(code, ZKE_NO_ACCESS);
        EXPECT_NE(put("jdoe.sales.acme", std::nullopt, "EXIT\n"), "");
        EXPECT_EQ(code, ZKE_NO_ACCESS);
    });
}

TEST_F(OverlayScripts, ListsWhatALoginWouldRun) {
    site("ACME/sales/gone.qrt", "REM of nobody\n");
    site("nowhere/_container.qrt", "REM of nothing\n");
    std::vector<std::string> found;
    for (const ScriptOfObject &one : script_list(at)) found.push_back(one.object.typed + " " + one.text);
    std::sort(found.begin(), found.end());
    EXPECT_THAT(found,
                ElementsAre("CN=listed.OU=Sales.O=acme WRITE \"listed\"", "CN=night.OU=Sales.O=acme WRITE \"night\"\n",
                            "O=acme WRITE \"acme\"", "OU=Sales.O=acme WRITE \"sales\"\n"));
}
