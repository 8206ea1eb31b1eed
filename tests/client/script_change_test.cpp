// Login scripts that are changed in an LDIF file: only the script, only as a whole, and only if it is what was read.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <csignal>
#include <filesystem>
#include <random>

#include "platform/client/core/descriptor.h"
#include "platform/client/interface/scripts.h"
#include "platform/client/ldif/reader.h"
#include "platform/client/ldif/rewrite.h"
#include "tests/support/client_fixture.h"
#include "tests/support/own_process.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char *tree_text = R"(version: 1
# The organization.
dn: o=acme
objectClass: organization
o: acme
qrtLoginScript:< file:scripts/acme.qrt

dn: ou=sales,o=acme
objectClass: organization
 alUnit
ou: sales
# Kept in a folded line.
qrtLoginScript: WRITE "sa
 les"
description:: c2VsbHM=

dn: cn=jdoe,ou=sales,o=acme
objectClass: inetOrgPerson
cn: jdoe
sn: Doe
# The last one.

include: file:more.ldif
)";

constexpr const char *more_text = R"(dn: cn=more,o=acme
objectClass: qrtProfileObject
cn: more
QRTLOGINSCRIPT:: V1JJVEUgIm1vcmUiCg==)";

class ScriptChange : public ClientTest {
  protected:
    ScriptChange() {
        umask(022);
        folder.write("acme.ldif", tree_text);
        folder.write("more.ldif", more_text);
        folder.write("scripts/acme.qrt", "WRITE \"acme\"\r\n");
        configure("[[tree]]\nname = \"ACME\"\nldif = \"acme.ldif\"\n");
        at = context();
    }
    StoredScript stored(const std::string &object) { return script_read(at, script_object(at, object)); }
    ScriptText script(const std::string &object) { return stored(object).text; }
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
    std::string file(const std::string &name = "acme.ldif") const { return file_text(folder.path(name)); }
    static std::string with(std::string text, const std::string &from, const std::string &to) {
        const size_t found = text.find(from);
        EXPECT_NE(found, text.npos);
        return text.replace(found, from.size(), to);
    }
    // What is in the folder beside the files of the tree.
    size_t strays() const {
        size_t count = 0;
        for (const auto &item : fs::directory_iterator(folder.path())) {
            const std::string name = item.path().filename();
            count += name != "acme.ldif" && name != "more.ldif" && name != "scripts" && name != "client.toml" ? 1 : 0;
        }
        return count;
    }
    struct stat status(const std::string &name) const {
        struct stat found = {};
        EXPECT_EQ(stat(folder.path(name).c_str(), &found), 0);
        return found;
    }

    uint32_t at = 0;
    uint32_t code = ZK_OK;
};

} // namespace

TEST_F(ScriptChange, ReadsTheScriptAndTellsWhereItIs) {
    EXPECT_EQ(script("acme"), "WRITE \"acme\"\r\n");
    EXPECT_EQ(stored("acme").place, fs::canonical(folder.path("scripts/acme.qrt")));
    EXPECT_EQ(script("sales.acme"), "WRITE \"sales\"");
    EXPECT_EQ(stored("sales.acme").place, "acme.ldif:13");
    EXPECT_EQ(script("jdoe.sales.acme"), std::nullopt);
    EXPECT_EQ(stored("more.acme").place, "more.ldif:4");
}

TEST_F(ScriptChange, TellsWhoseFileNotEverybodyMayRead) {
    const auto isPrivate = [this](const char *object) { return script_is_private(at, script_object(at, object)); };
    const auto setRights = [this](const char *name, unsigned rights) {
        fs::permissions(folder.path(name), static_cast<fs::perms>(rights));
    };
    for (const char *object : {"acme", "sales.acme", "more.acme"}) EXPECT_FALSE(isPrivate(object)) << object;
    setRights("scripts/acme.qrt", 0640);
    EXPECT_TRUE(isPrivate("acme"));
    EXPECT_FALSE(isPrivate("sales.acme"));
    setRights("acme.ldif", 0604);
    EXPECT_TRUE(isPrivate("sales.acme"));
    EXPECT_FALSE(isPrivate("more.acme"));
    fs::remove(folder.path("more.ldif"));
    EXPECT_TRUE(isPrivate("more.acme")) << "nobody knows";
}

