#include "core/bus.h"

ubus_context *wexond_context;
