// Events: short messages from anybody to whoever registered a pattern for their names.
#pragma once

#include <cstdint>
#include <span>

struct Client;
struct Object;

void events_init();

// The object is told the events of this name from now on, or, where `text` ends in `*`, those that begin so; it is
// not empty. UBUS_STATUS_*.
int events_register(Object &object, const char *text);

// Tells each object once that has a matching pattern, except those of `sender` (null: the broker).
void events_send(const char *name, std::span<const uint8_t> data, const Client *sender);

// Tells the registered objects of a path that came or went.
void events_tell_path(const char *event, const Object &object);

// Drops the patterns of an object.
void events_forget(Object &object);
