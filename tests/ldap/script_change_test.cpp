// Login scripts that are changed at a server: as whom, only if they are what was read, and what is in the way.
#include "platform/client/ldap/script_change.h"

#include <algorithm>
#include <filesystem>

#include "platform/client/interface/scripts.h"
#include "platform/client/ldap/filter.h"
#include "tests/ldap/hostile_server.h"
#include "tests/ldap/ldap_site.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char *manager = "cn=manager,o=acme"; // who has no entry
constexpr const char *manager_lines = "rootdn \"cn=manager,o=acme\"\nrootpw juniper\n";

class LdapScripts : public LdapSite {
  protected:
    static Slapd::Setup withManager() {
        Slapd::Setup setup = sample();
        setup.database = manager_lines;
        return setup;
    }
    void begin(const Slapd &asked, const std::string &more = "") {
        onServers({asked.uri()}, more);
        here = context();
    }
    void asManager() { script_login_as(here, manager, "juniper"); }
    StoredScript stored(const std::string &object) { return script_read(here, script_object(here, object)); }
    ScriptText script(const std::string &object) { return stored(object).text; }
    // Empty when it has been done.
    template <typename Work>
    std::string refusal(Work work) {
        try {
            work();
            code = ZK_OK;
            return "";
        } catch (const CodedError &error) {
            code = error.code;
            return error.what();
        }
    }
    std::string put(const std::string &object, const ScriptText &before, const ScriptText &after) {
        return refusal([&] { script_write(here, script_object(here, object), before, after); });
    }
    Outcome tool(Words words, const std::string &password = "juniper\n") {
        words.insert(words.begin(), BINARY_DIR "/qrtscript");
        words.insert(words.end(), {"--as", manager, "--password-fd", "3"});
        return process_run(words, environment, password);
    }
    // Somebody else's change.
    void changeElsewhere(const Slapd &asked, const std::string &text) const {
        const Words words = {"/bin/sh", "-c",
                             "printf 'dn: ou=sales,o=acme\\nchangetype: modify\\nreplace: qrtLoginScript\\n"
                             "qrtLoginScript: " +
                                 text + "\\n' | ldapmodify -x -D cn=manager,o=acme -w juniper -H " + asked.uri()};
        ASSERT_EQ(process_run(words, process_environment()).status, 0);
    }
    static std::string sales() { return file_text(SOURCE_DIR "/examples/acme/scripts/sales.qrt"); }

    uint32_t code = ZK_OK;
};

} // namespace

TEST_F(LdapScripts, ReplacesAScriptAsTheManager) {
    Slapd server(withManager());
    begin(server);
    asManager();
    EXPECT_EQ(script("sales.acme"), sales());
    const std::string text = "WRITE \"*(new)\\\\ \xC3\xA4\xFF\"\r\n";
    EXPECT_EQ(put("sales.acme", sales(), text), "");
    const StoredScript now = stored("sales.acme");
    EXPECT_EQ(now.text, text);
    EXPECT_EQ(now.place, "qrtLoginScript of ou=sales,o=acme");
    EXPECT_EQ(now.changedBy, manager);
    EXPECT_THAT(now.changed, testing::MatchesRegex("20[0-9]{12}Z"));
}

TEST_F(LdapScripts, AnEmptyScriptIsNotNone) {
    Slapd server(withManager());
    begin(server);
    asManager();
    EXPECT_EQ(put("sales.acme", sales(), ""), "");
    EXPECT_EQ(script("sales.acme"), "");
    EXPECT_THAT(put("sales.acme", std::nullopt, "EXIT"), HasSubstr("has been changed by somebody else"));
    EXPECT_EQ(put("sales.acme", "", std::nullopt), "");
    EXPECT_EQ(script("sales.acme"), std::nullopt);
}

