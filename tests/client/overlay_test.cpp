// What a site adds to its directory from a folder, here around a tree in a file.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "platform/client/core/schema.h"
#include "platform/client/overlay/entry_merge.h"
#include "platform/client/overlay/overlay_store.h"
#include "platform/client/overlay/site_folder.h"
#include "tests/support/client_fixture.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char *own_directory = R"(dn: o=acme
objectClass: organization
o: acme

dn: ou=Sales,o=acme
objectClass: organizationalUnit
ou: Sales

dn: cn=jdoe,ou=Sales,o=acme
objectClass: inetOrgPerson
cn: jdoe
sn: Doe
displayName: John Doe
description: sells
userPassword: {CRYPT}HASH

dn: cn=alias,o=acme
objectClass: alias
aliasedObjectName: cn=jdoe,ou=sales,o=acme
cn: alias

dn: cn=staff,o=acme
objectClass: groupOfNames
cn: staff
member: cn=jdoe,ou=Sales,o=acme

dn: cn=SRV1,o=acme
objectClass: qrtServer
cn: SRV1

dn: cn=DATA,o=acme
objectClass: qrtVolume
cn: DATA
qrtHostServer: cn=SRV1,o=acme
qrtHostResourceName: DATA
)";

class Overlay : public ClientTest {
  protected:
    Overlay() {
        umask(022);
        write("acme.ldif", own_directory);
        site("site.toml", "version = 1\n");
        configure("[[tree]]\nname = \"ACME\"\nldif = \"acme.ldif\"\nscripts = \"scripts\"\n");
    }
    void write(const std::string &name, std::string text) const {
        const std::string hash = "$y$j75$k2XAnEHBqQ1Ct2aMXFKNa/$Tg4ZRR7tz/WRlmYbADZh9OJYakPewgSPQqW55EXAJ14";
        if (const size_t at = text.find("HASH"); at != text.npos) text.replace(at, 4, hash);
        folder.write(name, text);
    }
    void site(const std::string &name, const std::string &text) const { write("scripts/" + name, text); }
    std::string inside(const std::string &name) const { return folder.path("scripts/" + name); }
    std::string script(const char *object) {
        const std::string text = stream(context(), object, "Login Script");
        return lastCode == ZK_OK ? text : lastCode == ZKE_BAD_DIRECTORY_DATA ? last_error() : "none";
    }
    // The sentence with which the user's login is refused; empty for one that is not.
    std::string refusal(const char *password = "secret") {
        const uint32_t handle = context();
        const uint32_t code = login(handle, "jdoe.sales.acme", password);
        if (code == ZK_OK) ZKDSLogout(handle);
        return code == ZK_OK ? "" : code == ZKE_BAD_DIRECTORY_DATA ? last_error() : std::to_string(code);
    }
    std::vector<std::string> values(const char *object, const char *attribute) {
        return read(context(), object, attribute);
    }
};

TEST_F(Overlay, ScriptsAreFoundByTheNamesOfTheirObjects) {
    site("acme/_container.qrt", "WRITE \"acme\"\n");
    site("acme/sales/_container.qrt", "WRITE \"sales\"\n");
    site("acme/sales/jdoe.qrt", "WRITE \"jdoe\"\n");
    site("acme/staff.qrt", "");
    EXPECT_EQ("WRITE \"acme\"\n", script("acme"));
    EXPECT_EQ("WRITE \"sales\"\n", script("sales.acme"));
    EXPECT_EQ("WRITE \"jdoe\"\n", script("jdoe.sales.acme"));
    EXPECT_EQ("WRITE \"jdoe\"\n", script("alias.acme"));
    EXPECT_EQ("", script("staff.acme"));
    EXPECT_EQ("none", script("SRV1.acme"));
    EXPECT_EQ("", refusal());
}

TEST_F(Overlay, AContainersScriptIsInItsFolderAndAnyOtherBesideIt) {
    site("acme/sales.qrt", "WRITE \"no container's\"\n");
    site("acme/sales/jdoe/_container.qrt", "WRITE \"no user's\"\n");
    EXPECT_EQ("none", script("sales.acme"));
    EXPECT_EQ("none", script("jdoe.sales.acme"));
}