TEST_F(ScriptChange, ReplacesOneValueAndNoOtherByte) {
    EXPECT_EQ(put("sales.acme", "WRITE \"sales\"", "WRITE \"new\""), "");
    EXPECT_EQ(file(), with(tree_text, "qrtLoginScript: WRITE \"sa\n les\"\n", "qrtLoginScript: WRITE \"new\"\n"));
    EXPECT_EQ(script("sales.acme"), "WRITE \"new\"");
    EXPECT_EQ(strays(), 0u);
}

TEST_F(ScriptChange, WritesLinesInBase64) {
    EXPECT_EQ(put("sales.acme", "WRITE \"sales\"", "A\nB\n"), "");
    EXPECT_THAT(file(), HasSubstr("\nqrtLoginScript:: QQpCCg==\ndescription:: c2VsbHM=\n"));
    EXPECT_EQ(script("sales.acme"), "A\nB\n");
}

TEST_F(ScriptChange, FoldsLongValues) {
    const std::string text(200, 'x');
    EXPECT_EQ(put("sales.acme", "WRITE \"sales\"", text + "\n"), "");
    EXPECT_EQ(script("sales.acme"), text + "\n");
    const std::string whole = file();
    for (size_t start = 0; start < whole.size(); start = whole.find('\n', start) + 1)
        EXPECT_LE(whole.find('\n', start) - start, 76u);
}

TEST_F(ScriptChange, PutsAFirstScriptBehindTheOtherAttributes) {
    EXPECT_EQ(put("jdoe.sales.acme", std::nullopt, "EXIT"), "");
    EXPECT_EQ(file(), with(tree_text, "sn: Doe\n", "sn: Doe\nqrtLoginScript: EXIT\n"));
}

TEST_F(ScriptChange, TakesAScriptAway) {
    EXPECT_EQ(put("sales.acme", "WRITE \"sales\"", std::nullopt), "");
    EXPECT_EQ(file(), with(tree_text, "qrtLoginScript: WRITE \"sa\n les\"\n", ""));
    EXPECT_EQ(put("acme", "WRITE \"acme\"\r\n", std::nullopt), "");
    EXPECT_THAT(file(), testing::Not(HasSubstr(":<")));
    EXPECT_EQ(file("scripts/acme.qrt"), "WRITE \"acme\"\r\n") << "the file itself stays";
}

TEST_F(ScriptChange, AnEmptyScriptIsAScript) {
    EXPECT_EQ(put("sales.acme", "WRITE \"sales\"", ""), "");
    EXPECT_THAT(file(), HasSubstr("\nqrtLoginScript:\ndescription"));
    EXPECT_EQ(script("sales.acme"), "");
    EXPECT_NE(put("sales.acme", std::nullopt, "EXIT"), "");
}

TEST_F(ScriptChange, ChangesTheFileThatHasTheScript) {
    const std::string text = "WRITE \"\xC3\xA4\"\r\nEXIT\r\n";
    EXPECT_EQ(put("acme", "WRITE \"acme\"\r\n", text), "");
    EXPECT_EQ(file("scripts/acme.qrt"), text);
    EXPECT_EQ(file(), tree_text);
}

TEST_F(ScriptChange, ChangesTheIncludedFile) {
    EXPECT_EQ(put("more.acme", "WRITE \"more\"\n", "EXIT"), "");
    EXPECT_EQ(file("more.ldif"), with(more_text, "QRTLOGINSCRIPT:: V1JJVEUgIm1vcmUiCg==", "QRTLOGINSCRIPT: EXIT"));
    EXPECT_EQ(file(), tree_text);
}

TEST_F(ScriptChange, KeepsTheLineEndsOfTheFile) {
    std::string dos = tree_text;
    for (size_t end = dos.find('\n'); end != dos.npos; end = dos.find('\n', end + 2)) dos.insert(end, "\r");
    folder.write("acme.ldif", dos);
    EXPECT_EQ(put("sales.acme", "WRITE \"sales\"", std::string(100, 'x')), "");
    EXPECT_EQ(put("jdoe.sales.acme", std::nullopt, "EXIT"), "");
    const std::string text = file();
    for (size_t end = text.find('\n'); end != text.npos; end = text.find('\n', end + 1)) EXPECT_EQ(text[end - 1], '\r');
    EXPECT_EQ(script("sales.acme"), std::string(100, 'x'));
}

