// Values that were made to be more than values, on both stores alike: what a script does with them.
#include <filesystem>

#include "tests/ldap/ldap_site.h"

namespace {

const char *const with_any_text = "any_text = true\n";
const char *const with_any_path = "any_path = true\n";

class HostileValues : public LdapSite {
  protected:
    HostileValues() { keptHome = home.path(); }

    // The sample with these values of jdoe's, and a map of a hostile path; jdoe's script is the only one.
    static std::string tree(const std::string &values, const std::string &script) {
        std::string ldif = sample_ldif();
        auto take = [&](const std::string &start) {
            size_t at = ldif.find(start, ldif.find("dn: cn=jdoe,ou=sales,o=acme"));
            ldif.erase(at, ldif.find('\n', at) + 1 - at);
            return at;
        };
        take("displayName:");
        take("qrtHomeDirectory:");
        take("qrtProfile:");
        ldif.insert(take("qrtLoginScript:"), values + "qrtLoginScript: " + script + "\n");
        return ldif +
               "\n\ndn: cn=odd,o=acme\nobjectClass: top\nobjectClass: qrtDirectoryMap\ncn: odd\n"
               "qrtPath: 0#cn=SRV1_USERS,o=acme#a;G:=SRV1/SYS:\n";
    }

    // The login's output, the drives and the status with the tree on a server, and with the same one in a file.
    std::vector<std::string> onBoth(const std::string &values, const std::string &script,
                                    const std::string &options = "") {
        std::string ldif = tree(values, script);
        std::vector<std::string> seen;
        {
            Slapd::Setup setup;
            setup.ldif = ldif;
            Slapd server(setup);
            onServers({server.uri()}, options);
            seen.push_back(outcome());
        }
        const std::string examples = "//" SOURCE_DIR "/examples/acme/";
        for (size_t at; (at = ldif.find(examples)) != std::string::npos;) ldif.erase(at, examples.size());
        home.write("tree.ldif", ldif);
        std::filesystem::copy(SOURCE_DIR "/examples/acme/scripts", home.path("scripts"),
                              std::filesystem::copy_options::recursive | std::filesystem::copy_options::skip_existing);
        home.write("client.toml", "[[tree]]\nname = \"ACME\"\nldif = \"tree.ldif\"\n" + defaultServer + options);
        environment["ZKCLIENT_CONF"] = home.path("client.toml");
        seen.push_back(outcome());
        return seen;
    }

  private:
    std::string outcome() {
        Outcome run = login();
        std::string seen = run.out;
        std::vector<std::string> drives;
        for (const auto &file : std::filesystem::directory_iterator(home.path())) {
            if (!file.is_symlink()) continue;
            drives.push_back(file.path().filename().string() + "=" +
                             std::filesystem::read_symlink(file.path()).string());
            std::filesystem::remove(file);
        }
        std::sort(drives.begin(), drives.end());
        for (const std::string &drive : drives) seen += drive + "\n";
        return seen + run.err;
    }
};

} // namespace

TEST_F(HostileValues, APathMapsNoSecondDrive) {
    for (const std::string &seen :
         onBoth("qrtHomeDirectory: 0#cn=SRV1_USERS,o=acme#a;G:=SRV1/SYS:\n", "MAP H:=%HOME_DIRECTORY"))
        EXPECT_THAT(seen, testing::Not(testing::HasSubstr("G="))) << seen;
    for (const std::string &seen :
         onBoth("qrtHomeDirectory: 0#cn=SRV1_USERS,o=acme#a;G:=SRV1/SYS:\n", "MAP H:=%HOME_DIRECTORY", with_any_path))
        EXPECT_THAT(seen, testing::HasSubstr("G=")) << "the attack that the option is against: " << seen;
}

TEST_F(HostileValues, ADirectoryMapIsOneDriveWhateverItsPath) {
    for (const std::string &seen : onBoth("", "MAP H:=ODD.ACME:")) {
        EXPECT_THAT(seen, testing::HasSubstr("H="));
        EXPECT_THAT(seen, testing::Not(testing::HasSubstr("\nG="))) << seen;
    }
}

TEST_F(HostileValues, ATextMovesNoCursor) {
    const std::string value = "displayName:: SmFuZRtbMkogRG9l\n"; // Jane ESC [2J Doe
    for (const std::string &seen : onBoth(value, "WRITE \"said: %FULL_NAME.\"")) {
        EXPECT_THAT(seen, testing::HasSubstr("said: ")) << seen;
        EXPECT_THAT(seen, testing::Not(testing::HasSubstr("\x1B")));
    }
    for (const std::string &seen : onBoth(value, "WRITE \"said: %FULL_NAME.\"", with_any_text))
        EXPECT_THAT(seen, testing::HasSubstr("said: Jane\x1B[2J Doe."));
}
