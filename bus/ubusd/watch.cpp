#include "watch.h"

namespace
{

int epoll = -1;
int listening = -1;

} // namespace

int watch_open(int listener)
{
    listening = listener;
    epoll = epoll_create1(EPOLL_CLOEXEC);
    epoll_event event = {.events = EPOLLIN, .data = {.ptr = nullptr}};
    return epoll < 0 ? -1 : epoll_ctl(epoll, EPOLL_CTL_ADD, listening, &event);
}

int watch_add(int fd, Client *client)
{
    epoll_event event = {.events = EPOLLIN | EPOLLRDHUP | EPOLLET, .data = {.ptr = client}};
    return epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &event);
}

void watch_remove(int fd)
{
    epoll_ctl(epoll, EPOLL_CTL_DEL, fd, nullptr);
}

// Output is awaited only while some is stuck: otherwise every message the peer reads would wake the broker.
void watch_output(int fd, Client *client, bool wanted)
{
    epoll_event event = {.events = EPOLLIN | EPOLLRDHUP | EPOLLET | (wanted ? EPOLLOUT : 0u), .data = {.ptr = client}};
    epoll_ctl(epoll, EPOLL_CTL_MOD, fd, &event);
}

void watch_connections(bool wanted)
{
    epoll_event event = {.events = wanted ? EPOLLIN : 0u, .data = {.ptr = nullptr}};
    epoll_ctl(epoll, EPOLL_CTL_MOD, listening, &event);
}

int watch_wait(std::span<epoll_event> events, int milliseconds, const sigset_t &mask)
{
    return epoll_pwait(epoll, events.data(), static_cast<int>(events.size()), milliseconds, &mask);
}
