// The stream to the broker: connecting, reading through a buffer, framing, writing.
#include "internal.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

namespace
{

// Up to here the length of a message is known.
constexpr size_t kPrefixLength = sizeof(ubus_msghdr) + sizeof(blob_attr);

constexpr size_t kUsualCapacity = size_t{16} * 1024;
constexpr size_t kLeastRoom = size_t{4} * 1024; // below, reading would take many small receives
constexpr int kUsualMessageBuffer = 64 * 1024;
constexpr int kLeastMessageBuffer = 1024;
constexpr int kGreetingTimeoutMs = 10 * 1000;
constexpr size_t kMostUnread = size_t{4} * UBUS_MAX_MSGLEN; // while a write waits

} // namespace

// Several messages may be in it at once. The context holds it, and so does who handles a message in it: then it is not
// moved, and a new one takes its place where it is full.
struct ubus_receive_buffer {
    unsigned int holders;
    size_t capacity;
    size_t begin;
    size_t end;
    char bytes[];
};

namespace
{

size_t unread(const ubus_receive_buffer *buffer)
{
    return buffer ? buffer->end - buffer->begin : 0;
}

void release(ubus_receive_buffer *buffer)
{
    if (buffer && --buffer->holders == 0)
        free(buffer);
}

} // namespace

HeldBuffer::HeldBuffer(ubus_context *ctx) : buffer(ctx->received)
{
    buffer->holders++;
}

HeldBuffer::~HeldBuffer()
{
    release(buffer);
}

namespace
{

// Length of the first message in the buffer, which has its prefix whole.
size_t message_length(const ubus_receive_buffer *buffer)
{
    const auto *body = reinterpret_cast<const blob_attr *>(buffer->bytes + buffer->begin + sizeof(ubus_msghdr));
    return sizeof(ubus_msghdr) + blob_raw_len(body);
}

bool is_well_framed(const ubus_receive_buffer *buffer)
{
    const auto version = static_cast<uint8_t>(buffer->bytes[buffer->begin]);
    const size_t length = message_length(buffer);
    return version == 0 && kPrefixLength <= length && length <= sizeof(ubus_msghdr) + UBUS_MAX_MSGLEN;
}

// Bytes to the end of the message that the buffer begins with, or of its prefix.
size_t missing(const ubus_receive_buffer *buffer)
{
    const size_t have = unread(buffer);

    if (have < kPrefixLength)
        return kPrefixLength - have;
    if (!is_well_framed(buffer))
        return 0; // found out when it is taken
    return message_length(buffer) - std::min(have, message_length(buffer));
}

} // namespace

bool message_is_buffered(const ubus_context *ctx)
{
    return missing(ctx->received) == 0;
}

bool take_message(ubus_context *ctx, Message *message)
{
    ubus_receive_buffer *buffer = ctx->received;

    if (unread(buffer) < kPrefixLength)
        return false;
    if (!is_well_framed(buffer)) {
        lose_connection(ctx);
        return false;
    }
    if (missing(buffer) != 0)
        return false;

    char *start = buffer->bytes + buffer->begin;
    memcpy(&message->header, start, sizeof(message->header));
    message->header.seq = be16_to_cpu(message->header.seq);
    message->header.peer = be32_to_cpu(message->header.peer);
    message->body = reinterpret_cast<blob_attr *>(start + sizeof(message->header));
    message->fd = ctx->passed_at == ctx->taken_bytes ? std::exchange(ctx->passed_fd, -1) : -1;
    ctx->taken_bytes += message_length(buffer);
    buffer->begin += message_length(buffer);
    return true;
}

