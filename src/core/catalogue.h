// The one place that knows every bus object of the daemon, by declaration only. Each family defines its objects in the
// file of its handlers; here they are listed in registration order, for main.
#pragma once

#include "core/families.h"

std::span<ubus_object *const> catalogue_objects();

extern const EntryTypes catalogue_entry_types;
