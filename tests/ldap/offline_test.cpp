// The copy of the last login, for the day on which no server answers.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <filesystem>

#include "tests/ldap/ldap_site.h"

namespace {

class OfflineLdap : public LdapSite {
  protected:
    OfflineLdap() { keptHome = home.path(); }
    // A second login would find the drives of the first one.
    void removeDrives() {
        for (const auto &file : std::filesystem::directory_iterator(home.path()))
            if (file.is_symlink()) std::filesystem::remove(file);
    }
    std::vector<std::string> copies() {
        std::vector<std::string> files;
        for (const auto &file : std::filesystem::directory_iterator(home.path(".cache/brasca-zk")))
            files.push_back(file.path());
        return files;
    }
};

} // namespace

TEST_F(OfflineLdap, ServesTheSameLoginAndSaysSo) {
    Slapd server(sample());
    onServers({server.uri()}, "offline = true\n");
    Outcome before = login();
    ASSERT_EQ(before.status, 0) << before.err;
    server.kill();
    removeDrives();
    Outcome after = login();
    EXPECT_EQ(after.out, before.out);
    EXPECT_THAT(after.err,
                ::testing::MatchesRegex("No server of tree ACME answers: using the copy made [0-9]+ seconds? ago.\n"));
    EXPECT_EQ(after.status, 0);
    EXPECT_EQ(login("jdoe.sales.acme", "wrong").status, 2);
    EXPECT_EQ(login("mlee.emea.sales.acme", "moonlight").status, 3); // never logged in here
}

// The copy names its objects by attributes that the tree may have given for something else.
TEST_F(OfflineLdap, ServesALoginWhoseNamesAreKeptInAnotherAttribute) {
    Slapd server(sample());
    onServers({server.uri()}, "offline = true\nattributes = { cn = \"title\", ou = \"description\" }\n");
    Outcome before = login();
    ASSERT_EQ(before.status, 0) << before.err;
    server.kill();
    removeDrives();
    Outcome after = login();
    EXPECT_EQ(after.out, before.out);
    EXPECT_EQ(after.status, 0) << after.err;
}

TEST_F(OfflineLdap, KeepsNoPasswordAndShowsItsCopyToNobodyElse) {
    Slapd server(sample());
    onServers({server.uri()}, "offline = true\n");
    ASSERT_EQ(login().status, 0);
    EXPECT_EQ(copies().size(), 2u); // of the login and of the site
    for (const std::string &file : copies()) {
        struct stat found = {};
        ASSERT_EQ(stat(file.c_str(), &found), 0);
        EXPECT_EQ(found.st_mode & 07777, 0600u) << file;
        std::string text = file_text(file);
        EXPECT_EQ(text.find("sunflower"), std::string::npos);
        EXPECT_EQ(text.find("c3VuZmxvd2Vy"), std::string::npos) << "the password in base64";
    }
}

TEST_F(OfflineLdap, IsThereOnlyWhereTheConfigurationAsksForIt) {
    Slapd server(sample());
    onServers({server.uri()});
    ASSERT_EQ(login().status, 0);
    EXPECT_EQ(copies().size(), 1u); // servers, volumes and maps alone
    server.kill();
    EXPECT_EQ(login().status, 3);
}

TEST_F(OfflineLdap, ACopyThatOthersCouldHaveWrittenIsNotTaken) {
    Slapd server(sample());
    onServers({server.uri()}, "offline = true\n");
    ASSERT_EQ(login().status, 0);
    server.kill();
    for (const std::string &file : copies()) ASSERT_EQ(chmod(file.c_str(), 0620), 0);
    EXPECT_EQ(login().status, 3);
}