TEST_F(ScriptChange, RefusesAScriptThatAnotherEntryHasToo) {
    folder.write("acme.ldif", std::string(tree_text) +
                                  "\ndn: cn=second,o=acme\nobjectClass: person\ncn: second\nsn: 2\n"
                                  "qrtLoginScript:< file:scripts/../scripts/acme.qrt\n");
    EXPECT_EQ(put("acme", "WRITE \"acme\"\r\n", "EXIT\n"),
              fs::canonical(folder.path("scripts/acme.qrt")).string() +
                  " is used by cn=second,o=acme, too: change the file itself, or give one of them a file of its own");
    EXPECT_EQ(code, ZKE_NO_ACCESS);
    EXPECT_EQ(file("scripts/acme.qrt"), "WRITE \"acme\"\r\n");
}

TEST_F(ScriptChange, RefusesATreeThatIsNamedAsItsOwnScript) {
    const std::string text = with(tree_text, "file:scripts/acme.qrt", "file:more.ldif");
    folder.write("acme.ldif", text);
    EXPECT_THAT(put("acme", more_text, "EXIT\n"), HasSubstr("is used by cn=more,o=acme, too"));
    EXPECT_EQ(file("more.ldif"), more_text);
}

TEST_F(ScriptChange, RefusesASecondScriptOfAnEntry) {
    folder.write("acme.ldif", with(tree_text, "description:: ", "qrtLoginScript: EXIT\ndescription:: "));
    EXPECT_EQ(put("sales.acme", "WRITE \"sales\"", "FIRST"), "acme.ldif:13: OU=sales.O=acme has several login scripts");
}

TEST_F(ScriptChange, RefusesWhatIsNoLongerWhatWasRead) {
    EXPECT_EQ(put("sales.acme", "another", "mine"), "acme.ldif:13 has been changed by somebody else");
    EXPECT_EQ(code, ZKE_SCRIPT_CHANGED);
    EXPECT_NE(put("sales.acme", std::nullopt, "mine"), "");
    EXPECT_EQ(code, ZKE_SCRIPT_CHANGED);
    EXPECT_NE(put("jdoe.sales.acme", "once there", "mine"), "");
    EXPECT_EQ(code, ZKE_SCRIPT_CHANGED);
    EXPECT_EQ(file(), tree_text);
}

TEST_F(ScriptChange, SeesTheFileAsItIsNow) {
    EXPECT_EQ(script("sales.acme"), "WRITE \"sales\"");
    folder.write("acme.ldif", with(tree_text, "version: 1\n", "version: 1\n# One line more.\n"));
    EXPECT_EQ(put("sales.acme", "WRITE \"sales\"", "EXIT"), "");
    EXPECT_THAT(file(), HasSubstr("# One line more.\n"));
    EXPECT_EQ(stored("sales.acme").place, "acme.ldif:14");
}

TEST_F(ScriptChange, AnEntryThatIsGoneIsNotFound) {
    const ScriptObject object = script_object(at, "jdoe.sales.acme");
    folder.write("acme.ldif", "dn: o=acme\nobjectClass: organization\no: acme\n");
    EXPECT_THROW(script_read(at, object), CodedError);
    try {
        script_write(at, object, std::nullopt, "EXIT");
        FAIL();
    } catch (const CodedError &error) {
        EXPECT_EQ(error.code, ZKE_NO_SUCH_ENTRY);
    }
}

TEST_F(ScriptChange, RefusesWhatIsNoText) {
    EXPECT_EQ(put("sales.acme", "WRITE \"sales\"", std::string("a\0b", 3)), "the script contains a NUL byte");
    EXPECT_EQ(put("sales.acme", "WRITE \"sales\"", std::string((size_t{16} << 20) + 1, 'x')),
              "the script is larger than 16 MiB");
    EXPECT_EQ(file(), tree_text);
}

TEST_F(ScriptChange, KeepsOwnerModeAndFurtherAttributes) {
    const std::string path = folder.path("acme.ldif");
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    if (geteuid() == 0) {
        ASSERT_EQ(chown(path.c_str(), 65534, 65534), 0);
    }
    const bool hasAttributes = setxattr(path.c_str(), "user.note", "kept", 4, 0) == 0;
    const struct stat before = status("acme.ldif");
    EXPECT_EQ(put("sales.acme", "WRITE \"sales\"", "EXIT"), "");
    const struct stat after = status("acme.ldif");
    EXPECT_EQ(after.st_mode, before.st_mode);
    EXPECT_EQ(after.st_uid, before.st_uid);
    EXPECT_EQ(after.st_gid, before.st_gid);
    char note[8] = {};
    if (hasAttributes) {
        EXPECT_EQ(getxattr(path.c_str(), "user.note", note, sizeof note), 4);
        EXPECT_STREQ(note, "kept");
    }
}

