#include "objects.h"

#include "client.h"
#include "events.h"
#include "lookup.h"

#include <cstdlib>
#include <cstring>

namespace
{

// A path and a signature go out again in messages that hold more than the one they came in.
constexpr size_t kMostOverhead = 128;

avl_tree objects;
avl_tree types;
avl_tree paths;

Object event_object;

void init_links(Object &object)
{
    INIT_LIST_HEAD(&object.in_client);
    INIT_LIST_HEAD(&object.subscribers);
    INIT_LIST_HEAD(&object.targets);
    INIT_LIST_HEAD(&object.patterns);
}

void object_free(Object *object)
{
    free(object->path);
    free(object);
}

// The owner hears when there is somebody to notify, and when nobody is left.
void tell_owner(const Object &target)
{
    Message message(UBUS_MSG_NOTIFY, 0, 0);
    message.put_u32(UBUS_ATTR_OBJID, target.id.value);
    message.put_u8(UBUS_ATTR_ACTIVE, !list_empty(&target.subscribers));
    client_send(*target.client, message);
}

void tell_subscriber(const Subscription &subscription)
{
    Message message(UBUS_MSG_UNSUBSCRIBE, 0, 0);
    message.put_u32(UBUS_ATTR_OBJID, subscription.subscriber->id.value);
    message.put_u32(UBUS_ATTR_TARGET, subscription.target->id.value);
    client_send(*subscription.subscriber->client, message);
}

Subscription *find_subscription(Object &subscriber, const Object &target)
{
    Subscription *subscription;
    list_for_each_entry (subscription, &subscriber.targets, in_subscriber) {
        if (subscription->target == &target) {
            return subscription;
        }
    }
    return nullptr;
}

void end_subscription(Subscription *subscription)
{
    Object &target = *subscription->target;
    list_del(&subscription->in_target);
    list_del(&subscription->in_subscriber);
    free(subscription);
    if (list_empty(&target.subscribers)) {
        tell_owner(target);
    }
}

void end_subscriptions(Object &object)
{
    Subscription *subscription, *next;
    list_for_each_entry_safe (subscription, next, &object.subscribers, in_target) {
        tell_subscriber(*subscription);
        end_subscription(subscription);
    }
    list_for_each_entry_safe (subscription, next, &object.targets, in_subscriber) {
        end_subscription(subscription);
    }
}

int check_path(const char *path, const ObjectType &type)
{
    bool good = path[0] != '\0' && object_find_path(path) == nullptr &&
                strlen(path) + type.length + kMostOverhead <= UBUS_MAX_MSGLEN;
    return good ? UBUS_STATUS_OK : UBUS_STATUS_INVALID_ARGUMENT;
}

// Gives the object its path and type, or neither. UBUS_STATUS_*.
int name_object(Object &object, const char *path, ObjectType *type)
{
    if ((path != nullptr) != (type != nullptr)) {
        return UBUS_STATUS_INVALID_ARGUMENT;
    }
    if (path == nullptr) {
        return UBUS_STATUS_OK;
    }
    if (int status = check_path(path, *type); status != UBUS_STATUS_OK) {
        return status;
    }
    object.path = strdup(path);
    object.type = type;
    return object.path == nullptr ? UBUS_STATUS_NO_MEMORY : UBUS_STATUS_OK;
}

void file_path(Object &object)
{
    object.type->objects++;
    object.by_path.key = object.path;
    avl_insert(&paths, &object.by_path);
}

void unfile_path(Object &object)
{
    lookups_pass_over(object);
    avl_delete(&paths, &object.by_path);
    object.type->objects--;
    type_release(object.type);
}

} // namespace

void objects_init()
{
    ids_init(objects);
    ids_init(types);
    avl_init(&paths, avl_strcmp, false, nullptr);
    init_links(event_object);
    ids_add_system(objects, event_object.id, UBUS_SYSTEM_OBJECT_EVENT);
}

Object *object_find(uint32_t id)
{
    Id *found = ids_find(objects, id);
    return found == nullptr ? nullptr : container_of(found, Object, id);
}

