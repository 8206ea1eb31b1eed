// Servers that hold one directory together, the sample tree: providers of each other, and copies that refer changes to
// another server. All of them are on loopback ports.
#ifndef TESTS_LDAP_REPLICAS_H
#define TESTS_LDAP_REPLICAS_H

#include <functional>
#include <string>

#include "tests/support/certificates.h"
#include "tests/support/slapd.h"

// One of two servers that take over each other's changes. Without `ldif` it gets everything from the other one.
Slapd::Setup mutual_provider(int number, int ownPort, int otherPort, const std::string &ldif);

// The server that takes changes: users may change their passwords and the times of their logins; jdoe has one, of 2020.
Slapd::Setup change_provider(Certificates &certificates);
// A copy of what the server at the port has, which refers changes to `updateref` (a URI).
Slapd::Setup read_only_copy(Certificates &certificates, int providerPort, const std::string &updateref);
// The same with the directory as the provider has it at its start; what changes there never arrives.
Slapd::Setup stale_copy(Certificates &certificates, const std::string &updateref);

// Waits until the condition is true: false when that takes unreasonably long.
bool eventually(const std::function<bool()> &condition);
// Waits until the server has what the other one has been loaded with.
void await_copy_of_the_sample(const Slapd &server);

// Is it the user's password at this server?
bool takes_password(const Slapd &server, const std::string &dn, const char *password);

#endif
