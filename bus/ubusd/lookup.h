// Listings: the answers to LOOKUP. A listing may be longer than a client's queue, so it goes on only as the client
// reads, and until it is complete nothing else the client sent is handled.
#pragma once

#include "message.h"

struct Client;

// Begins the listing that the request asks for. UBUS_STATUS_* where it cannot begin, otherwise kNoAnswer: the listing
// answers when it is through.
int lookup_begin(Client &client, const Request &request);

// Sends as much of the client's listing as there is room for.
void lookup_continue(Client &client);

// Ends the client's listing, where there is one, as it stands.
void lookup_cancel(Client &client);
