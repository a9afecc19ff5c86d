#include "loop.h"

#include <cerrno>
#include <ctime>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "client.h"

namespace
{

constexpr int kEventsPerTurn = 64;
constexpr int kAcceptsPerTurn = 32;
constexpr int kAcceptRetryMs = 1000;
constexpr int kPauseMs = 5; // of clients that have passed many descriptors

int epoll = -1;
int listening = -1;

// With no descriptor left for a connection, the listening socket would stay readable and the loop would spin. Until one
// is freed, here or (after a while) elsewhere in the system, connections wait in the socket's backlog.
bool accept_paused = false;
int64_t accept_again_at; // ms

int64_t now_ms()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

void set_accept_paused(bool paused)
{
    epoll_event event = {.events = paused ? 0u : EPOLLIN, .data = {.ptr = nullptr}};
    epoll_ctl(epoll, EPOLL_CTL_MOD, listening, &event);
    accept_paused = paused;
    accept_again_at = paused ? now_ms() + kAcceptRetryMs : 0;
}

bool out_of_resources()
{
    return errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == ENOBUFS;
}

void accept_clients()
{
    for (int count = 0; count < kAcceptsPerTurn; count++) {
        if (users_are_full()) {
            set_accept_paused(true);
            return;
        }
        int fd = accept4(listening, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd < 0) {
            if (out_of_resources())
                set_accept_paused(true);
            return;
        }
        client_open(fd);
    }
}

int time_to_wait(bool busy)
{
    if (busy)
        return 0;
    if (clients_pause())
        return kPauseMs;
    return accept_paused ? kAcceptRetryMs : -1;
}

void dispatch(const epoll_event &event)
{
    if (!event.data.ptr)
        accept_clients();
    else
        client_notice(*static_cast<Client *>(event.data.ptr), event.events);
}

} // namespace

int loop_open(int listener)
{
    listening = listener;
    epoll = epoll_create1(EPOLL_CLOEXEC);
    epoll_event event = {.events = EPOLLIN, .data = {.ptr = nullptr}};
    return epoll < 0 ? -1 : epoll_ctl(epoll, EPOLL_CTL_ADD, listening, &event);
}

int loop_add(int fd, Client *client)
{
    epoll_event event = {.events = EPOLLIN | EPOLLRDHUP | EPOLLET, .data = {.ptr = client}};
    return epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &event);
}

void loop_remove(int fd)
{
    epoll_ctl(epoll, EPOLL_CTL_DEL, fd, nullptr);
}

// Output is awaited only while some is stuck: otherwise every message the peer reads would wake the broker.
void loop_await_output(int fd, Client *client, bool wanted)
{
    epoll_event event = {.events = EPOLLIN | EPOLLRDHUP | EPOLLET | (wanted ? EPOLLOUT : 0u), .data = {.ptr = client}};
    epoll_ctl(epoll, EPOLL_CTL_MOD, fd, &event);
}

void loop_descriptor_freed()
{
    if (accept_paused)
        set_accept_paused(false);
}

int loop_run(const volatile sig_atomic_t &stop, const sigset_t &mask)
{
    epoll_event events[kEventsPerTurn];
    bool busy = false;
    while (!stop) {
        int count = epoll_pwait(epoll, events, kEventsPerTurn, time_to_wait(busy), &mask);
        if (count < 0 && errno != EINTR)
            return -1;
        for (int i = 0; i < count; i++)
            dispatch(events[i]);
        busy = clients_turn();
        if (accept_paused && now_ms() >= accept_again_at)
            set_accept_paused(false);
    }
    return 0;
}
