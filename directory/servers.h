// Connections to file servers: which tree one belongs to, the session's primary server, ATTACH. The functions
// (qrt_CheckAuthServer, qrt_SetServer, qrt_Attach) are declared in qrtscript.h.
#ifndef DIRECTORY_SERVERS_H
#define DIRECTORY_SERVERS_H

#include "qrtscript.h"

#endif
