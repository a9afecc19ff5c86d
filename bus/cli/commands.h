// The commands of the tool.
#ifndef UBUS_CLI_COMMANDS_H
#define UBUS_CLI_COMMANDS_H

extern "C" {
#include <libubox/blobmsg_json.h>
#include <libubus.h>
}

struct Options {
    const char *socket; // null: the default one
    int timeout;        // seconds, 0 for ever, below 0 where none is given
    bool simple;        // one line, nothing on standard error
    bool verbose;
};

// The exit status. Above 0 it is a status of the bus that is still to be reported; below 0 the reason has been told.
using Command = int (*)(ubus_context *ctx, const Options &options, int argc, char **argv);

int list_objects(ubus_context *ctx, const Options &options, int argc, char **argv);
int call_method(ubus_context *ctx, const Options &options, int argc, char **argv);
int subscribe_to_objects(ubus_context *ctx, const Options &options, int argc, char **argv);
int listen_for_events(ubus_context *ctx, const Options &options, int argc, char **argv);
int send_event(ubus_context *ctx, const Options &options, int argc, char **argv);
int wait_for_objects(ubus_context *ctx, const Options &options, int argc, char **argv);

#endif
