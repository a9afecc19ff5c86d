#include "lookup.h"

#include <cstdlib>
#include <cstring>

#include "client.h"
#include "handlers.h"
#include "objects.h"
#include "work.h"

namespace
{

LIST_HEAD(active_listings);

bool matches(const Listing &listing, const Object &object)
{
    return !listing.prefix || strncmp(object.path, listing.prefix, strlen(listing.prefix)) == 0;
}

// The object if the listing goes as far, otherwise null: matching paths stand together.
Object *choose(const Listing &listing, Object *candidate)
{
    return candidate && matches(listing, *candidate) ? candidate : nullptr;
}

void advance(Listing &listing)
{
    listing.next = listing.exact ? nullptr : choose(listing, object_after(*listing.next));
}

// Finds where the listing begins. UBUS_STATUS_*.
int choose_first(Listing &listing, const char *pattern)
{
    if (!pattern) {
        listing.next = object_first_from("");
        return UBUS_STATUS_OK;
    }
    size_t length = strlen(pattern);
    if (length == 0)
        return UBUS_STATUS_INVALID_ARGUMENT;
    listing.status = UBUS_STATUS_NOT_FOUND; // until the first object is sent, which may still vanish
    listing.exact = pattern[length - 1] != '*';
    if (listing.exact) {
        listing.next = object_find_path(pattern);
    } else {
        listing.prefix = strndup(pattern, length - 1);
        if (!listing.prefix)
            return UBUS_STATUS_NO_MEMORY;
        listing.next = choose(listing, object_first_from(listing.prefix));
    }
    return !listing.next ? UBUS_STATUS_NOT_FOUND : UBUS_STATUS_OK;
}

// Whether the message went into the client's queue; if not yet, it is to be made again later.
bool send_next(Client &client)
{
    Listing &listing = client.listing;
    Message message(UBUS_MSG_DATA, listing.seq, listing.peer);
    object_describe(message, *listing.next);
    if (!client_has_room(client, message.length()))
        return false;
    if (client_answer(client, message) != 0) {
        listing.status = UBUS_STATUS_NO_MEMORY;
        listing.next = nullptr;
    } else {
        listing.status = UBUS_STATUS_OK;
        advance(listing);
    }
    return true;
}

bool send_end(Client &client)
{
    Message message(UBUS_MSG_STATUS, client.listing.seq, client.listing.peer);
    message.put_u32(UBUS_ATTR_STATUS, static_cast<uint32_t>(client.listing.status));
    if (!client_has_room(client, message.length()))
        return false;
    client_answer(client, message);
    lookup_cancel(client.listing);
    return true;
}

} // namespace

int lookup_begin(Client &client, const Request &request)
{
    Listing listing = {.seq = request.seq, .peer = request.peer};
    int status = choose_first(listing, request.text(UBUS_ATTR_OBJPATH));
    if (status != UBUS_STATUS_OK) {
        free(listing.prefix);
        return status;
    }
    listing.active = true;
    client.listing = listing;
    list_add_tail(&client.listing.active_listings, &active_listings);
    lookup_continue(client);
    return kNoAnswer;
}

void lookup_continue(Client &client)
{
    while (client.listing.next)
        if (work_slice_is_over() || !send_next(client))
            return;
    send_end(client);
}

void lookup_cancel(Listing &listing)
{
    if (listing.active) {
        list_del(&listing.active_listings);
        free(listing.prefix);
        listing = {};
    }
}

void lookups_pass_over(const Object &object)
{
    Listing *listing;
    list_for_each_entry (listing, &active_listings, active_listings)
        if (listing->next == &object)
            advance(*listing);
}
