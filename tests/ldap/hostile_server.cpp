#include "tests/ldap/hostile_server.h"

#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <algorithm>
#include <stdexcept>
#include <string_view>

namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

// Connections, binds, searches, extended requests, the last client, changes, changes with a condition.
constexpr size_t shared_size = 7 * sizeof(int);

void say(int client, std::string_view bytes) {
    if (send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL) < 0) _exit(0);
}

void await_request(int client) {
    char bytes[4096];
    if (recv(client, bytes, sizeof bytes, 0) <= 0) _exit(0);
}

void drip(int client) {
    say(client, "\x30\x82\x01\x00\x02\x01\x01\x64"sv);
    for (;;) {
        poll(nullptr, 0, 100); // a slow server is what this is
        say(client, "\x04"sv);
    }
}

// With its length before it.
std::string sized(const std::string &text) {
    if (text.size() < 0x80) return static_cast<char>(text.size()) + text;
    return "\x82"s + static_cast<char>(text.size() >> 8) + static_cast<char>(text.size() & 0xFF) + text;
}

std::string result(char operation, int code, const std::string &text = "", const std::string &more = "") {
    return operation + sized("\x0A\x01"s + static_cast<char>(code) + "\x04\0\x04"s + sized(text) + more);
}

std::string strings(const std::vector<std::string> &texts) {
    std::string list;
    for (const std::string &text : texts) list += "\x04" + sized(text);
    return list;
}

// Nothing without URIs: a result has a referral or none.
std::string referral(const std::vector<std::string> &uris) {
    return uris.empty() ? "" : "\xA3" + sized(strings(uris));
}

[[noreturn]] void stay_silent() {
    for (;;) pause();
}

// The number of a message, as its answer begins.
std::string number_of(const unsigned char *bytes) {
    return "\x02\x01"s + static_cast<char>(bytes[(bytes[1] & 0x80) != 0 ? 4 + (bytes[1] & 0x7Fu) : 4]);
}

// The operation of the small requests that a login sends: after the message's length and a number of one byte.
int operation(const unsigned char *bytes, ssize_t size) {
    size_t at = size > 1 && (bytes[1] & 0x80) != 0 ? 2 + (bytes[1] & 0x7Fu) : 2;
    return size > static_cast<ssize_t>(at) + 3 ? bytes[at + 3] : -1;
}

void pass_on(int client, int behind, Hostility hostility) {
    int server = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = loopback(behind);
    if (connect(server, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) _exit(0);
    int searches = 0;
    for (;;) {
        pollfd both[] = {{client, POLLIN, 0}, {server, POLLIN, 0}};
        poll(both, 2, -1);
        for (const pollfd &one : both) {
            unsigned char bytes[65536];
            if ((one.revents & (POLLIN | POLLHUP)) == 0) continue;
            ssize_t got = recv(one.fd, bytes, sizeof bytes, 0);
            if (got <= 0) _exit(0);
            int asked = one.fd == client ? operation(bytes, got) : -1;
            searches += asked == 0x63 ? 1 : 0;
            bool dies = hostility == Hostility::DiesAtBind ? asked == 0x60 : searches == 2;
            if (dies) ::kill(getppid(), SIGKILL); // the whole server, not only this connection
            if (dies) _exit(0);
            say(one.fd == client ? server : client, {reinterpret_cast<char *>(bytes), static_cast<size_t>(got)});
        }
    }
}

// Every search has its base elsewhere; each time it is another place.
void refer_on(int client, int port) {
    unsigned char bytes[4096];
    for (int place = 0;; place++) {
        ssize_t got = recv(client, bytes, sizeof bytes, 0);
        if (got <= 0) _exit(0);
        if (operation(bytes, got) != 0x63) _exit(0);
        const std::string uri = "ldap://127.0.0.1:" + std::to_string(port) + "/ou=p" + std::to_string(getpid()) + "-" +
                                std::to_string(place) + ",o=acme??sub";
        const std::string result = "\x0A\x01\x0A\x04"s + "\0\x04\0"s + "\xA3" + sized("\x04" + sized(uri));
        const std::string message = number_of(bytes) + "\x65" + sized(result);
        say(client, "\x30" + sized(message));
    }
}

// One request at a time, which is all that a login sends.
void answer_by_script(int client, const Scripted &script, volatile int *counts) {
    struct Kind {
        int operation;
        const std::vector<Scripted::Answer> &answers;
        volatile int &asked;
    } kinds[] = {{0x60, script.binds, counts[0]},
                 {0x63, script.searches, counts[1]},
                 {0x77, script.extended, counts[2]},
                 {0x66, script.modifies, counts[4]}};
    unsigned char bytes[65536];
    for (ssize_t got; (got = recv(client, bytes, sizeof bytes, 0)) > 0;) {
        if (operation(bytes, got) == 0x66) {
            const std::string_view request(reinterpret_cast<const char *>(bytes), static_cast<size_t>(got));
            if (request.find("1.3.6.1.1.12") != request.npos) counts[5] = counts[5] + 1;
            if (script.modifies.empty()) return; // without an answer
        }
        for (Kind &kind : kinds) {
            if (operation(bytes, got) != kind.operation || kind.answers.empty()) continue;
            const size_t turn = std::min(static_cast<size_t>(kind.asked), kind.answers.size() - 1);
            kind.asked = kind.asked + 1;
            for (const std::string &part : kind.answers[turn]) say(client, "\x30" + sized(number_of(bytes) + part));
        }
    }
}

// What is said to the first request, and whether the connection stays open behind it.
const struct {
    Hostility hostility;
    std::string_view bytes;
    bool stays;
} first_words[] = {
    {Hostility::Garbage, "HTTP/1.1 400 Bad Request\r\n\r\n"sv, true},
    {Hostility::ClaimsTwoGiga, "\x30\x84\x7F\xFF\xFF\xFF\x02\x01\x01\x64"sv, true},
    {Hostility::WrongInside, "\x30\x05\x02\x01\x01\x99\x99"sv, true},
    {Hostility::ClosesMidAnswer, "\x30\x50\x02\x01"sv, false},
    {Hostility::ClosesAtOnce, ""sv, false},
};

void serve(int client, Hostility hostility, int behind, int port) {
    if (hostility == Hostility::Silent) stay_silent();
    if (hostility == Hostility::DiesAtBind || hostility == Hostility::DiesAtSearch) pass_on(client, behind, hostility);
    if (hostility == Hostility::RefersOn) refer_on(client, port);
    await_request(client);
    if (hostility == Hostility::Drips) drip(client);
    for (const auto &[which, bytes, stays] : first_words) {
        if (which != hostility) continue;
        say(client, bytes);
        if (stays) stay_silent();
    }
}

} // namespace

