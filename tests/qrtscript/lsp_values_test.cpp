// What the language server tells of identifiers for a user, whom the editor or the command line names.
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/common/opened.h"
#include "tests/qrtscript/lsp_client.h"
#include "tests/support/process.h"

namespace {

using Json = LspClient::Json;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const Variables acme = {{"ZKCLIENT_CONF", SOURCE_DIR "/examples/acme/client.toml"}, {"LC_ALL", "C.UTF-8"}};

std::string text_of(const Json &hover) {
    return hover.is_null() ? "" : hover.at("contents").at("value").get<std::string>();
}

// What is told behind the statement of a line.
std::string told(LspClient *client, const std::string &line) {
    client->change(0, 0, 1000, line);
    return text_of(client->askAt("hover", 0, 8));
}

void begin(LspClient *client, const Json &options = nullptr) {
    client->initialize(Json::object(), "", options);
    client->open("CLS\n");
}

// A server that accepts whoever comes, and never says a word.
class SilentServer {
  public:
    SilentServer() {
        sockaddr_in address = {};
        socklen_t size = sizeof address;
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (bind(socket_.number(), reinterpret_cast<sockaddr *>(&address), size) != 0 ||
            listen(socket_.number(), 10) != 0 ||
            getsockname(socket_.number(), reinterpret_cast<sockaddr *>(&address), &size) != 0)
            throw std::runtime_error("no port");
        folder_.write("client.toml", "[[tree]]\nname = \"ACME\"\ntime_limit = 20\nuris = [\"ldap://127.0.0.1:" +
                                         std::to_string(ntohs(address.sin_port)) + "\"]\n");
    }
    Variables variables() const { return {{"ZKCLIENT_CONF", folder_.path("client.toml")}, {"LC_ALL", "C.UTF-8"}}; }
    // How many have come since the last call.
    int visitors() const {
        int count = 0;
        for (Opened one(-1); (one = Opened(accept4(socket_.number(), nullptr, nullptr, 0))).isOpen();) ++count;
        return count;
    }

  private:
    TempFolder folder_;
    Opened socket_{socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)};
};

} // namespace

TEST(LspValues, AreThoseOfALogin) {
    LspClient client({"--user=jdoe", "--context=sales.acme"}, acme);
    begin(&client);
    EXPECT_EQ(told(&client, "WRITE \"%FULL_NAME\""),
              "`%FULL_NAME`: the user's full name and surname; `not set` if there is none\n\nFor `jdoe.sales.acme`: "
              "`Jane Doe`");
    EXPECT_THAT(told(&client, "WRITE FULL_NAME"), HasSubstr("\n\nFor `jdoe.sales.acme`: `Jane Doe`"));
    EXPECT_THAT(told(&client, "WRITE %TITLE"), HasSubstr(": `Account manager`"));
    EXPECT_THAT(told(&client, "WRITE \"%HOME_DIRECTORY\""), HasSubstr(": `SRV1/USERS:home/jdoe`"));
    EXPECT_THAT(told(&client, "WRITE \"%SHOE_SIZE\""),
                HasSubstr(": no value: no identifier and no attribute has this name"));
    for (const char *secret : {"%PASSWORD", "%userPassword", "%PRIVATE_KEY"})
        EXPECT_THAT(told(&client, "WRITE \"" + std::string(secret) + "\""), HasSubstr(": no value: ")) << secret;
    // What is no value of the user's own.
    for (const char *other : {"%<HOME>", "%2", "%A=B"})
        EXPECT_THAT(told(&client, "WRITE \"" + std::string(other) + "\""), Not(HasSubstr("For "))) << other;
}

TEST(LspValues, OfTheUserWhomTheEditorChooses) {
    LspClient client({}, acme);
    begin(&client, {{"user", ".mlee.emea.sales.acme"}, {"tree", "ACME"}});
    EXPECT_THAT(told(&client, "WRITE \"%FULL_NAME\""), HasSubstr("For `mlee.emea.sales.acme`: `Mina Lee`"));
    const auto settings = [&](const Json &user) {
        client.notify("workspace/didChangeConfiguration", {{"settings", {{"qrtscript", {{"user", user}}}}}});
    };
    settings(".jdoe.sales.acme");
    EXPECT_THAT(told(&client, "WRITE \"%FULL_NAME\""), HasSubstr("For `jdoe.sales.acme`: `Jane Doe`"));
    settings(3);
    EXPECT_THAT(told(&client, "WRITE \"%FULL_NAME\""), HasSubstr("For `jdoe.sales.acme`: `Jane Doe`"));
    settings("");
    EXPECT_EQ(told(&client, "WRITE \"%FULL_NAME\""),
              "`%FULL_NAME`: the user's full name and surname; `not set` if there is none");
    LspClient other({}, acme);
    EXPECT_EQ(other.initialize(Json::object(), "", {{"user", Json::array()}}).at("code"), -32602);
}

