/*
 * The event loop: descriptors and timers of one thread. Only uloop_end may be called from elsewhere, be it another
 * thread or a signal handler.
 */
#ifndef LIBUBOX_ULOOP_H
#define LIBUBOX_ULOOP_H

#include <stdbool.h>
#include <stdint.h>
#include <sys/time.h>

#include "list.h"

struct uloop_fd;
struct uloop_timeout;

/* `events`: ULOOP_READ and ULOOP_WRITE as they are possible; none where there is only an error to learn of. */
typedef void (*uloop_fd_handler)(struct uloop_fd *u, unsigned int events);
typedef void (*uloop_timeout_handler)(struct uloop_timeout *t);

#define ULOOP_READ (1 << 0)
#define ULOOP_WRITE (1 << 1)
#define ULOOP_EDGE_TRIGGER (1 << 2)
#define ULOOP_BLOCKING (1 << 3) /* the descriptor is not made non-blocking */
#define ULOOP_EVENT_MASK (ULOOP_READ | ULOOP_WRITE)

struct uloop_fd {
    uloop_fd_handler cb;
    int fd;
    bool eof;   /* the peer will send no more */
    bool error; /* an error or a full hang-up; the descriptor was taken out of the loop before the callback */
    bool registered;
    uint8_t flags;
};

struct uloop_timeout {
    struct list_head list;
    bool pending;
    uloop_timeout_handler cb;
    struct timeval time; /* of the monotonic clock */
};

/* The loop is to end, or has been ended. */
extern bool uloop_cancelled;

/*
 * 0 or -1; may be called again and then does nothing. SIGINT and SIGTERM end the loop from here on, SIGCHLD interrupts
 * its wait (children are the program's to reap) and SIGPIPE is ignored, each only where it has its default disposition.
 */
int uloop_init(void);
/* Takes back what uloop_init did, and disarms all timers. Descriptors that are still in the loop are not closed. */
void uloop_done(void);

/*
 * Runs what is due until uloop_end or a signal ends it; the result is that signal's number, or 0. An uloop_end from
 * before is lost. A `timeout` of 0 and above makes it one turn only: due timers, then a wait of at most that many
 * milliseconds, then the callbacks of the descriptors found ready.
 */
int uloop_run_timeout(int timeout);

static inline int uloop_run(void)
{
    return uloop_run_timeout(-1);
}

void uloop_end(void);
/* Whether a running loop is about to end. */
bool uloop_cancelling(void);

/*
 * 0 or -1. Adds the descriptor, or changes the flags it is in the loop with; without ULOOP_READ and ULOOP_WRITE it is
 * taken out. `fd` and `cb` are set before; `u` must stay where it is until it is taken out, before `fd` is closed.
 */
int uloop_fd_add(struct uloop_fd *u, unsigned int flags);
/* 0 or -1. From any callback, for any descriptor: its callback does not run again. */
int uloop_fd_delete(struct uloop_fd *u);

/* 0 or -1. Timers are one-shot; a callback may arm its own again. _add takes `time` as it is and refuses a pending
 * timer; _set arms, or arms anew, for `msecs` from now; _cancel refuses one that is not pending. */
int uloop_timeout_add(struct uloop_timeout *t);
int uloop_timeout_set(struct uloop_timeout *t, int msecs);
int uloop_timeout_cancel(struct uloop_timeout *t);
/* Milliseconds left, rounded up; 0 when due, -1 when not pending. */
int64_t uloop_timeout_remaining64(struct uloop_timeout *t);

#endif
