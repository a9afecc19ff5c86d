#include "closer.h"

#include <csignal>
#include <cstdlib>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

namespace
{

// A signal ends a close that lingers. It comes again and again while there is something to close, because it may come
// just before.
constexpr int kPatienceMs = 20;
constexpr size_t kStackSize = 65536;

pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t filled = PTHREAD_COND_INITIALIZER;
bool started = false;
bool alarmed = false; // the helper's

// A ring with room for every descriptor that the process may have, so that it cannot overflow. Its pages are only used
// as far as it is filled.
int *ring;
size_t capacity;
size_t first;
size_t count;

void set_alarm(int milliseconds)
{
    if (alarmed == (milliseconds != 0))
        return;
    alarmed = milliseconds != 0;
    timeval interval = {.tv_sec = 0, .tv_usec = suseconds_t{milliseconds} * 1000};
    itimerval timer = {.it_interval = interval, .it_value = interval};
    setitimer(ITIMER_REAL, &timer, nullptr);
}

// All other signals go to the thread that serves, which has blocked this one.
void take_alarms_only()
{
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    sigset_t mask;
    sigfillset(&mask);
    sigdelset(&mask, SIGALRM);
    pthread_sigmask(SIG_SETMASK, &mask, nullptr);
}

int take_descriptor()
{
    pthread_mutex_lock(&mutex);
    if (count == 0)
        set_alarm(0);
    while (count == 0)
        pthread_cond_wait(&filled, &mutex);
    int fd = ring[first];
    pthread_mutex_unlock(&mutex);
    return fd;
}

void drop_descriptor()
{
    pthread_mutex_lock(&mutex);
    first = (first + 1) % capacity;
    count--;
    pthread_mutex_unlock(&mutex);
}

void *run(void *)
{
    take_alarms_only();
    for (;;) {
        int fd = take_descriptor();
        set_alarm(kPatienceMs);
        close(fd);
        drop_descriptor();
    }
}

int start_thread()
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, kStackSize);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    int result = pthread_create(&thread, &attributes, run, nullptr);
    pthread_attr_destroy(&attributes);
    return result == 0 ? 0 : -1;
}

int start()
{
    rlimit limit;
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return -1;
    capacity = limit.rlim_cur + 1; // one may come again just after it was closed
    ring = static_cast<int *>(malloc(capacity * sizeof(int)));
    if (!ring || start_thread() != 0) {
        free(ring);
        return -1;
    }
    started = true;
    return 0;
}

} // namespace

void closer_close(int fd)
{
    if (!started && start() != 0) {
        close(fd); // without memory for a thread it has to be done here
        return;
    }
    pthread_mutex_lock(&mutex);
    ring[(first + count) % capacity] = fd;
    count++;
    pthread_cond_signal(&filled);
    pthread_mutex_unlock(&mutex);
}

size_t closer_waiting()
{
    pthread_mutex_lock(&mutex);
    size_t waiting = count;
    pthread_mutex_unlock(&mutex);
    return waiting;
}
