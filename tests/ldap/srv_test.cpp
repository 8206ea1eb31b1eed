// Servers that DNS lists for a domain: a name server of the test's own, whatever it answers, and slapd behind it.
#include "platform/client/ldap/srv.h"

#include <arpa/nameser.h>
#include <algorithm>

#include "tests/ldap/ldap_site.h"
#include "tests/ldap/replicas.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using Bytes = std::vector<unsigned char>;

std::string shown(const LdapSrvRecord &record) {
    return record.host + ":" + std::to_string(record.port) + " " + std::to_string(record.priority) + " " +
           std::to_string(record.weight);
}

std::vector<std::string> shown(const std::vector<LdapSrvRecord> &records) {
    std::vector<std::string> all;
    for (const LdapSrvRecord &record : records) all.push_back(shown(record));
    return all;
}

Bytes name(const std::string &dotted) {
    Bytes bytes;
    for (size_t start = 0; start < dotted.size();) {
        const size_t end = std::min(dotted.find('.', start), dotted.size());
        bytes.push_back(static_cast<unsigned char>(end - start));
        bytes.insert(bytes.end(), dotted.begin() + static_cast<long>(start), dotted.begin() + static_cast<long>(end));
        start = end + 1;
    }
    bytes.push_back(0);
    return bytes;
}

void append(Bytes *to, std::initializer_list<unsigned> numbers) {
    for (const unsigned number : numbers) {
        to->push_back(static_cast<unsigned char>(number >> 8));
        to->push_back(static_cast<unsigned char>(number));
    }
}

Bytes record(Bytes data, unsigned type = ns_t_srv, unsigned recordClass = ns_c_in) {
    Bytes made;
    append(&made, {0xC00C, type, recordClass, 0, 60, static_cast<unsigned>(data.size())});
    made.insert(made.end(), data.begin(), data.end());
    return made;
}

Bytes srv(unsigned priority, unsigned weight, unsigned port, const Bytes &target) {
    Bytes data;
    append(&data, {priority, weight, port});
    data.insert(data.end(), target.begin(), target.end());
    return data;
}

Bytes answer(const std::vector<Bytes> &records) {
    Bytes made;
    append(&made, {1, 0x8400, 1, static_cast<unsigned>(records.size()), 0, 0});
    const Bytes question = name("_ldap._tcp.school.example");
    made.insert(made.end(), question.begin(), question.end());
    append(&made, {ns_t_srv, ns_c_in});
    for (const Bytes &one : records) made.insert(made.end(), one.begin(), one.end());
    return made;
}

std::vector<std::string> read(const std::vector<Bytes> &records) {
    return shown(ldap_srv_read(answer(records)));
}

} // namespace

TEST(LdapSrvAnswer, ItsRecordsAreRead) {
    EXPECT_THAT(read({record(srv(1, 2, 389, name("Dir1.school.example"))), record(srv(65535, 3, 1, name("d-2_x")))}),
                ElementsAre("Dir1.school.example:389 1 2", "d-2_x:1 65535 3"));
    EXPECT_THAT(read({record(srv(0, 0, 389, {2, 'd', '1', 0xC0, 0x17}))}), ElementsAre("d1.school.example:389 0 0"))
        << "a compressed name";
}

