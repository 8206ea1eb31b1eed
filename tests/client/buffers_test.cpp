// How the parts of a reply are measured: a reply takes 4 bytes, an attribute 12 and its name, a value 4 and its block.
#include "platform/client/interface/buffers.h"

#include <gtest/gtest.h>

#include "platform/client/interface/boundary.h"

namespace {

using Texts = std::vector<std::string>;

ReplyAttribute attribute(const char *ldap, const Texts &values) {
    ReplyAttribute made = {schema_find_ldap(ldap), {}};
    for (const std::string &text : values) {
        made.values.emplace_back();
        made.values.back().text = text;
    }
    return made;
}

class Buffers : public ::testing::Test {
  protected:
    // What one reply of this size takes, "CN=a,b SN=c" or the code; `iteration` goes on.
    std::string fill(size_t size) {
        reply.size = size;
        const uint32_t code = guarded([&] { buffer_fill(&reply, attributes, &iteration); });
        std::string taken = code == ZK_OK ? "" : std::to_string(code);
        for (const ReplyAttribute &one : reply.attributes) {
            taken += (taken.empty() ? "" : " ") + std::string(one.attribute->name) + "=";
            for (const Value &value : one.values) taken += (taken.back() == '=' ? "" : ",") + value.text;
        }
        EXPECT_TRUE(code != ZK_OK || reply.used <= size);
        return taken;
    }
    // The replies up to the last one.
    Texts fill_all(size_t size) {
        iteration = ZK_NO_MORE_ITERATIONS;
        Texts replies;
        do replies.push_back(fill(size));
        while (iteration != ZK_NO_MORE_ITERATIONS && replies.size() < 10);
        return replies;
    }

    const std::string too_small = std::to_string(ZKE_BUFFER_TOO_SMALL), refused = std::to_string(ZKE_BAD_PARAMETER);
    ZKDSBuffer reply = {};
    int32_t iteration = ZK_NO_MORE_ITERATIONS;
    std::vector<ReplyAttribute> attributes = {attribute("cn", {"a", "b", "c"}), attribute("ou", {}),
                                              attribute("o", {"d", "e"})};
};

TEST_F(Buffers, EveryPartComesOnceAndInOrderWhateverTheSize) {
    EXPECT_EQ(fill_all(4 + 15 + 18 + 15 + 14 + 12), Texts{"CN=a,b,c OU= O=d,e"});
    EXPECT_EQ(fill_all(4 + 15 + 18 + 15 + 14 + 11), (Texts{"CN=a,b,c OU= O=d", "O=e"}));
    EXPECT_EQ(fill_all(4 + 15 + 18 + 15), (Texts{"CN=a,b,c OU=", "O=d,e"}));
    EXPECT_EQ(fill_all(4 + 15 + 18 + 1), (Texts{"CN=a,b,c", "OU=", "O=d,e"}));
    EXPECT_EQ(fill_all(4 + 15 + 18 + 2), (Texts{"CN=a,b,c", "OU= O=d", "O=e"}));
    EXPECT_EQ(fill_all(4 + 15 + 12), (Texts{"CN=a,b", "CN=c", "OU=", "O=d,e"}));
    EXPECT_EQ(fill_all(4 + 15 + 6), (Texts{"CN=a", "CN=b", "CN=c", "OU=", "O=d", "O=e"}));
    EXPECT_EQ(fill_all(4 + 15 + 5), Texts{too_small});
}

TEST_F(Buffers, AReplyWithoutRoomIsEmptied) {
    fill(1000);
    iteration = ZK_NO_MORE_ITERATIONS;
    EXPECT_EQ(fill(10), too_small);
    EXPECT_EQ(iteration, ZK_NO_MORE_ITERATIONS);
    EXPECT_EQ(fill(3), too_small);
    EXPECT_TRUE(reply.attributes.empty());
}

TEST_F(Buffers, AnIterationBeyondTheLastPartIsRefused) {
    for (const int32_t wrong : {0, -2, 6, 7, 1000}) {
        iteration = wrong;
        EXPECT_EQ(fill(1000), refused) << wrong;
    }
    iteration = 5;
    EXPECT_EQ(fill(1000), "O=e");
}

TEST_F(Buffers, NothingIsOneReply) {
    attributes.clear();
    EXPECT_EQ(fill_all(4), Texts{""});
}

} // namespace
