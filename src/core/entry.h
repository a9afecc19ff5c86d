// Entry objects: one bus object for each entry of the service's lists. The daemon mirrors each list in a vlist whose
// update callback registers and withdraws the objects. Used on the bus thread only; the lists live until the process
// ends.
#pragma once

#include "core/bus.h"
#include "core/wire.h"

// One entry, on the heap, owned by its list while it is in it.
struct Entry {
    vlist_node node;
    ubus_object object; // its name is heap text, null where the entry has no object of its own
    // The list key: the four bytes of the index, least significant first, compared as a text. Indices whose lowest byte
    // is 0 (256, 512 and so on) have the empty key and are equal to one another; agents and service know indices below
    // that.
    le32 index;
    le32 key_end;         // always 0: ends the key of an index without a zero byte
    uint32_t band_number; // access points only: 1 for 2.4 GHz, 2 for 5 GHz
    Entry *predecessor;   // owned: put out of the list by this one's equal key; its object stands for both
    Entry *next_stranded; // see entry.cpp
};

struct EntryLists {
    vlist_tree wifi_aps[2]; // 2.4 GHz, 5 GHz
    vlist_tree wifi_timers;
    vlist_tree classifications; // kept like the others, without objects
    vlist_tree lan_hosts;
    vlist_tree url_filters;
    vlist_tree dns_filters;
};

extern EntryLists entry_lists;

void entry_lists_init();

// Makes an entry of this index and adds it, which registers its object. An equal key already in the list leaves the
// older entry's object as it is and puts the new entry, which owns it from then on, into the list without one. Null
// when memory does not suffice.
Entry *entry_add(vlist_tree *list, uint32_t index, uint32_t band_number = 0);

// Takes the entry out of its list, which withdraws its object, or the one that it took over, and frees it.
void entry_remove(vlist_tree *list, Entry *entry);

// The entry of this index; null where there is none.
Entry *entry_find(vlist_tree *list, uint32_t index);

// The entry on which an object of this name acts; null where there is none. It may be the predecessor of one in the
// list: then their indices are equal, unless only their keys are.
const Entry *entry_find_named(vlist_tree *list, const char *object_name);

// The entry in the list that has this object or took it over; null where there is none.
Entry *entry_owning(vlist_tree *list, const ubus_object *object);

// Whether an entry in the list has the key of this index.
bool entry_key_is_taken(vlist_tree *list, uint32_t index);

// Brings a list into line with an answer of the service: entries whose index is not in the answer are removed, indices
// without an entry are added in answer order. The indices are the first words of `count` records that are `stride`
// bytes apart.
void entry_reconcile(vlist_tree *list, const void *records, size_t stride, size_t count);

// The same for a list answer.
template <typename List> void entry_reconcile(vlist_tree *list, const List &answer)
{
    entry_reconcile(list, answer.entries, sizeof(answer.entries[0]), entry_count(answer));
}
