// A local socket is as good as who listens behind it.
#include <grp.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#include <filesystem>

#include "platform/client/core/config.h"
#include "platform/client/ldap/stream.h"
#include "platform/client/ldap/uri.h"
#include "tests/ldap/ldap_site.h"

namespace {

// A socket on which another user listens, who keeps what is said to it.
class ForeignSocket {
  public:
    explicit ForeignSocket(uid_t user) {
        std::filesystem::permissions(folder.path(), std::filesystem::perms::all);
        int ready[2];
        EXPECT_EQ(pipe(ready), 0);
        process.emplace([&] { serve(user, ready[1]); });
        close(ready[1]);
        char byte = 0;
        EXPECT_EQ(read(ready[0], &byte, 1), 1);
        close(ready[0]);
    }
    std::string uri() const { return local_uri(folder.path("ldapi")); }
    // Has it received anything?
    bool heard() const { return std::filesystem::exists(folder.path("heard")); }

  private:
    [[noreturn]] void serve(uid_t user, int ready) {
        if (setgroups(0, nullptr) != 0 || setgid(user) != 0 || setuid(user) != 0) _exit(1);
        umask(0); // for whoever may connect
        const int listener = listen_at(folder.path("ldapi"));
        if (write(ready, "r", 1) != 1) _exit(1);
        for (;;) {
            int client = accept(listener, nullptr, nullptr);
            char byte = 0;
            if (recv(client, &byte, 1, 0) == 1) folder.write("heard", "something");
            close(client);
        }
    }

    TempFolder folder;
    std::optional<ServerProcess> process;
};

class LocalPeer : public LdapSite {
  protected:
    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "only root makes a socket of another user";
    }
    static constexpr uid_t stranger = 65534;
};

// Is the socket taken with this ldapi_owner?
bool is_taken(const ForeignSocket &socket, const std::string &owner) {
    bool loopback = false;
    try {
        close(ldap_stream_connect(ldap_uri_parse(socket.uri()), owner, LdapClock::now() + std::chrono::seconds(5),
                                  &loopback));
        return true;
    } catch (const LdapTrouble &trouble) {
        EXPECT_TRUE(trouble.distrusted) << trouble.what();
        return false;
    }
}

} // namespace

TEST_F(LocalPeer, ASocketOfAStrangerReceivesNothing) {
    ForeignSocket socket(stranger);
    onStrictServers({socket.uri()});
    EXPECT_EQ(loginHere(), ZKE_DIRECTORY_UNREACHABLE);
    EXPECT_EQ(lastError(),
              socket.uri() + ": the server's user, number 65534, is neither root nor ldapi_owner (openldap)");
    EXPECT_FALSE(socket.heard());
}

TEST_F(LocalPeer, TheOwnerIsTheOneOfTheConfiguration) {
    ForeignSocket socket(stranger);
    EXPECT_TRUE(is_taken(socket, "65534"));
    EXPECT_TRUE(is_taken(socket, "nobody"));
    EXPECT_TRUE(is_taken(socket, "000065534"));
    for (const char *owner : {"0000065534", "6553/", "6553:", "", "openldap", "nobody ", "655", "0", "no-such-user"})
        EXPECT_FALSE(is_taken(socket, owner)) << owner;
}

// Root is trusted by everybody, and everybody by themselves.
TEST_F(LocalPeer, RootAndTheUsersOwnServerNeedNoOwner) {
    const ForeignSocket roots(0), strangers(stranger), others(stranger - 1);
    ASSERT_EQ(seteuid(stranger), 0);
    const bool root = is_taken(roots, ""), own = is_taken(strangers, ""), other = is_taken(others, "");
    ASSERT_EQ(seteuid(0), 0);
    EXPECT_TRUE(root);
    EXPECT_TRUE(own);
    EXPECT_FALSE(other);
}

TEST_F(LocalPeer, DebiansServerNeedsNoOption) {
    const passwd *openldap = getpwnam("openldap");
    if (openldap == nullptr) GTEST_SKIP() << "slapd's package has made no user";
    ForeignSocket socket(openldap->pw_uid);
    EXPECT_TRUE(is_taken(socket, ConfigLdap().localOwner));
}
