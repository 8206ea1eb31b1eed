// Real directories as sites have them, each with the accounts of README.md: copies of what provision.sh has made, on
// their usual ports of a private network, gone with the object.
#ifndef TESTS_DIRECTORIES_DIRECTORY_SERVERS_H
#define TESTS_DIRECTORIES_DIRECTORY_SERVERS_H

#include <optional>

#include "tests/support/servers.h"

// An Active Directory domain, AD.EXAMPLE.TEST: LDAP, Kerberos and DNS by a Samba domain controller.
class DomainController {
  public:
    DomainController();

    static std::string uri() { return "ldaps://dc1.ad.example.test"; }
    static std::string base() { return "dc=ad,dc=example,dc=test"; }
    std::string caFile() const { return folder.path("ad/tls/ca.pem"); }
    // Changes the database as the administrator would: the words of a samba-tool command; the text of an LDIF change.
    void tool(Words words) const;
    void modify(const std::string &ldif) const;
    // What a process needs to be in its Kerberos realm.
    Variables realm() const;

  private:
    TempFolder folder;
    std::optional<ServerProcess> server;
};

// A 389 Directory Server of dc=example,dc=test.
class DirectoryServer {
  public:
    DirectoryServer();

    static std::string uri() { return "ldaps://ds1.example.test"; }
    static std::string base() { return "dc=example,dc=test"; }
    std::string caFile() const { return folder.path("ds/etc/dirsrv/slapd-t1/ca.crt"); }
    // Changes it as its manager: the text of an LDIF change, and one attribute of its configuration.
    void modify(const std::string &ldif) const;
    void configure(const std::string &attribute, const std::string &value) const;

  private:
    TempFolder folder;
    std::optional<ServerProcess> server;
};

#endif
