// Events: short messages from anybody to whoever registered a pattern for their names.
#pragma once

#include "message.h"

struct Client;
struct Object;

void events_init();

// A call of the broker's own object: `register` or `send`. UBUS_STATUS_*.
int events_call(Client &client, const Request &request);

// Tells the registered objects of a path that came or went.
void events_tell_path(const char *event, const Object &object);

// Drops the patterns of an object.
void events_forget(Object &object);
