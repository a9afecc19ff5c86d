#include "fuzz/peer.h"

#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

PeerActions peer_actions;

// The sanitizer's own, which look at the memory that is passed.
extern "C" {
ssize_t __interceptor_recv(int fd, void *buffer, size_t length, int flags);
ssize_t __interceptor_recvmsg(int fd, msghdr *message, int flags);
ssize_t __interceptor_sendmsg(int fd, const msghdr *message, int flags);
int __interceptor_poll(pollfd *entries, nfds_t count, int timeout);
}

namespace
{

constexpr int kLimit = 1000; // ms; what should be there already is waited for so long

std::list<Peer> all;

Peer *find(int fd)
{
    auto found = std::find_if(all.begin(), all.end(), [fd](const Peer &peer) { return peer.library_fd == fd; });
    return found == all.end() ? nullptr : &*found;
}

void drain(Peer &peer)
{
    uint8_t buffer[65536];
    ssize_t got;
    while (peer.fd >= 0 && (got = __interceptor_recv(peer.fd, buffer, sizeof(buffer), MSG_DONTWAIT)) > 0)
        peer.received.append(buffer, static_cast<size_t>(got));
}

// Whether the library has closed its end.
bool is_left(const Peer &peer)
{
    uint8_t byte;
    return __interceptor_recv(peer.fd, &byte, 1, MSG_DONTWAIT) == 0 || errno == ECONNRESET;
}

int fail(int error)
{
    errno = error;
    return -1;
}

int wait(Peer &peer)
{
    int error = peer_actions.waits ? peer_actions.waits(peer) : 0;
    return error != 0 ? fail(error) : 0;
}

} // namespace

int peer_open()
{
    int sockets[2];
    REQUIRE(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) == 0);
    all.push_back({.fd = sockets[1], .library_fd = sockets[0], .sent = {}, .received = {}});
    return sockets[0];
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
}

extern "C" int connect(int fd, const sockaddr *, socklen_t)
{
    if (Peer *before = find(fd)) {
        drain(*before);
        REQUIRE(before->fd < 0 || is_left(*before));
        before->library_fd = -1;
    }
    int own = peer_open();
    Peer &peer = all.back();
    peer.library_fd = fd;
    int error = peer_actions.connected ? peer_actions.connected(peer) : 0;
    if (error != 0)
        peer_close(peer);
    else
        dup3(own, fd, O_CLOEXEC);
    close(own);
    return error != 0 ? fail(error) : 0;
}

// Who asks for no event looks whether the peer has gone, and does not wait for it.
extern "C" int poll(pollfd *entries, nfds_t count, int timeout)
{
    Peer *peer = count == 1 ? find(entries->fd) : nullptr;
    if (!peer || entries->events == 0)
        return __interceptor_poll(entries, count, timeout);
    if (entries->events & POLLIN && wait(*peer) != 0)
        return -1;
    int ready = __interceptor_poll(entries, count, kLimit);
    REQUIRE(ready == 1);
    return ready;
}

extern "C" ssize_t recv(int fd, void *buffer, size_t length, int flags)
{
    Peer *peer = find(fd);
    if (peer && !(flags & MSG_DONTWAIT) && wait(*peer) != 0)
        return -1;
    return __interceptor_recv(fd, buffer, length, flags);
}

extern "C" ssize_t recvmsg(int fd, msghdr *message, int flags)
{
    Peer *peer = find(fd);
    if (peer && !(flags & MSG_DONTWAIT) && wait(*peer) != 0)
        return -1;
    return __interceptor_recvmsg(fd, message, flags);
}

// Hands on the first bytes of a message.
static ssize_t send_some(int fd, const msghdr *message, size_t limit, int flags)
{
    iovec pieces[16];
    msghdr less = *message;
    less.msg_iov = pieces;
    less.msg_iovlen = 0;
    for (size_t i = 0; i < message->msg_iovlen && i < std::size(pieces) && limit > 0; i++) {
        pieces[i] = message->msg_iov[i];
        pieces[i].iov_len = std::min(pieces[i].iov_len, limit);
        limit -= pieces[i].iov_len;
        less.msg_iovlen++;
    }
    return __interceptor_sendmsg(fd, &less, flags);
}

extern "C" ssize_t sendmsg(int fd, const msghdr *message, int flags)
{
    Peer *peer = find(fd);
    if (!peer)
        return __interceptor_sendmsg(fd, message, flags);
    REQUIRE(flags & MSG_NOSIGNAL);
    size_t limit = SIZE_MAX;
    int error = peer_actions.sends ? peer_actions.sends(*peer, limit) : 0;
    if (error != 0)
        return fail(error);
    ssize_t sent = send_some(fd, message, limit, flags);
    drain(*peer);
    return sent;
}
