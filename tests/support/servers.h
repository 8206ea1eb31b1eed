// The sockets and processes of the servers that tests start on this machine.
#ifndef TESTS_SUPPORT_SERVERS_H
#define TESTS_SUPPORT_SERVERS_H

#include <netinet/in.h>
#include <sys/types.h>
#include <functional>

#include "tests/support/process.h"

sockaddr_in loopback(int port);
// A socket that listens on a free port of 127.0.0.1, which is returned in `port`.
int listen_on_loopback(int *port, int waiting = 16);
// A socket that listens at a path, and the URI of LDAP for it.
int listen_at(const std::string &path);
std::string local_uri(const std::string &path);

// A TCP port on 127.0.0.1 that nobody uses at the moment.
int free_port();

// A server's process, gone with the object.
class ServerProcess {
  public:
    // A program, which writes to the file `log`; returns when its port takes connections.
    ServerProcess(const Words &words, const std::string &log, int port);
    // A function in a copy of this process.
    explicit ServerProcess(const std::function<void()> &body);
    ~ServerProcess();
    ServerProcess(const ServerProcess &) = delete;
    ServerProcess &operator=(const ServerProcess &) = delete;

    void signal(int number) const;
    // Sends the signal and waits for the end; does nothing if it has ended.
    void end(int number);

  private:
    pid_t id_ = -1;
};

#endif
