// A tree on LDAP servers: what the client makes of whatever a server answers.
//
//     input ::= tree steps LF answers          answers: world/ldap_server.h
//     tree  ::= "P" | "R" | "A" | "L" | "S" | "T" | "D" | "U"        the trees of `configuration`
//     steps ::= { letter }                     one call of the client after the other, see `step`
//
// All results have to be as platform/zk.h says. Afterwards nothing may be open, and a plain login is what it always is.
#include <algorithm>
#include <cstdio>
#include <map>

#include "platform/client/session/trees.h"
#include "platform/zk.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/world/files.h"
#include "tests/fuzz/world/ldap_server.h"
#include "tests/fuzz/world/memory_file.h"
#include "tests/fuzz/world/network.h"
#include "tests/fuzz/world/process.h"
#include "tests/fuzz/world/results.h"

static constexpr const char *configuration = R"(
[[tree]] # plain
name = "P"
uris = ["ldap://127.0.0.1"]
base = "o=acme"
allow_cleartext_loopback = true
retry_after = 1e-9
share_password = true
default_server = "SRV1"

[[tree]] # follows referrals, from two servers
name = "R"
uris = ["ldap://127.0.0.1", "ldap://other.example:1389"]
allow_cleartext_loopback = true
retry_after = 1e-9
share_password = true
referrals = true
ca_file = "/none"

[[tree]] # hands out anything, under names of its own
name = "A"
uris = ["ldap://[::1]"]
search_base = "ou=sales,dc=acme,dc=example"
allow_cleartext_loopback = true
retry_after = 1e-9
share_password = true
any_text = true
any_path = true
attributes = {cn = "name", qrtLoginScript = "name", memberOf = "inGroup"}

[[tree]] # a local socket, the user the process's own
name = "L"
uris = ["ldapi:///socket"]
base = "o=acme"
sasl_external = true
retry_after = 1e-9
share_password = true

[[tree]] # takes no password
name = "S"
uris = ["ldap://server.example"]
base = "o=acme"
retry_after = 1e-9
share_password = true

[[tree]] # a directory of accounts
name = "D"
uris = ["ldap://127.0.0.1"]
schema = "ad"
flat_groups = true
allow_cleartext_loopback = true
retry_after = 1e-9
share_password = true

[[tree]] # whatever the server says it is
name = "U"
uris = ["ldap://127.0.0.1"]
base = "o=acme"
schema = "auto"
home_volume = "SRV1/SYS"
allow_cleartext_loopback = true
retry_after = 1e-9
share_password = true

[[tree]] # secured
name = "T"
uris = ["ldap://secured.example"]
base = "o=acme"
start_tls = true
retry_after = 1e-9
share_password = true
ca_file = ")";

// Of an authority that has signed nothing.
static constexpr const char *authority = R"(-----BEGIN CERTIFICATE-----
MIIBdTCCARugAwIBAgIUbCiHLP+J21nA3fa91Wxle2KanZkwCgYIKoZIzj0EAwIw
DzENMAsGA1UEAwwEZnV6ejAgFw0yNjExMjIxMDIwMDNaGA8yMTI2MTAyOTEwMjAw
M1owDzENMAsGA1UEAwwEZnV6ejBZMBMGByqGSM49AgEGCCqGSM49AwEHA0IABC/3
XJU+oqbq9dbwip2zlBSZKYHnY41h5gYt4sU5LAfMxwpfXy0HwvaVM34Xf3i14GVk
P5RbjTLLBpkidiKad3yjUzBRMB0GA1UdDgQWBBThsgQu//90QowR8hNdPTStykdU
rTAfBgNVHSMEGDAWgBThsgQu//90QowR8hNdPTStykdUrTAPBgNVHRMBAf8EBTAD
AQH/MAoGCCqGSM49BAMCA0gAMEUCIG/0tWbFsGSw4gIPFjOltFLr5mO1yaOROnBI
KQM4r5AmAiEA/quwKSW5+3e+vQ23qjiAJ9IURl0HbZitoqhIgDu7L1k=
-----END CERTIFICATE-----
)";

static constexpr std::string_view trees = "PRALSDUT";
static constexpr const char *contexts[] = {"sales", "sales.acme", "sales.acme.example", "sales", "sales", "",
                                           "sales", "sales"};
static constexpr size_t most_steps = 8;

// A login of the tree "P", by which the next input finds everything as the first one did.
static constexpr std::string_view control = R"(dn: cn=jdoe,ou=sales,o=acme
cn: jdoe
objectClass: person
result: 0
result: 0
who: dn:cn=jdoe,ou=sales,o=acme
dn: o=acme
o: acme
objectClass: organization
dn: cn=jdoe,ou=sales,o=acme
cn: jdoe
objectClass: person
dn: cn=SRV1,o=acme
cn: SRV1
objectClass: qrtServer
result: 0
)";