TEST(LdapSrvAnswer, WhatIsNoServerIsLeftOut) {
    const Bytes good = record(srv(0, 0, 389, name("good")));
    for (const Bytes &target :
         {name(""), name("a b"), name("a/b"), name("a:1"), name("a%2f"), name("a?b"), name("[::1]"), name("-a"),
          name("a\xC3\xA4"), Bytes{1, 0, 0}, name("a@b"), Bytes{3, 'a', '.', 'b', 0}})
        EXPECT_THAT(read({record(srv(0, 0, 389, target)), good}),
                    testing::AnyOf(ElementsAre("good:389 0 0"), ElementsAre("a.b:389 0 0", "good:389 0 0")));
    EXPECT_THAT(read({record(srv(0, 0, 0, name("a"))), good}), ElementsAre("good:389 0 0")) << "no port";
    EXPECT_THAT(read({record(srv(0, 0, 1, name("a")), ns_t_a), good}), ElementsAre("good:389 0 0"));
    EXPECT_THAT(read({record(srv(0, 0, 1, name("a")), ns_t_srv, ns_c_chaos), good}), ElementsAre("good:389 0 0"));
    EXPECT_THAT(read({record({0, 0, 0}), record({0, 0, 0, 0, 1, 1}), good}), ElementsAre("good:389 0 0"));
    EXPECT_THAT(read({record(srv(0, 0, 1, {0xC0, 0x00})), good}), ElementsAre("good:389 0 0")) << "a loop";
    EXPECT_THAT(read({}), IsEmpty());
}

TEST(LdapSrvAnswer, AnAnswerThatEndsEarlyIsNone) {
    const Bytes whole = answer({record(srv(0, 0, 389, name("good"))), record(srv(0, 0, 389, name("other")))});
    for (size_t length = 0; length < whole.size(); length++)
        EXPECT_THAT(ldap_srv_read(Bytes(whole.begin(), whole.begin() + static_cast<long>(length))), IsEmpty())
            << length;
    EXPECT_EQ(ldap_srv_read(whole).size(), 2u);
}

// As numbered servers, after numbers that chance gives.
static std::vector<std::string> order(std::vector<LdapSrvRecord> records, std::vector<uint32_t> chance) {
    std::vector<uint32_t> limits;
    ldap_srv_order(&records, [&](uint32_t limit) {
        limits.push_back(limit);
        const uint32_t next = chance.empty() ? 0 : chance.front();
        if (!chance.empty()) chance.erase(chance.begin());
        EXPECT_LT(next, limit);
        return next;
    });
    std::vector<std::string> hosts;
    for (const LdapSrvRecord &one : records) hosts.push_back(one.host);
    EXPECT_EQ(limits.size(), records.size());
    return hosts;
}

TEST(LdapSrvOrder, IsByPriorityThenByWeightAndChance) {
    EXPECT_THAT(order({{"b", 1, 20, 0}, {"a", 1, 10, 0}, {"c", 1, 30, 0}}, {}), ElementsAre("a", "b", "c"));
    const std::vector<LdapSrvRecord> equals = {{"a", 1, 0, 10}, {"b", 1, 0, 20}, {"z", 1, 0, 0}, {"later", 1, 1, 99}};
    EXPECT_THAT(order(equals, {0, 0, 0, 0}), ElementsAre("z", "a", "b", "later"));
    EXPECT_THAT(order(equals, {1, 0, 1, 0}), ElementsAre("a", "z", "b", "later"));
    EXPECT_THAT(order(equals, {10, 11, 0, 0}), ElementsAre("a", "b", "z", "later"));
    EXPECT_THAT(order(equals, {11, 10, 0, 99}), ElementsAre("b", "a", "z", "later"));
    EXPECT_THAT(order(equals, {30, 0, 0, 0}), ElementsAre("b", "z", "a", "later"));
    EXPECT_THAT(order({}, {}), IsEmpty());
    std::vector<LdapSrvRecord> many(3000, {"x", 1, 0, 65535});
    EXPECT_EQ(order(many, {3000u * 65535u}).size(), 3000u);
}

