// The module that talks to the servers: where it is loaded from, and who does without it. The programs run in a copy of
// their folder.
#include <gmock/gmock.h>
#include <filesystem>

#include "tests/ldap/ldap_site.h"

namespace {

namespace fs = std::filesystem;

const char module_file[] = "libzkclient/libzkclient-ldap.so";

class LdapModule : public LdapSite {
  protected:
    LdapModule() {
        for (const char *name : {"qrtlogin", "map", "libqrtscript.so.1", "libzkclient.so.1", "libtreelogin.so.1"})
            fs::copy_file(built(name), programs.path(name));
    }

    static fs::path built(const std::string &name) { return fs::path(QRTLOGIN_PATH).parent_path() / name; }
    void addModule() const {
        fs::create_directory(fs::path(modulePath()).parent_path());
        fs::copy_file(built(module_file), modulePath());
    }
    std::string modulePath() const { return programs.path(module_file); }
    // What is written when there is none that can be loaded.
    static std::string refusal(const std::string &path, const std::string &reason) {
        return "cannot load the LDAP module: install libzkclient-ldap (" + path + ": " + reason + ")\n";
    }
    static std::string missing(const std::string &path) {
        return refusal(path, "cannot open shared object file: No such file or directory");
    }

    Outcome run(const Words &words) {
        environment["HOME"] = home.path();
        return process_run(words, environment, "sunflower\n");
    }
    Outcome loginThere(const std::string &script = "") {
        home.write("own.qrt", script);
        return run({programs.path("qrtlogin"), "--password-fd=3", "--login-script=" + home.path("own.qrt"),
                    "jdoe.sales.acme"});
    }
    // The sample's tree in its file, and further trees.
    void onTheEmbeddedTreeAnd(const std::string &further) {
        configure("[[tree]]\nname = \"LOCAL\"\nldif = \"" SOURCE_DIR "/examples/acme/acme.ldif\"\n" + further);
        environment["ZKCLIENT_CONF"] = folder.path("client.toml");
    }
    void onNoServer() { onServers({"ldap://127.0.0.1:1"}); }

    TempFolder programs;
};

} // namespace

TEST_F(LdapModule, IsNamedWhenItIsMissing) {
    onNoServer();
    const Outcome outcome = loginThere();
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, ::testing::EndsWith(missing(modulePath())));
    addModule();
    EXPECT_THAT(loginThere().err, ::testing::HasSubstr("ldap://127.0.0.1:1: "));
}

TEST_F(LdapModule, IsNamedWhenItCannotBeLoaded) {
    onNoServer();
    programs.write(module_file, "of another kind");
    EXPECT_THAT(loginThere().err, ::testing::EndsWith(refusal(modulePath(), "file too short")));
    fs::remove(modulePath());
    fs::copy_file(built("libtreelogin.so.1"), modulePath());
    EXPECT_THAT(loginThere().err, ::testing::EndsWith("undefined symbol: zkclient_ldap_store)\n"));
}

// Neither where the environment says nor in the working folder.
TEST_F(LdapModule, IsLookedForInNoOtherFolder) {
    onNoServer();
    TempFolder elsewhere;
    fs::create_directory(elsewhere.path("libzkclient"));
    fs::copy_file(built(module_file), elsewhere.path(module_file));
    environment["LD_LIBRARY_PATH"] = elsewhere.path() + ":" + elsewhere.path("libzkclient");
    const Words login = {"/bin/sh", "-c", "cd \"$1\" && exec \"$0/qrtlogin\" --password-fd=3 jdoe.sales.acme",
                         programs.path(), elsewhere.path()};
    EXPECT_THAT(run(login).err, ::testing::EndsWith(missing(modulePath())));

    // A library that was found from the working folder may be far from it by now.
    addModule();
    environment["LD_LIBRARY_PATH"] = ".";
    const Words relative = {"/bin/sh", "-c", "cd \"$0\" && exec ./qrtlogin --password-fd=3 jdoe.sales.acme",
                            programs.path()};
    EXPECT_THAT(run(relative).err,
                ::testing::EndsWith(refusal("./" + std::string(module_file), "not an absolute path")));
}

TEST_F(LdapModule, IsNotNeededForTheTreeInAFile) {
    onTheEmbeddedTreeAnd("");
    const std::string script = "WRITE \"%FULL_NAME\"\n";
    const Outcome outcome = loginThere(script);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.out, ::testing::EndsWith("Jane Doe\n"));

    // Another tree's module is missed only there.
    onTheEmbeddedTreeAnd("[[tree]]\nname = \"ACME\"\nuris = [\"ldap://127.0.0.1:1\"]\n");
    const Outcome other = loginThere(script + "TREE ACME/.admin.acme;starfish\nWRITE \"on\"\n");
    EXPECT_THAT(other.out, ::testing::HasSubstr("Jane Doe\nCould not Login into tree: ACME"));
}

// What its libraries read of the environment when they are loaded is not a script's.
TEST_F(LdapModule, IsLoadedBeforeTheScriptsOfALoginToAnotherTree) {
    Slapd server(sample());
    onTheEmbeddedTreeAnd("[[tree]]\nname = \"ACME\"\nallow_cleartext_loopback = true\nuris = [\"" + server.uri() +
                         "\"]\n");
    addModule();
    const Outcome outcome =
        loginThere("#rm " + modulePath() + "\nTREE ACME/.admin.acme;starfish\nWRITE \"%FULL_NAME\"\n");
    EXPECT_FALSE(fs::exists(modulePath()));
    EXPECT_THAT(outcome.out, ::testing::EndsWith("Pat Ashby\n")) << outcome.err;
}

// SASL would load each mechanism that is installed, and Kerberos with them. A caller that uses SASL itself has them.
TEST_F(LdapModule, LoadsNoMechanismsOfSaslForPasswords) {
    Slapd server(sample());
    addModule();
    environment["LD_DEBUG"] = "files";
    const auto loaded = [this, &server](const std::string &further) {
        onServers({server.uri()}, further);
        return loginThere().err;
    };
    EXPECT_THAT(loaded(""), ::testing::AllOf(::testing::HasSubstr("/libsasl2.so.2"),
                                             ::testing::Not(::testing::HasSubstr("/sasl2/"))));
    const std::string tickets = "[[tree]]\nname = \"OTHER\"\nuris = [\"ldap://127.0.0.1:1\"]\nsasl_gssapi = true\n";
    EXPECT_THAT(loaded(tickets), ::testing::HasSubstr("/sasl2/"));
    environment["LD_PRELOAD"] = "libsasl2.so.2";
    EXPECT_THAT(loaded(""), ::testing::HasSubstr("/sasl2/"));
}

// Which the login has just written; each drive of its script is a run of map.
TEST_F(LdapModule, MapNeedsNoneWhileTheCopyOfTheSiteIsFresh) {
    Slapd server(sample());
    onServers({server.uri()}, "offline = true\n");
    addModule();
    ASSERT_EQ(loginThere().status, 0);
    fs::remove(modulePath());
    const Words map = {programs.path("map"), "G:=SRV1/SYS:public"};
    const Outcome outcome = run(map);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out, "Drive G: = SRV1/SYS:public\n");
    fs::remove_all(home.path(".cache"));
    EXPECT_THAT(run(map).err, ::testing::HasSubstr("cannot load the LDAP module"));
}
