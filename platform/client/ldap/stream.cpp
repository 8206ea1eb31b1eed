#include "platform/client/ldap/stream.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "platform/catalogue.h"
#include "platform/client/core/descriptor.h"
#include "platform/client/core/waiting.h"
#include "platform/client/ldap/resolver.h"
#include "platform/zk.h"

static constexpr size_t read_ahead_size = size_t{16} * 1024;
// Above the transport itself and below everything that libldap puts on it; above TLS and what a ticket's key encrypts,
// where messages are in the clear.
static constexpr int wire_level = LBER_SBIOD_LEVEL_PROVIDER + 1;
static constexpr int message_level = LBER_SBIOD_LEVEL_APPLICATION + 1;
static constexpr long long longest_wait = 3'600'000; // what poll can be given at a time
static constexpr size_t user_entry_size = size_t{64} * 1024;
static constexpr size_t user_number_digits = 9;
static constexpr int failed = -1; // as the system's calls

static int milliseconds_until(LdapDeadline deadline) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - LdapClock::now()).count();
    return static_cast<int>(std::clamp<long long>(left, 0, longest_wait));
}

// 1 ready, 0 the deadline has passed, -1 an error.
static int poll_until(int descriptor, short events, LdapDeadline deadline) {
    for (;;) {
        pollfd one = {};
        one.fd = descriptor;
        one.events = events;
        const LdapDeadline next = ldap_waiting_step(deadline);
        int ready = poll(&one, 1, milliseconds_until(next));
        if (ready == 0 && next != deadline)
            ldap_waiting_tell();
        else if (ready >= 0 || errno != EINTR)
            return ready;
    }
}

static LdapWatch *watch_of(Sockbuf_IO_Desc *layer) {
    return static_cast<LdapWatch *>(layer->sbiod_pvt);
}

static int layer_setup(Sockbuf_IO_Desc *layer, void *watch) {
    layer->sbiod_pvt = watch;
    return 0;
}

static int layer_ctrl(Sockbuf_IO_Desc *layer, int option, void *argument) {
    return LBER_SBIOD_CTRL_NEXT(layer, option, argument);
}

static int descriptor_of(Sockbuf_IO_Desc *layer) {
    ber_socket_t descriptor = failed;
    ber_sockbuf_ctrl(layer->sbiod_sb, LBER_SB_OPT_GET_FD, &descriptor);
    return descriptor;
}

static int wire_ctrl(Sockbuf_IO_Desc *layer, int option, void *argument) {
    // Otherwise libldap would wait for the socket to say what is here already.
    if (option == LBER_SB_OPT_DATA_READY && watch_of(layer)->hasReadAhead()) return 1;
    return LBER_SBIOD_CTRL_NEXT(layer, option, argument);
}

// Straight to the socket: libldap's own layer would raise SIGPIPE in the calling program when a server is gone.
static ber_slen_t wire_read(Sockbuf_IO_Desc *layer, void *buffer, ber_len_t size) {
    return watch_of(layer)->read(descriptor_of(layer), static_cast<unsigned char *>(buffer), size);
}

static ber_slen_t wire_write(Sockbuf_IO_Desc *layer, void *buffer, ber_len_t size) {
    LdapWatch *watch = watch_of(layer);
    for (;;) {
        if (!watch->waitFor(descriptor_of(layer), POLLOUT)) return failed;
        ber_slen_t put = send(descriptor_of(layer), buffer, size, MSG_NOSIGNAL);
        if (put >= 0 || (errno != EINTR && errno != EAGAIN)) return put;
    }
}

static ber_slen_t message_read(Sockbuf_IO_Desc *layer, void *buffer, ber_len_t size) {
    ber_slen_t got = LBER_SBIOD_READ_NEXT(layer, buffer, size);
    if (got > 0 && !watch_of(layer)->takeBytes(static_cast<unsigned char *>(buffer), static_cast<size_t>(got))) {
        errno = EBADMSG;
        return failed;
    }
    return got;
}

// A request may hold a password, and libldap frees it as it is: what has been sent is not read again.
static ber_slen_t message_write(Sockbuf_IO_Desc *layer, void *buffer, ber_len_t size) {
    ber_slen_t put = LBER_SBIOD_WRITE_NEXT(layer, buffer, size);
    if (put > 0) explicit_bzero(buffer, static_cast<size_t>(put));
    return put;
}

