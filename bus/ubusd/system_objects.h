// The broker's own objects, which answer at once.
#pragma once

#include "message.h"

struct Client;

// A call of one of them. UBUS_STATUS_*.
int system_object_call(Client &client, const Request &request);
