// TLS: verification is on whatever the surroundings say, and a refused certificate is told in full words.
#include <gmock/gmock.h>

#include "tests/ldap/certificates.h"
#include "tests/ldap/ldap_site.h"

namespace {

class LdapTls : public LdapSite {
  protected:
    Slapd::Setup secured(const std::string &name = "IP:127.0.0.1", const std::string &end = "20490101000000Z") {
        Slapd::Setup setup = sample();
        setup.schemes = "ldaps";
        setup.global = certificates.serverLines(name, "20200101000000Z", end);
        return setup;
    }
    std::string caFile() { return "ca_file = \"" + certificates.path("ca.pem") + "\"\n"; }
    // Everything by which the surroundings could switch verification off.
    void weakenSurroundings() {
        const std::string weak = "TLS_REQCERT never\nTLS_CACERT " + certificates.path("ca.pem") + "\n";
        home.write("ldaprc", weak);
        home.write(".ldaprc", weak);
        keptHome = home.path();
        environment["LDAPTLS_REQCERT"] = "never";
        environment["LDAPTLS_CACERT"] = certificates.path("ca.pem");
        environment["LDAPCONF"] = home.path("ldaprc");
    }
    Certificates certificates;
};

} // namespace

TEST_F(LdapTls, AGoodCertificateLetsTheLoginThrough) {
    Slapd server(secured());
    for (const std::string scheme : {"ldaps", "ldap"}) {
        onStrictServers({server.uri(scheme)}, caFile() + (scheme == "ldap" ? "start_tls = true\n" : ""));
        Outcome outcome = login();
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_NE(outcome.out.find("There are requests to approve."), std::string::npos);
    }
    EXPECT_THAT(server.log(), ::testing::HasSubstr("STARTTLS"));
}

TEST_F(LdapTls, StaysWithinTheOperationsOverStartTls) {
    Slapd server(secured());
    onStrictServers({server.uri("ldap")}, caFile() + "start_tls = true\n");
    login();
    std::vector<std::string> operations = server.operations();
    EXPECT_LE(operations.size(), 9u) << ::testing::PrintToString(operations); // one more for StartTLS
    EXPECT_GE(operations.size(), 4u);
}

TEST_F(LdapTls, AnExpiredCertificateIsToldInFullWords) {
    Slapd server(secured("IP:127.0.0.1", "20210203040506Z"));
    onStrictServers({server.uri("ldaps")}, caFile());
    EXPECT_EQ(loginHere(), ZKE_CERTIFICATE_REFUSED);
    EXPECT_EQ(lastError(), server.uri("ldaps") +
                               ": the server's certificate is not accepted: it has expired; expected name: 127.0.0.1; "
                               "names in it: 127.0.0.1; issuer: cn=Acme Test Authority,o=Acme; expires: 2021-02-03 "
                               "04:05:06 UTC; CA file: " +
                               certificates.path("ca.pem"));
}

TEST_F(LdapTls, ACertificateForAnotherNameIsToldInFullWords) {
    Slapd server(secured("DNS:elsewhere.example"));
    onStrictServers({server.uri("ldap")}, caFile() + "start_tls = true\n");
    EXPECT_EQ(loginHere(), ZKE_CERTIFICATE_REFUSED);
    EXPECT_EQ(lastError(), server.uri("ldap") +
                               ": the server's certificate is not accepted: it is made out to another name; expected "
                               "name: 127.0.0.1; names in it: elsewhere.example; issuer: cn=Acme Test "
                               "Authority,o=Acme; expires: 2049-01-01 00:00:00 UTC; CA file: " +
                               certificates.path("ca.pem"));
}

TEST_F(LdapTls, AnUnknownAuthorityIsToldInFullWords) {
    Slapd server(secured());
    Certificates others;
    onStrictServers({server.uri("ldaps")}, "ca_file = \"" + others.path("ca.pem") + "\"\n");
    EXPECT_EQ(loginHere(), ZKE_CERTIFICATE_REFUSED);
    EXPECT_THAT(lastError(),
                ::testing::HasSubstr("no authority in the CA file has signed it; expected name: 127.0.0.1"));
}

TEST_F(LdapTls, TheSurroundingsCannotWeakenVerification) {
    Slapd server(secured());
    Certificates others;
    weakenSurroundings();
    onStrictServers({server.uri("ldaps")}, "ca_file = \"" + others.path("ca.pem") + "\"\n");
    Outcome outcome = login();
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.err, ::testing::HasSubstr("the server's certificate is not accepted"));
    for (const std::string &operation : server.operations())
        EXPECT_EQ(operation.find("BIND dn"), std::string::npos) << operation;
}

TEST_F(LdapTls, ACaFileThatIsNotThereIsToldByName) {
    Slapd server(secured());
    onStrictServers({server.uri("ldaps")}, "ca_file = \"/nowhere/ca.pem\"\n");
    EXPECT_EQ(loginHere(), ZKE_CERTIFICATE_REFUSED);
    EXPECT_EQ(lastError(),
              server.uri("ldaps") + ": cannot read the CA file /nowhere/ca.pem: No such file or directory");
}

TEST_F(LdapTls, AServerWithoutStartTlsGetsNoPassword) {
    Slapd server(sample());
    onServers({server.uri("ldap")}, caFile() + "start_tls = true\n");
    EXPECT_EQ(loginHere(), ZKE_TLS_REQUIRED);
    EXPECT_THAT(lastError(), ::testing::HasSubstr("the server refuses StartTLS"));
}
