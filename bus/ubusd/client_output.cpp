// The output to a client. Messages of one turn are gathered in its queue and leave together; only what is large, or
// what passes a descriptor along, goes out at once, from where it stands.
#include "client.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <iterator>
#include <sys/socket.h>

#include "closer.h"
#include "descriptors.h"
#include "watch.h"
#include "work.h"

namespace
{

constexpr size_t kQueueLimit = 1048576;                // of what a peer that does not read may cost
constexpr size_t kReserve = kMaxMessage + 4096;        // behind it, for answers
constexpr size_t kAllQueues = 16 * kQueueLimit;        // of all peers that do not read
constexpr size_t kShortAnswer = 128;                   // always taken
constexpr size_t kTurnLimit = 32768;                   // gathered for one client before some of it is sent
constexpr unsigned kBytesPerUnit = 4096;               // of work
constexpr unsigned kMostPassing = 8, kAllPassing = 64; // descriptors in one queue, in all

// A descriptor that waits with its message.
struct Passing {
    list_head in_client;
    uint64_t position; // of the message, counted in bytes that the peer takes
    int descriptor;
};

LIST_HEAD(unsent_clients);
void (*observer)(const Client &client, const Message &message) = nullptr;
size_t all_queued = 0;
unsigned all_passing = 0;

void set_blocked(Client &client, bool blocked)
{
    if (client.blocked != blocked) {
        client.blocked = blocked;
        watch_output(client.fd, &client, blocked);
    }
}

void release_passing(Passing *passing)
{
    list_del(&passing->in_client);
    closer_close(passing->descriptor);
    free(passing);
    all_passing--;
}

void drop_output(Client &client, size_t count)
{
    client.taken += count;
    all_queued -= count;
    output_drop(client.output, count);
    shares_shrink(client.shares, client.output.size());
}

// A peer that reads no more may still have sent something: its requests are handled to the end, its answers are
// dropped. Where it was not the peer that failed, it learns by the end of the stream.
void stop_sending(Client &client)
{
    client.deaf = true;
    shutdown(client.fd, SHUT_WR);
    client_forget_output(client);
    set_blocked(client, false);
}

ssize_t send_pieces(const Client &client, std::span<const iovec> pieces, int descriptor)
{
    msghdr header = {};
    header.msg_iov = const_cast<iovec *>(pieces.data());
    header.msg_iovlen = static_cast<decltype(header.msg_iovlen)>(pieces.size()); // of int's width in musl
    if (descriptor >= 0) {
        Passed passed = {};
        passed_put(passed, header, descriptor);
        ssize_t result = sendmsg(client.fd, &header, MSG_NOSIGNAL);
        if (result >= 0 || errno != ETOOMANYREFS)
            return result;
        // It cannot be passed on (a socket in the queue of a socket, say): the message goes without it.
        header.msg_control = nullptr;
        header.msg_controllen = 0;
    }
    return sendmsg(client.fd, &header, MSG_NOSIGNAL);
}

// Sends what the socket takes of `length` bytes; the result is how many that are.
size_t send_now(Client &client, std::span<const iovec> pieces, size_t length, int descriptor)
{
    ssize_t result = send_pieces(client, pieces, descriptor);
    size_t sent = result < 0 ? 0 : static_cast<size_t>(result);
    if (result < 0 && errno != EAGAIN)
        stop_sending(client);
    else
        set_blocked(client, sent < length);
    return sent;
}

// Sends the message ahead of the end of the turn, as far as it goes; the result is how many bytes went.
size_t send_early(Client &client, const Message &message)
{
    if (!client.blocked)
        client_flush(client);
    bool possible = !client.blocked && !client.deaf;
    return possible ? send_now(client, message.pieces(), message.length(), message.descriptor()) : 0;
}

// Keeps a copy of the descriptor until its message, which comes next in the queue, is sent.
int queue_descriptor(Client &client, int descriptor)
{
    unsigned waiting = 0;
    const Passing *other;
    list_for_each_entry (other, &client.passing, in_client)
        waiting++;
    if (waiting == kMostPassing || all_passing == kAllPassing)
        return -1;
    auto *passing = static_cast<Passing *>(malloc(sizeof(Passing)));
    if (!passing)
        return -1;
    passing->descriptor = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    if (passing->descriptor < 0) {
        free(passing);
        return -1;
    }
    passing->position = client.taken + client.output.size();
    list_add_tail(&passing->in_client, &client.passing);
    all_passing++;
    return 0;
}

// Queues what is left of a message of which `sent` bytes went early. 0, or -1 where memory is out, or where there are
// too many descriptors.
int enqueue(Client &client, const Message &message, size_t sent, uint32_t sender)
{
    if (client.deaf || sent == message.length())
        return 0;
    bool passes = message.descriptor() >= 0 && sent == 0;
    if (passes && queue_descriptor(client, message.descriptor()) != 0)
        return -1;
    if (output_append(client.output, message.pieces(), sent) != 0) {
        if (passes)
            release_passing(list_last_entry(&client.passing, Passing, in_client));
        return -1;
    }
    all_queued += message.length() - sent;
    if (client.blocked && sent == 0)
        shares_add(client.shares, sender, message.length());
    if (!client.blocked && list_empty(&client.unsent))
        list_add_tail(&client.unsent, &unsent_clients);
    return 0;
}

// Whether all queues together have as much left as the client's own would come to.
bool all_have_room(const Client &client, size_t length)
{
    return client.output.size() + length <= kAllQueues - std::min(all_queued, kAllQueues);
}

// Who has nothing in the queue yet gets part of what is left. More than that fills half the queue at most, and of that
// no more than is left for others. So a few small calls find room, however many have filled what they can.
bool has_room_for_call(const Client &client, size_t length, uint32_t sender)
{
    size_t waiting = client.output.size();
    size_t own = shares_of(client.shares, sender);
    if (waiting == 0)
        return true;
    if (own == 0)
        return waiting < kQueueLimit && length <= (kQueueLimit - waiting) / 4;
    return waiting + own + length <= kQueueLimit / 2;
}

// The reserve has room for the longest answer behind a full queue, and for the status that follows.
bool has_room_for_answer(const Client &client, size_t length, uint32_t sender)
{
    size_t own = length <= kShortAnswer ? 0 : shares_of(client.shares, sender);
    return client.output.size() == 0 || client.output.size() + own + length <= kQueueLimit + kReserve;
}

// 0, or -1 where the message is lost.
int deliver(Client &client, const Message &message, uint32_t sender)
{
    work_add(1 + static_cast<unsigned>(message.length() / kBytesPerUnit));
    size_t sent = 0;
    if (client.output.size() + message.length() > kTurnLimit || message.descriptor() >= 0)
        sent = send_early(client, message);
    if (enqueue(client, message, sent, sender) == 0)
        return 0;
    if (sent == 0) // without memory for the queue it may still go at once
        sent = send_early(client, message);
    if (sent != 0 && sent != message.length())
        client_end(client); // half a message cannot be taken back
    return client.deaf || sent == message.length() ? 0 : -1;
}

} // namespace

