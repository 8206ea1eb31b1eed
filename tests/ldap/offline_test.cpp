// The copy of the last login, for the day on which no server answers.
#include <sys/stat.h>
#include <filesystem>
#include <regex>

#include "tests/ldap/ldap_site.h"
#include "tests/support/certificates.h"

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
    // Makes the copies look as if they had been made at another time.
    void setAge(long days) {
        for (const std::string &file : copies()) {
            std::string text = file_text(file);
            const std::string heading = "# zkclient copy 1 ";
            size_t end = text.find(' ', heading.size());
            home.write(".cache/brasca-zk/" + file.substr(file.rfind('/') + 1),
                       heading + std::to_string(time(nullptr) - days * 86400) + text.substr(end));
        }
    }
    // Writes something else where a copy has the hash of a password.
    void spoilHashes() {
        for (const std::string &file : copies())
            home.write(".cache/brasca-zk/" + file.substr(file.rfind('/') + 1),
                       std::regex_replace(file_text(file), std::regex("userPassword:: .*"), "userPassword: sunflower"));
    }
    // The sample with jdoe changed, on the same port as before.
    static Slapd::Setup changed(const Slapd &before, const std::string &from, const std::string &to) {
        Slapd::Setup setup = sample();
        setup.port = before.port();
        size_t jdoe = setup.ldif.find("dn: cn=jdoe,ou=sales,o=acme");
        size_t at = setup.ldif.find(from, jdoe);
        EXPECT_NE(at, std::string::npos);
        setup.ldif.replace(at, from.size(), to);
        return setup;
    }
    // The sample with two users whose names differ in their types alone.
    static Slapd::Setup withTwoOfOneName() {
        Slapd::Setup setup = sample();
        const auto add = [&setup](const std::string &type, const std::string &password) {
            setup.ldif += "\ndn: " + type + "=max,ou=sales,o=acme\nobjectClass: inetOrgPerson\nobjectClass: qrtUser\n" +
                          "cn: max\nuid: max\nsn: Max\ndisplayName: Max of " + type + "\nuserPassword: " + password +
                          "\n";
        };
        add("cn", "tulip");
        add("uid", "daisy");
        return setup;
    }
    // Who a login as one of them reads the script as; the exit status where it fails.
    std::string nameOf(const std::string &user, const std::string &password) {
        removeDrives();
        home.write("who.qrt", "WRITE \"I am %FULL_NAME\"\n");
        const Outcome outcome =
            loginWith({"--password-fd", "3", "--login-script", home.path("who.qrt"), user}, password + "\n");
        const size_t at = outcome.out.find("I am ");
        return at == std::string::npos ? std::to_string(outcome.status)
                                       : outcome.out.substr(at + 5, outcome.out.find('\n', at) - at - 5);
    }
    // A login that is kept; its server is gone, whose URI is returned.
    std::string keepLogin() {
        Slapd server(sample());
        onServers({server.uri()}, "offline = true\n");
        EXPECT_EQ(login().status, 0);
        return server.uri();
    }
    // A login that is kept, then one at a changed server, then one without any.
    Outcome afterChange(const std::string &from, const std::string &to, int refusal) {
        Slapd server(sample());
        onServers({server.uri()}, "offline = true\n");
        EXPECT_EQ(login().status, 0);
        server.kill();
        removeDrives();
        {
            Slapd later(changed(server, from, to));
            Outcome refused = login();
            EXPECT_EQ(refused.status, refusal) << refused.err;
        }
        return login();
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
                testing::MatchesRegex("No server of tree ACME answers: using the copy made [0-9]+ seconds? ago.\n"));
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

