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
#include <sys/wait.h>
#include <unistd.h>

bool uloop_cancelled;
bool uloop_handle_sigchld = true;
uloop_fd_handler uloop_fd_set_cb;

namespace
{

void end_by_signal(int number);
void note_child(int);

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
    {.number = SIGCHLD, .handler = note_child, .flags = SA_RESTART | SA_NOCLDSTOP},
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
LIST_HEAD(processes);
LIST_HEAD(caught_signals);
std::atomic<bool> child_ended;
std::atomic<bool> signal_caught; // one of those below
std::atomic<bool> caught[NSIG];

// The findings of one wait. They outlive a run that ends in the middle of it, since edges are reported only once.
epoll_event fetched[16];
int fetched_next;
int fetched_count;

// -- Signals

// Ends a wait, in a handler too: whoever calls it has set what the loop looks at after `waiting`.
void wake()
{
    int saved_errno = errno;
    uint64_t one = 1;
    if (waiting && write(wake_fd, &one, sizeof(one)) < 0) {
        // Full only where 2^64 came before it: the wait is over anyway.
    }
    errno = saved_errno;
}

void note_child(int)
{
    child_ended = true;
    wake();
}

void note_signal(int number)
{
    caught[number] = signal_caught = true;
    wake();
}

void end_by_signal(int number)
{
    ending_signal = number;
    uloop_end();
}

void install(SignalRule &rule)
{
    struct sigaction action = {};
    if (rule.number == SIGCHLD && !uloop_handle_sigchld)
        return;
    if (sigaction(rule.number, nullptr, &rule.before) < 0 || rule.before.sa_handler != SIG_DFL)
        return;
    action.sa_handler = rule.handler;
    action.sa_flags = rule.flags;
    sigemptyset(&action.sa_mask);
    rule.installed = sigaction(rule.number, &action, nullptr) == 0;
}

// A handler that the program has put in place of ours meanwhile stays.
void restore(SignalRule &rule)
{
    struct sigaction current;
    if (rule.installed && sigaction(rule.number, nullptr, &current) == 0 && current.sa_handler == rule.handler)
        sigaction(rule.number, &rule.before, nullptr);
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
    if (!timeout)
        return;
    for (int64_t due = now(); timeout && microseconds(timeout->time) <= due && is_running();
         timeout = first_timeout()) {
        uloop_timeout_cancel(timeout);
        if (timeout->cb)
            timeout->cb(timeout);
    }
}

// Has the wait end when the earliest timeout is due; the time limit of a wait that may take `limit`. Most turns find
// the timer armed for it already, or the timeout due.
int arm_timer(int limit)
{
    uloop_timeout *timeout = first_timeout();
    int64_t due = timeout ? std::max<int64_t>(microseconds(timeout->time), 1) : timer_due; // 0 would disarm it
    if (due == timer_due)
        return limit;
    if (due <= now())
        return 0;
    itimerspec spec = {};
    spec.it_value.tv_sec = due / kMicrosecondsPerSecond;
    spec.it_value.tv_nsec = due % kMicrosecondsPerSecond * kNanosecondsPerMicrosecond;
    timer_due = timerfd_settime(timer_fd, TFD_TIMER_ABSTIME, &spec, nullptr) == 0 ? due : 0;
    return limit;
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
    if (ready & (EPOLLRDHUP | EPOLLHUP))
        u->eof = true;
    if (ready & (EPOLLERR | EPOLLHUP)) {
        u->error = true;
        if (!(u->flags & ULOOP_ERROR_CB))
            uloop_fd_delete(u);
    }
    if (u->cb && (events || u->eof || u->error))
        u->cb(u, events);
}

// `waiting` is set before the last look at uloop_cancelled and its kin, and uloop_end sets that before it looks at
// `waiting`: one of the two sees the other, in whatever thread or signal handler uloop_end is called.
int wait_for_events(int limit)
{
    waiting = true;
    const bool may_wait = is_running() && !child_ended && !signal_caught;
    int count = is_running() ? epoll_wait(epoll_fd, fetched, ARRAY_SIZE(fetched), may_wait ? limit : 0) : 0;
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
        if (event.data.ptr)
            dispatch(static_cast<uloop_fd *>(event.data.ptr), event.events);
    }
}

void forget_fetched(const uloop_fd *u)
{
    for (int i = fetched_next; i < fetched_count; i++)
        if (fetched[i].data.ptr == u)
            fetched[i].data.ptr = nullptr;
}