namespace
{

// Starts over in an empty buffer, and gives an unusually large one back.
void recycle(ubus_context *ctx)
{
    ubus_receive_buffer *buffer = ctx->received;

    if (!buffer || unread(buffer) != 0 || buffer->holders != 1)
        return;
    buffer->begin = buffer->end = 0;
    if (kUsualCapacity < buffer->capacity) {
        release(buffer);
        ctx->received = nullptr;
    }
}

bool replace_buffer(ubus_context *ctx, size_t capacity)
{
    ubus_receive_buffer *old = ctx->received;
    auto *fresh = static_cast<ubus_receive_buffer *>(malloc(sizeof(ubus_receive_buffer) + capacity));

    if (!fresh)
        return false;
    fresh->holders = 1;
    fresh->capacity = capacity;
    fresh->begin = 0;
    fresh->end = unread(old);
    if (old)
        memcpy(fresh->bytes, old->bytes + old->begin, fresh->end);
    ctx->received = fresh;
    release(old);
    return true;
}

bool make_room(ubus_context *ctx)
{
    recycle(ctx);
    ubus_receive_buffer *buffer = ctx->received;
    const size_t have = unread(buffer);
    const size_t need = std::max(missing(buffer), kLeastRoom);

    if (buffer && need <= buffer->capacity - buffer->end)
        return true;
    if (buffer && buffer->holders == 1 && need <= buffer->capacity - have) {
        memmove(buffer->bytes, buffer->bytes + buffer->begin, have);
        buffer->begin = 0;
        buffer->end = have;
        return true;
    }
    // While a write waits much may be read at once: twice as much each time costs few copies.
    return replace_buffer(ctx, std::max(kUsualCapacity, have + std::max(have, need)));
}

void close_passed(ubus_context *ctx)
{
    if (ctx->passed_fd >= 0)
        close(ctx->passed_fd);
    ctx->passed_fd = -1;
}

// The first descriptor that came with the bytes of a read, or -1; the others are closed.
int first_passed(msghdr *received)
{
    int first = -1;

    for (cmsghdr *part = CMSG_FIRSTHDR(received); part; part = CMSG_NXTHDR(received, part)) {
        if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_RIGHTS)
            continue;
        for (size_t offset = 0; CMSG_LEN(offset + sizeof(int)) <= part->cmsg_len; offset += sizeof(int)) {
            int fd;
            memcpy(&fd, CMSG_DATA(part) + offset, sizeof(fd));
            if (first < 0)
                first = fd;
            else
                close(fd);
        }
    }
    return first;
}

bool may_carry_fd(const ubus_receive_buffer *buffer, size_t start)
{
    const auto *header = reinterpret_cast<const ubus_msghdr *>(buffer->bytes + start);
    return buffer->end - start < sizeof(*header) || header->type == UBUS_MSG_INVOKE || header->type == UBUS_MSG_STATUS;
}

// A descriptor comes with the first byte of its message, and a read does not go beyond the send that brought it. So it
// belongs to a message that begins in what was read: where that may be more than one, nobody gets it.
void assign_passed(ubus_context *ctx, size_t read_from, int fd)
{
    const ubus_receive_buffer *buffer = ctx->received;
    size_t candidates = 0;

    for (size_t start = buffer->begin; start < buffer->end;) {
        if (read_from <= start && may_carry_fd(buffer, start)) {
            candidates++;
            ctx->passed_at = ctx->taken_bytes + (start - buffer->begin);
        }
        if (buffer->end - start < kPrefixLength)
            break;
        const auto *body = reinterpret_cast<const blob_attr *>(buffer->bytes + start + sizeof(ubus_msghdr));
        start += sizeof(ubus_msghdr) + std::max(blob_raw_len(body), sizeof(blob_attr));
    }
    close_passed(ctx);
    if (candidates == 1)
        ctx->passed_fd = fd;
    else
        close(fd);
}

constexpr size_t kMostPassed = 253; // in one send: what had no room in the control buffer would be lost by the kernel

// Like recv, into the buffer; ENOMEM without room.
ssize_t receive(ubus_context *ctx)
{
    if (!make_room(ctx)) {
        errno = ENOMEM;
        return -1;
    }
    ubus_receive_buffer *buffer = ctx->received;
    alignas(cmsghdr) char control[CMSG_SPACE(kMostPassed * sizeof(int))];
    iovec room = {buffer->bytes + buffer->end, buffer->capacity - buffer->end};
    msghdr vector = {};
    vector.msg_iov = &room;
    vector.msg_iovlen = 1;
    vector.msg_control = control;
    vector.msg_controllen = sizeof(control);
    const ssize_t got = recvmsg(ctx->sock.fd, &vector, MSG_DONTWAIT);
    const size_t read_from = buffer->end;
    if (got > 0)
        buffer->end += static_cast<size_t>(got);
    const int fd = got < 0 ? -1 : first_passed(&vector);
    if (fd >= 0)
        assign_passed(ctx, read_from, fd);
    return got;
}

} // namespace

bool receive_available(ubus_context *ctx)
{
    if (ctx->disconnected)
        return false;
    const ssize_t got = receive(ctx);
    if (got == 0 || (got < 0 && errno != EAGAIN && errno != EINTR))
        lose_connection(ctx);
    return got > 0;
}

void lose_connection(ubus_context *ctx)
{
    if (ctx->disconnected)
        return;
    ctx->disconnected = ctx->loss_pending = true;
    if (ctx->received)
        ctx->received->begin = ctx->received->end;
    close_passed(ctx);
    // Makes the loop take the socket out, where it is still in.
    shutdown(ctx->sock.fd, SHUT_RDWR);
    drop_kept_calls(ctx);
    fail_requests(ctx);
}