TEST_F(ScriptChange, FollowsTheLinkThatTheConfigurationNames) {
    fs::create_directory(folder.path("real"));
    for (const char *name : {"acme.ldif", "more.ldif", "scripts"})
        fs::rename(folder.path(name), folder.path(std::string("real/") + name));
    fs::create_symlink("real/acme.ldif", folder.path("acme.ldif"));
    EXPECT_EQ(put("sales.acme", "WRITE \"sales\"", "EXIT"), "");
    EXPECT_TRUE(fs::is_symlink(folder.path("acme.ldif")));
    EXPECT_THAT(file("real/acme.ldif"), HasSubstr("qrtLoginScript: EXIT\n"));
}

TEST_F(ScriptChange, SaysWhenTheFileMayNotBeWritten) {
    in_own_process([this] {
        if (geteuid() == 0) {
            ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
            ASSERT_EQ(setresuid(65534, 65534, 65534), 0);
        } else {
            ASSERT_EQ(chmod(folder.path("acme.ldif").c_str(), 0444), 0);
        }
        EXPECT_EQ(put("sales.acme", "WRITE \"sales\"", "EXIT"),
                  "cannot write " + fs::canonical(folder.path("acme.ldif")).string() + ": Permission denied");
        EXPECT_EQ(code, ZKE_NO_ACCESS);
    });
    EXPECT_EQ(file(), tree_text);
}

TEST_F(ScriptChange, LeavesTheOldFileWhereThereIsNoSpace) {
    in_own_process([this] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit little = {100, 100};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &little), 0);
        EXPECT_EQ(put("sales.acme", "WRITE \"sales\"", "EXIT"),
                  "cannot write " + fs::canonical(folder.path("acme.ldif")).string() + ": File too large");
        EXPECT_EQ(code, ZKE_BAD_DIRECTORY_DATA);
    });
    EXPECT_EQ(file(), tree_text);
    EXPECT_EQ(strays(), 0u);
}

TEST_F(ScriptChange, WaitsForAnotherChangeAndSeesIt) {
    const std::string path = folder.path("acme.ldif");
    script("sales.acme");
    TerminalProcess other([&] {
        const Descriptor locked(open(path.c_str(), O_RDWR | O_CLOEXEC));
        struct flock whole = {};
        whole.l_type = F_WRLCK;
        if (fcntl(locked.number, F_OFD_SETLK, &whole) != 0) return 1;
        puts("locked");
        fflush(stdout);
        getchar();
        folder.write("next", with(tree_text, "les\"\n", "les\"\n# Changed meanwhile.\n"));
        rename(folder.path("next").c_str(), path.c_str());
        return 0;
    });
    ASSERT_TRUE(other.awaits("locked"));
    TerminalProcess waiting([&] { return put("sales.acme", "WRITE \"sales\"", "EXIT").empty() ? 0 : 1; });
    ASSERT_TRUE(comes_to_rest(waiting.id()));
    EXPECT_EQ(file(), tree_text);
    other.type("\n");
    EXPECT_EQ(other.finish(), 0) << other.shown();
    EXPECT_EQ(waiting.finish(), 0) << waiting.shown();
    EXPECT_THAT(file(), HasSubstr("qrtLoginScript: EXIT\n# Changed meanwhile.\n"));
}

TEST_F(ScriptChange, ManyAtATimeLoseNothing) {
    std::vector<std::unique_ptr<TerminalProcess>> writers;
    const char *objects[] = {"acme", "sales.acme", "jdoe.sales.acme", "more.acme"};
    for (const char *object : objects) {
        writers.push_back(std::make_unique<TerminalProcess>([this, object] {
            for (int i = 0; i < 20; i++)
                if (!put(object, script(object), std::string(object) + std::to_string(i)).empty()) i--;
            return 0;
        }));
    }
    for (auto &writer : writers) EXPECT_EQ(writer->finish(), 0) << writer->shown();
    for (const char *object : objects) EXPECT_EQ(script(object), std::string(object) + "19");
    EXPECT_EQ(strays(), 0u);
}

