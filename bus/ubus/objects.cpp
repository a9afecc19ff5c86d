// Objects of ours: registration, the calls that arrive for them, the answers.
#include "internal.h"

#include <climits>
#include <cstring>
#include <unistd.h>
#include <utility>

namespace
{

ubus_object *find_object(ubus_context *ctx, uint32_t id)
{
    ubus_object *obj;
    return id ? avl_find_element(&ctx->objects, &id, obj, avl) : nullptr;
}

// Not by its id: that may be another context's, or none while the object could not be registered again.
bool is_known(ubus_context *ctx, const ubus_object *wanted)
{
    ubus_object *obj;

    avl_for_each_element (&ctx->objects, obj, avl)
        if (obj == wanted)
            return true;
    return false;
}

const ubus_method *find_method(const ubus_object *obj, const char *name)
{
    for (int i = 0; i < obj->n_methods; i++)
        if (!obj->methods[i].name || strcmp(obj->methods[i].name, name) == 0)
            return &obj->methods[i];
    return nullptr;
}

int send_status(ubus_context *ctx, const ubus_request_data *req, int status)
{
    if (!begin_message(ctx) || !blob_put_u32(&ctx->message, UBUS_ATTR_STATUS, static_cast<uint32_t>(status)) ||
        !blob_put_u32(&ctx->message, UBUS_ATTR_OBJID, req->object))
        return UBUS_STATUS_NO_MEMORY;
    const int sent = send_message_fd(ctx, UBUS_MSG_STATUS, req->seq, req->peer, req->fd);
    if (req->fd >= 0)
        close(req->fd);
    return sent;
}

const char *text_or_null(const blob_attr *attribute)
{
    return attribute ? blob_get_string(attribute) : nullptr;
}

ubus_request_data request_data(const Message &message, const Attributes &attributes)
{
    const blob_attr *no_reply = attributes[UBUS_ATTR_NO_REPLY];

    return {
        .object = blob_get_u32(attributes[UBUS_ATTR_OBJID]),
        .peer = message.header.peer,
        .seq = message.header.seq,
        .acl = {.user = text_or_null(attributes[UBUS_ATTR_USER]), .group = text_or_null(attributes[UBUS_ATTR_GROUP])},
        .fd = -1,
        .req_fd = -1,
        .no_reply = no_reply && blob_get_u8(no_reply),
    };
}

int call_method(ubus_context *ctx, ubus_request_data *req, const Attributes &attributes)
{
    ubus_object *obj = find_object(ctx, req->object);
    if (!obj)
        return UBUS_STATUS_NOT_FOUND;
    if (!attributes[UBUS_ATTR_METHOD])
        return UBUS_STATUS_INVALID_ARGUMENT;
    const char *name = blob_get_string(attributes[UBUS_ATTR_METHOD]);
    const ubus_method *method = find_method(obj, name);
    if (!method)
        return UBUS_STATUS_METHOD_NOT_FOUND;
    if (!attributes[UBUS_ATTR_DATA])
        return UBUS_STATUS_INVALID_ARGUMENT;
    req->acl.object = obj->name;
    return method->handler(ctx, obj, req, name, attributes[UBUS_ATTR_DATA]);
}

// The descriptor that came with the call that this thread handles, until the handler takes it: there may be copies of
// the request.
thread_local int caller_fd = -1;

void handle_invoke(ubus_context *ctx, const Message &message, const Attributes &attributes)
{
    ubus_request_data req = request_data(message, attributes);

    req.req_fd = caller_fd = message.fd;
    ctx->answering = &req;
    const int status = call_method(ctx, &req, attributes);
    ctx->answering = nullptr;
    message.fd = std::exchange(caller_fd, -1);
    if (!req.deferred && !req.no_reply)
        send_status(ctx, &req, status);
    flush_held(ctx);
}

} // namespace

bool wants_answer(const Message &message)
{
    Attributes attributes;

    if (message.header.type != UBUS_MSG_INVOKE || message.header.peer == 0)
        return false;
    parse_attributes(message.body, attributes);
    return !attributes[UBUS_ATTR_NO_REPLY] || !blob_get_u8(attributes[UBUS_ATTR_NO_REPLY]);
}

