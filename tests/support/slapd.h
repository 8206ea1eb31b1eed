// A real LDAP server of the test's own: on a loopback port, with its data in a temporary folder, gone with the object.
#ifndef TESTS_SUPPORT_SLAPD_H
#define TESTS_SUPPORT_SLAPD_H

#include <optional>
#include <string>
#include <vector>

#include "tests/support/servers.h"

// The sample tree's LDIF as slapadd takes it: without the version line, files by their full path.
std::string sample_ldif();

class Slapd {
  public:
    struct Setup {
        std::string ldif; // loaded before the server starts
        std::string suffix = "o=acme";
        std::string global;   // lines of slapd.conf before the database
        std::string database; // lines of slapd.conf after the database's own
        std::string access = "access to attrs=userPassword by anonymous auth by * none\naccess to * by * read\n";
        std::vector<std::string> schemas = {"core", "cosine", "inetorgperson"}; // the server's own
        bool ownSchema = true; // false: a server that has never heard of this client
        std::string schemes = "ldap";
        int port = 0; // 0: a free one
        int securePort = 0;
    };

    explicit Slapd(const Setup &setup);

    std::string uri() const { return "ldap://127.0.0.1:" + std::to_string(port_); }
    std::string uri(const std::string &scheme) const;
    std::string localUri() const;
    int port() const { return port_; }

    void kill();
    // Stops the server and hands out what it logged.
    std::string log();
    // The operations in the log: requests of all kinds, one for each.
    std::vector<std::string> operations();

  private:
    void load(const std::string &ldif);

    TempFolder folder;
    int port_;
    int securePort_;
    std::optional<ServerProcess> server;
};

#endif