TEST_F(LdapScripts, AFirstScriptBringsTheClassThatAllowsIt) {
    Slapd server(withManager());
    begin(server);
    asManager();
    EXPECT_EQ(put("emea.sales.acme", std::nullopt, "WRITE \"Europe\"\n"), "");
    EXPECT_THAT(login("mlee.emea.sales.acme", "moonlight").out, HasSubstr("Europe\n"));
    EXPECT_EQ(put("emea.sales.acme", "WRITE \"Europe\"\n", std::nullopt), "");
    EXPECT_EQ(put("emea.sales.acme", std::nullopt, "WRITE \"again\"\n"), "") << "the class is there already";
}

TEST_F(LdapScripts, WhatSomebodyElseHasChangedStays) {
    Slapd server(withManager());
    begin(server);
    asManager();
    ASSERT_EQ(script("sales.acme"), sales());
    changeElsewhere(server, "theirs");
    EXPECT_EQ(put("sales.acme", sales(), "mine"),
              "the login script of ou=sales,o=acme has been changed by somebody else");
    EXPECT_EQ(code, ZKE_SCRIPT_CHANGED);
    EXPECT_EQ(script("sales.acme"), "theirs");
}

TEST_F(LdapScripts, TheServerComparesInTheSameStep) {
    Slapd server(withManager());
    begin(server);
    ConfigLdap config;
    config.cleartextLoopback = true;
    const LdapDeadline deadline = LdapClock::now() + std::chrono::minutes(10);
    LdapConnection connection(config, server.uri(), deadline);
    ASSERT_EQ(connection.bindWithPassword({manager, "juniper"}, deadline).result, LDAP_SUCCESS);
    const auto changed = [&](const std::string &condition, const std::string &to) {
        return connection.modify("ou=sales,o=acme", {{LDAP_MOD_REPLACE, "qrtLoginScript", {to}}}, condition, deadline)
            .result;
    };
    EXPECT_EQ(changed("(qrtLoginScript=another)", "mine"), LDAP_ASSERTION_FAILED);
    EXPECT_EQ(changed("(!(qrtLoginScript=*))", "mine"), LDAP_ASSERTION_FAILED);
    EXPECT_EQ(script("sales.acme"), sales());
    EXPECT_EQ(changed("(qrtLoginScript=" + filter_escaped_binary(sales()) + ")", "mine"), LDAP_SUCCESS);
    EXPECT_EQ(script("sales.acme"), "mine");
}

// An attribute without a rule for comparing it fails every condition.
TEST_F(LdapScripts, ComparesRightBeforeWhereTheServerCannot) {
    Slapd server(withManager());
    begin(server, "login_script_attribute = \"audio\"\n");
    asManager();
    EXPECT_EQ(put("jdoe.sales.acme", std::nullopt, "one"), "");
    EXPECT_EQ(put("jdoe.sales.acme", "one", "two"), "");
    EXPECT_NE(put("jdoe.sales.acme", "one", "three"), "");
    EXPECT_EQ(code, ZKE_SCRIPT_CHANGED);
    EXPECT_EQ(script("jdoe.sales.acme"), "two");
    EXPECT_EQ(stored("jdoe.sales.acme").place, "audio of cn=jdoe,ou=sales,o=acme");
}

// What the server itself does with a condition shows above; here, which servers get one.
TEST_F(LdapScripts, SendsTheConditionToAServerThatKnowsIt) {
    const auto answers = [](const std::string &control, const std::string &has) {
        return Scripted{{{Scripted::bound()}},
                        {{Scripted::entry("", {{"supportedControl", control}}), Scripted::done()},
                         {Scripted::entry("ou=sales,o=acme", {{"qrtLoginScript", has}}), Scripted::done()}},
                        {}};
    };
    const ScriptText before = "before", after = "after";
    const LdapScriptChange change = {"ou=sales,o=acme", "qrtLoginScript", "", before, after};
    const auto outcome = [&](HostileServer &server) {
        ConfigLdap config;
        config.cleartextLoopback = true;
        const LdapDeadline deadline = LdapClock::now() + std::chrono::minutes(10);
        LdapConnection connection(config, server.uri(), deadline);
        return refusal([&] { ldap_script_change(&connection, change, deadline); });
    };
    HostileServer other(answers(LDAP_CONTROL_ASSERT, "another"));
    EXPECT_THAT(outcome(other), EndsWith("has been changed by somebody else"));
    EXPECT_EQ(other.conditions(), 0);
    // It does not answer the change itself: nobody knows what became of it.
    HostileServer knows(answers(LDAP_CONTROL_ASSERT, "before")), knowsNot(answers("1.2.3", "before"));
    for (HostileServer *server : {&knows, &knowsNot}) {
        EXPECT_THAT(outcome(*server), EndsWith("; whether the script has been changed is not known"));
        EXPECT_EQ(code, ZKE_SERVER_CLOSED);
    }
    EXPECT_EQ(knows.conditions(), 1);
    EXPECT_EQ(knowsNot.conditions(), 0);
}