namespace {

// The tree on the servers of a domain; slapd has a local socket, and whoever connects to port 389 reaches it.
class LdapSrv : public LdapSite {
  protected:
    LdapSrv() {
        char machine[256] = {};
        gethostname(machine, sizeof machine - 1);
        etc.write("hosts", "127.0.0.1 localhost dir1.school.example dir1.other.example dir1.notschool.example " +
                               std::string(machine) + "\n");
        etc.write("resolv.conf", "nameserver 127.0.0.1\n");
        etc.write("nsswitch.conf", "hosts: files dns\n");
        etc.write("zone", absent("_ldaps._tcp"));
    }
    static std::string absent(const std::string &service) { return service + ".school.example absent\n"; }
    // What the domain's service answers, with the service for TLS alone absent.
    void zone(const std::string &ldap) {
        etc.write("zone", absent("_ldaps._tcp") + "_ldap._tcp.school.example " + ldap + "\n");
    }
    void lists(const std::string &target) { zone("answer 0 0 389 " + target); }
    void onDomain(const std::string &more) {
        configure(
            "[[tree]]\nname = \"ACME\"\nservers = \"srv:school.example\"\nbase = \"\"\nsearch_base = \"o=acme\"\n" +
            defaultServer + more);
        environment["ZKCLIENT_CONF"] = folder.path("client.toml");
    }
    // The certificate is for this name; the test's authority is the machine's as well.
    Slapd::Setup certified(const std::string &dnsName) {
        Slapd::Setup setup = sample();
        setup.global = certificates.serverLines("DNS:" + dnsName);
        etc.write("ca-certificates.crt", file_text(certificates.path("ca.pem")));
        return setup;
    }
    static std::string forwarding(const Slapd &server, const std::string &port = "389", const std::string &more = "") {
        std::string path = server.localUri().substr(strlen("ldapi://"));
        for (size_t at = path.find("%2F"); at != path.npos; at = path.find("%2F")) path.replace(at, 3, "/");
        return port + " " + path + more + "\n";
    }
    void forwardTo(const Slapd &server, const std::string &port = "389", const std::string &more = "") {
        etc.write("forward", forwarding(server, port, more));
    }
    std::string ownAuthority() { return "ca_file = \"" + certificates.path("ca.pem") + "\"\n"; }
    Outcome privateLogin(const Words &more = {}, const std::string &passwords = "sunflower\n") {
        TempFolder fresh;
        environment["HOME"] = fresh.path();
        Words words = {SOURCE_DIR "/tests/ldap/private_resolver.sh", etc.path(), QRTLOGIN_PATH, "--password-fd", "3"};
        words.insert(words.end(), more.begin(), more.end());
        words.push_back("jdoe.sales.acme");
        return process_run(words, environment, passwords);
    }
    int questions() { return std::stoi("0" + file_text(etc.path("questions"))); }

    Certificates certificates;
    TempFolder etc;
};

#define SKIP_WITHOUT_NAMESPACE(outcome) \
    if ((outcome).status == no_namespace) GTEST_SKIP() << "this kernel allows no private network"

} // namespace

TEST_F(LdapSrv, ALoginFindsItsServersInDns) {
    Slapd server(certified("dir1.school.example"));
    forwardTo(server);
    lists("dir1.school.example");
    onTheEmbeddedTree();
    const std::string expected = login().out;
    onDomain("");
    const Outcome outcome = privateLogin();
    SKIP_WITHOUT_NAMESPACE(outcome);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, expected);
    EXPECT_EQ(questions() % 2, 0) << "one for each service, by each process";
    EXPECT_THAT(server.log(), HasSubstr("STARTTLS"));
}

TEST_F(LdapSrv, ServersForTlsAloneComeFirstAndNoneIsAskedTwice) {
    etc.write("zone",
              "_ldaps._tcp.school.example answer 0 0 637 dir1.school.example 1 0 638 dir2.school.example\n"
              "_ldap._tcp.school.example answer 5 0 390 localhost 0 0 389 DIR1.school.example\n");
    onDomain(ownAuthority());
    const Outcome outcome = privateLogin();
    SKIP_WITHOUT_NAMESPACE(outcome);
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.err, testing::ContainsRegex("ldaps://dir1.school.example:637: .*; "
                                                    "ldaps://dir2.school.example:638: .*; ldap://localhost:390: "));
    EXPECT_THAT(outcome.err, Not(HasSubstr("ldap://DIR1")));
}