TEST_F(Overlay, NamesAreComparedAsTheDirectoryComparesThem) {
    write("acme.ldif",
          std::string(own_directory) + "\ndn: cn=Zo\u00EB  /X,o=acme\nobjectClass: person\nsn: x\ncn: Zo\u00EB /x\n");
    site("Acme/ZOE\u0308 %2Fx.QRT", "zoe");
    site("Acme/SALES/%6Adoe.qrt", "jdoe");
    EXPECT_EQ("zoe", script("zo\u00EB /x.acme"));
    EXPECT_EQ("jdoe", script("jdoe.sales.acme"));
}

TEST_F(Overlay, AFileStandsInPlaceOfTheDirectorysScript) {
    write("acme.ldif", std::string(own_directory) +
                           "\ndn: cn=p,o=acme\nobjectClass: qrtProfileObject\ncn: p\n"
                           "qrtLoginScript: the directory's\n");
    EXPECT_EQ("the directory's", script("p.acme"));
    site("acme/p.qrt", "the folder's");
    EXPECT_EQ("", refusal());
    EXPECT_EQ("the folder's", script("p.acme"));
}

TEST_F(Overlay, TwoFilesForOneObjectAreAnErrorThatNamesBoth) {
    site("acme/jane.qrt", "");
    site("acme/Jane.qrt", "");
    EXPECT_EQ("none", script("staff.acme"));
    EXPECT_EQ("", refusal());
    site("acme/sales/jdoe.qrt", "1");
    site("acme/sales/%6Adoe.qrt", "2");
    const std::string one = inside("acme/sales/jdoe.qrt"), other = inside("acme/sales/%6Adoe.qrt");
    EXPECT_THAT(refusal(), testing::AnyOf(one + " and " + other + " stand for the same object",
                                          other + " and " + one + " stand for the same object"));
    fs::remove(other);
    EXPECT_EQ("", refusal());
    site("ACME/x.qrt", "");
    EXPECT_THAT(refusal(), testing::HasSubstr(" stand for the same object"));
    fs::remove_all(inside("ACME"));
    site("site.ldif", "dn: cn=jdoe,ou=sales,o=acme\nqrtLoginScript: 3\n");
    EXPECT_EQ(one + " and " + inside("site.ldif") + " both have a login script for CN=jdoe.OU=Sales.O=acme", refusal());
}

TEST_F(Overlay, TheRootHasNoScript) {
    site("_container.qrt", "");
    EXPECT_EQ(inside("_container.qrt") + ": the root of a tree has no login script", refusal());
}

TEST_F(Overlay, OtherFilesAreTheSites) {
    for (const char *name : {"README.md", ".git/config", "acme/.hidden.qrt", "acme/_lib.qrt", "acme/_lib/x.qrt",
                             "acme/notes 100%.txt", "other/x.qrt"})
        site(name, "?");
    site("acme/sales/jdoe.qrt", "jdoe");
    EXPECT_EQ("jdoe", script("jdoe.sales.acme"));
    site("acme/sales/100%.qrt", "?");
    EXPECT_EQ(inside("acme/sales/100%.qrt") + ": \"%\" in a name must be followed by two hexadecimal digits",
              refusal());
}

TEST_F(Overlay, ChangesArePickedUpAtTheNextLogin) {
    site("acme/sales/jdoe.qrt", "first");
    EXPECT_EQ("first", script("jdoe.sales.acme"));
    site("acme/sales/jdoe.qrt", "second");
    site("acme/sales/_container.qrt", "new");
    site("site.ldif", "dn: cn=jdoe,ou=Sales,o=acme\ndisplayName: Jane Doe\n");
    EXPECT_EQ("first", script("jdoe.sales.acme"));
    EXPECT_EQ("none", script("sales.acme"));
    const uint32_t handle = context();
    ASSERT_EQ(ZK_OK, login(handle, "jdoe.sales.acme", "secret"));
    EXPECT_EQ("second", script("jdoe.sales.acme"));
    EXPECT_EQ("new", script("sales.acme"));
    EXPECT_THAT(values("jdoe.sales.acme", "Full Name"), ElementsAre("Jane Doe"));
    fs::remove_all(inside("acme"));
    EXPECT_EQ("second", script("jdoe.sales.acme"));
    ASSERT_EQ(ZK_OK, ZKDSLogout(handle));
    EXPECT_EQ("", refusal());
    EXPECT_EQ("none", script("jdoe.sales.acme"));
}

