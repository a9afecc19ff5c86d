#include "fuzz/peer.h"

#include <cerrno>
#include <utility>

#include <sys/socket.h>
#include <unistd.h>

#include "fuzz/sockets.h"

namespace
{

PeerActions peer_actions;
std::list<Peer> all;

Peer *find(int fd)
{
    auto found = std::find_if(all.begin(), all.end(), [fd](const Peer &peer) { return peer.library_fd == fd; });
    return found == all.end() ? nullptr : &*found;
}

void drain(Peer &peer)
{
    static uint8_t buffer[65536];
    ssize_t got;
    while (peer.fd >= 0 && (got = recv(peer.fd, buffer, sizeof(buffer), MSG_DONTWAIT)) > 0)
        peer.received.append(buffer, static_cast<size_t>(got));
}

// Whether the library has closed its end.
bool is_left(const Peer &peer)
{
    uint8_t byte;
    return recv(peer.fd, &byte, 1, MSG_DONTWAIT) == 0 || errno == ECONNRESET;
}

int connects(int fd)
{
    if (Peer *before = find(fd)) {
        drain(*before);
        REQUIRE(before->fd < 0 || is_left(*before));
        before->library_fd = -1;
    }
    all.push_back({.fd = socket_join(fd), .library_fd = fd, .sent = {}, .received = {}});
    Peer &peer = all.back();
    int error = peer_actions.connected ? peer_actions.connected(peer) : 0;
    if (error != 0)
        peer_close(peer);
    return error;
}

int waits(int fd, int limit)
{
    Peer *peer = peer_actions.waits ? find(fd) : nullptr;
    return peer ? peer_actions.waits(*peer, limit) : 0;
}

int sends(int fd, size_t &limit)
{
    Peer *peer = peer_actions.sends ? find(fd) : nullptr;
    return peer ? peer_actions.sends(*peer, limit) : 0;
}

void has_sent(int fd)
{
    if (Peer *peer = find(fd))
        drain(*peer);
}

} // namespace

int peer_open()
{
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    all.push_back({.fd = socket_join(fd), .library_fd = fd, .sent = {}, .received = {}});
    return fd;
}

Peer &peer_of(int fd)
{
    Peer *peer = find(fd);
    REQUIRE(peer);
    return *peer;
}

std::list<Peer> &peers()
{
    return all;
}

void peer_send(Peer &peer, std::span<const uint8_t> bytes)
{
    if (peer.fd < 0 || bytes.empty())
        return;
    ssize_t sent = send(peer.fd, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent > 0)
        peer.sent.append(bytes.data(), static_cast<size_t>(sent));
}

void peer_close(Peer &peer)
{
    drain(peer);
    if (peer.fd >= 0)
        close(peer.fd);
    peer.fd = -1;
}

void peers_begin(const PeerActions &actions)
{
    peer_actions = actions;
    socket_hooks = {.connects = connects, .waits = waits, .sends = sends, .sent = has_sent};
}

void peers_end(int library_fd)
{
    for (Peer &peer : all) {
        drain(peer);
        REQUIRE(peer.fd < 0 || peer.library_fd == library_fd || is_left(peer));
        peer_close(peer);
    }
    all.clear();
    if (library_fd >= 0)
        close(library_fd);
    REQUIRE(sockets_open() == 0);
}
