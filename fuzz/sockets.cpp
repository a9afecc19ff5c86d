#include "fuzz/sockets.h"

#include <cerrno>
#include <cstdarg>
#include <ctime>
#include <deque>
#include <functional>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include "fuzz/input.h"

SocketHooks socket_hooks;
int64_t socket_clock = 1000000;

namespace
{

constexpr int kFirst = 0x10000; // descriptor; the kernel's end below
constexpr size_t kUsualCapacity = 212992;

struct Socket {
    // The sockets that an epoll descriptor watches.
    struct Watched {
        int fd;
        epoll_event event;
    };

    bool open = false;
    bool hooked = false;
    bool nonblocking = false;
    bool ended = false;               // nothing more arrives
    bool silenced = false;            // nothing more can be sent
    bool reset = false;               // the other end closed without having read everything
    int other = -1;                   // descriptor of the other end
    size_t capacity = kUsualCapacity; // of what it has sent and nobody has received
    int patience = -1;                // of a receive, in ms
    size_t taken = 0;                 // of what arrived
    Bytes arrived;
    std::vector<Watched> watched;

    size_t unread() const { return arrived.size() - taken; }
};

std::deque<Socket> all; // what is closed keeps its place, and the memory for what arrives
std::vector<int> free_places;
size_t open_count;

Socket *find(int fd)
{
    size_t place = static_cast<size_t>(fd) - kFirst;
    return fd >= kFirst && place < all.size() && all[place].open ? &all[place] : nullptr;
}

int fail(int error)
{
    errno = error;
    return -1;
}

int open_one(bool hooked)
{
    if (free_places.empty()) {
        free_places.push_back(static_cast<int>(all.size()));
        all.emplace_back();
    }
    int place = free_places.back();
    free_places.pop_back();
    Socket &socket = all[static_cast<size_t>(place)];
    Bytes memory = std::move(socket.arrived);
    memory.clear();
    socket = {.open = true, .hooked = hooked, .arrived = std::move(memory), .watched = {}};
    open_count++;
    return kFirst + place;
}

void connect_both(int left, int right)
{
    find(left)->other = right;
    find(right)->other = left;
}

void close_one(int fd)
{
    Socket &socket = *find(fd);
    if (Socket *other = find(socket.other)) {
        other->ended = other->silenced = true;
        other->reset = socket.unread() > 0;
        other->other = -1;
    }
    for (Socket &poller : all)
        std::erase_if(poller.watched, [fd](const Socket::Watched &watched) { return watched.fd == fd; });
    socket.open = false;
    free_places.push_back(fd - kFirst);
    if (--open_count == 0) // from here on numbers are the same, whatever was before
        std::sort(free_places.begin(), free_places.end(), std::greater<>());
}

short events_of(const Socket &socket)
{
    bool connected = socket.other >= 0 || socket.ended;
    bool room = false;
    if (const Socket *other = find(socket.other))
        room = other->unread() < socket.capacity;
    int events = 0;
    if (socket.unread() > 0 || socket.ended || socket.reset)
        events |= POLLIN;
    if (room || socket.silenced)
        events |= POLLOUT;
    if (socket.ended)
        events |= POLLRDHUP;
    if (!connected || (socket.ended && socket.silenced))
        events |= POLLHUP;
    if (socket.reset)
        events |= POLLERR;
    return static_cast<short>(events);
}

short wanted(const Socket &socket, short events)
{
    return static_cast<short>(events_of(socket) & (events | POLLHUP | POLLERR));
}

ssize_t take(Socket &socket, std::span<const iovec> pieces, int flags)
{
    if (socket.unread() == 0 && std::exchange(socket.reset, false))
        return fail(ECONNRESET);
    if (socket.unread() == 0 && socket.ended)
        return 0;
    REQUIRE(socket.unread() > 0 || socket.nonblocking || flags & MSG_DONTWAIT); // or it would wait for ever
    if (socket.unread() == 0)
        return fail(EAGAIN);
    size_t got = 0;
    for (const iovec &piece : pieces) {
        size_t length = std::min(piece.iov_len, socket.unread() - got);
        if (length > 0)
            memcpy(piece.iov_base, socket.arrived.data() + socket.taken + got, length);
        got += length;
    }
    if (!(flags & MSG_PEEK))
        socket.taken += got;
    if (socket.unread() == 0) {
        socket.arrived.clear();
        socket.taken = 0;
    }
    return static_cast<ssize_t>(got);
}

size_t length_of(std::span<const iovec> pieces)
{
    size_t length = 0;
    for (const iovec &piece : pieces)
        length += piece.iov_len;
    return length;
}

ssize_t put(Socket &socket, std::span<const iovec> pieces, size_t limit, int flags)
{
    Socket *other = find(socket.other);
    if (socket.silenced || !other)
        return fail(socket.silenced ? EPIPE : ENOTCONN);
    size_t wanted = length_of(pieces);
    size_t room = socket.capacity - std::min(other->unread(), socket.capacity);
    if (room < wanted && !(flags & MSG_DONTWAIT))
        REQUIRE(socket.nonblocking); // or it would wait for ever
    if (room == 0 && wanted > 0)
        return fail(EAGAIN);
    limit = std::min(limit, room);
    size_t sent = 0;
    for (const iovec &piece : pieces) {
        size_t length = std::min(piece.iov_len, limit - sent);
        if (length > 0)
            other->arrived.append(static_cast<const uint8_t *>(piece.iov_base), length);
        sent += length;
    }
    return static_cast<ssize_t>(sent);
}

int wait(int fd, int limit)
{
    int error = socket_hooks.waits ? socket_hooks.waits(fd, limit) : 0;
    if (error == ETIMEDOUT) {
        REQUIRE(limit >= 0);
        socket_clock += limit;
    }
    return error;
}

ssize_t receive(int fd, Socket &socket, std::span<const iovec> pieces, int flags)
{
    bool may_wait = socket.hooked && !(flags & MSG_DONTWAIT);
    int error = may_wait ? wait(fd, socket.patience) : 0;
    if (error != 0)
        return fail(error == ETIMEDOUT ? EAGAIN : error);
    return take(socket, pieces, flags);
}

ssize_t transmit(int fd, Socket &socket, std::span<const iovec> pieces, int flags)
{
    size_t limit = SIZE_MAX;
    REQUIRE(flags & MSG_NOSIGNAL);
    int error = socket.hooked && socket_hooks.sends ? socket_hooks.sends(fd, limit) : 0;
    if (error != 0)
        return fail(error);
    ssize_t sent = put(socket, pieces, limit, flags);
    if (socket.hooked && socket_hooks.sent)
        socket_hooks.sent(fd);
    return sent;
}

std::span<const iovec> pieces_of(const msghdr *message)
{
    return {message->msg_iov, static_cast<size_t>(message->msg_iovlen)};
}

} // namespace