namespace
{

int64_t now_ms()
{
    timespec now;

    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

} // namespace

Patience patience_of(int timeout_ms)
{
    return {timeout_ms > 0 ? now_ms() + timeout_ms : INT64_MAX, uloop_cancelled};
}

int wait_for_input(ubus_context *ctx, const Patience &patience)
{
    int timeout = -1;

    if (uloop_cancelled && !patience.loop_had_ended)
        return UBUS_STATUS_NO_DATA;
    if (patience.deadline != INT64_MAX) {
        const int64_t left = patience.deadline - now_ms();
        if (left <= 0)
            return UBUS_STATUS_TIMEOUT;
        timeout = static_cast<int>(std::min(left, int64_t{INT_MAX}));
    }

    pollfd readable = {ctx->sock.fd, POLLIN, 0};
    const int ready = poll(&readable, 1, timeout);
    if (ready < 0 && errno == EINTR && uloop_cancelled)
        return UBUS_STATUS_NO_DATA;
    if (ready > 0)
        receive_available(ctx);
    return UBUS_STATUS_OK;
}

bool begin_message(ubus_context *ctx)
{
    return blob_buf_init(&ctx->message, 0) == 0;
}

namespace
{

// Leaves in the vector what is still to be written.
void advance(msghdr *vector, size_t written)
{
    while (vector->msg_iovlen > 0) {
        iovec *first = vector->msg_iov;
        const size_t step = std::min(written, first->iov_len);
        first->iov_base = static_cast<char *>(first->iov_base) + step;
        first->iov_len -= step;
        written -= step;
        if (first->iov_len > 0)
            return;
        vector->msg_iov++;
        vector->msg_iovlen--;
    }
}

// A broker reads nothing of a client whose own queue is full: both would wait for each other if nothing were read here.
// Bytes read wait in the buffer. An end is left to who reads next.
bool wait_for_room(ubus_context *ctx)
{
    const bool reads = unread(ctx->received) < kMostUnread;
    pollfd ready = {ctx->sock.fd, static_cast<short>(POLLOUT | (reads ? POLLIN : 0)), 0};

    if (poll(&ready, 1, -1) < 0)
        return errno == EINTR;
    if (ready.revents != POLLIN)
        return true;
    const ssize_t got = receive(ctx);
    return got > 0 || (got < 0 && (errno == EINTR || errno == EAGAIN));
}

// Waits for a broker that does not read, as long as it takes, be the socket blocking or not.
bool write_whole(ubus_context *ctx, msghdr *vector)
{
    while (vector->msg_iovlen > 0) {
        const ssize_t written = sendmsg(ctx->sock.fd, vector, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (written >= 0) {
            advance(vector, static_cast<size_t>(written));
            vector->msg_control = nullptr; // a descriptor goes with the first byte
            vector->msg_controllen = 0;
        } else if (errno == EAGAIN ? !wait_for_room(ctx) : errno != EINTR) {
            return false;
        }
    }
    return true;
}

} // namespace

// Short answers of a running handler, which leave with its status. One write instead of two wakes the broker, and then
// the caller, once.
struct ubus_held_answers {
    size_t length;
    char bytes[4096];
};

namespace
{

void *held_bytes(ubus_context *ctx)
{
    return ctx->held ? ctx->held->bytes : nullptr;
}

size_t take_held_length(ubus_context *ctx)
{
    return ctx->held ? std::exchange(ctx->held->length, 0) : 0;
}

// Writes what is held, and behind it a message where there is one.
int write_out(ubus_context *ctx, ubus_msghdr *header, blob_attr *body, int fd)
{
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    iovec parts[] = {{held_bytes(ctx), take_held_length(ctx)},
                     {header, header ? sizeof(*header) : 0},
                     {body, body ? blob_raw_len(body) : 0}};
    msghdr vector = {};

    if (ctx->disconnected)
        return UBUS_STATUS_CONNECTION_FAILED;
    vector.msg_iov = parts;
    vector.msg_iovlen = ARRAY_SIZE(parts);
    if (fd >= 0) {
        vector.msg_control = control;
        vector.msg_controllen = sizeof(control);
        cmsghdr *part = CMSG_FIRSTHDR(&vector);
        part->cmsg_level = SOL_SOCKET;
        part->cmsg_type = SCM_RIGHTS;
        part->cmsg_len = CMSG_LEN(sizeof(int));
        memcpy(CMSG_DATA(part), &fd, sizeof(fd));
    }
    const bool written = write_whole(ctx, &vector);
    if (!written) // what follows half a message would be misread; whoever reads next finds the end
        shutdown(ctx->sock.fd, SHUT_RDWR);
    return written ? UBUS_STATUS_OK : UBUS_STATUS_CONNECTION_FAILED;
}

ubus_msghdr wire_header(ubus_msg_type type, uint16_t seq, uint32_t peer)
{
    return {0, static_cast<uint8_t>(type), cpu_to_be16(seq), cpu_to_be32(peer)};
}

// The room of an unusually long message is given back but for the room that every status and small request finds: these
// have to go out also when memory is out.
void shrink(blob_buf *message)
{
    void *memory = realloc(message->buf, kLeastMessageBuffer);

    if (!memory)
        return;
    message->buf = memory;
    message->buflen = kLeastMessageBuffer;
    message->head = nullptr;
}

} // namespace

int send_message_fd(ubus_context *ctx, ubus_msg_type type, uint16_t seq, uint32_t peer, int fd)
{
    ubus_msghdr header = wire_header(type, seq, peer);
    if (fd >= 0)
        flush_held(ctx);
    const int status = write_out(ctx, &header, ctx->message.head, fd);

    if (kUsualMessageBuffer < ctx->message.buflen)
        shrink(&ctx->message);
    return status;
}

int send_message(ubus_context *ctx, ubus_msg_type type, uint16_t seq, uint32_t peer)
{
    return send_message_fd(ctx, type, seq, peer, -1);
}

int send_message_soon(ubus_context *ctx, ubus_msg_type type, uint16_t seq, uint32_t peer)
{
    const ubus_msghdr header = wire_header(type, seq, peer);
    const blob_attr *body = ctx->message.head;
    const size_t need = sizeof(header) + blob_raw_len(body);

    if (!ctx->held)
        ctx->held = static_cast<ubus_held_answers *>(calloc(1, sizeof(*ctx->held)));
    if (ctx->disconnected || !ctx->held || sizeof(ctx->held->bytes) - ctx->held->length < need)
        return send_message(ctx, type, seq, peer);
    char *end = ctx->held->bytes + ctx->held->length;
    memcpy(end, &header, sizeof(header));
    memcpy(end + sizeof(header), body, blob_raw_len(body));
    ctx->held->length += need;
    return UBUS_STATUS_OK;
}

void flush_held(ubus_context *ctx)
{
    if (ctx->held && ctx->held->length > 0)
        write_out(ctx, nullptr, nullptr, -1);
}

namespace
{

const char *default_path()
{
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody changes the environment
    const char *path = getenv(UBUS_SOCKET_VARIABLE);
    return path && *path ? path : UBUS_UNIX_SOCKET;
}

int connect_to(const char *path)
{
    sockaddr_un address = {};
    const size_t length = strlen(path) + 1;

    if (sizeof(address.sun_path) < length)
        return -1;
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path, length);

    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    int result;
    do {
        result = connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address));
    } while (result < 0 && errno == EINTR);
    if (result < 0) {
        close(fd);
        return -1;
    }
    return fd;
}

