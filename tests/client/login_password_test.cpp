// Which password goes to which tree unasked.
#include "platform/client/session/login_password.h"

#include <gtest/gtest.h>

namespace {

const char *const secret = "secret", *const other = "other";

class LoginPassword : public ::testing::Test {
  protected:
    Tree own, closed, open, another;
    LoginPassword() { open.config.sharePassword = true; }
};

TEST_F(LoginPassword, ThatOfTheLoginIsHeldBackFromEveryOtherTree) {
    EXPECT_FALSE(login_password_is_held_back(&closed, secret)) << "nobody has logged in";
    login_password_keep(&own, secret);
    EXPECT_TRUE(login_password_is_held_back(&closed, secret));
    EXPECT_FALSE(login_password_is_held_back(&closed, other));
    EXPECT_FALSE(login_password_is_held_back(&closed, ""));
    EXPECT_FALSE(login_password_is_held_back(&own, secret));
    EXPECT_FALSE(login_password_is_held_back(&open, secret));
    closed.config.ldap.external = true;
    EXPECT_FALSE(login_password_is_held_back(&closed, secret)) << "it asks for none";
}

TEST_F(LoginPassword, OnlyThoseOfTheFirstTreeAreTheLogins) {
    login_password_keep(&own, secret);
    login_password_keep(&another, other);
    EXPECT_FALSE(login_password_is_held_back(&closed, other));
    login_password_keep(&own, other);
    EXPECT_TRUE(login_password_is_held_back(&closed, other));
    EXPECT_TRUE(login_password_is_held_back(&closed, secret)) << "the first one stays";
}

TEST_F(LoginPassword, AfterARefusalAPersonAnswersThere) {
    login_password_keep(&own, secret);
    login_password_note_refusal(&closed);
    EXPECT_FALSE(login_password_is_held_back(&closed, secret));
    EXPECT_TRUE(login_password_is_held_back(&another, secret));
    login_password_end_attempts();
    EXPECT_TRUE(login_password_is_held_back(&closed, secret));
    login_password_note_refusal(&closed);
    login_password_keep(&another, other);
    EXPECT_TRUE(login_password_is_held_back(&closed, secret)) << "a login ends the attempts";
}

// Then nothing tells the login's password from others.
TEST_F(LoginPassword, OneThatCannotBeHashedKeepsEveryPasswordBack) {
    login_password_keep(&own, std::string(512, 'x').c_str());
    EXPECT_TRUE(login_password_is_held_back(&closed, other));
    EXPECT_FALSE(login_password_is_held_back(&own, other));
}

TEST_F(LoginPassword, AnEmptyOneIsNotKept) {
    login_password_keep(&own, "");
    EXPECT_FALSE(login_password_is_held_back(&closed, other));
}

} // namespace
