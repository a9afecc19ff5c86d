// The broker with four clients that send anything. Its event loop, its random ids and the system's user names are
// replaced: ids are numbered from 1024 on, in the order in which clients, types and objects come.
//
// The input is a sequence of steps: a byte (its lowest two bits choose the client, the others modulo 8 what it does),
// and what that needs:
//     0, 1, 2  sends a message: type, peer (an id), attributes (see bus_message.h for both); then how many bytes of
//     what
//              it has to send leave at once, 255 for all
//     3        sends these bytes (16-bit length)
//     4        reads no more, or reads on
//     5        ends what it sends
//     6        leaves
//     7        sends what it has to send
// Who has not come yet comes first.

#include <cerrno>
#include <map>
#include <string>

#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "bus/ubusd/access.h"
#include "bus/ubusd/client.h"
#include "bus/ubusd/closer.h"
#include "bus/ubusd/handlers.h"
#include "bus/ubusd/names.h"
#include "bus/ubusd/objects.h"
#include "bus/ubusd/watch.h"
#include "fuzz/bus_message.h"

namespace
{

constexpr int kSmallBuffer = 4096; // of the broker's sockets, so that readers fall behind
constexpr int kMostTurns = 10000;
constexpr size_t kMostSteps = 64;
constexpr size_t kMostOutput = 1048576 + kMaxMessage + 4096 + 128; // the queue, its reserve, and a short answer
constexpr size_t kMostInput = kMaxMessage + 16384;                 // a message and what a receive brings

struct Participant {
    int fd = -1; // its end
    uint32_t id = 0;
    bool reads = true;
    bool orderly = true; // has sent whole messages only
    bool greeted = false;
    bool output_awaited = false; // by the broker
    Bytes to_send;
    Bytes arrived;
    std::map<uint16_t, int> statuses; // by the sequence number of a request that has to get one, how many came
};

Participant participants[4];
Participant *coming; // whose connection is being taken over
uint32_t last_id;
uint16_t last_seq;
bool initialised;
bool only_messages; // nobody has sent bytes that could be anything

// Of the messages that clients sent, by sequence number.
struct Sent {
    uint8_t type;
    const Participant *by;
};

std::map<uint16_t, Sent> sent_messages;
std::map<uint32_t, const Participant *> owners; // of the objects that were added

Participant *of_descriptor(const Client *client)
{
    for (Participant &participant : participants)
        if (participant.fd >= 0 && participant.id != 0 && client_find(participant.id) == client)
            return &participant;
    return coming;
}

Client *client_of(const Participant &participant)
{
    return participant.id != 0 ? client_find(participant.id) : nullptr;
}

// --- What the broker sends ---

void check_status(Participant &participant, const ubus_msghdr &header)
{
    auto request = participant.statuses.find(be16_to_cpu(header.seq));
    if (participant.orderly && header.peer == 0 && request != participant.statuses.end())
        REQUIRE(++request->second == 1);
}

// Whole attributes up to the end, but in what is handed on from one client to another.
void check_body(const blob_attr *body)
{
    size_t rem;
    blob_attr *attribute;
    blob_for_each_attr (attribute, body, rem)
        REQUIRE(blob_id(attribute) < UBUS_ATTR_MAX);
    REQUIRE(rem == 0);
}

// The object that a client is told its own request has made.
void note_object(const Participant &participant, const ubus_msghdr &header, blob_attr *body)
{
    static const blob_attr_info info[UBUS_ATTR_OBJID + 1] = {{}, {}, {}, {.type = BLOB_ATTR_INT32}};
    blob_attr *table[UBUS_ATTR_OBJID + 1];
    blob_parse(body, table, info, UBUS_ATTR_OBJID + 1);
    auto request = sent_messages.find(be16_to_cpu(header.seq));
    if (request != sent_messages.end() && request->second.type == UBUS_MSG_ADD_OBJECT && table[UBUS_ATTR_OBJID])
        owners[blob_get_u32(table[UBUS_ATTR_OBJID])] = &participant;
}

// An object's answers come from its owner, whoever else tries.
void check_answer(const ubus_msghdr &header)
{
    uint32_t object = be32_to_cpu(header.peer);
    if (!only_messages || object < UBUS_SYSTEM_OBJECT_MAX)
        return;
    auto answer = sent_messages.find(be16_to_cpu(header.seq));
    if (answer == sent_messages.end() || answer->second.type != header.type)
        return; // the broker's own
    auto owner = owners.find(object);
    REQUIRE(owner == owners.end() || owner->second == answer->second.by); // who does not read is not known as one
}

void check_message(Participant &participant, std::span<const uint8_t> bytes)
{
    ubus_msghdr header;
    memcpy(&header, bytes.data(), sizeof(header));
    REQUIRE(header.version == 0 && header.type <= UBUS_MSG_MONITOR);
    REQUIRE((header.type == UBUS_MSG_HELLO) == !participant.greeted);
    REQUIRE(participant.greeted || be32_to_cpu(header.peer) == participant.id);
    participant.greeted = true;
    ExactCopy body(bytes.subspan(sizeof(header)));
    if (header.type != UBUS_MSG_DATA && header.type != UBUS_MSG_STATUS)
        check_body(reinterpret_cast<blob_attr *>(body.data()));
    if (header.type == UBUS_MSG_STATUS)
        check_status(participant, header);
    if (header.type == UBUS_MSG_DATA)
        note_object(participant, header, reinterpret_cast<blob_attr *>(body.data()));
    if (header.type == UBUS_MSG_STATUS || header.type == UBUS_MSG_DATA)
        check_answer(header);
}

void check_messages(Participant &participant)
{
    for (;;) {
        size_t length = message_length(participant.arrived);
        REQUIRE(length != kMalformed);
        if (length == 0 || length > participant.arrived.size())
            return;
        check_message(participant, std::span(participant.arrived).first(length));
        participant.arrived.erase(0, length);
    }
}

// --- Time goes on ---

void leave(Participant &participant)
{
    if (participant.fd >= 0)
        close(participant.fd);
    participant = {};
}

// Whether anything happened.
bool read_arrived(Participant &participant)
{
    uint8_t buffer[65536];
    ssize_t got;
    bool any = false;
    while ((got = recv(participant.fd, buffer, sizeof(buffer), MSG_DONTWAIT)) > 0) {
        participant.arrived.append(buffer, static_cast<size_t>(got));
        any = true;
    }
    check_messages(participant);
    return any;
}

void take_turns()
{
    int turns = 0;
    while (clients_turn())
        REQUIRE(++turns < kMostTurns);
}

// Bounds of what is kept for a client, and of what it sent.
void check_kept(const Participant &participant)
{
    const Client *client = participant.fd >= 0 ? client_of(participant) : nullptr;
    REQUIRE(!client || (client->output.size() <= kMostOutput && client->input.size <= kMostInput));
}

// Until everybody waits for somebody else.
void settle()
{
    bool going_on = true;
    while (going_on) {
        take_turns();
        going_on = false;
        for (Participant &participant : participants) {
            if (participant.fd < 0 || !participant.reads || !read_arrived(participant))
                continue;
            Client *client = client_of(participant);
            if (client && participant.output_awaited) {
                client_notice(*client, EPOLLOUT);
                going_on = true;
            }
        }
    }
    for (Participant &participant : participants) {
        REQUIRE(participant.fd < 0 || !participant.orderly || client_of(participant));
        check_kept(participant);
    }
}

void notice(const Participant &participant, uint32_t events)
{
    if (Client *client = client_of(participant))
        client_notice(*client, events);
    settle();
}

void come(Participant &participant)
{
    int sockets[2];
    REQUIRE(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, sockets) == 0);
    REQUIRE(setsockopt(sockets[1], SOL_SOCKET, SO_SNDBUF, &kSmallBuffer, sizeof(kSmallBuffer)) == 0);
    participant.fd = sockets[0];
    coming = &participant;
    uint32_t before = last_id;
    client_open(sockets[1]);
    coming = nullptr;
    participant.id = before + 1;
    REQUIRE(client_of(participant));
    settle();
    REQUIRE(participant.greeted);
}

