// TLS: verification is on whatever the surroundings say, and a refused certificate is reported in full words.
#include <netdb.h>
#include <unistd.h>

#include "tests/ldap/ldap_site.h"
#include "tests/support/certificates.h"

namespace {

class LdapTls : public LdapSite {
  protected:
    Slapd::Setup secured(const std::string &name = "IP:127.0.0.1", const std::string &end = "20490101000000Z") {
        Slapd::Setup setup = LdapSite::secured(certificates);
        setup.global = certificates.serverLines(name, end);
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
        std::vector<std::string> ends;
        for (const std::string scheme : {"ldaps", "ldap"}) {
            onStrictServers({onLocalhost(server.uri(scheme))}, lines + (scheme == "ldap" ? "start_tls = true\n" : ""));
            Outcome outcome = login();
            const std::string before = "cannot verify the server's certificate: ";
            const size_t start = outcome.err.rfind(before);
            const std::string reason =
                start == outcome.err.npos ? outcome.err : outcome.err.substr(start + before.size());
            ends.push_back(std::to_string(outcome.status) + " " + reason.substr(0, reason.find("; issuer")));
        }
        return ends;
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

struct Refused {
    const char *scheme, *name, *end;
    bool known; // its authority
    const char *fault, *shown, *expires;
};

void PrintTo(const Refused &refused, std::ostream *out) {
    *out << refused.name << " " << refused.fault;
}

class LdapTlsRefusal : public LdapTls, public testing::WithParamInterface<Refused> {};

} // namespace

TEST_F(LdapTls, AGoodCertificateLetsTheLoginThrough) {
    Slapd server(secured());
    for (const std::string scheme : {"ldaps", "ldap"}) {
        onStrictServers({server.uri(scheme)}, caFile() + (scheme == "ldap" ? "start_tls = true\n" : ""));
        Outcome outcome = login();
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_NE(outcome.out.find("There are requests to approve."), std::string::npos);
    }
    EXPECT_THAT(server.log(), testing::HasSubstr("STARTTLS"));
}

TEST_F(LdapTls, StaysWithinTheOperationsOverStartTls) {
    Slapd server(secured());
    onStrictServers({server.uri("ldap")}, caFile() + "start_tls = true\n");
    login();
    std::vector<std::string> operations = server.operations();
    EXPECT_LE(operations.size(), 10u) << testing::PrintToString(operations); // one more for StartTLS
    EXPECT_GE(operations.size(), 4u);
}

TEST_P(LdapTlsRefusal, IsReportedInFullWords) {
    const Certificates others;
    const auto &[scheme, name, end, known, fault, shown, expires] = GetParam();
    const std::string file = (known ? certificates : others).path("ca.pem");
    Slapd server(secured(name, end));
    onStrictServers({server.uri(scheme)},
                    "ca_file = \"" + file + "\"\n" + (scheme == std::string("ldap") ? "start_tls = true\n" : ""));
    EXPECT_EQ(loginHere(), ZKE_CERTIFICATE_REFUSED);
    EXPECT_EQ(lastError(), server.uri(scheme) + ": cannot verify the server's certificate: " + fault +
                               "; expected name: 127.0.0.1; names in the certificate: " + shown +
                               "; issuer: CN=Acme Test Authority,O=Acme; expires: " + expires +
                               " UTC; CA file: " + file);
}

const char *const usual_end = "20490101000000Z", *const other_name = "it was issued for another name";

INSTANTIATE_TEST_SUITE_P(Certificates, LdapTlsRefusal,
                         testing::Values(Refused{"ldaps", "IP:127.0.0.1", "20210203040506Z", true, "it has expired",
                                                 "127.0.0.1", "2021-02-03 04:05:06"},
                                         Refused{"ldap", "DNS:elsewhere.example", usual_end, true, other_name,
                                                 "elsewhere.example", "2049-01-01 00:00:00"},
                                         Refused{"ldaps", "IP:127.0.0.1", usual_end, false,
                                                 "it is not signed by an authority in the CA file", "127.0.0.1",
                                                 "2049-01-01 00:00:00"},
                                         Refused{"ldaps", "DNS:a\x1B[31mred.example", usual_end, true, other_name,
                                                 "a\\x1B[31mred.example", "2049-01-01 00:00:00"}));

TEST_F(LdapTls, ACertificateOfLocalhostIsGoodForLocalhost) {
    Slapd server(secured("DNS:localhost"));
    EXPECT_THAT(loginsOnLocalhost(server, caFile()), testing::Each("0 "));
    onStrictServers({server.uri("ldaps")}, caFile());
    EXPECT_EQ(loginHere(), ZKE_CERTIFICATE_REFUSED);
    EXPECT_THAT(lastError(),
                testing::HasSubstr(
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
    EXPECT_THAT(loginsOnLocalhost(server, caFile()), testing::Each("0 "));
}

TEST_F(LdapTls, ACertificateOfAnotherNameOrTimeIsNotGoodForLocalhost) {
    const std::string other = "it was issued for another name", end = "20490101000000Z";
    const struct {
        std::string name, end, fault;
    } rows[] = {
        {"DNS:localhost.example", end, other},
        {"DNS:elsewhere.example", end, other},
        {"IP:127.0.0.1", end, other},
        {"DNS:*.localhost", end, other},
        {"DNS:localhost", "20210203040506Z", "it has expired"},
    };
    for (const auto &row : rows) {
        Slapd server(secured(row.name, row.end));
        EXPECT_THAT(loginsOnLocalhost(server, caFile()),
                    testing::Each("3 " + row.fault + "; expected name: localhost; names in the certificate: " +
                                  row.name.substr(row.name.find(':') + 1)));
        EXPECT_THAT(server.operations(), testing::Not(testing::Contains(testing::HasSubstr("BIND dn"))));
    }
}

TEST_F(LdapTls, AnUnknownAuthorityIsRefusedForLocalhostToo) {
    Slapd server(secured("DNS:localhost"));
    Certificates others;
    weakenSurroundings();
    EXPECT_THAT(loginsOnLocalhost(server, "ca_file = \"" + others.path("ca.pem") + "\"\n"),
                testing::Each("3 it is not signed by an authority in the CA file; expected name: localhost; names in "
                              "the certificate: localhost"));
    EXPECT_THAT(server.operations(), testing::Not(testing::Contains(testing::HasSubstr("BIND dn"))));
}

TEST_F(LdapTls, TheSurroundingsCannotWeakenVerification) {
    Slapd server(secured());
    Certificates others;
    weakenSurroundings();
    onStrictServers({server.uri("ldaps")}, "ca_file = \"" + others.path("ca.pem") + "\"\n");
    Outcome outcome = login();
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.err, testing::HasSubstr("cannot verify the server's certificate"));
    for (const std::string &operation : server.operations())
        EXPECT_EQ(operation.find("BIND dn"), std::string::npos) << operation;
}

TEST_F(LdapTls, ACaFileThatIsNotThereIsReportedByName) {
    Slapd server(secured());
    onStrictServers({server.uri("ldaps")}, "ca_file = \"/nowhere/ca.pem\"\n");
    EXPECT_EQ(loginHere(), ZKE_CERTIFICATE_REFUSED);
    EXPECT_EQ(lastError(),
              server.uri("ldaps") + ": cannot read the CA file /nowhere/ca.pem: No such file or directory");
    EXPECT_THAT(login().err, testing::HasSubstr(": " + server.uri("ldaps") + ": cannot read the CA file /nowhere"))
        << "nothing was verified";
    EXPECT_THAT(login().err, testing::Not(testing::HasSubstr("verification failed")));
}

TEST_F(LdapTls, ACaFileWithoutACertificateIsReported) {
    Slapd server(secured());
    folder.write("ca.pem", "nothing\n");
    onStrictServers({server.uri("ldaps")}, "ca_file = \"ca.pem\"\n");
    EXPECT_EQ(loginHere(), ZKE_CERTIFICATE_REFUSED);
    EXPECT_THAT(lastError(), AllOf(testing::HasSubstr("cannot verify the server's certificate: the CA file contains no "
                                                      "valid certificate; "),
                                   testing::EndsWith("CA file: " + folder.path("ca.pem"))));
}

TEST_F(LdapTls, AServerWithoutStartTlsGetsNoPassword) {
    Slapd server(sample());
    onServers({server.uri("ldap")}, caFile() + "start_tls = true\n");
    EXPECT_EQ(loginHere(), ZKE_TLS_REQUIRED);
    EXPECT_THAT(lastError(), testing::HasSubstr("the server refused StartTLS"));
}
