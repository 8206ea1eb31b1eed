// The LDIF reader and the embedded directory: what loads, and with which line each refusal comes.
#include <sys/stat.h>
#include <unistd.h>
#include <filesystem>

#include "platform/client/core/errors.h"
#include "platform/client/ldif/reader.h"
#include "platform/client/ldif/store.h"
#include "tests/support/client_fixture.h"

namespace {

const std::string acme = "dn: o=acme\nobjectClass: organization\no: acme\n\n";

class Ldif : public ::testing::Test {
  protected:
    // Loads a tree from this text: "" or what was refused.
    std::string load(const std::string &text, const char *base = "") {
        folder.write("t.ldif", text);
        Name base_name;
        EXPECT_TRUE(name_parse_dn(base, {}, &base_name, nullptr));
        try {
            store = ldif_store_load(folder.path("t.ldif"), "t.ldif", base_name);
            return "";
        } catch (const DataError &error) {
            return error.what();
        }
    }

    std::string description(const char *dotted) {
        Name name;
        EntryPtr entry;
        EXPECT_TRUE(name_parse_dotted(dotted, {}, &name));
        EXPECT_NE(nullptr, entry = store->find(name, Aliases::follow));
        const std::string *text = entry == nullptr ? nullptr : entry->first("description");
        return text == nullptr ? "none" : *text;
    }

    // acme with the description given by this line.
    std::string described(const std::string &line) {
        std::string refused = load("dn: o=acme\nobjectClass: organization\no: acme\n" + line + "\n");
        return refused.empty() ? description("acme") : refused;
    }