// Edge-triggered, its counter never has to be read back.
bool add_waker(int fd)
{
    epoll_event event = {.events = EPOLLIN | EPOLLET, .data = {.ptr = nullptr}};
    return 0 <= fd && epoll_ctl(epoll_fd, EPOLL_CTL_ADD, fd, &event) == 0;
}

// -- Children and caught signals. A callback may change the lists: each walk begins anew behind it.

bool run_one_ended_process()
{
    uloop_process *process;
    int status;

    list_for_each_entry (process, &processes, list) {
        if (waitpid(process->pid, &status, WNOHANG) != process->pid)
            continue;
        uloop_process_delete(process);
        if (process->cb)
            process->cb(process, status);
        return true;
    }
    return false;
}

bool run_one_caught_signal()
{
    uloop_signal *signal;

    list_for_each_entry (signal, &caught_signals, list) {
        if (!caught[signal->signo].exchange(false))
            continue;
        if (signal->cb)
            signal->cb(signal);
        return true;
    }
    return false;
}

void run_signalled()
{
    if (signal_caught.exchange(false))
        while (is_running() && run_one_caught_signal()) {
        }
    if (child_ended.exchange(false))
        while (is_running() && run_one_ended_process()) {
        }
}

void close_descriptors()
{
    for (int *fd : {&epoll_fd, &timer_fd, &wake_fd}) {
        if (0 <= *fd)
            close(*fd);
        *fd = -1;
    }
    fetched_next = fetched_count = 0;
}

} // namespace

int uloop_init()
{
    if (0 <= epoll_fd)
        return 0;
    epoll_fd = epoll_create1(EPOLL_CLOEXEC);
    timer_fd = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
    timer_due = 0;
    wake_fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (epoll_fd < 0 || !add_waker(timer_fd) || !add_waker(wake_fd)) {
        close_descriptors();
        return -1;
    }
    for (SignalRule &rule : signal_rules)
        install(rule);
    return 0;
}

void uloop_done()
{
    for (SignalRule &rule : signal_rules)
        restore(rule);
    while (uloop_timeout *timeout = first_timeout())
        uloop_timeout_cancel(timeout);
    while (!list_empty(&processes))
        uloop_process_delete(list_first_entry(&processes, uloop_process, list));
    close_descriptors();
}

int uloop_run_timeout(int timeout)
{
    run_depth++;
    ending_signal = 0;
    std::atomic_ref(uloop_cancelled).store(false);
    do {
        run_due_timeouts();
        run_signalled();
        if (is_running())
            run_ready_descriptors(arm_timer(timeout));
    } while (is_running() && timeout < 0);
    run_depth--;
    return ending_signal;
}

void uloop_end()
{
    std::atomic_ref(uloop_cancelled).store(true);
    wake();
}

bool uloop_cancelling()
{
    return run_depth > 0 && is_cancelled();
}

int uloop_fd_add(uloop_fd *u, unsigned flags)
{
    if (!(flags & ULOOP_EVENT_MASK))
        return uloop_fd_delete(u);
    bool was_blocking = !u->registered || (u->flags & ULOOP_BLOCKING);
    if (was_blocking && !(flags & ULOOP_BLOCKING) && !set_nonblocking(u->fd))
        return -1;
    epoll_event event = {.events = epoll_events(flags), .data = {.ptr = u}};
    int result = epoll_ctl(epoll_fd, u->registered ? EPOLL_CTL_MOD : EPOLL_CTL_ADD, u->fd, &event);
    // Still marked as registered, but with a loop that has been done away with, or closed meanwhile.
    if (result < 0 && u->registered && errno == ENOENT)
        result = epoll_ctl(epoll_fd, EPOLL_CTL_ADD, u->fd, &event);
    if (result < 0)
        return -1;
    if (uloop_fd_set_cb && (!u->registered || u->flags != flags))
        uloop_fd_set_cb(u, flags);
    u->flags = static_cast<uint8_t>(flags);
    u->registered = true;
    u->eof = u->error = false;
    return 0;
}

int uloop_fd_delete(uloop_fd *u)
{
    if (!u->registered)
        return 0;
    if (uloop_fd_set_cb)
        uloop_fd_set_cb(u, 0);
    u->registered = false;
    forget_fetched(u);
    return epoll_ctl(epoll_fd, EPOLL_CTL_DEL, u->fd, nullptr);
}