TEST(LspValues, AreReadAsTheAdministrator) {
    const auto told_with = [](const std::string &password) {
        LspClient client({"--user=.jdoe.sales.acme", "--as=.admin.acme", "--password-fd=3"}, acme, password);
        begin(&client);
        // The second question needs the password again.
        told(&client, "WRITE \"%FULL_NAME\"");
        return told(&client, "WRITE \"%TITLE\"");
    };
    EXPECT_THAT(told_with("starfish\n"), HasSubstr(": `Account manager`"));
    EXPECT_THAT(told_with("wrong\n"), HasSubstr("\n\nFor `.jdoe.sales.acme`: not known: cannot log in as "
                                                ".admin.acme to tree ACME: wrong password"));
    LspClient unasked({"--user=.jdoe.sales.acme", "--as=.admin.acme"}, acme);
    begin(&unasked);
    EXPECT_THAT(told(&unasked, "WRITE \"%TITLE\""), HasSubstr(": not known: "));
    LspClient wrong({"--password-fd=3"}, acme);
    EXPECT_EQ(wrong.finish(), 2);
    LspClient taken({"--as=x", "--password-fd=0"}, acme);
    EXPECT_EQ(taken.finish(), 2);
}

TEST(LspValues, WhyThereIsNoneIsTold) {
    const struct {
        Words options;
        const char *told;
    } rows[] = {
        {{"--user=.nobody.acme"}, "For `.nobody.acme`: not known: cannot plan a login of .nobody.acme to tree ACME: "},
        {{"--user=.jdoe.sales.acme", "--tree=NOWHERE"}, "For `.jdoe.sales.acme`: not known: cannot use tree NOWHERE"},
        {{"--user=`\n#"}, "For `'\\x0A#`: not known: "},
    };
    for (const auto &row : rows) {
        LspClient client(row.options, acme);
        begin(&client);
        EXPECT_THAT(told(&client, "WRITE \"%TITLE\""), HasSubstr(row.told));
    }
}

TEST(LspValues, CannotLeaveTheirPlaceInTheText) {
    TempFolder site;
    site.write("client.toml", "[[tree]]\nname = \"ACME\"\nldif = \"acme.ldif\"\n");
    site.write("acme.ldif",
               "dn: o=acme\nobjectClass: organization\no: acme\n\ndn: cn=x,o=acme\n"
               "objectClass: inetOrgPerson\ncn: x\nsn: x\ntitle: ``` # Hello\n"
               "description: " +
                   std::string(499, 'y') + "\xC3\xA4\xC3\xA4" + "\n");
    LspClient client({"--user=.x.acme"}, {{"ZKCLIENT_CONF", site.path("client.toml")}});
    begin(&client);
    EXPECT_THAT(told(&client, "WRITE \"%TITLE\""), testing::EndsWith(": `''' # Hello`"));
    EXPECT_THAT(told(&client, "WRITE \"%DESCRIPTION\""), testing::EndsWith("yyy` ..."));
}

TEST(LspValues, ASilentDirectoryHoldsNobodyUp) {
    const SilentServer server;
    LspClient client({"--user=.jdoe.sales.acme"}, server.variables());
    begin(&client);
    client.change(0, 0, 1000, "WRITE \"%TITLE\"");
    const int first = client.askLater("hover", 0, 8), second = client.askLater("hover", 0, 8);
    // Meanwhile all else goes on.
    EXPECT_EQ(client.ask("foldingRange"), Json::array());
    EXPECT_EQ(client.change(0, 0, 5, "FOO").size(), 1U);
    for (const int id : {first, second}) {
        const Json answer = client.receive();
        EXPECT_EQ(answer.at("id"), id);
        EXPECT_EQ(text_of(answer.at("result")),
                  "`%TITLE`: the attribute of that name of the user's object\n\n"
                  "For `.jdoe.sales.acme`: not known: the directory has not answered within 3 seconds");
    }
    EXPECT_EQ(server.visitors(), 1) << "it is left alone for a while";
}

TEST(LspValues, AQuestionCanBeCancelled) {
    const SilentServer server;
    LspClient client({"--user=.jdoe.sales.acme"}, server.variables());
    begin(&client);
    client.change(0, 0, 1000, "WRITE \"%TITLE\"");
    const int first = client.askLater("hover", 0, 8), second = client.askLater("hover", 0, 8),
              third = client.askLater("hover", 0, 8);
    for (const int id : {second, first}) {
        client.notify("$/cancelRequest", {{"id", id}});
        const Json answer = client.receive();
        EXPECT_EQ(answer.at("id"), id);
        EXPECT_EQ(answer.at("error").at("code"), -32800);
    }
    // The end answers what is left.
    client.notify("$/cancelRequest", {{"id", "none"}});
    client.sendBytes(lsp_frame(R"({"id":"end","method":"shutdown"})"));
    const Json answer = client.receive();
    EXPECT_EQ(answer.at("id"), third);
    EXPECT_EQ(text_of(answer.at("result")), "`%TITLE`: the attribute of that name of the user's object");
    EXPECT_EQ(client.receive().at("id"), "end");
    client.notify("exit", nullptr);
    EXPECT_EQ(client.finish(), 0);
}
