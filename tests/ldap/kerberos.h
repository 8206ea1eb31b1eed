// A Kerberos realm of the test's own: a key distribution centre on a loopback port, gone with the object. The test's
// process, and what it starts, is in the realm as long as the object lives.
#ifndef TESTS_LDAP_KERBEROS_H
#define TESTS_LDAP_KERBEROS_H

#include <optional>
#include <string>
#include <vector>

#include "tests/support/servers.h"

class Kerberos {
  public:
    // Knows these users, and the service of the LDAP server on localhost, whose key is in the process's keytab.
    explicit Kerberos(const std::vector<std::string> &users);
    ~Kerberos();
    Kerberos(const Kerberos &) = delete;
    Kerberos &operator=(const Kerberos &) = delete;

    // The user's ticket is in the credential cache from now on.
    void getTicket(const std::string &user);
    // The same with a ticket that has run out by the time that this returns.
    void getExpiredTicket(const std::string &user);
    // Makes the service's key another one than the server has.
    void changeServiceKey();
    // A user with a password, who has to change it at the server on this port.
    void addPassword(const std::string &user, const std::string &password, int changePort);
    // Stops answering; the centre's port stays taken.
    void fallSilent();

    // What a process needs to be in the realm.
    const Variables &variables() const { return settings; }

  private:
    void admin(const std::string &query);
    void run(const Words &words);

    TempFolder folder;
    Variables settings;
    int port;
    std::optional<ServerProcess> centre;
};

#endif
