// The stream to the broker: connecting, reading through a buffer, framing, writing.
#include "internal.h"

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

#include <algorithm>
#include <utility>

// Up to here the length of a message is known.
static constexpr size_t kPrefixLength = sizeof(ubus_msghdr) + sizeof(blob_attr);

static constexpr size_t kUsualCapacity = size_t{16} * 1024;
static constexpr size_t kLeastRoom = size_t{4} * 1024; // below, reading would take many small receives
static constexpr int kUsualMessageBuffer = 64 * 1024;
static constexpr int kLeastMessageBuffer = 1024;
static constexpr int kGreetingTimeoutMs = 10 * 1000;

// Several messages may be in it at once. The context holds it, and so does who handles a message in it: then it is not
// moved, and a new one takes its place where it is full.
struct ubus_receive_buffer {
    unsigned int holders;
    size_t capacity;
    size_t begin;
    size_t end;
    char bytes[];
};

static size_t unread(const ubus_receive_buffer *buffer)
{
    return buffer ? buffer->end - buffer->begin : 0;
}

static void release(ubus_receive_buffer *buffer)
{
    if (buffer && --buffer->holders == 0)
        free(buffer);
}

HeldBuffer::HeldBuffer(ubus_context *ctx) : buffer(ctx->received)
{
    buffer->holders++;
}

HeldBuffer::~HeldBuffer()
{
    release(buffer);
}

// Length of the first message in the buffer, which has its prefix whole.
static size_t message_length(const ubus_receive_buffer *buffer)
{
    const auto *body = reinterpret_cast<const blob_attr *>(buffer->bytes + buffer->begin + sizeof(ubus_msghdr));
    return sizeof(ubus_msghdr) + blob_raw_len(body);
}

static bool is_well_framed(const ubus_receive_buffer *buffer)
{
    auto const version = static_cast<uint8_t>(buffer->bytes[buffer->begin]);
    size_t const length = message_length(buffer);
    return version == 0 && kPrefixLength <= length && length <= sizeof(ubus_msghdr) + UBUS_MAX_MSGLEN;
}

// Bytes to the end of the message that the buffer begins with, or of its prefix.
static size_t missing(const ubus_receive_buffer *buffer)
{
    size_t const have = unread(buffer);

    if (have < kPrefixLength)
        return kPrefixLength - have;
    if (!is_well_framed(buffer))
        return 0; // found out when it is taken
    return message_length(buffer) - std::min(have, message_length(buffer));
}

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
    buffer->begin += message_length(buffer);
    return true;
}

// Starts over in an empty buffer, and gives an unusually large one back.
static void recycle(ubus_context *ctx)
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

static bool replace_buffer(ubus_context *ctx, size_t capacity)
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

static bool make_room(ubus_context *ctx)
{
    recycle(ctx);
    ubus_receive_buffer *buffer = ctx->received;
    size_t const have = unread(buffer);
    size_t const need = std::max(missing(buffer), kLeastRoom);

    if (buffer && need <= buffer->capacity - buffer->end)
        return true;
    if (buffer && buffer->holders == 1 && need <= buffer->capacity - have) {
        memmove(buffer->bytes, buffer->bytes + buffer->begin, have);
        buffer->begin = 0;
        buffer->end = have;
        return true;
    }
    return replace_buffer(ctx, std::max(kUsualCapacity, have + need));
}

bool receive_available(ubus_context *ctx)
{
    if (ctx->disconnected)
        return false;
    if (!make_room(ctx)) {
        lose_connection(ctx);
        return false;
    }
    ubus_receive_buffer *buffer = ctx->received;
    ssize_t const got = recv(ctx->sock.fd, buffer->bytes + buffer->end, buffer->capacity - buffer->end, MSG_DONTWAIT);
    if (got > 0)
        buffer->end += static_cast<size_t>(got);
    else if (got == 0 || (errno != EAGAIN && errno != EINTR))
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
    // Makes the loop take the socket out, where it is still in.
    shutdown(ctx->sock.fd, SHUT_RDWR);
    fail_requests(ctx);
}

static int64_t now_ms()
{
    timespec now;

    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

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
        int64_t const left = patience.deadline - now_ms();
        if (left <= 0)
            return UBUS_STATUS_TIMEOUT;
        timeout = static_cast<int>(std::min(left, int64_t{INT_MAX}));
    }

    pollfd readable = {ctx->sock.fd, POLLIN, 0};
    int const ready = poll(&readable, 1, timeout);
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

// Leaves in the vector what is still to be written.
static void advance(msghdr *vector, size_t written)
{
    while (vector->msg_iovlen > 0) {
        iovec *first = vector->msg_iov;
        size_t const step = std::min(written, first->iov_len);
        first->iov_base = static_cast<char *>(first->iov_base) + step;
        first->iov_len -= step;
        written -= step;
        if (first->iov_len > 0)
            return;
        vector->msg_iov++;
        vector->msg_iovlen--;
    }
}

