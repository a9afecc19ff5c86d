// The input of a client: one receive per turn, which may bring many messages, the end of one begun earlier and the
// beginning of another.
#include "client.h"

#include <algorithm>
#include <cerrno>
#include <sys/socket.h>

#include "closer.h"
#include "descriptors.h"
#include "work.h"

namespace
{

constexpr size_t kAllInput = 16777216; // kept of all clients' messages that are not handled yet

// Where everybody's messages arrive; only what is left when the turn goes on to the next client is copied.
uint8_t arrivals[16384];

// Clients with input that is kept, in the order in which something last came.
LIST_HEAD(keeping_clients);
size_t all_kept = 0;

void close_descriptor(Client &client)
{
    if (client.descriptor >= 0)
        closer_close(client.descriptor);
    client.descriptor = -1;
}

// Whether the next request has to wait.
bool must_wait(const Client &client)
{
    return client.listing || client_is_behind(client) || work_slice_is_over();
}

// The descriptor came with the last message that begins in `bytes`.
int descriptor_of(const Client &client, std::span<uint8_t> bytes, size_t length)
{
    return length == bytes.size() ? client.descriptor : -1;
}

void handle_first(Client &client, std::span<uint8_t> bytes, size_t length)
{
    work_add(1);
    int descriptor = descriptor_of(client, bytes, length);
    client_hooks.handle(client, bytes.first(length), descriptor);
    if (descriptor >= 0)
        close_descriptor(client);
}

// Handles the whole messages at the front, as many as there may be now. The result is what is left.
std::span<uint8_t> handle_whole(Client &client, std::span<uint8_t> bytes)
{
    client.pending = false;
    while (!client.ended) {
        size_t length = message_length(bytes);
        if (length == 0 || (length != kMalformed && length > bytes.size()))
            break;
        if (must_wait(client)) {
            client.pending = true;
            break;
        }
        if (length == kMalformed) {
            client_end(client);
        } else {
            handle_first(client, bytes, length);
            bytes = bytes.subspan(length);
        }
    }
    return bytes;
}

void handle_kept(Client &client)
{
    input_keep(client.input, handle_whole(client, {client.input.data, client.input.size}));
}

// `bytes` are new, and follow what was kept. A descriptor that came with them belongs to the last message that begins
// in them: who passes one along sends its message by itself, and a receive stops behind it.
void take(Client &client, std::span<uint8_t> bytes, int descriptor)
{
    if (client.input.size != 0) {
        if (input_complete(client.input, bytes) != 0) {
            client_end(client);
            bytes = {};
        } else {
            handle_kept(client);
        }
    }
    if (descriptor >= 0 && !bytes.empty()) {
        close_descriptor(client);
        client.descriptor = descriptor;
    } else if (descriptor >= 0) {
        closer_close(descriptor);
    }
    if (client.input.size == 0)
        bytes = handle_whole(client, bytes);
    if (!client.ended && !bytes.empty() && input_append(client.input, bytes) != 0)
        client_end(client);
}

void receive(Client &client)
{
    iovec parts[] = {input_room(client.input), {arrivals, sizeof(arrivals)}};
    msghdr header = {.msg_iov = parts, .msg_iovlen = 2};
    work_add(1);
    Passed passed;
    passed_prepare(passed, header);
    ssize_t result = recvmsg(client.fd, &header, MSG_CMSG_CLOEXEC);
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
    // A short read has emptied the socket, except where it stopped behind descriptors.
    bool stopped = header.msg_controllen != 0 || (header.msg_flags & MSG_CTRUNC) != 0;
    bool drained = received < parts[0].iov_len + sizeof(arrivals) && !stopped;
    client.passes = client.passes || stopped;
    client.readable = !drained;
    client.finished = drained && client.hung_up;
    client.input.size += in_place;
    take(client, {arrivals, received - in_place}, stopped ? passed_take(header) : -1);
}

// The bytes in which the client's input grew or shrank count for all, and so do those of clients that sent half a
// message and no more: whoever has been silent for longest goes first where they are too many.
void count_kept(Client &client, size_t before)
{
    all_kept += client.input.size - before;
    list_del_init(&client.keeping);
    if (client.input.size != 0)
        list_add_tail(&client.keeping, &keeping_clients);
    while (all_kept > kAllInput && !list_empty(&keeping_clients)) {
        Client *oldest = list_first_entry(&keeping_clients, Client, keeping);
        client_forget_input(*oldest);
        client_end(*oldest);
    }
}

} // namespace

void client_serve(Client &client)
{
    size_t before = client.input.size;
    if (client.listing)
        client_hooks.resume(client);
    if (client.pending && !must_wait(client))
        handle_kept(client);
    if (client.readable && !client.pending && !client.ended && !must_wait(client))
        receive(client);
    if (client.finished && !client.listing && !client.pending && client.output.size() == 0)
        client_end(client);
    if (before != 0 || client.input.size != 0)
        count_kept(client, before);
}

void client_forget_input(Client &client)
{
    all_kept -= client.input.size;
    list_del_init(&client.keeping);
    input_free(client.input);
    close_descriptor(client);
}