constexpr const char *own_additions = R"(dn: cn=jdoe,ou=sales,o=acme
displayName: Jane Doe
description: SELLS
description: leads
qrtProfile: cn=night,ou=sales,o=acme
qrtHomeDirectory: 0#cn=FS1_HOME,ou=drives,o=acme#jdoe

dn: cn=FS1,ou=drives,o=acme
objectClass: qrtServer

dn: cn=FS1_HOME,ou=drives,o=acme
objectClass: qrtVolume
qrtHostServer: cn=FS1,ou=drives,o=acme
qrtHostResourceName: HOME

dn: cn=SRV1_USERS,ou=drives,o=acme
objectClass: qrtVolume
qrtHostServer: cn=SRV1,o=acme
qrtHostResourceName: USERS

dn: cn=docs,ou=drives,o=acme
objectClass: qrtDirectoryMap
qrtPath: 0#cn=FS1_HOME,ou=drives,o=acme#docs

dn: cn=night,ou=sales,o=acme
objectClass: qrtProfileObject

dn: cn=drivers,o=acme
objectClass: groupOfNames
member: cn=jdoe,ou=sales,o=acme

dn: cn=staff,o=acme
member: cn=jdoe,ou=sales,o=acme
member: cn=other,o=acme

dn: cn=all,o=acme
objectClass: groupOfNames
member: cn=other,o=acme
member: cn=staff,o=acme

dn: cn=nobody,o=acme
displayName: of no object
)";

TEST_F(Overlay, EntriesCountAsIfTheDirectoryHadThem) {
    site("site.ldif", own_additions);
    site("acme/sales/night.qrt", "profile");
    EXPECT_EQ("", refusal());
    EXPECT_THAT(values("jdoe.sales.acme", "Full Name"), ElementsAre("Jane Doe"));
    EXPECT_THAT(values("jdoe.sales.acme", "Description"), ElementsAre("sells", "leads"));
    EXPECT_THAT(values("jdoe.sales.acme", "Surname"), ElementsAre("Doe"));
    EXPECT_THAT(values("jdoe.sales.acme", "Profile"), ElementsAre("night.sales.acme"));
    EXPECT_THAT(values("jdoe.sales.acme", "Home Directory"), ElementsAre("0|FS1_HOME.drives.acme|jdoe"));
    EXPECT_THAT(values("jdoe.sales.acme", "Group Membership"), ElementsAre("staff.acme", "drivers.acme", "all.acme"));
    EXPECT_THAT(values("staff.acme", "Member"), ElementsAre("jdoe.Sales.acme", "other.acme"));
    EXPECT_EQ("Profile", base_class(context(), "night.sales.acme"));
    EXPECT_EQ("Group", base_class(context(), "drivers.acme"));
    EXPECT_EQ("Directory Map", base_class(context(), "docs.drives.acme"));
    EXPECT_EQ("profile", script("night.sales.acme"));
    base_class(context(), "nobody.acme");
    EXPECT_EQ(ZKE_NO_SUCH_ENTRY, lastCode);
}

TEST_F(Overlay, AProfileNeedsNoMoreThanItsFileAndAnAssignment) {
    site("acme/late.qrt", "late profile");
    site("acme/jane.qrt", "of a user who has gone");
    EXPECT_EQ("", refusal());
    EXPECT_EQ("none", script("late.acme"));
    site("site.ldif", "dn: cn=jdoe,ou=Sales,o=acme\nqrtProfile: cn=Late,o=acme\n");
    EXPECT_EQ("", refusal());
    EXPECT_EQ("none", script("late.acme")) << "no object has named it yet";
    EXPECT_THAT(values("jdoe.sales.acme", "Profile"), ElementsAre("Late.acme"));
    EXPECT_EQ("late profile", script("late.acme"));
    EXPECT_EQ("late profile", script("CN=LATE.O=Acme"));
    EXPECT_EQ("none", script("OU=late.acme"));
    EXPECT_EQ("Profile", base_class(context(), "late.acme"));
    EXPECT_EQ("none", script("jane.acme"));
    fs::remove(inside("acme/late.qrt"));
    EXPECT_EQ("late profile", script("late.acme")) << "until the next login";
    EXPECT_EQ("", refusal());
    EXPECT_THAT(values("jdoe.sales.acme", "Profile"), ElementsAre("Late.acme"));
    EXPECT_EQ("none", script("late.acme"));
}

