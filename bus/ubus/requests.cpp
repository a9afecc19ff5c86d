// Requests of ours: sending them, matching the answers, waiting; and the look-ups and calls made of them.
#include "internal.h"

#include <cstdlib>
#include <cstring>
#include <unistd.h>
#include <utility>

namespace
{

void init_request(ubus_context *ctx, ubus_request *req, uint32_t peer)
{
    memset(req, 0, sizeof(*req));
    INIT_LIST_HEAD(&req->list);
    INIT_LIST_HEAD(&req->pending);
    req->ctx = ctx;
    req->peer = peer;
    req->seq = ++ctx->request_seq;
    req->fd = -1;
}

} // namespace

int start_request(ubus_context *ctx, ubus_request *req, ubus_msg_type type, uint32_t peer, bool built, int fd)
{
    init_request(ctx, req, peer);
    if (ctx->disconnected)
        return UBUS_STATUS_INVALID_ARGUMENT;
    if (!built)
        return UBUS_STATUS_NO_MEMORY;
    if (UBUS_MAX_MSGLEN < blob_raw_len(ctx->message.head))
        return UBUS_STATUS_INVALID_ARGUMENT;
    const int status = send_message_fd(ctx, type, req->seq, peer, fd);
    if (fd >= 0)
        close(fd);
    return status;
}

namespace
{

// The request is its owner's again, and may be gone after the callback.
void detach(ubus_request *req)
{
    list_del_init(&req->list);
    drop_kept(&req->pending);
    req->blocked = false;
    if (req->ended)
        *req->ended = true;
    req->ended = nullptr;
}

void finish(ubus_request *req, int status)
{
    detach(req);
    req->status_code = status;
    req->status_msg = true;
    if (req->complete_cb)
        req->complete_cb(req, status);
}

} // namespace

void ubus_abort_request(ubus_context *, ubus_request *req)
{
    detach(req);
    req->cancelled = true;
    req->status_code = UBUS_STATUS_NO_DATA;
}

// A callback may reconnect: what is started then is not to fail.
void fail_requests(ubus_context *ctx)
{
    while (ctx->disconnected && !list_empty(&ctx->requests)) {
        ubus_request *req = list_first_entry(&ctx->requests, ubus_request, list);
        finish(req, req->waited ? UBUS_STATUS_CONNECTION_FAILED : UBUS_STATUS_TIMEOUT);
    }
}

namespace
{

// Its place in `id`, or null.
uint32_t *find_subscriber(ubus_request *req, uint32_t id)
{
    ubus_notify_request *notify = container_of(req, ubus_notify_request, req);

    for (uint32_t &waiting : notify->id)
        if (id != 0 && waiting == id)
            return &waiting;
    return nullptr;
}

ubus_request *find_request(ubus_context *ctx, const ubus_msghdr &header)
{
    ubus_request *req;

    list_for_each_entry (req, &ctx->requests, list)
        if (req->seq == header.seq && (req->peer == header.peer || (req->notify && find_subscriber(req, header.peer))))
            return req;
    return nullptr;
}

void read_subscribers(ubus_notify_request *notify, blob_attr *subscribers)
{
    blob_attr *entry;
    size_t rem;

    blob_for_each_attr (entry, subscribers, rem)
        if (blob_len(entry) == sizeof(uint32_t) && notify->pending < UBUS_MAX_NOTIFY_PEERS)
            notify->id[notify->pending++] = blob_get_u32(entry);
}

// The first status is the broker's, with the subscribers; then each of these sends one, and what it made of it is its
// own affair. A refusal by the broker ends it as well.
void handle_notify_status(ubus_request *req, uint32_t peer, int status, blob_attr *subscribers)
{
    ubus_notify_request *notify = container_of(req, ubus_notify_request, req);

    if (uint32_t *answered = find_subscriber(req, peer)) {
        const bool *ended = req->ended;
        *answered = 0;
        notify->pending--;
        if (notify->status_cb)
            notify->status_cb(notify, static_cast<int>(answered - notify->id) + 1, status);
        if (*ended)
            return;
    } else if (status == UBUS_STATUS_OK) {
        read_subscribers(notify, subscribers);
    }
    if (notify->pending > 0)
        return;
    const ubus_notify_complete_handler_t complete = notify->complete_cb;
    finish(req, UBUS_STATUS_OK);
    if (complete)
        complete(notify, 0, 0);
}

void handle_status(ubus_request *req, const Message &message)
{
    Attributes attributes;

    if (req->fd_cb && message.fd >= 0)
        req->fd_cb(req, std::exchange(message.fd, -1));
    if (req->cancelled)
        return;
    parse_attributes(message.body, attributes);
    const int status =
        attributes[UBUS_ATTR_STATUS] ? blob_get_int32(attributes[UBUS_ATTR_STATUS]) : UBUS_STATUS_PARSE_ERROR;
    if (req->notify)
        handle_notify_status(req, message.header.peer, status, attributes[UBUS_ATTR_SUBSCRIBERS]);
    else
        finish(req, status);
}

void handle_data(ubus_request *req, const Message &message)
{
    Attributes attributes;

    if (req->notify) {
        ubus_notify_request *notify = container_of(req, ubus_notify_request, req);
        parse_attributes(message.body, attributes);
        if (notify->data_cb && attributes[UBUS_ATTR_DATA])
            notify->data_cb(notify, message.header.type, attributes[UBUS_ATTR_DATA]);
    } else if (req->raw_data_cb) {
        req->raw_data_cb(req, message.header.type, message.body);
    } else if (req->data_cb) {
        parse_attributes(message.body, attributes);
        if (attributes[UBUS_ATTR_DATA])
            req->data_cb(req, message.header.type, attributes[UBUS_ATTR_DATA]);
    }
}

void handle_one(ubus_request *req, const Message &message)
{
    if (message.header.type == UBUS_MSG_STATUS)
        handle_status(req, message);
    else
        handle_data(req, message);
}

} // namespace

