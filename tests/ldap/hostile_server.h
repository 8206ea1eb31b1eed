// A server on a loopback port that does everything wrong, in a process of its own.
#ifndef TESTS_LDAP_HOSTILE_SERVER_H
#define TESTS_LDAP_HOSTILE_SERVER_H

#include <sys/types.h>
#include <string>

enum class Hostility {
    Silent,          // takes the connection and says nothing
    Drips,           // begins an answer and goes on with a byte now and then
    Garbage,         // answers in another protocol
    ClaimsTwoGiga,   // begins an answer of 2 GB
    ClosesMidAnswer, // begins an answer and closes
    WrongInside,     // a message of the right length with nonsense in it
    RefersOn,        // answers every search with a referral to a further place of its own
    DiesAtBind,      // passes everything on to `behind`, and dies when somebody logs in
    DiesAtSearch,    // passes everything on to `behind`, and dies at the second search
};

class HostileServer {
  public:
    explicit HostileServer(Hostility hostility, int behind = 0);
    ~HostileServer();
    HostileServer(const HostileServer &) = delete;
    HostileServer &operator=(const HostileServer &) = delete;

    std::string uri(const std::string &scheme = "ldap") const {
        return scheme + "://127.0.0.1:" + std::to_string(port);
    }

    // How many connections it has taken.
    int connections() const { return *taken; }

  private:
    volatile int *taken; // shared with the process
    int port = 0;
    pid_t process = -1;
};

#endif