TEST_F(LdapSrv, ALoginOverTlsAloneFindsItsServer) {
    Slapd server(certified("dir1.school.example"));
    forwardTo(server, "636", " " + certificates.path("server.pem") + " " + certificates.path("server.key"));
    etc.write(
        "zone", "_ldaps._tcp.school.example answer 0 0 636 dir1.school.example\n" +
                    [] { return std::string("_ldap._tcp.school.example failure\n"); }());
    onDomain("");
    const Outcome outcome = privateLogin();
    SKIP_WITHOUT_NAMESPACE(outcome);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(server.log(), Not(HasSubstr("STARTTLS")));
}

TEST_F(LdapSrv, TheNextServerIsUsedWhereOneDoesNotAnswer) {
    Slapd server(certified("dir1.school.example"));
    forwardTo(server);
    zone("answer 7 0 389 dir1.school.example 5 0 390 dir1.school.example");
    onDomain("");
    const Outcome outcome = privateLogin();
    SKIP_WITHOUT_NAMESPACE(outcome);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
}

TEST_F(LdapSrv, AReplicaMayReferChangesToAnotherOfTheServersThatDnsLists) {
    Slapd::Setup taking = change_provider(certificates);
    Slapd::Setup referring = stale_copy(certificates, "ldap://dir1.school.example:390");
    taking.global = referring.global = certified("dir1.school.example").global;
    Slapd provider(taking), copy(referring);
    etc.write("forward", forwarding(copy, "389") + forwarding(provider, "390"));
    onDomain("");
    zone("answer 0 0 389 dir1.school.example");
    const Outcome refused = privateLogin({"--change-password"}, "sunflower\nstarfish-7\n");
    SKIP_WITHOUT_NAMESPACE(refused);
    EXPECT_THAT(refused.err, HasSubstr("the password can only be changed at ldap://dir1.school.example:390"));
    zone("answer 0 0 389 dir1.school.example 1 0 390 dir1.school.example");
    EXPECT_EQ(privateLogin({"--change-password"}, "sunflower\nstarfish-7\n"),
              (Outcome{0, "", "Your password has been changed.\n"}));
    EXPECT_TRUE(takes_password(provider, "cn=jdoe,ou=sales,o=acme", "starfish-7"));
}

// Active Directory's own names.
TEST_F(LdapSrv, TheNameMayBeThatOfAServiceBelowTheDomain) {
    Slapd server(certified("dir1.school.example"));
    forwardTo(server);
    etc.write("zone",
              "_ldap._tcp.dc._msdcs.school.example answer 0 0 389 dir1.school.example\n"
              "_ldaps._tcp.dc._msdcs.school.example absent\n");
    configure("[[tree]]\nname = \"ACME\"\nservers = \"srv:dc._msdcs.school.example\"\nsearch_base = \"o=acme\"\n" +
              defaultServer);
    environment["ZKCLIENT_CONF"] = folder.path("client.toml");
    const Outcome outcome = privateLogin();
    SKIP_WITHOUT_NAMESPACE(outcome);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
}

TEST_F(LdapSrv, OfAnActiveDirectoryTheDomainControllersAreAsked) {
    etc.write("zone",
              absent("_ldaps._tcp") + "_ldap._tcp.dc._msdcs.school.example answer 0 0 390 dc1.school.example\n");
    onDomain("schema = \"ad\"\n");
    const Outcome outcome = privateLogin();
    SKIP_WITHOUT_NAMESPACE(outcome);
    EXPECT_THAT(outcome.err, HasSubstr("ldap://dc1.school.example:390: "));
}

