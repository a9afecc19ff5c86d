// What a client is sent. Messages of one turn are gathered in its queue and leave together; only what is large goes out
// at once, from where it stands.
#include "client.h"

#include "loop.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <sys/socket.h>

namespace
{

constexpr size_t kQueueLimit = 1048576; // of what a peer that does not read may cost
constexpr size_t kTurnLimit = 32768;    // gathered for one client before some of it is sent

LIST_HEAD(unsent_clients);

void set_blocked(Client &client, bool blocked)
{
    if (client.blocked != blocked) {
        client.blocked = blocked;
        loop_await_output(client.fd, &client, blocked);
    }
}

// A peer that reads no more may still have sent something: its requests are handled to the end, its answers are
// dropped. Where it was not the peer that failed, it learns by the end of the stream.
void stop_sending(Client &client)
{
    client.deaf = true;
    shutdown(client.fd, SHUT_WR);
    output_free(client.output);
    set_blocked(client, false);
}

// Sends what the socket takes of `length` bytes; the result is how many that are.
size_t send_now(Client &client, std::span<const iovec> pieces, size_t length)
{
    msghdr header = {.msg_iov = const_cast<iovec *>(pieces.data()), .msg_iovlen = pieces.size()};
    ssize_t result = sendmsg(client.fd, &header, MSG_NOSIGNAL);
    size_t sent = result < 0 ? 0 : static_cast<size_t>(result);
    if (result < 0 && errno != EAGAIN) {
        stop_sending(client);
    } else {
        set_blocked(client, sent < length);
    }
    return sent;
}

// Sends the message ahead of the end of the turn, as far as it goes; the result is how many bytes went.
size_t send_early(Client &client, const Message &message)
{
    if (!client.blocked) {
        client_flush(client);
    }
    bool possible = !client.blocked && !client.deaf;
    return possible ? send_now(client, message.pieces(), message.length()) : 0;
}

// Queues what is left of a message of which `sent` bytes went early. 0, or -1 where it does not fit or memory is out.
int enqueue(Client &client, const Message &message, size_t sent)
{
    if (client.deaf || sent == message.length()) {
        return 0;
    }
    size_t waiting = client.output.size();
    if (waiting != 0 && waiting + message.length() > kQueueLimit) {
        return -1;
    }
    if (output_append(client.output, message.pieces(), sent) != 0) {
        return -1;
    }
    if (!client.blocked && list_empty(&client.unsent)) {
        list_add_tail(&client.unsent, &unsent_clients);
    }
    return 0;
}

} // namespace

int client_send(Client &client, const Message &message)
{
    if (client.ended) {
        return 0; // its own objects going away are the last to have something to tell it
    }
    size_t sent = 0;
    if (client.output.size() + message.length() > kTurnLimit) {
        sent = send_early(client, message);
    }
    if (enqueue(client, message, sent) == 0) {
        return 0;
    }
    if (sent == 0) { // without memory for the queue it may still go at once
        sent = send_early(client, message);
    }
    if (sent != 0 && sent != message.length()) {
        client_end(client); // half a message cannot be taken back
    }
    return client.deaf || sent == message.length() ? 0 : -1;
}

bool client_has_room(const Client &client, size_t length)
{
    size_t waiting = client.output.size();
    return !client.blocked && (waiting == 0 || waiting + length <= kTurnLimit);
}

void client_flush(Client &client)
{
    if (client.output.size() == 0) {
        return;
    }
    iovec piece = {client.output.data + client.output.begin, client.output.size()};
    size_t sent = send_now(client, {&piece, 1}, piece.iov_len);
    if (!client.deaf) {
        output_drop(client.output, sent);
    }
}

void clients_flush()
{
    while (!list_empty(&unsent_clients)) {
        Client *client = list_first_entry(&unsent_clients, Client, unsent);
        list_del_init(&client->unsent);
        if (!client->blocked) {
            client_flush(*client);
        }
    }
}
