#include "objects.h"

#include <cstdlib>
#include <cstring>
#include <iterator>

#include "client.h"
#include "events.h"
#include "work.h"

namespace
{

constexpr uint32_t kOwnObjects[] = {UBUS_SYSTEM_OBJECT_EVENT, UBUS_SYSTEM_OBJECT_ACL, UBUS_SYSTEM_OBJECT_MONITOR};

// A path and a signature go out again in messages that hold more than the one they came in.
constexpr size_t kMostOverhead = 128;

avl_tree objects;
avl_tree types;
avl_tree paths;
LIST_HEAD(open_cursors);

Object own_objects[std::size(kOwnObjects)];

void init_links(Object &object)
{
    INIT_LIST_HEAD(&object.in_client);
    INIT_LIST_HEAD(&object.subscribers);
    ids_init(object.targets, true);
    INIT_LIST_HEAD(&object.patterns);
}

// The bytes of names that an object holds: a type shared by many counts for each of them, as it may outlive the first.
size_t name_bytes(const char *path, const ObjectType &type)
{
    return strlen(path) + 1 + type.length;
}

void object_free(Object *object)
{
    if (object->path)
        // NOLINTNEXTLINE(clang-analyzer-core.NonNullParamChecker): what has a path has a type
        holdings_return(object->client->holdings, HELD_NAMES, name_bytes(object->path, *object->type));
    holdings_return(object->client->holdings, HELD_OBJECTS, 1);
    free(object->path);
    free(object);
}

// The owner hears when there is somebody to notify, and when nobody is left.
void tell_owner(const Object &target)
{
    Message message(UBUS_MSG_NOTIFY, 0, 0);
    message.put_u32(UBUS_ATTR_OBJID, target.id.value);
    message.put_u8(UBUS_ATTR_ACTIVE, !list_empty(&target.subscribers));
    client_send(*target.client, message, 0);
}

void tell_subscriber(const Subscription &subscription)
{
    Message message(UBUS_MSG_UNSUBSCRIBE, 0, 0);
    message.put_u32(UBUS_ATTR_OBJID, subscription.subscriber->id.value);
    message.put_u32(UBUS_ATTR_TARGET, subscription.target->id.value);
    client_send(*subscription.subscriber->client, message, 0);
}

Subscription *find_subscription(const Object &subscriber, const Object &target)
{
    Subscription *subscription;
    return avl_find_element(&subscriber.targets, &target.id.value, subscription, by_target);
}

void end_subscription(Subscription *subscription)
{
    Object &target = *subscription->target;
    Object &subscriber = *subscription->subscriber;
    work_add(1);
    list_del(&subscription->in_target);
    avl_delete(&subscriber.targets, &subscription->by_target);
    holdings_return(subscriber.client->holdings, HELD_SUBSCRIPTIONS, 1);
    free(subscription);
    if (list_empty(&target.subscribers))
        tell_owner(target);
}

void end_subscriptions(Object &object)
{
    Subscription *subscription, *next;
    // NOLINTNEXTLINE(clang-analyzer-unix.Malloc): what is freed has left the list
    list_for_each_entry_safe (subscription, next, &object.subscribers, in_target) {
        tell_subscriber(*subscription);
        end_subscription(subscription);
    }
    avl_for_each_element_safe (&object.targets, subscription, by_target, next)
        end_subscription(subscription);
}

// Whether the path is another object's. That of a client that has ended makes room.
bool is_taken(const char *path)
{
    Object *object = object_find_path(path);
    if (!object || !object->client->ended)
        return object;
    object_remove(object);
    return false;
}

int check_path(const char *path, const ObjectType &type)
{
    bool good = path[0] != '\0' && !is_taken(path) && strlen(path) + type.length + kMostOverhead <= UBUS_MAX_MSGLEN;
    return good ? UBUS_STATUS_OK : UBUS_STATUS_INVALID_ARGUMENT;
}

int keep_path(Object &object, const char *path, const ObjectType &type)
{
    Holdings &holdings = object.client->holdings;
    if (holdings_take(holdings, HELD_NAMES, name_bytes(path, type)) != 0)
        return UBUS_STATUS_NO_MEMORY;
    object.path = strdup(path);
    if (!object.path)
        holdings_return(holdings, HELD_NAMES, name_bytes(path, type));
    return !object.path ? UBUS_STATUS_NO_MEMORY : UBUS_STATUS_OK;
}

// Gives the object its path and type, or neither. UBUS_STATUS_*.
int name_object(Object &object, const char *path, ObjectType *type)
{
    if (!path != !type)
        return UBUS_STATUS_INVALID_ARGUMENT;
    if (!path)
        return UBUS_STATUS_OK;
    type->objects++; // so that it stays, also where the path's last owner goes
    int status = check_path(path, *type);
    if (status == UBUS_STATUS_OK)
        status = keep_path(object, path, *type);
    if (status == UBUS_STATUS_OK)
        object.type = type;
    else
        type->objects--;
    return status;
}

void file_path(Object &object)
{
    object.by_path.key = object.path;
    avl_insert(&paths, &object.by_path);
}

void unfile_path(Object &object)
{
    Cursor *cursor;
    list_for_each_entry (cursor, &open_cursors, open_cursors)
        if (cursor->object == &object)
            cursor_advance(*cursor);
    avl_delete(&paths, &object.by_path);
    object.type->objects--;
}

} // namespace