Object *object_find_path(const char *path)
{
    Object *object;
    return avl_find_element(&paths, path, object, by_path);
}

Object *object_first_from(const char *path)
{
    Object *object;
    return avl_find_ge_element(&paths, path, object, by_path);
}

Object *object_after(const Object &object)
{
    const list_head *next = object.by_path.list.next;
    return next == &paths.list_head ? nullptr : container_of(next, Object, by_path.list);
}

ObjectType *type_find(uint32_t id)
{
    Id *found = ids_find(types, id);
    return found == nullptr ? nullptr : container_of(found, ObjectType, id);
}

int type_add(std::span<const uint8_t> signature, ObjectType *&type)
{
    type = static_cast<ObjectType *>(malloc(sizeof(ObjectType) + signature.size()));
    if (type == nullptr) {
        return UBUS_STATUS_NO_MEMORY;
    }
    type->objects = 0;
    type->length = signature.size();
    memcpy(type->signature, signature.data(), signature.size());
    if (ids_add(types, type->id) != 0) {
        free(type);
        type = nullptr;
        return UBUS_STATUS_SYSTEM_ERROR;
    }
    return UBUS_STATUS_OK;
}

void type_release(ObjectType *type)
{
    if (type->objects == 0) {
        avl_delete(&types, &type->id.node);
        free(type);
    }
}

int object_add(Client &client, const char *path, ObjectType *type, Object *&object)
{
    object = static_cast<Object *>(calloc(1, sizeof(Object)));
    if (object == nullptr) {
        return UBUS_STATUS_NO_MEMORY;
    }
    init_links(*object);
    object->client = &client;
    int status = name_object(*object, path, type);
    if (status == UBUS_STATUS_OK && ids_add(objects, object->id) != 0) {
        status = UBUS_STATUS_SYSTEM_ERROR;
    }
    if (status != UBUS_STATUS_OK) {
        object_free(object);
        return status;
    }
    list_add_tail(&object->in_client, &client.objects);
    if (path != nullptr) {
        file_path(*object);
        events_tell_path("ubus.object.add", *object);
    }
    return UBUS_STATUS_OK;
}

void object_remove(Object *object)
{
    end_subscriptions(*object);
    events_forget(*object);
    list_del(&object->in_client);
    avl_delete(&objects, &object->id.node);
    if (object->path != nullptr) {
        unfile_path(*object);
        events_tell_path("ubus.object.remove", *object);
    }
    object_free(object);
}

void objects_release(Client &client)
{
    Object *object, *next;
    list_for_each_entry_safe (object, next, &client.objects, in_client) {
        object_remove(object);
    }
}

int object_subscribe(Object &subscriber, Object &target)
{
    if (find_subscription(subscriber, target) != nullptr) {
        return UBUS_STATUS_OK;
    }
    auto *subscription = static_cast<Subscription *>(malloc(sizeof(Subscription)));
    if (subscription == nullptr) {
        return UBUS_STATUS_NO_MEMORY;
    }
    bool first = list_empty(&target.subscribers);
    subscription->target = &target;
    subscription->subscriber = &subscriber;
    list_add_tail(&subscription->in_target, &target.subscribers);
    list_add_tail(&subscription->in_subscriber, &subscriber.targets);
    if (first) {
        tell_owner(target);
    }
    return UBUS_STATUS_OK;
}

int object_unsubscribe(Object &subscriber, Object &target)
{
    Subscription *subscription = find_subscription(subscriber, target);
    if (subscription == nullptr) {
        return UBUS_STATUS_NOT_FOUND;
    }
    end_subscription(subscription);
    return UBUS_STATUS_OK;
}

void object_describe(Message &message, const Object &object)
{
    message.put_text(UBUS_ATTR_OBJPATH, object.path);
    message.put_u32(UBUS_ATTR_OBJID, object.id.value);
    message.put_u32(UBUS_ATTR_OBJTYPE, object.type->id.value);
    message.put(UBUS_ATTR_SIGNATURE, object.type->signature, object.type->length);
}