bool take_greeting(ubus_context *ctx)
{
    const Patience patience = patience_of(kGreetingTimeoutMs);
    Message greeting;

    while (!take_message(ctx, &greeting))
        if (ctx->disconnected || wait_for_input(ctx, patience) != UBUS_STATUS_OK)
            return false;
    ctx->local_id = cpu_to_be32(greeting.header.peer);
    if (greeting.fd >= 0)
        close(greeting.fd);
    return greeting.header.type == UBUS_MSG_HELLO;
}

} // namespace

int connection_open(ubus_context *ctx, const char *path)
{
    ctx->sock.fd = connect_to(path ? path : default_path());
    if (ctx->sock.fd < 0)
        return UBUS_STATUS_CONNECTION_FAILED;
    ctx->sock.eof = ctx->sock.error = false;
    ctx->disconnected = false;
    if (!take_greeting(ctx)) {
        connection_close(ctx);
        return UBUS_STATUS_UNKNOWN_ERROR;
    }
    schedule_rest(ctx);
    return UBUS_STATUS_OK;
}

void connection_close(ubus_context *ctx)
{
    if (ctx->sock.registered)
        uloop_fd_delete(&ctx->sock);
    if (ctx->sock.fd >= 0)
        close(ctx->sock.fd);
    ctx->sock.fd = -1;
    uloop_timeout_cancel(&ctx->pending_timer);
    ctx->disconnected = true;
    ctx->loss_pending = false;
    close_passed(ctx);
    ctx->taken_bytes = 0;
    release(ctx->received);
    ctx->received = nullptr;
    free(ctx->held);
    ctx->held = nullptr;
}
