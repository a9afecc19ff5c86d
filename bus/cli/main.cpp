// ubus: the bus from the command line.
#include "commands.h"

#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace
{

constexpr int kUsage = 1, kTold = -1, kWrongUsage = -2;

struct CommandEntry {
    const char *name;
    int least_arguments;
    int most_arguments;
    Command run;
    bool ends_by_signal; // of itself, by its loop; the others are ended by their answer or time-out
};

const CommandEntry kCommands[] = {
    {"list", 0, 1, list_objects, false},
    {"call", 2, 3, call_method, false},
    {"subscribe", 0, INT_MAX, subscribe_to_objects, true},
    {"listen", 0, INT_MAX, listen_for_events, true},
    {"send", 1, 2, send_event, false},
    {"wait_for", 1, INT_MAX, wait_for_objects, true},
    {"monitor", 0, INT_MAX, monitor_bus, true},
};

const char kUsageText[] = "[OPTION...] COMMAND [ARGUMENT...]\n"
                          "Options:\n"
                          "  -s SOCKET   the bus socket to connect to\n"
                          "  -t SECONDS  how long to wait, 0 for ever\n"
                          "              (default: 30 for call and wait_for, for ever with subscribe and listen)\n"
                          "  -S          simplified output: one line per reply, no messages about errors\n"
                          "  -v          list the methods of the objects too\n"
                          "  -m TYPE     monitor only messages of this type (may be repeated)\n"
                          "  -M r|t      monitor only messages that the broker received, or transmitted\n"
                          "Commands:\n"
                          "  list [PATH]                list the objects (PATH may end in '*')\n"
                          "  call PATH METHOD [JSON]    call a method of an object\n"
                          "  subscribe PATH...          print the notifications of objects\n"
                          "  listen [PATTERN...]        print events (PATTERN may end in '*')\n"
                          "  send ID [JSON]             send an event\n"
                          "  wait_for OBJECT...         wait until all the objects are there\n"
                          "  monitor                    print all messages on the bus\n";

const CommandEntry *find_command(const char *name, int arguments)
{
    for (const CommandEntry &entry : kCommands)
        if (strcmp(entry.name, name) == 0 && entry.least_arguments <= arguments && arguments <= entry.most_arguments)
            return &entry;
    return nullptr;
}

// As every router's tool reads it: what is no number is 0, and milliseconds are counted in 32 bits.
int milliseconds(const char *seconds)
{
    return static_cast<int>(static_cast<unsigned int>(atoi(seconds)) * 1000u); // NOLINT(cert-err34-c)
}

bool parse_direction(const char *word, Options *options)
{
    options->only_received = word[0] == 'r';
    options->only_sent = word[0] == 't';
    return options->only_received || options->only_sent;
}

bool parse_options(int argc, char **argv, Options *options)
{
    bool known = true;
    int option;

    // NOLINTNEXTLINE(concurrency-mt-unsafe): the tool has one thread
    while ((option = getopt(argc, argv, "s:t:Svm:M:")) != -1)
        if (option == 's') {
            options->socket = optarg;
        } else if (option == 't') {
            options->timeout = milliseconds(optarg);
            options->has_timeout = true;
        } else if (option == 'S') {
            options->simple = true;
        } else if (option == 'v') {
            options->verbose = true;
        } else if (option == 'm') {
            known = monitor_show_type(options, optarg) && known;
        } else if (option == 'M') {
            known = parse_direction(optarg, options) && known;
        } else {
            known = false;
        }
    return known;
}

int run_command(const Options &options, int argc, char **argv)
{
    const CommandEntry *command = find_command(argv[0], argc - 1);
    if (command && !command->ends_by_signal) { // the bus library leaves alone what is ignored
        signal(SIGINT, SIG_IGN);
        signal(SIGTERM, SIG_IGN);
    }
    ubus_context *ctx = ubus_connect(options.socket);
    if (!ctx) {
        if (!options.simple)
            fputs("Failed to connect to ubus\n", stderr);
        return kTold;
    }
    if (!command) {
        ubus_free(ctx);
        return kWrongUsage;
    }
    const int status = command->run(ctx, options, argc - 1, argv + 1);
    if (status > 0 && !options.simple)
        fprintf(stderr, "Command failed: %s\n", ubus_strerror(status));
    ubus_free(ctx);
    return status;
}

} // namespace

int main(int argc, char **argv)
{
    Options options = {};
    int status = kUsage;

    const bool known = parse_options(argc, argv, &options);
    bool usage = !known || optind == argc;
    if (!usage) {
        status = run_command(options, argc - optind, argv + optind);
        usage = status == kWrongUsage;
    }
    if (usage)
        fprintf(stderr, "Usage: %s %s", argv[0], kUsageText);
    return status;
}
