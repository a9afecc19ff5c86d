// The life of a context, and the order in which its messages are handled.
#include "internal.h"

#include <cstdlib>
#include <cstring>

static bool is_for_object(const Message &message)
{
    uint8_t const type = message.header.type;
    return type == UBUS_MSG_INVOKE || type == UBUS_MSG_UNSUBSCRIBE || type == UBUS_MSG_NOTIFY;
}

static bool is_answer(const Message &message)
{
    return message.header.type == UBUS_MSG_STATUS || message.header.type == UBUS_MSG_DATA;
}

static void run_object_message(ubus_context *ctx, const Message &message)
{
    ctx->stack_depth++;
    handle_object_message(ctx, message);
    ctx->stack_depth--;
}

// What arrives for objects within a handler or during a synchronous request runs later, in the order of arrival.
static void route_message(ubus_context *ctx, const Message &message)
{
    if (is_answer(message))
        return handle_answer(ctx, message);
    if (!is_for_object(message))
        return;
    if (ctx->stack_depth == 0)
        run_object_message(ctx, message);
    else if (!keep_message(&ctx->pending, message))
        refuse_call(ctx, message, UBUS_STATUS_NO_MEMORY);
}

bool dispatch_message(ubus_context *ctx)
{
    Message message;

    KeptMessage *kept = ctx->stack_depth == 0 ? next_kept(&ctx->pending) : nullptr;
    if (kept) {
        run_object_message(ctx, kept->message);
        free(kept);
        return true;
    }
    if (!take_message(ctx, &message))
        return false;
    HeldBuffer const held(ctx);
    route_message(ctx, message);
    return true;
}

void schedule_rest(ubus_context *ctx)
{
    bool const unfinished = ctx->loss_pending || !list_empty(&ctx->pending) || message_is_buffered(ctx) ||
                            (ctx->disconnected && !list_empty(&ctx->requests));

    if (unfinished && ctx->stack_depth == 0)
        uloop_timeout_set(&ctx->pending_timer, 0);
}

// The context may be gone after connection_lost.
static void dispatch_all(ubus_context *ctx)
{
    while (dispatch_message(ctx)) {
    }
    fail_requests(ctx);
    if (ctx->loss_pending && ctx->stack_depth == 0) {
        ctx->loss_pending = false;
        ctx->connection_lost(ctx);
    }
}

// After a hang-up the socket is out of the loop, and this is the last chance to read what came before.
static void handle_socket(uloop_fd *sock, unsigned int)
{
    ubus_context *ctx = container_of(sock, ubus_context, sock);

    while (receive_available(ctx) && sock->error)
        while (dispatch_message(ctx)) {
        }
    if (sock->error)
        lose_connection(ctx);
    dispatch_all(ctx);
}

static void handle_pending(uloop_timeout *timer)
{
    dispatch_all(container_of(timer, ubus_context, pending_timer));
}

// After a hang-up the loop has dropped the socket already and goes on: the program may have more to do than the bus.
static void end_loop(ubus_context *ctx)
{
    if (ctx->sock.registered)
        uloop_end();
}

static int compare_ids(const void *k1, const void *k2, void *)
{
    uint32_t const id1 = *static_cast<const uint32_t *>(k1), id2 = *static_cast<const uint32_t *>(k2);
    return id1 < id2 ? -1 : id1 > id2;
}

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
    return connection_open(ctx, path);
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

int ubus_reconnect(ubus_context *ctx, const char *path)
{
    connection_close(ctx);
    drop_kept(&ctx->pending);
    fail_requests(ctx);
    if (!ctx->disconnected) // a callback was faster
        return UBUS_STATUS_OK;
    int const status = connection_open(ctx, path);
    if (status != UBUS_STATUS_OK)
        return status;
    register_objects_again(ctx);
    subscribe_automatically_again(ctx);
    if (ctx->disconnected)
        connection_close(ctx); // gone again: our caller hears of it here, not from connection_lost
    return ctx->disconnected ? UBUS_STATUS_CONNECTION_FAILED : UBUS_STATUS_OK;
}

static void forget_requests(ubus_context *ctx)
{
    while (!list_empty(&ctx->requests))
        ubus_abort_request(ctx, list_first_entry(&ctx->requests, ubus_request, list));
}

void ubus_shutdown(ubus_context *ctx)
{
    if (!ctx)
        return;
    connection_close(ctx);
    forget_requests(ctx);
    drop_kept(&ctx->pending);
    blob_buf_free(&ctx->message);
}

void ubus_free(ubus_context *ctx)
{
    ubus_shutdown(ctx);
    free(ctx);
}