std::string Scripted::bound(int code, const std::string &text, const std::vector<std::string> &uris) {
    return result('\x61', code, text, referral(uris));
}

std::string Scripted::done(int code, const std::string &text, const std::vector<std::string> &uris) {
    return result('\x65', code, text, referral(uris));
}

std::string Scripted::modified(int code, const std::string &text, const std::vector<std::string> &uris) {
    return result('\x67', code, text, referral(uris));
}

std::string Scripted::reference(const std::vector<std::string> &uris) {
    return "\x73" + sized(strings(uris));
}

std::string Scripted::entry(const std::string &dn, const std::vector<std::pair<std::string, std::string>> &attributes) {
    std::string list;
    for (const auto &[name, value] : attributes)
        list += "\x30" + sized("\x04" + sized(name) + "\x31" + sized("\x04" + sized(value)));
    return "\x64" + sized("\x04" + sized(dn) + "\x30" + sized(list));
}

std::string Scripted::youAre(const std::optional<std::string> &who) {
    return result('\x78', 0, "", who ? "\x8B" + sized(*who) : "");
}

std::string Scripted::unknown() {
    return result('\x78', 2);
}

std::string Scripted::controls(const std::vector<std::pair<std::string, std::string>> &list) {
    std::string all;
    for (const auto &[number, value] : list) all += "\x30" + sized("\x04" + sized(number) + "\x04" + sized(value));
    return "\xA0" + sized(all);
}

HostileServer::HostileServer(Hostility hostility, int behind) {
    start(listen_on_loopback(&port), [&](int client) { serve(client, hostility, behind, port); });
}

HostileServer::HostileServer(const Scripted &script) {
    start(listen_on_loopback(&port), [&](int client) { answer_by_script(client, script, taken + 1); });
}

HostileServer::HostileServer(const std::string &path, const Scripted &script) {
    start(listen_at(path), [&](int client) { answer_by_script(client, script, taken + 1); });
}

HostileServer::HostileServer(const std::function<Scripted(const std::string &uri)> &script) {
    start(listen_on_loopback(&port), [&](int client) { answer_by_script(client, script(uri()), taken + 1); });
}

void HostileServer::start(int listener, const std::function<void(int client)> &serveClient) {
    void *shared = mmap(nullptr, shared_size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) throw std::runtime_error("no shared memory for the hostile server");
    taken = static_cast<volatile int *>(shared);
    process.emplace([&] {
        setpgid(0, 0);
        signal(SIGCHLD, SIG_IGN);
        for (;;) {
            int client = accept(listener, nullptr, nullptr);
            *taken = *taken + 1;
            if (fork() == 0) {
                taken[4] = getpid();
                prctl(PR_SET_PDEATHSIG, SIGKILL);
                close(listener);
                serveClient(client);
                _exit(0);
            }
            close(client);
        }
    });
    close(listener);
}

void HostileServer::closeConnection() {
    ::kill(taken[4], SIGKILL);
}

HostileServer::~HostileServer() {
    process.reset(); // its connections go with it
    munmap(const_cast<int *>(taken), shared_size);
}