// A callback that makes a synchronous request of its own would be entered again by its own request's next answer: these
// wait until it has returned.
void handle_answer(ubus_context *ctx, const Message &message)
{
    ubus_request *req = find_request(ctx, message.header);
    bool ended = false;

    if (!req)
        return;
    req->answered = true;
    if (req->blocked) {
        if (!keep_message(&req->pending, message))
            finish(req, UBUS_STATUS_NO_MEMORY);
        return;
    }
    req->blocked = true;
    req->ended = &ended;
    handle_one(req, message);
    while (KeptMessage *next = ended ? nullptr : next_kept(&req->pending)) {
        handle_one(req, next->message);
        free(next);
    }
    if (!ended) {
        req->blocked = false;
        req->ended = nullptr;
    }
}

void ubus_complete_request_async(ubus_context *ctx, ubus_request *req)
{
    list_add_tail(&req->list, &ctx->requests);
    schedule_rest(ctx);
}

namespace
{

bool is_unfinished(const ubus_request *req)
{
    return !req->status_msg && !req->cancelled;
}

constexpr int kBrokerTimeoutMs = 10 * 1000;

enum class Asked { kAnybody, kBroker };

// Anybody has `timeout` in all, the broker has it for each message of its answer: a long listing goes on as long as
// objects come.
int complete(ubus_context *ctx, ubus_request *req, int timeout, Asked asked)
{
    Patience patience = patience_of(timeout);

    if (list_empty(&req->list))
        list_add_tail(&req->list, &ctx->requests);
    req->waited = true;
    ctx->stack_depth++;
    fail_requests(ctx);
    while (is_unfinished(req)) {
        if (dispatch_message(ctx) != Dispatched::kNothing || !is_unfinished(req))
            continue;
        if (asked == Asked::kBroker && std::exchange(req->answered, false))
            patience.deadline = patience_of(timeout).deadline;
        const int status = wait_for_input(ctx, patience);
        if (status == UBUS_STATUS_TIMEOUT && asked == Asked::kBroker)
            lose_connection(ctx);
        else if (status != UBUS_STATUS_OK)
            finish(req, status);
    }
    ctx->stack_depth--;
    schedule_rest(ctx);
    return req->status_code;
}

} // namespace

int ubus_complete_request(ubus_context *ctx, ubus_request *req, int timeout)
{
    return complete(ctx, req, timeout, Asked::kAnybody);
}

int ask_broker(ubus_context *ctx, ubus_msg_type type, bool built, ubus_data_handler_t raw_data_cb, void *priv)
{
    ubus_request req;
    const int status = start_request(ctx, &req, type, 0, built);

    if (status != UBUS_STATUS_OK)
        return status;
    req.raw_data_cb = raw_data_cb;
    req.priv = priv;
    return complete(ctx, &req, kBrokerTimeoutMs, Asked::kBroker);
}

namespace
{

bool put_call(ubus_context *ctx, uint32_t obj, const char *method, blob_attr *msg)
{
    return begin_message(ctx) && blob_put_u32(&ctx->message, UBUS_ATTR_OBJID, obj) &&
           blob_put_string(&ctx->message, UBUS_ATTR_METHOD, method) && put_data(&ctx->message, msg);
}

} // namespace

int ubus_invoke_async_fd(ubus_context *ctx, uint32_t obj, const char *method, blob_attr *msg, ubus_request *req, int fd)
{
    const bool built = put_call(ctx, obj, method, msg);
    return start_request(ctx, req, UBUS_MSG_INVOKE, obj, built, fd);
}

int ubus_invoke_fd(ubus_context *ctx, uint32_t obj, const char *method, blob_attr *msg, ubus_data_handler_t cb,
                   void *priv, int timeout, int fd)
{
    ubus_request req;
    const int status = ubus_invoke_async_fd(ctx, obj, method, msg, &req, fd);

    if (status != UBUS_STATUS_OK)
        return status;
    req.data_cb = cb;
    req.priv = priv;
    return ubus_complete_request(ctx, &req, timeout);
}