static Sockbuf_IO wire_layer = {layer_setup, nullptr, wire_ctrl, wire_read, wire_write, nullptr};
static Sockbuf_IO message_layer = {layer_setup, nullptr, layer_ctrl, message_read, message_write, nullptr};

// The socket stays non-blocking: every wait is the watch's own.
static int connect_one(int family, const sockaddr *address, socklen_t length, LdapDeadline deadline, std::string *why) {
    Descriptor made(socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (made.number == failed) {
        *why = strerror(errno);
        return failed;
    }
    int error = connect(made.number, address, length) == 0 ? 0 : errno;
    if (error == EINPROGRESS) {
        socklen_t size = sizeof error;
        if (poll_until(made.number, POLLOUT, deadline) == 0)
            error = ETIMEDOUT;
        else
            getsockopt(made.number, SOL_SOCKET, SO_ERROR, &error, &size);
    }
    if (error != 0) {
        *why = strerror(error);
        return failed;
    }
    int on = 1;
    setsockopt(made.number, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on); // a local socket has no such option
    return made.release();
}

static bool is_loopback(const sockaddr *address) {
    if (address->sa_family == AF_INET) {
        sockaddr_in four;
        memcpy(&four, address, sizeof four);
        return (ntohl(four.sin_addr.s_addr) >> 24) == 127;
    }
    sockaddr_in6 six;
    memcpy(&six, address, sizeof six);
    return IN6_IS_ADDR_LOOPBACK(&six.sin6_addr) != 0;
}

// The number of a user by name or number; false when there is none.
static bool find_user(const std::string &name, uid_t *user) {
    if (!name.empty() && name.size() <= user_number_digits &&
        name.find_first_not_of("0123456789") == std::string::npos) {
        *user = static_cast<uid_t>(strtoul(name.c_str(), nullptr, 10));
        return true;
    }
    passwd entry = {};
    passwd *found = nullptr;
    std::vector<char> space(user_entry_size);
    if (name.empty() || getpwnam_r(name.c_str(), &entry, space.data(), space.size(), &found) != 0 || found == nullptr)
        return false;
    *user = found->pw_uid;
    return true;
}

// The path proves nothing: another socket may be there by now. The kernel knows who has called listen().
static void check_local_peer(int descriptor, const LdapUri &uri, const std::string &owner) {
    ucred peer = {};
    socklen_t size = sizeof peer;
    if (getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
        throw LdapTrouble(ZKE_DIRECTORY_UNREACHABLE,
                          catalogue_format("%1$s: cannot connect: %2$s", uri.text.c_str(), strerror(errno)), true);
    }
    uid_t allowed = 0;
    if (peer.uid != 0 && peer.uid != geteuid() && !(find_user(owner, &allowed) && peer.uid == allowed)) {
        throw LdapTrouble(
            ZKE_DIRECTORY_UNREACHABLE,
            catalogue_format("%1$s: the server's user, number %2$u, is neither root nor ldapi_owner (%3$s)",
                             uri.text.c_str(), static_cast<unsigned>(peer.uid), owner.c_str()),
            true);
    }
}

static int connect_local(const LdapUri &uri, LdapDeadline deadline, std::string *why) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (uri.host.size() >= sizeof address.sun_path) {
        *why = catalogue_text("the path is too long");
        return failed;
    }
    uri.host.copy(address.sun_path, uri.host.size());
    return connect_one(AF_UNIX, reinterpret_cast<sockaddr *>(&address), sizeof address, deadline, why);
}

static int connect_network(const LdapUri &uri, LdapDeadline deadline, bool *loopback, std::string *why) {
    LdapAddresses list = ldap_resolve(uri, deadline);
    for (const addrinfo *one = list.get(); one != nullptr; one = one->ai_next) {
        int connected = connect_one(one->ai_family, one->ai_addr, one->ai_addrlen, deadline, why);
        if (connected != failed) {
            *loopback = is_loopback(one->ai_addr);
            return connected;
        }
    }
    return failed;
}

void LdapWatch::begin(LdapDeadline until) {
    until_ = until;
    received_ = 0;
}

