// Directory contexts and the questions about connections (declared in qrtscript.h), and the steps that the tree login
// and the server functions share with them. Connections that are opened here stay open.
#ifndef DIRECTORY_CONTEXTS_H
#define DIRECTORY_CONTEXTS_H

#include <cstdint>
#include <string>

// The flags of every context of ours, among them the one that follows aliases.
inline constexpr uint32_t contexts_flags = 0x57;

// Sets the environment variable TOLAN_USE_BRUNE to "0" unless it is set: the client looks at it when it starts.
void contexts_preset_environment();

// Makes the client ready: the environment, then the two initialisations. Returns 0 or the code of the first one that
// failed.
uint32_t contexts_start_client();

// Opens a connection to whatever the network knows by that name, server or tree. Returns the client's code.
uint32_t contexts_open(const char *name, uint32_t *connection);

// A tree name as the client answers it: 32 bytes, padded on the right with "_". The name without its padding; one that
// fills all 32 bytes is kept whole. `answer` is NUL-terminated. Throws std::bad_alloc.
std::string contexts_strip_padding(const char *answer);

#endif
