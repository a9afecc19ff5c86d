// The rights of a client, by the access lists. The superuser may everything but what is said otherwise, others what a
// list allows. Rights are asked for when a request is made; what was allowed once stays.
#pragma once

#include <cstdint>
#include <span>

#include "access_lists.h"
#include "object.h"

struct Client;

// From now on everybody may do everything.
void access_open();

// Whether the client may be here at all: lists are for those who have names.
bool access_admits(Client &client);

bool access_allows(Client &client, Right right, std::string_view name);
bool access_allows_call(Client &client, const Object &object, const char *method);
bool access_allows_subscription(Client &client, const Object &target);

// Everything that all clients do: for the superuser in the superuser's group only.
bool access_allows_monitor(const Client &client);

// The methods of an object that the client may call, as a signature.
struct Visible {
    bool is_hidden;  // it is not to be found at all
    bool has_failed; // out of memory
    std::span<const uint8_t> signature;
    uint8_t *copy; // to be freed
};

Visible access_visible(Client &client, const Object &object);
