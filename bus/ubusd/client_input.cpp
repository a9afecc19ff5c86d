// What a client sends: one receive per turn, which may bring many messages, the end of one begun earlier and the
// beginning of another.
#include "client.h"

#include "handlers.h"

#include <algorithm>
#include <cerrno>
#include <sys/socket.h>

namespace
{

// Where everybody's messages arrive. It bounds what one client may ask for in one turn; only what is left of it when
// the turn goes on to the next client is copied.
uint8_t arrivals[16384];

// Handles the whole messages at the front, until a listing has to be finished first. The result is what is left.
std::span<uint8_t> handle_whole(Client &client, std::span<uint8_t> bytes)
{
    while (!client.ended && !client.listing.active) {
        size_t length = message_length(bytes);
        if (length == kMalformed) {
            client_end(client);
        } else if (length == 0 || length > bytes.size()) {
            break;
        } else {
            handle_message(client, bytes.first(length));
            bytes = bytes.subspan(length);
        }
    }
    return bytes;
}

void handle_kept(Client &client)
{
    input_keep(client.input, handle_whole(client, {client.input.data, client.input.size}));
}

// `bytes` are new, and follow what was kept.
void take(Client &client, std::span<uint8_t> bytes)
{
    if (client.input.size != 0) {
        if (input_complete(client.input, bytes) != 0) {
            client_end(client);
            return;
        }
        handle_kept(client);
    }
    if (client.input.size == 0) {
        bytes = handle_whole(client, bytes);
    }
    if (!client.ended && !bytes.empty() && input_append(client.input, bytes) != 0) {
        client_end(client);
    }
}

void receive(Client &client)
{
    iovec parts[] = {input_room(client.input), {arrivals, sizeof(arrivals)}};
    msghdr header = {.msg_iov = parts, .msg_iovlen = 2};
    ssize_t result = recvmsg(client.fd, &header, 0);
    if (result < 0 && errno == EAGAIN) {
        client.readable = false;
        return;
    }
    if (result <= 0) {
        client.readable = false;
        client.finished = true;
        return;
    }
    auto received = static_cast<size_t>(result);
    size_t in_place = std::min(received, parts[0].iov_len);
    // A short read has emptied the socket, except where it stopped behind descriptors somebody passed along.
    bool drained = received < parts[0].iov_len + sizeof(arrivals) && (header.msg_flags & MSG_CTRUNC) == 0;
    client.readable = !drained;
    client.finished = drained && client.hung_up;
    client.input.size += in_place;
    take(client, {arrivals, received - in_place});
}

} // namespace

void client_serve(Client &client)
{
    if (client.listing.active) {
        lookup_continue(client);
        handle_kept(client);
    }
    if (client.readable && !client.listing.active && !client.ended) {
        receive(client);
    }
    if (client.finished && !client.listing.active && client.output.size() == 0) {
        client_end(client);
    }
}
