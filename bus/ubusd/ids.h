// The ids of clients, objects and types: random, so that none can be guessed from another, and unique in their tree.
#pragma once

#include <cstdint>

#include "ubox.h"

struct Id {
    avl_node node;
    uint32_t value;
};

// Opens the source of random ids, which serves until the process ends. 0, or -1 with errno set.
int ids_open();

// With `allows_equal` a value may be filed several times.
void ids_init(avl_tree &tree, bool allows_equal = false);

// Gives `id` a random value from UBUS_SYSTEM_OBJECT_MAX upwards that the tree does not hold, and files it there. 0, or
// -1 where the source of random numbers fails.
int ids_add(avl_tree &tree, Id &id);

// Files an id of a given value, which the tree must not hold: one of those below UBUS_SYSTEM_OBJECT_MAX, which belong
// to the broker itself, or one that was given elsewhere.
void ids_file(avl_tree &tree, Id &id, uint32_t value);

// The id of this value, or null.
Id *ids_find(const avl_tree &tree, uint32_t value);