// Waits for a broker that does not read, as long as it takes, be the socket blocking or not.
static bool write_whole(int fd, msghdr *vector)
{
    while (vector->msg_iovlen > 0) {
        ssize_t const written = sendmsg(fd, vector, MSG_NOSIGNAL);
        if (written >= 0) {
            advance(vector, static_cast<size_t>(written));
        } else if (errno == EAGAIN) {
            pollfd writable = {fd, POLLOUT, 0};
            poll(&writable, 1, -1);
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

// Short answers of a running handler, which leave with its status. One write instead of two wakes the broker, and then
// the caller, once.
struct ubus_held_answers {
    size_t length;
    char bytes[4096];
};

static void *held_bytes(ubus_context *ctx)
{
    return ctx->held ? ctx->held->bytes : nullptr;
}

static size_t take_held_length(ubus_context *ctx)
{
    return ctx->held ? std::exchange(ctx->held->length, 0) : 0;
}

// Writes what is held, and behind it a message where there is one.
static int write_out(ubus_context *ctx, ubus_msghdr *header, blob_attr *body)
{
    iovec parts[] = {{held_bytes(ctx), take_held_length(ctx)},
                     {header, header ? sizeof(*header) : 0},
                     {body, body ? blob_raw_len(body) : 0}};
    msghdr vector = {};

    if (ctx->disconnected)
        return UBUS_STATUS_CONNECTION_FAILED;
    vector.msg_iov = parts;
    vector.msg_iovlen = ARRAY_SIZE(parts);
    bool const written = write_whole(ctx->sock.fd, &vector);
    if (!written) // what follows half a message would be misread; whoever reads next finds the end
        shutdown(ctx->sock.fd, SHUT_RDWR);
    return written ? UBUS_STATUS_OK : UBUS_STATUS_CONNECTION_FAILED;
}

static ubus_msghdr wire_header(ubus_msg_type type, uint16_t seq, uint32_t peer)
{
    return {0, static_cast<uint8_t>(type), cpu_to_be16(seq), cpu_to_be32(peer)};
}

// What an unusually long message needed is given back but for the room that every status and small request finds: these
// have to go out also when memory is out.
static void shrink(blob_buf *message)
{
    void *memory = realloc(message->buf, kLeastMessageBuffer);

    if (!memory)
        return;
    message->buf = memory;
    message->buflen = kLeastMessageBuffer;
    message->head = nullptr;
}

int send_message(ubus_context *ctx, ubus_msg_type type, uint16_t seq, uint32_t peer)
{
    ubus_msghdr header = wire_header(type, seq, peer);
    int const status = write_out(ctx, &header, ctx->message.head);

    if (kUsualMessageBuffer < ctx->message.buflen)
        shrink(&ctx->message);
    return status;
}

int send_message_soon(ubus_context *ctx, ubus_msg_type type, uint16_t seq, uint32_t peer)
{
    ubus_msghdr const header = wire_header(type, seq, peer);
    const blob_attr *body = ctx->message.head;
    size_t const need = sizeof(header) + blob_raw_len(body);

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
        write_out(ctx, nullptr, nullptr);
}

static const char *default_path()
{
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody changes the environment
    const char *path = getenv(UBUS_SOCKET_VARIABLE);
    return path && *path ? path : UBUS_UNIX_SOCKET;
}

static int connect_to(const char *path)
{
    sockaddr_un address = {};
    size_t const length = strlen(path) + 1;

    if (sizeof(address.sun_path) < length)
        return -1;
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path, length);

    int const fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
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

static bool take_greeting(ubus_context *ctx)
{
    Patience const patience = patience_of(kGreetingTimeoutMs);
    Message greeting;

    while (!take_message(ctx, &greeting))
        if (ctx->disconnected || wait_for_input(ctx, patience) != UBUS_STATUS_OK)
            return false;
    ctx->local_id = greeting.header.peer;
    return greeting.header.type == UBUS_MSG_HELLO;
}

int connection_open(ubus_context *ctx, const char *path)
{
    ctx->sock.fd = connect_to(path ? path : default_path());
    if (ctx->sock.fd < 0)
        return UBUS_STATUS_CONNECTION_FAILED;
    ctx->sock.eof = ctx->sock.error = false;
    ctx->disconnected = false;
    if (!take_greeting(ctx)) {
        connection_close(ctx);
        return UBUS_STATUS_CONNECTION_FAILED;
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
    release(ctx->received);
    ctx->received = nullptr;
    free(ctx->held);
    ctx->held = nullptr;
}
