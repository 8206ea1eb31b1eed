// What the manuals give to type, tried as it stands against a real server: the commands for scripts in a live
// directory, and the configuration of a client.
#include <unistd.h>
#include <regex>

#include "tests/ldap/ldap_site.h"
#include "tests/support/certificates.h"
#include "tests/support/manual.h"

namespace {

std::string commands(const std::string &name) {
    return manual_block("language.md", name, "sh");
}

class LdapManual : public LdapSite {
  protected:
    // Who runs the test may change the entries, as root may on a site of the documents.
    static Slapd::Setup ownSample() {
        Slapd::Setup setup = sample();
        setup.database = "rootdn \"gidNumber=" + std::to_string(getegid()) + "+uidNumber=" + std::to_string(geteuid()) +
                         ",cn=peercred,cn=external,cn=auth\"\n";
        return setup;
    }

    // Runs the first block up to the last of these names as one shell would.
    Outcome run(const Slapd &server, const std::vector<std::string> &names) {
        std::string text = "set -e\ncd '" + work.path() + "'\n";
        for (const std::string &name : names) text += commands(name);
        text = replaced_once(text, "ldapi:///", server.localUri());
        return process_run({"/bin/sh", "-c", text}, process_environment());
    }

    TempFolder work;
};

} // namespace

TEST_F(LdapManual, PutsAScriptIntoALiveDirectory) {
    Slapd server(ownSample());
    onServers({server.uri()});
    const Outcome done = run(server, {"a script from a file"});
    ASSERT_EQ(done.status, 0) << done.err;
    EXPECT_NE(login().out.find(", Jane Doe.\nThis is the new script of sales.\n"), std::string::npos);
    EXPECT_NE(login("mlee.emea.sales.acme", "moonlight").out.find("This is the new script of sales."),
              std::string::npos);
}

TEST_F(LdapManual, PutsAScriptIntoAContainerThatMayHaveNone) {
    Slapd server(ownSample());
    onServers({server.uri()});
    const Outcome done = run(server, {"a script from a file", "a script as base64"});
    ASSERT_EQ(done.status, 0) << done.err;
    EXPECT_NE(login("mlee.emea.sales.acme", "moonlight").out.find("This is the script of Europe.\n"),
              std::string::npos);
}

TEST_F(LdapManual, ReadsAScriptBackAndTakesOneAway) {
    Slapd server(ownSample());
    onServers({server.uri()});
    const Outcome done =
        run(server, {"a script from a file", "a script as base64", "a script back from the directory"});
    ASSERT_EQ(done.status, 0) << done.err << done.out;
    EXPECT_EQ(login("mlee.emea.sales.acme", "moonlight").out.find("Europe"), std::string::npos);
}

// The server has a database of its own beside the tree's, as Debian's has.
TEST_F(LdapManual, ConfiguresAClientOverTheNetwork) {
    Certificates certificates;
    Slapd::Setup setup = secured(certificates);
    work.write("other/.keep", "");
    setup.database = "database mdb\nsuffix dc=nodomain\ndirectory " + work.path("other") + "\n";
    Slapd server(setup);
    std::string toml = manual_block("directory.md", "over the network", "toml");
    toml = replaced_once(toml, "ldaps://dir1.acme.example", server.uri("ldaps"));
    toml = replaced_once(toml, "ldaps://dir2.acme.example", server.uri("ldaps"));
    toml = replaced_once(toml, "/etc/ssl/acme-ca.pem", certificates.path("ca.pem"));
    environment["ZKCLIENT_CONF"] = folder.path("client.toml");
    configure(toml);
    const Outcome outcome = login();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.out.find(", Jane Doe.\n"), std::string::npos);
    configure(replaced_once(toml, "search_base = \"o=acme\"\n", ""));
    EXPECT_THAT(login().err, testing::HasSubstr("does not have exactly one naming context"));
}

// The folder of the documents, in another place.
TEST_F(LdapManual, SetsUpAFolderOfScriptsBesideADirectoryWithoutASchema) {
    const auto sh = [](const char *name) { return manual_block("existing-directories.md", name, "sh"); };
    const std::string text = sh("a folder of scripts") + sh("a profile in the folder");
    const std::string place = work.path("scripts");
    const Outcome done = process_run(
        {"/bin/sh", "-ec", std::regex_replace(text, std::regex("/etc/brasca/scripts"), place)}, process_environment());
    ASSERT_EQ(done.status, 0) << done.err;
    Slapd::Setup setup;
    setup.suffix = "dc=school,dc=example";
    setup.ownSchema = false;
    setup.ldif = R"(dn: dc=school,dc=example
objectClass: domain
dc: school

dn: ou=staff,dc=school,dc=example
objectClass: organizationalUnit
ou: staff

dn: ou=teachers,ou=staff,dc=school,dc=example
objectClass: organizationalUnit
ou: teachers

dn: uid=anna,ou=teachers,ou=staff,dc=school,dc=example
objectClass: inetOrgPerson
uid: anna
cn: Anna Lark
sn: Lark
displayName: Anna Lark
userPassword: poppy
)";
    Slapd server(setup);
    std::string toml = manual_block("existing-directories.md", "a tree with a folder of scripts", "toml");
    toml = replaced_once(toml, "ldaps://dir1.school.example", server.uri());
    toml = replaced_once(toml, "/etc/brasca/scripts", place);
    configure(toml + "allow_cleartext_loopback = true\n");
    environment["ZKCLIENT_CONF"] = folder.path("client.toml");
    const Outcome outcome = login("anna.teachers.staff", "poppy");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, testing::HasSubstr(", Anna Lark.\nThe night shift begins at ten.\n"));
    EXPECT_THAT(outcome.out, testing::HasSubstr("Drive H: = FS1/HOME:anna\n"));
}