// The writer is killed, too, wherever it is then.
TEST_F(ScriptChange, WhoeverReadsSeesTheOldFileOrTheNewOne) {
    const std::string one(3000, 'a'), other(5000, 'b');
    ASSERT_EQ(put("sales.acme", "WRITE \"sales\"", one), "");
    const std::string first = file();
    ASSERT_EQ(put("sales.acme", one, other), "");
    const std::string second = file();
    for (int round = 0; round < 20; round++) {
        TerminalProcess writer([&] {
            for (bool isOne = script("sales.acme") == one;; isOne = !isOne)
                put("sales.acme", isOne ? one : other, isOne ? other : one);
            return 0;
        });
        for (int i = 0; i < 50; i++) {
            const std::string now = file();
            ASSERT_TRUE(now == first || now == second) << now;
        }
        kill(writer.id(), SIGKILL);
        EXPECT_EQ(writer.finish(), 1000 + SIGKILL);
        const std::string left = file();
        ASSERT_TRUE(left == first || left == second) << left;
    }
    const ScriptText now = script("sales.acme");
    EXPECT_EQ(put("sales.acme", now, "EXIT"), "") << "no lock is left";
}

TEST_F(ScriptChange, ListsAllScripts) {
    std::vector<std::string> found;
    for (const ScriptOfObject &one : script_list(at))
        found.push_back(one.object.name + " " + one.object.file.value_or("-") + " " + one.text.substr(0, 12));
    EXPECT_THAT(found, ElementsAre("acme acme/_container.qrt WRITE \"acme\"",
                                   "sales.acme acme/sales/_container.qrt WRITE \"sales",
                                   "more.acme acme/more.qrt WRITE \"more\""));
}

TEST_F(ScriptChange, FindsTheObjectOfAFile) {
    EXPECT_EQ(script_object_of_file(at, "acme/sales/jdoe.qrt")->typed, "CN=jdoe.OU=sales.O=acme");
    EXPECT_EQ(script_object_of_file(at, "acme/sales/_container.qrt")->typed, "OU=sales.O=acme");
    EXPECT_FALSE(script_object_of_file(at, "acme/sales.qrt")) << "a container has another file";
    EXPECT_FALSE(script_object_of_file(at, "acme/nobody.qrt"));
    EXPECT_FALSE(script_object_of_file(at, "../acme.qrt"));
}

TEST_F(ScriptChange, FindsTheObjectOfAFileAmongTwoOfOneName) {
    folder.write("acme.ldif",
                 std::string(tree_text) + "\ndn: cn=sales,o=acme\nobjectClass: person\ncn: sales\nsn: s\n");
    EXPECT_EQ(script_object_of_file(at, "acme/sales.qrt")->typed, "CN=sales.O=acme");
    EXPECT_EQ(script_object_of_file(at, "acme/sales/_container.qrt")->typed, "OU=sales.O=acme");
}

// ---- random files ----

namespace {

// A text in pieces: of each entry the one with the script, or the place for one.
struct RandomTree {
    explicit RandomTree(unsigned seed) : random(seed), lineEnd(seed % 3 == 0 ? "\r\n" : "\n") {
        if (below(2) == 0) add("version: 1");
        const int entries = 1 + below(6);
        for (int i = 0; i < entries; i++) addEntry("cn=e" + std::to_string(i));
        if (below(3) == 0) { // a file that ends without a line end
            pieces.pop_back();
            pieces.back().resize(pieces.back().size() - lineEnd.size());
        }
    }
    int below(int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); }
    std::string letters() {
        static constexpr char all[] = "abc XYZ\"%:<#\xC3\xA4";
        std::string text;
        for (int i = below(120); i > 0; i--) text += all[below(sizeof all - 1)];
        return text;
    }
    std::string folded(std::string line) {
        if (below(2) == 0)
            for (size_t at = 3 + static_cast<size_t>(below(30)); at < line.size(); at += 40 + lineEnd.size())
                line.insert(at, lineEnd + " ");
        return line;
    }
    void add(const std::string &line) { pieces.push_back(folded(line) + lineEnd); }
    void noise() {
        if (below(3) == 0) add("# " + letters());
    }
    // As it is, or in base64.
    std::string value(const std::string &text) {
        std::string made = ldif_rewritten("x: y\n", {0, 1, 1, false, "x", text + "\n"});
        made.erase(std::remove(made.begin(), made.end(), '\n'), made.end());
        for (size_t at = made.find(' ', 4); at != made.npos; at = made.find(' ', at)) made.erase(at, 1);
        return below(2) == 0 ? made.substr(1) : ": plain" + std::to_string(below(100));
    }
    void addEntry(const std::string &dn) {
        noise();
        add("dn: " + dn);
        noise();
        add("objectClass: person");
        add(dn.substr(0, 2) + ": " + dn.substr(3));
        const int further = below(4);
        for (int i = 0; i < further; i++) {
            add("description" + value(letters()));
            noise();
        }
        hasScript.push_back(below(2) == 0);
        if (hasScript.back()) add("qrtLoginScript" + value(letters()));
        size_t last = pieces.size() - 1;
        while (pieces[last].front() == '#') last--;
        place.push_back(last);
        if (hasScript.back() && below(2) == 0) add("sn: x");
        noise();
        pieces.push_back(lineEnd);
    }
    std::string text() const {
        std::string all;
        for (const std::string &piece : pieces) all += piece;
        return all;
    }

