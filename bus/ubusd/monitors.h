// Monitors: clients that are told of every message on the bus. What finds no room in a monitor's queue is lost to it,
// as anything is to who does not read, and costs nobody else anything.
#pragma once

#include "message.h"

struct Client;

// Whether anybody is told, so that nothing needs to be got ready where not.
bool monitors_exist();

// The client is told from now on, from number 1 again where it was before. UBUS_STATUS_*.
int monitors_add(Client &client);

// Ends that, where there is anything to end.
void monitors_remove(const Client &client);

// Tells of a message that came from the client. What is sent tells of itself.
void monitors_tell_received(const Client &client, const Request &request);
