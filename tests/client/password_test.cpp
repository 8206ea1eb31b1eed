#include "platform/client/core/password.h"

#include <gtest/gtest.h>

namespace {

const std::string hash = "$1$salt$ez2vlPGdaLYkJam5pWs/Y1", stored_secret = "{CRYPT}" + hash;

TEST(Password, MatchesItsHashAlone) {
    EXPECT_TRUE(password_matches(stored_secret, "secret"));
    EXPECT_TRUE(password_matches("{crypt}" + hash, "secret"));
    for (const char *wrong : {"", "Secret", "secre", "secrets"})
        EXPECT_FALSE(password_matches(stored_secret, wrong)) << wrong;
}

TEST(Password, MatchesNoOtherFormAndNoPartOfAHash) {
    for (const std::string &stored :
         {std::string(), std::string("secret"), std::string("{CRYPT}"), std::string("{CRYPT}secret"),
          std::string("{CRYPT}*0"), std::string("{CRYPT}*1"), "{SSHA}" + hash, hash, "{CRYPT} " + hash,
          stored_secret + ".", stored_secret.substr(0, stored_secret.size() - 1)}) {
        EXPECT_FALSE(password_matches(stored, "secret")) << stored;
    }
}

TEST(Password, IsHashedWithANewSaltEachTime) {
    const std::string one = password_hash("$5$", 1000, "secret"), other = password_hash("$5$", 1000, "secret");
    EXPECT_EQ(one.substr(0, 10), "{CRYPT}$5$");
    EXPECT_NE(one, other);
    EXPECT_TRUE(password_matches(one, "secret"));
    EXPECT_TRUE(password_matches(other, "secret"));
    EXPECT_FALSE(password_matches(one, "other"));
}

TEST(Password, HasNoHashWhereLibcryptMakesNone) {
    EXPECT_NE(password_hash("$5$", 1000, std::string(511, 'x').c_str()), "");
    EXPECT_EQ(password_hash("$5$", 1000, std::string(512, 'x').c_str()), "");
    EXPECT_EQ(password_hash("$none$", 0, "secret"), "");
}

} // namespace
