#include "tests/support/servers.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <stdexcept>

sockaddr_in loopback(int port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int listen_on_loopback(int *port, int waiting) {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    if (bind(listener, reinterpret_cast<sockaddr *>(&address), size) != 0 || listen(listener, waiting) != 0 ||
        getsockname(listener, reinterpret_cast<sockaddr *>(&address), &size) != 0)
        throw std::runtime_error("no free port");
    *port = ntohs(address.sin_port);
    return listener;
}

int listen_at(const std::string &path) {
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 || listen(listener, 64) != 0)
        throw std::runtime_error("cannot listen at " + path);
    return listener;
}

std::string local_uri(const std::string &path) {
    std::string uri = "ldapi://";
    for (const char c : path) uri += c == '/' ? "%2F" : std::string(1, c);
    return uri;
}

int free_port() {
    int port = 0;
    close(listen_on_loopback(&port));
    return port;
}

static bool answers(int port) {
    const int made = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(port);
    const bool connected = connect(made, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    close(made);
    return connected;
}

ServerProcess::ServerProcess(const std::function<void()> &body) : id_(fork()) {
    if (id_ != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    body();
    _exit(125);
}

ServerProcess::ServerProcess(const Words &words, const std::string &log, int port)
    : ServerProcess([&] {
          std::vector<char *> list;
          for (const std::string &word : words) list.push_back(const_cast<char *>(word.c_str()));
          list.push_back(nullptr);
          const int file = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
          dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO); // some end with a pipe that is their input
          dup2(file, STDOUT_FILENO);
          dup2(file, STDERR_FILENO);
          execv(list[0], list.data());
      }) {
    for (; !answers(port); poll(nullptr, 0, 10)) {
        if (waitpid(id_, nullptr, WNOHANG) == 0) continue;
        id_ = -1;
        throw std::runtime_error(words[0] + " does not start: " + file_text(log));
    }
}

ServerProcess::~ServerProcess() {
    end(SIGKILL);
}

void ServerProcess::signal(int number) const {
    ::kill(id_, number);
}

void ServerProcess::end(int number) {
    if (id_ <= 0) return;
    signal(number);
    waitpid(id_, nullptr, 0);
    id_ = -1;
}
