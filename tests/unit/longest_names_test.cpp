// Names as long as the client may write them, 512 bytes, wherever the library takes one in. What a buffer that is too
// small would lose shows here, and what it would overwrite shows under the sanitizers.
#include "commands/file_spec.h"
#include "directory/attribute_compare.h"
#include "directory/tree_login.h"
#include "directory/volumes.h"
#include "tests/unit/run_sequence_fixture.h"

namespace {

// A name with this leaf.
std::string longest(const std::string &leaf) {
    return leaf + "." + std::string(ZK_MAX_NAME - leaf.size() - 1, 'c');
}

void volume_object(const std::string &name) {
    spy::text_attribute(name, "Host_Resource_Name", {"DATA"});
    spy::text_attribute(name, "Host_Server", {"SRV1.acme"});
}

using LongestNames = RunSequenceTest;

// What orbispec answers: code, server, volume.
std::string resolve(const std::string &name) {
    std::vector<char> server(49), volume(514), path(514);
    const uint32_t code = orbispec(name.c_str(), server.data(), volume.data(), path.data());
    return std::to_string(code) + " " + server.data() + " " + volume.data();
}

} // namespace

TEST_F(LongestNames, OfAVolumesObjectAndItsContainer) {
    spy::abbreviated("vol1.acme", longest("vol1"));
    volume_object(longest("vol1"));
    EXPECT_EQ(resolve("vol1.acme"), "0 SRV1 DATA");
    const std::string user = longest("u");
    spy::logged_in(user);
    volume_object("vol1" + user.substr(1));
    EXPECT_EQ(resolve("vol1"), "0 SRV1 DATA");
    spy::logged_in(std::string(ZK_MAX_NAME, 'u'));
    volume_object("vol1.[Root]");
    EXPECT_EQ(resolve("vol1"), "0 SRV1 DATA");
}

TEST_F(LongestNames, OfTheTreeOfAVolumesObject) {
    const std::string tree(ZK_MAX_NAME, 'T');
    spy::on_call([&](const std::string &call) {
        if (call == "ZKDSGetContext(1, DCK_TREE_NAME)") ZKDSSetContext(1, DCK_TREE_NAME, tree.c_str());
    });
    resolve("vol1.acme");
    spy::on_call(nullptr);
    EXPECT_THAT(spy::calls("ZKDSSetContext"), Contains("ZKDSSetContext(2, DCK_TREE_NAME, \"" + tree + "\")"));
}

TEST_F(LongestNames, OfAnObjectThatIsCompared) {
    const std::string tree(ZK_MAX_NAME, 'T');
    ZKDSSetContext(handle, DCK_TREE_NAME, tree.c_str());
    spy::canonical("jdoe.acme", longest("jdoe"));
    spy::text_attribute("jdoe.acme", "Title", {std::string(300, 't')});
    uint32_t flag = 7;
    const auto texts = trace_texts(5, [&] {
        EXPECT_EQ(qrt_compareAttribute(handle, "jdoe.acme", "Title", ("." + std::string(256, 't')).c_str(), &flag), 0U);
    });
    EXPECT_EQ(flag, 0U) << "the first 256 bytes count";
    EXPECT_THAT(texts, Contains("canonical name of (jdoe.acme) is (" + longest("jdoe") + ")"));
    EXPECT_THAT(spy::calls("ZKDSSetContext"), Contains(HasSubstr("DCK_TREE_NAME, \"" + tree + "\"")));
}

TEST_F(LongestNames, OfTheUserInAnIdentifier) {
    spy::logged_in(std::string(ZK_MAX_NAME, 'u'));
    run("WRITE \"%CN\"\n");
    EXPECT_EQ(output(), std::string(ZK_MAX_NAME, 'u') + "\n");
}

TEST_F(LongestNames, OfAnObjectWithAScript) {
    spy::abbreviated("jdoe.acme", longest("jdoe"));
    spy::stream(longest("jdoe"), "a script");
    char *text = nullptr;
    EXPECT_EQ(qrt_GetLoginScript(handle, "jdoe.acme", &text), 0U);
    EXPECT_EQ(taken(text), "a script\r\n");
}

TEST_F(LongestNames, OfAContainerWithAScript) {
    const std::string user = longest("u");
    spy::object("jdoe.acme", "User", user);
    spy::stream(user.substr(2), "a container's");
    char *text = nullptr;
    EXPECT_EQ(qrt_get_container(handle, "jdoe.acme", &text), 0U);
    EXPECT_EQ(taken(text), "a container's\r\n");
}

TEST_F(LongestNames, OfTheUserInARun) {
    spy::logged_in(longest("u"));
    run_all();
    EXPECT_EQ(last_.object, "u");
    EXPECT_EQ(last_.initial, longest("u").substr(1));
    spy::logged_in(std::string(ZK_MAX_NAME, 'u'));
    spy::fail("ZKDSAbbreviateName", ZKE_MALFORMED_NAME); // with a context it is too long
    run_all();
    EXPECT_EQ(last_.object, std::string(ZK_MAX_NAME, 'u'));
}

TEST_F(LongestNames, OfTheUserOfAnotherTree) {
    spy::tree("OTHER_TREE", "SRV2");
    spy::logged_in_to("OTHER_TREE", longest("u"));
    session_replace(CurrentTree, "ACME_TREE");
    doTreeLogin("OTHER_TREE", "bob.org", nullptr);
    EXPECT_THAT(output(), HasSubstr("Already logged into Tree(OTHER_TREE) as " + longest("u") + "\n"));
}

TEST_F(LongestNames, OfTheServerAndTheVolumeOfAPath) {
    const std::string server(ZK_MAX_NAME, 'S'), volume(ZK_MAX_NAME, 'V'), rest(255, 'r');
    spy::parsed_path("S/V:r", server, 5, volume, rest);
    spy::object("VOL", "Volume", std::string(ZK_MAX_NAME, 'd'));
    spy::parsed_path("VOL:r", server, 5, volume, rest);
    for (const char *path : {"S/V:r", "VOL:r"}) {
        std::vector<char> serverOut(514), volumeOut(514), restOut(256);
        uint32_t connection = 0;
        uint16_t resolved = 0;
        EXPECT_EQ(
            qrt_ZKDSParsePath(handle, path, serverOut.data(), &connection, volumeOut.data(), restOut.data(), &resolved),
            0U);
        EXPECT_EQ(serverOut.data(), server);
        EXPECT_EQ(volumeOut.data(), volume);
        EXPECT_EQ(restOut.data(), rest);
    }
}

TEST_F(LongestNames, OfATreeAndItsServer) {
    spy::tree(std::string(32, 'T'), std::string(48, 'S'));
    EXPECT_EQ(taken(qrt_GetTreeName(std::string(32, 'T').c_str())), std::string(32, 'T'));
    EXPECT_EQ(taken(qrt_GetDefaultServerFromTree(std::string(32, 'T').c_str())), std::string(48, 'S'));
}