TEST_F(LdapScripts, NobodyMayChangeWithoutALogin) {
    Slapd server(withManager());
    begin(server);
    EXPECT_EQ(script("sales.acme"), sales());
    EXPECT_EQ(put("sales.acme", sales(), "mine"),
              "only somebody who has logged in to the tree's own servers can change a script");
    EXPECT_EQ(code, ZKE_NOT_LOGGED_IN);
}

TEST_F(LdapScripts, SaysThatTheServerDoesNotLetTheUser) {
    Slapd server(withManager());
    begin(server);
    ASSERT_EQ(loginHere(), ZK_OK);
    EXPECT_EQ(put("sales.acme", sales(), "mine"), "the server does not change ou=sales,o=acme: Insufficient access");
    EXPECT_EQ(code, ZKE_NO_ACCESS);
    EXPECT_EQ(script("sales.acme"), sales());
}

TEST_F(LdapScripts, AUserMayBeLetToChangeTheirOwn) {
    Slapd::Setup setup = withManager();
    setup.access =
        "access to attrs=userPassword by anonymous auth by * none\n"
        "access to attrs=qrtLoginScript by self write by * read\naccess to * by * read\n";
    Slapd server(setup);
    begin(server);
    ASSERT_EQ(loginHere(), ZK_OK);
    EXPECT_EQ(put("jdoe.sales.acme", script("jdoe.sales.acme"), "WRITE \"my own\"\n"), "");
    EXPECT_THAT(login().out, HasSubstr("my own\n"));
}

TEST_F(LdapScripts, SendsNothingToWhereTheServerRefers) {
    Slapd::Setup setup = withManager();
    setup.database +=
        "syncrepl rid=001 provider=ldap://127.0.0.1:1 type=refreshAndPersist searchbase=\"o=acme\" "
        "bindmethod=simple retry=\"60 +\"\nupdateref ldap://127.0.0.1:1\n";
    Slapd replica(setup);
    begin(replica);
    asManager();
    EXPECT_THAT(put("sales.acme", sales(), "mine"),
                StartsWith("the server refers the change of ou=sales,o=acme to another server: ldap://127.0.0.1:1"));
    EXPECT_EQ(code, ZKE_REFERRAL_BROKEN);
    EXPECT_EQ(script("sales.acme"), sales());
}

TEST_F(LdapScripts, UsesTheAttributeThatTheConfigurationNames) {
    Slapd server(withManager());
    begin(server, "login_script_attribute = \"description\"\n");
    asManager();
    EXPECT_EQ(script("emea.sales.acme"), "Sales, Europe");
    EXPECT_EQ(put("emea.sales.acme", "Sales, Europe", "WRITE \"Europe\"\n"), "");
    EXPECT_EQ(put("emea.sales.acme", "write \"europe\"\n", "mine"),
              "the login script of ou=emea,ou=sales,o=acme has been changed by somebody else")
        << "the server compares this attribute without regard to case";
    EXPECT_THAT(put("emea.sales.acme", "WRITE \"Europe\"\n", ""), HasSubstr("Invalid syntax"));
}

