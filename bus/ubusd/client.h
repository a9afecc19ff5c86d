// Clients: their life, what they send and what they are sent.
//
// The layers above hand down as hooks what they do with a client. Work is done in turns. In each turn clients with
// something to do are served, each with a bounded amount of work, and what the turn had to say to a client leaves in
// one system call at its end. A client that ends is only marked; it is released at the end of the turn, so that nothing
// within a turn can pull it away from under a caller.
#pragma once

#include "access_lists.h"
#include "bytes.h"
#include "holdings.h"
#include "ids.h"
#include "message.h"
#include "shares.h"
#include "users.h"

struct Listing;

struct Client {
    Id id;
    int fd;
    Input input;
    Output output;
    Shares shares;    // of the output
    Listing *listing; // a request that is answered in pieces, or null
    Holdings holdings;
    list_head objects; // Object::in_client
    list_head busy;    // in one of the lists of clients that are to be served, or in that of those to be released
    list_head unsent;  // in the list of clients with output of this turn
    list_head keeping; // in the list of clients with input that is kept, by when something last came
    list_head passing; // descriptors in the output, in its order
    uint64_t taken;    // bytes of the output that the peer took so far
    User *account;     // whose connection it is
    gid_t group_id;
    ListSet lists;  // of access that hold for it
    int descriptor; // passed along with the last message that begins in the input, or -1
    char *user;     // null where not known, or not wanted yet
    char *group;
    bool identified; // `user` and `group` are as good as they get
    bool readable;   // the socket may hold more
    bool pending;    // whole messages are kept for another turn
    bool passes;     // has passed descriptors along
    bool hung_up;    // it will get nothing new
    bool finished;   // everything is received
    bool blocked;    // the socket takes no more output until it reports so
    bool deaf;       // the peer reads no more
    bool ended;
};

struct ClientHooks {
    // Whether a new client, not greeted yet, may stay.
    bool (*admits)(Client &client);
    // One whole message of the client; `descriptor`, which stays the caller's, came with it where it is not -1.
    void (*handle)(Client &client, std::span<uint8_t> bytes, int descriptor);
    // The client's listing goes on, as far as there is room.
    void (*resume)(Client &client);
    // Takes away what an ended client had, a slice of work at most; whether all is gone.
    bool (*release)(Client &client);
};

extern ClientHooks client_hooks;

void clients_init(const ClientHooks &hooks);

// Takes over the connection `fd` and greets the peer. On failure the connection is closed.
void client_open(int fd);

// The client of this id, or null.
Client *client_find(uint32_t id);

// Takes what the socket reported (EPOLL*).
void client_notice(Client &client, uint32_t events);

// From now on nothing of the client is handled; it is released with everything that is its own, after this turn.
void client_end(Client &client);

// The client's user and group become known, where they can be.
void client_identify(Client &client);

// One turn: serves clients with something to do, sends, releases. The result tells whether there is work left, so that
// the next turn must not wait for events.
bool clients_turn();

// Whether clients wait for descriptors to be closed, of which no event tells.
bool clients_pause();

// client_input.cpp

// Handles what is kept, or receives once and handles what is whole, a slice of work at most.
void client_serve(Client &client);

void client_forget_input(Client &client);

// client_output.cpp
//
// Messages are sent at the end of the turn, or queued. A message is lost, with the result -1, where memory is out or
// where it would pass a bound of the queue; with bytes of it on their way it never is.

// Sends what `sender` (0: the broker) has to tell a client unasked. While the peer does not read, a sender may fill as
// much of the queue as is left for others. A message that meets an empty queue is taken whatever its length.
int client_send(Client &client, const Message &message, uint32_t sender);

// Sends `sender`'s answer to a request of the client. Answers have a reserve of the queue.
// It goes without its descriptor where too many of them wait.
int client_pass_answer(Client &client, Message &message, uint32_t sender);

// The broker's own answer to a request of the client. While the reserve is in use no request of the client is handled,
// so that there is always room for the next answer.
int client_answer(Client &client, const Message &message);

// Who is to know of every message before it is sent, or lost; null for nobody.
void clients_observe(void (*observe)(const Client &client, const Message &message));

// Whether the reserve is in use.
bool client_is_behind(const Client &client);

// Whether a listing may send a message of this length now: not while the peer is behind with reading, and only so much
// in one turn.
bool client_has_room(const Client &client, size_t length);

// Sends what is queued as far as the socket takes it.
void client_flush(Client &client);

// Flushes every client with output of this turn.
void clients_flush();

void client_forget_output(Client &client);
