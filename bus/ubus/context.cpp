// The life of a context, and the order in which its messages are handled.
#include "internal.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <unistd.h>

namespace
{

bool is_for_object(const Message &message)
{
    const uint8_t type = message.header.type;
    return type == UBUS_MSG_INVOKE || type == UBUS_MSG_UNSUBSCRIBE || type == UBUS_MSG_NOTIFY;
}

bool is_answer(const Message &message)
{
    return message.header.type == UBUS_MSG_STATUS || message.header.type == UBUS_MSG_DATA;
}

void run_object_message(ubus_context *ctx, const Message &message)
{
    ctx->stack_depth++;
    handle_object_message(ctx, message);
    ctx->stack_depth--;
}

// Bounds of what is kept while a handler or a synchronous request is under way. What the broker itself has to say, of
// subscribers and targets, comes once and may have as much again.
constexpr size_t kMostKept = 1000;
constexpr size_t kMostKeptBytes = size_t{1024} * 1024;

bool may_be_kept(const ubus_context *ctx, const Message &message)
{
    const size_t share = message.header.type == UBUS_MSG_INVOKE ? 1 : 2;
    return ctx->kept_count < share * kMostKept &&
           ctx->kept_bytes + blob_raw_len(message.body) <= share * kMostKeptBytes;
}

bool keep(ubus_context *ctx, const Message &message)
{
    if (!may_be_kept(ctx, message) || !keep_message(&ctx->pending, message))
        return false;
    ctx->kept_count++;
    ctx->kept_bytes += blob_raw_len(message.body);
    return true;
}

void note_unkept(ubus_context *ctx, const Message &message)
{
    ctx->kept_count--;
    ctx->kept_bytes -= blob_raw_len(message.body);
}

bool is_lost(const ubus_context *ctx)
{
    return ctx->disconnected || ctx->sock.error;
}

// Messages for objects that arrive within a handler or during a synchronous request run later, in the order of arrival.
// Calls of a connection that is lost are dropped: whoever waits for them will not see the answer.
Dispatched route_message(ubus_context *ctx, const Message &message)
{
    if (is_answer(message)) {
        handle_answer(ctx, message);
    } else if (message.header.type == UBUS_MSG_MONITOR) {
        if (ctx->monitor_cb)
            ctx->monitor_cb(ctx, message.header.seq, message.body);
    } else if (is_for_object(message) && !(is_lost(ctx) && wants_answer(message))) {
        if (ctx->stack_depth == 0) {
            run_object_message(ctx, message);
            return Dispatched::kCall;
        }
        if (!keep(ctx, message))
            refuse_call(ctx, message, UBUS_STATUS_NO_MEMORY);
    }
    return Dispatched::kOther;
}

} // namespace

void drop_kept_calls(ubus_context *ctx)
{
    KeptMessage *kept, *next;

    list_for_each_entry_safe (kept, next, &ctx->pending, list) {
        if (!wants_answer(kept->message))
            continue;
        note_unkept(ctx, kept->message);
        list_del(&kept->list);
        free(kept);
    }
}

Dispatched dispatch_message(ubus_context *ctx)
{
    Message message;

    KeptMessage *kept = ctx->stack_depth == 0 ? next_kept(&ctx->pending) : nullptr;
    if (kept) {
        note_unkept(ctx, kept->message);
        run_object_message(ctx, kept->message);
        free(kept);
        return Dispatched::kCall;
    }
    if (!take_message(ctx, &message))
        return Dispatched::kNothing;
    const HeldBuffer held(ctx);
    const Dispatched dispatched = route_message(ctx, message);
    if (message.fd >= 0)
        close(message.fd);
    return dispatched;
}

void schedule_rest(ubus_context *ctx)
{
    const bool unfinished = ctx->loss_pending || !list_empty(&ctx->pending) || message_is_buffered(ctx) ||
                            (ctx->disconnected && !list_empty(&ctx->requests));

    if (unfinished && ctx->stack_depth == 0)
        uloop_timeout_set(&ctx->pending_timer, 0);
}