TEST_F(Overlay, ServersAndVolumesAreFoundByTheirOwnNames) {
    site("site.ldif", own_additions);
    const auto parse = [](const char *path) {
        char server[ZK_SERVER_NAME_SIZE] = "?", volume[65] = "?", rest[256] = "?";
        uint32_t connection = 0;
        return ZKParsePath(path, server, &connection, volume, rest) == ZK_OK
                   ? std::string(server) + "|" + volume + "|" + rest
                   : "failed";
    };
    EXPECT_EQ("FS1|HOME|x", parse("fs1/home:x"));
    EXPECT_EQ("SRV1|USERS|x", parse("SRV1/users:x"));
    EXPECT_EQ("SRV1|DATA|x", parse("SRV1/data:x"));
    EXPECT_EQ("failed", parse("FS1/DATA:x"));
    EXPECT_EQ("FS1|HOME|x", parse("HOME:x")) << "the tree's first server is the folder's";
}

TEST_F(Overlay, AServerOfTheFolderCanBeTheDefaultOne) {
    configure("[[tree]]\nname = \"ACME\"\nldif = \"acme.ldif\"\nscripts = \"" + inside("") +
              "\"\ndefault_server = \"FS1\"\n");
    site("site.ldif", own_additions);
    EXPECT_EQ("", refusal());
}

TEST_F(Overlay, AnAccountIsLockedThereToo) {
    site("site.ldif", "dn: cn=jdoe,ou=sales,o=acme\nqrtLoginDisabled: TRUE\n");
    EXPECT_EQ(std::to_string(ZKE_ACCOUNT_LOCKED), refusal());
    EXPECT_EQ(std::to_string(ZKE_WRONG_PASSWORD), refusal("wrong"));
}

TEST_F(Overlay, EntriesThatCannotBeTakenAreErrorsWithFileAndLine) {
    const struct {
        std::string ldif, why;
    } rows[] = {
        {"dn: cn=jdoe,ou=sales,o=acme\nuserPassword: {CRYPT}HASH\n",
         ":2: userPassword: passwords belong in the directory itself"},
        {"dn: cn=a,o=acme\nobjectClass: alias\naliasedObjectName: o=acme\n",
         ":1: aliases belong in the directory itself"},
        {"dn: cn=a,o=acme\ncn: a\n\ndn: CN=A,o=acme\ncn: a\n", ":4: the entry already exists"},
        {"dn: cn=a,o=acme\nqrtProfile: x\n", ":2: qrtProfile: malformed DN"},
        {"include: file:../acme.ldif\n", ":1: ../acme.ldif is not below the directory of the LDIF file"},
        {"dn: cn=a,o=acme\nqrtLoginScript:< file:site.toml\n",
         ":2: site.toml is not below the directory of the LDIF file"},
        {"dn: cn=" + std::string(49, 's') + ",o=acme\nobjectClass: qrtServer\n",
         ":1: a server name must have 1 to 48 bytes"},
        {"o=acme\n", ":1: the line has no \":\""},
    };
    for (const auto &row : rows) {
        site("site.ldif", row.ldif);
        EXPECT_THAT(refusal(), testing::StartsWith(inside("site.ldif") + row.why)) << row.ldif;
    }
}