// Before the last word of its first line stands when the copy was made.
TEST_F(OfflineLdap, SaysHowOldItsCopyIs) {
    keepLogin();
    const std::vector<std::string> files = copies();
    const struct {
        time_t seconds;
        const char *age; // a little later
    } rows[] = {{-100, "0 seconds"}, {50, "5[0-9] seconds"}, {60, "1 minute"}, {150, "2 minutes"},
                {3600, "1 hour"},    {7300, "2 hours"},      {86400, "1 day"}, {172900, "2 days"}};
    for (const auto &row : rows) {
        for (const std::string &file : files) {
            const std::string text = file_text(file);
            const size_t owner = text.rfind(' ', text.find('\n'));
            const size_t made = text.rfind(' ', owner - 1) + 1;
            const std::string changed =
                text.substr(0, made) + std::to_string(time(nullptr) - row.seconds) + text.substr(owner);
            home.write(std::filesystem::relative(file, home.path()), changed);
        }
        EXPECT_THAT(login().err, testing::ContainsRegex(std::string("using the copy made ") + row.age + " ago"));
    }
}

TEST_F(OfflineLdap, KeepsNoPasswordAndShowsItsCopyToNobodyElse) {
    Slapd server(sample());
    onServers({server.uri()}, "offline = true\n");
    ASSERT_EQ(login().status, 0);
    EXPECT_EQ(copies().size(), 3u); // of the login, of whom its name means, and of the site
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
    keepLogin();
    for (const std::string &file : copies()) ASSERT_EQ(chmod(file.c_str(), 0620), 0);
    EXPECT_EQ(login().status, 3);
}

TEST_F(OfflineLdap, ALoginThatWasSeenRefusedIsNotRevived) {
    const char *const jdoes_title = "title: Account manager\n";
    const std::pair<const char *, const char *> changes[] = {
        {jdoes_title, "qrtLocked: TRUE\n"},
        {jdoes_title, "qrtLoginDisabled: TRUE\n"},
        {jdoes_title, "qrtLoginExpirationTime: 20200101000000Z\n"},
        {"kVnXu3bZ9q2mT1aL8cRw0.", "kVnXu3bZ9q2mT1aL8cRw1."}, // the password
    };
    for (const auto &[from, to] : changes) {
        SCOPED_TRACE(to);
        std::filesystem::remove_all(home.path(".cache"));
        removeDrives();
        EXPECT_EQ(afterChange(from, to, 2).status, 3);
    }
}

TEST_F(OfflineLdap, AnAccountThatWasSeenGoneIsNotRevived) {
    Slapd server(sample());
    onServers({server.uri()}, "offline = true\n");
    ASSERT_EQ(login("mlee.emea.sales.acme", "moonlight").status, 0);
    server.kill();
    removeDrives();
    {
        Slapd::Setup setup = sample();
        setup.port = server.port();
        size_t start = setup.ldif.find("dn: cn=mlee,ou=emea");
        setup.ldif.erase(start, setup.ldif.find("\n\n", start) + 2 - start);
        Slapd later(setup);
        EXPECT_NE(login("mlee.emea.sales.acme", "moonlight").status, 0);
    }
    EXPECT_EQ(login("mlee.emea.sales.acme", "moonlight").status, 3);
}

TEST_F(OfflineLdap, UsersOfOneNameHaveACopyEach) {
    Slapd server(withTwoOfOneName());
    onServers({server.uri()}, "offline = true\n");
    ASSERT_EQ(nameOf("cn=max.sales.acme", "tulip"), "Max of cn");
    ASSERT_EQ(nameOf("uid=max.sales.acme", "daisy"), "Max of uid");
    server.kill();
    EXPECT_EQ(nameOf("cn=max.sales.acme", "tulip"), "Max of cn");
    EXPECT_EQ(nameOf("uid=max.sales.acme", "daisy"), "Max of uid");
    EXPECT_EQ(nameOf("cn=max.sales.acme", "daisy"), "2");
    EXPECT_EQ(nameOf("uid=max.sales.acme", "tulip"), "2");
}

