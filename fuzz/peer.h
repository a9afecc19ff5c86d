// The other ends of a library's sockets, which are in memory (sockets.h), so that a peer can act exactly when the
// library waits for it or sends to it, without threads and without waiting.
#pragma once

#include <list>
#include <string>

#include "fuzz/input.h"

struct Peer {
    int fd;         // our end; -1 where it is closed
    int library_fd; // the other; -1 where the descriptor is another connection's by now
    Bytes sent;     // by us
    Bytes received; // by us
};

// The fate of a call of the library: an error number, or 0 for what would happen anyway. Null stands for that, too.
struct PeerActions {
    // It connects. The peer is new.
    int (*connected)(Peer &peer);
    // It waits for input, so many milliseconds at most, or for ever (-1). After 0 there has to be some, or the end;
    // ETIMEDOUT lets the time pass.
    int (*waits)(Peer &peer, int limit);
    // It sends; at most `limit` bytes, above 0, will go.
    int (*sends)(Peer &peer, size_t &limit);
};

void peers_begin(const PeerActions &actions);

// A connection that is there already: the library's end of it.
int peer_open();

// The peer of a descriptor of the library's, and all there have been.
Peer &peer_of(int fd);
std::list<Peer> &peers();

void peer_send(Peer &peer, std::span<const uint8_t> bytes);
void peer_close(Peer &peer);

// Ends all connections. The library has to have closed its ends, but for the one given, and whatever else it had open.
void peers_end(int library_fd = -1);
