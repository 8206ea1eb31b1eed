// Connections to file servers: which tree one belongs to, the session's primary server, ATTACH.
#ifndef DIRECTORY_SERVERS_H
#define DIRECTORY_SERVERS_H

#include <cstdint>
#include <optional>
#include <string>

// qrt_CheckAuthServer, qrt_SetServer and qrt_Attach (qrtscript.h).
uint32_t servers_check(const char *server, std::optional<std::string> &tree);
uint32_t servers_set_primary(uint32_t handle, const char *server);
uint32_t servers_attach(const char *server);

#endif
