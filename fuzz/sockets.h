// Stream sockets in memory, in place of the kernel's: no system call, and nobody waits. Code that is linked with this
// finds them behind the plain calls (socket, connect, recv, recvmsg, send, sendmsg, poll, shutdown, close, epoll_wait,
// ...), with the errors, ends and hang-ups that sockets of AF_UNIX have. Timers of the kernel never fire. All other
// descriptors are the kernel's own. The monotonic clock stands still but for what is done with it here.
#pragma once

#include <cstddef>
#include <cstdint>

// A step before a call. Where the result is an error number, the call fails with that. Null stands for nothing.
// A wait, for input by poll or by a receive, takes so many milliseconds at most (-1 for ever); ETIMEDOUT is its end.
struct SocketHooks {
    int (*connects)(int fd);
    int (*waits)(int fd, int limit);
    int (*sends)(int fd, size_t &limit);
    void (*sent)(int fd);
};

extern SocketHooks socket_hooks;

extern int64_t socket_clock; // ms

// An end that is connected to that of `fd`, and that no hook sees.
int socket_join(int fd);

// How many descriptors are open.
size_t sockets_open();
