// Settings of an access point that are sent later, so that a caller who may be on it still gets the reply.
#pragma once

#include "core/shared_records.h"

// Starts a detached thread that sends these basic settings of an access point after 15 seconds. Up to 64 may be waiting
// at once; they are sent one after another, in the order of their calls. For the bus thread. 0, or what the calling
// handler then returns: 1 when memory does not suffice, -1 when there is no thread or 64 are waiting already. Logged
// under the handler's name.
int WEXOND_Apbasic_ThreadInit(const ApBasicRecord &basic, const char *function);
