// TLS: verification is on whatever the surroundings say, and a refused certificate is told in full words.
#include <gmock/gmock.h>
#include <netdb.h>
#include <unistd.h>

#include "tests/ldap/ldap_site.h"
#include "tests/support/certificates.h"

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
    // The server by the name of this machine, not by its address.
    static std::string onLocalhost(const std::string &uri) {
        const std::string address = "127.0.0.1";
        return std::string(uri).replace(uri.find(address), address.size(), "localhost");
    }
    // Over ldaps, then with StartTLS: what a login as localhost comes to, and the reason, the certificate's alone.
    std::vector<std::string> loginsOnLocalhost(const Slapd &server, const std::string &lines) {
        std::vector<std::string> told;
        for (const std::string scheme : {"ldaps", "ldap"}) {
            onStrictServers({onLocalhost(server.uri(scheme))}, lines + (scheme == "ldap" ? "start_tls = true\n" : ""));
            Outcome outcome = login();
            const std::string before = "cannot verify the server's certificate: ";
            const size_t start = outcome.err.rfind(before);
            const std::string reason =
                start == outcome.err.npos ? outcome.err : outcome.err.substr(start + before.size());
            told.push_back(std::to_string(outcome.status) + " " + reason.substr(0, reason.find("; issuer")));
        }
        return told;
    }
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
                               ": cannot verify the server's certificate: it has expired; expected name: 127.0.0.1; "
                               "names in the certificate: 127.0.0.1; issuer: CN=Acme Test Authority,O=Acme; expires: "
                               "2021-02-03 04:05:06 UTC; CA file: " +
                               certificates.path("ca.pem"));
}

TEST_F(LdapTls, ACertificateForAnotherNameIsToldInFullWords) {
    Slapd server(secured("DNS:elsewhere.example"));
    onStrictServers({server.uri("ldap")}, caFile() + "start_tls = true\n");
    EXPECT_EQ(loginHere(), ZKE_CERTIFICATE_REFUSED);
    EXPECT_EQ(lastError(), server.uri("ldap") +
                               ": cannot verify the server's certificate: it was issued for another name; expected "
                               "name: 127.0.0.1; names in the certificate: elsewhere.example; issuer: CN=Acme Test "
                               "Authority,O=Acme; expires: 2049-01-01 00:00:00 UTC; CA file: " +
                               certificates.path("ca.pem"));
}

TEST_F(LdapTls, AnUnknownAuthorityIsToldInFullWords) {
    Slapd server(secured());
    Certificates others;
    onStrictServers({server.uri("ldaps")}, "ca_file = \"" + others.path("ca.pem") + "\"\n");
    EXPECT_EQ(loginHere(), ZKE_CERTIFICATE_REFUSED);
    EXPECT_THAT(lastError(),
                ::testing::HasSubstr("it is not signed by an authority in the CA file; expected name: 127.0.0.1"));
}

TEST_F(LdapTls, ACertificateOfLocalhostIsGoodForLocalhost) {
    Slapd server(secured("DNS:localhost"));
    EXPECT_THAT(loginsOnLocalhost(server, caFile()), ::testing::Each("0 "));
    onStrictServers({server.uri("ldaps")}, caFile());
    EXPECT_EQ(loginHere(), ZKE_CERTIFICATE_REFUSED);
    EXPECT_THAT(lastError(),
                ::testing::HasSubstr(
                    "it was issued for another name; expected name: 127.0.0.1; names in the certificate: localhost;"));
}

// As libldap has it.
TEST_F(LdapTls, ACertificateOfTheMachinesFullNameIsGoodForLocalhostToo) {
    char name[256] = "";
    gethostname(name, sizeof name - 1);
    addrinfo hints = {};
    hints.ai_flags = AI_CANONNAME;
    addrinfo *found = nullptr;
    ASSERT_EQ(getaddrinfo(name, nullptr, &hints, &found), 0);
    Slapd server(secured(std::string("DNS:") + found->ai_canonname));
    freeaddrinfo(found);
    EXPECT_THAT(loginsOnLocalhost(server, caFile()), ::testing::Each("0 "));
}

TEST_F(LdapTls, ACertificateOfAnotherNameIsNotGoodForLocalhost) {
    for (const std::string name :
         {"DNS:localhost.example", "DNS:elsewhere.example", "IP:127.0.0.1", "DNS:*.localhost"}) {
        Slapd server(secured(name));
        std::string shown = name.substr(name.find(':') + 1);
        EXPECT_THAT(
            loginsOnLocalhost(server, caFile()),
            ::testing::Each("3 it was issued for another name; expected name: localhost; names in the certificate: " +
                            shown));
        EXPECT_THAT(server.operations(), ::testing::Not(::testing::Contains(::testing::HasSubstr("BIND dn"))));
    }
}

TEST_F(LdapTls, AnUnknownAuthorityIsRefusedForLocalhostToo) {
    Slapd server(secured("DNS:localhost"));
    Certificates others;
    weakenSurroundings();
    EXPECT_THAT(loginsOnLocalhost(server, "ca_file = \"" + others.path("ca.pem") + "\"\n"),
                ::testing::Each("3 it is not signed by an authority in the CA file; expected name: localhost; names in "
                                "the certificate: localhost"));
    EXPECT_THAT(server.operations(), ::testing::Not(::testing::Contains(::testing::HasSubstr("BIND dn"))));
}

TEST_F(LdapTls, AnExpiredCertificateIsRefusedForLocalhostToo) {
    Slapd server(secured("DNS:localhost", "20210203040506Z"));
    EXPECT_THAT(loginsOnLocalhost(server, caFile()),
                ::testing::Each("3 it has expired; expected name: localhost; names in the certificate: localhost"));
}

TEST_F(LdapTls, AForeignNameIsShownWithoutItsControlCharacters) {
    Slapd server(secured("DNS:a\x1B[31mred.example"));
    onStrictServers({server.uri("ldaps")}, caFile());
    EXPECT_EQ(loginHere(), ZKE_CERTIFICATE_REFUSED);
    EXPECT_THAT(lastError(), ::testing::HasSubstr("names in the certificate: a\\x1B[31mred.example;"));
}

TEST_F(LdapTls, TheSurroundingsCannotWeakenVerification) {
    Slapd server(secured());
    Certificates others;
    weakenSurroundings();
    onStrictServers({server.uri("ldaps")}, "ca_file = \"" + others.path("ca.pem") + "\"\n");
    Outcome outcome = login();
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.err, ::testing::HasSubstr("cannot verify the server's certificate"));
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

TEST_F(LdapTls, ACaFileWithoutACertificateIsToldSo) {
    Slapd server(secured());
    folder.write("ca.pem", "nothing\n");
    onStrictServers({server.uri("ldaps")}, "ca_file = \"ca.pem\"\n");
    EXPECT_EQ(loginHere(), ZKE_CERTIFICATE_REFUSED);
    EXPECT_THAT(
        lastError(),
        ::testing::HasSubstr("cannot verify the server's certificate: the CA file contains no valid certificate; "));
    EXPECT_THAT(lastError(), ::testing::EndsWith("CA file: " + folder.path("ca.pem")));
}

TEST_F(LdapTls, AServerWithoutStartTlsGetsNoPassword) {
    Slapd server(sample());
    onServers({server.uri("ldap")}, caFile() + "start_tls = true\n");
    EXPECT_EQ(loginHere(), ZKE_TLS_REQUIRED);
    EXPECT_THAT(lastError(), ::testing::HasSubstr("the server refused StartTLS"));
}
