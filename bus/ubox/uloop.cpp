extern "C" {
#include <libubox/uloop.h>
#include <libubox/utils.h>
}

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

bool uloop_cancelled;

namespace
{

void end_by_signal(int number);
void interrupt_wait(int) {}

struct SignalRule {
    int number;
    void (*handler)(int);
    int flags;
    bool installed;
    struct sigaction before;
};

// A child's end disturbs nobody but the loop's wait, which no flag would restart.
SignalRule signal_rules[] = {
    {.number = SIGINT, .handler = end_by_signal},
    {.number = SIGTERM, .handler = end_by_signal},
    {.number = SIGCHLD, .handler = interrupt_wait, .flags = SA_RESTART | SA_NOCLDSTOP},
    {.number = SIGPIPE, .handler = SIG_IGN},
};

int epoll_fd = -1;
int timer_fd = -1; // armed for the earliest timeout: a wait without a time limit of its own is cheaper
int64_t timer_due; // what it is armed for, 0 where it was not yet
int wake_fd = -1;  // an eventfd: ends the wait, also one that uloop_end comes just before
int run_depth;
std::atomic<bool> waiting; // a wait is about to begin or under way
std::atomic<int> ending_signal;
LIST_HEAD(timeouts); // the earliest first

// What one wait has found. It outlives a run that ends in the middle of it, since edges are reported only once.
epoll_event fetched[16];
int fetched_next;
int fetched_count;

// -- Signals

void end_by_signal(int number)
{
    ending_signal = number;
    uloop_end();
}

void install(SignalRule &rule)
{
    struct sigaction action = {};
    if (sigaction(rule.number, nullptr, &rule.before) < 0 || rule.before.sa_handler != SIG_DFL) {
        return;
    }
    action.sa_handler = rule.handler;
    action.sa_flags = rule.flags;
    sigemptyset(&action.sa_mask);
    rule.installed = sigaction(rule.number, &action, nullptr) == 0;
}

// A handler that the program has put in place of ours meanwhile stays.
void restore(SignalRule &rule)
{
    struct sigaction current;
    if (rule.installed && sigaction(rule.number, nullptr, &current) == 0 && current.sa_handler == rule.handler) {
        sigaction(rule.number, &rule.before, nullptr);
    }
    rule.installed = false;
}

// -- Timers

constexpr int64_t kMicrosecondsPerSecond = 1000000;
constexpr int64_t kMicrosecondsPerMillisecond = 1000;
constexpr int64_t kNanosecondsPerMicrosecond = 1000;

int64_t microseconds(const timeval &time)
{
    return time.tv_sec * kMicrosecondsPerSecond + time.tv_usec;
}

int64_t now()
{
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * kMicrosecondsPerSecond + time.tv_nsec / 1000;
}

uloop_timeout *first_timeout()
{
    return list_empty(&timeouts) ? nullptr : list_first_entry(&timeouts, uloop_timeout, list);
}

bool is_cancelled()
{
    return std::atomic_ref(uloop_cancelled).load();
}

bool is_running()
{
    return 0 <= epoll_fd && !is_cancelled();
}

// The clock is read once, so that a timer that always arms itself for at once cannot keep the descriptors waiting.
void run_due_timeouts()
{
    uloop_timeout *timeout = first_timeout();
    if (!timeout) {
        return;
    }
    for (int64_t due = now(); timeout && microseconds(timeout->time) <= due && is_running();
         timeout = first_timeout()) {
        uloop_timeout_cancel(timeout);
        if (timeout->cb) {
            timeout->cb(timeout);
        }
    }
}

// Has the wait end when the earliest timeout is due. Most turns find the timer armed for it already.
void arm_timer()
{
    uloop_timeout *timeout = first_timeout();
    int64_t due = timeout ? std::max<int64_t>(microseconds(timeout->time), 1) : timer_due; // 0 would disarm it
    if (due == timer_due) {
        return;
    }
    itimerspec spec = {};
    spec.it_value.tv_sec = due / kMicrosecondsPerSecond;
    spec.it_value.tv_nsec = due % kMicrosecondsPerSecond * kNanosecondsPerMicrosecond;
    timer_due = timerfd_settime(timer_fd, TFD_TIMER_ABSTIME, &spec, nullptr) == 0 ? due : 0;
}

// -- Descriptors

uint32_t epoll_events(unsigned flags)
{
    return ((flags & ULOOP_READ) ? EPOLLIN | EPOLLRDHUP : 0u) | ((flags & ULOOP_WRITE) ? EPOLLOUT : 0u) |
           ((flags & ULOOP_EDGE_TRIGGER) ? EPOLLET : 0u);
}

bool set_nonblocking(int fd)
{
    int flags = fcntl(fd, F_GETFL);
    return 0 <= flags && ((flags & O_NONBLOCK) != 0 || fcntl(fd, F_SETFL, flags | O_NONBLOCK) == 0);
}

void dispatch(uloop_fd *u, uint32_t ready)
{
    unsigned events = ((ready & EPOLLIN) ? ULOOP_READ : 0u) | ((ready & EPOLLOUT) ? ULOOP_WRITE : 0u);
    events &= u->flags; // which may have changed since the wait
    if (ready & (EPOLLRDHUP | EPOLLHUP)) {
        u->eof = true;
    }
    if (ready & (EPOLLERR | EPOLLHUP)) {
        u->error = true;
        uloop_fd_delete(u);
    }
    if (u->cb && (events || u->eof || u->error)) {
        u->cb(u, events);
    }
}

// `waiting` is set before the last look at uloop_cancelled, and uloop_end sets that before it looks at `waiting`: one
// of the two sees the other, in whatever thread or signal handler uloop_end is called.
int wait_for_events(int limit)
{
    waiting = true;
    int count = is_running() ? epoll_wait(epoll_fd, fetched, ARRAY_SIZE(fetched), limit) : 0;
    waiting = false;
    return std::max(0, count); // below 0: a signal, whose handler may have ended the loop
}

void run_ready_descriptors(int limit)
{
    if (fetched_next == fetched_count) {
        fetched_next = fetched_count = 0;
        fetched_count = wait_for_events(limit);
    }
    while (fetched_next < fetched_count && is_running()) {
        epoll_event event = fetched[fetched_next++];
        if (event.data.ptr) {
            dispatch(static_cast<uloop_fd *>(event.data.ptr), event.events);
        }
    }
}

void forget_fetched(const uloop_fd *u)
{
    for (int i = fetched_next; i < fetched_count; i++) {
        if (fetched[i].data.ptr == u) {
            fetched[i].data.ptr = nullptr;
        }
    }
}

// Edge-triggered, its counter never has to be read back.
bool add_waker(int fd)
{
    epoll_event event = {.events = EPOLLIN | EPOLLET, .data = {.ptr = nullptr}};
    return 0 <= fd && epoll_ctl(epoll_fd, EPOLL_CTL_ADD, fd, &event) == 0;
}

void close_descriptors()
{
    for (int *fd : {&epoll_fd, &timer_fd, &wake_fd}) {
        if (0 <= *fd) {
            close(*fd);
        }
        *fd = -1;
    }
    fetched_next = fetched_count = 0;
}

} // namespace

