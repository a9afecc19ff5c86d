// Messages over UNIX-domain stream sockets. A request on an open connection costs three system calls: the look whether
// the service has closed it, the send, and one receive that waits for the answer.

#include "domainsocket.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <endian.h>
#include <fcntl.h>
#include <iterator>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

namespace
{

constexpr int64_t kSecond = 1'000'000'000; // every time below is in nanoseconds of the monotonic clock
constexpr int64_t kMillisecond = 1'000'000;
constexpr int64_t kForever = INT64_MAX;
constexpr int kExhaustedPause = 100; // ms between attempts to accept while descriptors or memory have run out

constexpr size_t kHeaderWords = 4;
constexpr uint32_t kCodeLength = sizeof(uint32_t);

// Time

int64_t monotonic_time()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * kSecond + now.tv_nsec;
}

int64_t deadline_after(int seconds)
{
    return seconds < 0 ? kForever : monotonic_time() + seconds * kSecond;
}

// The time-out for poll, rounded up so that nothing ends before its deadline; -1 waits for ever.
int milliseconds_until(int64_t deadline)
{
    if (deadline == kForever)
        return -1;
    int64_t left = std::max<int64_t>(deadline - monotonic_time(), 0);
    return static_cast<int>(std::min<int64_t>((left + kMillisecond - 1) / kMillisecond, INT_MAX));
}

// Returns 0 when `fd` is ready for `events` (or has failed, which the call that follows finds out).
int wait_ready(int fd, short events, int64_t deadline)
{
    if (fd < 0)
        return SOCKET_ERROR; // poll would pass over it and wait
    for (;;) {
        int timeout = milliseconds_until(deadline);
        pollfd entry = {fd, events, 0};
        int ready = poll(&entry, 1, timeout);
        if (ready > 0)
            return 0;
        if (ready == 0 && timeout < INT_MAX)
            return SOCKET_NOTHING;
        if (ready < 0 && errno != EINTR)
            return SOCKET_ERROR;
    }
}

