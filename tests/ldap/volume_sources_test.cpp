// What volumes are mounted from, read from servers by a process without a login: as the automounter does.
#include <algorithm>

#include "tests/ldap/ldap_site.h"

namespace {

class LdapVolumeSources : public LdapSite {
  protected:
    static Slapd::Setup with(Slapd::Setup setup) {
        setup.ldif +=
            "\ndn: cn=NEW,o=acme\nobjectClass: qrtVolume\ncn: NEW\nqrtHostServer: cn=SRV1,o=acme\n"
            "qrtHostResourceName: New Volume\nqrtVolumeSource: smb://fs1/new%20one\n"
            "qrtVolumeOptions: sec=krb5,ro\n";
        return setup;
    }
    std::vector<std::string> scan() {
        std::vector<std::string> found;
        const auto take = [](void *caller, const ZKVolumeSource *one) {
            static_cast<std::vector<std::string> *>(caller)->push_back(std::string(one->server) + "|" + one->volume +
                                                                       "|" + one->source + "|" + one->options);
        };
        lastCode = ZKDSScanVolumeSources(context(), take, &found);
        return found;
    }
};

} // namespace

TEST_F(LdapVolumeSources, AreReadInOneSearch) {
    Slapd server(with(sample()));
    onServers({server.uri()});
    EXPECT_THAT(scan(), testing::ElementsAre("SRV1|New Volume|smb://fs1/new%20one|sec=krb5,ro"));
    EXPECT_EQ(lastCode, ZK_OK) << lastError();
    EXPECT_THAT(scan(), testing::SizeIs(1));
    const std::vector<std::string> asked = server.operations();
    const auto isBelow = [](const std::string &one) { return one.find("base=\"o=acme\"") != one.npos; };
    EXPECT_EQ(std::count_if(asked.begin(), asked.end(), isBelow), 1) << testing::PrintToString(asked);
}

TEST_F(LdapVolumeSources, AreNotThereForNobodyWhereOnlyUsersMayRead) {
    Slapd server(with(forUsersOnly()));
    onServers({server.uri()});
    EXPECT_THAT(scan(), testing::IsEmpty());
}

TEST_F(LdapVolumeSources, OfAServerThatIsGoneAreAnError) {
    Slapd server(with(sample()));
    onServers({server.uri()});
    server.kill();
    EXPECT_THAT(scan(), testing::IsEmpty());
    EXPECT_NE(lastCode, ZK_OK);
}