int uloop_init()
{
    if (0 <= epoll_fd) {
        return 0;
    }
    epoll_fd = epoll_create1(EPOLL_CLOEXEC);
    timer_fd = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
    timer_due = 0;
    wake_fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (epoll_fd < 0 || !add_waker(timer_fd) || !add_waker(wake_fd)) {
        close_descriptors();
        return -1;
    }
    for (SignalRule &rule : signal_rules) {
        install(rule);
    }
    return 0;
}

void uloop_done()
{
    for (SignalRule &rule : signal_rules) {
        restore(rule);
    }
    while (uloop_timeout *timeout = first_timeout()) {
        uloop_timeout_cancel(timeout);
    }
    close_descriptors();
}

int uloop_run_timeout(int timeout)
{
    run_depth++;
    ending_signal = 0;
    std::atomic_ref(uloop_cancelled).store(false);
    do {
        run_due_timeouts();
        if (is_running()) {
            arm_timer();
            run_ready_descriptors(timeout);
        }
    } while (is_running() && timeout < 0);
    run_depth--;
    return ending_signal;
}

void uloop_end()
{
    int saved_errno = errno;
    uint64_t one = 1;
    std::atomic_ref(uloop_cancelled).store(true);
    if (waiting && write(wake_fd, &one, sizeof(one)) < 0) {
        // Full only where 2^64 ends came before it: the wait is over anyway.
    }
    errno = saved_errno;
}

bool uloop_cancelling()
{
    return run_depth > 0 && is_cancelled();
}

int uloop_fd_add(uloop_fd *u, unsigned flags)
{
    if (!(flags & ULOOP_EVENT_MASK)) {
        return uloop_fd_delete(u);
    }
    bool was_blocking = !u->registered || (u->flags & ULOOP_BLOCKING);
    if (was_blocking && !(flags & ULOOP_BLOCKING) && !set_nonblocking(u->fd)) {
        return -1;
    }
    epoll_event event = {.events = epoll_events(flags), .data = {.ptr = u}};
    int result = epoll_ctl(epoll_fd, u->registered ? EPOLL_CTL_MOD : EPOLL_CTL_ADD, u->fd, &event);
    // Still marked as registered, but with a loop that has been done away with, or closed meanwhile.
    if (result < 0 && u->registered && errno == ENOENT) {
        result = epoll_ctl(epoll_fd, EPOLL_CTL_ADD, u->fd, &event);
    }
    if (result < 0) {
        return -1;
    }
    u->flags = static_cast<uint8_t>(flags);
    u->registered = true;
    u->eof = u->error = false;
    return 0;
}

int uloop_fd_delete(uloop_fd *u)
{
    if (!u->registered) {
        return 0;
    }
    u->registered = false;
    forget_fetched(u);
    return epoll_ctl(epoll_fd, EPOLL_CTL_DEL, u->fd, nullptr);
}

int uloop_timeout_add(uloop_timeout *t)
{
    if (t->pending) {
        return -1;
    }
    // From the end: most timers are armed for later than the others, and of two for the same time the first runs first.
    list_head *before = timeouts.prev;
    while (before != &timeouts && microseconds(t->time) < microseconds(list_entry(before, uloop_timeout, list)->time)) {
        before = before->prev;
    }
    list_add(&t->list, before);
    t->pending = true;
    return 0;
}

int uloop_timeout_set(uloop_timeout *t, int msecs)
{
    if (t->pending) {
        uloop_timeout_cancel(t);
    }
    int64_t time = now() + std::max(0, msecs) * kMicrosecondsPerMillisecond;
    t->time.tv_sec = time / kMicrosecondsPerSecond;
    t->time.tv_usec = time % kMicrosecondsPerSecond;
    return uloop_timeout_add(t);
}

int uloop_timeout_cancel(uloop_timeout *t)
{
    if (!t->pending) {
        return -1;
    }
    list_del(&t->list);
    t->pending = false;
    return 0;
}

int64_t uloop_timeout_remaining64(uloop_timeout *t)
{
    if (!t->pending) {
        return -1;
    }
    int64_t left = std::max<int64_t>(0, microseconds(t->time) - now());
    // Up: a wait that ended a little too early would be followed by waits of no time until the timer is due.
    return (left + kMicrosecondsPerMillisecond - 1) / kMicrosecondsPerMillisecond;
}
