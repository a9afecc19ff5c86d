// Objects, their types and who subscribes to whom.
#pragma once

#include "message.h"
#include "object.h"

// Files the broker's own objects.
void objects_init();

// The object of this id, or of this path; null where there is none. Those of clients that have ended are still there
// until it is their turn.
Object *object_find(uint32_t id);
Object *object_find_path(const char *path);

// The first object whose path is not before `path`, and the one after an object, in order of path; null at the end.
Object *object_first_from(const char *path);
Object *object_after(const Object &object);

// A place in that order which stays one, whatever objects come and go.
struct Cursor {
    list_head open_cursors;
    Object *object; // null at the end
};

void cursor_open(Cursor &cursor, Object *object);
void cursor_advance(Cursor &cursor);
void cursor_close(Cursor &cursor);

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

// Notifications of `target` go to `subscriber` from now on, once for each time that this is
// called. UBUS_STATUS_*.
int object_subscribe(Object &subscriber, Object &target);

// Takes one of these times back. UBUS_STATUS_*.
int object_unsubscribe(Object &subscriber, Object &target);

// Adds the attributes that describe an object with a path; of its methods those of `signature`.
void object_describe(Message &message, const Object &object, std::span<const uint8_t> signature);
