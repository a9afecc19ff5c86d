// Subscribers and event handlers: anonymous objects that take every call.
#include "internal.h"

namespace
{

int pass_notification(ubus_context *ctx, ubus_object *obj, ubus_request_data *req, const char *method, blob_attr *msg)
{
    ubus_subscriber *sub = container_of(obj, ubus_subscriber, obj);
    return sub->cb ? sub->cb(ctx, obj, req, method, msg) : UBUS_STATUS_OK;
}

int pass_event(ubus_context *ctx, ubus_object *obj, ubus_request_data *, const char *method, blob_attr *msg)
{
    ubus_event_handler *ev = container_of(obj, ubus_event_handler, obj);
    ev->cb(ctx, ev, method, msg);
    return UBUS_STATUS_OK;
}

const ubus_method kAnyNotification = {.name = nullptr, .handler = pass_notification};
const ubus_method kAnyEvent = {.name = nullptr, .handler = pass_event};

} // namespace

void target_removed(ubus_context *ctx, ubus_object *subscriber, uint32_t target)
{
    if (subscriber->methods != &kAnyNotification)
        return;
    ubus_subscriber *sub = container_of(subscriber, ubus_subscriber, obj);
    if (sub->remove_cb)
        sub->remove_cb(ctx, sub, target);
}

namespace
{

int request_subscription(ubus_context *ctx, ubus_msg_type type, const ubus_object &obj, uint32_t target)
{
    const bool built = begin_message(ctx) && blob_put_u32(&ctx->message, UBUS_ATTR_OBJID, obj.id) &&
                       blob_put_u32(&ctx->message, UBUS_ATTR_TARGET, target);
    return ask_broker(ctx, type, built, nullptr, nullptr);
}

} // namespace

int ubus_subscribe(ubus_context *ctx, ubus_subscriber *obj, uint32_t id)
{
    return request_subscription(ctx, UBUS_MSG_SUBSCRIBE, obj->obj, id);
}

int ubus_unsubscribe(ubus_context *ctx, ubus_subscriber *obj, uint32_t id)
{
    return request_subscription(ctx, UBUS_MSG_UNSUBSCRIBE, obj->obj, id);
}

namespace
{

void offer_object(ubus_context *ctx, ubus_object_data *object, void *priv)
{
    auto *sub = static_cast<ubus_subscriber *>(priv);

    if (sub->new_obj_cb(ctx, sub, object->path))
        ubus_subscribe(ctx, sub, object->id);
}

void offer_new_object(ubus_context *ctx, ubus_event_handler *, const char *, blob_attr *msg)
{
    static const blobmsg_policy policy[] = {{"id", BLOBMSG_TYPE_INT32}, {"path", BLOBMSG_TYPE_STRING}};
    blob_attr *fields[ARRAY_SIZE(policy)];
    ubus_subscriber *sub, *next;

    blobmsg_parse(policy, ARRAY_SIZE(policy), fields, blob_data(msg), blob_len(msg));
    if (!fields[0] || !fields[1])
        return;
    ubus_object_data object = {.id = blobmsg_get_u32(fields[0]), .path = blobmsg_get_string(fields[1])};
    list_for_each_entry_safe (sub, next, &ctx->auto_subscribers, list)
        offer_object(ctx, &object, sub);
}

// In this order no object is missed.
int subscribe_automatically(ubus_context *ctx, ubus_subscriber *sub)
{
    ubus_event_handler *added = &ctx->auto_subscribe_event_handler;

    if (added->obj.id == 0) {
        added->cb = offer_new_object;
        const int status = ubus_register_event_handler(ctx, added, "ubus.object.add");
        if (status != UBUS_STATUS_OK)
            return status;
    }
    list_add_tail(&sub->list, &ctx->auto_subscribers);
    return ubus_lookup(ctx, nullptr, offer_object, sub);
}

} // namespace

void subscribe_automatically_again(ubus_context *ctx)
{
    ubus_subscriber *sub, *next;

    if (list_empty(&ctx->auto_subscribers))
        return;
    ubus_register_event_handler(ctx, &ctx->auto_subscribe_event_handler, "ubus.object.add");
    list_for_each_entry_safe (sub, next, &ctx->auto_subscribers, list)
        ubus_lookup(ctx, nullptr, offer_object, sub);
}

int ubus_register_subscriber(ubus_context *ctx, ubus_subscriber *obj)
{
    obj->obj.methods = &kAnyNotification;
    obj->obj.n_methods = 1;
    int status = ubus_add_object(ctx, &obj->obj);
    if (status != UBUS_STATUS_OK)
        return status;

    INIT_LIST_HEAD(&obj->list);
    if (obj->new_obj_cb)
        status = subscribe_automatically(ctx, obj);
    if (status != UBUS_STATUS_OK)
        ubus_unregister_subscriber(ctx, obj);
    return status;
}

int ubus_unregister_subscriber(ubus_context *ctx, ubus_subscriber *obj)
{
    if (obj->list.next)
        list_del_init(&obj->list);
    return ubus_remove_object(ctx, &obj->obj);
}

namespace
{

int call_event_object(ubus_context *ctx, const char *method, blob_buf *arguments, bool built)
{
    const int status =
        built ? call_broker(ctx, UBUS_SYSTEM_OBJECT_EVENT, method, arguments->head) : UBUS_STATUS_NO_MEMORY;
    blob_buf_free(arguments);
    return status;
}

} // namespace

int ubus_send_event(ubus_context *ctx, const char *id, blob_attr *data)
{
    blob_buf arguments = {};
    const bool built = blob_buf_init(&arguments, 0) == 0 && blobmsg_add_string(&arguments, "id", id) == 0 &&
                       blobmsg_add_field(&arguments, BLOBMSG_TYPE_TABLE, "data", blob_data(data),
                                         static_cast<unsigned int>(blob_len(data))) == 0;
    return call_event_object(ctx, "send", &arguments, built);
}

namespace
{

int register_pattern(ubus_context *ctx, uint32_t id, const char *pattern)
{
    blob_buf arguments = {};
    const bool built = blob_buf_init(&arguments, 0) == 0 && blobmsg_add_u32(&arguments, "object", id) == 0 &&
                       (!pattern || blobmsg_add_string(&arguments, "pattern", pattern) == 0);
    return call_event_object(ctx, "register", &arguments, built);
}

} // namespace

int ubus_register_event_handler(ubus_context *ctx, ubus_event_handler *ev, const char *pattern)
{
    const bool is_new = ev->obj.id == 0;

    if (is_new) {
        ev->obj.methods = &kAnyEvent;
        ev->obj.n_methods = 1;
        const int status = ubus_add_object(ctx, &ev->obj);
        if (status != UBUS_STATUS_OK)
            return status;
    }
    const int status = register_pattern(ctx, ev->obj.id, pattern);
    if (status != UBUS_STATUS_OK && is_new)
        ubus_remove_object(ctx, &ev->obj);
    return status;
}
