#include "platform/client/config.h"

#include <gmock/gmock.h>

#include "tests/client/client_fixture.h"

namespace {

using Configuration = ClientTest;

constexpr const char *acme_tree = "[[tree]]\nname = \"ACME\"\nldif = \"acme.ldif\"\n";

std::string servers(const std::string &uris, const std::string &more = "") {
    return "[[tree]]\nname = \"A\"\nuris = " + uris + "\n" + more + "\n";
}

TEST_F(Configuration, NoFileMeansNoTreesAndASentence) {
    std::string file = folder.path("none.toml");
    setenv("ZKCLIENT_CONF", file.c_str(), 1);
    EXPECT_EQ(ZK_OK, ZKCallsInit(nullptr, nullptr));
    EXPECT_EQ(file + ": cannot open the configuration: No such file or directory", last_error());
    open_server("ACME");
    EXPECT_EQ(ZKE_SERVER_NOT_FOUND, lastCode);
    uint32_t handle = context();
    char name[ZK_MAX_NAME + 1] = "?";
    EXPECT_EQ(ZKE_TREE_NOT_FOUND, ZKDSGetContext(handle, DCK_TREE_NAME, name));
    EXPECT_EQ(ZKE_TREE_NOT_FOUND, login(handle, "jdoe", "secret"));
    EXPECT_EQ(0u, ZKDSCanDSAuthenticate(handle));
    EXPECT_EQ("", who_am_i(handle));
    EXPECT_EQ(ZKE_TREE_NOT_FOUND, lastCode);
}

TEST_F(Configuration, AFileThatComesLaterIsReadByTheNextStart) {
    setenv("ZKCLIENT_CONF", folder.path("client.toml").c_str(), 1);
    EXPECT_EQ(ZK_OK, ZKCallsInit(nullptr, nullptr));
    folder.write("acme.ldif", "dn: o=acme\nobjectClass: organization\no: acme\n");
    configure(acme_tree);
    EXPECT_EQ(ZK_OK, ZKCLXInit(nullptr, nullptr));
    EXPECT_EQ("acme", canonical(context(), "acme"));
    EXPECT_EQ(ZK_OK, lastCode);
}

TEST_F(Configuration, ErrorsTellFileLineAndColumn) {
    std::string tree = acme_tree;
    struct {
        std::string toml;
        std::string refusal;
    } cases[] = {
        {"default_tree = \n", "1:16: "},
        {"colour = \"red\"\n", "1:1: unknown key colour"},
        {tree + "colour = 1\n", "4:1: unknown key colour"},
        {"default_tree = 5\n" + tree, "1:16: default_tree must be a text"},
        {"default_tree = \"X\"\n" + tree, "1:16: there is no tree X"},
        {"[tree]\nname = \"A\"\n", "1:1: tree must be written as [[tree]]"},
        {"[[tree]]\nldif = \"a\"\n", "1:1: name must be there, with 1 to 32 bytes"},
        {"[[tree]]\nname = \"A\"\n", "1:1: ldif must be there, with 1 to 4096 bytes"},
        {"[[tree]]\nname = \"" + std::string(33, 'A') + "\"\n", "2:8: name must be there, with 1 to 32 bytes"},
        {"[[tree]]\nname = \"A_\"\nldif = \"a\"\n", "2:8: the name of a tree does not end in \"_\""},
        {tree + "[[tree]]\nname = \"acme\"\nldif = \"a\"\n", "5:8: the tree acme is there already"},
        {tree + "base = \"acme\"\n", "4:8: malformed DN"},
        {tree + "any_text = 1\n", "4:12: any_text must be true or false"},
        {tree + "any_path = 1\n", "4:12: any_path must be true or false"},
        {"trace = 1\n", "1:9: trace must be true or false"},
        {"[[server]]\nname = \"" + std::string(49, 'S') + "\"\n", "2:8: name must be there, with 1 to 48 bytes"},
        {"[[server]]\nname = \"S\"\nvolumes = \"SYS\"\n", "3:11: volumes must be a list of texts"},
        {"[[server]]\nname = \"S\"\nvolumes = [1]\n", "3:12: volumes must be a text"},
        {tree + "uris = [\"ldap://a\"]\n", "4:8: a tree is an LDIF file (ldif) or on servers (uris), not both"},
        {tree + "start_tls = true\n", "4:1: unknown key start_tls"},
        {servers("[]"), "3:8: uris must name at least one server"},
        {servers("[\"http://a\"]"), "3:8: http://a is no URI of the form ldap://host:port, "},
        {servers("[\"ldap://a\"]", "start_tls = 1"), "4:13: start_tls must be true or false"},
        {servers("[\"ldap://a\"]", "time_limit = 0"), "4:14: time_limit must be a number of seconds, above 0"},
        {servers("[\"ldap://a\"]", "retry_after = \"1\""), "4:15: retry_after must be a number of seconds"},
        {servers("[\"ldap://a\"]", "offline_days = 0"), "4:16: offline_days must be a number of days, above 0"},
        {servers("[\"ldap://a\"]", "offline_days = 3651"), "4:16: offline_days must be a number of days, above 0"},
        {servers("[\"ldap://a\"]", "search_base = \"acme\""), "4:15: malformed DN"},
        {servers("[\"ldap://a\"]", "attributes = 1"), "4:14: attributes must be a table of texts"},
        {servers("[\"ldap://a\"]", "attributes = { full = \"cn\" }"), "4:14: full = \"cn\": not an attribute"},
        {servers("[\"ldap://a\"]", "attributes = { cn = \"a b\" }"), "4:14: cn = \"a b\": not an attribute"},
        {servers("[\"ldap://a\"]", "sasl_external = true"), "4:17: sasl_external works over ldapi only"},
        {servers("[\"ldapi://a\"]", "sasl_gssapi = true"), "4:15: sasl_gssapi works over ldap and ldaps, not over"},
        {servers("[\"ldap://a\"]", "sasl_gssapi = true\noffline = true"), "5:11: offline logins need passwords"},
        {"[[server]]\nname = \"S\"\n[[server.user]]\nname = \"u\"\n",
         "3:1: password must be there, with 1 to 1024 bytes"},
    };
    for (auto &c : cases) {
        configure(c.toml);
        EXPECT_EQ(ZKE_BAD_DIRECTORY_DATA, ZKCallsInit(nullptr, nullptr)) << c.toml;
        EXPECT_EQ(folder.path("client.toml") + ":" + c.refusal,
                  last_error().substr(0, folder.path("client.toml").size() + 1 + c.refusal.size()))
            << c.toml << last_error();
    }
}

TEST_F(Configuration, TheDefaultsStandWhereNothingIsSaid) {
    folder.write("c.toml", acme_tree);
    Config config = config_load(folder.path("c.toml"));
    EXPECT_EQ("%HOME", config.linkDirectory);
    ASSERT_EQ(1u, config.trees.size());
    EXPECT_EQ(folder.path("acme.ldif"), config.trees[0].ldif) << "relative to the folder of the configuration";
    EXPECT_EQ("acme.ldif", config.trees[0].shown);
    EXPECT_EQ("", config.trees[0].base);
}

TEST_F(Configuration, ATreeOnServersHasItsDefaultsAndItsOwnValues) {
    folder.write("c.toml", servers("[\"ldaps://a\", \"ldap://b:10389\"]"));
    ConfigLdap plain = config_load(folder.path("c.toml")).trees.at(0).ldap;
    EXPECT_EQ(plain.uris, (std::vector<std::string>{"ldaps://a", "ldap://b:10389"}));
    EXPECT_EQ(plain.caFile, "/etc/ssl/certs/ca-certificates.crt");
    EXPECT_EQ(plain.timeLimit, 5);
    EXPECT_EQ(plain.retryAfter, 30);
    EXPECT_EQ(plain.offlineDays, 30);
    EXPECT_EQ(plain.localOwner, "openldap");
    EXPECT_FALSE(plain.startTls || plain.cleartextLoopback || plain.external || plain.offline);

    folder.write("d.toml", servers("[\"ldap://a\"]",
                                   "ca_file = \"ca.pem\"\nstart_tls = true\ntime_limit = 0.5\nretry_after = "
                                   "7\nldapi_owner = \"dirsrv\"\noffline_days = 2\noffline = "
                                   "true\nallow_cleartext_loopback = true\nattributes = { DISPLAYNAME = \"gecos\" }"));
    ConfigLdap own = config_load(folder.path("d.toml")).trees.at(0).ldap;
    EXPECT_EQ(own.caFile, folder.path("ca.pem")) << "relative to the folder of the configuration";
    EXPECT_EQ(own.timeLimit, 0.5);
    EXPECT_EQ(own.retryAfter, 7);
    EXPECT_EQ(own.offlineDays, 2);
    EXPECT_EQ(own.localOwner, "dirsrv");
    EXPECT_TRUE(own.startTls && own.cleartextLoopback && own.offline);
    EXPECT_EQ(own.attributes, (std::map<std::string, std::string>{{"displayName", "gecos"}}));
}

TEST_F(Configuration, ATreeThatCannotBeReadTellsWhy) {
    folder.write("acme.ldif", "dn: o=acme\nobjectClass: organization\no: acme\n\ndn: bad\no: x\n");
    configure(std::string(acme_tree) + "[[server]]\nname = \"S\"\n");
    open_server("ACME");
    EXPECT_EQ(ZKE_BAD_DIRECTORY_DATA, lastCode);
    EXPECT_EQ("acme.ldif:5: malformed DN", last_error());
    uint32_t handle = context();
    EXPECT_EQ(ZKE_BAD_DIRECTORY_DATA, ZKDSSetContext(handle, DCK_TREE_NAME, "ACME"));
    EXPECT_EQ(ZKE_BAD_DIRECTORY_DATA, login(handle, "jdoe", "x"));
    open_server("S");
    EXPECT_EQ(ZK_OK, lastCode) << "the other servers are still found";
    open_server("T");
    EXPECT_EQ(ZKE_SERVER_NOT_FOUND, lastCode);
}

TEST_F(Configuration, TheDefaultServerMustBeOneOfTheTree) {
    folder.write("acme.ldif", "dn: o=acme\nobjectClass: organization\no: acme\n");
    configure(std::string(acme_tree) + "default_server = \"SRV7\"\n");
    open_server("ACME");
    EXPECT_EQ(ZKE_BAD_DIRECTORY_DATA, lastCode);
    EXPECT_EQ("acme.ldif: the tree has no server SRV7", last_error());
}

TEST_F(Configuration, ATraceTellsHowLongTheFileTook) {
    folder.write(
        "acme.ldif",
        "dn: o=acme\nobjectClass: organization\no: acme\n\ndn: ou=x,o=acme\nobjectClass: organizationalUnit\nou: x\n");
    configure(std::string("trace = true\n") + acme_tree);
    ::testing::internal::CaptureStderr();
    EXPECT_EQ("x.acme", canonical(context(), "x.acme"));
    open_server("ACME");
    EXPECT_THAT(::testing::internal::GetCapturedStderr(),
                ::testing::MatchesRegex("Tree ACME: 2 objects read from acme.ldif in [0-9]+\\.[0-9][0-9][0-9] s\\.\n"));
}

TEST_F(Configuration, WithoutATraceNothingIsTold) {
    folder.write("acme.ldif", "dn: o=acme\nobjectClass: organization\no: acme\n");
    configure(acme_tree);
    ::testing::internal::CaptureStderr();
    open_server("ACME");
    EXPECT_EQ("", ::testing::internal::GetCapturedStderr());
}

TEST_F(Configuration, TheLastErrorIsCutToTheBuffer) {
    setenv("ZKCLIENT_CONF", "/nowhere.toml", 1);
    EXPECT_EQ("", last_error());
    ZKCallsInit(nullptr, nullptr);
    char text[9] = "xxxxxxxx";
    EXPECT_EQ(ZK_OK, ZKGetLastErrorText(5, text));
    EXPECT_STREQ("/now", text);
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKGetLastErrorText(0, text));
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKGetLastErrorText(5, nullptr));
}

} // namespace