int uloop_timeout_add(uloop_timeout *t)
{
    if (t->pending)
        return -1;
    // From the end: most timers are armed for later than the others, and of two for the same time the first runs first.
    list_head *before = timeouts.prev;
    while (before != &timeouts && microseconds(t->time) < microseconds(list_entry(before, uloop_timeout, list)->time))
        before = before->prev;
    list_add(&t->list, before);
    t->pending = true;
    return 0;
}

int uloop_timeout_set(uloop_timeout *t, int msecs)
{
    if (t->pending)
        uloop_timeout_cancel(t);
    int64_t time = now() + std::max(0, msecs) * kMicrosecondsPerMillisecond;
    t->time.tv_sec = time / kMicrosecondsPerSecond;
    t->time.tv_usec = time % kMicrosecondsPerSecond;
    return uloop_timeout_add(t);
}

int uloop_timeout_cancel(uloop_timeout *t)
{
    if (!t->pending)
        return -1;
    list_del(&t->list);
    t->pending = false;
    return 0;
}

int64_t uloop_timeout_remaining64(uloop_timeout *t)
{
    if (!t->pending)
        return -1;
    int64_t left = microseconds(t->time) - now();
    return left / kMicrosecondsPerMillisecond - (left % kMicrosecondsPerMillisecond < 0);
}

int uloop_timeout_remaining(uloop_timeout *t)
{
    return static_cast<int>(std::clamp<int64_t>(uloop_timeout_remaining64(t), INT_MIN, INT_MAX));
}

int uloop_get_next_timeout()
{
    uloop_timeout *timeout = first_timeout();
    return timeout ? std::max(0, uloop_timeout_remaining(timeout)) : -1;
}

int uloop_process_add(uloop_process *p)
{
    if (p->pending)
        return -1;
    p->pending = true;
    list_add_tail(&p->list, &processes);
    child_ended = true; // it may have ended already
    return 0;
}

int uloop_process_delete(uloop_process *p)
{
    if (!p->pending)
        return -1;
    p->pending = false;
    list_del(&p->list);
    return 0;
}

namespace
{

void count_expirations(uloop_fd *u, unsigned)
{
    uloop_interval *timer = container_of(u, uloop_interval, priv.ufd);
    uint64_t periods;

    if (read(u->fd, &periods, sizeof(periods)) != sizeof(periods))
        return;
    timer->expirations += periods;
    if (timer->cb)
        timer->cb(timer);
}

} // namespace

int uloop_interval_set(uloop_interval *timer, unsigned msecs)
{
    uloop_fd *u = &timer->priv.ufd;
    const timespec period = {.tv_sec = msecs / 1000, .tv_nsec = static_cast<long>(msecs % 1000) * 1000000};
    const itimerspec spec = {.it_interval = period, .it_value = period};

    if (!u->registered) {
        *u = {.cb = count_expirations, .fd = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)};
        if (u->fd < 0 || uloop_fd_add(u, ULOOP_READ) != 0) {
            close(u->fd);
            return -1;
        }
    }
    return timerfd_settime(u->fd, 0, &spec, nullptr);
}

int uloop_interval_cancel(uloop_interval *timer)
{
    uloop_fd *u = &timer->priv.ufd;

    if (!u->registered)
        return -1;
    uloop_fd_delete(u);
    close(u->fd);
    return 0;
}

int64_t uloop_interval_remaining(uloop_interval *timer)
{
    itimerspec left;

    if (!timer->priv.ufd.registered || timerfd_gettime(timer->priv.ufd.fd, &left) < 0)
        return -1;
    return int64_t{left.it_value.tv_sec} * 1000 + left.it_value.tv_nsec / 1000000;
}

int uloop_signal_add(uloop_signal *s)
{
    struct sigaction action = {};

    if (s->pending || s->signo <= 0 || NSIG <= s->signo)
        return -1;
    action.sa_handler = note_signal;
    sigemptyset(&action.sa_mask);
    if (sigaction(s->signo, &action, &s->orig) < 0)
        return -1;
    caught[s->signo] = false;
    s->pending = true;
    list_add_tail(&s->list, &caught_signals);
    return 0;
}

int uloop_signal_delete(uloop_signal *s)
{
    if (!s->pending)
        return -1;
    s->pending = false;
    list_del(&s->list);
    return sigaction(s->signo, &s->orig, nullptr);
}
