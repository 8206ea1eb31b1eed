// A login on a server's word for the process's user holds only if the server says that it is that user. The server here
// takes every login, finds nothing, and says what the test tells it to.
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <optional>

#include "tests/ldap/ldap_site.h"

namespace {

using namespace std::string_literals;

// With its length before it; for short texts.
std::string sized(const std::string &text) {
    return static_cast<char>(text.size()) + text;
}

class SayingServer {
  public:
    // Without a name the answer holds none.
    explicit SayingServer(const std::optional<std::string> &name) {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        folder.path("socket").copy(address.sun_path, sizeof address.sun_path - 1);
        int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 || listen(listener, 4) != 0)
            throw std::runtime_error("no socket for the server");
        process = fork();
        if (process == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            for (;;) serve(accept(listener, nullptr, nullptr), name);
        }
        close(listener);
    }
    ~SayingServer() {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
    }
    std::string uri() const {
        std::string host = folder.path("socket");
        for (size_t at = host.find('/'); at != std::string::npos; at = host.find('/')) host.replace(at, 1, "%2F");
        return "ldapi://" + host;
    }

  private:
    static void serve(int client, const std::optional<std::string> &name) {
        unsigned char bytes[65536];
        while (recv(client, bytes, sizeof bytes, 0) > 0) {
            const size_t number = (bytes[1] & 0x80) != 0 ? 4 + (bytes[1] & 0x7Fu) : 4;
            std::string result = "\x0A\x01\0\x04\0\x04\0"s;
            char kind = '\x65'; // the end of a search
            if (bytes[number + 1] == 0x60) kind = '\x61';
            if (bytes[number + 1] == 0x77) {
                kind = '\x78';
                if (name) result += "\x8B" + sized(*name);
            }
            const std::string body = "\x02\x01"s + static_cast<char>(bytes[number]) + kind + sized(result);
            const std::string message = "\x30" + sized(body);
            if (send(client, message.data(), message.size(), MSG_NOSIGNAL) < 0) break;
        }
        close(client);
    }

    TempFolder folder;
    pid_t process = -1;
};

class WhoAmI : public LdapSite {
  protected:
    // Whom the server says the process to be: is it jdoe?
    bool isTaken(const std::optional<std::string> &name) {
        Outcome outcome = loginWhereServerSays(name, "jdoe.sales.acme");
        // Whoever is taken for the user is looked for next, and is not there.
        EXPECT_EQ(outcome.status, 2) << outcome.err;
        return outcome.err.find("does not show") != std::string::npos;
    }

    Outcome loginWhereServerSays(const std::optional<std::string> &name, const std::string &user) {
        SayingServer server(name);
        TempFolder site;
        setenv("HOME", site.path().c_str(), 1);
        site.write("client.toml", "[[tree]]\nname = \"ACME\"\nuris = [\"" + server.uri() +
                                      "\"]\nsasl_external = true\nsearch_base = \"o=acme\"\n");
        environment["ZKCLIENT_CONF"] = site.path("client.toml");
        return loginWithoutPassword(user);
    }
};

} // namespace

TEST_F(WhoAmI, TheServerHasToNameTheUser) {
    EXPECT_TRUE(isTaken("dn:cn=jdoe,ou=sales,o=acme"));
    EXPECT_TRUE(isTaken("dn:CN=JDoe, ou=Sales,o=acme"));
    EXPECT_TRUE(isTaken("cn=jdoe,ou=sales,o=acme")) << "also without what says that it is a DN";
    EXPECT_FALSE(isTaken("dn:cn=mlee,ou=sales,o=acme"));
    EXPECT_FALSE(isTaken("u:jdoe"));
}

TEST_F(WhoAmI, AnEmptyNameIsNobodys) {
    EXPECT_FALSE(isTaken(std::nullopt));
    EXPECT_FALSE(isTaken(""));
    EXPECT_FALSE(isTaken("dn:"));
    EXPECT_EQ(loginWhereServerSays("", "[Root]").status, 5) << "nor the root's, whose name is empty";
}