void send_some(Participant &participant, size_t length)
{
    length = std::min(length, participant.to_send.size());
    ssize_t sent = send(participant.fd, participant.to_send.data(), length, MSG_NOSIGNAL);
    if (sent >= 0 || errno != EAGAIN) // the broker reads nothing of who is far behind
        participant.to_send.erase(0, sent < 0 ? participant.to_send.size() : static_cast<size_t>(sent));
    notice(participant, EPOLLIN);
}

// --- What clients send ---

bool has_status(uint8_t type)
{
    return type != UBUS_MSG_STATUS && type != UBUS_MSG_DATA && type != UBUS_MSG_INVOKE && type != UBUS_MSG_NOTIFY;
}

void queue_message(Participant &participant, uint8_t type, uint32_t peer, const BusMessage &body)
{
    last_seq++;
    sent_messages[last_seq] = {type, &participant};
    if (has_status(type) && peer == 0)
        participant.statuses[last_seq] = 0;
    participant.to_send += frame(type, last_seq, peer, body);
}

void send_message(Participant &participant, FuzzInput &input)
{
    uint8_t type = input.u8() % (UBUS_MSG_MONITOR + 2);
    uint32_t peer = take_id(input);
    queue_message(participant, type, peer, BusMessage(input));
    uint8_t length = input.u8();
    send_some(participant, length == 255 ? SIZE_MAX : length);
}