TEST_F(Overlay, TheFolderSaysItsForm) {
    const struct {
        std::string text, why;
    } rows[] = {
        {"", ":1:1: version must be 1"},
        {"version = 2\n", ":1:11: version must be 1"},
        {"version = \"1\"\n", ":1:11: version must be 1"},
        {"version = 1\ncolour = 1\n", ":2:1: unknown key colour"},
    };
    for (const auto &row : rows) {
        site("site.toml", row.text);
        EXPECT_EQ(inside("site.toml") + row.why, refusal()) << row.text;
    }
    site("site.toml", "version = \n");
    EXPECT_THAT(refusal(), testing::StartsWith(inside("site.toml") + ":1:"));
    fs::remove(inside("site.toml"));
    EXPECT_EQ("cannot open " + inside("site.toml") + ": No such file or directory", refusal());
    fs::remove_all(folder.path("scripts"));
    EXPECT_EQ("cannot open " + folder.path("scripts") + ": No such file or directory", refusal());
    folder.write("scripts", "a file");
    EXPECT_EQ("cannot open " + folder.path("scripts") + ": Not a directory", refusal());
}

TEST_F(Overlay, ALoginIsRefusedBeforeItsPasswordIsSent) {
    site("acme/sales/jdoe.qrt", "x");
    EXPECT_EQ("", refusal());
    fs::permissions(inside("acme/sales/jdoe.qrt"), fs::perms::others_write, fs::perm_options::add);
    EXPECT_EQ(inside("acme/sales/jdoe.qrt") + ": a group or others may write to it: run chmod go-w on it",
              refusal("wrong"));
}

// What the login runs: the user's script, its containers' and its profile's.
TEST_F(Overlay, NoScriptOfTheLoginIsLeftOutInSilence) {
    site("site.ldif", own_additions);
    for (const char *file : {"acme/sales/jdoe.qrt", "acme/sales/_container.qrt", "acme/_container.qrt",
                             "acme/sales/night.qrt", "site.ldif", "site.toml"}) {
        if (!fs::exists(inside(file))) site(file, "x");
        EXPECT_EQ("", refusal());
        fs::permissions(inside(file), fs::perms::group_write, fs::perm_options::add);
        EXPECT_EQ(inside(file) + ": a group or others may write to it: run chmod go-w on it", refusal());
        fs::permissions(inside(file), fs::perms::group_write, fs::perm_options::remove);
    }
    for (const char *name : {"acme", "acme/sales", ""}) {
        fs::permissions(inside(name), fs::perms::others_write, fs::perm_options::add);
        EXPECT_THAT(refusal(), testing::EndsWith(": a group or others may write to it: run chmod go-w on it")) << name;
        fs::permissions(inside(name), fs::perms::others_write, fs::perm_options::remove);
    }
    EXPECT_EQ("", refusal());
}

TEST_F(Overlay, WhatIsNoFileIsRefused) {
    fs::create_directories(inside("acme/sales"));
    const std::string file = inside("acme/sales/jdoe.qrt");
    ASSERT_EQ(0, mkfifo(file.c_str(), 0600));
    EXPECT_EQ(file + ": not a regular file", refusal());
    fs::remove(file);
    fs::create_symlink("/dev/zero", file);
    EXPECT_EQ(file + ": the symbolic link leads out of the folder", refusal());
    fs::remove(file);
    site("acme/sales/jdoe.qrt", std::string("a\0b", 3));
    EXPECT_EQ(file + ": the file contains a NUL byte", refusal());
    fs::resize_file(file, (size_t{16} << 20) + 1);
    EXPECT_EQ(file + ": the file is too large", refusal());
    fs::resize_file(file, size_t{1} << 40);
    EXPECT_EQ(file + ": the file is too large", refusal());
    fs::remove(inside("site.toml"));
    ASSERT_EQ(0, mkfifo(inside("site.toml").c_str(), 0600));
    EXPECT_EQ(inside("site.toml") + ": not a regular file", refusal());
}