int client_send(Client &client, const Message &message, uint32_t sender)
{
    if (client.ended)
        return 0; // its own objects going away are the last to have something to tell it
    if (observer)
        observer(client, message);
    size_t length = message.length();
    bool fits = all_have_room(client, length) && has_room_for_call(client, length, sender);
    return fits ? deliver(client, message, sender) : -1;
}

int client_pass_answer(Client &client, Message &message, uint32_t sender)
{
    if (client.ended)
        return 0;
    if (observer)
        observer(client, message);
    size_t length = message.length();
    if (!all_have_room(client, length) || !has_room_for_answer(client, length, sender))
        return -1;
    int result = deliver(client, message, sender);
    if (result == 0 || message.descriptor() < 0)
        return result;
    message.pass(-1);
    return deliver(client, message, sender);
}

int client_answer(Client &client, const Message &message)
{
    if (client.ended)
        return 0;
    if (observer)
        observer(client, message);
    bool fits = message.length() <= kShortAnswer || all_have_room(client, message.length());
    return fits ? deliver(client, message, 0) : -1;
}

void clients_observe(void (*observe)(const Client &client, const Message &message))
{
    observer = observe;
}

bool client_is_behind(const Client &client)
{
    return client.output.size() > kQueueLimit;
}

bool client_has_room(const Client &client, size_t length)
{
    size_t waiting = client.output.size();
    return !client.blocked && (waiting == 0 || waiting + length <= kTurnLimit);
}

void client_flush(Client &client)
{
    bool goes_on = true;
    while (goes_on && client.output.size() != 0) {
        // A message that passes a descriptor begins a send of its own.
        Passing *passing = nullptr;
        size_t length = client.output.size();
        Passing *waiting;
        list_for_each_entry (waiting, &client.passing, in_client) {
            size_t offset = waiting->position - client.taken;
            if (offset != 0) {
                length = offset;
                break;
            }
            passing = waiting;
        }
        iovec piece = {client.output.data + client.output.begin, length};
        size_t sent = send_now(client, {&piece, 1}, length, !passing ? -1 : passing->descriptor);
        if (client.deaf)
            return;
        drop_output(client, sent);
        if (passing && sent != 0)
            release_passing(passing);
        goes_on = sent == length;
    }
}

void clients_flush()
{
    while (!list_empty(&unsent_clients)) {
        Client *client = list_first_entry(&unsent_clients, Client, unsent);
        list_del_init(&client->unsent);
        if (!client->blocked)
            client_flush(*client);
    }
}

void client_forget_output(Client &client)
{
    drop_output(client, client.output.size());
    while (!list_empty(&client.passing))
        // NOLINTNEXTLINE(clang-analyzer-unix.Malloc): what is released has left the list
        release_passing(list_first_entry(&client.passing, Passing, in_client));
}
