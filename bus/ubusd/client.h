// Clients: their life, what they send and what they are sent.
//
// Work is done in turns. In each turn every client with something to do is served once, with a bounded amount of work,
// and what the turn had to say to a client leaves in one system call at its end. A client that ends is only marked; it
// is released at the end of the turn, so that nothing within a turn can pull it away from under a caller.
#ifndef UBUSD_CLIENT_H
#define UBUSD_CLIENT_H

#include "bytes.h"
#include "ids.h"
#include "lookup.h"
#include "message.h"

struct Client {
    Id id;
    int fd;
    Input input;
    Output output;
    Listing listing;
    list_head objects; // Object::in_client
    list_head busy;    // in the list of clients with something to do, or in that of those to be released
    list_head unsent;  // in the list of clients with output of this turn
    char *user;        // null where not known, or not wanted yet
    char *group;
    bool identified; // `user` and `group` are as good as they get
    bool readable;   // the socket may hold more
    bool hung_up;    // it will get nothing new
    bool finished;   // everything is received
    bool blocked;    // the socket takes no more output until it reports so
    bool deaf;       // the peer reads no more
    bool ended;
};

void clients_init();

// Takes over the connection `fd` and greets the peer. On failure the connection is closed.
void client_open(int fd);

// The client of this id, or null.
Client *client_find(uint32_t id);

// What the socket reported (EPOLL*).
void client_notice(Client &client, uint32_t events);

// From now on nothing of the client is handled; the end of the turn releases it with everything that is its own.
void client_end(Client &client);

// The client's user and group become known, where they can be.
void client_identify(Client &client);

// One turn for all clients: serves the busy ones, sends, releases. The result tells whether some have work left, so
// that the next turn must not wait for events.
bool clients_turn();

// client_input.cpp

// Receives once and handles what is whole.
void client_serve(Client &client);

// client_output.cpp

// Sends at the end of the turn, or queues. The message is lost, with the result -1, where memory is out or more than 1
// MiB would be waiting; a message that meets an empty queue is always taken.
int client_send(Client &client, const Message &message);

// Whether a listing may send a message of this length now: not while the peer is behind with reading, and only so much
// in one turn.
bool client_has_room(const Client &client, size_t length);

// Sends what is queued as far as the socket takes it.
void client_flush(Client &client);

// Flushes every client with output of this turn.
void clients_flush();

#endif