TEST_F(Overlay, LinksLeadFromPlaceToPlaceInTheFolderAlone) {
    site("acme/shared/all.qrt", "shared");
    fs::create_directories(inside("acme/sales"));
    const std::string file = inside("acme/sales/jdoe.qrt");
    fs::create_symlink("../shared/all.qrt", file);
    fs::create_directory_symlink(inside("acme"), inside("other"));
    EXPECT_EQ("", refusal());
    EXPECT_EQ("shared", script("jdoe.sales.acme"));
    fs::permissions(inside("acme/shared"), fs::perms::others_write, fs::perm_options::add);
    EXPECT_EQ(inside("acme/shared") + ": a group or others may write to it: run chmod go-w on it", refusal());
    fs::permissions(inside("acme/shared"), fs::perms::others_write, fs::perm_options::remove);
    folder.write("outside.qrt", "x");
    for (const std::string target : {"../../../outside.qrt", "../../acme/../../outside.qrt", "/etc/passwd"}) {
        fs::remove(file);
        fs::create_symlink(target, file);
        EXPECT_EQ(file + ": the symbolic link leads out of the folder", refusal()) << target;
    }
    fs::remove(file);
    fs::create_symlink("jdoe.qrt", file);
    EXPECT_EQ("cannot open " + file + ": Too many levels of symbolic links", refusal());
    fs::remove_all(inside("acme"));
    fs::create_directories(folder.path("elsewhere/sales"));
    fs::create_directory_symlink(folder.path("elsewhere"), inside("acme"));
    EXPECT_EQ(inside("acme/") + ": the symbolic link leads out of the folder", refusal());
}

TEST_F(Overlay, TheFolderItselfMayBeALink) {
    site("acme/sales/jdoe.qrt", "x");
    fs::rename(folder.path("scripts"), folder.path("real"));
    fs::create_directory_symlink("real", folder.path("scripts"));
    EXPECT_EQ("", refusal());
    EXPECT_EQ("x", script("jdoe.sales.acme"));
}

// A directory of accounts, which has one user, and whose names for users are not those of their DNs.
class Accounts : public DirectoryStore {
  public:
    explicit Accounts(std::vector<std::string> *calls) : calls_(calls) {
        auto made = std::make_shared<Entry>();
        made->name = {{"cn", "anna"}, {"ou", "staff"}};
        made->dn = "cn=Anna Lark,ou=staff,dc=school";
        made->entryClass = schema_class_of({"person"});
        user_ = made;
    }
    const Name &base() const override { return base_; }
    EntryPtr find(const Name &name, Aliases) override {
        calls_->push_back("find " + name_to_dotted(name, false));
        return name_equal(name, user_->name) ? user_ : nullptr;
    }
    EntryPtr findUser(const LoginName &name) override { return find(name.objects.front(), Aliases::follow); }
    std::vector<Name> groupsOf(const Entry &) override { return {{{"cn", "choir"}}}; }
    EntryPtr findServer(std::string_view) override { return nullptr; }
    EntryPtr findVolume(const Entry &, std::string_view) override { return nullptr; }
    Verdict checkPassword(const Entry &, const char *) override { return Verdict::wrongPassword; }
    Verdict login(EntryPtr *user, const char *) override {
        calls_->push_back(*user == user_ ? "login as found" : "login of another entry");
        return Verdict::accepted;
    }
    void logout() override { calls_->push_back("logout"); }
    void noteLogin() override { calls_->push_back("note"); }
    void changePassword(const Entry &, const char *old, const char *fresh) override {
        calls_->push_back(std::string("change ") + old + " to " + fresh);
    }
    bool changesPasswords() const override { return true; }
    std::vector<EntryPtr> volumes() override { return {}; }

  private:
    Name base_ = {{"dc", "school"}};
    EntryPtr user_;
    std::vector<std::string> *calls_;
};

class OverlayOfAccounts : public Overlay {
  protected:
    OverlayOfAccounts() {
        site("site.ldif",
             "dn: cn=Anna Lark,ou=staff,dc=school\ndisplayName: Anna\nqrtProfile: cn=night,dc=school\n\n"
             "dn: cn=night,dc=school\nobjectClass: qrtProfileObject\n\n"
             "dn: cn=readers,dc=school\nobjectClass: groupOfNames\nmember: cn=Anna Lark,ou=staff,dc=school\n\n"
             "dn: cn=singers,dc=school\nobjectClass: groupOfNames\nmember: cn=choir,dc=school\n");
        site("staff/anna.qrt", "anna's");
        config.scripts = folder.path("scripts");
        config.configurationOwner = geteuid();
    }
    std::string groups(OverlayStore *store, const Entry &user) {
        std::string all;
        for (const Name &group : store->groupsOf(user)) all += name_to_dotted(group, false) + " ";
        return all;
    }
    std::unique_ptr<OverlayStore> store() {
        return std::make_unique<OverlayStore>(std::make_unique<Accounts>(&calls), config);
    }
    const Name anna = {{"cn", "anna"}, {"ou", "staff"}};
    ConfigTree config;
    std::vector<std::string> calls;
};

