// Objects, their types and who subscribes to whom.
#pragma once

#include "ids.h"
#include "message.h"

struct Client;

// What objects of one kind can do, as their first one declared it. It lives as long as it has objects.
struct ObjectType {
    Id id;
    unsigned objects;
    size_t length;
    uint8_t signature[];
};

struct Object {
    Id id;
    avl_node by_path;
    list_head in_client;   // Client::objects
    list_head subscribers; // Subscription::in_target: who is told what this object notifies
    avl_tree targets;      // Subscription::by_target: whose notifications this object is told
    list_head patterns;    // Pattern::in_object: the events this object is told
    uint64_t last_event;   // number of the last event this object was told
    Client *client;        // null for the broker's own
    ObjectType *type;      // null for an anonymous object, which has no path either
    char *path;
};

struct Subscription {
    list_head in_target;
    avl_node by_target; // in Object::targets of the subscriber, by the target's id
    Object *target;
    Object *subscriber;
};

// Files the broker's own object, which takes events.
void objects_init();

// The object of this id, or of this path; null where there is none. Those of clients that have ended are still there
// until it is their turn.
Object *object_find(uint32_t id);
Object *object_find_path(const char *path);

// The first object whose path is not before `path`, and the one after an object, in order of path; null at the end.
Object *object_first_from(const char *path);
Object *object_after(const Object &object);

// The type of this id, or null.
ObjectType *type_find(uint32_t id);

// A new type without objects. UBUS_STATUS_*.
int type_add(std::span<const uint8_t> signature, ObjectType *&type);

// Frees a type that has no objects.
void type_release(ObjectType *type);

// A new object of `client`, named, of a type, or anonymous where `path` and `type` are null; `object` is set on
// success. Whoever registered for it is told of a new path. UBUS_STATUS_*.
int object_add(Client &client, const char *path, ObjectType *type, Object *&object);

// Takes the object away with its subscriptions and event patterns, its type with its last object, and tells whom it
// concerns.
void object_remove(Object *object);

// Takes away the objects of a client, a slice of work at most; whether all are gone.
bool objects_release(Client &client);

// What `target` notifies goes to `subscriber` from now on; a second time changes nothing. UBUS_STATUS_*.
int object_subscribe(Object &subscriber, Object &target);

// Ends that. UBUS_STATUS_*.
int object_unsubscribe(Object &subscriber, Object &target);

// Adds the attributes that describe an object with a path.
void object_describe(Message &message, const Object &object);
