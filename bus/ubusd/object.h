// Objects and what they consist of.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ids.h"

struct Client;

// The methods of objects of one kind, as their first one declared them. It lives as long as it has objects.
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
