// A login on a server's word for the process's user counts only if the server says that it is that user. The server
// here takes every login, finds nothing, and says what the test passes to it.
#include "tests/ldap/hostile_server.h"
#include "tests/ldap/ldap_site.h"

namespace {

class WhoAmI : public LdapSite {
  protected:
    // Whom the server says the process to be: is it jdoe?
    bool isTaken(const std::optional<std::string> &name) {
        Outcome outcome = loginWhereServerSays(name, "jdoe.sales.acme");
        // Whoever is taken for the user is looked for next, and is not there.
        EXPECT_EQ(outcome.status, 2) << outcome.err;
        return outcome.err.find("does not show") != std::string::npos;
    }

    Outcome loginWhereServerSays(const std::optional<std::string> &name, const std::string &user) {
        TempFolder site;
        const std::string path = site.path("socket");
        HostileServer server(path, {{{Scripted::bound()}}, {{Scripted::done()}}, {{Scripted::youAre(name)}}});
        setenv("HOME", site.path().c_str(), 1);
        site.write("client.toml", "[[tree]]\nname = \"ACME\"\nuris = [\"" + local_uri(path) +
                                      "\"]\nsasl_external = true\nsearch_base = \"o=acme\"\n");
        environment["ZKCLIENT_CONF"] = site.path("client.toml");
        return loginWithoutPassword(user);
    }
};

} // namespace

TEST_F(WhoAmI, TheServerHasToNameTheUser) {
    EXPECT_TRUE(isTaken("dn:cn=jdoe,ou=sales,o=acme"));
    EXPECT_TRUE(isTaken("dn:CN=JDoe, ou=Sales,o=acme"));
    EXPECT_TRUE(isTaken("cn=jdoe,ou=sales,o=acme")) << "also without what says that it is a DN";
    EXPECT_FALSE(isTaken("dn:cn=mlee,ou=sales,o=acme"));
    EXPECT_FALSE(isTaken("u:jdoe"));
}

TEST_F(WhoAmI, AnEmptyNameIsNobodys) {
    EXPECT_FALSE(isTaken(std::nullopt));
    EXPECT_FALSE(isTaken(""));
    EXPECT_FALSE(isTaken("dn:"));
    EXPECT_EQ(loginWhereServerSays("", "[Root]").status, 5) << "nor the root's, whose name is empty";
}