TEST_F(LdapScripts, LeavesAnAttributeWithSeveralValuesAlone) {
    Slapd::Setup setup = withManager();
    setup.ldif = "dn: o=acme\nobjectClass: organization\no: acme\ndescription: one\ndescription: two\n";
    Slapd server(setup);
    defaultServer = "";
    begin(server, "login_script_attribute = \"description\"\n");
    asManager();
    EXPECT_EQ(put("acme", "one", "mine"), "o=acme: the attribute description has several values");
}

TEST_F(LdapScripts, TheManagerNeedsNoEntryButThePassword) {
    Slapd server(withManager());
    begin(server);
    const auto login = [&](const char *dn, const char *password) {
        refusal([&] { script_login_as(here, dn, password); });
        return code;
    };
    EXPECT_EQ(login(manager, "wrong"), ZKE_WRONG_PASSWORD);
    EXPECT_EQ(login(manager, ""), ZKE_WRONG_PASSWORD);
    EXPECT_EQ(login("cn=nobody,o=acme", "juniper"), ZKE_WRONG_PASSWORD);
    EXPECT_EQ(login(manager, "juniper"), ZK_OK);
}

TEST_F(LdapScripts, SendsNoPasswordInTheClear) {
    Slapd server(withManager());
    onStrictServers({server.uri()});
    here = context();
    EXPECT_THAT(refusal([&] { script_login_as(here, manager, "juniper"); }),
                HasSubstr("the password was not sent: the connection is not encrypted"));
    EXPECT_EQ(code, ZKE_TLS_REQUIRED);
}

TEST_F(LdapScripts, ALocalSocketsUserNeedsNoPassword) {
    const std::string own = "gidNumber=" + std::to_string(getegid()) + "+uidNumber=" + std::to_string(geteuid()) +
                            ",cn=peercred,cn=external,cn=auth";
    Slapd::Setup setup = sample();
    setup.database = "rootdn \"" + own + "\"\n";
    Slapd server(setup);
    onServers({server.localUri()}, "sasl_external = true\n");
    here = context();
    script_login_as(here, own, "");
    EXPECT_EQ(put("sales.acme", sales(), "mine"), "");
    EXPECT_THAT(refusal([&] { script_login_as(here, manager, ""); }),
                HasSubstr("the server takes the process's user for gidNumber="));
}

TEST_F(LdapScripts, ListsAllScriptsAsAFileDoes) {
    Slapd server(withManager());
    onServers({server.uri()}, "[[tree]]\nname = \"FILE\"\nldif = \"" SOURCE_DIR "/examples/acme/acme.ldif\"\n");
    const auto all = [this](const char *tree) {
        std::vector<std::string> found;
        for (const ScriptOfObject &one : script_list(context(session_flags, tree)))
            found.push_back(one.object.typed + " " + one.object.file.value_or("") + " " + one.text);
        std::sort(found.begin(), found.end());
        return found;
    };
    const std::vector<std::string> onServer = all("ACME");
    EXPECT_THAT(onServer, testing::Contains("OU=sales.O=acme acme/sales/_container.qrt " + sales()));
    EXPECT_EQ(onServer, all("FILE"));
}

TEST_F(LdapScripts, ByTheTool) {
    Slapd server(withManager());
    onServers({server.uri()});
    folder.write("new.qrt", "WRITE \"by the tool\"\n");
    EXPECT_EQ(tool({"get", "sales.acme"}), (Outcome{0, sales(), ""}));
    const Outcome put = tool({"put", "sales.acme", folder.path("new.qrt"), "--yes"});
    EXPECT_EQ(put.status, 0) << put.err;
    EXPECT_THAT(login().out, HasSubstr("by the tool\n"));
    EXPECT_EQ(tool({"get", "sales.acme"}, "wrong\n"),
              (Outcome{2, "", "qrtscript get: cannot log in as cn=manager,o=acme to tree ACME: wrong password\n"}));
    const Outcome nobody = process_run(
        {BINARY_DIR "/qrtscript", "put", "sales.acme", folder.path("new.qrt"), "--yes", "--remove"}, environment);
    EXPECT_EQ(nobody.status, 64);
    const Outcome anonymous =
        process_run({BINARY_DIR "/qrtscript", "put", "--remove", "sales.acme", "--yes"}, environment);
    EXPECT_EQ(anonymous.status, 2);
    EXPECT_THAT(anonymous.err, EndsWith("own servers can change a script: log in with --as\n"));
}

