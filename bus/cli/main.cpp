// ubus: the bus from the command line.
#include "commands.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

static constexpr int kNoCommand = 1, kTold = -1, kWrongUsage = -2;

struct CommandEntry {
    const char *name;
    int least_arguments;
    int most_arguments;
    Command run;
};

static const CommandEntry kCommands[] = {
    {"list", 0, 1, list_objects},
    {"call", 2, 3, call_method},
    {"subscribe", 1, INT_MAX, subscribe_to_objects},
    {"listen", 0, INT_MAX, listen_for_events},
    {"send", 1, 2, send_event},
    {"wait_for", 1, INT_MAX, wait_for_objects},
};

static const char kUsageText[] =
    "Usage: ubus [OPTION...] COMMAND [ARGUMENT...]\n"
    "Options:\n"
    "  -s SOCKET   the bus socket to connect to\n"
    "  -t SECONDS  how long to wait, 0 for ever\n"
    "              (default: 30 for call and wait_for, for ever with subscribe and listen)\n"
    "  -S          simplified output: one line per reply, no messages about errors\n"
    "  -v          list the methods of the objects too\n"
    "Commands:\n"
    "  list [PATH]                list the objects (PATH may end in '*')\n"
    "  call PATH METHOD [JSON]    call a method of an object\n"
    "  subscribe PATH...          print the notifications of objects\n"
    "  listen [PATTERN...]        print events (PATTERN may end in '*')\n"
    "  send ID [JSON]             send an event\n"
    "  wait_for OBJECT...         wait until all the objects are there\n";

static const CommandEntry *find_command(const char *name, int arguments)
{
    for (const CommandEntry &entry : kCommands)
        if (strcmp(entry.name, name) == 0 && entry.least_arguments <= arguments && arguments <= entry.most_arguments)
            return &entry;
    return nullptr;
}

static bool parse_seconds(const char *text, int *seconds)
{
    char *end;
    long const value = strtol(text, &end, 10);

    if (end == text || *end || value < 0 || INT_MAX / 1000 < value)
        return false;
    *seconds = static_cast<int>(value);
    return true;
}

// Options end where the command begins: what follows is the command's.
static bool parse_options(int argc, char **argv, Options *options)
{
    bool known = true;
    int option;

    opterr = 0;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the tool has one thread
    while ((option = getopt(argc, argv, "+s:t:Sv")) != -1) {
        if (option == 's')
            options->socket = optarg;
        else if (option == 't')
            known = parse_seconds(optarg, &options->timeout) && known;
        else if (option == 'S')
            options->simple = true;
        else if (option == 'v')
            options->verbose = true;
        else
            known = false;
    }
    return known;
}

static int run_command(const Options &options, int argc, char **argv)
{
    const CommandEntry *command = find_command(argv[0], argc - 1);
    if (!command)
        return kWrongUsage;
    ubus_context *ctx = ubus_connect(options.socket);
    if (!ctx) {
        if (!options.simple)
            fputs("Failed to connect to ubus\n", stderr);
        return kTold;
    }
    int const status = command->run(ctx, options, argc - 1, argv + 1);
    if (status > 0 && !options.simple)
        fprintf(stderr, "Command failed: %s\n", ubus_strerror(status));
    ubus_free(ctx);
    return status;
}

int main(int argc, char **argv)
{
    Options options = {.timeout = -1};
    int status = kNoCommand;

    bool const known = parse_options(argc, argv, &options);
    bool usage = !known || optind == argc;
    if (!usage) {
        status = run_command(options, argc - optind, argv + optind);
        usage = status == kWrongUsage;
    }
    if (usage && !options.simple)
        fputs(kUsageText, stderr);
    return status;
}
