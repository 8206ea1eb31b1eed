// What a name server answers when it is asked for the servers of a domain.
//
//     input ::= answer                     as RFC 1035 has it
#include <climits>

#include "platform/client/ldap/srv.h"
#include "platform/client/ldap/uri.h"
#include "platform/common/nocase.h"
#include "tests/fuzz/fuzz.h"

// What has been read becomes a URI that means this host and port and nothing else.
static void check_record(const LdapSrvRecord &record) {
    const LdapUri uri = ldap_uri_parse("ldap://" + record.host + ":" + std::to_string(record.port));
    FUZZ_CHECK(equal_nocase(uri.host, record.host) && uri.port == std::to_string(record.port));
    FUZZ_CHECK(!uri.tls && !uri.local);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::vector<LdapSrvRecord> records = ldap_srv_read(std::vector<unsigned char>(data, data + size));
    for (const LdapSrvRecord &record : records) check_record(record);
    const size_t count = records.size();
    uint32_t chance = static_cast<uint32_t>(size);
    ldap_srv_order(&records, [&chance](uint32_t limit) {
        FUZZ_CHECK(limit > 0);
        chance = chance * 1664525 + 1013904223;
        return chance % limit;
    });
    FUZZ_CHECK(records.size() == count);
    for (size_t i = 1; i < count; i++) FUZZ_CHECK(records[i - 1].priority <= records[i].priority);
    return 0;
}