TEST_F(OverlayOfAccounts, EntriesAreForUsersByTheirDnsAndScriptsByTheirNames) {
    const auto own = store();
    const EntryPtr user = own->find(anna, Aliases::follow);
    EXPECT_EQ("Anna", *user->first("displayName"));
    EXPECT_EQ("anna's", *user->first("qrtLoginScript"));
    EXPECT_EQ(user, own->find(anna, Aliases::follow)) << "the same entry for the whole login";
    EXPECT_EQ("choir readers singers ", groups(own.get(), *user));
    config.nestedGroups = false;
    EXPECT_EQ("choir readers ", groups(store().get(), *user));
}

TEST_F(OverlayOfAccounts, ALoginIsTheDirectorysOwn) {
    const auto own = store();
    EntryPtr user = own->findUser(login_name_of(anna));
    EXPECT_EQ(nullptr, user->first("displayName"));
    EXPECT_EQ(Verdict::accepted, own->login(&user, "secret"));
    EXPECT_EQ("Anna", *user->first("displayName"));
    EXPECT_THAT(calls, ElementsAre("find anna.staff", "login as found"));
    own->noteLogin();
    own->changePassword(*user, "secret", "other");
    EXPECT_TRUE(own->changesPasswords());
    own->logout();
    EXPECT_THAT(std::vector<std::string>(calls.begin() + 2, calls.end()),
                ElementsAre("note", "change secret to other", "logout"));
}

TEST_F(OverlayOfAccounts, NobodyIsAskedForWhatIsInTheFolderAlone) {
    const auto own = store();
    EXPECT_TRUE(own->find({{"", "night"}}, Aliases::follow)->isClass("Profile"));
    EXPECT_THAT(calls, IsEmpty());
    EXPECT_TRUE(own->find({{"", "readers"}}, Aliases::follow)->isClass("Group"));
    EXPECT_THAT(calls, ElementsAre("find readers"));
}

TEST_F(OverlayOfAccounts, AProfileThatIsAFileStaysTheSameForALogin) {
    site("site.ldif", "dn: cn=Anna Lark,ou=staff,dc=school\nqrtProfile: cn=night,dc=school\n");
    site("night.qrt", "profile");
    const auto own = store();
    own->find(anna, Aliases::follow);
    const EntryPtr night = own->find({{"", "night"}}, Aliases::follow);
    EXPECT_EQ("profile", *night->first("qrtLoginScript"));
    EXPECT_EQ("CN=night", name_to_dotted(night->name, true));
    EXPECT_EQ(night, own->find({{"cn", "NIGHT"}}, Aliases::keep));
    own->logout();
    EXPECT_EQ(nullptr, own->find({{"", "night"}}, Aliases::follow)) << "nothing has named it for this login";
}

TEST_F(OverlayOfAccounts, AnObjectOfTheFolderIsNotMissing) {
    const auto own = store();
    EXPECT_EQ(1u, own->missing({}, {{{"cn", "readers"}}, {{"cn", "other"}}}).size());
    EXPECT_EQ(0u, own->missing({}, {{{"cn", "readers"}}}).size());
}

TEST_F(OverlayOfAccounts, ALoginThatEndsInTheFolderIsUndone) {
    const auto own = store();
    EntryPtr user = own->findUser(login_name_of({{"cn", "anna"}, {"ou", "staff"}}));
    site("staff/anna.qrt", "1");
    site("staff/ANNA.qrt", "2");
    EXPECT_THROW(own->login(&user, "secret"), DataError);
    EXPECT_EQ("find anna.staff", calls.back()) << "not sent";
    fs::remove(inside("staff/ANNA.qrt"));
    site("site.ldif", "dn: cn=anna,ou=staff,dc=school\nqrtLoginScript: 3\n");
    EXPECT_THROW(own->login(&user, "secret"), DataError);
    EXPECT_EQ("logout", calls.back());
}

