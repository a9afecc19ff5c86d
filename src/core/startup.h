// The bus thread's work on a fresh connection: register the objects, wait for the configuration service, mirror
// its lists, run the event loop.
#pragma once

#include "core/bus.h"

// 1 while the device runs its factory settings: read at start, cleared with the first change of an access point.
extern uint32_t wexond_factory_flag;

// Returns 0 when the event loop ends, which it does when the bus is lost, also when that happened before it began.
int wexond_main();

// Ends the event loop for good. The bus library calls it when the broker goes away.
void end_with_bus(ubus_context *context);
