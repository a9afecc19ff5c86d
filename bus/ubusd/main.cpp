// ubusd, the broker of the bus.

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <getopt.h>
#include <sys/resource.h>
#include <syslog.h>
#include <ubus_common.h>
#include <unistd.h>

#include "access.h"
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

constexpr const char *kListFolder = "/usr/share/acl.d";
constexpr rlim_t kMostDescriptors = 65536;
constexpr unsigned kOwnDescriptors = 7; // standard streams, random source, listening socket, epoll, system log

volatile sig_atomic_t interrupted = 0;
volatile sig_atomic_t stopped = 0;

void interrupt(int number)
{
    interrupted = 1;
    if (number != SIGHUP)
        stopped = 1;
}

// The signals for the broker arrive only while it waits, so that none slips in between a look at `interrupted` and the
// wait.
void catch_signals(sigset_t &while_waiting)
{
    constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};
    struct sigaction action = {};
    action.sa_handler = interrupt;
    sigset_t blocked;
    sigemptyset(&blocked);
    for (int number : kSignals) {
        sigaction(number, &action, nullptr);
        sigaddset(&blocked, number);
    }
    sigaddset(&blocked, SIGALRM); // ends what a helper thread waits for
    pthread_sigmask(SIG_BLOCK, &blocked, &while_waiting);
    sigaddset(&while_waiting, SIGALRM);
    for (int number : kSignals)
        sigdelset(&while_waiting, number);
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

struct Options {
    const char *path;
    const char *lists; // their folder, or null: everybody may do everything
};

// False where the command line is wrong.
bool read_options(int argc, char **argv, Options &options)
{
    constexpr option kLongOptions[] = {{"open", no_argument, nullptr, 'o'}, {}};
    options = {.path = default_path(), .lists = kListFolder};
    bool is_open = false;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the broker has one thread
    for (int letter; (letter = getopt_long(argc, argv, "s:A:", kLongOptions, nullptr)) != -1;)
        if (letter == 's')
            options.path = optarg;
        else if (letter == 'A')
            options.lists = optarg;
        else if (letter == 'o')
            is_open = true;
        else
            return false;
    if (is_open)
        options.lists = nullptr;
    return optind == argc;
}

// Until a signal says so. SIGHUP reads the lists again.
int serve(int listener, const char *lists, const sigset_t &while_waiting)
{
    if (!lists)
        access_open();
    int result = watch_open(listener);
    while (result == 0 && !stopped) {
        interrupted = 0;
        if (lists)
            handlers_load_access(lists);
        result = loop_run(listener, interrupted, while_waiting);
    }
    if (result != 0)
        perror("ubusd: epoll");
    return result;
}

int run(const Options &options)
{
    sigset_t while_waiting;
    catch_signals(while_waiting);
    raise_descriptor_limit();
    memory_init();
    handlers_init();
    openlog("ubusd", LOG_PERROR, LOG_DAEMON);
    if (ids_open() != 0) {
        perror("ubusd: /dev/urandom");
        return -1;
    }
    int listener = listener_open(options.path);
    if (listener < 0) {
        fprintf(stderr, "ubusd: %s: %m\n", options.path);
        return -1;
    }
    int result = serve(listener, options.lists, while_waiting);
    listener_remove(options.path);
    return result;
}

} // namespace

int main(int argc, char **argv)
{
    Options options;
    if (!read_options(argc, argv, options)) {
        fprintf(stderr, "usage: %s [-s socket] [-A folder of access lists | --open]\n", argv[0]);
        return EXIT_FAILURE;
    }
    return run(options) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
