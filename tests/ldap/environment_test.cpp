// A script that sets what the libraries behind a login to servers read.
#include <unistd.h>

#include "tests/ldap/kerberos.h"
#include "tests/ldap/ldap_site.h"
#include "tests/support/certificates.h"

namespace {

class LdapEnvironment : public LdapSite {};

} // namespace

// By which libldap would speak another version, find other objects or only one.
TEST_F(LdapEnvironment, LibldapsOwnSettingsChangeNothing) {
    Slapd server(sample());
    onServers({server.uri()});
    const std::string expected = login("jdoe.acme").out; // through an alias
    for (const auto &[name, value] : Variables{{"LDAPVERSION", "2"}, {"LDAPDEREF", "always"}, {"LDAPSIZELIMIT", "1"}})
        environment[name] = value;
    EXPECT_EQ(login("jdoe.acme"), (Outcome{0, expected, ""}));
}

// With the keys of the connection whoever has listened reads the password.
TEST_F(LdapEnvironment, AScriptDoesNotGetTheKeysOfTheConnection) {
    Certificates certificates;
    Slapd server(secured(certificates));
    configure("[[tree]]\nname = \"LOCAL\"\nldif = \"" SOURCE_DIR
              "/examples/acme/acme.ldif\"\n[[tree]]\nname = \"ACME\"\nuris = [\"" +
              server.uri("ldaps") + "\"]\nca_file = \"" + certificates.path("ca.pem") + "\"\n");
    environment["ZKCLIENT_CONF"] = folder.path("client.toml");
    const std::string keys = home.path("keys");
    home.write("steal.qrt",
               "SET SSLKEYLOGFILE=\"" + keys + "\"\nTREE ACME/.admin.acme;starfish\nWRITE \"%FULL_NAME\"\n");
    Outcome outcome = loginWithScript(home.path("steal.qrt"));
    EXPECT_THAT(outcome.out, testing::HasSubstr("Pat Ashby")) << outcome.err;
    EXPECT_NE(access(keys.c_str(), F_OK), 0) << "the script has the keys";
    environment["SSLKEYLOGFILE"] = keys;
    loginWithScript(home.path("steal.qrt"));
    EXPECT_EQ(access(keys.c_str(), F_OK), 0) << "what the user has set counts";
}

TEST_F(LdapEnvironment, TheTicketIsTheOneThatTheUserHadAtTheStart) {
    Kerberos realm({"jdoe"});
    Slapd::Setup setup = sample();
    setup.global =
        "sasl-host localhost\nauthz-regexp uid=([^,]*),cn=gssapi,cn=auth cn=$1,ou=sales,o=acme\n"
        "authz-regexp uid=([^,]*),cn=[^,]*,cn=gssapi,cn=auth cn=$1,ou=sales,o=acme\n";
    Slapd server(setup);
    onStrictServers({"ldap://localhost:" + std::to_string(server.port())}, "sasl_gssapi = true\n");
    realm.getTicket("jdoe");
    ASSERT_EQ(ZKCallsInit(nullptr, nullptr), ZK_OK);
    for (const char *name : {"KRB5_CONFIG", "KRB5CCNAME", "SASL_PATH", "SASL_CONF_PATH"})
        setenv(name, home.path("of-a-script").c_str(), 1);
    EXPECT_EQ(loginHere("jdoe.sales.acme", ""), ZK_OK) << lastError();
}