    TempFolder folder;
    std::unique_ptr<DirectoryStore> store;
};

TEST_F(Ldif, ValuesAreWrittenInFourWays) {
    folder.write("text.txt", "from a file\n");
    EXPECT_EQ("plain", described("description: plain"));
    EXPECT_EQ("plain", described("description:plain"));
    EXPECT_EQ("trailing  ", described("description:   trailing  "));
    EXPECT_EQ("folded over lines", described("description: fol\n ded over\n  lines"));
    EXPECT_EQ("base64", described("description:: YmFzZTY0"));
    EXPECT_EQ("b64", described("description:: YjY0"));
    EXPECT_EQ("b6", described("description:: YjY="));
    EXPECT_EQ("b", described("description:: Y\n g=="));
    EXPECT_EQ("b", described("description::  \tYg==  "));
    EXPECT_EQ("+/?>", described("description:: Ky8/Pg=="));
    EXPECT_EQ("tab", described("description: \ttab"));
    EXPECT_EQ("none", described("descriptioN;lang-de: x\nx-y.z_0: y"));
    EXPECT_EQ("from a file\n", described("description:< file:text.txt"));
    EXPECT_EQ("from a file\n", described("description:< file:te%78t.txt"));
    EXPECT_EQ("from a file\n", described("description:< FILE:text%2Etx%74"));
    EXPECT_EQ("from a file\n", described("description:< file:text%2etxt"));
    EXPECT_EQ("from a file\n", described("description:< file://" + folder.path("text.txt")));
    EXPECT_EQ("crlf", described("description: crlf\r"));
    EXPECT_EQ("a:b", described("DESCRIPTION: a:b"));
}

TEST_F(Ldif, CommentsAndEmptyLinesDoNotCount) {
    EXPECT_EQ("", load("\n\nversion: 1\n# a comment\n  that goes on\n\n\n" + acme + "# end\n\n\n"));
    EXPECT_EQ("none", description("acme"));
    EXPECT_EQ("", load(""));
    EXPECT_EQ("", load("dn: o=acme\nchangetype: add\nobjectClass: organization\no: acme"));
}

TEST_F(Ldif, RefusalsNameTheLine) {
    const struct {
        const char *refusal;
        std::vector<std::string> texts;
    } cases[] = {
        {"t.ldif:5: a record must begin with dn:", {acme + "o: x\n"}},
        {"t.ldif:5: the entry already exists",
         {acme + "dn: o=acme\nobjectClass: organization\no: acme\n",
          acme + "dn: O=ACME\nobjectClass: organization\no: acme\n"}},
        {"t.ldif:5: the entry's parent is missing: it must come first",
         {acme + "dn: ou=a,o=b\nobjectClass: organizationalUnit\nou: a\n"}},
        {"t.ldif:2: 2.5.4.10: an attribute must be given by its name, not by its number",
         {"dn: o=acme\n2.5.4.10: acme\n"}},
        {"t.ldif:1: malformed DN", {"dn: acme\no: acme\n", "dn: o=a+ou=b\no: a\n"}},
        {"t.ldif:1: the entry has no objectClass", {"dn: o=acme\no: acme\n"}},
        {"t.ldif:1: the entry has no o value that matches its DN",
         {"dn: o=acme\nobjectClass: organization\no: other\n"}},
        {"t.ldif:1: the record has no attributes", {"dn: o=acme\n\n", "dn: o=acme\n\n# c\nqrtLocked: yes\n"}},
        {"t.ldif:2: the line has no \":\"", {"dn: o=acme\nno colon\n"}},
        {"t.ldif:2: malformed attribute name", {"dn: o=acme\nb d: x\n", "dn: o=acme\n: x\n"}},
        {"t.ldif:1: unexpected continuation line", {" x\n"}},
        {"t.ldif:5: unexpected continuation line", {acme + " x\n"}},
        {"t.ldif:2: dn: not allowed inside a record", {"dn: o=acme\ndn: o=b\n"}},
        {"t.ldif:2: only changetype: add is supported, directly after dn:", {"dn: o=acme\nchangetype: modify\n"}},
        {"t.ldif:3: only changetype: add is supported, directly after dn:", {"dn: o=acme\no: acme\nchangetype: add\n"}},
        {"t.ldif:2: control: not allowed inside a record", {"dn: o=acme\ncontrol: 1.2.3\n"}},
        {"t.ldif:5: only version: 1 is supported, at the beginning of a file", {acme + "version: 1\n"}},
        {"t.ldif:1: only version: 1 is supported, at the beginning of a file", {"version: 2\n"}},
        {"t.ldif:2: malformed base64",
         {"dn: o=acme\no:: a\n", "dn: o=acme\no:: !!!!\n", "dn: o=acme\no:: =aaa\n", "dn: o=acme\no:: a===\n",
          "dn: o=acme\no:: ====\n", "dn: o=acme\no:: aaaaa\n", "dn: o=acme\no:: aaaaaa\n"}},
        {"t.ldif:2: o: the value is empty", {"dn: o=acme\no::\n", "dn: o=acme\no:\n"}},
        {"t.ldif:3: unexpected continuation line", {"\n\n x\n"}},
        {"t.ldif:4: unexpected continuation line", {"#\n x\n\n x\n"}},
        {"t.ldif:2: only version: 1 is supported, at the beginning of a file", {"version: 1\nversion: 1\n"}},
        {"t.ldif:2: 5: an attribute must be given by its name, not by its number", {"dn: o=acme\n5: acme\n"}},
        {"t.ldif:1: a server name must have 1 to 48 bytes",
         {"dn: ou=x\nobjectClass: qrtServer\nou: x\n",
          "dn: cn=" + std::string(49, 's') + "\nobjectClass: qrtServer\ncn: " + std::string(49, 's') + "\n"}},
        {"t.ldif:1: the entry's name is longer than 512 bytes",
         {"dn: o=" + std::string(511, 's') + "\no: x\n", "dn: o=" + std::string(520, 's') + "\no: x\n"}},
        {"t.ldif:2: description: the value contains a NUL byte", {"dn: o=acme\ndescription:: YQBi\n"}},
        {"t.ldif:2: the line contains a NUL byte", {std::string("dn: o=acme\no: a\0b\n", 18)}},
        {"t.ldif:2: qrtLocked: must be TRUE or FALSE", {"dn: o=acme\nqrtLocked: yes\n"}},
        {"t.ldif:1: the alias has no aliasedObjectName", {"dn: o=acme\nobjectClass: alias\no: acme\n"}},
        {"t.ldif:2: qrtHostResourceName: the value is too long",
         {"dn: o=acme\nqrtHostResourceName: " + std::string(65, 'x') + "\n"}},
    };
    for (const auto &one : cases)
        for (const std::string &text : one.texts) EXPECT_EQ(one.refusal, load(text)) << text;
}

TEST_F(Ldif, OnlyFilesBelowTheFolderAreRead) {
    TempFolder other;
    other.write("secret.txt", "secret");
    folder.write("inside.txt", "inside");
    folder.make("sub");
    ASSERT_EQ(0, symlink(other.path("secret.txt").c_str(), folder.path("link.txt").c_str()));
    ASSERT_EQ(0, symlink("inside.txt", folder.path("inner.txt").c_str()));
    ASSERT_EQ(0, mkfifo(folder.path("pipe").c_str(), 0600));
    std::string real = std::filesystem::canonical(folder.path(".")).string();
    EXPECT_EQ("inside", described("description:< file:inner.txt")) << "a link that stays below is followed";
    EXPECT_EQ("inside", described("description:< file:sub/../inside.txt"));
    std::string below = " is outside the directory of the LDIF file";
    const struct {
        std::string refusal;
        std::vector<std::string> urls;
    } cases[] = {
        {"link.txt" + below, {"file:link.txt"}},
        {other.path("secret.txt") + below, {"file:" + other.path("secret.txt")}},
        {"/etc/passwd" + below, {"file:///etc/passwd"}},
        {"../../etc/passwd" + below, {"file:../../etc/passwd"}},
        {"a file: URL must not have a host name", {"file://host/etc/passwd", "file://"}},
        {"only file: URLs are supported", {"http://localhost/x", "file"}},
        {"malformed URL", {"file:", "file:a%", "file:a%7", "file:a%7g", "file:a%g7", "file:a%0", "file:a%00b"}},
        {"cannot open " + real + "/none.txt: No such file or directory", {"file:none.txt"}},
        {real + "/sub: not a regular file", {"file:sub"}},
        {real + "/pipe: not a regular file", {"file:pipe"}},
    };
    for (const auto &one : cases)
        for (const std::string &url : one.urls)
            EXPECT_EQ("t.ldif:4: " + one.refusal, described("description:< " + url)) << url;
}

TEST_F(Ldif, IncludedFilesBelongToTheTree) {
    folder.write("more.ldif", "dn: ou=a,o=acme\nobjectClass: organizationalUnit\nou: a\n");
    folder.write("wrong.ldif", "\ndn: x\no: x\n");
    folder.write("self.ldif", "include: file:self.ldif\n");
    EXPECT_EQ("", load(acme + "include: file:more.ldif\n\n" +
                       "dn: ou=b,ou=a,o=acme\nobjectClass: organizationalUnit\nou: b\n"));
    EXPECT_EQ("none", description("b.a.acme"));
    EXPECT_EQ("wrong.ldif:2: malformed DN", load(acme + "include: file:wrong.ldif\n"));
    EXPECT_EQ("self.ldif:1: include files are nested too deeply", load("include: file:self.ldif\n"));
    folder.write("empty.ldif", "");
    std::string many = acme;
    for (int i = 0; i < 1000; i++) many += "include: file:empty.ldif\n";
    EXPECT_EQ("", load(many));
    EXPECT_EQ("t.ldif:1005: too many include files", load(many + "include: file:empty.ldif\n"));
    EXPECT_EQ("t.ldif:1: /etc/passwd is outside the directory of the LDIF file", load("include: file:///etc/passwd\n"));
    EXPECT_EQ("t.ldif:2: include: not allowed inside a record", load("dn: o=acme\ninclude: file:more.ldif\n"));
}

TEST_F(Ldif, FilesMayBeIncludedEightDeep) {
    const std::string last = "version: 1\ndn: o=last\nobjectClass: organization\no: last\n";
    for (int i = 2; i <= 9; i++)
        folder.write(std::to_string(i) + ".ldif", "version: 1\ninclude: file:" + std::to_string(i + 1) + ".ldif\n");
    folder.write("8.ldif", last);
    EXPECT_EQ("", load("include: file:2.ldif\n"));
    EXPECT_EQ("none", description("last"));
    folder.write("8.ldif", "include: file:9.ldif\n");
    folder.write("9.ldif", last);
    EXPECT_EQ("8.ldif:1: include files are nested too deeply", load("include: file:2.ldif\n"));
    folder.make("8.ldif-dir");
    EXPECT_EQ("t.ldif:1: not a regular file", load("include: file:8.ldif-dir\n"));
}

// What is read without a record in it is not kept.
TEST_F(Ldif, FilesWithoutRecordsMayStandBetweenOthers) {
    folder.write("comment.ldif", "# only this\n");
    folder.write("more.ldif", "dn: ou=a,o=acme\nobjectClass: organizationalUnit\nou: a\ndescription: more\n");
    folder.write("nested.ldif", "include: file:comment.ldif\ninclude: file:more.ldif\ninclude: file:comment.ldif\n");
    EXPECT_EQ("", load("include: file:comment.ldif\n\n" + acme + "include: file:nested.ldif\n\n" +
                       "dn: ou=b,ou=a,o=acme\nobjectClass: organizationalUnit\nou: b\ndescription: last\n"));
    EXPECT_EQ("none", description("acme"));
    EXPECT_EQ("more", description("a.acme"));
    EXPECT_EQ("last", description("b.a.acme"));
}

TEST_F(Ldif, ATreeStaysAsItWasRead) {
    const std::string changed = "dn: o=other\n\n";
    folder.write("value.txt", "value");
    folder.write("dn.txt", "cn=file,o=acme");
    folder.write("more.ldif", "dn: cn=more,o=acme\nobjectClass: person\ncn: more\ndescription: included\n");
    ASSERT_EQ("", load("version: 1\n" + acme +
                       "dn: cn=u,o=acme\nobjectClass: person\ncn: u\ndescription:< file:value.txt\n\n"
                       "dn:< file:dn.txt\nobjectClass: groupOfNames\ncn: file\nuserPassword: clear\n"
                       "member: cn=u,o=acme\nmember:< file:dn.txt\n\n"
                       "dn: cn=g,o=acme\nobjectClass: groupOfNames\ncn: g\nmember: cn=u,o=acme\n\n"
                       "include: file:more.ldif\n\n"
                       "dn: cn=below,cn=file,o=acme\nobjectClass: person\ncn: below\n"));
    for (const char *file : {"t.ldif", "value.txt", "dn.txt", "more.ldif"}) folder.write(file, changed);
    EXPECT_EQ("value", description("u.acme"));
    EXPECT_EQ("included", description("more.acme"));
    EXPECT_EQ("none", description("below.file.acme"));
    const EntryPtr user = store->find({{"cn", "u"}, {"o", "acme"}}, Aliases::keep);
    const EntryPtr file = store->find({{"cn", "file"}, {"o", "acme"}}, Aliases::keep);
    ASSERT_TRUE(user != nullptr && file != nullptr);
    EXPECT_EQ(user, store->find({{"", "U"}, {"", "ACME"}}, Aliases::keep)) << "there is one of each";
    EXPECT_EQ(1u, file->subordinates);
    EXPECT_EQ(2u, store->groupsOf(*user).size());
    EXPECT_EQ(1u, store->groupsOf(*file).size());
    try {
        store->checkPassword(*file, "clear");
        FAIL();
    } catch (const DataError &error) {
        EXPECT_STREQ("t.ldif:14: userPassword: the password is not a {CRYPT} hash", error.what());
    }
}

TEST_F(Ldif, NamesAreFoundHoweverTheyAreWritten) {
    const std::string person = "\nobjectClass: person\ncn:: ";
    ASSERT_EQ("", load(acme + "dn:: Y249YjY0LG89YWNtZQ==" + person + "YjY0\ndescription: 1\n\n" +
                       "dn: cn=fol\n ded,o=ac\n me" + person + "Zm9sZGVk\ndescription: 2\n\n" +
                       "dn: CN = a\\2Cb\\20 ,o=acme" + person + "YSxiIA==\ndescription: 3\n\n" +
                       "dn: cn=J\xC3\xB6RG,o=acme" + person + "asO2cmc=\ndescription: 4\n\n" + "dn: cn=x   Y,o=acme" +
                       person + "eCBZ\ndescription: 5\n\n" + "dn: cn=\\ ,o=acme" + person + "IA==\ndescription: 6\n"));
    EXPECT_EQ("1", description("B64.acme"));
    EXPECT_EQ("2", description("folded.acme"));
    EXPECT_EQ("3", description("a,b\\ .acme"));
    EXPECT_EQ("4", description("j\xC3\x96rg.acme"));
    EXPECT_EQ("5", description("X y.acme"));
    EXPECT_EQ("6", description("\\ .acme"));
}

// Where the first entry is that of a suffix, what is above it has no entry.
TEST_F(Ldif, AParentThatComesLaterIsNoParent) {
    ASSERT_EQ("", load("dn: dc=Acme,dc=example\nobjectClass: domain\ndc: acme\n\n"
                       "dn: dc=EXAMPLE\nobjectClass: domain\ndc: example\n\n"
                       "dn: dc=b,dc=example\nobjectClass: domain\ndc: b\n"));
    EntryPtr entry;
    ASSERT_NE(nullptr, entry = store->find({{"dc", "acme"}, {"dc", "example"}}, Aliases::keep));
    EXPECT_EQ("DC=Acme.DC=example", name_to_dotted(entry->name, true));
    ASSERT_NE(nullptr, entry = store->find({{"dc", "example"}}, Aliases::keep));
    EXPECT_EQ(1u, entry->subordinates);
    ASSERT_NE(nullptr, entry = store->find({{"", "b"}, {"dc", "example"}}, Aliases::keep));
    EXPECT_EQ("DC=b.DC=EXAMPLE", name_to_dotted(entry->name, true));
    EXPECT_EQ(nullptr, store->find({{"dc", "c"}, {"dc", "acme"}, {"dc", "example"}}, Aliases::keep));
    EXPECT_EQ(nullptr, store->find({{"dc", "acme"}}, Aliases::keep));
}

TEST_F(Ldif, EveryLimitMayBeReached) {
    const std::string name(510, 's'), server(48, 'S'), volume(64, 'v');
    EXPECT_EQ("", load("dn: o=" + name + "\nobjectClass: organization\no: " + name + "\n"));
    EXPECT_EQ("", load("dn: cn=" + server + "\nobjectClass: qrtServer\ncn: " + server +
                       "\nqrtHostResourceName: " + volume + "\n"));
}

TEST_F(Ldif, ThreeObjectsMayDifferInTheirTypesOnly) {
    std::string text = acme;
    for (const std::string type : {"cn", "ou", "uid"})
        text += "dn: " + type + "=x,o=acme\nobjectClass: person\n" + type + ": x\ndescription: " + type + "\n\n";
    ASSERT_EQ("", load(text));
    EXPECT_EQ("cn", description("x.acme"));
    for (const std::string type : {"cn", "ou", "uid"}) EXPECT_EQ(type, description((type + "=x.acme").c_str()));
    EXPECT_EQ(nullptr, store->find({{"sn", "x"}, {"", "acme"}}, Aliases::keep));
    EXPECT_EQ("t.ldif:20: the entry already exists", load(text + "dn: uid=X,o=acme\nobjectClass: person\nuid: x\n"));
}

TEST_F(Ldif, AVolumeIsFoundByItsServerAndItsNameThere) {
    const auto volume = [](const std::string &name, const std::string &more) {
        return "dn: cn=" + name + "\nobjectClass: qrtVolume\ncn: " + name + "\n" + more + "\n";
    };
    ASSERT_EQ("", load("dn: cn=S\nobjectClass: qrtServer\ncn: S\n\ndn: cn=T\nobjectClass: qrtServer\ncn: T\n\n" +
                       volume("nameless", "qrtHostServer: cn=S\n") + volume("homeless", "qrtHostResourceName: SYS\n") +
                       volume("other", "qrtHostServer: cn=T\nqrtHostResourceName: SYS\n") +
                       volume("meant", "qrtHostServer: cn=s\nqrtHostResourceName: SYS\n")));
    EntryPtr server, found;
    ASSERT_NE(nullptr, server = store->findServer("s"));
    ASSERT_NE(nullptr, found = store->findVolume(*server, "sys"));
    EXPECT_EQ("meant", name_to_dotted(found->name, false));
    EXPECT_EQ(nullptr, store->findVolume(*server, "data"));
    ASSERT_NE(nullptr, server = store->findServer(""));
    EXPECT_EQ("S", name_to_dotted(server->name, false)) << "the first one";
}

TEST_F(Ldif, EntriesBelowAnotherAreCounted) {
    ASSERT_EQ("", load(acme + "dn: cn=a,o=acme\nobjectClass: person\ncn: a\n\n"
                              "dn: cn=b,o=acme\nobjectClass: person\ncn: b\nmodifyTimestamp: 19700101000007Z\n\n"
                              "dn: cn=c,cn=b,o=acme\nobjectClass: person\ncn: c\n"));
    EntryPtr entry;
    ASSERT_NE(nullptr, entry = store->find({{"o", "acme"}}, Aliases::keep));
    EXPECT_EQ(2u, entry->subordinates);
    EXPECT_EQ(0, entry->modificationTime);
    ASSERT_NE(nullptr, entry = store->find({{"cn", "b"}, {"o", "acme"}}, Aliases::keep));
    EXPECT_EQ(1u, entry->subordinates);
    EXPECT_EQ(7, entry->modificationTime);
}

// What a copy of a directory is read from.
TEST_F(Ldif, ATextNamesNoFileAndKeepsEveryName) {
    const auto loaded = [&](const std::string &text) -> std::string {
        try {
            LdifText ldif;
            ldif.text = text;
            store = ldif_store_load(std::move(ldif), "copy", {});
            return "";
        } catch (const DataError &error) {
            return error.what();
        }
    };
    folder.write("inside.txt", "inside");
    EXPECT_EQ("", loaded(acme + "dn: cn=a\\1Bb,o=acme\nobjectClass: person\ncn:: YRti\n"));
    EntryPtr entry;
    EXPECT_NE(nullptr, entry = store->find({{"cn",
                                             "a\x1B"
                                             "b"},
                                            {"o", "acme"}},
                                           Aliases::keep));
    const std::string file = folder.path("inside.txt");
    EXPECT_EQ("copy:5: " + file + " is not below the directory of the LDIF file",
              loaded(acme + "include: file://" + file));
    EXPECT_EQ("copy:2: " + file + " is not below the directory of the LDIF file",
              loaded("dn: o=acme\ndescription:< file:" + file));
}

TEST_F(Ldif, AnOversizedFileIsRefused) {
    const size_t limit = 16 * 1024 * 1024;
    folder.write("text.txt", "");
    std::filesystem::resize_file(folder.path("text.txt"), limit);
    EXPECT_EQ("t.ldif:4: description: the value is too long", described("description:< file:text.txt"));
    std::filesystem::resize_file(folder.path("text.txt"), limit + 1);
    EXPECT_EQ("t.ldif:4: " + std::filesystem::canonical(folder.path("text.txt")).string() + ": the file is too large",
              described("description:< file:text.txt"));
}

TEST_F(Ldif, AnOversizedLineIsRefused) {
    const std::string longest(24 * 1024 * 1024 - 7, 'x');
    EXPECT_EQ("t.ldif:2: title: the value is too long", load("dn: o=acme\ntitle: " + longest + "\n"));
    EXPECT_EQ("t.ldif:2: the line is too long", load("dn: o=acme\ntitle: " + longest + "\n x\n"));
    EXPECT_EQ("t.ldif:2: the line is too long", load("dn: o=acme\nx: " + std::string(25 * 1024 * 1024, 'x') + "\n"));
    EXPECT_EQ("t.ldif:1: the line is too long", load("x: \n " + std::string(25 * 1024 * 1024, 'x') + "\n"));
    EXPECT_EQ("t.ldif:2: title: the value is too long", load("dn: o=acme\ntitle: " + std::string(70000, 'x') + "\n"));
}

TEST_F(Ldif, AFileThatIsNotThereIsRefused) {
    try {
        ldif_store_load(folder.path("none.ldif"), "none.ldif", {});
        FAIL();
    } catch (const DataError &error) {
        EXPECT_EQ("none.ldif: cannot open " + folder.path("none.ldif") + ": No such file or directory",
                  std::string(error.what()));
    }
}

TEST_F(Ldif, EntriesLieBelowTheBase) {
    std::string top = "dn: dc=example\nobjectClass: domain\ndc: example\ndescription: top\n\n";
    EXPECT_EQ("", load(top + "dn: cn=a,dc=example\nobjectClass: person\ncn: a\ndescription: leaf\n", "dc=example"));
    EXPECT_EQ("leaf", description("a"));
    EXPECT_EQ("top", description("[Root]"));
    EXPECT_EQ("t.ldif:1: the entry is not below the tree's base", load(acme, "dc=example"));
    EXPECT_EQ("t.ldif:2: member: the DN is not below the tree's base",
              load("dn: cn=g,dc=example\nmember: cn=x,o=acme\n", "dc=example"));
}

TEST_F(Ldif, ATypelessNameFindsTheFirstThatFitsAndTypesChoose) {
    EXPECT_EQ("", load(acme + "dn: ou=x,o=acme\nobjectClass: organizationalUnit\nou: x\ndescription: unit\n\n"
                              "dn: cn=x,o=acme\nobjectClass: person\ncn: x\ndescription: person\n"));
    EXPECT_EQ("unit", description("x.acme"));
    EXPECT_EQ("person", description("CN=x.acme"));
    EXPECT_EQ("unit", description("OU=X.O=ACME"));
}

TEST_F(Ldif, BothKindsOfMembersCountOnce) {
    EXPECT_EQ("", load(acme + "dn: cn=j,o=acme\nobjectClass: person\ncn: j\n\n"
                              "dn: cn=both,o=acme\nobjectClass: groupOfNames\ncn: both\nmember: cn=j,o=acme\n"
                              "uniqueMember: CN=J,o=acme\n\n"
                              "dn: cn=unique,o=acme\nobjectClass: groupOfUniqueNames\ncn: unique\n"
                              "uniqueMember: cn=j,o=acme\n\n"
                              "dn: cn=other,o=acme\nobjectClass: groupOfUniqueNames\ncn: other\n"
                              "uniqueMember: ou=j,o=acme\nuniqueMember: cn=k,o=acme\n"));
    EntryPtr entry;
    ASSERT_NE(nullptr, entry = store->find({{"", "j"}, {"", "acme"}}, Aliases::follow));
    const std::vector<Name> groups = store->groupsOf(*entry);
    ASSERT_EQ(2u, groups.size());
    EXPECT_EQ("both.acme", name_to_dotted(groups[0], false));
    EXPECT_EQ("unique.acme", name_to_dotted(groups[1], false));
}

TEST_F(Ldif, APlaceIsSpelledAsItsOwnEntrySpellsIt) {
    EXPECT_EQ("", load("dn: DC=Acme,dc=Example\nobjectClass: domain\ndomainComponent: acme\n\n"
                       "dn: serialNumber=5,dc=ACME,DC=example\nobjectClass: device\nserialNumber: 5\n"));
    EntryPtr entry;
    ASSERT_NE(nullptr, entry = store->find({{"serialnumber", "5"}, {"", "acme"}, {"", "example"}}, Aliases::keep));
    EXPECT_EQ("SERIALNUMBER=5.DC=Acme.DC=Example", name_to_dotted(entry->name, true));
}

TEST_F(Ldif, AHundredThousandUsersLoad) {
    std::string text = acme;
    for (int i = 0; i < 100000; i++) {
        std::string user = "u" + std::to_string(i);
        text += "dn: cn=" + user + ",o=acme\nobjectClass: inetOrgPerson\ncn: " + user + "\nsn: x\n\n";
    }
    EXPECT_EQ("", load(text));
    for (int i = 0; i < 100000; i += 37) EXPECT_EQ("none", description(("u" + std::to_string(i) + ".acme").c_str()));
    EXPECT_EQ(nullptr, store->find({{"cn", "u100000"}, {"o", "acme"}}, Aliases::keep));
}

TEST_F(Ldif, EveryCutOfAFileLoadsOrIsRefusedWithAPlace) {
    std::string whole = "version: 1\n" + acme +
                        "dn:: Y249YSxvPWFjbWU=\nobjectClass: person\ncn: a\n"
                        "postalAddress: a$b\\24\nqrtHomeDirectory: 0#cn=v,o=acme#x\nqrtLoginScript:< file:t.ldif\n";
    for (size_t length = 0; length <= whole.size(); length++) {
        std::string refused = load(whole.substr(0, length));
        EXPECT_TRUE(refused.empty() || refused.rfind("t.ldif:", 0) == 0) << length << refused;
    }
}

TEST_F(Ldif, ATimeHasAtMost32Bytes) {
    const std::string longest = "20260101000000." + std::string(16, '0') + "Z";
    ASSERT_EQ(longest.size(), 32u);
    for (const std::string name : {"qrtLastLoginTime", "qrtLoginTime", "qrtLoginExpirationTime",
                                   "qrtPasswordExpirationTime", "modifyTimestamp"}) {
        const std::string start = "dn: o=acme\nobjectClass: organization\no: acme\n" + name + ": ";
        EXPECT_EQ("", load(start + longest + "\n"));
        EXPECT_EQ("t.ldif:4: " + name + ": the value is too long", load(start + "0" + longest + "\n"));
    }
}

// A server may not show everything that a file must have.
TEST(LdifCopy, MayLackTheValueInAName) {
    LdifText copy;
    copy.text = "dn: o=acme\nobjectClass: organization\n\ndn: cn=jdoe,o=acme\nsn: Doe\n";
    EXPECT_NE(ldif_store_load(std::move(copy), "copy", {})->find({{"cn", "jdoe"}, {"o", "acme"}}, Aliases::keep),
              nullptr);
}

} // namespace
