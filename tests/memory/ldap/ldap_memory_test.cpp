// Logins over real LDAP servers leave no password in memory either.
#include "include/qrtscript.h"
#include "platform/zk.h"
#include "tests/memory/secret_site.h"
#include "tests/support/certificates.h"
#include "tests/support/slapd.h"

namespace {

using testing::HasSubstr;
using testing::IsEmpty;

class LdapMemory : public SecretSite {
  protected:
    static Slapd::Setup sample() {
        Slapd::Setup setup;
        setup.ldif = with_values(sample_ldif(), "userPassword: ", users_secret.crypt);
        return setup;
    }
    void on_server(const std::string &uri, const std::string &more) {
        site.write("client.toml", "default_tree = \"ACME\"\n[[tree]]\nname = \"ACME\"\nuris = [\"" + uri +
                                      "\"]\ndefault_server = \"SRV1\"\n" + more);
    }
    void login(const HiddenSecret &secret, const std::string &user, int status) {
        start({QRTLOGIN_PATH, "--tries=1", "--login-script", script("WRITE \"hello %FULL_NAME\"\n"), user});
        answer(password_question, secret);
        await_rest();
        EXPECT_THAT(left(), IsEmpty());
        EXPECT_EQ(finish(), status) << process->shown();
    }
    // The same in a program that calls the library, looked at after each step, while the login lasts and after it.
    void call_in_every_way() {
        startHere([&] {
            bool fine = directory_login("jdoe.sales.acme", wrong_secret) == ZKE_WRONG_PASSWORD;
            at_rest();
            fine = directory_login("rfox.it.acme", users_secret) == ZKE_ACCOUNT_LOCKED && fine;
            at_rest();
            fine = directory_login("jdoe.sales.acme", users_secret) == ZK_OK && fine;
            at_rest();
            fine = qrt_TreeLogout("ACME") == ZK_OK && fine;
            at_rest();
            return fine ? 0 : 99;
        });
        for (const char *step : {"a wrong password", "a locked account", "a login", "a logout"}) {
            await_rest();
            EXPECT_THAT(left(), IsEmpty()) << "after " << step;
            process->goOn();
        }
        EXPECT_EQ(process->finish(), 0);
    }
    void look_while_a_script_runs() {
        program("hold", "printf '(at rest)' >/dev/tty; kill -STOP $PPID");
        start({QRTLOGIN_PATH, "--login-script", script("#hold\n"), "jdoe.sales.acme"});
        answer(password_question, users_secret);
        for (const char *when : {"while it runs", "in the end"}) {
            await_rest();
            EXPECT_THAT(left(), IsEmpty()) << when;
            process->goOn();
        }
        EXPECT_EQ(process->finish(), 0) << process->shown();
    }
    void login_in_every_way() {
        look_while_a_script_runs();
        login(users_secret, "jdoe.sales.acme", 0);
        EXPECT_THAT(process->shown(), HasSubstr("hello Jane Doe"));
        login(wrong_secret, "jdoe.sales.acme", 2);
        login(users_secret, "rfox.it.acme", 2); // locked
        login(users_secret, "nobody.acme", 5);
    }
};

} // namespace

TEST_F(LdapMemory, InTheClear) {
    Slapd server(sample());
    on_server(server.uri(), "allow_cleartext_loopback = true\n");
    login_in_every_way();
    call_in_every_way();
}

TEST_F(LdapMemory, OverTls) {
    Certificates certificates;
    Slapd::Setup setup = sample();
    setup.schemes = "ldaps";
    setup.global = certificates.serverLines();
    Slapd server(setup);
    on_server(server.uri("ldaps"), "ca_file = \"" + certificates.path("ca.pem") + "\"\n");
    login_in_every_way();
    call_in_every_way();
}

TEST_F(LdapMemory, AChangeOfThePassword) {
    Certificates certificates;
    Slapd::Setup setup = sample();
    setup.schemes = "ldaps";
    setup.global = certificates.serverLines();
    setup.access = "access to attrs=userPassword by anonymous auth by self =xw by * none\naccess to * by * read\n";
    Slapd server(setup);
    on_server(server.uri("ldaps"), "ca_file = \"" + certificates.path("ca.pem") + "\"\n");
    start({QRTLOGIN_PATH, "--change-password", "jdoe.sales.acme"});
    answer(password_question, users_secret);
    answer("New password for", other_trees_secret);
    answer("New password again", wrong_secret);
    answer("New password for", other_trees_secret);
    answer("New password again", other_trees_secret);
    await_rest();
    EXPECT_THAT(left(), IsEmpty());
    EXPECT_EQ(finish(), 0) << process->shown();
    EXPECT_THAT(process->shown(), HasSubstr("has been changed"));
    login(other_trees_secret, "jdoe.sales.acme", 0);
}

TEST_F(LdapMemory, ServerDown) {
    on_server("ldap://127.0.0.1:" + std::to_string(free_port()), "allow_cleartext_loopback = true\n");
    login(users_secret, "jdoe.sales.acme", 3);
}

TEST_F(LdapMemory, ARefusedConnectionInTheClear) {
    Slapd server(sample());
    on_server(server.uri(), "");
    login(users_secret, "jdoe.sales.acme", 3);
}

TEST_F(LdapMemory, AnOfflineCopy) {
    auto server = std::make_unique<Slapd>(sample());
    on_server(server->uri(), "allow_cleartext_loopback = true\noffline = true\n");
    login(users_secret, "jdoe.sales.acme", 0);
    server.reset();
    login(users_secret, "jdoe.sales.acme", 0);
    login(wrong_secret, "jdoe.sales.acme", 2);
}
