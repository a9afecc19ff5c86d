// The ids of clients, objects and types: random, so that none can be guessed from another, and unique in their tree.
#ifndef UBUSD_IDS_H
#define UBUSD_IDS_H

#include "ubox.h"

#include <cstdint>

struct Id {
    avl_node node;
    uint32_t value;
};

// Opens the source of random ids, which serves until the process ends. 0, or -1 with errno set.
int ids_open();

void ids_init(avl_tree &tree);

// Gives `id` a random value from UBUS_SYSTEM_OBJECT_MAX upwards that the tree does not hold, and files it there. 0, or
// -1 where the source of random numbers fails.
int ids_add(avl_tree &tree, Id &id);

// Files one of the ids below UBUS_SYSTEM_OBJECT_MAX, which belong to the broker itself.
void ids_add_system(avl_tree &tree, Id &id, uint32_t value);

// The id of this value, or null.
Id *ids_find(const avl_tree &tree, uint32_t value);

#endif
