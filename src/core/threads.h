// The daemon's threads.
#pragma once

#include "core/shared_records.h"

// Starts the bus thread, then those of the event relay. 0, or -1 with the reason logged; threads already started run
// on.
int WEXOND_ThreadInit();

// Waits until the bus thread has ended.
void WEXOND_ThreadJoin();

// Starts a detached thread that sends these basic settings of an access point after 15 seconds; several may be waiting
// at once. 0, or what the calling handler then returns: 1 when memory does not suffice, -1 when there is no thread.
// Logged under the handler's name.
int WEXOND_Apbasic_ThreadInit(const ApBasicRecord &basic, const char *function);

// Signals interrupt the pause and do not shorten it.
void wexond_pause(int seconds);
