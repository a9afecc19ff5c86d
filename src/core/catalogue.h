// The one place that knows every bus object of the daemon, by declaration only. Each family defines its objects in the
// file of its handlers; here they are listed in registration order and handed to those of core and events who need one
// by name.
#pragma once

#include <span>

#include "core/bus.h"

// The static objects, in the order in which they are registered.
std::span<ubus_object *const> catalogue_objects();

// The static object of this name; null where there is none.
ubus_object *catalogue_object(const char *name);

// The bus types of the entry objects. Null where the family that serves them is not built in: its entries are then kept
// without objects.
struct EntryTypes {
    ubus_object_type *filterdns;
    ubus_object_type *filterurl;
    ubus_object_type *laninfo;
    ubus_object_type *wifitimer;
    ubus_object_type *wifi_aps[2]; // 2.4 GHz, 5 GHz
};

extern const EntryTypes catalogue_entry_types;

// What start-up calls of events and of the families.

// Starts the threads that receive events. 0, or 1 when they cannot be started.
int WEXOND_Notify_ThreadInit();

// Sends the notifications of the events that came since the last call. Always 0.
int WEXOND_Event_NotifyDeal();

// Asks the service to scan the channels of band 0 or 1; other bands do nothing. Nobody is told how it went.
void wexond_channel_scan(uint32_t band);