static bool waiting;

static void note_waiting(const char *server) {
    FUZZ_CHECK(server || waiting);
    waiting = server;
}

struct Session {
    uint32_t context = 0;
    bool plain = true; // the tree hands out no control characters
    std::string_view tree;
};

static std::string written;

static std::optional<std::string_view> only_the_configuration(const char *path) {
    return path == std::string_view("/fuzz/client.toml") ? std::optional<std::string_view>(written) : std::nullopt;
}

static void prepare() {
    static const MemoryFile certificate; // GnuTLS reads it
    certificate.replace(authority);
    written = configuration + certificate.path() + "\"\n";
    process_set("ZKCLIENT_CONF", "/fuzz/client.toml");
    files_content = only_the_configuration;
    stderr = files_sink();
    FUZZ_CHECK(ZKCallsInit(nullptr, nullptr) == ZK_OK);
    FUZZ_CHECK(ZKSetWaitNotice(0, note_waiting) == ZK_OK);
    FUZZ_CHECK(trees_all().size() == trees.size());
}

static void read_values(const Session &session, const char *object, uint32_t infoType, uint32_t size) {
    ZKDSBuffer *reply = nullptr;
    FUZZ_CHECK(ZKDSAllocBuf(size, &reply) == ZK_OK);
    int32_t iteration = ZK_NO_MORE_ITERATIONS;
    do {
        if (result_code(ZKDSRead(session.context, object, infoType, 1, nullptr, &iteration, reply)) != ZK_OK) break;
        result_check_reply(session.context, reply, session.plain);
    } while (iteration != ZK_NO_MORE_ITERATIONS);
    ZKDSFreeBuf(reply);
}

// One attribute, which may be none of the client's own.
static void read_attribute(const Session &session, const char *object, const char *attribute) {
    ZKDSBuffer *request = nullptr, *reply = nullptr;
    FUZZ_CHECK(ZKDSAllocBuf(512, &request) == ZK_OK && ZKDSAllocBuf(4096, &reply) == ZK_OK);
    FUZZ_CHECK(ZKDSInitBuf(session.context, ZK_OPERATION_READ, request) == ZK_OK);
    FUZZ_CHECK(ZKDSPutAttrName(session.context, request, attribute) == ZK_OK);
    int32_t iteration = ZK_NO_MORE_ITERATIONS;
    if (result_code(ZKDSRead(session.context, object, ZK_INFO_NAMES_AND_VALUES, 0, request, &iteration, reply)) ==
        ZK_OK)
        result_check_reply(session.context, reply, session.plain);
    ZKDSFreeBuf(request);
    ZKDSFreeBuf(reply);
}

static void read_info(const Session &session, const char *object) {
    char name[ZK_MAX_NAME + 1];
    ZKDSObjectInfo info;
    if (result_code(ZKDSReadObjectInfo(session.context, object, name, &info)) != ZK_OK) return;
    result_check_name(name, ZK_MAX_NAME);
    result_check_name(info.baseClass, sizeof info.baseClass - 1);
}

static void read_stream(const Session &session, const char *object) {
    uint32_t file = 0, got = 0;
    if (result_code(ZKDSOpenStream(session.context, object, "Login Script", 0, &file)) != ZK_OK) return;
    char piece[32];
    do {
        FUZZ_CHECK(ZKReadFile(file, sizeof piece, &got, piece) == ZK_OK && got <= sizeof piece);
    } while (got > 0);
    FUZZ_CHECK(ZKCloseFile(file) == ZK_OK);
}

static void read_password_info(const Session &session) {
    ZKDSPasswordInfo info = {-7, -7, -7};
    const bool known = result_code(ZKDSGetPasswordInfo(session.context, &info)) == ZK_OK;
    FUZZ_CHECK(known == (info.expiresIn >= -1));
    FUZZ_CHECK(!known || (info.graceLogins >= -1 && (info.changeable & ~1) == 0));
}

static void change_password(const Session &session, const char *object) {
    result_code(ZKDSChangePassword(session.context, object, "sunflower", "starfish"));
}

static void who_am_i(const Session &session) {
    char name[ZK_MAX_NAME + 1];
    const bool known = result_code(ZKDSWhoAmI(session.context, name)) == ZK_OK;
    result_check_name(name, ZK_MAX_NAME);
    FUZZ_CHECK(known == (name[0] != '\0'));
    FUZZ_CHECK(known == (ZKDSCanDSAuthenticate(session.context) == 1));
}

