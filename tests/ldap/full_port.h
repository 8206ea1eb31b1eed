// A server that takes no connection and refuses none.
#ifndef TESTS_LDAP_FULL_PORT_H
#define TESTS_LDAP_FULL_PORT_H

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#include <string>

// A port whose queue is full: a connection to it is not made in any time.
class FullPort {
  public:
    FullPort() {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto *place = reinterpret_cast<sockaddr *>(&address);
        taker = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(bind(taker, place, length), 0);
        EXPECT_EQ(listen(taker, 0), 0);
        EXPECT_EQ(getsockname(taker, place, &length), 0);
        port = ntohs(address.sin_port);
        for (int &one : waiting) {
            one = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
            connect(one, place, length);
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
    int taker = -1, port = 0;
    int waiting[4] = {};
};

#endif