TEST_F(OfflineLdap, ANameWithoutTypesMeansWhomItMeantAtTheServer) {
    Slapd server(withTwoOfOneName());
    onServers({server.uri()}, "offline = true\n");
    ASSERT_EQ(nameOf("max.sales.acme", "tulip"), "Max of cn");
    ASSERT_EQ(nameOf("uid=max.sales.acme", "daisy"), "Max of uid");
    server.kill();
    EXPECT_EQ(nameOf("max.sales.acme", "tulip"), "Max of cn");
    EXPECT_EQ(nameOf("max.sales.acme", "daisy"), "2");
}

TEST_F(OfflineLdap, ANameThatWasTypedWithTypesServesWithoutThem) {
    Slapd server(withTwoOfOneName());
    onServers({server.uri()}, "offline = true\n");
    ASSERT_EQ(nameOf("uid=max.sales.acme", "daisy"), "Max of uid");
    server.kill();
    EXPECT_EQ(nameOf("max.sales.acme", "daisy"), "Max of uid");
}

TEST_F(OfflineLdap, ARefusalTakesAwayNoCopyOfAnotherUserOfTheName) {
    Slapd server(withTwoOfOneName());
    onServers({server.uri()}, "offline = true\n");
    ASSERT_EQ(nameOf("cn=max.sales.acme", "tulip"), "Max of cn");
    server.kill();
    {
        Slapd::Setup setup = withTwoOfOneName();
        setup.port = server.port();
        setup.ldif += "qrtLocked: TRUE\n"; // of the last one
        Slapd later(setup);
        ASSERT_EQ(nameOf("uid=max.sales.acme", "daisy"), "2");
    }
    EXPECT_EQ(nameOf("cn=max.sales.acme", "tulip"), "Max of cn");
}

TEST_F(OfflineLdap, AWrongPasswordTakesNoCopyAway) {
    Slapd server(sample());
    onServers({server.uri()}, "offline = true\n");
    ASSERT_EQ(login().status, 0);
    EXPECT_EQ(login("jdoe.sales.acme", "wrong").status, 2);
    server.kill();
    removeDrives();
    EXPECT_EQ(login().status, 0);
}

TEST_F(OfflineLdap, AWrongPasswordIsWrongWhateverTheCopyContains) {
    Slapd server(sample());
    onServers({server.uri()}, "offline = true\n");
    ASSERT_EQ(login().status, 0);
    spoilHashes();
    EXPECT_EQ(login("jdoe.sales.acme", "wrong").status, 2);
    server.kill();
    removeDrives();
    EXPECT_EQ(login().status, 3) << "the password in it is no hash";
}

TEST_F(OfflineLdap, ACopyServesForSoManyDays) {
    const std::string uri = keepLogin();
    removeDrives();
    setAge(29);
    EXPECT_EQ(login().status, 0);
    removeDrives();
    setAge(31);
    EXPECT_EQ(login().status, 3);
    setAge(-2); // the clock was set back
    EXPECT_EQ(login().status, 3);
    onServers({uri}, "offline = true\noffline_days = 60\n");
    setAge(31);
    EXPECT_EQ(login().status, 0);
}

TEST_F(OfflineLdap, ACertificateThatIsRefusedNeverLeadsToTheCopy) {
    Certificates certificates;
    Slapd::Setup setup = secured(certificates);
    setup.securePort = free_port();
    const std::string silent = "ldaps://127.0.0.1:" + std::to_string(free_port());
    const std::string options = "offline = true\nca_file = \"" + certificates.path("ca.pem") + "\"\n";
    std::vector<std::string> servers = {"ldaps://127.0.0.1:" + std::to_string(setup.securePort), silent};
    {
        Slapd server(setup);
        onStrictServers(servers, options);
        Outcome first = login();
        ASSERT_EQ(first.status, 0) << first.err;
        removeDrives();
    }
    EXPECT_EQ(login().status, 0) << "without a server the copy serves";
    removeDrives();
    Certificates others;
    setup.global = others.serverLines();
    Slapd impostor(setup);
    Outcome refused = login();
    EXPECT_EQ(refused.status, 3);
    EXPECT_EQ(refused.out, "");
    EXPECT_THAT(refused.err, testing::HasSubstr("cannot verify the server's certificate"));
}