void refuse_call(ubus_context *ctx, const Message &message, int status)
{
    Attributes attributes;

    parse_attributes(message.body, attributes);
    if (message.header.type != UBUS_MSG_INVOKE || !attributes[UBUS_ATTR_OBJID])
        return;
    const ubus_request_data req = request_data(message, attributes);
    if (!req.no_reply)
        send_status(ctx, &req, status);
}

namespace
{

void handle_state(ubus_context *ctx, ubus_object *obj, const blob_attr *active)
{
    if (!active)
        return;
    obj->has_subscribers = blob_get_u8(active);
    if (obj->subscribe_cb)
        obj->subscribe_cb(ctx, obj);
}

} // namespace

void handle_object_message(ubus_context *ctx, const Message &message)
{
    Attributes attributes;

    parse_attributes(message.body, attributes);
    if (!attributes[UBUS_ATTR_OBJID])
        return;
    if (message.header.type == UBUS_MSG_INVOKE)
        return handle_invoke(ctx, message, attributes);

    ubus_object *obj = find_object(ctx, blob_get_u32(attributes[UBUS_ATTR_OBJID]));
    if (!obj)
        return;
    if (message.header.type == UBUS_MSG_NOTIFY)
        handle_state(ctx, obj, attributes[UBUS_ATTR_ACTIVE]);
    else if (attributes[UBUS_ATTR_TARGET])
        target_removed(ctx, obj, blob_get_u32(attributes[UBUS_ATTR_TARGET]));
}

int ubus_request_get_caller_fd(ubus_request_data *req)
{
    const int fd = std::exchange(req->req_fd, -1);

    if (fd < 0 || fd != caller_fd)
        return -1;
    return std::exchange(caller_fd, -1);
}

void ubus_request_set_fd(ubus_context *, ubus_request_data *req, int fd)
{
    req->fd = fd;
}

int ubus_send_reply(ubus_context *ctx, ubus_request_data *req, blob_attr *msg)
{
    if (ctx->disconnected)
        return UBUS_STATUS_NO_DATA;
    if (!begin_message(ctx) || !blob_put_u32(&ctx->message, UBUS_ATTR_OBJID, req->object) ||
        !put_data(&ctx->message, msg))
        return UBUS_STATUS_NO_MEMORY;
    const bool status_follows = req == ctx->answering && !req->deferred && !req->no_reply;
    return (status_follows ? send_message_soon : send_message)(ctx, UBUS_MSG_DATA, req->seq, req->peer);
}

void ubus_defer_request(ubus_context *, ubus_request_data *req, ubus_request_data *new_req)
{
    *new_req = *req;
    new_req->acl = {}; // points into the message
    req->deferred = true;
}

void ubus_complete_deferred_request(ubus_context *ctx, ubus_request_data *req, int ret)
{
    if (!req->no_reply)
        send_status(ctx, req, ret);
}

