// Values that could act as more than a value are not handed out.
#include "platform/client/core/plain_values.h"
#include "tests/support/client_fixture.h"

namespace {

using Texts = std::vector<std::string>;

class PlainValues : public ClientTest {
  protected:
    // Trees of the same entries with different options: jdoe has these further lines.
    void on(const std::string &lines, const std::string &entries = "") {
        folder.write("t.ldif",
                     "dn: o=acme\nobjectClass: organization\no: acme\n\n"
                     "dn: cn=SRV1_DATA,o=acme\nobjectClass: qrtVolume\ncn: SRV1_DATA\nqrtHostServer: cn=SRV1,o=acme\n"
                     "qrtHostResourceName: DATA\n\n"
                     "dn: cn=jdoe,o=acme\nobjectClass: person\ncn: jdoe\nsn: Doe\n" +
                         lines + "\n" + entries);
        configure(
            "[[tree]]\nname = \"T\"\nldif = \"t.ldif\"\n"
            "[[tree]]\nname = \"ANY_TEXT\"\nldif = \"t.ldif\"\nany_text = true\n"
            "[[tree]]\nname = \"ANY_PATH\"\nldif = \"t.ldif\"\nany_path = true\n");
    }
    Texts ask(const char *attribute, const char *object = "jdoe.acme", const char *tree = "T") {
        return read(context(session_flags, tree), object, attribute);
    }
};

} // namespace

