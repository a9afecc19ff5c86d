// The event socket: whoever reports a change connects, writes one batch of messages, and is closed.
#pragma once

#include <cstdint>

// Starts the threads that receive events. 0, or 1 when they cannot be started.
int WEXOND_Notify_ThreadInit();

// Body of the receiving thread. Returns only when the socket cannot be set up; the daemon then runs on without events.
void *WEXOND_SocketServerRun(void *);

// Takes one batch from a client.
void WEXOND_ServerListen(int client);

// Splits a batch into its messages and stores them. A message that claims more than came ends the batch; those before
// it stay stored.
void WEXOND_ServerRecvDeal(const void *buffer, uint32_t length);
