// One method call on its way from the bus to its reply: what a handler and everything that it calls share.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/bus.h"
#include "core/log.h"

// The outcome that a call has to report: filled by whatever fails, turned into "result" and "failreason" by the
// replies.
struct Status {
    uint32_t failed; // 0 success, 1 failure
    char reason[128];
};

struct Call {
    ubus_object *object; // the called one
    ubus_request_data *request;
    blob_attr *message;
    const char *function; // the handler's name, in every log line of the call
    Status status;
};

// Marks the call as failed for the formatted reason, cut at 127 characters.
void fail(Status &status, const char *format, ...) __attribute__((format(printf, 2, 3)));
void fail(Call &call, const char *format, ...) __attribute__((format(printf, 2, 3)));

// A log line of the call: a format and its arguments.
#define CALL_LOG(call, ...) WEXOND_LOG_AS((call).function, __VA_ARGS__)

// A handler: what one method does. It replies, and returns what the bus gets: 0, but for the reasons that it names.
using Handler = int (*)(Call &call);

// Runs a handler under the name that it has in the log, of which the entry line is the first.
int serve(ubus_object *object, ubus_request_data *request, const char *method, blob_attr *message, const char *function,
          Handler handler);

// A handler's entry in a method table, whose name it logs; and for a handler of several objects, which takes
// the row of what differs after the call, and logs under the name that is given here.
#define SERVE(handler)                                                                                                 \
    [](ubus_context *, ubus_object *object, ubus_request_data *request, const char *method, blob_attr *message) {      \
        return serve(object, request, method, message, #handler, handler);                                             \
    }
#define SERVE_AS(name, handler, row)                                                                                   \
    [](ubus_context *, ubus_object *object, ubus_request_data *request, const char *method, blob_attr *message) {      \
        return serve(object, request, method, message, name, [](Call &call) { return handler(call, row); });           \
    }
