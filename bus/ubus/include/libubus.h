/* The client of the bus: connection, objects and their methods, calls, notifications and events.
 *
 * A context belongs to one thread. Functions that return int return an ubus_msg_status, UBUS_STATUS_OK (0) for success.
 * A synchronous request reads the socket itself while it waits; the method calls that arrive meanwhile are kept and run
 * once the current handler has returned, never inside it. 1000 of them are kept and 1 MiB; more are refused at once
 * with UBUS_STATUS_NO_MEMORY. The event loop has a turn between any two calls. Calls that wait when the connection is
 * lost are dropped; events and notifications are not.
 *
 * What is asked of the broker itself (objects, look-ups, subscriptions, events) is answered within ten seconds: where
 * nothing of the answer comes for so long, the connection counts as lost.
 *
 * When the connection is lost, a request that is waited for ends with UBUS_STATUS_CONNECTION_FAILED and the others with
 * UBUS_STATUS_TIMEOUT; new ones are an invalid argument until ubus_reconnect. */
#ifndef LIBUBUS_H
#define LIBUBUS_H

#ifdef __cplusplus
extern "C" {
#endif

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <libubox/avl.h>
#include <libubox/blob.h>
#include <libubox/blobmsg.h>
#include <libubox/list.h>
#include <libubox/uloop.h>
#include <libubox/utils.h>

#include <ubus_common.h>
#include <ubusmsg.h>

#pragma GCC visibility push(default)

struct ubus_context;
struct ubus_object;
struct ubus_request;
struct ubus_request_data;
struct ubus_object_data;
struct ubus_event_handler;
struct ubus_subscriber;
struct ubus_notify_request;
struct ubus_receive_buffer;

/* A method was called: its return value is the status that the caller gets, unless the request is deferred. `msg` (and
 * what `req` points to) is valid until the handler returns. */
typedef int (*ubus_handler_t)(struct ubus_context *ctx, struct ubus_object *obj, struct ubus_request_data *req,
                              const char *method, struct blob_attr *msg);
typedef void (*ubus_lookup_handler_t)(struct ubus_context *ctx, struct ubus_object_data *obj, void *priv);
/* The first subscriber came or the last one went: see has_subscribers. */
typedef void (*ubus_state_handler_t)(struct ubus_context *ctx, struct ubus_object *obj);
/* An object that was subscribed to went away. */
typedef void (*ubus_remove_handler_t)(struct ubus_context *ctx, struct ubus_subscriber *obj, uint32_t id);
typedef void (*ubus_event_handler_t)(struct ubus_context *ctx, struct ubus_event_handler *ev, const char *type,
                                     struct blob_attr *msg);
/* An answer: `msg` is the message's data, or for raw_data_cb the message itself. `type` is UBUS_MSG_DATA. */
typedef void (*ubus_data_handler_t)(struct ubus_request *req, int type, struct blob_attr *msg);
typedef void (*ubus_fd_handler_t)(struct ubus_request *req, int fd);
typedef void (*ubus_complete_handler_t)(struct ubus_request *req, int ret);
typedef void (*ubus_connect_handler_t)(struct ubus_context *ctx);
/* A subscriber's answer, `idx` being its place from 1; at the end of all: 0 and 0. */
typedef void (*ubus_notify_complete_handler_t)(struct ubus_notify_request *req, int idx, int ret);
typedef void (*ubus_notify_data_handler_t)(struct ubus_notify_request *req, int type, struct blob_attr *msg);
/* An object of that path is there: true subscribes to it. */
typedef bool (*ubus_new_object_handler_t)(struct ubus_context *ctx, struct ubus_subscriber *sub, const char *path);

#define UBUS_OBJECT_TYPE(_name, _methods)                                                                              \
    {                                                                                                                  \
        .name = _name, .id = 0, .methods = _methods, .n_methods = ARRAY_SIZE(_methods)                                 \
    }

#define UBUS_METHOD(_name, _handler, _policy)                                                                          \
    {                                                                                                                  \
        .name = _name, .handler = _handler, .policy = _policy, .n_policy = ARRAY_SIZE(_policy)                         \
    }

#define UBUS_METHOD_NOARG(_name, _handler)                                                                             \
    {                                                                                                                  \
        .name = _name, .handler = _handler                                                                             \
    }

/* `mask` as below; `tags` of UBUS_TAG_*. */
#define UBUS_METHOD_MASK(_name, _handler, _policy, _mask)                                                              \
    {                                                                                                                  \
        .name = _name, .handler = _handler, .mask = _mask, .policy = _policy, .n_policy = ARRAY_SIZE(_policy)          \
    }

#define UBUS_METHOD_TAG(_name, _handler, _policy, _tags)                                                               \
    {                                                                                                                  \
        .name = _name, .handler = _handler, .tags = _tags, .policy = _policy, .n_policy = ARRAY_SIZE(_policy)          \
    }

#define UBUS_METHOD_TAG_NOARG(_name, _handler, _tags)                                                                  \
    {                                                                                                                  \
        .name = _name, .handler = _handler, .tags = _tags                                                              \
    }

#define UBUS_TAG_STATUS (1ul << 0)
#define UBUS_TAG_ADMIN (1ul << 1)
#define UBUS_TAG_PRIVATE (1ul << 2)

/* A method without a name takes every call. A `mask` other than 0 leaves the arguments out of the signature whose bit,
 * by their place in the policy, is not set; `tags` stay in the program. */
struct ubus_method {
    const char *name;
    ubus_handler_t handler;

    unsigned long mask;
    unsigned long tags;
    const struct blobmsg_policy *policy;
    int n_policy;
};

/* The common part of objects of one kind. `id` is the broker's, 0 while it does not know the type. */
struct ubus_object_type {
    const char *name;
    uint32_t id;

    const struct ubus_method *methods;
    int n_methods;
};

/* An object of ours; name and type are null for an anonymous one (a subscriber). `id` is 0 while it is not on the bus.
 */
struct ubus_object {
    struct avl_node avl;

    const char *name;
    uint32_t id;

    const char *path;
    struct ubus_object_type *type;

    ubus_state_handler_t subscribe_cb;
    bool has_subscribers;

    const struct ubus_method *methods;
    int n_methods;
};

/* `cb` takes the notifications of every object subscribed to. Where `new_obj_cb` is set, it is asked for each object
 * with a path: those that are there at registration, and each that comes later. */
struct ubus_subscriber {
    struct list_head list;
    struct ubus_object obj;

    ubus_handler_t cb;
    ubus_remove_handler_t remove_cb;
    ubus_new_object_handler_t new_obj_cb;
};

struct ubus_event_handler {
    struct ubus_object obj;

    ubus_event_handler_t cb;
};

struct ubus_context {
    struct list_head requests;
    struct avl_tree objects;
    struct list_head pending;

    struct uloop_fd sock;
    struct uloop_timeout pending_timer;

    uint32_t local_id; /* the client's id in network byte order, as it came */
    uint16_t request_seq;
    int stack_depth;

    /* The broker is gone. May be replaced right after connecting; the default ends the event loop if the socket is
     * still registered with it. It runs from the event loop, never inside a handler. */
    void (*connection_lost)(struct ubus_context *ctx);
    /* A message that somebody else was sent, or sent: see ubus_monitor_start. */
    void (*monitor_cb)(struct ubus_context *ctx, uint32_t seq, struct blob_attr *data);

    struct list_head auto_subscribers;
    struct ubus_event_handler auto_subscribe_event_handler;

    /* The library's own. */
    struct ubus_receive_buffer *received;
    struct ubus_held_answers *held;
    const struct ubus_request_data *answering; /* the call whose handler is running */
    struct blob_buf message;
    size_t kept_count; /* messages in `pending` */
    size_t kept_bytes;
    uint64_t taken_bytes; /* of the stream, by whole messages */
    uint64_t passed_at;   /* where the message begins that `passed_fd` came with */
    int passed_fd;
    bool disconnected;
    bool loss_pending;
};

/* An object of anybody's, as a look-up reports it; valid during the callback. `signature` may be null. */
struct ubus_object_data {
    uint32_t id;
    uint32_t type_id;
    const char *path;
    struct blob_attr *signature;
};

struct ubus_acl_key {
    const char *user;
    const char *group;
    const char *object;
};

/* A call that is being handled, or one that was put off. `fd` goes with its status, `req_fd` came with it. */
struct ubus_request_data {
    uint32_t object;
    uint32_t peer;
    uint16_t seq;

    struct ubus_acl_key acl;

    bool deferred;
    int fd;
    int req_fd;

    bool no_reply; /* the library's own */
};

/* A request of ours, until its status has come. The owner sets the callbacks between ubus_invoke_async and
 * ubus_complete_request_async and keeps the memory until complete_cb has run or the request is aborted. */
struct ubus_request {
    struct list_head list;
    struct list_head pending;
    int status_code;
    bool status_msg;
    bool blocked;
    bool cancelled;
    bool notify;

    uint32_t peer;
    uint16_t seq;

    ubus_data_handler_t raw_data_cb;
    ubus_data_handler_t data_cb;
    ubus_fd_handler_t fd_cb;
    ubus_complete_handler_t complete_cb;

    int fd;

    struct ubus_context *ctx;
    void *priv;

    /* The library's own. */
    bool *ended;
    bool answered; /* since it was last looked at */
    bool waited;   /* for by ubus_complete_request */
};

/* A notification whose subscribers' answers are wanted, to be handed over by ubus_complete_request_async(ctx, &req).
 * `id` are those that have not answered, by their place, and 0. */
struct ubus_notify_request {
    struct ubus_request req;

    ubus_notify_complete_handler_t status_cb;
    ubus_notify_complete_handler_t complete_cb;
    ubus_notify_data_handler_t data_cb;

    uint32_t pending;
    uint32_t id[UBUS_MAX_NOTIFY_PEERS + 1];
};

struct ubus_auto_conn {
    struct ubus_context ctx;
    struct uloop_timeout timer;
    const char *path;
    ubus_connect_handler_t cb;
};

/* A rule of the access lists for an object of ours, for who asks. */
struct acl_object {
    struct ubus_acl_key key;
    struct avl_node avl;
    struct blob_attr *acl;
};
extern struct avl_tree acl_objects;

static inline bool ubus_acl_matches(const struct acl_object *acl, const struct ubus_acl_key *key)
{
    return key->object && strcmp(acl->key.object, key->object) == 0 &&
           ((acl->key.user && key->user && strcmp(acl->key.user, key->user) == 0) ||
            (acl->key.group && key->group && strcmp(acl->key.group, key->group) == 0));
}

/* The rules for a call's `acl`. */
#define acl_for_each(o, m)                                                                                             \
    avl_for_each_element (&acl_objects, o, avl)                                                                        \
        if (ubus_acl_matches(o, m))

/* Null or -1 where the broker is not there. A null path is the default. Calls uloop_init. */
struct ubus_context *ubus_connect(const char *path);
int ubus_connect_ctx(struct ubus_context *ctx, const char *path);

/* Connects anew and registers every object again; types get new ids. Pending requests end with an error. The socket has
 * to be added to the event loop again; subscriptions and event patterns have to be made again. */
int ubus_reconnect(struct ubus_context *ctx, const char *path);

/* Closes the connection and releases what the context holds; ubus_free also the context. Objects are their owner's and
 * are not touched. */
void ubus_shutdown(struct ubus_context *ctx);
void ubus_free(struct ubus_context *ctx);

const char *ubus_strerror(int error);

/* Connects, now and every second until it succeeds; then calls `cb` (may be null), once, and adds the socket to the
 * event loop. A lost connection is made anew in the same way, without `cb`. */
void ubus_auto_connect(struct ubus_auto_conn *conn);
static inline void ubus_auto_shutdown(struct ubus_auto_conn *conn)
{
    uloop_timeout_cancel(&conn->timer);
    ubus_shutdown(&conn->ctx);
}

/* Whether two texts are equal; `len` is how much they have in common at their beginning. */
static inline bool ubus_strmatch_len(const char *s1, const char *s2, int *len)
{
    for (*len = 0; s1[*len] == s2[*len]; (*len)++)
        if (!s1[*len])
            return true;
    return false;
}

/* Has monitor_cb called for every message that any client sends or is sent. For user and group 0. */
/* NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the name is the interface's */
int __ubus_monitor(struct ubus_context *ctx, const char *type);
static inline int ubus_monitor_start(struct ubus_context *ctx)
{
    return __ubus_monitor(ctx, "add");
}
static inline int ubus_monitor_stop(struct ubus_context *ctx)
{
    return __ubus_monitor(ctx, "remove");
}

/* Keeps acl_objects up to date. For one context of the program. */
int ubus_register_acl(struct ubus_context *ctx);

static inline void ubus_add_uloop(struct ubus_context *ctx)
{
    uloop_fd_add(&ctx->sock, ULOOP_BLOCKING | ULOOP_READ);
}

/* For who waits on the socket without uloop: reads what is there, without waiting, and handles it. */
static inline void ubus_handle_event(struct ubus_context *ctx)
{
    ctx->sock.cb(&ctx->sock, ULOOP_READ);
}

/* Objects of everybody: all where `path` is null, those that begin with it where it ends in '*', else exactly one. */
int ubus_lookup(struct ubus_context *ctx, const char *path, ubus_lookup_handler_t cb, void *priv);
int ubus_lookup_id(struct ubus_context *ctx, const char *path, uint32_t *id);

/* The object has to stay until it is removed. It is off the context after the removal, whatever the status. */
int ubus_add_object(struct ubus_context *ctx, struct ubus_object *obj);
int ubus_remove_object(struct ubus_context *ctx, struct ubus_object *obj);

int ubus_register_subscriber(struct ubus_context *ctx, struct ubus_subscriber *obj);
int ubus_unregister_subscriber(struct ubus_context *ctx, struct ubus_subscriber *obj);
int ubus_subscribe(struct ubus_context *ctx, struct ubus_subscriber *obj, uint32_t id);
int ubus_unsubscribe(struct ubus_context *ctx, struct ubus_subscriber *obj, uint32_t id);

/* Calls a method and waits for the status, `timeout` milliseconds at most, 0 for ever. `cb` (may be null) gets the
 * answers. A null message is an empty one, one above UBUS_MAX_MSGLEN an invalid argument. `fd` (may be -1) goes with
 * the call and is closed here once that was tried. */
int ubus_invoke_fd(struct ubus_context *ctx, uint32_t obj, const char *method, struct blob_attr *msg,
                   ubus_data_handler_t cb, void *priv, int timeout, int fd);
static inline int ubus_invoke(struct ubus_context *ctx, uint32_t obj, const char *method, struct blob_attr *msg,
                              ubus_data_handler_t cb, void *priv, int timeout)
{
    return ubus_invoke_fd(ctx, obj, method, msg, cb, priv, timeout, -1);
}

/* The same in two steps, without waiting: the first sends, the second hands the request over to the event loop. */
int ubus_invoke_async_fd(struct ubus_context *ctx, uint32_t obj, const char *method, struct blob_attr *msg,
                         struct ubus_request *req, int fd);
static inline int ubus_invoke_async(struct ubus_context *ctx, uint32_t obj, const char *method, struct blob_attr *msg,
                                    struct ubus_request *req)
{
    return ubus_invoke_async_fd(ctx, obj, method, msg, req, -1);
}
void ubus_complete_request_async(struct ubus_context *ctx, struct ubus_request *req);
/* Or waits for it after all: returns its status. */
int ubus_complete_request(struct ubus_context *ctx, struct ubus_request *req, int timeout);
/* Forgets the request: no callback runs any more. May be called from the request's own callbacks. */
void ubus_abort_request(struct ubus_context *ctx, struct ubus_request *req);
/* Ends all requests as timed out. */
void ubus_flush_requests(struct ubus_context *ctx);

/* Within a handler or for a deferred request. The length of the message is not checked here: the broker cuts off who
 * sends more than UBUS_MAX_MSGLEN. */
int ubus_send_reply(struct ubus_context *ctx, struct ubus_request_data *req, struct blob_attr *msg);
/* Puts the answer off: the handler's return value is not sent. `new_req` is the copy to answer by. */
void ubus_defer_request(struct ubus_context *ctx, struct ubus_request_data *req, struct ubus_request_data *new_req);
void ubus_complete_deferred_request(struct ubus_context *ctx, struct ubus_request_data *req, int ret);

/* The descriptor that came with a call, the handler's from then on; -1 without one, and the second time. What is not
 * taken is closed when the handler returns. */
int ubus_request_get_caller_fd(struct ubus_request_data *req);
/* A descriptor to go with the status, and to be closed then. */
void ubus_request_set_fd(struct ubus_context *ctx, struct ubus_request_data *req, int fd);

/* Notifies the subscribers of an object of ours. A negative time-out wants no answers and returns once the message is
 * written; else it waits for every subscriber's answer, `timeout` milliseconds at most, 0 for ever, and a refusal by
 * the broker is a success too. */
int ubus_notify(struct ubus_context *ctx, struct ubus_object *obj, const char *type, struct blob_attr *msg,
                int timeout);

/* The same, the answers to be taken by callbacks that are set afterwards. */
int ubus_notify_async(struct ubus_context *ctx, struct ubus_object *obj, const char *type, struct blob_attr *msg,
                      struct ubus_notify_request *req);

int ubus_send_event(struct ubus_context *ctx, const char *id, struct blob_attr *data);
/* May be called again with the same handler to add a pattern. */
int ubus_register_event_handler(struct ubus_context *ctx, struct ubus_event_handler *ev, const char *pattern);
static inline int ubus_unregister_event_handler(struct ubus_context *ctx, struct ubus_event_handler *ev)
{
    return ubus_remove_object(ctx, &ev->obj);
}

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif
