// A server on a loopback port that does everything wrong, in a process of its own.
#ifndef TESTS_LDAP_HOSTILE_SERVER_H
#define TESTS_LDAP_HOSTILE_SERVER_H

#include <functional>
#include <optional>
#include <utility>

#include "tests/support/servers.h"

enum class Hostility {
    Silent,          // takes the connection and says nothing
    Drips,           // begins an answer and goes on with a byte now and then
    Garbage,         // answers in another protocol
    ClaimsTwoGiga,   // begins an answer of 2 GB
    ClosesMidAnswer, // begins an answer and closes
    ClosesAtOnce,    // closes instead of an answer
    WrongInside,     // a message of the right length with nonsense in it
    RefersOn,        // answers every search with a referral to a further place of its own
    DiesAtBind,      // passes everything on to `behind`, and dies when somebody logs in
    DiesAtSearch,    // passes everything on to `behind`, and dies at the second search
};

// What a server answers to its first request of a kind, to the second and so on, the last one for good. An answer is a
// list of operations as they stand in LDAP messages.
struct Scripted {
    using Answer = std::vector<std::string>;
    std::vector<Answer> binds;
    std::vector<Answer> searches;
    std::vector<Answer> extended;
    std::vector<Answer> modifies = {};

    // With what the server says to the code, and with the URIs of a referral.
    static std::string bound(int code = 0, const std::string &text = "", const std::vector<std::string> &uris = {});
    // The end of a search, in the same way.
    static std::string done(int code = 0, const std::string &text = "", const std::vector<std::string> &uris = {});
    static std::string modified(int code = 0, const std::string &text = "", const std::vector<std::string> &uris = {});
    // Says, beside the entries of a search, where more of them are.
    static std::string reference(const std::vector<std::string> &uris);
    static std::string entry(const std::string &dn, const std::vector<std::pair<std::string, std::string>> &attributes);
    static std::string youAre(const std::optional<std::string> &who); // the answer to "Who am I?"
    static std::string unknown();                                     // of an extended request
    // Comes behind an operation: controls, by number and value.
    static std::string controls(const std::vector<std::pair<std::string, std::string>> &list);
};

class HostileServer {
  public:
    explicit HostileServer(Hostility hostility, int behind = 0);
    explicit HostileServer(const Scripted &script);
    // At a path instead of a port.
    HostileServer(const std::string &path, const Scripted &script);
    // For a script that names the server itself.
    explicit HostileServer(const std::function<Scripted(const std::string &uri)> &script);
    ~HostileServer();
    HostileServer(const HostileServer &) = delete;
    HostileServer &operator=(const HostileServer &) = delete;

    std::string uri(const std::string &scheme = "ldap") const {
        return scheme + "://127.0.0.1:" + std::to_string(port);
    }

    int portNumber() const { return port; }
    // How many connections it has taken.
    int connections() const { return *taken; }
    // Closes the last connection, and takes further ones.
    void closeConnection();
    // How many logins it has answered by its script.
    int logins() const { return taken[1]; }
    int searches() const { return taken[2]; }
    int modifies() const { return taken[5]; }
    // How many changes with a condition (RFC 4528) have come.
    int conditions() const { return taken[6]; }

  private:
    void start(int listener, const std::function<void(int client)> &serveClient);

    volatile int *taken; // shared with the process
    int port = 0;
    std::optional<ServerProcess> process;
};

#endif
