// How requests are answered.
#pragma once

#include "message.h"

struct Client;

// In place of a status: the request is answered by somebody else, later, or not at all.
inline constexpr int kNoAnswer = -1;

// Ends a request of the client.
void answer_status(Client &client, uint16_t seq, uint32_t peer, int status);
