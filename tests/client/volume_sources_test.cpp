#include "tests/support/client_fixture.h"

namespace {

class VolumeSources : public ClientTest {
  protected:
    void tree(const std::string &volumes) {
        folder.write("acme.ldif",
                     "dn: o=acme\nobjectClass: organization\no: acme\n\n"
                     "dn: cn=SRV1,o=acme\nobjectClass: qrtServer\ncn: SRV1\n\n" +
                         volumes);
        configure("[[tree]]\nname = \"ACME\"\nldif = \"acme.ldif\"\n");
    }
    // A volume "V1" of the server "SRV1" unless the lines say otherwise.
    static std::string volume(const std::string &name, const std::string &lines,
                              const std::string &server = "cn=srv1,o=ACME") {
        return "dn: cn=" + name + ",o=acme\nobjectClass: qrtVolume\ncn: " + name + "\nqrtHostServer: " + server +
               "\nqrtHostResourceName: " + name + "\n" + lines + "\n";
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

TEST_F(VolumeSources, AreThoseOfTheTreesVolumesAsTheyAreWritten) {
    tree(volume("V1", "qrtVolumeSource: smb://fs1/v1\n") +
         volume("V2", "qrtVolumeSource: nonsense\nqrtVolumeOptions: sec=krb5,ro\n") + volume("V3", "") +
         volume("V4", "qrtVolumeSource: /srv/v4\n", "cn=gone,o=acme") +
         volume("V5", "qrtVolumeSource: /srv/v5\n", "cn=V1,o=acme"));
    EXPECT_THAT(scan(), testing::ElementsAre("SRV1|V1|smb://fs1/v1|", "SRV1|V2|nonsense|sec=krb5,ro"));
    EXPECT_EQ(ZK_OK, lastCode);
}

TEST_F(VolumeSources, OfATreeWithoutThemAreNone) {
    EXPECT_THAT(scan(), testing::IsEmpty());
    EXPECT_EQ(ZK_OK, lastCode);
}

TEST_F(VolumeSources, AreNoAttributesOfScripts) {
    tree(volume("V1", "qrtVolumeSource: smb://fs1/v1\n"));
    read(context(), ".V1.acme", "qrtVolumeSource");
    EXPECT_EQ(ZKE_NO_SUCH_ATTRIBUTE, lastCode);
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKDSScanVolumeSources(context(), nullptr, nullptr));
    EXPECT_EQ(ZKE_BAD_HANDLE, ZKDSScanVolumeSources(
                                  99, [](void *, const ZKVolumeSource *) {}, nullptr));
}

} // namespace
