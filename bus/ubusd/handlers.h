// What the broker does on each type of message.
#pragma once

#include "message.h"

struct Client;

// In place of a status: the request is answered by somebody else, later, or not at all.
inline constexpr int kNoAnswer = -1;

// `bytes` is one whole message of the client; `descriptor`, which stays the caller's, came with it where it is not -1.
void handle_message(Client &client, std::span<uint8_t> bytes, int descriptor);
