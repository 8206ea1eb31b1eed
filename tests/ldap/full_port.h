// A server that takes no connection and refuses none.
#ifndef TESTS_LDAP_FULL_PORT_H
#define TESTS_LDAP_FULL_PORT_H

#include <sys/socket.h>
#include <unistd.h>

#include "tests/support/servers.h"

// A port whose queue is full: a connection to it is not made in any time.
class FullPort {
  public:
    FullPort() : taker(listen_on_loopback(&port, 0)) {
        const sockaddr_in address = loopback(port);
        for (int &one : waiting) {
            one = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
            connect(one, reinterpret_cast<const sockaddr *>(&address), sizeof address);
        }
    }
    ~FullPort() {
        close(taker);
        for (int one : waiting) close(one);
    }
    FullPort(const FullPort &) = delete;
    FullPort &operator=(const FullPort &) = delete;
    std::string uri() const { return "ldap://127.0.0.1:" + std::to_string(port); }

  private:
    int port = 0, taker = -1;
    int waiting[4] = {};
};

#endif