int __ubus_monitor(ubus_context *ctx, const char *type)
{
    constexpr int kMonitorTimeoutMs = 1000;
    return ubus_invoke(ctx, UBUS_SYSTEM_OBJECT_MONITOR, type, nullptr, nullptr, nullptr, kMonitorTimeoutMs);
}

void ubus_flush_requests(ubus_context *ctx)
{
    while (!list_empty(&ctx->requests))
        finish(list_first_entry(&ctx->requests, ubus_request, list), UBUS_STATUS_TIMEOUT);
}

int call_broker(ubus_context *ctx, uint32_t obj, const char *method, blob_attr *msg)
{
    ubus_request req;
    const int status = ubus_invoke_async(ctx, obj, method, msg, &req);

    return status == UBUS_STATUS_OK ? complete(ctx, &req, kBrokerTimeoutMs, Asked::kBroker) : status;
}

namespace
{

int send_notification(ubus_context *ctx, const ubus_object *obj, const char *type, blob_attr *msg, bool wants_answers,
                      ubus_notify_request *notify)
{
    const bool built =
        put_call(ctx, obj->id, type, msg) && (wants_answers || blob_put_int8(&ctx->message, UBUS_ATTR_NO_REPLY, 1));
    memset(notify, 0, sizeof(*notify));
    init_request(ctx, &notify->req, obj->id);
    notify->req.notify = true;
    if (!built)
        return UBUS_STATUS_NO_MEMORY;
    if (UBUS_MAX_MSGLEN < blob_raw_len(ctx->message.head))
        return UBUS_STATUS_INVALID_ARGUMENT;
    return send_message(ctx, UBUS_MSG_NOTIFY, notify->req.seq, obj->id);
}

} // namespace

int ubus_notify_async(ubus_context *ctx, ubus_object *obj, const char *type, blob_attr *msg, ubus_notify_request *req)
{
    return send_notification(ctx, obj, type, msg, true, req);
}

int ubus_notify(ubus_context *ctx, ubus_object *obj, const char *type, blob_attr *msg, int timeout)
{
    ubus_notify_request notify;
    const bool wants_answers = timeout >= 0;

    if (ctx->disconnected && !wants_answers)
        return UBUS_STATUS_OK; // best effort, as to a subscriber that does not read
    const int status = send_notification(ctx, obj, type, msg, wants_answers, &notify);
    if (status != UBUS_STATUS_OK || !wants_answers)
        return status;
    return ubus_complete_request(ctx, &notify.req, timeout);
}

namespace
{

struct Lookup {
    ubus_lookup_handler_t cb;
    void *priv;
};

void report_object(ubus_request *req, int, blob_attr *body)
{
    auto *lookup = static_cast<Lookup *>(req->priv);
    Attributes attributes;

    parse_attributes(body, attributes);
    if (!lookup->cb || !attributes[UBUS_ATTR_OBJID] || !attributes[UBUS_ATTR_OBJPATH] || !attributes[UBUS_ATTR_OBJTYPE])
        return;
    ubus_object_data object = {
        .id = blob_get_u32(attributes[UBUS_ATTR_OBJID]),
        .type_id = blob_get_u32(attributes[UBUS_ATTR_OBJTYPE]),
        .path = blob_get_string(attributes[UBUS_ATTR_OBJPATH]),
        .signature = attributes[UBUS_ATTR_SIGNATURE],
    };
    lookup->cb(req->ctx, &object, lookup->priv);
}

void note_id(ubus_request *req, int, blob_attr *body)
{
    Attributes attributes;

    parse_attributes(body, attributes);
    if (attributes[UBUS_ATTR_OBJID])
        *static_cast<uint32_t *>(req->priv) = blob_get_u32(attributes[UBUS_ATTR_OBJID]);
}

int look_up(ubus_context *ctx, const char *path, ubus_data_handler_t raw_data_cb, void *priv)
{
    const bool built = begin_message(ctx) && (!path || blob_put_string(&ctx->message, UBUS_ATTR_OBJPATH, path));
    return ask_broker(ctx, UBUS_MSG_LOOKUP, built, raw_data_cb, priv);
}

} // namespace

int ubus_lookup(ubus_context *ctx, const char *path, ubus_lookup_handler_t cb, void *priv)
{
    Lookup lookup = {cb, priv};
    return look_up(ctx, path, report_object, &lookup);
}

int ubus_lookup_id(ubus_context *ctx, const char *path, uint32_t *id)
{
    uint32_t found = 0;
    const int status = look_up(ctx, path, note_id, &found);

    if (status != UBUS_STATUS_OK)
        return status;
    if (found == 0)
        return path ? UBUS_STATUS_NO_DATA : UBUS_STATUS_OK;
    *id = found;
    return UBUS_STATUS_OK;
}
