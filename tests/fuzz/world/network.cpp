#include "tests/fuzz/world/network.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <resolv.h>
#include <sys/socket.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <vector>

#include "tests/fuzz/fuzz.h"

const NetworkPeer *network_peer = nullptr;

static std::vector<int> sockets; // made since the last check
static int silent = -1;          // the socket whose peer says nothing more

// A name has an address unless it begins with "no".
struct Address {
    addrinfo info;
    sockaddr_storage place;
};

int network_close(int descriptor) {
    return network_peer ? close(descriptor) : 0;
}

void network_check_closed() {
    for (const int one : sockets) FUZZ_CHECK(fcntl(one, F_GETFD) < 0);
    sockets.clear();
    silent = -1;
}

// ---- the calls of the C library that the code under test makes ----

extern "C" {

// libldap waits for the descriptor itself: the null device is ready at once, for reading and for writing.
int fuzz_socket(int, int, int) {
    if (!network_peer) return 3;
    static const int ready = open("/dev/null", O_RDWR | O_CLOEXEC);
    const int descriptor = fcntl(ready, F_DUPFD_CLOEXEC, 3);
    FUZZ_CHECK(descriptor >= 0);
    sockets.erase(std::remove(sockets.begin(), sockets.end(), descriptor), sockets.end());
    sockets.push_back(descriptor);
    return descriptor;
}

// No domain lists its servers.
int fuzz_res_ninit(struct __res_state *) {
    return 0;
}

void fuzz_res_nclose(struct __res_state *) {}

int fuzz_res_nquery(struct __res_state *state, const char *, int, int, unsigned char *, int) {
    state->res_h_errno = HOST_NOT_FOUND;
    return -1;
}

// The interface has no address.
int fuzz_ioctl(int, unsigned long, ...) {
    return -1;
}

int fuzz_connect(int descriptor, const sockaddr *, socklen_t) {
    silent = -1;
    errno = network_peer->take(descriptor);
    return errno == 0 ? 0 : -1;
}

int fuzz_getsockopt(int, int, int option, void *value, socklen_t *size) {
    if (option == SO_PEERCRED) {
        const ucred peer = {1, geteuid(), getegid()};
        memcpy(value, &peer, std::min<size_t>(*size, sizeof peer));
    } else {
        memset(value, 0, *size);
    }
    return 0;
}

int fuzz_setsockopt(int, int, int, const void *, socklen_t) {
    return 0;
}

int fuzz_poll(pollfd *files, nfds_t, int) {
    if (files->events == POLLIN && files->fd == silent) return 0;
    files->revents = files->events;
    return 1;
}

ssize_t fuzz_send(int descriptor, const void *data, size_t size, int) {
    network_peer->heard(descriptor, {static_cast<const char *>(data), size});
    return static_cast<ssize_t>(size);
}

ssize_t fuzz_recv(int descriptor, void *data, size_t size, int) {
    const ssize_t got = network_peer->say(descriptor, static_cast<char *>(data), size);
    if (got >= 0) return got;
    if (got == -EAGAIN) silent = descriptor;
    errno = static_cast<int>(-got);
    return -1;
}

// None is looked up on a thread: what is no address by itself has one all the same.
int fuzz_getaddrinfo(const char *host, const char *, const addrinfo *, addrinfo **found) {
    if (strncmp(host, "no", 2) == 0) return EAI_FAIL;
    auto *made = static_cast<Address *>(calloc(1, sizeof(Address)));
    FUZZ_CHECK(made);
    const bool six = strchr(host, ':') != nullptr;
    auto *four_place = reinterpret_cast<sockaddr_in *>(&made->place);
    auto *six_place = reinterpret_cast<sockaddr_in6 *>(&made->place);
    made->place.ss_family = six ? AF_INET6 : AF_INET;
    if (six)
        six_place->sin6_addr = in6addr_loopback;
    else
        four_place->sin_addr.s_addr = htonl(strncmp(host, "127.", 4) == 0 ? INADDR_LOOPBACK : 0xC0000201);
    made->info.ai_family = made->place.ss_family;
    made->info.ai_addr = reinterpret_cast<sockaddr *>(&made->place);
    made->info.ai_addrlen = six ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
    *found = &made->info;
    return 0;
}

void fuzz_freeaddrinfo(addrinfo *list) {
    free(list);
}

} // extern "C"