static void step(const Session &session, char letter) {
    static const std::map<char, void (*)(const Session &)> steps = {
        {'l', [](const Session &it) { result_code(ZKDSLoginEx(it.context, "jdoe", 2, "sunflower")); }},
        {'L', [](const Session &it) { result_code(ZKDSLoginEx(it.context, "CN=jdoe", 2, "sunflower")); }},
        {'m', [](const Session &it) { result_code(ZKDSLoginEx(it.context, "jdoe@acme.example", 2, "sunflower")); }},
        {'M', [](const Session &it) { result_code(ZKDSLoginEx(it.context, "ACME\\jdoe", 2, "sunflower")); }},
        {'x', [](const Session &it) { read_attribute(it, "jdoe", "EMPLOYEE_ID"); }},
        {'y', [](const Session &it) { read_attribute(it, "jdoe", "Manager"); }},
        {'o', [](const Session &it) { result_code(ZKDSLogout(it.context)); }},
        {'w', [](const Session &it) { who_am_i(it); }},
        {'e', [](const Session &it) { read_password_info(it); }},
        {'c', [](const Session &it) { change_password(it, nullptr); }},
        {'C', [](const Session &it) { change_password(it, "jdoe"); }},
        {'i', [](const Session &it) { read_info(it, "jdoe"); }},
        {'r', [](const Session &it) { read_info(it, "[Root]"); }},
        {'a', [](const Session &it) { read_values(it, "jdoe", ZK_INFO_NAMES_AND_VALUES, 65536); }},
        {'b', [](const Session &it) { read_values(it, "jdoe", ZK_INFO_NAMES_AND_VALUES, 200); }},
        {'n', [](const Session &it) { read_values(it, "CN=jdoe", ZK_INFO_NAMES, 256); }},
        {'g', [](const Session &it) { read_values(it, "staff.", ZK_INFO_NAMES_AND_VALUES, 4096); }},
        {'v', [](const Session &it) { read_values(it, "SRV1_SYS", ZK_INFO_NAMES_AND_VALUES, 4096); }},
        {'s', [](const Session &it) { read_stream(it, "jdoe"); }},
        {'p', [](const Session &) { result_check_path("SRV1/SYS:public/bin"); }},
        {'d', [](const Session &) { result_check_path("SYS:public"); }},
        {'f', [](const Session &) { result_check_server("SRV1", "jdoe.sales", "sunflower"); }},
        {'t', [](const Session &it) { result_check_server(it.tree.data(), "jdoe.sales", "sunflower"); }},
    };
    if (const auto found = steps.find(letter); found != steps.end()) found->second(session);
    result_check_error_text();
    FUZZ_CHECK(!waiting);
}

static Session begin(char tree) {
    const size_t number = std::min(trees.find(tree), trees.size()) % trees.size();
    const std::string name(1, trees[number]);
    Session session;
    Tree *found = tree_find(name);
    session.tree = found->config.name;
    session.plain = name != "A";
    tree_prefer(found);
    FUZZ_CHECK(ZKDSCreateContextHandle(&session.context) == ZK_OK);
    FUZZ_CHECK(ZKDSSetContext(session.context, DCK_TREE_NAME, name.c_str()) == ZK_OK);
    FUZZ_CHECK(ZKDSSetContext(session.context, DCK_NAME_CONTEXT, contexts[number]) == ZK_OK);
    return session;
}

// The process ends, as far as the client is concerned.
static void end(const Session &session) {
    FUZZ_CHECK(ZKDSFreeContext(session.context) == ZK_OK);
    results_close_connections();
    for (const std::unique_ptr<Tree> &tree : trees_all()) {
        tree->identity = nullptr;
        tree->store = nullptr;
    }
    ldap_server_start("");
    network_check_closed();
    files_check_closed();
}

static void run_control() {
    ldap_server_start(control);
    const Session session = begin('P');
    FUZZ_CHECK(ZKDSLoginEx(session.context, "jdoe", 2, "sunflower") == ZK_OK);
    char name[ZK_MAX_NAME + 1];
    FUZZ_CHECK(ZKDSWhoAmI(session.context, name) == ZK_OK && strcmp(name, "CN=jdoe.OU=sales") == 0);
    FUZZ_CHECK(ldap_server_is_done());
    end(session);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const bool prepared = (prepare(), true);
    if (size == 0 || !prepared) return 0;
    std::string_view answers = fuzz_view(data, size);
    const std::string_view steps = fuzz_take(answers, '\n');
    ldap_server_start(answers);
    const Session session = begin(steps.empty() ? 'P' : steps[0]);
    for (size_t i = 1; i < steps.size() && i < most_steps; i++) step(session, steps[i]);
    end(session);

    // The control costs as much as many an input.
    if (size % 16 == 0) run_control();
    return 0;
}