namespace
{

bool is_shown(const ubus_method &method, int argument)
{
    return method.mask == 0 || (argument < int{sizeof(method.mask)} * CHAR_BIT && (method.mask >> argument & 1));
}

bool put_method(blob_buf *message, const ubus_method &method)
{
    void *table = blobmsg_open_table(message, method.name);
    bool ok = table;

    for (int i = 0; ok && i < method.n_policy; i++)
        if (is_shown(method, i))
            ok = blobmsg_add_u32(message, method.policy[i].name, method.policy[i].type) == 0;
    blobmsg_close_table(message, table);
    return ok;
}

bool put_signature(blob_buf *message, const ubus_object_type &type)
{
    void *signature = blob_nest_start(message, UBUS_ATTR_SIGNATURE);
    bool ok = signature;

    for (int i = 0; ok && i < type.n_methods; i++)
        ok = put_method(message, type.methods[i]);
    blob_nest_end(message, signature);
    return ok;
}

bool put_object(blob_buf *message, const ubus_object *obj)
{
    if (!obj->name || !obj->type)
        return true;
    if (!blob_put_string(message, UBUS_ATTR_OBJPATH, obj->name))
        return false;
    if (obj->type->id)
        return blob_put_u32(message, UBUS_ATTR_OBJTYPE, obj->type->id);
    return put_signature(message, *obj->type);
}

void note_added(ubus_request *req, int, blob_attr *body)
{
    auto *obj = static_cast<ubus_object *>(req->priv);
    Attributes attributes;

    parse_attributes(body, attributes);
    if (attributes[UBUS_ATTR_OBJID])
        obj->id = blob_get_u32(attributes[UBUS_ATTR_OBJID]);
    if (attributes[UBUS_ATTR_OBJTYPE] && obj->type)
        obj->type->id = blob_get_u32(attributes[UBUS_ATTR_OBJTYPE]);
}

int ask_to_add(ubus_context *ctx, ubus_object *obj)
{
    const bool built = begin_message(ctx) && put_object(&ctx->message, obj);
    return ask_broker(ctx, UBUS_MSG_ADD_OBJECT, built, note_added, obj);
}

// The id of a known type is refused where the broker has forgotten it: another client held it when our last object of
// it went, and has dropped it since. The same status may mean the path alone.
int ask_to_add_again(ubus_context *ctx, ubus_object *obj)
{
    const uint32_t known = std::exchange(obj->type->id, 0);
    const int status = ask_to_add(ctx, obj);

    if (status == UBUS_STATUS_INVALID_ARGUMENT)
        obj->type->id = known;
    return status;
}

int register_object(ubus_context *ctx, ubus_object *obj)
{
    obj->id = 0;
    obj->has_subscribers = false;
    const bool by_type_id = obj->name && obj->type && obj->type->id;
    int status = ask_to_add(ctx, obj);
    if (status == UBUS_STATUS_INVALID_ARGUMENT && by_type_id)
        status = ask_to_add_again(ctx, obj);
    if (status == UBUS_STATUS_OK && obj->id == 0)
        return UBUS_STATUS_NO_DATA;
    if (status != UBUS_STATUS_OK)
        obj->id = 0;
    return status;
}

void remember(ubus_context *ctx, ubus_object *obj)
{
    obj->avl.key = &obj->id;
    avl_insert(&ctx->objects, &obj->avl);
}

} // namespace

int ubus_add_object(ubus_context *ctx, ubus_object *obj)
{
    if (is_known(ctx, obj))
        return UBUS_STATUS_INVALID_ARGUMENT;
    const int status = register_object(ctx, obj);
    if (status == UBUS_STATUS_OK)
        remember(ctx, obj);
    return status;
}

namespace
{

void note_removed(ubus_request *req, int, blob_attr *body)
{
    auto *obj = static_cast<ubus_object *>(req->priv);
    Attributes attributes;

    parse_attributes(body, attributes);
    if (attributes[UBUS_ATTR_OBJTYPE] && obj->type)
        obj->type->id = 0;
}

} // namespace

int ubus_remove_object(ubus_context *ctx, ubus_object *obj)
{
    if (!is_known(ctx, obj))
        return UBUS_STATUS_NOT_FOUND;
    // Its owner may free it next, so it goes whatever the broker says.
    avl_delete(&ctx->objects, &obj->avl);
    const bool built = begin_message(ctx) && blob_put_u32(&ctx->message, UBUS_ATTR_OBJID, obj->id);
    obj->id = 0;
    const int status = ask_broker(ctx, UBUS_MSG_REMOVE_OBJECT, built, note_removed, obj);
    // With the connection the type went too; a type that is sent once too often only gets a second id.
    if (status != UBUS_STATUS_OK && obj->type)
        obj->type->id = 0;
    return status;
}

namespace
{

ubus_object *take_first(avl_tree *objects)
{
    ubus_object *obj = avl_first_element(objects, obj, avl);
    avl_delete(objects, &obj->avl);
    return obj;
}

} // namespace

// An object that cannot be registered stays known, with the id 0, for the next time.
void register_objects_again(ubus_context *ctx)
{
    avl_tree before;
    ubus_object *obj;

    avl_init(&before, ctx->objects.comp, true, nullptr);
    avl_for_each_element (&ctx->objects, obj, avl)
        if (obj->type)
            obj->type->id = 0;
    while (!avl_is_empty(&ctx->objects))
        avl_insert(&before, &take_first(&ctx->objects)->avl);
    while (!avl_is_empty(&before)) {
        obj = take_first(&before);
        register_object(ctx, obj);
        remember(ctx, obj);
    }
}
