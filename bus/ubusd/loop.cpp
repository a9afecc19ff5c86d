#include "loop.h"

#include <cerrno>
#include <ctime>
#include <sys/socket.h>

#include "client.h"
#include "watch.h"

namespace
{

constexpr int kEventsPerTurn = 64;
constexpr int kAcceptsPerTurn = 32;
constexpr int kAcceptRetryMs = 1000;
constexpr int kPauseMs = 5; // of clients that have passed many descriptors

// With no descriptor left for a connection, the listening socket would stay readable and the loop would spin. Until one
// is freed, here or (after a while) elsewhere in the system, connections wait in the socket's backlog.
bool accept_paused = false;
int64_t accept_again_at; // ms
unsigned connections_at_pause;

int64_t now_ms()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

void set_accept_paused(bool paused)
{
    watch_connections(!paused);
    accept_paused = paused;
    accept_again_at = paused ? now_ms() + kAcceptRetryMs : 0;
    connections_at_pause = users_connections();
}

bool out_of_resources()
{
    return errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == ENOBUFS;
}

void accept_clients(int listener)
{
    for (int count = 0; count < kAcceptsPerTurn; count++) {
        if (users_are_full()) {
            set_accept_paused(true);
            return;
        }
        int fd = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd < 0) {
            if (out_of_resources())
                set_accept_paused(true);
            return;
        }
        client_open(fd);
    }
}

// A connection that was closed makes room for another.
bool may_accept_again()
{
    return users_connections() < connections_at_pause || now_ms() >= accept_again_at;
}

int time_to_wait(bool busy)
{
    if (busy)
        return 0;
    if (clients_pause())
        return kPauseMs;
    return accept_paused ? kAcceptRetryMs : -1;
}

} // namespace

int loop_run(int listener, const volatile sig_atomic_t &interrupted, const sigset_t &mask)
{
    epoll_event events[kEventsPerTurn];
    bool busy = true; // clients may have work left from an earlier run
    while (!interrupted) {
        int count = watch_wait(events, time_to_wait(busy), mask);
        if (count < 0 && errno != EINTR)
            return -1;
        for (int i = 0; i < count; i++)
            if (!events[i].data.ptr)
                accept_clients(listener);
            else
                client_notice(*static_cast<Client *>(events[i].data.ptr), events[i].events);
        busy = clients_turn();
        if (accept_paused && may_accept_again())
            set_accept_paused(false);
    }
    return 0;
}
