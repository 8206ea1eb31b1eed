// The network as the code under test sees it: one peer, of the target's making, behind every address and every local
// socket. Nothing is sent; a socket is real only in so far as libldap may wait for it (always ready) and close it.
#ifndef FUZZ_WORLD_NETWORK_H
#define FUZZ_WORLD_NETWORK_H

#include <sys/types.h>
#include <cstddef>
#include <string_view>

struct NetworkPeer {
    // Takes a connection: 0, or what connect() fails with.
    int (*take)(int descriptor);
    // Has been heard these bytes.
    void (*heard)(int descriptor, std::string_view bytes);
    // What it says next: bytes, 0 when it closes, or the negative of an error; -EAGAIN: it is silent for longer than
    // anybody waits.
    ssize_t (*say)(int descriptor, char *to, size_t size);
};

// Null: there is no network. Set by the target.
extern const NetworkPeer *network_peer;

// close() of a descriptor that is no file's.
int network_close(int descriptor);

// Fails when a socket was left open.
void network_check_closed();

#endif