void objects_init()
{
    ids_init(objects);
    ids_init(types);
    avl_init(&paths, avl_strcmp, false, nullptr);
    for (size_t i = 0; i < std::size(own_objects); i++) {
        init_links(own_objects[i]);
        ids_file(objects, own_objects[i].id, kOwnObjects[i]);
    }
    events_init();
}

Object *object_find(uint32_t id)
{
    Id *found = ids_find(objects, id);
    return !found ? nullptr : container_of(found, Object, id);
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

void cursor_open(Cursor &cursor, Object *object)
{
    cursor.object = object;
    list_add_tail(&cursor.open_cursors, &open_cursors);
}

void cursor_advance(Cursor &cursor)
{
    cursor.object = object_after(*cursor.object);
}

void cursor_close(Cursor &cursor)
{
    list_del(&cursor.open_cursors);
}

ObjectType *type_find(uint32_t id)
{
    Id *found = ids_find(types, id);
    return !found ? nullptr : container_of(found, ObjectType, id);
}

int type_add(std::span<const uint8_t> signature, ObjectType *&type)
{
    type = static_cast<ObjectType *>(malloc(sizeof(ObjectType) + signature.size()));
    if (!type)
        return UBUS_STATUS_NO_MEMORY;
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
    if (holdings_take(client.holdings, HELD_OBJECTS, 1) != 0)
        return UBUS_STATUS_NO_MEMORY;
    object = static_cast<Object *>(calloc(1, sizeof(Object)));
    if (!object) {
        holdings_return(client.holdings, HELD_OBJECTS, 1);
        return UBUS_STATUS_NO_MEMORY;
    }
    init_links(*object);
    object->client = &client;
    int status = name_object(*object, path, type);
    if (status == UBUS_STATUS_OK && ids_add(objects, object->id) != 0)
        status = UBUS_STATUS_SYSTEM_ERROR;
    if (status != UBUS_STATUS_OK) {
        if (object->type)
            object->type->objects--;
        object_free(object);
        return status;
    }
    list_add_tail(&object->in_client, &client.objects);
    if (path) {
        file_path(*object);
        events_tell_path("ubus.object.add", *object);
    }
    return UBUS_STATUS_OK;
}

void object_remove(Object *object)
{
    work_add(1);
    end_subscriptions(*object);
    events_forget(*object);
    list_del(&object->in_client);
    avl_delete(&objects, &object->id.node);
    if (object->path) {
        unfile_path(*object);
        events_tell_path("ubus.object.remove", *object);
    }
    ObjectType *type = object->type;
    object_free(object);
    if (type)
        type_release(type);
}

bool objects_release(Client &client)
{
    while (!list_empty(&client.objects) && !work_slice_is_over())
        object_remove(list_first_entry(&client.objects, Object, in_client));
    return list_empty(&client.objects);
}

int object_subscribe(Object &subscriber, Object &target)
{
    if (holdings_take(subscriber.client->holdings, HELD_SUBSCRIPTIONS, 1) != 0)
        return UBUS_STATUS_NO_MEMORY;
    auto *subscription = static_cast<Subscription *>(malloc(sizeof(Subscription)));
    if (!subscription) {
        holdings_return(subscriber.client->holdings, HELD_SUBSCRIPTIONS, 1);
        return UBUS_STATUS_NO_MEMORY;
    }
    bool first = list_empty(&target.subscribers);
    subscription->target = &target;
    subscription->subscriber = &subscriber;
    subscription->by_target.key = &target.id.value;
    list_add_tail(&subscription->in_target, &target.subscribers);
    avl_insert(&subscriber.targets, &subscription->by_target);
    if (first)
        tell_owner(target);
    return UBUS_STATUS_OK;
}

int object_unsubscribe(Object &subscriber, Object &target)
{
    Subscription *subscription = find_subscription(subscriber, target);
    if (!subscription)
        return UBUS_STATUS_NOT_FOUND;
    end_subscription(subscription);
    return UBUS_STATUS_OK;
}

void object_describe(Message &message, const Object &object, std::span<const uint8_t> signature)
{
    message.put_text(UBUS_ATTR_OBJPATH, object.path);
    message.put_u32(UBUS_ATTR_OBJID, object.id.value);
    message.put_u32(UBUS_ATTR_OBJTYPE, object.type->id.value);
    message.put(UBUS_ATTR_SIGNATURE, signature.data(), signature.size());
}
