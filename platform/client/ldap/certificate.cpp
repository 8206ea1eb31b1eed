#include "platform/client/ldap/certificate.h"

#include <arpa/inet.h>
#include <gnutls/gnutls.h>
#include <gnutls/x509.h>
#include <ctime>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/catalogue.h"

namespace {

struct FreeCertificate {
    void operator()(gnutls_x509_crt_t certificate) const { gnutls_x509_crt_deinit(certificate); }
};
using Certificate = std::unique_ptr<std::remove_pointer_t<gnutls_x509_crt_t>, FreeCertificate>;

struct FreeAuthorities {
    void operator()(gnutls_x509_trust_list_t list) const { gnutls_x509_trust_list_deinit(list, 1); }
};
using Authorities = std::unique_ptr<std::remove_pointer_t<gnutls_x509_trust_list_t>, FreeAuthorities>;

} // namespace

// Null for what cannot be read.
static Certificate read_certificate(std::string_view der) {
    gnutls_x509_crt_t made = nullptr;
    if (gnutls_x509_crt_init(&made) != GNUTLS_E_SUCCESS) return nullptr;
    Certificate certificate(made);
    std::string bytes(der);
    const gnutls_datum_t datum = {reinterpret_cast<unsigned char *>(bytes.data()), static_cast<unsigned>(bytes.size())};
    return gnutls_x509_crt_import(made, &datum, GNUTLS_X509_FMT_DER) == GNUTLS_E_SUCCESS ? std::move(certificate)
                                                                                         : nullptr;
}

// Null when the file contains no valid certificate.
static Authorities read_authorities(const std::string &caFile) {
    gnutls_x509_trust_list_t made = nullptr;
    if (gnutls_x509_trust_list_init(&made, 0) != GNUTLS_E_SUCCESS) return nullptr;
    Authorities authorities(made);
    const int count = gnutls_x509_trust_list_add_trust_file(made, caFile.c_str(), nullptr, GNUTLS_X509_FMT_PEM, 0, 0);
    return count > 0 ? std::move(authorities) : nullptr;
}

// What is wrong with the certificate, the name left aside: GnuTLS's bits. Without a verdict everything is.
static unsigned verify(gnutls_x509_crt_t certificate, const Authorities &authorities) {
    unsigned verdict = 0;
    const bool verified = authorities != nullptr && gnutls_x509_trust_list_verify_crt(authorities.get(), &certificate,
                                                                                      1, 0, &verdict, nullptr) == 0;
    return verified ? verdict : unsigned{GNUTLS_CERT_INVALID};
}

static std::string address_text(const std::vector<char> &bytes, size_t size) {
    char text[INET6_ADDRSTRLEN] = "";
    int family = size == 4 ? AF_INET : size == 16 ? AF_INET6 : AF_UNSPEC;
    return family != AF_UNSPEC && inet_ntop(family, bytes.data(), text, sizeof text) != nullptr ? text : "?";
}

// The DNS names and IP addresses that the certificate is made out to, otherwise the common name of its subject.
static std::string names_in(gnutls_x509_crt_t certificate) {
    std::string names;
    const auto add = [&names](const std::string &name) { names += (names.empty() ? "" : ", ") + name; };
    std::vector<char> name(4096);
    for (unsigned i = 0;; i++) {
        size_t size = name.size();
        int kind = gnutls_x509_crt_get_subject_alt_name(certificate, i, name.data(), &size, nullptr);
        if (kind == GNUTLS_E_REQUESTED_DATA_NOT_AVAILABLE) break;
        if (kind == GNUTLS_SAN_DNSNAME)
            add(std::string(name.data(), size));
        else if (kind == GNUTLS_SAN_IPADDRESS)
            add(address_text(name, size));
    }
    size_t size = name.size();
    if (names.empty() && gnutls_x509_crt_get_dn_by_oid(certificate, GNUTLS_OID_X520_COMMON_NAME, 0, 0, name.data(),
                                                       &size) == GNUTLS_E_SUCCESS)
        add(std::string(name.data(), size));
    return names.empty() ? catalogue_text("none") : names;
}

static std::string issuer_of(gnutls_x509_crt_t certificate) {
    gnutls_datum_t name = {};
    if (gnutls_x509_crt_get_issuer_dn3(certificate, &name, 0) != GNUTLS_E_SUCCESS) return catalogue_text("unreadable");
    std::string text(reinterpret_cast<char *>(name.data), name.size);
    gnutls_free(name.data);
    return text;
}

// "2026-11-21 14:15:00 UTC"
static std::string time_text(time_t time) {
    struct tm parts = {};
    char text[64];
    gmtime_r(&time, &parts);
    strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &parts);
    return text;
}

static const char *fault_of(gnutls_x509_crt_t certificate, const std::string &name, const std::string &caFile) {
    const Authorities authorities = read_authorities(caFile);
    const unsigned faults = verify(certificate, authorities);
    const time_t now = time(nullptr);
    if (gnutls_x509_crt_get_expiration_time(certificate) < now) return catalogue_text("it has expired");
    if (gnutls_x509_crt_get_activation_time(certificate) > now) return catalogue_text("it is not valid yet");
    if (gnutls_x509_crt_check_hostname(certificate, name.c_str()) == 0)
        return catalogue_text("it was issued for another name");
    if (authorities == nullptr) return catalogue_text("the CA file contains no valid certificate");
    if ((faults & GNUTLS_CERT_SIGNER_NOT_FOUND) != 0)
        return catalogue_text("it is not signed by an authority in the CA file");
    if ((faults & GNUTLS_CERT_INSECURE_ALGORITHM) != 0) return catalogue_text("its key or signature is too weak");
    return catalogue_text("it was rejected by the TLS library");
}

bool certificate_is_good(std::string_view der, const std::string &name, const std::string &caFile) {
    Certificate certificate = read_certificate(der);
    return certificate != nullptr && gnutls_x509_crt_check_hostname(certificate.get(), name.c_str()) != 0 &&
           verify(certificate.get(), read_authorities(caFile)) == 0;
}

std::string certificate_fault(std::string_view der, const std::string &name, const std::string &caFile) {
    Certificate certificate = read_certificate(der);
    if (certificate == nullptr) return catalogue_format("it cannot be read; expected name: %s", name.c_str());
    return catalogue_format("%1$s; expected name: %2$s; names in the certificate: %3$s; issuer: %4$s; expires: %5$s",
                            fault_of(certificate.get(), name, caFile), name.c_str(),
                            names_in(certificate.get()).c_str(), issuer_of(certificate.get()).c_str(),
                            time_text(gnutls_x509_crt_get_expiration_time(certificate.get())).c_str());
}
