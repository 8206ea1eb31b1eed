#include "tests/support/slapd.h"

#include <chrono>
#include <csignal>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace {

std::string replaced(std::string text, const std::string &from, const std::string &to) {
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

} // namespace

std::string sample_ldif() {
    const std::string sample = SOURCE_DIR "/examples/acme";
    std::string ldif = replaced(file_text(sample + "/acme.ldif"), ":< file:", ":< file://" + sample + "/");
    return replaced(ldif, "version: 1\n", "");
}

Slapd::Slapd(const Setup &setup)
    : port_(setup.port != 0 ? setup.port : free_port()),
      securePort_(setup.securePort != 0 ? setup.securePort : free_port()) {
    std::string configuration = "modulepath /usr/lib/ldap\nmoduleload back_mdb\nmoduleload syncprov\n";
    for (const std::string &name : setup.schemas) configuration += "include /etc/ldap/schema/" + name + ".schema\n";
    if (setup.ownSchema) configuration += "include \"" SOURCE_DIR "/platform/client/schema/qrt.schema\"\n";
    configuration += setup.global + "database mdb\nsuffix " + setup.suffix +
                     "\nmaxsize 67108864\ndbnosync\ndirectory " + folder.path("data") +
                     "\nindex objectClass,cn,uid,ou,member eq\n" + setup.access + setup.database;
    folder.write("data/.keep", "");
    folder.write("slapd.conf", configuration);
    if (!setup.ldif.empty()) load(setup.ldif);
    // Level 256 logs connections and operations, and keeps the server in the foreground.
    server.emplace(Words{"/usr/sbin/slapd", "-f", folder.path("slapd.conf"), "-h",
                         uri() + " " + localUri() + (setup.schemes == "ldaps" ? " " + uri("ldaps") : ""), "-d", "256"},
                   folder.path("log"), port_);
}

std::string Slapd::uri(const std::string &scheme) const {
    return scheme + "://127.0.0.1:" + std::to_string(scheme == "ldaps" ? securePort_ : port_);
}

std::string Slapd::localUri() const {
    return local_uri(folder.path("socket"));
}

void Slapd::load(const std::string &ldif) {
    folder.write("data.ldif", ldif);
    Outcome loaded =
        process_run({"/usr/sbin/slapadd", "-q", "-f", folder.path("slapd.conf"), "-l", folder.path("data.ldif")},
                    process_environment());
    if (loaded.status != 0) throw std::runtime_error("slapadd: " + loaded.err + loaded.out);
}

void Slapd::kill() {
    server->end(SIGKILL);
}

// A server that is stopped does not look at what it has been sent: first it has to have closed all connections, unless
// a client has left one open.
static bool has_closed_all(const std::string &log) {
    const auto count = [&log](const char *word) {
        int found = 0;
        for (size_t at = log.find(word); at != log.npos; at = log.find(word, at + 1)) found++;
        return found;
    };
    return count(" ACCEPT from ") == count(" closed") || count("slapd stopped") > 0;
}

std::string Slapd::log() {
    for (int tries = 0; tries < 100 && !has_closed_all(file_text(folder.path("log"))); tries++)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    server->end(SIGTERM);
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