void LdapWatch::attach(LDAP *ld) {
    Sockbuf *stream = nullptr;
    if (ldap_get_option(ld, LDAP_OPT_SOCKBUF, &stream) != LDAP_OPT_SUCCESS ||
        ber_sockbuf_add_io(stream, &wire_layer, wire_level, this) != 0 ||
        ber_sockbuf_add_io(stream, &message_layer, message_level, this) != 0)
        throw LdapTrouble(ZKE_DIRECTORY_UNREACHABLE, catalogue_text("cannot set limits in libldap"));
    ber_len_t limit = ldap_message_limit;
    ber_sockbuf_ctrl(stream, LBER_SB_OPT_SET_MAX_INCOMING, &limit);
}

// The first event is the cause, what follows is its consequence.
void LdapWatch::note(Event event) {
    if (happened_ == Nothing) happened_ = event;
}

bool LdapWatch::waitFor(int descriptor, short events) {
    if (poll_until(descriptor, events, until_) == 0) {
        note(TimedOut);
        errno = ETIMEDOUT;
        return false;
    }
    return true; // an error shows when the descriptor is used
}

ber_slen_t LdapWatch::receive(int descriptor, unsigned char *buffer, size_t size) {
    // A server sends an answer in several small pieces, and waits with the second until the first is acknowledged; the
    // system would take its time (40 ms) for that. The setting lasts for a moment only. A local socket has none.
    int now = 1;
    setsockopt(descriptor, IPPROTO_TCP, TCP_QUICKACK, &now, sizeof now);
    for (;;) {
        ber_slen_t got = recv(descriptor, buffer, size, MSG_DONTWAIT);
        if (got < 0 && (errno == EINTR || errno == EAGAIN)) {
            if (!waitFor(descriptor, POLLIN)) return failed;
            continue;
        }
        if (got <= 0) note(Closed);
        return got;
    }
}

size_t LdapWatch::takeAhead(unsigned char *buffer, size_t size) {
    size_t count = std::min(size, ahead_.size() - aheadAt_);
    std::copy_n(ahead_.begin() + static_cast<std::ptrdiff_t>(aheadAt_), count, buffer);
    aheadAt_ += count;
    return count;
}

// libldap reads each message in two small pieces, and a list of a thousand groups is a thousand messages.
ber_slen_t LdapWatch::read(int descriptor, unsigned char *buffer, size_t size) {
    if (!hasReadAhead() && size < read_ahead_size) {
        ahead_.resize(read_ahead_size);
        ber_slen_t got = receive(descriptor, ahead_.data(), ahead_.size());
        ahead_.resize(static_cast<size_t>(std::max<ber_slen_t>(got, 0)));
        aheadAt_ = 0;
        if (got <= 0) return got;
    }
    if (LdapClock::now() > until_) { // as for what is still to come
        note(TimedOut);
        errno = ETIMEDOUT;
        return failed;
    }
    return hasReadAhead() ? static_cast<ber_slen_t>(takeAhead(buffer, size)) : receive(descriptor, buffer, size);
}

bool LdapWatch::takeBytes(const unsigned char *bytes, size_t count) {
    received_ += count;
    LdapFraming::Verdict verdict = framing_.take(bytes, count);
    if (verdict == LdapFraming::Malformed)
        note(Malformed);
    else if (verdict == LdapFraming::Disconnected)
        note(Closed);
    else if (verdict == LdapFraming::TooLarge || received_ > ldap_answer_limit)
        note(TooLarge);
    return happened_ == Nothing;
}

int ldap_stream_connect(const LdapUri &uri, const std::string &localOwner, LdapDeadline deadline, bool *loopback) {
    std::string why;
    *loopback = false;
    Descriptor connected(uri.local ? connect_local(uri, deadline, &why)
                                   : connect_network(uri, deadline, loopback, &why));
    if (connected.number == failed) {
        throw LdapTrouble(ZKE_DIRECTORY_UNREACHABLE,
                          catalogue_format("%1$s: cannot connect: %2$s", uri.text.c_str(), why.c_str()));
    }
    if (uri.local) check_local_peer(connected.number, uri, localOwner);
    return connected.release();
}