TEST_F(OverlayOfAccounts, ALoginThatEndsInTheFolderLeavesTheEarlierOne) {
    const auto own = store();
    EntryPtr user = own->findUser(login_name_of(anna));
    EXPECT_EQ(Verdict::accepted, own->login(&user, "secret"));
    user = own->findUser(login_name_of(anna));
    site("site.ldif", "dn: cn=anna,ou=staff,dc=school\nqrtLoginScript: 3\n");
    EXPECT_THROW(own->login(&user, "secret"), DataError);
    EXPECT_THAT(calls, testing::Not(testing::Contains("logout")));
}

// With the rights of root only root's files count, with those of a user the user's own as well where the configuration
// is the user's.
TEST_F(Overlay, SomebodyElsesFilesAreRefused) {
    constexpr uid_t nobody = 65534;
    const auto why = [&](uid_t configurationOwner) -> std::string {
        try {
            SiteFolder(folder.path("scripts"), configurationOwner).read("site.toml", 100);
            return "";
        } catch (const DataError &error) {
            return error.what();
        }
    };
    EXPECT_EQ("", why(geteuid()));
    if (geteuid() != 0) {
        EXPECT_EQ(folder.path("scripts") + ": it must belong to root", why(0));
        EXPECT_EQ(folder.path("scripts") + ": it must belong to root", why(geteuid() + 1));
        return;
    }
    EXPECT_EQ("", why(nobody));
    ASSERT_EQ(0, chown(inside("site.toml").c_str(), nobody, nobody));
    EXPECT_EQ(inside("site.toml") + ": it must belong to root", why(nobody));
    EXPECT_EQ(inside("site.toml") + ": it must belong to root or to you", why(0));
    ASSERT_EQ(0, chown(folder.path("scripts").c_str(), nobody, nobody));
    EXPECT_EQ(folder.path("scripts") + ": it must belong to root", why(nobody));
    ASSERT_EQ(0, chmod(folder.path().c_str(), 0755));
    ASSERT_EQ(0, seteuid(nobody));
    const std::string own = why(nobody), roots = why(0);
    ASSERT_EQ(0, seteuid(0));
    EXPECT_EQ("", own);
    EXPECT_EQ(folder.path("scripts") + ": it must belong to root", roots);
}

TEST_F(Overlay, NoDescriptorStaysOpen) {
    const auto descriptors = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    };
    site("acme/sales/jdoe.qrt", "x");
    EXPECT_EQ("", refusal());
    const auto before = descriptors();
    for (int i = 0; i < 3; i++) EXPECT_EQ("", refusal());
    EXPECT_EQ(before, descriptors());
    fs::permissions(inside("acme"), fs::perms::others_write, fs::perm_options::add);
    for (int i = 0; i < 3; i++) EXPECT_NE("", refusal());
    EXPECT_EQ(before, descriptors());
}

TEST_F(Overlay, WithoutDescriptorsTheReasonIsKnown) {
    const SiteFolder own(folder.path("scripts"), geteuid());
    std::vector<int> all;
    while (all.empty() || all.back() >= 0) all.push_back(::open("/dev/null", O_RDONLY));
    std::string why;
    try {
        own.items("");
    } catch (const DataError &error) {
        why = error.what();
    }
    for (const int descriptor : all) close(descriptor);
    EXPECT_EQ("cannot open " + folder.path("scripts") + "/: Too many open files", why);
}

// An attribute of which a server allows one value has one here.
TEST(EntryMerge, KnowsWhatTheSchemaGivesOneValue) {
    std::ifstream file(SOURCE_DIR "/platform/client/schema/qrt.schema");
    std::stringstream text;
    text << file.rdbuf();
    const std::string schema = text.str();
    int found = 0;
    for (const SchemaAttribute &row : schema_attributes()) {
        const size_t at = schema.find(std::string("NAME '") + row.ldap + "'");
        if (at == schema.npos) continue;
        found++;
        const bool isSingle =
            schema.substr(at, schema.find("\nattributetype", at) - at).find("SINGLE-VALUE") != schema.npos;
        EXPECT_EQ(isSingle, entry_attribute_is_single(row)) << row.ldap;
    }
    EXPECT_EQ(20, found);
    EXPECT_TRUE(entry_attribute_is_single(*schema_find_ldap("displayName")));
    EXPECT_FALSE(entry_attribute_is_single(*schema_find_ldap("description")));
}

} // namespace