// Any authority of the machine's list certifies a server of anybody's: its name has to be the domain's.
TEST_F(LdapSrv, AServerOutsideTheDomainHasToBeCertifiedForTheDomain) {
    Slapd server(certified("dir1.other.example"));
    forwardTo(server);
    onDomain("");
    for (const char *target : {"dir1.other.example", "dir1.notschool.example", "localhost"}) {
        lists(target);
        const Outcome outcome = privateLogin();
        SKIP_WITHOUT_NAMESPACE(outcome);
        EXPECT_EQ(outcome.status, 3) << target;
        EXPECT_THAT(outcome.err, HasSubstr("expected name: school.example; names in the certificate: "
                                           "dir1.other.example"))
            << target;
    }
    EXPECT_THAT(server.log(), Not(HasSubstr("BIND dn=\"cn=jdoe")));
}

TEST_F(LdapSrv, ACertificateOfTheDomainWillDo) {
    Slapd server(certified("school.example"));
    forwardTo(server);
    onDomain("");
    lists("dir1.other.example");
    const Outcome outcome = privateLogin();
    SKIP_WITHOUT_NAMESPACE(outcome);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    lists("dir1.school.example");
    EXPECT_THAT(privateLogin().err, HasSubstr("expected name: dir1.school.example"));
}

TEST_F(LdapSrv, WithTheSitesOwnAuthorityAServerMayBeAnywhere) {
    Slapd server(certified("dir1.other.example"));
    forwardTo(server);
    lists("dir1.other.example");
    onDomain(ownAuthority());
    const Outcome outcome = privateLogin();
    SKIP_WITHOUT_NAMESPACE(outcome);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    lists("dir1.notschool.example");
    EXPECT_THAT(privateLogin().err, HasSubstr("expected name: dir1.notschool.example"));
}

TEST_F(LdapSrv, NoPasswordIsSentInTheClear) {
    Slapd server(sample()); // which has no certificate
    forwardTo(server);
    lists("dir1.school.example");
    onDomain("allow_cleartext_loopback = true\n");
    const Outcome outcome = privateLogin();
    SKIP_WITHOUT_NAMESPACE(outcome);
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.err, HasSubstr("ldap://dir1.school.example:389: the server refused StartTLS"));
    EXPECT_THAT(server.log(), Not(HasSubstr("BIND dn")));
}

TEST_F(LdapSrv, WhatDnsDoesIsSaidInWords) {
    const struct {
        std::string ldap, why;
    } rows[] = {
        {"absent", "srv:school.example: DNS lists no server for _ldap._tcp.school.example"},
        {"answer", "srv:school.example: DNS lists no server for _ldap._tcp.school.example"},
        {"answer 0 0 389 .", "srv:school.example: DNS lists no server for _ldap._tcp.school.example"},
        {"failure", "srv:school.example: cannot look up the servers in DNS: the name server failed"},
        {"truncated", "srv:school.example: cannot look up the servers in DNS: the name server failed"},
        {"bytes c00c0021000100000000ffff00", "srv:school.example: DNS lists no server for _ldap._tcp.school.example"},
        {"bytes c00cc00cc00c", "srv:school.example: DNS lists no server for _ldap._tcp.school.example"},
    };
    onDomain("");
    for (const auto &row : rows) {
        zone(row.ldap);
        const Outcome outcome = privateLogin();
        SKIP_WITHOUT_NAMESPACE(outcome);
        EXPECT_EQ(outcome.status, 3) << row.ldap;
        EXPECT_THAT(outcome.err, HasSubstr(row.why)) << row.ldap;
    }
}

TEST_F(LdapSrv, ANameServerThatIsSilentEndsInTimeWithItsOwnWords) {
    etc.write("zone", "");
    onDomain("time_limit = 0.8\n");
    const Outcome outcome = privateLogin();
    SKIP_WITHOUT_NAMESPACE(outcome);
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.err, HasSubstr("cannot look up the directory server's host name: srv:school.example: timed out "
                                       "looking up the servers in DNS"));
    EXPECT_GT(questions(), 0);
}
