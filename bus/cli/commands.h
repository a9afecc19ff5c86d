// The commands of the tool.
#pragma once

extern "C" {
#include <libubox/blobmsg_json.h>
#include <libubus.h>
}

struct Options {
    const char *socket; // null: the default one
    int timeout;        // milliseconds
    bool has_timeout;
    bool simple; // one line, nothing on standard error
    bool verbose;
    uint32_t types; // of the messages to monitor, a bit each; 0 for all
    bool only_received;
    bool only_sent;
};

// The exit status. Above 0 it is a status of the bus that is still to be reported; below 0 the reason has been told.
using Command = int (*)(ubus_context *ctx, const Options &options, int argc, char **argv);

int list_objects(ubus_context *ctx, const Options &options, int argc, char **argv);
int call_method(ubus_context *ctx, const Options &options, int argc, char **argv);
int subscribe_to_objects(ubus_context *ctx, const Options &options, int argc, char **argv);
int listen_for_events(ubus_context *ctx, const Options &options, int argc, char **argv);
int send_event(ubus_context *ctx, const Options &options, int argc, char **argv);
int wait_for_objects(ubus_context *ctx, const Options &options, int argc, char **argv);
int monitor_bus(ubus_context *ctx, const Options &options, int argc, char **argv);

// Adds a message type to those that are monitored; false for an unknown name.
bool monitor_show_type(Options *options, const char *name);
