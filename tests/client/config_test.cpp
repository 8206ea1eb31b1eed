#include "platform/client/core/config.h"

#include "tests/support/client_fixture.h"

namespace {

using Configuration = ClientTest;

constexpr const char *acme_tree = "[[tree]]\nname = \"ACME\"\nldif = \"acme.ldif\"\n";

std::string servers(const std::string &uris, const std::string &more = "") {
    return "[[tree]]\nname = \"A\"\nuris = " + uris + "\n" + more + "\n";
}

std::string volume(const std::string &lines) {
    return "[[volume]]\nserver = \"FS1\"\nname = \"HOME\"\n" + lines + "\n";
}

std::string option(const std::string &lines) {
    return servers("[\"ldap://a\"]", lines);
}

std::string domain(const std::string &name, const std::string &more = "") {
    return "[[tree]]\nname = \"A\"\nservers = \"" + name + "\"\n" + more + "\n";
}

TEST_F(Configuration, ADomainHasTheFormOfOne) {
    std::string longest =
        std::string(63, 'a') + "." + std::string(63, 'b') + "." + std::string(63, 'c') + "." + std::string(40, 'd');
    const std::vector<std::string> good = {"school.example", "lan",
                                           "a-1.B2",         "dc._msdcs.school.example",
                                           longest,          "Berlin._sites.dc._msdcs.school.example"};
    for (const std::string &name : good) {
        configure(domain("srv:" + name));
        const Config config = config_load(config_path());
        EXPECT_EQ(name, config.trees.front().ldap.srvName);
        EXPECT_TRUE(config.trees.front().ldap.startTls);
        EXPECT_TRUE(config.trees.front().ldap.hasServers());
    }
    const std::vector<std::string> bad = {
        "school.example", "srv:",      "SRV:a",     "srv:.a",     "srv:a.",          "srv:a..b",
        "srv:a b",        "srv:a/b",   "srv:a:389", "srv:_a",     "srv:a._tcp",      "srv:a._",
        "srv:_.a",        "srv:a_b.c", "srv://a",   "srv:\u00E4", "srv:e" + longest, "srv:" + std::string(64, 'a')};
    for (const std::string &text : bad) {
        configure(domain(text));
        EXPECT_EQ(ZKE_BAD_DIRECTORY_DATA, ZKCallsInit(nullptr, nullptr)) << text;
        EXPECT_EQ(folder.path("client.toml") + ":3:11: servers must be \"srv:\" and the name of a domain", last_error())
            << text;
    }
}

TEST_F(Configuration, NoFileMeansNoTreesAndASentence) {
    std::string file = folder.path("none.toml");
    setenv("ZKCLIENT_CONF", file.c_str(), 1);
    EXPECT_EQ(ZK_OK, ZKCallsInit(nullptr, nullptr));
    EXPECT_EQ(file + ": cannot open the configuration file: No such file or directory", last_error());
    open_server("ACME");
    EXPECT_EQ(ZKE_SERVER_NOT_FOUND, lastCode);
    uint32_t handle = context();
    char name[ZK_MAX_NAME + 1] = "?";
    EXPECT_EQ(ZKE_TREE_NOT_FOUND, ZKDSGetContext(handle, DCK_TREE_NAME, name));
    EXPECT_EQ(ZKE_TREE_NOT_FOUND, login(handle, "jdoe", "secret"));
    EXPECT_EQ(0u, ZKDSCanDSAuthenticate(handle));
    EXPECT_EQ("", who_am_i(handle));
    EXPECT_EQ(ZKE_TREE_NOT_FOUND, lastCode);
}

TEST_F(Configuration, AFileWithoutTreesIsNamed) {
    configure("# nothing yet\n");
    EXPECT_EQ(ZK_OK, ZKCallsInit(nullptr, nullptr));
    EXPECT_EQ(folder.path("client.toml") + " has no [[tree]]", last_error());
    configure(std::string("trace = false\n") + acme_tree);
    EXPECT_EQ(ZK_OK, ZKCallsInit(nullptr, nullptr));
}

TEST_F(Configuration, AFileThatComesLaterIsReadByTheNextStart) {
    setenv("ZKCLIENT_CONF", folder.path("client.toml").c_str(), 1);
    EXPECT_EQ(ZK_OK, ZKCallsInit(nullptr, nullptr));
    folder.write("acme.ldif", "dn: o=acme\nobjectClass: organization\no: acme\n");
    configure(acme_tree);
    EXPECT_EQ(ZK_OK, ZKCLXInit(nullptr, nullptr));
    EXPECT_EQ("acme", canonical(context(), "acme"));
    EXPECT_EQ(ZK_OK, lastCode);
}

TEST_F(Configuration, ErrorsNameFileLineAndColumn) {
    std::string tree = acme_tree;
    struct {
        std::string toml, refusal;
    } cases[] = {
        {"default_tree = \n", "1:16: "},
        // Which the parser takes for impossible, each in its way.
        {"[[= \"A\"\n", "1:3: "},
        {"[[tree]]\nn.\uFCFFf\n", "2:3: "},
        {"colour = \"red\"\n", "1:1: unknown key colour"},
        {tree + "colour = 1\n", "4:1: unknown key colour"},
        {tree + "flat_group = true\n", "4:1: unknown key flat_group; did you mean flat_groups?"},
        {tree + "\n[automuont]\n", "5:2: unknown key automuont; did you mean automount?"},
        {"default_tree = 5\n" + tree, "1:16: default_tree must be a string"},
        {"default_tree = \"X\"\n" + tree, "1:16: unknown tree X"},
        {"[tree]\nname = \"A\"\n", "1:1: tree must be written as [[tree]]"},
        {"[[tree]]\nldif = \"a\"\n", "1:1: name is required and must have 1 to 32 bytes"},
        {"[[tree]]\nname = \"A\"\n", "1:1: tree A has neither ldif nor uris"},
        {"[[tree]]\nname = \"A\"\nldif = \"\"\n", "3:8: ldif is required and must have 1 to 4096 bytes"},
        {option("search_base = \"o=acme\"\nbase = \"o=b\""), "4:15: search_base must be base or below it"},
        {"[[tree]]\nname = \"" + std::string(33, 'A') + "\"\n", "2:8: name is required and must have 1 to 32 bytes"},
        {"[[tree]]\nname = \"A_\"\nldif = \"a\"\n", "2:8: a tree name must not end in \"_\""},
        {tree + "[[tree]]\nname = \"acme\"\nldif = \"a\"\n", "5:8: tree acme is already defined"},
        {tree + "base = \"acme\"\n", "4:8: malformed DN"},
        {servers("[\"ldaps://a\"]", "referrals = true"),
         "4:13: referrals needs ca_file: only the site's own authority can identify its servers"},
        {servers("[\"ldaps://a\"]", "referral_servers = [\"ldapi://%2Frun\"]"),
         "4:20: ldapi://%2Frun is not a URI of the form ldap://host:port or ldaps://host:port"},
        {tree + "servers = \"srv:a.example\"\n", "4:11: a tree cannot have both servers and ldif or uris"},
        {servers("[\"ldaps://a\"]", "servers = \"srv:a.example\""),
         "4:11: a tree cannot have both servers and ldif or uris"},
        {domain("srv:a.example", "start_tls = false"), "4:13: servers found by DNS are asked over TLS only"},
        {domain("srv:a.example", "sasl_external = true"),
         "4:17: sasl_external requires an ldapi:// URI, not srv:a.example"},
        {domain("srv:a.example", "sasl_gssapi = true\noffline = true"),
         "5:11: offline requires passwords and cannot be combined with sasl_gssapi or sasl_external"},
        {tree + "any_text = 1\n", "4:12: any_text must be true or false"},
        {tree + "any_path = 1\n", "4:12: any_path must be true or false"},
        {"trace = 1\n", "1:9: trace must be true or false"},
        {"[[server]]\nname = \"" + std::string(49, 'S') + "\"\n", "2:8: name is required and must have 1 to 48 bytes"},
        {"[[server]]\nname = \"S\"\nvolumes = \"SYS\"\n", "3:11: volumes must be a list of strings"},
        {"[[server]]\nname = \"S\"\nvolumes = [1]\n", "3:12: volumes must be a string"},
        {tree + "uris = [\"ldap://a\"]\n", "4:8: a tree cannot have both ldif and uris"},
        {tree + "start_tls = true\n", "4:1: unknown key start_tls"},
        {servers("[]"), "3:8: uris must name at least one server"},
        {servers("[\"http://a\"]"), "3:8: http://a is not a URI of the form ldap://host:port, "},
        {option("start_tls = 1"), "4:13: start_tls must be true or false"},
        {option("time_limit = 0"), "4:14: time_limit must be a number of seconds greater than 0"},
        {option("retry_after = \"1\""), "4:15: retry_after must be a number of seconds"},
        {option("offline_days = 0"), "4:16: offline_days must be a number of days greater than 0"},
        {option("offline_days = 3651"), "4:16: offline_days must be a number of days greater than 0"},
        {option("search_base = \"acme\""), "4:15: malformed DN"},
        {option("attributes = 1"), "4:14: attributes must be a table of strings"},
        {option("attributes = { full = \"cn\" }"), "4:14: full = \"cn\": unknown attribute"},
        {option("attributes = { cn = \"a b\" }"), "4:14: cn = \"a b\": unknown attribute"},
        {option("attributes = { userPassword = \"pw\" }"), "4:14: userPassword cannot be renamed"},
        {option("attributes = { OBJECTCLASS = \"kind\" }"), "4:14: objectClass cannot be renamed"},
        {option("attributes = { sn = \"a\", surname = \"b\" }"), "4:14: sn is given twice"},
        {option("attributes = { displayName = \"DISPLAYNAME\" }"),
         "4:14: displayName = \"DISPLAYNAME\" changes nothing"},
        {option("schema = \"ad\"\nattributes = { uid = \"sAMAccountName\" }"),
         "5:14: uid = \"sAMAccountName\" changes"},
        {option("login_script_attribute = \"qrtLoginScript\""), "4:26: qrtLoginScript = \"qrtLoginScript\" changes"},
        {option("schema = \"novel\""),
         "4:10: unknown schema novel: brasca, rfc2307, rfc2307bis, ad and auto are known"},
        {option("classes = { person = \"user\" }"), "4:11: person = \"user\" changes nothing"},
        {option("classes = { nobody = \"x\" }"), "4:11: nobody = \"x\": unknown class or invalid"},
        {option("classes = { person = \"x y\" }"), "4:11: person = \"x y\": unknown class or invalid"},
        {option("home_volume = \"SRV1\""), "4:15: home_volume must be a server and a volume"},
        {option("home_prefix = \"/home\""), "4:15: home_prefix needs home_volume"},
        {option("home_volume = \"S/V\"\nhome_prefix = \"home\""), "5:15: home_prefix must begin with \"/\""},
        {tree + "default_context = \"a..b\"\n", "4:19: malformed name"},
        {tree + "login_attributes = [\"shoeSize\"]\n", "4:20: shoeSize cannot name users"},
        {option("login_attributes = [\"userPassword\"]"), "4:20: userPassword cannot name users"},
        {option("login_attributes = [\"a b\"]"), "4:20: a b cannot name users"},
        {tree + "schema = \"ad\"\n", "4:1: unknown key schema"},
        {option("login_script_attribute = \"info;lang-en\""),
         "4:26: qrtLoginScript = \"info;lang-en\": unknown attribute or invalid LDAP attribute name"},
        {option("login_script_attribute = \"\""),
         "4:26: qrtLoginScript = \"\": unknown attribute or invalid LDAP attribute name"},
        {option("login_script_attribute = 1"), "4:26: login_script_attribute must be a string"},
        {option("attributes = { qrtLoginScript = \"a\" }\nlogin_script_attribute = \"b\""),
         "5:26: qrtLoginScript is given twice"},
        {tree + "login_script_attribute = \"info\"\n", "4:1: unknown key login_script_attribute"},
        {tree + "scripts = \"\"\n", "4:11: scripts is required and must have 1 to 4096 bytes"},
        {tree + "scripts = 1\n", "4:11: scripts must be a string"},
        {option("sasl_external = true"), "4:17: sasl_external requires an ldapi:// URI"},
        {servers("[\"ldapi://a\"]", "sasl_gssapi = true"),
         "4:15: sasl_gssapi requires an ldap:// or ldaps:// URI, not"},
        {option("sasl_gssapi = true\noffline = true"), "5:11: offline requires passwords"},
        {servers("[\"ldapi://a\"]", "sasl_external = true\noffline = true"), "5:11: offline requires passwords"},
        {servers("[\"ldapi://a\"]", "sasl_external = true\nsasl_gssapi = true"),
         "5:15: sasl_gssapi and sasl_external are mutually exclusive"},
        {servers("[\"ldaps://a\", \"ldap://a b\"]"), "3:8: ldap://a b is not a URI of the form ldap://host:port, "},
        {servers("[\"ldap://a?x\"]"), "3:8: ldap://a?x is not a URI of the form ldap://host:port, "},
        {servers("[\"ldaps://a\"]", "referral_servers = [\"ldap://b?x\"]"), "4:20: ldap://b?x is not a URI"},
        {servers("[\"ldaps://a\"]", "referral_servers = \"ldap://b\""), "4:20: referral_servers must be a list of"},
        {option("time_limit = 3600.1"), "4:14: time_limit must be a number of seconds greater than 0"},
        {option("time_limit = -1"), "4:14: time_limit must be a number of seconds greater than 0"},
        {option("time_limit = nan"), "4:14: time_limit must be a number of seconds greater than 0"},
        {option("offline_days = 3650.1"), "4:16: offline_days must be a number of days greater"},
        {option("offline_days = nan"), "4:16: offline_days must be a number of days greater than 0"},
        {option("offline_days = \"1\""), "4:16: offline_days must be a number of days greater"},
        {option("attributes = { cn = \"\" }"), "4:14: cn = \"\": unknown attribute"},
        {option("attributes = { cn = 5 }"), "4:21: attributes must be a string"},
        {option("ca_file = \"a\\u0000b\""), "4:11: ca_file contains a NUL byte"},
        {"[[tree]]\nname = \"A\"\nldif = \"" + std::string(4097, 'a') + "\"\n",
         "3:8: ldif is required and must have 1 to 4096 bytes"},
        {"[[tree]]\nname = \"\"\n", "2:8: name is required and must have 1 to 32 bytes"},
        {"[[server]]\nname = \"S\"\n[[server.user]]\nname = \"" + std::string(513, 'u') + "\"\n",
         "4:8: name is required and must have 1 to 512 bytes"},
        {"[[server]]\nname = \"S\"\n[[server.user]]\nname = \"u\"\npassword = \"" + std::string(1025, 'p') + "\"\n",
         "5:12: password is required and must have 1 to 1024 bytes"},
        {"mount = \"gio\"\n", "1:9: mount must be \"autofs\" or \"link\", not \"gio\""},
        {volume("source = \"smb://fs1\""), "4:10: the source names no share"},
        {volume("source = \"\""), "4:10: source is required and must have 1 to 1024 bytes"},
        {volume(""), "1:1: source is required and must have 1 to 1024 bytes"},
        {volume("source = \"/srv\"\noptions = \"sec=krb5\""),
         "5:11: unknown, repeated or wrong mount option \"sec=krb5\""},
        {volume("source = \"/srv\"\ncolour = 1"), "5:1: unknown key colour"},
        {volume("source = \"/srv\"\n[[volume]]\nserver = \"fs1\"\nname = \"home\"\nsource = \"/x\""),
         "7:8: volume fs1/home is already defined"},
        {"[[volume]]\nserver = \"FS1\"\nname = \"a/b\"\nsource = \"/x\"\n", "3:8: invalid server or volume name"},
        {"[[volume]]\nserver = \"..\"\nname = \"a\"\nsource = \"/x\"\n", "3:8: invalid server or volume name"},
        {"[[volume]]\nserver = \"" + std::string(49, 'S') + "\"\n", "2:10: server is required and must have 1 to 48"},
        {"[volume]\n", "1:1: volume must be written as [[volume]]"},
        {"[[automount]]\n", "1:1: automount must be written as [automount]"},
        {"[automount]\nhosts = [\"*\"]\n", "2:9: * is not a host or .DOMAIN"},
        {"[automount]\nfolders = [\"srv\"]\n", "2:11: srv is not an absolute path"},
        {"[automount]\nfolders = [\"/\"]\n", "2:11: / is not an absolute path"},
        {"[automount]\nsmb_options = \"suid\"\n", "2:15: unknown, repeated or wrong mount option \"suid\""},
        {"[automount]\ntime_limit = 0\n", "2:14: time_limit must be a number of seconds greater than 0"},
        {"[automount]\ncredentials = 1\n", "2:15: credentials must be true or false"},
        {"[automount]\ncolour = 1\n", "2:1: unknown key colour"},
        {"[[server]]\nname = \"S\"\n[[server.user]]\nname = \"u\"\npassword = \"p\"\nx = 1\n", "6:1: unknown key x"},
        {"[[server]]\nname = \"S\"\n[[server.user]]\nname = \"u\"\n",
         "3:1: password is required and must have 1 to 1024 bytes"},
    };
    for (auto &c : cases) {
        configure(c.toml);
        EXPECT_EQ(ZKE_BAD_DIRECTORY_DATA, ZKCallsInit(nullptr, nullptr)) << c.toml;
        EXPECT_EQ(folder.path("client.toml") + ":" + c.refusal,
                  last_error().substr(0, folder.path("client.toml").size() + 1 + c.refusal.size()))
            << c.toml << last_error();
    }
}

TEST_F(Configuration, EveryLimitMayBeReached) {
    const std::string tree(32, 'T'), ldif(4096, 'l'), server(48, 'S'), user(512, 'u'), password(1024, 'p');
    folder.write("c.toml", "[[tree]]\nname = \"" + tree + "\"\nldif = \"" + ldif + "\"\n" +
                               servers("[\"ldap://a\", \"ldaps://b\", \"ldapi://c\"]",
                                       "time_limit = 3600\nretry_after = 3600\noffline_days = 3650") +
                               "[[server]]\nname = \"" + server + "\"\n[[server.user]]\nname = \"" + user +
                               "\"\npassword = \"" + password + "\"\n");
    const Config config = config_load(folder.path("c.toml"));
    EXPECT_EQ(tree, config.trees.at(0).name);
    EXPECT_EQ(ldif, config.trees[0].shown);
    EXPECT_EQ(3600, config.trees.at(1).ldap.timeLimit);
    EXPECT_EQ(3600, config.trees[1].ldap.retryAfter);
    EXPECT_EQ(3650, config.trees[1].ldap.offlineDays);
    EXPECT_EQ(server, config.servers.at(0).name);
    EXPECT_EQ(user, config.servers[0].users.at(0).name);
    EXPECT_EQ(password, config.servers[0].users[0].password);
}

TEST_F(Configuration, EveryKeyIsTakenForItself) {
    folder.write("c.toml",
                 "default_tree = \"b\"\ntrace = true\n"
                 "[[tree]]\nname = \"A\"\nldif = \"/a.ldif\"\nbase = \"o=a\"\ndefault_server = \"S\"\n"
                 "[[tree]]\nname = \"B\"\nldif = \"b.ldif\"\nshare_password = true\n"
                 "[[tree]]\nname = \"C\"\nldif = \"c.ldif\"\nany_text = true\n"
                 "[[tree]]\nname = \"D\"\nldif = \"d.ldif\"\nany_path = true\n"
                 "[[tree]]\nname = \"E\"\nuris = [\"ldapi://e\"]\nsasl_external = true\nsearch_base = \"o=e\"\nca_file "
                 "= \"/e\"\n"
                 "[[tree]]\nname = \"F\"\nuris = [\"ldaps://f\"]\nsasl_gssapi = true\nca_file = \"\"\n"
                 "[[tree]]\nname = \"G\"\nuris = [\"ldap://g\"]\noffline = true\nreferrals = true\nca_file = \"g\"\n"
                 "referral_servers = [\"ldap://x\", \"ldaps://y\"]\n"
                 "[[server]]\nname = \"S\"\nvolumes = [\"SYS\"]\n[[server]]\nname = \"T\"\n");
    const Config config = config_load(folder.path("c.toml"));
    EXPECT_EQ("b", config.defaultTree);
    EXPECT_TRUE(config.trace);
    const std::vector<ConfigTree> &trees = config.trees;
    ASSERT_EQ(7u, trees.size());
    EXPECT_EQ("/a.ldif", trees[0].ldif);
    EXPECT_EQ("o=a", trees[0].base);
    EXPECT_EQ("S", trees[0].defaultServer);
    for (size_t i = 0; i < trees.size(); i++) {
        SCOPED_TRACE(trees[i].name);
        EXPECT_EQ(i == 1, trees[i].sharePassword);
        EXPECT_EQ(i == 2, trees[i].anyText);
        EXPECT_EQ(i == 3, trees[i].anyPath);
        EXPECT_EQ(i == 4, trees[i].ldap.external);
        EXPECT_EQ(i == 5, trees[i].ldap.gssapi);
        EXPECT_EQ(i != 4 && i != 5, trees[i].ldap.needsPassword());
        EXPECT_EQ(i == 6, trees[i].ldap.offline);
        EXPECT_EQ(i == 6, trees[i].ldap.referrals);
        EXPECT_EQ(i == 4 ? "o=e" : "", trees[i].ldap.searchBase);
    }
    EXPECT_EQ("/e", trees[4].ldap.caFile);
    EXPECT_EQ(folder.path() + "/", trees[5].ldap.caFile);
    EXPECT_EQ("F", trees[5].shown);
    EXPECT_EQ((std::vector<std::string>{"ldap://x", "ldaps://y"}), trees[6].ldap.referralServers);
    ASSERT_EQ(2u, config.servers.size());
    EXPECT_FALSE(config.servers[0].anyVolume);
    EXPECT_EQ(std::vector<std::string>{"SYS"}, config.servers[0].volumes);
    EXPECT_TRUE(config.servers[1].anyVolume);
}

TEST_F(Configuration, WithoutAVariableItIsTheSystemsFile) {
    for (const char *value : {"", "/of/the/user"}) {
        setenv("ZKCLIENT_CONF", value, 1);
        EXPECT_EQ(*value == '\0' ? "/etc/opt/brasca/zk/client.toml" : value, config_path());
    }
    unsetenv("ZKCLIENT_CONF");
    EXPECT_EQ("/etc/opt/brasca/zk/client.toml", config_path());
}

TEST_F(Configuration, AFileThatIsThereAndCannotBeReadIsRefused) {
    folder.write("file", "");
    setenv("ZKCLIENT_CONF", folder.path("file/client.toml").c_str(), 1);
    EXPECT_EQ(ZKE_BAD_DIRECTORY_DATA, ZKCallsInit(nullptr, nullptr));
    EXPECT_EQ(folder.path("file/client.toml") + ": cannot open the configuration file: Not a directory", last_error());
    setenv("ZKCLIENT_CONF", folder.path().c_str(), 1);
    EXPECT_EQ(ZKE_BAD_DIRECTORY_DATA, ZKCallsInit(nullptr, nullptr));
    EXPECT_EQ(folder.path() + ": cannot read the configuration file: Is a directory", last_error());
    setenv("ZKCLIENT_CONF", "/dev/zero", 1);
    EXPECT_EQ(ZKE_BAD_DIRECTORY_DATA, ZKCallsInit(nullptr, nullptr));
    EXPECT_EQ("/dev/zero: the file is too large", last_error());
}

TEST_F(Configuration, TheDefaultsStandWhereNothingIsSaid) {
    folder.write("c.toml", acme_tree);
    Config config = config_load(folder.path("c.toml"));
    ASSERT_EQ(1u, config.trees.size());
    EXPECT_EQ(folder.path("acme.ldif"), config.trees[0].ldif) << "relative to the folder of the configuration";
    EXPECT_EQ("acme.ldif", config.trees[0].shown);
    EXPECT_EQ("", config.trees[0].base);
}

TEST_F(Configuration, ATreeOnServersHasItsDefaultsAndItsOwnValues) {
    folder.write("c.toml", servers("[\"ldaps://a\", \"ldap://b:10389\"]"));
    ConfigLdap plain = config_load(folder.path("c.toml")).trees.at(0).ldap;
    EXPECT_EQ(plain.uris, (std::vector<std::string>{"ldaps://a", "ldap://b:10389"}));
    EXPECT_EQ(plain.caFile, "/etc/ssl/certs/ca-certificates.crt");
    EXPECT_EQ(plain.timeLimit, 5);
    EXPECT_EQ(plain.retryAfter, 30);
    EXPECT_EQ(plain.offlineDays, 30);
    EXPECT_EQ(plain.localOwner, "openldap");
    EXPECT_FALSE(plain.startTls || plain.cleartextLoopback || plain.external || plain.offline);

    folder.write("d.toml", servers("[\"ldap://a\"]",
                                   "ca_file = \"ca.pem\"\nstart_tls = true\ntime_limit = 0.5\nretry_after = "
                                   "7\nldapi_owner = \"dirsrv\"\noffline_days = 2\noffline = "
                                   "true\nallow_cleartext_loopback = true\nattributes = { DISPLAYNAME = \"gecos\" }"));
    ConfigLdap own = config_load(folder.path("d.toml")).trees.at(0).ldap;
    EXPECT_EQ(own.caFile, folder.path("ca.pem")) << "relative to the folder of the configuration";
    EXPECT_EQ(own.timeLimit, 0.5);
    EXPECT_EQ(own.retryAfter, 7);
    EXPECT_EQ(own.offlineDays, 2);
    EXPECT_EQ(own.localOwner, "dirsrv");
    EXPECT_TRUE(own.startTls && own.cleartextLoopback && own.offline);
    EXPECT_EQ(own.attributes, (std::map<std::string, std::string>{{"displayName", "gecos"}}));
}

TEST_F(Configuration, ATreeThatCannotBeReadReportsWhy) {
    folder.write("acme.ldif", "dn: o=acme\nobjectClass: organization\no: acme\n\ndn: bad\no: x\n");
    configure(std::string(acme_tree) + "[[server]]\nname = \"S\"\n");
    open_server("ACME");
    EXPECT_EQ(ZKE_BAD_DIRECTORY_DATA, lastCode);
    EXPECT_EQ("acme.ldif:5: malformed DN", last_error());
    uint32_t handle = context();
    EXPECT_EQ(ZKE_BAD_DIRECTORY_DATA, ZKDSSetContext(handle, DCK_TREE_NAME, "ACME"));
    EXPECT_EQ(ZKE_BAD_DIRECTORY_DATA, login(handle, "jdoe", "x"));
    open_server("S");
    EXPECT_EQ(ZK_OK, lastCode) << "the other servers are still found";
    open_server("T");
    EXPECT_EQ(ZKE_SERVER_NOT_FOUND, lastCode);
}

TEST_F(Configuration, TheDefaultServerMustBeOneOfTheTree) {
    folder.write("acme.ldif", "dn: o=acme\nobjectClass: organization\no: acme\n");
    configure(std::string(acme_tree) + "default_server = \"SRV7\"\n");
    open_server("ACME");
    EXPECT_EQ(ZKE_BAD_DIRECTORY_DATA, lastCode);
    EXPECT_EQ("acme.ldif: the tree has no server SRV7", last_error());
}

TEST_F(Configuration, ATraceShowsHowLongTheFileTook) {
    folder.write(
        "acme.ldif",
        "dn: o=acme\nobjectClass: organization\no: acme\n\ndn: ou=x,o=acme\nobjectClass: organizationalUnit\nou: x\n");
    configure(std::string("trace = true\n") + acme_tree);
    ::testing::internal::CaptureStderr();
    EXPECT_EQ("x.acme", canonical(context(), "x.acme"));
    open_server("ACME");
    EXPECT_THAT(::testing::internal::GetCapturedStderr(),
                ::testing::MatchesRegex("Tree ACME: 2 objects read from acme.ldif in [0-9]+\\.[0-9][0-9][0-9] s\\.\n"));
}

TEST_F(Configuration, WithoutATraceNothingIsShown) {
    folder.write("acme.ldif", "dn: o=acme\nobjectClass: organization\no: acme\n");
    configure(acme_tree);
    ::testing::internal::CaptureStderr();
    open_server("ACME");
    EXPECT_EQ("", ::testing::internal::GetCapturedStderr());
}

TEST_F(Configuration, ALoginReportsThatTheScriptOfTheBaseDoesNotRun) {
    const std::string user =
        "\ndn: cn=u,o=acme\nobjectClass: person\ncn: u\n"
        "userPassword: {CRYPT}$y$j7T$Qq3hM8nT5vXc2bJr9wLd1/$nOjJwkNkI7XEuk7rba2PsF7eXEvzQDcPIvCrw9sOjmB\n";
    const std::string top = "dn: o=acme\nobjectClass: organization\no: acme\n";
    for (const std::string name : {"WITH", "EMPTY", "NONE"}) {
        const std::string script = name == "WITH" ? "X\n" : "\n";
        folder.write(name + ".ldif", top + (name == "NONE" ? "" : "qrtLoginScript: " + script) + user);
    }
    std::string trees;
    for (const std::string name : {"WITH", "EMPTY", "NONE"})
        trees += "[[tree]]\nname = \"" + name + "\"\nldif = \"" + name + ".ldif\"\nbase = \"o=acme\"\n";
    configure(trees + "[[tree]]\nname = \"ROOT\"\nldif = \"WITH.ldif\"\nshare_password = true\n");
    ::testing::internal::CaptureStderr();
    for (const char *tree : {"WITH", "EMPTY", "NONE"}) {
        EXPECT_EQ(ZKE_WRONG_PASSWORD, login(context(session_flags, tree), "u", "wrong"));
        EXPECT_EQ(ZK_OK, login(context(session_flags, tree), "u", "secret"));
    }
    EXPECT_EQ(ZK_OK, login(context(session_flags, "ROOT"), "u.acme", "secret"));
    EXPECT_EQ(
        "Tree WITH: the login script of o=acme is not run, because the base of a tree is not a container of its users. "
        "Set no base, or move the script to a container below.\n",
        ::testing::internal::GetCapturedStderr());
}

TEST_F(Configuration, TheLastErrorContainsNothingThatATerminalWouldObey) {
    setenv("ZKCLIENT_CONF", "/no\x1B[31m\n\x7Fwhere\xC2\x9B\xFF\xE2\x80\xAE/J\xC3\xB6rg \xE2\x82\xAC.toml", 1);
    ZKCallsInit(nullptr, nullptr);
    EXPECT_EQ(
        "/no\\x1B[31m\\x0A\\x7Fwhere\\xC2\\x9B\\xFF\\xE2\\x80\\xAE/J\xC3\xB6rg \xE2\x82\xAC.toml: cannot open the "
        "configuration file: No such file or directory",
        last_error());
}

TEST_F(Configuration, TheLastErrorIsCutToTheBuffer) {
    setenv("ZKCLIENT_CONF", "/nowhere.toml", 1);
    EXPECT_EQ("", last_error());
    ZKCallsInit(nullptr, nullptr);
    char text[9] = "xxxxxxxx";
    EXPECT_EQ(ZK_OK, ZKGetLastErrorText(5, text));
    EXPECT_STREQ("/now", text);
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKGetLastErrorText(0, text));
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKGetLastErrorText(5, nullptr));
}

} // namespace
