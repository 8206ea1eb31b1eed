// What the entry of a user in a file says of the password and of the account.
#include <ctime>

#include "platform/zk.h"
#include "tests/support/client_fixture.h"

namespace {

class PasswordState : public ClientTest {
  protected:
    // A tree of one user, jdoe with the password "secret", with more lines in the entry and in the tree's table.
    void on(const std::string &lines, const std::string &more = "") {
        folder.write("acme.ldif",
                     "dn: o=acme\nobjectClass: organization\no: acme\n\ndn: cn=jdoe,o=acme\nobjectClass: person\n"
                     "cn: jdoe\nsn: Doe\n" +
                         lines +
                         "userPassword: {CRYPT}$y$j75$k2XAnEHBqQ1Ct2aMXFKNa/"
                         "$Tg4ZRR7tz/WRlmYbADZh9OJYakPewgSPQqW55EXAJ14\n\n");
        configure("[[tree]]\nname = \"ACME\"\nldif = \"acme.ldif\"\n" + more);
    }
    uint32_t logIn(const char *password = "secret") {
        if (here == 0) here = context();
        return login(here, "jdoe.acme", password);
    }
    ZKDSPasswordInfo info() {
        ZKDSPasswordInfo found = {-7, -7, -7};
        EXPECT_EQ(ZKDSGetPasswordInfo(here, &found), ZK_OK);
        return found;
    }
    static std::string inHours(int hours) {
        const time_t then = time(nullptr) + hours * 3600;
        char text[32];
        tm parts = {};
        strftime(text, sizeof text, "%Y%m%d%H%M%SZ", gmtime_r(&then, &parts));
        return "qrtPasswordExpirationTime: " + std::string(text) + "\n";
    }
    uint32_t here = 0;
};

const std::string long_ago = "qrtPasswordExpirationTime: 20200101000000Z\n";

} // namespace

TEST_F(PasswordState, ThatItExpiresIsSaidFromFourteenDaysBeforeOn) {
    on(inHours(14 * 24 - 1));
    ASSERT_EQ(logIn(), ZK_OK) << last_error();
    EXPECT_GT(info().expiresIn, 13 * 86400);
    EXPECT_LE(info().expiresIn, 14 * 86400);
    EXPECT_EQ(info().graceLogins, -1);
    EXPECT_EQ(info().changeable, 0);
}

TEST_F(PasswordState, ThatItExpiresLaterIsNotSaid) {
    on(inHours(15 * 24));
    ASSERT_EQ(logIn(), ZK_OK) << last_error();
    EXPECT_EQ(info().expiresIn, -1);
}

TEST_F(PasswordState, TheTreeSaysFromWhichDayOnItIsSaid) {
    on(inHours(15 * 24), "warn_days = 16\n");
    ASSERT_EQ(logIn(), ZK_OK) << last_error();
    EXPECT_GT(info().expiresIn, 14 * 86400);
}

TEST_F(PasswordState, NoDaysMeanNoWarning) {
    on(inHours(1), "warn_days = 0\n");
    ASSERT_EQ(logIn(), ZK_OK) << last_error();
    EXPECT_EQ(info().expiresIn, -1);
}

TEST_F(PasswordState, OneThatHasExpiredLetsInForTheLoginsThatAreLeft) {
    on(long_ago + "qrtLoginGraceRemaining: 3\n");
    ASSERT_EQ(logIn(), ZK_OK) << last_error();
    EXPECT_EQ(info().expiresIn, 0);
    EXPECT_EQ(info().graceLogins, 3);
}

TEST_F(PasswordState, OneThatHasExpiredLetsInWhereLoginsAreNotCounted) {
    on(long_ago, "warn_days = 0\n");
    ASSERT_EQ(logIn(), ZK_OK) << last_error();
    EXPECT_EQ(info().expiresIn, 0);
    EXPECT_EQ(info().graceLogins, -1);
}

TEST_F(PasswordState, OneThatHasExpiredLetsNobodyInWhenNoLoginIsLeft) {
    on(long_ago + "qrtLoginGraceRemaining: 0\n");
    EXPECT_EQ(logIn("wrong"), ZKE_WRONG_PASSWORD) << "only who knows the password learns that";
    EXPECT_EQ(logIn(), ZKE_PASSWORD_EXPIRED);
    EXPECT_EQ(last_error(), "the password of jdoe.acme has expired: ask the administrator for a new one");
    EXPECT_EQ(ZKDSCanDSAuthenticate(here), 0u);
}

TEST_F(PasswordState, AStateOfTheAccountComesFirst) {
    on(long_ago + "qrtLoginGraceRemaining: 0\nqrtLoginDisabled: TRUE\n");
    EXPECT_EQ(logIn(), ZKE_ACCOUNT_LOCKED);
    EXPECT_EQ(last_error(), "CN=jdoe.O=acme is disabled");
}

TEST_F(PasswordState, IsKnownOnlyOfWhoIsLoggedIn) {
    on("");
    ZKDSPasswordInfo found = {-7, -7, -7};
    here = context();
    EXPECT_EQ(ZKDSGetPasswordInfo(here, &found), ZKE_NOT_LOGGED_IN);
    EXPECT_EQ(found.expiresIn, -7);
}

TEST_F(PasswordState, APasswordInAFileIsItsAdministratorsToChange) {
    on("");
    ASSERT_EQ(logIn(), ZK_OK) << last_error();
    EXPECT_EQ(ZKDSChangePassword(here, "jdoe.acme", "secret", "new"), ZKE_NO_ACCESS);
    EXPECT_EQ(last_error(), "the passwords of this tree are in a file, which only its administrator changes");
    EXPECT_EQ(ZKDSChangePassword(here, "nobody.acme", "secret", "new"), ZKE_NO_SUCH_ENTRY);
    EXPECT_EQ(ZKDSChangePassword(here, "[Root]", "secret", "new"), ZKE_NO_SUCH_ENTRY);
}

TEST_F(PasswordState, TheDaysAreANumberInBounds) {
    for (const std::string value : {"-1", "3651", "\"14\"", "nan"}) {
        on("", "warn_days = " + value + "\n");
        EXPECT_EQ(ZKCallsInit(nullptr, nullptr), ZKE_BAD_DIRECTORY_DATA) << value;
        EXPECT_THAT(last_error(), testing::EndsWith(": warn_days must be a number of days from 0 to 3650")) << value;
    }
}
