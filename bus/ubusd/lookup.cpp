#include "lookup.h"

#include <cstdlib>
#include <cstring>

#include "access.h"
#include "answers.h"
#include "client.h"
#include "objects.h"
#include "work.h"

// The paths that match stand together, so a listing ends with the first that does not.
struct Listing {
    Cursor cursor;
    int status;    // that ends the listing, as things stand
    uint16_t seq;  // of the request
    uint32_t peer; // of the request
    bool is_prefix;
    size_t length;
    char path[]; // or what the paths begin with, without the `*`
};

namespace
{

bool matches(const Listing &listing, const Object &object)
{
    if (listing.is_prefix)
        return strncmp(object.path, listing.path, listing.length) == 0;
    return strcmp(object.path, listing.path) == 0;
}

// The object that the next message describes; null at the end.
Object *next_object(const Listing &listing)
{
    Object *object = listing.cursor.object;
    return object && matches(listing, *object) ? object : nullptr;
}

// `pattern` is null where everything is wanted. Null out of memory.
Listing *make_listing(const Request &request, const char *pattern)
{
    const char *text = !pattern ? "*" : pattern;
    size_t length = strlen(text);
    auto *listing = static_cast<Listing *>(malloc(sizeof(Listing) + length + 1));
    if (!listing)
        return nullptr;
    listing->status = !pattern ? UBUS_STATUS_OK : UBUS_STATUS_NOT_FOUND; // until an object is sent, which may vanish
    listing->seq = request.seq;
    listing->peer = request.peer;
    listing->is_prefix = text[length - 1] == '*';
    listing->length = length - listing->is_prefix;
    memcpy(listing->path, text, listing->length);
    listing->path[listing->length] = '\0';
    cursor_open(listing->cursor, object_first_from(listing->path));
    return listing;
}

// UBUS_STATUS_*, or kNoAnswer where the client has no room now.
int describe(Client &client, const Object &object, std::span<const uint8_t> signature)
{
    Message message(UBUS_MSG_DATA, client.listing->seq, client.listing->peer);
    object_describe(message, object, signature);
    if (!client_has_room(client, message.length()))
        return kNoAnswer;
    return client_answer(client, message) == 0 ? UBUS_STATUS_OK : UBUS_STATUS_NO_MEMORY;
}

// An object that the client may not see at all is passed over, but was found. The same results.
int describe_visible(Client &client, const Object &object)
{
    Visible visible = access_visible(client, object);
    int status = visible.has_failed ? UBUS_STATUS_NO_MEMORY : UBUS_STATUS_OK;
    if (visible.is_hidden)
        work_add(1);
    else if (status == UBUS_STATUS_OK)
        status = describe(client, object, visible.signature);
    free(visible.copy);
    return status;
}

// Whether the object is done with; if not yet, it is to be described again later.
bool send_next(Client &client, const Object &object)
{
    int status = describe_visible(client, object);
    if (status == kNoAnswer)
        return false;
    Listing &listing = *client.listing;
    listing.status = status;
    if (status == UBUS_STATUS_OK)
        cursor_advance(listing.cursor);
    else
        listing.cursor.object = nullptr;
    return true;
}

void send_end(Client &client)
{
    constexpr size_t kStatusLength = kHeaderSize + 8;
    const Listing &listing = *client.listing;
    if (!client_has_room(client, kStatusLength))
        return;
    answer_status(client, listing.seq, listing.peer, listing.status);
    lookup_cancel(client);
}

} // namespace

int lookup_begin(Client &client, const Request &request)
{
    const char *pattern = request.text(UBUS_ATTR_OBJPATH);
    if (pattern && pattern[0] == '\0')
        return UBUS_STATUS_INVALID_ARGUMENT;
    client.listing = make_listing(request, pattern);
    if (!client.listing)
        return UBUS_STATUS_NO_MEMORY;
    if (pattern && !next_object(*client.listing)) {
        lookup_cancel(client);
        return UBUS_STATUS_NOT_FOUND;
    }
    lookup_continue(client);
    return kNoAnswer;
}

void lookup_continue(Client &client)
{
    while (Object *object = next_object(*client.listing))
        if (work_slice_is_over() || !send_next(client, *object))
            return;
    send_end(client);
}

void lookup_cancel(Client &client)
{
    if (client.listing) {
        cursor_close(client.listing->cursor);
        free(client.listing);
        client.listing = nullptr;
    }
}
