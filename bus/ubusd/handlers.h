// What the broker does on each type of message.
#ifndef UBUSD_HANDLERS_H
#define UBUSD_HANDLERS_H

#include "message.h"

struct Client;

// In place of a status: the request is answered by somebody else, later, or not at all.
inline constexpr int kNoAnswer = -1;

// `bytes` is one whole message of the client.
void handle_message(Client &client, std::span<uint8_t> bytes);

#endif
