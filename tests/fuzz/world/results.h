// What the client promises of everything that it hands out (platform/zk.h).
#ifndef FUZZ_WORLD_RESULTS_H
#define FUZZ_WORLD_RESULTS_H

#include <cstddef>
#include <cstdint>

// One of the codes of zk.h; returns it.
uint32_t result_code(uint32_t code);

// A name of at most `limit` bytes and its NUL.
void result_check_name(const char *name, size_t limit);

// Takes the whole of a reply apart, each value into a block of exactly its size. `plain`: no control characters in
// texts. Returns how many values there were.
size_t result_check_reply(uint32_t context, struct ZKDSBuffer *reply, bool plain);

// Takes a network path apart.
void result_check_path(const char *path);

// Opens a connection to a file server or a tree and logs in there.
void result_check_server(const char *name, const char *user, const char *password);

// Closes all that are open, whoever has opened them.
void results_close_connections();

// The last failure's sentence can be printed as it is.
void result_check_error_text();

#endif