    std::mt19937 random;
    std::string lineEnd;
    std::vector<std::string> pieces;
    std::vector<size_t> place;
    std::vector<bool> hasScript;
};

std::vector<std::string> values_of(const std::string &text) {
    LdifReader reader(LdifText{text}, "text");
    LdifRecord record;
    std::vector<std::string> all;
    while (reader.next(&record)) {
        all.push_back("dn " + std::string(record.dn));
        for (const LdifAttribute &one : record.attributes)
            all.push_back(std::string(one.name) + " " + std::string(one.value));
    }
    return all;
}

// Rewrites the script of one entry by what the reader says of it.
std::string rewritten(const std::string &text, size_t entry, const ScriptText &script) {
    LdifReader reader(LdifText{text}, "text");
    LdifRecord record;
    for (size_t i = 0; i <= entry; i++) EXPECT_TRUE(reader.next(&record));
    LdifChange change = {record.place.at, record.place.line, 0, true, "qrtLoginScript", script};
    for (const LdifAttribute &one : record.attributes) {
        if (!change.isFurther) break;
        change.attributeLine = one.line;
        change.isFurther = one.name != "qrtLoginScript";
    }
    return ldif_rewritten(text, change);
}

} // namespace

TEST(LdifRewrite, ChangesOnlyTheScriptOfRandomTrees) {
    const ScriptText scripts[] = {
        std::nullopt, "",           "EXIT",     " blank", "WRITE \"x\"\nEXIT\n", ":colon",
        "<less",      "end blank ", "\xC3\xA4", "\r\n",   std::string(75, 'x'),  std::string(300, 'y')};
    for (unsigned seed = 0; seed < 3000; seed++) {
        RandomTree tree(seed);
        const auto entry = static_cast<size_t>(tree.below(static_cast<int>(tree.place.size())));
        const ScriptText &script = scripts[static_cast<size_t>(tree.below(std::size(scripts)))];
        const bool had = tree.hasScript[entry];
        if (!had && !script) continue;
        const std::string before = tree.text(), after = rewritten(before, entry, script);
        SCOPED_TRACE("seed " + std::to_string(seed) + "\n" + before + "-----\n" + after);

        // What stands before and after the script's line is what stood there.
        std::string head, tail;
        const size_t own = tree.place[entry] + (had ? 0 : 1);
        for (size_t i = 0; i < own; i++) head += tree.pieces[i];
        for (size_t i = own + (had ? 1 : 0); i < tree.pieces.size(); i++) tail += tree.pieces[i];
        ASSERT_EQ(after.compare(0, head.size(), head), 0);
        ASSERT_GE(after.size(), head.size() + tail.size());
        ASSERT_EQ(after.substr(after.size() - tail.size()), tail);

        std::vector<std::string> expected = values_of(before), found = values_of(after);
        const auto first = std::find(expected.begin(), expected.end(), "dn cn=e" + std::to_string(entry));
        auto at = std::find_if(first + 1, expected.end(), [](const std::string &one) {
            return one.compare(0, 3, "dn ") == 0 || one.compare(0, 15, "qrtLoginScript ") == 0;
        });
        if (had) at = expected.erase(at);
        if (script) expected.insert(at, "qrtLoginScript " + *script);
        ASSERT_EQ(found, expected);
    }
}
