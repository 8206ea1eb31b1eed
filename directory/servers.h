// Connections to file servers: which tree one belongs to, the session's primary server, ATTACH.
#ifndef DIRECTORY_SERVERS_H
#define DIRECTORY_SERVERS_H

#include <cstdint>
#include <optional>
#include <string>

// Whether a connection to the server is authenticated: 0, and `tree` is its tree if it tells one; 1 when it is not; or
// the client's code. Throws std::bad_alloc.
uint32_t servers_check(const char *server, std::optional<std::string> &tree);

// Makes the server the primary one, sets %0, and reports either. Returns 0, the client's code, or 1 for null. Throws
// std::bad_alloc.
uint32_t servers_set_primary(uint32_t handle, const char *server);

// Attaches to a server, asking for a name and a password if necessary. Returns 0, the client's code, or 1 for a
// cancelled prompt. Throws std::bad_alloc.
uint32_t servers_attach(const char *server);

#endif
