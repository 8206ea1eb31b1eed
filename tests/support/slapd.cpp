#include "tests/support/slapd.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cstring>
#include <sstream>
#include <stdexcept>

namespace {

const std::string program = "/usr/sbin/slapd";

sockaddr_in loopback(int port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

std::string replaced(std::string text, const std::string &from, const std::string &to) {
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

// "/tmp/x" as the host of an ldapi URI.
std::string as_host(const std::string &path) {
    return replaced(path, "/", "%2F");
}

} // namespace

int free_port() {
    int made = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    if (bind(made, reinterpret_cast<sockaddr *>(&address), size) != 0 ||
        getsockname(made, reinterpret_cast<sockaddr *>(&address), &size) != 0)
        throw std::runtime_error("no free port");
    close(made);
    return ntohs(address.sin_port);
}

std::string sample_ldif() {
    const std::string sample = SOURCE_DIR "/examples/acme";
    std::string ldif = replaced(file_text(sample + "/acme.ldif"), ":< file:", ":< file://" + sample + "/");
    return replaced(ldif, "version: 1\n", "");
}

Slapd::Slapd(const Setup &setup)
    : port_(setup.port != 0 ? setup.port : free_port()),
      securePort_(setup.securePort != 0 ? setup.securePort : free_port()) {
    std::string configuration = "modulepath /usr/lib/ldap\nmoduleload back_mdb\nmoduleload syncprov\n";
    for (const char *name : {"core", "cosine", "inetorgperson"})
        configuration += std::string("include /etc/ldap/schema/") + name + ".schema\n";
    if (setup.ownSchema) configuration += "include \"" SOURCE_DIR "/platform/client/schema/qrt.schema\"\n";
    configuration += setup.global + "database mdb\nsuffix " + setup.suffix +
                     "\nmaxsize 67108864\ndbnosync\ndirectory " + folder.path("data") +
                     "\nindex objectClass,cn,uid,ou,member eq\n" + setup.access + setup.database;
    folder.write("data/.keep", "");
    folder.write("slapd.conf", configuration);
    if (!setup.ldif.empty()) load(setup.ldif);
    std::string listeners = uri() + " " + localUri();
    if (setup.schemes == "ldaps") listeners += " " + uri("ldaps");
    start(listeners);
}

Slapd::~Slapd() {
    kill();
}

std::string Slapd::uri(const std::string &scheme) const {
    return scheme + "://127.0.0.1:" + std::to_string(scheme == "ldaps" ? securePort_ : port_);
}

std::string Slapd::localUri() const {
    return "ldapi://" + as_host(folder.path("socket"));
}

void Slapd::load(const std::string &ldif) {
    folder.write("data.ldif", ldif);
    Outcome loaded =
        process_run({"/usr/sbin/slapadd", "-q", "-f", folder.path("slapd.conf"), "-l", folder.path("data.ldif")},
                    process_environment());
    if (loaded.status != 0) throw std::runtime_error("slapadd: " + loaded.err + loaded.out);
}

// Level 256 logs connections and operations, and keeps the server in the foreground.
void Slapd::start(const std::string &listeners) {
    const std::string configuration = folder.path("slapd.conf");
    const std::string logFile = folder.path("log");
    server = fork();
    if (server == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        int log = open(logFile.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        dup2(log, STDOUT_FILENO);
        dup2(log, STDERR_FILENO);
        execl(program.c_str(), program.c_str(), "-f", configuration.c_str(), "-h", listeners.c_str(), "-d", "256",
              static_cast<char *>(nullptr));
        _exit(125);
    }
    while (!answers()) {
        if (waitpid(server, nullptr, WNOHANG) != 0) {
            server = -1;
            throw std::runtime_error("slapd does not start: " + file_text(logFile));
        }
        poll(nullptr, 0, 10);
    }
}

bool Slapd::answers() const {
    int made = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(port_);
    bool connected = connect(made, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
    close(made);
    return connected;
}

void Slapd::kill() {
    if (server > 0) {
        ::kill(server, SIGKILL);
        waitpid(server, nullptr, 0);
        server = -1;
    }
}

std::string Slapd::log() {
    if (server > 0) {
        ::kill(server, SIGTERM);
        waitpid(server, nullptr, 0);
        server = -1;
    }
    return file_text(folder.path("log"));
}

std::vector<std::string> Slapd::operations() {
    std::vector<std::string> found;
    std::istringstream lines(log());
    for (std::string line; std::getline(lines, line);) {
        size_t op = line.find(" op=");
        size_t kind = op == std::string::npos ? op : line.find(' ', op + 1);
        if (kind == std::string::npos) continue;
        std::string rest = line.substr(kind + 1);
        // A search and a bind have more lines than one.
        for (const char *start : {"SRCH base=", "BIND dn=", "EXT oid=", "UNBIND", "CMP ", "MOD ", "ADD "})
            if (rest.compare(0, strlen(start), start) == 0 && rest.find(" mech=") == std::string::npos)
                found.push_back(rest);
    }
    return found;
}
