// The start of every handler: its entry line in the log and a cleared status.
#pragma once

#include "core/backend.h"
#include "core/bus.h"
#include "core/log.h"

struct Call {
    Status status{};

    // The function name is the handler's own, as `__func__` or from its family's table.
    Call(const ubus_object *object, const char *method, const char *function)
    {
        WEXOND_LOG_AS(function, "-- Object:[%s], Method:[%s] --\n", object->name, method);
    }
};

// Where several objects are one implementation, its handlers take the row of what differs first; this binds such a
// handler to one row, so that the method tables name plain bus handlers.
template <auto handler, const auto &row>
int handle_with(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method, blob_attr *message)
{
    return handler(row, object, request, method, message);
}