int socket_join(int fd)
{
    int other = open_one(false);
    connect_both(fd, other);
    return other;
}

size_t sockets_open()
{
    return open_count;
}

// --- In place of the C library's ---

extern "C" {

int clock_gettime(clockid_t clock, timespec *time) noexcept
{
    if (clock != CLOCK_MONOTONIC)
        return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    *time = {.tv_sec = socket_clock / 1000, .tv_nsec = socket_clock % 1000 * 1000000};
    return 0;
}

int socket(int, int type, int) noexcept
{
    int fd = open_one(true);
    find(fd)->nonblocking = type & SOCK_NONBLOCK;
    return fd;
}

int socketpair(int, int type, int, int fds[2]) noexcept
{
    fds[0] = socket(AF_UNIX, type, 0);
    fds[1] = socket(AF_UNIX, type, 0);
    connect_both(fds[0], fds[1]);
    return 0;
}

int connect(int fd, const sockaddr *, socklen_t)
{
    int error = socket_hooks.connects ? socket_hooks.connects(fd) : ECONNREFUSED;
    return error != 0 ? fail(error) : 0;
}

int close(int fd)
{
    if (!find(fd))
        return static_cast<int>(syscall(SYS_close, fd));
    close_one(fd);
    return 0;
}

int shutdown(int fd, int how) noexcept
{
    Socket *socket = find(fd);
    if (!socket)
        return fail(EBADF);
    bool reads = how == SHUT_RD || how == SHUT_RDWR, writes = how == SHUT_WR || how == SHUT_RDWR;
    socket->ended |= reads;
    socket->silenced |= writes;
    if (Socket *other = find(socket->other)) {
        other->ended |= writes;
        other->silenced |= reads;
    }
    return 0;
}

int setsockopt(int fd, int, int name, const void *value, socklen_t) noexcept
{
    Socket *socket = find(fd);
    if (!socket)
        return fail(EBADF);
    if (name == SO_SNDBUF)
        socket->capacity = static_cast<size_t>(*static_cast<const int *>(value));
    if (name == SO_RCVTIMEO) {
        const auto *time = static_cast<const timeval *>(value);
        socket->patience = static_cast<int>(time->tv_sec * 1000 + time->tv_usec / 1000);
    }
    return 0;
}

int getsockopt(int fd, int, int name, void *value, socklen_t *length) noexcept
{
    if (!find(fd) || name != SO_PEERCRED)
        return fail(EBADF);
    const ucred own = {.pid = 1, .uid = geteuid(), .gid = 0};
    *length = std::min<socklen_t>(*length, sizeof(own));
    memcpy(value, &own, *length);
    return 0;
}

int fcntl(int fd, int command, ...)
{
    va_list arguments;
    va_start(arguments, command);
    long argument = va_arg(arguments, long);
    va_end(arguments);
    Socket *socket = find(fd);
    if (!socket)
        return static_cast<int>(syscall(SYS_fcntl, fd, command, argument));
    REQUIRE(command == F_GETFL || command == F_SETFL);
    if (command == F_GETFL)
        return O_RDWR | (socket->nonblocking ? O_NONBLOCK : 0);
    socket->nonblocking = argument & O_NONBLOCK;
    return 0;
}

// Who asks for no event looks whether the peer has gone, and does not wait for it.
int poll(pollfd *entries, nfds_t count, int limit)
{
    Socket *socket = count == 1 ? find(entries->fd) : nullptr;
    if (!socket)
        return fail(EBADF);
    int error = entries->events & POLLIN ? wait(entries->fd, limit) : 0;
    if (error != 0)
        return error == ETIMEDOUT ? 0 : fail(error);
    entries->revents = wanted(*socket, entries->events);
    REQUIRE(entries->revents != 0 || entries->events == 0); // or it would wait for ever
    return entries->revents != 0;
}

ssize_t recv(int fd, void *buffer, size_t length, int flags)
{
    Socket *socket = find(fd);
    iovec piece = {buffer, length};
    return socket ? receive(fd, *socket, {&piece, 1}, flags) : fail(EBADF);
}

ssize_t recvmsg(int fd, msghdr *message, int flags)
{
    Socket *socket = find(fd);
    message->msg_controllen = 0;
    message->msg_flags = 0;
    return socket ? receive(fd, *socket, pieces_of(message), flags) : fail(EBADF);
}

ssize_t send(int fd, const void *buffer, size_t length, int flags)
{
    Socket *socket = find(fd);
    iovec piece = {const_cast<void *>(buffer), length};
    return socket ? transmit(fd, *socket, {&piece, 1}, flags) : fail(EBADF);
}

ssize_t sendmsg(int fd, const msghdr *message, int flags)
{
    Socket *socket = find(fd);
    return socket ? transmit(fd, *socket, pieces_of(message), flags) : fail(EBADF);
}

int epoll_create1(int) noexcept
{
    return open_one(true);
}

int timerfd_create(int, int) noexcept
{
    return open_one(true);
}

int eventfd(unsigned, int) noexcept
{
    return open_one(true);
}

int timerfd_settime(int fd, int, const itimerspec *, itimerspec *) noexcept
{
    return find(fd) ? 0 : fail(EBADF);
}

int epoll_ctl(int epoll_fd, int operation, int fd, epoll_event *event) noexcept
{
    Socket *poller = find(epoll_fd);
    if (!poller || !find(fd))
        return fail(EBADF);
    auto known = std::find_if(poller->watched.begin(), poller->watched.end(),
                              [fd](const Socket::Watched &watched) { return watched.fd == fd; });
    if ((known == poller->watched.end()) != (operation == EPOLL_CTL_ADD))
        return fail(operation == EPOLL_CTL_ADD ? EEXIST : ENOENT);
    if (operation == EPOLL_CTL_ADD)
        poller->watched.push_back({fd, *event});
    else if (operation == EPOLL_CTL_MOD)
        known->event = *event;
    else
        poller->watched.erase(known);
    return 0;
}

// Edge-triggered are only what the loop is woken by, which nothing here does.
int epoll_wait(int epoll_fd, epoll_event *events, int most, int)
{
    Socket *poller = find(epoll_fd);
    if (!poller)
        return fail(EBADF);
    int count = 0;
    for (const Socket::Watched &watched : poller->watched) {
        if (count == most || watched.event.events & EPOLLET)
            continue;
        short ready = wanted(*find(watched.fd), static_cast<short>(watched.event.events));
        if (ready != 0)
            events[count++] = {static_cast<uint32_t>(ready), watched.event.data};
    }
    return count;
}
}
