#include "tests/support/certificates.h"

#include <stdexcept>

Certificates::Certificates() {
    openssl({"ecparam", "-name", "prime256v1", "-genkey", "-noout", "-out", path("ca.key")});
    openssl({"req", "-x509", "-new", "-key", path("ca.key"), "-subj", "/O=Acme/CN=Acme Test Authority", "-days", "30",
             "-out", path("ca.pem")});
    openssl({"ecparam", "-name", "prime256v1", "-genkey", "-noout", "-out", path("server.key")});
    openssl({"req", "-new", "-key", path("server.key"), "-subj", "/CN=server", "-out", path("server.csr")});
}

std::string Certificates::serverLines(const std::string &name, const std::string &end, const std::string &start) {
    folder.write("ca.cnf", "[ca]\ndefault_ca=d\n[d]\nnew_certs_dir=" + path() + "\ndatabase=" + path("index") +
                               "\nserial=" + path("serial") +
                               "\ndefault_md=sha256\npolicy=p\nx509_extensions=e\nunique_subject=no\n"
                               "[p]\ncommonName=supplied\n[e]\nsubjectAltName=" +
                               name + "\n");
    folder.write("index", "");
    folder.write("serial", "01\n");
    openssl({"ca", "-batch", "-notext", "-config", path("ca.cnf"), "-cert", path("ca.pem"), "-keyfile", path("ca.key"),
             "-startdate", start, "-enddate", end, "-in", path("server.csr"), "-out", path("server.pem")});
    return "TLSCertificateFile " + path("server.pem") + "\nTLSCertificateKeyFile " + path("server.key") +
           "\nTLSCACertificateFile " + path("ca.pem") + "\n";
}

void Certificates::openssl(Words words) {
    words.insert(words.begin(), "/usr/bin/openssl");
    Outcome outcome = process_run(words, process_environment());
    if (outcome.status != 0) throw std::runtime_error(outcome.err);
}
