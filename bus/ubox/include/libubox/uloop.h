/*
 * The event loop: descriptors and timers of one thread. Only uloop_end may be called from elsewhere, be it another
 * thread or a signal handler.
 */
#ifndef LIBUBOX_ULOOP_H
#define LIBUBOX_ULOOP_H

#include <signal.h>
#include <stdbool.h>
#include <stdint.h>
#include <sys/time.h>
#include <sys/types.h>

#include "list.h"

struct uloop_fd;
struct uloop_timeout;
struct uloop_process;
struct uloop_interval;
struct uloop_signal;

/* `events`: ULOOP_READ and ULOOP_WRITE as they are possible; none where there is only an error to learn of. */
typedef void (*uloop_fd_handler)(struct uloop_fd *u, unsigned int events);
typedef void (*uloop_timeout_handler)(struct uloop_timeout *t);
/* `ret` is the child's status as of waitpid. */
typedef void (*uloop_process_handler)(struct uloop_process *c, int ret);
typedef void (*uloop_interval_handler)(struct uloop_interval *t);
typedef void (*uloop_signal_handler)(struct uloop_signal *s);

#define ULOOP_READ (1 << 0)
#define ULOOP_WRITE (1 << 1)
#define ULOOP_EDGE_TRIGGER (1 << 2)
#define ULOOP_BLOCKING (1 << 3) /* the descriptor is not made non-blocking */
#define ULOOP_EVENT_MASK (ULOOP_READ | ULOOP_WRITE)
#define ULOOP_ERROR_CB (1 << 6) /* stays in the loop on an error */

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

/* A child of the program's own. */
struct uloop_process {
    struct list_head list;
    bool pending;
    uloop_process_handler cb;
    pid_t pid;
};

/* A periodic timer with a descriptor of its own. `expirations` grows by the periods that have passed, also where the
 * callback runs once for several. */
struct uloop_interval {
    uloop_interval_handler cb;
    uint64_t expirations;
    union {
        struct uloop_fd ufd;
        struct {
            int64_t fired;
            unsigned int msecs;
        } time;
    } priv;
};

/* A signal that the loop runs a callback for, in the place of what it would do. */
struct uloop_signal {
    struct list_head list;
    struct sigaction orig;
    bool pending;
    uloop_signal_handler cb;
    int signo;
};

/* The loop is to end, or has been ended. */
extern bool uloop_cancelled;
/* False before uloop_init: SIGCHLD is left alone, and no process's end is noticed. */
extern bool uloop_handle_sigchld;
/* Told of each change of a descriptor's flags, 0 where it is deleted. */
extern uloop_fd_handler uloop_fd_set_cb;

/*
 * 0 or -1; may be called again and then does nothing. SIGINT and SIGTERM end the loop from here on, SIGCHLD interrupts
 * its wait (only children that were added are waited for) and SIGPIPE is ignored, each only where it has its default
 * disposition.
 */
int uloop_init(void);
/* Takes back what uloop_init did, and disarms all timers and forgets all processes. Descriptors that are still in the
 * loop are not closed. */
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
/* Milliseconds left, rounded down; below 0 when overdue, -1 when not pending. */
int64_t uloop_timeout_remaining64(struct uloop_timeout *t);
int uloop_timeout_remaining(struct uloop_timeout *t);
/* Milliseconds to the earliest timeout, 0 when it is overdue, -1 where there is none. */
int uloop_get_next_timeout(void);

/* 0 or -1: already, or not, pending. `pid` is set before; at the child's end it is out of the list and the callback
 * runs. Children that are not added are the program's to wait for. */
int uloop_process_add(struct uloop_process *p);
int uloop_process_delete(struct uloop_process *p);

/* 0 or -1. Setting it again changes it. _remaining: milliseconds, -1 when not set. */
int uloop_interval_set(struct uloop_interval *timer, unsigned int msecs);
int uloop_interval_cancel(struct uloop_interval *timer);
int64_t uloop_interval_remaining(struct uloop_interval *timer);

/* 0 or -1: already, or not, pending. The callback runs from the loop; deleting restores what was there before, which
 * uloop_done does not. */
int uloop_signal_add(struct uloop_signal *s);
int uloop_signal_delete(struct uloop_signal *s);

#endif
