#include "platform/client/ldap_certificate.h"

#include <arpa/inet.h>
#include <ldap.h>
#include <ctime>

#include "platform/catalogue.h"
#include "platform/client/names.h"

namespace {

constexpr unsigned char tag_sequence = 0x30;
constexpr unsigned char tag_octets = 0x04;
constexpr unsigned char tag_object = 0x06;
constexpr unsigned char tag_utc_time = 0x17;
constexpr unsigned char tag_version = 0xA0;
constexpr unsigned char tag_extensions = 0xA3;
constexpr unsigned char tag_dns_name = 0x82;
constexpr unsigned char tag_ip_address = 0x87;
constexpr std::string_view alternative_names_object = "\x55\x1D\x11";

// One element after the other of a DER text.
class Der {
  public:
    explicit Der(std::string_view bytes) : left(bytes) {}

    bool next() {
        size_t head = 2;
        if (left.size() < head) {
            return false;
        }
        size_t length = byte(1);
        if (length >= 0x80) {
            size_t count = length & 0x7Fu;
            if (count == 0 || count > 4 || left.size() < head + count) {
                return false;
            }
            length = 0;
            for (size_t i = 0; i < count; i++) {
                length = length << 8 | byte(head + i);
            }
            head += count;
        }
        if (left.size() - head < length) {
            return false;
        }
        tag = byte(0);
        content = left.substr(head, length);
        whole = left.substr(0, head + length);
        left.remove_prefix(head + length);
        return true;
    }

    bool next(unsigned char wanted) { return next() && tag == wanted; }

    unsigned char tag = 0;
    std::string_view content;
    std::string_view whole;

  private:
    unsigned char byte(size_t at) const { return static_cast<unsigned char>(left[at]); }
    std::string_view left;
};

std::string dn_text(std::string_view der) {
    berval name = {der.size(), const_cast<char *>(der.data())};
    berval text = {0, nullptr};
    if (ldap_X509dn2bv(&name, &text, nullptr, 0) != LDAP_SUCCESS || text.bv_val == nullptr) {
        return catalogue_text("unreadable");
    }
    std::string result(text.bv_val, text.bv_len);
    ldap_memfree(text.bv_val);
    return result;
}

// With four digits of the year.
std::string time_text(const Der &time) {
    std::string text(time.content);
    bool shortYear = time.tag == tag_utc_time && !text.empty();
    return (shortYear ? text[0] < '5' ? "20" : "19" : "") + text;
}

std::string address_text(std::string_view bytes) {
    char text[INET6_ADDRSTRLEN] = "";
    int family = bytes.size() == 4 ? AF_INET : bytes.size() == 16 ? AF_INET6 : AF_UNSPEC;
    return family != AF_UNSPEC && inet_ntop(family, bytes.data(), text, sizeof text) != nullptr ? text : "?";
}

void read_names(std::string_view octets, std::vector<std::string> *names) {
    Der outer(octets);
    if (!outer.next(tag_sequence)) {
        return;
    }
    Der one(outer.content);
    while (one.next()) {
        if (one.tag == tag_dns_name) {
            names->emplace_back(one.content);
        } else if (one.tag == tag_ip_address) {
            names->push_back(address_text(one.content));
        }
    }
}

void read_extensions(std::string_view content, std::vector<std::string> *names) {
    Der list(content);
    if (!list.next(tag_sequence)) {
        return;
    }
    Der extension(list.content);
    while (extension.next(tag_sequence)) {
        Der part(extension.content);
        if (!part.next(tag_object) || part.content != alternative_names_object) {
            continue;
        }
        while (part.next()) {
            if (part.tag == tag_octets) {
                read_names(part.content, names);
            }
        }
    }
}

// "2026-11-21 14:15:00 UTC"
std::string shown_time(const std::string &time) {
    if (time.size() < 14) {
        return time;
    }
    return time.substr(0, 4) + "-" + time.substr(4, 2) + "-" + time.substr(6, 2) + " " + time.substr(8, 2) + ":" +
           time.substr(10, 2) + ":" + time.substr(12, 2) + " UTC";
}

std::string now_text() {
    time_t now = time(nullptr);
    struct tm parts = {};
    gmtime_r(&now, &parts);
    char text[32];
    strftime(text, sizeof text, "%Y%m%d%H%M%SZ", &parts);
    return text;
}

bool name_fits(const std::string &pattern, const std::string &name) {
    if (pattern.compare(0, 2, "*.") == 0) {
        size_t dot = name.find('.');
        return dot != std::string::npos && equal_nocase(pattern.substr(1), name.substr(dot));
    }
    return equal_nocase(pattern, name);
}

} // namespace

bool certificate_read(std::string_view der, CertificateFacts *facts) {
    Der outer(der);
    if (!outer.next(tag_sequence)) {
        return false;
    }
    Der signedPart(outer.content);
    if (!signedPart.next(tag_sequence)) {
        return false;
    }
    // [0] version, serial number, algorithm, issuer, validity, subject, key, [1], [2], [3] extensions
    Der field(signedPart.content);
    if (!field.next() || (field.tag == tag_version && !field.next()) || !field.next(tag_sequence) ||
        !field.next(tag_sequence)) {
        return false;
    }
    facts->issuer = dn_text(field.whole);
    if (!field.next(tag_sequence)) {
        return false;
    }
    Der validity(field.content);
    if (!validity.next()) {
        return false;
    }
    facts->notBefore = time_text(validity);
    if (!validity.next()) {
        return false;
    }
    facts->notAfter = time_text(validity);
    while (field.next()) {
        if (field.tag == tag_extensions) {
            read_extensions(field.content, &facts->names);
        }
    }
    return true;
}

std::string certificate_fault(std::string_view der, const std::string &expectedName) {
    CertificateFacts facts;
    if (!certificate_read(der, &facts)) {
        return catalogue_format("it cannot be read; expected name: %s", expectedName.c_str());
    }
    bool named = false;
    std::string names;
    for (const std::string &name : facts.names) {
        named = named || name_fits(name, expectedName);
        names += (names.empty() ? "" : ", ") + name;
    }
    std::string now = now_text();
    const char *fault = now > facts.notAfter    ? catalogue_text("it has expired")
                        : now < facts.notBefore ? catalogue_text("it is not valid yet")
                        : !named                ? catalogue_text("it is made out to another name")
                                                : catalogue_text("no authority in the CA file has signed it");
    return catalogue_format("%1$s; expected name: %2$s; names in it: %3$s; issuer: %4$s; expires: %5$s", fault,
                            expectedName.c_str(), names.empty() ? catalogue_text("none") : names.c_str(),
                            facts.issuer.c_str(), shown_time(facts.notAfter).c_str());
}