TEST(PlainText, IsValidUtf8WithoutControlCharacters) {
    // With the first and the last character of each length, and those around the half pairs.
    for (const char *text : {"", "plain", "J\xC3\xBCrgen \xE2\x82\xAC \xF0\x9F\x98\x80", " ~", "\xC2\xA0",
                             "\xE0\xA0\x80", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF", "\xED\x9F\xBF", "\xEE\x80\x80"})
        EXPECT_TRUE(text_is_plain(text)) << text;
    // Control characters, also those of two bytes and in overlong forms, and what is cut off, half a pair or too large.
    for (const char *text : {"a\tb", "a\nb", "\x1F", "\x7F", "\x9B", "\xC3", "\xC3(", "\x1B[2J", "\xC2\x80", "\xC2\x9B",
                             "\xC2\x9F", "\xC0\x9B", "\xE2\x82(", "\xE2(\xAC"})
        EXPECT_FALSE(text_is_plain(text)) << text;
    for (const char *text : {"\xE0\x80\x9B", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xED\xBF\xBF", "\xE2\x82\xC3",
                             "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xE2\x82\xAC\xC3(", "\xF8\x88\x80\x80\x80"})
        EXPECT_FALSE(text_is_plain(text)) << text;
    EXPECT_TRUE(text_is_plain("a\tb\r\n", "\t\r\n"));
    EXPECT_FALSE(text_is_plain("a\tb\x1B", "\t\r\n"));
}

TEST_F(PlainValues, ATextWithControlCharactersCountsAsNotThere) {
    on("displayName:: SmFuZRtbMkogRG9l\n"                  // Jane ESC [2J Doe
       "title: Account manager\ntitle:: QQdC\n"            // A BEL B
       "description:: bGluZSAxDQpsaW5lIDIJdGFi\n"          // line 1 CR LF line 2 TAB tab
       "telephoneNumber:: KzEbYw==\n"                      // +1 ESC c
       "facsimileTelephoneNumber:: KzEbYw==\n"             // the same
       "seeAlso: cn=a\\1Bb,o=acme\nseeAlso: cn=c,o=acme\n" // an escape in a name
       "postalAddress:: QRtC\n");                          // A ESC B
    EXPECT_EQ(ask("Full Name"), Texts{});
    EXPECT_EQ(lastCode, ZKE_NO_SUCH_ATTRIBUTE);
    EXPECT_EQ(ask("Title"), Texts{"Account manager"});
    EXPECT_EQ(ask("Description"), Texts{"line 1\r\nline 2\ttab"});
    EXPECT_EQ(ask("Telephone Number"), Texts{});
    EXPECT_EQ(ask("Facsimile Telephone Number"), Texts{});
    EXPECT_EQ(ask("See Also"), Texts{"c.acme"});
    ask("Postal Address");
    EXPECT_EQ(lastCode, ZK_OK) << "its lines are only ever shown";
}

TEST_F(PlainValues, TheTreeMayHandOutAnyText) {
    on("displayName:: SmFuZRtbMkogRG9l\nqrtHomeDirectory: 0#cn=SRV1_DATA,o=acme#a;b\n");
    EXPECT_EQ(ask("Full Name", "jdoe.acme", "ANY_TEXT"), Texts{"Jane\x1B[2J Doe"});
    EXPECT_EQ(ask("Home Directory", "jdoe.acme", "ANY_TEXT"), Texts{}) << "paths have an option of their own";
}

TEST_F(PlainValues, APathThatIsMoreThanOneCountsAsNotThere) {
    on("qrtHomeDirectory: 0#cn=SRV1_DATA,o=acme#a,b\n"
       "qrtHomeDirectory: 0#cn=SRV1_DATA,o=acme#a;b\n"
       "qrtHomeDirectory: 0#cn=SRV1_DATA,o=acme#a\"b\n"
       "qrtHomeDirectory:: MCNjbj1TUlYxX0RBVEEsbz1hY21lI2EKYg==\n" // a LF b
       "qrtHomeDirectory: 0#cn=a\\;b,o=acme#x\n"                   // the volume's name
       "qrtHomeDirectory: 0#cn=SRV1_DATA,o=acme#home/J\xC3\xBCrgen & 'co' $x\n");
    EXPECT_EQ(ask("Home Directory"), Texts{"0|SRV1_DATA.acme|home/J\xC3\xBCrgen & 'co' $x"});
}

TEST_F(PlainValues, AVolumeWhoseNameIsMoreThanOneIsNotThere) {
    on("",
       "dn: cn=V,o=acme\nobjectClass: qrtVolume\ncn: V\nqrtHostServer: cn=SRV\\;X,o=acme\n"
       "qrtHostResourceName: D;E\n");
    EXPECT_EQ(ask("Host Resource Name", "V.acme"), Texts{});
    EXPECT_EQ(ask("Host Server", "V.acme"), Texts{});
    EXPECT_EQ(ask("Host Resource Name", "SRV1_DATA.acme"), Texts{"DATA"});
    EXPECT_EQ(ask("Host Resource Name", "V.acme", "ANY_PATH"), Texts{"D;E"});
    EXPECT_EQ(ask("Host Server", "V.acme", "ANY_PATH"), Texts{"SRV;X.acme"});
}

TEST_F(PlainValues, TheTreeMayHandOutAnyPath) {
    on("qrtHomeDirectory: 0#cn=SRV1_DATA,o=acme#a;b\ndisplayName:: SmFuZRtbMkogRG9l\n");
    EXPECT_EQ(ask("Home Directory", "jdoe.acme", "ANY_PATH"), Texts{"0|SRV1_DATA.acme|a;b"});
    EXPECT_EQ(ask("Full Name", "jdoe.acme", "ANY_PATH"), Texts{}) << "texts have an option of their own";
}

TEST_F(PlainValues, ADirectoryMapStandsForItsPathAsAWhole) {
    on("qrtPath: 0#cn=SRV1_DATA,o=acme#a,b;c\n",
       "dn: cn=M,o=acme\nobjectClass: qrtDirectoryMap\ncn: M\nqrtPath: 0#cn=SRV1_DATA,o=acme#a,b;c\n\n"
       "dn: cn=N,o=acme\nobjectClass: qrtDirectoryMap\ncn: N\nqrtPath:: MCNjbj1TUlYxX0RBVEEsbz1hY21lI2EKYg==\n");
    EXPECT_EQ(ask("Path", "M.acme"), Texts{"0|SRV1_DATA.acme|a,b;c"});
    EXPECT_EQ(ask("Path", "N.acme"), Texts{}) << "a line feed is nowhere part of a path";
    EXPECT_EQ(ask("Path"), Texts{}) << "a user is no map";
}

TEST_F(PlainValues, AnEntryWithControlCharactersInItsNameIsNotThere) {
    on("",
       "dn: cn=g\\1Bh,o=acme\nobjectClass: groupOfNames\ncn:: Zxto\nmember: cn=jdoe,o=acme\n\n"
       "dn: cn=staff,o=acme\nobjectClass: groupOfNames\ncn: staff\nmember: cn=jdoe,o=acme\n\n"
       "dn: cn=a,o=acme\nobjectClass: alias\ncn: a\naliasedObjectName: cn=g\\1Bh,o=acme\n");
    EXPECT_EQ(ask("Group Membership"), Texts{"staff.acme"});
    EXPECT_EQ(ask("Group Membership", "jdoe.acme", "ANY_TEXT").size(), 2u);
    base_class(context(session_flags, "T"), "a.acme");
    EXPECT_EQ(lastCode, ZKE_NO_SUCH_ENTRY);
    EXPECT_EQ(base_class(context(session_flags, "ANY_TEXT"), "a.acme"), "Group");
}

TEST_F(PlainValues, AServerWithControlCharactersInItsNameIsNotThere) {
    on("",
       "dn: cn=S\\07X,o=acme\nobjectClass: qrtServer\ncn:: UwdY\n\n"
       "dn: ou=S,o=acme\nobjectClass: qrtServer\nou: S\ncn:: UwhY\n");
    EXPECT_EQ(text_info(open_server("T"), ZK_INFO_SERVER_NAME), "?") << "the tree has no server";
    EXPECT_EQ(text_info(open_server("ANY_TEXT"), ZK_INFO_SERVER_NAME), "S\x07X");
}
