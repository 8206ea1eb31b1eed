#include "tests/directories/directory_servers.h"

#include <poll.h>
#include <unistd.h>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

static void run(const Words &words, Variables environment = process_environment()) {
    environment.insert({"PYTHONDONTWRITEBYTECODE", "1"});
    const Outcome outcome = process_run(words, environment);
    if (outcome.status != 0) throw std::runtime_error(words[0] + ": " + outcome.err + outcome.out);
}

// One of the provisioned folders in `folder`, with its new path in the file that names it.
static void copy_provisioned(const std::string &name, const std::string &settings, const TempFolder &folder) {
    const std::string original = PROVISIONED;
    if (access((original + "/" + name).c_str(), R_OK) != 0)
        throw std::runtime_error("there is no " + original + "/" + name + ": run tests/directories/provision.sh");
    run({"/bin/cp", "-a", original + "/" + name, folder.path(name)});
    run({"/bin/sed", "-i", "s#" + original + "#" + folder.path() + "#g", folder.path(name + "/" + settings)});
}

// Makes the change, written to a file of its own in `folder`.
static void modify_with(Words words, const TempFolder &folder, const std::string &ldif) {
    folder.write("change.ldif", ldif);
    words.push_back(folder.path("change.ldif"));
    run(words);
}

static void await_answer(const std::string &uri) {
    const Words question = {"/usr/bin/ldapsearch", "-x", "-H", uri, "-s", "base", "-b", ""};
    for (int tries = 0; process_run(question, process_environment()).status != 0; poll(nullptr, 0, 50))
        if (++tries > 600) throw std::runtime_error(uri + " does not answer");
}

DomainController::DomainController() {
    copy_provisioned("ad", "etc/smb.conf", folder);
    // All services in one process, which does not end at the end of its standard input as long as that is no pipe.
    server.emplace(Words{"/usr/sbin/samba", "-i", "-M", "single", "--no-process-group", "--debug-stdout", "-s",
                         folder.path("ad/etc/smb.conf")},
                   folder.path("log"), 389);
    await_answer("ldap://127.0.0.1");
}

void DomainController::tool(Words words) const {
    words.insert(words.begin(), "/usr/bin/samba-tool");
    words.insert(words.end(), {"-s", folder.path("ad/etc/smb.conf"), "-H", folder.path("ad/private/sam.ldb")});
    run(words);
}

void DomainController::modify(const std::string &ldif) const {
    modify_with({"/usr/bin/ldbmodify", "-H", folder.path("ad/private/sam.ldb")}, folder, ldif);
}

Variables DomainController::realm() const {
    folder.write("krb5.conf",
                 "[libdefaults]\ndefault_realm = AD.EXAMPLE.TEST\ndns_lookup_kdc = false\ndns_lookup_realm = false\n"
                 "dns_canonicalize_hostname = false\nrdns = false\n"
                 "[realms]\nAD.EXAMPLE.TEST = {\nkdc = 127.0.0.1\nkpasswd_server = 127.0.0.1\n}\n"
                 "[domain_realm]\n.ad.example.test = AD.EXAMPLE.TEST\n");
    return {{"KRB5_CONFIG", folder.path("krb5.conf")}, {"KRB5CCNAME", "FILE:" + folder.path("tickets")}};
}

DirectoryServer::DirectoryServer() {
    copy_provisioned("ds", "etc/dirsrv/slapd-t1/dse.ldif", folder);
    // With a level of debugging it stays in the foreground.
    server.emplace(
        Words{"/usr/sbin/ns-slapd", "-D", folder.path("ds/etc/dirsrv/slapd-t1"), "-i", folder.path("pid"), "-d", "0"},
        folder.path("log"), 389);
    await_answer("ldap://127.0.0.1");
}

void DirectoryServer::modify(const std::string &ldif) const {
    modify_with({"/usr/bin/ldapmodify", "-x", "-H", "ldap://127.0.0.1", "-D", "cn=Directory Manager", "-w",
                 "Manag3r-Passw0rd", "-f"},
                folder, ldif);
}

void DirectoryServer::configure(const std::string &attribute, const std::string &value) const {
    modify("dn: cn=config\nchangetype: modify\nreplace: " + attribute + "\n" + attribute + ": " + value + "\n");
}
