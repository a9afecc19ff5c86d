// wexond translates between the bus and the router's configuration service. The main thread prepares the process,
// starts the others and waits for the bus thread; a supervisor starts the daemon again when it ends.

#include <cerrno>
#include <csignal>
#include <pthread.h>
#include <sys/wait.h>

#include "core/catalogue.h"
#include "core/log.h"
#include "core/threads.h"

namespace
{

using SignalHandler = void (*)(int);

// Reserved: initialised, destroyed, never taken.
pthread_mutex_t process_mutex;

void ignore_signal(int) {}

void reap_children(int)
{
    int interrupted_errno = errno;
    while (waitpid(-1, nullptr, WNOHANG) > 0)
        ;
    errno = interrupted_errno;
}

// The signals that would end the daemon are caught, not ignored, and do nothing: interrupted calls are restarted, a
// write to a closed socket reports its error, and the daemon ends with the bus alone.
struct Disposition {
    int signal;
    SignalHandler handler;
};

constexpr Disposition kDispositions[] = {
    {SIGHUP, ignore_signal},  {SIGINT, ignore_signal},  {SIGTERM, ignore_signal}, {SIGPIPE, ignore_signal},
    {SIGUSR1, ignore_signal}, {SIGUSR2, ignore_signal}, {SIGCHLD, reap_children},
};

// The previous handler, or SIG_ERR.
SignalHandler install_signal(int signal, SignalHandler handler)
{
    struct sigaction action = {}, previous = {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    if (sigaction(signal, &action, &previous))
        return SIG_ERR;
    return previous.sa_handler;
}

} // namespace

int main()
{
    families = kAllFamilies;
    for (const Disposition &disposition : kDispositions)
        install_signal(disposition.signal, disposition.handler);
    if (pthread_mutex_init(&process_mutex, nullptr)) {
        WEXOND_LOG("Mutex init failed\n\n");
        return -1;
    }
    if (WEXOND_ThreadInit()) {
        WEXOND_LOG("WEXOND_ThreadInit error\n\n");
        return -1;
    }
    WEXOND_ThreadJoin();
    WEXOND_LOG("Exit wexond\n\n");
    pthread_mutex_destroy(&process_mutex);
    return 0;
}
