// Listings: the answers to LOOKUP. A listing may be longer than a client's queue, so it goes on only as the client
// reads, and until it is complete nothing else the client sent is handled.
#pragma once

#include "message.h"

struct Client;
struct Object;

struct Listing {
    bool active;
    bool exact;    // only `next`, whatever comes after it
    int status;    // that ends the listing, as things stand
    uint16_t seq;  // of the request
    uint32_t peer; // of the request
    char *prefix;  // what the paths begin with; null for all
    Object *next;  // what the next message describes; null at the end
    list_head active_listings;
};

// Begins the listing that the request asks for. UBUS_STATUS_* where it cannot begin, otherwise kNoAnswer: the listing
// answers when it is through.
int lookup_begin(Client &client, const Request &request);

// Sends as much of the client's listing as there is room for.
void lookup_continue(Client &client);

void lookup_cancel(Listing &listing);

// The object is about to lose its path: listings go on behind it.
void lookups_pass_over(const Object &object);