bool must_wait(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

// After a call that could move nothing: whether it may be tried again.
bool wait_to_go_on(int fd, short events, int64_t deadline)
{
    return must_wait(errno) && wait_ready(fd, events, deadline) == 0;
}

// Transfers: a header and what follows it, moved by as few system calls as the kernel allows

struct Transfer {
    iovec pieces[2];
    msghdr message = {};
    size_t moved = 0;
    bool waited = false;

    Transfer(iovec head, iovec body) : pieces{head, body}
    {
        message.msg_iov = pieces;
        message.msg_iovlen = std::size(pieces);
    }
    Transfer(const Transfer &) = delete;
    Transfer &operator=(const Transfer &) = delete;

    void advance(size_t bytes)
    {
        moved += bytes;
        for (; message.msg_iovlen > 0 && bytes >= message.msg_iov->iov_len; ++message.msg_iov, --message.msg_iovlen)
            bytes -= message.msg_iov->iov_len;
        if (bytes > 0) {
            message.msg_iov->iov_base = static_cast<char *>(message.msg_iov->iov_base) + bytes;
            message.msg_iov->iov_len -= bytes;
        }
    }
};

// Sends until `need` bytes have gone. On failure errno tells why, and `moved` how many bytes the kernel took.
int send_until(int fd, Transfer &transfer, size_t need, int64_t deadline)
{
    while (transfer.moved < need) {
        ssize_t sent = sendmsg(fd, &transfer.message, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent >= 0)
            transfer.advance(static_cast<size_t>(sent));
        else if (wait_to_go_on(fd, POLLOUT, deadline))
            transfer.waited = true;
        else
            return SOCKET_ERROR;
    }
    return 0;
}

// Receives until `need` bytes are there; more are taken as far as the pieces reach. The first receive gets `flags`, so
// that it may be the one that waits.
int receive_until(int fd, Transfer &transfer, size_t need, int64_t deadline, int flags)
{
    for (; transfer.moved < need; flags = MSG_DONTWAIT) {
        ssize_t received = recvmsg(fd, &transfer.message, flags);
        if (received > 0)
            transfer.advance(static_cast<size_t>(received));
        else if (received == 0)
            return transfer.moved == 0 ? SOCKET_CLOSED : SOCKET_ERROR;
        else if (!wait_to_go_on(fd, POLLIN, deadline))
            return SOCKET_ERROR;
    }
    return 0;
}

int discard(int fd, size_t length, int64_t deadline)
{
    char scratch[4096];
    while (length > 0) {
        // cppcheck-suppress legacyUninitvar ; it is what is received into
        Transfer transfer({scratch, std::min(length, sizeof(scratch))}, {});
        if (receive_until(fd, transfer, 1, deadline, MSG_DONTWAIT) != 0)
            return SOCKET_ERROR;
        length -= transfer.moved;
    }
    return 0;
}

// Descriptors and addresses

// The callers of the public functions take a descriptor of 0, as comes up where standard input is closed, for a
// failure.
int above_zero(int fd)
{
    if (fd != 0)
        return fd;
    int moved = fcntl(fd, F_DUPFD_CLOEXEC, 1);
    close(fd);
    return moved;
}

int open_socket()
{
    return above_zero(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

bool make_address(sockaddr_un &address, const char *path)
{
    size_t length = path ? strnlen(path, sizeof(address.sun_path)) : 0;
    if (length == 0 || length == sizeof(address.sun_path)) {
        errno = length == 0 ? EINVAL : ENAMETOOLONG;
        return false;
    }
    address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path, length);
    return true;
}

const sockaddr *generic(const sockaddr_un &address)
{
    return reinterpret_cast<const sockaddr *>(&address);
}

// Connections: every thread's own, a few paths each

struct Connection {
    int fd; // 0 when there is none
    sockaddr_un address;
};

struct Connections {
    Connection slots[4];
    unsigned next_victim;
};

thread_local Connections connections;
pthread_key_t thread_end;
bool has_thread_end;
pthread_once_t thread_end_once = PTHREAD_ONCE_INIT;

void disconnect(Connection &connection)
{
    if (connection.fd > 0)
        close(connection.fd);
    connection.fd = 0;
}

void disconnect_all(void *of_thread)
{
    for (Connection &connection : static_cast<Connections *>(of_thread)->slots)
        disconnect(connection);
}

bool disconnects_at_thread_end()
{
    pthread_once(&thread_end_once, [] { has_thread_end = pthread_key_create(&thread_end, disconnect_all) == 0; });
    return has_thread_end && (pthread_getspecific(thread_end) || pthread_setspecific(thread_end, &connections) == 0);
}

Connection &connection_to(const sockaddr_un &address)
{
    for (Connection &connection : connections.slots)
        if (strcmp(connection.address.sun_path, address.sun_path) == 0)
            return connection;
    Connection &victim = connections.slots[connections.next_victim++ % std::size(connections.slots)];
    disconnect(victim);
    victim.address = address;
    return victim;
}

int set_timeout(int fd, int option, int64_t time)
{
    timeval value = {static_cast<time_t>(time / kSecond), static_cast<suseconds_t>(time % kSecond / 1000)};
    if (value.tv_sec <= 0 && value.tv_usec <= 0)
        return -1; // to the kernel, 0 would be for ever
    return setsockopt(fd, SOL_SOCKET, option, &value, sizeof(value));
}

// While the service's queue of connections is full, connect waits as long as a send may.
int connect_until(int fd, const sockaddr_un &address, int64_t deadline)
{
    while (set_timeout(fd, SO_SNDTIMEO, deadline - monotonic_time()) == 0) {
        if (connect(fd, generic(address), sizeof(address)) == 0)
            return 0;
        if (errno != EINTR)
            break;
    }
    return -1;
}

// Anybody may serve a path below a folder that everybody can write to. What listens there is known by its user.
bool is_trusted(int fd)
{
    ucred service{};
    socklen_t length = sizeof(service);
    return getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &service, &length) == 0 &&
           (service.uid == 0 || service.uid == geteuid());
}

bool open_connection(Connection &connection, int64_t deadline)
{
    if (!disconnects_at_thread_end())
        return false;
    connection.fd = std::max(open_socket(), 0);
    if (connection.fd > 0 && connect_until(connection.fd, connection.address, deadline) == 0 &&
        is_trusted(connection.fd) && set_timeout(connection.fd, SO_RCVTIMEO, SOCKET_TIME_LIMIT * kSecond) == 0)
        return true;
    disconnect(connection);
    return false;
}

// Whether a connection can carry another request: the service has neither closed it nor sent what nobody asked for.
bool is_quiet(const Connection &connection)
{
    char byte;
    return connection.fd > 0 && recv(connection.fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT) < 0 && must_wait(errno);
}

// Sends a request on the open connection or on a new one; `at_once` tells whether that took no time. When the service
// closes the open one between the look and the send, the kernel takes no byte of the request, and it goes out on a new
// one.
bool send_request(Connection &connection, iovec header, iovec payload, int64_t deadline, bool &at_once)
{
    for (bool reused = is_quiet(connection);; reused = false) {
        if (!reused) {
            disconnect(connection);
            if (!open_connection(connection, deadline))
                return false;
        }
        Transfer request(header, payload);
        int result = send_until(connection.fd, request, header.iov_len + payload.iov_len, deadline);
        at_once = reused && !request.waited;
        if (result == 0)
            return true;
        if (!reused || request.moved > 0 || errno != EPIPE)
            return false;
    }
}

// Receives the answer to a request of `type` into `body` of `room` bytes, zero-filled beyond what came. Bytes that
// follow the answer belong to no request: the connection is given up, the answer is not.
bool receive_answer(Connection &connection, uint32_t type, char *body, uint32_t room, int64_t deadline, int flags)
{
    uint32_t header[kHeaderWords];
    Transfer answer({header, sizeof(header)}, {body, room});
    if (receive_until(connection.fd, answer, sizeof(header), deadline, flags) != 0)
        return false;
    uint32_t length = le32toh(header[3]);
    if (le32toh(header[0]) != type || length < kCodeLength || length > SOCKET_LENGTH_LIMIT)
        return false;
    uint32_t kept = std::min(length, room);
    size_t whole = sizeof(header) + kept;
    if (receive_until(connection.fd, answer, whole, deadline, MSG_DONTWAIT) != 0 ||
        discard(connection.fd, length - kept, deadline) != 0)
        return false;
    memset(body + kept, 0, room - kept);
    if (answer.moved > whole)
        disconnect(connection);
    return true;
}

// A request that went out at once leaves the answer all of the time, which is the time-out that every connection's
// receives have: the first of them can do the waiting. In any other case poll waits, for what is left.
bool exchange(Connection &connection, const SOCKET_Request &request, const void *payload, char *body, uint32_t room)
{
    int64_t deadline = deadline_after(SOCKET_TIME_LIMIT);
    uint32_t words[kHeaderWords] = {htole32(request.type), htole32(request.flag), htole32(request.expected),
                                    htole32(request.length)};
    iovec header = {words, sizeof(words)};
    iovec piece = {const_cast<void *>(payload), request.length};
    bool at_once;
    return send_request(connection, header, piece, deadline, at_once) &&
           receive_answer(connection, request.type, body, room, deadline, at_once ? 0 : MSG_DONTWAIT);
}

// Makes way for a socket at `address`; false where somebody serves it or the file is none of ours to remove.
bool remove_stale_socket(const sockaddr_un &address)
{
    struct stat status;
    if (lstat(address.sun_path, &status) != 0)
        return errno == ENOENT;
    errno = ENOTSOCK;
    int probe = S_ISSOCK(status.st_mode) ? open_socket() : -1;
    if (probe < 0)
        return false;
    bool refused = fcntl(probe, F_SETFL, O_NONBLOCK) == 0 && connect(probe, generic(address), sizeof(address)) != 0 &&
                   errno == ECONNREFUSED;
    close(probe);
    errno = EADDRINUSE;
    return refused && (unlink(address.sun_path) == 0 || errno == ENOENT);
}

} // namespace

