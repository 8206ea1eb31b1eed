// What is reported of a certificate that is refused, and which ones are good.
#include "platform/client/ldap/certificate.h"

#include <gtest/gtest.h>

#include "tests/support/certificates.h"

namespace {

class LdapPeerCertificate : public testing::Test {
  protected:
    // A server's certificate as it is sent.
    std::string made(const std::string &names, const std::string &start = "20200101000000Z",
                     const std::string &end = "20490102030405Z") {
        certificates.serverLines(names, end, start);
        return der();
    }
    // One that is signed in another way, for the next ten days.
    std::string signedAs(const std::string &digest) {
        run({"x509", "-req", "-in", path("server.csr"), "-CA", path("ca.pem"), "-CAkey", path("ca.key"), "-set_serial",
             "7", "-days", "10", "-" + digest, "-out", path("server.pem")});
        return der();
    }
    std::string der() {
        run({"x509", "-in", path("server.pem"), "-outform", "DER", "-out", path("server.der")});
        return file_text(path("server.der"));
    }
    std::string fault(const std::string &certificate, const std::string &name, const std::string &caFile = "ca.pem") {
        EXPECT_FALSE(isGood(certificate, name, caFile));
        return certificate_fault(certificate, name, path(caFile));
    }
    bool isGood(const std::string &certificate, const std::string &name, const std::string &caFile = "ca.pem") {
        return certificate_is_good(certificate, name, path(caFile));
    }
    std::string path(const std::string &name) const { return certificates.path(name); }
    static void run(Words words) {
        words.insert(words.begin(), "/usr/bin/openssl");
        const Outcome outcome = process_run(words, process_environment());
        EXPECT_EQ(outcome.status, 0) << outcome.err;
    }

    Certificates certificates;
    const std::string rest = "; issuer: CN=Acme Test Authority,O=Acme; expires: 2049-01-02 03:04:05 UTC";
};

} // namespace

TEST_F(LdapPeerCertificate, OfTheNameAndTheAuthorityIsGood) {
    const std::string certificate = made("DNS:dir1.example,DNS:dir2.example,IP:127.0.0.1,IP:::1");
    for (const char *name : {"dir1.example", "DIR2.example", "127.0.0.1", "::1"})
        EXPECT_TRUE(isGood(certificate, name));
    EXPECT_EQ(fault(certificate, "dir3.example"),
              "it was issued for another name; expected name: dir3.example; names in the certificate: dir1.example, "
              "dir2.example, 127.0.0.1, ::1" +
                  rest);
}

TEST_F(LdapPeerCertificate, WithoutNamesOfServersShowsItsSubject) {
    EXPECT_EQ(fault(made("email:root@acme.example"), "dir1.example"),
              "it was issued for another name; expected name: dir1.example; names in the certificate: server" + rest);
}

TEST_F(LdapPeerCertificate, OutsideItsTimeIsReportedFirst) {
    EXPECT_EQ(fault(made("DNS:a", "20200101000000Z", "20210102030405Z"), "b"),
              "it has expired; expected name: b; names in the certificate: a; issuer: CN=Acme Test Authority,O=Acme; "
              "expires: 2021-01-02 03:04:05 UTC");
    EXPECT_EQ(fault(made("DNS:a", "20480101000000Z"), "a"),
              "it is not valid yet; expected name: a; names in the certificate: a" + rest);
}

TEST_F(LdapPeerCertificate, OfAnUnknownAuthorityIsReported) {
    const Certificates others;
    const std::string certificate = made("DNS:a");
    EXPECT_FALSE(certificate_is_good(certificate, "a", others.path("ca.pem")));
    EXPECT_EQ(certificate_fault(certificate, "a", others.path("ca.pem")),
              "it is not signed by an authority in the CA file; expected name: a; names in the certificate: a" + rest);
}

TEST_F(LdapPeerCertificate, IsNotGoodWithoutAnAuthority) {
    const std::string certificate = made("DNS:a");
    EXPECT_FALSE(isGood(certificate, "a", "none.pem"));
    EXPECT_FALSE(isGood(certificate, "a", "server.key"));
    for (const char *file : {"none.pem", "server.key"})
        EXPECT_EQ(fault(certificate, "a", file),
                  "the CA file contains no valid certificate; expected name: a; names in the certificate: a" + rest);
}

TEST_F(LdapPeerCertificate, WithAWeakSignatureIsReported) {
    EXPECT_EQ(fault(signedAs("sha1"), "server").substr(0, 35), "its key or signature is too weak; e");
    EXPECT_TRUE(isGood(signedAs("sha256"), "server"));
}
