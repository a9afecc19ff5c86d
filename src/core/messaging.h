// The messaging library. A router maker's header may declare its functions alone: its numbers are the interface's all
// the same.
#pragma once

#include <domainsocket.h>

#ifndef SOCKET_LENGTH_LIMIT
enum { SOCKET_LENGTH_LIMIT = 1024 * 1024 }; // bytes of a request's payload, of an answer's body
#endif
#ifndef SOCKET_NOTHING
enum { SOCKET_NOTHING = -5 }; // nothing arrived within the time-out
#endif