void *SOCKET_SendMsgByType(const char *path, uint32_t type, uint32_t flag, const void *payload, uint32_t length,
                           uint32_t expected)
{
    sockaddr_un address;
    if (!make_address(address, path) || length > SOCKET_LENGTH_LIMIT || expected > SOCKET_LENGTH_LIMIT ||
        (length > 0 && !payload))
        return nullptr;
    uint32_t room = std::max(expected, kCodeLength);
    char *body = static_cast<char *>(malloc(room));
    if (!body)
        return nullptr;
    Connection &connection = connection_to(address);
    if (exchange(connection, {type, flag, expected, length}, payload, body, room))
        return body;
    disconnect(connection);
    free(body);
    return nullptr;
}

int SOCKET_InitListenServer(const char *path)
{
    sockaddr_un address;
    if (!make_address(address, path) || !remove_stale_socket(address))
        return -1;
    int listener = open_socket();
    if (listener < 0)
        return -1;
    // bind gives the file the mode of the socket, less the umask.
    if (fchmod(listener, S_IRUSR | S_IWUSR) == 0 && bind(listener, generic(address), sizeof(address)) == 0) {
        if (listen(listener, SOMAXCONN) == 0)
            return listener;
        unlink(path);
    }
    int error = errno;
    close(listener);
    errno = error;
    return -1;
}

