// ubusd, the broker of the bus.

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/resource.h>
#include <ubus_common.h>
#include <unistd.h>

#include "descriptors.h"
#include "handlers.h"
#include "ids.h"
#include "listener.h"
#include "loop.h"
#include "memory.h"
#include "users.h"
#include "watch.h"

namespace
{

constexpr rlim_t kMostDescriptors = 65536;
constexpr unsigned kOwnDescriptors = 6; // standard streams, random source, listening socket, epoll

volatile sig_atomic_t stopped = 0;

void stop(int)
{
    stopped = 1;
}

// The signals that end the broker arrive only while it waits, so that none slips in between a look at `stopped` and the
// wait.
void catch_signals(sigset_t &while_waiting)
{
    struct sigaction action = {};
    action.sa_handler = stop;
    sigset_t ending;
    sigemptyset(&ending);
    for (int ending_signal : {SIGINT, SIGTERM}) {
        sigaction(ending_signal, &action, nullptr);
        sigaddset(&ending, ending_signal);
    }
    sigaddset(&ending, SIGALRM); // ends what a helper thread waits for
    pthread_sigmask(SIG_BLOCK, &ending, &while_waiting);
    sigaddset(&while_waiting, SIGALRM);
    sigdelset(&while_waiting, SIGINT);
    sigdelset(&while_waiting, SIGTERM);
    signal(SIGPIPE, SIG_IGN);
}

// How many connections there may be: what the process may open, but for its own descriptors and for those that a
// message may pass along, which find no room otherwise.
unsigned connection_limit(rlim_t descriptors)
{
    rlim_t passed = descriptors / 4 >= kMostPassed ? kMostPassed : descriptors / 8;
    return static_cast<unsigned>(descriptors - passed - kOwnDescriptors);
}

void raise_descriptor_limit()
{
    rlimit limit;
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, kMostDescriptors);
        setrlimit(RLIMIT_NOFILE, &limit);
        users_limit(connection_limit(limit.rlim_cur));
    }
}

const char *default_path()
{
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the broker has one thread
    const char *path = getenv(UBUS_SOCKET_VARIABLE);
    return !path || path[0] == '\0' ? UBUS_UNIX_SOCKET : path;
}

// The socket's path by the command line, or null where that is wrong.
const char *path_argument(int argc, char **argv)
{
    const char *path = default_path();
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the broker has one thread
    for (int option; (option = getopt(argc, argv, "s:")) != -1;) {
        if (option != 's')
            return nullptr;
        path = optarg;
    }
    return optind == argc ? path : nullptr;
}

int serve(const char *path)
{
    sigset_t while_waiting;
    catch_signals(while_waiting);
    raise_descriptor_limit();
    memory_init();
    handlers_init();
    if (ids_open() != 0) {
        perror("ubusd: /dev/urandom");
        return -1;
    }
    int listener = listener_open(path);
    if (listener < 0) {
        fprintf(stderr, "ubusd: %s: %m\n", path);
        return -1;
    }
    int result = watch_open(listener) == 0 ? loop_run(listener, stopped, while_waiting) : -1;
    if (result != 0)
        perror("ubusd: epoll");
    listener_remove(path);
    return result;
}

} // namespace

int main(int argc, char **argv)
{
    const char *path = path_argument(argc, argv);
    if (!path) {
        fprintf(stderr, "usage: %s [-s socket]\n", argv[0]);
        return EXIT_FAILURE;
    }
    return serve(path) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
