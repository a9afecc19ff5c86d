// The event loop. Not uloop: work here comes in turns over all clients, which need an end, and a next turn that does
// not wait while somebody has work left.
#pragma once

#include <csignal>

struct Client;

// Begins to wait for connections on `listener`. 0, or -1 with errno set.
int loop_open(int listener);

// Waits for input of a client, edge-triggered. 0, or -1 with errno set. Closing the descriptor ends it.
int loop_add(int fd, Client *client);

// Ends that for a descriptor that is closed later.
void loop_remove(int fd);

// Whether the client is also to be noticed when its socket takes output again.
void loop_await_output(int fd, Client *client, bool wanted);

// A connection was closed: another may be accepted in its place.
void loop_descriptor_freed();

// Runs until a signal handler has set `stop`; `mask` is the signal mask while waiting. The signals that set it are to
// be blocked at any other time. 0, or -1 with errno set.
int loop_run(const volatile sig_atomic_t &stop, const sigset_t &mask);
