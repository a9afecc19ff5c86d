// The broker's own objects, which answer at once.
#pragma once

#include "message.h"

struct Client;
struct Object;

// A call of one of them. UBUS_STATUS_*.
int system_object_call(Client &client, const Object &object, const Request &request);

// Tells whoever registered for it that there are new access lists.
void system_object_tell_access();
