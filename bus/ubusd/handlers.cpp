#include "handlers.h"

#include <iterator>

#include "access.h"
#include "answers.h"
#include "client.h"
#include "lookup.h"
#include "monitors.h"
#include "objects.h"
#include "system_objects.h"

namespace
{

// The object that an attribute of the request names, or null. One whose client has ended is gone.
Object *find_object(const Request &request, ubus_msg_attr id)
{
    Object *object = request.has(id) ? object_find(request.number(id)) : nullptr;
    return object && object->client && object->client->ended ? nullptr : object;
}

// Puts the attributes of a call to an owner or a subscriber, in order of their ids.
void put_call(Message &message, const Request &request, Client &caller, uint32_t object)
{
    client_identify(caller);
    message.put_u32(UBUS_ATTR_OBJID, object);
    message.put_copy(request, UBUS_ATTR_METHOD);
    message.put_copy(request, UBUS_ATTR_DATA);
    if (request.flag(UBUS_ATTR_NO_REPLY))
        message.put_u8(UBUS_ATTR_NO_REPLY, 1);
    if (caller.user)
        message.put_text(UBUS_ATTR_USER, caller.user);
    if (caller.group)
        message.put_text(UBUS_ATTR_GROUP, caller.group);
}

int refuse(Client &, const Request &)
{
    return UBUS_STATUS_INVALID_COMMAND;
}

// An owner's or subscriber's answer, on to the caller. What is not one is dropped without a word, so that no client can
// answer for another, nor learn which clients there are.
int forward_answer(Client &client, const Request &request, ubus_msg_type type, ubus_msg_attr content)
{
    const Object *object = find_object(request, UBUS_ATTR_OBJID);
    Client *caller = client_find(request.peer);
    if (object && object->client == &client && request.has(content) && caller) {
        Message message(type, request.seq, object->id.value);
        message.put_payload(request);
        if (type == UBUS_MSG_STATUS)
            message.pass(request.descriptor);
        client_pass_answer(*caller, message, client.id.value);
    }
    return kNoAnswer;
}

int handle_status(Client &client, const Request &request)
{
    return forward_answer(client, request, UBUS_MSG_STATUS, UBUS_ATTR_STATUS);
}

int handle_data(Client &client, const Request &request)
{
    return forward_answer(client, request, UBUS_MSG_DATA, UBUS_ATTR_DATA);
}

int handle_ping(Client &client, const Request &request)
{
    Message message(UBUS_MSG_DATA, request.seq, request.peer);
    message.put_payload(request);
    return client_answer(client, message) == 0 ? UBUS_STATUS_OK : UBUS_STATUS_NO_MEMORY;
}

// In the object's name, as its owner would.
int answer_call(Client &client, const Request &request, const Object &object, int status)
{
    answer_status(client, request.seq, object.id.value, status);
    return kNoAnswer;
}

int handle_invoke(Client &client, const Request &request)
{
    if (!request.has(UBUS_ATTR_OBJID) || !request.has(UBUS_ATTR_METHOD))
        return UBUS_STATUS_INVALID_ARGUMENT;
    const Object *object = find_object(request, UBUS_ATTR_OBJID);
    if (!object)
        return UBUS_STATUS_NOT_FOUND;
    if (!object->client)
        return answer_call(client, request, *object, system_object_call(client, *object, request));
    if (!access_allows_call(client, *object, request.text(UBUS_ATTR_METHOD)))
        return answer_call(client, request, *object, UBUS_STATUS_PERMISSION_DENIED);
    Message message(UBUS_MSG_INVOKE, request.seq, client.id.value);
    put_call(message, request, client, object->id.value);
    if (!message.fits())
        return UBUS_STATUS_INVALID_ARGUMENT; // user and group made it longer than its owner would take
    message.pass(request.descriptor);
    // A call that finds no room is not passed on, which is what its caller would make of the silence.
    return client_send(*object->client, message, client.id.value) == 0 ? kNoAnswer : UBUS_STATUS_TIMEOUT;
}

// The type an ADD_OBJECT means: one that is known, a new one, or none. UBUS_STATUS_*.
int find_type(const Request &request, ObjectType *&type)
{
    type = nullptr;
    if (request.has(UBUS_ATTR_OBJTYPE)) {
        type = type_find(request.number(UBUS_ATTR_OBJTYPE));
        return !type ? UBUS_STATUS_INVALID_ARGUMENT : UBUS_STATUS_OK;
    }
    if (request.has(UBUS_ATTR_SIGNATURE))
        return type_add(payload_of(request.attributes[UBUS_ATTR_SIGNATURE]), type);
    return UBUS_STATUS_OK;
}

int handle_add_object(Client &client, const Request &request)
{
    const char *path = request.text(UBUS_ATTR_OBJPATH);
    if (path && !access_allows(client, MAY_PUBLISH, path))
        return UBUS_STATUS_INVALID_ARGUMENT;
    ObjectType *type;
    if (int status = find_type(request, type); status != UBUS_STATUS_OK)
        return status;
    Object *object;
    if (int status = object_add(client, path, type, object); status != UBUS_STATUS_OK) {
        if (type)
            type_release(type);
        return status;
    }
    Message message(UBUS_MSG_DATA, request.seq, request.peer);
    message.put_u32(UBUS_ATTR_OBJID, object->id.value);
    if (request.has(UBUS_ATTR_SIGNATURE))
        message.put_u32(UBUS_ATTR_OBJTYPE, type->id.value);
    client_answer(client, message);
    return UBUS_STATUS_OK;
}

int handle_remove_object(Client &client, const Request &request)
{
    if (!request.has(UBUS_ATTR_OBJID))
        return UBUS_STATUS_INVALID_ARGUMENT;
    Object *object = find_object(request, UBUS_ATTR_OBJID);
    if (!object)
        return UBUS_STATUS_NOT_FOUND;
    if (object->client != &client)
        return UBUS_STATUS_PERMISSION_DENIED;
    Message message(UBUS_MSG_DATA, request.seq, request.peer);
    message.put_u32(UBUS_ATTR_OBJID, object->id.value);
    if (object->type && object->type->objects == 1)
        message.put_u32(UBUS_ATTR_OBJTYPE, object->type->id.value);
    object_remove(object);
    client_answer(client, message);
    return UBUS_STATUS_OK;
}

// Subscriptions are between an object of the client's own and one of another client.
int change_subscription(Client &client, const Request &request, int (*change)(Object &subscriber, Object &target))
{
    if (!request.has(UBUS_ATTR_OBJID) || !request.has(UBUS_ATTR_TARGET))
        return UBUS_STATUS_INVALID_ARGUMENT;
    Object *subscriber = find_object(request, UBUS_ATTR_OBJID);
    Object *target = find_object(request, UBUS_ATTR_TARGET);
    if (!subscriber)
        return UBUS_STATUS_NOT_FOUND;
    if (subscriber->client != &client)
        return UBUS_STATUS_INVALID_ARGUMENT;
    if (!target || !target->client)
        return UBUS_STATUS_NOT_FOUND;
    if (target->client == &client)
        return UBUS_STATUS_INVALID_ARGUMENT;
    return change(*subscriber, *target);
}

// To who may not subscribe the object is not there.
int subscribe(Object &subscriber, Object &target)
{
    if (!access_allows_subscription(*subscriber.client, target))
        return UBUS_STATUS_NOT_FOUND;
    return object_subscribe(subscriber, target);
}

int handle_subscribe(Client &client, const Request &request)
{
    return change_subscription(client, request, subscribe);
}

int handle_unsubscribe(Client &client, const Request &request)
{
    return change_subscription(client, request, object_unsubscribe);
}

// Tells the notifier whose answers to wait for. UBUS_STATUS_*.
int answer_subscribers(Client &client, const Request &request, const Object &object)
{
    blob_buf ids = {};
    bool complete = blob_buf_init(&ids, 0) == 0;
    const Subscription *subscription;
    list_for_each_entry (subscription, &object.subscribers, in_target)
        complete = complete && blob_put_u32(&ids, 0, subscription->subscriber->id.value);
    if (complete) {
        Message message(UBUS_MSG_STATUS, request.seq, request.peer);
        message.put_u32(UBUS_ATTR_OBJID, object.id.value);
        message.put(UBUS_ATTR_SUBSCRIBERS, blob_data(ids.head), blob_len(ids.head));
        message.put_u32(UBUS_ATTR_STATUS, UBUS_STATUS_OK);
        complete = message.fits() && client_answer(client, message) == 0;
    }
    blob_buf_free(&ids);
    return complete ? UBUS_STATUS_OK : UBUS_STATUS_NO_MEMORY;
}

int handle_notify(Client &client, const Request &request)
{
    if (!request.has(UBUS_ATTR_OBJID) || !request.has(UBUS_ATTR_METHOD))
        return UBUS_STATUS_INVALID_ARGUMENT;
    const Object *object = find_object(request, UBUS_ATTR_OBJID);
    if (!object)
        return UBUS_STATUS_NOT_FOUND;
    if (object->client != &client)
        return UBUS_STATUS_PERMISSION_DENIED;
    Message message(UBUS_MSG_INVOKE, request.seq, client.id.value);
    put_call(message, request, client, 0);
    if (!message.fits())
        return UBUS_STATUS_INVALID_ARGUMENT;
    if (!request.flag(UBUS_ATTR_NO_REPLY)) {
        if (int status = answer_subscribers(client, request, *object); status != UBUS_STATUS_OK)
            return status;
    }
    const Subscription *subscription;
    list_for_each_entry (subscription, &object->subscribers, in_target) {
        message.set_first_u32(subscription->subscriber->id.value);
        client_send(*subscription->subscriber->client, message, client.id.value);
    }
    return kNoAnswer;
}

using Handler = int (*)(Client &client, const Request &request); // UBUS_STATUS_*, or kNoAnswer

constexpr Handler kHandlers[] = {
    refuse,               // UBUS_MSG_HELLO
    handle_status,        // UBUS_MSG_STATUS
    handle_data,          // UBUS_MSG_DATA
    handle_ping,          // UBUS_MSG_PING
    lookup_begin,         // UBUS_MSG_LOOKUP
    handle_invoke,        // UBUS_MSG_INVOKE
    handle_add_object,    // UBUS_MSG_ADD_OBJECT
    handle_remove_object, // UBUS_MSG_REMOVE_OBJECT
    handle_subscribe,     // UBUS_MSG_SUBSCRIBE
    handle_unsubscribe,   // UBUS_MSG_UNSUBSCRIBE
    handle_notify,        // UBUS_MSG_NOTIFY
    refuse,               // UBUS_MSG_MONITOR
};
static_assert(std::size(kHandlers) == UBUS_MSG_MONITOR + 1);

void handle_message(Client &client, std::span<uint8_t> bytes, int descriptor)
{
    Request request;
    request.descriptor = descriptor;
    request_parse(request, bytes);
    if (monitors_exist())
        monitors_tell_received(client, request);
    Handler handler = request.type < std::size(kHandlers) ? kHandlers[request.type] : refuse;
    int status = handler(client, request);
    if (status != kNoAnswer)
        answer_status(client, request.seq, request.peer, status);
}

bool release(Client &client)
{
    lookup_cancel(client);
    monitors_remove(client);
    return objects_release(client);
}

} // namespace

void handlers_init()
{
    clients_init({.admits = access_admits, .handle = handle_message, .resume = lookup_continue, .release = release});
    objects_init();
}

void handlers_load_access(const char *folder)
{
    if (access_lists_load(folder))
        system_object_tell_access();
}