void send_bytes(Participant &participant, FuzzInput &input)
{
    std::span<const uint8_t> bytes = input.bytes(input.u16());
    participant.orderly = only_messages = false;
    participant.to_send.append(bytes.begin(), bytes.end());
    send_some(participant, SIZE_MAX);
}

void step(FuzzInput &input)
{
    uint8_t action = input.u8();
    Participant &participant = participants[action % 4];
    if (participant.fd < 0)
        come(participant);
    switch (action / 4 % 8) {
    case 3:
        return send_bytes(participant, input);
    case 4:
        participant.reads = !participant.reads;
        return settle();
    case 5:
        participant.orderly = false;
        shutdown(participant.fd, SHUT_WR);
        return notice(participant, EPOLLIN | EPOLLRDHUP);
    case 6: {
        Participant gone = {};
        gone.id = participant.id;
        leave(participant);
        notice(gone, EPOLLIN | EPOLLRDHUP | EPOLLHUP);
        return REQUIRE(!client_of(gone));
    }
    case 7:
        return send_some(participant, SIZE_MAX);
    default:
        return send_message(participant, input);
    }
}

// --- In the end ---

// Who kept to the rules is still served, whatever the others did, and has got an answer to everything.
void require_answers(Participant &participant)
{
    if (participant.fd < 0 || !participant.orderly)
        return;
    queue_message(participant, UBUS_MSG_PING, 0, BusMessage());
    while (!participant.to_send.empty())
        send_some(participant, SIZE_MAX);
    for (const auto &[seq, count] : participant.statuses)
        REQUIRE(count == 1);
}

// Messages that a client did not read for a while are there still.
void end()
{
    for (Participant &participant : participants)
        participant.reads = true;
    settle();
    for (Participant &participant : participants)
        require_answers(participant);
    for (Participant &participant : participants) {
        Participant gone = {};
        gone.id = participant.id;
        leave(participant);
        notice(gone, EPOLLIN | EPOLLRDHUP | EPOLLHUP);
        REQUIRE(!client_of(gone));
    }
    REQUIRE(!object_first_from(""));
    for (uint32_t id = UBUS_SYSTEM_OBJECT_MAX; id <= last_id; id++)
        REQUIRE(!client_find(id) && !object_find(id) && !type_find(id));
}

} // namespace

// --- In place of the broker's loop, ids and names ---

int watch_add(int, Client *)
{
    return 0;
}

void watch_output(int, Client *client, bool wanted)
{
    if (Participant *participant = of_descriptor(client))
        participant->output_awaited = wanted;
}

void watch_remove(int) {}

static int compare_ids(const void *left, const void *right, void *)
{
    uint32_t a = *static_cast<const uint32_t *>(left), b = *static_cast<const uint32_t *>(right);
    return (a > b) - (a < b);
}

void ids_init(avl_tree &tree, bool allows_equal)
{
    avl_init(&tree, compare_ids, allows_equal, nullptr);
}

int ids_add(avl_tree &tree, Id &id)
{
    ids_file(tree, id, ++last_id);
    return 0;
}

void ids_file(avl_tree &tree, Id &id, uint32_t value)
{
    id.value = value;
    id.node.key = &id.value;
    REQUIRE(avl_insert(&tree, &id.node) == 0);
}

Id *ids_find(const avl_tree &tree, uint32_t value)
{
    avl_node *node = avl_find(&tree, &value);
    return node ? container_of(node, Id, node) : nullptr;
}

void closer_close(int fd)
{
    close(fd);
}

size_t closer_waiting()
{
    return 0;
}

int name_of_user(uint32_t, char *&name)
{
    name = strdup("user");
    return 0;
}

int name_of_group(uint32_t, char *&name)
{
    name = strdup("group");
    return 0;
}

int id_of_user(const char *, uint32_t &id)
{
    id = 0;
    return 0;
}

int id_of_group(const char *, uint32_t &id)
{
    id = 0;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (!initialised) {
        handlers_init();
        access_open();
        initialised = true;
    }
    last_id = UBUS_SYSTEM_OBJECT_MAX - 1;
    last_seq = 0;
    only_messages = true;
    sent_messages.clear();
    owners.clear();
    FuzzInput input(data, size);
    for (size_t i = 0; i < kMostSteps && !input.empty(); i++)
        step(input);
    end();
    return 0;
}
