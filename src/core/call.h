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