TEST_F(LdapScripts, TheToolTellsWhoHasChangedTheObject) {
    Slapd server(withManager());
    onServers({server.uri()});
    changeElsewhere(server, "EXIT");
    const Outcome outcome = process_run({BINARY_DIR "/qrtscript", "log", "sales.acme"}, environment);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out,
                testing::MatchesRegex("20[0-9-]{8}T[0-9:]{8}Z  the object was changed by cn=manager,o=acme\n"));
}

TEST_F(LdapScripts, TheToolExportsAndImports) {
    Slapd server(withManager());
    onServers({server.uri()});
    ASSERT_EQ(tool({"export", folder.path("all")}).status, 0);
    EXPECT_EQ(file_text(folder.path("all/acme/sales/_container.qrt")), sales());
    folder.write("all/acme/sales/_container.qrt", "WRITE \"imported\"\n");
    folder.write("all/acme/sales/emea/_container.qrt", "WRITE \"Europe\"\n");
    remove(folder.path("all/acme/_container.qrt").c_str());
    const Outcome outcome = tool({"import", folder.path("all"), "--yes", "--prune"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "change  sales.acme\nadd     emea.sales.acme\nremove  acme\n");
    begin(server);
    EXPECT_EQ(script("sales.acme"), "WRITE \"imported\"\n");
    EXPECT_EQ(script("emea.sales.acme"), "WRITE \"Europe\"\n");
    EXPECT_EQ(script("acme"), std::nullopt);
    EXPECT_EQ(tool({"import", folder.path("all"), "--yes", "--prune"}).out, "");
}

TEST_F(LdapScripts, TheToolLeavesNoCopyOfALogin) {
    Slapd server(withManager());
    onServers({server.uri()}, "offline = true\n");
    environment["HOME"] = home.path();
    const Outcome outcome =
        process_run({BINARY_DIR "/qrtscript", "get", "sales.acme", "--as", "jdoe.sales.acme", "--password-fd", "3"},
                    environment, "sunflower\n");
    EXPECT_EQ(outcome, (Outcome{0, sales(), ""}));
    EXPECT_TRUE(std::filesystem::is_empty(home.path()));
}

// ---- what is not shown without a login ----

TEST_F(LdapScripts, AReaderWhoSeesNoScriptIsToldOfTheLogin) {
    Slapd::Setup setup = withManager();
    setup.access = "access to attrs=qrtLoginScript by users read by * none\naccess to * by * read\n";
    Slapd server(setup);
    begin(server);
    folder.write("scripts/acme/_container.qrt", "EXIT\n");
    const auto anonymous = [this](Words words) {
        words.insert(words.begin(), BINARY_DIR "/qrtscript");
        return process_run(words, environment);
    };
    EXPECT_EQ(anonymous({"get", "sales.acme"}),
              (Outcome{5, "",
                       "qrtscript get: sales.acme has no login script, or none that is shown without a login "
                       "(--as)\n"}));
    const std::string hint = "qrtscript export: the tree shows no login script without a login: --as logs in\n";
    const Outcome pruning = anonymous({"export", folder.path("scripts"), "--prune", "--yes"});
    EXPECT_EQ(pruning.status, 66);
    EXPECT_THAT(pruning.err, AllOf(StartsWith(hint), HasSubstr("--prune would remove 1 file, all that are there")));
    EXPECT_TRUE(std::filesystem::exists(folder.path("scripts/acme/_container.qrt")));
    EXPECT_THAT(anonymous({"export", folder.path("scripts")}).err, StartsWith(hint));
    EXPECT_EQ(tool({"get", "sales.acme"}).status, 0);
    EXPECT_THAT(tool({"export", folder.path("new")}).err, testing::Not(HasSubstr("--as")));
    EXPECT_EQ(tool({"get", "managers.acme"}).err, "qrtscript get: managers.acme has no login script\n");
}
