// Reports of the sockets: input and hang-ups of clients (edge-triggered), output where it is awaited, connections.
#pragma once

#include <csignal>
#include <span>
#include <sys/epoll.h>

struct Client;

// Begins to wait for connections on `listener`. 0, or -1 with errno set.
int watch_open(int listener);

// Waits for input of a client. 0, or -1 with errno set. Closing the descriptor ends it.
int watch_add(int fd, Client *client);

// Ends that for a descriptor that is closed later.
void watch_remove(int fd);

// Whether the client is also to be noticed when its socket takes output again.
void watch_output(int fd, Client *client, bool wanted);

// Whether connections are waited for.
void watch_connections(bool wanted);

// Waits until something is reported, or a signal that `mask` lets through came: `data.ptr` is the client, null for a
// connection. As epoll_pwait().
int watch_wait(std::span<epoll_event> events, int milliseconds, const sigset_t &mask);
