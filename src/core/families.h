// The families and events as core needs them, which does not know them: main hands it in before anything else runs.
#pragma once

#include <span>

#include "core/bus.h"

// The bus types of the entry objects. Entries without a type are kept without objects.
struct EntryTypes {
    ubus_object_type *filterdns;
    ubus_object_type *filterurl;
    ubus_object_type *laninfo;
    ubus_object_type *wifitimer;
    ubus_object_type *wifi_aps[2]; // 2.4 GHz, 5 GHz
};

struct Families {
    std::span<ubus_object *const> objects; // the static ones, in the order in which they are registered
    EntryTypes entry_types;
    int (*start_events)(); // starts the threads that receive events; 0, or 1 when they cannot be started
    int (*drain_events)(); // sends the notifications of the events that came since the last call; always 0
    void (*scan_channels)(uint32_t band); // asks the service to scan the channels of band 0 or 1
};

extern Families families;

// The static object of this name; null where there is none.
ubus_object *static_object(const char *name);