namespace
{

// One call in each turn of the loop, so that timers and other descriptors have theirs; all of them where the loop does
// not know the socket, since nothing else would come back for the rest.
void dispatch_turn(ubus_context *ctx)
{
    Dispatched dispatched;

    do
        dispatched = dispatch_message(ctx);
    while (dispatched == Dispatched::kOther || (dispatched == Dispatched::kCall && !ctx->sock.registered));
}

// The context may be gone after connection_lost.
void dispatch_and_end(ubus_context *ctx)
{
    dispatch_turn(ctx);
    fail_requests(ctx);
    if (ctx->loss_pending && ctx->stack_depth == 0 && list_empty(&ctx->pending)) {
        ctx->loss_pending = false;
        ctx->connection_lost(ctx);
    } else {
        schedule_rest(ctx);
    }
}

// The socket is out of the loop, and this is the last chance to read what came before.
void handle_hang_up(ubus_context *ctx)
{
    drop_kept_calls(ctx);
    while (ctx->sock.error && receive_available(ctx))
        dispatch_turn(ctx);
    if (ctx->sock.error) // a callback may have connected anew
        lose_connection(ctx);
}

// Reads no more while there is enough to do.
void handle_socket(uloop_fd *sock, unsigned int)
{
    ubus_context *ctx = container_of(sock, ubus_context, sock);

    if (sock->error)
        handle_hang_up(ctx);
    else if (!message_is_buffered(ctx))
        receive_available(ctx);
    dispatch_and_end(ctx);
}

bool has_hung_up(const uloop_fd &sock)
{
    pollfd entry = {sock.fd, 0, 0};
    return sock.registered && poll(&entry, 1, 0) > 0 && (entry.revents & POLLHUP);
}

// The loop may not have looked at the socket since the last call: what waits behind it may be for callers that are
// gone.
void handle_pending(uloop_timeout *timer)
{
    ubus_context *ctx = container_of(timer, ubus_context, pending_timer);

    if (has_hung_up(ctx->sock)) {
        uloop_fd_delete(&ctx->sock);
        ctx->sock.error = true;
        handle_hang_up(ctx);
    }
    dispatch_and_end(ctx);
}

// After a hang-up the loop has dropped the socket already and goes on: the program may have more to do than the bus.
void end_loop(ubus_context *ctx)
{
    if (ctx->sock.registered)
        uloop_end();
}

int compare_ids(const void *k1, const void *k2, void *)
{
    const uint32_t id1 = *static_cast<const uint32_t *>(k1), id2 = *static_cast<const uint32_t *>(k2);
    return id1 < id2 ? -1 : id1 > id2;
}

} // namespace

int ubus_connect_ctx(ubus_context *ctx, const char *path)
{
    uloop_init();
    memset(ctx, 0, sizeof(*ctx));
    INIT_LIST_HEAD(&ctx->requests);
    INIT_LIST_HEAD(&ctx->pending);
    INIT_LIST_HEAD(&ctx->auto_subscribers);
    avl_init(&ctx->objects, compare_ids, true, nullptr);
    ctx->sock.cb = handle_socket;
    ctx->pending_timer.cb = handle_pending;
    ctx->connection_lost = end_loop;
    ctx->passed_fd = -1;
    ctx->disconnected = true;
    return connection_open(ctx, path) == UBUS_STATUS_OK ? 0 : -1;
}

ubus_context *ubus_connect(const char *path)
{
    auto *ctx = static_cast<ubus_context *>(malloc(sizeof(ubus_context)));

    if (ctx && ubus_connect_ctx(ctx, path) != UBUS_STATUS_OK) {
        ubus_free(ctx);
        return nullptr;
    }
    return ctx;
}

namespace
{

void drop_all_kept(ubus_context *ctx)
{
    drop_kept(&ctx->pending);
    ctx->kept_count = ctx->kept_bytes = 0;
}

} // namespace

int ubus_reconnect(ubus_context *ctx, const char *path)
{
    connection_close(ctx);
    drop_all_kept(ctx);
    fail_requests(ctx);
    if (!ctx->disconnected) // a callback was faster
        return UBUS_STATUS_OK;
    const int status = connection_open(ctx, path);
    if (status != UBUS_STATUS_OK)
        return status;
    register_objects_again(ctx);
    subscribe_automatically_again(ctx);
    if (ctx->disconnected)
        connection_close(ctx); // gone again: our caller hears of it here, not from connection_lost
    return ctx->disconnected ? UBUS_STATUS_CONNECTION_FAILED : UBUS_STATUS_OK;
}

namespace
{

void forget_requests(ubus_context *ctx)
{
    while (!list_empty(&ctx->requests))
        ubus_abort_request(ctx, list_first_entry(&ctx->requests, ubus_request, list));
}

} // namespace

void ubus_shutdown(ubus_context *ctx)
{
    if (!ctx)
        return;
    connection_close(ctx);
    forget_requests(ctx);
    forget_listener(ctx);
    drop_all_kept(ctx);
    blob_buf_free(&ctx->message);
}

void ubus_free(ubus_context *ctx)
{
    ubus_shutdown(ctx);
    free(ctx);
}

namespace
{

constexpr int kRetryMs = 1000;

void retry_after_loss(ubus_context *ctx)
{
    uloop_timeout_set(&container_of(ctx, ubus_auto_conn, ctx)->timer, kRetryMs);
}

void reconnect(uloop_timeout *timer)
{
    ubus_auto_conn *conn = container_of(timer, ubus_auto_conn, timer);

    if (ubus_reconnect(&conn->ctx, conn->path) == UBUS_STATUS_OK)
        ubus_add_uloop(&conn->ctx);
    else
        uloop_timeout_set(timer, kRetryMs);
}

void connect_first(uloop_timeout *timer)
{
    ubus_auto_conn *conn = container_of(timer, ubus_auto_conn, timer);

    if (ubus_connect_ctx(&conn->ctx, conn->path) != 0) {
        fputs("failed to connect to ubus\n", stderr);
        uloop_timeout_set(timer, kRetryMs);
        return;
    }
    timer->cb = reconnect;
    conn->ctx.connection_lost = retry_after_loss;
    if (conn->cb)
        conn->cb(&conn->ctx);
    ubus_add_uloop(&conn->ctx);
}

} // namespace

void ubus_auto_connect(ubus_auto_conn *conn)
{
    conn->timer.cb = connect_first;
    connect_first(&conn->timer);
}