int SOCKET_AcceptClient(int listener)
{
    for (;;) {
        int client = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (client >= 0)
            return above_zero(client);
        if (errno == EINTR || errno == ECONNABORTED)
            continue;
        if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM)
            poll(nullptr, 0, kExhaustedPause);
        return SOCKET_ERROR;
    }
}

int SOCKET_Recv(int client, void *buffer, uint32_t capacity, int timeout_seconds, uint32_t *received)
{
    *received = 0;
    int waited = wait_ready(client, POLLIN, deadline_after(timeout_seconds));
    if (waited != 0)
        return waited;
    ssize_t arrived = recv(client, buffer, capacity, MSG_DONTWAIT);
    if (arrived < 0)
        return must_wait(errno) ? SOCKET_NOTHING : SOCKET_ERROR;
    *received = static_cast<uint32_t>(arrived);
    return arrived > 0 ? 0 : SOCKET_CLOSED;
}

void SOCKET_Close(int client)
{
    if (client >= 0)
        close(client);
}

int SOCKET_RecvRequest(int client, SOCKET_Request *request, void *payload, uint32_t capacity, int timeout_seconds)
{
    int waited = wait_ready(client, POLLIN, deadline_after(timeout_seconds));
    if (waited != 0)
        return waited;
    int64_t deadline = deadline_after(SOCKET_TIME_LIMIT);
    uint32_t words[kHeaderWords] = {};
    Transfer header({words, sizeof(words)}, {});
    int result = receive_until(client, header, sizeof(words), deadline, MSG_DONTWAIT);
    if (result != 0)
        return result;
    *request = {le32toh(words[0]), le32toh(words[1]), le32toh(words[2]), le32toh(words[3])};
    if (request->length > std::min<uint32_t>(capacity, SOCKET_LENGTH_LIMIT))
        return SOCKET_ERROR;
    Transfer rest({payload, request->length}, {});
    return receive_until(client, rest, request->length, deadline, MSG_DONTWAIT) == 0 ? 0 : SOCKET_ERROR;
}

int SOCKET_SendAnswer(int client, uint32_t type, uint32_t code, const void *record, uint32_t length)
{
    if (length > SOCKET_LENGTH_LIMIT - kCodeLength || (length > 0 && !record))
        return SOCKET_ERROR;
    uint32_t head[] = {htole32(type), 0, 0, htole32(kCodeLength + length), htole32(code)};
    Transfer answer({head, sizeof(head)}, {const_cast<void *>(record), length});
    return send_until(client, answer, sizeof(head) + length, deadline_after(SOCKET_TIME_LIMIT));
}
